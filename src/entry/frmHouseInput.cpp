#include "entry/frmHouseInput.h"

#include <QApplication>
#include <QComboBox>
#include <QItemSelectionModel>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QStringListModel>

#include "core/ImagePage.h"
#include "core/Save.h"
#include "core/db/ChangeContext.h"
#include "core/mdlHouse.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"
#include "core/ui/MsgBox.h"
#include "core/ui/Twips.h"
#include "core/ui/WebBrowser.h"
#include "entry/EntrySql.h"
#include "entry/HouseInputLayout.h"

using ui::Px;
using namespace entry::layout;

namespace {

// The four boxes of page 1 take typed text; they never complete it from their lists (a building
// name typed as a prefix of another must stay as typed) and never add it to them.
QComboBox* makeDropDown(QWidget* parent, const char* name)
{
    auto* box = ui::MakeNamed<QComboBox>(parent, name);
    box->setEditable(true);
    box->setInsertPolicy(QComboBox::NoInsert);
    box->setCompleter(nullptr);
    return box;
}

// The description box shows Qt's line feeds; the stored text keeps the CR LF line ends that the
// catalogue's earlier installations wrote, so both kinds of rows read alike.
QString storedIntro(const QString& shown)
{
    QString text = shown;
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QLatin1Char('\n'), QStringLiteral("\r\n"));
    return text;
}

QString shownIntro(const QString& stored)
{
    QString text = stored;
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    return text;
}

// A house deleted by another PC while its edit was open: nothing is written, and the wizard offers
// to keep what was entered as a new house.
const QString kHouseGoneOffer =
    mdlHouse::kHouseGoneMessage +
    QStringLiteral("\n输入的资料仍保留在窗口中，再按“完成”即可将其作为新房源保存。");

}  // namespace

namespace entry {

// Appends items to a drop-down without touching its text: Qt would otherwise pick the first item
// of a box that was empty, while these boxes show only what the user chose or typed.
void AppendKeepingText(QComboBox* box, const QStringList& items)
{
    const QString text = box->currentText();
    QSignalBlocker block(box);
    if (box->count() == 0 && !items.isEmpty()) {
        // An empty box takes the whole list as one plain list model: one item object per entry,
        // as addItems makes them, was most of the time a house with sixty rows took to open.
        box->setModel(new QStringListModel(items, box));
    } else {
        box->addItems(items);
    }
    if (box->currentText() != text) {
        box->setCurrentIndex(-1);
        box->setEditText(text);
    }
}

QStringList ReadColumn(db::Connection& cn, const QString& sql)
{
    QStringList values;
    db::Recordset rs;
    if (!cn.Execute(sql, rs)) return values;
    while (!rs.Eof()) {
        values << rs.Field(0).toString();
        rs.MoveNext();
    }
    rs.Close();
    return values;
}

}  // namespace entry

frmHouseInput::frmHouseInput()
{
    setObjectName(QStringLiteral("frmHouseInput"));
    setupControls();
}

void frmHouseInput::setupControls()
{
    SetCaption(QStringLiteral("录入资料"));
    setupPage1();
    setupPage2();
    connectControls();
    setupImageColumns();
}

// Page 1: the house's own fields, the hidden design row of the attribute rows, the buttons.
void frmHouseInput::setupPage1()
{
    Frame1 = new QWidget(this);
    Frame1->setObjectName(QStringLiteral("Frame1"));
    rowsArea = new QScrollArea(Frame1);
    rowsArea->setObjectName(QStringLiteral("rowsArea"));
    rowsArea->setFrameShape(QFrame::NoFrame);
    rowsArea->setWidgetResizable(false);
    page1 = new QWidget;
    page1->setObjectName(QStringLiteral("page1"));
    rowsArea->setWidget(page1);

    lblHouseName = ui::MakeNamed<QLabel>(page1, "lblHouseName", QStringLiteral("名称："));
    cmbHouseName = makeDropDown(page1, "cmbHouseName");
    lblHouseType = ui::MakeNamed<QLabel>(page1, "lblHouseType", QStringLiteral("类型："));
    cmbHouseType = makeDropDown(page1, "cmbHouseType");
    lblHouseNo = ui::MakeNamed<QLabel>(page1, "lblHouseNo", QStringLiteral("房间号："));
    cmbHouseNo = makeDropDown(page1, "cmbHouseNo");
    lblHouseFloor = ui::MakeNamed<QLabel>(page1, "lblHouseFloor", QStringLiteral("楼层："));
    cmbHouseFloor = makeDropDown(page1, "cmbHouseFloor");
    Label1 = ui::MakeNamed<QLabel>(page1, "Label1", QStringLiteral("说明："));
    txtHouseIntro = new QPlainTextEdit(page1);
    txtHouseIntro->setObjectName(QStringLiteral("txtHouseIntro"));
    txtHouseIntro->setTabChangesFocus(true);
    lblCaption = ui::MakeNamed<QLabel>(page1, "lblCaption", QStringLiteral("其它属性："));

    ui::PlaceTwips(lblHouseName, kLabelLeft, kFirstLineTop + kLabelDrop, kLabelWidth, kLabelHeight);
    ui::PlaceTwips(cmbHouseName, kFieldLeft, kFirstLineTop, kFieldWidth, kBoxHeight);
    ui::PlaceTwips(lblHouseType, kSecondLabelLeft, kFirstLineTop + kLabelDrop, kLabelWidth, kLabelHeight);
    ui::PlaceTwips(cmbHouseType, kSecondFieldLeft, kFirstLineTop, kFieldWidth, kBoxHeight);
    ui::PlaceTwips(lblHouseNo, kLabelLeft, kSecondLineTop + kLabelDrop, kLabelWidth, kLabelHeight);
    ui::PlaceTwips(cmbHouseNo, kFieldLeft, kSecondLineTop, kFieldWidth, kBoxHeight);
    ui::PlaceTwips(lblHouseFloor, kSecondLabelLeft, kSecondLineTop + kLabelDrop, kLabelWidth, kLabelHeight);
    ui::PlaceTwips(cmbHouseFloor, kSecondFieldLeft, kSecondLineTop, kFieldWidth, kBoxHeight);
    ui::PlaceTwips(Label1, kLabelLeft, kIntroTop + kLabelDrop, kLabelWidth, kLabelHeight);
    ui::PlaceTwips(txtHouseIntro, kFieldLeft, kIntroTop, kIntroWidth, kIntroHeight);
    ui::PlaceTwips(lblCaption, kLabelLeft, kFirstRowTop + kLabelDrop, kLabelWidth, kLabelHeight);

    // The hidden design row, one pitch above the first attribute row.
    auto* captionTemplate = makeDropDown(page1, "cmbCaption");
    auto* valueLabelTemplate = ui::MakeNamed<QLabel>(page1, "lblContent", QStringLiteral("值："));
    auto* contentTemplate = makeDropDown(page1, "cmbContent");
    ui::PlaceTwips(captionTemplate, kFieldLeft, kFirstRowTop - kRowPitch, kCaptionWidth, kBoxHeight);
    ui::PlaceTwips(valueLabelTemplate, kValueLabelLeft, kFirstRowTop - kRowPitch + kLabelDrop,
                   kValueLabelWidth, kLabelHeight);
    ui::PlaceTwips(contentTemplate, kContentLeft, kFirstRowTop - kRowPitch, kContentWidth, kBoxHeight);
    cmbCaption.SetTemplate(captionTemplate);
    lblContent.SetTemplate(valueLabelTemplate);
    cmbContent.SetTemplate(contentTemplate);

    cmdAddNewContent = ui::MakeNamed<QPushButton>(page1, "cmdAddNewContent", QStringLiteral("增加新的属性"));
    cmdDeleteContent = ui::MakeNamed<QPushButton>(page1, "cmdDeleteContent", QStringLiteral("删除"));
    cmdImage = ui::MakeNamed<QPushButton>(page1, "cmdImage", QStringLiteral("图片编辑"));
    Command1 = ui::MakeNamed<QPushButton>(Frame1, "Command1", QStringLiteral("上一步"));
    cmdNext = ui::MakeNamed<QPushButton>(Frame1, "cmdNext", QStringLiteral("下一步"));
    cmdCancel = ui::MakeNamed<QPushButton>(Frame1, "cmdCancel", QStringLiteral("取消"));
    placeRowButtons();
}

// Page 2: the picture list with its preview and buttons.
void frmHouseInput::setupPage2()
{
    Frame2 = new QWidget(this);
    Frame2->setObjectName(QStringLiteral("Frame2"));
    lsvImage = new ui::ListView(Frame2);
    lsvImage->setObjectName(QStringLiteral("lsvImage"));
    Label2 = ui::MakeNamed<QLabel>(Frame2, "Label2", QStringLiteral("图片预览"));
    WebImage = new ui::WebBrowser(Frame2);
    WebImage->setObjectName(QStringLiteral("WebImage"));
    cmdAddNewImage = ui::MakeNamed<QPushButton>(Frame2, "cmdAddNewImage", QStringLiteral("新增"));
    cmdEdit = ui::MakeNamed<QPushButton>(Frame2, "cmdEdit", QStringLiteral("编辑"));
    cmdDeleteImage = ui::MakeNamed<QPushButton>(Frame2, "cmdDeleteImage", QStringLiteral("删除"));
    cmdDeleteAllImage = ui::MakeNamed<QPushButton>(Frame2, "cmdDeleteAllImage", QStringLiteral("清空"));
    cmdPrevious = ui::MakeNamed<QPushButton>(Frame2, "cmdPrevious", QStringLiteral("上一步"));
    cmdFinish = ui::MakeNamed<QPushButton>(Frame2, "cmdFinish", QStringLiteral("完成"));
    cmdCancel2 = ui::MakeNamed<QPushButton>(Frame2, "cmdCancel2", QStringLiteral("取消"));
    Frame2->hide();
}

void frmHouseInput::connectControls()
{
    connect(cmdNext, &QPushButton::clicked, this, [this] { cmdNext_Click(); });
    connect(cmdImage, &QPushButton::clicked, this, [this] { cmdNext_Click(); });
    connect(cmdCancel, &QPushButton::clicked, this, [this] { UnloadForm(); });
    connect(cmdCancel2, &QPushButton::clicked, this, [this] { UnloadForm(); });
    connect(cmdPrevious, &QPushButton::clicked, this, [this] { showPage(1); });
    connect(cmdFinish, &QPushButton::clicked, this, [this] { cmdFinish_Click(); });
    connect(cmdAddNewContent, &QPushButton::clicked, this, [this] {
        addContentRow();
        if (QComboBox* box = cmbCaption[cmbCaption.UBound()]) {
            // The new row and the buttons under it come into view together.
            rowsArea->ensureWidgetVisible(cmdAddNewContent);
            rowsArea->ensureWidgetVisible(box);
            box->setFocus();
        }
    });
    connect(cmdDeleteContent, &QPushButton::clicked, this, [this] { removeLastContentRow(); });
    connect(lsvImage, &ui::ListView::ItemClick, this, [this](int row) { lsvImage_ItemClick(row); });
    connect(lsvImage, &ui::ListView::ItemDblClick, this, [this](int row) {
        lsvImage_ItemClick(row);
        cmdEdit_Click();
    });
    // Moving through the list with the keys previews like a click, as the list always did.
    connect(lsvImage->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) {
                if (current.isValid() && lsvImage->hasFocus() && QApplication::mouseButtons() == Qt::NoButton)
                    lsvImage_ItemClick(current.row());
            });
    connect(lsvImage, &ui::ListView::ColumnClick, this, [this](int column) { lsvImage->SetSortKey(column); });
    connect(cmdAddNewImage, &QPushButton::clicked, this, [this] { cmdAddNewImage_Click(); });
    connect(cmdEdit, &QPushButton::clicked, this, [this] { cmdEdit_Click(); });
    connect(cmdDeleteImage, &QPushButton::clicked, this, [this] { cmdDeleteImage_Click(); });
    connect(cmdDeleteAllImage, &QPushButton::clicked, this, [this] { cmdDeleteAllImage_Click(); });
}

void frmHouseInput::Load()
{
    SetSizeTwips(kWindowWidth, kWindowHeight);
    sized_ = true;
    Resized();
    showPage(1);
    StartInput(ui::InputMode::Add);
}

void frmHouseInput::Unload()
{
    rs.Close();
    cn.Close();
}

void frmHouseInput::Resized()
{
    Frame1->setGeometry(rect());
    layoutPage1();
    Frame2->setGeometry(rect());
    layoutPage2();
}

void frmHouseInput::showPage(int page)
{
    Frame1->setVisible(page == 1);
    Frame2->setVisible(page != 1);
}

void frmHouseInput::StartInput(ui::InputMode mode)
{
    inputMode_ = mode;
    currentPicture_ = 0;

    for (QComboBox* box : {cmbHouseName, cmbHouseType, cmbHouseNo}) {
        box->clear();
        box->clearEditText();
    }
    txtHouseIntro->setPlainText(QString());
    // cmbHouseFloor is left alone, list and text: every start appends its forty floors again.
    removeAllContentRows();
    setupImageColumns();
    mdlHouse::InitImagePage(WebImage);

    fillDropDowns();
    holdRowLists_ = true;
    if (mode == ui::InputMode::Edit) loadHouse();
    while (cmbCaption.UBound() < 3) addContentRow();
    holdRowLists_ = false;
    rowListsHeld_ = false;
    heldCaptions_.clear();
    heldContents_.clear();
    showPage(1);
}

void frmHouseInput::fillDropDowns()
{
    mdlHouse::OpenDatabase(cn);
    entry::AppendKeepingText(cmbHouseName, entry::ReadColumn(cn, entry::SqlHouseNames()));
    const QStringList types = entry::ReadColumn(cn, entry::SqlHouseTypes());
    if (types.isEmpty()) ui::MsgBox(QStringLiteral("目前还没有任何房间类型，请到菜单中增加新的类型。"));
    entry::AppendKeepingText(cmbHouseType, types);
    QStringList floors;
    for (int floor = 1; floor <= 40; ++floor) floors << QString::number(floor);
    entry::AppendKeepingText(cmbHouseFloor, floors);
    entry::AppendKeepingText(cmbHouseNo, entry::ReadColumn(cn, entry::SqlHouseNos()));
    cn.Close();
}

void frmHouseInput::loadHouse()
{
    const qint32 houseId = mdlHouse::CurrentHouseID;
    mdlHouse::OpenDatabase(cn);
    if (cn.Execute(entry::SqlLoadHouse(houseId), rs) && !rs.Eof()) {
        cmbHouseName->setEditText(rs.Field(QStringLiteral("HouseName")).toString());
        // The type list stands in position order, so a type's position names its entry.
        cmbHouseType->setCurrentIndex(rs.Field(QStringLiteral("List")).toInt() - 1);
        cmbHouseNo->setEditText(rs.Field(QStringLiteral("HouseNo")).toString());
        txtHouseIntro->setPlainText(shownIntro(rs.Field(QStringLiteral("Intro")).toString()));
    }
    rs.Close();
    // The floor is not read: the user chooses it again before the pictures page.
    loadContentRows(cn, houseId);
    loadImages(cn, houseId);
    cn.Close();
}

void frmHouseInput::cmdNext_Click()
{
    if (!mdlHouse::RequireValue(cmbHouseName, QStringLiteral("名称"))) return;
    if (!mdlHouse::RequireValue(cmbHouseType, QStringLiteral("类型"))) return;
    if (!mdlHouse::RequireValue(cmbHouseNo, QStringLiteral("房间号"))) return;
    if (!mdlHouse::RequireValue(cmbHouseFloor, QStringLiteral("楼层"))) return;
    showPage(2);
    cmdFinish->setFocus();
}

void frmHouseInput::cmdFinish_Click()
{
    cmdPrevious->setEnabled(false);
    cmdFinish->setEnabled(false);
    cmdCancel2->setEnabled(false);
    const bool saved = inputMode_ == ui::InputMode::Add ? saveNewHouse() : saveEditedHouse();
    cmdPrevious->setEnabled(true);
    cmdFinish->setEnabled(true);
    cmdCancel2->setEnabled(true);
    // A save that wrote nothing keeps everything entered, for another try.
    if (!saved) return;

    if (ui::HouseListCalls* list = ui::OpenHouseList()) list->StartList();

    if (inputMode_ == ui::InputMode::Add) {
        StartInput(ui::InputMode::Add);
    } else {
        UnloadForm();
    }
}

QVariant frmHouseInput::lookUpTypeId()
{
    // The name is a value of the lookup, bound as it stands: whatever it holds, it can only match
    // a type of that name, and a name no type has stores the house without a type.
    QVariant typeId;
    if (cn.Execute(entry::SqlTypeIdByName(cmbHouseType->currentText()), rs) && !rs.Eof())
        typeId = rs.Field(QStringLiteral("TypeID"));
    rs.Close();
    return typeId;
}

void frmHouseInput::writeHouseFields(db::Recordset& house)
{
    // Each assignment stands alone: one that the table refuses (a floor that is not a number)
    // leaves that column as it was and the rest are still written.
    house.SetField(QStringLiteral("HouseName"), cmbHouseName->currentText());
    house.SetField(QStringLiteral("TypeID"), typeIdForSave_);
    house.SetField(QStringLiteral("HouseNo"), cmbHouseNo->currentText());
    house.SetField(QStringLiteral("Intro"), storedIntro(txtHouseIntro->toPlainText()));
    house.SetField(QStringLiteral("housefloor"), cmbHouseFloor->currentText());
}

// The type the house is saved under stays for the save: a PC deleting it waits until the house is
// written (and then finds a house of that type and refuses), or has deleted it already, and then
// the house is not saved. A name that finds no type at all keeps its old outcome, a house without
// a type.
bool frmHouseInput::holdType(mdlHouse::Save& save)
{
    if (!typeIdForSave_.isValid() || typeIdForSave_.isNull()) return true;
    return save.Require(QStringLiteral("t_HouseType"), QStringLiteral("TypeID"), typeIdForSave_.toLongLong(),
                        db::Connection::RowLock::KeyShare, mdlHouse::kTypeGoneMessage) == 1;
}

bool frmHouseInput::saveNewHouse()
{
    mdlHouse::OpenDatabase(cn);
    // The house, its rows and its pictures are one save: a process that dies halfway leaves none
    // of it, never a house without its rows.
    mdlHouse::Save save(cn);
    if (!save.Began()) return closeAfter(false);
    typeIdForSave_ = lookUpTypeId();
    if (!holdType(save)) return closeAfter(false);

    bool added = false;
    if (rs.Open(entry::SqlEmptyHouse(), cn, db::CursorType::Keyset, db::LockType::Optimistic)) {
        rs.AddNew();
        writeHouseFields(rs);
        added = rs.Update();
    }
    rs.Close();

    // The newest house has the largest key: one user, and keys that only grow.
    qint32 houseId = 0;
    if (added && cn.Execute(entry::SqlLastHouseId(), rs) && !rs.Eof())
        houseId = rs.Field(QStringLiteral("HouseID")).toInt();
    rs.Close();
    // Without its own house the rows and pictures would go to another house's key (and its
    // picture files): nothing is saved.
    if (houseId == 0) {
        save.Fail();
        return closeAfter(false);
    }

    QList<PictureCopy> copies;
    db::SetChangeContext(cn, db::ChangeContext{QStringLiteral("wizard")});
    writeContentRows(cn, houseId);
    writeImages(cn, houseId, &copies);
    const bool saved = save.Finish();
    cn.Close();
    if (saved) copyPictures(copies);
    return saved;
}

bool frmHouseInput::saveEditedHouse()
{
    const qint32 houseId = mdlHouse::CurrentHouseID;
    mdlHouse::OpenDatabase(cn);
    // The rows are deleted and written again: one save, so that a process that dies halfway
    // leaves the house as it was rather than without its rows.
    mdlHouse::Save save(cn);
    if (!save.Began()) return closeAfter(false);
    // The house is held for the whole save. A PC deleting it meanwhile either has deleted it
    // already (nothing is written here: rows without their house would be left otherwise) or
    // waits until this save is written and then deletes the house with these rows.
    const int held = save.Require(QStringLiteral("t_House"), QStringLiteral("HouseID"), houseId,
                                  db::Connection::RowLock::Update, kHouseGoneOffer);
    if (held == 0) {
        // What was entered is kept; the next "完成" saves it as a new house.
        inputMode_ = ui::InputMode::Add;
    }
    if (held != 1) return closeAfter(false);
    typeIdForSave_ = lookUpTypeId();
    if (!holdType(save)) return closeAfter(false);

    if (rs.Open(entry::SqlHouseById(houseId), cn, db::CursorType::Keyset, db::LockType::Optimistic)) {
        writeHouseFields(rs);
        rs.Update();
    }
    rs.Close();

    QList<PictureCopy> copies;
    db::SetChangeContext(cn, db::ChangeContext{QStringLiteral("wizard")});
    cn.Execute(entry::SqlDeleteContent(houseId));
    writeContentRows(cn, houseId);
    // Rows of pictures removed in the wizard go; their files stay in Images.
    cn.Execute(entry::SqlDeleteImages(houseId));
    writeImages(cn, houseId, &copies);
    const bool saved = save.Finish();
    cn.Close();
    if (saved) copyPictures(copies);
    return saved;
}

bool frmHouseInput::closeAfter(bool saved)
{
    rs.Close();
    cn.Close();
    return saved;
}
