// The wizard's picture page and the picture dialog, driven through the real windows; every save
// is checked in t_Image and in the Images folder.

#include <QDir>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>

#include "EntryFixture.h"
#include "core/ui/Twips.h"
#include "core/ui/WebBrowser.h"

using namespace entrytest;
using testsupport::Click;

class tst_house_pictures : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages;
    std::unique_ptr<testsupport::FileDialogStub> files;

    QString source(const QString& name, Qt::GlobalColor color = Qt::darkCyan, int width = 40)
    {
        QDir(folder->Path()).mkpath(QStringLiteral("pictures"));
        return testsupport::MakePicture(folder->File(QStringLiteral("pictures/") + name), width, 30, color);
    }

    QString stored(const QString& name) const { return folder->File(QStringLiteral("Images/") + name); }

    // A new house on page 2, ready for pictures.
    frmHouseInput* newHouseOnPage2()
    {
        frmHouseInput* w = OpenFromMenu();
        FillPage1(w, QStringLiteral("A座"), QStringLiteral("公寓"), QStringLiteral("101"),
                  QStringLiteral("1"));
        Click(w, QStringLiteral("cmdNext"));
        return w;
    }

    // A house whose pictures are already stored, with their files in Images.
    qint64 seedHouseWithPictures(const QList<int>& numbers)
    {
        folder->Exec(
            QStringLiteral("Insert Into t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) "
                           "Values ('翠湖', '8', '', 8, 1)"));
        const qint64 id = folder->Value(QStringLiteral("Select max(HouseID) From t_House")).toLongLong();
        for (int n : numbers) {
            const QString name =
                QStringLiteral("%1_%2.png").arg(id, 6, 10, QLatin1Char('0')).arg(n, 4, 10, QLatin1Char('0'));
            testsupport::MakePicture(stored(name), 20 + n, 20, Qt::GlobalColor(Qt::red + n));
            folder->Exec(QStringLiteral("Insert Into t_Image (HouseID, Caption, Intro, ImageFile, List) "
                                        "Values (%1, '图%2', '说明%2', '%3', %2)")
                             .arg(id)
                             .arg(n)
                             .arg(name));
        }
        return id;
    }

    frmHouseInput* editOnPage2(qint64 id)
    {
        mdlHouse::CurrentHouseID = qint32(id);
        frmHouseInput* w = OpenFromCatalogue(1);
        Type(w, QStringLiteral("cmbHouseFloor"), QStringLiteral("8"));
        Click(w, QStringLiteral("cmdNext"));
        return w;
    }

    QStringList imageFiles() const
    {
        QStringList names = QDir(folder->File(QStringLiteral("Images"))).entryList(QDir::Files, QDir::Name);
        return names;
    }

private slots:
    void init()
    {
        folder = std::make_unique<testsupport::ProgramFolder>();
        messages = std::make_unique<testsupport::MsgBoxRecorder>();
        files = std::make_unique<testsupport::FileDialogStub>();
        RegisterWindows();
        AddTypes(*folder, {QStringLiteral("公寓"), QStringLiteral("别墅")});
    }

    void cleanup()
    {
        CloseWindows();
        files.reset();
        messages.reset();
        folder.reset();
    }

    void list_has_its_four_columns()
    {
        frmHouseInput* w = newHouseOnPage2();
        QVERIFY(w->Frame2->isVisible());
        const ui::ListModel* model = w->lsvImage->Model();
        QCOMPARE(model->columnCount(), 4);
        const QStringList titles{QStringLiteral("序号"), QStringLiteral("标题"), QStringLiteral("说明"),
                                 QStringLiteral("文件")};
        const int widths[] = {600, 1000, 2000, 2000};
        for (int c = 0; c < 4; ++c) {
            QCOMPARE(model->headerData(c, Qt::Horizontal).toString(), titles[c]);
            QCOMPARE(w->lsvImage->columnWidth(c), ui::Px(widths[c]));
        }
        QCOMPARE(Label(w, "Label2"), QStringLiteral("图片预览"));
    }

    static QString Label(QWidget* w, const char* name)
    {
        auto* l = w->findChild<QLabel*>(QString::fromLatin1(name));
        return l ? l->text() : QString();
    }

    void dialog_adds_a_numbered_row_with_the_browse_filter()
    {
        frmHouseInput* w = newHouseOnPage2();
        const QString a = source(QStringLiteral("a.png"));
        QVERIFY(Click(w, QStringLiteral("cmdAddNewImage")));
        frmAddNewImage* d = Dialog();
        QVERIFY(d);
        QCOMPARE(d->windowTitle(), QStringLiteral("增加新的图片"));
        QCOMPARE(Label(d, "lblImageFile"), QStringLiteral("图片文件："));
        QCOMPARE(Label(d, "lblImageCaption"), QStringLiteral("图片标题："));
        QCOMPARE(Label(d, "lblImageIntro"), QStringLiteral("图片说明："));
        QCOMPARE(d->cmdOpenImageFile->text(), QStringLiteral("浏览..."));
        QCOMPARE(d->DialogMode(), 0);
        // Modeless: the wizard stays usable while the dialog is open.
        QVERIFY(!d->isModal());
        QVERIFY(w->isEnabled());
        files->paths << a;
        QVERIFY(Click(d, QStringLiteral("cmdOpenImageFile")));
        QCOMPARE(
            files->filters,
            QStringList{QStringLiteral(
                "图片文件 (*.bmp; *.jpg; *.gif; *.jpeg)|*.bmp; *.jpg; *.gif; *.jpeg|所有文件 (*.*)|*.*")});
        QCOMPARE(d->txtImageFile->text(), a);
        // A cancelled browse leaves the file as it was.
        QVERIFY(Click(d, QStringLiteral("cmdOpenImageFile")));
        QCOMPARE(d->txtImageFile->text(), a);
        Type(d, QStringLiteral("txtImageCaption"), QStringLiteral("客厅"));
        Type(d, QStringLiteral("txtImageIntro"), QStringLiteral("朝南的客厅"));
        QVERIFY(Click(d, QStringLiteral("cmdImageOK")));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!Dialog());
        QCOMPARE(w->lsvImage->Model()->Rows().front(),
                 (QStringList{QStringLiteral("1"), QStringLiteral("客厅"), QStringLiteral("朝南的客厅"), a}));
        QVERIFY(messages->messages.isEmpty());
    }

    void dialog_requires_file_title_and_description_in_order()
    {
        frmHouseInput* w = newHouseOnPage2();
        Click(w, QStringLiteral("cmdAddNewImage"));
        frmAddNewImage* d = Dialog();
        QApplication::setActiveWindow(d);
        QVERIFY(Click(d, QStringLiteral("cmdImageOK")));
        QCOMPARE(QApplication::focusWidget(), d->txtImageFile);
        Type(d, QStringLiteral("txtImageFile"), QStringLiteral("/typed/but/missing.jpg"));
        QVERIFY(Click(d, QStringLiteral("cmdImageOK")));
        QCOMPARE(QApplication::focusWidget(), d->txtImageCaption);
        Type(d, QStringLiteral("txtImageCaption"), QStringLiteral("厨房"));
        QVERIFY(Click(d, QStringLiteral("cmdImageOK")));
        QCOMPARE(QApplication::focusWidget(), d->txtImageIntro);
        QCOMPARE(messages->Texts(), (QStringList{QStringLiteral("请在\"图片文件\"中输入值。"),
                                                 QStringLiteral("请在\"图片标题\"中输入值。"),
                                                 QStringLiteral("请在\"图片说明\"中输入值。")}));
        QCOMPARE(Dialog(), d);
        QCOMPARE(w->lsvImage->Model()->Count(), 0);
        // Blanks are a value; the typed file is not checked for existence here.
        Type(d, QStringLiteral("txtImageIntro"), QStringLiteral(" "));
        QVERIFY(Click(d, QStringLiteral("cmdImageOK")));
        QCOMPARE(Column(w->lsvImage, 3), QStringList{QStringLiteral("/typed/but/missing.jpg")});
        QCOMPARE(messages->messages.size(), 3);
    }

    void dialog_cancel_changes_nothing()
    {
        frmHouseInput* w = newHouseOnPage2();
        QVERIFY(AddPicture(*files, QStringLiteral("客厅"), QStringLiteral("大"),
                           source(QStringLiteral("a.png"))));
        ClickRow(w->lsvImage, 0);
        Click(w, QStringLiteral("cmdEdit"));
        frmAddNewImage* d = Dialog();
        Type(d, QStringLiteral("txtImageCaption"), QStringLiteral("改了"));
        QVERIFY(Click(d, QStringLiteral("cmdImageCancel")));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!Dialog());
        QCOMPARE(Column(w->lsvImage, 1), QStringList{QStringLiteral("客厅")});
    }

    void edit_fills_the_dialog_and_keeps_the_number()
    {
        frmHouseInput* w = newHouseOnPage2();
        const QString a = source(QStringLiteral("a.png")), b = source(QStringLiteral("b.jpg")),
                      c = source(QStringLiteral("c.gif"));
        AddPicture(*files, QStringLiteral("甲"), QStringLiteral("一"), a);
        AddPicture(*files, QStringLiteral("乙"), QStringLiteral("二"), b);
        ClickRow(w->lsvImage, 1);
        QCOMPARE(w->CurrentPictureNumber(), 2);
        QVERIFY(Click(w, QStringLiteral("cmdEdit")));
        frmAddNewImage* d = Dialog();
        QVERIFY(d);
        QCOMPARE(d->DialogMode(), 1);
        QCOMPARE(d->txtImageCaption->text(), QStringLiteral("乙"));
        QCOMPARE(d->txtImageIntro->text(), QStringLiteral("二"));
        QCOMPARE(d->txtImageFile->text(), b);
        files->paths << c;
        Click(d, QStringLiteral("cmdOpenImageFile"));
        Type(d, QStringLiteral("txtImageCaption"), QStringLiteral("丙"));
        Click(d, QStringLiteral("cmdImageOK"));
        QCOMPARE(w->lsvImage->Model()->Rows()[1],
                 (QStringList{QStringLiteral("2"), QStringLiteral("丙"), QStringLiteral("二"), c}));
        QCOMPARE(w->lsvImage->Model()->Rows()[0][1], QStringLiteral("甲"));

        // A double click on a row edits it too.
        ClickRow(w->lsvImage, 0, true);
        QVERIFY(Dialog());
        QCOMPARE(Dialog()->txtImageCaption->text(), QStringLiteral("甲"));
        QCOMPARE(Dialog()->DialogMode(), 1);
    }

    void edit_ok_writes_to_the_row_selected_at_that_moment()
    {
        frmHouseInput* w = newHouseOnPage2();
        const QString a = source(QStringLiteral("a.png")), b = source(QStringLiteral("b.png")),
                      c = source(QStringLiteral("c.png"));
        AddPicture(*files, QStringLiteral("甲"), QStringLiteral("一"), a);
        AddPicture(*files, QStringLiteral("乙"), QStringLiteral("二"), b);
        AddPicture(*files, QStringLiteral("丙"), QStringLiteral("三"), c);
        ClickRow(w->lsvImage, 0);
        Click(w, QStringLiteral("cmdEdit"));
        frmAddNewImage* d = Dialog();
        ClickRow(w->lsvImage, 2);
        Click(d, QStringLiteral("cmdImageOK"));
        QCOMPARE(Column(w->lsvImage, 0), (QStringList{"1", "2", "3"}));
        QCOMPARE(Column(w->lsvImage, 1),
                 (QStringList{QStringLiteral("甲"), QStringLiteral("乙"), QStringLiteral("甲")}));
        QCOMPARE(Column(w->lsvImage, 3), (QStringList{a, b, a}));
    }

    void new_after_an_open_edit_adds_instead()
    {
        frmHouseInput* w = newHouseOnPage2();
        AddPicture(*files, QStringLiteral("甲"), QStringLiteral("一"), source(QStringLiteral("a.png")));
        ClickRow(w->lsvImage, 0);
        Click(w, QStringLiteral("cmdEdit"));
        Click(w, QStringLiteral("cmdAddNewImage"));
        frmAddNewImage* d = Dialog();
        QCOMPARE(d->DialogMode(), 0);
        QCOMPARE(d->txtImageCaption->text(), QString());
        Type(d, QStringLiteral("txtImageFile"), QStringLiteral("/x/y.jpg"));
        Type(d, QStringLiteral("txtImageCaption"), QStringLiteral("乙"));
        Type(d, QStringLiteral("txtImageIntro"), QStringLiteral("二"));
        Click(d, QStringLiteral("cmdImageOK"));
        QCOMPARE(Column(w->lsvImage, 1), (QStringList{QStringLiteral("甲"), QStringLiteral("乙")}));
    }

    void without_a_current_picture_edit_and_delete_do_nothing()
    {
        frmHouseInput* w = newHouseOnPage2();
        QCOMPARE(w->CurrentPictureNumber(), 0);
        Click(w, QStringLiteral("cmdEdit"));
        QVERIFY(!Dialog());
        Click(w, QStringLiteral("cmdDeleteImage"));
        AddPicture(*files, QStringLiteral("甲"), QStringLiteral("一"), source(QStringLiteral("a.png")));
        AddPicture(*files, QStringLiteral("乙"), QStringLiteral("二"), source(QStringLiteral("b.png")));
        // Rows were added but none was clicked yet.
        QCOMPARE(w->CurrentPictureNumber(), 0);
        Click(w, QStringLiteral("cmdDeleteImage"));
        Click(w, QStringLiteral("cmdEdit"));
        QVERIFY(!Dialog());
        QCOMPARE(w->lsvImage->Model()->Count(), 2);
        ClickRow(w->lsvImage, 1);
        QVERIFY(Click(w, QStringLiteral("cmdDeleteAllImage")));
        QCOMPARE(w->lsvImage->Model()->Count(), 0);
        QCOMPARE(w->CurrentPictureNumber(), 0);
        Click(w, QStringLiteral("cmdEdit"));
        Click(w, QStringLiteral("cmdDeleteImage"));
        QVERIFY(!Dialog());
        QVERIFY(messages->messages.isEmpty());
    }

    void new_house_pictures_are_copied_under_their_stored_names()
    {
        frmHouseInput* w = newHouseOnPage2();
        const QString a = source(QStringLiteral("front.PNG"), Qt::red),
                      b = source(QStringLiteral("back.jpg"), Qt::blue);
        AddPicture(*files, QStringLiteral("正面"), QStringLiteral("正面外观"), a);
        AddPicture(*files, QStringLiteral("背面"), QStringLiteral("背面外观"), b);
        Click(w, QStringLiteral("cmdFinish"));
        QCOMPARE(
            Table(*folder, "Select HouseID, List, Caption, Intro, ImageFile From t_Image Order By ImageID"),
            (QStringList{QStringLiteral("1|1|正面|正面外观|000001_0001.PNG"),
                         QStringLiteral("1|2|背面|背面外观|000001_0002.jpg")}));
        QCOMPARE(imageFiles(), (QStringList{"000001_0001.PNG", "000001_0002.jpg"}));
        QCOMPARE(Bytes(stored("000001_0001.PNG")), Bytes(a));
        QCOMPARE(Bytes(stored("000001_0002.jpg")), Bytes(b));
        QCOMPARE(w->lsvImage->Model()->Count(), 0);  // restarted for the next house
    }

    void house_twelve_picture_three_is_000012_0003()
    {
        folder->Exec(QStringLiteral("Insert Into t_House (HouseName) Values ('x')"));
        folder->Exec(QStringLiteral("Delete From t_House"));
        QVERIFY(folder->SetLastKey(QStringLiteral("t_House"), 11));
        frmHouseInput* w = newHouseOnPage2();
        for (const char* name : {"a.jpg", "b.jpg", "c.JPG"})
            AddPicture(*files, "t", "i", source(QString::fromLatin1(name)));
        Click(w, QStringLiteral("cmdFinish"));
        QCOMPARE(folder->Value(QStringLiteral("Select HouseID From t_House")).toInt(), 12);
        QCOMPARE(folder->Value(QStringLiteral("Select ImageFile From t_Image Where List = 3")).toString(),
                 QStringLiteral("000012_0003.JPG"));
        QVERIFY(QFile::exists(stored("000012_0003.JPG")));
    }

    void removed_then_added_picture_shares_the_number()
    {
        frmHouseInput* w = newHouseOnPage2();
        const QString a = source("a.png", Qt::red), b = source("b.png", Qt::green),
                      c = source("c.png", Qt::blue), d = source("d.png", Qt::yellow, 60);
        AddPicture(*files, "A", "a", a);
        AddPicture(*files, "B", "b", b);
        AddPicture(*files, "C", "c", c);
        ClickRow(w->lsvImage, 1);
        QVERIFY(Click(w, QStringLiteral("cmdDeleteImage")));
        AddPicture(*files, "D", "d", d);
        QCOMPARE(Column(w->lsvImage, 0), (QStringList{"1", "3", "3"}));
        Click(w, QStringLiteral("cmdFinish"));
        QCOMPARE(Table(*folder, "Select List, Caption, ImageFile From t_Image Order By ImageID"),
                 (QStringList{"1|A|000001_0001.png", "3|C|000001_0003.png", "3|D|000001_0003.png"}));
        QCOMPARE(imageFiles(), (QStringList{"000001_0001.png", "000001_0003.png"}));
        QCOMPARE(Bytes(stored("000001_0003.png")), Bytes(d));
        QVERIFY(Bytes(d) != Bytes(c));
    }

    void path_without_a_dot_is_stored_whole_and_not_copied()
    {
        QDir(folder->Path()).mkpath(QStringLiteral("pictures/plain"));
        const QString plain = folder->File(QStringLiteral("pictures/plain/front"));
        QVERIFY(QFile::copy(source(QStringLiteral("front.png")), plain));
        QVERIFY2(!plain.contains(QLatin1Char('.')), qPrintable(plain));
        QVERIFY(QFile::exists(plain));
        frmHouseInput* w = newHouseOnPage2();
        AddPicture(*files, QStringLiteral("正面"), QStringLiteral("无扩展名"), plain);
        Click(w, QStringLiteral("cmdFinish"));
        QCOMPARE(folder->Value(QStringLiteral("Select ImageFile From t_Image")).toString(),
                 QStringLiteral("000001_0001.") + plain);
        QCOMPARE(imageFiles(), QStringList());
        QVERIFY(QDir(folder->File("Images")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).isEmpty());
        QVERIFY(messages->messages.isEmpty());
    }

    void missing_source_file_still_writes_its_row()
    {
        frmHouseInput* w = newHouseOnPage2();
        AddPicture(*files, "A", "a", folder->File("pictures/gone.jpg"));
        Click(w, QStringLiteral("cmdFinish"));
        QCOMPARE(folder->Value(QStringLiteral("Select ImageFile From t_Image")).toString(),
                 QStringLiteral("000001_0001.jpg"));
        QCOMPARE(imageFiles(), QStringList());
        QVERIFY(messages->messages.isEmpty());
    }

    void unchanged_pictures_survive_an_edit_that_copies_them_onto_themselves()
    {
        const qint64 id = seedHouseWithPictures({1, 2});
        const QByteArray first = Bytes(stored("000001_0001.png")), second = Bytes(stored("000001_0002.png"));
        QVERIFY(!first.isEmpty() && !second.isEmpty());
        frmHouseInput* w = editOnPage2(id);
        QCOMPARE(Column(w->lsvImage, 0), (QStringList{"1", "2"}));
        QCOMPARE(Column(w->lsvImage, 3), (QStringList{stored("000001_0001.png"), stored("000001_0002.png")}));
        Click(w, QStringLiteral("cmdFinish"));
        QCOMPARE(Bytes(stored("000001_0001.png")), first);
        QCOMPARE(Bytes(stored("000001_0002.png")), second);
        QCOMPARE(imageFiles(), (QStringList{"000001_0001.png", "000001_0002.png"}));
        QCOMPARE(
            Table(*folder, "Select HouseID, List, Caption, Intro, ImageFile From t_Image Order By ImageID"),
            (QStringList{"1|1|图1|说明1|000001_0001.png", "1|2|图2|说明2|000001_0002.png"}));
    }

    void picture_deleted_in_an_edit_keeps_its_file()
    {
        const qint64 id = seedHouseWithPictures({1, 2});
        frmHouseInput* w = editOnPage2(id);
        ClickRow(w->lsvImage, 1);
        QVERIFY(Click(w, QStringLiteral("cmdDeleteImage")));
        QCOMPARE(Column(w->lsvImage, 0), QStringList{"1"});
        Click(w, QStringLiteral("cmdFinish"));
        QCOMPARE(Table(*folder, "Select List, ImageFile From t_Image"), QStringList{"1|000001_0001.png"});
        QCOMPARE(imageFiles(), (QStringList{"000001_0001.png", "000001_0002.png"}));
    }

    void pictures_one_and_three_come_back_as_one_and_two()
    {
        const qint64 id = seedHouseWithPictures({1, 3});
        const QByteArray third = Bytes(stored("000001_0003.png"));
        frmHouseInput* w = editOnPage2(id);
        QCOMPARE(Column(w->lsvImage, 0), (QStringList{"1", "2"}));
        QCOMPARE(Column(w->lsvImage, 1), (QStringList{QStringLiteral("图1"), QStringLiteral("图3")}));
        Click(w, QStringLiteral("cmdFinish"));
        QCOMPARE(
            Table(*folder, "Select List, Caption, ImageFile From t_Image Order By ImageID"),
            (QStringList{QStringLiteral("1|图1|000001_0001.png"), QStringLiteral("2|图3|000001_0002.png")}));
        QCOMPARE(Bytes(stored("000001_0002.png")), third);
        QCOMPARE(imageFiles(), (QStringList{"000001_0001.png", "000001_0002.png", "000001_0003.png"}));
    }

    void sorting_by_title_changes_the_write_order_not_the_numbers()
    {
        frmHouseInput* w = newHouseOnPage2();
        AddPicture(*files, "Cellar", "c", source("c.png"));
        AddPicture(*files, "attic", "a", source("a.png"));
        AddPicture(*files, "Balcony", "b", source("b.png"));
        QTest::mouseClick(w->lsvImage->horizontalHeader()->viewport(), Qt::LeftButton, {},
                          QPoint(w->lsvImage->horizontalHeader()->sectionViewportPosition(1) + 5, 5));
        QCOMPARE(Column(w->lsvImage, 1), (QStringList{"attic", "Balcony", "Cellar"}));
        QCOMPARE(Column(w->lsvImage, 0), (QStringList{"2", "3", "1"}));
        Click(w, QStringLiteral("cmdFinish"));
        QCOMPARE(Table(*folder, "Select List, Caption, ImageFile From t_Image Order By ImageID"),
                 (QStringList{"2|attic|000001_0002.png", "3|Balcony|000001_0003.png",
                              "1|Cellar|000001_0001.png"}));
    }

    void clicking_a_row_previews_the_picture()
    {
        frmHouseInput* w = newHouseOnPage2();
        QVERIFY(QFile::exists(folder->File(QStringLiteral("Image.htm"))));
        QTRY_VERIFY_WITH_TIMEOUT(w->WebImage->IsLoaded(), 30000);
        QCOMPARE(w->WebImage->LocationName(), QStringLiteral("Image.htm"));
        const QString a = source(QStringLiteral("a.png"), Qt::red, 40),
                      b = source(QStringLiteral("b.png"), Qt::blue, 70);
        AddPicture(*files, "A", "a", a);
        AddPicture(*files, "B", "b", b);
        const QString pict = QStringLiteral("document.getElementById('Pict').innerHTML");
        // Added but not clicked: nothing is shown yet.
        QCOMPARE(w->WebImage->Evaluate(pict).toString(), QString());
        ClickRow(w->lsvImage, 1);
        const QString picture = QStringLiteral(
            "(function(){var i=document.getElementById('ImageShow');"
            "return i ? i.getAttribute('src') + '|' + i.naturalWidth : '';})()");
        QTRY_COMPARE_WITH_TIMEOUT(w->WebImage->Evaluate(picture).toString(), b + QStringLiteral("|70"),
                                  10000);
        // Stretched over the preview's client area.
        QTRY_COMPARE_WITH_TIMEOUT(
            w->WebImage->Evaluate(QStringLiteral("document.getElementById('ImageShow').width")).toInt(),
            w->WebImage->Evaluate(QStringLiteral("document.body.clientWidth")).toInt(), 10000);
        QVERIFY(Click(w, QStringLiteral("cmdDeleteImage")));
        QTRY_COMPARE_WITH_TIMEOUT(w->WebImage->Evaluate(pict).toString(), QString(), 10000);
        ClickRow(w->lsvImage, 0);
        QTRY_COMPARE_WITH_TIMEOUT(w->WebImage->Evaluate(picture).toString(), a + QStringLiteral("|40"),
                                  10000);
        QVERIFY(Click(w, QStringLiteral("cmdDeleteAllImage")));
        QTRY_COMPARE_WITH_TIMEOUT(w->WebImage->Evaluate(pict).toString(), QString(), 10000);
        // A restart empties the preview of an already loaded page.
        AddPicture(*files, "C", "c", a);
        ClickRow(w->lsvImage, 0);
        QTRY_VERIFY_WITH_TIMEOUT(!w->WebImage->Evaluate(pict).toString().isEmpty(), 10000);
        w->StartInput(0);
        QTRY_COMPARE_WITH_TIMEOUT(w->WebImage->Evaluate(pict).toString(), QString(), 10000);
    }

    void arrow_keys_move_the_current_picture()
    {
        frmHouseInput* w = newHouseOnPage2();
        AddPicture(*files, "A", "a", source("a.png"));
        AddPicture(*files, "B", "b", source("b.png"));
        QApplication::setActiveWindow(w);
        w->lsvImage->setFocus();
        ClickRow(w->lsvImage, 0);
        QCOMPARE(w->CurrentPictureNumber(), 1);
        QTest::keyClick(w->lsvImage, Qt::Key_Down);
        QCOMPARE(w->lsvImage->SelectedRow(), 1);
        QCOMPARE(w->CurrentPictureNumber(), 2);
        QVERIFY(Click(w, QStringLiteral("cmdDeleteImage")));
        QCOMPARE(Column(w->lsvImage, 1), QStringList{"A"});
    }

    void wizard_closed_before_the_dialog_ok_is_harmless()
    {
        frmHouseInput* w = newHouseOnPage2();
        Click(w, QStringLiteral("cmdAddNewImage"));
        frmAddNewImage* d = Dialog();
        Click(w, QStringLiteral("cmdCancel2"));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!Wizard());
        Type(d, QStringLiteral("txtImageFile"), QStringLiteral("/x/y.jpg"));
        Type(d, QStringLiteral("txtImageCaption"), QStringLiteral("乙"));
        Type(d, QStringLiteral("txtImageIntro"), QStringLiteral("二"));
        QVERIFY(Click(d, QStringLiteral("cmdImageOK")));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!Dialog());
        QCOMPARE(folder->Value(QStringLiteral("Select Count(*) From t_Image")).toInt(), 0);
    }
};

QTEST_MAIN(tst_house_pictures)
#include "tst_house_pictures.moc"
