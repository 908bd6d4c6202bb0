#pragma once

#include <QString>
#include <functional>

class QMdiArea;
class QWidget;

// The window registry: windows find each other by name, the way the program's windows look up
// "frmHouseList" among the open windows, so that no window has to include another's header.
namespace Forms {

void Register(const QString& name, std::function<QWidget*()> factory);
bool IsRegistered(const QString& name);
// Loads the window if it is not loaded (its Load runs once), shows it modeless and focuses it.
// A window that is already open is only brought forward. Returns the window, or nullptr when
// nothing is registered under that name.
QWidget* Show(const QString& name);
// The open window of that name, or nullptr.
QWidget* Find(const QString& name);
// Closes the open window of that name, running its unload handler; nothing when none is open.
void Unload(const QString& name);
// The frame that holds the windows as MDI children; without one, windows are top-level.
void SetMdiArea(QMdiArea* area);
QMdiArea* MdiArea();

}  // namespace Forms
