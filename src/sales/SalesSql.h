#pragma once

#include <QString>

#include "core/db/Sql.h"

// The statements of the sales board and the house sheet. Text values are literals of their own
// (db::Sql::Quoted): quoted with db::QuoteText in the Jet text, bound when the statement runs, so
// a building or a status with an apostrophe in it still works.
namespace sales {

QString BuildingsSql();
QString CaptionsSql();
// The houses of one building with their type names (houses without a type row stay out, as in
// every other list of the program).
db::Sql BuildingHousesSql(const QString& building);
// The rows of the status and price captions of every house of the building, each house's rows in
// their own order. An empty caption is left out.
db::Sql BuildingValuesSql(const QString& building, const QString& statusCaption, const QString& priceCaption);
// Every value the caption has anywhere in the catalogue.
db::Sql CaptionValuesSql(const QString& caption);
// The first row of the caption of one house (the one the board shows).
db::Sql HouseCaptionRowSql(qint32 houseId, const QString& caption);
// Changes the value only while the row still holds the value the board showed.
db::Sql UpdateShownValueSql(qint64 contentId, const QString& shown, const QString& value);
// Adds the caption's row after the house's last row, only while the house has no such row.
db::Sql InsertValueRowSql(qint32 houseId, const QString& caption, const QString& value);

// The house sheet: the house, its rows and its pictures.
QString SheetHouseSql(qint32 houseId);
QString SheetRowsSql(qint32 houseId);
QString SheetPicturesSql(qint32 houseId);

}  // namespace sales
