// The attribute rows of the entry wizard: a growing column of caption / "值：" / content rows
// under "其它属性：", one pitch apart, with the buttons below them moving along.

#include <QComboBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>

#include "core/mdlHouse.h"
#include "core/ui/Twips.h"
#include "entry/EntrySql.h"
#include "entry/HouseInputLayout.h"
#include "entry/frmHouseInput.h"

using ui::Px;
using namespace entry::layout;

namespace {

template <typename T>
T* loadBelow(ui::ControlArray<T>& array, int i)
{
    T* element = array.Load(i);
    if (!element) return nullptr;
    const QWidget* above = array[i - 1];
    element->move(above->x(), above->y() + Px(kRowPitch));
    element->show();
    return element;
}

// The copy of the design row takes its place and look; the editing rules are set again here.
void makeEditable(QComboBox* box)
{
    if (!box) return;
    box->setEditable(true);
    box->setInsertPolicy(QComboBox::NoInsert);
    box->setCompleter(nullptr);
}

}  // namespace

void frmHouseInput::addContentRow()
{
    const int i = cmbCaption.UBound() + 1;
    QComboBox* caption = loadBelow(cmbCaption, i);
    loadBelow(lblContent, i);
    QComboBox* content = loadBelow(cmbContent, i);
    makeEditable(caption);
    makeEditable(content);
    placeRowButtons();
    orderTabs();

    // Every row offers the captions and values already in use. A row that StartInput adds reuses
    // the lists its first row read; a catalogue that cannot be opened is tried (and reported) again
    // for every row, as before.
    if (!rowListsHeld_) {
        db::Connection rowConnection;
        mdlHouse::OpenDatabase(rowConnection);
        heldCaptions_ = entry::ReadColumn(rowConnection, entry::SqlCaptions());
        heldContents_ = entry::ReadColumn(rowConnection, entry::SqlContents());
        rowListsHeld_ = holdRowLists_ && rowConnection.IsOpen();
        rowConnection.Close();
    }
    if (caption) entry::AppendKeepingText(caption, heldCaptions_);
    if (content) entry::AppendKeepingText(content, heldContents_);
    if (!holdRowLists_) {
        heldCaptions_.clear();
        heldContents_.clear();
    }
}

void frmHouseInput::removeLastContentRow()
{
    // The design row (element 0) is never removed: with no row left the button does nothing.
    const int last = cmbCaption.UBound();
    if (last < 1) return;
    cmbCaption.Unload(last);
    lblContent.Unload(last);
    cmbContent.Unload(last);
    placeRowButtons();
}

void frmHouseInput::removeAllContentRows()
{
    cmbCaption.UnloadAll();
    lblContent.UnloadAll();
    cmbContent.UnloadAll();
    placeRowButtons();
}

void frmHouseInput::placeRowButtons()
{
    // The buttons stand one pitch below the last row, so each row added or removed moves them by
    // exactly one pitch.
    const int rows = cmbCaption.UBound();
    const int top = kFirstRowTop + rows * kRowPitch;
    cmdAddNewContent->setGeometry(Px(kFieldLeft), Px(top), Px(1680), Px(kButtonHeight));
    cmdDeleteContent->setGeometry(Px(kFieldLeft + 1800), Px(top), Px(840), Px(kButtonHeight));
    cmdImage->setGeometry(Px(kPageRight - 1200), Px(top), Px(1200), Px(kButtonHeight));
    // The scrolled part ends where the page's button row begins.
    page1->resize(Px(kPageRight + 240), Px(top + kPageButtonGap));
    growWithRows();
    layoutPage1();
}

void frmHouseInput::growWithRows()
{
    // The window grows with its rows until it is as tall as the frame it stands in; after that
    // only the rows scroll. It never shrinks by itself: a size the user chose stays.
    if (!sized_) return;
    QWidget* frame = Frame();
    const int needed = page1->height() + Px(kButtonHeight + kPageBottom) + (frame->height() - height());
    if (needed <= frame->height()) return;
    int top = frame->y();
    int room = 0;
    if (frame != this && frame->parentWidget()) {
        room = frame->parentWidget()->height();
        top = frame->y();
    } else if (QScreen* screen = this->screen()) {
        const QRect free = screen->availableGeometry();
        const int decoration = frame->frameGeometry().height() - frame->height();
        room = free.height() - decoration;
        top = frame->y() - free.top();
    }
    const int height = qMin(needed, room);
    if (height <= frame->height()) return;
    frame->resize(frame->width(), height);
    // Move up as far as needed so that the grown window stays wholly inside the frame.
    if (top + height > room) frame->move(frame->x(), frame->y() - (top + height - room));
}

void frmHouseInput::layoutPage1()
{
    // The button row follows the rows, one gap below the row buttons, as long as the window has
    // room for it; in a window too short for every row it stays at the bottom and the rows scroll.
    const int strip = Px(kButtonHeight + kPageBottom);
    const int rowsHeight = qMin(page1->height(), qMax(0, Frame1->height() - strip));
    rowsArea->setGeometry(0, 0, Frame1->width(), rowsHeight);
    const int buttonsTop = rowsHeight;
    const int width = 1080;
    cmdCancel->setGeometry(Px(kPageRight - width), buttonsTop, Px(width), Px(kButtonHeight));
    cmdNext->setGeometry(Px(kPageRight - 2 * width - 120), buttonsTop, Px(width), Px(kButtonHeight));
    Command1->setGeometry(Px(kPageRight - 3 * width - 240), buttonsTop, Px(width), Px(kButtonHeight));
}

void frmHouseInput::orderTabs()
{
    // Tab walks page 1 in screen order: the fields, the rows, then the buttons under them.
    QList<QWidget*> chain{cmbHouseName, cmbHouseType, cmbHouseNo, cmbHouseFloor, txtHouseIntro};
    for (int i = 1; i <= cmbCaption.UBound(); ++i) chain << cmbCaption[i] << cmbContent[i];
    chain << cmdAddNewContent << cmdDeleteContent << cmdImage << Command1 << cmdNext << cmdCancel;
    for (int k = 1; k < chain.size(); ++k) QWidget::setTabOrder(chain[k - 1], chain[k]);
}

void frmHouseInput::loadContentRows(db::Connection& connection, qint32 houseId)
{
    db::Recordset rows;
    if (!connection.Execute(entry::SqlHouseContent(houseId), rows)) return;
    while (!rows.Eof()) {
        addContentRow();
        const int i = cmbCaption.UBound();
        cmbCaption[i]->setEditText(rows.Field(QStringLiteral("Caption")).toString());
        cmbContent[i]->setEditText(rows.Field(QStringLiteral("Content")).toString());
        rows.MoveNext();
    }
    rows.Close();
}

void frmHouseInput::writeContentRows(db::Connection& connection, qint32 houseId)
{
    // A row counts by its caption alone; positions stay dense, in screen order.
    int position = 0;
    for (int i = 1; i <= cmbCaption.UBound(); ++i) {
        const QString caption = cmbCaption[i]->currentText();
        const QString content = cmbContent[i]->currentText();
        if (caption.isEmpty()) continue;
        ++position;
        db::Recordset row;
        if (row.Open(entry::SqlEmptyContent(), connection, db::CursorType::Keyset,
                     db::LockType::Optimistic)) {
            row.AddNew();
            row.SetField(QStringLiteral("HouseID"), houseId);
            row.SetField(QStringLiteral("List"), position);
            row.SetField(QStringLiteral("Caption"), caption);
            row.SetField(QStringLiteral("Content"), content);
            row.Update();
        }
        row.Close();
    }
}
