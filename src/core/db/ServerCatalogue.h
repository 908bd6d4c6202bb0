#pragma once

#include <QString>

namespace db {

// Makes Tavrelo's tables (and the collation, functions and file table they need) in an empty
// database on a server, in one transaction. Refuses a database that already has any of them.
bool InitServerCatalogue(const QString& uri, QString* error = nullptr);

}  // namespace db
