#include "Importer.h"

#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>
#include <cstdio>

#include "LegacyReader.h"
#include "core/db/CatalogueCopy.h"
#include "core/db/Connection.h"
#include "core/db/Statement.h"

namespace legacy {

namespace {

const QString kDatabaseName = QStringLiteral("House.db");

// A name in dir matching name without regard to case (the old program ran where case did not
// matter); the exact spelling wins when it is there.
QString findCaseInsensitive(const QDir& dir, const QString& name, QDir::Filters filters)
{
    if (QFileInfo::exists(dir.filePath(name))) return dir.filePath(name);
    const QStringList entries = dir.entryList(filters | QDir::Hidden | QDir::System);
    for (const QString& entry : entries) {
        if (entry.compare(name, Qt::CaseInsensitive) == 0) return dir.filePath(entry);
    }
    return QString();
}

bool isPlainFileName(const QString& name)
{
    return !name.isEmpty() && !name.contains(QLatin1Char('/')) && !name.contains(QLatin1Char('\\')) &&
           name != QLatin1String(".") && name != QLatin1String("..");
}

// True when the catalogue at path holds a row in any of its tables, or cannot be read at all
// (then it is treated as holding rows: better to ask for --replace than to lose something).
bool catalogueHasRows(const QString& path)
{
    db::Connection connection;
    if (!connection.Open(path)) return true;
    for (const char* table : db::kCopiedTables) {
        db::Statement exists;
        if (!exists.Prepare(connection,
                            QStringLiteral("SELECT EXISTS (SELECT 1 FROM %1)").arg(QLatin1String(table))) ||
            !exists.Next() || exists.Column(0).toLongLong() != 0)
            return true;
    }
    return false;
}

// Writes the rows of one table with their keys through one prepared statement.
bool writeTable(db::Connection& connection, const Table& table, QString* error)
{
    QStringList names;
    QStringList marks;
    for (const ColumnLayout& c : table.layout.columns) {
        names << c.name;
        marks << QStringLiteral("?");
    }
    db::Statement insert;
    if (!insert.Prepare(connection, QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                                        .arg(table.layout.name, names.join(QStringLiteral(", ")),
                                             marks.join(QStringLiteral(", "))))) {
        *error = QStringLiteral("cannot write %1: %2").arg(table.layout.name, connection.LastError());
        return false;
    }
    for (const QVariantList& row : table.rows) {
        for (int i = 0; i < row.size(); ++i) insert.Bind(i + 1, row[i]);
        if (!insert.Exec()) {
            *error = QStringLiteral("cannot write the row of %1 with %2 %3: %4")
                         .arg(table.layout.name, table.layout.columns[0].name, row[0].toString(),
                              connection.LastError());
            return false;
        }
    }
    return true;
}

// A new catalogue at path holding the rows read, in one transaction. The data layer opens it with
// the program's collation, so its indexes are ordered as the program orders them.
bool writeCatalogue(const QString& path, const Catalogue& catalogue, QString* error)
{
    QString createError;
    if (!db::CreateEmptyDatabase(path, &createError)) {
        *error = QStringLiteral("cannot make a new catalogue at %1: %2").arg(path, createError);
        return false;
    }
    db::Connection connection;
    if (!connection.Open(path)) {
        *error = QStringLiteral("cannot open the new catalogue %1: %2").arg(path, connection.LastError());
        return false;
    }
    if (!connection.BeginTrans()) {
        *error = QStringLiteral("cannot write: %1").arg(connection.LastError());
        return false;
    }
    // The rows read are where the catalogue starts, not changes of it: no history is written.
    if (!db::SetTriggersAside(connection, error)) {
        connection.RollbackTrans();
        return false;
    }
    for (const Table& table : catalogue.tables) {
        if (!writeTable(connection, table, error)) {
            connection.RollbackTrans();
            return false;
        }
    }
    if (!db::PutTriggersBack(connection, error) || !connection.CommitTrans()) {
        if (error->isEmpty())
            *error = QStringLiteral("cannot finish writing: %1").arg(connection.LastError());
        connection.RollbackTrans();
        return false;
    }
    connection.Close();
    return true;
}

struct PendingFile {
    QString label;  // "Images/000001_0001.jpg"
    QString source;
    QString staged;  // the copy, beside its final place under a temporary name
    QString target;
};

bool copyFile(const PendingFile& file, const CopyProgress& progress, qint64* bytes, QString* error)
{
    QFile in(file.source);
    if (!in.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read %1: %2").arg(file.source, in.errorString());
        return false;
    }
    QFile out(file.staged);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        *error = QStringLiteral("cannot write %1: %2").arg(file.staged, out.errorString());
        return false;
    }
    const qint64 total = in.size();
    const bool report = progress && total >= kProgressThreshold;
    qint64 done = 0;
    QByteArray buffer;
    while (!in.atEnd()) {
        buffer = in.read(1 << 20);
        if (buffer.isEmpty() && in.error() != QFileDevice::NoError) {
            *error = QStringLiteral("cannot read %1: %2").arg(file.source, in.errorString());
            return false;
        }
        if (out.write(buffer) != buffer.size()) {
            *error = QStringLiteral("cannot write %1: %2").arg(file.staged, out.errorString());
            return false;
        }
        done += buffer.size();
        if (report) progress(file.label, done, total);
    }
    if (!out.flush()) {
        *error = QStringLiteral("cannot write %1: %2").arg(file.staged, out.errorString());
        return false;
    }
    *bytes += done;
    return true;
}

bool renameOver(const QString& from, const QString& to)
{
    return ::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
}

// The program folder must be there and take new files; a catalogue there that holds rows is
// replaced only when asked, and never over an earlier House.db.bak.
bool checkProgramFolder(const ImportOptions& options, const QString& databasePath, bool* existingHasRows,
                        QString* error)
{
    const QFileInfo programInfo(options.programFolder);
    if (!programInfo.isDir()) {
        *error = QStringLiteral("the program folder %1 does not exist").arg(options.programFolder);
        return false;
    }
    const QDir programFolder(programInfo.absoluteFilePath());
    {
        QTemporaryFile probe(programFolder.filePath(QStringLiteral(".tavrelo-import-XXXXXX")));
        if (!probe.open()) {
            *error = QStringLiteral("cannot write into the program folder %1: %2")
                         .arg(programFolder.path(), probe.errorString());
            return false;
        }
    }
    const QString backupPath = databasePath + QStringLiteral(".bak");
    *existingHasRows = QFileInfo::exists(databasePath) && catalogueHasRows(databasePath);
    if (*existingHasRows && !options.replace) {
        *error = QStringLiteral(
                     "%1 already holds a catalogue; give --replace to replace it "
                     "(it is then kept as House.db.bak)")
                     .arg(databasePath);
        return false;
    }
    if (*existingHasRows && QFileInfo::exists(backupPath)) {
        *error = QStringLiteral(
                     "%1 is already there; move it away first, so that no earlier "
                     "catalogue is lost")
                     .arg(backupPath);
        return false;
    }
    return true;
}

// The files one table's rows name in one of the old folders: found ones join pending (once each),
// the others are listed in *missing.
struct FileCollector {
    QDir oldFolder;
    QDir programFolder;
    QList<PendingFile> pending;
    QStringList seen;
    QStringList missing;

    bool collect(const Catalogue& catalogue, const QString& folderName, const QString& tableName, int column,
                 QString* error)
    {
        const QString oldSub = findCaseInsensitive(oldFolder, folderName, QDir::Dirs);
        QDir oldDir(oldSub);
        if (!oldSub.isEmpty()) {
            const QFileInfo subInfo(oldSub);
            if (!subInfo.isReadable() || !subInfo.isExecutable()) {
                *error = QStringLiteral("the folder %1 cannot be read").arg(oldSub);
                return false;
            }
        }
        for (const QVariantList& row : catalogue.Find(tableName)->rows) {
            const QString name = row[column].toString();
            if (row[column].isNull() || name.isEmpty()) continue;
            const QString label = folderName + QLatin1Char('/') + name;
            if (seen.contains(label)) continue;
            seen << label;
            const QString source = isPlainFileName(name) && !oldSub.isEmpty()
                                       ? findCaseInsensitive(oldDir, name, QDir::Files)
                                       : QString();
            if (source.isEmpty() || !QFileInfo(source).isFile()) {
                missing << label;
                continue;
            }
            const QString targetDir = programFolder.filePath(folderName);
            pending << PendingFile{label, source,
                                   targetDir + QStringLiteral("/.") + name + QStringLiteral(".import-") +
                                       QString::number(QCoreApplication::applicationPid()),
                                   targetDir + QLatin1Char('/') + name};
        }
        return true;
    }
};

// What was written aside under temporary names, so that a failure can take it all back.
struct Staging {
    QString database;
    QStringList madeFolders;
    QStringList files;

    void undo() const
    {
        for (const QString& f : files) QFile::remove(f);
        QFile::remove(database);
        for (const QString& d : madeFolders) QDir().rmdir(d);
    }
};

// Writes aside: the new catalogue and the copies, under temporary names.
bool stage(const Catalogue& catalogue, const QDir& programFolder, const QList<PendingFile>& pending,
           const CopyProgress& progress, Staging* staging, qint64* bytesCopied, QString* error)
{
    QFile::remove(staging->database);
    if (!writeCatalogue(staging->database, catalogue, error)) return false;
    for (const QString& sub : {QStringLiteral("Images"), QStringLiteral("Music")}) {
        const QString path = programFolder.filePath(sub);
        if (QFileInfo(path).isDir()) continue;
        if (!QDir().mkdir(path)) {
            *error = QStringLiteral("cannot make the folder %1").arg(path);
            return false;
        }
        staging->madeFolders << path;
    }
    for (const PendingFile& file : pending) {
        staging->files << file.staged;
        if (!copyFile(file, progress, bytesCopied, error)) return false;
    }
    return true;
}

// Into place. The old catalogue, if it held rows, stays beside as House.db.bak.
bool putInPlace(const QList<PendingFile>& pending, bool existingHasRows, Staging* staging,
                ImportResult* result)
{
    const QString backupPath = result->databasePath + QStringLiteral(".bak");
    if (existingHasRows) {
        if (!renameOver(result->databasePath, backupPath)) {
            result->error = QStringLiteral("cannot keep the old catalogue as %1").arg(backupPath);
            return false;
        }
        result->backupPath = backupPath;
    }
    if (!renameOver(staging->database, result->databasePath)) {
        result->error =
            QStringLiteral("cannot put the new catalogue in place at %1").arg(result->databasePath);
        if (existingHasRows) renameOver(backupPath, result->databasePath);
        result->backupPath.clear();
        return false;
    }
    for (const PendingFile& file : pending) {
        if (!renameOver(file.staged, file.target)) {
            result->error = QStringLiteral("cannot put %1 in place").arg(file.target);
            return false;
        }
        staging->files.removeOne(file.staged);
        result->copied << file.label;
    }
    return true;
}

}  // namespace

QString LocateDatabase(const QString& source, QString* error)
{
    const QFileInfo info(source);
    if (!info.exists()) {
        *error = QStringLiteral("%1 does not exist").arg(source);
        return QString();
    }
    if (info.isFile()) return info.absoluteFilePath();
    QDir dir(info.absoluteFilePath());
    if (!info.isReadable() || !info.isExecutable()) {
        *error = QStringLiteral("the folder %1 cannot be read").arg(source);
        return QString();
    }
    const QString found = findCaseInsensitive(dir, QStringLiteral("House.MDB"), QDir::Files);
    if (found.isEmpty()) {
        *error = QStringLiteral("the folder %1 holds no House.MDB").arg(source);
        return QString();
    }
    return QFileInfo(found).absoluteFilePath();
}

ImportResult Import(const ImportOptions& options, const CopyProgress& progress)
{
    ImportResult result;
    QString error;

    // The old installation.
    result.mdbPath = LocateDatabase(options.source, &error);
    if (result.mdbPath.isEmpty()) {
        result.error = error;
        return result;
    }
    const QDir programFolder(QFileInfo(options.programFolder).absoluteFilePath());
    result.databasePath = programFolder.filePath(kDatabaseName);
    bool existingHasRows = false;
    if (!checkProgramFolder(options, result.databasePath, &existingHasRows, &result.error)) return result;

    // Read and check everything before writing anything.
    Catalogue catalogue;
    if (!ReadCatalogue(result.mdbPath, &catalogue, &error)) {
        result.error = error;
        return result;
    }
    FileCollector files{QFileInfo(result.mdbPath).absoluteDir(), programFolder, {}, {}, {}};
    const bool collected =
        files.collect(catalogue, QStringLiteral("Images"), QStringLiteral("t_Image"), 4, &result.error) &&
        files.collect(catalogue, QStringLiteral("Music"), QStringLiteral("t_HouseType"), 4, &result.error);
    result.missing = files.missing;
    if (!collected) return result;

    Staging staging{
        programFolder.filePath(QStringLiteral(".House.db.import-%1").arg(QCoreApplication::applicationPid())),
        {},
        {}};
    if (!stage(catalogue, programFolder, files.pending, progress, &staging, &result.bytesCopied,
               &result.error) ||
        !putInPlace(files.pending, existingHasRows, &staging, &result)) {
        staging.undo();
        return result;
    }
    for (const Table& table : catalogue.tables)
        result.rowCounts << qMakePair(table.layout.name, int(table.rows.size()));
    result.ok = true;
    return result;
}

}  // namespace legacy
