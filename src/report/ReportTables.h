#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>
#include <vector>

#include "report/SalesFigures.h"

// The report's figures as tables, the same for the window, the workbook and the PDF: a cell is a
// whole number, an amount (a double) or a text, and each shows it the same way.
namespace report {

struct Table {
    QString name;  // the tab, the workbook's sheet, the PDF's heading
    QStringList headers;
    std::vector<QVariantList> rows;
    std::vector<bool> amounts;  // per column: a sum of prices (shown with two decimals when it has any)
};

// 现状 (units by status now, per building), 按楼宇, 按置业顾问, 每日, 未计入金额.
std::vector<Table> Tables(const SalesFigures& figures);

// A cell as shown: numbers with thousands separators, amounts with two decimals when they have cents.
QString CellText(const QVariant& value, bool amount);
// "1,280,000" / "1,280,000.50".
QString AmountText(double value);

// One line of the whole: "认购 3 套 ¥3,840,000，签约 2 套 …" for the window's summary and the PDF.
QString Summary(const SalesFigures& figures);
// "2026-03-01 至 2026-03-31" (one day: "2026-03-09").
QString RangeText(const SalesFigures& figures);

}  // namespace report
