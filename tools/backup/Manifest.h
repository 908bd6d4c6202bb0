#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

// The list that travels as the last entry of every backup archive: what the catalogue copy holds
// (rows per table), how many files of Images and Music came along, and the size and SHA-256 of
// every file in the archive. A plain text file, so that anyone can read it with a pager.
namespace backup {

inline constexpr const char* kManifestName = "tavrelo-backup.manifest";
inline constexpr const char* kDatabaseName = "House.db";

struct FileSum {
    QString path;  // "House.db", "Images/000001_0001.jpg", ...
    qint64 size = 0;
    QByteArray sha256;  // lower-case hex
};

struct Manifest {
    QString created;                       // UTC, ISO 8601
    QString programFolder;                 // where the copy was taken, for the reader's information
    QList<QPair<QString, qint64>> tables;  // rows per table of the catalogue copy
    qint64 images = 0;                     // files under Images
    qint64 music = 0;                      // files under Music
    QList<FileSum> files;                  // every file of the archive but the manifest itself

    qint64 Bytes() const;
    qint64 Rows(const QString& table) const;  // -1 when the table is not listed
    QByteArray Text() const;
    // Reads a manifest; false with *error set when it is not one or is incomplete.
    static bool Parse(const QByteArray& text, Manifest* manifest, QString* error);
};

// Hex SHA-256 of a byte string (the small files are hashed in one go).
QByteArray Sha256Hex(const QByteArray& data);

}  // namespace backup
