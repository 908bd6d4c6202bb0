#include "types/frmHouseType.h"

#include <QEvent>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "core/Save.h"
#include "core/db/Convert.h"
#include "core/mdlHouse.h"
#include "core/ui/FileDialog.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"
#include "core/ui/MediaControl.h"
#include "core/ui/MsgBox.h"
#include "core/ui/Twips.h"
#include "types/TypeMusic.h"
#include "types/TypeSql.h"
#include "types/frmContent.h"

namespace {

// Every change of the type list (add, edit, delete, move) waits for another PC's to end: each
// reads positions and writes them back, and two at once on a server could leave a gap.
constexpr int kTypeListChange = 1;

const QString kStopped = QStringLiteral("▲");
const QString kPlaying = QStringLiteral("■");
const QString kMusicFilter =
    QStringLiteral("音频媒体文件 (*.wav; *.mp3; *.mid)|*.wav; *.mp3; *.mid|所有文件 (*.*)|*.*");

QString fieldText(const db::Recordset& rs, const char* name)
{
    return rs.Field(QLatin1String(name)).toString();
}

// The item text of a row as a 16-bit whole number; text that is no number gives 0.
qint16 toInteger(const QString& text)
{
    qint32 value = 0;
    if (!db::ToLong(text, &value) || value < -32768 || value > 32767) return 0;
    return qint16(value);
}

}  // namespace

frmHouseType::frmHouseType()
{
    setObjectName(QStringLiteral("frmHouseType"));
    SetCaption(QStringLiteral("类型"));
    setupControls();
}

void frmHouseType::setupControls()
{
    lsvType = ui::MakeControl<ui::ListView>(this, "lsvType", 120, 120, 6000, 3840);

    const int buttonLeft = 6270;
    const int buttonWidth = 1440;
    const int buttonHeight = 405;
    auto listButton = [&](const char* name, int index, const QString& caption) {
        const int top = 120 + index * 480;
        return ui::MakeControl<QPushButton>(this, name, buttonLeft, top, buttonWidth, buttonHeight, caption);
    };
    cmdAddNew = listButton("cmdAddNew", 0, QStringLiteral("新增"));
    cmdEdit = listButton("cmdEdit", 1, QStringLiteral("编辑"));
    cmdDelete = listButton("cmdDelete", 2, QStringLiteral("删除"));
    cmdUp = listButton("cmdUp", 3, QStringLiteral("上移"));
    cmdDown = listButton("cmdDown", 4, QStringLiteral("下移"));
    cmdRefresh = listButton("cmdRefresh", 5, QStringLiteral("刷新"));
    cmdContent = listButton("cmdContent", 6, QStringLiteral("属性"));

    lblHouseType =
        ui::MakeControl<QLabel>(this, "lblHouseType", 120, 4140, 1440, 330, QStringLiteral("类型："));
    txtHouseType = ui::MakeControl<QLineEdit>(this, "txtHouseType", 1620, 4110, 3000, 390);
    lblMusicTitle = ui::MakeControl<QLabel>(this, "lblMusicTitle", 120, 4620, 1440, 330,
                                            QStringLiteral("背景音乐标题："));
    txtMusicTitle = ui::MakeControl<QLineEdit>(this, "txtMusicTitle", 1620, 4590, 4500, 390);
    lblMusicFile =
        ui::MakeControl<QLabel>(this, "lblMusicFile", 120, 5100, 1440, 330, QStringLiteral("文件："));
    txtMusicFile = ui::MakeControl<QLineEdit>(this, "txtMusicFile", 1620, 5070, 3540, 390);
    cmdOpenMusicFile = ui::MakeControl<QPushButton>(this, "cmdOpenMusicFile", 5220, 5055, 900, 420,
                                                    QStringLiteral("浏览..."));
    cmdPlay = ui::MakeControl<QPushButton>(this, "cmdPlay", buttonLeft, 5055, 600, 420, kStopped);

    cmdEditOK = ui::MakeControl<QPushButton>(this, "cmdEditOK", 1620, 5640, 1200, buttonHeight,
                                             QStringLiteral("确定"));
    cmdEditCancel = ui::MakeControl<QPushButton>(this, "cmdEditCancel", 2940, 5640, 1200, buttonHeight,
                                                 QStringLiteral("取消"));
    cmdExit = ui::MakeControl<QPushButton>(this, "cmdExit", buttonLeft, 5640, buttonWidth, buttonHeight,
                                           QStringLiteral("退出"));

    MMC1 = new ui::MediaControl(this);
    MMC1->setObjectName(QStringLiteral("MMC1"));

    for (QLineEdit* box : {txtHouseType, txtMusicTitle, txtMusicFile}) box->installEventFilter(this);

    connect(lsvType, &ui::ListView::ItemClick, this, [this](int) { lsvType_Click(); });
    connect(lsvType, &ui::ListView::ItemDblClick, this, [this](int) { cmdEdit_Click(); });
    // The clicked column (0 = the item text) becomes the sort key; sorting stays on from then on.
    connect(lsvType, &ui::ListView::ColumnClick, this, [this](int column) { lsvType->SetSortKey(column); });
    connect(cmdAddNew, &QPushButton::clicked, this, [this] { cmdAddNew_Click(); });
    connect(cmdEdit, &QPushButton::clicked, this, [this] { cmdEdit_Click(); });
    connect(cmdEditOK, &QPushButton::clicked, this, [this] { cmdEditOK_Click(); });
    connect(cmdEditCancel, &QPushButton::clicked, this, [this] { cmdEditCancel_Click(); });
    connect(cmdDelete, &QPushButton::clicked, this, [this] { cmdDelete_Click(); });
    connect(cmdUp, &QPushButton::clicked, this, [this] { cmdUp_Click(); });
    connect(cmdDown, &QPushButton::clicked, this, [this] { cmdDown_Click(); });
    connect(cmdRefresh, &QPushButton::clicked, this, [this] { cmdRefresh_Click(); });
    connect(cmdContent, &QPushButton::clicked, this, [this] { cmdContent_Click(); });
    connect(cmdOpenMusicFile, &QPushButton::clicked, this, [this] { cmdOpenMusicFile_Click(); });
    connect(cmdPlay, &QPushButton::clicked, this, [this] { cmdPlay_Click(); });
    connect(cmdExit, &QPushButton::clicked, this, [this] { UnloadForm(); });
    connect(MMC1, &ui::MediaControl::Done, this, [this](int code) { MMC1_Done(code); });
}

void frmHouseType::Load()
{
    SetSizeTwips(8000, 7000);
    Frame()->setFixedSize(Frame()->size());
    lsvType->Model()->AddColumn(QStringLiteral("序号"), 600);
    lsvType->Model()->AddColumn(QStringLiteral("类型"), 1300);
    lsvType->Model()->AddColumn(QStringLiteral("背景音乐"), 1300);
    lsvType->Model()->AddColumn(QStringLiteral("文件名"), 2000);
    LoadTypeList();
    SetBrowseState();
}

void frmHouseType::Unload()
{
    MMC1->SetCommand(QStringLiteral("Close"));
    rs_.Close();
    conn_.Close();
}

bool frmHouseType::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::FocusIn) {
        if (auto* box = qobject_cast<QLineEdit*>(watched)) {
            // Let the box take the focus its own way first, then select all of it for typing over.
            box->event(event);
            box->setSelection(0, box->text().length());
            return true;
        }
    }
    return ui::Form::eventFilter(watched, event);
}

void frmHouseType::LoadTypeList()
{
    ui::ListModel* model = lsvType->Model();
    model->ClearItems();
    mdlHouse::OpenDatabase(conn_);
    sql_ = TypeSql::SelectTypes();
    if (conn_.Execute(sql_, rs_)) {
        while (!rs_.Eof()) {
            const int row = model->AddItem(fieldText(rs_, "List"));
            model->SetSubItem(row, 1, fieldText(rs_, "HouseType"));
            model->SetSubItem(row, 2, fieldText(rs_, "MusicTitle"));
            model->SetSubItem(row, 3, fieldText(rs_, "MusicFile"));
            rs_.MoveNext();
        }
    }
    rs_.Close();
    conn_.Close();
    // A sorted list keeps its order for rows added later, as a list with sorting switched on does.
    if (lsvType->SortKey() >= 0) lsvType->SetSortKey(lsvType->SortKey());
}

qint16 frmHouseType::SelectedPosition()
{
    if (lsvType->Model()->Count() == 0) {
        CurrentList = 0;
    } else {
        CurrentList = toInteger(lsvType->SelectedText(0));
    }
    return CurrentList;
}

void frmHouseType::ShowSelectedType()
{
    if (SelectedPosition() == 0) return;
    txtHouseType->setText(lsvType->SelectedText(1));
    txtMusicTitle->setText(lsvType->SelectedText(2));
    const QString file = MusicFileAtPosition();
    txtMusicFile->setText(file.isEmpty() ? QString()
                                         : mdlHouse::ProgramPath(QStringLiteral("/Music/")) + file);
}

QString frmHouseType::MusicFileAtPosition()
{
    QString file;
    mdlHouse::OpenDatabase(conn_);
    sql_ = TypeSql::MusicFileAt(CurrentList);
    if (conn_.Execute(sql_, rs_) && !rs_.Eof()) file = fieldText(rs_, "MusicFile");
    rs_.Close();
    conn_.Close();
    return file;
}

qint32 frmHouseType::TypeIdAtPosition()
{
    qint32 id = 0;
    mdlHouse::OpenDatabase(conn_);
    sql_ = TypeSql::TypeIdAt(CurrentList);
    if (conn_.Execute(sql_, rs_) && !rs_.Eof()) id = qint32(rs_.Field(QStringLiteral("TypeID")).toLongLong());
    rs_.Close();
    conn_.Close();
    return id;
}

void frmHouseType::SetBrowseState()
{
    for (QPushButton* b : {cmdUp, cmdDown, cmdContent, cmdRefresh, cmdDelete, cmdAddNew, cmdEdit})
        b->setEnabled(true);
    cmdEditOK->setEnabled(false);
    cmdEditCancel->setEnabled(false);
    for (QLineEdit* box : {txtHouseType, txtMusicTitle, txtMusicFile}) {
        box->clear();
        box->setEnabled(false);
    }
    cmdOpenMusicFile->setEnabled(false);
    ShowSelectedType();
}

void frmHouseType::SetEditState()
{
    for (QPushButton* b : {cmdUp, cmdDown, cmdContent, cmdRefresh, cmdDelete, cmdAddNew, cmdEdit})
        b->setEnabled(false);
    cmdEditOK->setEnabled(true);
    cmdEditCancel->setEnabled(true);
    for (QLineEdit* box : {txtHouseType, txtMusicTitle, txtMusicFile}) box->setEnabled(true);
    cmdOpenMusicFile->setEnabled(true);
}

void frmHouseType::lsvType_Click()
{
    StopMusic();
    ShowSelectedType();
}

void frmHouseType::cmdAddNew_Click()
{
    EditMode = 0;
    SetEditState();
    txtHouseType->setText(QStringLiteral("新的类型"));
    txtMusicTitle->setText(QStringLiteral("新的标题"));
    txtMusicFile->setText(QStringLiteral("请单击\"浏览\"选择一首歌曲。"));
    txtHouseType->setFocus();
}

void frmHouseType::cmdEdit_Click()
{
    if (SelectedPosition() == 0) return;
    EditMode = 1;
    SetEditState();
    ShowSelectedType();
    txtHouseType->setFocus();
}

void frmHouseType::cmdEditCancel_Click()
{
    SetBrowseState();
}

void frmHouseType::cmdEditOK_Click()
{
    if (!mdlHouse::RequireValue(txtHouseType, QStringLiteral("类型"))) return;
    if (!mdlHouse::RequireValue(txtMusicTitle, QStringLiteral("背景音乐标题"))) return;
    // Only an existing file counts as a choice; anything else (the placeholder too) means no music.
    if (!QFileInfo(txtMusicFile->text()).isFile()) txtMusicFile->clear();

    const qint16 reselect = CurrentList;
    cmdEditOK->setEnabled(false);
    cmdEditCancel->setEnabled(false);
    if (EditMode == 1) {
        SaveEditedType();
    } else {
        SaveNewType();
    }
    cmdEditOK->setEnabled(true);
    cmdEditCancel->setEnabled(true);
    LoadTypeList();
    SetBrowseState();

    // The reselection goes by displayed index, so in a list sorted by another column it may land
    // on another type than the one just saved.
    if (EditMode == 0) {
        lsvType->SelectRow(lsvType->Model()->Count() - 1);
    } else if (reselect != 0) {
        lsvType->SelectRow(reselect - 1);
    }
    ShowSelectedType();
}

void frmHouseType::SaveEditedType()
{
    const QString fileName = TypeMusic::FileName(txtMusicFile->text());
    mdlHouse::OpenDatabase(conn_);
    mdlHouse::Save save(conn_);
    // The type edited is the one at its position when the save runs: a type deleted meanwhile
    // (the row at that position gone) is not written again.
    if (save.Serialize(kTypeListChange) && holdTypeAt(save, CurrentList, mdlHouse::kTypeGoneMessage)) {
        sql_ = TypeSql::EditedTypeAt(CurrentList);
        rs_.Open(sql_, conn_, db::CursorType::Keyset, db::LockType::Optimistic);
        rs_.SetField(QStringLiteral("HouseType"), txtHouseType->text());
        rs_.SetField(QStringLiteral("MusicTitle"), txtMusicTitle->text());
        rs_.SetField(QStringLiteral("MusicFile"), fileName);
        rs_.Update();
        rs_.Close();
    }
    const bool saved = save.Finish();
    conn_.Close();
    if (saved) CopyMusicFile(fileName);
}

void frmHouseType::SaveNewType()
{
    const QString fileName = TypeMusic::FileName(txtMusicFile->text());
    mdlHouse::OpenDatabase(conn_);
    // The last position is read and the new type placed after it in one save, so positions stay
    // 1..N even with a second copy adding a type at the same moment.
    mdlHouse::Save save(conn_);
    if (save.Serialize(kTypeListChange)) {
        sql_ = TypeSql::LastType();
        rs_.Open(sql_, conn_, db::CursorType::Keyset, db::LockType::Optimistic);
        const qint16 position = qint16((rs_.Eof() ? 0 : rs_.Field(QStringLiteral("List")).toInt()) + 1);
        rs_.AddNew();
        rs_.SetField(QStringLiteral("List"), int(position));
        rs_.SetField(QStringLiteral("HouseType"), txtHouseType->text());
        rs_.SetField(QStringLiteral("MusicTitle"), txtMusicTitle->text());
        rs_.SetField(QStringLiteral("MusicFile"), fileName);
        rs_.Update();
        rs_.Close();
    }
    const bool saved = save.Finish();
    conn_.Close();
    if (saved) CopyMusicFile(fileName);
}

void frmHouseType::CopyMusicFile(const QString& fileName)
{
    // With no file chosen there is nothing to copy. An unchanged file is copied onto itself,
    // which leaves it as it is.
    if (fileName.isEmpty()) return;
    const QString destination = mdlHouse::ProgramPath(QStringLiteral("/Music/")) + fileName;
    TypeMusic::CopyReplacing(txtMusicFile->text(), destination);
}

bool frmHouseType::CanDeleteType()
{
    const qint32 typeId = TypeIdAtPosition();
    qint64 count = -1;
    mdlHouse::OpenDatabase(conn_);
    sql_ = TypeSql::CountHousesOfType(typeId);
    if (conn_.Execute(sql_, rs_) && !rs_.Eof()) count = rs_.Field(QStringLiteral("a")).toLongLong();
    rs_.Close();
    conn_.Close();
    return count == 0;
}

bool frmHouseType::DeleteType()
{
    mdlHouse::OpenDatabase(conn_);
    // The deletion and the closing of its gap are one save: positions stay 1..N. The count of its
    // houses is taken again inside the save, with the type row held: a house saved by another PC
    // since the first count holds that row until it is written, and is then counted here.
    mdlHouse::Save save(conn_);
    const bool held = save.Serialize(kTypeListChange) && holdTypeAt(save, CurrentList, QString());
    qint64 count = -1;
    if (held) {
        sql_ = TypeSql::CountHousesOfType(heldTypeId_);
        if (conn_.Execute(sql_, rs_) && !rs_.Eof()) count = rs_.Field(QStringLiteral("a")).toLongLong();
        rs_.Close();
    }
    if (held && count != 0) {
        save.Abort(QString());
        conn_.Close();
        return false;
    }
    if (held) {
        sql_ = TypeSql::DeleteTypeAt(CurrentList);
        conn_.Execute(sql_);
        sql_ = TypeSql::CloseGapAfter(CurrentList);
        conn_.Execute(sql_);
        save.Finish();
    }
    conn_.Close();
    return true;
}

// Reads the type at a position inside the save and holds its row to the end of the save. False
// (the save ended) when no type is there any more.
bool frmHouseType::holdTypeAt(mdlHouse::Save& save, qint16 list, const QString& goneMessage)
{
    qint32 typeId = 0;
    sql_ = TypeSql::TypeIdAt(list);
    if (conn_.Execute(sql_, rs_) && !rs_.Eof())
        typeId = qint32(rs_.Field(QStringLiteral("TypeID")).toLongLong());
    rs_.Close();
    heldTypeId_ = typeId;
    return save.Require(QStringLiteral("t_HouseType"), QStringLiteral("TypeID"), typeId,
                        db::Connection::RowLock::Update, goneMessage) == 1;
}

void frmHouseType::cmdDelete_Click()
{
    if (SelectedPosition() == 0) return;
    const QString typeName = lsvType->SelectedText(1);
    if (!CanDeleteType()) {
        ui::MsgBox(QStringLiteral("当前数据库中包含有类型为 \"") + typeName +
                   QStringLiteral("\" 的记录，不能删除该类型。"));
        return;
    }
    if (ui::MsgBox(QStringLiteral("确定要删除类型 \"") + typeName + QStringLiteral("\" 吗？"),
                   ui::Buttons::YesNo) != ui::Answer::Yes)
        return;
    if (!DeleteType())
        ui::MsgBox(QStringLiteral("当前数据库中包含有类型为 \"") + typeName +
                   QStringLiteral("\" 的记录，不能删除该类型。"));
    LoadTypeList();
    SetBrowseState();
}

// The move swaps two neighbours; with one of them gone (another PC deleted a type since this list
// was read) it would move a single type onto a free position and leave a gap, so it is not made.
bool frmHouseType::bothPositionsThere(qint16 p, qint16 q)
{
    qint64 count = -1;
    sql_ = QStringLiteral("Select Count(*) as a From t_HouseType Where List = %1 Or List = %2").arg(p).arg(q);
    if (conn_.Execute(sql_, rs_) && !rs_.Eof()) count = rs_.Field(QStringLiteral("a")).toLongLong();
    rs_.Close();
    return count == 2;
}

void frmHouseType::cmdUp_Click()
{
    const qint16 p = SelectedPosition();
    if (p <= 1) return;
    mdlHouse::OpenDatabase(conn_);
    mdlHouse::Save save(conn_);
    if (save.Serialize(kTypeListChange) && bothPositionsThere(p, p - 1)) {
        sql_ = TypeSql::MoveUp(p);
        conn_.Execute(sql_);
        save.Finish();
    }
    conn_.Close();
    LoadTypeList();
    lsvType->SelectRow(p - 2);
    ShowSelectedType();
}

void frmHouseType::cmdDown_Click()
{
    const qint16 p = SelectedPosition();
    if (p >= lsvType->Model()->Count()) return;
    mdlHouse::OpenDatabase(conn_);
    mdlHouse::Save save(conn_);
    if (save.Serialize(kTypeListChange) && bothPositionsThere(p, p + 1)) {
        sql_ = TypeSql::MoveDown(p);
        conn_.Execute(sql_);
        save.Finish();
    }
    conn_.Close();
    LoadTypeList();
    lsvType->SelectRow(p);
    ShowSelectedType();
}

void frmHouseType::cmdRefresh_Click()
{
    LoadTypeList();
    SetBrowseState();
}

void frmHouseType::cmdContent_Click()
{
    if (SelectedPosition() == 0) return;
    // The template editor runs beside this window; it is handed the position once it is shown.
    if (auto* editor = qobject_cast<frmContent*>(Forms::Show(QStringLiteral("frmContent")))) {
        editor->setFocus();
        editor->GetTypeContent(CurrentList);
    }
}

void frmHouseType::cmdOpenMusicFile_Click()
{
    cdlMusicFile.Filter = kMusicFilter;
    const QString chosen = ui::GetOpenFileName(this, cdlMusicFile.Filter);
    if (!chosen.isEmpty()) cdlMusicFile.FileName = chosen;
    if (!cdlMusicFile.FileName.isEmpty()) txtMusicFile->setText(cdlMusicFile.FileName);
}

void frmHouseType::cmdPlay_Click()
{
    if (SelectedPosition() == 0) return;
    if (cmdPlay->text() == kStopped) {
        PlayMusic();
    } else if (cmdPlay->text() == kPlaying) {
        StopMusic();
    }
}

void frmHouseType::PlayMusic()
{
    MMC1->SetCommand(QStringLiteral("Close"));
    MMC1->SetFileName(txtMusicFile->text());
    MMC1->SetCommand(QStringLiteral("Open"));
    MMC1->SetCommand(QStringLiteral("Play"));
    cmdPlay->setText(kPlaying);
}

void frmHouseType::StopMusic()
{
    MMC1->SetCommand(QStringLiteral("Close"));
    cmdPlay->setText(kStopped);
}

void frmHouseType::MMC1_Done(int notifyCode)
{
    if (notifyCode == 1) StopMusic();
}
