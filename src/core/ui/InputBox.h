#pragma once

#include <QString>
#include <functional>

class QWidget;

namespace ui {

// A one-line text question with OK and Cancel, captioned with the program's title. Returns the
// text typed, or a null QString when cancelled.
QString InputBox(QWidget* parent, const QString& prompt, const QString& defaultText = QString());

// Tests answer the question here: the function gets the prompt and returns the text (a null
// QString = cancelled). An empty function restores the real dialog.
void SetInputBoxInterceptor(std::function<QString(const QString& prompt)> f);

}  // namespace ui
