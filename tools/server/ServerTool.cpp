#include "ServerTool.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include "ServerRoles.h"
#include "core/db/Connection.h"
#include "core/db/KeyCounter.h"
#include "core/db/PgSession.h"
#include "core/db/Recordset.h"
#include "core/db/ServerCatalogue.h"
#include "core/db/ServerFiles.h"
#include "core/db/Statement.h"

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
        // A catalogue made here gets its roles as one made by init does.
        const Result roles = SetUpRoles(uri);
        if (!roles.ok) {
            *error = roles.error;
            return false;
        }
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

QStringList mediaFiles(const QString& programFolder, const char* folder)
{
    return QDir(programFolder + QLatin1Char('/') + QLatin1String(folder)).entryList(QDir::Files, QDir::Name);
}

// Copies one table of House.db to the server in batches of 500 rows, then moves the server's key
// counter to where House.db's stood. On failure *what says what could not be done.
bool uploadTable(db::Connection& local, db::PgSession* server, const QString& table, qint64* count,
                 QString* what)
{
    const QString key = server->KeyColumn(table);
    db::Recordset rows;
    if (!rows.Open(QStringLiteral("Select * From ") + table, local, db::CursorType::ForwardOnly)) {
        *what = QStringLiteral("cannot read %1 from House.db").arg(table);
        return false;
    }
    QStringList columns;
    for (int i = 0; i < rows.FieldCount(); ++i) columns << rows.FieldName(i);
    const QString head =
        QStringLiteral("INSERT INTO %1 (%2) VALUES ").arg(table, columns.join(QStringLiteral(", ")));
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
    const qint64 last = qMax<qint64>(db::LastKey(local, table), 0);
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
bool downloadTable(db::Connection& local, db::Connection& remote, const QString& table, qint64* count,
                   QString* what)
{
    db::PgSession* server = remote.Server();
    const QString key = server->KeyColumn(table);
    db::PgRows rows;
    if (!server->ExecuteNative(QStringLiteral("SELECT * FROM %1 ORDER BY %2").arg(table, key), &rows)) {
        *what = QStringLiteral("cannot read %1: %2").arg(table, server->LastError());
        return false;
    }
    QStringList marks;
    for (int i = 0; i < rows.names.size(); ++i) marks << QStringLiteral("?");
    db::Statement insert;
    if (!insert.Prepare(local, QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                                   .arg(table, rows.names.join(QStringLiteral(", ")),
                                        marks.join(QStringLiteral(", "))))) {
        *what = QStringLiteral("cannot write %1: %2").arg(table, local.LastError());
        return false;
    }
    const int width = int(rows.names.size());
    for (int r = 0; r < rows.rowCount; ++r) {
        for (int c = 0; c < width; ++c) insert.Bind(c + 1, rows.cells[size_t(r) * width + c]);
        if (!insert.Exec()) {
            *what = QStringLiteral("cannot write %1: %2").arg(table, local.LastError());
            return false;
        }
    }
    // House.db's key counter continues where the server's stood.
    const qint64 last = db::LastKey(remote, table);
    if (last > 0 && !db::RaiseLastKey(local, table, last)) {
        *what = QStringLiteral("cannot set the key counter of %1").arg(table);
        return false;
    }
    *count = rows.rowCount;
    return true;
}

// Fetches every file of one media folder from the server into the program folder; *written
// lists what was written, so that a failure can take it back.
bool downloadFiles(db::Connection& remote, const QString& programFolder, const char* folder,
                   QStringList* written, qint64* count, QString* what)
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
    const bool made = db::InitServerCatalogue(uri, &error);
    if (!made && error != QLatin1String("the database already has Tavrelo's tables")) return failure(error);
    // A catalogue an earlier version made has its tables but not its roles: init adds them.
    if (!made && RolesInPlace(uri, &error))
        return failure(QStringLiteral("the database already has Tavrelo's tables and roles"));
    if (!made && !error.isEmpty()) return failure(error);
    const Result roles = SetUpRoles(uri);
    if (!roles.ok) return roles;
    Result r;
    r.ok = true;
    r.report << (made ? QStringLiteral("Made Tavrelo's tables on the server.")
                      : QStringLiteral("Tavrelo's tables were already there; they now have the catalogue's "
                                       "roles."))
             << roles.report;
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
            if (!downloadTable(local, remote, table, &count, &what)) return fail(what);
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
