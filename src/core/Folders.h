#pragma once

#include <QString>

namespace folders {

// The environment variable that names a program folder, like the program's --folder option.
inline constexpr const char* kFolderVariable = "TAVRELO_FOLDER";

// The folder of the running executable when it holds House.db (a portable copy: the build folder,
// the tests, a copy on a stick); otherwise the per-user data folder (Qt's AppDataLocation for
// "Tavrelo": $XDG_DATA_HOME/Tavrelo).
QString PortableOrUserFolder();

// The program folder a start uses when none is named on its command line: TAVRELO_FOLDER when it
// is set, else PortableOrUserFolder(). The program and every command-line tool choose it by this
// one rule, so a tool run without a folder fills the catalogue the program opens. Needs the
// QCoreApplication (the executable's folder comes from it).
QString DefaultProgramFolder();

// Whether a start may use a folder as its program folder.
enum class FolderState {
    Ready,             // House.db is there
    NeedsCatalogue,    // missing or empty: it gets an empty catalogue and Images/Music
    ServerCatalogue,   // no House.db, but its Tavrelo.conf (or TAVRELO_SERVER) names a server:
                       // it gets Images/Music for the local copies and never a House.db
    NotAProgramFolder  // holds other files but no House.db: refused, nothing is written there
};
FolderState StateOf(const QString& folder);

// Makes a program folder usable: the folder itself, an empty catalogue (the schema compiled into
// the program) when House.db is missing and no server is named, and Images/ and Music/. A House.db already
// there is never touched. Refuses a folder that StateOf() calls NotAProgramFolder. On failure returns false
// with a message naming the folder (in the interface's language) in *error.
bool Prepare(const QString& folder, QString* error);
// The same for a folder whose state was looked at earlier: the program looks before its frame
// makes Images/ and Music/ and prepares afterwards, when an empty folder no longer looks empty.
bool Prepare(const QString& folder, FolderState state, QString* error);

// While the program runs it holds a shared lock (flock) on this file in its program folder; the
// kernel lets go of it when the program ends, however it ends. Tools that must not change a
// folder under a running program (restore) take it exclusively.
inline constexpr const char* kFolderLockName = "Tavrelo.lock";
// Takes the program's shared lock on its folder and keeps it for the life of the process. False
// when the folder cannot be locked (read-only, or a restore holds it).
bool HoldFolderForProgram(const QString& folder);
// Takes the folder exclusively for the life of the process: false while a Tavrelo holds it open.
// Makes no file: a folder without the lock file has no program running on it.
bool HoldFolderExclusively(const QString& folder);

// For the tools that write a House.db (import, demo, restore): the message that refuses a folder
// whose catalogue is on a server, where that House.db would never be used.
QString ServerFolderMessage(const QString& folder);

// The message for a folder that is not a program folder.
QString NotAProgramFolderMessage(const QString& folder);

}  // namespace folders
