#include "core/db/Pipeline.h"

#include <libpq-fe.h>

#include "core/db/Connection.h"
#include "core/db/Handles.h"
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
    PgSession* server = Handles::Server(connection_);
    if (!server || !server->Handle()) return fail(QStringLiteral("not a server connection"));
    if (PQenterPipelineMode(server->Handle()) != 1)
        return fail(QString::fromUtf8(PQerrorMessage(server->Handle())));
    active_ = true;
    return true;
}

bool Pipeline::Send(const QString& sql, const std::vector<QVariant>& values)
{
    if (!active_) return fail(QStringLiteral("the pipeline is not open"));
    PGconn* conn = Handles::Server(connection_)->Handle();
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
    PGconn* conn = Handles::Server(connection_)->Handle();
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
                Handles::Server(connection_)->NoteRefusal(result);
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
    PGconn* conn = Handles::Server(connection_)->Handle();
    active_ = false;
    if (PQexitPipelineMode(conn) != 1) return fail(QString::fromUtf8(PQerrorMessage(conn)));
    return synced;
}

QString ArrayElement(const QString& text)
{
    QString quoted = WithoutNul(text);
    quoted.replace(QLatin1Char('\\'), QStringLiteral("\\\\"))
        .replace(QLatin1Char('"'), QStringLiteral("\\\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

RowBatch::RowBatch(const QString& table, const QStringList& columns, const QStringList& types)
    : arrays_(size_t(columns.size()))
{
    QStringList unnested;
    for (int i = 0; i < types.size(); ++i) unnested << QStringLiteral("$%1::%2[]").arg(i + 1).arg(types[i]);
    sql_ = QStringLiteral("INSERT INTO %1 (%2) SELECT * FROM unnest(%3)")
               .arg(table, columns.join(QStringLiteral(", ")), unnested.join(QStringLiteral(", ")));
}

void RowBatch::Add(const std::vector<QVariant>& row)
{
    for (size_t i = 0; i < arrays_.size() && i < row.size(); ++i) {
        QString& array = arrays_[i];
        array += rows_ == 0 ? QLatin1Char('{') : QLatin1Char(',');
        array += row[i].isNull() ? QStringLiteral("NULL") : ArrayElement(row[i].toString());
    }
    ++rows_;
}

bool RowBatch::SendTo(Pipeline& pipeline)
{
    if (rows_ == 0) return true;
    std::vector<QVariant> values;
    for (QString& array : arrays_) {
        values.emplace_back(array + QLatin1Char('}'));
        array.clear();
    }
    rows_ = 0;
    return pipeline.Send(sql_, values);
}

}  // namespace db
