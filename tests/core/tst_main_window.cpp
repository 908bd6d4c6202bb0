// The main frame: its menus, what its load does, the two ways out, and a second copy.
#include <QAction>
#include <QDir>
#include <QFile>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QTest>

#include "TestSupport.h"
#include "core/mdlHouse.h"
#include "core/ui/Form.h"
#include "core/ui/Forms.h"
#include "windows/frmMain.h"

namespace {

// A window that counts its loads and unloads, registered under a menu's window name.
class CountingForm : public ui::Form {
public:
    static int loads;
    static int unloads;
    void Load() override { ++loads; }
    void Unload() override { ++unloads; }
};
int CountingForm::loads = 0;
int CountingForm::unloads = 0;

void writeImagePage(const testsupport::ProgramFolder& f)
{
    QFile page(f.File("Image.htm"));
    QVERIFY(page.open(QIODevice::WriteOnly));
    page.write("<html></html>\r\n");
}

}  // namespace

class tst_main_window : public QObject {
    Q_OBJECT
private slots:
    void menus_are_named_captioned_and_ordered()
    {
        testsupport::ProgramFolder f;
        frmMain w;
        QCOMPARE(w.windowTitle(), QString("Tavrelo"));
        QCOMPARE(w.objectName(), QString("frmMain"));
        const QList<QAction*> top = w.menuBar()->actions();
        QCOMPARE(top.size(), 4);
        QStringList seen;
        for (QAction* a : top) {
            QStringList entries;
            for (QAction* e : a->menu()->actions()) entries << e->objectName() + "=" + e->text();
            seen << a->menu()->objectName() + "=" + a->text() + "[" + entries.join(",") + "]";
        }
        QCOMPARE(seen,
                 (QStringList{"mnuSystem=系统[mnuExit=退出]",
                              "mnuHouse=房产信息[mnuHouseList=列表,mnuHouseInput=录入,mnuHouseType=类型]",
                              "mnuSales=销售[mnuSalesBoard=销控表,mnuHouseSheet=打印房源单页,=,"
                              "mnuPriceListImport=导入价目表…,mnuPriceListExport=导出价目表…,=,"
                              "mnuCustomers=客户…,mnuHistory=变更记录…,mnuSalesReport=销售报表…,mnuSalesSettings=设置…]",
                              "mnuHelp=帮助[mnuAbout=关于]"}));
    }

    void load_maximises_resets_the_shared_values_and_makes_the_media_folders()
    {
        testsupport::ProgramFolder f;
        QDir(f.Path()).rmdir("Images");
        QDir(f.Path()).rmdir("Music");
        mdlHouse::CurrentHouseID = 12;
        mdlHouse::MusicOff = 1;
        testsupport::MsgBoxRecorder boxes;
        frmMain w;
        QVERIFY(w.Load());
        QVERIFY(w.isMaximized());
        QCOMPARE(mdlHouse::CurrentHouseID, 0);
        QCOMPARE(mdlHouse::MusicOff, 0);
        QVERIFY(QFileInfo(f.File("Images")).isDir());
        QVERIFY(QFileInfo(f.File("Music")).isDir());
        QVERIFY(boxes.messages.isEmpty());
        // No child window opens by itself.
        QVERIFY(w.MdiArea()->subWindowList().isEmpty());
    }

    void existing_media_folders_are_silent()
    {
        testsupport::ProgramFolder f;
        QFile keep(f.File("Images/000001_0001.jpg"));
        QVERIFY(keep.open(QIODevice::WriteOnly));
        keep.write("x");
        keep.close();
        testsupport::MsgBoxRecorder boxes;
        frmMain w;
        QVERIFY(w.Load());
        QVERIFY(boxes.messages.isEmpty());
        QVERIFY(QFile::exists(f.File("Images/000001_0001.jpg")));
    }

    void a_read_only_program_folder_is_not_reported()
    {
        testsupport::ProgramFolder f;
        const QString ro = f.File("ro");
        QVERIFY(QDir().mkdir(ro));
        QFile::setPermissions(ro, QFile::ReadOwner | QFile::ExeOwner);
        mdlHouse::SetProgramFolder(ro);
        testsupport::MsgBoxRecorder boxes;
        mdlHouse::CreateMediaFolders();
        QVERIFY(boxes.messages.isEmpty());
        QFile::setPermissions(ro, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        mdlHouse::SetProgramFolder(f.Path());
    }

    void paths_are_the_folder_joined_with_the_suffix_as_it_stands()
    {
        testsupport::ProgramFolder f;
        mdlHouse::SetProgramFolder("/");
        QCOMPARE(mdlHouse::ProgramPath("/Images"), QString("//Images"));
        mdlHouse::SetProgramFolder("/srv/office/");
        QCOMPARE(mdlHouse::ProgramFolder(), QString("/srv/office"));
        QCOMPARE(mdlHouse::DatabasePath(), QString("/srv/office/House.db"));
        mdlHouse::SetProgramFolder(f.Path());
    }

    void menu_entries_open_their_windows_through_the_registry()
    {
        testsupport::ProgramFolder f;
        CountingForm::loads = CountingForm::unloads = 0;
        Forms::Register("frmHouseList", [] { return new CountingForm; });
        frmMain w;
        QVERIFY(w.Load());
        w.mnuHouseList->trigger();
        QCOMPARE(CountingForm::loads, 1);
        QCOMPARE(w.MdiArea()->subWindowList().size(), 1);
        QWidget* list = Forms::Find("frmHouseList");
        QVERIFY(list);
        // A second time it is only brought forward: no new window, no second load.
        w.mnuHouseList->trigger();
        QCOMPARE(CountingForm::loads, 1);
        QCOMPARE(w.MdiArea()->subWindowList().size(), 1);
        QCOMPARE(Forms::Find("frmHouseList"), list);
        // An entry with nothing registered does nothing.
        QVERIFY(!Forms::IsRegistered("frmNothingHere"));
        QCOMPARE(Forms::Show("frmNothingHere"), nullptr);
        w.close();
        QCOMPARE(CountingForm::unloads, 1);
    }

    void closing_the_frame_unloads_the_children_and_deletes_the_image_page()
    {
        testsupport::ProgramFolder f;
        CountingForm::loads = CountingForm::unloads = 0;
        Forms::Register("frmAbout", [] { return new CountingForm; });
        auto* w = new frmMain;
        QVERIFY(w->Load());
        w->mnuAbout->trigger();
        QCOMPARE(CountingForm::loads, 1);
        writeImagePage(f);
        QVERIFY(w->close());
        QCOMPARE(CountingForm::unloads, 1);
        QVERIFY(!QFile::exists(f.File("Image.htm")));
        delete w;
        // A missing page is not reported.
        testsupport::MsgBoxRecorder boxes;
        frmMain again;
        QVERIFY(again.Load());
        QVERIFY(again.close());
        QVERIFY(boxes.messages.isEmpty());
    }

    void the_menu_exit_ends_at_once_and_leaves_the_image_page()
    {
        testsupport::ProgramFolder f;
        CountingForm::loads = CountingForm::unloads = 0;
        Forms::Register("frmAbout", [] { return new CountingForm; });
        int ends = 0;
        frmMain::SetEndProgram([&] { ++ends; });
        {
            frmMain w;
            QVERIFY(w.Load());
            w.mnuAbout->trigger();
            writeImagePage(f);
            w.mnuExit->trigger();
            QCOMPARE(ends, 1);
            QVERIFY(QFile::exists(f.File("Image.htm")));
            QCOMPARE(CountingForm::unloads, 0);
        }
        // Ending destroys the windows without their unload handlers.
        QCOMPARE(CountingForm::unloads, 0);
        QVERIFY(QFile::exists(f.File("Image.htm")));
        frmMain::SetEndProgram({});
    }

    void a_second_copy_is_refused_and_deletes_the_shared_image_page()
    {
        testsupport::ProgramFolder f;
        testsupport::MsgBoxRecorder boxes;
        frmMain first;
        QVERIFY(first.Load());
        writeImagePage(f);
        QDir(f.Path()).rmdir("Music");
        frmMain second;
        QVERIFY(!second.Load());
        QCOMPARE(boxes.Texts(), QStringList{"<Tavrelo> 正在运行中。"});
        QCOMPARE(boxes.messages[0].second, ui::Buttons::OkOnly);
        QVERIFY(!QFile::exists(f.File("Image.htm")));
        // The refused copy made no folder.
        QVERIFY(!QFileInfo(f.File("Music")).exists());
        QVERIFY(first.isVisible());
    }
};

QTEST_MAIN(tst_main_window)
#include "tst_main_window.moc"
