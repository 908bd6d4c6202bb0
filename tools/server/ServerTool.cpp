#include "ServerTool.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include "ServerRoles.h"
#include "core/db/CatalogueCopy.h"
#include "core/db/Connection.h"
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

// Adds the deals tables to a catalogue made before them, and gives them their rights.
bool upgradeDeals(const QString& uri, db::ServerUpgrade* done, QString* error)
{
    *done = db::UpgradeServerCatalogue(uri, error);
    if (*done == db::ServerUpgrade::Failed || *done == db::ServerUpgrade::NoCatalogue) return false;
    if (*done == db::ServerUpgrade::Current) return true;
    const Result roles = SetUpRoles(uri);
    if (!roles.ok) *error = roles.error;
    return roles.ok;
}

// Opens the server catalogue; with makeTables, a database without the tables gets them first, and
// one made before the deals tables gets those.
bool openServer(db::Connection& server, const QString& uri, bool makeTables, QString* error)
{
    // Upgraded before the catalogue is opened, so that the session opened reads the new tables too.
    db::ServerUpgrade upgraded = db::ServerUpgrade::Current;
    QString upgradeError;
    const bool current = !makeTables || upgradeDeals(uri, &upgraded, &upgradeError);
    if (server.OpenServer(uri)) {
        if (current) return true;
        server.Close();
        *error = upgradeError;
        return false;
    }
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

QStringList mediaFiles(const QString& programFolder, const char* folder)
{
    return QDir(programFolder + QLatin1Char('/') + QLatin1String(folder)).entryList(QDir::Files, QDir::Name);
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

Result Upgrade(const QString& uri)
{
    QString error;
    db::ServerUpgrade done = db::ServerUpgrade::Failed;
    if (!upgradeDeals(uri, &done, &error)) return failure(error);
    Result r;
    r.ok = true;
    r.report << (done == db::ServerUpgrade::Upgraded
                     ? QStringLiteral("Added the deals tables (t_Setting, t_Consultant, t_Customer, t_Deal, "
                                      "t_History) and their rights; nothing else was changed.")
                     : QStringLiteral("The catalogue already has the deals tables; nothing was changed."));
    return r;
}

Result Init(const QString& uri)
{
    QString error;
    const bool made = db::InitServerCatalogue(uri, &error);
    if (!made && error != QLatin1String("the database already has Tavrelo's tables")) return failure(error);
    // A catalogue an earlier version made may lack the deals tables: init adds them first.
    db::ServerUpgrade upgraded = db::ServerUpgrade::Current;
    if (!made) {
        upgraded = db::UpgradeServerCatalogue(uri, &error);
        if (upgraded == db::ServerUpgrade::Failed || upgraded == db::ServerUpgrade::NoCatalogue)
            return failure(error);
        error.clear();
    }
    // A catalogue an earlier version made has its tables but not its roles: init adds them.
    if (!made && upgraded == db::ServerUpgrade::Current && RolesInPlace(uri, &error))
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

    const qint64 present = db::ServerCatalogueSize(remote);
    if (present < 0) return failure(QStringLiteral("cannot read the server catalogue"));
    if (present > 0 && !replace)
        return failure(QStringLiteral("the server catalogue already holds %1 rows and files; "
                                      "use --replace to overwrite it")
                           .arg(present));

    Result result;
    const auto fail = [&](const QString& what) {
        db::AbandonUpload(remote);
        return failure(what + QStringLiteral(" (nothing was changed)"));
    };
    // One transaction: the server holds the old catalogue or the whole new one, never half.
    if (!db::BeginUpload(remote, replace, &error))
        return failure(error + QStringLiteral(" (nothing was changed)"));
    for (const char* name : db::kCopiedTables) {
        const QString table = QLatin1String(name);
        qint64 count = 0;
        if (!db::UploadTable(local, remote, table, &count, &error)) return fail(error);
        result.report << QStringLiteral("%1: %2 rows").arg(table, -15).arg(count);
    }
    for (const char* folder : kMediaFolders) {
        qint64 count = 0;
        if (!uploadFiles(remote, programFolder, folder, &count, &error)) return fail(error);
        result.report << QStringLiteral("%1: %2 files").arg(QLatin1String(folder), -15).arg(count);
    }
    if (!db::FinishUpload(remote, &error)) return failure(error + QStringLiteral(" (nothing was changed)"));
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
        if (!db::BeginDownload(remote, local, &error)) return fail(error);
        for (const char* name : db::kCopiedTables) {
            const QString table = QLatin1String(name);
            qint64 count = 0;
            if (!db::DownloadTable(remote, local, table, &count, &error)) return fail(error);
            result.report << QStringLiteral("%1: %2 rows").arg(table, -15).arg(count);
        }
        for (const char* folder : kMediaFolders) {
            qint64 count = 0;
            if (!downloadFiles(remote, programFolder, folder, &written, &count, &error)) return fail(error);
            result.report << QStringLiteral("%1: %2 files").arg(QLatin1String(folder), -15).arg(count);
        }
        if (!db::FinishDownload(remote, local, &error)) return fail(error);
    }
    result.ok = true;
    return result;
}

}  // namespace servertool
