// The wall screen started from the sales board as the user starts it (全屏展示, then its setup
// dialog): full screen without a control to click, large cells, the chosen buildings in turn, prices
// off when asked, changes from another process shown by themselves, the catalogue going away and
// coming back without the screen ending, a look-only server login, and Esc.
#include <unistd.h>

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QListWidget>
#include <QMenuBar>
#include <QPointer>
#include <QScreen>
#include <QSettings>
#include <QSpinBox>

#include "LiveFixture.h"
#include "PgCluster.h"
#include "core/db/ChangeWatcher.h"
#include "core/ui/WindowCalls.h"
#include "wall/frmWall.h"
#include "wall/frmWallSetup.h"
#include "windows/RegisterWindows.h"

using namespace salestest;
using livetest::changeElsewhere;

namespace {

const QStringList kBuildings = {QStringLiteral("观澜一号楼"), QStringLiteral("观澜二号楼"),
                                QStringLiteral("观澜三号楼")};

// Three buildings of 3 floors x 4 units; house ids 1..12, 13..24, 25..36; status and price rows.
void fillCatalogue(const testsupport::ProgramFolder& f)
{
    QVERIFY(testsupport::AddType(f, 1, 1, QStringLiteral("三室两厅")));
    QStringList houses;
    QStringList rows;
    int id = 0;
    for (const QString& building : kBuildings) {
        for (int floor = 1; floor <= 3; ++floor) {
            for (int room = 1; room <= 4; ++room) {
                ++id;
                houses << QStringLiteral("(%1, '%2', '%30%4', '', %3, 1)")
                              .arg(id)
                              .arg(building)
                              .arg(floor)
                              .arg(room);
                rows << QStringLiteral("(%1, '状态', '%2', 1)")
                            .arg(id)
                            .arg(id % 4 == 0 ? QStringLiteral("已售") : QStringLiteral("在售"));
                rows << QStringLiteral("(%1, '单价', '%2元', 2)").arg(id).arg(15000 + id * 100);
            }
        }
    }
    QVERIFY(
        Exec(f, QStringLiteral("Insert Into t_House (HouseID, HouseName, HouseNo, Intro, HouseFloor, TypeID) "
                               "Values ") +
                    houses.join(QStringLiteral(", "))));
    QVERIFY(Exec(f, QStringLiteral("Insert Into t_Content (HouseID, Caption, Content, List) Values ") +
                        rows.join(QStringLiteral(", "))));
}

frmWall* openWall()
{
    for (QWidget* w : QApplication::topLevelWidgets())
        if (w->objectName() == QLatin1String("frmWall") && w->isVisible()) return qobject_cast<frmWall*>(w);
    return nullptr;
}

QString statusOf(const frmWall* wall, qint32 house)
{
    const int i = wall->Board().IndexOf(house);
    return i < 0 ? QStringLiteral("(none)") : wall->Board().units[size_t(i)].status;
}

}  // namespace

class tst_wall_screen : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<Frame> frame;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages;
    frmSalesBoard* board = nullptr;

    // Clicks 全屏展示 on the board and answers the setup dialog: the buildings to tick, the seconds,
    // prices hidden or not. Returns the wall that opened.
    frmWall* startWall(const QStringList& buildings, int seconds, bool hidePrices)
    {
        bool answered = false;
        QTimer poll;
        poll.setInterval(20);
        connect(&poll, &QTimer::timeout, [&] {
            auto* setup = qobject_cast<frmWallSetup*>(QApplication::activeModalWidget());
            if (!setup) return;
            poll.stop();
            for (int i = 0; i < setup->lstBuildings->count(); ++i) {
                QListWidgetItem* item = setup->lstBuildings->item(i);
                item->setCheckState(buildings.contains(item->text()) ? Qt::Checked : Qt::Unchecked);
            }
            setup->txtSeconds->setValue(seconds);
            setup->chkHidePrices->setChecked(hidePrices);
            answered = Click(setup, QStringLiteral("cmdStart"));
            // Refused (nothing chosen): the dialog stays, and is cancelled.
            if (setup->isVisible()) Click(setup, QStringLiteral("cmdCancel"));
        });
        poll.start();
        Click(board, QStringLiteral("cmdWall"));
        poll.stop();
        if (!answered) qWarning("the setup dialog was not answered");
        QCoreApplication::processEvents();
        return openWall();
    }

    static bool Click(QObject* root, const QString& name) { return testsupport::Click(root, name); }

    void openBoard(const QString& priceCaption = QString())
    {
        messages = std::make_unique<testsupport::MsgBoxRecorder>();
        frame = std::make_unique<Frame>();
        board = frame->OpenBoard();
        QVERIFY(board);
        board->cmbBuilding->setCurrentText(kBuildings[0]);
        board->cmbPrice->setCurrentText(priceCaption);
        QCOMPARE(board->Board().priceCaption, priceCaption);
    }

private slots:
    // The board reaches the wall the way the program wires it.
    void initTestCase() { windows::RegisterWindows(); }

    void init()
    {
        folder = std::make_unique<testsupport::ProgramFolder>();
        fillCatalogue(*folder);
    }

    void cleanup()
    {
        if (frmWall* wall = openWall()) wall->close();
        QCoreApplication::processEvents();
        frame.reset();
        messages.reset();
        folder.reset();
    }

    void opens_full_screen_cycles_and_leaves_on_escape()
    {
        openBoard(QStringLiteral("单价"));
        QPointer<frmWall> wall = startWall({kBuildings[0], kBuildings[2]}, 5, false);
        QVERIFY(wall);
        QVERIFY(wall->isFullScreen());
        QCOMPARE(wall->geometry(), wall->screen()->geometry());
        QVERIFY(wall->isWindow());
        QVERIFY(wall->findChildren<QAbstractButton*>().isEmpty());
        QVERIFY(wall->findChildren<QMenuBar*>().isEmpty());
        QCOMPARE(wall->Options().buildings, QStringList({kBuildings[0], kBuildings[2]}));
        QCOMPARE(wall->Building(), kBuildings[0]);
        QCOMPARE(int(wall->Board().units.size()), 12);
        QCOMPARE(wall->Board().priceCaption, QStringLiteral("单价"));
        QVERIFY(!wall->Board().units[0].price.isEmpty());
        QVERIFY(wall->Notice().isEmpty());

        // At 1920 x 1080 a building of this size is drawn well above the smallest legible scale.
        wall->setGeometry(0, 0, 1920, 1080);
        QCoreApplication::processEvents();
        QVERIFY2(wall->Scale() >= frmWall::kMinScale, qPrintable(QString::number(wall->Scale())));
        QCOMPARE(wall->PageCount(), 1);
        const QRect cell = wall->CellOnScreen(1);
        QVERIFY(cell.height() >= 100 && cell.width() >= 170);
        QVERIFY(QRect(0, 0, 1920, 1080).contains(cell));

        // Every five seconds the next chosen building, then the first again.
        QTRY_COMPARE_WITH_TIMEOUT(wall->Building(), kBuildings[2], 7000);
        QCOMPARE(statusOf(wall, 25), QStringLiteral("在售"));
        QTRY_COMPARE_WITH_TIMEOUT(wall->Building(), kBuildings[0], 7000);

        QTest::keyClick(wall, Qt::Key_Escape);
        QTRY_VERIFY(wall.isNull());
        QVERIFY(messages->Texts().isEmpty());
    }

    void a_large_building_goes_page_by_page()
    {
        // 40 floors of 12 units do not fit legibly: pages of floors and units, every unit on one.
        // The first page starts with the top floor (house 5001 is floor 40, room 01).
        QStringList houses;
        for (int floor = 1; floor <= 40; ++floor)
            for (int room = 1; room <= 12; ++room)
                houses << QStringLiteral("(%1, '大楼', '%2%3', '', %2, 1)")
                              .arg(1000 + floor * 100 + room)
                              .arg(floor)
                              .arg(room, 2, 10, QLatin1Char('0'));
        QVERIFY(Exec(*folder,
                     QStringLiteral("Insert Into t_House (HouseID, HouseName, HouseNo, Intro, HouseFloor, "
                                    "TypeID) Values ") +
                         houses.join(QStringLiteral(", "))));
        wall::WallOptions options;
        options.buildings = {QStringLiteral("大楼")};
        options.statusCaption = QStringLiteral("状态");
        QPointer<frmWall> wall = new frmWall(options);
        wall->Start();
        wall->setGeometry(0, 0, 1920, 1080);
        QCoreApplication::processEvents();
        QVERIFY(wall->Scale() >= frmWall::kMinScale);
        QVERIFY(wall->CellOnScreen(5001).height() >= int(sales::Board::kCellHeight * frmWall::kMinScale));
        QVERIFY(wall->PageCount() > 1);
        QSet<qint32> shown;
        for (int p = 0; p < wall->PageCount(); ++p) {
            QCOMPARE(wall->Page(), p);
            for (const sales::Unit& u : wall->Board().units) {
                const QRect cell = wall->CellOnScreen(u.houseId);
                if (cell.isEmpty()) continue;
                QVERIFY(QRect(0, 0, 1920, 1080).contains(cell));
                shown.insert(u.houseId);
            }
            wall->Next();
        }
        QCOMPARE(shown.size(), 480);
        QCOMPARE(wall->Page(), 0);
        wall->close();
    }

    void hides_prices_when_asked()
    {
        openBoard(QStringLiteral("单价"));
        frmWall* wall = startWall({kBuildings[1]}, 30, true);
        QVERIFY(wall);
        QCOMPARE(wall->Building(), kBuildings[1]);
        QVERIFY(wall->Board().priceCaption.isEmpty());
        for (const sales::Unit& u : wall->Board().units) QVERIFY2(u.price.isEmpty(), qPrintable(u.price));
        // The board behind it keeps its prices.
        QCOMPARE(board->Board().priceCaption, QStringLiteral("单价"));
    }

    void nothing_chosen_is_refused()
    {
        openBoard();
        QVERIFY(!startWall({}, 10, false));
        QCOMPARE(messages->Texts(), QStringList{QStringLiteral("请至少选择一栋楼。")});
    }

    void follows_changes_and_survives_the_catalogue_going_away()
    {
        openBoard();
        QPointer<frmWall> wall = startWall({kBuildings[0]}, 30, false);
        QVERIFY(wall);
        QTRY_VERIFY_WITH_TIMEOUT(wall->Watcher()->Connected(), 10000);
        QTest::qWait(200);
        QVERIFY(changeElsewhere(*folder, 2, QStringLiteral("预留")));
        QTRY_COMPARE_WITH_TIMEOUT(statusOf(wall, 2), QStringLiteral("预留"), 1000);

        // The catalogue goes away: the server stops, or House.db is moved off.
        const bool server = !folder->ServerUri().isEmpty();
        if (server)
            QVERIFY(testsupport::PgCluster::Instance().Stop());
        else
            QVERIFY(folder->HideDatabase());
        QTRY_VERIFY_WITH_TIMEOUT(!wall->Notice().isEmpty(), 5000);
        // It goes on showing what it had, and cycling does not end it either.
        wall->Next();
        QVERIFY(wall && wall->isVisible());
        QCOMPARE(int(wall->Board().units.size()), 12);
        QCOMPARE(statusOf(wall, 2), QStringLiteral("预留"));
        QTest::qWait(1500);
        QVERIFY(wall && wall->isVisible());

        if (server)
            QVERIFY(testsupport::PgCluster::Instance().Start());
        else
            QVERIFY(folder->RestoreDatabase());
        QTRY_VERIFY_WITH_TIMEOUT(wall->Notice().isEmpty(), 15000);
        QTRY_VERIFY_WITH_TIMEOUT(wall->Watcher()->Connected(), 5000);
        QVERIFY(changeElsewhere(*folder, 3, QStringLiteral("已售")));
        QTRY_COMPARE_WITH_TIMEOUT(statusOf(wall, 3), QStringLiteral("已售"), 1000);
        QVERIFY(messages->Texts().isEmpty());
    }

    void an_expired_hold_is_released_when_the_wall_reads()
    {
        // House 8 (已售 at first) held until 2020 with 在售 before the hold.
        QVERIFY(Exec(
            *folder,
            QStringLiteral("Update t_Content Set Content = '预留' Where HouseID = 8 And Caption = '状态'")));
        QVERIFY(Exec(*folder,
                     QStringLiteral("Insert Into t_Deal (HouseID, Stage, Active, HoldStart, HoldEnd, "
                                    "PriorStatus, CreatedAt) Values (8, 'hold', 1, '2020-01-01 00:00:00', "
                                    "'2020-01-02 00:00:00', '在售', '2020-01-01 00:00:00')")));
        openBoard();
        QPointer<frmWall> wall = startWall({kBuildings[0]}, 30, false);
        QVERIFY(wall);
        QCOMPARE(statusOf(wall, 8), QStringLiteral("在售"));
        QCOMPARE(folder->Value(QStringLiteral("Select Stage From t_Deal Where HouseID = 8")).toString(),
                 QStringLiteral("expired"));
        QVERIFY(folder->Value(QStringLiteral("Select Active From t_Deal Where HouseID = 8")).isNull());
    }

    void a_look_only_server_login_runs_it()
    {
        // Always on the server: a login that may read the catalogue and nothing of the customers.
        const QByteArray store = qgetenv("TAVRELO_TEST_STORE");
        qputenv("TAVRELO_TEST_STORE", "server");
        folder.reset();
        folder = std::make_unique<testsupport::ProgramFolder>();
        fillCatalogue(*folder);
        const QString role = QStringLiteral("wall_%1").arg(getpid());
        QVERIFY(folder->Exec(QStringLiteral("CREATE ROLE %1 LOGIN").arg(role)));
        for (const char* table : {"t_HouseType", "t_House", "t_Content", "t_Image", "t_Content_Auto",
                                  "t_Setting", "t_Consultant", "t_Deal", "t_History"}) {
            if (folder->Value(QStringLiteral("SELECT to_regclass('%1') IS NOT NULL").arg(table)).toBool())
                QVERIFY(folder->Exec(QStringLiteral("GRANT SELECT ON %1 TO %2").arg(table, role)));
        }
        QString uri = folder->ServerUri();
        const int user = uri.indexOf(QStringLiteral("user="));
        QVERIFY(user > 0);
        uri = uri.left(user) + QStringLiteral("user=") + role;
        QSettings(folder->File(QStringLiteral("Tavrelo.conf")), QSettings::IniFormat)
            .setValue(QStringLiteral("catalogue/server"), uri);

        openBoard();
        QCOMPARE(board->cmbBuilding->count(), 3);
        QPointer<frmWall> wall = startWall({kBuildings[0], kBuildings[1]}, 30, false);
        QVERIFY2(wall, qPrintable(messages->Texts().join(QLatin1Char('|'))));
        QCOMPARE(int(wall->Board().units.size()), 12);
        QCOMPARE(statusOf(wall, 4), QStringLiteral("已售"));
        QVERIFY(wall->Notice().isEmpty());
        QTRY_VERIFY_WITH_TIMEOUT(wall->Watcher()->Connected(), 10000);
        QTest::qWait(200);
        QVERIFY(changeElsewhere(*folder, 5, QStringLiteral("已售")));
        QTRY_COMPARE_WITH_TIMEOUT(statusOf(wall, 5), QStringLiteral("已售"), 1000);
        QCOMPARE(wall->Options().buildings, QStringList({kBuildings[0], kBuildings[1]}));
        wall->setGeometry(0, 0, 1920, 1080);
        QCoreApplication::processEvents();
        QCOMPARE(wall->PageCount(), 1);
        wall->Next();
        QCOMPARE(wall->Building(), kBuildings[1]);
        QCOMPARE(int(wall->Board().units.size()), 12);
        QVERIFY(messages->Texts().isEmpty());
        wall->close();
        frame.reset();
        folder.reset();
        qputenv("TAVRELO_TEST_STORE", store);
    }
};

QTEST_MAIN(tst_wall_screen)
#include "tst_wall_screen.moc"
