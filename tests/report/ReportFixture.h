#pragma once

// What the sales report's tests share: a small catalogue with a history written straight into the
// store (times in UTC, as the triggers write them), on House.db or the test server alike. The tests
// run in China's time zone (UTC+8, no summer time), so a local day starts at 16:00 UTC the day
// before.

#include <QString>

#include "Seed.h"
#include "TestSupport.h"

namespace reporttest {

inline bool Exec(const testsupport::ProgramFolder& f, const QString& sql)
{
    const bool ok = f.Exec(sql);
    if (!ok) qWarning("statement failed: %s", qPrintable(sql));
    return ok;
}

// A UTC time as the store keeps it: text on House.db, timestamptz on the server.
inline QString Utc(const testsupport::ProgramFolder& f, const QString& text)
{
    return QStringLiteral("'") + text + (f.ServerUri().isEmpty() ? QString() : QStringLiteral("+00")) +
           QStringLiteral("'");
}

inline bool AddDeal(const testsupport::ProgramFolder& f, int dealId, int houseId, int consultantId,
                    const QString& stage)
{
    return Exec(
        f, QStringLiteral("Insert Into t_Deal (DealID, HouseID, ConsultantID, Stage, Active, Extensions) "
                          "Values (%1, %2, %3, '%4', Null, 0)")
               .arg(dealId)
               .arg(houseId)
               .arg(consultantId)
               .arg(stage));
}

// One history row: a status change of a house by a deal step (dealId 0: none) at a UTC time.
inline bool AddHistory(const testsupport::ProgramFolder& f, int houseId, int dealId, const QString& path,
                       const QString& utc, const QString& oldValue, const QString& newValue)
{
    return Exec(
        f, QStringLiteral("Insert Into t_History (HouseID, ChangedAt, ChangedBy, Machine, OldValue, "
                          "NewValue, DealID, Path) Values (%1, %2, 'tester', 'pc1', '%3', '%4', %5, '%6')")
               .arg(houseId)
               .arg(Utc(f, utc), oldValue, newValue,
                    dealId ? QString::number(dealId) : QStringLiteral("Null"), path));
}

// Three buildings: 翠湖苑一号楼 (houses 1-4), 翠湖苑二号楼 (5, 6, and 7 whose type row is missing),
// and one named like a formula (8). Statuses under 状态, prices under 总价 (one of them 面议).
inline void FillCatalogue(const testsupport::ProgramFolder& f)
{
    using testsupport::AddContentRow;
    using testsupport::AddHouse;
    Exec(f, QStringLiteral("Insert Into t_HouseType (TypeID, List, HouseType, MusicTitle, MusicFile) Values "
                           "(1, 1, '三室两厅', '', '')"));
    const QString a = QStringLiteral("翠湖苑一号楼");
    const QString b = QStringLiteral("翠湖苑二号楼");
    struct H {
        int id;
        QString building;
        QString status;
        QString price;
        int type;
    };
    const H houses[] = {
        {1, a, QStringLiteral("在售"), QStringLiteral("1,000,000"), 1},
        {2, a, QStringLiteral("已认购"), QStringLiteral("1200000"), 1},
        {3, a, QStringLiteral("已售"), QStringLiteral(" 980000.50 "), 1},
        {4, a, QString(), QString(), 1},
        {5, b, QStringLiteral("已售"), QStringLiteral("面议"), 1},
        {6, b, QStringLiteral("在售"), QStringLiteral("900000"), 1},
        {7, b, QStringLiteral("已售"), QStringLiteral("800000"), 99},
        {8, QStringLiteral("=SUM(1,2)"), QStringLiteral("在售"), QStringLiteral("700000"), 1}};
    for (const H& h : houses) {
        AddHouse(f, h.id, h.building, QString::number(100 + h.id), QVariant(1), h.type);
        if (!h.status.isEmpty()) AddContentRow(f, h.id, QStringLiteral("状态"), h.status, 1);
        if (!h.price.isEmpty()) AddContentRow(f, h.id, QStringLiteral("总价"), h.price, 2);
    }
    Exec(f, QStringLiteral(
                "Insert Into t_Consultant (ConsultantID, ConsultantName, Active) Values (1, '张三', 1)"));
    Exec(f, QStringLiteral(
                "Insert Into t_Consultant (ConsultantID, ConsultantName, Active) Values (2, '李四', 1)"));
    AddDeal(f, 1, 2, 1, QStringLiteral("deposit"));
    AddDeal(f, 2, 3, 2, QStringLiteral("contract"));
    AddDeal(f, 3, 5, 1, QStringLiteral("contract"));
    AddDeal(f, 4, 6, 2, QStringLiteral("expired"));
    AddDeal(f, 5, 1, 1, QStringLiteral("cancelled"));
    // Local (UTC+8) times in the comments.
    AddHistory(f, 2, 1, QStringLiteral("hold"), QStringLiteral("2026-03-08 02:00:00"), "在售",
               "预留");  // 03-08 10:00
    AddHistory(f, 2, 1, QStringLiteral("deposit"), QStringLiteral("2026-03-09 15:59:59"), "预留",
               "已认购");  // 03-09 23:59:59
    AddHistory(f, 3, 2, QStringLiteral("hold"), QStringLiteral("2026-03-09 01:00:00"), "在售",
               "预留");  // 03-09 09:00
    AddHistory(f, 3, 2, QStringLiteral("contract"), QStringLiteral("2026-03-09 16:00:00"), "已认购",
               "已售");  // 03-10 00:00:00
    AddHistory(f, 5, 3, QStringLiteral("contract"), QStringLiteral("2026-03-10 03:00:00"), "已认购",
               "已售");  // 03-10 11:00
    AddHistory(f, 6, 4, QStringLiteral("hold"), QStringLiteral("2026-03-08 23:00:00"), "在售",
               "预留");  // 03-09 07:00
    AddHistory(f, 6, 4, QStringLiteral("expire"), QStringLiteral("2026-03-10 01:00:00"), "预留",
               "在售");  // 03-10 09:00
    AddHistory(f, 1, 0, QStringLiteral("sql"), QStringLiteral("2026-03-09 05:00:00"), "",
               "在售");  // not a step
    AddHistory(f, 1, 5, QStringLiteral("hold"), QStringLiteral("2026-03-09 05:30:00"), "在售", "预留");
    AddHistory(f, 1, 5, QStringLiteral("cancel"), QStringLiteral("2026-03-09 06:00:00"), "预留", "在售");
    AddHistory(f, 3, 2, QStringLiteral("deposit"), QStringLiteral("2026-02-28 16:00:00"), "预留",
               "已认购");  // 03-01 00:00:00
    AddHistory(f, 2, 1, QStringLiteral("deposit"), QStringLiteral("2026-02-28 15:59:59"), "预留",
               "已认购");  // 02-28 23:59:59
}

}  // namespace reporttest
