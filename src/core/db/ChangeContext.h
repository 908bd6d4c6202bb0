#pragma once

#include <QString>

struct sqlite3;

namespace db {

class Connection;

// Who changes a unit's status, and why: the history triggers on t_Content write it into each
// history row they make. A writer sets it inside its transaction, before the change; it holds
// until that transaction ends. A change made without one is recorded with path "sql".
struct ChangeContext {
    QString path{};         // board, wizard, import, hold, extend, cancel, deposit, contract, return,
                            // expire, manager, restore
    qint64 customerId = 0;  // 0: the unit's open deal's customer, if any
    qint64 dealId = 0;      // 0: the unit's open deal, if any
    QString reason{};
};

// On the server: transaction-local settings the trigger reads (one round trip); on House.db: the
// connection's own context, read by the SQL functions RegisterChangeContext puts in place. False
// when the connection is not open or the server refused.
bool SetChangeContext(Connection& connection, const ChangeContext& context);

// The context a House.db connection holds now (empty on the server, where the transaction keeps
// it): a function that sets its own for a moment puts the caller's back afterwards.
ChangeContext CurrentChangeContext(Connection& connection);

// Registers tavrelo_context(name) on a House.db connection ('path', 'customer', 'deal', 'reason',
// 'user', 'machine', 'now', 'txn'), and the hooks that end the context with each transaction. Every
// connection that writes a catalogue needs it; RegisterTextCollation calls it.
bool RegisterChangeContext(sqlite3* handle);

// The operating-system account and the host name, as House.db's history records them.
QString AccountName();
QString MachineName();

}  // namespace db
