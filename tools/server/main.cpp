// tavrelo-server: makes, fills and copies back a shared catalogue on a PostgreSQL server.
#include <QCoreApplication>
#include <QStringList>
#include <cstdio>

#include "ServerTool.h"
#include "core/Folders.h"
#include "../Print.h"

namespace {

using tools::print;

void usage()
{
    print(stderr,
          QStringLiteral(
              "usage: tavrelo-server init URI\n"
              "       tavrelo-server upload [--replace] URI [PROGRAM_FOLDER]\n"
              "       tavrelo-server download URI [PROGRAM_FOLDER]\n"
              "  init makes Tavrelo's tables in an empty database. upload copies the catalogue of a\n"
              "  program folder (House.db with every key kept, Images and Music) to the server; a server\n"
              "  catalogue with rows is only replaced with --replace. download copies the server's\n"
              "  catalogue into a program folder without a catalogue. URI is a libpq connection URI\n"
              "  (postgresql://user@host/database?sslmode=require); the password comes from ~/.pgpass,\n"
              "  a service file or PGPASSWORD. PROGRAM_FOLDER defaults to the program's own folder.\n"));
}

}  // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QStringList positional;
    bool replace = false;
    for (const QString& arg : app.arguments().mid(1)) {
        if (arg == QLatin1String("--replace")) {
            replace = true;
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
    const QString command = positional.value(0);
    const bool known = command == QLatin1String("init") || command == QLatin1String("upload") ||
                       command == QLatin1String("download");
    const int most = command == QLatin1String("init") ? 2 : 3;
    if (!known || positional.size() < 2 || positional.size() > most ||
        (replace && command != QLatin1String("upload"))) {
        usage();
        return 2;
    }
    const QString uri = positional[1];
    const QString folder = positional.size() > 2 ? positional[2] : folders::DefaultProgramFolder();
    servertool::Result result;
    if (command == QLatin1String("init"))
        result = servertool::Init(uri);
    else if (command == QLatin1String("upload"))
        result = servertool::Upload(uri, folder, replace);
    else
        result = servertool::Download(uri, folder);
    if (!result.ok) {
        print(stderr, QStringLiteral("tavrelo-server: %1\n").arg(result.error));
        return 1;
    }
    for (const QString& line : result.report) print(stdout, line + QLatin1Char('\n'));
    return 0;
}
