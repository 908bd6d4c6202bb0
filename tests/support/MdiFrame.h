#pragma once

// The program's frame as the window tests need it: an MDI area of a chosen size, shown, that
// holds the windows the test opens, and closes them all (running their unload handlers) when the
// test is done.

#include <QMdiArea>

namespace testsupport {

class MdiFrame {
public:
    // activate: make the area the active window, for tests that watch the focus move.
    MdiFrame(int width, int height, bool activate = false);
    ~MdiFrame();
    MdiFrame(const MdiFrame&) = delete;
    MdiFrame& operator=(const MdiFrame&) = delete;

    QMdiArea area;
};

}  // namespace testsupport
