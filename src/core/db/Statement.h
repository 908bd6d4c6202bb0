#pragma once

#include <QString>
#include <QVariant>

struct sqlite3_stmt;

namespace db {

class Connection;

// One SQLite statement prepared once and run many times with bound values: the bulk path for
// writing thousands of rows in one transaction, where opening a recordset per row would cost more
// than the rows themselves. The text is SQLite's own, with "?" for every value; values are always
// bound, never pasted into the text. No call throws; failures report false and set the
// connection's LastError.
class Statement {
public:
    Statement() = default;
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    bool Prepare(Connection& connection, const QString& sqliteSql);
    void Finalize();
    bool IsPrepared() const { return stmt_ != nullptr; }

    // Binds value number index (1-based): a null QVariant as NULL, whole numbers as integers,
    // everything else as text.
    bool Bind(int index, const QVariant& value);
    // Runs a statement that returns no rows, then resets it for the next values.
    bool Exec();
    // Steps a query: true while a row is there; Column reads it.
    bool Next();
    QVariant Column(int index) const;
    int ColumnCount() const;
    void Reset();
    // The key SQLite gave the last row inserted on this statement's connection.
    qint64 LastInsertId() const;

private:
    bool fail();

    Connection* connection_ = nullptr;
    sqlite3_stmt* stmt_ = nullptr;
};

}  // namespace db
