#pragma once

#include <QDateTime>

namespace db {

class Connection;

// Releases every hold whose end is at or before `now`, in one statement: the deal is closed
// (Active NULL, Stage 'expired', ClosedAt now, Reason 到期释放) and the unit's status row goes back
// to what it was before the hold, as long as it still shows the hold word, with history path
// 'expire'. On the server through tavrelo_release_expired, which every login of the catalogue may
// call; on House.db through the trigger on t_Deal. Runs inside the caller's transaction when one
// is open. Returns the number of holds released, or -1 when the statement failed.
int ReleaseExpiredHolds(Connection& connection, const QDateTime& now);

}  // namespace db
