#pragma once

// Rows written straight into a test's catalogue (through ProgramFolder::Exec, so on House.db or
// the test server alike), and tables read back as short texts. Each returns false, with a warning
// naming the statement, when the statement fails.

#include <QString>
#include <QStringList>
#include <QVariant>

#include "TestSupport.h"

namespace testsupport {

// One type with a chosen key and position.
bool AddType(const ProgramFolder& folder, int typeId, int list, const QString& name,
             const QString& musicTitle = QString(), const QString& musicFile = QString());
// Types at positions 1..n in the order given, keys handed out by the catalogue.
bool AddTypes(const ProgramFolder& folder, const QStringList& names);
// A house with a chosen key. A null floor is stored as Null (a house without a floor).
bool AddHouse(const ProgramFolder& folder, qint64 houseId, const QString& name, const QString& no,
              const QVariant& floor, int typeId, const QString& intro = QString());
// An attribute row of a house.
bool AddContentRow(const ProgramFolder& folder, qint64 houseId, const QString& caption,
                   const QString& content, int list);
// A picture row of a house.
bool AddPictureRow(const ProgramFolder& folder, qint64 houseId, int list, const QString& caption,
                   const QString& intro, const QString& file);

// Every row of a query as "a|b|c" texts (Null as "NULL"): short to compare whole tables.
QStringList TableRows(const ProgramFolder& folder, const QString& sql);

}  // namespace testsupport
