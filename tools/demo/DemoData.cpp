#include "DemoData.h"

namespace demo {

const std::vector<TypeData>& Types()
{
    static const std::vector<TypeData> types = {
        {QStringLiteral("一室一厅"),
         QStringLiteral("晨光"),
         QStringLiteral("chenguang.wav"),
         {{QStringLiteral("朝向"), QStringLiteral("南")},
          {QStringLiteral("面积"), QStringLiteral("56平方米")},
          {QStringLiteral("装修"), QStringLiteral("简装修")},
          {QStringLiteral("物业费"), QStringLiteral("1.8元/平方米·月")}},
         56},
        {QStringLiteral("两室一厅"),
         QStringLiteral("庭院"),
         QStringLiteral("tingyuan.wav"),
         {{QStringLiteral("朝向"), QStringLiteral("南北通透")},
          {QStringLiteral("面积"), QStringLiteral("88平方米")},
          {QStringLiteral("装修"), QStringLiteral("精装修")},
          {QStringLiteral("物业费"), QStringLiteral("1.8元/平方米·月")},
          {QStringLiteral("学区"), QStringLiteral("实验小学")}},
         88},
        {QStringLiteral("三室两厅"),
         QStringLiteral("远山"),
         QStringLiteral("yuanshan.wav"),
         {{QStringLiteral("朝向"), QStringLiteral("南北通透")},
          {QStringLiteral("面积"), QStringLiteral("128平方米")},
          {QStringLiteral("装修"), QStringLiteral("精装修")},
          {QStringLiteral("物业费"), QStringLiteral("2.2元/平方米·月")},
          {QStringLiteral("车位"), QStringLiteral("地下车位一个")}},
         128},
    };
    return types;
}

const std::vector<HouseData>& Houses()
{
    const QString east = QStringLiteral("翠湖苑一号楼");
    const QString west = QStringLiteral("翠湖苑二号楼");
    static const std::vector<HouseData> houses = {
        {east, QStringLiteral("201"), 2, 0, QStringLiteral("南"), QStringLiteral("简装修"), 15800,
         QStringLiteral("在售")},
        {east, QStringLiteral("202"), 2, 1, QStringLiteral("南北通透"), QStringLiteral("精装修"), 16200,
         QStringLiteral("在售")},
        {east, QStringLiteral("501"), 5, 2, QStringLiteral("南北通透"), QStringLiteral("精装修"), 17600,
         QStringLiteral("已预订")},
        {east, QStringLiteral("502"), 5, 1, QStringLiteral("东南"), QStringLiteral("毛坯"), 15900,
         QStringLiteral("在售")},
        {east, QStringLiteral("801"), 8, 2, QStringLiteral("南北通透"), QStringLiteral("豪华装修"), 18800,
         QStringLiteral("在售")},
        {east, QStringLiteral("803"), 8, 0, QStringLiteral("西南"), QStringLiteral("简装修"), 16900,
         QStringLiteral("已售")},
        {west, QStringLiteral("101"), 1, 1, QStringLiteral("南"), QStringLiteral("精装修"), 14900,
         QStringLiteral("在售")},
        {west, QStringLiteral("302"), 3, 0, QStringLiteral("东"), QStringLiteral("毛坯"), 14200,
         QStringLiteral("在售")},
        {west, QStringLiteral("306"), 3, 2, QStringLiteral("南北通透"), QStringLiteral("精装修"), 16600,
         QStringLiteral("在售")},
        {west, QStringLiteral("603"), 6, 1, QStringLiteral("南"), QStringLiteral("精装修"), 16100,
         QStringLiteral("已售")},
        {west, QStringLiteral("1101"), 11, 2, QStringLiteral("南北通透"), QStringLiteral("豪华装修"), 19500,
         QStringLiteral("已预订")},
        {west, QStringLiteral("1205"), 12, 0, QStringLiteral("东南"), QStringLiteral("简装修"), 17200,
         QStringLiteral("在售")},
    };
    return houses;
}

QString Intro(const HouseData& house)
{
    static const QStringList closing = {
        QStringLiteral("采光充足，视野开阔。"),
        QStringLiteral("临近湖景公园，环境安静。"),
        QStringLiteral("步行五分钟可到地铁站。"),
        QStringLiteral("小区绿化率高，配套齐全。"),
    };
    const TypeData& type = Types()[size_t(house.type)];
    const int pick = (house.floor + house.roomNo.toInt()) % int(closing.size());
    return QStringLiteral("%1%2层%3室，%4，%5朝向，%6。%7")
        .arg(house.building)
        .arg(house.floor)
        .arg(house.roomNo, type.name, house.orientation, house.finish, closing[pick]);
}

std::vector<Attribute> HouseAttributes(const HouseData& house)
{
    const TypeData& type = Types()[size_t(house.type)];
    std::vector<Attribute> rows = {
        {QStringLiteral("朝向"), house.orientation},
        {QStringLiteral("面积"), QStringLiteral("%1平方米").arg(type.area)},
        {QStringLiteral("装修"), house.finish},
        {QStringLiteral("单价"), QStringLiteral("%1元/平方米").arg(house.pricePerSquareMetre)},
        {QStringLiteral("状态"), house.status},
    };
    if (house.type == 2) rows.push_back({QStringLiteral("车位"), QStringLiteral("地下车位一个")});
    if (house.type == 1) rows.push_back({QStringLiteral("学区"), QStringLiteral("实验小学")});
    return rows;
}

}  // namespace demo
