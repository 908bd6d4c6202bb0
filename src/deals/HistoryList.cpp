#include "deals/HistoryList.h"

#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "core/table/TableFile.h"
#include "deals/DealText.h"

namespace deals {

namespace {

db::Sql historySql(const HistoryScope& scope, qint64 before, int limit, bool withCustomers)
{
    db::Sql sql = QStringLiteral("Select Top ") + QString::number(limit) +
                  QStringLiteral(
                      " h.HistoryID, h.ChangedAt, a.HouseName, a.HouseNo, h.ChangedBy, h.Machine, "
                      "h.OldValue, h.NewValue, h.Reason, h.Path");
    sql += withCustomers ? QStringLiteral(", c.CustomerName") : QStringLiteral(", Null");
    sql += withCustomers
               ? QStringLiteral(
                     " From (t_History as h Left Join t_House as a On h.HouseID = a.HouseID)"
                     " Left Join t_Customer as c On h.CustomerID = c.CustomerID")
               : QStringLiteral(" From t_History as h Left Join t_House as a On h.HouseID = a.HouseID");
    db::Sql condition;
    if (scope.houseId > 0) {
        condition = QStringLiteral(" Where h.HouseID = ") + QString::number(scope.houseId);
    } else if (!scope.building.isEmpty()) {
        condition = QStringLiteral(" Where h.HouseID In (Select HouseID From t_House Where HouseName = ") +
                    db::Sql::Quoted(scope.building) + QStringLiteral(")");
    }
    if (before > 0)
        condition += (condition.IsEmpty() ? QStringLiteral(" Where ") : QStringLiteral(" And ")) +
                     QStringLiteral("h.HistoryID < ") + QString::number(before);
    sql += condition;
    sql += QStringLiteral(" Order By h.HistoryID Desc");
    return sql;
}

}  // namespace

bool ReadHistory(db::Connection& connection, const HistoryScope& scope, qint64 before, int limit,
                 bool withCustomers, std::vector<HistoryRow>* rows)
{
    db::Recordset rs;
    if (!connection.Execute(historySql(scope, before, limit, withCustomers), rs)) return false;
    for (; !rs.Eof(); rs.MoveNext()) {
        HistoryRow r;
        r.historyId = rs.Field(0).toLongLong();
        r.when = LocalTimeText(rs.Field(1));
        r.building = rs.Field(2).toString();
        r.room = rs.Field(3).toString();
        r.who = rs.Field(4).toString();
        r.machine = rs.Field(5).toString();
        r.oldValue = rs.Field(6).toString();
        r.newValue = rs.Field(7).toString();
        r.reason = rs.Field(8).toString();
        r.path = PathLabel(rs.Field(9).toString());
        r.customer = rs.Field(10).toString();
        rows->push_back(r);
    }
    rs.Close();
    return true;
}

QStringList HistoryTitles(bool withCustomers)
{
    QStringList titles{QStringLiteral("时间"),   QStringLiteral("楼宇名称"), QStringLiteral("房间号"),
                       QStringLiteral("操作人"), QStringLiteral("电脑"),     QStringLiteral("原状态"),
                       QStringLiteral("新状态")};
    if (withCustomers) titles << QStringLiteral("客户");
    titles << QStringLiteral("原因") << QStringLiteral("途径");
    return titles;
}

QStringList HistoryCells(const HistoryRow& r, bool withCustomers)
{
    QStringList cells{r.when, r.building, r.room, r.who, r.machine, r.oldValue, r.newValue};
    if (withCustomers) cells << r.customer;
    cells << r.reason << r.path;
    return cells;
}

int ExportHistory(db::Connection& connection, const HistoryScope& scope, bool withCustomers,
                  const QString& path, QString* error)
{
    table::Options options;
    options.sheetName = QStringLiteral("变更记录");
    const std::unique_ptr<table::Writer> writer = table::MakeWriter(path, options);
    if (!writer) {
        if (error) *error = QStringLiteral("变更记录只能保存为 .csv 或 .xlsx 文件。");
        return -1;
    }
    if (!writer->Header(HistoryTitles(withCustomers))) {
        if (error) *error = writer->error;
        return -1;
    }
    // Page by page, newest first, so that a history of millions of rows never sits in memory.
    constexpr int kPage = 5000;
    int count = 0;
    qint64 before = 0;
    for (;;) {
        std::vector<HistoryRow> page;
        if (!ReadHistory(connection, scope, before, kPage, withCustomers, &page)) {
            if (error) *error = connection.LastError();
            return -1;
        }
        for (const HistoryRow& r : page) {
            if (!writer->Row(HistoryCells(r, withCustomers))) {
                if (error) *error = writer->error;
                return -1;
            }
            ++count;
        }
        if (int(page.size()) < kPage) break;
        before = page.back().historyId;
    }
    if (!writer->Finish()) {
        if (error) *error = writer->error;
        return -1;
    }
    return count;
}

}  // namespace deals
