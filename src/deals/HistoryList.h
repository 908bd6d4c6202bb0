#pragma once

#include <QString>
#include <QStringList>
#include <vector>

namespace db {
class Connection;
}

// The change history of the units' status rows, read a page at a time (newest first) so that a
// unit, a building or the whole catalogue shows at once however many rows the history holds.
namespace deals {

struct HistoryScope {
    qint32 houseId = 0;  // one unit, or
    QString building;    // one building; neither: the whole catalogue
};

struct HistoryRow {
    qint64 historyId = 0;
    QString when;  // local time
    QString building;
    QString room;
    QString who;
    QString machine;
    QString oldValue;
    QString newValue;
    QString customer;
    QString reason;
    QString path;  // the label, not the code
};

// Up to `limit` rows of the scope older than `before` (0: from the newest). The customer's name is
// read only with `withCustomers` (a login that may not read customers would have the whole read
// refused). False when the read failed.
bool ReadHistory(db::Connection& connection, const HistoryScope& scope, qint64 before, int limit,
                 bool withCustomers, std::vector<HistoryRow>* rows);

// The exported file's column titles and one row's cells, in that order.
QStringList HistoryTitles(bool withCustomers);
QStringList HistoryCells(const HistoryRow& row, bool withCustomers);

// Writes the whole scope as CSV or XLSX (by the name's extension), cells safe from formulas.
// Returns the number of rows written, or -1 with *error set.
int ExportHistory(db::Connection& connection, const HistoryScope& scope, bool withCustomers,
                  const QString& path, QString* error);

}  // namespace deals
