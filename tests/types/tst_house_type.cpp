#include <QTest>

#include "TypeTestFixture.h"
#include "types/TypeSql.h"

using namespace typetest;
using testsupport::Click;
using testsupport::Find;

class tst_house_type : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<testsupport::MsgBoxRecorder> boxes;

    bool browseState(frmHouseType* w)
    {
        return w->cmdAddNew->isEnabled() && w->cmdEdit->isEnabled() && !w->cmdEditOK->isEnabled() &&
               !w->txtHouseType->isEnabled();
    }

private slots:
    void initTestCase() { RegisterWindows(); }
    void init()
    {
        folder = std::make_unique<testsupport::ProgramFolder>();
        boxes = std::make_unique<testsupport::MsgBoxRecorder>();
    }
    void cleanup()
    {
        CloseAll();
        boxes.reset();
        folder.reset();
    }

    void statements_are_the_given_texts()
    {
        QCOMPARE(TypeSql::MoveUp(3),
                 QString("Update t_HouseType Set List = List + Sgn(2.5 - List) Where List Between 3 And 2"));
        QCOMPARE(TypeSql::MoveDown(3),
                 QString("Update t_HouseType Set List = List + Sgn(3.5 - List) Where List Between 3 And 4"));
        QCOMPARE(TypeSql::SelectTypes(), QString("Select TypeID, List, HouseType, MusicTitle, MusicFile "
                                                 "From t_HouseType Order By List"));
        QCOMPARE(TypeSql::DeleteTypeAt(2), QString("Delete From t_HouseType Where List = 2"));
        QCOMPARE(TypeSql::CloseGapAfter(2), QString("Update t_HouseType Set List = List - 1 Where List > 2"));
        QCOMPARE(TypeSql::CountHousesOfType(7),
                 QString("Select Count(*) as a From t_House Where TypeID = 7"));
        QCOMPARE(TypeSql::LastType(), QString("Select Top 1 * From t_HouseType Order By List DESC"));
        QCOMPARE(TypeSql::EditedTypeAt(4),
                 QString("Select HouseType, MusicTitle, MusicFile From t_HouseType Where List = 4"));
    }

    void opens_with_columns_captions_and_the_types_in_order()
    {
        SeedTypes(*folder, 3);
        folder->Exec("Update t_HouseType Set List = 4 - List");  // T1 at 3, T3 at 1
        frmHouseType* w = OpenTypes();
        QVERIFY(w);
        QCOMPARE(w->windowTitle(), QString("类型"));
        QCOMPARE(w->cmdPlay->text(), QString("▲"));
        ui::ListModel* m = w->lsvType->Model();
        QCOMPARE(m->columnCount(), 4);
        QCOMPARE(m->ColumnTitle(0), QString("序号"));
        QCOMPARE(m->ColumnWidthTwips(0), 600);
        QCOMPARE(m->ColumnTitle(3), QString("文件名"));
        QCOMPARE(m->ColumnWidthTwips(3), 2000);
        QCOMPARE(Column(w->lsvType), QStringList({"1", "2", "3"}));
        QCOMPARE(Column(w->lsvType, 1), QStringList({"T3", "T2", "T1"}));
        QVERIFY(browseState(w));
        // The disabled boxes show the selected (top) type.
        QCOMPARE(w->txtHouseType->text(), QString("T3"));
        QCOMPARE(w->txtMusicTitle->text(), QString("M3"));
        QCOMPARE(w->txtMusicFile->text(), QString());
    }

    void empty_table_actions_do_nothing_and_add_makes_position_one()
    {
        frmHouseType* w = OpenTypes();
        QCOMPARE(w->lsvType->Model()->Count(), 0);
        QVERIFY(Click(w, "cmdEdit"));
        QVERIFY(browseState(w));
        QCOMPARE(w->CurrentList, qint16(0));
        QVERIFY(Click(w, "cmdDelete"));
        QVERIFY(Click(w, "cmdUp"));
        QVERIFY(Click(w, "cmdDown"));
        QVERIFY(Click(w, "cmdPlay"));
        QCOMPARE(w->cmdPlay->text(), QString("▲"));
        QVERIFY(!w->MMC1->IsOpen());
        QVERIFY(Click(w, "cmdContent"));
        QVERIFY(!Forms::Find("frmContent"));
        QVERIFY(boxes->messages.isEmpty());
        QCOMPARE(folder->Value("Select Count(*) From t_HouseType").toInt(), 0);

        QVERIFY(Click(w, "cmdAddNew"));
        QVERIFY(Click(w, "cmdEditOK"));
        QCOMPARE(Positions(*folder), QString("1:新的类型"));
        QCOMPARE(folder->Value("Select MusicTitle From t_HouseType").toString(), QString("新的标题"));
        QCOMPARE(folder->Value("Select MusicFile From t_HouseType").toString(), QString(""));
        QCOMPARE(Column(w->lsvType), QStringList({"1"}));
        QVERIFY(boxes->messages.isEmpty());
    }

    void up_on_first_and_down_on_last_change_nothing()
    {
        SeedTypes(*folder, 3);
        frmHouseType* w = OpenTypes();
        const auto before = TypeTable(*folder);
        ClickRow(w->lsvType, 0);
        QVERIFY(Click(w, "cmdUp"));
        QCOMPARE(TypeTable(*folder), before);
        QCOMPARE(w->lsvType->SelectedRow(), 0);
        ClickRow(w->lsvType, 2);
        QVERIFY(Click(w, "cmdDown"));
        QCOMPARE(TypeTable(*folder), before);
        QCOMPARE(w->lsvType->SelectedRow(), 2);
        QVERIFY(boxes->messages.isEmpty());
    }

    void moving_third_of_five_up_swaps_it_with_the_second()
    {
        SeedTypes(*folder, 5);
        frmHouseType* w = OpenTypes();
        const auto before = TypeTable(*folder);
        ClickRow(w->lsvType, 2);
        QVERIFY(Click(w, "cmdUp"));
        QCOMPARE(Positions(*folder), QString("1:T1 2:T3 3:T2 4:T4 5:T5"));
        // Only List changed, and only on the two rows; keys, names and music stay with their rows.
        const auto after = TypeTable(*folder);
        QCOMPARE(after.size(), 5);
        for (int i : {0, 3, 4}) QCOMPARE(after[i], before[i]);
        QCOMPARE(after[1][0], before[1][0]);
        QCOMPARE(after[1][2], before[1][2]);
        QCOMPARE(after[2][2], before[2][2]);
        QCOMPARE(w->lsvType->SelectedRow(), 1);
        QCOMPARE(w->lsvType->SelectedText(1), QString("T3"));
        QCOMPARE(w->txtHouseType->text(), QString("T3"));
        QCOMPARE(Column(w->lsvType), QStringList({"1", "2", "3", "4", "5"}));
    }

    void moving_down_swaps_with_the_next_and_keeps_it_selected()
    {
        SeedTypes(*folder, 5);
        frmHouseType* w = OpenTypes();
        ClickRow(w->lsvType, 2);
        QVERIFY(Click(w, "cmdDown"));
        QCOMPARE(Positions(*folder), QString("1:T1 2:T2 3:T4 4:T3 5:T5"));
        QCOMPARE(w->lsvType->SelectedText(1), QString("T3"));
        QCOMPARE(w->CurrentList, qint16(4));
        QVERIFY(Click(w, "cmdDown"));
        QCOMPARE(Positions(*folder), QString("1:T1 2:T2 3:T4 4:T5 5:T3"));
        QVERIFY(Click(w, "cmdDown"));  // now last: nothing
        QCOMPARE(Positions(*folder), QString("1:T1 2:T2 3:T4 4:T5 5:T3"));
    }

    void deleting_second_of_four_renumbers_and_keeps_the_template()
    {
        SeedTypes(*folder, 4);
        const qint64 t2 = TypeIdOf(*folder, "T2");
        const QString row = "Insert Into t_Content_Auto (TypeID, Caption, Content) Values (%1, '朝向', '南')";
        folder->Exec(row.arg(t2));
        frmHouseType* w = OpenTypes();
        ClickRow(w->lsvType, 1);
        boxes->answers << ui::Answer::Yes;
        QVERIFY(Click(w, "cmdDelete"));
        QCOMPARE(boxes->messages.size(), 1);
        QCOMPARE(boxes->messages[0].first, QString("确定要删除类型 \"T2\" 吗？"));
        QCOMPARE(boxes->messages[0].second, ui::Buttons::YesNo);
        QCOMPARE(Positions(*folder), QString("1:T1 2:T3 3:T4"));
        const QString count = "Select Count(*) From t_Content_Auto Where TypeID = %1";
        QCOMPARE(folder->Value(count.arg(t2)).toInt(), 1);
        QCOMPARE(Column(w->lsvType), QStringList({"1", "2", "3"}));
        QVERIFY(browseState(w));
    }

    void answering_no_deletes_nothing()
    {
        SeedTypes(*folder, 3);
        const auto before = TypeTable(*folder);
        frmHouseType* w = OpenTypes();
        ClickRow(w->lsvType, 1);
        boxes->answers << ui::Answer::No;
        QVERIFY(Click(w, "cmdDelete"));
        QCOMPARE(boxes->messages.size(), 1);
        QCOMPARE(TypeTable(*folder), before);
    }

    void a_type_used_by_houses_is_not_deleted()
    {
        SeedTypes(*folder, 3);
        const auto before = TypeTable(*folder);
        folder->Exec(QString("Insert Into t_House (HouseName, HouseNo, TypeID) Values ('A', '101', %1)")
                         .arg(TypeIdOf(*folder, "T2")));
        frmHouseType* w = OpenTypes();
        ClickRow(w->lsvType, 1);
        QVERIFY(Click(w, "cmdDelete"));
        QCOMPARE(boxes->messages.size(), 1);
        QCOMPARE(boxes->messages[0].first,
                 QString("当前数据库中包含有类型为 \"T2\" 的记录，不能删除该类型。"));
        QCOMPARE(boxes->messages[0].second, ui::Buttons::OkOnly);
        QCOMPARE(TypeTable(*folder), before);
    }

    void adding_appends_after_the_last_and_selects_it()
    {
        SeedTypes(*folder, 3);
        frmHouseType* w = OpenTypes();
        QVERIFY(Click(w, "cmdAddNew"));
        QCOMPARE(w->txtHouseType->text(), QString("新的类型"));
        QCOMPARE(w->txtMusicTitle->text(), QString("新的标题"));
        QCOMPARE(w->txtMusicFile->text(), QString("请单击\"浏览\"选择一首歌曲。"));
        QVERIFY(!w->cmdAddNew->isEnabled());
        QVERIFY(w->cmdPlay->isEnabled());
        QVERIFY(w->cmdExit->isEnabled());
        QVERIFY(TypeInto(w->txtHouseType, "villa"));
        QVERIFY(TypeInto(w->txtMusicTitle, "spring"));
        QVERIFY(Click(w, "cmdEditOK"));
        QCOMPARE(Positions(*folder), QString("1:T1 2:T2 3:T3 4:villa"));
        QCOMPARE(folder->Value("Select MusicFile From t_HouseType Where List = 4").toString(), QString(""));
        QVERIFY(QDir(folder->File("Music")).entryList(QDir::Files).isEmpty());
        QCOMPARE(w->lsvType->SelectedRow(), 3);
        QCOMPARE(w->txtHouseType->text(), QString("villa"));
        QVERIFY(browseState(w));
    }

    void required_name_and_title_stop_the_save()
    {
        SeedTypes(*folder, 1);
        frmHouseType* w = OpenTypes();
        QVERIFY(Click(w, "cmdAddNew"));
        w->txtHouseType->clear();
        QVERIFY(Click(w, "cmdEditOK"));
        QCOMPARE(boxes->Texts(), QStringList({"请在\"类型\"中输入值。"}));
        QVERIFY(w->cmdEditOK->isEnabled());
        QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(w->txtHouseType));
        w->txtHouseType->setText("X");
        w->txtMusicTitle->clear();
        QVERIFY(Click(w, "cmdEditOK"));
        QCOMPARE(boxes->Texts().last(), QString("请在\"背景音乐标题\"中输入值。"));
        QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(w->txtMusicTitle));
        QCOMPARE(Positions(*folder), QString("1:T1"));
    }

    void editing_by_double_click_updates_the_row_in_place()
    {
        SeedTypes(*folder, 3);
        frmHouseType* w = OpenTypes();
        DoubleClickRow(w->lsvType, 1);
        QVERIFY(w->cmdEditOK->isEnabled());
        QCOMPARE(w->EditMode, 1);
        QCOMPARE(w->txtHouseType->text(), QString("T2"));
        QVERIFY(TypeInto(w->txtHouseType, "flat"));
        QVERIFY(Click(w, "cmdEditOK"));
        QCOMPARE(Positions(*folder), QString("1:T1 2:flat 3:T3"));
        QCOMPARE(folder->Value("Select MusicTitle From t_HouseType Where List = 2").toString(),
                 QString("M2"));
        QCOMPARE(w->lsvType->SelectedRow(), 1);
        QCOMPARE(w->txtHouseType->text(), QString("flat"));
    }

    void cancel_writes_nothing_and_shows_the_selected_type_again()
    {
        SeedTypes(*folder, 2);
        const auto before = TypeTable(*folder);
        frmHouseType* w = OpenTypes();
        ClickRow(w->lsvType, 1);
        QVERIFY(Click(w, "cmdEdit"));
        QVERIFY(TypeInto(w->txtHouseType, "changed"));
        QVERIFY(Click(w, "cmdEditCancel"));
        QCOMPARE(TypeTable(*folder), before);
        QVERIFY(browseState(w));
        QCOMPARE(w->txtHouseType->text(), QString("T2"));
    }

    void refresh_shows_what_is_stored()
    {
        SeedTypes(*folder, 2);
        frmHouseType* w = OpenTypes();
        folder->Exec("Update t_HouseType Set HouseType = 'renamed' Where List = 1");
        QCOMPARE(Column(w->lsvType, 1), QStringList({"T1", "T2"}));
        QVERIFY(Click(w, "cmdRefresh"));
        QCOMPARE(Column(w->lsvType, 1), QStringList({"renamed", "T2"}));
    }

    void a_box_gaining_focus_selects_its_text()
    {
        SeedTypes(*folder, 1);
        frmHouseType* w = OpenTypes();
        QVERIFY(Click(w, "cmdEdit"));
        w->txtMusicTitle->setFocus();
        QVERIFY(w->txtMusicTitle->hasFocus());
        QCOMPARE(w->txtMusicTitle->selectedText(), QString("M1"));
    }

    void column_click_sorts_as_text_and_a_move_reselects_by_displayed_index()
    {
        SeedTypes(*folder, 12);
        frmHouseType* w = OpenTypes();
        ClickHeader(w->lsvType, 0);
        QCOMPARE(Column(w->lsvType),
                 QStringList({"1", "10", "11", "12", "2", "3", "4", "5", "6", "7", "8", "9"}));
        // Move the type at position 3 (displayed sixth) up.
        ClickRow(w->lsvType, 5);
        QCOMPARE(w->lsvType->SelectedText(1), QString("T3"));
        QVERIFY(Click(w, "cmdUp"));
        QCOMPARE(Positions(*folder),
                 QString("1:T1 2:T3 3:T2 4:T4 5:T5 6:T6 7:T7 8:T8 9:T9 10:T10 11:T11 12:T12"));
        // The list stays sorted as text, and row index 2 (displayed second) is selected: "10".
        QCOMPARE(Column(w->lsvType),
                 QStringList({"1", "10", "11", "12", "2", "3", "4", "5", "6", "7", "8", "9"}));
        QCOMPARE(w->lsvType->SelectedRow(), 1);
        QCOMPARE(w->lsvType->SelectedText(1), QString("T10"));
        QCOMPARE(w->txtHouseType->text(), QString("T10"));
        // A move from there goes by the selected row's position, 10.
        QVERIFY(Click(w, "cmdDown"));
        QCOMPARE(Positions(*folder),
                 QString("1:T1 2:T3 3:T2 4:T4 5:T5 6:T6 7:T7 8:T8 9:T9 10:T11 11:T10 12:T12"));
        QCOMPARE(w->lsvType->SelectedRow(), 10);
        QCOMPARE(w->lsvType->SelectedText(), QString("8"));
    }

    void after_sorting_by_name_an_edit_reselects_by_displayed_index()
    {
        SeedTypes(*folder, 3);
        folder->Exec(
            "Update t_HouseType Set HouseType = 'c' Where List = 1;"
            "Update t_HouseType Set HouseType = 'b' Where List = 2;"
            "Update t_HouseType Set HouseType = 'a' Where List = 3");
        frmHouseType* w = OpenTypes();
        ClickHeader(w->lsvType, 1);
        QCOMPARE(Column(w->lsvType, 1), QStringList({"a", "b", "c"}));
        ClickRow(w->lsvType, 2);  // "c", position 1
        QVERIFY(Click(w, "cmdEdit"));
        QVERIFY(TypeInto(w->txtHouseType, "z"));
        QVERIFY(Click(w, "cmdEditOK"));
        QCOMPARE(Positions(*folder), QString("1:z 2:b 3:a"));
        QCOMPARE(Column(w->lsvType, 1), QStringList({"a", "b", "z"}));
        // Position 1 means displayed index 1: the top row, "a", not the edited type.
        QCOMPARE(w->lsvType->SelectedRow(), 0);
        QCOMPARE(w->txtHouseType->text(), QString("a"));
    }

    void content_button_opens_the_template_of_the_selected_type()
    {
        SeedTypes(*folder, 2);
        const qint64 t2 = TypeIdOf(*folder, "T2");
        const QString row = "Insert Into t_Content_Auto (TypeID, Caption, Content) Values (%1, '面积', '90')";
        folder->Exec(row.arg(t2));
        frmHouseType* w = OpenTypes();
        ClickRow(w->lsvType, 1);
        QVERIFY(Click(w, "cmdContent"));
        auto* content = qobject_cast<frmContent*>(Forms::Find("frmContent"));
        QVERIFY(content);
        QCOMPARE(content->CurrentTypeID, qint32(t2));
        QCOMPARE(Column(content->lsvContent), QStringList({"面积"}));
        QVERIFY(w->isEnabled());
    }

    void exit_closes_the_window()
    {
        frmHouseType* w = OpenTypes();
        QVERIFY(Click(w, "cmdExit"));
        QVERIFY(!Forms::Find("frmHouseType"));
    }
};

QTEST_MAIN(tst_house_type)
#include "tst_house_type.moc"
