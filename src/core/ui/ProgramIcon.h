#pragma once

#include <QIcon>

namespace ui {

// Tavrelo's own icon, in every size it is drawn in. The program sets it once as the application's
// window icon; every window, message box and pop-up takes it from there.
QIcon ProgramIcon();

}  // namespace ui
