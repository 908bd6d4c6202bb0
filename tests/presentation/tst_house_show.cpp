#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>
#include <QWebEngineView>

#include "ShowFixture.h"
#include "presentation/HouseShowSql.h"

using namespace showtest;

class tst_house_show : public QObject, private Session {
    Q_OBJECT

    static int top(const QWidget* w) { return frmHouseShow::TopTwips(w); }

    void waitForPage(frmHouseShow* w)
    {
        QTRY_VERIFY_WITH_TIMEOUT(w->WebImage->IsLoaded(), 60000);
        QTRY_VERIFY_WITH_TIMEOUT(Js(w, "document.getElementById('Pict') !== null").toBool(), 30000);
    }

private slots:
    void init()
    {
        Start(1);  // the tunes have tests of their own
        AddType(*folder, 1, "公寓", "");
    }
    void cleanup() { Stop(); }

    void statements_are_issued_as_written()
    {
        QCOMPARE(HouseShowSql::HouseFacts(42),
                 QString("Select a.HouseID, a.HouseName, a.HouseNo, a.Intro,a.HouseFloor,  b.HouseType, "
                         "b.MusicFile, b.List From t_House as a, t_HouseType as b Where a.TypeID = b.TypeID "
                         "And a.HouseID = 42"));
        QCOMPARE(HouseShowSql::HouseContents(7),
                 QString("Select Caption, Content From t_Content Where HouseID = 7 Order By List"));
        QCOMPARE(HouseShowSql::HouseImages(7),
                 QString("Select Caption, Intro, ImageFile From t_Image Where HouseID = 7 Order By List"));
        QCOMPARE(HouseShowSql::PreviousHouse(-3),
                 QString("Select Top 1 HouseID From t_House Where HouseID < -3 Order By HouseID DESC"));
        QCOMPARE(HouseShowSql::NextHouse(7),
                 QString("Select HouseID From t_House Where HouseID > 7 Order By HouseID"));
    }

    void facts_show_with_a_padded_number()
    {
        AddHouse(*folder, 42, "阳光花园", "1203", 12, 1, "南北通透");
        AddHouse(*folder, 1234567, "B座", "7", 3, 1);
        frmHouseShow* w = frame->Open(42);
        QVERIFY(w);
        QCOMPARE(w->windowTitle(), QString("演示"));
        QCOMPARE(w->Frame1->title(), QString(" 基本信息 "));
        QCOMPARE(w->Frame2->title(), QString(" 图片展示 "));
        QCOMPARE(w->lblHouseID->text(), QString("000042"));
        QCOMPARE(w->lblHouseName->text(), QString("阳光花园"));
        QCOMPARE(w->lblHouseType->text(), QString("公寓"));
        QCOMPARE(w->lblHouseFloor->text(), QString("12"));
        QCOMPARE(w->lblHouseNo->text(), QString("1203"));
        QCOMPARE(w->lblIntro->text(), QString("南北通透"));
        w = frame->Open(1234567);
        QCOMPARE(w->lblHouseID->text(), QString("234567"));
        QVERIFY(messages->messages.isEmpty());
    }

    void without_rows_the_description_stays_under_the_room_number()
    {
        AddHouse(*folder, 1, "A", "101", 1, 1);
        frmHouseShow* w = frame->Open(1);
        QCOMPARE(top(w->lblI), top(w->lblHN) + 500);
        QCOMPARE(top(w->lblIntro), top(w->lblHouseNo) + 500);
        QCOMPARE(w->lblCaption.UBound(), 0);
        QCOMPARE(w->HeightTwips(), 6000);  // max(6000, 3365 + 2000)
        QCOMPARE(w->WidthTwips(), ui::Twips(ui::Px(10000)));
    }

    void opening_window_grows_to_its_rows()
    {
        AddHouse(*folder, 1, "A", "101", 1, 1);
        AddRows(*folder, 1, 10);
        frmHouseShow* w = frame->Open(1);
        const int expected = top(w->lblIntro) + 2000;
        QCOMPARE(top(w->lblIntro), top(w->lblHouseNo) + 500 + 10 * 500);
        QVERIFY(expected > 6000);
        QCOMPARE(w->HeightTwips(), ui::Twips(ui::Px(expected)));
    }

    void three_rows_push_the_description_below_them()
    {
        AddHouse(*folder, 1, "A", "101", 1, 1);
        AddRows(*folder, 1, 3);
        frmHouseShow* w = frame->Open(1);
        QCOMPARE(w->lblCaption.UBound(), 3);
        QCOMPARE(w->lblContent.UBound(), 3);
        const int first = top(w->lblHN) + 500;
        for (int i = 1; i <= 3; ++i) {
            QLabel* caption = testsupport::Find<QLabel>(w, QString("lblCaption(%1)").arg(i));
            QLabel* content = testsupport::Find<QLabel>(w, QString("lblContent(%1)").arg(i));
            QVERIFY(caption && content);
            QCOMPARE(caption->text(), QString("C%1：").arg(i));
            QCOMPARE(content->text(), QString("V%1").arg(i));
            QVERIFY(caption->isVisible() && content->isVisible());
            QCOMPARE(top(caption), first + (i - 1) * 500);
            QCOMPARE(top(content), first + (i - 1) * 500);
            QCOMPARE(caption->x(), w->lblCaption[0]->x());
            QCOMPARE(content->geometry().size(), w->lblContent[0]->geometry().size());
        }
        QCOMPARE(top(w->lblI), top(w->lblCaption[3]) + 500);
        QCOMPARE(top(w->lblIntro), top(w->lblCaption[3]) + 500);
        QVERIFY(!w->lblCaption[0]->isVisible());
    }

    void rows_past_the_sixty_sixth_stay_at_the_template()
    {
        AddHouse(*folder, 1, "A", "101", 1, 1);
        AddRows(*folder, 1, 68);
        frmHouseShow* w = frame->Open(1);
        const int first = top(w->lblHN) + 500;
        QCOMPARE(w->lblCaption.UBound(), 68);
        QCOMPARE(top(w->lblCaption[66]), first + 65 * 500);
        QCOMPARE(top(w->lblCaption[67]), 3855);
        QCOMPARE(top(w->lblContent[68]), 3855);
        QCOMPARE(w->lblCaption[67]->text(), QString("C67："));
        QVERIFY(w->lblCaption[67]->isVisible());
        QCOMPARE(top(w->lblI), 3855 + 500);
        QCOMPARE(top(w->lblIntro), 3855 + 500);
    }

    void a_house_without_pictures_says_so()
    {
        AddHouse(*folder, 1, "A", "101", 1, 1);
        frmHouseShow* w = frame->Open(1);
        QCOMPARE(w->lblImageIntro->text(), QString("该房间没有任何图片"));
        QCOMPARE(w->cmdImage.UBound(), 0);
        QVERIFY(!w->cmdImage[0]->isVisible());
        waitForPage(w);
        QCOMPARE(Js(w, "document.getElementById('Pict').innerHTML").toString(), QString());
    }

    void a_deleted_house_leaves_only_the_floor()
    {
        AddHouse(*folder, 5, "A", "101", 9, 1, "x");
        frmHouseShow* w = frame->Open(5);
        QCOMPARE(w->lblHouseFloor->text(), QString("9"));
        folder->Exec("Delete From t_House Where HouseID = 5");
        w->ShowHouse();
        for (QLabel* l : {w->lblHouseID, w->lblHouseName, w->lblHouseType, w->lblHouseNo, w->lblIntro})
            QCOMPARE(l->text(), QString());
        QCOMPARE(w->lblHouseFloor->text(), QString("9"));
        QCOMPARE(w->lblImageIntro->text(), QString("该房间没有任何图片"));
        w = frame->Open(5);
        QCOMPARE(w->lblHouseFloor->text(), QString("HouseFloor"));
        QCOMPARE(w->lblHouseID->text(), QString());
        QVERIFY(messages->messages.isEmpty());
    }

    void window_never_gets_smaller_than_its_minimum()
    {
        AddHouse(*folder, 1, "A", "101", 1, 1);
        frmHouseShow* w = frame->Open(1);
        w->SetSizeTwips(5000, 3000);
        QTRY_VERIFY(w->WidthTwips() >= 10000 && w->HeightTwips() >= 6000);
        QVERIFY(w->WidthTwips() < 10000 + 30);
        QVERIFY(w->HeightTwips() < 6000 + 30);
    }

    void picture_area_is_square_or_as_high_as_the_frame_allows()
    {
        AddHouse(*folder, 1, "A", "101", 1, 1);
        frmHouseShow* w = frame->Open(1);
        // Room enough below: the area is square.
        w->SetSizeTwips(12000, 12600);
        QCOMPARE(w->Frame2->x(), ui::Px(4900));
        QCOMPARE(ui::Twips(w->Frame2->width()), ui::Twips(ui::Px(w->WidthTwips() - 4500 - 680)));
        QCOMPARE(w->WebImage->width(), w->WebImage->height());
        QCOMPARE(ui::Twips(w->WebImage->width()),
                 ui::Twips(ui::Px(ui::Twips(w->Frame2->width()) - 1680 - 200)));
        // Wide and low: as high as the frame allows, narrower than it is wide.
        w->SetSizeTwips(20000, 7000);
        const int frame2Height = ui::Twips(w->Frame2->height());
        QCOMPARE(frame2Height, ui::Twips(ui::Px(w->HeightTwips() - 800)));
        QCOMPARE(ui::Twips(w->WebImage->height()), ui::Twips(ui::Px(frame2Height - 360 - 1000)));
        QVERIFY(w->WebImage->height() < w->WebImage->width());
        QCOMPARE(top(w->lblImageIntro), top(w->WebImage) + ui::Twips(w->WebImage->height()) + 200);
        QCOMPARE(w->lblImageIntro->width(), w->WebImage->width());
    }

    void picture_buttons_show_their_picture_stretched()
    {
        AddHouse(*folder, 1, "A", "101", 1, 1);
        testsupport::MakePicture(folder->File("Images/1-1.png"), 100, 50);
        testsupport::MakePicture(folder->File("Images/1-2.png"), 60, 90, Qt::darkRed);
        AddPicture(*folder, 1, 1, "客厅", "朝南", "1-1.png");
        AddPicture(*folder, 1, 2, "卧室", "安静", "1-2.png");
        frmHouseShow* w = frame->Open(1);
        QCOMPARE(w->cmdImage.UBound(), 2);
        QCOMPARE(w->cmdImage[1]->text(), QString("客厅"));
        QCOMPARE(w->cmdImage[2]->text(), QString("卧室"));
        QCOMPARE(top(w->cmdImage[2]), top(w->cmdImage[1]) + 600);
        QCOMPARE(top(w->cmdImage[1]), 360);
        QCOMPARE(w->lblImageIntro->text(), QString());
        waitForPage(w);
        QCOMPARE(Js(w, "document.getElementById('Pict').innerHTML").toString(), QString());
        QTest::mouseClick(w->cmdImage[2], Qt::LeftButton);
        QCOMPARE(w->lblImageIntro->text(), QString("图片说明：安静"));
        QTRY_COMPARE_WITH_TIMEOUT(
            Js(w, "var i=document.getElementById('ImageShow'); i ? i.getAttribute('src') : ''").toString(),
            QString("Images/1-2.png"), 30000);
        QCOMPARE(Js(w, "document.getElementById('ImageShow').parentNode.id").toString(), QString("Pict"));
        QTRY_COMPARE_WITH_TIMEOUT(ImageSize(w), BodySize(w), 30000);
        QCOMPARE(BodySize(w), QString("%1x%2").arg(w->WebImage->width()).arg(w->WebImage->height()));
        QTRY_VERIFY_WITH_TIMEOUT(Js(w, "document.getElementById('ImageShow').naturalWidth").toInt() == 60,
                                 30000);

        // A resize of the window fits the picture to the new area.
        w->SetSizeTwips(14000, 9000);
        QTRY_COMPARE_WITH_TIMEOUT(
            BodySize(w), QString("%1x%2").arg(w->WebImage->width()).arg(w->WebImage->height()), 30000);
        QTRY_COMPARE_WITH_TIMEOUT(ImageSize(w), BodySize(w), 30000);

        // A click on the picture opens the large view titled with the caption.
        QSignalSpy opened(w->WebImage, &ui::WebBrowser::PopupOpened);
        Js(w, "document.getElementById('ImageShow').click(); 1");
        QTRY_COMPARE_WITH_TIMEOUT(opened.count(), 1, 30000);
        QWebEngineView* popup = w->WebImage->Popups().value(0);
        QVERIFY(popup && popup->isWindow());
        QTRY_COMPARE_WITH_TIMEOUT(popup->windowTitle(), QString("卧室"), 30000);
        QTRY_COMPARE_WITH_TIMEOUT(
            ui::WebBrowser::Evaluate(popup->page(),
                                     "document.images.length ? document.images[0].naturalWidth : 0")
                .toInt(),
            60, 30000);
        popup->close();

        // Opening the same window on the page again only empties the picture.
        w->ShowHouse();
        QTRY_COMPARE_WITH_TIMEOUT(Js(w, "document.getElementById('Pict').innerHTML").toString(), QString(),
                                  30000);
        QCOMPARE(w->lblImageIntro->text(), QString());
    }

    void sixty_rows_and_forty_pictures_lay_out_quickly()
    {
        AddHouse(*folder, 1, "A", "101", 1, 1);
        AddHouse(*folder, 2, "B", "102", 1, 1);
        AddRows(*folder, 1, 60);
        AddRows(*folder, 2, 60);
        QString sql;
        for (int n = 1; n <= 40; ++n) {
            for (int h : {1, 2})
                sql += QString(
                           "Insert Into t_Image (HouseID, Caption, Intro, ImageFile, List) Values "
                           "(%1, 'P%2', 'I%2', '%1-%2.jpg', %2);")
                           .arg(h)
                           .arg(n);
        }
        QVERIFY(folder->Exec(sql));
        frmHouseShow* w = frame->Open(1);
        waitForPage(w);
        QElapsedTimer timer;
        timer.start();
        mdlHouse::CurrentHouseID = 2;
        w->ShowHouse();
        QCoreApplication::processEvents();  // the window's own layout and paint requests
        const qint64 ms = timer.elapsed();
        qInfo("ShowHouse with 60 rows and 40 pictures laid out in %lld ms", ms);
        QCOMPARE(w->lblCaption.UBound(), 60);
        QCOMPARE(w->cmdImage.UBound(), 40);
        QCOMPARE(w->cmdImage[40]->text(), QString("P40"));
        QCOMPARE(top(w->cmdImage[40]), 360 + 39 * 600);
        QVERIFY2(ms < 250, qPrintable(QString("%1 ms").arg(ms)));

        // The same house opened afresh, the way the catalogue opens it: load, size and first show.
        timer.restart();
        w = frame->Open(2);
        QCoreApplication::processEvents();
        const qint64 openMs = timer.elapsed();
        qInfo("opening the window on that house took %lld ms", openMs);
        QCOMPARE(w->cmdImage.UBound(), 40);
        QVERIFY2(openMs < 250, qPrintable(QString("%1 ms").arg(openMs)));
    }
};

QTEST_MAIN(tst_house_show)
#include "tst_house_show.moc"
