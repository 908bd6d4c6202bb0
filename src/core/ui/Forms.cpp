#include "core/ui/Forms.h"

#include <QHash>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPointer>

#include "core/ui/Form.h"
#include "core/ui/Trace.h"

namespace Forms {

namespace {

struct Registry {
    QHash<QString, std::function<QWidget*()>> factories;
    QHash<QString, QPointer<QWidget>> open;
    QPointer<QMdiArea> area;
};

Registry& registry()
{
    static Registry r;
    return r;
}

QWidget* frameOf(QWidget* w)
{
    if (auto* sub = qobject_cast<QMdiSubWindow*>(w->parentWidget())) return sub;
    return w;
}

}  // namespace

void Register(const QString& name, std::function<QWidget*()> factory)
{
    registry().factories.insert(name, std::move(factory));
}

bool IsRegistered(const QString& name)
{
    return registry().factories.contains(name);
}

QWidget* Find(const QString& name)
{
    return registry().open.value(name).data();
}

QWidget* Show(const QString& name)
{
    Registry& r = registry();
    QWidget* w = Find(name);
    if (!w) {
        auto factory = r.factories.value(name);
        if (!factory) return nullptr;
        w = factory();
        if (!w) return nullptr;
        if (w->objectName().isEmpty()) w->setObjectName(name);
        r.open.insert(name, w);
        // Forget the window as soon as it is unloaded, before Qt gets round to deleting it.
        auto forget = [name, w]() {
            if (registry().open.value(name) == w || !registry().open.value(name))
                registry().open.remove(name);
        };
        QObject::connect(w, &QObject::destroyed, forget);
        if (auto* form = qobject_cast<ui::Form*>(w)) QObject::connect(form, &ui::Form::Unloaded, forget);
        if (r.area) {
            QMdiSubWindow* sub = r.area->addSubWindow(w);
            sub->setAttribute(Qt::WA_DeleteOnClose);
            sub->setWindowTitle(w->windowTitle());
            sub->setObjectName(name + QStringLiteral("Frame"));
            QObject::connect(w, &QWidget::windowTitleChanged, sub, &QWidget::setWindowTitle);
        }
        if (auto* form = qobject_cast<ui::Form*>(w)) form->Load();
        // Load may have unloaded the window again (a window that refuses to open).
        if (!r.open.value(name)) return nullptr;
    }
    QWidget* frame = frameOf(w);
    frame->show();
    w->show();
    if (auto* sub = qobject_cast<QMdiSubWindow*>(frame)) {
        if (r.area) r.area->setActiveSubWindow(sub);
    } else {
        frame->raise();
        frame->activateWindow();
    }
    w->setFocus();
    ui::TraceControlsSoon(w);
    return w;
}

void Unload(const QString& name)
{
    QWidget* w = Find(name);
    if (!w) return;
    registry().open.remove(name);
    if (auto* form = qobject_cast<ui::Form*>(w)) {
        form->UnloadForm();
    } else {
        frameOf(w)->close();
    }
}

void SetMdiArea(QMdiArea* area)
{
    registry().area = area;
}

QMdiArea* MdiArea()
{
    return registry().area.data();
}

}  // namespace Forms
