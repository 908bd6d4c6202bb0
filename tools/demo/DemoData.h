#pragma once

#include <QString>
#include <QStringList>
#include <vector>

// The demo catalogue as plain data: three types, two buildings, a dozen houses. Everything is
// fixed here so that two runs write the same rows, the same pictures and the same tunes.
namespace demo {

struct Attribute {
    QString caption;
    QString content;
};

struct TypeData {
    QString name;                         // t_HouseType.HouseType
    QString musicTitle;                   // t_HouseType.MusicTitle
    QString musicFile;                    // bare file name in Music/
    std::vector<Attribute> templateRows;  // t_Content_Auto, in display order
    int area;                             // square metres of the floor plan
};

struct HouseData {
    QString building;  // t_House.HouseName
    QString roomNo;    // t_House.HouseNo
    int floor;         // t_House.HouseFloor
    int type;          // index into Types()
    QString orientation;
    QString finish;
    int pricePerSquareMetre;
    QString status;
};

const std::vector<TypeData>& Types();
const std::vector<HouseData>& Houses();
QString Intro(const HouseData& house);
// The attribute rows of one house, in the order they are stored (List 1..n).
std::vector<Attribute> HouseAttributes(const HouseData& house);

// Pictures and tunes (Pictures.cpp, Tune.cpp).
bool DrawFloorPlan(const HouseData& house, const QString& path);
bool DrawView(const HouseData& house, const QString& path);
bool WriteTune(int typeIndex, const QString& path);

}  // namespace demo
