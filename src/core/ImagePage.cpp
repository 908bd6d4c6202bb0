#include "core/ImagePage.h"

#include <QFile>

#include "core/db/ServerFiles.h"
#include "core/mdlHouse.h"
#include "core/ui/WebBrowser.h"

namespace mdlHouse {

namespace {

const QString kPageName = QStringLiteral("Image.htm");

QString setPictScript(const QString& html)
{
    return QStringLiteral("(function(){try{var e=document.getElementById('Pict');if(e)e.innerHTML=") +
           ui::WebBrowser::ScriptString(html) + QStringLiteral(";}catch(x){}})();");
}

}  // namespace

QString ImagePagePath()
{
    return ProgramPath(QStringLiteral("/") + kPageName);
}

QString ImagePageText()
{
    const QString crlf = QStringLiteral("\r\n");
    return QStringLiteral("<html>") + crlf + QStringLiteral("<head>") + crlf +
           QStringLiteral("<title>Image</title>") + crlf + QStringLiteral("</head>") + crlf +
           QStringLiteral("<body leftmargin=0 topmargin=0 style='overflow:hidden'>") + crlf +
           QStringLiteral("<div id='Pict'></div>") + crlf + QStringLiteral("</body>") + crlf +
           QStringLiteral("</html>") + crlf;
}

QString TextToHtml(const QString& text)
{
    if (text.isEmpty()) return QString();
    QString s = text;
    s.replace(QLatin1Char('\''), QStringLiteral("\\'"));
    s.replace(QLatin1Char('"'), QStringLiteral("&quot;"));
    s.replace(QLatin1Char('<'), QStringLiteral("&lt;"));
    s.replace(QLatin1Char('>'), QStringLiteral("&gt;"));
    s.replace(QLatin1Char('\r'), QStringLiteral("<br>"));
    s.replace(QLatin1Char(' '), QStringLiteral("&nbsp;"));
    return s;
}

QString ImageHtml(qint16 sAction, const QString& sImageCaption, const QString& sImageIntro,
                  const QString& sImageFile)
{
    const QString caption = TextToHtml(sImageCaption);
    const QString intro = TextToHtml(sImageIntro);
    QString scriptPath = sImageFile;
    scriptPath.replace(QStringLiteral("\\"), QStringLiteral("\\\\"));
    switch (sAction) {
        case 1:
            return QStringLiteral("<img id=\"ImageShow\" src=\"") + sImageFile +
                   QStringLiteral("\" border=0>");
        case 2:
            return QStringLiteral("<img id=\"ImageShow\" src=\"") + sImageFile +
                   QStringLiteral("\" border=0 style=\"cursor: hand\" onclick=\"") +
                   QStringLiteral("var NewWin = window.open(''); NewWin.document.write(") +
                   QStringLiteral("'<html><head><title>") + caption + QStringLiteral("</title>") +
                   QStringLiteral("<meta http-equiv=Content-Type content=text/html; charset=gb2312>") +
                   QStringLiteral("<style>td{font-family: 宋体;font-size: 9pt}</style></head><body>") +
                   QStringLiteral("<table align=center><tr><td align=center>") + intro +
                   QStringLiteral("</td></tr><tr><tr><td><hr size=1></td></tr><tr><td align=center>") +
                   QStringLiteral("<img border=1 src=\\'") + scriptPath + QStringLiteral("\\'>") +
                   QStringLiteral("</td></tr></table>')\">");
        default:
            return QString();
    }
}

void InitImagePage(ui::WebBrowser* browser)
{
    if (!browser) return;
    if (browser->LocationName() != kPageName) {
        QFile file(ImagePagePath());
        // The page is plain ASCII, the same bytes in any ANSI code page.
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) return;
        const QByteArray bytes = ImagePageText().toLatin1();
        const bool written = file.write(bytes) == bytes.size();
        file.close();
        if (!written) return;
        browser->Navigate(ImagePagePath());
    } else {
        browser->RunScript(setPictScript(QString()));
    }
}

void ShowImage(ui::WebBrowser* browser, qint16 sAction, const QString& sImageCaption,
               const QString& sImageIntro, const QString& sImageFile)
{
    if (!browser) return;
    // A picture of a shared catalogue may not have reached this PC's Images folder yet.
    if (!sImageFile.isEmpty()) db::FillMediaCache(ProgramFolder(), sImageFile);
    browser->RunScript(setPictScript(ImageHtml(sAction, sImageCaption, sImageIntro, sImageFile)));
    FitImage(browser);
}

void FitImage(ui::WebBrowser* browser)
{
    if (!browser) return;
    browser->RunLayoutScript(QStringLiteral(
        "(function(){try{var i=document.getElementById('ImageShow');if(!i)return;var b=document.body;"
        "i.width=b.clientWidth;i.height=b.clientHeight;}catch(x){}})();"));
}

}  // namespace mdlHouse
