// tavrelo-pricelist: the catalogue as a spreadsheet, for the administrator.
//   export FILE.csv|FILE.xlsx [PROGRAM_FOLDER]
//   import FILE.csv [PROGRAM_FOLDER] [--create-types] [--dry-run]
// The import prints one report line per spreadsheet line, as the import window lists them, and
// writes nothing when any line is refused.
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QStringList>
#include <cstdio>

#include "core/Folders.h"
#include "core/db/Connection.h"
#include "core/db/Store.h"
#include "pricelist/sheet/PriceList.h"
#include "../Print.h"
#include "../TerminalLogin.h"

namespace {

// Exit codes, as tavrelo-import has them: 0 done, 1 failed (nothing written), 2 usage.
constexpr int kFailed = 1;
constexpr int kUsage = 2;

using tools::print;

int usage(int code)
{
    print(code == 0 ? stdout : stderr,
          QStringLiteral(
              "usage: tavrelo-pricelist export FILE.csv|FILE.xlsx [PROGRAM_FOLDER]\n"
              "       tavrelo-pricelist import FILE.csv [PROGRAM_FOLDER] [--create-types] [--dry-run]\n"
              "  export writes every house of the catalogue, in key order, as CSV (UTF-8 with a\n"
              "  byte-order mark) or XLSX. import reads a CSV price list (UTF-8 or GB18030, comma or\n"
              "  tab separated), prints what it would do with each line and writes all accepted lines\n"
              "  in one transaction; any refused line means nothing is written. --create-types makes\n"
              "  the types the catalogue lacks; --dry-run only prints the report. PROGRAM_FOLDER\n"
              "  defaults to the program's own folder.\n"));
    return code;
}

int fail(const QString& message)
{
    print(stderr, QStringLiteral("tavrelo-pricelist: %1\nNothing was written.\n").arg(message));
    return kFailed;
}

int exportCatalogue(const QString& file, const QString& folder)
{
    QElapsedTimer timer;
    timer.start();
    QString error;
    const int houses = pricelist::ExportProgramFolder(folder, file, nullptr, &error);
    if (houses < 0) return fail(error);
    print(stdout, QStringLiteral("Wrote %1 houses to %2 in %3 s.\n")
                      .arg(houses)
                      .arg(file)
                      .arg(double(timer.elapsed()) / 1000.0, 0, 'f', 2));
    return 0;
}

int importPriceList(const QString& file, const QString& folder, bool createTypes, bool dryRun)
{
    QElapsedTimer timer;
    timer.start();
    db::Connection connection;
    // The folder's own House.db, or the shared catalogue its settings name.
    const QString server = db::ServerUri(folder);
    const QString database = server.isEmpty() ? folder + QStringLiteral("/House.db") : server;
    if (!db::OpenCatalogue(connection, folder))
        return fail(QStringLiteral("cannot open the catalogue %1: %2").arg(database, connection.LastError()));
    pricelist::ImportOptions options;
    options.createTypes = createTypes;
    const pricelist::Plan plan = pricelist::MakePlan(file, connection, options);
    if (!plan.ok) return fail(plan.error);
    for (const pricelist::PlanLine& line : plan.lines)
        print(stdout, pricelist::ReportLine(line) + QLatin1Char('\n'));
    const int added = plan.Count(pricelist::LineKind::New);
    const int updated = plan.Count(pricelist::LineKind::Update);
    const int refused = plan.Count(pricelist::LineKind::Error);
    print(stdout,
          QStringLiteral("%1 lines (%2): %3 new, %4 update, %5 error; new types: %6\n")
              .arg(plan.lines.size())
              .arg(plan.encoding)
              .arg(added)
              .arg(updated)
              .arg(refused)
              .arg(plan.newTypes.isEmpty() ? QStringLiteral("none") : plan.newTypes.join(QLatin1Char(' '))));
    if (refused > 0) return fail(QStringLiteral("%1 lines were refused.").arg(refused));
    if (dryRun) {
        print(stdout, QStringLiteral("Dry run: nothing was written.\n"));
        return 0;
    }
    const pricelist::WriteResult result = pricelist::WritePlan(plan, connection, folder);
    // A login that may only look is told so, not handed the server's wording alone.
    if (!result.ok && connection.Server() && connection.WriteRefused())
        return fail(
            QStringLiteral("this login may only read the catalogue, not change it; nothing was written (%1)")
                .arg(result.error));
    if (!result.ok) return fail(result.error);
    connection.Close();
    print(stdout, QStringLiteral("Wrote %1 new and %2 updated houses, %3 new types, %4 pictures in %5 s.\n")
                      .arg(result.added)
                      .arg(result.updated)
                      .arg(result.typesCreated)
                      .arg(result.picturesCopied)
                      .arg(double(timer.elapsed()) / 1000.0, 0, 'f', 2));
    return 0;
}

}  // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    tools::installTerminalLogin(QStringLiteral("tavrelo-pricelist"));
    QStringList positional;
    bool createTypes = false;
    bool dryRun = false;
    for (const QString& arg : app.arguments().mid(1)) {
        if (arg == QLatin1String("--create-types")) {
            createTypes = true;
        } else if (arg == QLatin1String("--dry-run")) {
            dryRun = true;
        } else if (arg == QLatin1String("--help") || arg == QLatin1String("-h")) {
            return usage(0);
        } else if (arg.startsWith(QLatin1String("--"))) {
            print(stderr, QStringLiteral("tavrelo-pricelist: unknown option %1\n").arg(arg));
            return usage(kUsage);
        } else {
            positional << arg;
        }
    }
    if (positional.size() < 2 || positional.size() > 3) return usage(kUsage);
    const QString command = positional[0];
    const QString file = positional[1];
    const QString folder =
        QDir(positional.size() > 2 ? positional[2] : folders::DefaultProgramFolder()).absolutePath();
    if (command == QLatin1String("export")) {
        if (createTypes || dryRun) return usage(kUsage);
        return exportCatalogue(file, folder);
    }
    if (command == QLatin1String("import")) return importPriceList(file, folder, createTypes, dryRun);
    return usage(kUsage);
}
