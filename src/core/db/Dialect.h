#pragma once

#include <QString>

namespace db {

// Turns one of the program's Access/Jet statements into SQLite with the same meaning:
//  - "Select Top N ..." becomes "Select ... LIMIT N";
//  - "x Between a And b" matches whichever of a and b is lower (Jet does, SQLite does not);
//  - Sgn(x) and Like need no rewrite: Sgn and a Like that ignores case for all of Unicode are
//    registered on every connection (core/db/TextCollation.h);
// everything else (comma joins, Is Null, Count(*) as a, Distinct) is common to both.
QString toSqlite(const QString& jetSql);

// "Select [Distinct] Top N ..." as "Select [Distinct] ... LIMIT N"; both stores write it so.
QString topToLimit(const QString& jetSql);

}  // namespace db
