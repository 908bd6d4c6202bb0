#include "core/db/Pipeline.h"

#include <libpq-fe.h>

#include "core/db/Connection.h"
#include "core/db/PgSession.h"
#include "core/db/Sql.h"

namespace db {

namespace {

// Answers read back at a time: large enough that round trips do not count, small enough that the
// queued statements and their answers stay a few megabytes.
constexpr int kSyncEvery = 2000;

}  // namespace

Pipeline::Pipeline(Connection& connection) : connection_(connection) {}

Pipeline::~Pipeline()
{
    if (active_) End();
}

bool Pipeline::fail(const QString& message)
{
    if (error_.isEmpty()) error_ = message.trimmed();
    return false;
}

bool Pipeline::Begin()
{
    PgSession* server = connection_.Server();
    if (!server || !server->Handle()) return fail(QStringLiteral("not a server connection"));
    if (PQenterPipelineMode(server->Handle()) != 1)
        return fail(QString::fromUtf8(PQerrorMessage(server->Handle())));
    active_ = true;
    return true;
}

bool Pipeline::Send(const QString& sql, const std::vector<QVariant>& values)
{
    if (!active_) return fail(QStringLiteral("the pipeline is not open"));
    PGconn* conn = connection_.Server()->Handle();
    std::vector<QByteArray> bytes;
    std::vector<const char*> pointers;
    std::vector<int> lengths;
    std::vector<int> formats;
    bytes.reserve(values.size());
    for (const QVariant& v : values) {
        const bool binary = v.typeId() == QMetaType::QByteArray;
        // Text loses its NUL characters here as in every other statement (see WithoutNul).
        bytes.push_back(binary ? v.toByteArray() : WithoutNul(v.toString()).toUtf8());
        pointers.push_back(v.isNull() ? nullptr : bytes.back().constData());
        lengths.push_back(int(bytes.back().size()));
        formats.push_back(binary ? 1 : 0);
    }
    const QByteArray text = sql.toUtf8();
    if (PQsendQueryParams(conn, text.constData(), int(values.size()), nullptr, pointers.data(),
                          lengths.data(), formats.data(), 0) != 1)
        return fail(QString::fromUtf8(PQerrorMessage(conn)));
    return ++pending_ < kSyncEvery || Sync();
}

bool Pipeline::Sync()
{
    if (!active_) return error_.isEmpty();
    PGconn* conn = connection_.Server()->Handle();
    if (PQpipelineSync(conn) != 1) return fail(QString::fromUtf8(PQerrorMessage(conn)));
    // Every statement's answer ends with a null result; the sync's own answer ends the batch.
    bool ok = true;
    for (;;) {
        PGresult* result = PQgetResult(conn);
        if (!result) {
            if (PQstatus(conn) != CONNECTION_OK) return fail(QString::fromUtf8(PQerrorMessage(conn)));
            continue;
        }
        const ExecStatusType status = PQresultStatus(result);
        if (status == PGRES_PIPELINE_SYNC) {
            PQclear(result);
            break;
        }
        if (status == PGRES_FATAL_ERROR || status == PGRES_PIPELINE_ABORTED || status == PGRES_BAD_RESPONSE) {
            ok = false;
            if (status != PGRES_PIPELINE_ABORTED) {
                connection_.Server()->NoteRefusal(result);
                fail(QString::fromUtf8(PQresultErrorMessage(result)));
            }
        }
        PQclear(result);
    }
    pending_ = 0;
    return ok || fail(QStringLiteral("a statement of the batch failed"));
}

bool Pipeline::End()
{
    if (!active_) return error_.isEmpty();
    const bool synced = Sync();
    PGconn* conn = connection_.Server()->Handle();
    active_ = false;
    if (PQexitPipelineMode(conn) != 1) return fail(QString::fromUtf8(PQerrorMessage(conn)));
    return synced;
}

}  // namespace db
