#pragma once

#include <QDate>
#include <QHash>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <vector>

namespace db {
class Connection;
}

// The figures of the sales report, without any widget: what the units' statuses are now, and what
// happened in a range of local calendar days (holds made, expired and cancelled, deposits and
// contracts with the sum of a price caption, returns), per building, per consultant and per day.
// Everything is read with a few aggregate statements, whatever the size of the catalogue or its
// history.
//
// Days: the range is local calendar days, from..to inclusive. The history's times are UTC, so the
// range is turned into the UTC instants of its first local midnight and of the local midnight after
// its last day, and each event falls on the local day of its own instant (an event at 23:59:59 local
// time belongs to that day, one a second later to the next), whatever the store's own time zone.
namespace report {

// A step with its price: how many units, how many of them had a price that is a number, and the sum
// of those.
struct Amount {
    int count = 0;
    int summed = 0;
    double sum = 0;
    int NotSummed() const { return count - summed; }
};

struct Events {
    int holds = 0;
    int expired = 0;
    int cancelled = 0;  // by the consultant, or released by a manager
    int returned = 0;
    Amount deposits;   // 认购
    Amount contracts;  // 签约
    void Add(const Events& other);
};

struct StatusCount {
    QString status;  // "" for the units without a status
    int count = 0;
};

struct BuildingFigures {
    QString building;
    int units = 0;
    std::vector<StatusCount> statuses;  // in the order of Figures::statusValues
    Events events;
};

struct ConsultantFigures {
    QString consultant;  // "" when the step named none
    Events events;
};

struct DayFigures {
    QDate day;
    Events events;
};

// A deposit or contract whose price was not a number: counted but not summed.
struct NotSummedUnit {
    QString building;
    QString houseNo;
    QString step;   // "认购" or "签约"
    QString value;  // as stored; "" when the unit had no such row
};

// Ready-made ranges around a day: the day itself, its week (Monday to Sunday) and its month.
enum class RangeKind { Today, ThisWeek, ThisMonth };
void RangeAround(RangeKind kind, const QDate& day, QDate* from, QDate* to);

// What each path of the history counts as, in the order of the report's columns.
QString StatusText(const QString& status);  // "（无状态）" for ""

// One statement of the report with its values, in the order of its "?" placeholders.
struct Query {
    QString sql;
    QVariantList values;
};

class SalesFigures {
public:
    // The statements Compute runs, in its order (the last only when a price caption is given): for
    // the benchmark's floor, which runs the same statements through the store's library alone.
    static std::vector<Query> Queries(bool server, const QDate& from, const QDate& to,
                                      const QString& statusCaption, const QString& priceCaption);

    // The most not-summed units listed; more are counted only.
    static constexpr int kMaxListed = 1000;

    // Reads the figures for the local days from..to (inclusive). priceCaption may be empty (no
    // amounts). False, with Error() saying why, when a statement failed.
    bool Compute(db::Connection& connection, const QDate& from, const QDate& to, const QString& priceCaption);
    QString Error() const { return error_; }

    QDate from;
    QDate to;
    QString statusCaption;
    QString priceCaption;
    QStringList statusValues;  // every status seen, most frequent first
    std::vector<BuildingFigures> buildings;
    BuildingFigures total;  // the whole catalogue
    std::vector<ConsultantFigures> consultants;
    std::vector<DayFigures> days;  // every day of the range, in order
    std::vector<NotSummedUnit> notSummed;
    int notSummedCount = 0;  // all of them, listed or not

    // The UTC instants the range covers, [start, end), as the history stores them.
    static QDateTime RangeStart(const QDate& from);
    static QDateTime RangeEnd(const QDate& to);

private:
    bool readStatusCaption(db::Connection& connection);
    bool readStatuses(db::Connection& connection);
    bool readEvents(db::Connection& connection);
    bool readNotSummed(db::Connection& connection);
    void placeBuildingEvents(const QMap<QString, Events>& byBuilding);
    QHash<qint64, QString> readConsultantNames(db::Connection& connection);
    void clear();
    QString error_;
    QHash<QString, QString> names_;  // building: folded name -> the spelling shown
};

}  // namespace report
