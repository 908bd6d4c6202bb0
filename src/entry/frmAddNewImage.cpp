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

using ui::Px;

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
    auto label = [this](const char* name, const QString& text, int top) {
        auto* l = new QLabel(text, this);
        l->setObjectName(QString::fromLatin1(name));
        l->setGeometry(Px(240), Px(top + 45), Px(1200), Px(300));
        return l;
    };
    auto edit = [this](const char* name, int top, int width) {
        auto* e = new QLineEdit(this);
        e->setObjectName(QString::fromLatin1(name));
        e->setGeometry(Px(1440), Px(top), Px(width), Px(360));
        return e;
    };
    auto button = [this](const char* name, const QString& text, int left, int top) {
        auto* b = new QPushButton(text, this);
        b->setObjectName(QString::fromLatin1(name));
        b->setGeometry(Px(left), Px(top), Px(1080), Px(375));
        return b;
    };
    lblImageFile = label("lblImageFile", QStringLiteral("图片文件："), 240);
    txtImageFile = edit("txtImageFile", 240, 3240);
    cmdOpenImageFile = button("cmdOpenImageFile", QStringLiteral("浏览..."), 4800, 233);
    lblImageCaption = label("lblImageCaption", QStringLiteral("图片标题："), 780);
    txtImageCaption = edit("txtImageCaption", 780, 4440);
    lblImageIntro = label("lblImageIntro", QStringLiteral("图片说明："), 1320);
    txtImageIntro = edit("txtImageIntro", 1320, 4440);
    cmdImageOK = button("cmdImageOK", QStringLiteral("确定"), 3600, 1980);
    cmdImageCancel = button("cmdImageCancel", QStringLiteral("取消"), 4800, 1980);

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
