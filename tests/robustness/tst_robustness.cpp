// Thousands of random actions on every window of the program, with awkward text, random answers
// to every question and file dialogs that hand out real files, missing files or nothing. After
// the storm the program is still running, the database file is sound, the type positions are
// dense and every stored picture is in Images unless its source never existed.
//
// TAVRELO_ROBUSTNESS_SEED and TAVRELO_ROBUSTNESS_ACTIONS replay or lengthen a run;
// TAVRELO_ROBUSTNESS_TRACE=1 prints every action after it ran, preceded by the messages and file
// dialogs it caused.

#include <unistd.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QMessageBox>
#include <QPrinter>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "RandomDriver.h"
#include "TestSupport.h"
#include "about/Registry.h"
#include "core/mdlHouse.h"
#include "core/ui/FileDialog.h"
#include "core/ui/Forms.h"
#include "core/ui/InputBox.h"
#include "core/ui/MsgBox.h"
#include "core/ui/PrintDialog.h"
#include "core/ui/WindowCalls.h"
#include "windows/RegisterWindows.h"
#include "windows/frmMain.h"

namespace {

constexpr quint32 kDefaultSeed = 20261122;
constexpr int kDefaultActions = 3000;

// What a crash report names: the run and the action under way.
char gCrashNote[640];

void reportCrash(int sig)
{
    const char head[] = "\ntst_robustness: fatal signal during ";
    ssize_t ignored = write(STDERR_FILENO, head, sizeof head - 1);
    ignored = write(STDERR_FILENO, gCrashNote, strnlen(gCrashNote, sizeof gCrashNote));
    ignored = write(STDERR_FILENO, "\n", 1);
    (void)ignored;
    std::signal(sig, SIG_DFL);
    std::raise(sig);
}

void noteAction(quint32 seed, int index, const QString& what)
{
    const QByteArray text =
        QStringLiteral("seed %1, action %2: %3").arg(seed).arg(index).arg(what.left(400)).toUtf8();
    qstrncpy(gCrashNote, text.constData(), sizeof gCrashNote);
}

// The part after the last "." of a path, the way the entry wizard takes a picture's extension
// (the whole path when it has no ".").
QString extensionOf(const QString& path)
{
    const int dot = path.lastIndexOf(QLatin1Char('.'));
    return dot < 0 ? path : path.mid(dot + 1);
}

// A registry that names a system information program half of the time, so that the About box's
// button reaches the (intercepted) program start as well as its "not available" notice.
class CoinRegistry : public about::Registry {
public:
    explicit CoinRegistry(QRandomGenerator* rng) : rng_(rng) {}
    bool OpenKey(about::RegistryHandle, const QString&, quint32, about::RegistryHandle* key) override
    {
        *key = 7;
        return rng_->bounded(2) == 0;
    }
    bool QueryValue(about::RegistryHandle, const QString&, quint32* type, QByteArray* buffer,
                    quint32* size) override
    {
        QByteArray value("/usr/bin/tavrelo-no-such-sysinfo");
        value.append('\0');
        if (*size < quint32(value.size())) return false;
        *type = about::REG_SZ;
        buffer->replace(0, value.size(), value);
        *size = quint32(value.size());
        return true;
    }
    void CloseKey(about::RegistryHandle) override {}

private:
    QRandomGenerator* rng_;
};

QString sqlText(const QString& s)
{
    return QLatin1Char('\'') + QString(s).replace(QLatin1Char('\''), QStringLiteral("''")) +
           QLatin1Char('\'');
}

}  // namespace

class tst_robustness : public QObject {
    Q_OBJECT

private:
    // A small catalogue to start from: types with and without their tune, houses of every type
    // with attribute rows and pictures that are really in Images, and templates.
    static void seedCatalogue(const testsupport::ProgramFolder& folder)
    {
        const QStringList types = {QStringLiteral("一室一厅"), QStringLiteral("两室一厅"),
                                   QStringLiteral("Studio"), QStringLiteral("三室两厅")};
        const QStringList tunes = {QStringLiteral("tune1.wav"), QStringLiteral("曲子.wav"),
                                   QStringLiteral("missing.mp3"), QString()};
        for (int i = 0; i < types.size(); ++i) {
            QVERIFY(folder.Exec(
                QStringLiteral("Insert Into t_HouseType (List, HouseType, MusicTitle, MusicFile) "
                               "Values (%1, %2, %3, %4)")
                    .arg(i + 1)
                    .arg(sqlText(types[i]), sqlText(QStringLiteral("曲 ") + QString::number(i + 1)),
                         sqlText(tunes[i]))));
        }
        testsupport::MakeWav(folder.File(QStringLiteral("Music/tune1.wav")), 500);
        testsupport::MakeWav(folder.File(QStringLiteral("Music/曲子.wav")), 500);
        const QStringList buildings = {QStringLiteral("阳光花园"), QStringLiteral("Green Court"),
                                       QStringLiteral("阳光花园"), QStringLiteral("海景大厦")};
        for (int h = 1; h <= 30; ++h) {
            QVERIFY(folder.Exec(
                QStringLiteral("Insert Into t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) "
                               "Values (%1, %2, %3, %4, %5)")
                    .arg(sqlText(buildings[h % buildings.size()]),
                         sqlText(QString::number(100 * (h % 5 + 1) + h)),
                         sqlText(QStringLiteral("说明 %1").arg(h)))
                    .arg(h % 5 + 1)
                    .arg(h % types.size() + 1)));
            QVERIFY(
                folder.Exec(QStringLiteral("Insert Into t_Content (HouseID, Caption, Content, List) Values "
                                           "(%1, '朝向', '南', 1), (%1, '面积', '%2', 2)")
                                .arg(h)
                                .arg(60 + 10 * h)));
        }
        for (int h = 1; h <= 30; h += 3) {
            for (int n = 1; n <= 2; ++n) {
                const QString name = QStringLiteral("%1_%2.png")
                                         .arg(QString::number(h).rightJustified(6, QLatin1Char('0')))
                                         .arg(QString::number(n).rightJustified(4, QLatin1Char('0')));
                testsupport::MakePicture(folder.File(QStringLiteral("Images/") + name), 64, 48);
                QVERIFY(QFileInfo::exists(folder.File(QStringLiteral("Images/") + name)));
                QVERIFY(folder.Exec(
                    QStringLiteral("Insert Into t_Image (HouseID, Caption, Intro, ImageFile, List) "
                                   "Values (%1, '图 %2', '说明', '%3', %2)")
                        .arg(h)
                        .arg(n)
                        .arg(name)));
            }
        }
        QVERIFY(
            folder.Exec(QStringLiteral("Insert Into t_Content_Auto (TypeID, Caption, Content) Values "
                                       "(1, '朝向', '南'), (1, '面积', ''), (2, '楼层', '1')")));
    }

    // What is wrong with the catalogue after a run: a damaged file, type positions that are not
    // 1..N, a picture row whose copy is missing although it came from a real file.
    static QStringList catalogueProblems(const testsupport::ProgramFolder& folder,
                                         const QSet<QString>& realExtensions, int* present, int* absent)
    {
        QStringList problems;
        const QString integrity = folder.Value(QStringLiteral("PRAGMA integrity_check")).toString();
        if (integrity != QLatin1String("ok"))
            problems << QStringLiteral("integrity_check: ") +
                            (integrity.isEmpty() ? QStringLiteral("(unreadable)") : integrity);

        const QList<QVariantList> positions =
            folder.Rows(QStringLiteral("Select List From t_HouseType Order By List"));
        QStringList seen;
        bool dense = true;
        for (int i = 0; i < positions.size(); ++i) {
            seen << (positions[i].value(0).isNull() ? QStringLiteral("NULL")
                                                    : positions[i].value(0).toString());
            if (positions[i].value(0).isNull() || positions[i].value(0).toLongLong() != i + 1) dense = false;
        }
        if (!dense)
            problems << QStringLiteral("t_HouseType positions are not 1..N: ") + seen.join(QLatin1Char(','));

        *present = *absent = 0;
        const QList<QVariantList> images = folder.Rows(
            QStringLiteral("Select HouseID, List, ImageFile From t_Image Order By HouseID, List"));
        for (const QVariantList& row : images) {
            const QString file = row.value(2).toString();
            if (!file.isEmpty() && QFileInfo::exists(folder.File(QStringLiteral("Images/") + file))) {
                ++*present;
                continue;
            }
            ++*absent;
            if (realExtensions.contains(extensionOf(file)))
                problems << QStringLiteral(
                                "house %1 picture %2: \"%3\" came from a real file but is not in Images")
                                .arg(row.value(0).toString(), row.value(1).toString(), file.left(200));
        }
        return problems;
    }

private slots:
    // The final checks themselves find what they are meant to find.
    void the_final_checks_catch_gaps_lost_pictures_and_damage()
    {
        testsupport::ProgramFolder folder;
        seedCatalogue(folder);
        if (QTest::currentTestFailed()) return;
        const QSet<QString> real = {QStringLiteral("png"), QStringLiteral("JPG")};
        int present = 0, absent = 0;
        QCOMPARE(catalogueProblems(folder, real, &present, &absent), QStringList());
        QCOMPARE(present, 20);
        QCOMPARE(absent, 0);

        // A picture whose source never existed is no problem; one copied from a real file is.
        QVERIFY(
            folder.Exec(QStringLiteral("Insert Into t_Image (HouseID, Caption, Intro, ImageFile, List) "
                                       "Values (2, 'a', 'b', '000002_0001.jpeg', 1)")));
        QCOMPARE(catalogueProblems(folder, real, &present, &absent), QStringList());
        QCOMPARE(absent, 1);
        QVERIFY(QFile::remove(folder.File(QStringLiteral("Images/000004_0002.png"))));
        QCOMPARE(catalogueProblems(folder, real, &present, &absent),
                 QStringList() << QStringLiteral(
                     "house 4 picture 2: \"000004_0002.png\" came from a real file but "
                     "is not in Images"));

        // A gap, a repeat, a missing position.
        QVERIFY(QFile::copy(folder.File(QStringLiteral("Images/000001_0001.png")),
                            folder.File(QStringLiteral("Images/000004_0002.png"))));
        QVERIFY(folder.Exec(QStringLiteral("Update t_HouseType Set List = 6 Where List = 4")));
        QCOMPARE(catalogueProblems(folder, real, &present, &absent),
                 QStringList() << QStringLiteral("t_HouseType positions are not 1..N: 1,2,3,6"));
        QVERIFY(folder.Exec(QStringLiteral("Update t_HouseType Set List = 2 Where List = 6")));
        QCOMPARE(catalogueProblems(folder, real, &present, &absent),
                 QStringList() << QStringLiteral("t_HouseType positions are not 1..N: 1,2,2,3"));
        QVERIFY(folder.Exec(QStringLiteral("Update t_HouseType Set List = Null Where HouseType = 'Studio'")));
        QCOMPARE(catalogueProblems(folder, real, &present, &absent).size(), 1);
        QVERIFY(
            folder.Exec(QStringLiteral("Update t_HouseType Set List = 3 Where HouseType = 'Studio'; "
                                       "Update t_HouseType Set List = 4 Where HouseType = '三室两厅'")));
        QCOMPARE(catalogueProblems(folder, real, &present, &absent), QStringList());

        // A damaged file: the last pages (indexes) overwritten.
        QFile file(folder.DatabasePath());
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.size() >= 8192);
        QVERIFY(file.seek(file.size() - 4096));
        file.write(QByteArray(4096, char(0x5a)));
        file.close();
        const QStringList damaged = catalogueProblems(folder, real, &present, &absent);
        QVERIFY2(!damaged.isEmpty() && damaged.first().startsWith(QLatin1String("integrity_check: ")),
                 qPrintable(damaged.join(QLatin1Char('\n'))));
    }

    void random_actions_leave_the_program_running_and_the_catalogue_sound()
    {
        bool ok = false;
        quint32 seed = qEnvironmentVariable("TAVRELO_ROBUSTNESS_SEED").toUInt(&ok);
        if (!ok) seed = kDefaultSeed;
        int actionCount = qEnvironmentVariableIntValue("TAVRELO_ROBUSTNESS_ACTIONS", &ok);
        if (!ok || actionCount <= 0) actionCount = kDefaultActions;
        const bool trace = qEnvironmentVariableIntValue("TAVRELO_ROBUSTNESS_TRACE") != 0;
        qInfo(
            "tst_robustness: seed %u, %d actions (replay with TAVRELO_ROBUSTNESS_SEED=%u "
            "TAVRELO_ROBUSTNESS_ACTIONS=%d)",
            seed, actionCount, seed, actionCount);
        QRandomGenerator rng(seed);

        testsupport::ProgramFolder folder;
        seedCatalogue(folder);
        if (QTest::currentTestFailed()) return;

        // Source files somewhere else on disk: pictures in three formats and two tunes, with
        // names that a concatenated statement or a careless path join would trip over.
        QTemporaryDir sources;
        QVERIFY(sources.isValid());
        QVERIFY2(!sources.path().contains(QLatin1Char('.')),
                 "the picture check needs a folder name without a dot");
        QStringList pictures, tunes;
        for (const QString& name : {QStringLiteral("客厅 照片.png"), QStringLiteral("O'Neil room.JPG"),
                                    QStringLiteral("plan 100%.bmp")}) {
            const QString path = testsupport::MakePicture(sources.path() + QLatin1Char('/') + name, 80, 60);
            QVERIFY2(QFileInfo::exists(path), qPrintable(path));
            pictures << path;
        }
        tunes << testsupport::MakeWav(sources.path() + QStringLiteral("/tune 'x'.wav"), 500)
              << testsupport::MakeWav(sources.path() + QStringLiteral("/背景音乐.wav"), 500);
        const QStringList missing = {sources.path() + QStringLiteral("/不存在的图片.jpeg"),
                                     sources.path() + QStringLiteral("/gone"),
                                     QStringLiteral("/no/such/folder/house.jpeg")};
        for (const QString& m : missing) QVERIFY(!QFileInfo::exists(m));
        // Every stored picture must be in Images unless the file it came from never existed: a
        // source that exists has one of these extensions, and a row whose copy is missing must not.
        QSet<QString> realExtensions = {QStringLiteral("png")};
        for (const QString& path : pictures + tunes) realExtensions.insert(extensionOf(path));
        for (const QString& path : missing) QVERIFY(!realExtensions.contains(extensionOf(path)));
        for (const QString& text : robustness::BadTexts())
            QVERIFY(!realExtensions.contains(extensionOf(text)));

        // Every question answered at random; every file dialog hands out a real file of the kind
        // asked for, a real file of the other kind, a missing file or nothing.
        int questions = 0, notices = 0, dialogs = 0;
        QSet<QString> existingHandedOut, missingHandedOut;
        QStringList messageSamples;
        ui::SetMsgBoxInterceptor([&](const QString& text, ui::Buttons buttons) {
            if (messageSamples.size() < 400 && !messageSamples.contains(text)) messageSamples << text;
            if (buttons == ui::Buttons::OkOnly) {
                ++notices;
                if (trace) std::fprintf(stdout, "   notice: %s\n", text.left(200).toUtf8().constData());
                return ui::Answer::Ok;
            }
            ++questions;
            const ui::Answer answer = rng.bounded(2) ? ui::Answer::Yes : ui::Answer::No;
            if (trace)
                std::fprintf(stdout, "   question: %s -> %s\n", text.left(200).toUtf8().constData(),
                             answer == ui::Answer::Yes ? "Yes" : "No");
            return answer;
        });
        // Saving and printing (the sales board and the house sheet) write into the sources folder,
        // never into the program folder; a print goes to a PDF file. The text question gets an
        // awkward text or a cancel.
        int saves = 0;
        ui::SetSaveFileDialogInterceptor([&](const QString& filter) {
            const int r = int(rng.bounded(4));
            const QString ext = filter.contains(QStringLiteral("*.png")) && r == 1 ? QStringLiteral(".png")
                                                                                   : QStringLiteral(".pdf");
            return r == 0 ? QString() : sources.path() + QStringLiteral("/saved%1").arg(++saves) + ext;
        });
        ui::SetPrintDialogInterceptor([&](QPrinter& printer) {
            printer.setOutputFormat(QPrinter::PdfFormat);
            printer.setOutputFileName(sources.path() + QStringLiteral("/printed.pdf"));
            return rng.bounded(2) == 0;
        });
        ui::SetInputBoxInterceptor([&](const QString&) {
            const QStringList bad = robustness::BadTexts();
            return rng.bounded(3) == 0 ? QString() : bad.at(int(rng.bounded(quint32(bad.size()))));
        });
        ui::SetFileDialogInterceptor([&](const QString& filter) {
            ++dialogs;
            const bool wantsMusic = filter.contains(QStringLiteral("*.wav"), Qt::CaseInsensitive) ||
                                    filter.contains(QStringLiteral("*.mp3"), Qt::CaseInsensitive);
            const QStringList& right = wantsMusic ? tunes : pictures;
            const QStringList& wrong = wantsMusic ? pictures : tunes;
            const int r = int(rng.bounded(20));
            QString path;
            if (r < 9)
                path = right.at(int(rng.bounded(quint32(right.size()))));
            else if (r < 11)
                path = wrong.at(int(rng.bounded(quint32(wrong.size()))));
            else if (r < 15)
                path = missing.at(int(rng.bounded(quint32(missing.size()))));
            if (!path.isEmpty())
                (QFileInfo::exists(path) ? existingHandedOut : missingHandedOut).insert(path);
            if (trace) std::fprintf(stdout, "   file dialog -> \"%s\"\n", path.toUtf8().constData());
            return path;
        });
        // Nothing is ever started or opened outside the program.
        int starts = 0, addresses = 0, exits = 0;
        about::SetProgramStarter([&](const QString&) {
            ++starts;
            return rng.bounded(2) == 0;
        });
        about::SetAddressOpener([&](const QString&) {
            ++addresses;
            return true;
        });
        frmMain::SetEndProgram([&] { ++exits; });
        about::SetRegistry(std::make_unique<CoinRegistry>(&rng));

        const QStringList names = windows::RegisterWindows();
        QVERIFY(!names.isEmpty());
        // The wall screen takes the whole display until Esc is pressed (its own test drives it):
        // here a click on 全屏展示 is only counted.
        int walls = 0;
        ui::SetWallStarter([&walls](QWidget*, const ui::WallRequest&) { ++walls; });
        QPointer<frmMain> main = new frmMain;
        QVERIFY(main->Load());

        // A real modal window would stop the run for good: close it at once and fail.
        QStringList modals;
        QTimer watchdog;
        watchdog.setInterval(50);
        QObject::connect(&watchdog, &QTimer::timeout, [&modals] {
            if (QWidget* modal = QApplication::activeModalWidget()) {
                modals << QString::fromLatin1(modal->metaObject()->className()) + QStringLiteral(" \"") +
                              modal->windowTitle() + QLatin1Char('"');
                if (auto* dialog = qobject_cast<QDialog*>(modal))
                    dialog->reject();
                else
                    modal->close();
            }
        });
        watchdog.start();

        std::signal(SIGSEGV, reportCrash);
        std::signal(SIGABRT, reportCrash);
        std::signal(SIGFPE, reportCrash);
        std::signal(SIGBUS, reportCrash);

        robustness::RandomDriver driver(&rng, main, names);
        QElapsedTimer clock;
        clock.start();
        // Every window once at the start, so even a short run covers each of them.
        int index = 0, maxPresent = 0, maxAbsent = 0;
        for (const QString& name : names) {
            noteAction(seed, index, QStringLiteral("show ") + name);
            Forms::Show(name);
            QCoreApplication::processEvents();
            driver.NoteOpenWindows();
        }
        for (index = 0; index < actionCount; ++index) {
            noteAction(seed, index, QStringLiteral("(choosing)"));
            // The description is made before the action runs, so a crash names it.
            const QString what = driver.Step();
            noteAction(seed, index, what + QStringLiteral(" (events after it)"));
            if (trace) std::fprintf(stdout, "#%d %s\n", index, what.left(200).toUtf8().constData());
            QCoreApplication::processEvents();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            driver.NoteOpenWindows();
            // The catalogue is checked along the way too: what a later action deletes is seen here.
            if (index % 250 == 249) {
                int present = 0, absent = 0;
                const QStringList problems = catalogueProblems(folder, realExtensions, &present, &absent);
                QVERIFY2(problems.isEmpty(), qPrintable(QStringLiteral("after action %1 (%2): %3")
                                                            .arg(index)
                                                            .arg(what, problems.join(QLatin1Char('\n')))));
                maxPresent = qMax(maxPresent, present);
                maxAbsent = qMax(maxAbsent, absent);
            }
            QVERIFY2(main,
                     qPrintable(
                         QStringLiteral("the main window is gone after action %1: %2").arg(index).arg(what)));
            if (QWidget* modal = QApplication::activeModalWidget())
                modals << QStringLiteral("left open: ") +
                              QString::fromLatin1(modal->metaObject()->className());
            QVERIFY2(modals.isEmpty(),
                     qPrintable(QStringLiteral("a real modal window opened at action %1 (%2): %3")
                                    .arg(index)
                                    .arg(what, modals.join(QStringLiteral("; ")))));
        }
        const qint64 elapsed = clock.elapsed();
        noteAction(seed, index, QStringLiteral("closing the main window"));

        QStringList tally;
        for (auto it = driver.actions.cbegin(); it != driver.actions.cend(); ++it)
            tally << it.key() + QLatin1Char('=') + QString::number(it.value());
        qInfo("tst_robustness: %d actions in %lld ms; %s", actionCount, elapsed,
              qPrintable(tally.join(QStringLiteral(", "))));
        qInfo(
            "tst_robustness: %d questions, %d notices, %d file dialogs (%d real files, %d missing handed "
            "out), "
            "%d exit requests, %d program starts, %d addresses and %d wall screens intercepted",
            questions, notices, dialogs, int(existingHandedOut.size()), int(missingHandedOut.size()), exits,
            starts, addresses, walls);
        qInfo("tst_robustness: windows opened: %s, and %d other windows (large picture views)",
              qPrintable(QStringList(driver.opened.values()).join(QLatin1Char(' '))), driver.otherWindows);
        qInfo("tst_robustness: distinct messages: %s",
              qPrintable(messageSamples.join(QStringLiteral(" | ")).left(3000)));

        // Every registered window was driven; the menu's exit was asked for and did nothing.
        for (const QString& name : names)
            QVERIFY2(driver.opened.contains(name), qPrintable(name + QStringLiteral(" was never open")));
        QCOMPARE(exits, driver.exitRequests);
        QVERIFY(!QApplication::activeModalWidget());

        // The frame closes with every child still open, each running its own unload handler.
        main->close();
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(modals.isEmpty());
        watchdog.stop();
        delete main;
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        std::signal(SIGSEGV, SIG_DFL);
        std::signal(SIGABRT, SIG_DFL);
        std::signal(SIGFPE, SIG_DFL);
        std::signal(SIGBUS, SIG_DFL);
        ui::SetMsgBoxInterceptor({});
        ui::SetFileDialogInterceptor({});
        ui::SetSaveFileDialogInterceptor({});
        ui::SetPrintDialogInterceptor({});
        ui::SetInputBoxInterceptor({});
        about::SetProgramStarter({});
        about::SetAddressOpener({});
        about::SetRegistry(nullptr);
        frmMain::SetEndProgram({});

        int present = 0, absent = 0;
        const QStringList problems = catalogueProblems(folder, realExtensions, &present, &absent);
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join(QLatin1Char('\n'))));
        // What the run itself stored (the seeded catalogue has 30 houses and 20 pictures).
        qInfo("tst_robustness: the run saved %lld houses and %lld pictures",
              folder.Value(QStringLiteral("Select seq From sqlite_sequence Where name = 't_House'"))
                      .toLongLong() -
                  30,
              folder.Value(QStringLiteral("Select seq From sqlite_sequence Where name = 't_Image'"))
                      .toLongLong() -
                  20);
        // Houses whose type row is gone are invisible in every list (a type name with an
        // apostrophe, say, leaves a house without its type): counted, not a failure.
        qInfo("tst_robustness: houses without a type row: %s (type keys %s)",
              qPrintable(folder
                             .Value(QStringLiteral(
                                 "Select Count(*) From t_House Where TypeID Is Null Or TypeID Not In "
                                 "(Select TypeID From t_HouseType)"))
                             .toString()),
              qPrintable(folder
                             .Value(QStringLiteral(
                                 "Select group_concat(Distinct Coalesce(TypeID, 'NULL')) From t_House "
                                 "Where TypeID Is Null Or TypeID Not In (Select TypeID From t_HouseType)"))
                             .toString()));
        qInfo(
            "tst_robustness: checked along the way: at most %d stored pictures in Images and %d whose source "
            "never existed",
            maxPresent, maxAbsent);
        qInfo(
            "tst_robustness: at the end %s houses, %s types, %s attribute rows, %s template rows, "
            "%d pictures in Images and %d whose source never existed",
            qPrintable(folder.Value(QStringLiteral("Select Count(*) From t_House")).toString()),
            qPrintable(folder.Value(QStringLiteral("Select Count(*) From t_HouseType")).toString()),
            qPrintable(folder.Value(QStringLiteral("Select Count(*) From t_Content")).toString()),
            qPrintable(folder.Value(QStringLiteral("Select Count(*) From t_Content_Auto")).toString()),
            present, absent);
    }
};

// The run is long and the windows warn freely (no sound device, no GPU): Qt Test's usual cap on
// warnings would hide the summary at the end, so it is lifted.
int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    app.setAttribute(Qt::AA_Use96Dpi, true);
    tst_robustness test;
    QStringList args = app.arguments();
    args << QStringLiteral("-maxwarnings") << QStringLiteral("0");
    return QTest::qExec(&test, args);
}
#include "tst_robustness.moc"
