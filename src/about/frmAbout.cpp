#include "about/frmAbout.h"

#include <QApplication>
#include <QDir>
#include <QEvent>
#include <QFileInfo>
#include <QFrame>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QStyle>
#include <QUrl>

#include "core/mdlHouse.h"
#include "core/ui/MsgBox.h"
#include "core/ui/Twips.h"
#include "version.h"

namespace {

// Where the system information program is registered, and where its folder is.
const QString gREGKEYSYSINFOLOC = QStringLiteral("SOFTWARE\\Microsoft\\Shared Tools Location");
const QString gREGVALSYSINFOLOC = QStringLiteral("MSINFO");
const QString gREGKEYSYSINFO = QStringLiteral("SOFTWARE\\Microsoft\\Shared Tools\\MSINFO");
const QString gREGVALSYSINFO = QStringLiteral("PATH");

constexpr int kBufferSize = 1024;

void place(QWidget* w, int left, int top, int width, int height)
{
    w->setGeometry(ui::Px(left), ui::Px(top), ui::Px(width), ui::Px(height));
}

}  // namespace

frmAbout::frmAbout()
{
    setObjectName(QStringLiteral("frmAbout"));
    setupControls();
}

void frmAbout::setupControls()
{
    auto label = [this](const char* name, const QString& text) {
        return ui::MakeNamed<QLabel>(this, name, text);
    };
    picIcon = label("picIcon", QString());
    picIcon->setPixmap(style()->standardIcon(QStyle::SP_ComputerIcon).pixmap(32, 32));
    place(picIcon, 240, 240, 540, 540);

    lblTitle = label("lblTitle", QStringLiteral("应用程序标题"));
    QFont titleFont = lblTitle->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.6);
    titleFont.setBold(true);
    lblTitle->setFont(titleFont);
    place(lblTitle, 1050, 240, 4600, 480);

    lblVersion = label("lblVersion", QStringLiteral("版本"));
    place(lblVersion, 1050, 780, 4600, 300);

    lblDescription = label(
        "lblDescription",
        QStringLiteral("房产销售展示程序：楼盘房屋目录、房屋展示、图片与背景音乐、房屋类型与属性模板。"));
    lblDescription->setWordWrap(true);
    lblDescription->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    place(lblDescription, 1050, 1140, 4600, 660);

    Line1 = new QFrame(this);
    Line1->setObjectName(QStringLiteral("Line1"));
    Line1->setFrameShape(QFrame::HLine);
    Line1->setFrameShadow(QFrame::Sunken);
    place(Line1, 225, 1880, 5635, 30);

    Label2 = label("Label2", QStringLiteral("使用 Qt 与 SQLite 构建。"));
    place(Label2, 255, 2040, 3900, 300);
    Label3 = label("Label3", QStringLiteral("使用中的问题请向本单位的系统管理员咨询。"));
    Label3->setWordWrap(true);
    Label3->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    place(Label3, 255, 2370, 3900, 540);
    Label4 = label("Label4", QStringLiteral("程序文件夹："));
    place(Label4, 255, 2940, 3900, 300);

    // The address: the folder the program runs from, which holds the catalogue and its media.
    Label1 = label("Label1", QString());
    Label1->setTextFormat(Qt::RichText);
    Label1->setCursor(Qt::PointingHandCursor);
    Label1->setToolTip(Address());
    Label1->installEventFilter(this);
    place(Label1, 255, 3240, 3900, 300);

    cmdOK = new QPushButton(QStringLiteral("确定"), this);
    cmdOK->setObjectName(QStringLiteral("cmdOK"));
    cmdOK->setDefault(true);
    place(cmdOK, 4300, 2625, 1560, 375);
    cmdSysInfo = new QPushButton(QStringLiteral("系统信息(&S)..."), this);
    cmdSysInfo->setObjectName(QStringLiteral("cmdSysInfo"));
    place(cmdSysInfo, 4300, 3100, 1560, 375);

    connect(cmdOK, &QPushButton::clicked, this, [this] { UnloadForm(); });
    connect(cmdSysInfo, &QPushButton::clicked, this, [this] { StartSysInfo(); });

    setFixedSize(ui::Px(6100), ui::Px(3750));
}

void frmAbout::Load()
{
    SetCaption(QStringLiteral("关于 ") + mdlHouse::kProgramTitle);
    lblVersion->setText(VersionText(TAVRELO_VERSION_MAJOR, TAVRELO_VERSION_MINOR, TAVRELO_VERSION_PATCH));
    lblTitle->setText(mdlHouse::kProgramTitle);
    const QString shown = QDir::toNativeSeparators(mdlHouse::ProgramFolder());
    Label1->setText(QStringLiteral("<a href=\"#\">") + shown.toHtmlEscaped() + QStringLiteral("</a>"));
    Label1->setToolTip(Address());
}

QString frmAbout::VersionText(int major, int minor, int revision)
{
    return QStringLiteral("版本 ") + QString::number(major) + QLatin1Char('.') + QString::number(minor) +
           QLatin1Char('.') + QString::number(revision);
}

QString frmAbout::Address()
{
    return QUrl::fromLocalFile(mdlHouse::ProgramFolder()).toString();
}

bool frmAbout::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == Label1 && event->type() == QEvent::MouseButtonRelease) {
        if (static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
            about::OpenAddress(Address());
            return true;
        }
    }
    return ui::Form::eventFilter(watched, event);
}

void frmAbout::StartSysInfo()
{
    QString SysInfoPath;
    bool found = false;
    if (GetKeyValue(about::HKEY_LOCAL_MACHINE, gREGKEYSYSINFO, gREGVALSYSINFO, SysInfoPath)) {
        found = true;
    } else if (GetKeyValue(about::HKEY_LOCAL_MACHINE, gREGKEYSYSINFOLOC, gREGVALSYSINFOLOC, SysInfoPath)) {
        // Only the folder is known: the program must be in it under its usual name.
        const QString candidate = SysInfoPath + QStringLiteral("/MSINFO32.EXE");
        if (QFileInfo(candidate).isFile()) {
            SysInfoPath = candidate;
            found = true;
        }
    }
    if (found && about::StartProgram(SysInfoPath)) return;
    ui::MsgBox(QStringLiteral("此时系统信息不可用"));
}

bool frmAbout::GetKeyValue(about::RegistryHandle KeyRoot, const QString& KeyName, const QString& SubKeyRef,
                           QString& KeyVal)
{
    about::Registry& registry = about::CurrentRegistry();
    about::RegistryHandle hKey = 0;
    bool result = false;
    if (!registry.OpenKey(KeyRoot, KeyName, about::KEY_ALL_ACCESS, &hKey)) {
        KeyVal = QString();
    } else {
        QByteArray tmpVal(kBufferSize, '\0');
        quint32 KeyValSize = kBufferSize;
        quint32 KeyValType = 0;
        if (!registry.QueryValue(hKey, SubKeyRef, &KeyValType, &tmpVal, &KeyValSize)) {
            KeyVal = QString();
        } else {
            about::DecodeKeyValue(KeyValType, tmpVal, KeyValSize, KeyVal);
            result = true;
        }
    }
    // Closed on every path, after a failed open too (then with the empty handle).
    registry.CloseKey(hKey);
    return result;
}
