#pragma once

#include <QString>
#include <QStringList>
#include <vector>

#include "core/db/Store.h"

// The floor under each measured operation: SQLite alone running the statements the window runs,
// stepping every row and reading every column as text through the C API, on a connection opened
// and closed around them as the window opens and closes its own.
namespace bench {

// A statement that the window reads only the first row of (a forward-only read that takes the
// first key and stops) is marked so that its floor stops there too.
inline QString FirstRowOnly(const QString& jetSql)
{
    return QStringLiteral("\x01") + jetSql;
}

// A catalogue named by a libpq URI or connection string rather than a House.db path: the data
// layer's rule.
using db::IsServerUri;

// Runs the statements (in the program's own dialect, translated exactly as the program translates
// them) on the catalogue at databasePath, or on the server that databasePath names (through libpq
// alone, reading every row). Returns false when one fails; *rows (when given) receives
// the number of rows read of each statement.
bool RunStatements(const QString& databasePath, const QStringList& jetStatements,
                   std::vector<qint64>* rows = nullptr);

}  // namespace bench
