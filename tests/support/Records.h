#pragma once

// Reading what the program's own statements return, through the data layer.

#include <QString>
#include <QStringList>

namespace db {
class Connection;
}

namespace testsupport {

// One field of every row a query returns, as text, in order; {"<failed>"} when it does not run.
QStringList QueryColumn(db::Connection& connection, const QString& sql, const QString& field);
// The same for the first field of each row.
QStringList QueryColumn(db::Connection& connection, const QString& sql);

}  // namespace testsupport
