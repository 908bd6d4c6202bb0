#include "presentation/frmHouseShow.h"

#include <QGroupBox>
#include <QLabel>
#include <QPushButton>

#include "core/ImagePage.h"
#include "core/db/Convert.h"
#include "core/mdlHouse.h"
#include "core/ui/MediaControl.h"
#include "core/ui/MsgBox.h"
#include "core/ui/Trace.h"
#include "core/ui/Twips.h"
#include "core/ui/WebBrowser.h"
#include "presentation/HouseShowSql.h"

namespace {

const char* const kTopTwips = "topTwips";

template <typename T>
T* make(QWidget* parent, const char* name, int left, int top, int width, int height, const QString& text = {})
{
    auto* w = new T(parent);
    w->setObjectName(QString::fromLatin1(name));
    w->setGeometry(ui::Px(left), ui::Px(top), ui::Px(width), ui::Px(height));
    w->setProperty(kTopTwips, top);
    if constexpr (std::is_base_of_v<QLabel, T> || std::is_base_of_v<QAbstractButton, T>) w->setText(text);
    return w;
}

void setTopTwips(QWidget* w, int top)
{
    w->setProperty(kTopTwips, top);
    w->move(w->x(), ui::Px(top));
}

void setBoundsTwips(QWidget* w, int left, int top, int width, int height)
{
    w->setProperty(kTopTwips, top);
    w->setGeometry(ui::Px(left), ui::Px(top), ui::Px(width), ui::Px(height));
}

int widthTwips(const QWidget* w)
{
    return ui::Twips(w->width());
}

int heightTwips(const QWidget* w)
{
    return ui::Twips(w->height());
}

int leftTwips(const QWidget* w)
{
    return ui::Twips(w->x());
}

// A text field of the current row; a null leaves the control as it was, as assigning a null to a
// caption fails and the failure is passed over.
bool fieldText(const db::Recordset& rs, const QString& name, QString* text)
{
    const QVariant v = rs.Field(name);
    if (v.isNull()) return false;
    *text = v.toString();
    return true;
}

}  // namespace

frmHouseShow::frmHouseShow()
{
    setObjectName(QStringLiteral("frmHouseShow"));
    SetCaption(QStringLiteral("演示"));
    setupControls();
}

int frmHouseShow::TopTwips(const QWidget* control)
{
    const QVariant v = control->property(kTopTwips);
    return v.isValid() ? v.toInt() : ui::Twips(control->y());
}

void frmHouseShow::setupControls()
{
    resize(ui::Px(10000), ui::Px(6000));
    Frame1 = make<QGroupBox>(this, "Frame1", 200, 200, 4500, 5200);
    Frame1->setTitle(QStringLiteral(" 基本信息 "));
    Frame2 = make<QGroupBox>(this, "Frame2", 4900, 200, 4420, 5200);
    Frame2->setTitle(QStringLiteral(" 图片展示 "));

    cmdPre = make<QPushButton>(Frame1, "cmdPre", 240, 360, 1215, 495, QStringLiteral("上一个"));
    cmdNext = make<QPushButton>(Frame1, "cmdNext", 1560, 360, 1215, 495, QStringLiteral("下一个"));
    cmdMusic = make<QPushButton>(Frame1, "cmdMusic", 2880, 360, 615, 495, QStringLiteral("√"));
    cmdMusic->setToolTip(QStringLiteral("背景音乐"));

    lblHI = make<QLabel>(Frame1, "lblHI", 120, 1005, 1695, 495, QStringLiteral("编号："));
    lblHouseID = make<QLabel>(Frame1, "lblHouseID", 1920, 1005, 2415, 495, QStringLiteral("HouseID"));
    lblH = make<QLabel>(Frame1, "lblH", 120, 1500, 1695, 495, QStringLiteral("楼宇名称："));
    lblHouseName = make<QLabel>(Frame1, "lblHouseName", 1920, 1500, 2415, 495, QStringLiteral("HouseName"));
    lblHT = make<QLabel>(Frame1, "lblHT", 120, 1995, 1695, 495, QStringLiteral("类型："));
    lblHouseType = make<QLabel>(Frame1, "lblHouseType", 1920, 1995, 2415, 495, QStringLiteral("HouseType"));
    Label1 = make<QLabel>(Frame1, "Label1", 120, 2400, 1695, 495, QStringLiteral("楼层："));
    lblHouseFloor =
        make<QLabel>(Frame1, "lblHouseFloor", 1920, 2400, 2415, 495, QStringLiteral("HouseFloor"));
    lblHN = make<QLabel>(Frame1, "lblHN", 120, 2865, 1695, 495, QStringLiteral("房间号："));
    lblHouseNo = make<QLabel>(Frame1, "lblHouseNo", 1920, 2865, 2415, 495, QStringLiteral("HouseNo"));
    lblI = make<QLabel>(Frame1, "lblI", 120, 3360, 1695, 495, QStringLiteral("说明："));
    lblIntro = make<QLabel>(Frame1, "lblIntro", 1920, 3360, 2415, 1005, QStringLiteral("Intro"));
    lblIntro->setWordWrap(true);
    for (QLabel* l : {lblHI, lblH, lblHT, Label1, lblHN, lblI, lblHouseID, lblHouseName, lblHouseType,
                      lblHouseFloor, lblHouseNo, lblIntro})
        l->setAlignment(Qt::AlignLeft | Qt::AlignTop);

    auto* captionTemplate =
        make<QLabel>(Frame1, "lblCaption", 120, 3855, 1695, 495, QStringLiteral("自定义："));
    captionTemplate->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    lblCaption.SetTemplate(captionTemplate);
    auto* contentTemplate =
        make<QLabel>(Frame1, "lblContent", 1920, 3855, 2415, 495, QStringLiteral("Contents"));
    contentTemplate->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    lblContent.SetTemplate(contentTemplate);

    cmdImage.SetTemplate(make<QPushButton>(Frame2, "cmdImage", 240, 360, 1215, 495, QStringLiteral("图片")));
    WebImage = make<ui::WebBrowser>(Frame2, "WebImage", 1680, 360, 3015, 3015);
    lblImageIntro =
        make<QLabel>(Frame2, "lblImageIntro", 1680, 3575, 3015, 495, QStringLiteral("图片说明："));
    lblImageIntro->setWordWrap(true);
    lblImageIntro->setAlignment(Qt::AlignLeft | Qt::AlignTop);

    MMC1 = new ui::MediaControl(this);
    MMC1->setObjectName(QStringLiteral("MMC1"));

    connect(cmdPre, &QPushButton::clicked, this, [this] { cmdPre_Click(); });
    connect(cmdNext, &QPushButton::clicked, this, [this] { cmdNext_Click(); });
    connect(cmdMusic, &QPushButton::clicked, this, [this] { cmdMusic_Click(); });
    connect(MMC1, &ui::MediaControl::Done, this, [this](int code) { MMC1_Done(code); });
}

void frmHouseShow::Load()
{
    Frame()->move(0, 0);
    SetSizeTwips(10000, 6000);
    lblCaption.Template()->hide();
    lblContent.Template()->hide();
    ShowHouse();
}

void frmHouseShow::Unload()
{
    MMC1->SetCommand(QStringLiteral("Close"));
    rs_.Close();
    cnn_.Close();
}

void frmHouseShow::ShowHouse()
{
    ClearHouse();
    mdlHouse::InitImagePage(WebImage);
    LoadHouse();
    if (mdlHouse::MusicOff == 0) PlayMusic();
    ui::Trace(QStringLiteral("house shown %1").arg(mdlHouse::CurrentHouseID));
    ui::TraceControlsSoon(this);
}

void frmHouseShow::ClearHouse()
{
    // The floor keeps what it showed: a house that is gone leaves the last floor on screen.
    for (QLabel* l : {lblHouseID, lblHouseName, lblHouseType, lblHouseNo, lblIntro}) l->clear();
    setTopTwips(lblI, TopTwips(lblHN) + 500);
    setTopTwips(lblIntro, TopTwips(lblHouseNo) + 500);
    lblImageIntro->clear();
    cmdMusic->setText(mdlHouse::MusicOff == 0 ? QStringLiteral("√") : QStringLiteral("×"));
    lblCaption.UnloadAll();
    lblContent.UnloadAll();
    cmdImage.Template()->hide();
    cmdImage.UnloadAll();
}

void frmHouseShow::LoadHouse()
{
    mdlHouse::OpenDatabase(cnn_);
    const qint32 houseId = mdlHouse::CurrentHouseID;

    sql_ = HouseShowSql::HouseFacts(houseId);
    cnn_.Execute(sql_, rs_);
    if (!rs_.Eof()) {
        const QVariant id = rs_.Field(QStringLiteral("HouseID"));
        if (!id.isNull()) lblHouseID->setText(db::PaddedHouseNumber(id.toLongLong()));
        QString text;
        if (fieldText(rs_, QStringLiteral("HouseName"), &text)) lblHouseName->setText(text);
        if (fieldText(rs_, QStringLiteral("HouseType"), &text)) lblHouseType->setText(text);
        if (fieldText(rs_, QStringLiteral("HouseNo"), &text)) lblHouseNo->setText(text);
        if (fieldText(rs_, QStringLiteral("Intro"), &text)) lblIntro->setText(text);
        if (fieldText(rs_, QStringLiteral("housefloor"), &text)) lblHouseFloor->setText(text);
        if (fieldText(rs_, QStringLiteral("MusicFile"), &text)) HouseMusicFile = text;
    }
    rs_.Close();

    sql_ = HouseShowSql::HouseContents(houseId);
    cnn_.Execute(sql_, rs_);
    qint16 i = 0;
    while (!rs_.Eof()) {
        ++i;
        // The row offset is a 16-bit product: from the 67th row on it overflows, and such a row
        // stays where its template stands.
        const int offset = (int(i) - 1) * 500;
        const bool fits = offset <= 32767;
        QLabel* caption = lblCaption.Load(i);
        if (caption) {
            if (fits) setTopTwips(caption, TopTwips(lblI) + offset);
            caption->setText(rs_.Field(QStringLiteral("Caption")).toString() + QStringLiteral("："));
            caption->show();
        }
        QLabel* content = lblContent.Load(i);
        if (content) {
            if (fits) setTopTwips(content, TopTwips(lblIntro) + offset);
            QString text;
            if (fieldText(rs_, QStringLiteral("Content"), &text)) content->setText(text);
            content->show();
        }
        rs_.MoveNext();
    }
    rs_.Close();
    if (i > 0 && lblCaption[i]) {
        const int below = TopTwips(lblCaption[i]) + 500;
        setTopTwips(lblI, below);
        setTopTwips(lblIntro, below);
    }

    // Only the load that opens the window sizes it to its rows; stepping later leaves it alone.
    if (!Frame()->isVisible()) {
        const int h = TopTwips(lblIntro) + 2000;
        SetSizeTwips(WidthTwips(), h < 6000 ? 6000 : h);
    }

    sql_ = HouseShowSql::HouseImages(houseId);
    cnn_.Execute(sql_, rs_);
    qint32 n = 0;
    while (!rs_.Eof()) {
        ++n;
        QPushButton* button = cmdImage.Load(n);
        if (button) {
            setTopTwips(button, TopTwips(cmdImage.Template()) + (n - 1) * 600);
            button->setText(rs_.Field(QStringLiteral("Caption")).toString());
            button->show();
            const int index = n;
            connect(button, &QPushButton::clicked, this, [this, index] { cmdImage_Click(index); });
        }
        ImageCaptions.resize(n + 1);
        ImageFiles.resize(n + 1);
        ImageIntros.resize(n + 1);
        ImageCaptions[n] = rs_.Field(QStringLiteral("Caption")).toString();
        ImageFiles[n] = rs_.Field(QStringLiteral("ImageFile")).toString();
        ImageIntros[n] = rs_.Field(QStringLiteral("Intro")).toString();
        rs_.MoveNext();
    }
    rs_.Close();
    cnn_.Close();

    if (n == 0) lblImageIntro->setText(QStringLiteral("该房间没有任何图片"));
}

void frmHouseShow::cmdImage_Click(int index)
{
    if (index < 1 || index >= int(ImageFiles.size())) return;
    lblImageIntro->setText(QStringLiteral("图片说明：") + ImageIntros[index]);
    mdlHouse::ShowImage(WebImage, 2, ImageCaptions[index], ImageIntros[index],
                        QStringLiteral("Images/") + ImageFiles[index]);
}

void frmHouseShow::Resized()
{
    int w = WidthTwips();
    int h = HeightTwips();
    if (w < 10000 || h < 6000) {
        w = qMax(w, 10000);
        h = qMax(h, 6000);
        SetSizeTwips(w, h);
        w = WidthTwips();
        h = HeightTwips();
    }
    setBoundsTwips(Frame1, 200, 200, 4500, h - 800);
    const int frame1Width = widthTwips(Frame1);
    setBoundsTwips(Frame2, frame1Width + 400, 200, w - frame1Width - 680, h - 800);
    const int frame2Width = widthTwips(Frame2);
    const int frame2Height = heightTwips(Frame2);

    const int webLeft = leftTwips(WebImage);
    const int webTop = TopTwips(WebImage);
    const int webWidth = frame2Width - webLeft - 200;
    const int room = frame2Height - webTop - 1000;
    setBoundsTwips(WebImage, webLeft, webTop, webWidth, webWidth <= room ? webWidth : room);
    mdlHouse::FitImage(WebImage);

    const int introTop = webTop + heightTwips(WebImage) + 200;
    setBoundsTwips(lblImageIntro, leftTwips(lblImageIntro), introTop, widthTwips(WebImage),
                   frame2Height - introTop - 200);
}

void frmHouseShow::stepTo(const QString& sql, const QString& endMessage)
{
    mdlHouse::OpenDatabase(cnn_);
    sql_ = sql;
    cnn_.Execute(sql_, rs_);
    bool found = false;
    qint32 candidate = 0;
    if (!rs_.Eof()) {
        const QVariant id = rs_.Field(QStringLiteral("HouseID"));
        found = !id.isNull();
        candidate = qint32(id.toLongLong());
    }
    rs_.Close();
    cnn_.Close();
    if (!found) {
        ui::MsgBox(endMessage);
        return;
    }
    mdlHouse::CurrentHouseID = candidate;
    ShowHouse();
}

void frmHouseShow::cmdPre_Click()
{
    stepTo(HouseShowSql::PreviousHouse(mdlHouse::CurrentHouseID), QStringLiteral("已经到达第一条记录。"));
}

void frmHouseShow::cmdNext_Click()
{
    stepTo(HouseShowSql::NextHouse(mdlHouse::CurrentHouseID), QStringLiteral("已经到达最后一条记录。"));
}

void frmHouseShow::PlayMusic()
{
    MMC1->SetCommand(QStringLiteral("Close"));
    MMC1->SetFileName(mdlHouse::ProgramPath(QStringLiteral("/Music/")) + HouseMusicFile);
    MMC1->SetCommand(QStringLiteral("Open"));
    MMC1->SetCommand(QStringLiteral("Play"));
}

void frmHouseShow::MMC1_Done(int notifyCode)
{
    // Only the end of playback restarts the tune; a Close that cuts it short reports another code.
    if (notifyCode == 1 && mdlHouse::MusicOff == 0) {
        MMC1->SetCommand(QStringLiteral("Close"));
        PlayMusic();
    }
}

void frmHouseShow::cmdMusic_Click()
{
    if (mdlHouse::MusicOff != 1) {
        mdlHouse::MusicOff = 1;
        MMC1->SetCommand(QStringLiteral("Close"));
        cmdMusic->setText(QStringLiteral("×"));
    } else {
        mdlHouse::MusicOff = 0;
        MMC1->SetCommand(QStringLiteral("Close"));
        cmdMusic->setText(QStringLiteral("√"));
        PlayMusic();
    }
}
