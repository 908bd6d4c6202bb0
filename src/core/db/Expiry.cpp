#include "core/db/Expiry.h"

#include "core/db/ChangeContext.h"
#include "core/db/Clock.h"
#include "core/db/Connection.h"
#include "core/db/Handles.h"
#include "core/db/PgSession.h"

namespace db {

int ReleaseExpiredHolds(Connection& connection, const QDateTime& now)
{
    if (!connection.IsOpen() || !now.isValid()) return -1;
    if (PgSession* server = Handles::Server(connection)) {
        PgRows rows;
        if (!server->ExecuteParams(QStringLiteral("SELECT tavrelo_release_expired($1)"), {now}, &rows) ||
            rows.rowCount != 1)
            return -1;
        return int(rows.cells.front().toLongLong());
    }
    // The trigger on t_Deal gives the units back their status; the history rows it makes carry
    // this path and reason. The caller's own context comes back afterwards while its transaction
    // is still open (without one, the statement's end already cleared it).
    const ChangeContext caller = CurrentChangeContext(connection);
    SetChangeContext(connection, ChangeContext{QStringLiteral("expire"), 0, 0, QStringLiteral("到期释放")});
    const QString at = TimeText(now);
    const bool ok =
        connection.Execute(Sql("Update t_Deal Set Active = Null, Stage = 'expired', ClosedAt = ") +
                           Sql::Quoted(at) + Sql(", Reason = ") + Sql::Quoted(QStringLiteral("到期释放")) +
                           Sql(" Where Active = 1 And Stage = 'hold' And HoldEnd <= ") + Sql::Quoted(at));
    const int released = ok ? connection.RowsAffected() : -1;
    if (connection.InTransaction()) SetChangeContext(connection, caller);
    return released;
}

}  // namespace db
