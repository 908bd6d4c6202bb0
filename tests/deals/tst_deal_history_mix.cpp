// Three PCs working the deals of one building at once: three deal_worker processes do 1,000 random
// deal steps and wizard-style status edits between them (each reading the board first, which
// releases the holds that have run out on its clock), on one House.db and then on one database of a
// private server. Afterwards the history must hold exactly one row per status change, in order:
// per unit, each row starts from the value the one before it left, the first from the seeded value,
// and the last leaves the value the unit's status row holds now; apart from the releases of expired
// holds, the rows are exactly the changes the workers report having committed.
//
// TAVRELO_MIX_STEPS sets the steps per worker (default 334).
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QMap>
#include <QProcess>
#include <QRandomGenerator>
#include <QTest>
#include <QThread>
#include <memory>
#include <vector>

#include "DealsFixture.h"

using testsupport::ProgramFolder;

namespace {

constexpr int kUnits = 12;
const QString kBuilding = QStringLiteral("翠湖苑二号楼");

}  // namespace

class tst_deal_history_mix : public QObject {
    Q_OBJECT

private slots:
    void three_pcs_leave_one_history_row_per_change_data()
    {
        QTest::addColumn<bool>("server");
        QTest::newRow("House.db") << false;
        QTest::newRow("server") << true;
    }

    void three_pcs_leave_one_history_row_per_change()
    {
        QFETCH(bool, server);
        dealtest::Store store(server);
        ProgramFolder folder;
        QVERIFY(dealtest::SeedBuilding(folder, kBuilding, kUnits));
        const int steps = qEnvironmentVariableIsSet("TAVRELO_MIX_STEPS")
                              ? qEnvironmentVariableIntValue("TAVRELO_MIX_STEPS")
                              : 334;
        const quint32 seed = qEnvironmentVariableIsSet("TAVRELO_MIX_SEED")
                                 ? quint32(qEnvironmentVariableIntValue("TAVRELO_MIX_SEED"))
                                 : QRandomGenerator::global()->generate();
        qInfo("seed %u (TAVRELO_MIX_SEED replays it), %d steps per worker", seed, steps);

        std::vector<std::unique_ptr<QProcess>> workers;
        for (int i = 0; i < 3; ++i) {
            auto p = std::make_unique<QProcess>();
            p->setProcessEnvironment(dealtest::WorkerEnvironment());
            p->setProcessChannelMode(QProcess::SeparateChannels);
            p->start(dealtest::WorkerPath(),
                     {QStringLiteral("mix"), folder.Path(), QString::number(seed + quint32(i)),
                      QString::number(steps), kBuilding, QStringLiteral("2026-11-25T08:00:00Z")});
            QVERIFY(p->waitForStarted(20000));
            workers.push_back(std::move(p));
        }
        QElapsedTimer timer;
        timer.start();
        std::vector<QByteArray> out(workers.size());
        for (;;) {
            bool running = false;
            for (size_t i = 0; i < workers.size(); ++i) {
                out[i] += workers[i]->readAllStandardOutput();
                running |= workers[i]->state() != QProcess::NotRunning;
            }
            if (!running) break;
            QVERIFY2(timer.elapsed() < 400000, "the workers did not finish in time");
            QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
            QThread::msleep(50);
        }
        qInfo("the workers took %lld ms", timer.elapsed());

        QMap<int, QStringList> reported;  // unit -> "old>new" changes the workers committed
        QMap<QString, int> outcomes;
        int lockWaits = 0;
        for (size_t i = 0; i < workers.size(); ++i) {
            out[i] += workers[i]->readAllStandardOutput();
            const QStringList lines = QString::fromUtf8(out[i]).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
            QVERIFY2(!lines.isEmpty() && lines.last() == QLatin1String("end"),
                     qPrintable(QStringLiteral("worker %1 ended early: ").arg(i) +
                                lines.mid(lines.size() - 5).join('\n') +
                                QString::fromUtf8(workers[i]->readAllStandardError())));
            for (const QString& line : lines) {
                const QStringList f = line.split(QLatin1Char(' '));
                // A step that waited longer for another PC's lock than the program waits (1.5 s,
                // on a loaded machine) fails and writes nothing, as it should; anything else is a fault.
                if (line.startsWith(QLatin1String("failure"))) {
                    QVERIFY2(line.contains(QLatin1String("database is locked")) ||
                                 line.contains(QLatin1String("lock timeout")),
                             qPrintable(line));
                    ++lockWaits;
                }
                if (f.value(0) == QLatin1String("change") && f.size() == 4)
                    reported[f[1].toInt()] << f[2] + QLatin1Char('>') + f[3];
                else if (f.value(0) == QLatin1String("step"))
                    ++outcomes[f.mid(1).join(QLatin1Char(' '))];
            }
        }
        qInfo() << "steps:" << outcomes << "given up after waiting for a lock:" << lockWaits;
        QVERIFY2(lockWaits * 20 < 3 * steps, "more than one step in twenty waited in vain for a lock");

        int changes = 0;
        int expiries = 0;
        for (int house = 1; house <= kUnits; ++house) {
            const auto rows = folder.Rows(
                QStringLiteral(
                    "SELECT OldValue, NewValue, Path FROM t_History WHERE HouseID = %1 ORDER BY HistoryID")
                    .arg(house));
            QString value = QStringLiteral("在售");
            QStringList logged;
            QStringList all;
            for (const QVariantList& r : rows)
                all << r[0].toString() + QLatin1Char('>') + r[1].toString() + QLatin1Char('|') +
                           r[2].toString();
            for (const QVariantList& r : rows) {
                QVERIFY2(r[0].toString() == value,
                         qPrintable(QStringLiteral("unit %1: a row from %2 after %3 in\n%4")
                                        .arg(house)
                                        .arg(r[0].toString(), value, all.join('\n'))));
                QVERIFY2(r[0].toString() != r[1].toString(), "a history row without a change");
                value = r[1].toString();
                if (r[2].toString() == QLatin1String("expire"))
                    ++expiries;
                else
                    logged << r[0].toString() + QLatin1Char('>') + r[1].toString();
            }
            QCOMPARE(dealtest::Status(folder, house), value);
            QStringList expected = reported.value(house);
            expected.sort();
            logged.sort();
            QCOMPARE(logged, expected);
            changes += int(rows.size());
        }
        qInfo("%d status changes, %d of them releases of expired holds", changes, expiries);
        QVERIFY2(changes > 200, "too few changes for the test to say much");
        QVERIFY2(expiries > 0, "no hold ran out");
        // Every open deal is the only one of its unit (the unique index), every closed one is closed.
        QCOMPARE(
            folder
                .Value(QStringLiteral("SELECT count(*) FROM (SELECT HouseID FROM t_Deal WHERE Active = 1 "
                                      "GROUP BY HouseID HAVING count(*) > 1) x"))
                .toInt(),
            0);
        QCOMPARE(folder
                     .Value(QStringLiteral("SELECT count(*) FROM t_Deal WHERE Active IS NULL AND Stage IN "
                                           "('hold', 'deposit', 'contract')"))
                     .toInt(),
                 0);
    }
};

QTEST_GUILESS_MAIN(tst_deal_history_mix)
#include "tst_deal_history_mix.moc"
