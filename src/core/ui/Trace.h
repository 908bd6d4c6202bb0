#pragma once

#include <QString>

class QMenu;
class QWidget;

namespace ui {

// A trace of what the program shows, for driving the real program from outside (an X server and
// a tool such as xdotool): with TAVRELO_TRACE_UI=1 in the environment, lines beginning
// "tavrelo-trace: " go to standard error; otherwise nothing is written.
bool TraceEnabled();
void Trace(const QString& line);
// One line per visible named control of a window, where it stands on the screen:
// "control WINDOW NAME X Y WIDTH HEIGHT" (a list's or a browser's visible inside, not its frame).
// Menu bars add "menu WINDOW NAME X Y WIDTH HEIGHT" per menu title.
void TraceControls(QWidget* window);
// The same a moment later, once the window has been laid out and painted.
void TraceControlsSoon(QWidget* window);
// When a menu opens: "item MENU NAME X Y WIDTH HEIGHT" per named entry.
void TraceMenuWhenShown(QMenu* menu);

}  // namespace ui
