#pragma once

#include <QString>

class QWidget;

namespace db {
class Connection;
}

// The shared module: the program-wide values and the routines every window uses.
namespace mdlHouse {

inline const QString kProgramTitle = QStringLiteral("Tavrelo");

extern qint32 CurrentHouseID;  // the house last selected in the catalogue; 0 at start
extern qint32 MusicOff;        // 1 while the presentation's music is switched off; 0 at start

// The program folder, without a trailing separator (except "/" itself): the one the start chose
// (SetProgramFolder), else folders::DefaultProgramFolder(), looked up once.
QString ProgramFolder();
// Tests and tools point the program at another folder; an empty folder restores the default.
void SetProgramFolder(const QString& folder);

// The program folder joined with a fixed suffix, as it stands (a root folder gives "//Images").
QString ProgramPath(const QString& suffix);
QString DatabasePath();  // ProgramPath("/House.db")

// Opens the catalogue on the caller's connection. On failure shows the three-line connection
// message (or, for a server URI that carries a password, where passwords belong) and returns with
// the connection unopened; the caller's statements then fail quietly.
void OpenDatabase(db::Connection& connection);
// The message shown when the catalogue cannot be opened.
QString DatabaseFailureMessage();

// Resets CurrentHouseID and MusicOff, then makes Images and Music in the program folder,
// ignoring every error (folders that exist, a read-only program folder).
void CreateMediaFolders();

// The text of a text box or combo box (or a multi-line text box).
QString ControlText(const QWidget* control);
// Input checks: show their message, put the focus into the control, and return false.
bool RequireValue(QWidget* control, const QString& fieldName);
bool CheckNumberRange(QWidget* control, const QString& fieldName, qint32 minimum, qint32 maximum);

}  // namespace mdlHouse
