// A process killed in the middle of a save leaves the whole save or none of it. A child
// (save_worker) runs the real windows' saves without pause: new and edited houses through the
// wizard, deletions from the catalogue, templates, new, deleted and moved types. It is killed
// with SIGKILL at a random moment, again and again, and after every kill the catalogue must be
// sound: integrity_check ok, no attribute or picture row without its house, every house with
// exactly the rows and pictures its description names, every template whole, type positions
// 1..N without a gap. With TAVRELO_TEST_STORE=server the catalogue is a database on a private
// PostgreSQL server, the child saves into it through libpq, and every picture row's file must be on
// the server as well (there is no integrity_check to run).
//
// TAVRELO_KILL_SEED replays a run; TAVRELO_KILLS sets the number of kills (300 by default).
#include <signal.h>
#include <sys/types.h>

#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>
#include <QThread>

#include "KillChecks.h"
#include "PgCluster.h"
#include "TestSupport.h"

using testsupport::ProgramFolder;

namespace {

// What a save without its transaction leaves when killed: a house whose save stopped after its
// first row (and, on a server, its picture row without the picture's file), a row left by a house
// that is gone, a template cut short and a type list with a gap.
const char* const kHalfSaved =
    "INSERT INTO t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) "
    "VALUES ('半', '1', 'rows=3 pictures=1', 1, 1);"
    "INSERT INTO t_Content (HouseID, Caption, Content, List) "
    "SELECT max(HouseID), '属性1', '值', 1 FROM t_House;"
    "INSERT INTO t_Image (HouseID, Caption, Intro, ImageFile, List) "
    "SELECT max(HouseID), '照片', '', 'gone.png', 1 FROM t_House;"
    "INSERT INTO t_Content (HouseID, Caption, Content, List) "
    "SELECT max(HouseID) + 1000, '属性1', '值', 1 FROM t_House;"
    "INSERT INTO t_Content_Auto (TypeID, Caption, Content) VALUES (2, '模板属性1', 'of 3');"
    "INSERT INTO t_HouseType (List, HouseType, MusicTitle, MusicFile) VALUES (5, '缺位', '', '')";

}  // namespace

class tst_killed_saves : public QObject {
    Q_OBJECT

private slots:
    // The checks below would see a half-finished save: shown on a catalogue made half-saved by hand.
    void the_checks_see_a_half_saved_catalogue()
    {
        ProgramFolder folder;
        QVERIFY(killtest::AddTypes(folder));
        QCOMPARE(killtest::Faults(folder), QStringList());
        QVERIFY(folder.Exec(QString::fromUtf8(kHalfSaved)));
        const QStringList wrong = killtest::Faults(folder);
        qInfo("%s", qPrintable(wrong.join(QLatin1Char('\n'))));
        QStringList expected{QStringLiteral("1 attribute rows without their house")};
        // On a server the picture row's file must be there as well, and 'gone.png' is not.
        if (testsupport::ServerMode())
            expected << QStringLiteral("1 picture rows whose file is not on the server");
        QCOMPARE(wrong.mid(0, expected.size()), expected);
        QCOMPARE(wrong.size(), expected.size() + 3);
        QVERIFY2(wrong[expected.size()].endsWith(
                     QStringLiteral("says 'rows=3 pictures=1' but has 1 rows and 1 pictures")),
                 qPrintable(wrong[expected.size()]));
        QCOMPARE(wrong[expected.size() + 1],
                 QStringLiteral("template of type 2 has 1 rows that say 'of 3'..'of 3'"));
        QCOMPARE(wrong[expected.size() + 2], QStringLiteral("type positions are 1,2,3,5"));
    }

    void every_kill_leaves_whole_saves_only()
    {
        const QString workerPath = killtest::WorkerPath();
        QVERIFY2(QFileInfo(workerPath).isExecutable(), qPrintable(workerPath + " is missing"));
        const quint32 seed = qEnvironmentVariableIsSet("TAVRELO_KILL_SEED")
                                 ? quint32(qEnvironmentVariableIntValue("TAVRELO_KILL_SEED"))
                                 : QRandomGenerator::system()->generate();
        const int kills =
            qEnvironmentVariableIsSet("TAVRELO_KILLS") ? qEnvironmentVariableIntValue("TAVRELO_KILLS") : 300;
        qInfo("seed %u (TAVRELO_KILL_SEED=%u replays it), %d kills", seed, seed, kills);
        QRandomGenerator random(seed);

        ProgramFolder folder;
        testsupport::MakePicture(folder.File(QStringLiteral("picture.png")), 16, 12);
        QVERIFY(killtest::AddTypes(folder));
        const QProcessEnvironment environment = killtest::WorkerEnvironment();

        QElapsedTimer clock;
        clock.start();
        qint64 saves = 0;
        int killedMidway = 0;
        for (int kill = 1; kill <= kills; ++kill) {
            QProcess child;
            child.setProcessChannelMode(QProcess::SeparateChannels);
            child.setProcessEnvironment(environment);
            child.start(workerPath, {folder.Path(), QString::number(random.generate())});
            QVERIFY2(child.waitForStarted(10000), "the save worker did not start");
            QByteArray out;
            while (!out.contains("ready\n") && child.state() == QProcess::Running) {
                child.waitForReadyRead(100);
                out += child.readAllStandardOutput();
            }
            QVERIFY2(out.contains("ready\n"),
                     qPrintable("the save worker ended before it was ready: " +
                                QString::fromLocal8Bit(child.readAllStandardError())));
            // A random moment among the saves: anywhere in the first half second.
            QThread::usleep(random.bounded(1000, 500000));
            ::kill(pid_t(child.processId()), SIGKILL);
            QVERIFY(child.waitForFinished(10000));
            if (child.exitStatus() != QProcess::CrashExit)
                QFAIL(qPrintable("the save worker ended by itself before the kill: " +
                                 QString::fromLocal8Bit(child.readAllStandardError()).right(2000)));
            out += child.readAllStandardOutput();
            saves += out.count('\n') - 1;
            if (out.count('\n') > 1) ++killedMidway;

            const QStringList wrong = killtest::Faults(folder);
            if (!wrong.isEmpty())
                QFAIL(qPrintable(
                    QStringLiteral("after kill %1 of %2 (seed %3):\n  ").arg(kill).arg(kills).arg(seed) +
                    wrong.join(QStringLiteral("\n  "))));
        }
        const qint64 houses = folder.Value(QStringLiteral("SELECT count(*) FROM t_House")).toLongLong();
        qInfo(
            "%d kills in %.1f s, %lld saves finished before them (%d children got past their first save); "
            "%lld houses now",
            kills, clock.elapsed() / 1000.0, saves, killedMidway, houses);
        // The run must really have saved, or the kills prove nothing.
        QVERIFY(saves >= kills);
    }
};

QTEST_MAIN(tst_killed_saves)
#include "tst_killed_saves.moc"
