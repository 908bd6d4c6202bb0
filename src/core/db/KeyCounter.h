#pragma once

#include <QString>

namespace db {

class Connection;

// A table's key counter: the last key it handed out. Keys only grow, so a catalogue copied to
// another store carries its counters along and a deleted house's key is never given again.

// The last key the counter of `table` handed out, or its largest key when that is higher; 0 for a
// table that never had a row, -1 when it cannot be read.
qint64 LastKey(Connection& connection, const QString& table);
// Moves the counter of `table` on to `last` when it stands lower; never back.
bool RaiseLastKey(Connection& connection, const QString& table, qint64 last);

}  // namespace db
