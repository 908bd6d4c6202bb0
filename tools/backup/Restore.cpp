// tavrelo-backup verify and restore.
#include <stdio.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <QTemporaryFile>

#include "ArchiveIO.h"
#include "Backup.h"
#include "Manifest.h"
#include "core/Folders.h"
#include "core/db/CatalogueFile.h"

namespace backup {

namespace {

const QStringList kPieces = {QStringLiteral("House.db"), QStringLiteral("Images"), QStringLiteral("Music")};
// Files SQLite keeps beside a catalogue. They belong to that one file: a journal left by an
// interrupted save must go wherever its House.db goes, or SQLite would play it back into the
// restored catalogue.
const QStringList kCompanions = {QStringLiteral("-journal"), QStringLiteral("-wal"), QStringLiteral("-shm")};

bool existsOrLink(const QString& path)
{
    return QFileInfo::exists(path) || QFileInfo(path).isSymLink();
}

// The piece with the companions that are there ("House.db", "House.db-journal"; "Images").
QStringList withCompanions(const QDir& folder, const QString& piece)
{
    QStringList names{piece};
    if (piece == kPieces[0])
        for (const QString& suffix : kCompanions)
            if (existsOrLink(folder.filePath(piece + suffix))) names << piece + suffix;
    return names;
}

void fillCounts(const Manifest& manifest, Result* result)
{
    result->files = manifest.files.size();
    result->bytes = manifest.Bytes();
    result->images = manifest.images;
    result->music = manifest.music;
    result->tables = manifest.tables;
}

bool countsAgree(const Manifest& manifest, QString* error)
{
    qint64 images = 0;
    qint64 music = 0;
    for (const FileSum& f : manifest.files) {
        if (f.path.startsWith(QLatin1String("Images/"))) ++images;
        if (f.path.startsWith(QLatin1String("Music/"))) ++music;
    }
    if (images == manifest.images && music == manifest.music) return true;
    *error = QStringLiteral("the manifest counts %1 pictures and %2 tunes but lists %3 and %4")
                 .arg(manifest.images)
                 .arg(manifest.music)
                 .arg(images)
                 .arg(music);
    return false;
}

// Verifies the whole archive; the catalogue copy is unpacked into scratch for SQLite's check.
bool verifyArchive(const QString& archivePath, const QString& scratch, const Progress& progress,
                   const QString& stage, Manifest* manifest, QString* error)
{
    const QString copy = scratch + QStringLiteral("/House.db");
    if (!ScanArchive(archivePath, ScanTargets{copy, QString()}, stage, progress, manifest, error))
        return false;
    if (!countsAgree(*manifest, error)) {
        *error = QStringLiteral("%1 is damaged: %2").arg(archivePath, *error);
        return false;
    }
    if (!CheckCatalogueCopy(copy, *manifest, error)) {
        *error = QStringLiteral("%1: %2").arg(archivePath, *error);
        return false;
    }
    return true;
}

// What a catalogue file holds: 1 rows, 0 none, -1 cannot be read as a catalogue.
int catalogueState(const QString& path)
{
    db::TableRows tables;
    QString error;
    if (!db::CountFileRows(path, &tables, &error)) return -1;
    for (const auto& t : tables)
        if (t.second > 0) return 1;
    return 0;
}

bool isEmptyFolder(const QString& path)
{
    const QFileInfo info(path);
    return info.isDir() &&
           QDir(path).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
}

bool renamePath(const QString& from, const QString& to)
{
    return ::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
}

// One step of putting the restored pieces in place, so that a failure half-way can be undone.
struct Move {
    QString from;
    QString to;
};

// Why an existing House.db stops a restore without --replace: it holds rows, it has an interrupted
// save's journal beside it, or it cannot be read.
QString refusalFor(const QDir& folder, const QString& database, int state)
{
    const bool journal = withCompanions(folder, kPieces[0]).size() > 1;
    if (state > 0)
        return QStringLiteral(
                   "%1 already holds a catalogue; give --replace to replace it "
                   "(it is then kept as House.db.bak)")
            .arg(database);
    if (journal)
        return QStringLiteral(
                   "%1 has the journal of an interrupted save beside it; start "
                   "Tavrelo once to finish that, or give --replace to replace "
                   "it (it is then kept as House.db.bak with its journal)")
            .arg(database);
    return QStringLiteral(
               "%1 cannot be read as a catalogue; give --replace to replace "
               "it (it is then kept as House.db.bak)")
        .arg(database);
}

// What is there now, and what becomes of it. Anything that holds something is kept as .bak; an
// empty catalogue and empty folders hold nothing to keep and are simply replaced.
bool planReplacement(const QDir& folder, bool replace, QStringList* keep, QStringList* drop, QString* error)
{
    const QString database = folder.filePath(kPieces[0]);
    if (QFileInfo::exists(database)) {
        const int state = catalogueState(database);
        if (state != 0 && !replace) {
            *error = refusalFor(folder, database, state);
            return false;
        }
        *(state == 0 ? drop : keep) << kPieces[0];
    } else if (withCompanions(folder, kPieces[0]).size() > 1) {
        *drop << kPieces[0];  // a journal without its catalogue must not meet the restored one
    }
    for (const QString& sub : {kPieces[1], kPieces[2]}) {
        const QString path = folder.filePath(sub);
        if (!existsOrLink(path)) continue;
        *(isEmptyFolder(path) ? drop : keep) << sub;
    }
    for (const QString& piece : *keep) {
        QString bak = folder.filePath(piece + QStringLiteral(".bak"));
        if (piece == kPieces[0])
            for (const QString& suffix : kCompanions)
                if (existsOrLink(bak + suffix)) bak += suffix;
        if (existsOrLink(bak)) {
            *error = QStringLiteral(
                         "%1 is already there; move it away first, so that nothing "
                         "kept earlier is lost")
                         .arg(bak);
            return false;
        }
    }
    QTemporaryFile probe(folder.filePath(QStringLiteral(".tavrelo-backup-XXXXXX")));
    if (!probe.open()) {
        *error = QStringLiteral("cannot write into %1: %2").arg(folder.path(), probe.errorString());
        return false;
    }
    return true;
}

// The program folder is made when missing and must have room for what the manifest lists.
bool prepareFolder(const QDir& folder, bool exists, const Manifest& manifest, QString* error)
{
    if (!exists && !QDir().mkpath(folder.path())) {
        *error = QStringLiteral("cannot make the folder %1").arg(folder.path());
        return false;
    }
    const QStorageInfo storage(folder.path());
    if (storage.isValid() && storage.bytesAvailable() >= 0 &&
        storage.bytesAvailable() < manifest.Bytes() + (16 << 20)) {
        *error = QStringLiteral("%1 has %2 MB free; the restored catalogue needs %3 MB")
                     .arg(folder.path())
                     .arg(storage.bytesAvailable() >> 20)
                     .arg(manifest.Bytes() >> 20);
        return false;
    }
    return true;
}

// Unpacks beside, under a temporary name, checking every byte again as it is written (the archive
// could have changed since the first reading).
bool unpackToStaging(const QString& archive, const QString& staging, const Manifest& manifest,
                     const Progress& progress, QString* error)
{
    if (!QDir().mkpath(staging)) {
        *error = QStringLiteral("cannot make the folder %1").arg(staging);
        return false;
    }
    Manifest again;
    if (!ScanArchive(archive, ScanTargets{QString(), staging}, QStringLiteral("restore"), progress, &again,
                     error))
        return false;
    if (again.Text() != manifest.Text()) {
        *error = QStringLiteral("%1 changed while it was being restored; nothing was changed").arg(archive);
        return false;
    }
    if (!CheckCatalogueCopy(staging + QStringLiteral("/House.db"), manifest, error)) return false;
    for (const QString& sub : {kPieces[1], kPieces[2]})
        if (!QDir().mkpath(staging + QLatin1Char('/') + sub)) {
            *error = QStringLiteral("cannot make the folder %1/%2").arg(staging, sub);
            return false;
        }
    return true;
}

// Into place: what was there steps aside as .bak (or goes, when it held nothing), then the
// restored pieces are renamed in. A failure on the way puts everything back.
bool moveIntoPlace(const QDir& folder, const QString& staging, const QStringList& keep,
                   const QStringList& drop, QString* error)
{
    QList<Move> done;
    auto undo = [&](const QString& why) {
        for (int i = done.size() - 1; i >= 0; --i) renamePath(done[i].to, done[i].from);
        *error = why;
        return false;
    };
    const QString trash = staging + QStringLiteral("/.replaced");
    QDir().mkpath(trash);
    // House.db.bak-journal is the name SQLite looks for beside House.db.bak, so a kept
    // catalogue with an interrupted save still rolls back when it is opened.
    for (const QString& piece : keep) {
        for (const QString& name : withCompanions(folder, piece)) {
            const QString kept = piece + QStringLiteral(".bak") + name.mid(piece.size());
            const Move m{folder.filePath(name), folder.filePath(kept)};
            if (!renamePath(m.from, m.to))
                return undo(QStringLiteral("cannot keep %1 as %2").arg(m.from, m.to));
            done << m;
        }
    }
    for (const QString& piece : drop) {
        for (const QString& name : withCompanions(folder, piece)) {
            if (!existsOrLink(folder.filePath(name))) continue;
            const Move m{folder.filePath(name), trash + QLatin1Char('/') + name};
            if (!renamePath(m.from, m.to)) return undo(QStringLiteral("cannot move %1 aside").arg(m.from));
            done << m;
        }
    }
    for (const QString& piece : kPieces) {
        const Move m{staging + QLatin1Char('/') + piece, folder.filePath(piece)};
        if (!renamePath(m.from, m.to)) return undo(QStringLiteral("cannot put %1 in place").arg(m.to));
        done << m;
    }
    return true;
}

}  // namespace

Result Verify(const QString& archivePath, const Progress& progress)
{
    Result result;
    QTemporaryDir scratch;
    if (!scratch.isValid()) {
        result.error = QStringLiteral("cannot make a temporary folder: %1").arg(scratch.errorString());
        return result;
    }
    Manifest manifest;
    if (!verifyArchive(archivePath, scratch.path(), progress, QStringLiteral("verify"), &manifest,
                       &result.error))
        return result;
    fillCounts(manifest, &result);
    result.ok = true;
    return result;
}

Result Restore(const RestoreOptions& options, const Progress& progress)
{
    Result result;
    const QFileInfo folderInfo(options.programFolder);
    if (folderInfo.exists() && !folderInfo.isDir()) {
        result.error = QStringLiteral("%1 is not a folder").arg(options.programFolder);
        return result;
    }
    if (!folderInfo.exists() && !QFileInfo(folderInfo.absolutePath()).isDir()) {
        result.error = QStringLiteral("neither %1 nor the folder above it exists").arg(options.programFolder);
        return result;
    }
    const QDir folder(folderInfo.absoluteFilePath());
    // A running Tavrelo holds its folder's lock: its catalogue and pictures are not replaced under
    // it. Held from here on, the lock also keeps a second restore out of the same folder.
    if (folderInfo.exists() && !folders::HoldFolderExclusively(folder.path())) {
        result.error = QStringLiteral("Tavrelo is running on %1 (it holds %2); close it first")
                           .arg(folder.path(), QLatin1String(folders::kFolderLockName));
        return result;
    }

    // What is there now, and what becomes of it. Anything that holds something is kept as .bak;
    // an empty catalogue and empty folders hold nothing to keep and are simply replaced.
    QStringList keep;
    QStringList drop;
    if (folderInfo.exists() && !planReplacement(folder, options.replace, &keep, &drop, &result.error))
        return result;

    // The whole archive is checked before anything in the program folder changes.
    QTemporaryDir scratch;
    if (!scratch.isValid()) {
        result.error = QStringLiteral("cannot make a temporary folder: %1").arg(scratch.errorString());
        return result;
    }
    Manifest manifest;
    if (!verifyArchive(options.archive, scratch.path(), progress, QStringLiteral("verify"), &manifest,
                       &result.error))
        return result;
    scratch.remove();
    if (!prepareFolder(folder, folderInfo.exists(), manifest, &result.error)) return result;

    const QString staging =
        folder.filePath(QStringLiteral(".tavrelo-restore-%1").arg(QCoreApplication::applicationPid()));
    QDir(staging).removeRecursively();
    const bool placed = unpackToStaging(options.archive, staging, manifest, progress, &result.error) &&
                        moveIntoPlace(folder, staging, keep, drop, &result.error);
    QDir(staging).removeRecursively();
    if (!placed) return result;

    for (const QString& piece : keep) result.kept << folder.filePath(piece + QStringLiteral(".bak"));
    fillCounts(manifest, &result);
    result.ok = true;
    return result;
}

}  // namespace backup
