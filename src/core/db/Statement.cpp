#include "core/db/Statement.h"

#include <libpq-fe.h>
#include <sqlite3.h>

#include <QRegularExpression>

#include "core/db/Connection.h"
#include "core/db/PgSession.h"
#include "core/db/Sql.h"

namespace db {

namespace {

// SQLite's "?" placeholders as PostgreSQL's numbered ones; a "?" inside a quoted text or a quoted
// name is part of it and stays.
QString numberedPlaceholders(const QString& sql, int* count)
{
    QString out;
    out.reserve(sql.size() + 16);
    QChar quote;
    int number = 0;
    for (const QChar c : sql) {
        if (!quote.isNull()) {
            if (c == quote) quote = QChar();
        } else if (c == QLatin1Char('\'') || c == QLatin1Char('"')) {
            quote = c;
        } else if (c == QLatin1Char('?')) {
            out += QLatin1Char('$') + QString::number(++number);
            continue;
        }
        out += c;
    }
    *count = number;
    return out;
}

}  // namespace

Statement::Statement() = default;

Statement::~Statement()
{
    Finalize();
}

bool Statement::Prepare(Connection& connection, const QString& sqliteSql)
{
    Finalize();
    connection_ = &connection;
    if (PgSession* server = connection.Server()) {
        serverSql_ = numberedPlaceholders(sqliteSql.trimmed(), &valueCount_);
        // An insert returns its row's key, the one the server's key sequence gave it.
        static const QRegularExpression insert(QStringLiteral(R"(^INSERT\s+INTO\s+(\w+))"),
                                               QRegularExpression::CaseInsensitiveOption);
        const QRegularExpressionMatch m = insert.match(serverSql_);
        const QString key = m.hasMatch() ? server->KeyColumn(m.captured(1)) : QString();
        if (!key.isEmpty()) {
            insertTable_ = m.captured(1);
            serverSql_ += QStringLiteral(" RETURNING ") + key;
        }
        // Outside a transaction the server checks the text now, as SQLite does; inside one a
        // statement that does not parse would end the transaction, so it is left to fail when run.
        if (!server->InTransaction()) {
            PGresult* check = PQprepare(server->Handle(), "", serverSql_.toUtf8().constData(), 0, nullptr);
            const bool ok = PQresultStatus(check) == PGRES_COMMAND_OK;
            if (!ok) connection.setError(QString::fromUtf8(PQresultErrorMessage(check)).trimmed());
            PQclear(check);
            if (!ok) {
                Finalize();
                return false;
            }
        }
        rows_ = std::make_unique<PgRows>();
        return true;
    }
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
    serverSql_.clear();
    insertTable_.clear();
    values_.clear();
    valueCount_ = 0;
    rows_.reset();
    row_ = -1;
}

bool Statement::runServer()
{
    PgSession* server = connection_ ? connection_->Server() : nullptr;
    if (!server) {
        if (connection_) connection_->setError(QStringLiteral("the connection is not open"));
        return false;
    }
    // A value not bound is NULL, as on SQLite.
    values_.resize(size_t(valueCount_));
    if (!server->ExecuteParams(serverSql_, values_, rows_.get())) {
        connection_->setError(server->LastError());
        *rows_ = PgRows();
        return false;
    }
    if (!insertTable_.isEmpty() && rows_->rowCount == 1) {
        serverInsertId_ = rows_->cells.front().toLongLong();
        // The catalogue's "newest key" read-back on this connection then finds this row.
        server->NoteInsertedKey(insertTable_, serverInsertId_);
    }
    return true;
}

bool Statement::fail()
{
    if (connection_ && connection_->Handle())
        connection_->setError(QString::fromUtf8(sqlite3_errmsg(connection_->Handle())));
    return false;
}

bool Statement::Bind(int index, const QVariant& value)
{
    if (!serverSql_.isEmpty()) {
        if (index < 1 || index > valueCount_) {
            connection_->setError(QStringLiteral("no value %1 in the statement").arg(index));
            return false;
        }
        if (size_t(index) > values_.size()) values_.resize(size_t(index));
        values_[size_t(index) - 1] = value;
        return true;
    }
    if (!stmt_) return false;
    int rc = SQLITE_OK;
    if (value.isNull()) {
        rc = sqlite3_bind_null(stmt_, index);
    } else if (value.typeId() == QMetaType::Int || value.typeId() == QMetaType::LongLong ||
               value.typeId() == QMetaType::UInt || value.typeId() == QMetaType::Bool) {
        rc = sqlite3_bind_int64(stmt_, index, value.toLongLong());
    } else {
        const QByteArray text = WithoutNul(value.toString()).toUtf8();
        rc = sqlite3_bind_text(stmt_, index, text.constData(), int(text.size()), SQLITE_TRANSIENT);
    }
    return rc == SQLITE_OK || fail();
}

bool Statement::Exec()
{
    rowsAffected_ = 0;
    if (!serverSql_.isEmpty()) {
        const bool ok = runServer();
        // An insert that hands back its key returns rows, which the server does not count as changed.
        if (ok)
            rowsAffected_ = insertTable_.isEmpty() ? connection_->Server()->RowsAffected() : rows_->rowCount;
        Reset();
        return ok;
    }
    if (!stmt_) return false;
    const int rc = sqlite3_step(stmt_);
    const bool ok = rc == SQLITE_DONE || rc == SQLITE_ROW;
    if (ok)
        rowsAffected_ = sqlite3_changes(connection_->Handle());
    else
        fail();
    Reset();
    return ok;
}

bool Statement::Next()
{
    if (!serverSql_.isEmpty()) {
        if (row_ < 0) {
            if (!runServer()) return false;
            row_ = 0;
        } else if (row_ < rows_->rowCount) {
            ++row_;
        }
        return row_ < rows_->rowCount;
    }
    if (!stmt_) return false;
    const int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) return true;
    if (rc != SQLITE_DONE) fail();
    return false;
}

QVariant Statement::Column(int index) const
{
    if (!serverSql_.isEmpty()) {
        const int width = int(rows_->names.size());
        if (row_ < 0 || row_ >= rows_->rowCount || index < 0 || index >= width) return QVariant();
        return rows_->cells[size_t(row_) * size_t(width) + size_t(index)];
    }
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
    if (!serverSql_.isEmpty()) return int(rows_->names.size());
    return stmt_ ? sqlite3_column_count(stmt_) : 0;
}

void Statement::Reset()
{
    if (!serverSql_.isEmpty()) {
        values_.clear();
        *rows_ = PgRows();
        row_ = -1;
        return;
    }
    if (!stmt_) return;
    sqlite3_reset(stmt_);
    sqlite3_clear_bindings(stmt_);
}

qint64 Statement::LastInsertId() const
{
    if (connection_ && connection_->Server()) return serverInsertId_;
    return connection_ && connection_->Handle() ? sqlite3_last_insert_rowid(connection_->Handle()) : 0;
}

}  // namespace db
