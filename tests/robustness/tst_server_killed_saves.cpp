// The shared catalogue's server killed in the middle of saves. Two save workers (two PCs, each
// with its own program folder pointed at one database of a private PostgreSQL server) keep saving
// through the real windows: both new and edited houses with rows and pictures, deletions,
// templates, new, deleted and moved types (TAVRELO_SECOND_WORKER=adds makes the second one add
// houses only). The server's postmaster is killed with SIGKILL at random moments,
// started again on the same data (crash recovery), and after every restart the catalogue must hold
// whole saves only: every house with exactly the rows and pictures its description names, every
// picture's file on the server, no row without its house, every template whole, type positions
// 1..N. The workers must live through every outage and save again once the server is back.
//
// TAVRELO_KILL_SEED replays a run; TAVRELO_SERVER_KILLS sets the number of kills (20 by default).
#include <signal.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <memory>
#include <vector>

#include "KillChecks.h"
#include "PgCluster.h"
#include "TestSupport.h"

using testsupport::PgCluster;
using testsupport::ProgramFolder;

namespace {

// One saving process and what it has said so far.
struct Worker {
    std::unique_ptr<QProcess> process;
    QByteArray out;
    QByteArray err;
    void Read()
    {
        out += process->readAllStandardOutput();
        err += process->readAllStandardError();
    }
    int Saves() const { return int(out.count('\n')) - 1; }
    int Messages() const { return int(err.count("message: ")); }
};

// Lets the workers run for a while, collecting what they print.
void runFor(std::vector<Worker>& workers, int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds) {
        // The pipes are read by the event loop; a worker whose pipe is never emptied would stop.
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(10);
        for (Worker& w : workers) w.Read();
    }
}

qint64 housesSaved(const ProgramFolder& folder)
{
    return folder.LastKey(QStringLiteral("t_House")).toLongLong();
}

}  // namespace

class tst_server_killed_saves : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qputenv("TAVRELO_TEST_STORE", "server");
        QVERIFY(PgCluster::Instance().Start());
    }

    void a_killed_server_leaves_whole_saves_only()
    {
        const QString workerPath = killtest::WorkerPath();
        QVERIFY2(QFileInfo(workerPath).isExecutable(), qPrintable(workerPath + " is missing"));
        const quint32 seed = qEnvironmentVariableIsSet("TAVRELO_KILL_SEED")
                                 ? quint32(qEnvironmentVariableIntValue("TAVRELO_KILL_SEED"))
                                 : QRandomGenerator::system()->generate();
        const int kills = qEnvironmentVariableIsSet("TAVRELO_SERVER_KILLS")
                              ? qEnvironmentVariableIntValue("TAVRELO_SERVER_KILLS")
                              : 20;
        qInfo("seed %u (TAVRELO_KILL_SEED=%u replays it), %d server kills", seed, seed, kills);
        QRandomGenerator random(seed);

        ProgramFolder folder;
        QVERIFY(!folder.ServerUri().isEmpty());
        testsupport::MakePicture(folder.File(QStringLiteral("picture.png")), 16, 12);
        QVERIFY(killtest::AddTypes(folder));
        // The second PC: its own folder (its own picture cache), the same catalogue.
        QTemporaryDir second;
        QVERIFY(QDir(second.path()).mkpath(QStringLiteral("Images")));
        QVERIFY(QDir(second.path()).mkpath(QStringLiteral("Music")));
        for (const char* name : {"Tavrelo.conf", "picture.png"})
            QVERIFY(QFile::copy(folder.File(QLatin1String(name)),
                                second.path() + QLatin1Char('/') + QLatin1String(name)));

        std::vector<Worker> workers(2);
        const QStringList folders{folder.Path(), second.path()};
        for (size_t i = 0; i < workers.size(); ++i) {
            workers[i].process = std::make_unique<QProcess>();
            workers[i].process->setProcessEnvironment(killtest::WorkerEnvironment());
            QStringList arguments{folders[int(i)], QString::number(random.generate())};
            if (i == 1 && qEnvironmentVariable("TAVRELO_SECOND_WORKER") == QLatin1String("adds"))
                arguments << QStringLiteral("adds");
            workers[i].process->start(workerPath, arguments);
            QVERIFY2(workers[i].process->waitForStarted(10000), "a save worker did not start");
        }
        QElapsedTimer ready;
        ready.start();
        auto allReady = [&] {
            for (Worker& w : workers)
                if (!w.out.contains("ready\n")) return false;
            return true;
        };
        while (!allReady() && ready.elapsed() < 60000) runFor(workers, 100);
        QVERIFY2(allReady(), qPrintable("a save worker did not get ready: " +
                                        QString::fromLocal8Bit(workers[0].err + workers[1].err)));

        QElapsedTimer clock;
        clock.start();
        int metDeadServer = 0;
        for (int kill = 1; kill <= kills; ++kill) {
            // The workers save (again) for a random while; then the server goes, mid-save.
            const qint64 keysBefore = housesSaved(folder);
            runFor(workers, random.bounded(300, 1500));
            QElapsedTimer resumed;
            resumed.start();
            while (housesSaved(folder) == keysBefore && resumed.elapsed() < 20000) runFor(workers, 100);
            QVERIFY2(
                housesSaved(folder) > keysBefore,
                qPrintable(
                    QStringLiteral("no house saved in 20 s before kill %1 (seed %2)").arg(kill).arg(seed)));
            int messagesBefore = 0;
            for (Worker& w : workers) messagesBefore += w.Messages();

            QVERIFY(PgCluster::Instance().Kill());
            // Down for a moment, while the workers go on trying.
            runFor(workers, random.bounded(50, 400));
            bool started = false;
            for (int attempt = 0; attempt < 5 && !started; ++attempt) {
                started = PgCluster::Instance().Start();
                if (!started) QThread::msleep(500);
            }
            QVERIFY2(started,
                     qPrintable(QStringLiteral("the server did not start again after kill %1").arg(kill)));

            int messagesAfter = 0;
            for (Worker& w : workers) {
                w.Read();
                messagesAfter += w.Messages();
                if (w.process->state() != QProcess::Running)
                    QFAIL(qPrintable(
                        QStringLiteral("a save worker ended after kill %1 (seed %2): ").arg(kill).arg(seed) +
                        QString::fromLocal8Bit(w.err).right(2000)));
            }
            metDeadServer += messagesAfter > messagesBefore ? 1 : 0;

            const QStringList wrong = killtest::Faults(folder);
            if (!wrong.isEmpty())
                QFAIL(qPrintable(QStringLiteral("after server kill %1 of %2 (seed %3):\n  ")
                                     .arg(kill)
                                     .arg(kills)
                                     .arg(seed) +
                                 wrong.join(QStringLiteral("\n  "))));
        }
        // The server is back for good: the workers save again, and what they save is whole.
        const qint64 keysBefore = housesSaved(folder);
        QElapsedTimer resumed;
        resumed.start();
        while (housesSaved(folder) == keysBefore && resumed.elapsed() < 20000) runFor(workers, 100);
        QVERIFY2(housesSaved(folder) > keysBefore, "no house saved after the last restart");
        for (Worker& w : workers) {
            ::kill(pid_t(w.process->processId()), SIGKILL);
            QVERIFY(w.process->waitForFinished(10000));
            w.Read();
        }
        const QStringList wrong = killtest::Faults(folder);
        if (!wrong.isEmpty())
            QFAIL(qPrintable(QStringLiteral("at the end (seed %1):\n  ").arg(seed) +
                             wrong.join(QStringLiteral("\n  "))));

        int saves = 0;
        int messages = 0;
        for (Worker& w : workers) {
            saves += w.Saves();
            messages += w.Messages();
        }
        qInfo(
            "%d server kills in %.1f s; %d window actions ran, %d messages shown (after %d of the kills a "
            "worker met the server gone); %lld house keys handed out, %s houses now",
            kills, clock.elapsed() / 1000.0, saves, messages, metDeadServer, housesSaved(folder),
            qPrintable(folder.Value(QStringLiteral("SELECT count(*) FROM t_House")).toString()));
        // Every outage must have been met by a save in progress or starting, or it proves little.
        QVERIFY(metDeadServer > 0);
    }
};

QTEST_MAIN(tst_server_killed_saves)
#include "tst_server_killed_saves.moc"
