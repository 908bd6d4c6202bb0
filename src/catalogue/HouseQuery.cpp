#include "catalogue/HouseQuery.h"

namespace catalogue {

QString AllHousesSql()
{
    return QStringLiteral("Select a.HouseID, a.HouseName, b.HouseType, a.HouseNo, a.Intro ,a.TypeID") +
           QStringLiteral(" From t_House as a, t_HouseType as b") +
           QStringLiteral(" Where a.TypeID = b.TypeID") + QStringLiteral(" Order By a.HouseName,a.TypeID");
}

db::Sql BuildHouseQuery(const HouseCriteria& c)
{
    using db::Sql;
    // The blanks (two after the last comma, two at the end) are part of the statement as it has
    // always been sent; they are kept so the text stays comparable.
    Sql sql =
        QStringLiteral("Select Distinct a.HouseID, a.HouseName, b.HouseType, a.HouseNo, a.Intro ,  a.TypeID");
    if (c.caption.isEmpty())
        sql += QStringLiteral(" From t_House as a, t_HouseType as b");
    else
        sql += QStringLiteral(", c.Content From t_House as a, t_HouseType as b, t_Content as c");
    sql += QStringLiteral(" Where a.TypeID = b.TypeID");
    if (!c.houseName.isEmpty())
        sql += QStringLiteral(" And a.HouseName Like '%") + Sql::Value(c.houseName) + QStringLiteral("%'");
    if (!c.houseType.isEmpty())
        sql += QStringLiteral(" And b.HouseType = '") + Sql::Value(c.houseType) + QStringLiteral("'");
    if (!c.houseFloor.isEmpty()) sql += QStringLiteral(" And a.HouseFloor=") + Sql::Value(c.houseFloor);
    if (!c.houseNo.isEmpty())
        sql += QStringLiteral(" And a.HouseNo = '") + Sql::Value(c.houseNo) + QStringLiteral("'");
    if (!c.caption.isEmpty()) {
        sql += QStringLiteral(" And c.Caption = '") + Sql::Value(c.caption) + QStringLiteral("'") +
               QStringLiteral(" And c.Content Like '%") + Sql::Value(c.content) + QStringLiteral("%'") +
               QStringLiteral(" And a.HouseID = c.HouseID");
    }
    sql += QStringLiteral(" Order By a.housename,a.TypeID  ");
    return sql;
}

QString HouseNamesSql()
{
    return QStringLiteral("Select Distinct HouseName From t_House Order By HouseName");
}

QString HouseTypesSql()
{
    return QStringLiteral("Select HouseType From t_HouseType Order By List");
}

QString HouseNumbersSql()
{
    return QStringLiteral("Select Distinct HouseNo From t_House Order By HouseNo");
}

QString CaptionsSql()
{
    return QStringLiteral("Select Distinct Caption From t_Content Order By Caption");
}

QString ContentsSql()
{
    return QStringLiteral("Select Distinct Content From t_Content Order By Content");
}

QString CountHousesSql()
{
    return QStringLiteral("Select Count(*) as a From t_House");
}

QString DeleteHouseSql(qint32 houseId)
{
    return QStringLiteral("Delete From t_House Where HouseID = ") + QString::number(houseId);
}

QString DeleteContentSql(qint32 houseId)
{
    return QStringLiteral("Delete From t_Content Where HouseID = ") + QString::number(houseId);
}

QString SelectImageFilesSql(qint32 houseId)
{
    return QStringLiteral("Select ImageFile From t_Image Where HouseID = ") + QString::number(houseId);
}

QString DeleteImageSql(qint32 houseId)
{
    return QStringLiteral("Delete From t_Image Where HouseID = ") + QString::number(houseId);
}

}  // namespace catalogue
