#include "core/ui/Form.h"

#include <QCloseEvent>
#include <QMdiSubWindow>

#include "core/ui/Twips.h"

namespace ui {

Form::Form(QWidget* parent) : QWidget(parent)
{
    setAttribute(Qt::WA_DeleteOnClose);
}

QWidget* Form::Frame()
{
    if (auto* sub = qobject_cast<QMdiSubWindow*>(parentWidget())) return sub;
    return this;
}

int Form::WidthTwips()
{
    return Twips(Frame()->width());
}

int Form::HeightTwips()
{
    return Twips(Frame()->height());
}

void Form::SetSizeTwips(int widthTwips, int heightTwips)
{
    Frame()->resize(Px(widthTwips), Px(heightTwips));
}

void Form::SetCaption(const QString& caption)
{
    setWindowTitle(caption);
    if (Frame() != this) Frame()->setWindowTitle(caption);
}

void Form::UnloadForm()
{
    Frame()->close();
}

void Form::closeEvent(QCloseEvent* event)
{
    if (!unloaded_) {
        unloaded_ = true;
        Unload();
        emit Unloaded();
    }
    event->accept();
}

void Form::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    Resized();
}

}  // namespace ui
