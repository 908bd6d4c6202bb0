#pragma once

#include <QList>
#include <QPair>
#include <QString>

#include "Backup.h"
#include "Manifest.h"

struct archive;

// Pieces that create, verify and restore share.
namespace backup {

// Chooses format and compression by the archive's ending; false for an ending we do not write.
bool SetWriteFormat(archive* writer, const QString& archivePath);

// Reads an archive from start to end and checks it against its manifest: every entry a plain
// file or folder under House.db, Images or Music, none twice, each file's size and SHA-256 as
// listed, nothing listed missing, the manifest last. What is extracted goes to disk as it is read:
// the catalogue copy to databaseTo when that is not empty, every file below extractTo when that is
// not empty. Any format and compression that libarchive reads is accepted.
struct ScanTargets {
    QString databaseTo;
    QString extractTo;
};
bool ScanArchive(const QString& archivePath, const ScanTargets& targets, const QString& stage,
                 const Progress& progress, Manifest* manifest, QString* error);

// The catalogue copy passes SQLite's integrity check, has the five tables and the row counts the
// manifest lists.
bool CheckCatalogueCopy(const QString& databasePath, const Manifest& manifest, QString* error);

// Calls progress at most a few times a second, and always for the last step.
class Throttle {
public:
    Throttle(const Progress& progress, const QString& stage) : progress_(progress), stage_(stage) {}
    void operator()(qint64 done, qint64 total, bool force = false);

private:
    const Progress& progress_;
    QString stage_;
    qint64 last_ = -1;
};

}  // namespace backup
