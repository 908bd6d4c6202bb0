#pragma once

#include <QString>

#include "core/db/Sql.h"

// The catalogue's statements, built by concatenation exactly as the window has always built them,
// so that tests can compare them with the texts the list is known to send.
namespace catalogue {

// The six query boxes' texts, as typed (no trimming: blanks are part of the criterion).
struct HouseCriteria {
    QString houseName;
    QString houseType;
    QString houseFloor;
    QString houseNo;
    QString caption;
    QString content;
};

// Every house with its type, used when no query is active.
QString AllHousesSql();
// The query over the given boxes. An empty box adds no criterion; a caption brings in the
// attribute table and its value pattern (even when the value box is empty), while a value without
// a caption is ignored. The floor is not checked here: the window checks it first.
// The boxes' texts are values: the Jet text pastes them in, the store receives them bound.
db::Sql BuildHouseQuery(const HouseCriteria& criteria);

// The statements that fill the query boxes, in the boxes' order (floor has none).
QString HouseNamesSql();
QString HouseTypesSql();
QString HouseNumbersSql();
QString CaptionsSql();
QString ContentsSql();
QString CountHousesSql();

// The statements that delete one house, its attribute rows and its picture rows, and the read of
// its picture files in between.
QString DeleteHouseSql(qint32 houseId);
QString DeleteContentSql(qint32 houseId);
QString SelectImageFilesSql(qint32 houseId);
QString DeleteImageSql(qint32 houseId);

}  // namespace catalogue
