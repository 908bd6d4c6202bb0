#pragma once

// Shared by the price-list tests: program folders made by the real tools, the catalogue's rows
// read back through the data layer, and small sheets written in a chosen encoding. With
// TAVRELO_TEST_STORE=server every folder's catalogue is a fresh database on the test server (named
// in the folder's Tavrelo.conf) and the folder holds no House.db at all.
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QStringEncoder>
#include <QTemporaryDir>

#include "PgCluster.h"
#include "Processes.h"
#include "core/db/Connection.h"
#include "core/db/Statement.h"
#include "core/db/Store.h"
#include "pricelist/sheet/PriceList.h"

namespace pricelistfixture {

using Run = testsupport::ToolRun;
using testsupport::BinaryDir;

inline Run RunProgram(const QString& program, const QStringList& args, int timeoutMs = 60000)
{
    return testsupport::RunTool(program, args, timeoutMs);
}

inline Run RunPriceList(const QStringList& args)
{
    return RunProgram(BinaryDir() + QStringLiteral("/tavrelo-pricelist"), args);
}

// Points the folder at a fresh catalogue on the test server.
inline QString UseServer(const QString& folder)
{
    const QString uri = testsupport::PgCluster::Instance().CreateDatabase();
    QSettings settings(folder + QStringLiteral("/Tavrelo.conf"), QSettings::IniFormat);
    settings.setValue(QStringLiteral("catalogue/server"), uri);
    settings.sync();
    return settings.status() == QSettings::NoError ? uri : QString();
}

// A program folder holding the demo catalogue, written by the real demo tool (and on a server run
// moved there by the real tavrelo-server, House.db then removed).
inline bool MakeDemoFolder(const QString& folder, QString* why)
{
    Run r = RunProgram(BinaryDir() + QStringLiteral("/tools/demo/tavrelo-demo"), {folder});
    if (r.exitCode == 0 && testsupport::ServerMode()) {
        const QString uri = UseServer(folder);
        r = RunProgram(BinaryDir() + QStringLiteral("/tavrelo-server"),
                       {QStringLiteral("upload"), uri, folder});
        if (r.exitCode == 0 && !QFile::remove(folder + QStringLiteral("/House.db"))) r.exitCode = 1;
    }
    if (r.exitCode != 0) *why = r.err + r.out;
    return r.exitCode == 0;
}

// An empty program folder: a fresh catalogue (House.db, or a database on the test server),
// Images/ and Music/.
inline bool MakeEmptyFolder(const QString& folder)
{
    if (!QDir().mkpath(folder + QStringLiteral("/Images")) ||
        !QDir().mkpath(folder + QStringLiteral("/Music")))
        return false;
    if (testsupport::ServerMode()) return !UseServer(folder).isEmpty();
    return db::CreateEmptyDatabase(folder + QStringLiteral("/House.db"));
}

inline bool WriteBytes(const QString& path, const QByteArray& bytes)
{
    return testsupport::WriteFile(path, bytes);
}

inline QByteArray ReadBytes(const QString& path)
{
    return testsupport::ReadFile(path);
}

inline QByteArray Gb18030(const QString& text)
{
    QStringEncoder encoder("GB18030");
    return encoder.isValid() ? QByteArray(encoder(text)) : QByteArray();
}

// Every row of the five tables, keys included, as text: two catalogues with the same dump hold
// the same data. The folder's catalogue is read wherever it is kept (House.db or the server).
inline QStringList Dump(const QString& folder)
{
    QStringList out;
    db::Connection c;
    if (!db::OpenCatalogue(c, folder)) return {QStringLiteral("cannot open ") + folder};
    const char* queries[] = {
        "SELECT TypeID, List, HouseType, MusicTitle, MusicFile FROM t_HouseType ORDER BY TypeID",
        "SELECT HouseID, HouseName, HouseNo, Intro, HouseFloor, TypeID FROM t_House ORDER BY HouseID",
        "SELECT ContentID, HouseID, Caption, Content, List FROM t_Content ORDER BY ContentID",
        "SELECT ImageID, HouseID, Caption, Intro, ImageFile, List FROM t_Image ORDER BY ImageID",
        "SELECT ContentID, TypeID, Caption, Content FROM t_Content_Auto ORDER BY ContentID"};
    for (const char* sql : queries) {
        db::Statement s;
        if (!s.Prepare(c, QString::fromLatin1(sql))) return {QStringLiteral("cannot read ") + folder};
        while (s.Next()) {
            QStringList cells;
            for (int i = 0; i < s.ColumnCount(); ++i) cells << s.Column(i).toString();
            out << cells.join(QLatin1Char('|'));
        }
    }
    return out;
}

// The rows of one query, each as its cells joined with "|".
inline QStringList Rows(const QString& folder, const QString& sql)
{
    QStringList out;
    db::Connection c;
    db::Statement s;
    if (!db::OpenCatalogue(c, folder) || !s.Prepare(c, sql)) return {QStringLiteral("cannot read")};
    while (s.Next()) {
        QStringList cells;
        for (int i = 0; i < s.ColumnCount(); ++i) cells << s.Column(i).toString();
        out << cells.join(QLatin1Char('|'));
    }
    return out;
}

inline qint64 Count(const QString& folder, const QString& table)
{
    db::Connection c;
    if (!db::OpenCatalogue(c, folder)) return -1;
    db::Statement s;
    if (!s.Prepare(c, QStringLiteral("SELECT COUNT(*) FROM ") + table) || !s.Next()) return -1;
    return s.Column(0).toLongLong();
}

}  // namespace pricelistfixture
