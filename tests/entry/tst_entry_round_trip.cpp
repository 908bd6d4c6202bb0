// One house through every window that touches it: a type made in the type manager, the house
// entered through the catalogue's "新增" with three attribute rows and two pictures, shown in the
// catalogue, presented with its pictures, edited from the catalogue and deleted from it. Every
// step is checked in the tables and files.

#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "EntryFixture.h"
#include "catalogue/frmHouseList.h"
#include "core/ui/WebBrowser.h"
#include "presentation/frmHouseShow.h"
#include "types/frmContent.h"
#include "types/frmHouseType.h"

using namespace entrytest;
using testsupport::Click;

class tst_entry_round_trip : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages;
    std::unique_ptr<testsupport::FileDialogStub> files;

    QStringList imageFiles() const
    {
        return QDir(folder->File(QStringLiteral("Images"))).entryList(QDir::Files, QDir::Name);
    }

private slots:
    void init()
    {
        folder = std::make_unique<testsupport::ProgramFolder>();
        messages = std::make_unique<testsupport::MsgBoxRecorder>();
        files = std::make_unique<testsupport::FileDialogStub>();
        RegisterWindows();
    }

    void cleanup()
    {
        for (const char* name : {"frmHouseShow", "frmHouseType", "frmContent"})
            Forms::Unload(QString::fromLatin1(name));
        CloseWindows();
        files.reset();
        messages.reset();
        folder.reset();
    }

    void a_house_from_type_to_deletion()
    {
        // 1. The type manager makes the type.
        auto* types = qobject_cast<frmHouseType*>(Forms::Show(QStringLiteral("frmHouseType")));
        QVERIFY(types);
        QVERIFY(Click(types, QStringLiteral("cmdAddNew")));
        QVERIFY(Type(types, QStringLiteral("txtHouseType"), QStringLiteral("花园洋房")));
        QVERIFY(Type(types, QStringLiteral("txtMusicTitle"), QStringLiteral("春天")));
        QVERIFY(Click(types, QStringLiteral("cmdEditOK")));
        QCOMPARE(Table(*folder, "Select List, HouseType From t_HouseType"),
                 QStringList{QStringLiteral("1|花园洋房")});
        Forms::Unload(QStringLiteral("frmHouseType"));

        // 2. The catalogue's "新增" opens the wizard, which takes the house.
        auto* list = qobject_cast<frmHouseList*>(Forms::Show(QStringLiteral("frmHouseList")));
        QVERIFY(list);
        QCOMPARE(list->lsvHouse->Model()->Count(), 0);
        QVERIFY(Click(list, QStringLiteral("cmdAddNew")));
        frmHouseInput* w = Wizard();
        QVERIFY(w);
        QCOMPARE(w->InputMode(), 0);
        QCOMPARE(w->cmbHouseFloor->count(), 80);  // loaded (one start) and started by the catalogue
        QVERIFY(FillPage1(w, QStringLiteral("阳光花园"), QStringLiteral("花园洋房"), QStringLiteral("A-101"),
                          QStringLiteral("7")));
        QVERIFY(Type(w, QStringLiteral("txtHouseIntro"), QStringLiteral("南北通透")));
        SetRow(w, 1, QStringLiteral("朝向"), QStringLiteral("南"));
        SetRow(w, 2, QStringLiteral("面积"), QStringLiteral("120平米"));
        SetRow(w, 3, QStringLiteral("车位"), QStringLiteral("有"));
        QVERIFY(Click(w, QStringLiteral("cmdNext")));
        QDir(folder->Path()).mkpath(QStringLiteral("pictures"));
        const QString front = testsupport::MakePicture(folder->File("pictures/front.jpg"), 80, 60, Qt::red);
        const QString garden =
            testsupport::MakePicture(folder->File("pictures/garden.png"), 60, 80, Qt::green);
        QVERIFY(AddPicture(*files, QStringLiteral("外观"), QStringLiteral("正面"), front));
        QVERIFY(AddPicture(*files, QStringLiteral("花园"), QStringLiteral("后院"), garden));
        QVERIFY(Click(w, QStringLiteral("cmdFinish")));

        // 3. Stored, and shown in the catalogue, which reloaded itself.
        QCOMPARE(Table(*folder, "Select HouseID, HouseName, HouseNo, Intro, HouseFloor, TypeID From t_House"),
                 QStringList{QStringLiteral("1|阳光花园|A-101|南北通透|7|1")});
        QCOMPARE(Table(*folder, "Select HouseID, Caption, Content, List From t_Content Order By List"),
                 (QStringList{QStringLiteral("1|朝向|南|1"), QStringLiteral("1|面积|120平米|2"),
                              QStringLiteral("1|车位|有|3")}));
        QCOMPARE(Table(*folder, "Select HouseID, List, Caption, Intro, ImageFile From t_Image Order By List"),
                 (QStringList{QStringLiteral("1|1|外观|正面|000001_0001.jpg"),
                              QStringLiteral("1|2|花园|后院|000001_0002.png")}));
        QCOMPARE(imageFiles(), (QStringList{"000001_0001.jpg", "000001_0002.png"}));
        QCOMPARE(Bytes(folder->File("Images/000001_0001.jpg")), Bytes(front));
        QCOMPARE(list->lsvHouse->Model()->Count(), 1);
        QCOMPARE(list->lsvHouse->Model()->Rows().front().mid(0, 4),
                 (QStringList{QStringLiteral("000001"), QStringLiteral("阳光花园"),
                              QStringLiteral("花园洋房"), QStringLiteral("A-101")}));
        QCOMPARE(Wizard(), w);  // a new house leaves the wizard open and empty
        QCOMPARE(w->cmbHouseName->currentText(), QString());

        // The catalogue's "查看" presents the house: its facts, its three rows, its two pictures,
        // and a picture button shows that picture in the browser.
        list->lsvHouse->SelectRow(0);
        QVERIFY(Click(list, QStringLiteral("cmdShow")));
        auto* show = qobject_cast<frmHouseShow*>(Forms::Find(QStringLiteral("frmHouseShow")));
        QVERIFY(show);
        QCOMPARE(show->lblHouseID->text(), QStringLiteral("000001"));
        QCOMPARE(show->lblHouseName->text(), QStringLiteral("阳光花园"));
        QCOMPARE(show->lblHouseType->text(), QStringLiteral("花园洋房"));
        QCOMPARE(show->lblHouseNo->text(), QStringLiteral("A-101"));
        QCOMPARE(show->lblHouseFloor->text(), QStringLiteral("7"));
        QCOMPARE(show->lblCaption.UBound(), 3);
        QCOMPARE(show->cmdImage.UBound(), 2);
        QCOMPARE(show->cmdImage[2]->text(), QStringLiteral("花园"));
        QTRY_VERIFY_WITH_TIMEOUT(
            show->WebImage->Evaluate(QStringLiteral("document.getElementById('Pict') != null")).toBool(),
            30000);
        show->cmdImage[2]->click();
        QTRY_COMPARE_WITH_TIMEOUT(
            show->WebImage
                ->Evaluate(QStringLiteral(
                    "var e = document.getElementById('ImageShow'); e ? e.getAttribute('src') : ''"))
                .toString(),
            QStringLiteral("Images/000001_0002.png"), 30000);
        Forms::Unload(QStringLiteral("frmHouseShow"));

        // 4. The catalogue's "编辑" loads the house into the open wizard; the edit replaces it.
        list->lsvHouse->SelectRow(0);
        QVERIFY(Click(list, QStringLiteral("cmdEdit")));
        QCOMPARE(mdlHouse::CurrentHouseID, 1);
        QCOMPARE(w->InputMode(), 1);
        QCOMPARE(w->cmbHouseName->currentText(), QStringLiteral("阳光花园"));
        QCOMPARE(w->cmbHouseType->currentText(), QStringLiteral("花园洋房"));
        QCOMPARE(w->cmbHouseFloor->currentText(), QStringLiteral("7"));  // the open wizard's last floor
        QCOMPARE(w->AttributeRowCount(), 3);
        QCOMPARE(Column(w->lsvImage, 1), (QStringList{QStringLiteral("外观"), QStringLiteral("花园")}));
        QVERIFY(Type(w, QStringLiteral("cmbHouseNo"), QStringLiteral("A-102")));
        SetRow(w, 2, QString(), QString());
        QVERIFY(Click(w, QStringLiteral("cmdNext")));
        ClickRow(w->lsvImage, 1);
        QVERIFY(Click(w, QStringLiteral("cmdDeleteImage")));
        QVERIFY(Click(w, QStringLiteral("cmdFinish")));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!Wizard());
        QCOMPARE(Table(*folder, "Select HouseNo From t_House"), QStringList{QStringLiteral("A-102")});
        QCOMPARE(Table(*folder, "Select Caption, List From t_Content Order By List"),
                 (QStringList{QStringLiteral("朝向|1"), QStringLiteral("车位|2")}));
        QCOMPARE(Table(*folder, "Select List, ImageFile From t_Image"),
                 QStringList{QStringLiteral("1|000001_0001.jpg")});
        QCOMPARE(Bytes(folder->File("Images/000001_0001.jpg")), Bytes(front));  // copied onto itself, intact
        QCOMPARE(imageFiles(), (QStringList{"000001_0001.jpg", "000001_0002.png"}));
        QCOMPARE(list->lsvHouse->Model()->Text(0, 3), QStringLiteral("A-102"));

        // 5. The catalogue deletes the house: every row goes, the files stay.
        list->lsvHouse->SelectRow(0);
        messages->Clear();
        QVERIFY(Click(list, QStringLiteral("cmdDelete")));
        QCOMPARE(messages->Texts(), QStringList{QStringLiteral("确实要删除序号为 000001 的项目吗？")});
        QCOMPARE(folder->Value("Select Count(*) From t_House").toInt(), 0);
        QCOMPARE(folder->Value("Select Count(*) From t_Content").toInt(), 0);
        QCOMPARE(folder->Value("Select Count(*) From t_Image").toInt(), 0);
        QCOMPARE(imageFiles(), (QStringList{"000001_0001.jpg", "000001_0002.png"}));
        QCOMPARE(list->lsvHouse->Model()->Count(), 0);
    }
};

QTEST_MAIN(tst_entry_round_trip)
#include "tst_entry_round_trip.moc"
