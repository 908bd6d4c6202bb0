#include "core/db/DealsSchema.h"

#include "core/db/Connection.h"
#include "core/db/Handles.h"
#include "core/db/PgSession.h"
#include "core/db/Statement.h"

namespace db {

bool HasDealsTables(Connection& connection)
{
    if (PgSession* server = Handles::Server(connection)) {
        PgRows rows;
        return server->ExecuteNative(
                   QStringLiteral("SELECT count(*) FROM pg_class WHERE relkind = 'r' AND relnamespace = "
                                  "to_regnamespace(current_schema()) AND relname IN ('t_setting', "
                                  "'t_consultant', 't_customer', 't_deal', 't_history')"),
                   &rows) &&
               rows.rowCount == 1 && rows.cells.front().toInt() == 5;
    }
    Statement count;
    return Handles::Sqlite(connection) &&
           count.Prepare(
               connection,
               QStringLiteral("SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name IN "
                              "('t_Setting', 't_Consultant', 't_Customer', 't_Deal', 't_History')")) &&
           count.Next() && count.Column(0).toInt() == 5;
}

}  // namespace db
