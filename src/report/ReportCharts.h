#pragma once

class QChart;
class QFont;

namespace report {

class SalesFigures;

// The report's two charts, for the window and the PDF alike. The caller owns the chart.
// Units by status now, one stacked bar per building, coloured as the board colours the statuses.
QChart* StatusChart(const SalesFigures& figures, const QFont& font);
// Deposits and contracts per day of the range (by week when the range is longer than 62 days).
QChart* DailyChart(const SalesFigures& figures, const QFont& font);

}  // namespace report
