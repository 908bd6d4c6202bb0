#pragma once

#include <QString>

namespace db {

// Makes Tavrelo's tables (and the collation, functions and file table they need, and the deals
// tables with their history and expiry functions) in an empty database on a server, in one
// transaction. Refuses a database that already has any of them.
bool InitServerCatalogue(const QString& uri, QString* error = nullptr);

// Gives a catalogue made before the deals tables those tables and their functions, in one
// transaction, nothing else touched. Only a login that may create tables in the catalogue's schema
// can (the administrator's, through `tavrelo-server upgrade`); a PC's login never can.
// NoCatalogue: the database has no Tavrelo tables at all (init makes them).
enum class ServerUpgrade { Failed, NoCatalogue, Current, Upgraded };
ServerUpgrade UpgradeServerCatalogue(const QString& uri, QString* error = nullptr);

// The key counters' trigger function (CREATE OR REPLACE): it runs with the rights of the role that
// owns it, on a fixed search path. Part of every new catalogue; `tavrelo-server init` puts it in
// place of an older one.
// Each is one statement, so the server tool can send them through the one-statement protocol.
extern const char* const kKeysGrowFunction;
// Only the owner (and through the trigger, everyone's inserts) runs it.
extern const char* const kKeysGrowRevoke;

}  // namespace db
