// tavrelo-server against a private PostgreSQL server: init, upload and download through the real
// program and its library, and round trips of the demo catalogue and of the legacy sample that must
// give back identical tables, key counters and files.
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

#include "Importer.h"
#include "PgCluster.h"
#include "ServerTool.h"
#include "TestSupport.h"

using testsupport::PgCluster;
using testsupport::ProgramFolder;

namespace {

struct Run {
    int exitCode = -1;
    QString out, err;
};

Run runTool(const QString& program, const QStringList& args)
{
    QProcess p;
    p.start(program, args);
    Run r;
    if (!p.waitForFinished(120000)) return r;
    r.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = QString::fromLocal8Bit(p.readAllStandardOutput());
    r.err = QString::fromLocal8Bit(p.readAllStandardError());
    return r;
}

QString binary(const QString& relative)
{
    return qEnvironmentVariable("TAVRELO_BINARY_DIR") + QLatin1Char('/') + relative;
}

const char* const kKeys[][2] = {{"t_HouseType", "TypeID"},
                                {"t_House", "HouseID"},
                                {"t_Content", "ContentID"},
                                {"t_Image", "ImageID"},
                                {"t_Content_Auto", "ContentID"}};

QMap<QString, QByteArray> files(const QString& folder)
{
    QMap<QString, QByteArray> all;
    for (const char* sub : {"Images", "Music"}) {
        const QDir dir(folder + QLatin1Char('/') + QLatin1String(sub));
        for (const QString& name : dir.entryList(QDir::Files)) {
            QFile f(dir.filePath(name));
            if (f.open(QIODevice::ReadOnly))
                all.insert(QLatin1String(sub) + QLatin1Char('/') + name, f.readAll());
        }
    }
    return all;
}

}  // namespace

class tst_server_tool : public QObject {
    Q_OBJECT

    // Uploads a, downloads into b, and compares every table, key counter and file.
    void roundTrip(const ProgramFolder& a, int expectedHouses, bool withFiles)
    {
        const QString uri = PgCluster::Instance().CreateDatabase(false);
        const Run up = runTool(binary("tavrelo-server"), {"upload", uri, a.Path()});
        QVERIFY2(up.exitCode == 0, qPrintable(up.err));
        QVERIFY(up.out.contains("t_House"));
        ProgramFolder b(false);
        const Run down = runTool(binary("tavrelo-server"), {"download", uri, b.Path()});
        QVERIFY2(down.exitCode == 0, qPrintable(down.err));
        QCOMPARE(b.Value("Select Count(*) From t_House").toInt(), expectedHouses);
        for (const auto& table : kKeys) {
            const QString sql = QStringLiteral("Select * From %1 Order By %2").arg(table[0], table[1]);
            QCOMPARE(b.Rows(sql), a.Rows(sql));
            const QString seq =
                QStringLiteral("Select seq From sqlite_sequence Where name = '%1'").arg(table[0]);
            QCOMPARE(b.Value(seq).toLongLong(), a.Value(seq).toLongLong());
        }
        const auto before = files(a.Path());
        QCOMPARE(!before.isEmpty(), withFiles);
        QCOMPARE(files(b.Path()), before);
        PgCluster::Instance().DropDatabase(uri);
    }

private slots:
    void init_makes_the_tables_once_and_usage_errors_exit_with_two()
    {
        const QString uri = PgCluster::Instance().CreateDatabase(false);
        Run r = runTool(binary("tavrelo-server"), {"init", uri});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        r = runTool(binary("tavrelo-server"), {"init", uri});
        QCOMPARE(r.exitCode, 1);
        QVERIFY(r.err.contains("already"));
        QCOMPARE(runTool(binary("tavrelo-server"), {"fetch", uri}).exitCode, 2);
        QCOMPARE(runTool(binary("tavrelo-server"), {"init"}).exitCode, 2);
        QCOMPARE(runTool(binary("tavrelo-server"), {"--replace", "init", uri}).exitCode, 2);
        r = runTool(binary("tavrelo-server"), {"init", "postgresql://tavrelo@127.0.0.1:1/none"});
        QCOMPARE(r.exitCode, 1);
        QVERIFY(!r.err.isEmpty());
        PgCluster::Instance().DropDatabase(uri);
    }

    void demo_catalogue_survives_upload_and_download()
    {
        ProgramFolder a;
        const Run demo = runTool(binary("tools/demo/tavrelo-demo"), {a.Path()});
        QVERIFY2(demo.exitCode == 0, qPrintable(demo.err));
        // A deleted key at the top must stay used on the way round.
        QVERIFY(
            a.Exec("Insert Into t_House (HouseName, HouseNo) Values ('King''s', '9'); "
                   "Insert Into t_House (HouseName) Values ('gone')"));
        QVERIFY(a.Exec("Delete From t_House Where HouseName = 'gone'"));
        roundTrip(a, a.Value("Select Count(*) From t_House").toInt(), true);
    }

    void legacy_sample_survives_upload_and_download()
    {
        // The importer's sample, kept beside its tests (or where TAVRELO_LEGACY_FIXTURES says).
        QString fixtures = qEnvironmentVariable("TAVRELO_LEGACY_FIXTURES");
        if (fixtures.isEmpty())
            fixtures = qEnvironmentVariable("TAVRELO_SOURCE_DIR") + "/tests/import/fixtures";
        QVERIFY2(QFile::exists(fixtures + "/House.MDB"), qPrintable(fixtures));
        ProgramFolder a(false);
        legacy::ImportOptions options;
        options.source = fixtures;
        options.programFolder = a.Path();
        const legacy::ImportResult imported = legacy::Import(options, {});
        QVERIFY2(imported.ok, qPrintable(imported.error));
        // The sample is the tables alone: its pictures and tunes never came with it.
        QVERIFY(a.Value("Select Count(*) From t_House").toInt() > 0);
        roundTrip(a, a.Value("Select Count(*) From t_House").toInt(), false);
    }

    void the_benchmark_measures_a_server_directly_and_through_its_proxy()
    {
        const QString uri = PgCluster::Instance().TcpUri(
            PgCluster::Instance().CreateDatabase(false).section('/', 3).section('?', 0, 0));
        const Run bench = runTool(binary("tavrelo-bench"), {"--houses", "20", "--server", uri});
        QVERIFY2(bench.exitCode == 0, qPrintable(bench.out.right(1500) + bench.err.right(1500)));
        QCOMPARE(bench.out.count("| open the catalogue (StartList) |"), 2);
        QCOMPARE(bench.out.count("libpq-only ms"), 2);
        QVERIFY(bench.out.contains("adding 2 ms of round-trip time"));
        // A server reached through a socket folder cannot be put behind the TCP proxy: a clear refusal.
        const Run local = runTool(binary("tavrelo-bench"), {"--houses", "20", "--server",
                                                            PgCluster::Instance().CreateDatabase(false)});
        QCOMPARE(local.exitCode, 1);
        QVERIFY(local.err.contains("TCP"));
    }

    void upload_refuses_a_catalogue_with_rows_unless_replace()
    {
        const QString uri = PgCluster::Instance().CreateDatabase(false);
        ProgramFolder a;
        QVERIFY(a.Exec("Insert Into t_HouseType (List, HouseType) Values (1, 'one')"));
        QVERIFY(servertool::Upload(uri, a.Path(), false).ok);
        QVERIFY(a.Exec("Update t_HouseType Set HouseType = 'two'"));
        const Run refused = runTool(binary("tavrelo-server"), {"upload", uri, a.Path()});
        QCOMPARE(refused.exitCode, 1);
        QVERIFY(refused.err.contains("--replace"));
        ProgramFolder check(false);
        QVERIFY(servertool::Download(uri, check.Path()).ok);
        QCOMPARE(check.Value("Select HouseType From t_HouseType").toString(), QString("one"));
        const Run replaced = runTool(binary("tavrelo-server"), {"upload", "--replace", uri, a.Path()});
        QVERIFY2(replaced.exitCode == 0, qPrintable(replaced.err));
        // download refuses a folder that already has a catalogue, and leaves it as it is
        const servertool::Result again = servertool::Download(uri, check.Path());
        QVERIFY(!again.ok);
        QCOMPARE(check.Value("Select HouseType From t_HouseType").toString(), QString("one"));
        ProgramFolder fresh(false);
        QVERIFY(servertool::Download(uri, fresh.Path()).ok);
        QCOMPARE(fresh.Value("Select HouseType From t_HouseType").toString(), QString("two"));
        PgCluster::Instance().DropDatabase(uri);
    }
};

QTEST_MAIN(tst_server_tool)
#include "tst_server_tool.moc"
