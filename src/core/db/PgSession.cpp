#include "core/db/PgSession.h"

#include <libpq-fe.h>

#include <QRegularExpression>
#include <cstdlib>
#include <mutex>

#include "core/db/ChangeContext.h"
#include "core/db/Clock.h"
#include "core/db/DialectPostgres.h"
#include "core/db/ServerLogin.h"

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
    kNumeric = 1700,
    // Declared for bound text, so that a placeholder in a select list or under COLLATE has a type
    // without the server guessing one.
    kText = 25
};

QString errorText(PGconn* conn)
{
    return conn ? QString::fromUtf8(PQerrorMessage(conn)).trimmed() : QStringLiteral("no connection");
}

}  // namespace

// The values of one statement as libpq takes them: text, each with its pointer (null for NULL) and
// its type (0: the server infers it from the statement). A bool goes as the whole number SQLite
// would store for it; text loses its NUL characters, which the server's text cannot hold.
struct PgValues {
    std::vector<QByteArray> text;
    std::vector<const char*> pointers;
    std::vector<Oid> types;

    PgValues(const std::vector<QVariant>* values, bool declared)
    {
        if (!values) return;
        text.reserve(values->size());
        for (const QVariant& v : *values) {
            Oid type = kText;
            switch (v.typeId()) {
                case QMetaType::Bool:
                    text.push_back(QByteArray::number(v.toBool() ? 1 : 0));
                    type = kInt8;
                    break;
                case QMetaType::Int:
                case QMetaType::LongLong:
                case QMetaType::UInt:
                    text.push_back(QByteArray::number(v.toLongLong()));
                    type = kInt8;
                    break;
                case QMetaType::Double:
                    text.push_back(QByteArray::number(v.toDouble(), 'g', 17));
                    type = kFloat8;
                    break;
                case QMetaType::QDateTime:
                    text.push_back(TimeText(v.toDateTime()).toUtf8() + "+00");
                    type = 0;
                    break;
                default:
                    text.push_back(WithoutNul(v.toString()).toUtf8());
                    // A moment as the deals tables keep it goes untyped: the server reads it as
                    // whatever the statement puts there, text or a timestamptz column.
                    if (v.typeId() == QMetaType::QString && IsTimeText(v.toString())) type = 0;
            }
            types.push_back(declared && !v.isNull() ? type : 0);
        }
        for (size_t i = 0; i < values->size(); ++i)
            pointers.push_back((*values)[i].isNull() ? nullptr : text[i].constData());
    }
    int count() const { return int(pointers.size()); }
    const char* const* array() const { return pointers.empty() ? nullptr : pointers.data(); }
    const Oid* typeArray() const { return types.empty() ? nullptr : types.data(); }
};

namespace {

// Every statement goes through the extended protocol, which takes exactly one statement: a text
// that holds a second one is refused by the server as a whole.
int sendOne(PGconn* conn, const char* sql, const PgValues* values = nullptr)
{
    if (!values) return PQsendQueryParams(conn, sql, 0, nullptr, nullptr, nullptr, nullptr, 0);
    return PQsendQueryParams(conn, sql, values->count(), values->typeArray(), values->array(), nullptr,
                             nullptr, 0);
}

PGresult* execOne(PGconn* conn, const char* sql)
{
    return PQexecParams(conn, sql, 0, nullptr, nullptr, nullptr, nullptr, 0);
}

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
    uri_ = uri;
    // Asks for a password when the server wants one that libpq found nowhere; refuses a URI that
    // carries one.
    conn_ = ConnectServer(uri, &lastError_);
    if (!conn_) return false;
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
        PGresult* alive = execOne(session->conn_, "");
        const bool ok =
            PQresultStatus(alive) == PGRES_EMPTY_QUERY && PQstatus(session->conn_) == CONNECTION_OK;
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
    if (PQstatus(session->conn_) != CONNECTION_OK || PQtransactionStatus(session->conn_) != PQTRANS_IDLE)
        return;
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
    // Distinct then walks the column's index instead (same rows, same order). Both settings are
    // made before the table check, as a statement of their own (the protocol takes one at a time).
    // The history triggers record the PC's host name from the session, and times read back in UTC.
    const std::vector<QVariant> machine{MachineName()};
    if (!run(
            QStringLiteral("SELECT set_config('enable_hashagg', 'off', false), "
                           "set_config('lock_timeout', '1500', false), set_config('TimeZone', 'UTC', false), "
                           "set_config('tavrelo.machine', $1, false)"),
            nullptr, &machine) ||
        !run(QStringLiteral(
                 "SELECT c.relname, a.attname, a.atttypid IN (20, 21, 23), a.attidentity <> '' "
                 "FROM pg_attribute a JOIN pg_class c ON c.oid = a.attrelid "
                 "WHERE c.relkind = 'r' AND c.relnamespace = to_regnamespace(current_schema()) "
                 "AND c.relname IN ('t_housetype', 't_house', 't_content', 't_image', 't_content_auto', "
                 "'t_setting', 't_consultant', 't_customer', 't_deal', 't_history') "
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
    // The five tables make a catalogue; the deals tables are there too unless the catalogue was
    // made before them and not yet upgraded (core/db/ServerCatalogue.h).
    int catalogueKeys = 0;
    for (const char* table : {"t_housetype", "t_house", "t_content", "t_image", "t_content_auto"})
        catalogueKeys += keys_.contains(QLatin1String(table)) ? 1 : 0;
    if (catalogueKeys != 5) {
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
    const QByteArray utf8 = WithoutNul(value.toString()).toUtf8();
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

bool PgSession::Execute(const Sql& jetSql, PgRows* rows)
{
    const Sql::Bound bound = jetSql.Bind();
    if (!bound.valid) {
        lastError_ = QStringLiteral("a value in the statement is not a number");
        rowsAffected_ = 0;
        return false;
    }
    const QString own = bound.values.empty() ? ownKeyReadBack(bound.text) : QString();
    if (!own.isEmpty()) return run(own, rows);
    return run(toPostgres(bound.text), rows, &bound.values, ValueTypes::Declared);
}

bool PgSession::ExecuteNative(const QString& sql, PgRows* rows)
{
    return run(sql, rows);
}

bool PgSession::ExecuteParams(const QString& sql, const std::vector<QVariant>& values, PgRows* rows)
{
    return run(sql, rows, &values, ValueTypes::Inferred);
}

bool PgSession::ExecuteBound(const QString& sql, const std::vector<QVariant>& values, PgRows* rows)
{
    return run(sql, rows, &values, ValueTypes::Declared);
}

// Collects the results of one statement (and of the savepoints around it): the first row set, the
// count of changed rows, the first error.
struct PgSession::Results {
    PgRows* rows = nullptr;
    bool ok = true;
    bool haveRows = false;
    int affected = 0;
    bool refused = false;  // the server said this login may not write (see IsWriteRefusal)
    QString error;

    ExecStatusType take(PGresult* result)
    {
        const ExecStatusType status = PQresultStatus(result);
        // Savepoints report no count; the statement's own result does.
        if (status == PGRES_COMMAND_OK && *PQcmdTuples(result)) affected = atoi(PQcmdTuples(result));
        if (status == PGRES_TUPLES_OK) {
            if (rows && !haveRows) ReadPgResult(result, rows);
            haveRows = true;
        } else if (status != PGRES_COMMAND_OK && status != PGRES_EMPTY_QUERY &&
                   status != PGRES_PIPELINE_SYNC) {
            if (ok && status != PGRES_PIPELINE_ABORTED)
                error = QString::fromUtf8(PQresultErrorMessage(result)).trimmed();
            refused = refused || IsWriteRefusal(result);
            ok = false;
        }
        PQclear(result);
        return status;
    }
};

// Inside a transaction a failed statement would abort the whole transaction; a savepoint around
// each statement keeps the rule that a failed statement is skipped and the next one runs. The
// three go in one pipeline, one round trip, and each is parsed on its own, so a statement that
// does not even parse still leaves the savepoint to return to.
bool PgSession::runPiped(const QByteArray& text, const PgValues& values, Results& results)
{
    if (!PQenterPipelineMode(conn_)) {
        results.error = errorText(conn_);
        return false;
    }
    sendOne(conn_, "SAVEPOINT tavrelo_s");
    sendOne(conn_, text.constData(), &values);
    sendOne(conn_, "RELEASE SAVEPOINT tavrelo_s");
    if (!PQpipelineSync(conn_)) results.ok = false;
    // Each query's results end with a null; the sync's own result ends the pipeline.
    for (int nulls = 0; nulls < 8;) {
        PGresult* result = PQgetResult(conn_);
        if (!result) {
            if (PQstatus(conn_) != CONNECTION_OK) break;
            ++nulls;
            continue;
        }
        nulls = 0;
        if (results.take(result) == PGRES_PIPELINE_SYNC) break;
    }
    PQexitPipelineMode(conn_);
    return true;
}

bool PgSession::runAlone(const QByteArray& text, const PgValues& values, Results& results)
{
    if (!sendOne(conn_, text.constData(), &values)) {
        results.error = errorText(conn_);
        return false;
    }
    while (PGresult* result = PQgetResult(conn_)) results.take(result);
    return true;
}

void PgSession::returnToSavepoint()
{
    bool undone = true;
    for (const char* step : {"ROLLBACK TO SAVEPOINT tavrelo_s", "RELEASE SAVEPOINT tavrelo_s"}) {
        PGresult* result = execOne(conn_, step);
        undone = undone && PQresultStatus(result) == PGRES_COMMAND_OK;
        PQclear(result);
    }
    if (!undone) inTransaction_ = PQtransactionStatus(conn_) == PQTRANS_INTRANS;
}

bool PgSession::run(const QString& sql, PgRows* rows, const std::vector<QVariant>* values, ValueTypes types)
{
    rowsAffected_ = 0;
    if (!conn_) {
        lastError_ = QStringLiteral("connection is not open");
        return false;
    }
    const QByteArray text = sql.toUtf8();
    const PgValues bound(values, types == ValueTypes::Declared);
    Results results;
    results.rows = rows;
    const bool sent = inTransaction_ ? runPiped(text, bound, results) : runAlone(text, bound, results);
    if (!sent) {
        lastError_ = results.error;
        return false;
    }
    if (PQstatus(conn_) != CONNECTION_OK) {
        // The server went away: this connection is done, and what follows fails quietly.
        lastError_ = errorText(conn_);
        inTransaction_ = false;
        return false;
    }
    if (!results.ok) {
        lastError_ = results.error;
        if (results.refused) writeRefused_ = true;
        if (inTransaction_) returnToSavepoint();
        return false;
    }
    rowsAffected_ = results.affected;
    if (rows && !results.haveRows) *rows = PgRows();
    return true;
}

bool PgSession::IsWriteRefusal(const PGresult* result)
{
    const char* state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
    return state && (qstrcmp(state, "42501") == 0 || qstrcmp(state, "25006") == 0);
}

void PgSession::NoteRefusal(const PGresult* result)
{
    if (IsWriteRefusal(result)) writeRefused_ = true;
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
    PGresult* result = execOne(conn_, "COMMIT");
    // A COMMIT of an aborted transaction reports ROLLBACK: that is a failure, not a save.
    const bool ok = PQresultStatus(result) == PGRES_COMMAND_OK &&
                    QByteArray(PQcmdStatus(result)) == QByteArrayLiteral("COMMIT");
    if (!ok) {
        lastError_ = errorText(conn_);
        NoteRefusal(result);
    }
    PQclear(result);
    return ok;
}

void PgSession::Rollback()
{
    if (!conn_ || !inTransaction_) return;
    inTransaction_ = false;
    PQclear(execOne(conn_, "ROLLBACK"));
}

}  // namespace db
