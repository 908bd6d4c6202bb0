// tavrelo-wallshot OUTPUT.png [SETUP.png]: the wall screen as a showroom's 1920 x 1080 display shows it, for
// the documentation. It makes a catalogue of its own in a temporary program folder (a building of 16 floors
// with six units each, statuses and prices spread as in a development half sold) and saves what the wall
// draws; with a second file, also the dialog that sets it up. Run it on a screen of that size (xvfb-run -s
// '-screen 0 1920x1080x24').
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QScreen>
#include <QTemporaryDir>
#include <QThread>
#include <cstdio>

#include "core/db/Connection.h"
#include "core/mdlHouse.h"
#include "wall/frmWall.h"
#include "wall/frmWallSetup.h"

namespace {

const QString kBuilding = QStringLiteral("翠湖苑三号楼");

void settle(int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms) {
        QApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(10);
    }
}

bool fill(const QString& path)
{
    if (!db::CreateEmptyDatabase(path)) return false;
    db::Connection c;
    if (!c.Open(path)) return false;
    db::Transaction t(c);
    bool ok = c.Execute(
        "Insert Into t_HouseType (TypeID, List, HouseType, MusicTitle, MusicFile) Values "
        "(1, 1, '两室一厅', '', ''), (2, 2, '三室两厅', '', ''), (3, 3, '一室一厅', '', '')");
    QRandomGenerator random(1920);
    const QStringList types = {QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("2"),
                               QStringLiteral("1"), QStringLiteral("3"), QStringLiteral("1")};
    int id = 0;
    for (int floor = 1; floor <= 16 && ok; ++floor) {
        for (int room = 1; room <= 6 && ok; ++room) {
            ++id;
            const QString no = QStringLiteral("%1%2").arg(floor).arg(room, 2, 10, QLatin1Char('0'));
            // Lower floors sell first.
            const int roll = int(random.bounded(100)) + floor * 3;
            const QString status = roll < 55   ? QStringLiteral("已售")
                                   : roll < 68 ? QStringLiteral("已认购")
                                   : roll < 78 ? QStringLiteral("预留")
                                               : QStringLiteral("在售");
            const int price = 16800 + floor * 120 + room * 40;
            ok = c.Execute(db::Sql(QStringLiteral("Insert Into t_House (HouseID, HouseName, HouseNo, Intro, "
                                                  "HouseFloor, TypeID) Values (%1, ")
                                       .arg(id)) +
                           db::Sql::Quoted(kBuilding) +
                           QStringLiteral(", '%1', '', %2, %3)").arg(no).arg(floor).arg(types[room - 1])) &&
                 c.Execute(QStringLiteral("Insert Into t_Content (HouseID, Caption, Content, List) Values "
                                          "(%1, '状态', '%2', 1), (%1, '单价', '%3元/㎡', 2)")
                               .arg(id)
                               .arg(status)
                               .arg(price));
        }
    }
    return ok && t.Commit();
}

}  // namespace

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    if (argc != 2 && argc != 3) {
        std::fprintf(stderr, "usage: tavrelo-wallshot OUTPUT.png [SETUP.png]\n");
        return 2;
    }
    QTemporaryDir folder;
    if (!folder.isValid() || !fill(folder.filePath(QStringLiteral("House.db")))) {
        std::fprintf(stderr, "cannot make the catalogue\n");
        return 1;
    }
    mdlHouse::SetProgramFolder(folder.path());
    if (argc == 3) {
        ui::WallRequest request;
        request.buildings = {QStringLiteral("翠湖苑一号楼"), QStringLiteral("翠湖苑二号楼"), kBuilding};
        request.building = kBuilding;
        request.statusCaption = QStringLiteral("状态");
        request.priceCaption = QStringLiteral("单价");
        frmWallSetup setup(request);
        setup.show();
        settle(500);
        if (!setup.grab().save(QString::fromLocal8Bit(argv[2]))) std::fprintf(stderr, "setup NOT saved\n");
        setup.close();
    }
    wall::WallOptions options;
    options.buildings = {kBuilding};
    options.statusCaption = QStringLiteral("状态");
    options.priceCaption = QStringLiteral("单价");
    auto* screen = new frmWall(options);
    screen->Start();
    settle(1500);
    const bool saved = screen->grab().save(QString::fromLocal8Bit(argv[1]));
    std::printf("%s: %dx%d, scale %.2f, %d page(s)\n", saved ? "saved" : "NOT saved", screen->width(),
                screen->height(), screen->Scale(), screen->PageCount());
    screen->close();
    return saved ? 0 : 1;
}
