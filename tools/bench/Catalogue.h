#pragma once

#include <QString>

// The benchmark's catalogue: a program folder with a House.db of a chosen size, written straight
// through SQLite so that filling 100,000 houses takes seconds, not minutes.
namespace bench {

struct CatalogueShape {
    int houses = 100000;
    int types = 20;
    // One building per 200 houses, so a query for one building name finds about 200 houses at
    // every catalogue size while the table it searches grows.
    int buildings() const { return houses / 200 > 0 ? houses / 200 : 1; }
    // The house shown by the presentation and edited by the wizard: in the middle of the keys, so
    // that previous and next both have somewhere to go. It has 60 attribute rows and 40 pictures.
    int bigHouse() const { return houses / 2 > 0 ? houses / 2 : 1; }
    // The sales board's building: the last houses by key, 3,000 of them (half the catalogue when
    // it is smaller), 50 to a floor, every 500th without a floor; a status row on nine houses in
    // ten and a price row on each.
    int boardUnits() const { return houses / 2 < 3000 ? houses / 2 : 3000; }
    int boardFirstHouse() const { return houses - boardUnits() + 1; }
    static constexpr int boardUnitsPerFloor = 50;
    static constexpr int bigHouseRows = 60;
    static constexpr int bigHousePictures = 40;
};

// Writes House.db (the program's schema), Images/ with the big house's pictures and an empty
// Music/ into folder. Returns false with a message in *error when any step fails.
bool BuildCatalogue(const QString& folder, const CatalogueShape& shape, QString* error);

// The building that the sales board draws.
inline QString BoardBuildingName()
{
    return QStringLiteral("销控楼");
}

// The building name that the name query types: about 200 houses carry it.
QString QueriedBuildingName(const CatalogueShape& shape);

}  // namespace bench
