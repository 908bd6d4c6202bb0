#include "core/ui/SaveFileDialog.h"

#include <QFileDialog>

#include "core/mdlHouse.h"
#include "core/ui/FileDialog.h"

namespace ui {

namespace {
std::function<QString(const QString&)>& interceptor()
{
    static std::function<QString(const QString&)> f;
    return f;
}
}  // namespace

void SetSaveFileDialogInterceptor(std::function<QString(const QString& filter)> f)
{
    interceptor() = std::move(f);
}

QString GetSaveFileName(QWidget* parent, const QString& filter, const QString& suggestedName)
{
    if (interceptor()) return interceptor()(filter);
    QFileDialog dialog(parent, mdlHouse::kProgramTitle);
    dialog.setObjectName(QStringLiteral("SaveFileDialog"));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setNameFilters(QtNameFilters(filter));
    if (!suggestedName.isEmpty()) dialog.selectFile(suggestedName);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return QString();
    return dialog.selectedFiles().constFirst();
}

}  // namespace ui
