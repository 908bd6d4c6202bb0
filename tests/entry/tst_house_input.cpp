// The entry wizard's page 1, its attribute rows and both save sequences, driven through the real
// windows; every check reads the database afterwards.

#include <QLabel>
#include <QPushButton>
#include <QScrollArea>

#include "EntryFixture.h"
#include "core/ui/Twips.h"

using namespace entrytest;
using testsupport::Click;
using testsupport::Find;

// The catalogue as the wizard sees it: a window named "frmHouseList" with a StartList.
class FakeHouseList : public QWidget, public ui::HouseListCalls {
    Q_OBJECT
public:
    FakeHouseList() { setObjectName(QStringLiteral("frmHouseList")); }
    void StartList() override { ++calls; }
    int calls = 0;
};

class tst_house_input : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages;
    std::unique_ptr<testsupport::FileDialogStub> files;

    // A house with its attribute rows, straight into the tables.
    qint64 seedHouse(const QString& name, int typeId, const QString& no, int floor, const QString& intro,
                     const QList<QPair<QString, QString>>& rows)
    {
        folder->Exec(QStringLiteral("Insert Into t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) "
                                    "Values ('%1', '%2', '%3', %4, %5)")
                         .arg(name, no, intro)
                         .arg(floor)
                         .arg(typeId));
        const qint64 id = folder->Value(QStringLiteral("Select max(HouseID) From t_House")).toLongLong();
        int list = 0;
        for (const auto& row : rows)
            folder->Exec(
                QStringLiteral(
                    "Insert Into t_Content (HouseID, Caption, Content, List) Values (%1, '%2', '%3', %4)")
                    .arg(id)
                    .arg(row.first, row.second)
                    .arg(++list));
        return id;
    }

    int rowTopTwips(frmHouseInput* w, int i) { return ui::Twips(w->cmbCaption[i]->y()); }

private slots:
    void init()
    {
        folder = std::make_unique<testsupport::ProgramFolder>();
        messages = std::make_unique<testsupport::MsgBoxRecorder>();
        files = std::make_unique<testsupport::FileDialogStub>();
        RegisterWindows();
        Forms::Register(QStringLiteral("frmHouseList"), [] { return new FakeHouseList; });
        AddTypes(*folder, {QStringLiteral("公寓"), QStringLiteral("别墅"), QStringLiteral("商铺")});
    }

    void cleanup()
    {
        CloseWindows();
        files.reset();
        messages.reset();
        folder.reset();
    }

    void opens_with_caption_size_and_page_one()
    {
        frmHouseInput* w = OpenFromMenu();
        QVERIFY(w);
        QCOMPARE(w->windowTitle(), QStringLiteral("录入资料"));
        QCOMPARE(w->Frame()->width(), ui::Px(8000));
        QCOMPARE(w->Frame()->height(), ui::Px(7800));
        QVERIFY(w->Frame1->isVisible());
        QVERIFY(!w->Frame2->isVisible());
        QCOMPARE(w->cmbHouseType->count(), 3);
        QCOMPARE(w->cmbHouseType->itemText(1), QStringLiteral("别墅"));
        QCOMPARE(w->cmbHouseFloor->count(), 40);
        QCOMPARE(w->cmbHouseFloor->itemText(0), QStringLiteral("1"));
        QCOMPARE(w->cmbHouseFloor->itemText(39), QStringLiteral("40"));
        QCOMPARE(w->cmbHouseFloor->currentText(), QString());
        QCOMPARE(w->cmbHouseType->currentText(), QString());
        QVERIFY(messages->messages.isEmpty());
    }

    void types_follow_their_positions()
    {
        folder->Exec(QStringLiteral("Update t_HouseType Set List = 4 - List"));
        frmHouseInput* w = OpenFromMenu();
        QCOMPARE(w->cmbHouseType->itemText(0), QStringLiteral("商铺"));
        QCOMPARE(w->cmbHouseType->itemText(2), QStringLiteral("公寓"));
    }

    void no_types_gives_the_message_and_page_two_stays_closed()
    {
        folder->Exec(QStringLiteral("Delete From t_HouseType"));
        frmHouseInput* w = OpenFromMenu();
        QCOMPARE(messages->Texts(),
                 QStringList{QStringLiteral("目前还没有任何房间类型，请到菜单中增加新的类型。")});
        QVERIFY(Forms::Find(QStringLiteral("frmHouseInput")));
        messages->Clear();
        Type(w, QStringLiteral("cmbHouseName"), QStringLiteral("A座"));
        QVERIFY(Click(w, QStringLiteral("cmdNext")));
        QCOMPARE(messages->Texts(), QStringList{QStringLiteral("请在\"类型\"中输入值。")});
        QVERIFY(w->Frame1->isVisible());
    }

    void required_fields_are_checked_in_order()
    {
        frmHouseInput* w = OpenFromMenu();
        QVERIFY(Click(w, QStringLiteral("cmdNext")));
        Type(w, QStringLiteral("cmbHouseName"), QStringLiteral("A座"));
        QVERIFY(Click(w, QStringLiteral("cmdImage")));
        w->cmbHouseType->setCurrentIndex(0);
        QVERIFY(Click(w, QStringLiteral("cmdNext")));
        Type(w, QStringLiteral("cmbHouseNo"), QStringLiteral("101"));
        QVERIFY(Click(w, QStringLiteral("cmdNext")));
        QCOMPARE(messages->Texts(),
                 (QStringList{
                     QStringLiteral("请在\"名称\"中输入值。"), QStringLiteral("请在\"类型\"中输入值。"),
                     QStringLiteral("请在\"房间号\"中输入值。"), QStringLiteral("请在\"楼层\"中输入值。")}));
        QCOMPARE(QApplication::focusWidget(), w->cmbHouseFloor);
        QVERIFY(w->Frame1->isVisible());
        // The floor is only checked for being there: 77 is beyond the forty offered and passes.
        Type(w, QStringLiteral("cmbHouseFloor"), QStringLiteral("77"));
        QVERIFY(Click(w, QStringLiteral("cmdImage")));
        QVERIFY(w->Frame2->isVisible());
        QVERIFY(!w->Frame1->isVisible());
        QCOMPARE(QApplication::focusWidget(), w->cmdFinish);
        QVERIFY(Click(w, QStringLiteral("cmdPrevious")));
        QVERIFY(w->Frame1->isVisible());
        QCOMPARE(w->cmbHouseFloor->currentText(), QStringLiteral("77"));
        QCOMPARE(messages->messages.size(), 4);
    }

    void new_house_is_saved_in_one_pass()
    {
        frmHouseInput* w = OpenFromMenu();
        Forms::Show(QStringLiteral("frmHouseList"));
        QVERIFY(FillPage1(w, QStringLiteral("阳光花园"), QStringLiteral("别墅"), QStringLiteral("B-12"),
                          QStringLiteral("7")));
        TypeInto(w->txtHouseIntro, QStringLiteral("朝南"));
        QTest::keyClick(w->txtHouseIntro, Qt::Key_Return);
        TypeInto(w->txtHouseIntro, QStringLiteral("O'Brien's view"));
        SetRow(w, 1, QStringLiteral("朝向"), QStringLiteral("南"));
        QVERIFY(Click(w, QStringLiteral("cmdNext")));
        QVERIFY(Click(w, QStringLiteral("cmdFinish")));

        QCOMPARE(Table(*folder, "Select HouseID, HouseName, HouseNo, Intro, HouseFloor, TypeID From t_House"),
                 QStringList{QStringLiteral("1|阳光花园|B-12|朝南\r\nO'Brien's view|7|2")});
        QCOMPARE(Table(*folder, "Select HouseID, Caption, Content, List From t_Content"),
                 QStringList{QStringLiteral("1|朝向|南|1")});
        QCOMPARE(qobject_cast<FakeHouseList*>(Forms::Find(QStringLiteral("frmHouseList")))->calls, 1);
        QVERIFY(messages->messages.isEmpty());
        QVERIFY(w->cmdFinish->isEnabled() && w->cmdPrevious->isEnabled() && w->cmdCancel2->isEnabled());
    }

    void new_house_rows_take_the_largest_key()
    {
        // Keys only grow: with houses 1 and 2 stored and 2 deleted, the next house is 3.
        seedHouse(QStringLiteral("甲"), 1, QStringLiteral("1"), 1, QString(), {});
        seedHouse(QStringLiteral("乙"), 1, QStringLiteral("2"), 1, QString(), {});
        folder->Exec(QStringLiteral("Delete From t_House Where HouseID = 2"));
        frmHouseInput* w = OpenFromMenu();
        FillPage1(w, QStringLiteral("丙"), QStringLiteral("公寓"), QStringLiteral("3"), QStringLiteral("3"));
        SetRow(w, 2, QStringLiteral("面积"), QStringLiteral("90"));
        Click(w, QStringLiteral("cmdNext"));
        Click(w, QStringLiteral("cmdFinish"));
        QCOMPARE(folder->Value(QStringLiteral("Select HouseID From t_House Where HouseName = '丙'")).toInt(),
                 3);
        QCOMPARE(Table(*folder, "Select HouseID, Caption, List From t_Content"),
                 QStringList{QStringLiteral("3|面积|1")});
    }

    // The type name is bound as a value: an apostrophe in it no longer breaks the lookup.
    void quote_in_type_name_finds_the_type()
    {
        AddTypes(*folder, {});
        folder->Exec(QStringLiteral("Insert Into t_HouseType (List, HouseType) Values (4, 'King''s')"));
        frmHouseInput* w = OpenFromMenu();
        QCOMPARE(w->cmbHouseType->itemText(3), QStringLiteral("King's"));
        FillPage1(w, QStringLiteral("A座"), QString(), QStringLiteral("1"), QStringLiteral("2"));
        w->cmbHouseType->setCurrentIndex(3);
        Click(w, QStringLiteral("cmdNext"));
        Click(w, QStringLiteral("cmdFinish"));
        const QString typeId =
            folder->Value(QStringLiteral("Select TypeID From t_HouseType Where List = 4")).toString();
        QVERIFY(!typeId.isEmpty());
        QCOMPARE(Table(*folder, "Select HouseName, TypeID From t_House"),
                 QStringList{QStringLiteral("A座|") + typeId});
        QVERIFY(messages->messages.isEmpty());
    }

    void finished_new_house_restarts_empty_and_takes_the_next()
    {
        frmHouseInput* w = OpenFromMenu();
        FillPage1(w, QStringLiteral("A座"), QStringLiteral("公寓"), QStringLiteral("101"),
                  QStringLiteral("1"));
        w->txtHouseIntro->setPlainText(QStringLiteral("x"));
        SetRow(w, 1, QStringLiteral("朝向"), QStringLiteral("南"));
        Click(w, QStringLiteral("cmdAddNewContent"));
        Click(w, QStringLiteral("cmdNext"));
        Click(w, QStringLiteral("cmdFinish"));

        QCOMPARE(Wizard(), w);
        QVERIFY(w->Frame1->isVisible());
        QCOMPARE(w->InputMode(), 0);
        QCOMPARE(w->cmbHouseName->currentText(), QString());
        QCOMPARE(w->cmbHouseType->currentText(), QString());
        QCOMPARE(w->cmbHouseNo->currentText(), QString());
        QCOMPARE(w->txtHouseIntro->toPlainText(), QString());
        QCOMPARE(w->AttributeRowCount(), 3);
        for (int i = 1; i <= 3; ++i) QCOMPARE(w->cmbCaption[i]->currentText(), QString());
        // The lists now offer what was saved.
        QCOMPARE(w->cmbHouseName->itemText(0), QStringLiteral("A座"));
        QCOMPARE(w->cmbCaption[1]->itemText(0), QStringLiteral("朝向"));

        FillPage1(w, QStringLiteral("B座"), QStringLiteral("商铺"), QStringLiteral("201"),
                  QStringLiteral("2"));
        Click(w, QStringLiteral("cmdNext"));
        Click(w, QStringLiteral("cmdFinish"));
        QCOMPARE(Table(*folder, "Select HouseID, HouseName, TypeID From t_House Order By HouseID"),
                 (QStringList{QStringLiteral("1|A座|1"), QStringLiteral("2|B座|3")}));
    }

    void floor_box_grows_forty_entries_per_start_from_the_menu()
    {
        frmHouseInput* w = OpenFromMenu();
        for (const QString& floor : {QStringLiteral("5"), QStringLiteral("12")}) {
            FillPage1(w, QStringLiteral("A座"), QStringLiteral("公寓"), QStringLiteral("1") + floor, floor);
            w->txtHouseIntro->setPlainText(QStringLiteral("说明"));
            Click(w, QStringLiteral("cmdNext"));
            Click(w, QStringLiteral("cmdFinish"));
        }
        QCOMPARE(w->cmbHouseFloor->count(), 120);
        QCOMPARE(w->cmbHouseFloor->itemText(80), QStringLiteral("1"));
        QCOMPARE(w->cmbHouseFloor->currentText(), QStringLiteral("12"));
        QCOMPARE(w->cmbHouseName->currentText(), QString());
        QCOMPARE(w->cmbHouseType->currentText(), QString());
        QCOMPARE(w->cmbHouseNo->currentText(), QString());
        QCOMPARE(w->txtHouseIntro->toPlainText(), QString());
        QCOMPARE(folder->Value(QStringLiteral("Select Count(*) From t_House")).toInt(), 2);
    }

    void floor_box_grows_once_more_when_the_catalogue_starts_it()
    {
        frmHouseInput* w = OpenFromCatalogue(0);
        QCOMPARE(w->cmbHouseFloor->count(), 80);
        for (const QString& floor : {QStringLiteral("3"), QStringLiteral("9")}) {
            FillPage1(w, QStringLiteral("A座"), QStringLiteral("公寓"), floor, floor);
            Click(w, QStringLiteral("cmdNext"));
            Click(w, QStringLiteral("cmdFinish"));
        }
        QCOMPARE(w->cmbHouseFloor->count(), 160);
        QCOMPARE(w->cmbHouseFloor->currentText(), QStringLiteral("9"));
    }

    void edit_in_a_fresh_wizard_shows_the_house_without_its_floor()
    {
        const qint64 id =
            seedHouse(QStringLiteral("翠湖"), 2, QStringLiteral("8-801"), 8, QStringLiteral("一行\r\n二行"),
                      {{QStringLiteral("朝向"), QStringLiteral("东")}});
        mdlHouse::CurrentHouseID = qint32(id);
        frmHouseInput* w = OpenFromCatalogue(1);
        QCOMPARE(w->InputMode(), 1);
        QCOMPARE(w->cmbHouseName->currentText(), QStringLiteral("翠湖"));
        QCOMPARE(w->cmbHouseType->currentText(), QStringLiteral("别墅"));
        QCOMPARE(w->cmbHouseNo->currentText(), QStringLiteral("8-801"));
        QCOMPARE(w->txtHouseIntro->toPlainText(), QStringLiteral("一行\n二行"));
        QCOMPARE(w->cmbHouseFloor->currentText(), QString());
        QVERIFY(Click(w, QStringLiteral("cmdNext")));
        QCOMPARE(messages->Texts(), QStringList{QStringLiteral("请在\"楼层\"中输入值。")});
        QCOMPARE(QApplication::focusWidget(), w->cmbHouseFloor);
        QVERIFY(w->Frame1->isVisible());
    }

    void edit_keeps_the_floor_text_of_an_open_wizard()
    {
        const qint64 id = seedHouse(QStringLiteral("翠湖"), 1, QStringLiteral("1"), 8, QString(), {});
        frmHouseInput* w = OpenFromMenu();
        Type(w, QStringLiteral("cmbHouseFloor"), QStringLiteral("15"));
        mdlHouse::CurrentHouseID = qint32(id);
        w->StartInput(ui::InputMode::Edit);
        QCOMPARE(w->cmbHouseFloor->currentText(), QStringLiteral("15"));
        QCOMPARE(w->cmbHouseFloor->count(), 80);
    }

    void edit_save_replaces_the_rows_whole_and_closes()
    {
        const qint64 other = seedHouse(QStringLiteral("别家"), 1, QStringLiteral("9"), 9, QString(),
                                       {{QStringLiteral("朝向"), QStringLiteral("北")}});
        const qint64 id = seedHouse(
            QStringLiteral("翠湖"), 1, QStringLiteral("1"), 8, QStringLiteral("旧"),
            {{QStringLiteral("朝向"), QStringLiteral("东")}, {QStringLiteral("面积"), QStringLiteral("80")}});
        Forms::Show(QStringLiteral("frmHouseList"));
        mdlHouse::CurrentHouseID = qint32(id);
        frmHouseInput* w = OpenFromCatalogue(1);
        QCOMPARE(w->AttributeRowCount(), 3);
        QCOMPARE(w->cmbCaption[2]->currentText(), QStringLiteral("面积"));
        QCOMPARE(w->cmbCaption[3]->currentText(), QString());
        SetRow(w, 1, QString(), QStringLiteral("东"));
        SetRow(w, 3, QStringLiteral("楼龄"), QStringLiteral("5"));
        Type(w, QStringLiteral("cmbHouseName"), QStringLiteral("翠湖新苑"));
        w->cmbHouseType->setCurrentIndex(2);
        Type(w, QStringLiteral("cmbHouseFloor"), QStringLiteral("10"));
        Click(w, QStringLiteral("cmdNext"));
        Click(w, QStringLiteral("cmdFinish"));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

        QVERIFY(!Wizard());
        QCOMPARE(qobject_cast<FakeHouseList*>(Forms::Find(QStringLiteral("frmHouseList")))->calls, 1);
        QCOMPARE(
            Table(*folder,
                  QStringLiteral(
                      "Select HouseName, HouseNo, Intro, HouseFloor, TypeID From t_House Where HouseID = %1")
                      .arg(id)),
            QStringList{QStringLiteral("翠湖新苑|1|旧|10|3")});
        QCOMPARE(
            Table(*folder,
                  QStringLiteral("Select HouseID, Caption, Content, List From t_Content Order By ContentID")),
            (QStringList{QStringLiteral("%1|朝向|北|1").arg(other), QStringLiteral("%1|面积|80|1").arg(id),
                         QStringLiteral("%1|楼龄|5|2").arg(id)}));
        QCOMPARE(folder->Value(QStringLiteral("Select Count(*) From t_House")).toInt(), 2);
    }

    void finishing_without_the_catalogue_saves_and_skips_the_reload()
    {
        frmHouseInput* w = OpenFromMenu();
        QVERIFY(!Forms::Find(QStringLiteral("frmHouseList")));
        FillPage1(w, QStringLiteral("A座"), QStringLiteral("公寓"), QStringLiteral("1"), QStringLiteral("1"));
        Click(w, QStringLiteral("cmdNext"));
        Click(w, QStringLiteral("cmdFinish"));
        QCOMPARE(folder->Value(QStringLiteral("Select Count(*) From t_House")).toInt(), 1);
        QVERIFY(!Forms::Find(QStringLiteral("frmHouseList")));
        QVERIFY(messages->messages.isEmpty());
    }

    void cancel_closes_without_writing()
    {
        frmHouseInput* w = OpenFromMenu();
        FillPage1(w, QStringLiteral("A座"), QStringLiteral("公寓"), QStringLiteral("1"), QStringLiteral("1"));
        Click(w, QStringLiteral("cmdNext"));
        QVERIFY(Click(w, QStringLiteral("cmdCancel2")));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!Wizard());
        w = OpenFromMenu();
        QVERIFY(Click(w, QStringLiteral("cmdCancel")));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!Wizard());
        QCOMPARE(folder->Value(QStringLiteral("Select Count(*) From t_House")).toInt(), 0);
        QVERIFY(messages->messages.isEmpty());
    }

    void missing_database_gives_the_connection_message_not_a_crash()
    {
        QVERIFY(folder->HideDatabase());
        frmHouseInput* w = OpenFromMenu();
        QVERIFY(w);
        QVERIFY(messages->Texts().contains(mdlHouse::DatabaseFailureMessage()));
        QCOMPARE(w->cmbHouseType->count(), 0);
        QCOMPARE(w->AttributeRowCount(), 3);
    }

    // Attribute rows

    void new_house_has_three_empty_rows_a_pitch_apart_and_saves_none()
    {
        frmHouseInput* w = OpenFromMenu();
        QCOMPARE(w->AttributeRowCount(), 3);
        QVERIFY(!w->cmbCaption[0]->isVisible());
        QVERIFY(!w->lblContent[0]->isVisible());
        for (int i = 1; i <= 3; ++i) {
            QVERIFY(w->cmbCaption[i]->isVisible());
            QVERIFY(w->cmbContent[i]->isVisible());
            QCOMPARE(w->lblContent[i]->text(), QStringLiteral("值："));
            QCOMPARE(w->cmbCaption[i]->currentText(), QString());
            QCOMPARE(rowTopTwips(w, i) - rowTopTwips(w, i - 1), 600);
            QCOMPARE(ui::Twips(w->cmbContent[i]->y() - w->cmbContent[i - 1]->y()), 600);
            QCOMPARE(w->cmbCaption[i]->x(), w->cmbCaption[0]->x());
        }
        QVERIFY(w->cmdDeleteContent->y() > w->cmbCaption[3]->y());
        FillPage1(w, QStringLiteral("A座"), QStringLiteral("公寓"), QStringLiteral("1"), QStringLiteral("1"));
        Click(w, QStringLiteral("cmdNext"));
        Click(w, QStringLiteral("cmdFinish"));
        QCOMPARE(folder->Value(QStringLiteral("Select Count(*) From t_House")).toInt(), 1);
        QCOMPARE(folder->Value(QStringLiteral("Select Count(*) From t_Content")).toInt(), 0);
    }

    void a_row_counts_by_its_caption()
    {
        frmHouseInput* w = OpenFromMenu();
        FillPage1(w, QStringLiteral("A座"), QStringLiteral("公寓"), QStringLiteral("1"), QStringLiteral("1"));
        SetRow(w, 1, QStringLiteral("车位"), QString());
        SetRow(w, 2, QString(), QStringLiteral("无主之值"));
        Click(w, QStringLiteral("cmdNext"));
        Click(w, QStringLiteral("cmdFinish"));
        QCOMPARE(Table(*folder, "Select Caption, Content, List From t_Content"),
                 QStringList{QStringLiteral("车位||1")});
    }

    void rows_one_and_three_are_stored_as_one_and_two()
    {
        frmHouseInput* w = OpenFromMenu();
        FillPage1(w, QStringLiteral("A座"), QStringLiteral("公寓"), QStringLiteral("1"), QStringLiteral("1"));
        SetRow(w, 1, QStringLiteral("朝向"), QStringLiteral("南"));
        SetRow(w, 3, QStringLiteral("面积"), QStringLiteral("120"));
        Click(w, QStringLiteral("cmdNext"));
        Click(w, QStringLiteral("cmdFinish"));
        QCOMPARE(Table(*folder, "Select Caption, Content, List From t_Content Order By ContentID"),
                 (QStringList{QStringLiteral("朝向|南|1"), QStringLiteral("面积|120|2")}));
    }

    void five_rows_load_as_five_and_three_removals_leave_two()
    {
        QList<QPair<QString, QString>> rows;
        for (int i = 1; i <= 5; ++i)
            rows << qMakePair(QStringLiteral("属性%1").arg(i), QStringLiteral("值%1").arg(i));
        const qint64 id = seedHouse(QStringLiteral("A座"), 1, QStringLiteral("1"), 1, QString(), rows);
        mdlHouse::CurrentHouseID = qint32(id);
        frmHouseInput* w = OpenFromCatalogue(1);
        QCOMPARE(w->AttributeRowCount(), 5);
        for (int i = 1; i <= 5; ++i) {
            QCOMPARE(w->cmbCaption[i]->currentText(), QStringLiteral("属性%1").arg(i));
            QCOMPARE(w->cmbContent[i]->currentText(), QStringLiteral("值%1").arg(i));
        }
        const int deleteTop = ui::Twips(w->cmdDeleteContent->y());
        const int nextTop = ui::Twips(w->cmdNext->y());
        w->cmbCaption[1]->setFocus();  // the button removes the last row wherever the user is
        for (int k = 0; k < 3; ++k) QVERIFY(Click(w, QStringLiteral("cmdDeleteContent")));
        QCOMPARE(w->AttributeRowCount(), 2);
        QCOMPARE(w->cmbCaption[1]->currentText(), QStringLiteral("属性1"));
        QCOMPARE(w->cmbCaption[2]->currentText(), QStringLiteral("属性2"));
        QVERIFY(!w->findChild<QComboBox*>(QStringLiteral("cmbCaption(3)")));
        QVERIFY(!w->findChild<QLabel*>(QStringLiteral("lblContent(3)")));
        QCOMPARE(deleteTop - ui::Twips(w->cmdDeleteContent->y()), 1800);
        QCOMPARE(nextTop - ui::Twips(w->cmdNext->y()), 1800);

        Type(w, QStringLiteral("cmbHouseFloor"), QStringLiteral("1"));
        Click(w, QStringLiteral("cmdNext"));
        Click(w, QStringLiteral("cmdFinish"));
        QCOMPARE(Table(*folder, "Select Caption, List From t_Content Order By List"),
                 (QStringList{QStringLiteral("属性1|1"), QStringLiteral("属性2|2")}));
    }

    void one_loaded_row_is_topped_up_to_three()
    {
        const qint64 id = seedHouse(QStringLiteral("A座"), 1, QStringLiteral("1"), 1, QString(),
                                    {{QStringLiteral("朝向"), QStringLiteral("南")}});
        mdlHouse::CurrentHouseID = qint32(id);
        frmHouseInput* w = OpenFromCatalogue(1);
        QCOMPARE(w->AttributeRowCount(), 3);
        QCOMPARE(w->cmbCaption[1]->currentText(), QStringLiteral("朝向"));
        QCOMPARE(w->cmbCaption[2]->currentText(), QString());
    }

    void the_same_caption_may_repeat()
    {
        frmHouseInput* w = OpenFromMenu();
        FillPage1(w, QStringLiteral("A座"), QStringLiteral("公寓"), QStringLiteral("1"), QStringLiteral("1"));
        SetRow(w, 1, QStringLiteral("阳台"), QStringLiteral("南"));
        SetRow(w, 2, QStringLiteral("阳台"), QStringLiteral("北"));
        SetRow(w, 3, QStringLiteral("阳台"), QStringLiteral("西"));
        Click(w, QStringLiteral("cmdNext"));
        Click(w, QStringLiteral("cmdFinish"));
        QCOMPARE(Table(*folder, "Select Caption, Content, List From t_Content Order By List"),
                 (QStringList{QStringLiteral("阳台|南|1"), QStringLiteral("阳台|北|2"),
                              QStringLiteral("阳台|西|3")}));
    }

    void add_button_adds_a_row_with_the_used_captions_and_focuses_it()
    {
        seedHouse(
            QStringLiteral("A座"), 1, QStringLiteral("1"), 1, QString(),
            {{QStringLiteral("朝向"), QStringLiteral("南")}, {QStringLiteral("面积"), QStringLiteral("90")}});
        frmHouseInput* w = OpenFromMenu();
        const int buttonsTop = ui::Twips(w->cmdCancel->y());
        QVERIFY(Click(w, QStringLiteral("cmdAddNewContent")));
        QCOMPARE(w->AttributeRowCount(), 4);
        QComboBox* caption = w->cmbCaption[4];
        QVERIFY(caption->isVisible());
        QCOMPARE(caption->currentText(), QString());
        QCOMPARE(QApplication::focusWidget(), caption);
        QCOMPARE(rowTopTwips(w, 4) - rowTopTwips(w, 3), 600);
        QCOMPARE(ui::Twips(w->cmdCancel->y()) - buttonsTop, 600);
        QCOMPARE(caption->count(), 2);
        QCOMPARE(caption->itemText(1), QStringLiteral("面积"));
        QCOMPARE(w->cmbContent[4]->itemText(0), QStringLiteral("90"));
        // Typed text stays as typed even when it begins an existing caption.
        Type(w, QStringLiteral("cmbCaption(4)"), QStringLiteral("面"));
        QCOMPARE(caption->currentText(), QStringLiteral("面"));
    }

    void tab_walks_the_rows_in_screen_order()
    {
        frmHouseInput* w = OpenFromMenu();
        Click(w, QStringLiteral("cmdAddNewContent"));
        w->txtHouseIntro->setFocus();
        QList<QWidget*> expected;
        for (int i = 1; i <= 4; ++i) expected << w->cmbCaption[i] << w->cmbContent[i];
        expected << w->cmdAddNewContent;
        for (QWidget* next : expected) {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
            QCOMPARE(QApplication::focusWidget(), next);
        }
    }

    void removing_with_no_row_left_keeps_the_template()
    {
        frmHouseInput* w = OpenFromMenu();
        for (int k = 0; k < 5; ++k) Click(w, QStringLiteral("cmdDeleteContent"));
        QCOMPARE(w->AttributeRowCount(), 0);
        QVERIFY(w->cmbCaption[0]);
        QVERIFY(!w->cmbCaption[0]->isVisible());
        QVERIFY(Click(w, QStringLiteral("cmdAddNewContent")));
        QCOMPARE(w->AttributeRowCount(), 1);
        QCOMPARE(rowTopTwips(w, 1) - rowTopTwips(w, 0), 600);
    }
};

QTEST_MAIN(tst_house_input)
#include "tst_house_input.moc"
