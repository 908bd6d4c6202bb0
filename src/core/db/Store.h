#pragma once

#include <QString>

namespace db {

class Connection;

// Which catalogue a program folder uses: a shared one on a PostgreSQL server when one is named
// (the environment variable TAVRELO_SERVER, else "server=" in the [catalogue] group of the
// folder's Tavrelo.conf), otherwise House.db in the folder. The URI is libpq's; its password, if
// any, comes from libpq's password or service file, or is typed at login (ServerLogin.h), never
// from Tavrelo.conf: a URI with a password is refused.
QString ServerUri(const QString& programFolder);

// Opens the catalogue of that program folder on the connection.
bool OpenCatalogue(Connection& connection, const QString& programFolder);

// True when a catalogue is named by a libpq URI ("postgresql://…") or key=value connection string
// rather than by a House.db path.
bool IsServerUri(const QString& store);

}  // namespace db
