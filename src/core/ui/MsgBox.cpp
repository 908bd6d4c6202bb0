#include "core/ui/MsgBox.h"

#include <QApplication>
#include <QMessageBox>

#include "core/Program.h"

namespace ui {

namespace {
std::function<Answer(const QString&, Buttons)>& interceptor()
{
    static std::function<Answer(const QString&, Buttons)> f;
    return f;
}
}  // namespace

void SetMsgBoxInterceptor(std::function<Answer(const QString& text, Buttons buttons)> f)
{
    interceptor() = std::move(f);
}

Answer MsgBox(const QString& text, Buttons buttons)
{
    if (interceptor()) return interceptor()(text, buttons);
    QMessageBox box(QMessageBox::NoIcon, program::kProgramTitle, text,
                    buttons == Buttons::YesNo ? QMessageBox::Yes | QMessageBox::No : QMessageBox::Ok,
                    QApplication::activeWindow());
    box.setObjectName(QStringLiteral("MsgBox"));
    const int result = box.exec();
    if (buttons == Buttons::OkOnly) return Answer::Ok;
    return result == QMessageBox::Yes ? Answer::Yes : Answer::No;
}

}  // namespace ui
