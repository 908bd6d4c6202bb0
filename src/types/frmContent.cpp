#include "types/frmContent.h"

#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "core/Save.h"
#include "core/mdlHouse.h"
#include "core/ui/ListView.h"
#include "core/ui/Twips.h"
#include "types/TypeSql.h"

frmContent::frmContent()
{
    setObjectName(QStringLiteral("frmContent"));
    SetCaption(QStringLiteral("属性"));
    setupControls();
}

void frmContent::setupControls()
{
    lsvContent = ui::MakeControl<ui::ListView>(this, "lsvContent", 120, 120, 5700, 3600);

    const int buttonLeft = 6000;
    const int buttonWidth = 1440;
    const int buttonHeight = 405;
    auto button = [&](const char* name, int top, const QString& caption) {
        return ui::MakeControl<QPushButton>(this, name, buttonLeft, top, buttonWidth, buttonHeight, caption);
    };
    cmdAddNew = button("cmdAddNew", 120, QStringLiteral("新增"));
    cmdEdit = button("cmdEdit", 600, QStringLiteral("编辑"));
    cmdDelete = button("cmdDelete", 1080, QStringLiteral("删除"));
    cmdClear = button("cmdClear", 1560, QStringLiteral("清空"));

    Label1 = ui::MakeControl<QLabel>(this, "Label1", 120, 3900, 900, 330, QStringLiteral("属性："));
    txtCaption = ui::MakeControl<QLineEdit>(this, "txtCaption", 1020, 3870, 4800, 390);
    Label2 = ui::MakeControl<QLabel>(this, "Label2", 120, 4380, 900, 330, QStringLiteral("值："));
    txtContent = ui::MakeControl<QLineEdit>(this, "txtContent", 1020, 4350, 4800, 390);
    cmdEditOK = button("cmdEditOK", 3855, QStringLiteral("确定"));
    cmdEditCancel = button("cmdEditCancel", 4335, QStringLiteral("取消"));

    cmdOK =
        ui::MakeControl<QPushButton>(this, "cmdOK", 4380, 4980, 1440, buttonHeight, QStringLiteral("确定"));
    cmdCancel = button("cmdCancel", 4980, QStringLiteral("取消"));

    connect(lsvContent, &ui::ListView::ItemDblClick, this, [this](int) { cmdEdit_Click(); });
    for (QLineEdit* box : {txtCaption, txtContent}) {
        connect(box, &QLineEdit::textChanged, this, [this, box] { box_Change(box); });
        box->installEventFilter(this);
    }
    connect(cmdAddNew, &QPushButton::clicked, this, [this] { cmdAddNew_Click(); });
    connect(cmdEdit, &QPushButton::clicked, this, [this] { cmdEdit_Click(); });
    connect(cmdDelete, &QPushButton::clicked, this, [this] { cmdDelete_Click(); });
    connect(cmdClear, &QPushButton::clicked, this, [this] { cmdClear_Click(); });
    connect(cmdEditOK, &QPushButton::clicked, this, [this] { cmdEditOK_Click(); });
    connect(cmdEditCancel, &QPushButton::clicked, this, [this] { cmdEditCancel_Click(); });
    connect(cmdOK, &QPushButton::clicked, this, [this] { cmdOK_Click(); });
    connect(cmdCancel, &QPushButton::clicked, this, [this] { UnloadForm(); });
}

void frmContent::Load()
{
    SetSizeTwips(8000, 6000);
    Frame()->setFixedSize(Frame()->size());
    lsvContent->Model()->AddColumn(QStringLiteral("属性"), 2500);
    lsvContent->Model()->AddColumn(QStringLiteral("值"), 2500);
    SetBrowseState();
}

void frmContent::Unload()
{
    // Closing writes nothing: only "确定" stores the list.
    rs_.Close();
    conn_.Close();
}

void frmContent::setBoxText(QLineEdit* box, const QString& text)
{
    settingText_ = true;
    box->setText(text);
    settingText_ = false;
    windowText_[box] = !text.isEmpty();
}

// Text that the window put into a box stays wholly selected until the user works in that box.
// A line edit drops its selection whenever the focus leaves it, and which box loses the focus
// when, and in what order, depends on where the focus was and on how the window came up (the
// first show of a window hands the focus around differently from later ones). So the selection
// is not left to that order: it is restored whenever the focus has moved.
void frmContent::selectWindowText()
{
    for (QLineEdit* box : {txtCaption, txtContent}) {
        if (windowText_.value(box)) box->setSelection(0, box->text().length());
    }
}

bool frmContent::eventFilter(QObject* watched, QEvent* event)
{
    auto* box = qobject_cast<QLineEdit*>(watched);
    if (box && (box == txtCaption || box == txtContent)) {
        switch (event->type()) {
            case QEvent::KeyPress: {
                // Moving on to the other box is not working in this one.
                const int key = static_cast<QKeyEvent*>(event)->key();
                if (key != Qt::Key_Tab && key != Qt::Key_Backtab) windowText_[box] = false;
                break;
            }
            case QEvent::MouseButtonPress:
            case QEvent::MouseButtonDblClick:
            case QEvent::InputMethod:
                windowText_[box] = false;  // the user takes the box over
                break;
            case QEvent::FocusOut:
                // The line edit clears its selection after this filter has run.
                if (windowText_.value(box))
                    QMetaObject::invokeMethod(
                        this, [this] { selectWindowText(); }, Qt::QueuedConnection);
                break;
            default:
                break;
        }
    }
    return ui::Form::eventFilter(watched, event);
}

// After every change the selection runs from the caret to the end of the text. Text put in by the
// window starts with the caret at the front, so it ends up wholly selected; typing at the end is
// unaffected; typing in the middle selects the rest, which the next keystroke then replaces.
void frmContent::box_Change(QLineEdit* box)
{
    const int caret = settingText_ ? 0 : box->cursorPosition();
    box->setSelection(caret, box->text().length());
}

void frmContent::GetTypeContent(qint16& TypeList)
{
    mdlHouse::OpenDatabase(conn_);
    sql_ = TypeSql::TypeIdAt(TypeList);
    // A position without a type leaves the current type as it was.
    if (conn_.Execute(sql_, rs_) && !rs_.Eof())
        CurrentTypeID = qint32(rs_.Field(QStringLiteral("TypeID")).toLongLong());
    rs_.Close();
    sql_ = TypeSql::TemplateOf(CurrentTypeID);
    if (conn_.Execute(sql_, rs_)) {
        ui::ListModel* model = lsvContent->Model();
        while (!rs_.Eof()) {
            const int row = model->AddItem(rs_.Field(QStringLiteral("Caption")).toString());
            model->SetSubItem(row, 1, rs_.Field(QStringLiteral("Content")).toString());
            rs_.MoveNext();
        }
    }
    rs_.Close();
    conn_.Close();
}

void frmContent::SetBrowseState()
{
    for (QLineEdit* box : {txtCaption, txtContent}) {
        setBoxText(box, QString());
        box->setEnabled(false);
    }
    cmdEditOK->setEnabled(false);
    cmdEditCancel->setEnabled(false);
    for (QPushButton* b : {cmdAddNew, cmdEdit, cmdDelete, cmdClear}) b->setEnabled(true);
}

void frmContent::SetEditState()
{
    txtCaption->setEnabled(true);
    txtContent->setEnabled(true);
    cmdEditOK->setEnabled(true);
    cmdEditCancel->setEnabled(true);
    for (QPushButton* b : {cmdAddNew, cmdEdit, cmdDelete, cmdClear}) b->setEnabled(false);
}

void frmContent::cmdAddNew_Click()
{
    SetEditState();
    setBoxText(txtCaption, QStringLiteral("新增属性"));
    setBoxText(txtContent, QStringLiteral("新增值"));
    txtCaption->setFocus();
    selectWindowText();
    EditMode = 0;
}

void frmContent::cmdEdit_Click()
{
    // Without a selected row there is nothing to edit.
    const int row = lsvContent->SelectedRow();
    if (row < 0) return;
    SetEditState();
    setBoxText(txtCaption, lsvContent->Model()->Text(row, 0));
    setBoxText(txtContent, lsvContent->Model()->Text(row, 1));
    txtCaption->setFocus();
    selectWindowText();
    EditMode = 1;
}

void frmContent::cmdEditOK_Click()
{
    if (!mdlHouse::RequireValue(txtCaption, QStringLiteral("属性"))) return;
    if (!mdlHouse::RequireValue(txtContent, QStringLiteral("值"))) return;
    ui::ListModel* model = lsvContent->Model();
    if (EditMode == 0) {
        const int row = model->AddItem(txtCaption->text());
        model->SetSubItem(row, 1, txtContent->text());
    } else {
        const int row = lsvContent->SelectedRow();
        if (row >= 0) {
            model->SetItemText(row, txtCaption->text());
            model->SetSubItem(row, 1, txtContent->text());
        }
    }
    SetBrowseState();
}

void frmContent::cmdEditCancel_Click()
{
    setBoxText(txtCaption, QString());
    setBoxText(txtContent, QString());
    SetBrowseState();
}

void frmContent::cmdDelete_Click()
{
    if (lsvContent->Model()->Count() < 1) return;
    lsvContent->Model()->RemoveItem(lsvContent->SelectedRow());
}

void frmContent::cmdClear_Click()
{
    lsvContent->Model()->ClearItems();
}

void frmContent::cmdOK_Click()
{
    mdlHouse::OpenDatabase(conn_);
    // The old template is replaced as one save: never half of the new rows. Its type is held for
    // the save: a type deleted by another PC meanwhile gets no rows (they would belong to no
    // type), and a deletion that comes while this save runs waits for it. The hold is exclusive,
    // so two PCs saving the same type's template take turns: the later one's delete then sees the
    // earlier one's rows and replaces them, instead of both sets ending up in one template.
    mdlHouse::Save save(conn_);
    if (save.Require(QStringLiteral("t_HouseType"), QStringLiteral("TypeID"), CurrentTypeID,
                     db::Connection::RowLock::Update, mdlHouse::kTypeGoneMessage) != 1) {
        conn_.Close();
        return;
    }
    sql_ = TypeSql::DeleteTemplateOf(CurrentTypeID);
    conn_.Execute(sql_);
    const ui::ListModel* model = lsvContent->Model();
    if (model->Count() > 0) {
        sql_ = TypeSql::EmptyTemplateRows();
        rs_.Open(sql_, conn_, db::CursorType::Keyset, db::LockType::Optimistic);
        for (int i = 1; i <= model->Count(); ++i) {
            rs_.AddNew();
            rs_.SetField(QStringLiteral("TypeID"), CurrentTypeID);
            rs_.SetField(QStringLiteral("Caption"), model->Text(i - 1, 0));
            rs_.SetField(QStringLiteral("Content"), model->Text(i - 1, 1));
            rs_.Update();
        }
        rs_.Close();
    }
    const bool saved = save.Finish();
    conn_.Close();
    // A save that wrote nothing keeps the list in the window for another try.
    if (saved) UnloadForm();
}
