// tavrelo-bench: builds a catalogue of N houses in a temporary program folder and measures the
// program's windows on it, each operation beside SQLite alone running the same statements, and
// the program's start to its main window as a process. Prints a table and writes it as JSON.
#include <sys/resource.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QMainWindow>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>
#include <cstdio>

#include "../TerminalLogin.h"
#include "Catalogue.h"
#include "Deals.h"
#include "DelayProxy.h"
#include "PriceLists.h"
#include "ProcessStart.h"
#include "Report.h"
#include "SalesReport.h"
#include "ServerPriceLists.h"
#include "ServerTool.h"
#include "Windows.h"
#include "core/BrowserSandbox.h"
#include "core/mdlHouse.h"
#include "core/ui/MsgBox.h"

namespace {

// The floor under the program's start: this benchmark started again to show an empty main window
// and quit, with the same libraries loaded and the same platform.
const char* const kBareWindowOption = "--bare-window";

int runBareWindow(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QMainWindow window;
    window.showMaximized();
    QTimer::singleShot(0, &app, [] { QCoreApplication::exit(0); });
    return app.exec();
}

long peakRssKb()
{
    struct rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

void measureProgramStart(const QString& program, const QString& folder, bench::Report& report)
{
    bench::Operation op;
    op.name = QStringLiteral("program start to main window shown (process)");
    op.floorName = QStringLiteral("an empty Qt main window started as a process (no SQLite involved)");
    if (!QFileInfo(program).isExecutable()) {
        report.problems << QStringLiteral("no program to start at ") + program;
        return;
    }
    // A copy of the program in its own folder beside the catalogue, since the program folder is
    // the folder of the executable.
    const QString start = folder + QStringLiteral("/start");
    QDir().mkpath(start);
    const QString copy = start + QStringLiteral("/tavrelo");
    if (!QFile::copy(program, copy) ||
        !QFile::copy(folder + QStringLiteral("/House.db"), start + QStringLiteral("/House.db"))) {
        report.problems << QStringLiteral("cannot copy the program and its catalogue to ") + start;
        return;
    }
    QFile::setPermissions(copy, QFile::permissions(program));
    const QStringList environment = {QStringLiteral("QT_QPA_PLATFORM=offscreen"),
                                     QStringLiteral("TAVRELO_EXIT_WHEN_SHOWN=1")};
    const QString self = QCoreApplication::applicationFilePath();
    bool failed = false;
    std::vector<double> childCpu;
    auto timed = [&](const QString& binary, const QStringList& args, long* rss) {
        return [&, binary, args, rss] {
            const bench::ProcessRun run = bench::RunProcess(binary, args, environment);
            if (rss) childCpu.push_back(run.cpuMs);
            if (!run.ok && !failed) {
                report.problems << run.error;
                failed = true;
            }
            if (rss) *rss = std::max(*rss, run.peakRssKb);
        };
    };
    // The time includes the process's exit; the spawned program measures itself the same way.
    bench::Measure(&op, timed(copy, {}, &report.childPeakRssKb),
                   timed(self, {QLatin1String(kBareWindowOption)}, nullptr));
    // The processor time that counts is the started program's, not the benchmark's wait.
    if (childCpu.size() > 1) op.programCpuMs.assign(childCpu.begin() + 1, childCpu.end());
    report.operations.push_back(op);
}

// The command line, read; an empty text is an option not given.
struct Options {
    int houses = 0;
    QString json;
    QString program;
    QString folder;
    QString baseline;
    QString server;
    bool reportOnly = false;
    QString only;
};

Options readOptions(const QApplication& app)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Measures Tavrelo's windows on a catalogue of N houses."));
    parser.addHelpOption();
    const QCommandLineOption housesOption(QStringLiteral("houses"),
                                          QStringLiteral("Houses in the catalogue."), QStringLiteral("N"),
                                          QStringLiteral("100000"));
    const QCommandLineOption jsonOption(
        QStringLiteral("json"), QStringLiteral("Write the figures as JSON here."), QStringLiteral("PATH"));
    const QCommandLineOption programOption(
        QStringLiteral("program"),
        QStringLiteral("The tavrelo whose start is measured (default: beside this one)."),
        QStringLiteral("PATH"), QCoreApplication::applicationDirPath() + QStringLiteral("/tavrelo"));
    const QCommandLineOption folderOption(
        QStringLiteral("folder"),
        QStringLiteral("Build the program folder here (a new folder) and keep it, for profiling."),
        QStringLiteral("PATH"));
    const QCommandLineOption baselineOption(
        QStringLiteral("baseline"),
        QStringLiteral("A JSON report of a smaller run: adds the growth of each program time since it."),
        QStringLiteral("PATH"));
    const QCommandLineOption serverOption(
        QStringLiteral("server"),
        QStringLiteral("Measure on this PostgreSQL server (a libpq URI; its catalogue is replaced), once "
                       "directly and once through a proxy that adds 2 ms of round-trip time."),
        QStringLiteral("URI"));
    const QCommandLineOption reportOption(
        QStringLiteral("sales-report-only"),
        QStringLiteral("Measure only the sales report (on House.db), for a quick look at it."));
    const QCommandLineOption onlyOption(
        QStringLiteral("only"),
        QStringLiteral("Measure only the price-list lines whose name contains TEXT (no windows, no start)."),
        QStringLiteral("TEXT"));
    parser.addOptions({housesOption, jsonOption, programOption, folderOption, baselineOption, serverOption,
                       reportOption, onlyOption});
    parser.process(app);
    Options options;
    bool ok = false;
    options.houses = parser.value(housesOption).toInt(&ok);
    if (!ok) options.houses = 0;
    options.json = parser.value(jsonOption);
    options.program = parser.value(programOption);
    options.folder = parser.value(folderOption);
    options.baseline = parser.value(baselineOption);
    options.server = parser.value(serverOption);
    options.reportOnly = parser.isSet(reportOption);
    options.only = parser.value(onlyOption);
    return options;
}

// The program folder: a new folder named with --folder (kept), else the temporary one. Returns an
// exit status, 0 when the folder is ready.
int chooseFolder(const Options& options, const QTemporaryDir& temporary, QString* folder)
{
    *folder = temporary.path();
    if (!options.folder.isEmpty()) {
        *folder = QDir(options.folder).absolutePath();
        if (QFileInfo::exists(*folder) || !QDir().mkpath(*folder)) {
            std::fprintf(stderr, "tavrelo-bench: --folder wants a new folder\n");
            return 2;
        }
    } else if (!temporary.isValid()) {
        std::fprintf(stderr, "tavrelo-bench: cannot make a temporary folder\n");
        return 1;
    }
    return 0;
}

// Builds the catalogue and, with --server, uploads it there and points the folder at it.
bool fillCatalogue(const QString& folder, const bench::CatalogueShape& shape, const QString& server,
                   QString* error)
{
    if (!bench::BuildCatalogue(folder, shape, error)) return false;
    if (server.isEmpty()) return true;
    const servertool::Result upload = servertool::Upload(server, folder, true);
    if (!upload.ok) {
        *error = upload.error;
        return false;
    }
    QSettings(folder + QStringLiteral("/Tavrelo.conf"), QSettings::IniFormat)
        .setValue(QStringLiteral("catalogue/server"), server);
    return true;
}

// The same windows again over a slower network: every round trip now costs 2 ms more. Prints both
// tables and writes both reports; returns the exit status.
int measureThroughProxy(const Options& options, const QString& folder, bench::WindowContext& context,
                        bench::Report& report, QStringList& messages)
{
    std::printf("On the server, directly:\n");
    bench::PrintTable(report);
    QString host;
    int port = 0;
    bench::Report delayed;
    delayed.houses = report.houses;
    delayed.floorStore = report.floorStore;
    delayed.fillMs = report.fillMs;
    const QString probe = bench::ThroughProxy(options.server, 0, &host, &port);
    if (probe.isEmpty() || host.startsWith(QLatin1Char('/'))) {
        std::fprintf(stderr,
                     "tavrelo-bench: the 2 ms proxy needs a server reached over TCP (host and port)\n");
        return 1;
    }
    bench::DelayProxy proxy(host, port, 1);
    if (!proxy.Listening()) {
        std::fprintf(stderr, "tavrelo-bench: cannot start the delaying proxy\n");
        return 1;
    }
    const QString slow = bench::ThroughProxy(options.server, proxy.Port(), &host, &port);
    QSettings(folder + QStringLiteral("/Tavrelo.conf"), QSettings::IniFormat)
        .setValue(QStringLiteral("catalogue/server"), slow);
    messages.clear();
    context.databasePath = slow;
    context.report = &delayed;
    if (options.only.isEmpty()) bench::MeasureWindows(context);
    bench::MeasureServerPriceLists(folder, slow, context.shape, &delayed);
    if (options.only.isEmpty()) bench::MeasureDeals(slow, context.shape, &delayed);
    for (const QString& m : messages) delayed.problems << QStringLiteral("a window said: ") + m;
    delayed.peakRssKb = peakRssKb();
    std::printf("\nOn the server through a proxy adding 2 ms of round-trip time:\n");
    bench::PrintTable(delayed);
    if (!options.json.isEmpty()) {
        QString path = options.json;
        path.replace(QRegularExpression(QStringLiteral("\\.json$")), QString());
        QString error;
        if (!bench::WriteJson(report, path + QStringLiteral(".json"), &error) ||
            !bench::WriteJson(delayed, path + QStringLiteral("-delay2ms.json"), &error)) {
            std::fprintf(stderr, "tavrelo-bench: %s\n", qPrintable(error));
            return 1;
        }
    }
    report.problems << delayed.problems;
    return report.problems.isEmpty() ? 0 : 1;
}

}  // namespace

int main(int argc, char* argv[])
{
    // Offscreen unless told otherwise: the benchmark runs on machines without a screen. Chromium
    // goes without its sandbox only for root, which it refuses to sandbox.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    browsersandbox::PrepareForUser("tavrelo-bench");
    if (argc > 2 && qstrcmp(argv[1], bench::kMeasureChildOption) == 0) return bench::MeasureChild(argv + 2);
    if (argc > 1 && qstrcmp(argv[1], kBareWindowOption) == 0) return runBareWindow(argc, argv);

    QApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tavrelo-bench"));
    tools::installTerminalLogin(QStringLiteral("tavrelo-bench"));
    const Options options = readOptions(app);
    bench::CatalogueShape shape;
    shape.houses = options.houses;
    if (shape.houses < 10) {
        std::fprintf(stderr, "tavrelo-bench: --houses wants a whole number of at least 10\n");
        return 2;
    }

    QTemporaryDir temporary;
    QString folder;
    if (const int status = chooseFolder(options, temporary, &folder)) return status;
    bench::Report report;
    report.houses = shape.houses;
    if (!options.server.isEmpty()) report.floorStore = QStringLiteral("libpq");
    QString error;
    if (!options.baseline.isEmpty() && !bench::ReadBaseline(options.baseline, &report, &error)) {
        std::fprintf(stderr, "tavrelo-bench: %s\n", qPrintable(error));
        return 2;
    }
    QElapsedTimer fill;
    fill.start();
    if (!fillCatalogue(folder, shape, options.server, &error)) {
        std::fprintf(stderr, "tavrelo-bench: %s\n", qPrintable(error));
        return 1;
    }
    report.fillMs = fill.elapsed();
    mdlHouse::SetProgramFolder(folder);

    // No window may wait for a click here: every message is noted and answered OK (Yes to a
    // question); none is expected.
    QStringList messages;
    ui::SetMsgBoxInterceptor([&messages](const QString& text, ui::Buttons buttons) {
        messages << text;
        return buttons == ui::Buttons::YesNo ? ui::Answer::Yes : ui::Answer::Ok;
    });

    if (options.reportOnly && options.server.isEmpty()) {
        bench::MeasureSalesReport(folder, shape, &report);
        bench::PrintTable(report);
        return report.problems.isEmpty() ? 0 : 1;
    }

    bench::WindowContext context;
    context.databasePath = options.server.isEmpty() ? folder + QStringLiteral("/House.db") : options.server;
    context.shape = shape;
    context.report = &report;
    bench::SetOnly(options.only);
    if (options.only.isEmpty()) bench::MeasureWindows(context);
    bench::MeasurePriceLists(folder, shape, &report);
    if (options.only.isEmpty()) bench::MeasureDeals(context.databasePath, shape, &report);
    for (const QString& m : messages) report.problems << QStringLiteral("a window said: ") + m;
    report.peakRssKb = peakRssKb();
    if (!options.server.isEmpty()) return measureThroughProxy(options, folder, context, report, messages);

    if (options.only.isEmpty()) {
        bench::MeasureSalesReport(folder, shape, &report);
        measureProgramStart(options.program, folder, report);
    }
    bench::PrintTable(report);
    if (!options.json.isEmpty() && !bench::WriteJson(report, options.json, &error)) {
        std::fprintf(stderr, "tavrelo-bench: %s\n", qPrintable(error));
        return 1;
    }
    return report.problems.isEmpty() ? 0 : 1;
}
