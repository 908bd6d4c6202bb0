// Another PC changing statuses while a board watches: "live_writer STORE BUILDING COUNT SEED" opens
// the catalogue (House.db or a libpq URI) through the data layer, as the program does, and commits
// COUNT random status changes of the units of BUILDING, one to four units a transaction, with
// random pauses between. A unit is changed again only after kQuietMs, so that a board that keeps up
// has shown one change before the next arrives. After each commit it prints, for each unit of it,
// "C <HouseID> <new value> <steady-clock nanoseconds after the commit>", then "done" at the end.
#include <QCoreApplication>
#include <QRandomGenerator>
#include <QThread>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <vector>

#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "core/db/Store.h"

namespace {

constexpr qint64 kQuietMs = 1500;
const QStringList kValues = {QStringLiteral("在售"), QStringLiteral("预留"), QStringLiteral("已售"),
                             QStringLiteral("已预订"), QStringLiteral("可售")};

qint64 nowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

struct Row {
    qint64 contentId = 0;
    qint32 houseId = 0;
    QString value;
    qint64 changedNs = 0;
};

bool open(db::Connection& c, const QString& store)
{
    return db::IsServerUri(store) ? c.OpenServer(store) : c.Open(store);
}

}  // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 5) {
        std::fprintf(stderr, "usage: live_writer STORE BUILDING COUNT SEED\n");
        return 2;
    }
    const QString store = args[1];
    const int count = args[3].toInt();
    QRandomGenerator random(args[4].toUInt());

    db::Connection c;
    if (!open(c, store)) {
        std::fprintf(stderr, "cannot open %s: %s\n", qPrintable(store), qPrintable(c.LastError()));
        return 1;
    }
    std::vector<Row> rows;
    db::Recordset rs;
    const db::Sql list =
        db::Sql(QStringLiteral("Select c.ContentID, c.HouseID, c.Content From t_Content as c, "
                               "t_House as a Where c.HouseID = a.HouseID And a.HouseName = ")) +
        db::Sql::Quoted(args[2]) + QStringLiteral(" And c.Caption = '状态' Order By c.ContentID");
    if (!c.Execute(list, rs)) {
        std::fprintf(stderr, "cannot read: %s\n", qPrintable(c.LastError()));
        return 1;
    }
    for (; !rs.Eof(); rs.MoveNext())
        rows.push_back({rs.Field(0).toLongLong(), qint32(rs.Field(1).toInt()), rs.Field(2).toString(), 0});
    rs.Close();
    if (rows.size() < 8) {
        std::fprintf(stderr, "too few units (%d)\n", int(rows.size()));
        return 1;
    }

    int done = 0;
    while (done < count) {
        const int wanted = std::min(count - done, random.bounded(10) < 8 ? 1 : 2 + int(random.bounded(3)));
        std::vector<size_t> chosen;
        for (int tries = 0; int(chosen.size()) < wanted && tries < 1000; ++tries) {
            const size_t i = random.bounded(quint32(rows.size()));
            const bool quiet = rows[i].changedNs == 0 || nowNs() - rows[i].changedNs > kQuietMs * 1000000;
            if (quiet && std::find(chosen.begin(), chosen.end(), i) == chosen.end()) chosen.push_back(i);
        }
        if (chosen.empty()) {
            QThread::msleep(20);
            continue;
        }
        std::map<size_t, QString> values;
        {
            db::Transaction t(c);
            bool ok = true;
            for (const size_t i : chosen) {
                QString value;
                do {
                    value = kValues[int(random.bounded(quint32(kValues.size())))];
                } while (value == rows[i].value);
                values[i] = value;
                ok = ok &&
                     c.Execute(db::Sql(QStringLiteral("Update t_Content Set Content = ")) +
                               db::Sql::Quoted(value) + QStringLiteral(" Where ContentID = ") +
                               QString::number(rows[i].contentId)) &&
                     c.RowsAffected() == 1;
            }
            if (!ok || !t.Commit()) {
                std::fprintf(stderr, "change failed: %s\n", qPrintable(c.LastError()));
                return 1;
            }
        }
        const qint64 committed = nowNs();
        for (const auto& [i, value] : values) {
            rows[i].value = value;
            rows[i].changedNs = committed;
            std::printf("C %d %s %lld\n", rows[i].houseId, value.toUtf8().constData(), (long long)committed);
            ++done;
        }
        std::fflush(stdout);
        QThread::msleep(random.bounded(50));
    }
    std::printf("done\n");
    std::fflush(stdout);
    return 0;
}
