#pragma once

// The raw handles behind a Connection, for the data layer's own files only: the SQLite database
// and the server session. Code above core/db asks the Connection (IsServer) or a function of the
// data layer instead; the layering test keeps this header inside core/db.

struct sqlite3;

namespace db {

class Connection;
class PgSession;

struct Handles {
    static sqlite3* Sqlite(const Connection& connection);
    static PgSession* Server(const Connection& connection);
};

}  // namespace db
