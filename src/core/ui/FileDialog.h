#pragma once

#include <QString>
#include <functional>

class QWidget;

namespace ui {

// The open-file dialog with the file-must-exist rule. The filter is written the way the original
// common dialog took it, description and patterns separated by "|", patterns by ";":
// "音乐文件(*.mp3;*.wav)|*.mp3;*.wav|所有文件|*.*". Returns the chosen path, "" when cancelled.
QString GetOpenFileName(QWidget* parent, const QString& filter, const QString& title = QString());

// The save-file dialog with the same filter form, asking before it replaces a file, with a file
// name proposed. Answered by the save interceptor when one is set, else by the open dialog's.
QString GetSaveFileName(QWidget* parent, const QString& filter, const QString& suggestedName = QString(),
                        const QString& title = QString());

// Tests answer the dialog here: the function gets the filter and returns the chosen path
// ("" = cancelled). An empty function restores the real dialog.
void SetFileDialogInterceptor(std::function<QString(const QString& filter)> f);
void SetSaveFileDialogInterceptor(std::function<QString(const QString& filter)> f);

// "a|*.x;*.y|b|*.*" as Qt's name filters: "a (*.x *.y)", "b (*.*)".
QStringList QtNameFilters(const QString& filter);

}  // namespace ui
