// The deal steps one by one, on House.db and on a private server: a whole deal from hold to return
// with its status rows and history, and every refusal of every step, each leaving the catalogue
// exactly as it was.
#include <QTest>

#include "DealsFixture.h"
#include "Seed.h"
#include "deals/OpenDeals.h"

using deals::Outcome;
using deals::Refusal;
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

// Everything the steps may write, as short texts: the deals, every status row and the history.
QStringList snapshot(const ProgramFolder& folder)
{
    return testsupport::TableRows(folder,
                                  QStringLiteral("SELECT DealID, HouseID, Stage, Active, Extensions, "
                                                 "PriorStatus, Deposit, DepositDate, ContractDate, Reason "
                                                 "FROM t_Deal ORDER BY DealID")) +
           testsupport::TableRows(folder,
                                  QStringLiteral("SELECT ContentID, HouseID, Caption, Content FROM t_Content "
                                                 "ORDER BY ContentID")) +
           testsupport::TableRows(folder,
                                  QStringLiteral("SELECT HistoryID, HouseID, OldValue, NewValue, Path FROM "
                                                 "t_History ORDER BY HistoryID"));
}

#define EXPECT_REFUSED(call, kind)                                     \
    do {                                                               \
        const QStringList before = snapshot(folder);                   \
        const deals::StepResult r = (call);                            \
        QCOMPARE(r.outcome, Outcome::Refused);                         \
        QCOMPARE(r.refusal, kind);                                     \
        QVERIFY2(!r.message.isEmpty(), "a refusal without a message"); \
        QCOMPARE(snapshot(folder), before);                            \
    } while (false)

}  // namespace

class tst_deal_steps : public QObject {
    Q_OBJECT

    void stores()
    {
        QTest::addColumn<bool>("server");
        QTest::newRow("House.db") << false;
        QTest::newRow("server") << true;
    }

private slots:
    void amounts_are_checked()
    {
        QCOMPARE(deals::NormalisedAmount(QStringLiteral("20000")), QStringLiteral("20000"));
        QCOMPARE(deals::NormalisedAmount(QStringLiteral(" 20,000.50 ")), QStringLiteral("20000.5"));
        QCOMPARE(deals::NormalisedAmount(QStringLiteral("007.00")), QStringLiteral("7"));
        for (const char* bad :
             {"", "0", "0.00", "-5", "1e5", "12.345", "abc", "１２", "5;DROP TABLE t_Deal", "99999999999999"})
            QVERIFY2(deals::NormalisedAmount(QString::fromUtf8(bad)).isEmpty(), bad);
    }

    void steps_fit_their_stages()
    {
        using deals::Step;
        QVERIFY(deals::StepFits(Step::Hold, QString()));
        QVERIFY(!deals::StepFits(Step::Hold, deals::kStageHold));
        QVERIFY(deals::StepFits(Step::Deposit, deals::kStageHold));
        QVERIFY(!deals::StepFits(Step::Deposit, deals::kStageContract));
        QVERIFY(deals::StepFits(Step::Contract, deals::kStageDeposit));
        QVERIFY(deals::StepFits(Step::Return, deals::kStageContract));
        QVERIFY(!deals::StepFits(Step::Return, deals::kStageHold));
        QVERIFY(!deals::StepFits(Step::Extend, QString()));
        QVERIFY(deals::IsForSale(QStringLiteral("可售"), QStringLiteral("在售")));
        QVERIFY(deals::IsForSale(QStringLiteral("Open"), QStringLiteral("open")));
        QVERIFY(!deals::IsForSale(QString(), QStringLiteral("在售")));
        QVERIFY(!deals::IsForSale(QStringLiteral("已售"), QStringLiteral("在售")));
    }

    void a_deal_from_hold_to_return_data() { stores(); }
    void a_deal_from_hold_to_return()
    {
        QFETCH(bool, server);
        dealtest::Store store(server);
        ProgramFolder folder;
        QVERIFY(dealtest::SeedBuilding(folder, kBuilding, 4));
        db::Connection connection;
        QVERIFY(dealtest::Open(connection, folder));

        const deals::StepResult held = deals::Hold(connection, shownOf(folder, 4), 2, 1);
        QVERIFY2(held.Done(), qPrintable(held.message));
        QCOMPARE(held.status, QStringLiteral("预留"));
        const deals::StepResult deposit = deals::Deposit(connection, shownOf(folder, 4, held.dealId),
                                                         QStringLiteral("50,000"), QDate(2026, 11, 26));
        QVERIFY2(deposit.Done(), qPrintable(deposit.message));
        QCOMPARE(dealtest::Status(folder, 4), QStringLiteral("已认购"));
        const deals::StepResult contract =
            deals::Contract(connection, shownOf(folder, 4, held.dealId), QDate(2026, 12, 1));
        QVERIFY2(contract.Done(), qPrintable(contract.message));
        QCOMPARE(dealtest::Status(folder, 4), QStringLiteral("已售"));
        const deals::OpenDeal open = deals::ReadOpenDeals(connection, kBuilding).byHouse.value(4);
        QCOMPARE(open.stage, deals::kStageContract);
        QCOMPARE(open.customer, QStringLiteral("赵敏"));
        const deals::StepResult returned =
            deals::Return(connection, shownOf(folder, 4, held.dealId), QStringLiteral("  贷款未获批\n"));
        QVERIFY2(returned.Done(), qPrintable(returned.message));
        QCOMPARE(dealtest::Status(folder, 4), QStringLiteral("在售"));

        const QString d = QString::number(held.dealId);
        QCOMPARE(dealtest::History(folder, 4),
                 QStringList(
                     {QStringLiteral("在售>预留|hold|") + d, QStringLiteral("预留>已认购|deposit|") + d,
                      QStringLiteral("已认购>已售|contract|") + d, QStringLiteral("已售>在售|return|") + d}));
        QCOMPARE(
            folder.Rows(QStringLiteral("SELECT Stage, Active, Deposit, DepositDate, ContractDate, Reason, "
                                       "CustomerID, ConsultantID, PriorStatus FROM t_Deal")),
            (QList<QVariantList>{{QStringLiteral("returned"), QVariant(), QStringLiteral("50000"),
                                  QStringLiteral("2026-11-26"), QStringLiteral("2026-12-01"),
                                  QStringLiteral("贷款未获批"), 2, 1, QStringLiteral("在售")}}));
        QCOMPARE(
            folder.Value(QStringLiteral("SELECT Reason FROM t_History WHERE Path = 'return'")).toString(),
            QStringLiteral("贷款未获批"));
        QCOMPARE(folder.Value(QStringLiteral("SELECT count(*) FROM t_History WHERE CustomerID = 2")).toInt(),
                 4);
        QCOMPARE(deals::ReadOpenDeals(connection, kBuilding).byHouse.size(), 0);
        // The unit may be held again.
        QVERIFY(deals::Hold(connection, shownOf(folder, 4), 1, 1).Done());
    }

    void holds_are_refused_data() { stores(); }
    void holds_are_refused()
    {
        QFETCH(bool, server);
        dealtest::Store store(server);
        ProgramFolder folder;
        QVERIFY(dealtest::SeedBuilding(folder, kBuilding, 4));
        QVERIFY(folder.Exec(QStringLiteral("UPDATE t_Content SET Content = '已售' WHERE HouseID = 2")));
        QVERIFY(folder.Exec(QStringLiteral("DELETE FROM t_Content WHERE HouseID = 3")));
        QVERIFY(folder.Exec(QStringLiteral("UPDATE t_Consultant SET Active = 0 WHERE ConsultantID = 2")));
        db::Connection connection;
        QVERIFY(dealtest::Open(connection, folder));

        EXPECT_REFUSED(deals::Hold(connection, shownOf(folder, 2), 1, 1), Refusal::NotForSale);
        EXPECT_REFUSED(deals::Hold(connection, shownOf(folder, 3), 1, 1), Refusal::NotForSale);
        // The board showed 在售, but another PC has set 已售 since.
        deals::Shown stale = shownOf(folder, 2);
        stale.status = QStringLiteral("在售");
        EXPECT_REFUSED(deals::Hold(connection, stale, 1, 1), Refusal::Changed);
        EXPECT_REFUSED(deals::Hold(connection, shownOf(folder, 1), 99, 1), Refusal::BadInput);
        EXPECT_REFUSED(deals::Hold(connection, shownOf(folder, 1), 1, 2), Refusal::BadInput);
        EXPECT_REFUSED(deals::Hold(connection, shownOf(folder, 1), 1, 0), Refusal::BadInput);
        EXPECT_REFUSED(deals::Hold(connection, shownOf(folder, 1), 1, 1, -3), Refusal::BadInput);
        EXPECT_REFUSED(deals::Hold(connection, shownOf(folder, 1), 1, 1, 24 * 400), Refusal::BadInput);
        EXPECT_REFUSED(deals::Hold(connection, shownOf(folder, 77), 1, 1), Refusal::Changed);

        const deals::StepResult held = deals::Hold(connection, shownOf(folder, 1), 2, 1);
        QVERIFY(held.Done());
        // A board that still showed the unit for sale: taken, by whom, for whom.
        stale = shownOf(folder, 1);
        stale.status = QStringLiteral("在售");
        const QStringList before = snapshot(folder);
        const deals::StepResult taken = deals::Hold(connection, stale, 1, 1);
        QCOMPARE(taken.refusal, Refusal::Taken);
        QCOMPARE(taken.holder.dealId, held.dealId);
        QCOMPARE(taken.holder.consultant, QStringLiteral("王芳"));
        QCOMPARE(taken.holder.customer, QStringLiteral("赵敏"));
        QVERIFY2(
            taken.message.contains(QStringLiteral("王芳")) && taken.message.contains(QStringLiteral("赵敏")),
            qPrintable(taken.message));
        QCOMPARE(snapshot(folder), before);
        EXPECT_REFUSED(deals::Hold(connection, shownOf(folder, 1, held.dealId), 1, 1), Refusal::Taken);
    }

    void later_steps_are_refused_data() { stores(); }
    void later_steps_are_refused()
    {
        QFETCH(bool, server);
        dealtest::Store store(server);
        ProgramFolder folder;
        QVERIFY(dealtest::SeedBuilding(folder, kBuilding, 4));
        db::Connection connection;
        QVERIFY(dealtest::Open(connection, folder));
        const QDate today(2026, 11, 25);

        // No deal at all.
        EXPECT_REFUSED(deals::Extend(connection, shownOf(folder, 1)), Refusal::NoDeal);
        EXPECT_REFUSED(deals::CancelHold(connection, shownOf(folder, 1)), Refusal::NoDeal);
        EXPECT_REFUSED(deals::Deposit(connection, shownOf(folder, 1), QStringLiteral("1000"), today),
                       Refusal::NoDeal);
        EXPECT_REFUSED(deals::Contract(connection, shownOf(folder, 1), today), Refusal::NoDeal);
        EXPECT_REFUSED(deals::Return(connection, shownOf(folder, 1), QStringLiteral("原因")),
                       Refusal::NoDeal);

        const deals::StepResult held = deals::Hold(connection, shownOf(folder, 1), 1, 1);
        QVERIFY(held.Done());
        const deals::Shown shown = shownOf(folder, 1, held.dealId);
        // A board that has not seen the hold yet.
        EXPECT_REFUSED(deals::Deposit(connection, shownOf(folder, 1), QStringLiteral("1000"), today),
                       Refusal::Changed);
        EXPECT_REFUSED(deals::Return(connection, shown, QStringLiteral("原因")), Refusal::WrongStage);
        EXPECT_REFUSED(deals::Return(connection, shown, QStringLiteral(" \t\n")), Refusal::ReasonRequired);
        EXPECT_REFUSED(deals::Return(connection, shown, QString()), Refusal::ReasonRequired);
        for (const char* amount : {"", "abc", "-100", "0", "12.345"})
            EXPECT_REFUSED(deals::Deposit(connection, shown, QString::fromUtf8(amount), today),
                           Refusal::BadInput);
        EXPECT_REFUSED(deals::Deposit(connection, shown, QStringLiteral("1000"), QDate()), Refusal::BadInput);
        EXPECT_REFUSED(deals::Contract(connection, shown, QDate(2026, 2, 30)), Refusal::BadInput);
        EXPECT_REFUSED(deals::Extend(connection, shown, -1), Refusal::BadInput);

        // The unit's status changed elsewhere (another PC's board, the wizard) since this board read it.
        QVERIFY(folder.Exec(QStringLiteral("UPDATE t_Content SET Content = '保留' WHERE HouseID = 1")));
        EXPECT_REFUSED(deals::Deposit(connection, shown, QStringLiteral("1000"), today), Refusal::Changed);
        EXPECT_REFUSED(deals::Contract(connection, shown, today), Refusal::Changed);
        EXPECT_REFUSED(deals::CancelHold(connection, shown), Refusal::Changed);
        QVERIFY(folder.Exec(QStringLiteral("UPDATE t_Content SET Content = '预留' WHERE HouseID = 1")));

        QVERIFY(deals::Deposit(connection, shown, QStringLiteral("1000"), today).Done());
        const deals::Shown deposited = shownOf(folder, 1, held.dealId);
        EXPECT_REFUSED(deals::Deposit(connection, deposited, QStringLiteral("1000"), today),
                       Refusal::WrongStage);
        EXPECT_REFUSED(deals::Extend(connection, deposited), Refusal::WrongStage);
        EXPECT_REFUSED(deals::CancelHold(connection, deposited), Refusal::WrongStage);
        EXPECT_REFUSED(deals::Hold(connection, deposited, 1, 1), Refusal::Taken);
        QVERIFY(deals::Return(connection, deposited, QStringLiteral("改买别的楼盘")).Done());
        // The deal the board showed is closed: every step on it is refused.
        EXPECT_REFUSED(deals::Contract(connection, shownOf(folder, 1, held.dealId), today), Refusal::Changed);
        EXPECT_REFUSED(deals::Return(connection, shownOf(folder, 1, held.dealId), QStringLiteral("x")),
                       Refusal::Changed);
        // A deal of another unit is not this unit's.
        const deals::StepResult other = deals::Hold(connection, shownOf(folder, 2), 1, 1);
        QVERIFY(other.Done());
        EXPECT_REFUSED(deals::Extend(connection, shownOf(folder, 3, other.dealId)), Refusal::Changed);
    }
};

QTEST_GUILESS_MAIN(tst_deal_steps)
#include "tst_deal_steps.moc"
