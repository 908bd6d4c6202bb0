#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include "TypeTestFixture.h"
#include "types/TypeMusic.h"

using namespace typetest;
using testsupport::Click;

class tst_type_music : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<testsupport::MsgBoxRecorder> boxes;
    std::unique_ptr<testsupport::FileDialogStub> dialog;
    QTemporaryDir elsewhere;  // where the user's own music lives

    QString musicPath(const QString& name) const { return folder->File("Music/" + name); }

private slots:
    void initTestCase() { RegisterWindows(); }
    void init()
    {
        folder = std::make_unique<testsupport::ProgramFolder>();
        boxes = std::make_unique<testsupport::MsgBoxRecorder>();
        dialog = std::make_unique<testsupport::FileDialogStub>();
    }
    void cleanup()
    {
        CloseAll();
        dialog.reset();
        boxes.reset();
        folder.reset();
    }

    void file_name_is_the_part_after_the_last_folder_separator()
    {
        QCOMPARE(TypeMusic::FileName("/home/sales/a/b/song.mp3"), QString("song.mp3"));
        QCOMPARE(TypeMusic::FileName("song.mp3"), QString("song.mp3"));
        QCOMPARE(TypeMusic::FileName(""), QString(""));
#ifdef Q_OS_WIN
        QCOMPARE(TypeMusic::FileName("C:\\a\\b\\song.mp3"), QString("song.mp3"));
        QCOMPARE(TypeMusic::FileName("C:\\a/b\\song.mp3"), QString("song.mp3"));
#else
        // Here a backslash is an ordinary character of a file name.
        QCOMPARE(TypeMusic::FileName("/music/a\\b/we\\ird.mp3"), QString("we\\ird.mp3"));
#endif
    }

    void browse_uses_the_audio_filter_and_puts_the_path_in_the_box()
    {
        const QString song = elsewhere.path() + "/tune.wav";
        WriteFile(song, "RIFF-not-really");
        frmHouseType* w = OpenTypes();
        QVERIFY(Click(w, "cmdAddNew"));
        dialog->paths << song;
        QVERIFY(Click(w, "cmdOpenMusicFile"));
        QCOMPARE(dialog->filters,
                 QStringList({"音频媒体文件 (*.wav; *.mp3; *.mid)|*.wav; *.mp3; *.mid|所有文件 (*.*)|*.*"}));
        QCOMPARE(w->txtMusicFile->text(), song);
        // Nothing is copied before the save.
        QVERIFY(!QFile::exists(musicPath("tune.wav")));
    }

    void chosen_file_is_stored_by_name_and_copied_over_one_of_that_name()
    {
        QVERIFY(QDir(elsewhere.path()).mkpath("a/b"));
        const QString song = elsewhere.path() + "/a/b/song.mp3";
        WriteFile(song, "the new song");
        WriteFile(musicPath("song.mp3"), "an older song of the same name");
        SeedTypes(*folder, 1);
        frmHouseType* w = OpenTypes();
        QVERIFY(Click(w, "cmdAddNew"));
        dialog->paths << song;
        QVERIFY(Click(w, "cmdOpenMusicFile"));
        QVERIFY(Click(w, "cmdEditOK"));
        QCOMPARE(folder->Value("Select MusicFile From t_HouseType Where List = 2").toString(),
                 QString("song.mp3"));
        QCOMPARE(ReadFile(musicPath("song.mp3")), QByteArray("the new song"));
        QCOMPARE(ReadFile(song), QByteArray("the new song"));
        QCOMPARE(w->lsvType->SelectedText(3), QString("song.mp3"));
        QCOMPARE(w->txtMusicFile->text(), folder->Path() + "/Music/song.mp3");
    }

    void saving_an_unchanged_tune_copies_it_onto_itself_intact()
    {
        WriteFile(musicPath("keep.wav"), "tune bytes that must survive");
        SeedTypes(*folder, 1);
        folder->Exec("Update t_HouseType Set MusicFile = 'keep.wav'");
        frmHouseType* w = OpenTypes();
        QCOMPARE(w->txtMusicFile->text(), folder->Path() + "/Music/keep.wav");
        QVERIFY(Click(w, "cmdEdit"));
        QVERIFY(TypeInto(w->txtMusicTitle, "new title"));
        QVERIFY(Click(w, "cmdEditOK"));
        QCOMPARE(folder->Value("Select MusicTitle || '|' || MusicFile From t_HouseType").toString(),
                 QString("new title|keep.wav"));
        QCOMPARE(ReadFile(musicPath("keep.wav")), QByteArray("tune bytes that must survive"));
    }

    void a_path_that_does_not_exist_is_saved_as_no_music()
    {
        SeedTypes(*folder, 1);
        frmHouseType* w = OpenTypes();
        QVERIFY(Click(w, "cmdEdit"));
        QVERIFY(TypeInto(w->txtMusicFile, elsewhere.path() + "/missing.mp3"));
        QVERIFY(Click(w, "cmdEditOK"));
        QCOMPARE(folder->Value("Select MusicFile From t_HouseType").toString(), QString(""));
        QVERIFY(boxes->messages.isEmpty());
        QVERIFY(QDir(folder->File("Music")).entryList(QDir::Files).isEmpty());
    }

    void cancelled_dialog_brings_back_the_earlier_choice()
    {
        const QString first = elsewhere.path() + "/first.mid";
        WriteFile(first, "midi");
        SeedTypes(*folder, 1);
        frmHouseType* w = OpenTypes();
        QVERIFY(Click(w, "cmdEdit"));
        dialog->paths << first;
        QVERIFY(Click(w, "cmdOpenMusicFile"));
        QCOMPARE(w->txtMusicFile->text(), first);
        QVERIFY(Click(w, "cmdEditCancel"));
        QCOMPARE(w->txtMusicFile->text(), QString());
        QVERIFY(Click(w, "cmdEdit"));
        QVERIFY(TypeInto(w->txtMusicFile, "typed over"));
        QVERIFY(Click(w, "cmdOpenMusicFile"));  // no answer queued: cancelled
        QCOMPARE(dialog->filters.size(), 2);
        QCOMPARE(w->txtMusicFile->text(), first);
    }

    void cancelled_dialog_without_an_earlier_choice_leaves_the_box()
    {
        SeedTypes(*folder, 1);
        frmHouseType* w = OpenTypes();
        QVERIFY(Click(w, "cmdAddNew"));
        QVERIFY(Click(w, "cmdOpenMusicFile"));
        QCOMPARE(w->txtMusicFile->text(), QString("请单击\"浏览\"选择一首歌曲。"));
    }

    void chosen_tune_plays_stops_and_resets_the_button_at_its_end()
    {
        const QString source = elsewhere.path() + "/beep.wav";
        testsupport::MakeWav(source, 400);
        frmHouseType* w = OpenTypes();
        QVERIFY(Click(w, "cmdAddNew"));
        QVERIFY(TypeInto(w->txtHouseType, "loft"));
        dialog->paths << source;
        QVERIFY(Click(w, "cmdOpenMusicFile"));
        QVERIFY(Click(w, "cmdEditOK"));
        QCOMPARE(folder->Value("Select MusicFile From t_HouseType").toString(), QString("beep.wav"));
        QCOMPARE(ReadFile(musicPath("beep.wav")), ReadFile(source));
        QCOMPARE(w->txtMusicFile->text(), musicPath("beep.wav"));

        // "▲" plays the copy in the Music folder, "■" stops it.
        QSignalSpy done(w->MMC1, &ui::MediaControl::Done);
        QVERIFY(Click(w, "cmdPlay"));
        QCOMPARE(w->cmdPlay->text(), QString("■"));
        QCOMPARE(w->MMC1->FileName(), musicPath("beep.wav"));
        QVERIFY(w->MMC1->IsPlaying());
        QVERIFY(Click(w, "cmdPlay"));
        QCOMPARE(w->cmdPlay->text(), QString("▲"));
        QVERIFY(!w->MMC1->IsPlaying());
        QCOMPARE(done.size(), 1);
        QCOMPARE(done.at(0).at(0).toInt(), 4);
        QCOMPARE(w->MMC1->EndsReached(), 0);

        // Played to its end, the tune resets the button by itself.
        QVERIFY(Click(w, "cmdPlay"));
        QCOMPARE(w->cmdPlay->text(), QString("■"));
        QTRY_COMPARE_WITH_TIMEOUT(w->MMC1->EndsReached(), 1, 30000);
        QTRY_COMPARE_WITH_TIMEOUT(w->cmdPlay->text(), QString("▲"), 5000);
        QVERIFY(!w->MMC1->IsOpen());
    }

    void a_click_in_the_list_stops_the_tune()
    {
        testsupport::MakeWav(musicPath("long.wav"), 3000);
        SeedTypes(*folder, 2);
        folder->Exec("Update t_HouseType Set MusicFile = 'long.wav' Where List = 1");
        frmHouseType* w = OpenTypes();
        QVERIFY(Click(w, "cmdPlay"));
        QCOMPARE(w->cmdPlay->text(), QString("■"));
        QVERIFY(w->MMC1->IsPlaying());
        ClickRow(w->lsvType, 1);
        QCOMPARE(w->cmdPlay->text(), QString("▲"));
        QVERIFY(!w->MMC1->IsPlaying());
        QVERIFY(!w->MMC1->IsOpen());
    }

    void closing_the_window_stops_the_tune()
    {
        testsupport::MakeWav(musicPath("long.wav"), 3000);
        SeedTypes(*folder, 1);
        folder->Exec("Update t_HouseType Set MusicFile = 'long.wav'");
        frmHouseType* w = OpenTypes();
        QSignalSpy done(w->MMC1, &ui::MediaControl::Done);
        QVERIFY(Click(w, "cmdPlay"));
        QVERIFY(w->MMC1->IsPlaying());
        QVERIFY(Click(w, "cmdExit"));
        QCOMPARE(done.size(), 1);
        QCOMPARE(done.at(0).at(0).toInt(), 4);
        QVERIFY(!Forms::Find("frmHouseType"));
    }

    void a_type_without_music_plays_nothing_and_the_button_waits_for_a_stop()
    {
        SeedTypes(*folder, 1);
        frmHouseType* w = OpenTypes();
        QVERIFY(Click(w, "cmdPlay"));
        // The control opens nothing for an empty name; the button still shows the stop symbol,
        // as the play routine sets it unconditionally.
        QVERIFY(!w->MMC1->IsOpen());
        QCOMPARE(w->cmdPlay->text(), QString("■"));
        QVERIFY(Click(w, "cmdPlay"));
        QCOMPARE(w->cmdPlay->text(), QString("▲"));
        QVERIFY(boxes->messages.isEmpty());
    }
};

QTEST_MAIN(tst_type_music)
#include "tst_type_music.moc"
