// tavrelo-server: makes, fills and copies back a shared catalogue on a PostgreSQL server, and
// manages the logins of the PCs that use it.
#include <unistd.h>

#include <QCoreApplication>
#include <QStringList>
#include <cstdio>

#include "../Print.h"
#include "../TerminalLogin.h"
#include "ServerRoles.h"
#include "ServerTool.h"
#include "core/Folders.h"

namespace {

using tools::print;

void usage()
{
    print(stderr,
          QStringLiteral(
              "usage: tavrelo-server init URI\n"
              "       tavrelo-server upgrade URI\n"
              "       tavrelo-server upload [--replace] URI [PROGRAM_FOLDER]\n"
              "       tavrelo-server download URI [PROGRAM_FOLDER]\n"
              "       tavrelo-server user add NAME --role staff|viewer|manager URI\n"
              "       tavrelo-server user remove NAME URI\n"
              "       tavrelo-server user list URI\n"
              "  init makes Tavrelo's tables in an empty database and the catalogue's four roles\n"
              "  (DB_owner owns the tables, DB_staff reads and writes rows, DB_viewer only reads,\n"
              "  DB_manager is staff that may also change the deals' settings); on a catalogue an\n"
              "  earlier version made it adds what is missing. upgrade adds the deals tables to a\n"
              "  catalogue made before them (the PCs cannot). upload copies the catalogue of a\n"
              "  program folder (House.db with every key kept, Images and Music) to the server; a server\n"
              "  catalogue with rows is only replaced with --replace. download copies the server's\n"
              "  catalogue into a program folder without a catalogue. user add makes a login for an\n"
              "  office PC (staff), a showroom PC (viewer) or a sales manager (manager); its password is\n"
              "  asked for on the terminal,\n"
              "  or read as a line from standard input when that is not a terminal, and stored on the\n"
              "  server as SCRAM-SHA-256. URI is a libpq connection URI\n"
              "  (postgresql://admin@host/database?sslmode=verify-full) without a password: the password\n"
              "  comes from ~/.pgpass, a service file or PGPASSFILE, or is asked for on the terminal.\n"
              "  PROGRAM_FOLDER defaults to the program's own folder.\n"));
}

// The new login's password: typed twice on a terminal, or one line of standard input.
bool newPassword(const QString& name, QString* password)
{
    if (!tools::readSecret(QStringLiteral("Password for the new login %1: ").arg(name), password))
        return false;
    if (::isatty(STDIN_FILENO) != 1) return true;
    QString again;
    if (!tools::readSecret(QStringLiteral("The same password again: "), &again)) return false;
    if (again == *password) return true;
    print(stderr, QStringLiteral("tavrelo-server: the two passwords differ; nothing was made\n"));
    return false;
}

servertool::Result userCommand(const QStringList& positional, const QString& role, bool* usageError)
{
    const QString what = positional.value(1);
    *usageError = true;
    servertool::Result none;
    if (what == QLatin1String("list") && positional.size() == 3 && role.isEmpty()) {
        *usageError = false;
        return servertool::ListUsers(positional[2]);
    }
    if (what == QLatin1String("remove") && positional.size() == 4 && role.isEmpty()) {
        *usageError = false;
        return servertool::RemoveUser(positional[3], positional[2]);
    }
    if (what != QLatin1String("add") || positional.size() != 4 ||
        (role != QLatin1String("staff") && role != QLatin1String("viewer") &&
         role != QLatin1String("manager")))
        return none;
    *usageError = false;
    QString password;
    if (!newPassword(positional[2], &password)) {
        none.error = QStringLiteral("no password for the new login; nothing was made");
        return none;
    }
    const servertool::LoginKind kind = role == QLatin1String("staff")    ? servertool::LoginKind::Staff
                                       : role == QLatin1String("viewer") ? servertool::LoginKind::Viewer
                                                                         : servertool::LoginKind::Manager;
    return servertool::AddUser(positional[3], positional[2], kind, password);
}

}  // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QStringList positional;
    bool replace = false;
    QString role;
    const QStringList args = app.arguments().mid(1);
    for (int i = 0; i < args.size(); ++i) {
        const QString& arg = args[i];
        if (arg == QLatin1String("--replace")) {
            replace = true;
        } else if (arg == QLatin1String("--role") && i + 1 < args.size()) {
            role = args[++i];
        } else if (arg.startsWith(QLatin1String("--role="))) {
            role = arg.mid(7);
        } else if (arg == QLatin1String("--help") || arg == QLatin1String("-h")) {
            usage();
            return 0;
        } else if (arg.startsWith(QLatin1String("--"))) {
            print(stderr, QStringLiteral("tavrelo-server: unknown option %1\n").arg(arg));
            usage();
            return 2;
        } else {
            positional << arg;
        }
    }
    tools::installTerminalLogin(QStringLiteral("tavrelo-server"));
    const QString command = positional.value(0);
    servertool::Result result;
    if (command == QLatin1String("user")) {
        bool usageError = false;
        if (replace) {
            usage();
            return 2;
        }
        result = userCommand(positional, role, &usageError);
        if (usageError) {
            usage();
            return 2;
        }
    } else {
        const bool known = command == QLatin1String("init") || command == QLatin1String("upgrade") ||
                           command == QLatin1String("upload") || command == QLatin1String("download");
        const int most = command == QLatin1String("init") || command == QLatin1String("upgrade") ? 2 : 3;
        if (!known || positional.size() < 2 || positional.size() > most || !role.isEmpty() ||
            (replace && command != QLatin1String("upload"))) {
            usage();
            return 2;
        }
        const QString uri = positional[1];
        const QString folder = positional.size() > 2 ? positional[2] : folders::DefaultProgramFolder();
        if (command == QLatin1String("init"))
            result = servertool::Init(uri);
        else if (command == QLatin1String("upgrade"))
            result = servertool::Upgrade(uri);
        else if (command == QLatin1String("upload"))
            result = servertool::Upload(uri, folder, replace);
        else
            result = servertool::Download(uri, folder);
    }
    if (!result.ok) {
        print(stderr, QStringLiteral("tavrelo-server: %1\n").arg(result.error));
        return 1;
    }
    for (const QString& line : result.report) print(stdout, line + QLatin1Char('\n'));
    return 0;
}
