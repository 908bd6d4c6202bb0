#include "ArchiveIO.h"

#include <archive.h>
#include <archive_entry.h>

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <memory>

#include "core/db/CatalogueFile.h"
#include "core/db/Connection.h"

namespace backup {

namespace {

struct Ending {
    const char* suffix;
    int (*format)(archive*);
    int (*filter)(archive*);
};

// Pictures and tunes hardly compress; zstd costs the least time for what it saves on House.db.
const Ending kEndings[] = {
    {".tar.zst", archive_write_set_format_pax_restricted, archive_write_add_filter_zstd},
    {".tzst", archive_write_set_format_pax_restricted, archive_write_add_filter_zstd},
    {".tar.gz", archive_write_set_format_pax_restricted, archive_write_add_filter_gzip},
    {".tgz", archive_write_set_format_pax_restricted, archive_write_add_filter_gzip},
    {".tar.xz", archive_write_set_format_pax_restricted, archive_write_add_filter_xz},
    {".tar", archive_write_set_format_pax_restricted, archive_write_add_filter_none},
    {".zip", archive_write_set_format_zip, archive_write_add_filter_none},
};

QString archiveError(archive* a)
{
    const char* text = archive_error_string(a);
    return text ? QString::fromUtf8(text) : QStringLiteral("unknown error");
}

// Only what create writes may come out of an archive: House.db, the manifest, and plain names
// below Images and Music. Nothing absolute, nothing that climbs out with "..".
bool allowedPath(const QString& path, bool isFolder)
{
    if (path == QLatin1String(kDatabaseName) || path == QLatin1String(kManifestName)) return !isFolder;
    const QStringList parts = path.split(QLatin1Char('/'));
    if (parts.first() != QLatin1String("Images") && parts.first() != QLatin1String("Music")) return false;
    if (parts.size() == 1) return isFolder;
    for (const QString& part : parts)
        if (part.isEmpty() || part == QLatin1String(".") || part == QLatin1String("..")) return false;
    return true;
}

}  // namespace

QString ArchiveEndings()
{
    QStringList all;
    for (const Ending& e : kEndings) all << QString::fromLatin1(e.suffix);
    return all.join(QStringLiteral(", "));
}

bool SetWriteFormat(archive* writer, const QString& archivePath)
{
    const QString lower = archivePath.toLower();
    for (const Ending& e : kEndings) {
        if (!lower.endsWith(QLatin1String(e.suffix))) continue;
        return e.format(writer) == ARCHIVE_OK && e.filter(writer) == ARCHIVE_OK;
    }
    return false;
}

void Throttle::operator()(qint64 done, qint64 total, bool force)
{
    if (!progress_) return;
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    if (!force && last_ >= 0 && now - last_ < 250) return;
    last_ = now;
    progress_(stage_, done, total);
}

bool CheckCatalogueCopy(const QString& databasePath, const Manifest& manifest, QString* error)
{
    auto fail = [&](const QString& why) {
        *error = QStringLiteral("the catalogue in the archive is damaged: %1").arg(why);
        return false;
    };
    QStringList problems;
    db::TableRows tables;
    QString why;
    if (!db::CheckCatalogueFile(databasePath, &problems, &tables, &why)) return fail(why);
    if (!problems.isEmpty()) return fail(problems.mid(0, 3).join(QStringLiteral("; ")));
    for (const auto& t : tables) {
        if (manifest.Rows(t.first) != t.second)
            return fail(QStringLiteral("%1 holds %2 rows, the manifest says %3")
                            .arg(t.first)
                            .arg(t.second)
                            .arg(manifest.Rows(t.first)));
    }
    return true;
}

bool ScanArchive(const QString& archivePath, const ScanTargets& targets, const QString& stage,
                 const Progress& progress, Manifest* manifest, QString* error)
{
    const QFileInfo info(archivePath);
    if (!info.isFile()) {
        *error = QStringLiteral("%1 does not exist or is not a file").arg(archivePath);
        return false;
    }
    std::unique_ptr<archive, int (*)(archive*)> reader(archive_read_new(), archive_read_free);
    archive* a = reader.get();
    archive_read_support_filter_all(a);
    archive_read_support_format_all(a);
    if (archive_read_open_filename(a, QFile::encodeName(archivePath).constData(), 1 << 20) != ARCHIVE_OK) {
        *error = QStringLiteral("%1 cannot be read as an archive: %2").arg(archivePath, archiveError(a));
        return false;
    }
    auto damaged = [&](const QString& why) {
        *error = QStringLiteral("%1 is damaged or incomplete: %2").arg(archivePath, why);
        return false;
    };

    Throttle report(progress, stage);
    const qint64 total = info.size();
    QHash<QString, FileSum> seen;
    QStringList order;
    QByteArray manifestText;
    bool haveManifest = false;
    QByteArray buffer(1 << 20, Qt::Uninitialized);
    for (;;) {
        archive_entry* entry = nullptr;
        const int rc = archive_read_next_header(a, &entry);
        if (rc == ARCHIVE_EOF) break;
        if (rc != ARCHIVE_OK) return damaged(archiveError(a));
        const char* rawName = archive_entry_pathname_utf8(entry);
        if (!rawName) rawName = archive_entry_pathname(entry);
        QString path = QString::fromUtf8(rawName ? rawName : "");
        const bool isFolder = archive_entry_filetype(entry) == AE_IFDIR;
        while (path.endsWith(QLatin1Char('/'))) path.chop(1);
        if (haveManifest) return damaged(QStringLiteral("%1 follows the manifest").arg(path));
        if (!isFolder && archive_entry_filetype(entry) != AE_IFREG)
            return damaged(QStringLiteral("%1 is not a plain file").arg(path));
        if (!allowedPath(path, isFolder))
            return damaged(QStringLiteral("%1 does not belong in a Tavrelo backup").arg(path));
        if (isFolder) {
            if (!targets.extractTo.isEmpty() && !QDir().mkpath(targets.extractTo + QLatin1Char('/') + path)) {
                *error = QStringLiteral("cannot make the folder %1/%2").arg(targets.extractTo, path);
                return false;
            }
            continue;
        }
        if (seen.contains(path)) return damaged(QStringLiteral("%1 is in it twice").arg(path));
        const bool isManifest = path == QLatin1String(kManifestName);

        // Where this entry's bytes go.
        QString outPath;
        if (!isManifest && !targets.extractTo.isEmpty())
            outPath = targets.extractTo + QLatin1Char('/') + path;
        else if (path == QLatin1String(kDatabaseName) && !targets.databaseTo.isEmpty())
            outPath = targets.databaseTo;
        QFile out(outPath);
        if (!outPath.isEmpty()) {
            QDir().mkpath(QFileInfo(outPath).absolutePath());
            if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
                *error = QStringLiteral("cannot write %1: %2").arg(outPath, out.errorString());
                return false;
            }
        }
        QCryptographicHash hash(QCryptographicHash::Sha256);
        qint64 size = 0;
        for (;;) {
            const la_ssize_t n = archive_read_data(a, buffer.data(), size_t(buffer.size()));
            if (n < 0) return damaged(QStringLiteral("%1: %2").arg(path, archiveError(a)));
            if (n == 0) break;
            size += n;
            if (isManifest) {
                if (manifestText.size() + n > (256 << 20))
                    return damaged(QStringLiteral("the manifest is too large"));
                manifestText.append(buffer.constData(), n);
                continue;
            }
            hash.addData(QByteArrayView(buffer.constData(), n));
            if (out.isOpen() && out.write(buffer.constData(), n) != n) {
                *error = QStringLiteral("cannot write %1: %2").arg(outPath, out.errorString());
                return false;
            }
            report(archive_filter_bytes(a, -1), total);
        }
        if (out.isOpen()) {
            if (!out.flush()) {
                *error = QStringLiteral("cannot write %1: %2").arg(outPath, out.errorString());
                return false;
            }
            const time_t mtime = archive_entry_mtime(entry);
            out.close();
            if (!isManifest && mtime > 0)
                out.setFileTime(QDateTime::fromSecsSinceEpoch(mtime), QFileDevice::FileModificationTime);
        }
        if (isManifest) {
            haveManifest = true;
        } else {
            seen.insert(path, FileSum{path, size, hash.result().toHex()});
            order << path;
        }
    }
    if (!haveManifest)
        return damaged(
            QStringLiteral("it ends before the manifest (cut short, or not made by tavrelo-backup)"));
    QString why;
    if (!Manifest::Parse(manifestText, manifest, &why)) return damaged(why);
    for (const FileSum& listed : manifest->files) {
        const auto found = seen.constFind(listed.path);
        if (found == seen.constEnd())
            return damaged(QStringLiteral("%1 is listed but missing").arg(listed.path));
        if (found->size != listed.size)
            return damaged(QStringLiteral("%1 has %2 bytes, the manifest says %3")
                               .arg(listed.path)
                               .arg(found->size)
                               .arg(listed.size));
        if (found->sha256 != listed.sha256)
            return damaged(QStringLiteral("%1 does not match its SHA-256 in the manifest").arg(listed.path));
    }
    if (seen.size() != manifest->files.size()) {
        QSet<QString> listed;
        for (const FileSum& f : manifest->files) listed.insert(f.path);
        for (const QString& path : order)
            if (!listed.contains(path)) return damaged(QStringLiteral("%1 is not in the manifest").arg(path));
    }
    if (!seen.contains(QLatin1String(kDatabaseName))) return damaged(QStringLiteral("it holds no House.db"));
    report(total, total, true);
    return true;
}

}  // namespace backup
