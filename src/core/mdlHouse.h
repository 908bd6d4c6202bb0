#pragma once

#include <QString>

#include "core/Program.h"

class QWidget;

namespace db {
class Connection;
}

// The shared module: the program-wide values and the routines every window uses.
namespace mdlHouse {

// The program's name and folder (core/Program.h), under the names the windows have always used.
using program::kProgramTitle;
using program::ProgramFolder;
using program::ProgramPath;
using program::SetProgramFolder;

extern qint32 CurrentHouseID;  // the house last selected in the catalogue; 0 at start
extern qint32 MusicOff;        // 1 while the presentation's music is switched off; 0 at start

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
