#pragma once

#include <QString>

// The program's name and folder. The shared module (mdlHouse) and the interface pieces under
// core/ui (the message box's caption, the media control's folder) both need them, so they sit
// below both, in the data library, where the command-line tools find them without any widget.
namespace program {

inline const QString kProgramTitle = QStringLiteral("Tavrelo");

// The program folder, without a trailing separator (except "/" itself): the one the start chose
// (SetProgramFolder), else folders::DefaultProgramFolder(), looked up once.
QString ProgramFolder();
// Tests and tools point the program at another folder; an empty folder restores the default.
void SetProgramFolder(const QString& folder);

// The program folder joined with a fixed suffix, as it stands (a root folder gives "//Images").
QString ProgramPath(const QString& suffix);

}  // namespace program
