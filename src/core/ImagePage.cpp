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

namespace {

// The character references that HTML reads without their closing semicolon: text that starts
// with one of these after an ampersand would show as another character.
const char* const kLegacyReferences[] = {
    "AElig",  "AMP",    "Aacute", "Acirc",  "Agrave", "Aring",  "Atilde", "Auml",  "COPY",   "Ccedil",
    "ETH",    "Eacute", "Ecirc",  "Egrave", "Euml",   "GT",     "Iacute", "Icirc", "Igrave", "Iuml",
    "LT",     "Ntilde", "Oacute", "Ocirc",  "Ograve", "Oslash", "Otilde", "Ouml",  "QUOT",   "REG",
    "THORN",  "Uacute", "Ucirc",  "Ugrave", "Uuml",   "Yacute", "aacute", "acirc", "acute",  "aelig",
    "agrave", "amp",    "aring",  "atilde", "auml",   "brvbar", "ccedil", "cedil", "cent",   "copy",
    "curren", "deg",    "divide", "eacute", "ecirc",  "egrave", "eth",    "euml",  "frac12", "frac14",
    "frac34", "gt",     "iacute", "icirc",  "iexcl",  "igrave", "iquest", "iuml",  "laquo",  "lt",
    "macr",   "micro",  "middot", "nbsp",   "not",    "ntilde", "oacute", "ocirc", "ograve", "ordf",
    "ordm",   "oslash", "otilde", "ouml",   "para",   "plusmn", "pound",  "quot",  "raquo",  "reg",
    "sect",   "shy",    "sup1",   "sup2",   "sup3",   "szlig",  "thorn",  "times", "uacute", "ucirc",
    "ugrave", "uml",    "uuml",   "yacute", "yen",    "yuml"};

// True when the ampersand at `at` would start a character reference: "&#", "&name;" or one of the
// names read without a semicolon. Any other ampersand ("R&D") shows as itself and stays as it is,
// so ordinary text keeps the bytes it always had.
bool startsReference(const QString& s, int at)
{
    const int next = at + 1;
    if (next >= s.size()) return false;
    if (s[next] == QLatin1Char('#')) return true;
    int end = next;
    while (end < s.size() && end - next < 64 && s[end].unicode() < 128 && s[end].isLetterOrNumber()) ++end;
    if (end == next) return false;
    if (end < s.size() && s[end] == QLatin1Char(';')) return true;
    const QStringView name = QStringView(s).mid(next, end - next);
    for (const char* legacy : kLegacyReferences)
        if (name.startsWith(QLatin1String(legacy))) return true;
    return false;
}

QString escapeAmpersands(const QString& s)
{
    QString out;
    out.reserve(s.size());
    for (int i = 0; i < s.size(); ++i) {
        if (s[i] == QLatin1Char('&') && startsReference(s, i))
            out += QLatin1String("&amp;");
        else
            out += s[i];
    }
    return out;
}

// Text for the large view's document: shown as text, never read as markup; a CR breaks the line.
QString popupText(const QString& text)
{
    QString s = escapeAmpersands(text);
    s.replace(QLatin1Char('<'), QStringLiteral("&lt;"));
    s.replace(QLatin1Char('>'), QStringLiteral("&gt;"));
    s.replace(QLatin1Char('\r'), QStringLiteral("<br>"));
    return s;
}

// A picture path inside the large view's img element, whose src stands between single quotes.
QString popupAttribute(const QString& path)
{
    QString s = escapeAmpersands(path);
    s.replace(QLatin1Char('\''), QStringLiteral("&#39;"));
    return s;
}

// The large view is written from a script string between single quotes. A line feed stays as it
// always was: it ends the string early, so a description with one opens no large view, and runs
// nothing either.
QString inScriptString(const QString& text)
{
    QString s;
    s.reserve(text.size());
    for (const QChar c : text) {
        switch (c.unicode()) {
            case '\\':
                s += QLatin1String("\\\\");
                break;
            case '\'':
                s += QLatin1String("\\'");
                break;
            case '\r':
                s += QLatin1String("\\r");
                break;
            case 0x2028:
                s += QLatin1String("\\u2028");
                break;
            case 0x2029:
                s += QLatin1String("\\u2029");
                break;
            default:
                s += c;
        }
    }
    return s;
}

// A value between the double quotes of one of the page's attributes (src, onclick).
QString inAttribute(const QString& value, bool blanksAsNbsp)
{
    QString s = escapeAmpersands(value);
    s.replace(QLatin1Char('"'), QStringLiteral("&quot;"));
    // A blank of a caption or description reaches the large view as a no-break space, as always.
    if (blanksAsNbsp) s.replace(QLatin1Char(' '), QStringLiteral("&nbsp;"));
    return s;
}

// Caption or description: text of the large view, inside its script string, inside onclick.
QString clickText(const QString& text)
{
    return inAttribute(inScriptString(popupText(text)), true);
}

}  // namespace

QString ImageHtml(qint16 sAction, const QString& sImageCaption, const QString& sImageIntro,
                  const QString& sImageFile)
{
    // Every stored value is escaped for the place it goes, innermost first, so that the page shows
    // exactly the stored text and runs nothing it was given; text without markup characters,
    // backslashes or line feeds gives the same bytes as the page always had.
    const QString src = inAttribute(sImageFile, false);
    switch (sAction) {
        case 1:
            return QStringLiteral("<img id=\"ImageShow\" src=\"") + src + QStringLiteral("\" border=0>");
        case 2:
            return QStringLiteral("<img id=\"ImageShow\" src=\"") + src +
                   QStringLiteral("\" border=0 style=\"cursor: hand\" onclick=\"") +
                   QStringLiteral("var NewWin = window.open(''); NewWin.document.write(") +
                   QStringLiteral("'<html><head><title>") + clickText(sImageCaption) +
                   QStringLiteral("</title>") +
                   QStringLiteral("<meta http-equiv=Content-Type content=text/html; charset=gb2312>") +
                   QStringLiteral("<style>td{font-family: 宋体;font-size: 9pt}</style></head><body>") +
                   QStringLiteral("<table align=center><tr><td align=center>") + clickText(sImageIntro) +
                   QStringLiteral("</td></tr><tr><tr><td><hr size=1></td></tr><tr><td align=center>") +
                   QStringLiteral("<img border=1 src=\\'") +
                   inAttribute(inScriptString(popupAttribute(sImageFile)), false) + QStringLiteral("\\'>") +
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
