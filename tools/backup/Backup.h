#pragma once

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>
#include <functional>

// Backup and restore of a program folder: House.db, Images and Music in one archive.
//
// create  copies the catalogue with SQLite's online backup API (one read transaction, so the copy
//         is the catalogue as it stood between two saves even while the program keeps saving),
//         then adds every file of Images and Music and, last, a manifest with the size and SHA-256
//         of every file.
// verify  reads the whole archive back and checks every entry against the manifest, and the
//         catalogue copy with SQLite's integrity check and the manifest's row counts.
// restore verifies first and changes nothing until the archive has passed; then it unpacks under
//         a temporary name inside the program folder, checks again, keeps what was there as .bak
//         and renames the new pieces into place.
namespace backup {

// Exit codes of the tool.
enum ExitCode { kSuccess = 0, kRefused = 1, kUsage = 2 };

// Long work reports what it does: a stage ("create", "verify", "restore"), and bytes done of total.
using Progress = std::function<void(const QString& stage, qint64 done, qint64 total)>;

struct Result {
    bool ok = false;
    QString error;      // why nothing was done, in words for the user
    QStringList notes;  // what the user should know although it worked
    qint64 files = 0;   // files in the archive (House.db included)
    qint64 bytes = 0;   // their bytes, uncompressed
    qint64 images = 0;
    qint64 music = 0;
    QList<QPair<QString, qint64>> tables;  // rows per table of the catalogue copy
    QStringList kept;                      // what restore kept as .bak
    qint64 snapshotMs = -1;                // how long create held the catalogue for its copy
};

// Writes ARCHIVE. Its name picks the format: .tar.zst (the default we recommend), .tar.gz/.tgz,
// .tar.xz, .tar or .zip. An archive that is already there is never overwritten.
Result Create(const QString& programFolder, const QString& archivePath, const Progress& progress = {});

Result Verify(const QString& archivePath, const Progress& progress = {});

struct RestoreOptions {
    QString archive;
    QString programFolder;
    bool replace = false;  // allow replacing a catalogue that holds rows
};
Result Restore(const RestoreOptions& options, const Progress& progress = {});

// The archive endings Create understands, for messages.
QString ArchiveEndings();

}  // namespace backup
