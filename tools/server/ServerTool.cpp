#include "ServerTool.h"

#include <sqlite3.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include "core/db/Connection.h"
#include "core/db/PgSession.h"
#include "core/db/Recordset.h"
#include "core/db/ServerCatalogue.h"
#include "core/db/ServerFiles.h"

namespace servertool {

namespace {

const char* const kMediaFolders[] = {"Images", "Music"};

Result failure(const QString& error)
{
    Result r;
    r.error = error;
    return r;
}

// Opens the server catalogue; with makeTables, a database without the tables gets them first.
bool openServer(db::Connection& server, const QString& uri, bool makeTables, QString* error)
{
    if (server.OpenServer(uri)) return true;
    if (makeTables && server.LastError() == QLatin1String("catalogue tables missing")) {
        if (!db::InitServerCatalogue(uri, error)) return false;
        if (server.OpenServer(uri)) return true;
    }
    *error = QStringLiteral("cannot open the catalogue on the server: ") + server.LastError();
    return false;
}

qint64 serverNumber(db::PgSession* server, const QString& sql, bool* ok)
{
    db::PgRows rows;
    *ok = server->ExecuteNative(sql, &rows) && rows.rowCount == 1;
    return *ok ? rows.cells.front().toLongLong() : 0;
}

qint64 localNumber(sqlite3* handle, const QString& sql)
{
    sqlite3_stmt* stmt = nullptr;
    qint64 value = 0;
    if (sqlite3_prepare_v2(handle, sql.toUtf8().constData(), -1, &stmt, nullptr) == SQLITE_OK &&
        sqlite3_step(stmt) == SQLITE_ROW)
        value = sqlite3_column_int64(stmt, 0);
    sqlite3_finalize(stmt);
    return value;
}

QStringList mediaFiles(const QString& programFolder, const char* folder)
{
    return QDir(programFolder + QLatin1Char('/') + QLatin1String(folder)).entryList(QDir::Files, QDir::Name);
}

// Copies one table of House.db to the server in batches of 500 rows, then moves the server's key
// counter to where House.db's stood. On failure *what says what could not be done.
bool uploadTable(db::Connection& local, db::PgSession* server, const QString& table, qint64* count, QString* what)
{
    const QString key = server->KeyColumn(table);
    db::Recordset rows;
    if (!rows.Open(QStringLiteral("Select * From ") + table, local, db::CursorType::ForwardOnly)) {
        *what = QStringLiteral("cannot read %1 from House.db").arg(table);
        return false;
    }
    QStringList columns;
    for (int i = 0; i < rows.FieldCount(); ++i) columns << rows.FieldName(i);
    const QString head = QStringLiteral("INSERT INTO %1 (%2) VALUES ").arg(table, columns.join(QStringLiteral(", ")));
    QStringList batch;
    *count = 0;
    const auto flush = [&] {
        if (batch.isEmpty()) return true;
        const bool sent = server->ExecuteNative(head + batch.join(QStringLiteral(", ")));
        batch.clear();
        return sent;
    };
    *what = QStringLiteral("cannot write %1").arg(table);
    while (!rows.Eof()) {
        QStringList values;
        for (int i = 0; i < rows.FieldCount(); ++i) values << server->Literal(rows.Field(i));
        batch << QLatin1Char('(') + values.join(QStringLiteral(", ")) + QLatin1Char(')');
        ++*count;
        if (batch.size() == 500 && !flush()) return false;
        rows.MoveNext();
    }
    if (!flush()) return false;
    // The server's key counter continues where House.db's stood, so a deleted key stays unused.
    const qint64 last =
        qMax(localNumber(local.Handle(), QStringLiteral("Select seq From sqlite_sequence "
                                                        "Where name = '%1'")
                                             .arg(table)),
             localNumber(local.Handle(), QStringLiteral("Select max(%1) From %2").arg(key, table)));
    *what = QStringLiteral("cannot set the key counter of %1").arg(table);
    return server->ExecuteNative(QStringLiteral("SELECT setval(pg_get_serial_sequence('%1', '%2'), %3, %4)")
                                     .arg(table, key)
                                     .arg(qMax<qint64>(last, 1))
                                     .arg(last > 0 ? QStringLiteral("true") : QStringLiteral("false")));
}

// Stores every file of one media folder on the server.
bool uploadFiles(db::Connection& remote, const QString& programFolder, const char* folder, qint64* count,
                 QString* what)
{
    const QStringList names = mediaFiles(programFolder, folder);
    for (const QString& name : names) {
        QFile file(programFolder + QLatin1Char('/') + QLatin1String(folder) + QLatin1Char('/') + name);
        if (!file.open(QIODevice::ReadOnly)) {
            *what = QStringLiteral("cannot read %1").arg(file.fileName());
            return false;
        }
        if (!db::PutServerFile(remote, QLatin1String(folder), name, file.readAll())) {
            *what = QStringLiteral("cannot store %1 on the server").arg(file.fileName());
            return false;
        }
    }
    *count = names.size();
    return true;
}

// Download only fills a folder without a catalogue and without pictures or tunes.
bool checkDownloadTarget(const QString& programFolder, const QString& databasePath, QString* error)
{
    if (QFileInfo::exists(databasePath)) {
        *error = QStringLiteral("%1 is already there; download only fills a folder without a catalogue")
                     .arg(databasePath);
        return false;
    }
    for (const char* folder : kMediaFolders) {
        if (!mediaFiles(programFolder, folder).isEmpty()) {
            *error = QStringLiteral("%1/%2 is not empty; download only fills a folder without a catalogue")
                         .arg(programFolder, QLatin1String(folder));
            return false;
        }
    }
    return true;
}

// Writes one server table into House.db with its keys, then moves House.db's key counter to
// where the server's stood.
bool downloadTable(sqlite3* handle, db::PgSession* server, const QString& table, qint64* count, QString* what)
{
    const QString key = server->KeyColumn(table);
    db::PgRows rows;
    if (!server->ExecuteNative(QStringLiteral("SELECT * FROM %1 ORDER BY %2").arg(table, key), &rows)) {
        *what = QStringLiteral("cannot read %1: %2").arg(table, server->LastError());
        return false;
    }
    QStringList marks;
    for (int i = 0; i < rows.names.size(); ++i) marks << QStringLiteral("?");
    const QByteArray sql = QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                               .arg(table, rows.names.join(QStringLiteral(", ")), marks.join(QStringLiteral(", ")))
                               .toUtf8();
    sqlite3_stmt* insert = nullptr;
    if (sqlite3_prepare_v2(handle, sql.constData(), -1, &insert, nullptr) != SQLITE_OK) {
        *what = QStringLiteral("cannot write %1: %2").arg(table, QString::fromUtf8(sqlite3_errmsg(handle)));
        return false;
    }
    const int width = int(rows.names.size());
    bool inserted = true;
    for (int r = 0; r < rows.rowCount && inserted; ++r) {
        sqlite3_reset(insert);
        for (int c = 0; c < width; ++c) {
            const QVariant& v = rows.cells[size_t(r) * width + c];
            if (v.isNull()) {
                sqlite3_bind_null(insert, c + 1);
            } else if (v.typeId() == QMetaType::LongLong) {
                sqlite3_bind_int64(insert, c + 1, v.toLongLong());
            } else {
                const QByteArray text = v.toString().toUtf8();
                sqlite3_bind_text(insert, c + 1, text.constData(), int(text.size()), SQLITE_TRANSIENT);
            }
        }
        inserted = sqlite3_step(insert) == SQLITE_DONE;
    }
    sqlite3_finalize(insert);
    if (!inserted) {
        *what = QStringLiteral("cannot write %1: %2").arg(table, QString::fromUtf8(sqlite3_errmsg(handle)));
        return false;
    }
    // House.db's key counter continues where the server's stood.
    bool ok = false;
    const qint64 last = serverNumber(server,
                                     QStringLiteral("SELECT coalesce(pg_sequence_last_value(pg_get_serial_sequence('%1', "
                                                    "'%2')::regclass), 0)")
                                         .arg(table, key),
                                     &ok);
    if (ok && last > 0) {
        const QString seq = QStringLiteral(
                                "INSERT INTO sqlite_sequence (name, seq) SELECT '%1', 0 WHERE NOT EXISTS "
                                "(SELECT 1 FROM sqlite_sequence WHERE name = '%1'); "
                                "UPDATE sqlite_sequence SET seq = max(seq, %2) WHERE name = '%1';")
                                .arg(table)
                                .arg(last);
        if (sqlite3_exec(handle, seq.toUtf8().constData(), nullptr, nullptr, nullptr) != SQLITE_OK) {
            *what = QStringLiteral("cannot set the key counter of %1").arg(table);
            return false;
        }
    }
    *count = rows.rowCount;
    return true;
}

// Fetches every file of one media folder from the server into the program folder; *written
// lists what was written, so that a failure can take it back.
bool downloadFiles(db::Connection& remote, const QString& programFolder, const char* folder, QStringList* written,
                   qint64* count, QString* what)
{
    const QString target = programFolder + QLatin1Char('/') + QLatin1String(folder);
    QDir().mkpath(target);
    const QStringList names = db::ServerFileNames(remote, QLatin1String(folder));
    for (const QString& name : names) {
        QByteArray content;
        if (!db::GetServerFile(remote, QLatin1String(folder), name, &content)) {
            *what = QStringLiteral("cannot read %1/%2 from the server").arg(QLatin1String(folder), name);
            return false;
        }
        const QString path = target + QLatin1Char('/') + name;
        QSaveFile out(path);
        if (!out.open(QIODevice::WriteOnly) || out.write(content) != content.size() || !out.commit()) {
            *what = QStringLiteral("cannot write ") + path;
            return false;
        }
        *written << path;
    }
    *count = names.size();
    return true;
}

}  // namespace

Result Init(const QString& uri)
{
    QString error;
    if (!db::InitServerCatalogue(uri, &error)) return failure(error);
    Result r;
    r.ok = true;
    r.report << QStringLiteral("Made Tavrelo's tables on the server.");
    return r;
}

Result Upload(const QString& uri, const QString& programFolder, bool replace)
{
    db::Connection local;
    if (!local.Open(programFolder + QStringLiteral("/House.db")))
        return failure(
            QStringLiteral("cannot open House.db in %1: %2").arg(programFolder, local.LastError()));
    QString error;
    db::Connection remote;
    if (!openServer(remote, uri, true, &error)) return failure(error);
    db::PgSession* server = remote.Server();

    bool ok = false;
    const qint64 present = serverNumber(
        server,
        QStringLiteral("SELECT (SELECT count(*) FROM t_HouseType) + (SELECT count(*) FROM t_House) + "
                       "(SELECT count(*) FROM t_Content) + (SELECT count(*) FROM t_Image) + "
                       "(SELECT count(*) FROM t_Content_Auto) + (SELECT count(*) FROM t_File)"),
        &ok);
    if (!ok) return failure(QStringLiteral("cannot read the server catalogue: ") + server->LastError());
    if (present > 0 && !replace)
        return failure(QStringLiteral("the server catalogue already holds %1 rows and files; "
                                      "use --replace to overwrite it")
                           .arg(present));

    Result result;
    const auto fail = [&](const QString& what) {
        server->ExecuteNative(QStringLiteral("ROLLBACK"));
        return failure(what + QStringLiteral(": ") + server->LastError() +
                       QStringLiteral(" (nothing was changed)"));
    };
    // One transaction: the server holds the old catalogue or the whole new one, never half.
    if (!server->ExecuteNative(QStringLiteral("BEGIN"))) return fail(QStringLiteral("cannot begin"));
    if (replace &&
        !server->ExecuteNative(QStringLiteral(
            "TRUNCATE t_HouseType, t_House, t_Content, t_Image, t_Content_Auto, t_File RESTART IDENTITY")))
        return fail(QStringLiteral("cannot empty the server catalogue"));

    QString what;
    for (const char* name : db::kTableNames) {
        const QString table = QLatin1String(name);
        qint64 count = 0;
        if (!uploadTable(local, server, table, &count, &what)) return fail(what);
        result.report << QStringLiteral("%1: %2 rows").arg(table, -15).arg(count);
    }
    for (const char* folder : kMediaFolders) {
        qint64 count = 0;
        if (!uploadFiles(remote, programFolder, folder, &count, &what)) return fail(what);
        result.report << QStringLiteral("%1: %2 files").arg(QLatin1String(folder), -15).arg(count);
    }
    if (!server->ExecuteNative(QStringLiteral("COMMIT"))) return fail(QStringLiteral("cannot commit"));
    // Fresh statistics and visibility, so the first queries already use the indexes.
    server->ExecuteNative(
        QStringLiteral("VACUUM (ANALYZE) t_HouseType, t_House, t_Content, t_Image, t_Content_Auto, t_File"));
    result.ok = true;
    return result;
}

Result Download(const QString& uri, const QString& programFolder)
{
    const QString databasePath = programFolder + QStringLiteral("/House.db");
    QString error;
    if (!checkDownloadTarget(programFolder, databasePath, &error)) return failure(error);
    db::Connection remote;
    if (!openServer(remote, uri, false, &error)) return failure(error);
    db::PgSession* server = remote.Server();

    QStringList written;
    const auto fail = [&](const QString& what) {
        for (const QString& path : written) QFile::remove(path);
        QFile::remove(databasePath);
        return failure(what + QStringLiteral(" (nothing was kept)"));
    };
    if (!QDir().mkpath(programFolder)) return failure(QStringLiteral("cannot make ") + programFolder);
    if (!db::CreateEmptyDatabase(databasePath, &error)) return failure(error);
    Result result;
    {
        db::Connection local;
        if (!local.Open(databasePath)) return fail(QStringLiteral("cannot open the new House.db"));
        if (!local.BeginTrans()) return fail(QStringLiteral("cannot begin on House.db"));
        // A read-only snapshot: the tables agree with each other even while PCs keep saving.
        if (!server->ExecuteNative(QStringLiteral("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY")))
            return fail(QStringLiteral("cannot read the server catalogue: ") + server->LastError());
        QString what;
        for (const char* name : db::kTableNames) {
            const QString table = QLatin1String(name);
            qint64 count = 0;
            if (!downloadTable(local.Handle(), server, table, &count, &what)) return fail(what);
            result.report << QStringLiteral("%1: %2 rows").arg(table, -15).arg(count);
        }
        for (const char* folder : kMediaFolders) {
            qint64 count = 0;
            if (!downloadFiles(remote, programFolder, folder, &written, &count, &what)) return fail(what);
            result.report << QStringLiteral("%1: %2 files").arg(QLatin1String(folder), -15).arg(count);
        }
        server->ExecuteNative(QStringLiteral("COMMIT"));
        if (!local.CommitTrans()) return fail(QStringLiteral("cannot commit House.db"));
    }
    result.ok = true;
    return result;
}

}  // namespace servertool
