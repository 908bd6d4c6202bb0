// The picture list of the entry wizard (page 2): rows added and edited through the picture
// dialog, a preview of the selected one, and the copies into Images when the house is saved.

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QPushButton>

#include "core/ImagePage.h"
#include "core/db/ServerFiles.h"
#include "core/mdlHouse.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"
#include "core/ui/Twips.h"
#include "core/ui/WebBrowser.h"
#include "entry/EntrySql.h"
#include "entry/HouseInputLayout.h"
#include "entry/frmAddNewImage.h"
#include "entry/frmHouseInput.h"

using ui::Px;

namespace entry {

// Copies source over target, replacing it. A picture kept through an edit is its own target:
// then there is nothing to do, and the file must survive, so the target is never removed before
// a complete copy stands beside it.
bool CopyPictureFile(const QString& source, const QString& target)
{
    const QFileInfo from(source);
    const QFileInfo to(target);
    if (!from.isFile()) return false;
    if (to.exists() && from.canonicalFilePath() == to.canonicalFilePath()) return true;
    const QString partial = target + QStringLiteral(".partial");
    QFile::remove(partial);
    if (!QFile::copy(source, partial)) return false;
    QFile::remove(target);
    if (!QFile::rename(partial, target)) {
        QFile::remove(partial);
        return false;
    }
    return true;
}

}  // namespace entry

int frmHouseInput::CurrentPictureNumber() const
{
    if (lsvImage->Model()->Count() == 0 || lsvImage->SelectedRow() < 0) return 0;
    return currentPicture_;
}

void frmHouseInput::setupImageColumns()
{
    ui::ListModel* model = lsvImage->Model();
    model->ClearItems();
    model->ClearColumns();
    model->AddColumn(QStringLiteral("序号"), 600);
    model->AddColumn(QStringLiteral("标题"), 1000);
    model->AddColumn(QStringLiteral("说明"), 2000);
    model->AddColumn(QStringLiteral("文件"), 2000);
    lsvImage->SetSortKey(-1);
}

void frmHouseInput::layoutPage2()
{
    const int width = ui::Twips(Frame2->width());
    const int height = ui::Twips(Frame2->height());
    const int margin = 240;
    const int button = 1080;
    const int listTop = margin;
    const int listHeight = 2400;
    lsvImage->setGeometry(Px(margin), Px(listTop), Px(width - 2 * margin), Px(listHeight));
    const int toolsTop = listTop + listHeight + 120;
    int left = margin;
    for (QPushButton* b : {cmdAddNewImage, cmdEdit, cmdDeleteImage, cmdDeleteAllImage}) {
        b->setGeometry(Px(left), Px(toolsTop), Px(button), Px(entry::layout::kButtonHeight));
        left += button + 120;
    }
    const int labelTop = toolsTop + entry::layout::kButtonHeight + 180;
    Label2->setGeometry(Px(margin), Px(labelTop), Px(2000), Px(entry::layout::kLabelHeight));
    const int bottomTop = height - margin - entry::layout::kButtonHeight;
    const int previewTop = labelTop + entry::layout::kLabelHeight + 60;
    WebImage->setGeometry(Px(margin), Px(previewTop), Px(width - 2 * margin),
                          Px(std::max(300, bottomTop - 180 - previewTop)));
    int right = width - margin;
    for (QPushButton* b : {cmdCancel2, cmdFinish, cmdPrevious}) {
        right -= button;
        b->setGeometry(Px(right), Px(bottomTop), Px(button), Px(entry::layout::kButtonHeight));
        right -= 120;
    }
}

void frmHouseInput::AddNewImage(const QString& title, const QString& description, const QString& filePath)
{
    ui::ListModel* model = lsvImage->Model();
    // The number is the row count plus one when the row comes: removing a row never renumbers
    // the others, so two rows may share a number.
    const int row = model->AddItem(QString::number(model->Count() + 1));
    model->SetSubItem(row, 1, title);
    model->SetSubItem(row, 2, description);
    model->SetSubItem(row, 3, filePath);
    // A list sorted by a column places a new row by that column, as it always has.
    if (lsvImage->SortKey() >= 0) lsvImage->SetSortKey(lsvImage->SortKey());
}

void frmHouseInput::EditImage(const QString& title, const QString& description, const QString& filePath)
{
    const int row = lsvImage->SelectedRow();
    if (row < 0) return;
    ui::ListModel* model = lsvImage->Model();
    model->SetSubItem(row, 1, title);
    model->SetSubItem(row, 2, description);
    model->SetSubItem(row, 3, filePath);
}

void frmHouseInput::lsvImage_ItemClick(int row)
{
    ui::ListModel* model = lsvImage->Model();
    currentPicture_ = model->Text(row, 0).toInt();
    if (CurrentPictureNumber() == 0) return;
    mdlHouse::ShowImage(WebImage, 1, model->Text(row, 1), model->Text(row, 2), model->Text(row, 3));
}

void frmHouseInput::cmdAddNewImage_Click()
{
    const bool wasOpen = Forms::Find(QStringLiteral("frmAddNewImage")) != nullptr;
    auto* dialog = qobject_cast<frmAddNewImage*>(Forms::Show(QStringLiteral("frmAddNewImage")));
    // A dialog still open from an edit would hand its picture to the selected row; "新增" means a
    // new picture, so it starts over empty.
    if (dialog && wasOpen && dialog->DialogMode() == 1) dialog->StartAdd();
}

void frmHouseInput::cmdEdit_Click()
{
    if (CurrentPictureNumber() == 0) return;
    if (auto* dialog = qobject_cast<frmAddNewImage*>(Forms::Show(QStringLiteral("frmAddNewImage"))))
        dialog->GetImage();
}

void frmHouseInput::cmdDeleteImage_Click()
{
    if (CurrentPictureNumber() == 0) return;
    // Only the row goes; its file, if it was already copied, stays in Images.
    lsvImage->Model()->RemoveItem(lsvImage->SelectedRow());
    if (lsvImage->Model()->Count() == 0) currentPicture_ = 0;
    mdlHouse::ShowImage(WebImage, 0, QString(), QString(), QString());
}

void frmHouseInput::cmdDeleteAllImage_Click()
{
    lsvImage->Model()->ClearItems();
    currentPicture_ = 0;
    mdlHouse::ShowImage(WebImage, 0, QString(), QString(), QString());
}

void frmHouseInput::loadImages(db::Connection& connection, qint32 houseId)
{
    db::Recordset images;
    if (!connection.Execute(entry::SqlHouseImages(houseId), images)) return;
    while (!images.Eof()) {
        AddNewImage(images.Field(QStringLiteral("Caption")).toString(),
                    images.Field(QStringLiteral("Intro")).toString(),
                    mdlHouse::ProgramPath(QStringLiteral("/Images/")) +
                        images.Field(QStringLiteral("ImageFile")).toString());
        images.MoveNext();
    }
    images.Close();
}

void frmHouseInput::writeImages(db::Connection& connection, qint32 houseId, QList<PictureCopy>* copies)
{
    // Rows are written in the list's present order; each keeps the number it was given.
    const ui::ListModel* model = lsvImage->Model();
    for (int row = 0; row < model->Count(); ++row) {
        const QString number = model->Text(row, 0);
        const QString source = model->Text(row, 3);
        const QString stored = entry::StoredImageName(houseId, number, source);
        db::Recordset image;
        if (image.Open(entry::SqlEmptyImage(), connection, db::CursorType::Keyset,
                       db::LockType::Optimistic)) {
            image.AddNew();
            image.SetField(QStringLiteral("HouseID"), houseId);
            image.SetField(QStringLiteral("List"), number);
            image.SetField(QStringLiteral("Caption"), model->Text(row, 1));
            image.SetField(QStringLiteral("Intro"), model->Text(row, 2));
            image.SetField(QStringLiteral("ImageFile"), stored);
            image.Update();
        }
        image.Close();
        const QString target = mdlHouse::ProgramPath(QStringLiteral("/Images/")) + stored;
        // A shared catalogue's server holds the picture before its row is committed, so that no
        // other PC ever sees a row whose picture it cannot fetch; the copy into this PC's Images
        // waits until the save is written, so a save that fails changes no file there.
        // A picture kept from a house saved earlier (an edit, or a house deleted meanwhile and now
        // saved as a new one under another number) may exist on this PC only on the server: it is
        // fetched first, so the new name gets its content.
        db::FillMediaCache(mdlHouse::ProgramFolder(), source);
        db::ShareMediaFileAs(mdlHouse::ProgramFolder(), target, source);
        copies->append({source, target});
    }
}

void frmHouseInput::copyPictures(const QList<PictureCopy>& copies)
{
    for (const PictureCopy& copy : copies) entry::CopyPictureFile(copy.first, copy.second);
}
