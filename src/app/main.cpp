#include <QApplication>

#include "core/frmMain.h"
#include "windows/RegisterWindows.h"

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tavrelo"));

    windows::RegisterWindows();

    frmMain main;
    if (!main.Load()) return 0;
    return app.exec();
}
