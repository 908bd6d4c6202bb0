// A wizard save whose house another PC deleted meanwhile writes nothing (no rows left without
// their house) and keeps what was entered, which the next "完成" saves as a new house; a template
// saved for a type deleted meanwhile writes nothing either. The other PC is this test writing to
// the catalogue directly, between the window's load and its save. Runs on House.db and (as
// tst_save_refusals_server) on the test server.
#include <QDir>
#include <QTest>

#include "EntryFixture.h"
#include "core/Save.h"
#include "types/frmContent.h"
#include "types/frmHouseType.h"

using namespace entrytest;
using testsupport::Click;

class tst_save_refusals : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages;
    std::unique_ptr<testsupport::FileDialogStub> files;

    qint64 count(const QString& sql) const { return folder->Value(sql).toLongLong(); }

private slots:
    void init()
    {
        folder = std::make_unique<testsupport::ProgramFolder>();
        messages = std::make_unique<testsupport::MsgBoxRecorder>();
        files = std::make_unique<testsupport::FileDialogStub>();
        RegisterWindows();
        Forms::Register(QStringLiteral("frmHouseType"), [] { return new frmHouseType; });
        Forms::Register(QStringLiteral("frmContent"), [] { return new frmContent; });
        AddTypes(*folder, {QStringLiteral("公寓"), QStringLiteral("别墅")});
    }

    void cleanup()
    {
        for (const char* name : {"frmContent", "frmHouseType"}) Forms::Unload(QString::fromLatin1(name));
        CloseWindows();
        files.reset();
        messages.reset();
        folder.reset();
    }

    void edit_of_a_house_deleted_meanwhile_writes_nothing_and_offers_a_new_house()
    {
        const QString picture = testsupport::MakePicture(folder->File("source.png"), 40, 30);
        // House 1 with a row and a picture, saved through the wizard.
        frmHouseInput* w = OpenFromCatalogue(0);
        QVERIFY(w);
        QVERIFY(FillPage1(w, QStringLiteral("一号楼"), QStringLiteral("公寓"), "101", "1"));
        SetRow(w, 1, QStringLiteral("朝向"), QStringLiteral("南"));
        QVERIFY(Click(w, "cmdNext"));
        QVERIFY(AddPicture(*files, QStringLiteral("客厅"), QStringLiteral("大"), picture));
        QVERIFY(Click(w, "cmdFinish"));
        QCOMPARE(count("SELECT count(*) FROM t_House"), 1);
        const qint64 house = count("SELECT max(HouseID) FROM t_House");
        CloseWindows();

        // Opened for editing here, deleted by another PC, then saved here.
        mdlHouse::CurrentHouseID = qint32(house);
        w = OpenFromCatalogue(1);
        QVERIFY(w);
        SetRow(w, 1, QStringLiteral("朝向"), QStringLiteral("北"));
        Type(w, QStringLiteral("txtHouseIntro"), QStringLiteral("改过"));
        QVERIFY(Click(w, "cmdNext"));
        for (const char* table : {"t_Content", "t_Image", "t_House"})
            QVERIFY(folder->Exec(
                QStringLiteral("DELETE FROM %1 WHERE HouseID = %2").arg(QLatin1String(table)).arg(house)));
        messages->Clear();
        QVERIFY(Click(w, "cmdFinish"));
        QCOMPARE(messages->Texts().size(), 1);
        QVERIFY2(messages->Texts().value(0).startsWith(mdlHouse::kHouseGoneMessage),
                 qPrintable(messages->Texts().join("|")));
        QCOMPARE(count("SELECT count(*) FROM t_House"), 0);
        QCOMPARE(count("SELECT count(*) FROM t_Content"), 0);
        QCOMPARE(count("SELECT count(*) FROM t_Image"), 0);
        // The wizard is still there, with what was entered, now for a new house.
        QCOMPARE(Wizard(), w);
        QCOMPARE(w->InputMode(), 0);
        QCOMPARE(w->cmbHouseName->currentText(), QStringLiteral("一号楼"));
        QCOMPARE(w->txtHouseIntro->toPlainText(), QStringLiteral("改过"));
        QCOMPARE(w->cmbContent[1]->currentText(), QStringLiteral("北"));

        messages->Clear();
        QVERIFY(Click(w, "cmdFinish"));
        QCOMPARE(messages->Texts(), QStringList());
        QCOMPARE(count("SELECT count(*) FROM t_House"), 1);
        const qint64 added = count("SELECT max(HouseID) FROM t_House");
        QVERIFY(added > house);
        QCOMPARE(Table(*folder, QStringLiteral("SELECT HouseID, Caption, Content FROM t_Content")),
                 QStringList{QStringLiteral("%1|朝向|北").arg(added)});
        QCOMPARE(Table(*folder, QStringLiteral("SELECT HouseID, Caption, ImageFile FROM t_Image")),
                 QStringList{
                     QStringLiteral("%1|客厅|%2_0001.png").arg(added).arg(added, 6, 10, QLatin1Char('0'))});
        QCOMPARE(
            Bytes(folder->File(QStringLiteral("Images/%1_0001.png").arg(added, 6, 10, QLatin1Char('0')))),
            Bytes(picture));
    }

    void template_for_a_type_deleted_meanwhile_writes_nothing()
    {
        auto* types = qobject_cast<frmHouseType*>(Forms::Show(QStringLiteral("frmHouseType")));
        QVERIFY(types);
        auto* view = types->findChild<ui::ListView*>(QStringLiteral("lsvType"));
        QVERIFY(view);
        view->SelectRow(1);
        QVERIFY(Click(types, "cmdContent"));
        QWidget* editor = Forms::Find(QStringLiteral("frmContent"));
        QVERIFY(editor);
        QVERIFY(Click(editor, "cmdAddNew"));
        Type(editor, QStringLiteral("txtCaption"), QStringLiteral("面积"));
        Type(editor, QStringLiteral("txtContent"), QStringLiteral("90"));
        QVERIFY(Click(editor, "cmdEditOK"));
        // Another PC deletes the type (position 2) before the template is saved.
        QVERIFY(folder->Exec(QStringLiteral("DELETE FROM t_HouseType WHERE List = 2")));
        messages->Clear();
        QVERIFY(Click(editor, "cmdOK"));
        QCOMPARE(messages->Texts(), QStringList{mdlHouse::kTypeGoneMessage});
        QCOMPARE(count("SELECT count(*) FROM t_Content_Auto"), 0);
        QVERIFY(Forms::Find(QStringLiteral("frmContent")));
    }
};

QTEST_MAIN(tst_save_refusals)
#include "tst_save_refusals.moc"
