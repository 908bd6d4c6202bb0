#pragma once

#include <QString>

// What the tests check about a connection without holding its raw handles.
namespace db {

class Connection;

// Whether the connection to the server is encrypted (SSL in use); false on House.db or when closed.
bool UsesEncryption(const Connection& connection);
// The login the server knows this session by; empty on House.db or when closed.
QString SessionLogin(const Connection& connection);
// Adds to a House.db connection the SQL function InterruptNow(), which interrupts the statement
// calling it: SQLite then rolls the whole transaction back by itself, as on a full disk or an I/O
// error. False on a server or a closed connection.
bool AddInterruptFunction(Connection& connection);

}  // namespace db
