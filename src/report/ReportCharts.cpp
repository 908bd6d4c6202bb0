#include "report/ReportCharts.h"

#include <QBarCategoryAxis>
#include <QBarSeries>
#include <QBarSet>
#include <QChart>
#include <QFont>
#include <QLegend>
#include <QStackedBarSeries>
#include <QValueAxis>
#include <algorithm>

#include "report/SalesFigures.h"
#include "sales/SalesBoard.h"

namespace report {

namespace {

constexpr int kMostBuildings = 30;
constexpr int kMostDays = 62;

void finish(QChart* chart, const QString& title, const QFont& font)
{
    QFont titleFont = font;
    titleFont.setBold(true);
    chart->setTitle(title);
    chart->setTitleFont(titleFont);
    chart->legend()->setFont(font);
    chart->legend()->setAlignment(Qt::AlignBottom);
    chart->setAnimationOptions(QChart::NoAnimation);
    chart->setBackgroundRoundness(0);
    for (QAbstractAxis* axis : chart->axes()) {
        axis->setLabelsFont(font);
        axis->setTitleFont(font);
    }
}

QValueAxis* countAxis(int most)
{
    auto* axis = new QValueAxis;
    axis->setLabelFormat(QStringLiteral("%d"));
    axis->setRange(0, std::max(1, most));
    axis->setTickCount(std::min(std::max(2, most + 1), 6));
    axis->applyNiceNumbers();
    return axis;
}

}  // namespace

QChart* StatusChart(const SalesFigures& figures, const QFont& font)
{
    auto* chart = new QChart;
    auto* series = new QStackedBarSeries;
    QStringList categories;
    std::vector<const BuildingFigures*> shown;
    for (const BuildingFigures& b : figures.buildings)
        if (b.units > 0 && int(shown.size()) < kMostBuildings) shown.push_back(&b);
    for (const BuildingFigures* b : shown)
        categories << (b->building.isEmpty() ? QStringLiteral("（无楼宇）") : b->building);
    int most = 0;
    for (const BuildingFigures* b : shown) most = std::max(most, b->units);
    // The board's colours, so that a status looks the same on the board and in the report.
    const QHash<QString, QColor> colours = sales::StatusColours(figures.statusValues);
    for (int s = 0; s < figures.statusValues.size(); ++s) {
        const QString& value = figures.statusValues[s];
        const QColor colour = colours.value(value.trimmed(), sales::StatusColour(value));
        auto* set = new QBarSet(StatusText(value));
        set->setColor(colour);
        set->setBorderColor(colour.darker(130));
        for (const BuildingFigures* b : shown) *set << b->statuses[size_t(s)].count;
        series->append(set);
    }
    chart->addSeries(series);
    auto* axisX = new QBarCategoryAxis;
    axisX->append(categories);
    chart->addAxis(axisX, Qt::AlignBottom);
    series->attachAxis(axisX);
    QValueAxis* axisY = countAxis(most);
    chart->addAxis(axisY, Qt::AlignLeft);
    series->attachAxis(axisY);
    QString title = QStringLiteral("各楼宇现状（套）");
    if (int(figures.buildings.size()) > kMostBuildings)
        title += QStringLiteral("，前 %1 栋").arg(kMostBuildings);
    finish(chart, title, font);
    return chart;
}

QChart* DailyChart(const SalesFigures& figures, const QFont& font)
{
    auto* chart = new QChart;
    // A long range is drawn by weeks (from the range's first day), so that the bars stay readable.
    const bool weekly = int(figures.days.size()) > kMostDays;
    const int step = weekly ? 7 : 1;
    auto* deposits = new QBarSet(QStringLiteral("认购"));
    auto* contracts = new QBarSet(QStringLiteral("签约"));
    deposits->setColor(QColor(0xfb, 0x8c, 0x00));
    contracts->setColor(QColor(0xe5, 0x39, 0x35));
    QStringList categories;
    int most = 0;
    for (size_t i = 0; i < figures.days.size(); i += size_t(step)) {
        int d = 0;
        int c = 0;
        for (size_t j = i; j < std::min(figures.days.size(), i + size_t(step)); ++j) {
            d += figures.days[j].events.deposits.count;
            c += figures.days[j].events.contracts.count;
        }
        *deposits << d;
        *contracts << c;
        most = std::max(most, std::max(d, c));
        categories << figures.days[i].day.toString(QStringLiteral("MM-dd"));
    }
    auto* series = new QBarSeries;
    series->append(deposits);
    series->append(contracts);
    chart->addSeries(series);
    auto* axisX = new QBarCategoryAxis;
    axisX->append(categories);
    if (categories.size() > 16) axisX->setLabelsAngle(-90);
    chart->addAxis(axisX, Qt::AlignBottom);
    series->attachAxis(axisX);
    QValueAxis* axisY = countAxis(most);
    chart->addAxis(axisY, Qt::AlignLeft);
    series->attachAxis(axisY);
    finish(chart, weekly ? QStringLiteral("每周认购与签约（套）") : QStringLiteral("每日认购与签约（套）"),
           font);
    return chart;
}

}  // namespace report
