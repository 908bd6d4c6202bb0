#include <QApplication>

#include "core/BrowserSandbox.h"
#include "core/frmMain.h"
#include "windows/RegisterWindows.h"

int main(int argc, char* argv[])
{
    browsersandbox::PrepareForUser("tavrelo");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tavrelo"));

    windows::RegisterWindows();

    frmMain main;
    if (!main.Load()) return 0;
    return app.exec();
}
