// tavrelo-import: moves the catalogue of an earlier installation (its House.MDB with the Images
// and Music folders beside it) into Tavrelo's program folder.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QStringList>
#include <cstdio>

#include "../Print.h"
#include "Importer.h"
#include "core/Folders.h"

namespace {

using tools::print;

void usage()
{
    print(stderr,
          QStringLiteral(
              "usage: tavrelo-import [--replace] OLD_FOLDER_OR_MDB [PROGRAM_FOLDER]\n"
              "  Reads House.MDB of an earlier installation (never changing it), writes its five tables\n"
              "  into PROGRAM_FOLDER/House.db with every key kept, and copies the pictures and tunes\n"
              "  the rows name into PROGRAM_FOLDER/Images and Music. PROGRAM_FOLDER defaults to the\n"
              "  one Tavrelo opens: $TAVRELO_FOLDER when set, else this program's own folder when\n"
              "  House.db is there, else the per-user folder $XDG_DATA_HOME/Tavrelo (made when\n"
              "  missing). A House.db that holds rows is only replaced with --replace and is then\n"
              "  kept as House.db.bak.\n"));
}

}  // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QStringList positional;
    legacy::ImportOptions options;
    const QStringList args = app.arguments().mid(1);
    for (const QString& arg : args) {
        if (arg == QLatin1String("--replace")) {
            options.replace = true;
        } else if (arg == QLatin1String("--help") || arg == QLatin1String("-h")) {
            usage();
            return 0;
        } else if (arg.startsWith(QLatin1String("--"))) {
            print(stderr, QStringLiteral("tavrelo-import: unknown option %1\n").arg(arg));
            usage();
            return 2;
        } else {
            positional << arg;
        }
    }
    if (positional.isEmpty() || positional.size() > 2) {
        usage();
        return 2;
    }
    options.source = positional[0];
    if (positional.size() > 1) {
        options.programFolder = positional[1];
    } else {
        // The catalogue the program itself opens; on a fresh installation it does not exist yet
        // and is made here exactly as the program's first start would make it.
        options.programFolder = folders::DefaultProgramFolder();
        QString error;
        if (folders::StateOf(options.programFolder) != folders::FolderState::ServerCatalogue &&
            !folders::Prepare(options.programFolder, &error)) {
            print(stderr, QStringLiteral("tavrelo-import: %1\nNothing was written.\n").arg(error));
            return 1;
        }
    }

    if (folders::StateOf(options.programFolder) == folders::FolderState::ServerCatalogue) {
        print(stderr, QStringLiteral("tavrelo-import: %1\nNothing was written.\n")
                          .arg(folders::ServerFolderMessage(options.programFolder)));
        return 1;
    }

    QElapsedTimer timer;
    timer.start();
    auto progress = [](const QString& file, qint64 done, qint64 total) {
        print(stdout, QStringLiteral("\r  copying %1  %2 of %3 MB (%4%)")
                          .arg(file)
                          .arg(double(done) / (1 << 20), 0, 'f', 1)
                          .arg(double(total) / (1 << 20), 0, 'f', 1)
                          .arg(total ? done * 100 / total : 100));
        if (done == total) print(stdout, QStringLiteral("\n"));
    };
    const legacy::ImportResult result = legacy::Import(options, progress);
    if (!result.ok) {
        print(stderr, QStringLiteral("tavrelo-import: %1\nNothing was written.\n").arg(result.error));
        return 1;
    }
    print(stdout, QStringLiteral("Read %1\nWrote %2\n").arg(result.mdbPath, result.databasePath));
    for (const auto& count : result.rowCounts)
        print(stdout, QStringLiteral("  %1: %2 rows\n").arg(count.first, -15).arg(count.second));
    print(stdout, QStringLiteral("Files copied: %1 (%2 MB)\n")
                      .arg(result.copied.size())
                      .arg(double(result.bytesCopied) / (1 << 20), 0, 'f', 1));
    print(stdout, QStringLiteral("Files missing: %1\n").arg(result.missing.size()));
    for (const QString& name : result.missing) print(stdout, QStringLiteral("  %1\n").arg(name));
    if (!result.backupPath.isEmpty())
        print(stdout, QStringLiteral("The earlier catalogue is kept as %1\n").arg(result.backupPath));
    print(stdout, QStringLiteral("Done in %1 s.\n").arg(double(timer.elapsed()) / 1000.0, 0, 'f', 2));
    return 0;
}
