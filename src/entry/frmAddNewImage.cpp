#include "entry/frmAddNewImage.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "core/mdlHouse.h"
#include "core/ui/FileDialog.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"
#include "core/ui/Twips.h"
#include "entry/frmHouseInput.h"

namespace {

frmHouseInput* wizard()
{
    return qobject_cast<frmHouseInput*>(Forms::Find(QStringLiteral("frmHouseInput")));
}

}  // namespace

frmAddNewImage::frmAddNewImage()
{
    setObjectName(QStringLiteral("frmAddNewImage"));
    setupControls();
}

QString frmAddNewImage::ImageFilter()
{
    return QStringLiteral(
        "图片文件 (*.bmp; *.jpg; *.gif; *.jpeg)|*.bmp; *.jpg; *.gif; *.jpeg|所有文件 (*.*)|*.*");
}

void frmAddNewImage::setupControls()
{
    SetCaption(QStringLiteral("增加新的图片"));
    // Labels stand 45 twips below their text box's top, so that their text lines up with it.
    lblImageFile =
        ui::MakeControl<QLabel>(this, "lblImageFile", 240, 285, 1200, 300, QStringLiteral("图片文件："));
    txtImageFile = ui::MakeControl<QLineEdit>(this, "txtImageFile", 1440, 240, 3240, 360);
    cmdOpenImageFile = ui::MakeControl<QPushButton>(this, "cmdOpenImageFile", 4800, 233, 1080, 375,
                                                    QStringLiteral("浏览..."));
    lblImageCaption =
        ui::MakeControl<QLabel>(this, "lblImageCaption", 240, 825, 1200, 300, QStringLiteral("图片标题："));
    txtImageCaption = ui::MakeControl<QLineEdit>(this, "txtImageCaption", 1440, 780, 4440, 360);
    lblImageIntro =
        ui::MakeControl<QLabel>(this, "lblImageIntro", 240, 1365, 1200, 300, QStringLiteral("图片说明："));
    txtImageIntro = ui::MakeControl<QLineEdit>(this, "txtImageIntro", 1440, 1320, 4440, 360);
    cmdImageOK =
        ui::MakeControl<QPushButton>(this, "cmdImageOK", 3600, 1980, 1080, 375, QStringLiteral("确定"));
    cmdImageCancel =
        ui::MakeControl<QPushButton>(this, "cmdImageCancel", 4800, 1980, 1080, 375, QStringLiteral("取消"));

    connect(cmdOpenImageFile, &QPushButton::clicked, this, [this] { cmdOpenImageFile_Click(); });
    connect(cmdImageOK, &QPushButton::clicked, this, [this] { cmdImageOK_Click(); });
    connect(cmdImageCancel, &QPushButton::clicked, this, [this] { UnloadForm(); });
}

void frmAddNewImage::Load()
{
    SetSizeTwips(6300, 3000);
    dialogMode_ = 0;
}

void frmAddNewImage::StartAdd()
{
    dialogMode_ = 0;
    txtImageFile->clear();
    txtImageCaption->clear();
    txtImageIntro->clear();
}

void frmAddNewImage::GetImage()
{
    dialogMode_ = 1;
    frmHouseInput* input = wizard();
    if (!input) return;
    const ui::ListView* list = input->lsvImage;
    txtImageCaption->setText(list->SelectedText(1));
    txtImageIntro->setText(list->SelectedText(2));
    txtImageFile->setText(list->SelectedText(3));
}

void frmAddNewImage::cmdOpenImageFile_Click()
{
    const QString file = ui::GetOpenFileName(this, ImageFilter());
    if (!file.isEmpty()) txtImageFile->setText(file);
}

void frmAddNewImage::cmdImageOK_Click()
{
    if (!mdlHouse::RequireValue(txtImageFile, QStringLiteral("图片文件"))) return;
    if (!mdlHouse::RequireValue(txtImageCaption, QStringLiteral("图片标题"))) return;
    if (!mdlHouse::RequireValue(txtImageIntro, QStringLiteral("图片说明"))) return;
    if (frmHouseInput* input = wizard()) {
        if (dialogMode_ == 0) {
            input->AddNewImage(txtImageCaption->text(), txtImageIntro->text(), txtImageFile->text());
        } else {
            input->EditImage(txtImageCaption->text(), txtImageIntro->text(), txtImageFile->text());
        }
    }
    UnloadForm();
}
