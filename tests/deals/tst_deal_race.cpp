// Twenty PCs hold the same unit at the same moment: twenty deal_worker processes open the catalogue,
// wait until all are ready, and are let go together. Exactly one holds the unit; the nineteen others
// are told that it is taken and by whom; the unit has one open deal and one history row. First on
// one House.db, then on one database of a private PostgreSQL server.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTest>
#include <QThread>
#include <memory>
#include <vector>

#include "DealsFixture.h"

using testsupport::ProgramFolder;

namespace {

constexpr int kWorkers = 20;
constexpr int kHouse = 3;

struct Worker {
    std::unique_ptr<QProcess> process;
    QByteArray out;
    void Read() { out += process->readAllStandardOutput(); }
};

bool waitFor(std::vector<Worker>& workers, const std::function<bool()>& done, int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds) {
        for (Worker& w : workers) w.Read();
        if (done()) return true;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(20);
    }
    return done();
}

}  // namespace

class tst_deal_race : public QObject {
    Q_OBJECT

private slots:
    void twenty_pcs_hold_one_unit_and_one_wins_data()
    {
        QTest::addColumn<bool>("server");
        QTest::newRow("House.db") << false;
        QTest::newRow("server") << true;
    }

    void twenty_pcs_hold_one_unit_and_one_wins()
    {
        QFETCH(bool, server);
        dealtest::Store store(server);
        ProgramFolder folder;
        QVERIFY(dealtest::SeedBuilding(folder, QStringLiteral("翠湖苑一号楼"), 4));
        const QString go = folder.File(QStringLiteral("go"));

        std::vector<Worker> workers(kWorkers);
        for (int i = 0; i < kWorkers; ++i) {
            workers[size_t(i)].process = std::make_unique<QProcess>();
            workers[size_t(i)].process->setProcessEnvironment(dealtest::WorkerEnvironment());
            // Half of them for one consultant and customer, half for the other, so the refusals
            // must name the one that really won.
            workers[size_t(i)].process->start(dealtest::WorkerPath(),
                                              {QStringLiteral("race"), folder.Path(), QString::number(kHouse),
                                               QString::number(1 + i % 2), QString::number(1 + i % 2), go});
        }
        for (Worker& w : workers) QVERIFY2(w.process->waitForStarted(20000), "a worker did not start");
        QVERIFY2(waitFor(
                     workers,
                     [&] {
                         for (Worker& w : workers)
                             if (!w.out.contains("ready")) return false;
                         return true;
                     },
                     60000),
                 "not every worker opened the catalogue");
        QFile signal(go);
        QVERIFY(signal.open(QIODevice::WriteOnly));
        signal.close();
        QVERIFY2(waitFor(
                     workers,
                     [&] {
                         for (Worker& w : workers)
                             if (w.process->state() != QProcess::NotRunning) return false;
                         return true;
                     },
                     60000),
                 "a worker did not finish");

        const auto winner = folder.Rows(QStringLiteral(
            "SELECT d.DealID, s.ConsultantName, c.CustomerName FROM t_Deal d JOIN t_Consultant s ON "
            "s.ConsultantID = d.ConsultantID JOIN t_Customer c ON c.CustomerID = d.CustomerID WHERE "
            "d.HouseID = 3"));
        QCOMPARE(winner.size(), 1);
        const QString dealId = winner[0][0].toString();
        const QString consultant = winner[0][1].toString();
        const QString customer = winner[0][2].toString();

        int done = 0;
        int refused = 0;
        QStringList other;
        for (Worker& w : workers) {
            w.Read();
            const QString text = QString::fromUtf8(w.out);
            for (const QString& line : text.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
                if (line == QLatin1String("ready")) continue;
                if (line == QStringLiteral("done ") + dealId) {
                    ++done;
                } else if (line.startsWith(QStringLiteral("refused %1 ").arg(int(deals::Refusal::Taken))) &&
                           line.contains(consultant) && line.contains(customer)) {
                    ++refused;
                } else {
                    other << line;
                }
            }
        }
        QVERIFY2(other.isEmpty(), qPrintable(other.join(QLatin1Char('\n'))));
        QCOMPARE(done, 1);
        QCOMPARE(refused, kWorkers - 1);

        QCOMPARE(folder.Value(QStringLiteral("SELECT count(*) FROM t_Deal WHERE Active = 1")).toInt(), 1);
        QCOMPARE(dealtest::Status(folder, kHouse), QStringLiteral("预留"));
        QCOMPARE(dealtest::History(folder, kHouse), QStringList{QStringLiteral("在售>预留|hold|") + dealId});
        QCOMPARE(folder.Value(QStringLiteral("SELECT count(*) FROM t_History")).toInt(), 1);
    }
};

QTEST_GUILESS_MAIN(tst_deal_race)
#include "tst_deal_race.moc"
