#pragma once

#include <QSet>
#include <QString>
#include <QStringList>
#include <functional>

class QWidget;

// What one window asks of another, typed. A feature's window cannot include another feature's
// header, so the calls it makes are declared here, below both: the called window implements the
// interface, the caller reaches it through the lookups below, and a misspelt routine or a wrong
// argument fails to compile instead of doing nothing at run time. The window names are written
// once, here.
namespace ui {

// The entry wizard's two ways to start; the numbers are the ones its StartInput has always taken.
enum class InputMode { Add = 0, Edit = 1 };

// The catalogue's list as the other windows see it.
class HouseListCalls {
public:
    virtual ~HouseListCalls() = default;
    // Rebuilds the list from the database, so that it shows what was just stored.
    virtual void StartList() = 0;
};

// The entry wizard as the catalogue sees it.
class HouseInputCalls {
public:
    virtual ~HouseInputCalls() = default;
    virtual void StartInput(InputMode mode) = 0;
};

// The open catalogue list, or nullptr when it is not open.
HouseListCalls* OpenHouseList();
// Shows the entry wizard (loading it when needed); nullptr when no wizard is registered.
HouseInputCalls* ShowHouseInput();

// The price-list export's dialog lives with the price lists; the window registry hands it in, so
// that the catalogue's list can offer it without including that feature.
using PriceListExport = std::function<void(QWidget* parent, const QSet<qint32>* only)>;
void SetPriceListExport(PriceListExport exporter);
// Asks where to save and writes the whole catalogue, or only `only` when given. Returns false when
// no export has been handed in.
bool ExportPriceList(QWidget* parent, const QSet<qint32>* only = nullptr);

// The wall screen lives in a folder of its own and shows the board; the window registry hands in
// how it starts, so that the board can offer it without including that feature.
struct WallRequest {
    QStringList buildings;  // the buildings to choose from
    QString building;       // the one on the board now
    QString statusCaption;
    QString priceCaption;
};
using WallStarter = std::function<void(QWidget* parent, const WallRequest& request)>;
void SetWallStarter(WallStarter starter);
// Asks which buildings to show and starts the wall screen. False when none has been handed in.
bool StartWall(QWidget* parent, const WallRequest& request);

}  // namespace ui
