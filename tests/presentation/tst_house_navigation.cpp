#include <QComboBox>
#include <QTest>

#include "ShowFixture.h"
#include "catalogue/frmHouseList.h"
#include "core/ui/ListView.h"

using namespace showtest;

class tst_house_navigation : public QObject, private Session {
    Q_OBJECT

private slots:
    void init()
    {
        Start(1);
        AddType(*folder, 1, "公寓", "");
        AddType(*folder, 2, "别墅", "");
    }
    void cleanup() { Stop(); }

    void previous_on_the_first_house_says_so_and_keeps_it()
    {
        AddHouse(*folder, 3, "A", "101", 1, 1);
        AddHouse(*folder, 5, "B", "102", 2, 2);
        frmHouseShow* w = frame->Open(3);
        QTest::mouseClick(w->cmdPre, Qt::LeftButton);
        QCOMPARE(messages->Texts(), QStringList{"已经到达第一条记录。"});
        QCOMPARE(messages->messages[0].second, ui::Buttons::OkOnly);
        QCOMPARE(mdlHouse::CurrentHouseID, 3);
        QCOMPARE(w->lblHouseID->text(), QString("000003"));
        QCOMPARE(w->lblHouseName->text(), QString("A"));
    }

    void next_on_the_last_house_says_so_and_keeps_it()
    {
        AddHouse(*folder, 3, "A", "101", 1, 1);
        AddHouse(*folder, 5, "B", "102", 2, 2);
        frmHouseShow* w = frame->Open(5);
        QTest::mouseClick(w->cmdNext, Qt::LeftButton);
        QCOMPARE(messages->Texts(), QStringList{"已经到达最后一条记录。"});
        QCOMPARE(mdlHouse::CurrentHouseID, 5);
        QCOMPARE(w->lblHouseID->text(), QString("000005"));
    }

    void stepping_skips_gaps_in_the_keys()
    {
        for (int id : {7, 8, 9, 10}) AddHouse(*folder, id, QString("H%1").arg(id), "1", 1, 1);
        folder->Exec("Delete From t_House Where HouseID In (8, 9)");
        frmHouseShow* w = frame->Open(7);
        QTest::mouseClick(w->cmdNext, Qt::LeftButton);
        QCOMPARE(mdlHouse::CurrentHouseID, 10);
        QCOMPARE(w->lblHouseID->text(), QString("000010"));
        QCOMPARE(w->lblHouseName->text(), QString("H10"));
        QTest::mouseClick(w->cmdPre, Qt::LeftButton);
        QCOMPARE(mdlHouse::CurrentHouseID, 7);
        QCOMPARE(w->lblHouseName->text(), QString("H7"));
        QVERIFY(messages->messages.isEmpty());
    }

    void stepping_ignores_the_catalogue_query_and_order()
    {
        Forms::Register(QStringLiteral("frmHouseList"), [] { return new frmHouseList; });
        AddHouse(*folder, 1, "Z楼", "1", 1, 1);
        AddHouse(*folder, 2, "A楼", "2", 1, 2);
        AddHouse(*folder, 3, "Z楼", "3", 1, 1);
        auto* list = qobject_cast<frmHouseList*>(Forms::Show("frmHouseList"));
        QVERIFY(list);
        list->cmbHouseName->setCurrentText("Z楼");
        QTest::mouseClick(list->cmdQuery, Qt::LeftButton);
        QTRY_COMPARE(list->lsvHouse->Model()->Count(), 2);  // house 2 is filtered out
        int row = -1;
        for (int r = 0; r < list->lsvHouse->Model()->Count(); ++r)
            if (list->lsvHouse->Model()->Text(r, 0) == "000003") row = r;
        QVERIFY(row >= 0);
        list->lsvHouse->SelectRow(row);
        QTest::mouseClick(list->cmdShow, Qt::LeftButton);
        auto* w = qobject_cast<frmHouseShow*>(Forms::Find("frmHouseShow"));
        QVERIFY(w);
        QCOMPARE(w->lblHouseID->text(), QString("000003"));
        QTest::mouseClick(w->cmdPre, Qt::LeftButton);
        QCOMPARE(w->lblHouseID->text(), QString("000002"));
        QCOMPARE(w->lblHouseName->text(), QString("A楼"));
        QCOMPARE(w->lblHouseType->text(), QString("别墅"));
        QTest::mouseClick(w->cmdPre, Qt::LeftButton);
        QCOMPARE(w->lblHouseID->text(), QString("000001"));
        QVERIFY(messages->messages.isEmpty());
    }

    void stepping_reloads_rows_and_pictures_without_growing_the_window()
    {
        AddHouse(*folder, 1, "A", "101", 1, 1);
        AddHouse(*folder, 2, "B", "102", 4, 2);
        AddRows(*folder, 1, 1);
        AddRows(*folder, 2, 30);
        AddPicture(*folder, 1, 1, "P1", "I1", "1.png");
        AddPicture(*folder, 1, 2, "P2", "I2", "2.png");
        frmHouseShow* w = frame->Open(1);
        const int height = w->HeightTwips();
        QCOMPARE(height, 6000);
        QCOMPARE(w->cmdImage.UBound(), 2);
        QTest::mouseClick(w->cmdNext, Qt::LeftButton);
        QCOMPARE(w->HeightTwips(), height);
        QCOMPARE(w->lblCaption.UBound(), 30);
        QCOMPARE(w->cmdImage.UBound(), 0);
        QCOMPARE(w->lblImageIntro->text(), QString("该房间没有任何图片"));
        QCOMPARE(w->lblHouseFloor->text(), QString("4"));
        QCOMPARE(frmHouseShow::TopTwips(w->lblI), frmHouseShow::TopTwips(w->lblCaption[30]) + 500);
        // The lists of a house without pictures keep the earlier entries; no button reaches them.
        QCOMPARE(int(w->ImageFiles.size()), 3);
    }
};

QTEST_MAIN(tst_house_navigation)
#include "tst_house_navigation.moc"
