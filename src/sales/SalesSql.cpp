#include "sales/SalesSql.h"

namespace sales {

using db::Sql;

namespace {
Sql quoted(const QString& value)
{
    return Sql::Quoted(value);
}
}  // namespace

QString BuildingsSql()
{
    return QStringLiteral("Select Distinct HouseName From t_House Order By HouseName");
}

QString CaptionsSql()
{
    return QStringLiteral("Select Distinct Caption From t_Content Order By Caption");
}

db::Sql BuildingHousesSql(const QString& building)
{
    return QStringLiteral(
               "Select a.HouseID, a.HouseNo, a.HouseFloor, b.HouseType"
               " From t_House as a, t_HouseType as b"
               " Where a.TypeID = b.TypeID And a.HouseName = ") +
           quoted(building);
}

db::Sql BuildingValuesSql(const QString& building, const QString& statusCaption, const QString& priceCaption)
{
    Sql captions;
    if (!statusCaption.isEmpty()) captions += quoted(statusCaption);
    if (!priceCaption.isEmpty()) {
        if (!statusCaption.isEmpty()) captions += QStringLiteral(", ");
        captions += quoted(priceCaption);
    }
    if (statusCaption.isEmpty() && priceCaption.isEmpty()) captions = QStringLiteral("Null");
    return QStringLiteral(
               "Select c.HouseID, c.ContentID, c.Caption, c.Content"
               " From t_Content as c, t_House as a"
               " Where c.HouseID = a.HouseID And a.HouseName = ") +
           quoted(building) + QStringLiteral(" And c.Caption In (") + captions +
           QStringLiteral(") Order By c.HouseID, c.List, c.ContentID");
}

db::Sql CaptionValuesSql(const QString& caption)
{
    return QStringLiteral("Select Distinct Content From t_Content Where Caption = ") + quoted(caption) +
           QStringLiteral(" Order By Content");
}

db::Sql HouseCaptionRowSql(qint32 houseId, const QString& caption)
{
    return QStringLiteral("Select ContentID, Content From t_Content Where HouseID = ") +
           QString::number(houseId) + QStringLiteral(" And Caption = ") + quoted(caption) +
           QStringLiteral(" Order By List, ContentID");
}

db::Sql UpdateShownValueSql(qint64 contentId, const QString& shown, const QString& value)
{
    // A row without a value showed as empty: it may hold Null or an empty text.
    const Sql condition = shown.isEmpty() ? QStringLiteral("(Content Is Null Or Content = '')")
                                          : QStringLiteral("Content = ") + quoted(shown);
    return QStringLiteral("Update t_Content Set Content = ") + quoted(value) +
           QStringLiteral(" Where ContentID = ") + QString::number(contentId) + QStringLiteral(" And ") +
           condition;
}

db::Sql InsertValueRowSql(qint32 houseId, const QString& caption, const QString& value)
{
    const QString id = QString::number(houseId);
    return QStringLiteral("Insert Into t_Content (HouseID, Caption, Content, List) Select HouseID, ") +
           quoted(caption) + QStringLiteral(", ") + quoted(value) +
           QStringLiteral(", (Select Coalesce(Max(List), 0) + 1 From t_Content Where HouseID = ") + id +
           QStringLiteral(") From t_House Where HouseID = ") + id +
           QStringLiteral(" And Not Exists (Select ContentID From t_Content Where HouseID = ") + id +
           QStringLiteral(" And Caption = ") + quoted(caption) + QStringLiteral(")");
}

QString SheetHouseSql(qint32 houseId)
{
    return QStringLiteral(
               "Select a.HouseID, a.HouseName, a.HouseNo, a.Intro, a.HouseFloor, b.HouseType"
               " From t_House as a, t_HouseType as b"
               " Where a.TypeID = b.TypeID And a.HouseID = ") +
           QString::number(houseId);
}

QString SheetRowsSql(qint32 houseId)
{
    return QStringLiteral("Select Caption, Content From t_Content Where HouseID = ") +
           QString::number(houseId) + QStringLiteral(" Order By List");
}

QString SheetPicturesSql(qint32 houseId)
{
    return QStringLiteral("Select Caption, Intro, ImageFile From t_Image Where HouseID = ") +
           QString::number(houseId) + QStringLiteral(" Order By List");
}

}  // namespace sales
