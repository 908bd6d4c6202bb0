#include "windows/frmMain.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QFile>
#include <QGuiApplication>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QScreen>
#include <QTimer>

#include "core/db/Connection.h"
#include "core/db/Store.h"
#include "core/mdlHouse.h"
#include "core/ui/Forms.h"
#include "core/ui/MsgBox.h"
#include "core/ui/SingleInstance.h"
#include "core/ui/Trace.h"
#include "deals/Customers.h"
#include "pricelist/PriceListExport.h"

namespace {
std::function<void()>& endProgram()
{
    static std::function<void()> end = [] { QCoreApplication::exit(0); };
    return end;
}
}  // namespace

frmMain::frmMain()
{
    setObjectName(QStringLiteral("frmMain"));
    setWindowTitle(mdlHouse::kProgramTitle);
    setupControls();
}

frmMain::~frmMain()
{
    if (Forms::MdiArea() == mdiArea_) Forms::SetMdiArea(nullptr);
}

void frmMain::SetEndProgram(std::function<void()> end)
{
    endProgram() = end ? std::move(end) : [] { QCoreApplication::exit(0); };
}

void frmMain::setupControls()
{
    mdiArea_ = new QMdiArea(this);
    mdiArea_->setObjectName(QStringLiteral("mdiArea"));
    mdiArea_->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    mdiArea_->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setCentralWidget(mdiArea_);
    Forms::SetMdiArea(mdiArea_);

    auto menu = [this](const char* name, const QString& caption) {
        QMenu* m = menuBar()->addMenu(caption);
        ui::TraceMenuWhenShown(m);
        m->setObjectName(QLatin1String(name));
        m->menuAction()->setObjectName(QLatin1String(name));
        return m;
    };
    auto entry = [this](QMenu* m, const char* name, const QString& caption) {
        QAction* a = m->addAction(caption);
        a->setObjectName(QLatin1String(name));
        return a;
    };
    mnuSystem = menu("mnuSystem", QStringLiteral("系统"));
    mnuExit = entry(mnuSystem, "mnuExit", QStringLiteral("退出"));
    mnuHouse = menu("mnuHouse", QStringLiteral("房产信息"));
    mnuHouseList = entry(mnuHouse, "mnuHouseList", QStringLiteral("列表"));
    mnuHouseInput = entry(mnuHouse, "mnuHouseInput", QStringLiteral("录入"));
    mnuHouseType = entry(mnuHouse, "mnuHouseType", QStringLiteral("类型"));
    mnuSales = menu("mnuSales", QStringLiteral("销售"));
    mnuSalesBoard = entry(mnuSales, "mnuSalesBoard", QStringLiteral("销控表"));
    mnuHouseSheet = entry(mnuSales, "mnuHouseSheet", QStringLiteral("打印房源单页"));
    mnuSales->addSeparator();
    mnuPriceListImport = entry(mnuSales, "mnuPriceListImport", QStringLiteral("导入价目表…"));
    mnuPriceListExport = entry(mnuSales, "mnuPriceListExport", QStringLiteral("导出价目表…"));
    mnuSales->addSeparator();
    mnuCustomers = entry(mnuSales, "mnuCustomers", QStringLiteral("客户…"));
    mnuHistory = entry(mnuSales, "mnuHistory", QStringLiteral("变更记录…"));
    mnuSalesReport = entry(mnuSales, "mnuSalesReport", QStringLiteral("销售报表…"));
    mnuSalesSettings = entry(mnuSales, "mnuSalesSettings", QStringLiteral("设置…"));
    mnuHelp = menu("mnuHelp", QStringLiteral("帮助"));
    mnuAbout = entry(mnuHelp, "mnuAbout", QStringLiteral("关于"));

    connect(mnuExit, &QAction::triggered, this, [] { endProgram()(); });
    connect(mnuHouseList, &QAction::triggered, this, [] { Forms::Show(QStringLiteral("frmHouseList")); });
    connect(mnuHouseInput, &QAction::triggered, this, [] { Forms::Show(QStringLiteral("frmHouseInput")); });
    connect(mnuHouseType, &QAction::triggered, this, [] { Forms::Show(QStringLiteral("frmHouseType")); });
    connect(mnuAbout, &QAction::triggered, this, [] { Forms::Show(QStringLiteral("frmAbout")); });
    connect(mnuPriceListImport, &QAction::triggered, this,
            [] { Forms::Show(QStringLiteral("frmPriceListImport")); });
    connect(mnuPriceListExport, &QAction::triggered, this, [this] { pricelist::ExportWithDialog(this); });
    connect(mnuSalesReport, &QAction::triggered, this, [] { Forms::Show(QStringLiteral("frmSalesReport")); });
    connect(mnuSalesBoard, &QAction::triggered, this, [] { Forms::Show(QStringLiteral("frmSalesBoard")); });
    connect(mnuCustomers, &QAction::triggered, this, [] { Forms::Show(QStringLiteral("frmCustomers")); });
    connect(mnuHistory, &QAction::triggered, this, [] { Forms::Show(QStringLiteral("frmHistory")); });
    connect(mnuSalesSettings, &QAction::triggered, this,
            [] { Forms::Show(QStringLiteral("frmSalesSettings")); });
    // A showroom login may not read the customers: its entry is greyed out. Asked once, the first
    // time the menu opens, since a login does not change while the program runs.
    connect(mnuSales, &QMenu::aboutToShow, this, [this] { checkCustomerRights(); });
    // The sheet always shows the house that is current now, so an open one starts afresh.
    connect(mnuHouseSheet, &QAction::triggered, this, [] {
        Forms::Unload(QStringLiteral("frmHouseSheet"));
        Forms::Show(QStringLiteral("frmHouseSheet"));
    });
}

void frmMain::checkCustomerRights()
{
    if (customerRightsKnown_) return;
    // Quietly: a catalogue that cannot be opened says so when a window opens it, not here.
    db::Connection connection;
    if (!db::OpenCatalogue(connection, mdlHouse::ProgramFolder())) return;
    mnuCustomers->setEnabled(deals::CanReadCustomers(connection));
    customerRightsKnown_ = true;
}

bool frmMain::Load()
{
    instance_ = std::make_unique<ui::SingleInstance>(QCoreApplication::applicationFilePath());
    if (!instance_->TryAcquire()) {
        instance_.reset();
        ui::MsgBox(QStringLiteral("<") + mdlHouse::kProgramTitle + QStringLiteral("> 正在运行中。"));
        // Unloading this copy's frame runs its unload handler, which deletes the Image.htm that
        // both copies share. Kept as the program has always behaved.
        unloadHandler();
        return false;
    }
    // Without a window manager (a bare X server) maximising is only a hint nobody acts on, so the
    // frame also takes the whole screen itself.
    if (QScreen* screen = QGuiApplication::primaryScreen()) setGeometry(screen->availableGeometry());
    showMaximized();
    ui::TraceControlsSoon(this);
    mdlHouse::CreateMediaFolders();
    // Only for measuring the start (tavrelo-bench): end once the shown frame's queued events, its
    // first paint among them, have been handled.
    if (qEnvironmentVariableIntValue("TAVRELO_EXIT_WHEN_SHOWN") == 1)
        QTimer::singleShot(0, this, [] { QCoreApplication::exit(0); });
    return true;
}

void frmMain::unloadHandler()
{
    QFile::remove(mdlHouse::ProgramPath(QStringLiteral("/Image.htm")));
}

void frmMain::closeEvent(QCloseEvent* event)
{
    // Children first: each runs its own unload handler. One that stays open keeps the frame open.
    mdiArea_->closeAllSubWindows();
    for (QMdiSubWindow* sub : mdiArea_->subWindowList()) {
        if (sub->isVisible()) {
            event->ignore();
            return;
        }
    }
    unloadHandler();
    event->accept();
}
