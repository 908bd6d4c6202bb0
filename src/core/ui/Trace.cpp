#include "core/ui/Trace.h"

#include <QAbstractScrollArea>
#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QTimer>
#include <QWidget>
#include <cstdio>

namespace ui {

bool TraceEnabled()
{
    static const bool enabled = qEnvironmentVariableIntValue("TAVRELO_TRACE_UI") == 1;
    return enabled;
}

void Trace(const QString& line)
{
    if (!TraceEnabled()) return;
    std::fprintf(stderr, "tavrelo-trace: %s\n", line.toUtf8().constData());
    std::fflush(stderr);
}

namespace {

QString placed(const QWidget* w, const QRect& local)
{
    const QPoint at = w->mapToGlobal(local.topLeft());
    return QStringLiteral("%1 %2 %3 %4").arg(at.x()).arg(at.y()).arg(local.width()).arg(local.height());
}

}  // namespace

void TraceControls(QWidget* window)
{
    if (!TraceEnabled() || !window) return;
    const QString name = window->objectName();
    for (QWidget* w : window->findChildren<QWidget*>()) {
        if (!w->isVisible()) continue;
        if (auto* bar = qobject_cast<QMenuBar*>(w)) {
            for (QAction* a : bar->actions()) {
                if (a->menu() && !a->menu()->objectName().isEmpty())
                    Trace(QStringLiteral("menu %1 %2 %3")
                              .arg(name, a->menu()->objectName(), placed(bar, bar->actionGeometry(a))));
            }
            continue;
        }
        if (w->objectName().isEmpty() || w->objectName().startsWith(QLatin1String("qt_"))) continue;
        QWidget* inside = w;
        if (auto* area = qobject_cast<QAbstractScrollArea*>(w)) inside = area->viewport();
        Trace(QStringLiteral("control %1 %2 %3").arg(name, w->objectName(), placed(inside, inside->rect())));
    }
}

void TraceControlsSoon(QWidget* window)
{
    if (!TraceEnabled() || !window) return;
    QPointer<QWidget> w(window);
    QTimer::singleShot(300, window, [w] {
        if (w) TraceControls(w);
    });
}

void TraceMenuWhenShown(QMenu* menu)
{
    if (!TraceEnabled() || !menu) return;
    QObject::connect(menu, &QMenu::aboutToShow, menu, [menu] {
        QTimer::singleShot(200, menu, [menu] {
            for (QAction* a : menu->actions()) {
                if (!a->objectName().isEmpty() && menu->isVisible())
                    Trace(
                        QStringLiteral("item %1 %2 %3")
                            .arg(menu->objectName(), a->objectName(), placed(menu, menu->actionGeometry(a))));
            }
        });
    });
}

}  // namespace ui
