// A process killed in the middle of a save leaves the whole save or none of it. A child
// (save_worker) runs the real windows' saves without pause: new and edited houses through the
// wizard, deletions from the catalogue, templates, new, deleted and moved types. It is killed
// with SIGKILL at a random moment, again and again, and after every kill the catalogue must be
// sound: integrity_check ok, no attribute or picture row without its house, every house with
// exactly the rows and pictures its description names, every template whole, type positions
// 1..N without a gap.
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

#include "TestSupport.h"

using testsupport::ProgramFolder;

namespace {

QString workerPath()
{
    return QString::fromLocal8Bit(qgetenv("TAVRELO_BINARY_DIR")) + QStringLiteral("/tests/save_worker");
}

// Everything that is wrong with the catalogue now; empty when it is sound.
QStringList faults(const ProgramFolder& folder)
{
    QStringList found;
    const QString integrity = folder.Value(QStringLiteral("PRAGMA integrity_check")).toString();
    if (integrity != QLatin1String("ok")) found << QStringLiteral("integrity_check: ") + integrity;
    const qint64 orphanRows =
        folder
            .Value(QStringLiteral(
                "SELECT count(*) FROM t_Content WHERE HouseID NOT IN (SELECT HouseID FROM t_House)"))
            .toLongLong();
    if (orphanRows) found << QStringLiteral("%1 attribute rows without their house").arg(orphanRows);
    const qint64 orphanPictures =
        folder
            .Value(QStringLiteral(
                "SELECT count(*) FROM t_Image WHERE HouseID NOT IN (SELECT HouseID FROM t_House)"))
            .toLongLong();
    if (orphanPictures) found << QStringLiteral("%1 picture rows without their house").arg(orphanPictures);

    static const QRegularExpression described(QStringLiteral("^rows=(\\d+) pictures=(\\d+)$"));
    const auto houses = folder.Rows(QStringLiteral(
        "SELECT h.HouseID, h.Intro, (SELECT count(*) FROM t_Content c WHERE c.HouseID = h.HouseID), "
        "(SELECT count(*) FROM t_Image i WHERE i.HouseID = h.HouseID) FROM t_House h"));
    for (const QVariantList& h : houses) {
        const QRegularExpressionMatch m = described.match(h[1].toString());
        if (!m.hasMatch() || m.captured(1).toLongLong() != h[2].toLongLong() ||
            m.captured(2).toLongLong() != h[3].toLongLong())
            found << QStringLiteral("house %1 says '%2' but has %3 rows and %4 pictures")
                         .arg(h[0].toString(), h[1].toString(), h[2].toString(), h[3].toString());
    }

    const auto templates = folder.Rows(QStringLiteral(
        "SELECT TypeID, count(*), min(Content), max(Content) FROM t_Content_Auto GROUP BY TypeID"));
    for (const QVariantList& t : templates) {
        const QString whole = QStringLiteral("of ") + t[1].toString();
        if (t[2].toString() != whole || t[3].toString() != whole)
            found << QStringLiteral("template of type %1 has %2 rows that say '%3'..'%4'")
                         .arg(t[0].toString(), t[1].toString(), t[2].toString(), t[3].toString());
    }

    const auto positions = folder.Rows(QStringLiteral("SELECT List FROM t_HouseType ORDER BY List"));
    for (int i = 0; i < positions.size(); ++i) {
        if (positions[i][0].toLongLong() != i + 1) {
            QStringList all;
            for (const QVariantList& p : positions) all << p[0].toString();
            found << QStringLiteral("type positions are %1").arg(all.join(QLatin1Char(',')));
            break;
        }
    }
    return found;
}

}  // namespace

class tst_killed_saves : public QObject {
    Q_OBJECT

private slots:
    void every_kill_leaves_whole_saves_only()
    {
        QVERIFY2(QFileInfo(workerPath()).isExecutable(), qPrintable(workerPath() + " is missing"));
        const quint32 seed = qEnvironmentVariableIsSet("TAVRELO_KILL_SEED")
                                 ? quint32(qEnvironmentVariableIntValue("TAVRELO_KILL_SEED"))
                                 : QRandomGenerator::system()->generate();
        const int kills =
            qEnvironmentVariableIsSet("TAVRELO_KILLS") ? qEnvironmentVariableIntValue("TAVRELO_KILLS") : 300;
        qInfo("seed %u (TAVRELO_KILL_SEED=%u replays it), %d kills", seed, seed, kills);
        QRandomGenerator random(seed);

        ProgramFolder folder;
        testsupport::MakePicture(folder.File(QStringLiteral("picture.png")), 16, 12);
        QVERIFY(folder.Exec(
            QStringLiteral("INSERT INTO t_HouseType (List, HouseType, MusicTitle, MusicFile) VALUES "
                           "(1, '公寓', '', ''), (2, '别墅', '', ''), (3, '商铺', '', '')")));

        // The child draws offscreen; its browser control runs without Chromium's sandbox, which
        // refuses to start as root.
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        environment.insert(QStringLiteral("QTWEBENGINE_DISABLE_SANDBOX"), QStringLiteral("1"));

        QElapsedTimer clock;
        clock.start();
        qint64 saves = 0;
        int killedMidway = 0;
        for (int kill = 1; kill <= kills; ++kill) {
            QProcess child;
            child.setProcessChannelMode(QProcess::SeparateChannels);
            child.setProcessEnvironment(environment);
            child.start(workerPath(), {folder.Path(), QString::number(random.generate())});
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

            const QStringList wrong = faults(folder);
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
