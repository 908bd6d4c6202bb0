#pragma once

#include <QDateTime>

namespace db {
class Connection;
}

namespace deals {

// Releases every hold past its end (HoldEnd at or before `now`) in one statement: each unit goes
// back to the status it had before the hold, and the history says 到期释放 (path 'expire'). Every
// read of the units (the board, a list, the customer window) calls it first, so no background
// service is needed; any login may, a showroom's too. Returns the number of holds released, or -1
// when the statement failed (a catalogue without the deals tables, a server gone).
int ReleaseExpired(db::Connection& connection, const QDateTime& now);

}  // namespace deals
