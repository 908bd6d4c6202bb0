#include "core/Folders.h"

#include <QCoreApplication>

namespace folders {

QString DefaultProgramFolder()
{
    return QCoreApplication::applicationDirPath();
}

}  // namespace folders
