#include "Floor.h"

#include <libpq-fe.h>
#include <sqlite3.h>

#include <QFile>

#include "core/db/ChangeContext.h"
#include "core/db/Dialect.h"
#include "core/db/DialectPostgres.h"
#include "core/db/TextCollation.h"

namespace bench {

namespace {

// The floor compares text the way SQLite's own NOCASE does (A to Z only, byte order otherwise), so
// that the benchmark shows what folding all of Unicode costs on top of plain SQLite. The generated
// catalogue holds only ASCII and Chinese text, where both orderings agree, so the indexes built
// with the program's collation answer this one correctly.
int asciiNoCase(void*, int aBytes, const void* a, int bBytes, const void* b)
{
    const int n = aBytes < bBytes ? aBytes : bBytes;
    const int c = sqlite3_strnicmp(static_cast<const char*>(a), static_cast<const char*>(b), n);
    return c ? c : aBytes - bBytes;
}

// The floor on a server: libpq alone, one connection around the statements as the window opens
// one, each statement rendered as the program renders it, every value of every row read.
bool runOnServer(const QString& uri, const QStringList& jetStatements, std::vector<qint64>* rows)
{
    const QByteArray dbname = uri.toUtf8();
    const char* keywords[] = {"connect_timeout", "client_encoding", "dbname", nullptr};
    const char* values[] = {"5", "UTF8", dbname.constData(), nullptr};
    PGconn* conn = PQconnectdbParams(keywords, values, 1);
    bool ok = PQstatus(conn) == CONNECTION_OK;
    qint64 bytes = 0;
    // The program's session setting (Distinct through the index) rides with the first statement,
    // as the program sends it with its first query.
    QString prefix = QStringLiteral("SET enable_hashagg = off; ");
    for (QString jet : jetStatements) {
        if (!ok) break;
        if (jet.startsWith(QLatin1Char('\x01'))) jet.remove(0, 1);
        PGresult* result = PQexec(conn, (prefix + db::toPostgres(jet)).toUtf8().constData());
        prefix.clear();
        ok = PQresultStatus(result) == PGRES_TUPLES_OK || PQresultStatus(result) == PGRES_COMMAND_OK;
        const int count = PQntuples(result), columns = PQnfields(result);
        for (int r = 0; r < count; ++r) {
            for (int c = 0; c < columns; ++c) {
                PQgetvalue(result, r, c);
                bytes += PQgetlength(result, r, c);
            }
        }
        if (rows) rows->push_back(count);
        PQclear(result);
    }
    PQfinish(conn);
    static volatile qint64 sink = 0;
    sink = sink + bytes;
    return ok;
}

}  // namespace

bool RunStatements(const QString& databasePath, const QStringList& jetStatements, std::vector<qint64>* rows)
{
    if (rows) rows->clear();
    if (IsServerUri(databasePath)) return runOnServer(databasePath, jetStatements, rows);
    sqlite3* handle = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(databasePath).constData(), &handle, SQLITE_OPEN_READWRITE,
                        nullptr) != SQLITE_OK) {
        sqlite3_close(handle);
        return false;
    }
    sqlite3_create_collation(handle, db::kTextCollation, SQLITE_UTF8, nullptr, asciiNoCase);
    // A status written here is recorded by the history triggers as the program's is.
    db::RegisterChangeContext(handle);
    qint64 bytes = 0;
    bool ok = true;
    for (QString jet : jetStatements) {
        const bool firstRowOnly = jet.startsWith(QLatin1Char('\x01'));
        if (firstRowOnly) jet.remove(0, 1);
        const QByteArray sql = db::toSqlite(jet).toUtf8();
        sqlite3_stmt* stmt = nullptr;
        if (sqlite3_prepare_v2(handle, sql.constData(), int(sql.size()), &stmt, nullptr) != SQLITE_OK) {
            ok = false;
            break;
        }
        const int columns = sqlite3_column_count(stmt);
        qint64 count = 0;
        int rc;
        while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
            for (int c = 0; c < columns; ++c) {
                sqlite3_column_text(stmt, c);
                bytes += sqlite3_column_bytes(stmt, c);
            }
            ++count;
            if (firstRowOnly) {
                rc = SQLITE_DONE;
                break;
            }
        }
        sqlite3_finalize(stmt);
        if (rows) rows->push_back(count);
        if (rc != SQLITE_DONE) {
            ok = false;
            break;
        }
    }
    sqlite3_close(handle);
    // The byte count is used so that the reads cannot be optimised away.
    static volatile qint64 sink = 0;
    sink = sink + bytes;
    return ok;
}

}  // namespace bench
