// The price-list windows driven by objectName: the import window reached from the 销售 menu lists
// every line before anything is written, writes only on 导入, reloads an open catalogue, and a
// cancel during a long import leaves the catalogue and the Images folder as they were; the
// export is reached from the menu and from the catalogue list's context menu.
#include <QAction>
#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QProgressBar>
#include <QTest>

#include "PgCluster.h"
#include "PriceListFixture.h"
#include "TestSupport.h"
#include "catalogue/CatalogueFixture.h"
#include "catalogue/frmHouseList.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"
#include "pricelist/frmPriceListImport.h"
#include "windows/RegisterWindows.h"
#include "windows/frmMain.h"

using namespace pricelistfixture;
using testsupport::Click;
using testsupport::Find;

namespace {

QStringList column(ui::ListView* list, int c)
{
    QStringList texts;
    for (int r = 0; r < list->Model()->Count(); ++r) texts << list->Model()->Text(r, c);
    return texts;
}

frmPriceListImport* openImport(frmMain& main)
{
    main.mnuPriceListImport->trigger();
    return qobject_cast<frmPriceListImport*>(Forms::Find(QStringLiteral("frmPriceListImport")));
}

}  // namespace

class tst_pricelist_window : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { windows::RegisterWindows(); }
    void previewFirstThenImportReloadsTheCatalogue();
    void cancelDuringTheWriteRollsEverythingBack();
    void exportFromTheMenuAndFromTheCatalogueList();
};

void tst_pricelist_window::previewFirstThenImportReloadsTheCatalogue()
{
    testsupport::ProgramFolder f;
    cataloguetest::AddTypes(f);
    cataloguetest::AddHouse(f, 1, QStringLiteral("金桂园"), QStringLiteral("101"), 1, 2);
    testsupport::MsgBoxRecorder boxes;
    testsupport::FileDialogStub dialog;
    const QString sheet = f.File(QStringLiteral("list.csv"));
    QVERIFY(WriteBytes(sheet, Gb18030(QStringLiteral("楼宇名称,类型,楼层,房间号,说明,面积\r\n"
                                                     "金桂园,公寓,1,101,改过的说明,88平方米\r\n"
                                                     "金桂园,别墅,2,201,,120平方米\r\n"
                                                     "金桂园,洋房,3,301,,\r\n"
                                                     "金桂园,公寓,120,401,,\r\n"))));
    dialog.paths << sheet;

    frmMain main;
    QVERIFY(main.Load());
    main.mnuHouseList->trigger();
    auto* list = qobject_cast<frmHouseList*>(Forms::Find(QStringLiteral("frmHouseList")));
    QVERIFY(list);
    QCOMPARE(list->lsvHouse->Model()->Count(), 1);

    frmPriceListImport* w = openImport(main);
    QVERIFY(w);
    QCOMPARE(w->windowTitle(), QStringLiteral("导入价目表"));
    QVERIFY(Click(w, QStringLiteral("cmdBrowse")));
    QCOMPARE(dialog.filters.size(), 1);
    QVERIFY(dialog.filters.first().contains(QStringLiteral("*.csv")));
    QCOMPARE(Find<QLineEdit>(w, QStringLiteral("txtFile"))->text(), sheet);
    auto* lines = Find<ui::ListView>(w, QStringLiteral("lsvLines"));
    QCOMPARE(column(lines, 0), (QStringList{"2", "3", "4", "5"}));
    QCOMPARE(column(lines, 1), (QStringList{"更新", "新增", "错误", "错误"}));
    QCOMPARE(column(lines, 2).first(), QStringLiteral("000001"));
    QCOMPARE(column(lines, 7).at(2), QStringLiteral("类型\"洋房\"不存在。"));
    QCOMPARE(column(lines, 7).at(3),
             QStringLiteral("\"楼层\"只能输入 1 到 99 之间的整数（现在是\"120\"）。"));
    auto* summary = Find<QLabel>(w, QStringLiteral("lblSummary"));
    QCOMPARE(summary->text(), QStringLiteral("共 4 行：新增 1，更新 1，错误 2。编码 GB18030。"));
    QCOMPARE(f.Value("Select Count(*) From t_House").toInt(), 1);

    // Ticking "create missing types" reads the sheet again: the third line becomes a new house.
    Find<QCheckBox>(w, QStringLiteral("chkCreateTypes"))->setChecked(true);
    QCOMPARE(column(lines, 1), (QStringList{"更新", "新增", "新增", "错误"}));
    QVERIFY(summary->text().endsWith(QStringLiteral("将创建类型：洋房。")));
    QCOMPARE(f.Value("Select Count(*) From t_HouseType").toInt(), 2);

    // Refusing the question writes nothing.
    boxes.answers << ui::Answer::No;
    QVERIFY(Click(w, QStringLiteral("cmdImport")));
    QCOMPARE(boxes.Texts(),
             QStringList{QStringLiteral("有 1 行有错误，这些行不会导入。是否导入其余 3 行？")});
    QCOMPARE(f.Value("Select Count(*) From t_House").toInt(), 1);
    QCOMPARE(f.Value("Select Count(*) From t_HouseType").toInt(), 2);

    boxes.Clear();
    QVERIFY(Click(w, QStringLiteral("cmdImport")));
    QCOMPARE(boxes.Texts(),
             (QStringList{QStringLiteral("有 1 行有错误，这些行不会导入。是否导入其余 3 行？"),
                          QStringLiteral("导入完成：新增 2 套，更新 1 套，新建类型 1 个，图片 0 张。")}));
    QCOMPARE(f.Value("Select Count(*) From t_House").toInt(), 3);
    QCOMPARE(f.Value("Select Intro From t_House Where HouseID = 1").toString(), QStringLiteral("改过的说明"));
    QCOMPARE(f.Value("Select List From t_HouseType Where HouseType = '洋房'").toInt(), 3);
    QCOMPARE(f.Value("Select Content From t_Content Where HouseID = 2 And Caption = '面积' And List = 1")
                 .toString(),
             QStringLiteral("120平方米"));
    // The open catalogue shows what was stored.
    QCOMPARE(list->lsvHouse->Model()->Count(), 3);
    QVERIFY(!Find<QProgressBar>(w, QStringLiteral("prgImport"))->isVisible());

    // 取消 closes the window when nothing is being written.
    QVERIFY(Click(w, QStringLiteral("cmdCancel")));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!Forms::Find(QStringLiteral("frmPriceListImport")));
    // Nothing chosen: 导入 says so and writes nothing.
    w = openImport(main);
    boxes.Clear();
    QVERIFY(Click(w, QStringLiteral("cmdImport")));
    QCOMPARE(boxes.Texts(), QStringList{QStringLiteral("请先选择价目表文件。")});
    main.close();
}

void tst_pricelist_window::cancelDuringTheWriteRollsEverythingBack()
{
    testsupport::ProgramFolder f;
    cataloguetest::AddTypes(f);
    testsupport::MsgBoxRecorder boxes;
    testsupport::FileDialogStub dialog;
    testsupport::MakePicture(f.File(QStringLiteral("plan.png")), 8, 8);
    QString text = QStringLiteral("楼宇名称,类型,楼层,房间号,朝向,图片\n");
    constexpr int kLines = 500;
    for (int i = 1; i <= kLines; ++i)
        text += QStringLiteral("新城%1号楼,公寓,%2,%3,南,plan.png\n").arg(i % 7).arg(i % 99 + 1).arg(i);
    const QString sheet = f.File(QStringLiteral("long.csv"));
    QVERIFY(WriteBytes(sheet, text.toUtf8()));
    dialog.paths << sheet;
    const QStringList before = Dump(f.Path());
    const QStringList imagesBefore =
        QDir(f.File(QStringLiteral("Images"))).entryList(QDir::Files | QDir::Hidden);

    frmMain main;
    QVERIFY(main.Load());
    frmPriceListImport* w = openImport(main);
    QVERIFY(w);
    QVERIFY(Click(w, QStringLiteral("cmdBrowse")));
    QCOMPARE(w->lsvLines->Model()->Count(), kLines);

    // The user presses 取消 while the bar stands at 200 of 500.
    auto* bar = Find<QProgressBar>(w, QStringLiteral("prgImport"));
    int highest = 0;
    bool visibleWhileWriting = false;
    auto watch = connect(bar, &QProgressBar::valueChanged, w, [&](int value) {
        highest = qMax(highest, value);
        visibleWhileWriting |= bar->isVisible();
        if (value == 200) QVERIFY(Click(w, QStringLiteral("cmdCancel")));
    });
    QVERIFY(Click(w, QStringLiteral("cmdImport")));
    QCOMPARE(highest, 200);
    QVERIFY(visibleWhileWriting);
    QCOMPARE(boxes.Texts(), QStringList{QStringLiteral("导入已取消，没有写入任何内容。")});
    QCOMPARE(Dump(f.Path()), before);
    QCOMPARE(QDir(f.File(QStringLiteral("Images"))).entryList(QDir::Files | QDir::Hidden), imagesBefore);
    // On a shared catalogue the pictures sent to the server went back with the rows.
    if (testsupport::ServerMode()) QCOMPARE(f.Value("Select Count(*) From t_File").toInt(), 0);
    QVERIFY(Forms::Find(QStringLiteral("frmPriceListImport")));  // the cancel did not close it

    // Closing the window while the lines are written cancels too; the window stays until the
    // write is undone.
    disconnect(watch);
    highest = 0;
    boxes.Clear();
    watch = connect(bar, &QProgressBar::valueChanged, w, [&](int value) {
        highest = qMax(highest, value);
        if (value == 100) w->Frame()->close();
    });
    QVERIFY(Click(w, QStringLiteral("cmdImport")));
    QCOMPARE(highest, 100);
    QCOMPARE(boxes.Texts(), QStringList{QStringLiteral("导入已取消，没有写入任何内容。")});
    QCOMPARE(Dump(f.Path()), before);
    QVERIFY(Forms::Find(QStringLiteral("frmPriceListImport")));

    // Without a cancel the whole sheet goes in, its pictures under the wizard's names.
    disconnect(watch);
    highest = 0;
    connect(bar, &QProgressBar::valueChanged, w, [&](int value) { highest = qMax(highest, value); });
    boxes.Clear();
    QVERIFY(Click(w, QStringLiteral("cmdImport")));
    QCOMPARE(highest, kLines);
    QCOMPARE(boxes.Texts(),
             QStringList{QStringLiteral("导入完成：新增 500 套，更新 0 套，新建类型 0 个，图片 500 张。")});
    QCOMPARE(f.Value("Select Count(*) From t_House").toInt(), kLines);
    QCOMPARE(f.Value("Select Count(*) From t_Content Where Caption = '朝向' And List = 1").toInt(), kLines);
    QVERIFY(QFileInfo::exists(f.File(QStringLiteral("Images/000500_0001.png"))));
    QCOMPARE(QDir(f.File(QStringLiteral("Images"))).entryList(QDir::Files | QDir::Hidden).size(), kLines);
    if (testsupport::ServerMode()) {
        QCOMPARE(f.Value("Select Count(*) From t_File Where Folder = 'Images'").toInt(), kLines);
        QCOMPARE(f.Value("Select Count(*) From t_File Where Name = '000500_0001.png'").toInt(), 1);
    }
    main.close();
}

void tst_pricelist_window::exportFromTheMenuAndFromTheCatalogueList()
{
    testsupport::ProgramFolder f;
    cataloguetest::AddTypes(f);
    cataloguetest::AddHouse(f, 1, QStringLiteral("金桂园"), QStringLiteral("101"), 1, 2,
                            QStringLiteral("说\"明\""));
    cataloguetest::AddHouse(f, 2, QStringLiteral("银杏园"), QStringLiteral("202"), 2, 1);
    cataloguetest::AddHouse(f, 3, QStringLiteral("金桂园"), QStringLiteral("303"), 3, 1);
    cataloguetest::AddContent(f, 3, QStringLiteral("朝向"), QStringLiteral("南"), 1);
    cataloguetest::AddContent(f, 3, QStringLiteral("朝向"), QStringLiteral("东"), 2);
    testsupport::MsgBoxRecorder boxes;
    testsupport::FileDialogStub dialog;

    frmMain main;
    QVERIFY(main.Load());
    const QString all = f.File(QStringLiteral("all.xlsx"));
    dialog.paths << all;
    main.mnuPriceListExport->trigger();
    QCOMPARE(boxes.Texts(), QStringList{QStringLiteral("已导出 3 套房屋到 all.xlsx。")});
    QVERIFY(dialog.filters.last().contains(QStringLiteral("*.xlsx")));
    QVERIFY(ReadBytes(all).startsWith("PK"));

    main.mnuHouseList->trigger();
    auto* list = qobject_cast<frmHouseList*>(Forms::Find(QStringLiteral("frmHouseList")));
    QVERIFY(list);
    QVERIFY(testsupport::Type(list, QStringLiteral("cmbHouseName"), QStringLiteral("金桂")));
    QVERIFY(Click(list, QStringLiteral("cmdQuery")));
    QCOMPARE(list->lsvHouse->Model()->Count(), 2);
    auto* entry = Find<QAction>(list, QStringLiteral("mnuExportList"));
    QVERIFY(entry);
    QCOMPARE(entry->text(), QStringLiteral("导出查询结果…"));
    QVERIFY(list->lsvHouse->actions().contains(entry));
    QCOMPARE(list->lsvHouse->contextMenuPolicy(), Qt::ActionsContextMenu);

    // A name without an extension becomes a CSV file.
    dialog.paths << f.File(QStringLiteral("query"));
    boxes.Clear();
    entry->trigger();
    QCOMPARE(boxes.Texts(), QStringList{QStringLiteral("已导出 2 套房屋到 query.csv。")});
    const QByteArray written = ReadBytes(f.File(QStringLiteral("query.csv")));
    QVERIFY(written.startsWith("\xEF\xBB\xBF"));
    QCOMPARE(QString::fromUtf8(written.mid(3)),
             QStringLiteral("序号,楼宇名称,类型,楼层,房间号,说明,朝向,图片\r\n"
                            "000001,金桂园,公寓,1,101,\"说\"\"明\"\"\",,\r\n"
                            "000003,金桂园,别墅,3,303,,南；东,\r\n"));

    // A cancelled dialog writes nothing; an unwritable place says so.
    boxes.Clear();
    entry->trigger();
    QCOMPARE(boxes.Texts(), QStringList());
    dialog.paths << f.File(QStringLiteral("no/such/folder/x.csv"));
    entry->trigger();
    QCOMPARE(boxes.Texts().size(), 1);
    QVERIFY(boxes.Texts().first().startsWith(QStringLiteral("导出失败：无法写入文件")));
    main.close();
}

QTEST_MAIN(tst_pricelist_window)
#include "tst_pricelist_window.moc"
