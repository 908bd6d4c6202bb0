#pragma once

#include <QStringList>

class QComboBox;

namespace db {
class Connection;
}

namespace entry {

// Where the wizard's controls stand, in twips. Only the window size and the row pitch are fixed
// by the program's look; the rest keeps page 1 in two tidy columns.
namespace layout {
constexpr int kWindowWidth = 8000;
constexpr int kWindowHeight = 7800;
constexpr int kRowPitch = 600;

constexpr int kLabelLeft = 240;
constexpr int kLabelWidth = 1080;
constexpr int kLabelHeight = 300;
constexpr int kLabelDrop = 45;  // labels sit a little lower than the boxes beside them
constexpr int kBoxHeight = 360;
constexpr int kButtonHeight = 375;

constexpr int kFieldLeft = 1380;
constexpr int kFieldWidth = 2280;
constexpr int kSecondLabelLeft = 3900;
constexpr int kSecondFieldLeft = 4980;
constexpr int kFirstLineTop = 240;
constexpr int kSecondLineTop = 780;
constexpr int kIntroTop = 1320;
constexpr int kIntroWidth = 5880;
constexpr int kIntroHeight = 1200;

constexpr int kFirstRowTop = 2760;
constexpr int kCaptionWidth = 2280;
constexpr int kValueLabelLeft = 3780;
constexpr int kValueLabelWidth = 480;
constexpr int kContentLeft = 4260;
constexpr int kContentWidth = 3000;
constexpr int kPageRight = 7260;
constexpr int kPageButtonGap = 720;  // from the row buttons down to the page's button row
constexpr int kPageBottom = 360;     // below the page's button row
}  // namespace layout

// Appends items to a drop-down and leaves its text as it was.
void AppendKeepingText(QComboBox* box, const QStringList& items);
// The first column of every row of a query; nothing when the query fails.
QStringList ReadColumn(db::Connection& cn, const QString& sql);
// Copies a picture over its stored name, replacing what is there; a file that is its own target
// is left as it is. False when the copy did not happen.
bool CopyPictureFile(const QString& source, const QString& target);

}  // namespace entry
