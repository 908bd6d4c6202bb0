#pragma once

#include <QString>
#include <QVariant>
#include <memory>
#include <vector>

#include "core/db/Sql.h"

struct sqlite3;
struct sqlite3_stmt;

namespace db {

class Recordset;
class PgSession;

// One connection to the catalogue file. It never creates the file: opening fails when the file is
// missing, is not an SQLite database, lacks one of the five tables, or stays locked by another
// process. No call throws; every call reports success and the caller decides whether to care.
class Connection {
public:
    Connection();
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool Open(const QString& databasePath);
    // Opens a shared catalogue on a PostgreSQL server (a libpq connection URI) instead of a file;
    // every other call then works the same on the server (ConnectionServer.cpp).
    bool OpenServer(const QString& uri);
    void Close();
    bool IsOpen() const { return handle_ != nullptr || server_ != nullptr; }

    // Runs a statement that returns no rows (Delete, Update, Insert). The values in it are bound,
    // never pasted into the text (core/db/Sql.h).
    bool Execute(const Sql& jetSql);
    // Rows the last statement-only Execute changed (0 after a failure): a conditional update
    // learns from it whether its condition still held.
    int RowsAffected() const { return rowsAffected_; }
    // Runs a query into a forward-only, read-only recordset.
    bool Execute(const Sql& jetSql, Recordset& result);

    // One window action's save is one transaction, so that a process that dies in the middle
    // leaves all of it or none of it. Statements that fail inside it are still skipped one by
    // one, as without a transaction. BeginTrans fails (and the statements then run one by one)
    // when the connection is closed, a transaction is already open, or the file stays locked.
    bool BeginTrans();
    bool CommitTrans();
    void RollbackTrans();
    // False again after SQLite rolled the transaction back by itself (a full disk, an I/O error):
    // the statements after that run without one, each on its own.
    bool InTransaction() const;

    // Whether a statement since BeginTrans failed because the store refuses to be written: a
    // read-only House.db, or a server login without the right to change the tables (SQLSTATE
    // 42501) or a read-only server. Such a save has written nothing and must not count as saved.
    bool WriteRefused() const;
    // The row of `table` whose `keyColumn` is `key`, read inside the open transaction so that no
    // other PC can delete (Update) or delete and re-key (KeyShare) it before this one commits: on
    // the server the row is locked until the transaction ends (waiting for a PC that holds it);
    // on SQLite the write lock that BeginTrans took already keeps every other writer out.
    // 1: the row is there; 0: it is not; -1: the read failed (see LastError and WriteRefused).
    enum class RowLock { Update, KeyShare };
    int LockRow(const QString& table, const QString& keyColumn, qint64 key, RowLock lock);
    // Makes one kind of change (named by a small number) wait for any other PC making the same kind
    // of change until this transaction ends; on SQLite BeginTrans's write lock already does that.
    bool LockChange(int kind);

    QString LastError() const { return lastError_; }
    // True when the catalogue is a shared one on a server: what code outside the data layer asks
    // instead of reaching for the session itself.
    bool IsServer() const { return server_ != nullptr; }

private:
    friend class Recordset;
    friend class Statement;
    friend class RowCursor;
    // The data layer's other files reach the handles through core/db/Handles.h.
    friend struct Handles;
    // The raw SQLite handle and server session.
    sqlite3* Handle() const { return handle_; }
    PgSession* Server() const { return server_.get(); }
    void setError(const QString& message);
    // Prepares SQLite text with $1, $2 ... and binds the values. Text left after the first
    // statement (anything but blanks and semicolons) makes it fail, as the original engine refused it.
    sqlite3_stmt* prepareSqlite(const QString& sqliteSql, const std::vector<QVariant>& values);
    // A null QVariant as NULL, whole numbers as integers, a double as a double, anything else as
    // text without NUL characters (core/db/Sql.h).
    static int bindSqlite(sqlite3_stmt* stmt, int position, const QVariant& value);
    bool serverResult(bool ok);
    void releaseServer();

    sqlite3* handle_ = nullptr;
    QString lastError_;
    bool inTransaction_ = false;
    bool writeRefused_ = false;
    int rowsAffected_ = 0;
    std::unique_ptr<PgSession> server_;
};

// Begins a transaction on an open connection and commits it when the save is done. Leaving the
// scope without Commit rolls back; a connection that could not begin one is left as it was.
class Transaction {
public:
    explicit Transaction(Connection& connection) : connection_(connection), began_(connection.BeginTrans()) {}
    ~Transaction()
    {
        if (began_) connection_.RollbackTrans();
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    bool Commit()
    {
        if (!began_) return true;
        began_ = false;
        return connection_.CommitTrans();
    }
    void Rollback()
    {
        if (began_) connection_.RollbackTrans();
        began_ = false;
    }

private:
    Connection& connection_;
    bool began_;
};

// A text value as an SQL literal: between single quotes, an embedded quote doubled. For the
// statements written after the original ones, which must not break on an apostrophe.
QString QuoteText(const QString& text);

// The five table names, in the order the schema lists them.
inline constexpr const char* kTableNames[] = {"t_HouseType", "t_House", "t_Content", "t_Image",
                                              "t_Content_Auto"};

// Writes a new, empty catalogue with the schema at path. Refuses (false) when a file is already
// there: an existing catalogue is never overwritten.
bool CreateEmptyDatabase(const QString& path, QString* error = nullptr);

}  // namespace db
