#include <QApplication>

#include "about/frmAbout.h"
#include "core/frmMain.h"
#include "core/ui/Forms.h"

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tavrelo"));

    Forms::Register(QStringLiteral("frmAbout"), [] { return new frmAbout; });

    frmMain main;
    if (!main.Load()) return 0;
    return app.exec();
}
