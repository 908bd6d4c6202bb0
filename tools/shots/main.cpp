// tavrelo-shots PROGRAM_FOLDER OUTPUT_FOLDER: opens the program's windows on a real screen
// (run it under Xvfb) over the catalogue in PROGRAM_FOLDER and saves a picture of the screen for
// each, for the README. The windows are registered exactly as the program registers them.
#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QHelpEvent>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMenuBar>
#include <QMouseEvent>
#include <QProcess>
#include <QScreen>
#include <QTabWidget>
#include <QThread>
#include <algorithm>
#include <cstdio>
#include <utility>

#include "core/BrowserSandbox.h"
#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "core/db/Statement.h"
#include "core/mdlHouse.h"
#include "core/ui/FileDialog.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"
#include "core/ui/MsgBox.h"
#include "core/ui/ProgramIcon.h"
#include "deals/Customers.h"
#include "deals/DealSteps.h"
#include "deals/Who.h"
#include "deals/frmCustomers.h"
#include "deals/frmHistory.h"
#include "entry/frmAddNewImage.h"
#include "entry/frmHouseInput.h"
#include "report/frmSalesReport.h"
#include "sales/HouseSheet.h"
#include "sales/SalesBoardView.h"
#include "sales/frmSalesBoard.h"
#include "types/frmContent.h"
#include "windows/RegisterWindows.h"
#include "windows/frmMain.h"

namespace {

QString g_output;
int g_saved = 0;
int g_messages = 0;  // message boxes answered so far

void Settle(int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms) {
        QApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(10);
    }
}

int g_menuBarHeight = 0;

// The part of the screen that shows something: the menu bar's row from the left edge, and below
// it everything that differs from the empty frame's background, with a small margin.
QRect UsedPart(const QImage& screen)
{
    const QRgb background = screen.pixel(screen.width() - 1, screen.height() - 1);
    int right = 0;
    int bottom = 0;
    for (int y = g_menuBarHeight; y < screen.height(); ++y) {
        const QRgb* line = reinterpret_cast<const QRgb*>(screen.constScanLine(y));
        for (int x = 0; x < screen.width(); ++x) {
            if ((line[x] & 0xffffff) != (background & 0xffffff)) {
                right = std::max(right, x);
                bottom = std::max(bottom, y);
            }
        }
    }
    const int width = std::min(screen.width(), std::max(480, right + 9));
    const int height = std::min(screen.height(), std::max(320, bottom + 9));
    return QRect(0, 0, width, height);
}

bool Save(const QString& name)
{
    Settle(300);
    QScreen* screen = QGuiApplication::primaryScreen();
    QPixmap shot = screen ? screen->grabWindow(0) : QPixmap();
    if (!shot.isNull()) shot = shot.copy(UsedPart(shot.toImage()));
    const QString path = g_output + QLatin1Char('/') + name + QStringLiteral(".png");
    if (shot.isNull() || !shot.save(path, "PNG", 9)) {
        std::fprintf(stderr, "tavrelo-shots: cannot save %s\n", qPrintable(path));
        return false;
    }
    std::printf("%s\n", qPrintable(path));
    ++g_saved;
    return true;
}

bool ClickButton(QWidget* root, const QString& name)
{
    auto* button = root ? root->findChild<QAbstractButton*>(name) : nullptr;
    if (!button || !button->isVisible() || !button->isEnabled()) return false;
    button->click();
    return true;
}

// Clicks the first row of a named list with the mouse, as the user picks a row.
void ClickFirstRow(QWidget* root, const QString& listName)
{
    auto* list = root ? root->findChild<ui::ListView*>(listName) : nullptr;
    if (!list || !list->model() || list->model()->rowCount() == 0) return;
    const QPoint at = list->visualRect(list->model()->index(0, 0)).center();
    for (QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        QMouseEvent event(type, at, list->viewport()->mapToGlobal(at), Qt::LeftButton,
                          type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(list->viewport(), &event);
    }
}

// The house the presentation and the entry wizard show: the first house of the last type, which
// has the most attribute rows.
qint32 ShowcaseHouse()
{
    db::Connection connection;
    if (!connection.Open(mdlHouse::DatabasePath())) return 0;
    db::Recordset rs;
    if (!connection.Execute(QStringLiteral("Select Top 1 a.HouseID From t_House as a, t_HouseType as b "
                                           "Where a.TypeID = b.TypeID Order By b.List DESC, a.HouseID"),
                            rs) ||
        rs.Eof())
        return 0;
    return qint32(rs.Field(QStringLiteral("HouseID")).toLongLong());
}

qint32 HouseFloor(qint32 houseId)
{
    db::Connection connection;
    if (!connection.Open(mdlHouse::DatabasePath())) return 0;
    db::Recordset rs;
    if (!connection.Execute(
            QStringLiteral("Select HouseFloor From t_House Where HouseID = ") + QString::number(houseId),
            rs) ||
        rs.Eof())
        return 0;
    return qint32(rs.Field(QStringLiteral("HouseFloor")).toLongLong());
}

// The first window goes to the top left; one opened over another goes beside it when it fits,
// else a little down and to the right, so that both are seen.
void Place(QWidget* w)
{
    auto* sub = qobject_cast<QMdiSubWindow*>(w->parentWidget());
    if (!sub || !sub->mdiArea()) return;
    QRect others;
    for (QMdiSubWindow* other : sub->mdiArea()->subWindowList()) {
        if (other != sub && other->isVisible()) others |= other->geometry();
    }
    if (others.isNull()) {
        sub->move(8, 8);
    } else if (others.right() + 12 + sub->width() <= sub->mdiArea()->width()) {
        sub->move(others.right() + 12, 8);
    } else {
        sub->move(others.left() + 40, others.top() + 40);
    }
}

// The wizard in edit mode on the showcase house, then its second page with the pictures. It stays
// open: the picture dialog after it reads the wizard's selection.
void ShootWizard(QWidget* w, const QString& name, qint32 house)
{
    if (auto* wizard = qobject_cast<frmHouseInput*>(w)) wizard->StartInput(ui::InputMode::Edit);
    Settle(1500);
    Save(name);
    // Editing does not bring the floor back, so it is filled in the way the user would before
    // going on.
    if (auto* floor = w->findChild<QComboBox*>(QStringLiteral("cmbHouseFloor"))) {
        if (floor->currentText().isEmpty()) floor->setCurrentText(QString::number(HouseFloor(house)));
    }
    const int messagesBefore = g_messages;
    if (ClickButton(w, QStringLiteral("cmdNext")) && g_messages == messagesBefore) {
        Settle(1000);
        ClickFirstRow(w, QStringLiteral("lsvImage"));
        Settle(2500);
        Save(name + QStringLiteral("_pictures"));
    }
}

// The picture dialog over the wizard, showing the picture selected there; then both close.
void ShootPictureDialog(QWidget* w, const QString& name)
{
    if (Forms::Find(QStringLiteral("frmHouseInput"))) {
        if (auto* dialog = qobject_cast<frmAddNewImage*>(w)) dialog->GetImage();
    }
    Settle(500);
    Save(name);
    Forms::Unload(name);
    Forms::Unload(QStringLiteral("frmHouseInput"));
    Settle(300);
}

// A price list of the kind an office receives: two units of the demo again, new units of a new
// building, and two lines the import refuses; chosen in the import window.
void LoadPriceList(QWidget* w)
{
    const QString sheet = mdlHouse::ProgramFolder() + QStringLiteral("/金桂园价目表.csv");
    QFile file(sheet);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(QStringLiteral("序号,楼宇名称,类型,楼层,房间号,说明,朝向,单价,状态\r\n"
                                  "000001,翠湖苑一号楼,一室一厅,2,201,,南,16000元/平方米,已售\r\n"
                                  ",翠湖苑一号楼,两室一厅,2,202,,南北通透,16500元/平方米,在售\r\n"
                                  ",金桂园一号楼,两室一厅,3,301,,南北通透,15200元/平方米,在售\r\n"
                                  ",金桂园一号楼,两室一厅,3,302,,南,15000元/平方米,在售\r\n"
                                  ",金桂园一号楼,三室两厅,12,1201,顶层,南北通透,17800元/平方米,在售\r\n"
                                  ",金桂园一号楼,复式,18,1801,,南,19800元/平方米,在售\r\n"
                                  ",金桂园一号楼,两室一厅,120,1202,,南,15500元/平方米,在售\r\n")
                       .toUtf8());
        file.close();
    }
    ui::SetFileDialogInterceptor([sheet](const QString&) { return sheet; });
    ClickButton(w, QStringLiteral("cmdBrowse"));
    ui::SetFileDialogInterceptor({});
    Settle(500);
}

// Opens one window over the showcase house, sets it up as a user would and saves its picture.
void ShootWindow(const QString& name, qint32 house)
{
    mdlHouse::CurrentHouseID = house;
    QWidget* w = Forms::Show(name);
    if (!w) {
        std::fprintf(stderr, "tavrelo-shots: %s did not open\n", qPrintable(name));
        return;
    }
    Place(w);
    Settle(1000);
    if (name == QLatin1String("frmHouseShow")) {
        // The page in the browser control takes a moment; then show the first picture.
        Settle(2500);
        ClickButton(w, QStringLiteral("cmdImage(1)"));
        Settle(2500);
    }
    if (name == QLatin1String("frmHouseInput")) return ShootWizard(w, name, house);
    if (name == QLatin1String("frmAddNewImage")) return ShootPictureDialog(w, name);
    if (name == QLatin1String("frmPriceListImport")) LoadPriceList(w);
    if (name == QLatin1String("frmSalesBoard")) {
        // The price under each unit, as an office would choose it.
        if (auto* price = w->findChild<QComboBox*>(QStringLiteral("cmbPrice")))
            price->setCurrentText(QStringLiteral("单价"));
        Settle(500);
    }
    if (name == QLatin1String("frmContent")) {
        qint16 second = 2;  // the template of the second type
        if (auto* editor = qobject_cast<frmContent*>(w)) editor->GetTypeContent(second);
        Settle(500);
    }
    Save(name);
    // The type manager stays behind its template editor, as the user sees them together.
    if (name != QLatin1String("frmHouseType")) {
        Forms::Unload(name);
        if (name == QLatin1String("frmContent")) Forms::Unload(QStringLiteral("frmHouseType"));
    }
    Settle(300);
}

// The house sheet as the customer gets it: the PDF, turned into a picture by poppler.
void ShootHouseSheet(qint32 house)
{
    sales::HouseSheet sheet;
    const QString pdf = g_output + QStringLiteral("/house_sheet.pdf");
    if (sheet.Load(house) && sheet.SavePdf(pdf) &&
        QProcess::execute(QStringLiteral("pdftoppm"),
                          {QStringLiteral("-r"), QStringLiteral("80"), QStringLiteral("-png"),
                           QStringLiteral("-singlefile"), pdf, g_output + QStringLiteral("/house_sheet")}) ==
            0) {
        std::printf("%s/house_sheet.png\n", qPrintable(g_output));
        ++g_saved;
    } else {
        std::fprintf(stderr, "tavrelo-shots: cannot make the house sheet's picture\n");
    }
    QFile::remove(pdf);
}

// The demo catalogue has no deals: for the sales report's picture, a month of them is written into
// the copy being photographed (after every other window's picture), with a total price on each
// house and three consultants, as an office would have them.
bool WriteReportMonth()
{
    db::Connection c;
    mdlHouse::OpenDatabase(c);
    std::vector<qint64> houses;
    db::Statement read;
    if (!read.Prepare(c, QStringLiteral("SELECT HouseID FROM t_House ORDER BY HouseID"))) return false;
    while (read.Next()) houses.push_back(read.Column(0).toLongLong());
    read.Finalize();
    if (houses.empty()) return false;
    db::Transaction transaction(c);
    auto run = [&c](const QString& sql, const QVariantList& values) {
        db::Statement s;
        bool ok = s.Prepare(c, sql);
        for (int i = 0; ok && i < values.size(); ++i) ok = s.Bind(i + 1, values[i]);
        return ok && s.Exec();
    };
    const QStringList consultants = {QStringLiteral("王芳"), QStringLiteral("李强"), QStringLiteral("陈静")};
    for (int i = 0; i < consultants.size(); ++i)
        run(QStringLiteral(
                "INSERT INTO t_Consultant (ConsultantID, ConsultantName, Active) VALUES (?, ?, 1)"),
            {100 + i, consultants[i]});
    const QDate today = QDate::currentDate();
    const QString paths[] = {QStringLiteral("hold"),    QStringLiteral("deposit"), QStringLiteral("contract"),
                             QStringLiteral("hold"),    QStringLiteral("expire"),  QStringLiteral("hold"),
                             QStringLiteral("deposit"), QStringLiteral("cancel")};
    for (size_t i = 0; i < houses.size(); ++i) {
        const qint64 house = houses[i];
        run(QStringLiteral(
                "INSERT INTO t_Content (HouseID, Caption, Content, List) VALUES (?, '总价', ?, 99)"),
            {house, QString::number(980000 + qint64(i) * 61000)});
        run(QStringLiteral("INSERT INTO t_Deal (DealID, HouseID, ConsultantID, Stage, Active, Extensions) "
                           "VALUES (?, ?, ?, 'contract', NULL, 0)"),
            {1000 + qint64(i), house, 100 + qint64(i % 3)});
        for (int step = 0; step < 3; ++step) {
            const int day = int((i * 5 + size_t(step) * 3) % size_t(today.day())) + 1;
            const QDateTime at(QDate(today.year(), today.month(), day), QTime(10 + step * 2, 30),
                               Qt::LocalTime);
            run(QStringLiteral(
                    "INSERT INTO t_History (HouseID, ChangedAt, ChangedBy, Machine, OldValue, NewValue, "
                    "DealID, Path) VALUES (?, ?, 'demo', 'pc', '在售', '预留', ?, ?)"),
                {house, at.toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")), 1000 + qint64(i),
                 paths[(i + size_t(step) * 3) % 8]});
        }
    }
    return transaction.Commit();
}

void ShootSalesReport()
{
    if (!Forms::IsRegistered(QStringLiteral("frmSalesReport")) || !WriteReportMonth()) {
        std::fprintf(stderr, "tavrelo-shots: no sales report\n");
        return;
    }
    Forms::Unload(QStringLiteral("frmHouseShow"));
    Forms::Unload(QStringLiteral("frmHouseList"));
    auto* w = qobject_cast<frmSalesReport*>(Forms::Show(QStringLiteral("frmSalesReport")));
    if (!w) return;
    Place(w);
    w->cmbRange->setCurrentText(QStringLiteral("本月"));
    Settle(1200);
    Save(QStringLiteral("frmSalesReport"));
    w->tabReport->setCurrentIndex(2);
    Settle(500);
    Save(QStringLiteral("frmSalesReport_buildings"));
    Forms::Unload(QStringLiteral("frmSalesReport"));
    Settle(300);
}

// The frame as the user works in it: the catalogue, a house presented in front of it with the
// view of its building, and the house menu open.
void ShootFrame(frmMain& main, qint32 house)
{
    mdlHouse::CurrentHouseID = house;
    for (const QString& name : {QStringLiteral("frmHouseList"), QStringLiteral("frmHouseShow")}) {
        if (!Forms::IsRegistered(name)) continue;
        if (QWidget* w = Forms::Show(name)) {
            Place(w);
            Settle(name == QLatin1String("frmHouseShow") ? 3000 : 800);
            ClickButton(w, QStringLiteral("cmdImage(2)"));
        }
    }
    Settle(2500);
    main.mnuHouse->popup(main.menuBar()->mapToGlobal(
        main.menuBar()->actionGeometry(main.mnuHouse->menuAction()).bottomLeft()));
    Settle(400);
    Save(QStringLiteral("frmMain"));
    main.mnuHouse->hide();
}

// A sales office at work on the demo catalogue: two consultants (the one of this login among
// them), a few customers, and through the deal steps a hold, a deposit and a contract on units of
// the first building, so that the board, the customers and the history have something to show.
qint32 MakeDeals()
{
    db::Connection connection;
    if (!connection.Open(mdlHouse::DatabasePath())) return 0;
    // The login of this run when it has a name (a bare X session as root may give none).
    QString login = deals::CurrentLogin(connection);
    if (login.isEmpty()) login = QStringLiteral("wangfang");
    for (const auto& [name, account] : {std::pair{QStringLiteral("王芳"), login},
                                        std::pair{QStringLiteral("张伟"), QStringLiteral("zhangwei")}}) {
        deals::Consultant c;
        c.name = name;
        c.login = account;
        deals::SaveConsultant(connection, &c);
    }
    qint64 own = 0;
    std::vector<deals::Consultant> consultants;
    deals::ReadConsultants(connection, &consultants);
    for (const deals::Consultant& c : consultants)
        if (c.name == QStringLiteral("王芳")) own = c.id;
    std::vector<qint64> customers;
    const std::pair<const char*, const char*> people[] = {
        {"李明", "138 0013 8000"}, {"赵敏", "139-0000-1111"}, {"陈静", "+86 137 1234 5678"}};
    for (const auto& [name, phone] : people) {
        deals::Customer c;
        c.name = QString::fromUtf8(name);
        c.phone = QString::fromUtf8(phone);
        c.consultantId = own;
        c.firstVisit = QStringLiteral("2024-05-01");
        c.source = QStringLiteral("来访");
        deals::SaveCustomer(connection, &c);
        customers.push_back(c.id);
    }
    db::Recordset rs;
    std::vector<std::pair<qint32, QString>> units;
    if (connection.Execute(
            QStringLiteral("Select a.HouseID, c.Content From t_House as a, t_Content as c "
                           "Where c.HouseID = a.HouseID And c.Caption = '状态' And c.Content = '在售' "
                           "Order By a.HouseName, a.HouseID"),
            rs)) {
        for (; !rs.Eof(); rs.MoveNext()) units.emplace_back(rs.Field(0).toInt(), rs.Field(1).toString());
        rs.Close();
    }
    if (units.size() < 3 || customers.size() < 3) return 0;
    deals::Hold(connection, deals::Shown{units[0].first, units[0].second, 0}, customers[0], own, 5);
    const deals::StepResult held =
        deals::Hold(connection, deals::Shown{units[1].first, units[1].second, 0}, customers[1], own);
    if (held.Done())
        deals::Deposit(connection, deals::Shown{units[1].first, held.status, held.dealId},
                       QStringLiteral("50000"), QDate::currentDate());
    const deals::StepResult other =
        deals::Hold(connection, deals::Shown{units[2].first, units[2].second, 0}, customers[2], own);
    if (other.Done())
        deals::Contract(connection, deals::Shown{units[2].first, other.status, other.dealId},
                        QDate::currentDate());
    return units[0].first;
}

// The customers, the settings, the history and the board with a held cell and its tooltip.
void ShootDeals()
{
    const qint32 held = MakeDeals();
    if (held == 0) {
        std::fprintf(stderr, "tavrelo-shots: no deals for the deals' windows\n");
        return;
    }
    if (auto* w = qobject_cast<frmCustomers*>(Forms::Show(QStringLiteral("frmCustomers")))) {
        Place(w);
        Settle(500);
        ClickFirstRow(w, QStringLiteral("lsvCustomers"));
        Settle(500);
        Save(QStringLiteral("frmCustomers"));
        Forms::Unload(QStringLiteral("frmCustomers"));
    }
    if (QWidget* w = Forms::Show(QStringLiteral("frmSalesSettings"))) {
        Place(w);
        Settle(500);
        ClickFirstRow(w, QStringLiteral("lsvConsultants"));
        Save(QStringLiteral("frmSalesSettings"));
        Forms::Unload(QStringLiteral("frmSalesSettings"));
    }
    if (QWidget* w = Forms::Show(QStringLiteral("frmHistory"))) {
        Place(w);
        Settle(500);
        Save(QStringLiteral("frmHistory"));
        Forms::Unload(QStringLiteral("frmHistory"));
    }
    if (auto* board = qobject_cast<frmSalesBoard*>(Forms::Show(QStringLiteral("frmSalesBoard")))) {
        Place(board);
        if (auto* price = board->findChild<QComboBox*>(QStringLiteral("cmbPrice")))
            price->setCurrentText(QStringLiteral("单价"));
        Settle(800);
        // At the cell's lower edge, so that the tooltip opens below the cell's own text.
        const QPoint at = board->picBoard->UnitCentre(held) + QPoint(0, sales::Board::kCellHeight / 2 - 4);
        QHelpEvent tip(QEvent::ToolTip, at, board->picBoard->viewport()->mapToGlobal(at));
        QApplication::sendEvent(board->picBoard->viewport(), &tip);
        Settle(800);
        Save(QStringLiteral("frmSalesBoard_hold"));
        Forms::Unload(QStringLiteral("frmSalesBoard"));
    }
}

}  // namespace

int main(int argc, char* argv[])
{
    browsersandbox::PrepareForUser("tavrelo-shots");
    QApplication app(argc, argv);
    // The windows carry the program's own icon, as in the program itself.
    QApplication::setWindowIcon(ui::ProgramIcon());
    QApplication::setApplicationName(QStringLiteral("Tavrelo"));
    if (argc != 3) {
        std::fprintf(stderr, "usage: tavrelo-shots PROGRAM_FOLDER OUTPUT_FOLDER (on an X server)\n");
        return 2;
    }
    mdlHouse::SetProgramFolder(QDir(QString::fromLocal8Bit(argv[1])).absolutePath());
    g_output = QDir(QString::fromLocal8Bit(argv[2])).absolutePath();
    QDir().mkpath(g_output);
    // A message box would stop the run; say what it said instead.
    ui::SetMsgBoxInterceptor([](const QString& text, ui::Buttons) {
        std::fprintf(stderr, "tavrelo-shots: message: %s\n", qPrintable(text));
        ++g_messages;
        return ui::Answer::Ok;
    });

    windows::RegisterWindows();

    frmMain main;
    if (!main.Load()) return 1;
    Settle(800);
    g_menuBarHeight = main.menuBar()->height();

    const qint32 house = ShowcaseHouse();
    const QStringList windows = {QStringLiteral("frmHouseList"),  QStringLiteral("frmHouseShow"),
                                 QStringLiteral("frmHouseInput"), QStringLiteral("frmAddNewImage"),
                                 QStringLiteral("frmHouseType"),  QStringLiteral("frmContent"),
                                 QStringLiteral("frmAbout"),      QStringLiteral("frmPriceListImport"),
                                 QStringLiteral("frmSalesBoard"), QStringLiteral("frmHouseSheet")};
    for (const QString& name : windows)
        if (Forms::IsRegistered(name)) ShootWindow(name, house);
    ShootHouseSheet(house);
    ShootFrame(main, house);
    // Last, so that the pictures above show the catalogue as the demo made it.
    for (QMdiSubWindow* sub : Forms::MdiArea() ? Forms::MdiArea()->subWindowList() : QList<QMdiSubWindow*>())
        sub->close();
    ShootDeals();
    // Last: it writes a month of deals into the catalogue, which no other picture should show.
    ShootSalesReport();

    std::fprintf(stderr, "tavrelo-shots: %d pictures in %s\n", g_saved, qPrintable(g_output));
    // Leave the way the menu's exit does: no unload handlers, nothing written on the way out.
    std::fflush(stdout);
    std::_Exit(g_saved > 0 ? 0 : 1);
}
