#include "windows/RegisterWindows.h"

#include "about/frmAbout.h"
#include "catalogue/frmHouseList.h"
#include "core/ui/Forms.h"
#include "core/ui/WindowCalls.h"
#include "deals/frmCustomers.h"
#include "deals/frmHistory.h"
#include "deals/frmSalesSettings.h"
#include "entry/frmAddNewImage.h"
#include "entry/frmHouseInput.h"
#include "presentation/frmHouseShow.h"
#include "pricelist/PriceListExport.h"
#include "pricelist/frmPriceListImport.h"
#include "report/frmSalesReport.h"
#include "sales/frmHouseSheet.h"
#include "sales/frmSalesBoard.h"
#include "types/frmContent.h"
#include "types/frmHouseType.h"
#include "wall/frmWallSetup.h"

namespace windows {

QStringList RegisterWindows()
{
    QStringList names;
    auto add = [&names](const QString& name, std::function<QWidget*()> factory) {
        Forms::Register(name, std::move(factory));
        names << name;
    };
    add(QStringLiteral("frmHouseList"), [] { return new frmHouseList; });
    add(QStringLiteral("frmHouseInput"), [] { return new frmHouseInput; });
    add(QStringLiteral("frmAddNewImage"), [] { return new frmAddNewImage; });
    add(QStringLiteral("frmHouseType"), [] { return new frmHouseType; });
    add(QStringLiteral("frmHouseShow"), [] { return new frmHouseShow; });
    add(QStringLiteral("frmContent"), [] { return new frmContent; });
    add(QStringLiteral("frmAbout"), [] { return new frmAbout; });
    add(QStringLiteral("frmPriceListImport"), [] { return new frmPriceListImport; });
    add(QStringLiteral("frmSalesBoard"), [] { return new frmSalesBoard; });
    add(QStringLiteral("frmHouseSheet"), [] { return new frmHouseSheet; });
    add(QStringLiteral("frmCustomers"), [] { return new frmCustomers; });
    add(QStringLiteral("frmHistory"), [] { return new frmHistory; });
    add(QStringLiteral("frmSalesSettings"), [] { return new frmSalesSettings; });
    add(QStringLiteral("frmSalesReport"), [] { return new frmSalesReport; });
    ui::SetPriceListExport(pricelist::ExportWithDialog);
    ui::SetWallStarter(wall::StartWithDialog);
    return names;
}

}  // namespace windows
