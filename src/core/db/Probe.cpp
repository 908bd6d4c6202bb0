#include "core/db/Probe.h"

#include <libpq-fe.h>
#include <sqlite3.h>

#include "core/db/Connection.h"
#include "core/db/Handles.h"
#include "core/db/PgSession.h"

namespace db {

namespace {

void interruptNow(sqlite3_context* context, int, sqlite3_value**)
{
    sqlite3_interrupt(sqlite3_context_db_handle(context));
    sqlite3_result_int(context, 0);
}

}  // namespace

bool UsesEncryption(const Connection& connection)
{
    PgSession* server = Handles::Server(connection);
    return server && server->Handle() && PQsslInUse(server->Handle()) == 1;
}

QString SessionLogin(const Connection& connection)
{
    PgSession* server = Handles::Server(connection);
    PgRows rows;
    if (!server || !server->ExecuteNative(QStringLiteral("SELECT current_user"), &rows) || rows.cells.empty())
        return QString();
    return rows.cells.front().toString();
}

bool AddInterruptFunction(Connection& connection)
{
    sqlite3* handle = Handles::Sqlite(connection);
    return handle && sqlite3_create_function(handle, "InterruptNow", 0, SQLITE_UTF8, nullptr, interruptNow,
                                             nullptr, nullptr) == SQLITE_OK;
}

}  // namespace db
