// The calls that keep a save from interleaving with another PC's: the existence check of the row a
// save changes, taken inside the save's transaction, and the refusal of a store that may not be
// written.
//
// On SQLite every save runs under BEGIN IMMEDIATE, so the whole save (check included) holds the
// file's write lock and nothing can come between. On the server (READ COMMITTED) each statement
// sees what is committed when it starts, so a check by a plain read could be overtaken by another
// PC's deletion committed a moment later; the check therefore locks the row it finds, and a PC
// that deletes the row waits for this save to end (and the other way round: a save that finds
// the row locked by a deletion waits, and after the deletion commits finds no row).
#include <sqlite3.h>

#include "core/db/Connection.h"
#include "core/db/PgSession.h"

namespace db {

bool Connection::WriteRefused() const
{
    return server_ ? server_->WriteRefused() : writeRefused_;
}

int Connection::LockRow(const QString& table, const QString& keyColumn, qint64 key, RowLock lock)
{
    const QString select = QStringLiteral("SELECT 1 FROM %1 WHERE %2 = %3").arg(table, keyColumn).arg(key);
    if (server_) {
        // Locking a row needs a right to change the table: a login that may only look fails here,
        // before anything else of the save is sent.
        const QString clause =
            lock == RowLock::Update ? QStringLiteral(" FOR UPDATE") : QStringLiteral(" FOR KEY SHARE");
        PgRows rows;
        if (!serverResult(server_->ExecuteNative(select + clause, &rows))) return -1;
        return rows.rowCount == 0 ? 0 : 1;
    }
    if (!handle_) {
        lastError_ = QStringLiteral("connection is not open");
        return -1;
    }
    sqlite3_stmt* stmt = nullptr;
    const QByteArray sql = select.toUtf8();
    int found = -1;
    if (sqlite3_prepare_v2(handle_, sql.constData(), int(sql.size()), &stmt, nullptr) == SQLITE_OK) {
        const int rc = sqlite3_step(stmt);
        if (rc == SQLITE_ROW)
            found = 1;
        else if (rc == SQLITE_DONE)
            found = 0;
    }
    if (found < 0) setError(QString::fromUtf8(sqlite3_errmsg(handle_)));
    sqlite3_finalize(stmt);
    return found;
}

bool Connection::LockChange(int kind)
{
    if (!server_) return handle_ != nullptr;
    // A transaction-scoped advisory lock: released by the commit or rollback, waited for under the
    // session's lock timeout like a row. The number is the program's own (0x7461 "ta") plus kind.
    return serverResult(server_->ExecuteNative(
        QStringLiteral("SELECT pg_advisory_xact_lock(%1, %2)").arg(0x7461).arg(kind), nullptr));
}

}  // namespace db
