#include "core/db/ServerFiles.h"

#include <libpq-fe.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include "core/db/Connection.h"
#include "core/db/Handles.h"
#include "core/db/PgSession.h"
#include "core/db/Store.h"

namespace db {

bool PutServerFile(Connection& connection, const QString& folder, const QString& name,
                   const QByteArray& content)
{
    PgSession* server = Handles::Server(connection);
    if (!server) return false;
    const QByteArray f = folder.toUtf8(), n = name.toUtf8();
    const char* values[] = {f.constData(), n.constData(), content.constData()};
    const int lengths[] = {int(f.size()), int(n.size()), int(content.size())};
    const int formats[] = {0, 0, 1};
    PGresult* result = PQexecParams(server->Handle(),
                                    "INSERT INTO t_File (Folder, Name, Content) VALUES ($1, $2, $3) "
                                    "ON CONFLICT (Folder, Name) DO UPDATE SET Content = EXCLUDED.Content",
                                    3, nullptr, values, lengths, formats, 0);
    const bool ok = PQresultStatus(result) == PGRES_COMMAND_OK;
    PQclear(result);
    return ok;
}

bool GetServerFile(Connection& connection, const QString& folder, const QString& name, QByteArray* content)
{
    PgSession* server = Handles::Server(connection);
    if (!server) return false;
    const QByteArray f = folder.toUtf8(), n = name.toUtf8();
    const char* values[] = {f.constData(), n.constData()};
    PGresult* result =
        PQexecParams(server->Handle(), "SELECT Content FROM t_File WHERE Folder = $1 AND Name = $2", 2,
                     nullptr, values, nullptr, nullptr, 1);
    const bool ok = PQresultStatus(result) == PGRES_TUPLES_OK && PQntuples(result) == 1;
    if (ok) *content = QByteArray(PQgetvalue(result, 0, 0), PQgetlength(result, 0, 0));
    PQclear(result);
    return ok;
}

QStringList ServerFileNames(Connection& connection, const QString& folder)
{
    QStringList names;
    PgSession* server = Handles::Server(connection);
    if (!server) return names;
    PgRows rows;
    if (server->ExecuteNative(QStringLiteral("SELECT Name FROM t_File WHERE Folder = %1 ORDER BY Name")
                                  .arg(server->Literal(folder)),
                              &rows)) {
        for (const QVariant& v : rows.cells) names << v.toString();
    }
    return names;
}

namespace {

// A path relative to the program folder (the image page names pictures as "Images/...").
QString absoluteIn(const QString& programFolder, const QString& path)
{
    return QFileInfo(path).isRelative() ? programFolder + QLatin1Char('/') + path : path;
}

// "Images" or "Music" when the path is a file directly in one of the program folder's two media
// folders; empty otherwise.
QString mediaFolderOf(const QString& programFolder, const QString& localPath, QString* name)
{
    const QFileInfo info(absoluteIn(programFolder, localPath));
    const QString parent = QDir::cleanPath(info.absolutePath());
    for (const char* folder : {"Images", "Music"}) {
        if (parent == QDir::cleanPath(programFolder + QLatin1Char('/') + QLatin1String(folder))) {
            *name = info.fileName();
            return QLatin1String(folder);
        }
    }
    return QString();
}

}  // namespace

void ShareMediaFile(const QString& programFolder, const QString& localPath)
{
    ShareMediaFileAs(programFolder, localPath, localPath);
}

void ShareMediaFileAs(const QString& programFolder, const QString& localPath, const QString& contentPath)
{
    const QString uri = ServerUri(programFolder);
    if (uri.isEmpty()) return;
    QString name;
    const QString folder = mediaFolderOf(programFolder, localPath, &name);
    QFile file(contentPath);
    if (folder.isEmpty() || !file.open(QIODevice::ReadOnly)) return;
    Connection connection;
    if (connection.OpenServer(uri)) PutServerFile(connection, folder, name, file.readAll());
}

void FillMediaCache(const QString& programFolder, const QString& path)
{
    const QString localPath = absoluteIn(programFolder, path);
    if (localPath.isEmpty() || QFileInfo::exists(localPath)) return;
    const QString uri = ServerUri(programFolder);
    if (uri.isEmpty()) return;
    QString name;
    const QString folder = mediaFolderOf(programFolder, localPath, &name);
    if (folder.isEmpty() || name.isEmpty()) return;
    Connection connection;
    QByteArray content;
    if (!connection.OpenServer(uri) || !GetServerFile(connection, folder, name, &content)) return;
    QDir().mkpath(QFileInfo(localPath).absolutePath());
    // Written whole or not at all, so a half-fetched picture never sits in the cache.
    QSaveFile out(localPath);
    if (out.open(QIODevice::WriteOnly) && out.write(content) == content.size()) out.commit();
}

}  // namespace db
