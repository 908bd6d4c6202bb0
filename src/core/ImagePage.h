#pragma once

#include <QString>

namespace ui {
class WebBrowser;
}

// The picture page: every window that shows a picture points its browser control at Image.htm
// in the program folder and places the picture in the page's element Pict.
namespace mdlHouse {

// Shows the picture page in the browser (writing Image.htm afresh), or, when the browser already
// shows it, empties the picture.
void InitImagePage(ui::WebBrowser* browser);
// Places a picture in the page: action 1 a plain picture, 2 one that opens a large view with its
// caption and description when clicked, anything else nothing. The picture is then fitted.
void ShowImage(ui::WebBrowser* browser, qint16 sAction, const QString& sImageCaption,
               const QString& sImageIntro, const QString& sImageFile);
// Stretches the shown picture over the whole client area of the page.
void FitImage(ui::WebBrowser* browser);
// Plain text made fit for the large view's document, which is written from a quoted script string.
QString TextToHtml(const QString& text);

// The text of Image.htm: eight lines, each ended by CR LF.
QString ImagePageText();
// The HTML that ShowImage puts into Pict for an action.
QString ImageHtml(qint16 sAction, const QString& sImageCaption, const QString& sImageIntro,
                  const QString& sImageFile);
// The path of the page file: the program folder followed by "/Image.htm".
QString ImagePagePath();

}  // namespace mdlHouse
