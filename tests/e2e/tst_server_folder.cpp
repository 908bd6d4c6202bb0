// A program folder that holds nothing but a Tavrelo.conf naming the shared catalogue's server, as
// the README has a PC set up: the installed program (a copy of the executable with no House.db
// beside it, so the per-user folder under $XDG_DATA_HOME counts) and --folder both open the
// server's catalogue there, with Images and Music made for the local copies and no House.db
// written; TAVRELO_SERVER on an empty folder does the same. tavrelo-pricelist exports from such a
// folder; tavrelo-import and tavrelo-demo, which write a House.db, refuse it and write nothing.
#include <QDir>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include "PgCluster.h"
#include "TestSupport.h"

using testsupport::PgCluster;

namespace {

struct Run {
    int code = -1;
    QString out;
    QString err;
};

Run run(const QString& program, const QStringList& arguments, const QProcessEnvironment& environment)
{
    QProcess p;
    p.setProcessEnvironment(environment);
    p.start(program, arguments);
    Run r;
    if (!p.waitForFinished(120000)) {
        p.kill();
        p.waitForFinished();
        r.err = "did not finish";
        return r;
    }
    r.code = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = QString::fromUtf8(p.readAllStandardOutput());
    r.err = QString::fromUtf8(p.readAllStandardError());
    return r;
}

bool writeConf(const QString& folder, const QString& uri)
{
    if (!QDir().mkpath(folder)) return false;
    QSettings settings(folder + "/Tavrelo.conf", QSettings::IniFormat);
    settings.setValue("catalogue/server", uri);
    settings.sync();
    return settings.status() == QSettings::NoError;
}

QString binary(const QString& name)
{
    return qEnvironmentVariable("TAVRELO_BINARY_DIR") + "/" + name;
}

}  // namespace

class tst_server_folder : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> catalogue;
    QTemporaryDir scratch;
    QString installed;  // a copy of the program with no House.db beside it
    QProcessEnvironment environment;

    void expectServerFolder(const QString& folder, const Run& r)
    {
        QVERIFY2(r.code == 0, qPrintable(r.out + r.err));
        QVERIFY2(r.out.contains("window frmHouseList open\n"), qPrintable(r.out + r.err));
        QVERIFY2(r.out.contains("list lsvHouse rows 2\n"), qPrintable(r.out + r.err));
        QVERIFY2(!QFileInfo::exists(folder + "/House.db"), qPrintable(folder));
        QVERIFY(QFileInfo(folder + "/Images").isDir());
        QVERIFY(QFileInfo(folder + "/Music").isDir());
    }

private slots:
    void initTestCase()
    {
        qputenv("TAVRELO_TEST_STORE", "server");
        QVERIFY(PgCluster::Instance().Start());
        catalogue = std::make_unique<testsupport::ProgramFolder>();
        QVERIFY(catalogue->Exec(
            "INSERT INTO t_HouseType (List, HouseType, MusicTitle, MusicFile) VALUES (1, 'A', '', '')"));
        const QString type = catalogue->Value("SELECT min(TypeID) FROM t_HouseType").toString();
        QVERIFY(catalogue->Exec(
            "INSERT INTO t_House (HouseName, HouseNo, Intro, TypeID) VALUES ('one', '1', '', " + type +
            "), ('two', '2', '', " + type + ")"));
        QVERIFY(QDir().mkpath(scratch.path() + "/bin"));
        installed = scratch.path() + "/bin/tavrelo";
        QVERIFY(QFile::copy(binary("tavrelo"), installed));
        QVERIFY(!QFileInfo::exists(scratch.path() + "/bin/House.db"));
        environment = QProcessEnvironment::systemEnvironment();
        environment.remove("TAVRELO_FOLDER");
        environment.remove("TAVRELO_SERVER");
        environment.insert("QT_QPA_PLATFORM", "offscreen");
        environment.insert("QTWEBENGINE_DISABLE_SANDBOX", "1");
        environment.insert("HOME", scratch.path() + "/home");
        environment.insert("XDG_DATA_HOME", scratch.path() + "/data");
        QVERIFY(QDir().mkpath(scratch.path() + "/runtime"));
        QFile::setPermissions(scratch.path() + "/runtime",
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        environment.insert("XDG_RUNTIME_DIR", scratch.path() + "/runtime");
        environment.insert("TAVRELO_REPORT_WINDOW", "frmHouseList");
    }

    void per_user_folder_with_only_the_setting()
    {
        const QString folder = scratch.path() + "/data/Tavrelo";
        QVERIFY(writeConf(folder, catalogue->ServerUri()));
        expectServerFolder(folder, run(installed, {}, environment));
    }

    void named_folder_with_only_the_setting()
    {
        const QString folder = scratch.path() + "/pc2";
        QVERIFY(writeConf(folder, catalogue->ServerUri()));
        expectServerFolder(folder, run(installed, {"--folder", folder}, environment));
    }

    void server_from_the_environment_on_an_empty_folder()
    {
        const QString folder = scratch.path() + "/pc3";
        QVERIFY(QDir().mkpath(folder));
        QProcessEnvironment withServer = environment;
        withServer.insert("TAVRELO_SERVER", catalogue->ServerUri());
        expectServerFolder(folder, run(installed, {"--folder", folder}, withServer));
    }

    void tools_on_a_folder_with_only_the_setting()
    {
        const QString folder = scratch.path() + "/pc4";
        QVERIFY(writeConf(folder, catalogue->ServerUri()));
        QProcessEnvironment tools = environment;
        tools.remove("TAVRELO_REPORT_WINDOW");
        const Run exported =
            run(binary("tavrelo-pricelist"), {"export", scratch.path() + "/list.csv", folder}, tools);
        QVERIFY2(exported.code == 0, qPrintable(exported.out + exported.err));
        QVERIFY(QFileInfo(scratch.path() + "/list.csv").size() > 0);
        const QString mdb = qEnvironmentVariable("TAVRELO_SOURCE_DIR") + "/tests/import/fixtures/House.MDB";
        const Run imported = run(binary("tavrelo-import"), {mdb, folder}, tools);
        QCOMPARE(imported.code, 1);
        QVERIFY2(imported.err.contains("is on a server"), qPrintable(imported.err));
        const Run demo = run(binary("tools/demo/tavrelo-demo"), {folder}, tools);
        QCOMPARE(demo.code, 1);
        QVERIFY2(demo.err.contains("is on a server"), qPrintable(demo.err));
        QVERIFY(!QFileInfo::exists(folder + "/House.db"));
        QCOMPARE(catalogue->Value("SELECT count(*) FROM t_House").toInt(), 2);
    }
};

QTEST_MAIN(tst_server_folder)
#include "tst_server_folder.moc"
