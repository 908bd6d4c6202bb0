// The pieces every window is built from: the window registry, control arrays, twips, the list
// view, the file dialog's filter and the media control's completion notices.
#include <QHeaderView>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <cmath>

#include "TestSupport.h"
#include "core/ui/ControlArray.h"
#include "core/ui/FileDialog.h"
#include "core/ui/Form.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"
#include "core/ui/MediaControl.h"
#include "core/ui/Twips.h"

namespace {

class SizedForm : public ui::Form {
    Q_OBJECT
public:
    int resizes = 0;
    int unloads = 0;
    void Load() override { SetSizeTwips(6000, 3000); }
    void Unload() override { ++unloads; }
    void Resized() override { ++resizes; }
};

}  // namespace

class tst_platform_pieces : public QObject {
    Q_OBJECT
private slots:
    void twips_are_fifteen_to_a_pixel()
    {
        QCOMPARE(ui::Px(1500), 100);
        QCOMPARE(ui::Px(10100), 673);
        QCOMPARE(ui::Px(7), 0);
        QCOMPARE(ui::Px(8), 1);
        QCOMPARE(ui::Twips(100), 1500);
    }

    void the_registry_loads_once_and_places_windows_in_the_frame()
    {
        QMdiArea area;
        area.resize(1200, 800);
        area.show();
        Forms::SetMdiArea(&area);
        int made = 0;
        Forms::Register("frmSized", [&] {
            ++made;
            return new SizedForm;
        });
        auto* w = qobject_cast<SizedForm*>(Forms::Show("frmSized"));
        QVERIFY(w);
        QCOMPARE(w->objectName(), QString("frmSized"));
        QCOMPARE(area.subWindowList().size(), 1);
        // The size set in Load is the frame's outer size.
        QCOMPARE(w->Frame()->size(), QSize(400, 200));
        QCOMPARE(w->WidthTwips(), 6000);
        QVERIFY(w->resizes > 0);
        QCOMPARE(Forms::Show("frmSized"), w);
        QCOMPARE(made, 1);
        QCOMPARE(Forms::Find("frmSized"), w);
        Forms::Unload("frmSized");
        QCOMPARE(w->unloads, 1);
        QCOMPARE(Forms::Find("frmSized"), nullptr);
        QTRY_COMPARE(area.subWindowList().size(), 0);
        // Showing it again makes a new one.
        QVERIFY(Forms::Show("frmSized"));
        QCOMPARE(made, 2);
        Forms::Unload("frmSized");
        Forms::SetMdiArea(nullptr);
    }

    void a_window_closed_by_its_own_exit_is_forgotten_at_once()
    {
        Forms::Register("frmSized", [] { return new SizedForm; });
        auto* w = qobject_cast<SizedForm*>(Forms::Show("frmSized"));
        QVERIFY(w);
        w->UnloadForm();
        QCOMPARE(w->unloads, 1);
        QCOMPARE(Forms::Find("frmSized"), nullptr);
    }

    void control_arrays_copy_the_template()
    {
        QWidget parent;
        auto* tmpl = new QLabel("标题", &parent);
        tmpl->setObjectName("lblCaption");
        tmpl->setGeometry(10, 20, 120, 18);
        QFont font = tmpl->font();
        font.setBold(true);
        tmpl->setFont(font);
        tmpl->setAlignment(Qt::AlignRight);
        ui::ControlArray<QLabel> labels(tmpl);
        QVERIFY(tmpl->isHidden());
        QCOMPARE(labels.UBound(), 0);
        QLabel* one = labels.Load(1);
        QLabel* two = labels.Load(2);
        QVERIFY(one && two);
        QCOMPARE(one->objectName(), QString("lblCaption(1)"));
        QCOMPARE(parent.findChild<QLabel*>("lblCaption(2)"), two);
        QCOMPARE(one->geometry(), tmpl->geometry());
        QVERIFY(one->font().bold());
        QCOMPARE(one->alignment(), Qt::AlignRight);
        QCOMPARE(one->text(), QString("标题"));
        QVERIFY(one->isHidden());  // a new element starts hidden
        QCOMPARE(labels.Load(1), one);
        QCOMPARE(labels.UBound(), 2);
        labels.Unload(2);
        QCOMPARE(labels.UBound(), 1);
        QCOMPARE(parent.findChild<QLabel*>("lblCaption(2)"), nullptr);
        labels.Load(3);
        labels.UnloadAll();
        QCOMPARE(labels.UBound(), 0);
        QCOMPARE(labels[0], tmpl);
    }

    void the_list_sorts_as_text_and_keeps_a_selection()
    {
        ui::ListView list;
        ui::ListModel* m = list.Model();
        m->AddColumn("序号", 1000);
        m->AddColumn("名称", 1500);
        QCOMPARE(list.columnWidth(0), ui::Px(1000));
        QCOMPARE(list.SelectedRow(), -1);
        std::vector<QStringList> rows = {{"000010", "b"}, {"000002", "A"}, {"000100", "c"}};
        m->SetItems(rows);
        QCOMPARE(list.SelectedRow(), 0);
        list.SetSortKey(0);
        QCOMPARE(m->Text(0), QString("000002"));
        QCOMPARE(m->Text(2), QString("000100"));
        list.SetSortKey(1);  // text, without regard to case: A, b, c
        QCOMPARE(m->Text(0, 1), QString("A"));
        QCOMPARE(m->Text(1, 1), QString("b"));
        list.SelectRow(2);
        QCOMPARE(list.SelectedText(), QString("000100"));
        // The selection follows its row through a sort.
        list.SetSortKey(0);
        QCOMPARE(list.SelectedText(), QString("000100"));
        QSignalSpy clicks(&list, &ui::ListView::ColumnClick);
        list.resize(400, 200);
        list.show();
        QVERIFY(QTest::qWaitForWindowExposed(&list));
        QTest::mouseClick(list.horizontalHeader()->viewport(), Qt::LeftButton, {},
                          QPoint(list.horizontalHeader()->sectionViewportPosition(1) + 5, 5));
        QCOMPARE(clicks.size(), 1);
        QCOMPARE(clicks[0][0].toInt(), 1);
        m->ClearItems();
        QCOMPARE(list.SelectedRow(), -1);
    }

    void the_file_dialog_filter_becomes_qt_name_filters()
    {
        QCOMPARE(
            ui::QtNameFilters("音频媒体文件 (*.wav; *.mp3; *.mid)|*.wav; *.mp3; *.mid|所有文件 (*.*)|*.*"),
            (QStringList{"音频媒体文件 (*.wav; *.mp3; *.mid) (*.wav  *.mp3  *.mid)",
                         "所有文件 (*.*) (*.*)"}));
        testsupport::FileDialogStub stub;
        stub.paths << "/tmp/a.wav";
        QCOMPARE(ui::GetOpenFileName(nullptr, "x|*.x"), QString("/tmp/a.wav"));
        QCOMPARE(ui::GetOpenFileName(nullptr, "y|*.y"), QString());
        QCOMPARE(stub.filters, (QStringList{"x|*.x", "y|*.y"}));
    }

    void the_media_control_reports_the_end_only_when_playback_ends()
    {
        testsupport::ProgramFolder f;
        const QString wav = testsupport::MakeWav(f.File("Music/tone.wav"), 300);
        ui::MediaControl mmc;
        QSignalSpy done(&mmc, &ui::MediaControl::Done);
        mmc.SetFileName(wav);
        mmc.SetCommand("Open");
        QVERIFY(mmc.IsOpen());
        mmc.SetCommand("Play");
        QTRY_COMPARE_WITH_TIMEOUT(done.size(), 1, 30000);
        QCOMPARE(done[0][0].toInt(), 1);
        QCOMPARE(mmc.EndsReached(), 1);
        // Cut short: a Close while playing reports 4, never 1, and no end follows later.
        mmc.SetCommand("Open");
        mmc.SetCommand("Play");
        mmc.SetCommand("Close");
        QCOMPARE(done.size(), 2);
        QCOMPARE(done[1][0].toInt(), 4);
        QTest::qWait(1500);
        QCOMPARE(done.size(), 2);
        QCOMPARE(mmc.EndsReached(), 1);
    }

    void a_missing_or_empty_music_file_is_silent()
    {
        testsupport::ProgramFolder f;
        QFile empty(f.File("Music/empty.mp3"));
        QVERIFY(empty.open(QIODevice::WriteOnly));
        empty.close();
        ui::MediaControl mmc;
        QSignalSpy done(&mmc, &ui::MediaControl::Done);
        for (const QString& file : {f.File("Music/none.mp3"), f.File("Music/empty.mp3"), f.File("Music/")}) {
            mmc.SetFileName(file);
            mmc.SetCommand("Close");
            mmc.SetCommand("Open");
            mmc.SetCommand("Play");
            QVERIFY(!mmc.IsOpen());
            QVERIFY(!mmc.IsPlaying());
        }
        QTest::qWait(500);
        QCOMPARE(done.size(), 0);
    }
};

QTEST_MAIN(tst_platform_pieces)
#include "tst_platform_pieces.moc"
