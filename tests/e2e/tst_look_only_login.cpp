// A PC whose server login may only read the shared catalogue (a role with SELECT alone, made here by
// plain SQL on the test's own server). Every attempted write through the real windows (the
// wizard's new and edited house, the catalogue's deletion, type add/edit/move/delete, the
// template, the sales board's status) tells the user once, in the program's words, that this
// login may only look; nothing is written and the connection message never appears.
#include <unistd.h>

#include <QComboBox>
#include <QLineEdit>
#include <QMdiArea>
#include <QPlainTextEdit>
#include <QSettings>
#include <QTest>

#include "PgCluster.h"
#include "TestSupport.h"
#include "catalogue/frmHouseList.h"
#include "core/Save.h"
#include "core/mdlHouse.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"
#include "entry/frmAddNewImage.h"
#include "entry/frmHouseInput.h"
#include "sales/frmSalesBoard.h"
#include "types/frmContent.h"
#include "types/frmHouseType.h"

using testsupport::Click;
using testsupport::PgCluster;

class tst_look_only_login : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages;
    QMdiArea area;
    QStringList snapshot_;

    QStringList tables() const
    {
        QStringList all;
        for (const char* sql : {"SELECT HouseID, HouseName, Intro, TypeID FROM t_House ORDER BY HouseID",
                                "SELECT HouseID, Caption, Content FROM t_Content ORDER BY ContentID",
                                "SELECT TypeID, List, HouseType FROM t_HouseType ORDER BY TypeID",
                                "SELECT TypeID, Caption FROM t_Content_Auto ORDER BY ContentID"})
            for (const QVariantList& row : folder->Rows(QLatin1String(sql))) {
                QStringList cells;
                for (const QVariant& v : row) cells << v.toString();
                all << cells.join('|');
            }
        return all;
    }

    // Exactly one message, the look-only one, and the catalogue as it was.
    void expectRefused(const char* what)
    {
        QCOMPARE(messages->Texts(), QStringList{mdlHouse::kLookOnlyMessage});
        QVERIFY2(tables() == snapshot_, what);
        messages->Clear();
    }

private slots:
    void initTestCase()
    {
        qputenv("TAVRELO_TEST_STORE", "server");
        QVERIFY(PgCluster::Instance().Start());
        Forms::SetMdiArea(&area);
        Forms::Register("frmHouseInput", [] { return new frmHouseInput; });
        Forms::Register("frmAddNewImage", [] { return new frmAddNewImage; });
        Forms::Register("frmHouseList", [] { return new frmHouseList; });
        Forms::Register("frmHouseType", [] { return new frmHouseType; });
        Forms::Register("frmContent", [] { return new frmContent; });
        Forms::Register("frmSalesBoard", [] { return new frmSalesBoard; });
    }

    void every_write_is_refused_in_the_programs_words()
    {
        folder = std::make_unique<testsupport::ProgramFolder>();
        QVERIFY(folder->Exec(
            "INSERT INTO t_HouseType (List, HouseType, MusicTitle, MusicFile) VALUES (1, '公寓', '', ''), "
            "(2, '别墅', '', ''), (3, '商铺', '', '')"));
        const qint64 type = folder->Value("SELECT min(TypeID) FROM t_HouseType").toLongLong();
        QVERIFY(
            folder->Exec(QStringLiteral("INSERT INTO t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) "
                                        "VALUES ('一号楼', '101', 'x', 1, %1)")
                             .arg(type)));
        const qint64 house = folder->Value("SELECT max(HouseID) FROM t_House").toLongLong();
        QVERIFY(folder->Exec(QStringLiteral("INSERT INTO t_Content (HouseID, Caption, Content, List) VALUES "
                                            "(%1, '状态', '在售', 1)")
                                 .arg(house)));
        // A login that may read every table and change none.
        const QString role = QStringLiteral("look_%1").arg(getpid());
        QVERIFY(folder->Exec(QStringLiteral("CREATE ROLE %1 LOGIN").arg(role)));
        QVERIFY(folder->Exec(QStringLiteral("GRANT SELECT ON ALL TABLES IN SCHEMA public TO %1").arg(role)));
        QString uri = folder->ServerUri();
        const int user = uri.indexOf("user=");
        QVERIFY(user > 0);
        uri = uri.left(user) + "user=" + role;
        {
            QSettings settings(folder->File("Tavrelo.conf"), QSettings::IniFormat);
            settings.setValue("catalogue/server", uri);
        }
        snapshot_ = tables();
        messages = std::make_unique<testsupport::MsgBoxRecorder>();

        // The wizard: a new house, then the existing one edited.
        auto* w = qobject_cast<frmHouseInput*>(Forms::Show("frmHouseInput"));
        QVERIFY(w);
        w->StartInput(0);
        QCOMPARE(messages->Texts(), QStringList());
        w->cmbHouseName->setEditText("二号楼");
        w->cmbHouseType->setCurrentIndex(0);
        w->cmbHouseNo->setEditText("201");
        w->cmbHouseFloor->setEditText("2");
        QVERIFY(Click(w, "cmdNext"));
        QVERIFY(Click(w, "cmdFinish"));
        expectRefused("wizard, new house");
        QCOMPARE(Forms::Find("frmHouseInput"), w);
        QCOMPARE(w->cmbHouseName->currentText(), QStringLiteral("二号楼"));
        mdlHouse::CurrentHouseID = qint32(house);
        w->StartInput(1);
        w->txtHouseIntro->setPlainText("changed");
        QVERIFY(Click(w, "cmdNext"));
        QVERIFY(Click(w, "cmdFinish"));
        expectRefused("wizard, edited house");
        Forms::Unload("frmHouseInput");

        // The catalogue's deletion (its question answered Yes).
        auto* list = Forms::Show("frmHouseList");
        QVERIFY(list);
        auto* houses = list->findChild<ui::ListView*>("lsvHouse");
        QVERIFY(houses && houses->Model()->Count() == 1);
        houses->SelectRow(0);
        messages->Clear();
        QVERIFY(Click(list, "cmdDelete"));
        QCOMPARE(messages->Texts().size(), 2);  // the question, then the refusal
        messages->messages.removeFirst();
        expectRefused("catalogue deletion");

        // The type manager: add, edit, move, delete; the template editor.
        auto* types = qobject_cast<frmHouseType*>(Forms::Show("frmHouseType"));
        QVERIFY(types);
        auto* typeList = types->findChild<ui::ListView*>("lsvType");
        QVERIFY(typeList);
        QVERIFY(Click(types, "cmdAddNew"));
        types->findChild<QLineEdit*>("txtHouseType")->setText("写字楼");
        types->findChild<QLineEdit*>("txtMusicTitle")->setText("曲");
        QVERIFY(Click(types, "cmdEditOK"));
        expectRefused("type added");
        typeList->SelectRow(1);
        QVERIFY(Click(types, "cmdEdit"));
        types->findChild<QLineEdit*>("txtHouseType")->setText("改名");
        types->findChild<QLineEdit*>("txtMusicTitle")->setText("曲");
        QVERIFY(Click(types, "cmdEditOK"));
        expectRefused("type edited");
        typeList->SelectRow(1);
        QVERIFY(Click(types, "cmdUp"));
        expectRefused("type moved");
        typeList->SelectRow(2);
        QVERIFY(Click(types, "cmdDelete"));
        QCOMPARE(messages->Texts().size(), 2);  // the question, then the refusal
        messages->messages.removeFirst();
        expectRefused("type deleted");
        typeList->SelectRow(0);
        QVERIFY(Click(types, "cmdContent"));
        QWidget* editor = Forms::Find("frmContent");
        QVERIFY(editor);
        QVERIFY(Click(editor, "cmdAddNew"));
        editor->findChild<QLineEdit*>("txtCaption")->setText("面积");
        QVERIFY(Click(editor, "cmdEditOK"));
        QVERIFY(Click(editor, "cmdOK"));
        expectRefused("template saved");
        Forms::Unload("frmContent");
        Forms::Unload("frmHouseType");

        // The sales board's status.
        auto* board = qobject_cast<frmSalesBoard*>(Forms::Show("frmSalesBoard"));
        QVERIFY(board);
        QCoreApplication::processEvents();
        QVERIFY(board->Board().IndexOf(qint32(house)) >= 0);
        QVERIFY(!board->SetStatus(qint32(house), "已售"));
        expectRefused("board status");
        Forms::Unload("frmSalesBoard");
        folder.reset();
    }
};

QTEST_MAIN(tst_look_only_login)
#include "tst_look_only_login.moc"
