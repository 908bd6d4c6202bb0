#pragma once

#include <QString>

namespace db {
class Connection;
}

// Who is acting on a catalogue, as far as the deal steps need to know.
namespace deals {

// The login that acts: the server login (session_user) on a shared catalogue, the operating-system
// account on House.db.
QString CurrentLogin(db::Connection& connection);
// A manager may extend a hold beyond the most extensions and release anybody's hold. On House.db
// the one user is the manager; on a server, a member of the catalogue's manager group (or of its
// owner group, whoever set the catalogue up).
bool IsManager(db::Connection& connection);

}  // namespace deals
