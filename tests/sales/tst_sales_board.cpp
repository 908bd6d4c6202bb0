// The sales board driven as the user drives it: choosers, the painted cells, double-click, the
// cell's context menu, saving; the database is read afterwards to see what was stored.
#include <QAction>
#include <QComboBox>
#include <QDate>
#include <QFileInfo>
#include <QLabel>
#include <QPrinter>
#include <QRegularExpression>
#include <QTreeWidget>

#include "SalesFixture.h"
#include "core/db/Convert.h"
#include "core/mdlHouse.h"
#include "core/ui/FileDialog.h"
#include "core/ui/InputBox.h"
#include "core/ui/PrintDialog.h"
#include "sales/SalesBoard.h"
#include "windows/RegisterWindows.h"
#include "windows/frmMain.h"

using namespace salestest;

namespace {

const QString kBuilding = QStringLiteral("翠湖苑一号楼");

// Building 翠湖苑一号楼: floors 10, 5 and 2 (none between), and two houses without a floor.
//   id  floor room  status rows (in List order)
//   1   2     210   朝向, 状态=在售, 状态=已售 (the first one counts)
//   2   2     201   状态=已预订
//   3   2     22    状态=可售
//   4   5     A10   状态=保留
//   5   5     A2    状态=特价
//   6   10    1001  状态=已售
//   7   10    1002  (no status row)
//   8   -     B1    状态=预留
//   9   -     B02   状态=已售
// House 10 is in another building; house 11 has no type row, so no list shows it.
void fillCatalogue(const testsupport::ProgramFolder& f)
{
    Exec(f, QStringLiteral("Insert Into t_HouseType (TypeID, List, HouseType, MusicTitle, MusicFile) Values "
                           "(1, 1, '一室一厅', '', ''), (2, 2, '两室一厅', '', '')"));
    AddHouse(f, 1, kBuilding, QStringLiteral("210"), QStringLiteral("2"), 1);
    AddHouse(f, 2, kBuilding, QStringLiteral("201"), QStringLiteral("2"), 2);
    AddHouse(f, 3, kBuilding, QStringLiteral("22"), QStringLiteral("2"), 1);
    AddHouse(f, 4, kBuilding, QStringLiteral("A10"), QStringLiteral("5"), 2);
    AddHouse(f, 5, kBuilding, QStringLiteral("A2"), QStringLiteral("5"), 1);
    AddHouse(f, 6, kBuilding, QStringLiteral("1001"), QStringLiteral("10"), 2);
    AddHouse(f, 7, kBuilding, QStringLiteral("1002"), QStringLiteral("10"), 1);
    AddHouse(f, 8, kBuilding, QStringLiteral("B1"), QStringLiteral("Null"), 1);
    AddHouse(f, 9, kBuilding, QStringLiteral("B02"), QStringLiteral("Null"), 2);
    AddHouse(f, 10, QStringLiteral("翠湖苑二号楼"), QStringLiteral("201"), QStringLiteral("2"), 1);
    AddHouse(f, 11, kBuilding, QStringLiteral("301"), QStringLiteral("3"), 99);
    AddRow(f, 1, QStringLiteral("朝向"), QStringLiteral("南"), 1);
    AddRow(f, 1, QStringLiteral("状态"), QStringLiteral("在售"), 2);
    AddRow(f, 1, QStringLiteral("状态"), QStringLiteral("已售"), 3);
    AddRow(f, 1, QStringLiteral("单价"), QStringLiteral("15800元"), 4);
    AddRow(f, 2, QStringLiteral("状态"), QStringLiteral("已预订"), 1);
    AddRow(f, 2, QStringLiteral("单价"), QStringLiteral("16200元"), 2);
    AddRow(f, 3, QStringLiteral("状态"), QStringLiteral("可售"), 1);
    AddRow(f, 4, QStringLiteral("状态"), QStringLiteral("保留"), 1);
    AddRow(f, 5, QStringLiteral("状态"), QStringLiteral("特价"), 1);
    AddRow(f, 6, QStringLiteral("状态"), QStringLiteral("已售"), 1);
    AddRow(f, 7, QStringLiteral("朝向"), QStringLiteral("北"), 1);
    AddRow(f, 7, QStringLiteral("面积"), QStringLiteral("88平方米"), 3);
    AddRow(f, 8, QStringLiteral("状态"), QStringLiteral("预留"), 1);
    AddRow(f, 9, QStringLiteral("状态"), QStringLiteral("已售"), 1);
    AddRow(f, 10, QStringLiteral("状态"), QStringLiteral("已售"), 1);
    AddRow(f, 11, QStringLiteral("状态"), QStringLiteral("已售"), 1);
}

QStringList rowLabels(const frmSalesBoard* w)
{
    QStringList labels;
    for (const sales::FloorRow& r : w->Board().rows) labels << r.label;
    return labels;
}

QStringList roomsOfRow(const frmSalesBoard* w, int row)
{
    QStringList rooms;
    for (int i : w->Board().rows[size_t(row)].units) rooms << w->Board().units[size_t(i)].houseNo;
    return rooms;
}

// The colour painted inside the house's cell, beside its text.
QColor paintedColour(frmSalesBoard* w, qint32 houseId)
{
    const QPoint centre = w->picBoard->UnitCentre(houseId);
    const QImage shot = w->picBoard->viewport()->grab().toImage();
    const QPoint at(centre.x() - sales::Board::kCellWidth / 2 + 3, centre.y());
    return shot.pixelColor(at);
}

QStringList legendRows(const frmSalesBoard* w)
{
    QStringList rows;
    for (int i = 0; i < w->lsvLegend->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* item = w->lsvLegend->topLevelItem(i);
        rows << item->text(0) + QLatin1Char('|') + item->text(1) + QLatin1Char('|') + item->text(2);
    }
    return rows;
}

QString statusOf(const testsupport::ProgramFolder& f, int houseId)
{
    return f
        .Value(QStringLiteral("Select Content From t_Content Where HouseID = %1 And Caption = '状态' "
                              "Order By List, ContentID Limit 1")
                   .arg(houseId))
        .toString();
}

QList<QVariantList> allRows(const testsupport::ProgramFolder& f)
{
    return f.Rows(QStringLiteral(
        "Select ContentID, HouseID, Caption, Content, List From t_Content Order By ContentID"));
}

}  // namespace

class tst_sales_board : public QObject {
    Q_OBJECT

private slots:
    void init()
    {
        folder_ = std::make_unique<testsupport::ProgramFolder>();
        fillCatalogue(*folder_);
        messages_ = std::make_unique<testsupport::MsgBoxRecorder>();
        frame_ = std::make_unique<Frame>();
        mdlHouse::CurrentHouseID = 0;
    }
    void cleanup()
    {
        frame_.reset();
        messages_.reset();
        folder_.reset();
        ui::SetInputBoxInterceptor({});
        ui::SetSaveFileDialogInterceptor({});
    }

    void choosersOfferBuildingsAndCaptions()
    {
        frmSalesBoard* w = frame_->OpenBoard();
        QVERIFY(w);
        QStringList buildings;
        for (int i = 0; i < w->cmbBuilding->count(); ++i) buildings << w->cmbBuilding->itemText(i);
        QCOMPARE(buildings, (QStringList{kBuilding, QStringLiteral("翠湖苑二号楼")}));
        QCOMPARE(w->cmbBuilding->currentText(), kBuilding);
        QCOMPARE(w->cmbStatus->currentText(), QStringLiteral("状态"));
        QCOMPARE(w->cmbStatus->count(), 4);  // 单价, 朝向, 状态, 面积
        QCOMPARE(w->cmbPrice->currentText(), QString());
        QCOMPARE(w->cmbPrice->itemText(0), QString());
        QVERIFY(w->cmbPrice->findText(QStringLiteral("单价")) > 0);
    }

    void floorsTopDownWithGapsAndUnknownLast()
    {
        frmSalesBoard* w = frame_->OpenBoard();
        QCOMPARE(rowLabels(w), (QStringList{QStringLiteral("10层"), QStringLiteral("5层"),
                                            QStringLiteral("2层"), QStringLiteral("楼层未知")}));
        QCOMPARE(w->Board().units.size(), size_t(9));  // not the other building, not the house without a type
        // On screen too: the rows are stacked in that order, the cells of a row side by side.
        QVERIFY(w->picBoard->UnitCentre(6).y() < w->picBoard->UnitCentre(4).y());
        QVERIFY(w->picBoard->UnitCentre(4).y() < w->picBoard->UnitCentre(2).y());
        QVERIFY(w->picBoard->UnitCentre(2).y() < w->picBoard->UnitCentre(8).y());
        QCOMPARE(w->picBoard->UnitCentre(3).y(), w->picBoard->UnitCentre(1).y());
        QVERIFY(w->picBoard->UnitCentre(3).x() < w->picBoard->UnitCentre(2).x());
        QVERIFY(w->lblSummary->text().contains(QStringLiteral("共 9 套")));
    }

    void roomNumbersInNaturalOrder()
    {
        frmSalesBoard* w = frame_->OpenBoard();
        QCOMPARE(roomsOfRow(w, 0), (QStringList{QStringLiteral("1001"), QStringLiteral("1002")}));
        QCOMPARE(roomsOfRow(w, 1), (QStringList{QStringLiteral("A2"), QStringLiteral("A10")}));
        QCOMPARE(roomsOfRow(w, 2),
                 (QStringList{QStringLiteral("22"), QStringLiteral("201"), QStringLiteral("210")}));
        QCOMPARE(roomsOfRow(w, 3), (QStringList{QStringLiteral("B1"), QStringLiteral("B02")}));
        QVERIFY(sales::NaturalCompare(QStringLiteral("201"), QStringLiteral("1001")) < 0);
        QVERIFY(sales::NaturalCompare(QStringLiteral("1001"), QStringLiteral("201")) > 0);
        QVERIFY(sales::NaturalCompare(QStringLiteral("a-9"), QStringLiteral("A-10")) < 0);
        QVERIFY(sales::NaturalCompare(QStringLiteral("2单元301"), QStringLiteral("10单元101")) < 0);
        QVERIFY(sales::NaturalCompare(QStringLiteral("12"), QStringLiteral("12A")) < 0);
    }

    void cellsShowRoomTypeAndChosenPrice()
    {
        frmSalesBoard* w = frame_->OpenBoard();
        const sales::Unit& u = w->Board().units[size_t(w->Board().IndexOf(2))];
        QCOMPARE(u.type, QStringLiteral("两室一厅"));
        QCOMPARE(u.price, QString());
        w->cmbPrice->setCurrentText(QStringLiteral("单价"));
        QCOMPARE(w->Board().priceCaption, QStringLiteral("单价"));
        QCOMPARE(w->Board().units[size_t(w->Board().IndexOf(2))].price, QStringLiteral("16200元"));
        QCOMPARE(w->Board().units[size_t(w->Board().IndexOf(1))].price, QStringLiteral("15800元"));
        QCOMPARE(w->Board().units[size_t(w->Board().IndexOf(7))].price, QString());
        // The first status row of house 1 is the one shown.
        QCOMPARE(w->Board().units[size_t(w->Board().IndexOf(1))].status, QStringLiteral("在售"));
    }

    void coloursFollowTheStatus()
    {
        frmSalesBoard* w = frame_->OpenBoard();
        const QColor green = sales::StatusColour(QStringLiteral("在售"));
        const QColor amber = sales::StatusColour(QStringLiteral("已预订"));
        const QColor red = sales::StatusColour(QStringLiteral("已售"));
        const QColor grey = sales::StatusColour(QString());
        QCOMPARE(green.green() > green.red() && green.green() > green.blue(), true);
        QVERIFY(red.red() > 200 && red.green() < 120);
        QVERIFY(amber.red() > 200 && amber.green() > 150 && amber.blue() < 100);
        QCOMPARE(grey.red(), grey.green());
        QCOMPARE(paintedColour(w, 1), green);      // 在售
        QCOMPARE(paintedColour(w, 3), green);      // 可售
        QCOMPARE(paintedColour(w, 2), amber);      // 已预订
        QCOMPARE(paintedColour(w, 4), amber);      // 保留
        QCOMPARE(paintedColour(w, 8), amber);      // 预留
        QCOMPARE(paintedColour(w, 6), red);        // 已售
        QCOMPARE(paintedColour(w, 7), grey);       // no status row
        const QColor other = paintedColour(w, 5);  // 特价: a colour of its own
        QCOMPARE(other, sales::StatusColour(QStringLiteral("特价")));
        for (const QColor& c : {green, amber, red, grey}) QVERIFY(other != c);
        QVERIFY(sales::StatusColour(QStringLiteral("特价")) != sales::StatusColour(QStringLiteral("待定")) ||
                sales::StatusColour(QStringLiteral("特价")) !=
                    sales::StatusColour(QStringLiteral("内部认购")));
    }

    void legendCountsEveryValue()
    {
        frmSalesBoard* w = frame_->OpenBoard();
        // Most units first, then by value; the houses without a status last.
        QCOMPARE(legendRows(w),
                 (QStringList{QStringLiteral("已售|2|22.2%"), QStringLiteral("保留|1|11.1%"),
                              QStringLiteral("可售|1|11.1%"), QStringLiteral("在售|1|11.1%"),
                              QStringLiteral("已预订|1|11.1%"), QStringLiteral("特价|1|11.1%"),
                              QStringLiteral("预留|1|11.1%"), QStringLiteral("（无）|1|11.1%")}));
    }

    void doubleClickOpensThePresentationOfThatHouse()
    {
        frmSalesBoard* w = frame_->OpenBoard();
        QTest::mouseDClick(w->picBoard->viewport(), Qt::LeftButton, {}, w->picBoard->UnitCentre(6));
        QCOMPARE(mdlHouse::CurrentHouseID, 6);
        auto* show = qobject_cast<frmHouseShow*>(Forms::Find(QStringLiteral("frmHouseShow")));
        QVERIFY(show);
        QCOMPARE(show->lblHouseID->text(), db::PaddedHouseNumber(6));
        QCOMPARE(show->lblHouseNo->text(), QStringLiteral("1001"));
        // Another house: the presentation starts afresh with it.
        QTest::mouseDClick(w->picBoard->viewport(), Qt::LeftButton, {}, w->picBoard->UnitCentre(9));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        show = qobject_cast<frmHouseShow*>(Forms::Find(QStringLiteral("frmHouseShow")));
        QVERIFY(show);
        QCOMPARE(mdlHouse::CurrentHouseID, 9);
        QCOMPARE(show->lblHouseID->text(), db::PaddedHouseNumber(9));
        QCOMPARE(show->lblHouseNo->text(), QStringLiteral("B02"));
        // A double-click between cells opens nothing new.
        mdlHouse::CurrentHouseID = 0;
        QTest::mouseDClick(w->picBoard->viewport(), Qt::LeftButton, {}, QPoint(2, 2));
        QCOMPARE(mdlHouse::CurrentHouseID, 0);
    }

    void statusChangeWritesExactlyThatRow()
    {
        frmSalesBoard* w = frame_->OpenBoard();
        const QList<QVariantList> before = allRows(*folder_);
        QVERIFY(PickFromCellMenu(w, 2, {QStringLiteral("设置状态"), QStringLiteral("已售")}));
        QCOMPARE(messages_->Texts(), QStringList());
        const QList<QVariantList> after = allRows(*folder_);
        QCOMPARE(after.size(), before.size());
        int changed = 0;
        for (int i = 0; i < after.size(); ++i) {
            if (after[i] == before[i]) continue;
            ++changed;
            QCOMPARE(after[i][1].toInt(), 2);
            QCOMPARE(after[i][2].toString(), QStringLiteral("状态"));
            QCOMPARE(after[i][3].toString(), QStringLiteral("已售"));
            QCOMPARE(after[i][4], before[i][4]);  // same place among the house's rows
        }
        QCOMPARE(changed, 1);
        // Redrawn at once: the cell and the legend.
        QCOMPARE(paintedColour(w, 2), sales::StatusColour(QStringLiteral("已售")));
        QCOMPARE(legendRows(w).first(), QStringLiteral("已售|3|33.3%"));
        QVERIFY(!legendRows(w).join(QLatin1Char(' ')).contains(QStringLiteral("已预订")));

        // The first of two status rows is the one written.
        QVERIFY(PickFromCellMenu(w, 1, {QStringLiteral("设置状态"), QStringLiteral("保留")}));
        QCOMPARE(folder_->Rows(
                     QStringLiteral("Select Content From t_Content Where HouseID = 1 And Caption = '状态' "
                                    "Order By List")),
                 (QList<QVariantList>{{QStringLiteral("保留")}, {QStringLiteral("已售")}}));
        // 已预订 is no longer in use anywhere, so it is no longer offered.
        QVERIFY(!PickFromCellMenu(w, 1, {QStringLiteral("设置状态"), QStringLiteral("已预订")}));
        QCOMPARE(statusOf(*folder_, 1), QStringLiteral("保留"));
    }

    void statusChangeAddsARowAfterTheLast()
    {
        frmSalesBoard* w = frame_->OpenBoard();
        QString asked;
        ui::SetInputBoxInterceptor([&asked](const QString& prompt) {
            asked = prompt;
            return QStringLiteral("内部认购");
        });
        const int rowsBefore = folder_->Value(QStringLiteral("Select Count(*) From t_Content")).toInt();
        QVERIFY(PickFromCellMenu(w, 7, {QStringLiteral("设置状态"), QStringLiteral("其他…")}));
        QVERIFY(asked.contains(QStringLiteral("状态")));
        QCOMPARE(folder_->Value(QStringLiteral("Select Count(*) From t_Content")).toInt(), rowsBefore + 1);
        QCOMPARE(
            folder_->Rows(QStringLiteral("Select Caption, Content, List From t_Content Where HouseID = 7 "
                                         "Order By List")),
            (QList<QVariantList>{{QStringLiteral("朝向"), QStringLiteral("北"), 1},
                                 {QStringLiteral("面积"), QStringLiteral("88平方米"), 3},
                                 {QStringLiteral("状态"), QStringLiteral("内部认购"), 4}}));
        QCOMPARE(paintedColour(w, 7), sales::StatusColour(QStringLiteral("内部认购")));
        QVERIFY(legendRows(w).contains(QStringLiteral("内部认购|1|11.1%")));
        // The new value is offered next time, and writes to the row just added.
        QVERIFY(PickFromCellMenu(w, 7, {QStringLiteral("设置状态"), QStringLiteral("在售")}));
        QCOMPARE(statusOf(*folder_, 7), QStringLiteral("在售"));
        QCOMPARE(folder_->Value(QStringLiteral("Select Count(*) From t_Content")).toInt(), rowsBefore + 1);
        // A value with an apostrophe is stored as it is.
        ui::SetInputBoxInterceptor([](const QString&) { return QStringLiteral("O'Neil 认购"); });
        QVERIFY(PickFromCellMenu(w, 7, {QStringLiteral("设置状态"), QStringLiteral("其他…")}));
        QCOMPARE(statusOf(*folder_, 7), QStringLiteral("O'Neil 认购"));
        QCOMPARE(messages_->Texts(), QStringList());
    }

    void statusChangeRefusedWhenChangedElsewhere()
    {
        frmSalesBoard* w = frame_->OpenBoard();
        QCOMPARE(w->Board().units[size_t(w->Board().IndexOf(2))].status, QStringLiteral("已预订"));
        // Another PC sells the unit while this board still shows it reserved.
        QVERIFY(
            ExecElsewhere(*folder_, QStringLiteral("Update t_Content Set Content = '已售' Where HouseID = 2 "
                                                   "And Caption = '状态'")));
        QVERIFY(PickFromCellMenu(w, 2, {QStringLiteral("设置状态"), QStringLiteral("在售")}));
        QCOMPARE(statusOf(*folder_, 2), QStringLiteral("已售"));
        QCOMPARE(messages_->Texts().size(), 1);
        QVERIFY2(messages_->Texts().first().contains(QStringLiteral("已售")) &&
                     messages_->Texts().first().contains(QStringLiteral("201")),
                 qPrintable(messages_->Texts().first()));
        // The board shows what is stored now.
        QCOMPARE(w->Board().units[size_t(w->Board().IndexOf(2))].status, QStringLiteral("已售"));
        QCOMPARE(paintedColour(w, 2), sales::StatusColour(QStringLiteral("已售")));
        QCOMPARE(legendRows(w).first(), QStringLiteral("已售|3|33.3%"));

        // A house without a status row that got one elsewhere meanwhile gets no second row.
        QVERIFY(
            ExecElsewhere(*folder_, QStringLiteral("Insert Into t_Content (HouseID, Caption, Content, List) "
                                                   "Values (7, '状态', '已预订', 9)")));
        messages_->Clear();
        QVERIFY(!w->SetStatus(7, QStringLiteral("在售")));
        QCOMPARE(folder_
                     ->Value(QStringLiteral(
                         "Select Count(*) From t_Content Where HouseID = 7 And Caption = '状态'"))
                     .toInt(),
                 1);
        QCOMPARE(statusOf(*folder_, 7), QStringLiteral("已预订"));
        QCOMPARE(messages_->Texts().size(), 1);
        QCOMPARE(paintedColour(w, 7), sales::StatusColour(QStringLiteral("已预订")));

        // Once the board shows the new value, a change goes through.
        messages_->Clear();
        QVERIFY(w->SetStatus(2, QStringLiteral("在售")));
        QCOMPARE(statusOf(*folder_, 2), QStringLiteral("在售"));
        QCOMPARE(messages_->Texts(), QStringList());
    }

    void statusChangeOfADeletedHouseIsRefused()
    {
        frmSalesBoard* w = frame_->OpenBoard();
        QVERIFY(ExecElsewhere(*folder_, QStringLiteral("Delete From t_Content Where HouseID = 7; "
                                                       "Delete From t_House Where HouseID = 7")));
        QVERIFY(!w->SetStatus(7, QStringLiteral("在售")));
        QCOMPARE(folder_->Value(QStringLiteral("Select Count(*) From t_Content Where HouseID = 7")).toInt(),
                 0);
        QCOMPARE(messages_->Texts().size(), 1);
    }

    void aLockedCatalogueSavesNothingAndSaysSo()
    {
        frmSalesBoard* w = frame_->OpenBoard();
        // Another process holds the write lock (as a PC in the middle of a save does) for longer
        // than the program waits.
        QProcess other;
        other.start(SqlElsewhereProgram(), {ElsewhereTarget(*folder_), QStringLiteral("--hold")});
        QVERIFY(other.waitForStarted());
        QByteArray said;
        QTRY_VERIFY2_WITH_TIMEOUT((said += other.readAllStandardOutput()).contains("locked"),
                                  (said + other.readAllStandardError()).constData(), 10000);
        const QList<QVariantList> before = allRows(*folder_);
        QVERIFY(!w->SetStatus(2, QStringLiteral("已售")));
        other.write("done\n");
        QVERIFY(other.waitForFinished(10000));
        QCOMPARE(allRows(*folder_), before);
        QCOMPARE(messages_->Texts().size(), 1);
        QVERIFY2(messages_->Texts().first().contains(QStringLiteral("未能保存")),
                 qPrintable(messages_->Texts().first()));
        QCOMPARE(w->Board().units[size_t(w->Board().IndexOf(2))].status, QStringLiteral("已预订"));
        // Free again: the same change goes through.
        messages_->Clear();
        QVERIFY(w->SetStatus(2, QStringLiteral("已售")));
        QCOMPARE(statusOf(*folder_, 2), QStringLiteral("已售"));
        QCOMPARE(messages_->Texts(), QStringList());
    }

    void savesTheBoardAsPdfAndPng()
    {
        frmSalesBoard* w = frame_->OpenBoard();
        QStringList answers = {folder_->File(QStringLiteral("board.pdf")),
                               folder_->File(QStringLiteral("board.png"))};
        ui::SetSaveFileDialogInterceptor([&answers](const QString&) { return answers.takeFirst(); });
        QVERIFY(testsupport::Click(w, QStringLiteral("cmdSave")));
        QVERIFY(QFileInfo(folder_->File(QStringLiteral("board.pdf"))).size() > 0);
        const QString info = Output(QStringLiteral("pdfinfo"), {folder_->File(QStringLiteral("board.pdf"))});
        QVERIFY2(info.contains(QRegularExpression(QStringLiteral("Pages:\\s+1\\n"))), qPrintable(info));
        const QString text = Output(QStringLiteral("pdftotext"),
                                    {folder_->File(QStringLiteral("board.pdf")), QStringLiteral("-")});
        QVERIFY2(text.contains(kBuilding), qPrintable(text));
        QVERIFY(text.contains(QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd"))));
        QVERIFY(text.contains(QStringLiteral("已售 2 套 22.2%")));
        QVERIFY(text.contains(QStringLiteral("10层")));
        QVERIFY(text.contains(QStringLiteral("楼层未知")));
        for (const char* room : {"1001", "A2", "A10", "B02", "22", "201"})
            QVERIFY2(text.contains(QString::fromLatin1(room)), room);
        QVERIFY(text.contains(QStringLiteral("一室一厅")));

        // Printing goes the same way; here the printer the user picks is a PDF file.
        const QString printed = folder_->File(QStringLiteral("printed.pdf"));
        ui::SetPrintDialogInterceptor([&](QPrinter& printer) {
            printer.setOutputFormat(QPrinter::PdfFormat);
            printer.setOutputFileName(printed);
            return true;
        });
        QVERIFY(testsupport::Click(w, QStringLiteral("cmdPrint")));
        ui::SetPrintDialogInterceptor({});
        const QString printedText = Output(QStringLiteral("pdftotext"), {printed, QStringLiteral("-")});
        QVERIFY2(printedText.contains(kBuilding) && printedText.contains(QStringLiteral("已售 2 套 22.2%")) &&
                     printedText.contains(QStringLiteral("B02")),
                 qPrintable(printedText));

        QVERIFY(testsupport::Click(w, QStringLiteral("cmdSave")));
        QImage png(folder_->File(QStringLiteral("board.png")));
        QVERIFY(!png.isNull());
        QVERIFY(png.width() >= w->Board().Size().width() && png.height() > w->Board().Size().height());
        QVERIFY(messages_->Texts().isEmpty());
    }

    void aLargeBuildingScrollsAndGoesOnAcrossPages()
    {
        // 600 units, 50 to a floor: far wider and taller than the window and than one page. (The
        // room numbers are built with what SQLite and PostgreSQL both know.)
        QVERIFY(Exec(*folder_,
                     QStringLiteral(
                         "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 600) "
                         "INSERT INTO t_House (HouseID, HouseName, HouseNo, Intro, HouseFloor, TypeID) "
                         "SELECT 1000 + i, 'A座', CAST((i - 1) / 50 + 1 AS TEXT) || "
                         "CASE WHEN (i - 1) % 50 < 9 THEN '0' ELSE '' END || CAST((i - 1) % 50 + 1 AS TEXT), "
                         "'', (i - 1) / 50 + 1, 1 FROM n")));
        frmSalesBoard* w = frame_->OpenBoard();
        w->cmbBuilding->setCurrentText(QStringLiteral("A座"));
        QCOMPARE(w->Board().units.size(), size_t(600));
        QCOMPARE(w->Board().rows.size(), size_t(12));
        QCOMPARE(roomsOfRow(w, 0).last(), QStringLiteral("1250"));
        // The last unit of the lowest floor is off screen: it is scrolled into view and opens.
        const QPoint far = w->picBoard->UnitCentre(1050);
        QVERIFY(w->picBoard->viewport()->rect().contains(far));
        QVERIFY(far.x() > sales::Board::kLabelWidth);
        QTest::mouseDClick(w->picBoard->viewport(), Qt::LeftButton, {}, far);
        QCOMPARE(mdlHouse::CurrentHouseID, 1050);
        // The floor column stays at the left edge over the scrolled cells: a double-click there
        // opens nothing, and it shows the floors' names.
        mdlHouse::CurrentHouseID = 0;
        QTest::mouseDClick(w->picBoard->viewport(), Qt::LeftButton, {}, QPoint(20, far.y()));
        QCOMPARE(mdlHouse::CurrentHouseID, 0);
        const QImage shot = w->picBoard->viewport()->grab().toImage();
        QCOMPARE(shot.pixelColor(3, far.y()), QColor(236, 239, 243));

        const QString pdf = folder_->File(QStringLiteral("large.pdf"));
        ui::SetSaveFileDialogInterceptor([&](const QString&) { return pdf; });
        QVERIFY(testsupport::Click(w, QStringLiteral("cmdSave")));
        const QString info = Output(QStringLiteral("pdfinfo"), {pdf});
        const auto pages = QRegularExpression(QStringLiteral("Pages:\\s+(\\d+)")).match(info);
        QVERIFY2(pages.hasMatch() && pages.captured(1).toInt() > 1, qPrintable(info));
        const QString text = Output(QStringLiteral("pdftotext"), {pdf, QStringLiteral("-")});
        // Every unit is on paper somewhere.
        for (const char* room : {"101", "150", "1201", "1250", "625"})
            QVERIFY2(text.contains(QRegularExpression(QStringLiteral("\\b%1\\b").arg(QLatin1String(room)))),
                     room);
        QVERIFY(text.contains(QStringLiteral("第 %1 页").arg(pages.captured(1))));
    }

    void refreshShowsWhatIsStoredAndKeepsTheChoices()
    {
        frmSalesBoard* w = frame_->OpenBoard();
        w->cmbBuilding->setCurrentText(QStringLiteral("翠湖苑二号楼"));
        w->cmbPrice->setCurrentText(QStringLiteral("单价"));
        QCOMPARE(w->Board().units.size(), size_t(1));
        QVERIFY(ExecElsewhere(
            *folder_, QStringLiteral("Insert Into t_House (HouseID, HouseName, HouseNo, Intro, "
                                     "HouseFloor, TypeID) Values (20, '翠湖苑二号楼', '202', '', 2, 1); "
                                     "Insert Into t_Content (HouseID, Caption, Content, List) "
                                     "Values (20, '状态', '已预订', 1), (20, '单价', '9999元', 2), "
                                     "(20, '车位', '有', 3)")));
        QVERIFY(testsupport::Click(w, QStringLiteral("cmdRefresh")));
        QCOMPARE(w->cmbBuilding->currentText(), QStringLiteral("翠湖苑二号楼"));
        QCOMPARE(w->cmbStatus->currentText(), QStringLiteral("状态"));
        QCOMPARE(w->cmbPrice->currentText(), QStringLiteral("单价"));
        QVERIFY(w->cmbPrice->findText(QStringLiteral("车位")) > 0);  // a caption that is new since
        QCOMPARE(roomsOfRow(w, 0), (QStringList{QStringLiteral("201"), QStringLiteral("202")}));
        QCOMPARE(w->Board().units[size_t(w->Board().IndexOf(20))].price, QStringLiteral("9999元"));
        QCOMPARE(paintedColour(w, 20), sales::StatusColour(QStringLiteral("已预订")));
    }

    void theMenuEntryOpensTheBoard()
    {
        frame_.reset();
        windows::RegisterWindows();
        frmMain main;
        main.show();
        auto* entry = main.findChild<QAction*>(QStringLiteral("mnuSalesBoard"));
        QVERIFY(entry);
        entry->trigger();
        auto* w = qobject_cast<frmSalesBoard*>(Forms::Find(QStringLiteral("frmSalesBoard")));
        QVERIFY(w);
        QCOMPARE(w->Board().building, kBuilding);
        QCOMPARE(w->Board().units.size(), size_t(9));
        // Already open: only brought forward, with what it shows kept.
        w->cmbBuilding->setCurrentText(QStringLiteral("翠湖苑二号楼"));
        entry->trigger();
        QCOMPARE(qobject_cast<frmSalesBoard*>(Forms::Find(QStringLiteral("frmSalesBoard"))), w);
        QCOMPARE(w->Board().building, QStringLiteral("翠湖苑二号楼"));
        main.close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void emptyCatalogueShowsAnEmptyBoard()
    {
        frame_.reset();
        folder_.reset();
        folder_ = std::make_unique<testsupport::ProgramFolder>();
        frame_ = std::make_unique<Frame>();
        frmSalesBoard* w = frame_->OpenBoard();
        QVERIFY(w);
        QCOMPARE(w->cmbBuilding->count(), 0);
        QCOMPARE(w->Board().units.size(), size_t(0));
        QCOMPARE(w->lsvLegend->topLevelItemCount(), 0);
        QVERIFY(!w->SetStatus(1, QStringLiteral("在售")));
        QVERIFY(testsupport::Click(w, QStringLiteral("cmdRefresh")));
        QVERIFY(messages_->Texts().isEmpty());
    }

private:
    std::unique_ptr<testsupport::ProgramFolder> folder_;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages_;
    std::unique_ptr<Frame> frame_;
};

QTEST_MAIN(tst_sales_board)
#include "tst_sales_board.moc"
