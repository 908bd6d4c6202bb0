// tavrelo-backup create: the catalogue copy, the files, the manifest, in one archive.
#include <archive.h>
#include <archive_entry.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include "ArchiveIO.h"
#include "Backup.h"
#include "Manifest.h"
#include "core/db/CatalogueFile.h"

namespace backup {

namespace {

// A file this large is streamed; smaller ones are read whole first, so that the size written in
// the entry's header is the size of exactly the bytes that follow, even if the file changes.
constexpr qint64 kStreamThreshold = 64 * 1024 * 1024;
constexpr int kBlock = 1 << 20;

// How long the copy waits for a save of the program to finish before giving up.
constexpr int kBusyWaitMs = 60000;

// The online backup API copies every page inside one read transaction when asked for all pages
// at once. A save of the program waits (its busy timeout) until the copy is done, and the copy
// waits while a save holds the file, so the copy is the catalogue between two saves. The copy
// goes into memory, which keeps the program's saves waiting the shortest time (0.10 to 0.23 s for
// 100,000 houses here).
bool snapshotCatalogue(const QString& source, QByteArray* image, QList<QPair<QString, qint64>>* tables,
                       qint64* heldMs, QString* error)
{
    return db::SnapshotCatalogueFile(source, kBusyWaitMs, image, tables, heldMs, error);
}

struct Source {
    QString path;  // on disk
    QString name;  // in the archive
};

bool writeHeader(archive* a, const QString& name, qint64 size, const QFileInfo& info, QString* error)
{
    archive_entry* entry = archive_entry_new();
    archive_entry_set_pathname_utf8(entry, name.toUtf8().constData());
    archive_entry_set_size(entry, size);
    archive_entry_set_filetype(entry, AE_IFREG);
    archive_entry_set_perm(entry, 0644);
    const qint64 mtime =
        info.exists() ? info.lastModified().toSecsSinceEpoch() : QDateTime::currentSecsSinceEpoch();
    archive_entry_set_mtime(entry, mtime, 0);
    const int rc = archive_write_header(a, entry);
    archive_entry_free(entry);
    if (rc != ARCHIVE_OK) {
        *error =
            QStringLiteral("cannot write the archive: %1").arg(QString::fromUtf8(archive_error_string(a)));
        return false;
    }
    return true;
}

bool writeData(archive* a, const char* data, qint64 size, QString* error)
{
    if (archive_write_data(a, data, size_t(size)) != size) {
        *error =
            QStringLiteral("cannot write the archive: %1").arg(QString::fromUtf8(archive_error_string(a)));
        return false;
    }
    return true;
}

void addFolder(archive* a, const QString& name)
{
    archive_entry* entry = archive_entry_new();
    archive_entry_set_pathname_utf8(entry, (name + QLatin1Char('/')).toUtf8().constData());
    archive_entry_set_filetype(entry, AE_IFDIR);
    archive_entry_set_perm(entry, 0755);
    archive_entry_set_mtime(entry, QDateTime::currentSecsSinceEpoch(), 0);
    archive_write_header(a, entry);
    archive_entry_free(entry);
}

// Adds one file; *sum gets what was really written. A file that is gone by now (deleted between
// the listing and here) is left out with *gone set.
bool addFile(archive* a, const Source& source, FileSum* sum, bool* gone, qint64* done, qint64 total,
             Throttle& report, QString* error)
{
    *gone = false;
    QFile file(source.path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (!QFileInfo::exists(source.path)) {
            *gone = true;
            return true;
        }
        *error = QStringLiteral("cannot read %1: %2").arg(source.path, file.errorString());
        return false;
    }
    const QFileInfo info(source.path);
    sum->path = source.name;
    const qint64 size = file.size();
    if (size < kStreamThreshold) {
        const QByteArray data = file.readAll();
        if (file.error() != QFileDevice::NoError) {
            *error = QStringLiteral("cannot read %1: %2").arg(source.path, file.errorString());
            return false;
        }
        sum->size = data.size();
        sum->sha256 = Sha256Hex(data);
        if (!writeHeader(a, source.name, data.size(), info, error)) return false;
        if (!writeData(a, data.constData(), data.size(), error)) return false;
        *done += data.size();
        report(*done, total);
        return true;
    }
    // A large file: exactly `size` bytes go out; a file that shrinks meanwhile is an error rather
    // than an entry padded with bytes that were never in it.
    if (!writeHeader(a, source.name, size, info, error)) return false;
    QCryptographicHash hash(QCryptographicHash::Sha256);
    qint64 left = size;
    while (left > 0) {
        const QByteArray block = file.read(qMin<qint64>(kBlock, left));
        if (block.isEmpty()) {
            *error = QStringLiteral("%1 changed while it was being copied; try again").arg(source.path);
            return false;
        }
        hash.addData(block);
        if (!writeData(a, block.constData(), block.size(), error)) return false;
        left -= block.size();
        *done += block.size();
        report(*done, total);
    }
    sum->size = size;
    sum->sha256 = hash.result().toHex();
    return true;
}

QList<Source> listFiles(const QDir& folder, const QString& sub, qint64* bytes)
{
    QList<Source> found;
    const QString root = folder.filePath(sub);
    if (!QFileInfo(root).isDir()) return found;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        const QFileInfo info = it.fileInfo();
        if (!info.isFile()) continue;  // sockets, pipes, links to nothing
        found << Source{info.filePath(),
                        sub + QLatin1Char('/') + QDir(root).relativeFilePath(info.filePath())};
        *bytes += info.size();
    }
    std::sort(found.begin(), found.end(), [](const Source& a, const Source& b) { return a.name < b.name; });
    return found;
}

// Refuses a program folder without a catalogue, an archive that exists, one inside Images or Music
// (every later backup would carry it along) or one in a folder that does not exist.
bool checkCreate(const QString& programFolder, const QString& archivePath, QString* error)
{
    const QFileInfo folderInfo(programFolder);
    if (!folderInfo.isDir()) {
        *error = QStringLiteral("the program folder %1 does not exist").arg(programFolder);
        return false;
    }
    const QDir folder(folderInfo.absoluteFilePath());
    if (!QFileInfo(folder.filePath(QString::fromLatin1(kDatabaseName))).isFile()) {
        *error = QStringLiteral("%1 holds no House.db").arg(folder.path());
        return false;
    }
    const QFileInfo archiveInfo(archivePath);
    if (archiveInfo.exists()) {
        *error = QStringLiteral("%1 is already there; name a new archive, an old one is never overwritten")
                     .arg(archivePath);
        return false;
    }
    for (const char* sub : {"Images", "Music"}) {
        const QString inside = QDir::cleanPath(folder.filePath(QLatin1String(sub))) + QLatin1Char('/');
        if (QDir::cleanPath(archiveInfo.absoluteFilePath()).startsWith(inside)) {
            *error = QStringLiteral("%1 is inside %2; put the archive outside Images and Music")
                         .arg(archivePath, inside);
            return false;
        }
    }
    if (!archiveInfo.absoluteDir().exists()) {
        *error = QStringLiteral("the folder of %1 does not exist").arg(archivePath);
        return false;
    }
    return true;
}

// The entries in their order: the catalogue copy, the two folders with their files, the manifest
// last. Files deleted since the listing are left out with a note. The catalogue copy is emptied
// once written.
bool writeEntries(archive* a, QByteArray* catalogue, const QList<Source>& images, const QList<Source>& music,
                  qint64 total, Throttle& report, Manifest* manifest, QStringList* notes, QString* error)
{
    qint64 done = 0;
    bool gone = false;
    FileSum sum{QString::fromLatin1(kDatabaseName), catalogue->size(), Sha256Hex(*catalogue)};
    if (!writeHeader(a, sum.path, catalogue->size(), QFileInfo(), error) ||
        !writeData(a, catalogue->constData(), catalogue->size(), error))
        return false;
    manifest->files << sum;
    done += catalogue->size();
    catalogue->clear();  // the copy's memory is not held while the pictures go in
    report(done, total);
    addFolder(a, QStringLiteral("Images"));
    addFolder(a, QStringLiteral("Music"));
    for (const QList<Source>* list : {&images, &music}) {
        for (const Source& source : *list) {
            if (!addFile(a, source, &sum, &gone, &done, total, report, error)) return false;
            if (gone) {
                *notes
                    << QStringLiteral("%1 was deleted during the backup and is not in it").arg(source.name);
                continue;
            }
            manifest->files << sum;
            (list == &images ? manifest->images : manifest->music) += 1;
        }
    }
    const QByteArray text = manifest->Text();
    return writeHeader(a, QString::fromLatin1(kManifestName), text.size(), QFileInfo(), error) &&
           writeData(a, text.constData(), text.size(), error);
}

// Closes the archive, puts its bytes on the disk and gives it its name.
bool finishArchive(archive* a, const QString& partial, const QString& archivePath, QString* error)
{
    if (archive_write_close(a) != ARCHIVE_OK) {
        *error =
            QStringLiteral("cannot finish %1: %2").arg(partial, QString::fromUtf8(archive_error_string(a)));
        return false;
    }
    {
        QFile written(partial);
        if (!written.open(QIODevice::ReadWrite) || ::fsync(written.handle()) != 0) {
            *error = QStringLiteral("cannot write %1 to disk").arg(partial);
            return false;
        }
    }
    if (!QFile::rename(partial, QFileInfo(archivePath).absoluteFilePath())) {
        *error = QStringLiteral("cannot put the archive in place at %1 (is one there now?)").arg(archivePath);
        return false;
    }
    return true;
}

}  // namespace

Result Create(const QString& programFolder, const QString& archivePath, const Progress& progress)
{
    Result result;
    if (!checkCreate(programFolder, archivePath, &result.error)) return result;
    const QDir folder(QFileInfo(programFolder).absoluteFilePath());
    archive* a = archive_write_new();
    if (!SetWriteFormat(a, archivePath)) {
        archive_write_free(a);
        result.error =
            QStringLiteral("%1: unknown archive ending; use one of %2").arg(archivePath, ArchiveEndings());
        return result;
    }

    // The archive is written under a temporary name and renamed at the end, so that a failed or
    // interrupted run never leaves something that looks like a finished archive.
    const QString partial = QFileInfo(archivePath).absoluteFilePath() +
                            QStringLiteral(".partial-%1").arg(QCoreApplication::applicationPid());
    auto fail = [&](const QString& error) {
        archive_write_free(a);
        QFile::remove(partial);
        result.error = error;
        return result;
    };

    QString error;
    Manifest manifest;
    manifest.created = QDateTime::currentDateTimeUtc().toString(Qt::ISODate);
    manifest.programFolder = folder.path();
    QByteArray catalogue;
    if (!snapshotCatalogue(folder.filePath(QString::fromLatin1(kDatabaseName)), &catalogue, &manifest.tables,
                           &result.snapshotMs, &error))
        return fail(error);

    qint64 total = catalogue.size();
    const QList<Source> images = listFiles(folder, QStringLiteral("Images"), &total);
    const QList<Source> music = listFiles(folder, QStringLiteral("Music"), &total);

    if (archive_write_open_filename(a, QFile::encodeName(partial).constData()) != ARCHIVE_OK)
        return fail(
            QStringLiteral("cannot write %1: %2").arg(partial, QString::fromUtf8(archive_error_string(a))));

    Throttle report(progress, QStringLiteral("create"));
    if (!writeEntries(a, &catalogue, images, music, total, report, &manifest, &result.notes, &error))
        return fail(error);
    if (!finishArchive(a, partial, archivePath, &error)) return fail(error);
    report(total, total, true);
    archive_write_free(a);

    result.ok = true;
    result.files = manifest.files.size();
    result.bytes = manifest.Bytes();
    result.images = manifest.images;
    result.music = manifest.music;
    result.tables = manifest.tables;
    return result;
}

}  // namespace backup
