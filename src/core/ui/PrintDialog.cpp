#include "core/ui/PrintDialog.h"

#include <QPrintDialog>
#include <QPrinter>

namespace ui {

namespace {
std::function<bool(QPrinter&)>& interceptor()
{
    static std::function<bool(QPrinter&)> f;
    return f;
}
}  // namespace

void SetPrintDialogInterceptor(std::function<bool(QPrinter& printer)> f)
{
    interceptor() = std::move(f);
}

bool ExecPrintDialog(QPrinter& printer, QWidget* parent)
{
    if (interceptor()) return interceptor()(printer);
    QPrintDialog dialog(&printer, parent);
    dialog.setObjectName(QStringLiteral("PrintDialog"));
    return dialog.exec() == QDialog::Accepted;
}

}  // namespace ui
