#include "core/ui/FileDialog.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QStringList>

#include "core/Program.h"

namespace ui {

namespace {
std::function<QString(const QString&)>& interceptor()
{
    static std::function<QString(const QString&)> f;
    return f;
}
}  // namespace

void SetFileDialogInterceptor(std::function<QString(const QString& filter)> f)
{
    interceptor() = std::move(f);
}

QStringList QtNameFilters(const QString& filter)
{
    QStringList result;
    const QStringList parts = filter.split(QLatin1Char('|'));
    for (int i = 0; i + 1 < parts.size(); i += 2) {
        QString patterns = parts[i + 1];
        patterns.replace(QLatin1Char(';'), QLatin1Char(' '));
        result << parts[i] + QStringLiteral(" (") + patterns + QStringLiteral(")");
    }
    return result;
}

QString GetOpenFileName(QWidget* parent, const QString& filter, const QString& title)
{
    if (interceptor()) return interceptor()(filter);
    QFileDialog dialog(parent, title);
    dialog.setObjectName(QStringLiteral("FileDialog"));
    dialog.setFileMode(QFileDialog::ExistingFile);
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setNameFilters(QtNameFilters(filter));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return QString();
    return dialog.selectedFiles().constFirst();
}

namespace {
std::function<QString(const QString&)>& saveInterceptor()
{
    static std::function<QString(const QString&)> f;
    return f;
}
}  // namespace

void SetSaveFileDialogInterceptor(std::function<QString(const QString& filter)> f)
{
    saveInterceptor() = std::move(f);
}

QString GetSaveFileName(QWidget* parent, const QString& filter, const QString& suggestedName,
                        const QString& title)
{
    if (saveInterceptor()) return saveInterceptor()(filter);
    if (interceptor()) return interceptor()(filter);
    QFileDialog dialog(parent, title.isEmpty() ? program::kProgramTitle : title);
    dialog.setObjectName(QStringLiteral("FileDialog"));
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setNameFilters(QtNameFilters(filter));
    if (!suggestedName.isEmpty()) dialog.selectFile(suggestedName);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return QString();
    QString path = dialog.selectedFiles().constFirst();
    // A name typed without an extension takes the one of the chosen filter.
    if (QFileInfo(path).suffix().isEmpty()) {
        const QString chosen = dialog.selectedNameFilter();
        const int star = chosen.indexOf(QStringLiteral("*."));
        if (star >= 0)
            path += chosen.mid(star + 1).section(QLatin1Char(')'), 0, 0).section(QLatin1Char(' '), 0, 0);
    }
    return path;
}

}  // namespace ui
