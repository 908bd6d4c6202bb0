#pragma once

#include <functional>

class QPrinter;
class QWidget;

namespace ui {

// The system's print dialog for a printer. True when the user chose to print.
bool ExecPrintDialog(QPrinter& printer, QWidget* parent);

// Tests answer the dialog here: the function may set the printer up (a PDF file, say) and returns
// whether to print. An empty function restores the real dialog.
void SetPrintDialogInterceptor(std::function<bool(QPrinter& printer)> f);

}  // namespace ui
