#include "core/db/Statement.h"

#include <sqlite3.h>

#include "core/db/Connection.h"

namespace db {

Statement::~Statement()
{
    Finalize();
}

bool Statement::Prepare(Connection& connection, const QString& sqliteSql)
{
    Finalize();
    connection_ = &connection;
    if (!connection.Handle()) {
        connection.setError(QStringLiteral("the connection is not open"));
        return false;
    }
    const QByteArray text = sqliteSql.toUtf8();
    if (sqlite3_prepare_v2(connection.Handle(), text.constData(), int(text.size()), &stmt_, nullptr) !=
        SQLITE_OK) {
        stmt_ = nullptr;
        return fail();
    }
    return true;
}

void Statement::Finalize()
{
    if (stmt_) sqlite3_finalize(stmt_);
    stmt_ = nullptr;
}

bool Statement::fail()
{
    if (connection_ && connection_->Handle())
        connection_->setError(QString::fromUtf8(sqlite3_errmsg(connection_->Handle())));
    return false;
}

bool Statement::Bind(int index, const QVariant& value)
{
    if (!stmt_) return false;
    int rc = SQLITE_OK;
    if (value.isNull()) {
        rc = sqlite3_bind_null(stmt_, index);
    } else if (value.typeId() == QMetaType::Int || value.typeId() == QMetaType::LongLong ||
               value.typeId() == QMetaType::UInt || value.typeId() == QMetaType::Bool) {
        rc = sqlite3_bind_int64(stmt_, index, value.toLongLong());
    } else {
        const QByteArray text = value.toString().toUtf8();
        rc = sqlite3_bind_text(stmt_, index, text.constData(), int(text.size()), SQLITE_TRANSIENT);
    }
    return rc == SQLITE_OK || fail();
}

bool Statement::Exec()
{
    if (!stmt_) return false;
    const int rc = sqlite3_step(stmt_);
    const bool ok = rc == SQLITE_DONE || rc == SQLITE_ROW;
    if (!ok) fail();
    Reset();
    return ok;
}

bool Statement::Next()
{
    if (!stmt_) return false;
    const int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) return true;
    if (rc != SQLITE_DONE) fail();
    return false;
}

QVariant Statement::Column(int index) const
{
    if (!stmt_ || index < 0 || index >= sqlite3_column_count(stmt_)) return QVariant();
    switch (sqlite3_column_type(stmt_, index)) {
        case SQLITE_NULL:
            return QVariant();
        case SQLITE_INTEGER:
            return QVariant(qint64(sqlite3_column_int64(stmt_, index)));
        case SQLITE_FLOAT:
            return QVariant(sqlite3_column_double(stmt_, index));
        default:
            return QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(stmt_, index)),
                                     sqlite3_column_bytes(stmt_, index));
    }
}

int Statement::ColumnCount() const
{
    return stmt_ ? sqlite3_column_count(stmt_) : 0;
}

void Statement::Reset()
{
    if (!stmt_) return;
    sqlite3_reset(stmt_);
    sqlite3_clear_bindings(stmt_);
}

qint64 Statement::LastInsertId() const
{
    return connection_ && connection_->Handle() ? sqlite3_last_insert_rowid(connection_->Handle()) : 0;
}

}  // namespace db
