// Three PCs working on the same few houses, types and templates at once. Three save workers (the
// real windows, offscreen) add, edit and delete houses, save templates and add, delete and move
// types for a minute, first all three on one House.db, then each with its own program folder on
// one database of a private PostgreSQL server. Each waits a random moment between loading a house
// or template and saving it, so deletions by the others fall in between. Afterwards (and every few
// seconds meanwhile) the catalogue must be sound: no attribute or picture row without its house,
// no house whose type is gone, every house with exactly the rows and pictures it describes, every
// template whole, type positions 1..N, integrity_check ok on House.db, and no template row
// without its type except the rows a deleted type had when it was deleted (deleting a type leaves
// its template in place; a trigger that only this test adds notes them at the deletion).
//
// The seed is printed; TAVRELO_RACE_SEED replays a run, TAVRELO_RACE_SECONDS sets each run's length.
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

struct Worker {
    std::unique_ptr<QProcess> process;
    QByteArray out;
    QByteArray err;
    void Read()
    {
        out += process->readAllStandardOutput();
        err += process->readAllStandardError();
    }
};

void runFor(std::vector<Worker>& workers, int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(10);
        for (Worker& w : workers) w.Read();
    }
}

// Notes every type deletion with the template rows the type had at that moment, inside the
// deleting transaction.
bool addDeletionLog(const ProgramFolder& folder)
{
    if (folder.ServerUri().isEmpty())
        return folder.Exec(QStringLiteral("CREATE TABLE race_deleted_types (TypeID INTEGER, TemplateRows "
                                          "INTEGER, MaxContent INTEGER)")) &&
               folder.Exec(QStringLiteral(
                   "CREATE TRIGGER race_log AFTER DELETE ON t_HouseType BEGIN INSERT INTO race_deleted_types "
                   "SELECT OLD.TypeID, count(*), max(ContentID) FROM t_Content_Auto WHERE TypeID = "
                   "OLD.TypeID; END"));
    return folder.Exec(QStringLiteral(
               "CREATE TABLE race_deleted_types (TypeID bigint, TemplateRows bigint, MaxContent bigint)")) &&
           folder.Exec(QStringLiteral(
               "CREATE FUNCTION race_log() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN INSERT INTO "
               "race_deleted_types SELECT OLD.TypeID, count(*), max(ContentID) FROM t_Content_Auto WHERE "
               "TypeID = OLD.TypeID; RETURN OLD; END $$")) &&
           folder.Exec(QStringLiteral("CREATE TRIGGER race_log AFTER DELETE ON t_HouseType FOR EACH ROW "
                                      "EXECUTE FUNCTION race_log()"));
}

QStringList raceFaults(const ProgramFolder& folder)
{
    QStringList found = killtest::Faults(folder);
    const auto orphans = folder.Rows(QStringLiteral(
        "SELECT a.TypeID, count(*), max(a.ContentID), (SELECT count(*) FROM race_deleted_types d WHERE "
        "d.TypeID = a.TypeID), (SELECT max(d.TemplateRows) FROM race_deleted_types d WHERE d.TypeID = "
        "a.TypeID), "
        "(SELECT max(d.MaxContent) FROM race_deleted_types d WHERE d.TypeID = a.TypeID) FROM t_Content_Auto "
        "a "
        "WHERE a.TypeID NOT IN (SELECT TypeID FROM t_HouseType) GROUP BY a.TypeID"));
    for (const QVariantList& o : orphans) {
        if (o[3].toLongLong() != 1 || o[1].toLongLong() != o[4].toLongLong() ||
            o[2].toLongLong() != o[5].toLongLong())
            found << QStringLiteral(
                         "%1 template rows (up to key %2) of type %3, which is gone; at its deletion it "
                         "had %4 (up to key %5)")
                         .arg(o[1].toString(), o[2].toString(), o[0].toString(), o[4].toString(),
                              o[5].toString());
    }
    const qint64 typeless =
        folder
            .Value(QStringLiteral("SELECT count(*) FROM t_House WHERE TypeID IS NOT NULL AND "
                                  "TypeID NOT IN (SELECT TypeID FROM t_HouseType)"))
            .toLongLong();
    if (typeless) found << QStringLiteral("%1 houses whose type is gone").arg(typeless);
    return found;
}

}  // namespace

class tst_shared_races : public QObject {
    Q_OBJECT

    quint32 seed_ = 0;
    int seconds_ = 60;

    // Three workers on `folders` (one folder may be named three times) for the run's length.
    void race(const ProgramFolder& folder, const QStringList& folders)
    {
        QRandomGenerator random(seed_ ^ quint32(folder.ServerUri().isEmpty() ? 1 : 2));
        std::vector<Worker> workers(3);
        for (size_t i = 0; i < workers.size(); ++i) {
            workers[i].process = std::make_unique<QProcess>();
            workers[i].process->setProcessEnvironment(killtest::WorkerEnvironment());
            workers[i].process->start(
                killtest::WorkerPath(),
                {folders[int(i)], QString::number(random.generate()), QStringLiteral("race")});
            QVERIFY2(workers[i].process->waitForStarted(10000), "a save worker did not start");
        }
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < seconds_ * 1000) {
            runFor(workers, 5000);
            for (Worker& w : workers)
                if (w.process->state() != QProcess::Running)
                    QFAIL(qPrintable(QStringLiteral("a worker ended (seed %1): ").arg(seed_) +
                                     QString::fromLocal8Bit(w.err).right(2000)));
            const QStringList wrong = raceFaults(folder);
            if (!wrong.isEmpty())
                QFAIL(qPrintable(
                    QStringLiteral("after %1 s (seed %2):\n  ").arg(clock.elapsed() / 1000).arg(seed_) +
                    wrong.join(QStringLiteral("\n  "))));
        }
        int actions = 0;
        int gone = 0;
        int messages = 0;
        QMap<QString, int> said;
        for (Worker& w : workers) {
            ::kill(pid_t(w.process->processId()), SIGKILL);
            QVERIFY(w.process->waitForFinished(10000));
            w.Read();
            actions += int(w.out.count('\n')) - 1;
            messages += int(w.err.count("message: "));
            gone += int(w.err.count("已被其他人删除"));
            for (const QString& line : QString::fromUtf8(w.err).split('\n'))
                if (line.startsWith("message: ")) ++said[line.mid(9, 8)];
            QVERIFY2(w.out.count('\n') > 10,
                     qPrintable("a worker hardly saved: " + QString::fromLocal8Bit(w.err).right(2000)));
        }
        const QStringList wrong = raceFaults(folder);
        if (!wrong.isEmpty())
            QFAIL(qPrintable(QStringLiteral("at the end (seed %1):\n  ").arg(seed_) +
                             wrong.join(QStringLiteral("\n  "))));
        qInfo(
            "%s: %d window actions in %.1f s, %d messages (%d of them: deleted by someone else), %s houses, "
            "%s types, %s types deleted",
            folder.ServerUri().isEmpty() ? "House.db" : "server", actions, clock.elapsed() / 1000.0, messages,
            gone, qPrintable(folder.Value(QStringLiteral("SELECT count(*) FROM t_House")).toString()),
            qPrintable(folder.Value(QStringLiteral("SELECT count(*) FROM t_HouseType")).toString()),
            qPrintable(folder.Value(QStringLiteral("SELECT count(*) FROM race_deleted_types")).toString()));
        for (auto it = said.cbegin(); it != said.cend(); ++it)
            qInfo("  %5d x %s", it.value(), qPrintable(it.key()));
    }

private slots:
    void initTestCase()
    {
        seed_ = qEnvironmentVariableIsSet("TAVRELO_RACE_SEED")
                    ? quint32(qEnvironmentVariableIntValue("TAVRELO_RACE_SEED"))
                    : QRandomGenerator::system()->generate();
        if (qEnvironmentVariableIsSet("TAVRELO_RACE_SECONDS"))
            seconds_ = qEnvironmentVariableIntValue("TAVRELO_RACE_SECONDS");
        qInfo("seed %u (TAVRELO_RACE_SEED=%u replays it), %d s a store", seed_, seed_, seconds_);
        QVERIFY2(QFileInfo(killtest::WorkerPath()).isExecutable(),
                 qPrintable(killtest::WorkerPath() + " is missing"));
    }

    void three_pcs_on_one_house_db()
    {
        qunsetenv("TAVRELO_TEST_STORE");
        ProgramFolder folder;
        testsupport::MakePicture(folder.File(QStringLiteral("picture.png")), 16, 12);
        QVERIFY(killtest::AddTypes(folder));
        QVERIFY(addDeletionLog(folder));
        race(folder, {folder.Path(), folder.Path(), folder.Path()});
    }

    void three_pcs_on_one_server_database()
    {
        qputenv("TAVRELO_TEST_STORE", "server");
        QVERIFY(PgCluster::Instance().Start());
        ProgramFolder folder;
        QVERIFY(!folder.ServerUri().isEmpty());
        testsupport::MakePicture(folder.File(QStringLiteral("picture.png")), 16, 12);
        QVERIFY(killtest::AddTypes(folder));
        QVERIFY(addDeletionLog(folder));
        QTemporaryDir second;
        QTemporaryDir third;
        for (const QTemporaryDir* other : {&second, &third}) {
            QVERIFY(QDir(other->path()).mkpath(QStringLiteral("Images")));
            QVERIFY(QDir(other->path()).mkpath(QStringLiteral("Music")));
            for (const char* name : {"Tavrelo.conf", "picture.png"})
                QVERIFY(QFile::copy(folder.File(QLatin1String(name)),
                                    other->path() + QLatin1Char('/') + QLatin1String(name)));
        }
        race(folder, {folder.Path(), second.path(), third.path()});
    }
};

QTEST_MAIN(tst_shared_races)
#include "tst_shared_races.moc"
