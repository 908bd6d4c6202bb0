#include "sales/SalesSql.h"

#include <QStringList>

#include "core/db/Connection.h"

namespace sales {

using db::QuoteText;

QString BuildingsSql()
{
    return QStringLiteral("Select Distinct HouseName From t_House Order By HouseName");
}

QString CaptionsSql()
{
    return QStringLiteral("Select Distinct Caption From t_Content Order By Caption");
}

QString BuildingHousesSql(const QString& building)
{
    return QStringLiteral(
               "Select a.HouseID, a.HouseNo, a.HouseFloor, b.HouseType"
               " From t_House as a, t_HouseType as b"
               " Where a.TypeID = b.TypeID And a.HouseName = ") +
           QuoteText(building);
}

QString BuildingValuesSql(const QString& building, const QString& statusCaption, const QString& priceCaption)
{
    QStringList captions;
    if (!statusCaption.isEmpty()) captions << QuoteText(statusCaption);
    if (!priceCaption.isEmpty()) captions << QuoteText(priceCaption);
    if (captions.isEmpty()) captions << QStringLiteral("Null");
    return QStringLiteral(
               "Select c.HouseID, c.ContentID, c.Caption, c.Content"
               " From t_Content as c, t_House as a"
               " Where c.HouseID = a.HouseID And a.HouseName = ") +
           QuoteText(building) + QStringLiteral(" And c.Caption In (") + captions.join(QStringLiteral(", ")) +
           QStringLiteral(") Order By c.HouseID, c.List, c.ContentID");
}

QString CaptionValuesSql(const QString& caption)
{
    return QStringLiteral("Select Distinct Content From t_Content Where Caption = ") + QuoteText(caption) +
           QStringLiteral(" Order By Content");
}

QString HouseCaptionRowSql(qint32 houseId, const QString& caption)
{
    return QStringLiteral("Select ContentID, Content From t_Content Where HouseID = ") +
           QString::number(houseId) + QStringLiteral(" And Caption = ") + QuoteText(caption) +
           QStringLiteral(" Order By List, ContentID");
}

QString UpdateShownValueSql(qint64 contentId, const QString& shown, const QString& value)
{
    // A row without a value showed as empty: it may hold Null or an empty text.
    const QString condition = shown.isEmpty() ? QStringLiteral("(Content Is Null Or Content = '')")
                                              : QStringLiteral("Content = ") + QuoteText(shown);
    return QStringLiteral("Update t_Content Set Content = ") + QuoteText(value) +
           QStringLiteral(" Where ContentID = ") + QString::number(contentId) + QStringLiteral(" And ") +
           condition;
}

QString InsertValueRowSql(qint32 houseId, const QString& caption, const QString& value)
{
    const QString id = QString::number(houseId);
    return QStringLiteral("Insert Into t_Content (HouseID, Caption, Content, List) Select HouseID, ") +
           QuoteText(caption) + QStringLiteral(", ") + QuoteText(value) +
           QStringLiteral(", (Select Coalesce(Max(List), 0) + 1 From t_Content Where HouseID = ") + id +
           QStringLiteral(") From t_House Where HouseID = ") + id +
           QStringLiteral(" And Not Exists (Select ContentID From t_Content Where HouseID = ") + id +
           QStringLiteral(" And Caption = ") + QuoteText(caption) + QStringLiteral(")");
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
