#pragma once

#include <QString>

namespace db {

// Turns one of the program's Access/Jet statements into PostgreSQL with the same meaning:
//  - "Select Top N ..." becomes "Select ... LIMIT N";
//  - "x Between a And b" becomes Between Symmetric, which matches whichever bound is lower;
//  - "x Like 'p'" compares both sides lower-cased under an ICU collation (all of Unicode), with no
//    escape character, because text columns use a case-insensitive nondeterministic collation,
//    under which the server refuses Like;
//  - Sgn is a function the server schema defines; "=", Order By and Distinct on text ignore case
//    through the columns' collation.
QString toPostgres(const QString& jetSql);

// The catalogue's schema (src/core/db/schema.sql and deals.sql, written for SQLite) rendered for
// PostgreSQL, with the key trigger, the file table and the deals' history and expiry functions
// (deals_postgres.sql). A script of several statements; run inside one transaction.
QString PostgresSchema();
// Only what schema version 3 added (the deals tables and their functions), for a catalogue made
// before them. Also a script for one transaction.
QString PostgresDealsSchema();

}  // namespace db
