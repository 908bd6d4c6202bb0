#include "core/db/RowCursor.h"

#include <atomic>

#include "core/db/Connection.h"
#include "core/db/PgSession.h"

namespace db {

RowCursor::RowCursor() = default;

RowCursor::~RowCursor()
{
    Close();
}

bool RowCursor::Open(Connection& connection, const QString& sql, int batchRows)
{
    Close();
    connection_ = &connection;
    PgSession* server = connection.Server();
    if (!server) return statement_.Prepare(connection, sql);
    if (!server->InTransaction()) {
        connection.setError(QStringLiteral("a cursor needs a transaction"));
        return false;
    }
    static std::atomic<int> counter{0};
    name_ = QStringLiteral("tavrelo_rows_%1").arg(++counter);
    batchRows_ = qMax(1, batchRows);
    if (!server->ExecuteNative(QStringLiteral("DECLARE %1 NO SCROLL CURSOR FOR %2").arg(name_, sql))) {
        connection.setError(server->LastError());
        name_.clear();
        return false;
    }
    rows_ = std::make_unique<PgRows>();
    row_ = 0;
    return true;
}

bool RowCursor::fetch()
{
    PgSession* server = connection_->Server();
    *rows_ = PgRows();
    row_ = 0;
    if (!server ||
        !server->ExecuteNative(QStringLiteral("FETCH %1 FROM %2").arg(batchRows_).arg(name_), rows_.get())) {
        connection_->setError(server ? server->LastError() : QStringLiteral("the connection is not open"));
        exhausted_ = true;
        return false;
    }
    // A short batch is the last one.
    exhausted_ = rows_->rowCount < batchRows_;
    return rows_->rowCount > 0;
}

bool RowCursor::Next()
{
    if (name_.isEmpty()) return statement_.Next();
    if (!rows_) return false;
    if (row_ + 1 < rows_->rowCount) {
        ++row_;
        return true;
    }
    if (exhausted_) return false;
    return fetch();
}

QVariant RowCursor::Column(int index) const
{
    if (name_.isEmpty()) return statement_.Column(index);
    const int width = int(rows_->names.size());
    if (row_ < 0 || row_ >= rows_->rowCount || index < 0 || index >= width) return QVariant();
    return rows_->cells[size_t(row_) * size_t(width) + size_t(index)];
}

void RowCursor::Close()
{
    if (!name_.isEmpty() && connection_ && connection_->Server() && connection_->Server()->InTransaction())
        connection_->Server()->ExecuteNative(QStringLiteral("CLOSE %1").arg(name_));
    name_.clear();
    statement_.Finalize();
    rows_.reset();
    row_ = -1;
    exhausted_ = false;
}

}  // namespace db
