#pragma once

#include <QString>
#include <QVariant>
#include <memory>
#include <vector>

struct sqlite3_stmt;

namespace db {

class Connection;

struct PgRows;

// One statement prepared once and run many times with bound values: the bulk path for writing
// thousands of rows in one transaction, where opening a recordset per row would cost more than the
// rows themselves. The text is plain SQL that SQLite and PostgreSQL both read, with "?" for every
// value; values are always bound, never pasted into the text. On a server connection every "?"
// becomes $1, $2 ..., a query's rows arrive whole when it first steps, and an insert hands back
// the key the server gave its row. No call throws; failures report false and set the
// connection's LastError.
class Statement {
public:
    Statement();
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    bool Prepare(Connection& connection, const QString& sqliteSql);
    void Finalize();
    bool IsPrepared() const { return stmt_ != nullptr || !serverSql_.isEmpty(); }

    // Binds value number index (1-based): a null QVariant as NULL, whole numbers as integers,
    // everything else as text without its NUL characters (core/db/Sql.h).
    bool Bind(int index, const QVariant& value);
    // Runs a statement that returns no rows, then resets it for the next values.
    bool Exec();
    // Rows the last Exec changed (0 after a failure): a conditional change learns from it whether
    // its condition still held.
    int RowsAffected() const { return rowsAffected_; }
    // Steps a query: true while a row is there; Column reads it.
    bool Next();
    QVariant Column(int index) const;
    int ColumnCount() const;
    void Reset();
    // The key given to the last row inserted (on SQLite: on this statement's connection; on a
    // server: by this statement).
    qint64 LastInsertId() const;

private:
    bool fail();
    bool runServer();

    Connection* connection_ = nullptr;
    sqlite3_stmt* stmt_ = nullptr;
    // The server's side: the translated text, the values bound so far, the rows of the last run.
    QString serverSql_;
    QString insertTable_;
    std::vector<QVariant> values_;
    int valueCount_ = 0;
    std::unique_ptr<PgRows> rows_;
    int row_ = -1;
    qint64 serverInsertId_ = 0;
    int rowsAffected_ = 0;
};

}  // namespace db
