#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

#include "ShowFixture.h"

using namespace showtest;

class tst_house_music : public QObject, private Session {
    Q_OBJECT

private slots:
    void init() { Start(0); }
    void cleanup() { Stop(); }

    void every_kind_of_tune_plays_to_its_end_and_starts_again_data()
    {
        QTest::addColumn<QString>("file");
        QTest::newRow("wav") << "tune.wav";
        QTest::newRow("mp3") << "tune.mp3";
        QTest::newRow("mid") << "tune.mid";
    }
    void every_kind_of_tune_plays_to_its_end_and_starts_again()
    {
        QFETCH(QString, file);
        const QString path = folder->File("Music/" + file);
        if (file.endsWith(".wav")) testsupport::MakeWav(path, 400);
        if (file.endsWith(".mp3")) WriteMp3(path, 20);
        if (file.endsWith(".mid")) WriteMidi(path);
        AddType(*folder, 1, "公寓", file);
        AddHouse(*folder, 1, "A", "101", 1, 1);
        QElapsedTimer clock;
        clock.start();
        frmHouseShow* w = frame->Open(1);
        QVERIFY(w);
        QCOMPARE(w->MMC1->FileName(), folder->Path() + "/Music/" + file);
        QVERIFY(w->MMC1->IsOpen());
        QVERIFY(w->MMC1->IsPlaying());
        QSignalSpy done(w->MMC1, &ui::MediaControl::Done);
        // The end of the tune is reached, and the window starts it again from the beginning.
        QTRY_VERIFY_WITH_TIMEOUT(w->MMC1->EndsReached() >= 1, 60000);
        const qint64 firstEnd = clock.elapsed();
        qInfo("%s: first end after %lld ms", qPrintable(file), firstEnd);
        // Played in real time, not skipped through: every tune here lasts about half a second.
        QVERIFY2(firstEnd >= 300, qPrintable(QString::number(firstEnd)));
        QTRY_VERIFY_WITH_TIMEOUT(w->MMC1->IsPlaying(), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(w->MMC1->EndsReached() >= 2, 60000);
        QVERIFY(done.count() >= 2);
        QCOMPARE(done[0][0].toInt(), 1);
        QVERIFY(messages->messages.isEmpty());
    }

    void toggle_switches_the_tune_off_and_on()
    {
        testsupport::MakeWav(folder->File("Music/t.wav"), 300);
        AddType(*folder, 1, "公寓", "t.wav");
        AddHouse(*folder, 1, "A", "101", 1, 1);
        frmHouseShow* w = frame->Open(1);
        QCOMPARE(w->cmdMusic->text(), QString("√"));
        QVERIFY(w->MMC1->IsPlaying());
        QTest::mouseClick(w->cmdMusic, Qt::LeftButton);
        QCOMPARE(mdlHouse::MusicOff, 1);
        QCOMPARE(w->cmdMusic->text(), QString("×"));
        QVERIFY(!w->MMC1->IsPlaying());
        QVERIFY(!w->MMC1->IsOpen());
        const int ends = w->MMC1->EndsReached();
        QTest::qWait(1500);
        QCOMPARE(w->MMC1->EndsReached(), ends);
        QVERIFY(!w->MMC1->IsPlaying());
        QTest::mouseClick(w->cmdMusic, Qt::LeftButton);
        QCOMPARE(mdlHouse::MusicOff, 0);
        QCOMPARE(w->cmdMusic->text(), QString("√"));
        QVERIFY(w->MMC1->IsPlaying());
        QTRY_VERIFY_WITH_TIMEOUT(w->MMC1->EndsReached() > ends, 60000);
    }

    void music_switched_off_stays_off_for_the_next_window()
    {
        testsupport::MakeWav(folder->File("Music/t.wav"), 300);
        AddType(*folder, 1, "公寓", "t.wav");
        AddHouse(*folder, 1, "A", "101", 1, 1);
        AddHouse(*folder, 2, "B", "102", 1, 1);
        frmHouseShow* w = frame->Open(1);
        QTest::mouseClick(w->cmdMusic, Qt::LeftButton);
        w->UnloadForm();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!Forms::Find("frmHouseShow"));
        w = frame->Open(2);
        QCOMPARE(w->cmdMusic->text(), QString("×"));
        QVERIFY(!w->MMC1->IsOpen());
        QVERIFY(!w->MMC1->IsPlaying());
        QTest::qWait(1000);
        QCOMPARE(w->MMC1->EndsReached(), 0);
    }

    void a_type_without_music_is_silent_without_a_message()
    {
        AddType(*folder, 1, "公寓", "");
        AddHouse(*folder, 1, "A", "101", 1, 1);
        frmHouseShow* w = frame->Open(1);
        QVERIFY(w->MMC1->FileName().endsWith("/Music/"));
        QCOMPARE(w->MMC1->FileName(), folder->Path() + "/Music/");
        QVERIFY(!w->MMC1->IsOpen());
        QVERIFY(!w->MMC1->IsPlaying());
        QTest::qWait(500);
        QCOMPARE(w->MMC1->EndsReached(), 0);
        QVERIFY(messages->messages.isEmpty());
    }

    void a_missing_or_empty_music_file_is_silent_without_a_message()
    {
        QFile empty(folder->File("Music/empty.mp3"));
        QVERIFY(empty.open(QIODevice::WriteOnly));
        empty.close();
        AddType(*folder, 1, "公寓", "gone.mp3");
        AddType(*folder, 2, "别墅", "empty.mp3");
        AddHouse(*folder, 1, "A", "101", 1, 1);
        AddHouse(*folder, 2, "B", "102", 1, 2);
        for (int id : {1, 2}) {
            frmHouseShow* w = frame->Open(id);
            QVERIFY(!w->MMC1->IsOpen());
            QVERIFY(!w->MMC1->IsPlaying());
            QTest::qWait(500);
            QCOMPARE(w->MMC1->EndsReached(), 0);
        }
        QVERIFY(messages->messages.isEmpty());
    }

    void only_the_end_of_the_tune_starts_it_again()
    {
        testsupport::MakeWav(folder->File("Music/long.wav"), 3000);
        AddType(*folder, 1, "公寓", "long.wav");
        AddHouse(*folder, 1, "A", "101", 1, 1);
        frmHouseShow* w = frame->Open(1);
        QVERIFY(w->MMC1->IsPlaying());
        QSignalSpy done(w->MMC1, &ui::MediaControl::Done);
        // Cut short from outside: the control reports it, and the window leaves it closed.
        w->MMC1->SetCommand("Close");
        QCOMPARE(done.count(), 1);
        QVERIFY(done[0][0].toInt() != 1);
        QTest::qWait(4000);
        QVERIFY(!w->MMC1->IsPlaying());
        QCOMPARE(w->MMC1->EndsReached(), 0);
    }

    void stepping_restarts_the_tune_from_its_beginning()
    {
        testsupport::MakeWav(folder->File("Music/long.wav"), 3000);
        AddType(*folder, 1, "公寓", "long.wav");
        AddHouse(*folder, 1, "A", "101", 1, 1);
        AddHouse(*folder, 2, "B", "102", 1, 1);
        frmHouseShow* w = frame->Open(1);
        QSignalSpy done(w->MMC1, &ui::MediaControl::Done);
        QTest::qWait(500);
        QTest::mouseClick(w->cmdNext, Qt::LeftButton);
        QCOMPARE(mdlHouse::CurrentHouseID, 2);
        // The old playback was closed (not ended) and a new one runs.
        QCOMPARE(done.count(), 1);
        QCOMPARE(done[0][0].toInt(), 4);
        QVERIFY(w->MMC1->IsPlaying());
    }

    void closing_the_window_closes_the_music()
    {
        testsupport::MakeWav(folder->File("Music/long.wav"), 3000);
        AddType(*folder, 1, "公寓", "long.wav");
        AddHouse(*folder, 1, "A", "101", 1, 1);
        frmHouseShow* w = frame->Open(1);
        ui::MediaControl* mmc = w->MMC1;
        QSignalSpy done(mmc, &ui::MediaControl::Done);
        QVERIFY(mmc->IsPlaying());
        w->UnloadForm();
        QCOMPARE(done.count(), 1);
        QCOMPARE(done[0][0].toInt(), 4);
    }
};

QTEST_MAIN(tst_house_music)
#include "tst_house_music.moc"
