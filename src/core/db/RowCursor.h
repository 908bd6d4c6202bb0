#pragma once

#include <QString>
#include <QVariant>
#include <memory>

#include "core/db/Statement.h"

namespace db {

class Connection;

// A query read forward, a batch of rows at a time, so that walking the whole catalogue keeps only
// one batch in memory. On SQLite this is a plain statement, which already steps row by row. On a
// server a statement's rows would arrive whole, so the query runs as a server-side cursor that is
// fetched in batches; a cursor lives only inside a transaction, which the caller opens first.
// The text is plain SQL that both stores read, without values.
class RowCursor {
public:
    RowCursor();
    ~RowCursor();
    RowCursor(const RowCursor&) = delete;
    RowCursor& operator=(const RowCursor&) = delete;

    bool Open(Connection& connection, const QString& sql, int batchRows = 2000);
    // Steps to the next row: false at the end or on a failure (the connection's LastError says).
    bool Next();
    QVariant Column(int index) const;
    void Close();

private:
    bool fetch();

    Connection* connection_ = nullptr;
    Statement statement_;
    QString name_;  // the server-side cursor's name, empty on SQLite
    int batchRows_ = 0;
    std::unique_ptr<PgRows> rows_;
    int row_ = -1;
    bool exhausted_ = false;
};

}  // namespace db
