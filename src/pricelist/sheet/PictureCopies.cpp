#include "pricelist/sheet/PictureCopies.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>

namespace pricelist {

namespace {

// Source pictures kept in memory between their uses; past this, one is read again when named again.
constexpr qint64 kKeptBytes = 64 * 1024 * 1024;

}  // namespace

bool PictureCopies::Read(const QString& source, Picture* picture)
{
    const auto kept = read_.constFind(source);
    if (kept != read_.constEnd()) {
        *picture = kept.value();
        return true;
    }
    QFile file(source);
    if (!file.open(QIODevice::ReadOnly)) return false;
    picture->content = file.readAll();
    if (file.error() != QFileDevice::NoError) return false;
    picture->digest = QCryptographicHash::hash(picture->content, QCryptographicHash::Sha256);
    if (readBytes_ + picture->content.size() <= kKeptBytes) {
        read_.insert(source, *picture);
        readBytes_ += picture->content.size();
    }
    return true;
}

bool PictureCopies::Stage(const QString& source, const QString& stored, const Picture& picture)
{
    const QString final = images_ + QLatin1Char('/') + stored;
    // A picture already in its place (a list exported with its Images folder and imported into
    // the same program folder) is its own copy; unless an earlier line of this import put other
    // bytes aside for the same name, whose place it must then take back after them.
    if (!staged_.contains(stored)) {
        const QFileInfo from(source);
        const QFileInfo to(final);
        if (to.exists() && from.canonicalFilePath() == to.canonicalFilePath()) {
            ++inPlace_;
            return true;
        }
    }
    const Pending copy{images_ + QStringLiteral("/.import-%1.part").arg(pending_.size()), final};
    pending_.push_back(copy);
    staged_.insert(stored);
    const QByteArray temporary = QFile::encodeName(copy.temporary);
    ::unlink(temporary.constData());
    const auto same = written_.constFind(picture.digest);
    if (same != written_.constEnd() &&
        ::link(QFile::encodeName(same.value()).constData(), temporary.constData()) == 0)
        return true;
    // A file system without hard links gets a copy of its own for every name; a file with as many
    // links as the file system allows is followed by a new one, which the next names link to.
    QFile out(copy.temporary);
    if (!out.open(QIODevice::WriteOnly) || out.write(picture.content) != picture.content.size() ||
        !out.flush())
        return false;
    written_.insert(picture.digest, copy.temporary);
    return true;
}

void PictureCopies::Sync() const
{
    if (pending_.empty()) return;
    // One sync of the file system that holds the folder writes every file put aside at once.
    const int folder = ::open(QFile::encodeName(images_).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) return;
    ::syncfs(folder);
    ::close(folder);
}

int PictureCopies::Place()
{
    // A rename replaces the picture that was there in one step: the name never stands empty.
    int placed = inPlace_;
    for (const Pending& copy : pending_) {
        if (::rename(QFile::encodeName(copy.temporary).constData(),
                     QFile::encodeName(copy.final).constData()) == 0)
            ++placed;
    }
    pending_.clear();
    written_.clear();
    return placed;
}

void PictureCopies::Discard()
{
    for (const Pending& copy : pending_) QFile::remove(copy.temporary);
    pending_.clear();
    written_.clear();
}

}  // namespace pricelist
