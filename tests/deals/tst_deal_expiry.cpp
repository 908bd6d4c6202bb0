// Holds end at their minute, moved by the test clock (TAVRELO_TEST_NOW): a minute before the end the
// unit is still held, at the end the next read of the units releases it, gives it back the status it
// had before the hold and records the release as 到期释放. Extensions: as many as the catalogue
// allows, then only a manager's, recorded as the manager's. On House.db and on a private server.
#include <QTest>
#include <QTimeZone>

#include "DealsFixture.h"
#include "deals/Clock.h"
#include "deals/OpenDeals.h"

using testsupport::ProgramFolder;

namespace {

const QString kBuilding = QStringLiteral("翠湖苑一号楼");

deals::Shown shownOf(const ProgramFolder& folder, int house, qint64 deal = 0)
{
    deals::Shown shown;
    shown.houseId = house;
    shown.status = dealtest::Status(folder, house);
    shown.dealId = deal;
    return shown;
}

// The open deal of the unit as the board reads it now (releasing what has run out).
deals::OpenDeal boardRead(db::Connection& connection, int house)
{
    const deals::OpenDeals open = deals::ReadOpenDeals(connection, kBuilding);
    if (!open.ok) qWarning("the board read failed: %s", qPrintable(connection.LastError()));
    return open.byHouse.value(house);
}

}  // namespace

class tst_deal_expiry : public QObject {
    Q_OBJECT

    void stores()
    {
        QTest::addColumn<bool>("server");
        QTest::newRow("House.db") << false;
        QTest::newRow("server") << true;
    }

private slots:
    void the_test_clock_replaces_now()
    {
        dealtest::TestClock clock(QStringLiteral("2026-11-25T10:00:00Z"));
        QCOMPARE(deals::Now(), QDateTime(QDate(2026, 11, 25), QTime(10, 0), QTimeZone::utc()));
        clock.Set(QStringLiteral("2026-11-25 10:30:00"));
        QCOMPARE(deals::Now(), QDateTime(QDate(2026, 11, 25), QTime(10, 30), QTimeZone::utc()));
        clock.Set(QStringLiteral("not a time"));
        QVERIFY(qAbs(deals::Now().secsTo(QDateTime::currentDateTimeUtc())) < 60);
        QCOMPARE(deals::TimeLeft(QDateTime(QDate(2026, 11, 25), QTime(13, 0), QTimeZone::utc()),
                                 QDateTime(QDate(2026, 11, 25), QTime(10, 0), QTimeZone::utc())),
                 QStringLiteral("…3小时"));
        QCOMPARE(deals::TimeLeft(QDateTime(QDate(2026, 11, 25), QTime(10, 25), QTimeZone::utc()),
                                 QDateTime(QDate(2026, 11, 25), QTime(10, 0), QTimeZone::utc())),
                 QStringLiteral("…25分钟"));
    }

    void a_hold_ends_at_its_minute_data() { stores(); }
    void a_hold_ends_at_its_minute()
    {
        QFETCH(bool, server);
        dealtest::Store store(server);
        ProgramFolder folder;
        QVERIFY(dealtest::SeedBuilding(folder, kBuilding, 4));
        // A unit whose for-sale word is the other built-in one: the release must give back this one.
        QVERIFY(folder.Exec(QStringLiteral("UPDATE t_Content SET Content = '可售' WHERE HouseID = 2")));
        QVERIFY(folder.Exec(QStringLiteral("DELETE FROM t_History")));
        db::Connection connection;
        QVERIFY(dealtest::Open(connection, folder));

        dealtest::TestClock clock(QStringLiteral("2026-11-25T10:00:00Z"));
        const deals::StepResult held = deals::Hold(connection, shownOf(folder, 2), 1, 2, 2);
        QVERIFY2(held.Done(), qPrintable(held.message));
        QCOMPARE(dealtest::Status(folder, 2), QStringLiteral("预留"));

        for (const char* before : {"2026-11-25T11:59:00Z", "2026-11-25T11:59:59Z"}) {
            clock.Set(QString::fromLatin1(before));
            const deals::OpenDeal open = boardRead(connection, 2);
            QCOMPARE(open.dealId, held.dealId);
            QCOMPARE(open.stage, deals::kStageHold);
            QCOMPARE(open.consultant, QStringLiteral("张伟"));
            QCOMPARE(open.customer, QStringLiteral("李明"));
            QCOMPARE(open.holdEnd, QDateTime(QDate(2026, 11, 25), QTime(12, 0), QTimeZone::utc()));
            QCOMPARE(dealtest::Status(folder, 2), QStringLiteral("预留"));
        }
        clock.Set(QStringLiteral("2026-11-25T12:00:00Z"));
        QCOMPARE(boardRead(connection, 2).dealId, qint64(0));
        QCOMPARE(dealtest::Status(folder, 2), QStringLiteral("可售"));
        const QString deal = QString::number(held.dealId);
        QCOMPARE(dealtest::History(folder, 2), QStringList({QStringLiteral("可售>预留|hold|") + deal,
                                                            QStringLiteral("预留>可售|expire|") + deal}));
        QCOMPARE(
            folder.Value(QStringLiteral("SELECT Reason FROM t_History WHERE Path = 'expire'")).toString(),
            QStringLiteral("到期释放"));
        QCOMPARE(folder.Rows(QStringLiteral("SELECT Stage, Active FROM t_Deal")),
                 (QList<QVariantList>{{QStringLiteral("expired"), QVariant()}}));
        // Released once: the next read finds nothing more to do.
        clock.Set(QStringLiteral("2026-11-26T12:00:00Z"));
        QCOMPARE(boardRead(connection, 2).dealId, qint64(0));
        QCOMPARE(folder.Value(QStringLiteral("SELECT count(*) FROM t_History")).toInt(), 2);
    }

    void extensions_up_to_the_limit_then_the_manager_data() { stores(); }
    void extensions_up_to_the_limit_then_the_manager()
    {
        QFETCH(bool, server);
        dealtest::Store store(server);
        ProgramFolder folder;
        QVERIFY(dealtest::SeedBuilding(folder, kBuilding, 4));
        db::Connection connection;
        QVERIFY(dealtest::Open(connection, folder));
        dealtest::TestClock clock(QStringLiteral("2026-11-25T10:00:00Z"));
        const deals::StepResult held = deals::Hold(connection, shownOf(folder, 1), 1, 1);
        QVERIFY2(held.Done(), qPrintable(held.message));
        const QString endOf =
            QStringLiteral("SELECT Extensions FROM t_Deal WHERE DealID = %1").arg(held.dealId);

        // The catalogue's default: 24 hours, one extension.
        clock.Set(QStringLiteral("2026-11-26T09:00:00Z"));
        QCOMPARE(boardRead(connection, 1).holdEnd,
                 QDateTime(QDate(2026, 11, 26), QTime(10, 0), QTimeZone::utc()));
        const deals::StepResult extended = deals::Extend(connection, shownOf(folder, 1, held.dealId));
        QVERIFY2(extended.Done(), qPrintable(extended.message));
        QCOMPARE(boardRead(connection, 1).holdEnd,
                 QDateTime(QDate(2026, 11, 27), QTime(10, 0), QTimeZone::utc()));
        QCOMPARE(folder.Value(endOf).toInt(), 1);

        const deals::StepResult again = deals::Extend(connection, shownOf(folder, 1, held.dealId), 5);
        QCOMPARE(again.outcome, deals::Outcome::Refused);
        QCOMPARE(again.refusal, deals::Refusal::LimitReached);
        QVERIFY2(again.message.contains(QStringLiteral("经理")), qPrintable(again.message));
        QCOMPARE(folder.Value(endOf).toInt(), 1);
        QCOMPARE(boardRead(connection, 1).holdEnd,
                 QDateTime(QDate(2026, 11, 27), QTime(10, 0), QTimeZone::utc()));

        // The test server's login and House.db's one user are managers.
        const deals::StepResult manager =
            deals::ManagerExtend(connection, shownOf(folder, 1, held.dealId), 5);
        QVERIFY2(manager.Done(), qPrintable(manager.message));
        QCOMPARE(folder.Value(endOf).toInt(), 2);
        QCOMPARE(boardRead(connection, 1).holdEnd,
                 QDateTime(QDate(2026, 11, 27), QTime(15, 0), QTimeZone::utc()));

        // The new end is the one that counts.
        clock.Set(QStringLiteral("2026-11-27T14:59:00Z"));
        QCOMPARE(boardRead(connection, 1).dealId, held.dealId);
        clock.Set(QStringLiteral("2026-11-27T15:00:00Z"));
        QCOMPARE(boardRead(connection, 1).dealId, qint64(0));
        QCOMPARE(dealtest::Status(folder, 1), QStringLiteral("在售"));
    }

    void a_hold_that_ran_out_is_not_extended_data() { stores(); }
    void a_hold_that_ran_out_is_not_extended()
    {
        QFETCH(bool, server);
        dealtest::Store store(server);
        ProgramFolder folder;
        QVERIFY(dealtest::SeedBuilding(folder, kBuilding, 4));
        db::Connection connection;
        QVERIFY(dealtest::Open(connection, folder));
        dealtest::TestClock clock(QStringLiteral("2026-11-25T10:00:00Z"));
        const deals::StepResult held = deals::Hold(connection, shownOf(folder, 1), 1, 1, 1);
        QVERIFY(held.Done());
        // The board was read before the end; the click comes after it, before any other read.
        clock.Set(QStringLiteral("2026-11-25T11:00:30Z"));
        for (const deals::StepResult& r : {deals::Extend(connection, shownOf(folder, 1, held.dealId)),
                                           deals::Deposit(connection, shownOf(folder, 1, held.dealId),
                                                          QStringLiteral("10000"), QDate(2026, 11, 25))}) {
            QCOMPARE(r.outcome, deals::Outcome::Refused);
            QCOMPARE(r.refusal, deals::Refusal::Expired);
        }
        QCOMPARE(folder.Value(QStringLiteral("SELECT Extensions FROM t_Deal")).toInt(), 0);
        QCOMPARE(folder.Value(QStringLiteral("SELECT Stage FROM t_Deal")).toString(), QStringLiteral("hold"));
        QCOMPARE(boardRead(connection, 1).dealId, qint64(0));
        QCOMPARE(dealtest::Status(folder, 1), QStringLiteral("在售"));
    }

    void cancelling_and_releasing_give_back_the_status_data() { stores(); }
    void cancelling_and_releasing_give_back_the_status()
    {
        QFETCH(bool, server);
        dealtest::Store store(server);
        ProgramFolder folder;
        QVERIFY(dealtest::SeedBuilding(folder, kBuilding, 4));
        QVERIFY(folder.Exec(QStringLiteral("UPDATE t_Content SET Content = '可售' WHERE HouseID = 2")));
        QVERIFY(folder.Exec(QStringLiteral("DELETE FROM t_History")));
        db::Connection connection;
        QVERIFY(dealtest::Open(connection, folder));
        dealtest::TestClock clock(QStringLiteral("2026-11-25T10:00:00Z"));
        const deals::StepResult first = deals::Hold(connection, shownOf(folder, 1), 1, 1);
        const deals::StepResult second = deals::Hold(connection, shownOf(folder, 2), 2, 2);
        QVERIFY(first.Done() && second.Done());

        const deals::StepResult cancelled = deals::CancelHold(connection, shownOf(folder, 1, first.dealId));
        QVERIFY2(cancelled.Done(), qPrintable(cancelled.message));
        QCOMPARE(dealtest::Status(folder, 1), QStringLiteral("在售"));
        QCOMPARE(dealtest::History(folder, 1).value(1),
                 QStringLiteral("预留>在售|cancel|") + QString::number(first.dealId));

        const deals::StepResult released = deals::ManagerRelease(
            connection, shownOf(folder, 2, second.dealId), QStringLiteral("客户不来了"));
        QVERIFY2(released.Done(), qPrintable(released.message));
        QCOMPARE(dealtest::Status(folder, 2), QStringLiteral("可售"));
        QCOMPARE(dealtest::History(folder, 2).value(1),
                 QStringLiteral("预留>可售|manager|") + QString::number(second.dealId));
        QCOMPARE(
            folder.Value(QStringLiteral("SELECT Reason FROM t_History WHERE Path = 'manager'")).toString(),
            QStringLiteral("客户不来了"));
        QCOMPARE(folder.Rows(QStringLiteral("SELECT Stage, Active FROM t_Deal ORDER BY DealID")),
                 (QList<QVariantList>{{QStringLiteral("cancelled"), QVariant()},
                                      {QStringLiteral("cancelled"), QVariant()}}));
    }
};

QTEST_GUILESS_MAIN(tst_deal_expiry)
#include "tst_deal_expiry.moc"
