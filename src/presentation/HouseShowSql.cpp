#include "presentation/HouseShowSql.h"

namespace HouseShowSql {

QString HouseFacts(qint32 houseId)
{
    return QStringLiteral("Select a.HouseID, a.HouseName, a.HouseNo, a.Intro,a.HouseFloor, ") +
           QStringLiteral(" b.HouseType, b.MusicFile, b.List") +
           QStringLiteral(" From t_House as a, t_HouseType as b") +
           QStringLiteral(" Where a.TypeID = b.TypeID And a.HouseID = ") + QString::number(houseId);
}

QString HouseContents(qint32 houseId)
{
    return QStringLiteral("Select Caption, Content From t_Content") + QStringLiteral(" Where HouseID = ") +
           QString::number(houseId) + QStringLiteral(" Order By List");
}

QString HouseImages(qint32 houseId)
{
    return QStringLiteral("Select Caption, Intro, ImageFile From t_Image") +
           QStringLiteral(" Where HouseID = ") + QString::number(houseId) + QStringLiteral(" Order By List");
}

QString PreviousHouse(qint32 houseId)
{
    return QStringLiteral("Select Top 1 HouseID From t_House Where HouseID < ") + QString::number(houseId) +
           QStringLiteral(" Order By HouseID DESC");
}

QString NextHouse(qint32 houseId)
{
    return QStringLiteral("Select HouseID From t_House Where HouseID > ") + QString::number(houseId) +
           QStringLiteral(" Order By HouseID");
}

}  // namespace HouseShowSql
