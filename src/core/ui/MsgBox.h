#pragma once

#include <QString>
#include <functional>

namespace ui {

enum class Buttons { OkOnly, YesNo };
enum class Answer { Ok, Yes, No };

// Every message of the program: caption "Tavrelo", no icon, OK or Yes/No (Yes goes on).
Answer MsgBox(const QString& text, Buttons buttons = Buttons::OkOnly);

// Tests answer message boxes here instead of showing them; an empty function restores real boxes.
void SetMsgBoxInterceptor(std::function<Answer(const QString& text, Buttons buttons)> f);

}  // namespace ui
