#include "core/db/CatalogueFile.h"

#include <sqlite3.h>

#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include "core/db/Connection.h"
#include "core/db/TextCollation.h"

namespace db {

namespace {

QString sqliteError(sqlite3* handle)
{
    return handle ? QString::fromUtf8(sqlite3_errmsg(handle)) : QStringLiteral("out of memory");
}

bool countRows(sqlite3* handle, TableRows* tables, QString* error)
{
    tables->clear();
    for (const char* table : kTableNames) {
        const QByteArray sql = QByteArray("SELECT count(*) FROM ") + table;
        sqlite3_stmt* stmt = nullptr;
        if (sqlite3_prepare_v2(handle, sql.constData(), -1, &stmt, nullptr) != SQLITE_OK ||
            sqlite3_step(stmt) != SQLITE_ROW) {
            *error = QStringLiteral("table %1: %2").arg(QLatin1String(table), sqliteError(handle));
            sqlite3_finalize(stmt);
            return false;
        }
        tables->append(qMakePair(QString::fromLatin1(table), qint64(sqlite3_column_int64(stmt, 0))));
        sqlite3_finalize(stmt);
    }
    return true;
}

sqlite3* openReadOnly(const QString& path, QString* error)
{
    sqlite3* handle = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(path).constData(), &handle, SQLITE_OPEN_READONLY, nullptr) !=
        SQLITE_OK) {
        *error = sqliteError(handle);
        sqlite3_close(handle);
        return nullptr;
    }
    RegisterTextCollation(handle);
    return handle;
}

// Copies every page of `from` into `to` in one step, retrying while a save holds the file.
bool copyPages(sqlite3* from, sqlite3* to, int busyWaitMs, qint64* heldMs)
{
    QElapsedTimer held;
    for (int waited = 0; waited <= busyWaitMs; waited += 50) {
        sqlite3_backup* copy = sqlite3_backup_init(to, "main", from, "main");
        if (!copy) return false;
        held.start();
        const int rc = sqlite3_backup_step(copy, -1);
        sqlite3_backup_finish(copy);
        *heldMs = held.elapsed();
        if (rc == SQLITE_DONE) return true;
        if (rc != SQLITE_BUSY && rc != SQLITE_LOCKED) return false;
        QThread::msleep(50);
    }
    return false;
}

}  // namespace

bool CountFileRows(const QString& path, TableRows* tables, QString* error)
{
    sqlite3* handle = openReadOnly(path, error);
    if (!handle) return false;
    sqlite3_busy_timeout(handle, 5000);
    const bool counted = countRows(handle, tables, error);
    sqlite3_close(handle);
    return counted;
}

bool CheckCatalogueFile(const QString& path, QStringList* problems, TableRows* tables, QString* error)
{
    sqlite3* handle = openReadOnly(path, error);
    if (!handle) return false;
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(handle, "PRAGMA integrity_check", -1, &stmt, nullptr) != SQLITE_OK) {
        *error = sqliteError(handle);
        sqlite3_finalize(stmt);
        sqlite3_close(handle);
        return false;
    }
    int rc;
    while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
        const QString line = QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0)));
        if (line != QLatin1String("ok")) *problems << line;
    }
    sqlite3_finalize(stmt);
    bool ok = rc == SQLITE_DONE;
    if (!ok) *error = sqliteError(handle);
    // A damaged file is not counted: its problems are the answer.
    if (ok && problems->isEmpty()) ok = countRows(handle, tables, error);
    sqlite3_close(handle);
    return ok;
}

bool SnapshotCatalogueFile(const QString& source, int busyWaitMs, QByteArray* image, TableRows* tables,
                           qint64* heldMs, QString* error)
{
    // Read-write, as the program opens it: a save that a crash interrupted left a hot journal,
    // and only a writer may roll it back (a file we may not write is opened read-only anyway).
    sqlite3* from = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(source).constData(), &from, SQLITE_OPEN_READWRITE, nullptr) !=
        SQLITE_OK) {
        *error = QStringLiteral("cannot open %1: %2").arg(source, sqliteError(from));
        sqlite3_close(from);
        return false;
    }
    sqlite3_busy_timeout(from, busyWaitMs);
    if (!countRows(from, tables, error)) {
        *error = QStringLiteral("%1 is not a Tavrelo catalogue: %2").arg(source, *error);
        sqlite3_close(from);
        return false;
    }
    // The copy goes into memory, which keeps the program's saves waiting the shortest time, and is
    // then taken out as the bytes of a database file.
    sqlite3* to = nullptr;
    if (sqlite3_open(":memory:", &to) != SQLITE_OK) {
        *error = QStringLiteral("cannot copy the catalogue: %1").arg(sqliteError(to));
        sqlite3_close(to);
        sqlite3_close(from);
        return false;
    }
    bool done = copyPages(from, to, busyWaitMs, heldMs);
    sqlite3_close(from);
    if (!done) {
        *error = QStringLiteral("cannot copy the catalogue %1: %2").arg(source, sqliteError(to));
        sqlite3_close(to);
        return false;
    }
    // The rows counted are the copy's, not the file's of a moment before.
    done = countRows(to, tables, error);
    sqlite3_int64 size = 0;
    unsigned char* bytes = done ? sqlite3_serialize(to, "main", &size, 0) : nullptr;
    if (bytes) {
        *image = QByteArray(reinterpret_cast<const char*>(bytes), qsizetype(size));
        sqlite3_free(bytes);
    } else if (done) {
        *error = QStringLiteral("out of memory while copying the catalogue");
        done = false;
    }
    sqlite3_close(to);
    return done;
}

}  // namespace db
