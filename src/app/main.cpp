#include <QApplication>

#include "about/frmAbout.h"
#include "catalogue/frmHouseList.h"
#include "core/frmMain.h"
#include "core/ui/Forms.h"
#include "entry/frmAddNewImage.h"
#include "entry/frmHouseInput.h"
#include "presentation/frmHouseShow.h"
#include "types/frmContent.h"
#include "types/frmHouseType.h"

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tavrelo"));

    Forms::Register(QStringLiteral("frmHouseList"), [] { return new frmHouseList; });
    Forms::Register(QStringLiteral("frmHouseInput"), [] { return new frmHouseInput; });
    Forms::Register(QStringLiteral("frmAddNewImage"), [] { return new frmAddNewImage; });
    Forms::Register(QStringLiteral("frmHouseType"), [] { return new frmHouseType; });
    Forms::Register(QStringLiteral("frmHouseShow"), [] { return new frmHouseShow; });
    Forms::Register(QStringLiteral("frmContent"), [] { return new frmContent; });
    Forms::Register(QStringLiteral("frmAbout"), [] { return new frmAbout; });

    frmMain main;
    if (!main.Load()) return 0;
    return app.exec();
}
