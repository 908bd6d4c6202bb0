#include "report/ReportTables.h"

#include <QLocale>
#include <cmath>

namespace report {

namespace {

QString consultantText(const QString& name)
{
    return name.isEmpty() ? QStringLiteral("（未指定）") : name;
}

QString buildingText(const QString& name)
{
    return name.isEmpty() ? QStringLiteral("（无楼宇）") : name;
}

// The event columns every per-key table has, after its key.
QStringList eventHeaders()
{
    return {QStringLiteral("预留"),     QStringLiteral("到期释放"),   QStringLiteral("取消预留"),
            QStringLiteral("认购套数"), QStringLiteral("认购金额"),   QStringLiteral("签约套数"),
            QStringLiteral("签约金额"), QStringLiteral("未计入金额"), QStringLiteral("退房")};
}

QVariantList eventCells(const Events& e)
{
    return {
        e.holds,        e.expired,         e.cancelled,     e.deposits.count,
        e.deposits.sum, e.contracts.count, e.contracts.sum, e.deposits.NotSummed() + e.contracts.NotSummed(),
        e.returned};
}

std::vector<bool> amountColumns(int keyColumns)
{
    std::vector<bool> amounts(size_t(keyColumns), false);
    for (const QString& h : eventHeaders()) amounts.push_back(h.endsWith(QStringLiteral("金额")));
    return amounts;
}

Table statusTable(const SalesFigures& f)
{
    Table t;
    t.name = QStringLiteral("现状");
    t.headers << QStringLiteral("楼宇") << QStringLiteral("套数");
    for (const QString& s : f.statusValues) t.headers << StatusText(s);
    t.amounts.assign(size_t(t.headers.size()), false);
    auto row = [](const BuildingFigures& b) {
        QVariantList cells{buildingText(b.building), b.units};
        for (const StatusCount& s : b.statuses) cells << s.count;
        return cells;
    };
    for (const BuildingFigures& b : f.buildings)
        if (b.units > 0) t.rows.push_back(row(b));
    QVariantList all = row(f.total);
    all[0] = QStringLiteral("合计");
    t.rows.push_back(all);
    return t;
}

Table buildingTable(const SalesFigures& f)
{
    Table t;
    t.name = QStringLiteral("按楼宇");
    t.headers << QStringLiteral("楼宇") << eventHeaders();
    t.amounts = amountColumns(1);
    for (const BuildingFigures& b : f.buildings)
        t.rows.push_back(QVariantList{buildingText(b.building)} + eventCells(b.events));
    t.rows.push_back(QVariantList{QStringLiteral("合计")} + eventCells(f.total.events));
    return t;
}

Table consultantTable(const SalesFigures& f)
{
    Table t;
    t.name = QStringLiteral("按置业顾问");
    t.headers << QStringLiteral("置业顾问") << eventHeaders();
    t.amounts = amountColumns(1);
    for (const ConsultantFigures& c : f.consultants)
        t.rows.push_back(QVariantList{consultantText(c.consultant)} + eventCells(c.events));
    t.rows.push_back(QVariantList{QStringLiteral("合计")} + eventCells(f.total.events));
    return t;
}

Table dayTable(const SalesFigures& f)
{
    Table t;
    t.name = QStringLiteral("每日");
    t.headers << QStringLiteral("日期") << eventHeaders();
    t.amounts = amountColumns(1);
    for (const DayFigures& d : f.days)
        t.rows.push_back(QVariantList{d.day.toString(QStringLiteral("yyyy-MM-dd"))} + eventCells(d.events));
    return t;
}

Table notSummedTable(const SalesFigures& f)
{
    Table t;
    t.name = QStringLiteral("未计入金额");
    t.headers << QStringLiteral("楼宇") << QStringLiteral("房间号") << QStringLiteral("步骤")
              << (f.priceCaption.isEmpty() ? QStringLiteral("价格项") : f.priceCaption);
    t.amounts.assign(4, false);
    for (const NotSummedUnit& u : f.notSummed)
        t.rows.push_back({buildingText(u.building), u.houseNo, u.step,
                          u.value.isEmpty() ? QStringLiteral("（无）") : u.value});
    return t;
}

}  // namespace

std::vector<Table> Tables(const SalesFigures& figures)
{
    return {statusTable(figures), buildingTable(figures), consultantTable(figures), dayTable(figures),
            notSummedTable(figures)};
}

QString AmountText(double value)
{
    const QLocale locale(QLocale::English);
    const bool cents = std::fabs(value - std::round(value)) >= 0.005;
    QString text = locale.toString(value, 'f', cents ? 2 : 0);
    return text;
}

QString CellText(const QVariant& value, bool amount)
{
    if (amount) return AmountText(value.toDouble());
    if (value.typeId() == QMetaType::Int || value.typeId() == QMetaType::LongLong)
        return QLocale(QLocale::English).toString(value.toLongLong());
    return value.toString();
}

QString RangeText(const SalesFigures& figures)
{
    const QString from = figures.from.toString(QStringLiteral("yyyy-MM-dd"));
    if (figures.from == figures.to) return from;
    return from + QStringLiteral(" 至 ") + figures.to.toString(QStringLiteral("yyyy-MM-dd"));
}

QString Summary(const SalesFigures& figures)
{
    const Events& e = figures.total.events;
    auto amount = [&](const Amount& a) {
        if (figures.priceCaption.isEmpty()) return QString::number(a.count) + QStringLiteral(" 套");
        return QStringLiteral("%1 套，金额 %2").arg(a.count).arg(AmountText(a.sum));
    };
    QString text =
        QStringLiteral("%1：预留 %2 套，到期释放 %3 套，取消预留 %4 套；认购 %5；签约 %6；退房 %7 套。")
            .arg(RangeText(figures))
            .arg(e.holds)
            .arg(e.expired)
            .arg(e.cancelled)
            .arg(amount(e.deposits), amount(e.contracts))
            .arg(e.returned);
    if (figures.notSummedCount > 0)
        text += QStringLiteral("另有 %1 套的%2不是数字，未计入金额。")
                    .arg(figures.notSummedCount)
                    .arg(figures.priceCaption);
    return text;
}

}  // namespace report
