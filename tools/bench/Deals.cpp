#include "Deals.h"

#include <libpq-fe.h>
#include <sqlite3.h>

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QTimeZone>
#include <cstdio>

#include "Floor.h"
#include "core/db/ChangeContext.h"
#include "core/db/Connection.h"
#include "core/db/Statement.h"
#include "core/db/TextCollation.h"
#include "deals/DealSteps.h"
#include "deals/Expiry.h"
#include "deals/OpenDeals.h"
#include "sales/SalesBoard.h"

namespace bench {

namespace {

const QString kStatus = QStringLiteral("状态");

// How much of each the catalogue gets: the full figures at 100,000 houses, less on a small one.
struct DealShape {
    int openHolds = 0;   // on the board's building, out of its units for sale
    int expired = 0;     // holds that run out, on houses outside the board's building
    qint64 history = 0;  // history rows in all
    QList<qint32> free;  // units of the board's building for sale without a deal, for the hold step
};

bool openCatalogue(db::Connection& connection, const QString& databasePath)
{
    return IsServerUri(databasePath) ? connection.OpenServer(databasePath) : connection.Open(databasePath);
}

// The floor: the statements (SQL of the store, values in the text) through SQLite's C API or libpq
// alone, every row stepped and every value read, on a connection opened and closed around them.
// A House.db connection gets the collation as the floor of the other lines has it, and the
// functions the history triggers call, without which no status row could change.
int asciiNoCase(void*, int aBytes, const void* a, int bBytes, const void* b)
{
    const int n = aBytes < bBytes ? aBytes : bBytes;
    const int c = sqlite3_strnicmp(static_cast<const char*>(a), static_cast<const char*>(b), n);
    return c ? c : aBytes - bBytes;
}

bool runRaw(const QString& databasePath, const QStringList& statements)
{
    qint64 bytes = 0;
    bool ok = true;
    if (IsServerUri(databasePath)) {
        PGconn* conn = PQconnectdb(databasePath.toUtf8().constData());
        ok = PQstatus(conn) == CONNECTION_OK;
        for (const QString& sql : statements) {
            if (!ok) break;
            PGresult* result = PQexec(conn, sql.toUtf8().constData());
            ok = PQresultStatus(result) == PGRES_TUPLES_OK || PQresultStatus(result) == PGRES_COMMAND_OK;
            for (int r = 0; r < PQntuples(result); ++r)
                for (int c = 0; c < PQnfields(result); ++c) bytes += PQgetlength(result, r, c);
            if (!ok) qWarning("floor: %s: %s", qPrintable(sql), PQresultErrorMessage(result));
            PQclear(result);
        }
        PQfinish(conn);
    } else {
        sqlite3* handle = nullptr;
        ok = sqlite3_open_v2(QFile::encodeName(databasePath).constData(), &handle, SQLITE_OPEN_READWRITE,
                             nullptr) == SQLITE_OK;
        if (ok) {
            sqlite3_busy_timeout(handle, 1500);
            sqlite3_create_collation(handle, db::kTextCollation, SQLITE_UTF8, nullptr, asciiNoCase);
            ok = db::RegisterChangeContext(handle);
        }
        for (const QString& sql : statements) {
            if (!ok) break;
            const QByteArray text = sql.toUtf8();
            sqlite3_stmt* stmt = nullptr;
            if (sqlite3_prepare_v2(handle, text.constData(), int(text.size()), &stmt, nullptr) != SQLITE_OK) {
                qWarning("floor: %s: %s", qPrintable(sql), sqlite3_errmsg(handle));
                ok = false;
                break;
            }
            int rc;
            while ((rc = sqlite3_step(stmt)) == SQLITE_ROW)
                for (int c = 0; c < sqlite3_column_count(stmt); ++c) {
                    sqlite3_column_text(stmt, c);
                    bytes += sqlite3_column_bytes(stmt, c);
                }
            if (rc != SQLITE_DONE) qWarning("floor: %s: %s", qPrintable(sql), sqlite3_errmsg(handle));
            ok = rc == SQLITE_DONE;
            sqlite3_finalize(stmt);
        }
        sqlite3_close(handle);
    }
    static volatile qint64 sink = 0;
    sink = sink + bytes;
    return ok;
}

// Runs one statement of the benchmark's own through the data layer; false when it failed.
bool exec(db::Connection& connection, const QString& sql, std::initializer_list<QVariant> values = {})
{
    db::Statement statement;
    bool ok = statement.Prepare(connection, sql);
    int index = 0;
    for (const QVariant& v : values) ok = ok && statement.Bind(++index, v);
    ok = ok && statement.Exec();
    if (!ok) qWarning("bench: %s: %s", qPrintable(sql), qPrintable(connection.LastError()));
    return ok;
}

qint64 number(db::Connection& connection, const QString& sql)
{
    db::Statement read;
    return read.Prepare(connection, sql) && read.Next() ? read.Column(0).toLongLong() : -1;
}

// Consultants, customers, the open holds on the board's building, status rows on the houses whose
// holds will run out, and history rows up to the figure: once per catalogue (a second pass through
// the proxy finds them there).
bool fillDeals(db::Connection& cn, const CatalogueShape& shape, DealShape* d, QString* error)
{
    const QString first = QString::number(shape.boardFirstHouse());
    const qint64 forSale =
        number(cn, QStringLiteral("SELECT count(*) FROM t_Content WHERE Caption = '状态' AND "
                                  "Content IN ('在售', '预留') AND HouseID >= ") +
                       first);
    d->openHolds = int(qMin<qint64>(1000, forSale - 100));
    // Outside the board's building, and not the big house, whose rows the presentation counts.
    d->expired = qMin(1000, (shape.boardFirstHouse() - 2) / 2);
    d->history = qMin<qint64>(1000000, qint64(shape.houses) * 10);
    if (d->openHolds < 10 || d->expired < 10) {
        *error = QStringLiteral("too small a catalogue for the deals");
        return false;
    }
    const bool filled = number(cn, QStringLiteral("SELECT count(*) FROM t_Consultant")) > 0;
    const QString recursive = QStringLiteral(
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE "
        "i < %1) ");
    db::Transaction transaction(cn);
    bool ok = cn.InTransaction();
    if (!filled) {
        ok =
            ok &&
            exec(cn, recursive.arg(20) +
                         QStringLiteral("INSERT INTO t_Consultant (ConsultantName, Login, Active) "
                                        "SELECT '顾问' || i, 'staff' || i, 1 FROM n")) &&
            exec(cn, recursive.arg(1000) +
                         QStringLiteral("INSERT INTO t_Customer (CustomerName, Phone, SearchKey) "
                                        "SELECT '客户' || i, '139' || (10000000 + i), '客户' || "
                                        "i || '139' || (10000000 + i) FROM n")) &&
            exec(cn, QStringLiteral(
                         "INSERT INTO t_Deal (HouseID, CustomerID, ConsultantID, Stage, Active, "
                         "HoldStart, HoldEnd, Extensions, PriorStatus, CreatedAt) SELECT HouseID, 1 + "
                         "HouseID % 1000, 1 + HouseID % 20, 'hold', 1, '2026-01-01 00:00:00', "
                         "'2099-01-01 00:00:00', 0, '在售', '2026-01-01 00:00:00' FROM (SELECT HouseID "
                         "FROM t_Content WHERE Caption = '状态' AND Content = '在售' AND HouseID >= ") +
                         first + QStringLiteral(" ORDER BY HouseID LIMIT %1) x").arg(d->openHolds)) &&
            exec(cn,
                 QStringLiteral("UPDATE t_Content SET Content = '预留' WHERE Caption = '状态' AND HouseID IN "
                                "(SELECT HouseID FROM t_Deal WHERE Active = 1)")) &&
            exec(cn,
                 QStringLiteral(
                     "INSERT INTO t_Content (HouseID, Caption, Content, List) SELECT HouseID, '状态', "
                     "'在售', 90 FROM t_House WHERE HouseID < %1 AND HouseID <> %2 ORDER BY HouseID LIMIT %3")
                     .arg(shape.boardFirstHouse())
                     .arg(shape.bigHouse())
                     .arg(2 * d->expired));
    }
    const qint64 have = number(cn, QStringLiteral("SELECT count(*) FROM t_History"));
    if (ok && have < d->history)
        ok = exec(cn, recursive.arg(d->history - have) +
                          QStringLiteral(
                              "INSERT INTO t_History (HouseID, ContentID, ChangedAt, ChangedBy, Machine, "
                              "OldValue, NewValue, Path) SELECT 1 + i % %1, NULL, '2025-06-01 08:00:00', "
                              "'bench', 'bench-pc', '在售', '已预订', 'board' FROM n")
                              .arg(shape.houses));
    ok = ok && transaction.Commit();
    if (!ok) {
        *error = QStringLiteral("filling the deals failed: ") + cn.LastError();
        return false;
    }
    d->history = number(cn, QStringLiteral("SELECT count(*) FROM t_History"));
    db::Statement units;
    units.Prepare(
        cn, QStringLiteral("SELECT c.HouseID FROM t_Content c WHERE c.Caption = '状态' AND c.Content = "
                           "'在售' AND c.HouseID >= ") +
                first +
                QStringLiteral(" AND NOT EXISTS (SELECT 1 FROM t_Deal d WHERE d.HouseID = c.HouseID AND "
                               "d.Active = 1) ORDER BY c.HouseID"));
    while (units.Next()) d->free << qint32(units.Column(0).toLongLong());
    return d->free.size() >= 2 * (kCountedRuns + 1);
}

// The statements of one hold on house, as the step sends them.
QStringList holdFloor(bool server, qint32 house)
{
    const QString h = QString::number(house);
    QStringList s{
        server ? QStringLiteral("BEGIN") : QStringLiteral("BEGIN IMMEDIATE"),
        QStringLiteral("SELECT Name, Value FROM t_Setting"),
        QStringLiteral("SELECT HouseNo FROM t_House WHERE HouseID = ") + h,
        QStringLiteral("SELECT ContentID, Content FROM t_Content WHERE HouseID = %1 AND Caption = '状态' "
                       "ORDER BY List, ContentID LIMIT 1")
            .arg(h),
        QStringLiteral("SELECT 1 FROM t_Customer WHERE CustomerID = 1"),
        QStringLiteral("SELECT 1 FROM t_Consultant WHERE ConsultantID = 1 AND Active = 1"),
        QStringLiteral("SELECT d.DealID, d.HouseID, d.Stage, d.ConsultantID, s.ConsultantName, d.CustomerID, "
                       "c.CustomerName, d.HoldEnd, d.Extensions FROM t_Deal d JOIN t_House h ON h.HouseID = "
                       "d.HouseID LEFT JOIN t_Consultant s ON s.ConsultantID = d.ConsultantID LEFT JOIN "
                       "t_Customer c ON c.CustomerID = d.CustomerID WHERE d.Active = 1 AND d.HouseID = ") +
            h,
        QStringLiteral("INSERT INTO t_Deal (HouseID, CustomerID, ConsultantID, Stage, Active, HoldStart, "
                       "HoldEnd, Extensions, PriorStatus, CreatedAt) VALUES (%1, 1, 1, 'hold', 1, "
                       "'2026-11-25 10:00:00', '2026-11-26 10:00:00', 0, '在售', '2026-11-25 10:00:00')")
            .arg(h),
        QStringLiteral("SELECT DealID FROM t_Deal WHERE HouseID = %1 AND Active = 1").arg(h)};
    if (server)
        s << QStringLiteral("SELECT now()")
          << QStringLiteral(
                 "SELECT set_config('tavrelo.path', 'hold', true), set_config('tavrelo.customer', '1', "
                 "true), set_config('tavrelo.deal', '1', true), set_config('tavrelo.reason', '', true)");
    s << QStringLiteral(
             "UPDATE t_Content SET Content = '预留' WHERE ContentID = (SELECT ContentID FROM t_Content WHERE "
             "HouseID = %1 AND Caption = '状态' ORDER BY List, ContentID LIMIT 1) AND Content = '在售'")
             .arg(h)
      << QStringLiteral("COMMIT");
    return s;
}

void measureHistory(const QString& path, const DealShape& d, const CatalogueShape& shape, Report* report)
{
    // A unit of the board's building, as the cell's 历史记录… reads it: newest first, a page.
    const qint64 house = shape.boardFirstHouse() + 7;
    const QString sql = QStringLiteral(
        "SELECT h.HistoryID, h.ChangedAt, h.ChangedBy, h.Machine, h.OldValue, "
        "h.NewValue, c.CustomerName, h.Reason, h.Path FROM t_History h LEFT JOIN "
        "t_Customer c ON c.CustomerID = h.CustomerID WHERE h.HouseID = %1 ORDER BY "
        "h.HistoryID DESC LIMIT 500");
    Operation op;
    op.name = QStringLiteral("read a unit's history among %1 history rows").arg(d.history);
    op.floorName = QStringLiteral("the same statement");
    int rows = 0;
    Measure(
        &op,
        [&] {
            db::Connection cn;
            db::Statement read;
            rows = 0;
            if (openCatalogue(cn, path) && read.Prepare(cn, sql.arg(QStringLiteral("?"))) &&
                read.Bind(1, house))
                while (read.Next()) {
                    for (int c = 0; c < 9; ++c) read.Column(c);
                    ++rows;
                }
        },
        [&] {
            if (!runRaw(path, {sql.arg(house)}))
                report->problems << op.name + QStringLiteral(": the floor failed");
        });
    if (rows < 1) report->problems << op.name + QStringLiteral(": no history read");
    report->operations.push_back(op);
}

void measureBoard(const QString& path, const CatalogueShape& shape, Report* report)
{
    const QString building = BoardBuildingName();
    // As many as there are now: a second pass (through the proxy) finds the first pass's holds too.
    qint64 expected = -1;
    {
        db::Connection cn;
        if (openCatalogue(cn, path))
            expected =
                number(cn, QStringLiteral("SELECT count(*) FROM t_Deal d JOIN t_House h ON h.HouseID = "
                                          "d.HouseID WHERE d.Active = 1 AND h.HouseName = '%1'")
                               .arg(building));
    }
    Operation op;
    op.name = QStringLiteral("load and paint the sales board of %1 units with %2 open holds")
                  .arg(shape.boardUnits())
                  .arg(expected);
    op.floorName = QStringLiteral("the board's two statements and the open deals' one");
    int open = 0;
    const bool server = IsServerUri(path);
    const QString q = QStringLiteral("'") + building + QStringLiteral("'");
    const QStringList floor = {
        QStringLiteral(
            "SELECT a.HouseID, a.HouseNo, a.HouseFloor, b.HouseType FROM t_House as a, t_HouseType as b "
            "WHERE a.TypeID = b.TypeID AND a.HouseName = ") +
            q,
        QStringLiteral(
            "SELECT c.HouseID, c.ContentID, c.Caption, c.Content FROM t_Content as c, t_House as a WHERE "
            "c.HouseID = a.HouseID AND a.HouseName = ") +
            q + QStringLiteral(" AND c.Caption IN ('状态') ORDER BY c.HouseID, c.List, c.ContentID"),
        server
            ? QStringLiteral("SELECT tavrelo_release_expired(now())")
            : QStringLiteral(
                  "UPDATE t_Deal SET Active = NULL, Stage = 'expired', ClosedAt = '%1', Reason = '到期释放' "
                  "WHERE Active = 1 AND Stage = 'hold' AND HoldEnd <= '%1'")
                  .arg(QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))),
        QStringLiteral(
            "SELECT d.DealID, d.HouseID, d.Stage, d.ConsultantID, s.ConsultantName, d.CustomerID, "
            "c.CustomerName, d.HoldEnd, d.Extensions FROM t_Deal d JOIN t_House h ON h.HouseID = d.HouseID "
            "LEFT JOIN t_Consultant s ON s.ConsultantID = d.ConsultantID LEFT JOIN t_Customer c ON "
            "c.CustomerID = d.CustomerID WHERE d.Active = 1 AND h.HouseName = ") +
            q};
    Measure(
        &op,
        [&] {
            db::Connection cn;
            sales::Board board;
            if (!openCatalogue(cn, path) || !board.Load(cn, building, kStatus, QString())) return;
            const deals::OpenDeals deals = deals::ReadOpenDeals(cn, building);
            cn.Close();
            open = deals.byHouse.size();
            // The part of the board a screen shows, as the window paints it.
            QImage image(QSize(1600, 1000), QImage::Format_RGB32);
            image.fill(Qt::white);
            QPainter painter(&image);
            board.Paint(painter, QRect(QPoint(0, 0), image.size()));
        },
        [&] {
            if (!runRaw(path, floor)) report->problems << op.name + QStringLiteral(": the floor failed");
        });
    if (open != expected)
        report->problems << op.name +
                                QStringLiteral(": %1 open deals read, %2 expected").arg(open).arg(expected);
    report->operations.push_back(op);
}

void measureHold(const QString& path, const DealShape& d, Report* report)
{
    Operation op;
    op.name = QStringLiteral("one deal step: hold a unit (open the catalogue to commit)");
    op.floorName = QStringLiteral("the step's statements in one transaction");
    int next = 0;
    bool refused = false;
    const bool server = IsServerUri(path);
    Measure(
        &op,
        [&] {
            db::Connection cn;
            deals::Shown shown;
            shown.houseId = d.free.value(next++);
            shown.status = QStringLiteral("在售");
            refused |= !openCatalogue(cn, path) || !deals::Hold(cn, shown, 1, 1).Done();
        },
        [&] {
            if (!runRaw(path, holdFloor(server, d.free.value(next++))))
                report->problems << op.name + QStringLiteral(": the floor failed");
        });
    if (refused) report->problems << op.name + QStringLiteral(": a hold was not done");
    report->operations.push_back(op);
}

// Before every run, twice the expired holds: the program's (ended at midnight) and the floor's (an
// hour later), so that each releases exactly its own with the same statement.
void measureRelease(const QString& path, const DealShape& d, Report* report)
{
    const bool server = IsServerUri(path);
    Operation op;
    op.name = QStringLiteral("release %1 expired holds").arg(d.expired);
    op.floorName = QStringLiteral("the release statement");
    int released = 0;
    bool prepared = true;
    // The houses with the marked status rows (List 90), a batch each.
    const QString holds = QStringLiteral(
        "INSERT INTO t_Deal (HouseID, CustomerID, ConsultantID, Stage, Active, HoldStart, HoldEnd, "
        "Extensions, "
        "PriorStatus, CreatedAt) SELECT HouseID, 1, 1, 'hold', 1, '2025-12-31 00:00:00', '2026-01-01 "
        "%1:00:00', 0, "
        "'在售', '2025-12-31 00:00:00' FROM t_Content WHERE Caption = '状态' AND List = 90 ORDER BY HouseID "
        "LIMIT %2 "
        "OFFSET %3");
    auto prepare = [&] {
        db::Connection cn;
        if (!openCatalogue(cn, path)) {
            prepared = false;
            return;
        }
        db::Transaction transaction(cn);
        prepared =
            cn.InTransaction() &&
            exec(cn, QStringLiteral(
                         "UPDATE t_Content SET Content = '预留' WHERE Caption = '状态' AND List = 90")) &&
            exec(cn, holds.arg(QStringLiteral("00"), QString::number(d.expired), QStringLiteral("0"))) &&
            exec(cn,
                 holds.arg(QStringLiteral("01"), QString::number(d.expired), QString::number(d.expired))) &&
            transaction.Commit();
    };
    const QDateTime programNow(QDate(2026, 1, 1), QTime(0, 30), QTimeZone::utc());
    Measure(
        &op,
        [&] {
            db::Connection cn;
            released = openCatalogue(cn, path) ? deals::ReleaseExpired(cn, programNow) : -1;
        },
        [&] {
            const QString at = QStringLiteral("'2026-01-01 01:30:00'");
            if (!runRaw(path, {server ? QStringLiteral("SELECT tavrelo_release_expired(%1)").arg(at)
                                      : QStringLiteral(
                                            "UPDATE t_Deal SET Active = NULL, Stage = 'expired', ClosedAt = "
                                            "%1, Reason = '到期释放' WHERE Active = 1 AND Stage = 'hold' "
                                            "AND HoldEnd <= %1")
                                            .arg(at)}))
                report->problems << op.name + QStringLiteral(": the floor failed");
        },
        prepare);
    if (!prepared) report->problems << op.name + QStringLiteral(": the expired holds could not be made");
    if (released != d.expired)
        report->problems << op.name +
                                QStringLiteral(": %1 released, %2 expected").arg(released).arg(d.expired);
    report->operations.push_back(op);
}

}  // namespace

void MeasureDeals(const QString& databasePath, const CatalogueShape& shape, Report* report)
{
    // Below this the board's building has too few units for sale to hold a thousandth of them and
    // still leave units to hold in the measured runs.
    if (shape.houses < 1000) {
        std::printf("The deals are measured on catalogues of 1000 houses or more.\n");
        return;
    }
    DealShape d;
    QString error;
    {
        db::Connection cn;
        if (!openCatalogue(cn, databasePath)) {
            report->problems << QStringLiteral("deals: cannot open the catalogue: ") + cn.LastError();
            return;
        }
        if (!fillDeals(cn, shape, &d, &error)) {
            report->problems << QStringLiteral("deals: ") + error;
            return;
        }
    }
    measureHistory(databasePath, d, shape, report);
    measureBoard(databasePath, shape, report);
    measureHold(databasePath, d, report);
    measureRelease(databasePath, d, report);
}

}  // namespace bench
