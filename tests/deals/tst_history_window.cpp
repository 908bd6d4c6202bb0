// The change history window: the rows the store's triggers wrote for status changes, newest first,
// for one unit, a building or the whole catalogue; a page at a time with the rest a click away; and
// exported as CSV and XLSX with every cell safe from formulas, read back from the files.
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>

#include "DealWindows.h"
#include "core/ui/FileDialog.h"
#include "deals/DealText.h"
#include "pricelist/sheet/Csv.h"
#include "pricelist/sheet/Sheet.h"

using namespace dealwin;
using testsupport::Click;

class tst_history_window : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages;
    std::unique_ptr<Frame> frame;

    bool setStatus(int house, const QString& value)
    {
        return Exec(
            *folder,
            QStringLiteral("Update t_Content Set Content = '%1' Where HouseID = %2 And Caption = '状态'")
                .arg(value)
                .arg(house));
    }

    // Unit 101 goes 在售 → 预留 → =1+2 (a text that looks like a formula); unit 201 → 已售; the unit
    // in the other building → 已售. Typed at the store, so their path is the one for that.
    void makeChanges()
    {
        QVERIFY(setStatus(1, QStringLiteral("预留")));
        QVERIFY(setStatus(1, QStringLiteral("=1+2")));
        QVERIFY(setStatus(3, QStringLiteral("已售")));
        QVERIFY(setStatus(4, QStringLiteral("已售")));
    }

    QString exportTo(frmHistory* w, const QString& path)
    {
        ui::SetSaveFileDialogInterceptor([path](const QString&) { return path; });
        Click(w, QStringLiteral("cmdExport"));
        ui::SetSaveFileDialogInterceptor({});
        QFile f(path);
        if (!f.open(QIODevice::ReadOnly)) return QString();
        return QString::fromUtf8(f.readAll());
    }

private slots:
    void init()
    {
        folder = std::make_unique<testsupport::ProgramFolder>();
        QVERIFY(FillCatalogue(*folder));
        messages = std::make_unique<testsupport::MsgBoxRecorder>();
        frame = std::make_unique<Frame>();
    }
    void cleanup()
    {
        frame.reset();
        messages.reset();
        folder.reset();
    }

    void lists_a_unit_a_building_and_the_catalogue()
    {
        makeChanges();
        auto* w = frame->Open<frmHistory>("frmHistory");
        QVERIFY(w);
        // The whole catalogue, newest first: the four changes, then the four status rows as the
        // catalogue was filled.
        QCOMPARE(w->lsvHistory->Model()->Count(), 8);
        QCOMPARE(ListColumn(w->lsvHistory, 1).mid(0, 4),
                 (QStringList{QStringLiteral("翠湖苑二号楼 101"), kBuilding + QStringLiteral(" 201"),
                              kBuilding + QStringLiteral(" 101"), kBuilding + QStringLiteral(" 101")}));
        QCOMPARE(ListColumn(w->lsvHistory, 4),
                 (QStringList{QStringLiteral("在售 → 已售"), QStringLiteral("在售 → 已售"),
                              QStringLiteral("预留 → =1+2"), QStringLiteral("在售 → 预留"),
                              QStringLiteral("（无） → 在售"), QStringLiteral("（无） → 在售"),
                              QStringLiteral("（无） → 在售"), QStringLiteral("（无） → 在售")}));
        QCOMPARE(w->lblCount->text(), QStringLiteral("共 8 条记录"));
        QVERIFY(!w->cmdMore->isEnabled());
        // Who, which PC and the path are filled in by the store.
        const QStringList first = ListRow(w->lsvHistory, 0);
        QVERIFY(!first[0].isEmpty());
        QVERIFY(!first[2].isEmpty());
        QCOMPARE(first.last(), deals::PathLabel(QStringLiteral("sql")));
        // This login may read customers: the column is there.
        QVERIFY(w->ShowsCustomers());
        QCOMPARE(w->lsvHistory->Model()->ColumnTitle(5), QStringLiteral("客户"));

        w->ShowBuilding(kBuilding);
        QCOMPARE(w->lsvHistory->Model()->Count(), 6);
        w->ShowUnit(1);
        QCOMPARE(w->lsvHistory->Model()->Count(), 3);
        QCOMPARE(w->lblUnit->text(), QStringLiteral("房源：") + kBuilding + QStringLiteral(" 101"));
        QCOMPARE(w->cmbBuilding->currentText(), kBuilding);
        // The building chooser goes back to a building's history.
        w->cmbBuilding->setCurrentIndex(0);
        QCOMPARE(w->lsvHistory->Model()->Count(), 8);
        QCOMPARE(messages->Texts(), QStringList());
    }

    void a_long_history_comes_a_page_at_a_time()
    {
        // 1,050 status rows added to unit 102 at once: one history row each, after the one of the
        // unit's first status row.
        QVERIFY(Exec(*folder, QStringLiteral("Insert Into t_Content (HouseID, Caption, Content, List) "
                                             "With Recursive n(i) As (Select 1 Union All Select i + 1 From n "
                                             "Where i < 1050) Select 2, '状态', 'v' || i, 10 + i From n")));
        QCOMPARE(
            folder->Value(QStringLiteral("Select Count(*) From t_History Where HouseID = 2")).toLongLong(),
            1051);
        auto* w = frame->Open<frmHistory>("frmHistory");
        w->ShowUnit(2);
        QCOMPARE(w->lsvHistory->Model()->Count(), frmHistory::kPageRows);
        QVERIFY(w->cmdMore->isEnabled());
        QVERIFY(w->lblCount->text().contains(QStringLiteral("更早的记录")));
        QCOMPARE(ListRow(w->lsvHistory, 0)[4], QStringLiteral("（无） → v1050"));
        QVERIFY(Click(w, QStringLiteral("cmdMore")));
        QCOMPARE(w->lsvHistory->Model()->Count(), 1051);
        QCOMPARE(ListRow(w->lsvHistory, 1049)[4], QStringLiteral("（无） → v1"));
        QCOMPARE(ListRow(w->lsvHistory, 1050)[4], QStringLiteral("（无） → 在售"));
        QVERIFY(!w->cmdMore->isEnabled());
        QCOMPARE(w->lblCount->text(), QStringLiteral("共 1051 条记录"));
    }

    void exports_csv_and_xlsx_with_safe_cells()
    {
        makeChanges();
        auto* w = frame->Open<frmHistory>("frmHistory");
        w->ShowBuilding(kBuilding);
        QTemporaryDir tmp;

        const QString csv = exportTo(w, tmp.filePath(QStringLiteral("history.csv")));
        QCOMPARE(messages->Texts().size(), 1);
        QVERIFY2(messages->Texts().first().startsWith(QStringLiteral("已导出 6 条变更记录")),
                 qPrintable(messages->Texts().first()));
        messages->Clear();
        const pricelist::CsvTable table =
            pricelist::ParseCsv(csv.startsWith(QChar(0xFEFF)) ? csv.mid(1) : csv);
        QVERIFY(table.ok);
        QCOMPARE(table.records.size(), size_t(7));
        QCOMPARE(table.records[0].fields, deals::HistoryTitles(true));
        // The formula-like value has its apostrophe in CSV; nothing else starts like a formula.
        QCOMPARE(table.records[2].fields[6], QStringLiteral("'=1+2"));
        QCOMPARE(table.records[2].fields[2], QStringLiteral("101"));
        for (const pricelist::CsvRecord& r : table.records)
            for (const QString& f : r.fields)
                if (!f.isEmpty()) QVERIFY2(!QStringLiteral("=+-@\t\r").contains(f.at(0)), qPrintable(f));

        const QString book = tmp.filePath(QStringLiteral("history.xlsx"));
        exportTo(w, book);
        QCOMPARE(messages->Texts().size(), 1);
        const QString xml = Unzip(book, QStringLiteral("xl/worksheets/sheet1.xml"));
        QVERIFY2(xml.contains(QStringLiteral("<sheetData>")), qPrintable(xml.left(200)));
        QVERIFY(!xml.contains(QStringLiteral("<f>")));
        QVERIFY(!xml.contains(QStringLiteral("<f ")));
        QVERIFY(xml.contains(QStringLiteral("<t>=1+2</t>")));
        const pricelist::SheetTable back = pricelist::ReadSheet(book);
        QVERIFY2(back.ok, qPrintable(back.error));
        QCOMPARE(back.records.size(), size_t(7));
        QCOMPARE(back.records[0].fields, deals::HistoryTitles(true));
        QCOMPARE(back.records[2].fields[6], QStringLiteral("=1+2"));
        QCOMPARE(back.records[3].fields[5], QStringLiteral("在售"));

        // A name the export does not write is refused, and no file appears.
        messages->Clear();
        exportTo(w, tmp.filePath(QStringLiteral("history.ods")));
        QCOMPARE(messages->Texts(),
                 QStringList{QStringLiteral("导出失败：变更记录只能保存为 .csv 或 .xlsx 文件。")});
        QVERIFY(!QFile::exists(tmp.filePath(QStringLiteral("history.ods"))));
    }
};

QTEST_MAIN(tst_history_window)
#include "tst_history_window.moc"
