#include <QAction>
#include <QApplication>
#include <QGroupBox>
#include <QPushButton>

#include "CatalogueFixture.h"
#include "core/ui/Twips.h"
#include "core/ui/WindowCalls.h"
#include "windows/frmMain.h"

using namespace cataloguetest;
using testsupport::Click;
using testsupport::MsgBoxRecorder;
using testsupport::ProgramFolder;
using testsupport::Type;

// Stand-ins for the presentation and the wizard: they record how the catalogue calls them.
class FakeHouseShow : public ui::Form {
    Q_OBJECT
public:
    static inline int loads = 0;
    static inline qint32 houseAtLoad = -1;
    void Load() override
    {
        ++loads;
        houseAtLoad = mdlHouse::CurrentHouseID;
    }
};

class FakeHouseInput : public QWidget, public ui::HouseInputCalls {
    Q_OBJECT
public:
    static inline QList<int> modes;
    static inline QList<qint32> houses;
    void StartInput(ui::InputMode mode) override
    {
        modes << static_cast<int>(mode);
        houses << mdlHouse::CurrentHouseID;
    }
};

namespace {

// Houses 3, 12 and 7 (keys deliberately not in name order), one of type 9 that does not exist.
void AddSample(const ProgramFolder& folder)
{
    AddTypes(folder);
    AddHouse(folder, 12, "A座", "0101", 1, 2, "东边");
    AddHouse(folder, 3, "C座", "0302", 3, 1, "西边");
    AddHouse(folder, 7, "B座", "1201", 12, 2, "南边");
    AddHouse(folder, 20, "D座", "0101", 1, 9, "无类型");
    AddContent(folder, 12, "朝向", "南北", 1);
    AddContent(folder, 12, "朝向", "东西", 2);
    AddContent(folder, 7, "朝向", "南", 1);
    AddContent(folder, 7, "面积", "120", 2);
}

}  // namespace

class tst_house_list : public QObject {
    Q_OBJECT
private slots:
    void init()
    {
        mdlHouse::CurrentHouseID = 0;
        FakeHouseShow::loads = 0;
        FakeHouseShow::houseAtLoad = -1;
        FakeHouseInput::modes.clear();
        FakeHouseInput::houses.clear();
    }

    void opens_from_the_menu_as_an_mdi_child()
    {
        ProgramFolder folder;
        Frame frame;  // registers the catalogue
        frmMain main;
        main.show();
        main.mnuHouseList->trigger();
        auto* list = qobject_cast<frmHouseList*>(Forms::Find("frmHouseList"));
        QVERIFY(list);
        QCOMPARE(main.mnuHouseList->text(), QString("列表"));
        auto* sub = qobject_cast<QMdiSubWindow*>(list->parentWidget());
        QVERIFY(sub);
        QCOMPARE(sub->mdiArea(), main.MdiArea());
        QCOMPARE(sub->windowTitle(), QString("列表"));
        // Opening it a second time only brings it forward: the list is not rebuilt.
        folder.Exec("Insert Into t_HouseType (TypeID, List, HouseType) Values (1, 1, '公寓')");
        main.mnuHouseList->trigger();
        QCOMPARE(Forms::Find("frmHouseList"), list);
        QCOMPARE(list->cmbHouseType->count(), 0);
        for (QMdiSubWindow* s : main.MdiArea()->subWindowList()) s->close();
    }

    void window_controls_and_list_settings()
    {
        ProgramFolder folder;
        MsgBoxRecorder boxes;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(w);
        QCOMPARE(w->Frame()->size(), QSize(ui::Px(10100), ui::Px(7000)));
        QCOMPARE(w->Frame1->title(), QString(" 查询内容 "));
        const QList<QPair<QString, QString>> captions = {{"lblHouseName", "名称"},
                                                         {"lblHouseType", "类型"},
                                                         {"lblHouseFloor", "楼层"},
                                                         {"lblHouseNo", "房号"},
                                                         {"lblOthers", "其它"}};
        for (const auto& c : captions) QCOMPARE(testsupport::Find<QLabel>(w, c.first)->text(), c.second);
        const QList<QPair<QString, QString>> buttons = {
            {"cmdQuery", "查询"},  {"cmdShow", "查看"},    {"cmdEdit", "编辑"}, {"cmdDelete", "删除"},
            {"cmdAddNew", "新增"}, {"cmdRefresh", "刷新"}, {"cmdAll", "全部"},  {"cmdExit", "退出"}};
        for (const auto& b : buttons) {
            auto* button = testsupport::Find<QPushButton>(w, b.first);
            QVERIFY(button);
            QCOMPARE(button->text(), b.second);
            QVERIFY(button->isEnabled());
        }
        for (const char* name :
             {"cmbHouseName", "cmbHouseType", "cmbHouseFloor", "cmbHouseNo", "cmbCaption", "cmbContent"}) {
            auto* box = testsupport::Find<QComboBox>(w->Frame1, name);
            QVERIFY(box);
            QVERIFY(box->isEditable());
        }
        QCOMPARE(w->lsvHouse->selectionBehavior(), QAbstractItemView::SelectRows);
        QVERIFY(w->lsvHouse->showGrid());
        QCOMPARE(w->lsvHouse->editTriggers(), QAbstractItemView::NoEditTriggers);
        const QPalette p = w->lsvHouse->palette();
        QCOMPARE(p.color(QPalette::Inactive, QPalette::Highlight),
                 p.color(QPalette::Active, QPalette::Highlight));
        QCOMPARE(Titles(w), QStringList({"序号", "楼宇名称", "房间类型", "房间号", "说明"}));
        const QList<int> widths = {1000, 1500, 1200, 1000, 3000};
        for (int c = 0; c < widths.size(); ++c) QCOMPARE(w->lsvHouse->columnWidth(c), ui::Px(widths[c]));
        QVERIFY(boxes.messages.isEmpty());
    }

    void empty_catalogue()
    {
        ProgramFolder folder;
        MsgBoxRecorder boxes;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QCOMPARE(w->lsvHouse->Model()->Count(), 0);
        QCOMPARE(w->lblStatus->text(), QString("全部记录共 0 项。"));
        QStringList floors;
        for (int i = 1; i <= 40; ++i) floors << QString::number(i);
        QCOMPARE(Entries(w->cmbHouseFloor), floors);
        QCOMPARE(w->cmbHouseFloor->currentText(), QString());
        QVERIFY(boxes.messages.isEmpty());
    }

    void lists_every_house_by_number_with_its_facts()
    {
        ProgramFolder folder;
        AddSample(folder);
        AddHouse(folder, 1234567, "E座", "0909", 9, 1, "大号");
        Frame frame;
        frmHouseList* w = frame.OpenList();
        // Key order (text order of the padded number), not the statement's building-name order;
        // a seven-digit key shows its last six digits. House 20 has no type and is not listed,
        // but the status line counts every row of t_House.
        QCOMPARE(Column(w, 0), QStringList({"000003", "000007", "000012", "234567"}));
        QCOMPARE(Column(w, 1), QStringList({"C座", "B座", "A座", "E座"}));
        QCOMPARE(Column(w, 2), QStringList({"别墅", "公寓", "公寓", "别墅"}));
        QCOMPARE(Column(w, 3), QStringList({"0302", "1201", "0101", "0909"}));
        QCOMPARE(Column(w, 4), QStringList({"西边", "南边", "东边", "大号"}));
        QCOMPARE(w->lblStatus->text(), QString("全部记录共 5 项。"));
        QCOMPARE(w->lsvHouse->SortKey(), 0);
        // The selection starts on the top row, not on the first row the statement gave (A座).
        QCOMPARE(w->lsvHouse->SelectedText(), QString("000003"));
    }

    void query_boxes_are_filled_from_the_catalogue_and_left_blank()
    {
        ProgramFolder folder;
        AddSample(folder);
        AddHouse(folder, 30, "a座", "0101", 2, 1);  // same building name but for case: listed once
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QCOMPARE(Entries(w->cmbHouseName).size(), 4);
        QCOMPARE(Entries(w->cmbHouseName).mid(1), QStringList({"B座", "C座", "D座"}));
        QCOMPARE(Entries(w->cmbHouseType), QStringList({"公寓", "别墅"}));  // by position
        QCOMPARE(Entries(w->cmbHouseNo), QStringList({"0101", "0302", "1201"}));
        QCOMPARE(Entries(w->cmbCaption), QStringList({"朝向", "面积"}));
        QCOMPARE(Entries(w->cmbContent), QStringList({"120", "东西", "南", "南北"}));
        for (QComboBox* box : {w->cmbHouseName, w->cmbHouseType, w->cmbHouseFloor, w->cmbHouseNo,
                               w->cmbCaption, w->cmbContent})
            QCOMPARE(box->currentText(), QString());
    }

    void floor_out_of_range_or_not_a_number_runs_no_query_data()
    {
        QTest::addColumn<QString>("floor");
        QTest::addColumn<QString>("message");
        QTest::newRow("0") << "0"
                           << "\"楼层\"只能输入 1 到 99 之间的数值。";
        QTest::newRow("100") << "100"
                             << "\"楼层\"只能输入 1 到 99 之间的数值。";
        QTest::newRow("abc") << "abc"
                             << "\"楼层\"只能输入数字。";
    }
    void floor_out_of_range_or_not_a_number_runs_no_query()
    {
        QFETCH(QString, floor);
        QFETCH(QString, message);
        ProgramFolder folder;
        AddSample(folder);
        MsgBoxRecorder boxes;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(Type(w, "cmbHouseName", "A"));
        QVERIFY(Type(w, "cmbHouseFloor", floor));
        QVERIFY(Click(w, "cmdQuery"));
        QCOMPARE(boxes.Texts(), QStringList({message}));
        QCOMPARE(boxes.messages.first().second, ui::Buttons::OkOnly);
        QVERIFY(w->QuerySql().isEmpty());
        QCOMPARE(w->lblStatus->text(), QString("全部记录共 4 项。"));
        QCOMPARE(w->lsvHouse->Model()->Count(), 3);
        // Nothing was reloaded: the typed criteria are still there, and the focus is on the floor.
        QCOMPARE(w->cmbHouseName->currentText(), QString("A"));
        QCOMPARE(w->cmbHouseFloor->currentText(), floor);
        QVERIFY(w->cmbHouseFloor->hasFocus() || w->cmbHouseFloor->isAncestorOf(QApplication::focusWidget()));
    }

    void floor_above_the_offered_forty_is_accepted()
    {
        ProgramFolder folder;
        AddTypes(folder);
        AddHouse(folder, 5, "高楼", "4101", 41, 1);
        AddHouse(folder, 6, "高楼", "9901", 99, 1);
        AddHouse(folder, 8, "高楼", "1201", 12, 1);
        MsgBoxRecorder boxes;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(Type(w, "cmbHouseFloor", "41"));
        QVERIFY(Click(w, "cmdQuery"));
        QVERIFY(boxes.messages.isEmpty());
        QVERIFY(w->QuerySql().contains(" And a.HouseFloor=41 "));
        QCOMPARE(Column(w, 0), QStringList({"000005"}));
        QCOMPARE(w->lblStatus->text(), QString("共查询到 1 项。"));
        QVERIFY(Type(w, "cmbHouseFloor", "99"));
        QVERIFY(Click(w, "cmdQuery"));
        QVERIFY(boxes.messages.isEmpty());
        QCOMPARE(Column(w, 0), QStringList({"000006"}));
    }

    void query_by_name_type_floor_and_room()
    {
        ProgramFolder folder;
        AddSample(folder);
        MsgBoxRecorder boxes;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(Type(w, "cmbHouseName", "座"));
        QVERIFY(Type(w, "cmbHouseType", "公寓"));
        QVERIFY(Click(w, "cmdQuery"));
        QCOMPARE(Column(w, 0), QStringList({"000007", "000012"}));
        QCOMPARE(w->lblStatus->text(), QString("共查询到 2 项。"));
        QCOMPARE(Titles(w), QStringList({"序号", "楼宇名称", "房间类型", "房间号", "说明"}));
        // After a query the boxes are blank again; the criteria live in the stored query.
        for (QComboBox* box : {w->cmbHouseName, w->cmbHouseType, w->cmbHouseFloor, w->cmbHouseNo,
                               w->cmbCaption, w->cmbContent})
            QCOMPARE(box->currentText(), QString());
        QVERIFY(Type(w, "cmbHouseNo", "0101"));
        QVERIFY(Click(w, "cmdQuery"));
        QCOMPARE(Column(w, 0), QStringList({"000012"}));  // house 20 has no type
        QVERIFY(Type(w, "cmbHouseFloor", "3"));
        QVERIFY(Click(w, "cmdQuery"));
        QCOMPARE(Column(w, 0), QStringList({"000003"}));
        QVERIFY(boxes.messages.isEmpty());
    }

    void query_on_caption_adds_its_column_and_lists_a_house_per_matching_row()
    {
        ProgramFolder folder;
        AddSample(folder);
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(Type(w, "cmbCaption", "朝向"));
        QVERIFY(Click(w, "cmdQuery"));
        QCOMPARE(Titles(w), QStringList({"序号", "楼宇名称", "房间类型", "房间号", "朝向", "说明"}));
        QCOMPARE(w->lsvHouse->columnWidth(4), ui::Px(1500));
        QCOMPARE(w->lsvHouse->columnWidth(5), ui::Px(3000));
        QCOMPARE(Column(w, 0), QStringList({"000007", "000012", "000012"}));
        QStringList values = Column(w, 4).mid(1);
        values.sort();
        QCOMPARE(Column(w, 4).first(), QString("南"));
        QCOMPARE(values, QStringList({"东西", "南北"}));
        QCOMPARE(Column(w, 5), QStringList({"南边", "东边", "东边"}));
        QCOMPARE(w->lblStatus->text(), QString("共查询到 3 项。"));
        QCOMPARE(w->QueryCaption(), QString("朝向"));

        // With a value: a substring of the value.
        QVERIFY(Type(w, "cmbCaption", "朝向"));
        QVERIFY(Type(w, "cmbContent", "北"));
        QVERIFY(Click(w, "cmdQuery"));
        QCOMPARE(Column(w, 0), QStringList({"000012"}));
        QCOMPARE(Column(w, 4), QStringList({"南北"}));
    }

    void value_without_caption_is_ignored()
    {
        ProgramFolder folder;
        AddSample(folder);
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(Type(w, "cmbContent", "南北"));
        QVERIFY(Click(w, "cmdQuery"));
        QCOMPARE(Column(w, 0), QStringList({"000003", "000007", "000012"}));
        QCOMPARE(Titles(w).size(), 5);
        QCOMPARE(w->lblStatus->text(), QString("共查询到 3 项。"));
    }

    void query_without_match_keeps_its_columns()
    {
        ProgramFolder folder;
        AddSample(folder);
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(Type(w, "cmbCaption", "面积"));
        QVERIFY(Type(w, "cmbContent", "999"));
        QVERIFY(Click(w, "cmdQuery"));
        QCOMPARE(w->lsvHouse->Model()->Count(), 0);
        QCOMPARE(w->lblStatus->text(), QString("共查询到 0 项。"));
        QCOMPARE(Titles(w), QStringList({"序号", "楼宇名称", "房间类型", "房间号", "面积", "说明"}));
    }

    void refresh_keeps_the_query_and_all_drops_it()
    {
        ProgramFolder folder;
        AddSample(folder);
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(Type(w, "cmbCaption", "朝向"));
        QVERIFY(Click(w, "cmdQuery"));
        AddContent(folder, 3, "朝向", "西", 1);
        QVERIFY(Click(w, "cmdRefresh"));
        QCOMPARE(Column(w, 0), QStringList({"000003", "000007", "000012", "000012"}));
        QCOMPARE(Titles(w).at(4), QString("朝向"));
        QCOMPARE(w->lblStatus->text(), QString("共查询到 4 项。"));
        QVERIFY(Click(w, "cmdAll"));
        QCOMPARE(Column(w, 0), QStringList({"000003", "000007", "000012"}));
        QCOMPARE(Titles(w).size(), 5);
        QCOMPARE(w->lblStatus->text(), QString("全部记录共 4 项。"));
        QVERIFY(w->QuerySql().isEmpty());
    }

    void start_list_reloads_from_the_database()
    {
        ProgramFolder folder;
        AddSample(folder);
        Frame frame;
        frmHouseList* w = frame.OpenList();
        AddHouse(folder, 40, "F座", "0505", 5, 1);
        w->StartList();
        QCOMPARE(Column(w, 0), QStringList({"000003", "000007", "000012", "000040"}));
        QVERIFY(Entries(w->cmbHouseName).contains("F座"));
    }

    void header_clicks_sort_as_text_and_number_restores_key_order()
    {
        ProgramFolder folder;
        AddSample(folder);
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QHeaderView* header = w->lsvHouse->horizontalHeader();
        auto clickHeader = [&](int section) {
            const int x = header->sectionViewportPosition(section) + header->sectionSize(section) / 2;
            QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, QPoint(x, header->height() / 2));
        };
        clickHeader(3);  // 房间号
        QCOMPARE(Column(w, 3), QStringList({"0101", "0302", "1201"}));
        clickHeader(1);  // 楼宇名称
        QCOMPARE(Column(w, 1), QStringList({"A座", "B座", "C座"}));
        clickHeader(1);  // again: still ascending
        QCOMPARE(Column(w, 1), QStringList({"A座", "B座", "C座"}));
        clickHeader(0);
        QCOMPARE(Column(w, 0), QStringList({"000003", "000007", "000012"}));
    }

    void show_edit_and_add_call_the_other_windows_with_the_selected_house()
    {
        ProgramFolder folder;
        AddSample(folder);
        MsgBoxRecorder boxes;
        Frame frame;
        Forms::Register("frmHouseShow", [] { return new FakeHouseShow; });
        Forms::Register("frmHouseInput", [] { return new FakeHouseInput; });
        frmHouseList* w = frame.OpenList();

        QVERIFY(ClickRow(w, "000007"));
        QVERIFY(Click(w, "cmdShow"));
        QCOMPARE(mdlHouse::CurrentHouseID, 7);
        QCOMPARE(FakeHouseShow::loads, 1);
        QCOMPARE(FakeHouseShow::houseAtLoad, 7);
        QWidget* firstShow = Forms::Find("frmHouseShow");
        QVERIFY(firstShow);

        // A double click shows afresh: the open presentation is unloaded and loaded again.
        const QModelIndex row12 = w->lsvHouse->Model()->index(2, 1);
        QCOMPARE(w->lsvHouse->Model()->Text(2), QString("000012"));
        const QPoint at = w->lsvHouse->visualRect(row12).center();
        QTest::mouseClick(w->lsvHouse->viewport(), Qt::LeftButton, {}, at);
        QTest::mouseDClick(w->lsvHouse->viewport(), Qt::LeftButton, {}, at);
        QCOMPARE(FakeHouseShow::loads, 2);
        QCOMPARE(FakeHouseShow::houseAtLoad, 12);
        QVERIFY(Forms::Find("frmHouseShow") != firstShow);

        QVERIFY(ClickRow(w, "000003"));
        QVERIFY(Click(w, "cmdEdit"));
        QCOMPARE(FakeHouseInput::modes, QList<int>({1}));
        QCOMPARE(FakeHouseInput::houses, QList<qint32>({3}));
        QVERIFY(Forms::Find("frmHouseInput"));

        QVERIFY(Click(w, "cmdAddNew"));
        QCOMPARE(FakeHouseInput::modes, QList<int>({1, 0}));
        QVERIFY(boxes.messages.isEmpty());
    }

    void edit_show_and_delete_on_an_empty_list_do_nothing()
    {
        ProgramFolder folder;
        AddTypes(folder);
        MsgBoxRecorder boxes;
        Frame frame;
        Forms::Register("frmHouseShow", [] { return new FakeHouseShow; });
        Forms::Register("frmHouseInput", [] { return new FakeHouseInput; });
        frmHouseList* w = frame.OpenList();
        mdlHouse::CurrentHouseID = 5;
        QVERIFY(Click(w, "cmdShow"));
        QCOMPARE(mdlHouse::CurrentHouseID, 0);
        QVERIFY(Click(w, "cmdEdit"));
        QVERIFY(Click(w, "cmdDelete"));
        QVERIFY(boxes.messages.isEmpty());
        QCOMPARE(FakeHouseShow::loads, 0);
        QVERIFY(FakeHouseInput::modes.isEmpty());
        QVERIFY(!Forms::Find("frmHouseShow"));
        QVERIFY(!Forms::Find("frmHouseInput"));
        // Adding needs no selection.
        QVERIFY(Click(w, "cmdAddNew"));
        QCOMPARE(FakeHouseInput::modes, QList<int>({0}));
    }

    void resizing_keeps_the_minimum_and_moves_list_and_buttons()
    {
        ProgramFolder folder;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QWidget* outer = w->Frame();
        outer->resize(ui::Px(12000), ui::Px(8000));
        QCOMPARE(w->lsvHouse->size(), QSize(ui::Px(12000 - 580), ui::Px(8000 - 3000)));
        for (QPushButton* b :
             {w->cmdShow, w->cmdRefresh, w->cmdAll, w->cmdEdit, w->cmdDelete, w->cmdAddNew, w->cmdExit})
            QCOMPARE(b->y(), ui::Px(8000 - 1100));
        const int exitLeft = w->cmdExit->x();
        const QPoint frameAt = w->Frame1->pos();
        const QPoint statusAt = w->lblStatus->pos();
        outer->resize(200, 120);
        QCOMPARE(outer->size(), QSize(ui::Px(10100), ui::Px(3000)));
        QCOMPARE(w->lsvHouse->height(), ui::Px(0));
        QCOMPARE(w->cmdExit->x(), exitLeft);
        QCOMPARE(w->Frame1->pos(), frameAt);
        QCOMPARE(w->lblStatus->pos(), statusAt);
        outer->resize(ui::Px(11000), 100);
        QCOMPARE(outer->size(), QSize(ui::Px(11000), ui::Px(3000)));
    }

    void exit_unloads_the_window()
    {
        ProgramFolder folder;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QPointer<frmHouseList> alive(w);
        QVERIFY(Click(w, "cmdExit"));
        QVERIFY(!Forms::Find("frmHouseList"));
        QTRY_VERIFY(alive.isNull());
    }

    void missing_database_shows_the_connection_message_twice_and_stays_open()
    {
        ProgramFolder folder(false);
        MsgBoxRecorder boxes;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(w);
        QCOMPARE(boxes.Texts(),
                 QStringList({mdlHouse::DatabaseFailureMessage(), mdlHouse::DatabaseFailureMessage()}));
        QCOMPARE(w->lsvHouse->Model()->Count(), 0);
        QCOMPARE(Entries(w->cmbHouseFloor).size(), 40);
        QCOMPARE(w->cmbHouseName->count(), 0);
        boxes.Clear();
        QVERIFY(Click(w, "cmdQuery"));
        QCOMPARE(boxes.messages.size(), 2);
    }

    // A query whose statement fails still ends the "please wait" text: the list is empty and the
    // status line says so.
    void a_failed_query_still_says_what_it_found()
    {
        ProgramFolder folder;
        AddSample(folder);
        MsgBoxRecorder boxes;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(w);
        QVERIFY(folder.HideDatabase());
        QVERIFY(Type(w, "cmbHouseName", "A"));
        QVERIFY(Click(w, "cmdQuery"));
        QCOMPARE(boxes.messages.size(), 2);
        QCOMPARE(w->lsvHouse->Model()->Count(), 0);
        QCOMPARE(w->lblStatus->text(), QStringLiteral("共查询到 0 项。"));
        QVERIFY(folder.RestoreDatabase());
    }

    void an_apostrophe_breaks_the_query_quietly()
    {
        ProgramFolder folder;
        AddSample(folder);
        MsgBoxRecorder boxes;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(Type(w, "cmbHouseName", "O'Hara"));
        QVERIFY(Click(w, "cmdQuery"));
        QVERIFY(boxes.messages.isEmpty());
        QCOMPARE(w->lsvHouse->Model()->Count(), 0);
        QVERIFY(w->QuerySql().contains("O'Hara"));
        QVERIFY(Click(w, "cmdAll"));
        QCOMPARE(w->lsvHouse->Model()->Count(), 3);
    }
};

QTEST_MAIN(tst_house_list)
#include "tst_house_list.moc"
