#include "entry/EntrySql.h"

#include "core/db/Convert.h"

namespace entry {

namespace {
QString key(qint32 id)
{
    return QString::number(id);
}
}  // namespace

QString SqlHouseNames()
{
    return QStringLiteral("Select Distinct HouseName From t_House Order By HouseName");
}

QString SqlHouseTypes()
{
    return QStringLiteral("Select HouseType From t_HouseType Order By List");
}

QString SqlHouseNos()
{
    return QStringLiteral("Select Distinct HouseNo From t_House Order By HouseNo");
}

QString SqlCaptions()
{
    return QStringLiteral("Select Distinct Caption From t_Content Order By Caption");
}

QString SqlContents()
{
    return QStringLiteral("Select Distinct Content From t_Content Order By Content");
}

QString SqlLoadHouse(qint32 houseId)
{
    return QStringLiteral("Select a.HouseName, b.List, a.HouseNo, a.Intro") +
           QStringLiteral(" From t_House as a, t_HouseType as b") +
           QStringLiteral(" Where a.TypeID = b.TypeID And a.HouseID = ") + key(houseId);
}

QString SqlHouseContent(qint32 houseId)
{
    return QStringLiteral("Select Caption, Content From t_Content") + QStringLiteral(" Where HouseID = ") +
           key(houseId) + QStringLiteral(" Order By List");
}

QString SqlHouseImages(qint32 houseId)
{
    return QStringLiteral("Select Caption, Intro, ImageFile From t_Image") +
           QStringLiteral(" Where HouseID = ") + key(houseId) + QStringLiteral(" Order By List");
}

db::Sql SqlTypeIdByName(const QString& typeName)
{
    return QStringLiteral("Select TypeID From t_HouseType Where HouseType = '") + db::Sql::Value(typeName) +
           QStringLiteral("'");
}

QString SqlEmptyHouse()
{
    return QStringLiteral("Select * From t_House Where HouseID Is Null");
}

QString SqlEmptyContent()
{
    return QStringLiteral("Select * From t_Content Where ContentID Is Null");
}

QString SqlEmptyImage()
{
    return QStringLiteral("Select * From t_Image Where ImageID Is Null");
}

QString SqlLastHouseId()
{
    return QStringLiteral("Select Top 1 HouseID From t_House Order By HouseID DESC");
}

QString SqlHouseById(qint32 houseId)
{
    return QStringLiteral("Select * From t_House Where HouseID = ") + key(houseId);
}

QString SqlDeleteContent(qint32 houseId)
{
    return QStringLiteral("Delete From t_Content Where HouseID = ") + key(houseId);
}

QString SqlDeleteImages(qint32 houseId)
{
    return QStringLiteral("Delete From t_Image Where HouseID = ") + key(houseId);
}

}  // namespace entry
