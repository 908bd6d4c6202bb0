#pragma once

#include <QByteArray>
#include <QHash>
#include <QSet>
#include <QString>
#include <vector>

namespace pricelist {

// The pictures an import puts into the Images folder. Each is written aside under a temporary
// name now and put in place after the commit, so that until then the folder holds exactly what
// the catalogue names; a failed import takes the temporary files away again. A source picture is
// read once however many units name it (a building's units mostly share their plans); the same
// bytes are written once and every further name that holds them is a hard link to that file (a
// new file costs the file system far more than a new name, and every writer of the folder
// replaces a picture by renaming a new file over it, never by writing into it); and the files
// reach the disk with one sync before the commit instead of one each.
class PictureCopies {
public:
    struct Picture {
        QByteArray content;
        QByteArray digest;  // the same bytes, the same digest
    };

    explicit PictureCopies(const QString& images) : images_(images) {}

    // The bytes of a source picture; false when it cannot be read.
    bool Read(const QString& source, Picture* picture);
    // Writes the picture aside for the stored name. A source that already is the stored file
    // stays as it is.
    bool Stage(const QString& source, const QString& stored, const Picture& picture);
    // Everything written aside is on the disk: before the commit that names it. As with a copied
    // file, a file system that cannot sync is not a reason to fail.
    void Sync() const;
    // After the commit: every picture in its place; how many were.
    int Place();
    // After a failure: the files written aside are gone.
    void Discard();

private:
    struct Pending {
        QString temporary;
        QString final;
    };

    QString images_;
    std::vector<Pending> pending_;
    QSet<QString> staged_;  // stored names written aside
    int inPlace_ = 0;       // stored names that already were their source
    QHash<QString, Picture> read_;
    QHash<QByteArray, QString> written_;  // digest -> the file written aside with those bytes
    qint64 readBytes_ = 0;
};

}  // namespace pricelist
