// The sales report: its figures over a catalogue and a history the test writes (a day boundary in
// local time, a range without sales, a price that is not a number), the window driven by its
// controls, and its two files read back: the workbook's sheets and cells, the PDF's text and fonts.
#include <time.h>

#include <QAction>
#include <QApplication>
#include <QBarSeries>
#include <QBarSet>
#include <QChart>
#include <QChartView>
#include <QComboBox>
#include <QDateEdit>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QTabWidget>
#include <QTest>
#include <QTreeWidget>

#include "MdiFrame.h"
#include "ReportFixture.h"
#include "core/db/ChangeContext.h"
#include "core/db/Connection.h"
#include "core/db/Store.h"
#include "core/mdlHouse.h"
#include "core/ui/FileDialog.h"
#include "core/ui/Forms.h"
#include "pricelist/sheet/Sheet.h"
#include "report/SalesFigures.h"
#include "report/frmSalesReport.h"
#include "windows/RegisterWindows.h"
#include "windows/frmMain.h"

using namespace reporttest;

namespace {

const QString kA = QStringLiteral("翠湖苑一号楼");
const QString kB = QStringLiteral("翠湖苑二号楼");
const QString kFormula = QStringLiteral("=SUM(1,2)");

report::SalesFigures compute(const QDate& from, const QDate& to,
                             const QString& price = QStringLiteral("总价"))
{
    db::Connection connection;
    mdlHouse::OpenDatabase(connection);
    report::SalesFigures figures;
    if (!figures.Compute(connection, from, to, price)) qWarning("figures: %s", qPrintable(figures.Error()));
    return figures;
}

const report::BuildingFigures* building(const report::SalesFigures& f, const QString& name)
{
    for (const auto& b : f.buildings)
        if (b.building == name) return &b;
    return nullptr;
}

const report::ConsultantFigures* consultant(const report::SalesFigures& f, const QString& name)
{
    for (const auto& c : f.consultants)
        if (c.consultant == name) return &c;
    return nullptr;
}

int statusCount(const report::BuildingFigures& b, const QString& status)
{
    for (const auto& s : b.statuses)
        if (s.status == status) return s.count;
    return -1;
}

// A table's rows as "a|b|c" texts.
QStringList rowsOf(QTreeWidget* list)
{
    QStringList rows;
    for (int i = 0; i < list->topLevelItemCount(); ++i) {
        QStringList cells;
        for (int c = 0; c < list->columnCount(); ++c) cells << list->topLevelItem(i)->text(c);
        rows << cells.join(QLatin1Char('|'));
    }
    return rows;
}

QString run(const QString& program, const QStringList& args)
{
    QProcess p;
    p.start(program, args);
    if (!p.waitForFinished(60000) || p.exitCode() != 0) {
        qWarning("%s failed: %s", qPrintable(program), p.readAllStandardError().constData());
        return QString();
    }
    return QString::fromUtf8(p.readAllStandardOutput());
}

}  // namespace

class tst_sales_report : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // The whole test runs in UTC+8: the local day 2026-03-10 starts at 2026-03-09 16:00 UTC.
        QCOMPARE(QDateTime(QDate(2026, 3, 10), QTime(0, 0), Qt::LocalTime).toUTC(),
                 QDateTime(QDate(2026, 3, 9), QTime(16, 0), Qt::UTC));
        windows::RegisterWindows();
    }
    void cleanup() { ui::SetSaveFileDialogInterceptor({}); }

    void statusNowPerBuilding()
    {
        testsupport::ProgramFolder folder;
        FillCatalogue(folder);
        const report::SalesFigures f = compute(QDate(2026, 4, 1), QDate(2026, 4, 1));
        QCOMPARE(f.statusCaption, QStringLiteral("状态"));
        // House 7 has no type row: like every list of the program, the report does not see it.
        QCOMPARE(f.total.units, 7);
        QCOMPARE(statusCount(f.total, QStringLiteral("在售")), 3);
        QCOMPARE(statusCount(f.total, QStringLiteral("已售")), 2);
        QCOMPARE(statusCount(f.total, QStringLiteral("已认购")), 1);
        QCOMPARE(statusCount(f.total, QString()), 1);
        QCOMPARE(f.statusValues.first(), QStringLiteral("在售"));
        const auto* a = building(f, kA);
        const auto* b = building(f, kB);
        QVERIFY(a && b && building(f, kFormula));
        QCOMPARE(a->units, 4);
        QCOMPARE(statusCount(*a, QString()), 1);
        QCOMPARE(b->units, 2);
        QCOMPARE(statusCount(*b, QStringLiteral("已售")), 1);
    }

    // A house's first status row counts; a status row that belongs to no house changes nothing.
    void statusRowsWithoutHouseOrSecondRow()
    {
        testsupport::ProgramFolder folder;
        FillCatalogue(folder);
        QVERIFY(Exec(folder, QStringLiteral("Insert Into t_Content (HouseID, Caption, Content, List) "
                                            "Values (Null, '状态', '已售', 1)")));
        QVERIFY(Exec(folder, QStringLiteral("Insert Into t_Content (HouseID, Caption, Content, List) "
                                            "Values (1, '状态', '已售', 7)")));
        const report::SalesFigures f = compute(QDate(2026, 4, 1), QDate(2026, 4, 1));
        QCOMPARE(f.total.units, 7);
        QCOMPARE(statusCount(f.total, QStringLiteral("在售")), 3);
        QCOMPARE(statusCount(f.total, QStringLiteral("已售")), 2);
        QCOMPARE(statusCount(f.total, QString()), 1);
        const auto* a = building(f, kA);
        QVERIFY(a);
        QCOMPARE(statusCount(*a, QString()), 1);
    }

    // The local day 2026-03-09 ends at 15:59:59 UTC: the deposit then is on the 9th, the contract a
    // second later on the 10th.
    void dayBoundaryInLocalTime()
    {
        testsupport::ProgramFolder folder;
        FillCatalogue(folder);
        const report::SalesFigures ninth = compute(QDate(2026, 3, 9), QDate(2026, 3, 9));
        const report::Events& e = ninth.total.events;
        QCOMPARE(e.holds, 3);
        QCOMPARE(e.cancelled, 1);
        QCOMPARE(e.expired, 0);
        QCOMPARE(e.deposits.count, 1);
        QCOMPARE(e.deposits.sum, 1200000.0);
        QCOMPARE(e.contracts.count, 0);
        QCOMPARE(int(ninth.days.size()), 1);
        QCOMPARE(ninth.days[0].events.deposits.count, 1);

        const report::SalesFigures tenth = compute(QDate(2026, 3, 10), QDate(2026, 3, 10));
        const report::Events& t = tenth.total.events;
        QCOMPARE(t.holds, 0);
        QCOMPARE(t.expired, 1);
        QCOMPARE(t.contracts.count, 2);
        // 面议 is counted, not summed, and listed.
        QCOMPARE(t.contracts.summed, 1);
        QCOMPARE(t.contracts.sum, 980000.5);
        QCOMPARE(tenth.notSummedCount, 1);
        QCOMPARE(int(tenth.notSummed.size()), 1);
        QCOMPARE(tenth.notSummed[0].building, kB);
        QCOMPARE(tenth.notSummed[0].houseNo, QStringLiteral("105"));
        QCOMPARE(tenth.notSummed[0].step, QStringLiteral("签约"));
        QCOMPARE(tenth.notSummed[0].value, QStringLiteral("面议"));
    }

    void monthPerBuildingConsultantAndDay()
    {
        testsupport::ProgramFolder folder;
        FillCatalogue(folder);
        const report::SalesFigures m = compute(QDate(2026, 3, 1), QDate(2026, 3, 31));
        // 2026-03-01 00:00:00 local is in, 2026-02-28 23:59:59 local is not.
        QCOMPARE(m.total.events.deposits.count, 2);
        QCOMPARE(m.total.events.deposits.sum, 2180000.5);
        QCOMPARE(m.total.events.contracts.count, 2);
        QCOMPARE(m.total.events.holds, 4);
        QCOMPARE(m.total.events.expired, 1);
        QCOMPARE(m.total.events.cancelled, 1);

        const auto* a = building(m, kA);
        const auto* b = building(m, kB);
        QVERIFY(a && b);
        QCOMPARE(a->events.holds, 3);
        QCOMPARE(a->events.deposits.count, 2);
        QCOMPARE(a->events.contracts.sum, 980000.5);
        QCOMPARE(b->events.holds, 1);
        QCOMPARE(b->events.expired, 1);
        QCOMPARE(b->events.contracts.count, 1);
        QCOMPARE(b->events.contracts.summed, 0);

        const auto* zhang = consultant(m, QStringLiteral("张三"));
        const auto* li = consultant(m, QStringLiteral("李四"));
        QVERIFY(zhang && li);
        QCOMPARE(zhang->events.holds, 2);
        QCOMPARE(zhang->events.deposits.sum, 1200000.0);
        QCOMPARE(zhang->events.contracts.count, 1);
        QCOMPARE(zhang->events.cancelled, 1);
        QCOMPARE(li->events.holds, 2);
        QCOMPARE(li->events.expired, 1);
        QCOMPARE(li->events.deposits.sum, 980000.5);
        QCOMPARE(li->events.contracts.sum, 980000.5);

        QCOMPARE(int(m.days.size()), 31);
        QCOMPARE(m.days[0].day, QDate(2026, 3, 1));
        QCOMPARE(m.days[0].events.deposits.count, 1);
        QCOMPARE(m.days[7].events.holds, 1);  // 03-08
        QCOMPARE(m.days[8].events.holds, 3);  // 03-09
        QCOMPARE(m.days[8].events.deposits.count, 1);
        QCOMPARE(m.days[9].events.contracts.count, 2);  // 03-10
        int all = 0;
        for (const auto& d : m.days) all += d.events.deposits.count + d.events.contracts.count;
        QCOMPARE(all, 4);
    }

    void rangeWithoutSales()
    {
        testsupport::ProgramFolder folder;
        FillCatalogue(folder);
        const report::SalesFigures april = compute(QDate(2026, 4, 1), QDate(2026, 4, 30));
        const report::Events& e = april.total.events;
        QCOMPARE(e.holds + e.expired + e.cancelled + e.returned + e.deposits.count + e.contracts.count, 0);
        QCOMPARE(e.deposits.sum, 0.0);
        QCOMPARE(int(april.days.size()), 30);
        QVERIFY(april.consultants.empty());
        QVERIFY(april.notSummed.empty());
        // The statuses are still there.
        QCOMPARE(april.total.units, 7);
    }

    // Without a price caption the steps are counted and nothing is summed or listed.
    void noPriceCaption()
    {
        testsupport::ProgramFolder folder;
        FillCatalogue(folder);
        const report::SalesFigures f = compute(QDate(2026, 3, 10), QDate(2026, 3, 10), QString());
        QCOMPARE(f.total.events.contracts.count, 2);
        QCOMPARE(f.total.events.contracts.sum, 0.0);
        QCOMPARE(f.notSummedCount, 0);
    }

    // A step written as the deal steps write it (a change context, then the status row) is found
    // by the report through the history the store's own triggers write, at the store's own time.
    void stepsRecordedByTheTriggers()
    {
        testsupport::ProgramFolder folder;
        FillCatalogue(folder);
        const QDate today = QDate::currentDate();
        const report::SalesFigures before = compute(today, today);
        {
            db::Connection connection;
            mdlHouse::OpenDatabase(connection);
            db::Transaction transaction(connection);
            QVERIFY(db::SetChangeContext(connection, {QStringLiteral("contract"), 0, 2, QString()}));
            QVERIFY(connection.Execute(QStringLiteral(
                "Update t_Content Set Content = '已售' Where HouseID = 6 And Caption = '状态'")));
            QCOMPARE(connection.RowsAffected(), 1);
            QVERIFY(transaction.Commit());
        }
        // The history row is stamped now; around midnight it may fall on either side.
        const report::SalesFigures after = compute(today.addDays(-1), today.addDays(1));
        QCOMPARE(before.total.events.contracts.count, 0);
        QCOMPARE(after.total.events.contracts.count, 1);
        QCOMPARE(after.total.events.contracts.sum, 900000.0);
        const auto* li = consultant(after, QStringLiteral("李四"));
        QVERIFY(li);
        QCOMPARE(li->events.contracts.count, 1);
        QCOMPARE(statusCount(after.total, QStringLiteral("已售")), 3);
    }

    void windowDefaultsAndRanges()
    {
        testsupport::ProgramFolder folder;
        FillCatalogue(folder);
        testsupport::MsgBoxRecorder boxes;
        testsupport::MdiFrame frame(1300, 800);
        auto* w = qobject_cast<frmSalesReport*>(Forms::Show(QStringLiteral("frmSalesReport")));
        QVERIFY(w);
        QCOMPARE(w->cmbRange->currentText(), QStringLiteral("今天"));
        QCOMPARE(w->dtpFrom->date(), QDate::currentDate());
        QCOMPARE(w->dtpTo->date(), QDate::currentDate());
        // The price caption offered first is the one that says 价.
        QCOMPARE(w->cmbPrice->currentText(), QStringLiteral("总价"));
        QCOMPARE(w->Figures().total.units, 7);

        w->cmbRange->setCurrentIndex(w->cmbRange->findText(QStringLiteral("本月")));
        QCOMPARE(w->dtpFrom->date(), QDate(QDate::currentDate().year(), QDate::currentDate().month(), 1));
        QCOMPARE(w->dtpTo->date().addDays(1).day(), 1);
        w->cmbRange->setCurrentIndex(w->cmbRange->findText(QStringLiteral("本周")));
        QCOMPARE(w->dtpFrom->date().dayOfWeek(), 1);
        QCOMPARE(w->dtpFrom->date().daysTo(w->dtpTo->date()), 6);

        // Dates typed make the range the user's own; a start after the end is refused.
        w->dtpFrom->setDate(QDate(2026, 3, 31));
        w->dtpTo->setDate(QDate(2026, 3, 1));
        QCOMPARE(w->cmbRange->currentText(), QStringLiteral("自定义"));
        QVERIFY(testsupport::Click(w, QStringLiteral("cmdRefresh")));
        QCOMPARE(boxes.Texts(), QStringList{QStringLiteral("开始日期不能晚于结束日期。")});
        QVERIFY(boxes.messages.size() == 1);
    }

    void windowShowsTheMonth()
    {
        testsupport::ProgramFolder folder;
        FillCatalogue(folder);
        testsupport::MsgBoxRecorder boxes;
        testsupport::MdiFrame frame(1300, 800);
        auto* w = qobject_cast<frmSalesReport*>(Forms::Show(QStringLiteral("frmSalesReport")));
        QVERIFY(w);
        w->dtpFrom->setDate(QDate(2026, 3, 1));
        w->dtpTo->setDate(QDate(2026, 3, 31));
        QVERIFY(testsupport::Click(w, QStringLiteral("cmdRefresh")));
        QVERIFY2(boxes.messages.isEmpty(), qPrintable(boxes.Texts().join('\n')));

        const QStringList buildings = rowsOf(w->lsvBuildings);
        QVERIFY2(buildings.contains(kA + QStringLiteral("|3|0|1|2|2,180,000.50|1|980,000.50|0|0")),
                 qPrintable(buildings.join('\n')));
        QVERIFY2(buildings.contains(kB + QStringLiteral("|1|1|0|0|0|1|0|1|0")),
                 qPrintable(buildings.join('\n')));
        QVERIFY(buildings.last().startsWith(QStringLiteral("合计|4|1|1|2|2,180,000.50|2|980,000.50|1|0")));
        const QStringList consultants = rowsOf(w->lsvConsultants);
        QVERIFY2(consultants.contains(QStringLiteral("张三|2|0|1|1|1,200,000|1|0|1|0")),
                 qPrintable(consultants.join('\n')));
        const QStringList status = rowsOf(w->lsvStatus);
        QCOMPARE(w->lsvStatus->headerItem()->text(2), QStringLiteral("在售"));
        QVERIFY2(status.contains(QStringLiteral("合计|7|3|2|1|1")), qPrintable(status.join('\n')));
        QCOMPARE(w->lsvDays->topLevelItemCount(), 31);
        QCOMPARE(rowsOf(w->lsvNotSummed), QStringList{kB + QStringLiteral("|105|签约|面议")});
        QVERIFY(w->lblSummary->text().contains(QStringLiteral("认购 2 套，金额 2,180,000.50")));

        // The charts: one stacked bar per building with units, and the month's days.
        auto* statusSeries = qobject_cast<QAbstractBarSeries*>(w->chtStatus->chart()->series().value(0));
        QVERIFY(statusSeries);
        QCOMPARE(statusSeries->barSets().size(), 4);
        QCOMPARE(statusSeries->barSets().first()->label(), QStringLiteral("在售"));
        QCOMPARE(statusSeries->barSets().first()->count(), 3);
        auto* daily = qobject_cast<QAbstractBarSeries*>(w->chtDaily->chart()->series().value(0));
        QVERIFY(daily);
        QCOMPARE(daily->barSets().at(0)->count(), 31);
        QCOMPARE(daily->barSets().at(0)->at(0), 1.0);  // 认购 on 03-01
        QCOMPARE(daily->barSets().at(1)->at(9), 2.0);  // 签约 on 03-10
    }

    void workbookReadBack()
    {
        testsupport::ProgramFolder folder;
        FillCatalogue(folder);
        testsupport::MsgBoxRecorder boxes;
        testsupport::MdiFrame frame(1300, 800);
        auto* w = qobject_cast<frmSalesReport*>(Forms::Show(QStringLiteral("frmSalesReport")));
        QVERIFY(w);
        w->dtpFrom->setDate(QDate(2026, 3, 1));
        w->dtpTo->setDate(QDate(2026, 3, 31));
        QVERIFY(testsupport::Click(w, QStringLiteral("cmdRefresh")));
        const QString path = folder.File(QStringLiteral("report"));  // the extension is added
        QStringList filters;
        ui::SetSaveFileDialogInterceptor([&](const QString& filter) {
            filters << filter;
            return path;
        });
        QVERIFY(testsupport::Click(w, QStringLiteral("cmdExcel")));
        QVERIFY2(boxes.messages.isEmpty(), qPrintable(boxes.Texts().join('\n')));
        QCOMPARE(filters.size(), 1);
        QVERIFY(filters[0].contains(QStringLiteral("*.xlsx")));
        const QString xlsx = path + QStringLiteral(".xlsx");
        QVERIFY(QFile::exists(xlsx));
        QVERIFY(!QFile::exists(xlsx + QStringLiteral(".part")));

        auto sheet = [&](const QString& name) {
            QStringList rows;
            const pricelist::SheetTable t = pricelist::ReadSheet(xlsx, name);
            if (!t.ok) qWarning("sheet %s: %s", qPrintable(name), qPrintable(t.error));
            for (const auto& r : t.records) rows << r.fields.join(QLatin1Char('|'));
            return rows;
        };
        const QStringList about = sheet(QStringLiteral("说明"));
        QVERIFY2(about.contains(QStringLiteral("日期|2026-03-01 至 2026-03-31")),
                 qPrintable(about.join('\n')));
        QVERIFY(about.contains(QStringLiteral("价格项|总价")));
        const QStringList byBuilding = sheet(QStringLiteral("按楼宇"));
        QCOMPARE(byBuilding.value(0),
                 QStringLiteral(
                     "楼宇|预留|到期释放|取消预留|认购套数|认购金额|签约套数|签约金额|未计入金额|退房"));
        QVERIFY2(byBuilding.contains(kA + QStringLiteral("|3|0|1|2|2180000.5|1|980000.5|0|0")),
                 qPrintable(byBuilding.join('\n')));
        // The building named like a formula is a text cell as it stands, never a formula.
        const QStringList status = sheet(QStringLiteral("现状"));
        QVERIFY2(status.contains(kFormula + QStringLiteral("|1|1|0|0|0")), qPrintable(status.join('\n')));
        QVERIFY(sheet(QStringLiteral("按置业顾问"))
                    .contains(QStringLiteral("李四|2|1|0|1|980000.5|1|980000.5|0|0")));
        QCOMPARE(sheet(QStringLiteral("每日")).size(), 32);
        QCOMPARE(sheet(QStringLiteral("未计入金额")).value(1), kB + QStringLiteral("|105|签约|面议"));
        // In the file itself: no formula anywhere, and the formula-like name among the strings.
        const QString xml = run(QStringLiteral("unzip"), {QStringLiteral("-p"), xlsx});
        QVERIFY(!xml.isEmpty());
        QVERIFY(!xml.contains(QStringLiteral("<f>")) && !xml.contains(QStringLiteral("<f ")));
        QVERIFY(xml.contains(QStringLiteral("<t>=SUM(1,2)</t>")));
    }

    void pdfReadBack()
    {
        testsupport::ProgramFolder folder;
        FillCatalogue(folder);
        testsupport::MsgBoxRecorder boxes;
        testsupport::MdiFrame frame(1300, 800);
        auto* w = qobject_cast<frmSalesReport*>(Forms::Show(QStringLiteral("frmSalesReport")));
        QVERIFY(w);
        w->dtpFrom->setDate(QDate(2026, 3, 1));
        w->dtpTo->setDate(QDate(2026, 3, 31));
        QVERIFY(testsupport::Click(w, QStringLiteral("cmdRefresh")));
        const QString pdf = folder.File(QStringLiteral("销售报表.pdf"));
        ui::SetSaveFileDialogInterceptor([&](const QString&) { return pdf; });
        QVERIFY(testsupport::Click(w, QStringLiteral("cmdPdf")));
        QVERIFY2(boxes.messages.isEmpty(), qPrintable(boxes.Texts().join('\n')));
        QVERIFY(QFile::exists(pdf));

        const QString info = run(QStringLiteral("pdfinfo"), {pdf});
        QVERIFY2(info.contains(QStringLiteral("(A4)")), qPrintable(info));
        const QString text =
            run(QStringLiteral("pdftotext"), {QStringLiteral("-layout"), pdf, QStringLiteral("-")});
        for (const QString& expected :
             {QStringLiteral("销售报表"), QStringLiteral("2026-03-01 至 2026-03-31"),
              QStringLiteral("各楼宇现状"), QStringLiteral("每日认购与签约"), kA, kB, QStringLiteral("张三"),
              QStringLiteral("2,180,000.50"), QStringLiteral("面议"), QStringLiteral("按置业顾问")})
            QVERIFY2(text.contains(expected), qPrintable(expected + QStringLiteral(" not in:\n") + text));
        // Every font is embedded.
        const QStringList fonts =
            run(QStringLiteral("pdffonts"), {pdf}).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QVERIFY(fonts.size() > 2);
        for (const QString& line : fonts.mid(2)) {
            const QStringList columns = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
            QVERIFY2(columns.size() >= 5 && columns[columns.size() - 5] == QStringLiteral("yes"),
                     qPrintable(line));
        }
    }

    // The menu's entry opens the report.
    void fromTheMenu()
    {
        testsupport::ProgramFolder folder;
        FillCatalogue(folder);
        testsupport::MsgBoxRecorder boxes;
        frmMain main;
        main.mnuSalesReport->trigger();
        QApplication::processEvents();
        auto* w = qobject_cast<frmSalesReport*>(Forms::Find(QStringLiteral("frmSalesReport")));
        QVERIFY(w);
        QCOMPARE(w->windowTitle(), QStringLiteral("销售报表"));
        QVERIFY(boxes.messages.isEmpty());
        Forms::Unload(QStringLiteral("frmSalesReport"));
    }
};

int main(int argc, char* argv[])
{
    qputenv("TZ", "Asia/Shanghai");
    tzset();
    QApplication app(argc, argv);
    tst_sales_report test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_sales_report.moc"
