#pragma once

#include <QStringList>

// Every window of the program, registered with the window registry by its name. The program's
// main and the tests share this one list, so a window added here is at once reachable from the
// menus and covered by every test that drives all windows.
namespace windows {

// Registers each window's factory with Forms; returns the registered names in a fixed order.
QStringList RegisterWindows();

}  // namespace windows
