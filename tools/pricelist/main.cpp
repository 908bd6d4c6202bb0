// tavrelo-pricelist: the catalogue as a spreadsheet, for the administrator.
//   export FILE.csv|FILE.xlsx [PROGRAM_FOLDER]
//   import FILE.csv|FILE.xlsx|FILE.xls [PROGRAM_FOLDER] [--sheet NAME] [--create-types] [--dry-run]
// The import prints one report line per spreadsheet line, as the import window lists them, and
// writes nothing when any line is refused.
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QStringList>
#include <cstdio>

#include "../Print.h"
#include "../TerminalLogin.h"
#include "core/Folders.h"
#include "core/db/Connection.h"
#include "core/db/Store.h"
#include "pricelist/sheet/PriceList.h"

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
              "       tavrelo-pricelist import FILE.csv|FILE.xlsx|FILE.xls [PROGRAM_FOLDER] [--sheet NAME]\n"
              "                                [--create-types] [--as-new] [--dry-run]\n"
              "  export writes every house of the catalogue, in key order, as CSV (UTF-8 with a\n"
              "  byte-order mark) or XLSX; text that a spreadsheet would run as a formula is written so\n"
              "  that it never runs. import reads a CSV price list (UTF-8 or GB18030, comma or tab\n"
              "  separated) or an Excel workbook (.xlsx, or .xls from Excel 97-2003; the first sheet\n"
              "  unless --sheet names another), prints what it would do with each line and writes all\n"
              "  accepted lines in one transaction; any refused line means nothing is written.\n"
              "  --create-types makes the types the catalogue lacks; --dry-run only prints the report.\n"
              "  A list exported from another catalogue is refused unless --as-new takes its lines as\n"
              "  new houses (its 序号 name that catalogue's houses, not this one's).\n"
              "  PROGRAM_FOLDER defaults to the program's own folder.\n"));
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

int importPriceList(const QString& file, const QString& folder, const pricelist::ImportOptions& options,
                    bool dryRun)
{
    QElapsedTimer timer;
    timer.start();
    db::Connection connection;
    // The folder's own House.db, or the shared catalogue its settings name.
    const QString server = db::ServerUri(folder);
    const QString database = server.isEmpty() ? folder + QStringLiteral("/House.db") : server;
    if (!db::OpenCatalogue(connection, folder))
        return fail(QStringLiteral("cannot open the catalogue %1: %2").arg(database, connection.LastError()));
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
    if (!plan.otherCatalogue.isEmpty()) {
        print(stdout, plan.otherCatalogue + QLatin1Char('\n'));
        // Its keys name another catalogue's houses: updating the houses that share them here would
        // overwrite them, so the list goes in only as new houses, or as updates when told so.
        if (!options.keysAsNew && !dryRun)
            return fail(
                QStringLiteral("the list comes from another catalogue; --as-new takes its lines as new "
                               "houses."));
    }
    if (refused > 0) return fail(QStringLiteral("%1 lines were refused.").arg(refused));
    if (dryRun) {
        print(stdout, QStringLiteral("Dry run: nothing was written.\n"));
        return 0;
    }
    const pricelist::WriteResult result = pricelist::WritePlan(plan, connection, folder);
    // A login that may only look is told so, not handed the server's wording alone.
    if (!result.ok && connection.IsServer() && connection.WriteRefused())
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
    pricelist::ImportOptions options;
    bool dryRun = false;
    const QStringList args = app.arguments().mid(1);
    for (int i = 0; i < args.size(); ++i) {
        const QString& arg = args[i];
        if (arg == QLatin1String("--sheet")) {
            if (i + 1 >= args.size() || args[i + 1].isEmpty()) return usage(kUsage);
            options.sheet = args[++i];
        } else if (arg == QLatin1String("--as-new")) {
            options.keysAsNew = true;
        } else if (arg == QLatin1String("--create-types")) {
            options.createTypes = true;
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
        if (options.createTypes || dryRun || options.keysAsNew || !options.sheet.isEmpty())
            return usage(kUsage);
        return exportCatalogue(file, folder);
    }
    if (command == QLatin1String("import")) return importPriceList(file, folder, options, dryRun);
    return usage(kUsage);
}
