// The lists every attribute row offers: the captions and values in use when the row was added,
// whether the row came with an edited house or from the add button.

#include <QPushButton>

#include "EntryFixture.h"

using namespace entrytest;

class tst_entry_row_lists : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages;

    static QStringList Entries(const QComboBox* box)
    {
        QStringList entries;
        for (int i = 0; i < box->count(); ++i) entries << box->itemText(i);
        return entries;
    }

    void addRow(int houseId, const QString& caption, const QString& content, int list)
    {
        folder->Exec(QStringLiteral("Insert Into t_Content (HouseID, Caption, Content, List) "
                                    "Values (%1, '%2', '%3', %4)")
                         .arg(houseId)
                         .arg(caption, content)
                         .arg(list));
    }

private slots:
    void init()
    {
        folder = std::make_unique<testsupport::ProgramFolder>();
        messages = std::make_unique<testsupport::MsgBoxRecorder>();
        RegisterWindows();
        AddTypes(*folder, {QStringLiteral("公寓")});
        folder->Exec(
            "Insert Into t_House (HouseID, HouseName, HouseNo, Intro, HouseFloor, TypeID) "
            "Values (7, '滨江花园', '0301', '', 3, 1)");
        const QStringList captions = {"朝向", "面积", "户型", "楼层高", "车位"};
        for (int i = 0; i < captions.size(); ++i)
            addRow(7, captions[i], QStringLiteral("值%1").arg(5 - i), i + 1);
    }

    void cleanup()
    {
        CloseWindows();
        messages.reset();
        folder.reset();
    }

    void every_row_of_an_edited_house_offers_every_caption_and_value()
    {
        mdlHouse::CurrentHouseID = 7;
        frmHouseInput* w = OpenFromCatalogue(1);
        QVERIFY(w);
        QCOMPARE(w->AttributeRowCount(), 5);
        const QStringList captions =
            Table(*folder, "Select Distinct Caption From t_Content Order By Caption");
        const QStringList contents =
            Table(*folder, "Select Distinct Content From t_Content Order By Content");
        QCOMPARE(captions.size(), 5);
        for (int i = 1; i <= 5; ++i) {
            QCOMPARE(Entries(w->cmbCaption[i]), captions);
            QCOMPARE(Entries(w->cmbContent[i]), contents);
        }
        QCOMPARE(w->cmbCaption[2]->currentText(), QString("面积"));
        QCOMPARE(w->cmbContent[5]->currentText(), QString("值1"));
    }

    void rows_added_after_the_start_and_the_next_start_read_the_lists_again()
    {
        mdlHouse::CurrentHouseID = 7;
        frmHouseInput* w = OpenFromCatalogue(1);
        QVERIFY(w);
        // Another house's row appears in the catalogue while the wizard is open.
        addRow(8, QStringLiteral("装修"), QStringLiteral("精装"), 1);
        QTest::mouseClick(w->cmdAddNewContent, Qt::LeftButton);
        QCOMPARE(w->AttributeRowCount(), 6);
        QVERIFY(Entries(w->cmbCaption[6]).contains("装修"));
        QVERIFY(Entries(w->cmbContent[6]).contains("精装"));
        QVERIFY(!Entries(w->cmbCaption[1]).contains("装修"));

        addRow(8, QStringLiteral("物业"), QStringLiteral("一级"), 2);
        w->StartInput(ui::InputMode::Edit);
        QCOMPARE(w->AttributeRowCount(), 5);
        for (int i = 1; i <= 5; ++i) {
            QVERIFY(Entries(w->cmbCaption[i]).contains("物业"));
            QVERIFY(Entries(w->cmbContent[i]).contains("一级"));
        }
    }

    void without_a_catalogue_every_row_reports_the_connection()
    {
        QVERIFY(folder->HideDatabase());
        frmHouseInput* w = OpenFromMenu();
        QVERIFY(w);
        QCOMPARE(w->AttributeRowCount(), 3);
        // Once for the drop-downs and once for each of the three rows.
        QCOMPARE(messages->Texts().count(mdlHouse::DatabaseFailureMessage()), 4);
    }
};

QTEST_MAIN(tst_entry_row_lists)
#include "tst_entry_row_lists.moc"
