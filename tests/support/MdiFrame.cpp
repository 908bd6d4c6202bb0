#include "MdiFrame.h"

#include <QCoreApplication>
#include <QMdiSubWindow>
#include <QTest>

#include "core/ui/Forms.h"

namespace testsupport {

MdiFrame::MdiFrame(int width, int height, bool activate)
{
    area.resize(width, height);
    area.show();
    if (activate) {
        area.activateWindow();
        if (!QTest::qWaitForWindowActive(&area)) qWarning("the test frame did not become active");
    }
    Forms::SetMdiArea(&area);
}

MdiFrame::~MdiFrame()
{
    for (QMdiSubWindow* sub : area.subWindowList()) sub->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    Forms::SetMdiArea(nullptr);
}

}  // namespace testsupport
