// tavrelo-backup: one archive of a program folder's catalogue, pictures and tunes, checked
// against its manifest, and put back with nothing lost.
#include <unistd.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QStringList>
#include <cstdio>

#include "../Print.h"
#include "Backup.h"
#include "core/Folders.h"

namespace {

using tools::print;

void usage()
{
    print(stderr,
          QStringLiteral(
              "usage: tavrelo-backup create [PROGRAM_FOLDER] ARCHIVE\n"
              "       tavrelo-backup verify ARCHIVE\n"
              "       tavrelo-backup restore [--replace] ARCHIVE [PROGRAM_FOLDER]\n"
              "  create   writes a copy of House.db (safe while Tavrelo runs and saves) and every file of\n"
              "           Images and Music into ARCHIVE, with a manifest of sizes and SHA-256 sums.\n"
              "           The ending picks the format: %1 (.tar.zst recommended).\n"
              "  verify   checks every file of ARCHIVE against its manifest and the catalogue copy.\n"
              "  restore  verifies ARCHIVE, then puts its House.db, Images and Music into PROGRAM_FOLDER.\n"
              "           A catalogue that holds rows is replaced only with --replace; what was there is\n"
              "           kept as House.db.bak, Images.bak and Music.bak.\n"
              "  PROGRAM_FOLDER defaults to the program's own. Exit status: 0 done, 1 refused, 2 usage.\n")
              .arg(backup::ArchiveEndings()));
}

// One line on stderr, rewritten in place on a terminal; whole lines now and then otherwise.
void progress(const QString& stage, qint64 done, qint64 total)
{
    static const bool terminal = isatty(fileno(stderr));
    static QElapsedTimer sinceLine;
    const bool last = done >= total;
    if (!terminal && !last && sinceLine.isValid() && sinceLine.elapsed() < 5000) return;
    sinceLine.start();
    const QString text = QStringLiteral("%1: %2 of %3 MB (%4%)")
                             .arg(stage)
                             .arg(double(done) / (1 << 20), 0, 'f', 1)
                             .arg(double(total) / (1 << 20), 0, 'f', 1)
                             .arg(total > 0 ? done * 100 / total : 100);
    print(stderr, terminal ? QStringLiteral("\r%1%2").arg(text, last ? QStringLiteral("\n") : QString())
                           : text + QLatin1Char('\n'));
}

void summary(const backup::Result& result)
{
    print(stdout, QStringLiteral("Files: %1 (%2 MB): House.db, %3 in Images, %4 in Music\n")
                      .arg(result.files)
                      .arg(double(result.bytes) / (1 << 20), 0, 'f', 1)
                      .arg(result.images)
                      .arg(result.music));
    if (result.snapshotMs >= 0)
        print(stdout, QStringLiteral("House.db copied in %1 s (saves of the program waited meanwhile)\n")
                          .arg(double(result.snapshotMs) / 1000.0, 0, 'f', 2));
    for (const auto& t : result.tables)
        print(stdout, QStringLiteral("  %1: %2 rows\n").arg(t.first, -15).arg(t.second));
    for (const QString& note : result.notes) print(stdout, QStringLiteral("Note: %1\n").arg(note));
    for (const QString& kept : result.kept) print(stdout, QStringLiteral("Kept the earlier %1\n").arg(kept));
}

}  // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    if (args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"))) {
        usage();
        return backup::kSuccess;
    }
    if (args.isEmpty()) {
        usage();
        return backup::kUsage;
    }
    const QString command = args.takeFirst();
    bool replace = false;
    QStringList positional;
    for (const QString& arg : args) {
        if (arg == QLatin1String("--replace") && command == QLatin1String("restore")) {
            replace = true;
        } else if (arg.startsWith(QLatin1String("--"))) {
            print(stderr, QStringLiteral("tavrelo-backup: unknown option %1\n").arg(arg));
            usage();
            return backup::kUsage;
        } else {
            positional << arg;
        }
    }

    QElapsedTimer timer;
    timer.start();
    backup::Result result;
    if (command == QLatin1String("create") && (positional.size() == 1 || positional.size() == 2)) {
        const QString folder = positional.size() == 2 ? positional[0] : folders::DefaultProgramFolder();
        result = backup::Create(folder, positional.last(), progress);
        if (result.ok) print(stdout, QStringLiteral("Wrote %1 from %2\n").arg(positional.last(), folder));
    } else if (command == QLatin1String("verify") && positional.size() == 1) {
        result = backup::Verify(positional[0], progress);
        if (result.ok) print(stdout, QStringLiteral("%1 is complete and intact.\n").arg(positional[0]));
    } else if (command == QLatin1String("restore") && (positional.size() == 1 || positional.size() == 2)) {
        backup::RestoreOptions options;
        options.archive = positional[0];
        options.programFolder = positional.size() == 2 ? positional[1] : folders::DefaultProgramFolder();
        options.replace = replace;
        if (folders::StateOf(options.programFolder) == folders::FolderState::ServerCatalogue)
            result.error = folders::ServerFolderMessage(options.programFolder);
        else
            result = backup::Restore(options, progress);
        if (result.ok)
            print(stdout,
                  QStringLiteral("Restored %1 into %2\n").arg(options.archive, options.programFolder));
    } else {
        if (command != QLatin1String("create") && command != QLatin1String("verify") &&
            command != QLatin1String("restore"))
            print(stderr, QStringLiteral("tavrelo-backup: unknown command %1\n").arg(command));
        usage();
        return backup::kUsage;
    }
    if (!result.ok) {
        print(stderr, QStringLiteral("tavrelo-backup: %1\nNothing was changed.\n").arg(result.error));
        return backup::kRefused;
    }
    summary(result);
    print(stdout, QStringLiteral("Done in %1 s.\n").arg(double(timer.elapsed()) / 1000.0, 0, 'f', 2));
    return backup::kSuccess;
}
