#include "Windows.h"

#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMetaObject>
#include <QPushButton>
#include <QThread>

#include "Floor.h"
#include "catalogue/HouseQuery.h"
#include "catalogue/frmHouseList.h"
#include "core/db/Connection.h"
#include "core/db/Convert.h"
#include "core/db/Store.h"
#include "core/mdlHouse.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"
#include "core/ui/WebBrowser.h"
#include "entry/EntrySql.h"
#include "entry/frmHouseInput.h"
#include "presentation/HouseShowSql.h"
#include "presentation/frmHouseShow.h"
#include "sales/SalesBoardView.h"
#include "sales/SalesSql.h"
#include "sales/frmSalesBoard.h"

namespace bench {

namespace {

// Lets the windows finish what the operation queued: layout, the first paint of what changed,
// deletions of unloaded windows.
void settle()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}

void unloadWindow(const QString& name)
{
    Forms::Unload(name);
    settle();
}

// The statements with which StartList fills the query boxes, in its order.
QStringList queryBoxStatements()
{
    return {catalogue::HouseNamesSql(), catalogue::HouseTypesSql(), catalogue::HouseNumbersSql(),
            catalogue::CaptionsSql(), catalogue::ContentsSql()};
}

class Measurer {
public:
    explicit Measurer(WindowContext& context) : context_(context) {}

    void problem(const QString& text) { context_.report->problems << text; }

    // Adds an operation timed by body (prepare untimed), with the floor of the given statements.
    Operation& add(const QString& name, const std::function<void()>& body, const QStringList& floorStatements,
                   const std::function<void()>& prepare = {})
    {
        Operation op;
        op.name = name;
        auto floor = [&] {
            if (!RunStatements(context_.databasePath, floorStatements))
                problem(name + QStringLiteral(": a floor statement failed"));
        };
        Measure(&op, body, floorStatements.isEmpty() ? std::function<void()>() : floor, prepare);
        context_.report->operations.push_back(op);
        return context_.report->operations.back();
    }

    // Rows of the last of the statements, read by SQLite alone: what the window should list.
    qint64 expectedRows(const QString& sql)
    {
        std::vector<qint64> rows;
        return RunStatements(context_.databasePath, {sql}, &rows) && !rows.empty() ? rows.back() : -1;
    }

private:
    WindowContext& context_;
};

// Returns the open catalogue, or nullptr when it did not list every house.
frmHouseList* measureCatalogue(Measurer& m, const WindowContext& context)
{
    const int houses = context.shape.houses;
    frmHouseList* list = nullptr;
    auto listed = [&] { return list ? list->lsvHouse->Model()->Count() : -1; };

    m.add(
        QStringLiteral("open the catalogue (StartList)"),
        [&] {
            list = qobject_cast<frmHouseList*>(Forms::Show(QStringLiteral("frmHouseList")));
            settle();
        },
        queryBoxStatements() << catalogue::AllHousesSql() << catalogue::CountHousesSql(),
        [] { unloadWindow(QStringLiteral("frmHouseList")); });
    if (!list || listed() != houses) {
        m.problem(QStringLiteral("the catalogue listed %1 of %2 houses").arg(listed()).arg(houses));
        return nullptr;
    }

    catalogue::HouseCriteria byName;
    byName.houseName = QueriedBuildingName(context.shape);
    const QString nameSql = catalogue::BuildHouseQuery(byName).Jet();
    m.add(
        QStringLiteral("query by building name"),
        [&] {
            list->cmbHouseName->setEditText(byName.houseName);
            list->cmdQuery->click();
            settle();
        },
        queryBoxStatements() << nameSql,
        [&] {
            list->cmdAll->click();
            settle();
        });
    const qint64 byNameRows = m.expectedRows(nameSql);
    if (listed() != byNameRows || byNameRows <= 0)
        m.problem(
            QStringLiteral("the name query listed %1 houses, SQLite finds %2").arg(listed()).arg(byNameRows));

    catalogue::HouseCriteria byAttribute;
    byAttribute.caption = QStringLiteral("朝向");
    byAttribute.content = QStringLiteral("东南");
    const QString attributeSql = catalogue::BuildHouseQuery(byAttribute).Jet();
    m.add(
        QStringLiteral("query by attribute caption and value"),
        [&] {
            list->cmbCaption->setEditText(byAttribute.caption);
            list->cmbContent->setEditText(byAttribute.content);
            list->cmdQuery->click();
            settle();
        },
        queryBoxStatements() << attributeSql,
        [&] {
            list->cmdAll->click();
            settle();
        });
    const qint64 byAttributeRows = m.expectedRows(attributeSql);
    if (listed() != byAttributeRows || byAttributeRows <= 0)
        m.problem(QStringLiteral("the attribute query listed %1 houses, SQLite finds %2")
                      .arg(listed())
                      .arg(byAttributeRows));

    // The attribute query is still active: refresh runs it again.
    m.add(
        QStringLiteral("refresh with the attribute query active"),
        [&] {
            list->cmdRefresh->click();
            settle();
        },
        queryBoxStatements() << attributeSql);
    if (listed() != byAttributeRows || list->QuerySql() != attributeSql)
        m.problem(QStringLiteral("refresh lost the active query"));
    list->cmdAll->click();
    settle();
    return list;
}

// Selects the big house in the catalogue, as the user does before editing or showing it.
bool selectBigHouse(frmHouseList* list, const CatalogueShape& shape)
{
    // The list is in key order and every key from 1 is there.
    list->lsvHouse->SelectRow(shape.bigHouse() - 1);
    return list->lsvHouse->SelectedText() == db::PaddedHouseNumber(shape.bigHouse());
}

void measureWizard(Measurer& m, const WindowContext& context, frmHouseList* list)
{
    const qint32 big = context.shape.bigHouse();
    // What the wizard runs for an edit: its three drop-downs, the house, its rows with the two
    // lists they offer, and its pictures.
    const QStringList statements = {entry::SqlHouseNames(),      entry::SqlHouseTypes(),
                                    entry::SqlHouseNos(),        entry::SqlLoadHouse(big),
                                    entry::SqlHouseContent(big), entry::SqlCaptions(),
                                    entry::SqlContents(),        entry::SqlHouseImages(big)};

    m.add(
        QStringLiteral("open the entry wizard in edit mode (60 rows, 40 pictures)"),
        [&] {
            list->cmdEdit->click();
            settle();
        },
        statements,
        [&] {
            unloadWindow(QStringLiteral("frmHouseInput"));
            if (!selectBigHouse(list, context.shape))
                m.problem(QStringLiteral("cannot select the big house"));
        });
    auto* wizard = qobject_cast<frmHouseInput*>(Forms::Find(QStringLiteral("frmHouseInput")));
    if (!wizard || wizard->InputMode() != 1 || wizard->AttributeRowCount() != CatalogueShape::bigHouseRows)
        m.problem(QStringLiteral("the wizard did not open the big house with its %1 rows")
                      .arg(CatalogueShape::bigHouseRows));
    unloadWindow(QStringLiteral("frmHouseInput"));
}

// Processes events until ready() holds or timeoutMs passed; false on the timeout.
bool waitFor(const std::function<bool()>& ready, int timeoutMs = 10000)
{
    QElapsedTimer timer;
    timer.start();
    while (!ready()) {
        if (timer.elapsed() > timeoutMs) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 5);
    }
    return true;
}

QStringList showStatements(qint32 houseId)
{
    return {HouseShowSql::HouseFacts(houseId), HouseShowSql::HouseContents(houseId),
            HouseShowSql::HouseImages(houseId)};
}

void measurePresentation(Measurer& m, const WindowContext& context, frmHouseList* list)
{
    const qint32 big = context.shape.bigHouse();
    auto show = [] { return qobject_cast<frmHouseShow*>(Forms::Find(QStringLiteral("frmHouseShow"))); };
    auto pageLoaded = [&] { return show() && show()->WebImage->IsLoaded(); };

    // From the catalogue's view button to the window with its facts, rows and picture buttons on
    // screen and its picture page loaded (the page loads in Chromium's own process).
    m.add(
        QStringLiteral("open the presentation (60 rows, 40 pictures)"),
        [&] {
            list->cmdShow->click();
            if (!waitFor(pageLoaded))
                m.problem(QStringLiteral("the presentation's picture page did not load"));
            settle();
        },
        showStatements(big),
        [&] {
            if (!selectBigHouse(list, context.shape))
                m.problem(QStringLiteral("cannot select the big house"));
        });
    frmHouseShow* w = show();
    if (!w || w->cmdImage.UBound() != CatalogueShape::bigHousePictures ||
        w->lblCaption.UBound() != CatalogueShape::bigHouseRows) {
        m.problem(QStringLiteral("the presentation did not show the big house's rows and pictures"));
        return;
    }

    auto showHouse = [&](qint32 id) {
        mdlHouse::CurrentHouseID = id;
        w->ShowHouse();
        waitFor(pageLoaded);
        settle();
    };
    m.add(
        QStringLiteral("next house in the presentation (to 3 rows, 2 pictures)"),
        [&] {
            w->cmdNext->click();
            settle();
        },
        QStringList{FirstRowOnly(HouseShowSql::NextHouse(big))} + showStatements(big + 1),
        [&] { showHouse(big); });
    if (mdlHouse::CurrentHouseID != big + 1) m.problem(QStringLiteral("next did not step to the next house"));
    m.add(
        QStringLiteral("previous house in the presentation (to 60 rows, 40 pictures)"),
        [&] {
            w->cmdPre->click();
            settle();
        },
        QStringList{FirstRowOnly(HouseShowSql::PreviousHouse(big + 1))} + showStatements(big),
        [&] { showHouse(big + 1); });
    if (mdlHouse::CurrentHouseID != big || w->cmdImage.UBound() != CatalogueShape::bigHousePictures)
        m.problem(QStringLiteral("previous did not step back to the big house"));
    unloadWindow(QStringLiteral("frmHouseShow"));
}

// Another PC's status change reaching the open board: committed on a connection of its own, timed
// from before the commit until the board has redrawn the cell. On House.db the board learns of it
// from its watcher's look at the file (every ChangeWatcher::kFilePollMs), on a server from the
// history trigger's notification; then it reads the building again. The floor: the same change
// and the board's two statements.
void measureChangeElsewhere(Measurer& m, const WindowContext& context, frmSalesBoard* board, qint32 house,
                            const sales::Unit& otherUnit)
{
    db::Connection elsewhere;
    const bool opened = db::IsServerUri(context.databasePath) ? elsewhere.OpenServer(context.databasePath)
                                                              : elsewhere.Open(context.databasePath);
    const int index = board->Board().IndexOf(house);
    if (!opened || index < 0 || board->Board().units[size_t(index)].statusRowId == 0) {
        m.problem(QStringLiteral("another PC's change: no second connection or no status row"));
        return;
    }
    const qint64 row = board->Board().units[size_t(index)].statusRowId;
    const QString building = board->Board().building;
    const QString status = board->Board().statusCaption;
    // Until the watcher listens (a server) or has read the file once.
    QElapsedTimer wait;
    wait.start();
    while (wait.elapsed() < 1000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(5);
    }
    int runs = 0;
    bool late = false;
    m.add(QStringLiteral("another PC's status change shown on the sales board (commit to redraw)"),
          [&] {
              const QString value = (runs++ % 2 == 0) ? QStringLiteral("预留") : QStringLiteral("在售");
              elsewhere.Execute(db::Sql(QStringLiteral("Update t_Content Set Content = ")) +
                                db::Sql::Quoted(value) + QStringLiteral(" Where ContentID = ") +
                                QString::number(row));
              QElapsedTimer shown;
              shown.start();
              while (board->Board().units[size_t(board->Board().IndexOf(house))].status != value) {
                  if (shown.elapsed() > 5000) {
                      late = true;
                      break;
                  }
                  QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
                  QThread::usleep(200);
              }
              settle();
          },
          {sales::UpdateShownValueSql(otherUnit.statusRowId, otherUnit.status, otherUnit.status).Jet(),
           sales::BuildingHousesSql(building).Jet(),
           sales::BuildingValuesSql(building, status, QString()).Jet()});
    if (late) m.problem(QStringLiteral("another PC's status change did not reach the board within 5 s"));
}

// The sales board: from choosing the building to its cells drawn, and one status change from the
// context menu's choice to the cell and legend redrawn.
void measureSalesBoard(Measurer& m, const WindowContext& context)
{
    const CatalogueShape& shape = context.shape;
    auto* board = qobject_cast<frmSalesBoard*>(Forms::Show(QStringLiteral("frmSalesBoard")));
    settle();
    if (!board) {
        m.problem(QStringLiteral("the sales board did not open"));
        return;
    }
    const QString building = BoardBuildingName();
    const QString status = QStringLiteral("状态");
    m.add(
        QStringLiteral("draw the sales board of a building of %1 units").arg(shape.boardUnits()),
        [&] {
            board->cmbBuilding->setCurrentText(building);
            board->picBoard->viewport()->repaint();
            settle();
        },
        {sales::BuildingHousesSql(building).Jet(),
         sales::BuildingValuesSql(building, status, QString()).Jet()},
        [&] {
            board->cmbBuilding->setCurrentText(QueriedBuildingName(shape));
            settle();
        });
    if (board->Board().building != building || int(board->Board().units.size()) != shape.boardUnits()) {
        m.problem(QStringLiteral("the sales board drew %1 of the %2 units")
                      .arg(board->Board().units.size())
                      .arg(shape.boardUnits()));
        return;
    }

    // A house whose status changes back and forth; the floor writes the status row of another
    // house of the building onto itself (the same conditional statement on its key) and reads
    // the row back, as the board does.
    const qint32 house = shape.boardFirstHouse() + 1;
    // The other house: ten houses on when the building has them, else the last one with a status.
    qint32 other = 0;
    sales::Unit otherUnit;
    for (const sales::Unit& unit : board->Board().units) {
        if (unit.houseId == house || unit.statusRowId == 0) continue;
        if (other == shape.boardFirstHouse() + 11) break;
        other = unit.houseId;
        otherUnit = unit;
    }
    if (board->Board().IndexOf(house) < 0 || otherUnit.statusRowId == 0) {
        m.problem(QStringLiteral("the sales board's houses for the status change are missing"));
        return;
    }
    int runs = 0;
    bool refused = false;
    m.add(QStringLiteral("change a status on the sales board"),
          [&] {
              const QString value = (runs++ % 2 == 0) ? QStringLiteral("已售") : QStringLiteral("在售");
              if (!board->SetStatus(house, value)) refused = true;
              settle();
          },
          {sales::UpdateShownValueSql(otherUnit.statusRowId, otherUnit.status, otherUnit.status).Jet(),
           sales::HouseCaptionRowSql(other, status).Jet()});
    if (refused) m.problem(QStringLiteral("a status change on the sales board was refused"));
    measureChangeElsewhere(m, context, board, house, otherUnit);
    unloadWindow(QStringLiteral("frmSalesBoard"));
}

}  // namespace

void MeasureWindows(WindowContext& context)
{
    Forms::Register(QStringLiteral("frmHouseList"), [] { return new frmHouseList; });
    Forms::Register(QStringLiteral("frmHouseInput"), [] { return new frmHouseInput; });
    Forms::Register(QStringLiteral("frmHouseShow"), [] { return new frmHouseShow; });
    Forms::Register(QStringLiteral("frmSalesBoard"), [] { return new frmSalesBoard; });

    QMdiArea frame;
    frame.resize(1280, 800);
    frame.show();
    Forms::SetMdiArea(&frame);
    settle();

    Measurer m(context);
    frmHouseList* list = measureCatalogue(m, context);
    if (list) measurePresentation(m, context, list);
    if (list) measureWizard(m, context, list);
    measureSalesBoard(m, context);

    for (QMdiSubWindow* sub : frame.subWindowList()) sub->close();
    settle();
    Forms::SetMdiArea(nullptr);
}

}  // namespace bench
