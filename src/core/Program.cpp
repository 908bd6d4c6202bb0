#include "core/Program.h"

#include "core/Folders.h"

namespace program {

namespace {
QString& folderOverride()
{
    static QString folder;
    return folder;
}

// The default is looked up once: the rule reads the file system, and windows ask for the folder
// on every path they build.
const QString& defaultFolder()
{
    static const QString folder = folders::DefaultProgramFolder();
    return folder;
}
}  // namespace

QString ProgramFolder()
{
    QString folder = folderOverride().isEmpty() ? defaultFolder() : folderOverride();
    while (folder.size() > 1 && folder.endsWith(QLatin1Char('/'))) folder.chop(1);
    return folder;
}

void SetProgramFolder(const QString& folder)
{
    folderOverride() = folder;
}

QString ProgramPath(const QString& suffix)
{
    return ProgramFolder() + suffix;
}

}  // namespace program
