#pragma once

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>
#include <functional>

// Moves an earlier installation's catalogue into a program folder: its Access file becomes
// House.db with every key kept, and the pictures and tunes its rows name are copied into Images
// and Music. The old file and folders are only read. Nothing in the program folder changes until
// everything has been read and written aside; then the new pieces are renamed into place.
namespace legacy {

struct ImportOptions {
    QString source;         // the old program folder, or its House.MDB itself
    QString programFolder;  // where House.db, Images and Music go
    bool replace = false;   // allow replacing a House.db that holds rows (kept as House.db.bak)
};

struct ImportResult {
    bool ok = false;
    QString error;  // why nothing was written, for the user
    QString mdbPath;
    QString databasePath;
    QList<QPair<QString, int>> rowCounts;  // table name, rows written
    QStringList copied;                    // "Images/000001_0001.jpg", ...
    QStringList missing;                   // files that rows name but the old folders lack
    qint64 bytesCopied = 0;
    QString backupPath;  // the replaced catalogue, when there was one
};

// Called while a large file is copied.
using CopyProgress = std::function<void(const QString& file, qint64 done, qint64 total)>;
// Files at least this large report their progress.
constexpr qint64 kProgressThreshold = 4 * 1024 * 1024;

ImportResult Import(const ImportOptions& options, const CopyProgress& progress = {});

// The Access file meant by a folder or file argument, or "" with *error set.
QString LocateDatabase(const QString& source, QString* error);

}  // namespace legacy
