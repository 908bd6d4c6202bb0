#pragma once

#include <QString>

#include "ServerTool.h"

// Who may do what on a shared catalogue. Every catalogue database D has three group roles (roles
// are shared by all databases of a server, so their names carry the database's):
//   D_owner   owns the tables, their key counters and functions; nobody logs in as it. Whoever runs
//             `tavrelo-server init` becomes a member, for upload and later upgrades.
//   D_staff   office PCs: read and write catalogue rows and pictures; no DDL, no TRUNCATE, no
//             moving a key counter, no roles.
//   D_viewer  showroom PCs that only present: read only (the deals and their history too, but not
//             the customers); it may still release expired holds, through the owner's function.
//   D_manager a member of D_staff that may also change the deals' settings (and, in the program,
//             extend a hold beyond the limit or release any hold).
// The logins the PCs use are members of D_staff or D_viewer, never superusers.
namespace servertool {

enum class LoginKind { Staff, Viewer, Manager };

struct RoleNames {
    QString owner;
    QString staff;
    QString viewer;
    QString manager;
};
RoleNames RolesFor(const QString& database);

// True when the catalogue's tables already belong to D_owner; *error is set when that cannot be
// read.
bool RolesInPlace(const QString& uri, QString* error);
// Makes the three roles when missing, hands the tables to D_owner and grants the rest; run by
// `init` on a new catalogue and on one an older init made (idempotent).
Result SetUpRoles(const QString& uri);
// A login role for a person or PC, with the password stored as a SCRAM-SHA-256 verifier that is
// computed here, so the password itself never reaches the server's statement log.
Result AddUser(const QString& uri, const QString& name, LoginKind kind, const QString& password);
// Takes the login out of this catalogue's groups; drops it when it belongs to nothing else.
Result RemoveUser(const QString& uri, const QString& name);
// The logins of this catalogue, a line each: name and "staff", "viewer" or "manager".
Result ListUsers(const QString& uri);

}  // namespace servertool
