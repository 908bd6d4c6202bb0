#pragma once

#include <QString>

namespace db {

class Connection;

// Which catalogue a price list came from. A price list's 序号 are the keys of the catalogue it was
// exported from, so they mean the same houses only in that catalogue. The identity is kept beside
// the five tables, never in them:
//  - a House.db carries a random number in its file header (SQLite's application_id), given the
//    first time the catalogue is exported. The file's copies, backups and restores keep it: they
//    hold the same houses under the same keys.
//  - a shared catalogue is its database on its server: the server's system identifier (when the
//    server shows it) with the database's name and number; a dump restored elsewhere is another
//    catalogue.
// Returns "" when the catalogue has none yet (and assign is false) or it cannot be read. On a
// server it must be called outside a transaction (a refused statement would end one).
QString CatalogueIdentity(Connection& connection, bool assign);

}  // namespace db
