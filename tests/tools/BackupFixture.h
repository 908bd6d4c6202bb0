#pragma once

// What the backup test needs around the tool: where the tool and its helper are, running them,
// reading a catalogue straight through SQLite, fingerprints of folders, and damaging archives.

#include <archive.h>
#include <archive_entry.h>
#include <sqlite3.h>

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QTest>

#include "Manifest.h"
#include "Processes.h"
#include "core/db/Connection.h"
#include "core/db/TextCollation.h"

namespace backuptest {

inline QString binaryDir()
{
    return testsupport::BinaryDir();
}

inline QString toolPath()
{
    return binaryDir() + QStringLiteral("/tavrelo-backup");
}

inline QString helperPath()
{
    return binaryDir() + QStringLiteral("/tests/backup-catalogue");
}

using Run = testsupport::ToolRun;

inline Run runTool(const QStringList& args)
{
    return testsupport::RunTool(toolPath(), args, 120000);
}

inline bool fill(const QString& folder, int houses, int pictureBytes)
{
    QProcess p;
    p.start(helperPath(),
            {QStringLiteral("fill"), folder, QString::number(houses), QString::number(pictureBytes)});
    return p.waitForFinished(120000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

// Rows of a query, every value as text (NULL as "<null>"), straight from SQLite.
inline QStringList rows(const QString& database, const QString& sql)
{
    QStringList out;
    sqlite3* h = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(database).constData(), &h, SQLITE_OPEN_READWRITE, nullptr) !=
        SQLITE_OK) {
        sqlite3_close(h);
        return {QStringLiteral("<cannot open>")};
    }
    db::RegisterTextCollation(h);
    sqlite3_busy_timeout(h, 10000);
    sqlite3_stmt* st = nullptr;
    if (sqlite3_prepare_v2(h, sql.toUtf8().constData(), -1, &st, nullptr) != SQLITE_OK) {
        out << QStringLiteral("<error %1>").arg(QString::fromUtf8(sqlite3_errmsg(h)));
    } else {
        while (sqlite3_step(st) == SQLITE_ROW) {
            QStringList cells;
            for (int i = 0; i < sqlite3_column_count(st); ++i)
                cells << (sqlite3_column_type(st, i) == SQLITE_NULL
                              ? QStringLiteral("<null>")
                              : QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(st, i))));
            out << cells.join(QLatin1Char('|'));
        }
    }
    sqlite3_finalize(st);
    sqlite3_close(h);
    return out;
}

inline QString value(const QString& database, const QString& sql)
{
    const QStringList r = rows(database, sql);
    return r.isEmpty() ? QString() : r.first();
}

inline QByteArray fileHash(const QString& path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) return QByteArray("<unreadable>");
    QCryptographicHash h(QCryptographicHash::Sha256);
    h.addData(&f);
    return h.result().toHex();
}

// Every file and folder below root (hidden ones too) with the hash of its content: two equal
// maps mean nothing in the folder changed.
inline QMap<QString, QByteArray> folderState(const QString& root)
{
    QMap<QString, QByteArray> state;
    QDirIterator it(root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        const QString rel = QDir(root).relativeFilePath(it.filePath());
        state.insert(rel, it.fileInfo().isDir() ? QByteArray("<dir>") : fileHash(it.filePath()));
    }
    return state;
}

inline QStringList filesBelow(const QString& root)
{
    QStringList names;
    QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) names << QDir(root).relativeFilePath(it.next());
    names.sort();
    return names;
}

inline void flipBytes(const QString& path, qint64 at, int count)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::ReadWrite));
    QVERIFY(f.seek(at));
    QByteArray bytes = f.read(count);
    for (char& c : bytes) c = char(c ^ 0x5a);
    QVERIFY(f.seek(at));
    QCOMPARE(f.write(bytes), qint64(bytes.size()));
}

inline void truncateTo(const QString& from, const QString& to, qint64 size)
{
    QFile in(from);
    QVERIFY(in.open(QIODevice::ReadOnly));
    QFile out(to);
    QVERIFY(out.open(QIODevice::WriteOnly));
    QCOMPARE(out.write(in.read(size)), size);
}

// Writes a .tar by hand with the entries given (name, content; a content starting with "->" makes
// a symbolic link to the rest) and a manifest that lists every plain entry with its true size and
// SHA-256: an archive that passes every checksum yet has what no backup may hold.
inline bool writeCraftedTar(const QString& path, const QList<QPair<QString, QByteArray>>& entries)
{
    backup::Manifest manifest;
    manifest.created = QStringLiteral("2026-01-01T00:00:00Z");
    for (const char* table : db::kTableNames)
        manifest.tables << qMakePair(QString::fromLatin1(table), qint64(0));
    archive* a = archive_write_new();
    archive_write_set_format_pax_restricted(a);
    if (archive_write_open_filename(a, QFile::encodeName(path).constData()) != ARCHIVE_OK) return false;
    auto add = [&](const QString& name, const QByteArray& data, bool link) {
        archive_entry* e = archive_entry_new();
        archive_entry_set_pathname(e, name.toUtf8().constData());
        archive_entry_set_filetype(e, link ? AE_IFLNK : AE_IFREG);
        archive_entry_set_perm(e, 0644);
        if (link) archive_entry_set_symlink(e, data.constData());
        archive_entry_set_size(e, link ? 0 : data.size());
        archive_write_header(a, e);
        if (!link) archive_write_data(a, data.constData(), size_t(data.size()));
        archive_entry_free(e);
    };
    for (const auto& entry : entries) {
        const bool link = entry.second.startsWith("->");
        add(entry.first, link ? entry.second.mid(2) : entry.second, link);
        if (!link)
            manifest.files << backup::FileSum{entry.first, entry.second.size(),
                                              backup::Sha256Hex(entry.second)};
    }
    add(QString::fromLatin1(backup::kManifestName), manifest.Text(), false);
    const bool ok = archive_write_close(a) == ARCHIVE_OK;
    archive_write_free(a);
    return ok;
}

}  // namespace backuptest
