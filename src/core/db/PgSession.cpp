#include "core/db/PgSession.h"

#include <libpq-fe.h>

#include <QRegularExpression>
#include <cstdlib>
#include <mutex>

#include "core/db/DialectPostgres.h"

namespace db {

namespace {

// Type oids of the server's built-in types that the catalogue uses.
enum : Oid {
    kBool = 16,
    kBytea = 17,
    kInt8 = 20,
    kInt2 = 21,
    kInt4 = 23,
    kOid = 26,
    kFloat4 = 700,
    kFloat8 = 701,
    kNumeric = 1700
};

QString errorText(PGconn* conn)
{
    return conn ? QString::fromUtf8(PQerrorMessage(conn)).trimmed() : QStringLiteral("no connection");
}

// Reaching the server is bounded unless the URI itself says how long to wait.
const char* const kConnectTimeout = "5";

}  // namespace

void ReadPgResult(PGresult* result, PgRows* rows)
{
    const int width = PQnfields(result);
    const int count = PQntuples(result);
    rows->names.clear();
    rows->cells.clear();
    rows->cells.reserve(size_t(width) * size_t(count));
    for (int c = 0; c < width; ++c) rows->names << QString::fromUtf8(PQfname(result, c));
    std::vector<Oid> types(width);
    for (int c = 0; c < width; ++c) types[c] = PQftype(result, c);
    for (int r = 0; r < count; ++r) {
        for (int c = 0; c < width; ++c) {
            if (PQgetisnull(result, r, c)) {
                rows->cells.emplace_back();
                continue;
            }
            const char* text = PQgetvalue(result, r, c);
            switch (types[c]) {
                case kInt2:
                case kInt4:
                case kInt8:
                case kOid:
                    rows->cells.emplace_back(qint64(strtoll(text, nullptr, 10)));
                    break;
                case kFloat4:
                case kFloat8:
                case kNumeric:
                    rows->cells.emplace_back(strtod(text, nullptr));
                    break;
                case kBool:
                    rows->cells.emplace_back(qint64(text[0] == 't' ? -1 : 0));
                    break;
                case kBytea: {
                    size_t length = 0;
                    unsigned char* bytes =
                        PQunescapeBytea(reinterpret_cast<const unsigned char*>(text), &length);
                    rows->cells.emplace_back(
                        QByteArray(reinterpret_cast<const char*>(bytes), qsizetype(length)));
                    PQfreemem(bytes);
                    break;
                }
                default:
                    rows->cells.emplace_back(QString::fromUtf8(text, PQgetlength(result, r, c)));
            }
        }
    }
    rows->rowCount = count;
}

PgSession::~PgSession()
{
    Close();
}

bool PgSession::Open(const QString& uri)
{
    Close();
    lastError_.clear();
    const QByteArray dbname = uri.toUtf8();
    // Later entries win: the URI's own settings override the defaults before it.
    const char* keywords[] = {"connect_timeout", "client_encoding", "dbname", nullptr};
    const char* values[] = {kConnectTimeout, "UTF8", dbname.constData(), nullptr};
    uri_ = uri;
    conn_ = PQconnectdbParams(keywords, values, 1);
    if (!conn_ || PQstatus(conn_) != CONNECTION_OK) {
        lastError_ = errorText(conn_);
        Close();
        return false;
    }
    if (!loadTables()) {
        Close();
        return false;
    }
    return true;
}

namespace {
constexpr int kIdleSessions = 4;
std::mutex poolLock;
std::vector<std::unique_ptr<PgSession>>& idleSessions()
{
    static std::vector<std::unique_ptr<PgSession>> idle;
    return idle;
}
}  // namespace

std::unique_ptr<PgSession> PgSession::Acquire(const QString& uri, QString* error)
{
    for (;;) {
        std::unique_ptr<PgSession> session;
        {
            std::lock_guard<std::mutex> hold(poolLock);
            auto& idle = idleSessions();
            for (auto it = idle.rbegin(); it != idle.rend(); ++it) {
                if ((*it)->uri_ == uri) {
                    session = std::move(*it);
                    idle.erase(std::next(it).base());
                    break;
                }
            }
        }
        if (!session) break;
        PGresult* alive = PQexec(session->conn_, "");
        const bool ok = PQresultStatus(alive) == PGRES_EMPTY_QUERY && PQstatus(session->conn_) == CONNECTION_OK;
        PQclear(alive);
        if (ok) {
            session->lastError_.clear();
            return session;
        }
    }
    auto session = std::make_unique<PgSession>();
    if (session->Open(uri)) return session;
    if (error) *error = session->LastError();
    return nullptr;
}

void PgSession::Release(std::unique_ptr<PgSession> session)
{
    if (!session || !session->conn_) return;
    session->Rollback();
    session->insertedKeys_.clear();
    if (PQstatus(session->conn_) != CONNECTION_OK || PQtransactionStatus(session->conn_) != PQTRANS_IDLE) return;
    std::lock_guard<std::mutex> hold(poolLock);
    auto& idle = idleSessions();
    if (int(idle.size()) >= kIdleSessions) idle.erase(idle.begin());
    idle.push_back(std::move(session));
}

bool PgSession::loadTables()
{
    PgRows rows;
    // A row another PC holds locked is waited for as long as SQLite waits for a locked file, and
    // then the statement fails as it would there.
    // Hashing text under the case-insensitive collation is far slower than the planner reckons;
    // Distinct then walks the column's index instead (same rows, same order), in the same round
    // trip as the table check.
    if (!run(QStringLiteral(
                 "SET enable_hashagg = off; SET lock_timeout = 1500; "
                 "SELECT c.relname, a.attname, a.atttypid IN (20, 21, 23), a.attidentity <> '' "
                 "FROM pg_attribute a JOIN pg_class c ON c.oid = a.attrelid "
                 "WHERE c.relkind = 'r' AND c.relnamespace = to_regnamespace(current_schema()) "
                 "AND c.relname IN ('t_housetype', 't_house', 't_content', 't_image', 't_content_auto') "
                 "AND a.attnum > 0 AND NOT a.attisdropped"),
             &rows)) {
        return false;
    }
    for (int r = 0; r < rows.rowCount; ++r) {
        const QString table = rows.cells[size_t(r) * 4].toString();
        const QString column = rows.cells[size_t(r) * 4 + 1].toString();
        numberColumns_.insert(table + QLatin1Char('.') + column, rows.cells[size_t(r) * 4 + 2].toBool());
        if (rows.cells[size_t(r) * 4 + 3].toBool()) keys_.insert(table, column);
    }
    if (keys_.size() != 5) {
        lastError_ = QStringLiteral("catalogue tables missing");
        return false;
    }
    return true;
}

void PgSession::Close()
{
    if (conn_) PQfinish(conn_);
    conn_ = nullptr;
    inTransaction_ = false;
    keys_.clear();
    numberColumns_.clear();
    insertedKeys_.clear();
}

QString PgSession::Literal(const QVariant& value) const
{
    if (value.isNull()) return QStringLiteral("NULL");
    switch (value.typeId()) {
        case QMetaType::Int:
        case QMetaType::LongLong:
        case QMetaType::UInt:
            return QString::number(value.toLongLong());
        case QMetaType::Bool:
            return value.toBool() ? QStringLiteral("-1") : QStringLiteral("0");
        case QMetaType::Double:
            return QString::number(value.toDouble(), 'g', 17);
        default:
            break;
    }
    const QByteArray utf8 = value.toString().toUtf8();
    char* quoted = conn_ ? PQescapeLiteral(conn_, utf8.constData(), size_t(utf8.size())) : nullptr;
    if (!quoted) return QStringLiteral("NULL");
    const QString text = QString::fromUtf8(quoted);
    PQfreemem(quoted);
    return text;
}

// With two PCs saving at once the largest key may be the other PC's: "the newest key" read back
// after this connection's own insert is answered with the key that insert made.
QString PgSession::ownKeyReadBack(const QString& jetSql) const
{
    static const QRegularExpression largest(
        QStringLiteral(R"(^\s*Select\s+Top\s+1\s+(\w+)\s+From\s+(\w+)\s+Order\s+By\s+\1\s+DESC\s*$)"),
        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch m = largest.match(jetSql);
    if (!m.hasMatch()) return QString();
    const QString table = m.captured(2).toLower();
    if (!insertedKeys_.contains(table) || KeyColumn(table).compare(m.captured(1), Qt::CaseInsensitive) != 0)
        return QString();
    return QStringLiteral("SELECT %1 FROM %2 WHERE %1 = %3")
        .arg(m.captured(1), m.captured(2), QString::number(insertedKeys_.value(table)));
}

bool PgSession::Execute(const QString& jetSql, PgRows* rows)
{
    const QString own = ownKeyReadBack(jetSql);
    return run(own.isEmpty() ? toPostgres(jetSql) : own, rows);
}

bool PgSession::ExecuteNative(const QString& sql, PgRows* rows)
{
    return run(sql, rows);
}

bool PgSession::ExecuteParams(const QString& sql, const std::vector<QVariant>& values, PgRows* rows)
{
    return run(sql, rows, &values);
}

bool PgSession::run(const QString& sql, PgRows* rows, const std::vector<QVariant>* values)
{
    if (!conn_) {
        lastError_ = QStringLiteral("connection is not open");
        return false;
    }
    // Inside a transaction a failed statement would abort the whole transaction; a savepoint around
    // each statement keeps the rule that a failed statement is skipped and the next one runs. The
    // three go in one pipeline, one round trip, and each is parsed on its own, so a statement that
    // does not even parse (an apostrophe in a value) still leaves the savepoint to return to.
    const QByteArray text = sql.toUtf8();
    // Bound values as text; a bool goes as the whole number SQLite would store for it.
    std::vector<QByteArray> valueText;
    std::vector<const char*> valuePointers;
    if (values) {
        valueText.reserve(values->size());
        for (const QVariant& v : *values) {
            if (v.typeId() == QMetaType::Bool)
                valueText.push_back(QByteArray::number(v.toBool() ? 1 : 0));
            else if (v.typeId() == QMetaType::Double)
                valueText.push_back(QByteArray::number(v.toDouble(), 'g', 17));
            else
                valueText.push_back(v.toString().toUtf8());
        }
        for (size_t i = 0; i < values->size(); ++i)
            valuePointers.push_back((*values)[i].isNull() ? nullptr : valueText[i].constData());
    }
    const int valueCount = int(valuePointers.size());
    const char* const* valueArray = valuePointers.empty() ? nullptr : valuePointers.data();
    bool ok = true;
    bool haveRows = false;
    rowsAffected_ = 0;
    const auto take = [&](PGresult* result) {
        const ExecStatusType status = PQresultStatus(result);
        // Savepoints report no count; the statement's own result does.
        if (status == PGRES_COMMAND_OK && *PQcmdTuples(result)) rowsAffected_ = atoi(PQcmdTuples(result));
        if (status == PGRES_TUPLES_OK) {
            if (rows && !haveRows) ReadPgResult(result, rows);
            haveRows = true;
        } else if (status != PGRES_COMMAND_OK && status != PGRES_EMPTY_QUERY &&
                   status != PGRES_PIPELINE_SYNC) {
            if (ok && status != PGRES_PIPELINE_ABORTED)
                lastError_ = QString::fromUtf8(PQresultErrorMessage(result)).trimmed();
            noteRefusal(result);
            ok = false;
        }
        PQclear(result);
        return status;
    };
    if (inTransaction_) {
        if (!PQenterPipelineMode(conn_)) {
            lastError_ = errorText(conn_);
            return false;
        }
        PQsendQueryParams(conn_, "SAVEPOINT tavrelo_s", 0, nullptr, nullptr, nullptr, nullptr, 0);
        PQsendQueryParams(conn_, text.constData(), valueCount, nullptr, valueArray, nullptr, nullptr, 0);
        PQsendQueryParams(conn_, "RELEASE SAVEPOINT tavrelo_s", 0, nullptr, nullptr, nullptr, nullptr, 0);
        if (!PQpipelineSync(conn_)) ok = false;
        // Each query's results end with a null; the sync's own result ends the pipeline.
        for (int nulls = 0; nulls < 8;) {
            PGresult* result = PQgetResult(conn_);
            if (!result) {
                if (PQstatus(conn_) != CONNECTION_OK) break;
                ++nulls;
                continue;
            }
            nulls = 0;
            if (take(result) == PGRES_PIPELINE_SYNC) break;
        }
        PQexitPipelineMode(conn_);
    } else {
        const int sent = values ? PQsendQueryParams(conn_, text.constData(), valueCount, nullptr, valueArray,
                                                    nullptr, nullptr, 0)
                                : PQsendQuery(conn_, text.constData());
        if (!sent) {
            lastError_ = errorText(conn_);
            return false;
        }
        while (PGresult* result = PQgetResult(conn_)) take(result);
    }
    if (PQstatus(conn_) != CONNECTION_OK) {
        // The server went away: this connection is done, and what follows fails quietly.
        lastError_ = errorText(conn_);
        inTransaction_ = false;
        return false;
    }
    if (!ok && inTransaction_) {
        PGresult* undo = PQexec(conn_, "ROLLBACK TO SAVEPOINT tavrelo_s; RELEASE SAVEPOINT tavrelo_s");
        if (PQresultStatus(undo) != PGRES_COMMAND_OK)
            inTransaction_ = PQtransactionStatus(conn_) == PQTRANS_INTRANS;
        PQclear(undo);
    }
    if (ok && rows && !haveRows) *rows = PgRows();
    if (!ok) rowsAffected_ = 0;
    return ok;
}

void PgSession::noteRefusal(const PGresult* result)
{
    const char* state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
    if (state && (qstrcmp(state, "42501") == 0 || qstrcmp(state, "25006") == 0)) writeRefused_ = true;
}

bool PgSession::Begin()
{
    if (!conn_ || inTransaction_) return false;
    writeRefused_ = false;
    if (!run(QStringLiteral("BEGIN"), nullptr)) return false;
    inTransaction_ = true;
    return true;
}

bool PgSession::Commit()
{
    if (!conn_ || !inTransaction_) return false;
    inTransaction_ = false;
    PGresult* result = PQexec(conn_, "COMMIT");
    // A COMMIT of an aborted transaction reports ROLLBACK: that is a failure, not a save.
    const bool ok = PQresultStatus(result) == PGRES_COMMAND_OK &&
                    QByteArray(PQcmdStatus(result)) == QByteArrayLiteral("COMMIT");
    if (!ok) {
        lastError_ = errorText(conn_);
        noteRefusal(result);
    }
    PQclear(result);
    return ok;
}

void PgSession::Rollback()
{
    if (!conn_ || !inTransaction_) return;
    inTransaction_ = false;
    PQclear(PQexec(conn_, "ROLLBACK"));
}

}  // namespace db
