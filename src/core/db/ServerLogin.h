#pragma once

#include <QString>
#include <functional>

typedef struct pg_conn PGconn;

namespace db {

// What the person at the PC is asked when the server wants a password that libpq found nowhere
// (no ~/.pgpass entry, no service file, no PGPASSFILE).
struct LoginRequest {
    QString host;                // the server, as the URI names it
    QString database;            // the catalogue's database
    QString user;                // the user name the URI names, or empty
    QString defaultUser;         // the user name libpq would use (the URI's, else the system's)
    bool wrongPassword = false;  // the password given last time was refused: say so
};

struct LoginAnswer {
    QString user;
    QString password;
};

// Returns false when the person cancels. The program installs a login dialog, the command-line
// tools a terminal prompt; with none installed a missing password is a failed connection.
using PasswordPrompt = std::function<bool(const LoginRequest& request, LoginAnswer* answer)>;
void SetPasswordPrompt(PasswordPrompt prompt);

// True when the connection URI (either libpq form, "postgresql://..." or "key=value ...") carries
// a password: Tavrelo never keeps one in its own settings.
bool UriHasPassword(const QString& uri);
// The message shown instead of connecting when it does.
QString PasswordInUriMessage();

// Opens a libpq connection to the server the URI names (client encoding UTF8, reaching the server
// bounded by a connect timeout unless the URI names one). A password the person typed is kept in
// this process's memory only, for the rest of the run, so the many connections a window opens do
// not ask again. Returns null with the reason in *error.
PGconn* ConnectServer(const QString& uri, QString* error);

// Begins a connection without waiting and without asking anybody: with the login typed earlier in
// this run for this URI, if any, and TCP keepalives (unless the URI sets its own) so that a server
// that vanished from the network is noticed. The caller drives it with PQconnectPoll. Null, with
// the reason in *error, when the URI carries a password or libpq could not even begin.
PGconn* StartServerConnection(const QString& uri, QString* error);

// Forgets the passwords kept for this run.
void ForgetServerLogins();

}  // namespace db
