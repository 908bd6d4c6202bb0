#include <QApplication>

#include "core/frmMain.h"
#include "core/ui/Forms.h"
#include "entry/frmAddNewImage.h"
#include "entry/frmHouseInput.h"

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tavrelo"));

    Forms::Register(QStringLiteral("frmHouseInput"), [] { return new frmHouseInput; });
    Forms::Register(QStringLiteral("frmAddNewImage"), [] { return new frmAddNewImage; });

    frmMain main;
    if (!main.Load()) return 0;
    return app.exec();
}
