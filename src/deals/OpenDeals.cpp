#include "deals/OpenDeals.h"

#include <QVariant>

#include "core/db/Clock.h"
#include "core/db/Connection.h"
#include "core/db/Statement.h"
#include "deals/Clock.h"
#include "deals/Expiry.h"

namespace deals {

namespace {

// The select list and joins shared by both reads; `customers` adds the customer's name, which a
// login without the right to read customers must not even name in its statement (the server
// refuses the whole statement).
QString openDealsSql(bool customers, const QString& where)
{
    return QStringLiteral(
               "SELECT d.DealID, d.HouseID, d.Stage, d.ConsultantID, s.ConsultantName, "
               "d.CustomerID, %1, %2, d.Extensions FROM t_Deal d "
               "JOIN t_House h ON h.HouseID = d.HouseID "
               "LEFT JOIN t_Consultant s ON s.ConsultantID = d.ConsultantID %3"
               "WHERE d.Active = 1 AND %4")
        .arg(customers ? QStringLiteral("c.CustomerName") : QStringLiteral("NULL"),
             QStringLiteral("d.HoldEnd"),
             customers ? QStringLiteral("LEFT JOIN t_Customer c ON c.CustomerID = d.CustomerID ") : QString(),
             where);
}

OpenDeal readRow(const db::Statement& rows)
{
    OpenDeal deal;
    deal.dealId = rows.Column(0).toLongLong();
    deal.houseId = qint32(rows.Column(1).toLongLong());
    deal.stage = rows.Column(2).toString();
    deal.consultantId = rows.Column(3).toLongLong();
    deal.consultant = rows.Column(4).toString();
    deal.customerId = rows.Column(5).toLongLong();
    deal.customer = rows.Column(6).toString();
    deal.holdEnd = db::ParseTime(rows.Column(7));
    deal.extensions = int(rows.Column(8).toLongLong());
    return deal;
}

// Runs the read with customers, and again without them when the login may not read customers.
// Returns false when neither ran.
template <typename Bind, typename Row>
bool readDeals(db::Connection& connection, const QString& where, Bind bind, Row row, bool* hidden)
{
    for (const bool customers : {true, false}) {
        db::Statement rows;
        if (!rows.Prepare(connection, openDealsSql(customers, where))) continue;
        bind(rows);
        bool any = false;
        while (rows.Next()) {
            row(readRow(rows));
            any = true;
        }
        // A refused statement steps no row and leaves its error; an empty result leaves none.
        if (!any && rows.ColumnCount() == 0 && connection.IsServer()) continue;
        if (hidden) *hidden = !customers;
        return true;
    }
    return false;
}

}  // namespace

OpenDeals ReadOpenDeals(db::Connection& connection, const QString& building)
{
    OpenDeals result;
    ReleaseExpired(connection, Now(connection));
    const QString where = building.isEmpty() ? QStringLiteral("1 = 1") : QStringLiteral("h.HouseName = ?");
    result.ok = readDeals(
        connection, where,
        [&](db::Statement& rows) {
            if (!building.isEmpty()) rows.Bind(1, building);
        },
        [&](const OpenDeal& deal) { result.byHouse.insert(deal.houseId, deal); }, &result.customersHidden);
    return result;
}

OpenDeal ReadOpenDeal(db::Connection& connection, qint32 houseId, bool* customersHidden)
{
    OpenDeal found;
    readDeals(
        connection, QStringLiteral("d.HouseID = ?"),
        [&](db::Statement& rows) { rows.Bind(1, qint64(houseId)); },
        [&](const OpenDeal& deal) { found = deal; }, customersHidden);
    return found;
}

QString TimeLeft(const QDateTime& holdEnd, const QDateTime& now)
{
    if (!holdEnd.isValid()) return QString();
    const qint64 seconds = now.secsTo(holdEnd);
    if (seconds <= 0) return QString();
    const qint64 minutes = (seconds + 59) / 60;
    if (minutes < 60) return QStringLiteral("…%1分钟").arg(minutes);
    const qint64 hours = (minutes + 59) / 60;
    if (hours < 48) return QStringLiteral("…%1小时").arg(hours);
    return QStringLiteral("…%1天").arg((hours + 23) / 24);
}

}  // namespace deals
