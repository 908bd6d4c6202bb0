#pragma once

#include <QString>

// The statements of the presentation window, built by concatenation exactly as the window issues
// them.
namespace HouseShowSql {

QString HouseFacts(qint32 houseId);
QString HouseContents(qint32 houseId);
QString HouseImages(qint32 houseId);
QString PreviousHouse(qint32 houseId);
QString NextHouse(qint32 houseId);

}  // namespace HouseShowSql
