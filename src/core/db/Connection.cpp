#include "core/db/Connection.h"

#include <sqlite3.h>

#include <QFile>
#include <QFileInfo>

#include "core/db/Clock.h"
#include "core/db/Dialect.h"
#include "core/db/Handles.h"
#include "core/db/PgSession.h"
#include "core/db/Recordset.h"
#include "core/db/TextCollation.h"
#include "core/db/schema_sql.h"

namespace db {

namespace {

// Access's Sgn: -1, 0 or 1 by the sign of a number; NULL stays NULL.
void sgnFunction(sqlite3_context* context, int, sqlite3_value** argv)
{
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL) {
        sqlite3_result_null(context);
        return;
    }
    const double v = sqlite3_value_double(argv[0]);
    sqlite3_result_int(context, v > 0 ? 1 : (v < 0 ? -1 : 0));
}

QString errorText(sqlite3* handle)
{
    return handle ? QString::fromUtf8(sqlite3_errmsg(handle)) : QStringLiteral("no connection");
}

}  // namespace

Connection::Connection() = default;

Connection::~Connection()
{
    Close();
}

bool Connection::Open(const QString& databasePath)
{
    Close();
    lastError_.clear();
    if (!QFileInfo(databasePath).isFile()) {
        lastError_ = QStringLiteral("no database file at ") + databasePath;
        return false;
    }
    sqlite3* handle = nullptr;
    const int rc = sqlite3_open_v2(QFile::encodeName(databasePath).constData(), &handle,
                                   SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (rc != SQLITE_OK) {
        lastError_ = errorText(handle);
        sqlite3_close(handle);
        return false;
    }
    // A catalogue held by another process for a moment is waited for; one that stays locked
    // counts as a failed connection.
    sqlite3_busy_timeout(handle, 1500);
    sqlite3_create_function(handle, "Sgn", 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr, sgnFunction,
                            nullptr, nullptr);
    RegisterTextCollation(handle);

    // Reading the table list is the first real access to the file: a file that is not a database,
    // or one that is locked, fails here.
    sqlite3_stmt* stmt = nullptr;
    int tables = -1;
    if (sqlite3_prepare_v2(handle,
                           "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name IN "
                           "('t_HouseType', 't_House', 't_Content', 't_Image', 't_Content_Auto')",
                           -1, &stmt, nullptr) == SQLITE_OK &&
        sqlite3_step(stmt) == SQLITE_ROW) {
        tables = sqlite3_column_int(stmt, 0);
    }
    if (tables != 5) lastError_ = tables < 0 ? errorText(handle) : QStringLiteral("catalogue tables missing");
    sqlite3_finalize(stmt);
    if (tables != 5) {
        sqlite3_close(handle);
        return false;
    }
    // A catalogue of an earlier build is moved to the current schema here, once. When that cannot
    // be done (a read-only file, another program reading it) it keeps working as it is, comparing
    // text with its old ordering, and is moved on a later open.
    UpgradeSchema(handle);
    handle_ = handle;
    return true;
}

void Connection::setError(const QString& message)
{
    lastError_ = message;
    if (handle_ && (sqlite3_extended_errcode(handle_) & 0xff) == SQLITE_READONLY) writeRefused_ = true;
    // Some errors (a full disk, an I/O error, no memory) make SQLite roll the whole transaction
    // back by itself; the connection is then in autocommit mode again and what follows runs
    // statement by statement.
    if (inTransaction_ && handle_ && sqlite3_get_autocommit(handle_)) inTransaction_ = false;
}

bool Connection::BeginTrans()
{
    if (server_) return serverResult(server_->Begin());
    if (!handle_ || inTransaction_) return false;
    writeRefused_ = false;
    // Immediate: the write lock is taken now (waiting up to the busy timeout), so a second copy
    // saving at the same moment cannot deadlock the two halfway.
    char* message = nullptr;
    if (sqlite3_exec(handle_, "BEGIN IMMEDIATE", nullptr, nullptr, &message) != SQLITE_OK) {
        lastError_ = QString::fromUtf8(message);
        sqlite3_free(message);
        return false;
    }
    inTransaction_ = true;
    return true;
}

bool Connection::CommitTrans()
{
    if (server_) return serverResult(server_->Commit());
    if (!handle_ || !inTransaction_) return false;
    inTransaction_ = false;
    if (sqlite3_get_autocommit(handle_)) return false;  // rolled back by SQLite meanwhile
    char* message = nullptr;
    if (sqlite3_exec(handle_, "COMMIT", nullptr, nullptr, &message) != SQLITE_OK) {
        lastError_ = QString::fromUtf8(message);
        sqlite3_free(message);
        if (!sqlite3_get_autocommit(handle_)) sqlite3_exec(handle_, "ROLLBACK", nullptr, nullptr, nullptr);
        return false;
    }
    return true;
}

void Connection::RollbackTrans()
{
    if (server_) {
        server_->Rollback();
        return;
    }
    if (!handle_ || !inTransaction_) return;
    inTransaction_ = false;
    if (!sqlite3_get_autocommit(handle_)) sqlite3_exec(handle_, "ROLLBACK", nullptr, nullptr, nullptr);
}

// An open transaction is rolled back: commit before closing.
void Connection::Close()
{
    inTransaction_ = false;
    releaseServer();
    if (handle_) {
        // Rolled back now, not when the last recordset lets go of the connection: until then the
        // closed connection would still hold the catalogue's write lock.
        if (!sqlite3_get_autocommit(handle_)) sqlite3_exec(handle_, "ROLLBACK", nullptr, nullptr, nullptr);
        // Recordsets finalize their own statements; close_v2 defers the close until they have.
        sqlite3_close_v2(handle_);
        handle_ = nullptr;
    }
}

bool Connection::Execute(const Sql& jetSql)
{
    rowsAffected_ = 0;
    if (server_) {
        const bool ok = serverResult(server_->Execute(jetSql));
        rowsAffected_ = server_ ? server_->RowsAffected() : 0;
        return ok;
    }
    if (!handle_) {
        lastError_ = QStringLiteral("connection is not open");
        return false;
    }
    const Sql::Bound bound = jetSql.Bind();
    if (!bound.valid) {
        setError(QStringLiteral("a value in the statement is not a number"));
        return false;
    }
    sqlite3_stmt* stmt = prepareSqlite(toSqlite(bound.text), bound.values);
    if (!stmt) return false;
    int rc;
    while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
    }
    const bool ok = rc == SQLITE_DONE;
    if (!ok)
        setError(errorText(handle_));
    else
        rowsAffected_ = sqlite3_changes(handle_);
    sqlite3_finalize(stmt);
    return ok;
}

bool Connection::Execute(const Sql& jetSql, Recordset& result)
{
    return result.Open(jetSql, *this, CursorType::ForwardOnly, LockType::ReadOnly);
}

sqlite3_stmt* Connection::prepareSqlite(const QString& sqliteSql, const std::vector<QVariant>& values)
{
    const QByteArray sql = sqliteSql.toUtf8();
    sqlite3_stmt* stmt = nullptr;
    const char* tail = nullptr;
    if (sqlite3_prepare_v2(handle_, sql.constData(), int(sql.size()), &stmt, &tail) != SQLITE_OK || !stmt) {
        setError(stmt ? errorText(handle_) : QStringLiteral("no statement"));
        sqlite3_finalize(stmt);
        return nullptr;
    }
    for (const char* end = sql.constData() + sql.size(); tail && tail < end; ++tail) {
        if (*tail != ' ' && *tail != ';' && *tail != '\t' && *tail != '\n' && *tail != '\r') {
            setError(QStringLiteral("text after the end of the statement"));
            sqlite3_finalize(stmt);
            return nullptr;
        }
    }
    for (size_t i = 0; i < values.size(); ++i) {
        const QByteArray name = "$" + QByteArray::number(qulonglong(i + 1));
        const int position = sqlite3_bind_parameter_index(stmt, name.constData());
        if (position > 0 && bindSqlite(stmt, position, values[i]) != SQLITE_OK) {
            setError(errorText(handle_));
            sqlite3_finalize(stmt);
            return nullptr;
        }
    }
    return stmt;
}

int Connection::bindSqlite(sqlite3_stmt* stmt, int position, const QVariant& value)
{
    if (value.isNull()) return sqlite3_bind_null(stmt, position);
    switch (value.typeId()) {
        case QMetaType::Int:
        case QMetaType::LongLong:
        case QMetaType::UInt:
        case QMetaType::Bool:
            return sqlite3_bind_int64(stmt, position, value.toLongLong());
        case QMetaType::Double:
            return sqlite3_bind_double(stmt, position, value.toDouble());
        case QMetaType::QDateTime: {
            const QByteArray utf8 = TimeText(value.toDateTime()).toUtf8();
            return sqlite3_bind_text(stmt, position, utf8.constData(), int(utf8.size()), SQLITE_TRANSIENT);
        }
        default: {
            const QByteArray utf8 = WithoutNul(value.toString()).toUtf8();
            return sqlite3_bind_text(stmt, position, utf8.constData(), int(utf8.size()), SQLITE_TRANSIENT);
        }
    }
}

QString QuoteText(const QString& text)
{
    QString quoted = text;
    quoted.replace(QLatin1Char('\''), QLatin1String("''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

bool CreateEmptyDatabase(const QString& path, QString* error)
{
    if (QFileInfo::exists(path)) {
        if (error) *error = QStringLiteral("a file is already there: ") + path;
        return false;
    }
    sqlite3* handle = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(path).constData(), &handle,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) != SQLITE_OK) {
        if (error) *error = errorText(handle);
        sqlite3_close(handle);
        return false;
    }
    RegisterTextCollation(handle);
    const bool made = CreateSchema(handle, error);
    sqlite3_close(handle);
    if (!made) QFile::remove(path);
    return made;
}

sqlite3* Handles::Sqlite(const Connection& connection)
{
    return connection.Handle();
}

PgSession* Handles::Server(const Connection& connection)
{
    return connection.Server();
}

}  // namespace db
