#pragma once

#include <QString>
#include <functional>

class QWidget;

namespace ui {

// The save-file dialog, asking before it replaces a file. The filter is written like the open
// dialog's: "PDF 文件|*.pdf|PNG 图片|*.png". Returns the chosen path, "" when cancelled.
QString GetSaveFileName(QWidget* parent, const QString& filter, const QString& suggestedName = QString());

// Tests answer the dialog here: the function gets the filter and returns the chosen path
// ("" = cancelled). An empty function restores the real dialog.
void SetSaveFileDialogInterceptor(std::function<QString(const QString& filter)> f);

}  // namespace ui
