#include <QAbstractItemView>
#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QTimer>
#include <cstdio>

#include "core/BrowserSandbox.h"
#include "core/Folders.h"
#include "core/mdlHouse.h"
#include "core/ui/Forms.h"
#include "core/ui/LoginDialog.h"
#include "core/ui/MsgBox.h"
#include "core/ui/ProgramIcon.h"
#include "version.h"
#include "windows/RegisterWindows.h"
#include "windows/frmMain.h"

namespace {

void describe(QCoreApplication& app, QCommandLineParser& parser, QCommandLineOption& folder)
{
    QCoreApplication::setApplicationName(QStringLiteral("Tavrelo"));
    QCoreApplication::setApplicationVersion(QStringLiteral("%1.%2.%3")
                                                .arg(TAVRELO_VERSION_MAJOR)
                                                .arg(TAVRELO_VERSION_MINOR)
                                                .arg(TAVRELO_VERSION_PATCH));
    parser.setApplicationDescription(
        QStringLiteral("Tavrelo: the catalogue and presentation of a property sales office.\n\n"
                       "The program folder holds the catalogue House.db and the Images and Music folders.\n"
                       "Without --folder it is $%1 when set, else the executable's own folder when\n"
                       "House.db is there, else the per-user folder $XDG_DATA_HOME/Tavrelo, made with an\n"
                       "empty catalogue on the first start.")
            .arg(QLatin1String(folders::kFolderVariable)));
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption(folder);
    parser.process(app);
}

// Options that QApplication itself takes (and removes) on X11 and Wayland.
bool isQtOption(const QString& name)
{
    static const QStringList names = {QStringLiteral("platform"),      QStringLiteral("platformpluginpath"),
                                      QStringLiteral("platformtheme"), QStringLiteral("plugin"),
                                      QStringLiteral("qmljsdebugger"), QStringLiteral("qwindowgeometry"),
                                      QStringLiteral("qwindowicon"),   QStringLiteral("qwindowtitle"),
                                      QStringLiteral("reverse"),       QStringLiteral("session"),
                                      QStringLiteral("style"),         QStringLiteral("stylesheet"),
                                      QStringLiteral("widgetcount"),   QStringLiteral("display"),
                                      QStringLiteral("geometry"),      QStringLiteral("title"),
                                      QStringLiteral("name"),          QStringLiteral("visual"),
                                      QStringLiteral("ncols"),         QStringLiteral("cmap"),
                                      QStringLiteral("nograb"),        QStringLiteral("dograb"),
                                      QStringLiteral("sync"),          QStringLiteral("fontengine"),
                                      QStringLiteral("dialogs")};
    return names.contains(name);
}

// What the command line asks before any window system is touched: help, the version and a
// mistaken option are answered without a display (a QApplication would abort without one).
enum class Ask { Start, AnswerAndEnd };
Ask firstLook(int argc, char* argv[], QCommandLineOption& folder)
{
    QStringList args;
    for (int i = 0; i < argc; ++i) args << QString::fromLocal8Bit(argv[i]);
    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    const QCommandLineOption help(QStringList{QStringLiteral("h"), QStringLiteral("?"),
                                              QStringLiteral("help"), QStringLiteral("help-all")});
    const QCommandLineOption version(QStringList{QStringLiteral("v"), QStringLiteral("version")});
    parser.addOption(help);
    parser.addOption(version);
    parser.addOption(folder);
    if (!parser.parse(args)) {
        for (const QString& name : parser.unknownOptionNames()) {
            if (!isQtOption(name)) return Ask::AnswerAndEnd;
        }
        return Ask::Start;
    }
    return parser.isSet(help) || parser.isSet(version) ? Ask::AnswerAndEnd : Ask::Start;
}

void complain(const QString& text)
{
    std::fprintf(stderr, "tavrelo: %s\n", qPrintable(text));
    ui::MsgBox(text);
}

// For end-to-end checks of an installed program, where nothing can reach into the process: with
// TAVRELO_REPORT_WINDOW=<window name> the start opens that window as its menu entry does, prints
// the rows of every list in it to standard output and ends.
void reportWindowIfAsked()
{
    const QString name = qEnvironmentVariable("TAVRELO_REPORT_WINDOW");
    if (name.isEmpty()) return;
    QTimer::singleShot(0, [name] {
        QWidget* window = Forms::Show(name);
        QTimer::singleShot(0, [name, window] {
            std::printf("window %s %s\n", qPrintable(name), window ? "open" : "missing");
            if (window) {
                for (const QAbstractItemView* list : window->findChildren<QAbstractItemView*>()) {
                    if (!list->model() || list->objectName().isEmpty()) continue;
                    std::printf("list %s rows %d\n", qPrintable(list->objectName()),
                                list->model()->rowCount());
                }
            }
            std::fflush(stdout);
            QCoreApplication::exit(0);
        });
    });
}

}  // namespace

int main(int argc, char* argv[])
{
    QCommandLineOption folderOption(
        QStringList{QStringLiteral("folder")},
        QStringLiteral("Use DIR as the program folder (also: $%1). A folder without House.db gets an empty "
                       "catalogue only when it is empty or does not exist yet.")
            .arg(QLatin1String(folders::kFolderVariable)),
        QStringLiteral("DIR"));
    if (firstLook(argc, argv, folderOption) == Ask::AnswerAndEnd) {
        QCoreApplication app(argc, argv);
        QCommandLineParser parser;
        // Prints the help, the version or the mistake and ends (0 or 1).
        describe(app, parser, folderOption);
        return 0;
    }

    browsersandbox::PrepareForUser("tavrelo");
    QApplication app(argc, argv);
    QCommandLineParser parser;
    describe(app, parser, folderOption);
    if (!parser.positionalArguments().isEmpty()) {
        std::fprintf(stderr, "tavrelo: unexpected argument %s (see tavrelo --help)\n",
                     qPrintable(parser.positionalArguments().first()));
        return 2;
    }
    QGuiApplication::setDesktopFileName(QStringLiteral(TAVRELO_APP_ID));
    QApplication::setWindowIcon(ui::ProgramIcon());

    const QString folder = parser.isSet(folderOption)
                               ? QDir::cleanPath(QDir(parser.value(folderOption)).absolutePath())
                               : folders::DefaultProgramFolder();
    const folders::FolderState state = folders::StateOf(folder);
    if (state == folders::FolderState::NotAProgramFolder) {
        complain(folders::NotAProgramFolderMessage(folder));
        return 1;
    }
    mdlHouse::SetProgramFolder(folder);

    windows::RegisterWindows();
    // A shared catalogue whose server wants a password that libpq finds nowhere asks for it here.
    ui::LoginDialog::Install();

    frmMain main;
    if (!main.Load()) return 0;
    // Made only once this copy holds the single-instance lock, so that a refused second copy
    // writes nothing; no window reads the catalogue before the event loop runs.
    QString error;
    if (!folders::Prepare(folder, state, &error)) {
        complain(error);
        return 1;
    }
    // Held while this copy runs, so that tavrelo-backup restore leaves the folder alone meanwhile.
    // A folder that cannot hold it (read-only) still opens.
    folders::HoldFolderForProgram(folder);
    reportWindowIfAsked();
    return app.exec();
}
