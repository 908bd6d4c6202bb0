#pragma once

#include <QString>
#include <memory>

struct sqlite3;

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

    // Runs a statement that returns no rows (Delete, Update, Insert).
    bool Execute(const QString& jetSql);
    // Rows the last statement-only Execute changed (0 after a failure): a conditional update
    // learns from it whether its condition still held.
    int RowsAffected() const { return rowsAffected_; }
    // Runs a query into a forward-only, read-only recordset.
    bool Execute(const QString& jetSql, Recordset& result);

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

    QString LastError() const { return lastError_; }
    sqlite3* Handle() const { return handle_; }
    PgSession* Server() const { return server_.get(); }

private:
    friend class Recordset;
    friend class Statement;
    friend class RowCursor;
    void setError(const QString& message);
    bool serverResult(bool ok);
    void releaseServer();

    sqlite3* handle_ = nullptr;
    QString lastError_;
    bool inTransaction_ = false;
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
