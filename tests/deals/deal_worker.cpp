// Another PC working on the deals of one catalogue, for the deal tests.
//
//   deal_worker race PROGRAM_FOLDER HOUSE CUSTOMER CONSULTANT GO_FILE
//     opens the catalogue, prints "ready", waits until GO_FILE exists, then holds the unit as a
//     board that showed it 在售 would, and prints one line:
//       "done DEAL", "refused KIND MESSAGE" or "failed MESSAGE".
//   deal_worker mix PROGRAM_FOLDER SEED STEPS BUILDING CLOCK_START
//     does STEPS random deal steps and wizard-style status edits on the building's units, reading
//     the board before each (which releases expired holds). Its own clock starts at CLOCK_START
//     (an ISO date-time) and moves on ten minutes a step, so holds run out while it works. Every
//     status change it commits is printed as "change HOUSE OLD NEW", every step as "step NAME
//     OUTCOME"; the last line is "end".
#include <QCoreApplication>
#include <QDateTime>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QThread>
#include <cstdio>

#include "core/db/ChangeContext.h"
#include "core/db/Connection.h"
#include "core/db/Statement.h"
#include "core/db/Store.h"
#include "deals/DealSteps.h"
#include "deals/OpenDeals.h"

namespace {

void say(const QString& line)
{
    std::printf("%s\n", line.toUtf8().constData());
    std::fflush(stdout);
}

int race(const QStringList& args)
{
    if (args.size() < 7) return 2;
    db::Connection connection;
    if (!db::OpenCatalogue(connection, args[2])) {
        say(QStringLiteral("failed cannot open: ") + connection.LastError());
        return 1;
    }
    say(QStringLiteral("ready"));
    // All twenty let go within a millisecond or so of each other.
    while (!QFileInfo::exists(args[6])) QThread::usleep(300);
    deals::Shown shown;
    shown.houseId = args[3].toInt();
    shown.status = QStringLiteral("在售");
    const deals::StepResult r = deals::Hold(connection, shown, args[4].toLongLong(), args[5].toLongLong());
    if (r.Done())
        say(QStringLiteral("done %1").arg(r.dealId));
    else if (r.outcome == deals::Outcome::Refused)
        say(QStringLiteral("refused %1 %2").arg(int(r.refusal)).arg(r.message));
    else
        say(QStringLiteral("failed ") + r.message + QStringLiteral(" / ") + connection.LastError());
    return 0;
}

// The units of the building with their status rows, as the board reads them.
QHash<qint32, QString> statuses(db::Connection& connection, const QString& building)
{
    QHash<qint32, QString> out;
    db::Statement read;
    if (!read.Prepare(connection,
                      QStringLiteral("SELECT h.HouseID, (SELECT c.Content FROM t_Content c WHERE "
                                     "c.HouseID = h.HouseID AND c.Caption = '状态' ORDER BY c.List, "
                                     "c.ContentID LIMIT 1) FROM t_House h WHERE h.HouseName = ?")) ||
        !read.Bind(1, building))
        return out;
    while (read.Next()) out.insert(qint32(read.Column(0).toLongLong()), read.Column(1).toString());
    return out;
}

// A status edit as the wizard saves one: in a transaction, the row changed only while it still
// holds what the window showed.
bool wizardEdit(db::Connection& connection, qint32 house, const QString& shown, const QString& value)
{
    db::Transaction transaction(connection);
    if (!connection.InTransaction()) return false;
    if (!db::SetChangeContext(connection, db::ChangeContext{QStringLiteral("wizard"), 0, 0, QString()}))
        return false;
    db::Statement update;
    if (!update.Prepare(
            connection,
            QStringLiteral("UPDATE t_Content SET Content = ? WHERE ContentID = (SELECT ContentID FROM "
                           "t_Content WHERE HouseID = ? AND Caption = '状态' ORDER BY List, ContentID "
                           "LIMIT 1) AND Content = ?")) ||
        !update.Bind(1, value) || !update.Bind(2, qint64(house)) || !update.Bind(3, shown) ||
        !update.Exec() || update.RowsAffected() != 1)
        return false;
    return transaction.Commit();
}

deals::StepResult dealStep(db::Connection& connection, const deals::Shown& shown, const QString& stage,
                           QRandomGenerator& rng, QString* name)
{
    const int pick = int(rng.bounded(100));
    const QDate date(2026, 11, 25);
    if (stage.isEmpty()) {
        *name = QStringLiteral("hold");
        return deals::Hold(connection, shown, 1 + rng.bounded(2), 1 + rng.bounded(2),
                           1 + int(rng.bounded(3)));
    }
    if (stage == deals::kStageHold) {
        if (pick < 20) return *name = QStringLiteral("extend"), deals::Extend(connection, shown, 1);
        if (pick < 30)
            return *name = QStringLiteral("manager-extend"), deals::ManagerExtend(connection, shown, 1);
        if (pick < 50) return *name = QStringLiteral("cancel"), deals::CancelHold(connection, shown);
        if (pick < 60)
            return *name = QStringLiteral("manager-release"), deals::ManagerRelease(connection, shown);
        if (pick < 85)
            return *name = QStringLiteral("deposit"), deals::Deposit(connection, shown, "20000", date);
        return *name = QStringLiteral("contract"), deals::Contract(connection, shown, date);
    }
    if (stage == deals::kStageDeposit && pick < 60)
        return *name = QStringLiteral("contract"), deals::Contract(connection, shown, date);
    return *name = QStringLiteral("return"), deals::Return(connection, shown, QStringLiteral("客户改变主意"));
}

int mix(const QStringList& args)
{
    if (args.size() < 7) return 2;
    QRandomGenerator rng(args[3].toUInt());
    const int steps = args[4].toInt();
    const QString building = args[5];
    QDateTime clock = QDateTime::fromString(args[6], Qt::ISODate);
    const QStringList wizardValues = {QStringLiteral("在售"), QStringLiteral("已预订"),
                                      QStringLiteral("保留")};
    for (int i = 0; i < steps; ++i) {
        qputenv("TAVRELO_TEST_NOW", clock.addSecs(600 * i).toString(Qt::ISODate).toUtf8());
        db::Connection connection;
        if (!db::OpenCatalogue(connection, args[2])) {
            say(QStringLiteral("failed cannot open: ") + connection.LastError());
            return 1;
        }
        const deals::OpenDeals open = deals::ReadOpenDeals(connection, building);
        const QHash<qint32, QString> units = statuses(connection, building);
        if (!open.ok || units.isEmpty()) {
            say(QStringLiteral("failed board read: ") + connection.LastError());
            return 1;
        }
        const QList<qint32> houses = units.keys();
        deals::Shown shown;
        shown.houseId = houses[int(rng.bounded(houses.size()))];
        shown.status = units.value(shown.houseId);
        const deals::OpenDeal deal = open.byHouse.value(shown.houseId);
        shown.dealId = deal.dealId;
        // The moment between the board's read and the click, for the other PCs to act in.
        QThread::msleep(rng.bounded(15));
        const bool forSale = deals::IsForSale(shown.status, QStringLiteral("在售"));
        if (rng.bounded(100) < 15 || (deal.dealId == 0 && !forSale)) {
            const QString value = wizardValues[int(rng.bounded(wizardValues.size()))];
            const bool ok = wizardEdit(connection, shown.houseId, shown.status, value);
            say(QStringLiteral("step wizard %1")
                    .arg(ok ? QStringLiteral("done") : QStringLiteral("refused")));
            if (ok && value != shown.status)
                say(QStringLiteral("change %1 %2 %3").arg(shown.houseId).arg(shown.status, value));
            continue;
        }
        QString name;
        const deals::StepResult r = dealStep(connection, shown, deal.stage, rng, &name);
        say(QStringLiteral("step %1 %2")
                .arg(name, r.Done()                               ? QStringLiteral("done")
                           : r.outcome == deals::Outcome::Refused ? QStringLiteral("refused")
                                                                  : QStringLiteral("failed")));
        if (r.outcome == deals::Outcome::Failed)
            say(QStringLiteral("failure ") + r.message + connection.LastError());
        // An extension leaves the status row alone (what it reads back may be another PC's change).
        if (r.Done() && !name.contains(QLatin1String("extend")) && r.status != shown.status)
            say(QStringLiteral("change %1 %2 %3").arg(shown.houseId).arg(shown.status, r.status));
    }
    say(QStringLiteral("end"));
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() > 1 && args[1] == QLatin1String("race")) return race(args);
    if (args.size() > 1 && args[1] == QLatin1String("mix")) return mix(args);
    std::fprintf(stderr, "usage: deal_worker race|mix ...\n");
    return 2;
}
