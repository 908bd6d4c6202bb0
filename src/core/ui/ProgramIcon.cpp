#include "core/ui/ProgramIcon.h"

namespace ui {

QIcon ProgramIcon()
{
    QIcon icon;
    for (int size : {16, 22, 24, 32, 48, 64, 128, 256})
        icon.addFile(QStringLiteral(":/icons/tavrelo-%1.png").arg(size), QSize(size, size));
    return icon;
}

}  // namespace ui
