#include "types/TypeSql.h"

namespace TypeSql {

namespace {
// p - 0.5 and p + 0.5 are always whole-and-a-half: written with one decimal and a point,
// whatever the locale says.
QString half(qint16 p, int offset)
{
    return QString::number(double(p) + offset * 0.5, 'f', 1);
}
}  // namespace

QString SelectTypes()
{
    return QStringLiteral(
        "Select TypeID, List, HouseType, MusicTitle, MusicFile From t_HouseType Order By List");
}

QString MusicFileAt(qint16 list)
{
    return QStringLiteral("Select MusicFile From t_HouseType Where List = ") + QString::number(list);
}

QString TypeIdAt(qint16 list)
{
    return QStringLiteral("Select TypeID From t_HouseType Where List = ") + QString::number(list);
}

QString CountHousesOfType(qint32 typeId)
{
    return QStringLiteral("Select Count(*) as a From t_House Where TypeID = ") + QString::number(typeId);
}

QString DeleteTypeAt(qint16 list)
{
    return QStringLiteral("Delete From t_HouseType Where List = ") + QString::number(list);
}

QString CloseGapAfter(qint16 list)
{
    return QStringLiteral("Update t_HouseType Set List = List - 1 Where List > ") + QString::number(list);
}

QString MoveUp(qint16 p)
{
    return QStringLiteral("Update t_HouseType Set List = List + Sgn(") + half(p, -1) +
           QStringLiteral(" - List) Where List Between ") + QString::number(p) + QStringLiteral(" And ") +
           QString::number(p - 1);
}

QString MoveDown(qint16 p)
{
    return QStringLiteral("Update t_HouseType Set List = List + Sgn(") + half(p, 1) +
           QStringLiteral(" - List) Where List Between ") + QString::number(p) + QStringLiteral(" And ") +
           QString::number(p + 1);
}

QString EditedTypeAt(qint16 list)
{
    return QStringLiteral("Select HouseType, MusicTitle, MusicFile From t_HouseType Where List = ") +
           QString::number(list);
}

QString LastType()
{
    return QStringLiteral("Select Top 1 * From t_HouseType Order By List DESC");
}

QString TemplateOf(qint32 typeId)
{
    return QStringLiteral("Select Caption, Content From t_Content_Auto Where TypeID = ") +
           QString::number(typeId) + QStringLiteral(" Order By ContentID");
}

QString DeleteTemplateOf(qint32 typeId)
{
    return QStringLiteral("Delete From t_Content_Auto Where TypeID = ") + QString::number(typeId);
}

QString EmptyTemplateRows()
{
    return QStringLiteral("Select * From t_Content_Auto Where ContentID Is Null");
}

}  // namespace TypeSql
