#include "report/SalesFigures.h"

#include <QDateTime>
#include <QHash>
#include <QMap>
#include <algorithm>
#include <functional>

#include "core/db/Connection.h"
#include "core/db/Statement.h"

namespace report {

namespace {

const QString kDefaultStatusCaption = QStringLiteral("状态");

// The history's paths that the report counts (the status changes of the deal steps).
const QString kCountedPaths =
    QStringLiteral("('hold', 'expire', 'cancel', 'manager', 'deposit', 'contract', 'return')");

// The SQL that differs between the stores. Everything else is read by both alike.
struct Dialect {
    bool server = false;

    // A bound UTC instant, compared with the history's times: text on House.db, timestamptz on the
    // server.
    QString Instant() const
    {
        return server ? QStringLiteral("Cast(? As timestamptz)") : QStringLiteral("?");
    }
    QVariant InstantValue(const QDateTime& utc) const
    {
        const QString text = utc.toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
        return server ? text + QStringLiteral("+00") : text;
    }
    // Seconds since 1970 of a history time, plus a bound offset, in bound-sized buckets.
    QString Bucket() const
    {
        return server ? QStringLiteral("Cast(Floor((Extract(Epoch From h.ChangedAt) + ?) / ?) As Bigint)")
                      : QStringLiteral("((Cast(strftime('%s', h.ChangedAt) As Integer) + ?) / ?)");
    }
    // The first row of the caption of the event's house, as the board shows it. On the server the
    // value leaves the case-insensitive collation, under which text cannot be searched or matched.
    QString FirstRow(const QString& house) const
    {
        return QStringLiteral(
                   "(Select c.Content%1 From t_Content c Where c.HouseID = %2 And c.Caption = ?"
                   " Order By c.List, c.ContentID Limit 1)")
            .arg(server ? QStringLiteral(" Collate \"C\"") : QString(), house);
    }
    // Ends a subquery in FROM so that the store computes its columns once per row instead of
    // pasting their expressions (a correlated subquery among them) into every use above it.
    QString Fence() const { return server ? QStringLiteral(" Offset 0") : QStringLiteral(" Limit -1"); }
    // Whether a price text (blanks and thousands separators already taken out) is a plain
    // decimal number: digits, at most one point with digits after it.
    QString IsNumber(const QString& p) const
    {
        if (server) return QStringLiteral("(%1 ~ '^[0-9]+([.][0-9]+)?$')").arg(p);
        return QStringLiteral(
                   "(%1 Glob '[0-9]*' And %1 Not Glob '*[^0-9.]*' And %1 Not Glob '*.*.*' And "
                   "%1 Not Glob '*.')")
            .arg(p);
    }
};

// The local days of a range as buckets of UTC seconds. When the local offset from UTC is the same
// all through the range (no change to or from summer time in it), a history time shifted by that
// offset falls on its local day by whole days of 86,400 seconds; otherwise times are counted by
// quarter hours (every offset in use is a multiple of 15 minutes) and each quarter goes to the
// local day it starts in.
struct DayBuckets {
    qint64 offset = 0;
    qint64 size = 86400;
};

DayBuckets dayBuckets(const QDate& from, const QDate& to)
{
    const int offset = SalesFigures::RangeStart(from).toLocalTime().offsetFromUtc();
    bool steady = true;
    for (QDate d = from; d <= to.addDays(1) && steady; d = d.addDays(1))
        steady = QDateTime(d, QTime(0, 0), Qt::LocalTime).offsetFromUtc() == offset;
    return steady ? DayBuckets{offset, 86400} : DayBuckets{0, 900};
}

Query statusQuery(const Dialect& dialect, const QString& statusCaption)
{
    // Every house of the catalogue (those with a type, as every list shows them) by building and by
    // the value of its first status row.
    return {QStringLiteral("Select S.B, S.St, Count(*) From (Select a.HouseName As B, %1 As St"
                           " From t_House a, t_HouseType b Where a.TypeID = b.TypeID%2) S Group By S.B, S.St")
                .arg(dialect.FirstRow(QStringLiteral("a.HouseID")), dialect.Fence()),
            {statusCaption}};
}

// The events of the range, each with its key (a building, a consultant or a day) and, for a deposit
// or a contract, the house's price text; grouped by the key and the path.
std::vector<Query> eventQueries(const Dialect& dialect, const QDate& from, const QDate& to,
                                const QString& priceCaption, const DayBuckets& buckets)
{
    const QString priceText =
        priceCaption.isEmpty()
            ? QStringLiteral("Cast(Null As Text)")
            : QStringLiteral("Replace(Trim(%1), ',', '')").arg(dialect.FirstRow(QStringLiteral("h.HouseID")));
    auto grouped = [&](const QString& key, const QString& joins, QVariantList values) {
        const QString sql =
            QStringLiteral(
                "Select E.K, E.Path, Count(*), Sum(Case When %1 Then 1 Else 0 End),"
                " Sum(Case When %1 Then Cast(E.P As Double Precision) Else 0 End)"
                " From (Select %2 As K, h.Path As Path,"
                " Case When h.Path In ('deposit', 'contract') Then %3 End As P"
                " From t_History h%4 Where h.ChangedAt >= %5 And h.ChangedAt < %5 And h.Path In %6%7) E"
                " Group By E.K, E.Path")
                .arg(dialect.IsNumber(QStringLiteral("E.P")), key, priceText, joins, dialect.Instant(),
                     kCountedPaths, dialect.Fence());
        if (!priceCaption.isEmpty()) values << priceCaption;
        values << dialect.InstantValue(SalesFigures::RangeStart(from))
               << dialect.InstantValue(SalesFigures::RangeEnd(to));
        return Query{sql, values};
    };
    return {grouped(QStringLiteral("Coalesce(a.HouseName, '')"),
                    QStringLiteral(" Left Join t_House a On a.HouseID = h.HouseID"), {}),
            grouped(QStringLiteral("Coalesce(k.ConsultantName, '')"),
                    QStringLiteral(" Left Join t_Deal d On d.DealID = h.DealID"
                                   " Left Join t_Consultant k On k.ConsultantID = d.ConsultantID"),
                    {}),
            grouped(dialect.Bucket(), QString(), {buckets.offset, buckets.size})};
}

// The deposits and contracts of the range whose price is not a number, in the order they happened.
Query notSummedQuery(const Dialect& dialect, const QDate& from, const QDate& to, const QString& priceCaption)
{
    return {QStringLiteral(
                "Select E.B, E.N, E.Path, E.Raw From (Select Coalesce(a.HouseName, '') As B,"
                " Coalesce(a.HouseNo, '') As N, h.Path As Path, h.HistoryID As I, %1 As Raw"
                " From t_History h Left Join t_House a On a.HouseID = h.HouseID"
                " Where h.ChangedAt >= %2 And h.ChangedAt < %2 And h.Path In ('deposit', 'contract')%3) E"
                " Where Not %4 Order By E.I Limit %5")
                .arg(dialect.FirstRow(QStringLiteral("h.HouseID")), dialect.Instant(), dialect.Fence(),
                     dialect.IsNumber(QStringLiteral("Replace(Trim(Coalesce(E.Raw, '')), ',', '')")))
                .arg(SalesFigures::kMaxListed),
            {priceCaption, dialect.InstantValue(SalesFigures::RangeStart(from)),
             dialect.InstantValue(SalesFigures::RangeEnd(to))}};
}

// Runs a query with its values bound in order; calls row for each row. False on failure.
bool query(db::Connection& connection, const QString& sql, const QVariantList& values,
           const std::function<void(const db::Statement&)>& row, QString* error)
{
    // The end of the rows and a failed step both end the loop; a failure is told by the error it
    // leaves on the connection.
    const QString before = connection.LastError();
    db::Statement statement;
    bool ok = statement.Prepare(connection, sql);
    for (int i = 0; ok && i < values.size(); ++i) ok = statement.Bind(i + 1, values[i]);
    if (ok) {
        while (statement.Next()) row(statement);
        ok = connection.LastError() == before;
    }
    if (!ok) *error = connection.LastError();
    return ok;
}

// One event path into the figures.
void addEvent(Events& e, const QString& path, int count, int summed, double sum)
{
    if (path == QLatin1String("hold")) {
        e.holds += count;
    } else if (path == QLatin1String("expire")) {
        e.expired += count;
    } else if (path == QLatin1String("cancel") || path == QLatin1String("manager")) {
        e.cancelled += count;
    } else if (path == QLatin1String("return")) {
        e.returned += count;
    } else if (path == QLatin1String("deposit") || path == QLatin1String("contract")) {
        Amount& a = path == QLatin1String("deposit") ? e.deposits : e.contracts;
        a.count += count;
        a.summed += summed;
        a.sum += sum;
    }
}

void addAmount(Amount& a, const Amount& b)
{
    a.count += b.count;
    a.summed += b.summed;
    a.sum += b.sum;
}

}  // namespace

void Events::Add(const Events& other)
{
    holds += other.holds;
    expired += other.expired;
    cancelled += other.cancelled;
    returned += other.returned;
    addAmount(deposits, other.deposits);
    addAmount(contracts, other.contracts);
}

void RangeAround(RangeKind kind, const QDate& day, QDate* from, QDate* to)
{
    switch (kind) {
        case RangeKind::Today:
            *from = *to = day;
            break;
        case RangeKind::ThisWeek:
            *from = day.addDays(1 - day.dayOfWeek());
            *to = from->addDays(6);
            break;
        case RangeKind::ThisMonth:
            *from = QDate(day.year(), day.month(), 1);
            *to = QDate(day.year(), day.month(), day.daysInMonth());
            break;
    }
}

QString StatusText(const QString& status)
{
    return status.isEmpty() ? QStringLiteral("（无状态）") : status;
}

QDateTime SalesFigures::RangeStart(const QDate& from)
{
    return QDateTime(from, QTime(0, 0), Qt::LocalTime).toUTC();
}

QDateTime SalesFigures::RangeEnd(const QDate& to)
{
    return QDateTime(to.addDays(1), QTime(0, 0), Qt::LocalTime).toUTC();
}

std::vector<Query> SalesFigures::Queries(bool server, const QDate& from, const QDate& to,
                                         const QString& statusCaption, const QString& priceCaption)
{
    const Dialect dialect{server};
    std::vector<Query> all{statusQuery(dialect, statusCaption)};
    for (const Query& q : eventQueries(dialect, from, to, priceCaption, dayBuckets(from, to)))
        all.push_back(q);
    if (!priceCaption.isEmpty()) all.push_back(notSummedQuery(dialect, from, to, priceCaption));
    return all;
}

void SalesFigures::clear()
{
    statusValues.clear();
    buildings.clear();
    total = BuildingFigures();
    total.building = QStringLiteral("合计");
    consultants.clear();
    days.clear();
    notSummed.clear();
    notSummedCount = 0;
    error_.clear();
}

bool SalesFigures::Compute(db::Connection& connection, const QDate& fromDay, const QDate& toDay,
                           const QString& price)
{
    clear();
    from = std::min(fromDay, toDay);
    to = std::max(fromDay, toDay);
    priceCaption = price;
    if (!connection.IsOpen()) {
        error_ = QStringLiteral("the connection is not open");
        return false;
    }
    return readStatusCaption(connection) && readStatuses(connection) && readEvents(connection) &&
           readNotSummed(connection);
}

bool SalesFigures::readStatusCaption(db::Connection& connection)
{
    // A catalogue without the setting (or without settings at all) uses the default caption.
    statusCaption = kDefaultStatusCaption;
    db::Statement statement;
    if (statement.Prepare(connection, QStringLiteral("Select Value From t_Setting Where Name = ?")) &&
        statement.Bind(1, QStringLiteral("StatusCaption")) && statement.Next()) {
        const QString value = statement.Column(0).toString().trimmed();
        if (!value.isEmpty()) statusCaption = value;
    }
    return true;
}

bool SalesFigures::readStatuses(db::Connection& connection)
{
    const Query q = statusQuery(Dialect{connection.IsServer()}, statusCaption);
    QMap<QString, QHash<QString, int>> byBuilding;  // sorted by building
    QHash<QString, int> overall;
    const bool ok = query(
        connection, q.sql, q.values,
        [&](const db::Statement& s) {
            const QString building = s.Column(0).toString();
            const QString status = s.Column(1).toString();
            const int count = s.Column(2).toInt();
            byBuilding[building][status] += count;
            overall[status] += count;
        },
        &error_);
    if (!ok) return false;
    statusValues = overall.keys();
    std::sort(statusValues.begin(), statusValues.end(), [&](const QString& a, const QString& b) {
        if (overall[a] != overall[b]) return overall[a] > overall[b];
        return a < b;
    });
    auto fill = [this](BuildingFigures& f, const QHash<QString, int>& counts) {
        for (const QString& status : statusValues) {
            f.statuses.push_back({status, counts.value(status)});
            f.units += counts.value(status);
        }
    };
    for (auto it = byBuilding.cbegin(); it != byBuilding.cend(); ++it) {
        BuildingFigures f;
        f.building = it.key();
        fill(f, it.value());
        buildings.push_back(f);
    }
    fill(total, overall);
    return true;
}

bool SalesFigures::readEvents(db::Connection& connection)
{
    const Dialect dialect{connection.IsServer()};
    const DayBuckets buckets = dayBuckets(from, to);
    const std::vector<Query> queries = eventQueries(dialect, from, to, priceCaption, buckets);
    auto grouped = [&](const Query& q,
                       const std::function<void(const QVariant&, const QString&, int, int, double)>& add) {
        return query(
            connection, q.sql, q.values,
            [&](const db::Statement& s) {
                add(s.Column(0), s.Column(1).toString(), s.Column(2).toInt(), s.Column(3).toInt(),
                    s.Column(4).toDouble());
            },
            &error_);
    };
    QMap<QString, Events> byBuilding;
    QMap<QString, Events> byConsultant;
    QMap<QDate, Events> byDay;
    Events all;
    const bool ok =
        grouped(queries[0],
                [&](const QVariant& k, const QString& path, int n, int summed, double sum) {
                    addEvent(byBuilding[k.toString()], path, n, summed, sum);
                    addEvent(all, path, n, summed, sum);
                }) &&
        grouped(queries[1],
                [&](const QVariant& k, const QString& path, int n, int summed, double sum) {
                    addEvent(byConsultant[k.toString()], path, n, summed, sum);
                }) &&
        grouped(queries[2], [&](const QVariant& k, const QString& path, int n, int summed, double sum) {
            const qint64 bucket = k.toLongLong();
            const QDate day =
                buckets.size == 86400
                    ? QDate(1970, 1, 1).addDays(bucket)
                    : QDateTime::fromSecsSinceEpoch(bucket * buckets.size, Qt::UTC).toLocalTime().date();
            addEvent(byDay[day], path, n, summed, sum);
        });
    if (!ok) return false;

    // Buildings that had events but no units now (deleted, or every house without a type) still
    // show what happened in them.
    for (auto it = byBuilding.cbegin(); it != byBuilding.cend(); ++it) {
        auto found = std::find_if(buildings.begin(), buildings.end(),
                                  [&](const BuildingFigures& f) { return f.building == it.key(); });
        if (found == buildings.end()) {
            BuildingFigures f;
            f.building = it.key();
            for (const QString& status : statusValues) f.statuses.push_back({status, 0});
            found = buildings.insert(std::lower_bound(buildings.begin(), buildings.end(), f,
                                                      [](const BuildingFigures& a, const BuildingFigures& b) {
                                                          return a.building < b.building;
                                                      }),
                                     f);
        }
        found->events = it.value();
    }
    total.events = all;
    for (auto it = byConsultant.cbegin(); it != byConsultant.cend(); ++it)
        consultants.push_back({it.key(), it.value()});
    for (QDate d = from; d <= to; d = d.addDays(1)) days.push_back({d, byDay.value(d)});
    notSummedCount = priceCaption.isEmpty() ? 0 : all.deposits.NotSummed() + all.contracts.NotSummed();
    return true;
}

bool SalesFigures::readNotSummed(db::Connection& connection)
{
    if (priceCaption.isEmpty() || notSummedCount == 0) return true;
    const Query q = notSummedQuery(Dialect{connection.IsServer()}, from, to, priceCaption);
    return query(
        connection, q.sql, q.values,
        [&](const db::Statement& s) {
            notSummed.push_back({s.Column(0).toString(), s.Column(1).toString(),
                                 s.Column(2).toString() == QLatin1String("deposit") ? QStringLiteral("认购")
                                                                                    : QStringLiteral("签约"),
                                 s.Column(3).toString()});
        },
        &error_);
}

}  // namespace report
