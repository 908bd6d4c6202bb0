#include "core/ui/WindowCalls.h"

#include <QWidget>

#include "core/ui/Forms.h"

namespace ui {

namespace {
PriceListExport& priceListExport()
{
    static PriceListExport exporter;
    return exporter;
}
}  // namespace

HouseListCalls* OpenHouseList()
{
    return dynamic_cast<HouseListCalls*>(Forms::Find(QStringLiteral("frmHouseList")));
}

HouseInputCalls* ShowHouseInput()
{
    return dynamic_cast<HouseInputCalls*>(Forms::Show(QStringLiteral("frmHouseInput")));
}

void SetPriceListExport(PriceListExport exporter)
{
    priceListExport() = std::move(exporter);
}

bool ExportPriceList(QWidget* parent, const QSet<qint32>* only)
{
    if (!priceListExport()) return false;
    priceListExport()(parent, only);
    return true;
}

}  // namespace ui

namespace ui {

namespace {
WallStarter& wallStarter()
{
    static WallStarter starter;
    return starter;
}
}  // namespace

void SetWallStarter(WallStarter starter)
{
    wallStarter() = std::move(starter);
}

bool StartWall(QWidget* parent, const WallRequest& request)
{
    if (!wallStarter()) return false;
    wallStarter()(parent, request);
    return true;
}

}  // namespace ui
