#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace db {

class Connection;

// Pictures and tunes of a shared catalogue live on its server, in t_File, by folder ("Images" or
// "Music") and bare file name; every PC keeps its own Images and Music as a cache of them.
// All of these fail (false) on a connection that is not to a server.
bool PutServerFile(Connection& connection, const QString& folder, const QString& name,
                   const QByteArray& content);
bool GetServerFile(Connection& connection, const QString& folder, const QString& name, QByteArray* content);
QStringList ServerFileNames(Connection& connection, const QString& folder);

// The media cache of a program folder: after a file has been copied into Images or Music it is
// stored on the server too; before one is shown or played, a copy missing here is fetched. Both do
// nothing for a catalogue in House.db, and both stay silent when the server cannot be reached (the
// picture or tune is then simply not there, as a missing file always was).
void ShareMediaFile(const QString& programFolder, const QString& localPath);
// The same for a file that is not yet in its place: the server keeps `contentPath`'s bytes under
// the name `localPath` will have. The wizard stores a picture before its save commits and copies
// it into Images only once the save is written.
void ShareMediaFileAs(const QString& programFolder, const QString& localPath, const QString& contentPath);
void FillMediaCache(const QString& programFolder, const QString& localPath);

}  // namespace db
