// The attribute rows of the entry wizard: a growing column of caption / "值：" / content rows
// under "其它属性：", one pitch apart, with the buttons below them moving along.

#include <QComboBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
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
    const int buttonsTop = top + kPageButtonGap;
    const int width = 1080;
    cmdCancel->setGeometry(Px(kPageRight - width), Px(buttonsTop), Px(width), Px(kButtonHeight));
    cmdNext->setGeometry(Px(kPageRight - 2 * width - 120), Px(buttonsTop), Px(width), Px(kButtonHeight));
    Command1->setGeometry(Px(kPageRight - 3 * width - 240), Px(buttonsTop), Px(width), Px(kButtonHeight));
    page1->resize(Px(kPageRight + 240), Px(buttonsTop + kButtonHeight + 360));
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
