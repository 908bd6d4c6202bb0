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
    // A history time as UTC text cut after the hour ("2026-03-09 16") or, where the local offset is
    // not a whole number of hours, after the minute: cheap to make, and every local midnight falls
    // on such a boundary.
    QString TimeText(bool minutes) const
    {
        if (server)
            return QStringLiteral("to_char(h.ChangedAt At Time Zone 'UTC', '%1')")
                .arg(minutes ? QStringLiteral("YYYY-MM-DD HH24:MI") : QStringLiteral("YYYY-MM-DD HH24"));
        return QStringLiteral("substr(h.ChangedAt, 1, %1)").arg(minutes ? 16 : 13);
    }
    // Text compared byte by byte: grouping and matching codes without the case-insensitive
    // collation, which costs a call per comparison (case variants are merged afterwards).
    QString Binary(const QString& text) const
    {
        return text + (server ? QStringLiteral(" Collate \"C\"") : QStringLiteral(" Collate Binary"));
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

// Whether the range's local days start on whole UTC hours: true unless the local offset from UTC
// is not a whole number of hours at one of its midnights (India, Nepal ...), where the history is
// then counted by minutes. Each bucket goes to the local day of its own start, so a change to or
// from summer time inside the range is followed too.
bool minuteBuckets(const QDate& from, const QDate& to)
{
    for (QDate d = from; d <= to.addDays(1); d = d.addDays(1))
        if (QDateTime(d, QTime(0, 0), Qt::LocalTime).offsetFromUtc() % 3600 != 0) return true;
    return false;
}

Query statusQuery(const Dialect& dialect, const QString& statusCaption)
{
    // Every house of the catalogue (those with a type, as every list shows them) by building and by
    // the value of its first status row. The status rows are read in one pass through the caption's
    // index and numbered per house, instead of one lookup per house; the houses without one are
    // added by a second, cheap pass (a stray row without a house must not hide them all: Not In
    // meets no null).
    const QString firstRows = QStringLiteral(
        "(Select c.HouseID As H, c.Content As St, Row_Number() Over (Partition By c.HouseID"
        " Order By c.List, c.ContentID) As N From t_Content c Where c.Caption = ?)");
    return {QStringLiteral("Select S.B, S.St, Count(*) From (Select %1 As B, %2 As St"
                           " From %3 R, t_House a, t_HouseType b"
                           " Where R.N = 1 And a.HouseID = R.H And a.TypeID = b.TypeID"
                           " Union All Select %1, Null From t_House a, t_HouseType b"
                           " Where a.TypeID = b.TypeID And a.HouseID Not In"
                           " (Select c.HouseID From t_Content c Where c.Caption = ? And c.HouseID Is Not "
                           "Null)) S Group By S.B, S.St")
                .arg(dialect.Binary(QStringLiteral("a.HouseName")), dialect.Binary(QStringLiteral("R.St")),
                     firstRows),
            {statusCaption, statusCaption}};
}

// The events of the range by hour (or minute) and path. Nearly every change has an hour and house
// of its own, so counting per house first would only add a sort: each change is read once, and a
// deposit's or contract's price is looked up for it.
Query dayQuery(const Dialect& dialect, const QDate& from, const QDate& to, const QString& priceCaption,
               bool minutes)
{
    const QString priceText =
        priceCaption.isEmpty()
            ? QStringLiteral("Cast(Null As Text)")
            : QStringLiteral("Replace(Trim(%1), ',', '')").arg(dialect.FirstRow(QStringLiteral("h.HouseID")));
    const QString sql = QStringLiteral(
                            "Select E.K, E.Path, Count(*), Sum(Case When %1 Then 1 Else 0 End),"
                            " Sum(Case When %1 Then Cast(E.P As Double Precision) Else 0 End)"
                            " From (Select %2 As K, %3 As Path,"
                            " Case When %3 In ('deposit', 'contract') Then %4 End As P"
                            " From t_History h Where h.ChangedAt >= %5 And h.ChangedAt < %5 And %3 In %6%7) E"
                            " Group By E.K, E.Path")
                            .arg(dialect.IsNumber(QStringLiteral("E.P")), dialect.TimeText(minutes),
                                 dialect.Binary(QStringLiteral("h.Path")), priceText, dialect.Instant(),
                                 kCountedPaths, dialect.Fence());
    QVariantList values;
    if (!priceCaption.isEmpty()) values << priceCaption;
    values << dialect.InstantValue(SalesFigures::RangeStart(from))
           << dialect.InstantValue(SalesFigures::RangeEnd(to));
    return {sql, values};
}

// The events of the range, each with its key (a building or a consultant) and, for a deposit
// or a contract, the house's price text; grouped by the key and the path. The history of the range
// is first counted per house (and per deal or hour where the key needs it) through its time index,
// so that the house's price and name are looked up once per group rather than once per change.
std::vector<Query> eventQueries(const Dialect& dialect, const QDate& from, const QDate& to,
                                const QString& priceCaption, bool minutes)
{
    const QString priceText =
        priceCaption.isEmpty()
            ? QStringLiteral("Cast(Null As Text)")
            : QStringLiteral("Replace(Trim(%1), ',', '')").arg(dialect.FirstRow(QStringLiteral("H.HouseID")));
    const QString path = dialect.Binary(QStringLiteral("h.Path"));
    // The keys and paths are grouped byte by byte: the collations given inside the subquery hold
    // for its columns.
    auto grouped = [&](const QString& key, const QString& extra, const QString& joins) {
        const QString counted =
            QStringLiteral(
                "(Select h.HouseID As HouseID%1, %2 As Path, Count(*) As C From t_History h"
                " Where h.ChangedAt >= %3 And h.ChangedAt < %3 And %2 In %4"
                " Group By h.HouseID%5, %2)")
                .arg(extra.isEmpty() ? QString() : QStringLiteral(", ") + extra + QStringLiteral(" As X"),
                     path, dialect.Instant(), kCountedPaths,
                     extra.isEmpty() ? QString() : QStringLiteral(", ") + extra);
        const QString sql = QStringLiteral(
                                "Select E.K, E.Path, Cast(Sum(E.C) As Bigint),"
                                " Cast(Sum(Case When %1 Then E.C Else 0 End) As Bigint),"
                                " Sum(Case When %1 Then E.C * Cast(E.P As Double Precision) Else 0 End)"
                                " From (Select %2 As K, H.Path As Path, H.C As C,"
                                " Case When H.Path In ('deposit', 'contract') Then %3 End As P"
                                " From %4 H%5%6) E"
                                " Group By E.K, E.Path")
                                .arg(dialect.IsNumber(QStringLiteral("E.P")), key, priceText, counted, joins,
                                     dialect.Fence());
        QVariantList values;
        if (!priceCaption.isEmpty()) values << priceCaption;
        values << dialect.InstantValue(SalesFigures::RangeStart(from))
               << dialect.InstantValue(SalesFigures::RangeEnd(to));
        return Query{sql, values};
    };
    return {grouped(dialect.Binary(QStringLiteral("Coalesce(a.HouseName, '')")), QString(),
                    QStringLiteral(" Left Join t_House a On a.HouseID = H.HouseID")),
            grouped(QStringLiteral("Coalesce(d.ConsultantID, 0)"), QStringLiteral("h.DealID"),
                    QStringLiteral(" Left Join t_Deal d On d.DealID = H.X")),
            dayQuery(dialect, from, to, priceCaption, minutes)};
}

// The deposits and contracts of the range whose price is not a number (the first found).
Query notSummedQuery(const Dialect& dialect, const QDate& from, const QDate& to, const QString& priceCaption)
{
    return {
        QStringLiteral("Select E.B, E.N, E.Path, E.Raw From (Select Coalesce(a.HouseName, '') As B,"
                       " Coalesce(a.HouseNo, '') As N, h.Path As Path, h.HistoryID As I, %1 As Raw"
                       " From t_History h Left Join t_House a On a.HouseID = h.HouseID"
                       " Where h.ChangedAt >= %2 And h.ChangedAt < %2 And %3 In ('deposit', 'contract')%4) E"
                       " Where Not %5 Limit %6")
            .arg(dialect.FirstRow(QStringLiteral("h.HouseID")), dialect.Instant(),
                 dialect.Binary(QStringLiteral("h.Path")), dialect.Fence(),
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
    for (const Query& q : eventQueries(dialect, from, to, priceCaption, minuteBuckets(from, to)))
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
    names_.clear();
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
    // Buildings are grouped byte by byte and merged here without regard to case, as the catalogue
    // compares them; the first spelling met names the building.
    QMap<QString, QHash<QString, int>> byBuilding;  // by folded name
    QHash<QString, int> overall;
    const bool ok = query(
        connection, q.sql, q.values,
        [&](const db::Statement& s) {
            const QString building = s.Column(0).toString();
            const QString status = s.Column(1).toString();
            const int count = s.Column(2).toInt();
            const QString key = building.toCaseFolded();
            if (!names_.contains(key)) names_.insert(key, building);
            byBuilding[key][status] += count;
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
        f.building = names_.value(it.key());
        fill(f, it.value());
        buildings.push_back(f);
    }
    fill(total, overall);
    return true;
}

bool SalesFigures::readEvents(db::Connection& connection)
{
    const bool minutes = minuteBuckets(from, to);
    const std::vector<Query> queries =
        eventQueries(Dialect{connection.IsServer()}, from, to, priceCaption, minutes);
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
    QMap<QString, Events> byBuilding;  // by folded name
    QMap<qint64, Events> byConsultant;
    QMap<QDate, Events> byDay;
    Events all;
    const QString timeFormat = minutes ? QStringLiteral("yyyy-MM-dd HH:mm") : QStringLiteral("yyyy-MM-dd HH");
    const bool ok =
        grouped(queries[0],
                [&](const QVariant& k, const QString& path, int n, int summed, double sum) {
                    const QString key = k.toString().toCaseFolded();
                    if (!names_.contains(key)) names_.insert(key, k.toString());
                    addEvent(byBuilding[key], path, n, summed, sum);
                    addEvent(all, path, n, summed, sum);
                }) &&
        grouped(queries[1],
                [&](const QVariant& k, const QString& path, int n, int summed, double sum) {
                    addEvent(byConsultant[k.toLongLong()], path, n, summed, sum);
                }) &&
        grouped(queries[2], [&](const QVariant& k, const QString& path, int n, int summed, double sum) {
            // The bucket's start, a UTC time, on the local calendar.
            QDateTime start = QDateTime::fromString(k.toString(), timeFormat);
            start.setTimeSpec(Qt::UTC);
            addEvent(byDay[start.toLocalTime().date()], path, n, summed, sum);
        });
    if (!ok) return false;
    placeBuildingEvents(byBuilding);
    total.events = all;
    const QHash<qint64, QString> consultantNames = readConsultantNames(connection);
    QMap<QString, Events> named;  // by name, so that the list is in order
    for (auto it = byConsultant.cbegin(); it != byConsultant.cend(); ++it)
        named[consultantNames.value(it.key())].Add(it.value());
    for (auto it = named.cbegin(); it != named.cend(); ++it) consultants.push_back({it.key(), it.value()});
    for (QDate d = from; d <= to; d = d.addDays(1)) days.push_back({d, byDay.value(d)});
    notSummedCount = priceCaption.isEmpty() ? 0 : all.deposits.NotSummed() + all.contracts.NotSummed();
    return true;
}

void SalesFigures::placeBuildingEvents(const QMap<QString, Events>& byBuilding)
{
    // Buildings that had events but no units now (deleted, or every house without a type) still
    // show what happened in them.
    for (auto it = byBuilding.cbegin(); it != byBuilding.cend(); ++it) {
        const QString name = names_.value(it.key());
        auto found = std::find_if(buildings.begin(), buildings.end(),
                                  [&](const BuildingFigures& f) { return f.building == name; });
        if (found == buildings.end()) {
            BuildingFigures f;
            f.building = name;
            for (const QString& status : statusValues) f.statuses.push_back({status, 0});
            found = buildings.insert(std::lower_bound(buildings.begin(), buildings.end(), f,
                                                      [](const BuildingFigures& a, const BuildingFigures& b) {
                                                          return a.building.toCaseFolded() <
                                                                 b.building.toCaseFolded();
                                                      }),
                                     f);
        }
        found->events = it.value();
    }
}

QHash<qint64, QString> SalesFigures::readConsultantNames(db::Connection& connection)
{
    // A deal without a consultant, or one whose consultant is gone, counts under "".
    QHash<qint64, QString> names;
    QString ignored;
    query(
        connection, QStringLiteral("Select ConsultantID, ConsultantName From t_Consultant"), {},
        [&](const db::Statement& s) { names.insert(s.Column(0).toLongLong(), s.Column(1).toString()); },
        &ignored);
    return names;
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
