// The deal steps from the sales board's cell menu, driven as the user drives them: the entries
// that fit the cell's stage are the enabled ones; a hold chosen from the real context menu, with
// its dialog filled in, shows on the cell (consultant and time left, the customer in the tooltip),
// writes the deal, the status and the history; a unit another PC took meanwhile is refused with
// who holds it and the board reads it again; a deposit's dialog refuses a bad amount; a return
// needs its reason; a unit's history opens from the menu.
#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QPushButton>
#include <QTreeWidget>

#include "DealWindows.h"
#include "deals/DealSteps.h"
#include "sales/SalesFixture.h"

using namespace dealwin;
using testsupport::Click;

namespace {

const QStringList kDealEntries = {"mnuHold",     "mnuExtend", "mnuCancelHold", "mnuDeposit",
                                  "mnuContract", "mnuReturn", "mnuHistory"};

// The enabled deal entries of a cell's menu.
QStringList enabledEntries(frmSalesBoard* board, qint32 house)
{
    std::unique_ptr<QMenu> menu(board->CellMenu(house));
    QStringList enabled;
    for (QAction* a : menu->actions())
        if (kDealEntries.contains(a->objectName()) && a->isEnabled()) enabled << a->objectName();
    return enabled;
}

QStringList legend(const frmSalesBoard* w)
{
    QStringList rows;
    for (int i = 0; i < w->lsvLegend->topLevelItemCount(); ++i)
        rows << w->lsvLegend->topLevelItem(i)->text(0) + QLatin1Char('|') +
                    w->lsvLegend->topLevelItem(i)->text(1);
    return rows;
}

}  // namespace

class tst_board_deals : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages;
    std::unique_ptr<Frame> frame;
    qint64 li = 0;
    qint64 liu = 0;

    QString status(int house)
    {
        return folder
            ->Value(QStringLiteral("Select Content From t_Content Where HouseID = %1 And Caption = '状态'")
                        .arg(house))
            .toString();
    }

    frmSalesBoard* openBoard()
    {
        auto* board = frame->Open<frmSalesBoard>("frmSalesBoard");
        if (board) board->cmbBuilding->setCurrentText(kBuilding);
        return board && board->Board().building == kBuilding ? board : nullptr;
    }

private slots:
    void initTestCase() { qputenv("TAVRELO_TEST_NOW", "2030-06-01T02:00:00"); }

    void init()
    {
        folder = std::make_unique<testsupport::ProgramFolder>();
        QVERIFY(FillCatalogue(*folder));
        QVERIFY(
            Exec(*folder, QStringLiteral("Insert Into t_Consultant (ConsultantName, Login, Active) Values "
                                         "('张顾问', 'someone_else', 1), ('刘顾问', %1, 1)")
                              .arg(QStringLiteral("'") + CurrentLogin() + QStringLiteral("'"))));
        QVERIFY(Exec(*folder, QStringLiteral("Insert Into t_Customer (CustomerName, Phone, SearchKey) Values "
                                             "('李雷', '13900001111', '李雷13900001111'), "
                                             "('韩梅梅', '13800002222', '韩梅梅13800002222')")));
        li = folder->Value(QStringLiteral("Select CustomerID From t_Customer Where CustomerName = '李雷'"))
                 .toLongLong();
        liu = folder
                  ->Value(
                      QStringLiteral("Select ConsultantID From t_Consultant Where ConsultantName = '刘顾问'"))
                  .toLongLong();
        messages = std::make_unique<testsupport::MsgBoxRecorder>();
        frame = std::make_unique<Frame>();
    }
    void cleanup()
    {
        frame.reset();
        messages.reset();
        folder.reset();
    }

    void a_hold_from_the_menu_shows_on_the_cell_and_writes_history()
    {
        frmSalesBoard* board = openBoard();
        QVERIFY(board);
        QCOMPARE(enabledEntries(board, 1), (QStringList{"mnuHold", "mnuHistory"}));
        // The existing entries are still there, first.
        std::unique_ptr<QMenu> menu(board->CellMenu(1));
        QCOMPARE(menu->actions().first()->objectName(), QStringLiteral("mnuSetStatus"));
        menu.reset();

        DialogAnswers answers;
        QString consultantShown;
        answers.queue << [&](QDialog* d) {
            auto* hold = qobject_cast<deals::dlgHold*>(d);
            consultantShown = hold->cmbConsultant->currentText();
            hold->txtFind->setText(QStringLiteral("李"));
            hold->txtHours->setText(QStringLiteral("3"));
            Click(d, QStringLiteral("cmdOK"));
        };
        QVERIFY(salestest::PickFromCellMenu(board, 1, {QStringLiteral("预留…")}));
        QCOMPARE(answers.seen, QStringList{QStringLiteral("dlgHold")});
        QCOMPARE(consultantShown, QStringLiteral("刘顾问"));
        QCOMPARE(messages->Texts().join("|"), QString());

        // The deal, the status and the history row.
        const QList<QVariantList> deal = folder->Rows(QStringLiteral(
            "Select CustomerID, ConsultantID, Stage, Active, PriorStatus From t_Deal Where HouseID = 1"));
        QCOMPARE(deal.size(), 1);
        QCOMPARE(deal[0][0].toLongLong(), li);
        QCOMPARE(deal[0][1].toLongLong(), liu);
        QCOMPARE(deal[0][2].toString(), QStringLiteral("hold"));
        QCOMPARE(deal[0][3].toLongLong(), 1);
        QCOMPARE(deal[0][4].toString(), QStringLiteral("在售"));
        QCOMPARE(status(1), QStringLiteral("预留"));
        const QList<QVariantList> history =
            folder->Rows(QStringLiteral("Select OldValue, NewValue, Path, CustomerID From t_History Where "
                                        "HouseID = 1 Order By HistoryID Desc"));
        QVERIFY(!history.isEmpty());
        QCOMPARE(history[0][0].toString(), QStringLiteral("在售"));
        QCOMPARE(history[0][1].toString(), QStringLiteral("预留"));
        QCOMPARE(history[0][2].toString(), QStringLiteral("hold"));
        QCOMPARE(history[0][3].toLongLong(), li);

        // The cell: the consultant and the three hours left; the customer in its tooltip.
        const sales::Unit& unit = board->Board().units[size_t(board->Board().IndexOf(1))];
        QCOMPARE(unit.status, QStringLiteral("预留"));
        QCOMPARE(unit.dealNote, QStringLiteral("刘顾问 …3小时"));
        const QString tip = board->picBoard->ToolTipAt(board->picBoard->UnitCentre(1));
        QVERIFY2(tip.contains(QStringLiteral("客户：李雷")), qPrintable(tip));
        QVERIFY(legend(board).contains(QStringLiteral("预留|1")));
        QVERIFY(legend(board).contains(QStringLiteral("在售|2")));
        QCOMPARE(enabledEntries(board, 1),
                 (QStringList{"mnuExtend", "mnuCancelHold", "mnuDeposit", "mnuContract", "mnuHistory"}));

        // The unit's history from the menu.
        QVERIFY(salestest::PickFromCellMenu(board, 1, {QStringLiteral("历史记录…")}));
        auto* h = qobject_cast<frmHistory*>(Forms::Find(QStringLiteral("frmHistory")));
        QVERIFY(h);
        QCOMPARE(h->Scope().houseId, 1);
        QCOMPARE(ListRow(h->lsvHistory, 0)[4], QStringLiteral("在售 → 预留"));
        QCOMPARE(ListRow(h->lsvHistory, 0)[5], QStringLiteral("李雷"));
        QCOMPARE(ListRow(h->lsvHistory, 0).last(), QStringLiteral("预留"));
    }

    void a_unit_taken_elsewhere_is_refused_with_its_holder()
    {
        frmSalesBoard* board = openBoard();
        QVERIFY(board);
        // Another PC holds unit 102 for 韩梅梅 after this board was drawn.
        QVERIFY(Exec(*folder,
                     QStringLiteral("Insert Into t_Deal (HouseID, CustomerID, ConsultantID, Stage, Active, "
                                    "HoldStart, HoldEnd, PriorStatus, CreatedAt) Values (2, %1, 1, 'hold', "
                                    "1, '2030-06-01 01:00:00', '2030-06-02 01:00:00', '在售', "
                                    "'2030-06-01 01:00:00')")
                         .arg(li + 1)));
        QVERIFY(Exec(
            *folder,
            QStringLiteral("Update t_Content Set Content = '预留' Where HouseID = 2 And Caption = '状态'")));
        DialogAnswers answers;
        answers.queue << [](QDialog* d) {
            auto* hold = qobject_cast<deals::dlgHold*>(d);
            hold->txtFind->setText(QStringLiteral("13900001111"));
            Click(d, QStringLiteral("cmdOK"));
        };
        QVERIFY(!board->RunStep(2, deals::Step::Hold));
        QCOMPARE(messages->Texts().size(), 1);
        QVERIFY2(messages->Texts().first().contains(QStringLiteral("张顾问")),
                 qPrintable(messages->Texts().first()));
        QCOMPARE(folder->Value(QStringLiteral("Select Count(*) From t_Deal")).toLongLong(), 1);
        // The board read it again: the cell shows the other PC's hold.
        const sales::Unit& unit = board->Board().units[size_t(board->Board().IndexOf(2))];
        QCOMPARE(unit.status, QStringLiteral("预留"));
        QCOMPARE(unit.dealNote, QStringLiteral("张顾问 …23小时"));
    }

    void deposit_and_return_ask_for_what_they_need()
    {
        frmSalesBoard* board = openBoard();
        DialogAnswers answers;
        answers.queue << [](QDialog* d) {
            qobject_cast<deals::dlgHold*>(d)->txtFind->setText(QStringLiteral("李雷"));
            Click(d, QStringLiteral("cmdOK"));
        };
        QVERIFY(board->RunStep(3, deals::Step::Hold));
        QCOMPARE(status(3), QStringLiteral("预留"));
        QStringList refusals;
        answers.queue << [&](QDialog* d) {
            auto* deposit = qobject_cast<deals::dlgDeposit*>(d);
            deposit->txtAmount->setText(QStringLiteral("=1+1"));
            Click(d, QStringLiteral("cmdOK"));
            deposit->txtAmount->setText(QStringLiteral("-5"));
            Click(d, QStringLiteral("cmdOK"));
            deposit->txtAmount->setText(QStringLiteral("50,000"));
            deposit->txtDate->setText(QStringLiteral("2030-02-30"));
            Click(d, QStringLiteral("cmdOK"));
            refusals = messages->Texts();
            deposit->txtDate->setText(QStringLiteral("2030-06-01"));
            Click(d, QStringLiteral("cmdOK"));
        };
        QVERIFY(board->RunStep(3, deals::Step::Deposit));
        QCOMPARE(refusals.size(), 3);
        QVERIFY(refusals[0].contains(QStringLiteral("定金")));
        QVERIFY(refusals[2].contains(QStringLiteral("认购日期")));
        QCOMPARE(status(3), QStringLiteral("已认购"));
        QCOMPARE(folder->Value(QStringLiteral("Select Deposit From t_Deal Where HouseID = 3")).toString(),
                 QStringLiteral("50000"));
        QCOMPARE(enabledEntries(board, 3), (QStringList{"mnuContract", "mnuReturn", "mnuHistory"}));
        messages->Clear();

        // A return without a reason is not taken; with one the unit is for sale again.
        answers.queue << [&](QDialog* d) {
            Click(d, QStringLiteral("cmdOK"));
            refusals = messages->Texts();
            qobject_cast<deals::dlgOneField*>(d)->txtValue->setText(QStringLiteral("客户资金不足"));
            Click(d, QStringLiteral("cmdOK"));
        };
        QVERIFY(board->RunStep(3, deals::Step::Return));
        QCOMPARE(refusals, QStringList{QStringLiteral("请在\"原因\"中输入值。")});
        QCOMPARE(status(3), QStringLiteral("在售"));
        QCOMPARE(folder->Value(QStringLiteral("Select Reason From t_Deal Where HouseID = 3")).toString(),
                 QStringLiteral("客户资金不足"));
        QCOMPARE(enabledEntries(board, 3), (QStringList{"mnuHold", "mnuHistory"}));
        // Cancelling a dialog writes nothing.
        answers.queue << [](QDialog* d) { Click(d, QStringLiteral("cmdCancel")); };
        QVERIFY(!board->RunStep(3, deals::Step::Hold));
        QCOMPARE(folder->Value(QStringLiteral("Select Count(*) From t_Deal Where HouseID = 3")).toLongLong(),
                 1);
    }
};

QTEST_MAIN(tst_board_deals)
#include "tst_board_deals.moc"
