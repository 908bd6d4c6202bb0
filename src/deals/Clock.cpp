#include "deals/Clock.h"

#include <QVariant>

#include "core/db/Clock.h"
#include "core/db/Connection.h"
#include "core/db/Statement.h"

namespace deals {

QDateTime Now()
{
    return db::Now();
}

QDateTime Now(db::Connection& connection)
{
    if (!connection.IsServer() || qEnvironmentVariableIsSet("TAVRELO_TEST_NOW")) return db::Now();
    // Whole seconds, as every time the deals keep.
    db::Statement read;
    if (read.Prepare(connection, QStringLiteral("SELECT date_trunc('second', now())")) && read.Next()) {
        const QDateTime server = db::ParseTime(read.Column(0));
        if (server.isValid()) return server;
    }
    return db::Now();
}

}  // namespace deals
