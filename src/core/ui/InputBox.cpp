#include "core/ui/InputBox.h"

#include <QInputDialog>

#include "core/Program.h"

namespace ui {

namespace {
std::function<QString(const QString&)>& interceptor()
{
    static std::function<QString(const QString&)> f;
    return f;
}
}  // namespace

void SetInputBoxInterceptor(std::function<QString(const QString& prompt)> f)
{
    interceptor() = std::move(f);
}

QString InputBox(QWidget* parent, const QString& prompt, const QString& defaultText)
{
    if (interceptor()) return interceptor()(prompt);
    QInputDialog dialog(parent);
    dialog.setObjectName(QStringLiteral("InputBox"));
    dialog.setWindowTitle(program::kProgramTitle);
    dialog.setLabelText(prompt);
    dialog.setTextValue(defaultText);
    if (dialog.exec() != QDialog::Accepted) return QString();
    // An accepted empty answer is still an answer, not a cancel.
    const QString text = dialog.textValue();
    return text.isNull() ? QStringLiteral("") : text;
}

}  // namespace ui
