// What one PC sees of another PC's changes to the shared catalogue: a type moved and a type added
// in another program process appear here after a refresh of the type manager, and a house that
// the other process deletes while this one presents it behaves here as a deleted house.
//
// The other PC is this executable started again with --other FOLDER: its own program folder on
// the same database, driving the program's own windows offscreen.
#include <QApplication>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include "../catalogue/CatalogueFixture.h"
#include "../presentation/ShowFixture.h"
#include "../types/TypeTestFixture.h"
#include "PgCluster.h"
#include "TestSupport.h"

namespace {

// The other PC: moves the second type up, adds "villa", and deletes the only house.
int runOther(const QString& folder)
{
    mdlHouse::SetProgramFolder(folder);
    testsupport::MsgBoxRecorder messages;
    cataloguetest::Frame frame;
    typetest::RegisterWindows();
    frmHouseType* types = typetest::OpenTypes();
    if (!types || types->lsvType->Model()->Count() != 2) return 3;
    typetest::ClickRow(types->lsvType, 1);
    if (!testsupport::Click(types, QStringLiteral("cmdUp"))) return 4;
    if (!testsupport::Click(types, QStringLiteral("cmdAddNew"))) return 5;
    typetest::TypeInto(types->txtHouseType, QStringLiteral("villa"));
    typetest::TypeInto(types->txtMusicTitle, QStringLiteral("spring"));
    if (!testsupport::Click(types, QStringLiteral("cmdEditOK"))) return 6;
    frmHouseList* list = frame.OpenList();
    if (!list || list->lsvHouse->Model()->Count() != 1) return 7;
    if (!testsupport::Click(list, QStringLiteral("cmdDelete"))) return 8;  // the question is answered Yes
    if (list->lsvHouse->Model()->Count() != 0) return 9;
    return messages.messages.size() == 1 ? 0 : 10;
}

}  // namespace

class tst_shared_changes : public QObject {
    Q_OBJECT

private slots:
    void another_pcs_changes_are_seen_after_a_refresh()
    {
        qputenv("TAVRELO_TEST_STORE", "server");
        testsupport::ProgramFolder folder;
        typetest::SeedTypes(folder, 2);
        QVERIFY(
            folder.Exec("Insert Into t_House (HouseID, HouseName, HouseNo, Intro, HouseFloor, TypeID) "
                        "Values (5, 'A座', '101', 'south', 9, 1)"));
        testsupport::MsgBoxRecorder messages;
        showtest::Frame frame;
        typetest::RegisterWindows();
        frmHouseShow* show = frame.Open(5);
        QVERIFY(show);
        QCOMPARE(show->lblHouseName->text(), QString("A座"));
        frmHouseType* types = typetest::OpenTypes();
        QVERIFY(types);
        QCOMPARE(typetest::Column(types->lsvType, 1), QStringList({"T1", "T2"}));

        QTemporaryDir other;
        QSettings(other.path() + "/Tavrelo.conf", QSettings::IniFormat)
            .setValue("catalogue/server", folder.ServerUri());
        QProcess pc;
        pc.setProcessChannelMode(QProcess::ForwardedChannels);
        pc.start(QCoreApplication::applicationFilePath(), {"--other", other.path()});
        QVERIFY(pc.waitForFinished(120000));
        QCOMPARE(pc.exitCode(), 0);

        // Nothing changes here by itself; a refresh shows the other PC's order and its new type.
        QCOMPARE(typetest::Column(types->lsvType, 1), QStringList({"T1", "T2"}));
        QVERIFY(testsupport::Click(types, "cmdRefresh"));
        QCOMPARE(typetest::Column(types->lsvType, 1), QStringList({"T2", "T1", "villa"}));

        // The presented house is gone: showing it again leaves only what a deleted house leaves.
        show->ShowHouse();
        for (QLabel* l :
             {show->lblHouseID, show->lblHouseName, show->lblHouseType, show->lblHouseNo, show->lblIntro})
            QCOMPARE(l->text(), QString());
        QCOMPARE(show->lblImageIntro->text(), QString("该房间没有任何图片"));
        QVERIFY(messages.messages.isEmpty());
        typetest::CloseAll();
    }
};

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    if (argc == 3 && QByteArray(argv[1]) == "--other") return runOther(QString::fromLocal8Bit(argv[2]));
    tst_shared_changes test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_shared_changes.moc"
