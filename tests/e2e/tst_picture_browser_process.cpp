// Starts the real program on a real X server (Xvfb) with nothing in its environment that switches
// the browser engine's sandbox off, and drives it with real clicks (xdotool) to the presentation
// of a house with a picture. Run as root, the program must switch the sandbox off itself, say so,
// and show the picture; run as an ordinary user, the sandbox stays on. When the page's process is
// killed, the program goes on with an empty picture area and the next house shows its picture.
//
// Where to click comes from the program's own trace (TAVRELO_TRACE_UI=1: where each control and
// menu stands on the screen); whether a picture is shown comes from the screen's pixels.
#include <signal.h>
#include <sys/types.h>
#include <unistd.h>

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include "TestSupport.h"
#include "core/db/Connection.h"

namespace {

constexpr uid_t kNobody = 65534;

QString run(const QString& program, const QStringList& args, const QProcessEnvironment& env,
            int timeoutMs = 20000)
{
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(program, args);
    if (!p.waitForFinished(timeoutMs)) {
        p.kill();
        p.waitForFinished();
    }
    return QString::fromLocal8Bit(p.readAllStandardOutput()).trimmed();
}

QByteArray readFile(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Every process below pid (children, their children, ...) with its command line.
QMap<qint64, QString> descendants(qint64 pid)
{
    QMap<qint64, qint64> parent;
    QDirIterator it(QStringLiteral("/proc"), QDir::Dirs | QDir::NoDotAndDotDot);
    while (it.hasNext()) {
        const QString dir = it.next();
        bool number = false;
        const qint64 id = QFileInfo(dir).fileName().toLongLong(&number);
        if (!number) continue;
        const QByteArray stat = readFile(dir + QStringLiteral("/stat"));
        const int close = stat.lastIndexOf(')');
        if (close < 0) continue;
        const QList<QByteArray> fields = stat.mid(close + 2).split(' ');
        if (fields.size() > 1) parent.insert(id, fields[1].toLongLong());
    }
    QMap<qint64, QString> found;
    bool grew = true;
    QSet<qint64> family{pid};
    while (grew) {
        grew = false;
        for (auto p = parent.cbegin(); p != parent.cend(); ++p) {
            if (family.contains(p.value()) && !family.contains(p.key())) {
                family.insert(p.key());
                grew = true;
            }
        }
    }
    family.remove(pid);
    for (qint64 id : family) {
        QByteArray cmd = readFile(QStringLiteral("/proc/%1/cmdline").arg(id));
        cmd.replace('\0', ' ');
        found.insert(id, QString::fromLocal8Bit(cmd).trimmed());
    }
    return found;
}

// The page processes below pid. Chromium forks them from its zygote, and this engine leaves them
// the zygote's command line, so a page process is a child of a zygote that runs the renderer's
// compositor thread (or, with other builds, says --type=renderer outright).
QList<qint64> renderers(qint64 pid)
{
    QList<qint64> ids;
    const auto all = descendants(pid);
    for (auto p = all.cbegin(); p != all.cend(); ++p) {
        if (p.value().contains(QLatin1String("--type=renderer"))) {
            ids << p.key();
            continue;
        }
        if (!p.value().contains(QLatin1String("--type=zygote"))) continue;
        const QByteArray stat = readFile(QStringLiteral("/proc/%1/stat").arg(p.key()));
        const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
        const qint64 parent = fields.size() > 1 ? fields[1].toLongLong() : 0;
        if (!all.value(parent).contains(QLatin1String("--type=zygote"))) continue;
        QDirIterator tasks(QStringLiteral("/proc/%1/task").arg(p.key()), QDir::Dirs | QDir::NoDotAndDotDot);
        while (tasks.hasNext()) {
            if (readFile(tasks.next() + QStringLiteral("/comm")).trimmed() == "Compositor") {
                ids << p.key();
                break;
            }
        }
    }
    return ids;
}

}  // namespace

class tst_picture_browser_process : public QObject {
    Q_OBJECT

    QProcess xvfb_;
    QString display_;
    QTemporaryDir base_;
    QString built_;

    // One running copy of the program, with everything it wrote on standard error.
    struct Program {
        QProcess process;
        QByteArray err;
        int seen = 0;  // trace lines already consumed by waitFor
        ~Program()
        {
            process.kill();
            process.waitForFinished(10000);
        }
    };

    QProcessEnvironment environmentFor(const QString& runtime, const QString& home)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        // Nothing from the test harness may decide about the sandbox: the program does.
        env.remove(QStringLiteral("QTWEBENGINE_DISABLE_SANDBOX"));
        env.remove(QStringLiteral("QTWEBENGINE_CHROMIUM_FLAGS"));
        env.insert(QStringLiteral("DISPLAY"), display_);
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);
        env.insert(QStringLiteral("HOME"), home);
        env.insert(QStringLiteral("TAVRELO_TRACE_UI"), QStringLiteral("1"));
        env.insert(QStringLiteral("LANG"), QStringLiteral("C.UTF-8"));
        return env;
    }

    // A program folder with the program, one type and two houses with one picture each (the
    // first all red, the second all blue), owned by owner.
    QString makeOffice(const QString& name, uid_t owner)
    {
        const QString office = base_.filePath(name);
        QDir().mkpath(office + QStringLiteral("/Images"));
        QDir().mkpath(office + QStringLiteral("/Music"));
        const QString binary = office + QStringLiteral("/tavrelo");
        if (!QFile::copy(built_, binary)) return QString();
        if (!db::CreateEmptyDatabase(office + QStringLiteral("/House.db"))) return QString();
        db::Connection c;
        if (!c.Open(office + QStringLiteral("/House.db"))) return QString();
        c.Execute(
            QStringLiteral("Insert Into t_HouseType (List, HouseType, MusicTitle, MusicFile) "
                           "Values (1, '公寓', '', '')"));
        for (int house = 1; house <= 2; ++house) {
            c.Execute(QStringLiteral("Insert Into t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) "
                                     "Values ('翠湖苑', '%1', '', 1, 1)")
                          .arg(house));
            const QString file = QStringLiteral("00000%1_0001.png").arg(house);
            testsupport::MakePicture(office + QStringLiteral("/Images/") + file, 320, 240,
                                     house == 1 ? Qt::red : Qt::blue);
            c.Execute(QStringLiteral("Insert Into t_Image (HouseID, Caption, Intro, ImageFile, List) "
                                     "Values (%1, '平面图', '', '%2', 1)")
                          .arg(house)
                          .arg(file));
        }
        c.Close();
        QDirIterator it(office, QDir::AllEntries | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
        QStringList paths{office};
        while (it.hasNext()) paths << it.next();
        for (const QString& p : paths) {
            if (::chown(QFile::encodeName(p).constData(), owner, owner) != 0) return QString();
        }
        return binary;
    }

    QString ownedFolder(const QString& name, uid_t owner)
    {
        const QString path = base_.filePath(name);
        QDir().mkpath(path);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        if (::chown(QFile::encodeName(path).constData(), owner, owner) != 0) return QString();
        return path;
    }

    void start(Program& program, const QStringList& runner, const QString& binary, uid_t user)
    {
        const QString runtime = ownedFolder(QStringLiteral("runtime-%1").arg(user), user);
        const QString home = ownedFolder(QStringLiteral("home-%1").arg(user), user);
        QVERIFY(!runtime.isEmpty() && !home.isEmpty());
        program.process.setProcessEnvironment(environmentFor(runtime, home));
        connect(&program.process, &QProcess::readyReadStandardError, this,
                [&program] { program.err += program.process.readAllStandardError(); });
        const QStringList all = runner + QStringList{binary};
        program.process.start(all.first(), all.mid(1));
        QVERIFY(program.process.waitForStarted());
    }

    static QStringList traceLines(const Program& program)
    {
        QStringList lines;
        for (const QString& line : QString::fromUtf8(program.err).split(QLatin1Char('\n')))
            if (line.startsWith(QLatin1String("tavrelo-trace: "))) lines << line.mid(15);
        return lines;
    }

    // Waits for a new trace line matching pattern; its captured numbers come back in *numbers.
    bool waitFor(Program& program, const QString& pattern, QList<int>* numbers = nullptr,
                 int timeoutMs = 60000)
    {
        const QRegularExpression re(QLatin1Char('^') + pattern + QLatin1Char('$'));
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < timeoutMs) {
            const QStringList lines = traceLines(program);
            for (int i = program.seen; i < lines.size(); ++i) {
                const QRegularExpressionMatch m = re.match(lines[i]);
                if (!m.hasMatch()) continue;
                program.seen = i + 1;
                if (numbers) {
                    numbers->clear();
                    for (int k = 1; k <= m.lastCapturedIndex(); ++k) numbers->append(m.captured(k).toInt());
                }
                return true;
            }
            if (program.process.state() != QProcess::Running) return false;
            QTest::qWait(100);
        }
        return false;
    }

    // Waits until the control's position has been traced (at any time since the program started).
    bool waitForControl(Program& program, const QString& window, const QString& control,
                        int timeoutMs = 30000)
    {
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < timeoutMs) {
            if (placeOf(program, window, control).size() == 4) return true;
            if (program.process.state() != QProcess::Running) return false;
            QTest::qWait(100);
        }
        return false;
    }

    // The newest position traced for a control: x, y, width, height.
    static QList<int> placeOf(const Program& program, const QString& window, const QString& control)
    {
        const QRegularExpression re(QStringLiteral("^control %1 %2 (-?\\d+) (-?\\d+) (\\d+) (\\d+)$")
                                        .arg(window, QRegularExpression::escape(control)));
        QList<int> place;
        for (const QString& line : traceLines(program)) {
            const QRegularExpressionMatch m = re.match(line);
            if (m.hasMatch())
                place = {m.captured(1).toInt(), m.captured(2).toInt(), m.captured(3).toInt(),
                         m.captured(4).toInt()};
        }
        return place;
    }

    void click(int x, int y, int times = 1)
    {
        const QProcessEnvironment env = environmentFor(QString(), QString());
        run(QStringLiteral("xdotool"), {QStringLiteral("mousemove"), QString::number(x), QString::number(y)},
            env);
        QTest::qWait(150);
        run(QStringLiteral("xdotool"),
            {QStringLiteral("click"), QStringLiteral("--repeat"), QString::number(times),
             QStringLiteral("--delay"), QStringLiteral("80"), QStringLiteral("1")},
            env);
    }

    void clickControl(Program& program, const QString& window, const QString& control, int times = 1)
    {
        const QList<int> p = placeOf(program, window, control);
        QVERIFY2(p.size() == 4, qPrintable(QStringLiteral("no place traced for %1 %2").arg(window, control)));
        click(p[0] + p[2] / 2, p[1] + p[3] / 2, times);
    }

    // The share of the browser area's pixels that have the given colour, from a picture of the
    // whole screen.
    double shareOf(const Program& program, QRgb colour)
    {
        const QList<int> area = placeOf(program, QStringLiteral("frmHouseShow"), QStringLiteral("WebImage"));
        if (area.size() != 4 || area[2] < 10 || area[3] < 10) return -1;
        const QString shot = base_.filePath(QStringLiteral("screen.png"));
        run(QStringLiteral("import"), {QStringLiteral("-window"), QStringLiteral("root"), shot},
            environmentFor(QString(), QString()));
        const QImage image(shot);
        if (image.isNull()) return -1;
        int hits = 0, all = 0;
        for (int y = area[1] + 4; y < area[1] + area[3] - 4; y += 2) {
            for (int x = area[0] + 4; x < area[0] + area[2] - 4; x += 2) {
                const QRgb p = image.pixel(x, y);
                ++all;
                if (qAbs(qRed(p) - qRed(colour)) < 16 && qAbs(qGreen(p) - qGreen(colour)) < 16 &&
                    qAbs(qBlue(p) - qBlue(colour)) < 16)
                    ++hits;
            }
        }
        return all ? double(hits) / all : -1;
    }

    bool pictureShown(const Program& program, QRgb colour)
    {
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < 20000) {
            if (shareOf(program, colour) > 0.5) return true;
            QTest::qWait(300);
        }
        return false;
    }

    // Menu "房产信息" > "列表", a double click on the first house, then its first picture button.
    void presentFirstHouse(Program& program)
    {
        QList<int> m;
        QVERIFY2(waitFor(program, QStringLiteral("menu frmMain mnuHouse (\\d+) (\\d+) (\\d+) (\\d+)"), &m),
                 program.err.constData());
        click(m[0] + m[2] / 2, m[1] + m[3] / 2);
        QVERIFY2(waitFor(program, QStringLiteral("item mnuHouse mnuHouseList (\\d+) (\\d+) (\\d+) (\\d+)"),
                         &m, 20000),
                 program.err.constData());
        click(m[0] + m[2] / 2, m[1] + m[3] / 2);
        QVERIFY2(waitForControl(program, QStringLiteral("frmHouseList"), QStringLiteral("lsvHouse")),
                 program.err.constData());
        m = placeOf(program, QStringLiteral("frmHouseList"), QStringLiteral("lsvHouse"));
        // The first row stands at the top of the list's inside.
        click(m[0] + 40, m[1] + 6, 2);
        QVERIFY2(waitFor(program, QStringLiteral("house shown 1")), program.err.constData());
        QVERIFY2(waitFor(program, QStringLiteral("page loaded WebImage Image.htm ok")),
                 program.err.constData());
        QVERIFY2(waitForControl(program, QStringLiteral("frmHouseShow"), QStringLiteral("cmdImage(1)")),
                 program.err.constData());
        clickControl(program, QStringLiteral("frmHouseShow"), QStringLiteral("cmdImage(1)"));
        QVERIFY2(pictureShown(program, qRgb(255, 0, 0)),
                 "the first house's red picture is not on the screen");
        QCOMPARE(program.process.state(), QProcess::Running);
    }

    void stop(Program& program)
    {
        program.process.kill();
        program.process.waitForFinished(10000);
    }

    static bool rootNotice(const Program& program)
    {
        return program.err.contains("running as root, so the picture browser starts without its sandbox");
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(!QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty() &&
                     !QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty() &&
                     !QStandardPaths::findExecutable(QStringLiteral("import")).isEmpty(),
                 "Xvfb, xdotool and import (ImageMagick) are needed (scripts/setup installs them)");
        QVERIFY(base_.isValid());
        // Everyone may walk into the work folder: an ordinary user's copy runs from it.
        QFile::setPermissions(base_.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                                QFile::ReadOther | QFile::ExeOther | QFile::ReadGroup |
                                                QFile::ExeGroup);
        xvfb_.start(QStringLiteral("Xvfb"),
                    {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-noreset"),
                     QStringLiteral("-screen"), QStringLiteral("0"), QStringLiteral("1400x900x24"),
                     QStringLiteral("-nolisten"), QStringLiteral("tcp")});
        QVERIFY(xvfb_.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(xvfb_.canReadLine(), 20000);
        display_ = QStringLiteral(":") + QString::fromLatin1(xvfb_.readLine()).trimmed();
        built_ = qEnvironmentVariable("TAVRELO_BINARY_DIR") + QStringLiteral("/tavrelo");
        QVERIFY2(QFile::exists(built_), qPrintable(QStringLiteral("no program at ") + built_));
    }

    void cleanupTestCase()
    {
        xvfb_.terminate();
        xvfb_.waitForFinished(5000);
    }

    // Root (the usual case on this test machine): the program switches the sandbox off by
    // itself, says so once, and presents the picture. Run by an ordinary user, the same test
    // shows that user's program presenting the picture with the sandbox on.
    void the_program_presents_a_picture_without_help_from_its_environment()
    {
        const bool root = ::geteuid() == 0;
        const QString binary = makeOffice(QStringLiteral("office-own"), ::geteuid());
        QVERIFY(!binary.isEmpty());
        Program program;
        start(program, {}, binary, ::geteuid());
        presentFirstHouse(program);
        if (QTest::currentTestFailed()) return stop(program);
        const QList<qint64> pages = renderers(program.process.processId());
        QVERIFY2(!pages.isEmpty(), "no page process below the program");
        const auto all = descendants(program.process.processId());
        for (qint64 id : pages) {
            QCOMPARE(all.value(id).contains(QLatin1String("--no-sandbox")), root);
        }
        QCOMPARE(rootNotice(program), root);
        QCOMPARE(program.err.count("running as root"), root ? 1 : 0);
        stop(program);
    }

    // An ordinary user keeps the sandbox: when the tests run as root, the program runs as the
    // user "nobody" through setpriv.
    void an_ordinary_user_keeps_the_sandbox()
    {
        QStringList runner;
        uid_t user = ::geteuid();
        if (user == 0) {
            QVERIFY2(!QStandardPaths::findExecutable(QStringLiteral("setpriv")).isEmpty(),
                     "running as root needs setpriv (util-linux) to start an ordinary user's copy");
            user = kNobody;
            runner = {QStringLiteral("setpriv"), QStringLiteral("--reuid=65534"),
                      QStringLiteral("--regid=65534"), QStringLiteral("--clear-groups"),
                      QStringLiteral("--")};
        }
        const QString binary = makeOffice(QStringLiteral("office-user"), user);
        QVERIFY(!binary.isEmpty());
        Program program;
        start(program, runner, binary, user);
        presentFirstHouse(program);
        if (QTest::currentTestFailed()) return stop(program);
        const QList<qint64> pages = renderers(program.process.processId());
        QVERIFY2(!pages.isEmpty(), "no page process below the program");
        const auto all = descendants(program.process.processId());
        for (qint64 id : pages)
            QVERIFY2(!all.value(id).contains(QLatin1String("--no-sandbox")), qPrintable(all.value(id)));
        QVERIFY2(!rootNotice(program), program.err.constData());
        stop(program);
    }

    void a_killed_page_process_leaves_an_empty_picture_and_the_next_house_shows_its_own()
    {
        const QString binary = makeOffice(QStringLiteral("office-kill"), ::geteuid());
        QVERIFY(!binary.isEmpty());
        Program program;
        start(program, {}, binary, ::geteuid());
        presentFirstHouse(program);
        if (QTest::currentTestFailed()) return stop(program);

        const QList<qint64> pages = renderers(program.process.processId());
        QVERIFY2(!pages.isEmpty(), "no page process below the program");
        for (qint64 id : pages) QCOMPARE(::kill(pid_t(id), SIGKILL), 0);
        QVERIFY2(waitFor(program, QStringLiteral("page process ended WebImage"), nullptr, 20000),
                 program.err.constData());
        QTest::qWait(500);
        QCOMPARE(program.process.state(), QProcess::Running);
        // The picture area is empty now: no red left in it.
        QTRY_VERIFY_WITH_TIMEOUT(
            shareOf(program, qRgb(255, 0, 0)) < 0.05 && shareOf(program, qRgb(255, 0, 0)) >= 0, 10000);

        // The next house: its page is shown afresh, and its blue picture appears.
        clickControl(program, QStringLiteral("frmHouseShow"), QStringLiteral("cmdNext"));
        QVERIFY2(waitFor(program, QStringLiteral("house shown 2")), program.err.constData());
        QVERIFY2(waitFor(program, QStringLiteral("page loaded WebImage Image.htm ok")),
                 program.err.constData());
        clickControl(program, QStringLiteral("frmHouseShow"), QStringLiteral("cmdImage(1)"));
        QVERIFY2(pictureShown(program, qRgb(0, 0, 255)),
                 "the next house's blue picture is not on the screen");
        QVERIFY(!renderers(program.process.processId()).isEmpty());
        QCOMPARE(program.process.state(), QProcess::Running);
        stop(program);
    }
};

QTEST_MAIN(tst_picture_browser_process)
#include "tst_picture_browser_process.moc"
