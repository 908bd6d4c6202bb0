// Builds the Debian package from the build tree (CPack on what is already built), unpacks it into
// a scratch root and runs what it holds, as an office administrator's machine would: the unpacked
// tavrelo under its own Xvfb with HOME and XDG_DATA_HOME in a temporary folder, the unpacked
// tavrelo-import on the legacy sample, and the package's own files through the validators. As root
// it also installs the package with apt, starts it, removes it and purges it.
#include <unistd.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "version.h"

namespace {

// The legacy sample kept beside the importer's tests.
QString legacySample()
{
    const QFileInfo sample(qEnvironmentVariable("TAVRELO_SOURCE_DIR") +
                           QStringLiteral("/tests/import/fixtures/House.MDB"));
    return sample.isFile() ? sample.absoluteFilePath() : QString();
}

struct Run {
    int exitCode = -1;
    bool finished = false;
    QString out;
    QString err;
};

Run run(const QString& program, const QStringList& args, const QProcessEnvironment& env,
        int timeoutMs = 60000, const QString& workingDir = QString())
{
    Run r;
    QProcess p;
    p.setProcessEnvironment(env);
    if (!workingDir.isEmpty()) p.setWorkingDirectory(workingDir);
    p.start(program, args);
    if (!p.waitForStarted(10000)) {
        r.err = QStringLiteral("cannot start ") + program;
        return r;
    }
    r.finished = p.waitForFinished(timeoutMs);
    if (!r.finished) {
        p.kill();
        p.waitForFinished();
    }
    r.exitCode = r.finished && p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = QString::fromLocal8Bit(p.readAllStandardOutput());
    r.err = QString::fromLocal8Bit(p.readAllStandardError());
    return r;
}

QString describe(const Run& r)
{
    return QStringLiteral("exit %1%2\nstdout: %3\nstderr: %4")
        .arg(r.exitCode)
        .arg(r.finished ? QString() : QStringLiteral(" (did not end)"))
        .arg(r.out, r.err.right(3000));
}

qint64 count(const QString& database, const QString& table)
{
    db::Connection connection;
    if (!connection.Open(database)) return -1;
    db::Recordset rs;
    if (!connection.Execute(QStringLiteral("Select Count(*) as n From ") + table, rs) || rs.Eof()) return -1;
    return rs.Field(QStringLiteral("n")).toLongLong();
}

QByteArray sha256(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QCryptographicHash::hash(f.readAll(), QCryptographicHash::Sha256)
                                       : QByteArray();
}

// The rows the catalogue window listed, from the program's report line.
int listedRows(const Run& r)
{
    const QRegularExpressionMatch m =
        QRegularExpression(QStringLiteral("list lsvHouse rows (\\d+)")).match(r.out);
    return m.hasMatch() ? m.captured(1).toInt() : -1;
}

}  // namespace

class tst_package : public QObject {
    Q_OBJECT

    QTemporaryDir scratch_;
    QString deb_;
    QString root_;  // the unpacked package
    QProcess xvfb_;
    QString display_;
    int homes_ = 0;

    QString version() const
    {
        return QStringLiteral("%1.%2.%3")
            .arg(TAVRELO_VERSION_MAJOR)
            .arg(TAVRELO_VERSION_MINOR)
            .arg(TAVRELO_VERSION_PATCH);
    }

    // A fresh user: HOME, XDG_DATA_HOME and the runtime folder in the scratch folder, the X server
    // of this test, nothing from the caller that names a program folder.
    QProcessEnvironment freshUser(QString* home)
    {
        *home = scratch_.path() + QStringLiteral("/home%1").arg(++homes_);
        QDir().mkpath(*home + "/data");
        QDir().mkpath(*home + "/runtime");
        QFile::setPermissions(*home + "/runtime", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove("TAVRELO_FOLDER");
        env.remove("XDG_CONFIG_HOME");
        env.remove("XDG_CACHE_HOME");
        env.remove("TAVRELO_REPORT_WINDOW");
        env.insert("HOME", *home);
        env.insert("XDG_DATA_HOME", *home + "/data");
        env.insert("XDG_RUNTIME_DIR", *home + "/runtime");
        env.insert("DISPLAY", display_);
        env.insert("QT_QPA_PLATFORM", "xcb");
        return env;
    }

    // Starts a program that opens the catalogue window the way its menu entry does and reports
    // the rows it lists, then ends.
    Run startAndList(const QString& program, QProcessEnvironment env, const QStringList& args = {})
    {
        env.insert("TAVRELO_REPORT_WINDOW", "frmHouseList");
        return run(program, args, env, 60000);
    }

    QString unpacked(const QString& relative) const { return root_ + relative; }

    // Visible top-level windows of a process whose title is exactly "Tavrelo".
    QStringList windowsOf(qint64 pid, const QProcessEnvironment& env)
    {
        const Run r =
            run("xdotool",
                {"search", "--all", "--onlyvisible", "--pid", QString::number(pid), "--name", "^Tavrelo$"},
                env, 10000);
        return r.out.trimmed().isEmpty() ? QStringList() : r.out.trimmed().split('\n');
    }

    // The icon sizes a window offers its window manager (_NET_WM_ICON).
    QStringList iconSizes(const QString& window, const QProcessEnvironment& env)
    {
        const Run r = run("xprop", {"-id", window, "_NET_WM_ICON"}, env, 20000);
        QStringList sizes;
        QRegularExpressionMatchIterator it =
            QRegularExpression(QStringLiteral("Icon \\((\\d+) x (\\d+)\\)")).globalMatch(r.out);
        while (it.hasNext()) {
            const QRegularExpressionMatch m = it.next();
            sizes << m.captured(1) + "x" + m.captured(2);
        }
        return sizes;
    }

private slots:
    void initTestCase()
    {
        for (const char* tool : {"cpack", "dpkg-deb", "Xvfb", "xdotool", "xprop", "desktop-file-validate",
                                 "appstreamcli", "lintian"})
            QVERIFY2(!QStandardPaths::findExecutable(tool).isEmpty(),
                     qPrintable(QStringLiteral("%1 is needed (scripts/setup installs it)").arg(tool)));
        QVERIFY(scratch_.isValid());
        const QString build = qEnvironmentVariable("TAVRELO_BINARY_DIR");
        QVERIFY2(QFileInfo::exists(build + "/CPackConfig.cmake"),
                 qPrintable("no CPack configuration in " + build));

        // The package, made from the build tree into the scratch folder (the build's own package,
        // which scripts/package makes, is left alone).
        const QString out = scratch_.path() + "/package";
        const Run cpack =
            run("cpack", {"-G", "DEB", "-B", out}, QProcessEnvironment::systemEnvironment(), 300000, build);
        QVERIFY2(cpack.exitCode == 0, qPrintable(describe(cpack)));
        const QString arch =
            run("dpkg", {"--print-architecture"}, QProcessEnvironment::systemEnvironment()).out.trimmed();
        deb_ = out + QStringLiteral("/tavrelo_%1_%2.deb").arg(version(), arch);
        QVERIFY2(QFileInfo(deb_).isFile(), qPrintable(deb_ + " was not made\n" + cpack.out));

        root_ = scratch_.path() + "/root";
        const Run x = run("dpkg-deb", {"-x", deb_, root_}, QProcessEnvironment::systemEnvironment());
        QVERIFY2(x.exitCode == 0, qPrintable(describe(x)));

        xvfb_.start("Xvfb",
                    {"-displayfd", "1", "-noreset", "-screen", "0", "1400x900x24", "-nolisten", "tcp"});
        QVERIFY(xvfb_.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(xvfb_.canReadLine(), 20000);
        display_ = ":" + QString::fromLatin1(xvfb_.readLine()).trimmed();
    }

    void cleanupTestCase()
    {
        xvfb_.terminate();
        xvfb_.waitForFinished(5000);
    }

    void the_package_holds_programs_menu_entry_icons_metainfo_manuals_and_copyright()
    {
        for (const char* path :
             {"/usr/bin/tavrelo", "/usr/bin/tavrelo-import", "/usr/bin/tavrelo-demo",
              "/usr/bin/tavrelo-backup", "/usr/bin/tavrelo-pricelist", "/usr/bin/tavrelo-server"})
            QVERIFY2(QFileInfo(unpacked(path)).isExecutable(), path);
        QVERIFY2(!QFileInfo::exists(unpacked("/usr/bin/tavrelo-mkdb")),
                 "the build's catalogue maker is not installed");
        const QStringList desktops = QDir(unpacked("/usr/share/applications")).entryList({"*.desktop"});
        QCOMPARE(desktops.size(), 1);
        const QString desktop = unpacked("/usr/share/applications/") + desktops.first();
        QFile entry(desktop);
        QVERIFY(entry.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(entry.readAll());
        QVERIFY(text.contains("\nName=Tavrelo\n"));
        QVERIFY(text.contains(QRegularExpression("\nName\\[zh_CN\\]=.*[\\x{4e00}-\\x{9fff}]")));
        QVERIFY(text.contains(QRegularExpression("\nComment\\[zh_CN\\]=.*[\\x{4e00}-\\x{9fff}]")));
        QVERIFY(text.contains("\nCategories=Office;\n"));
        QVERIFY(text.contains("\nExec=tavrelo\n"));
        QVERIFY(text.contains("\nIcon=tavrelo\n"));
        const Run dfv = run("desktop-file-validate", {desktop}, QProcessEnvironment::systemEnvironment());
        QVERIFY2(dfv.exitCode == 0 && dfv.out.trimmed().isEmpty(), qPrintable(describe(dfv)));

        QVERIFY(QFileInfo(unpacked("/usr/share/icons/hicolor/scalable/apps/tavrelo.svg")).isFile());
        for (int size : {16, 22, 24, 32, 48, 64, 128, 256}) {
            const QString png =
                unpacked(QStringLiteral("/usr/share/icons/hicolor/%1x%1/apps/tavrelo.png").arg(size));
            QImage image(png);
            QVERIFY2(!image.isNull(), qPrintable(png));
            QCOMPARE(image.size(), QSize(size, size));
        }

        const QStringList metainfos = QDir(unpacked("/usr/share/metainfo")).entryList({"*.metainfo.xml"});
        QCOMPARE(metainfos.size(), 1);
        const QString metainfo = unpacked("/usr/share/metainfo/") + metainfos.first();
        QFile meta(metainfo);
        QVERIFY(meta.open(QIODevice::ReadOnly));
        const QString metaText = QString::fromUtf8(meta.readAll());
        // The launchable names the installed desktop file; the README's screenshots are listed.
        QVERIFY(metaText.contains(">" + desktops.first() + "</launchable>"));
        QFile readme(qEnvironmentVariable("TAVRELO_SOURCE_DIR") + "/README.md");
        QVERIFY(readme.open(QIODevice::ReadOnly));
        QStringList shots;
        QRegularExpressionMatchIterator it =
            QRegularExpression(R"(!\[[^\]]*\]\(docs/screenshots/([^)]+\.png)\))")
                .globalMatch(QString::fromUtf8(readme.readAll()));
        while (it.hasNext()) shots << it.next().captured(1);
        QVERIFY(shots.size() >= 9);
        int at = 0;
        for (const QString& shot : shots) {
            // In the README's order, the first one the default.
            const int found = metaText.indexOf("/docs/screenshots/" + shot + "</image>", at);
            QVERIFY2(found > 0, qPrintable(shot));
            at = found;
        }
        const int defaultShot = metaText.indexOf("<screenshot type=\"default\">");
        QVERIFY(defaultShot > 0 && metaText.count("<screenshot>") == shots.size() - 1);
        QVERIFY(metaText.indexOf("<screenshot", defaultShot + 1) > metaText.indexOf(shots.first()));
        QVERIFY(metaText.contains(QStringLiteral("<release version=\"%1\"").arg(version())));
        const Run asv =
            run("appstreamcli", {"validate", "--no-net", metainfo}, QProcessEnvironment::systemEnvironment());
        QVERIFY2(asv.exitCode == 0, qPrintable(describe(asv)));

        for (const char* page : {"tavrelo", "tavrelo-import", "tavrelo-demo", "tavrelo-backup",
                                 "tavrelo-pricelist", "tavrelo-server"})
            QVERIFY2(QFileInfo(unpacked(QStringLiteral("/usr/share/man/man1/%1.1.gz").arg(page))).isFile(),
                     page);
        QFile copyright(unpacked("/usr/share/doc/tavrelo/copyright"));
        QVERIFY(copyright.open(QIODevice::ReadOnly));
        QVERIFY(copyright.readLine().startsWith(
            "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/"));

        const Run fields = run("dpkg-deb", {"-f", deb_, "Package", "Version", "Depends", "Recommends"},
                               QProcessEnvironment::systemEnvironment());
        QVERIFY(fields.out.contains("Package: tavrelo\n"));
        QVERIFY(fields.out.contains("Version: " + version() + "\n"));
        for (const char* dependency :
             {"libqt6widgets6", "libqt6webenginewidgets6", "libqt6multimedia6", "libsqlite3-0", "libmdb3",
              "qt6-qpa-plugins", "gstreamer1.0-plugins-good", "fonts-noto-cjk"})
            QVERIFY2(fields.out.contains(QLatin1String(dependency)),
                     qPrintable(dependency + QStringLiteral("\n") + fields.out));
        QVERIFY(fields.out.contains(
            QRegularExpression("Recommends:.*gstreamer1.0-plugins-bad.*fluid-soundfont-gm")));
    }

    void lintian_finds_no_error()
    {
        const Run r =
            run("lintian", {"--fail-on", "error", deb_}, QProcessEnvironment::systemEnvironment(), 300000);
        QVERIFY2(r.finished && r.exitCode == 0, qPrintable(describe(r)));
        QVERIFY2(!r.out.contains(QRegularExpression("^E: ", QRegularExpression::MultilineOption)),
                 qPrintable(r.out));
    }

    void version_and_help_answer_without_a_window_system()
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove("DISPLAY");
        env.remove("WAYLAND_DISPLAY");
        env.remove("QT_QPA_PLATFORM");
        const Run v = run(unpacked("/usr/bin/tavrelo"), {"--version"}, env, 20000);
        QVERIFY2(v.exitCode == 0, qPrintable(describe(v)));
        QCOMPARE(v.out.trimmed(), "Tavrelo " + version());
        const Run h = run(unpacked("/usr/bin/tavrelo"), {"--help"}, env, 20000);
        QVERIFY2(h.exitCode == 0, qPrintable(describe(h)));
        QVERIFY(h.out.contains("--folder <DIR>"));
        QVERIFY(h.out.contains("--version"));
        const Run bad = run(unpacked("/usr/bin/tavrelo"), {"--no-such-option"}, env, 20000);
        QVERIFY2(bad.exitCode != 0 && bad.err.contains("no-such-option"), qPrintable(describe(bad)));
    }

    void the_first_start_makes_the_per_user_catalogue_and_the_second_finds_it()
    {
        QString home;
        const QProcessEnvironment env = freshUser(&home);
        const QString folder = home + "/data/Tavrelo";
        QVERIFY(!QFileInfo::exists(folder));
        const Run first = startAndList(unpacked("/usr/bin/tavrelo"), env);
        QVERIFY2(first.exitCode == 0, qPrintable(describe(first)));
        QVERIFY2(first.out.contains("window frmHouseList open"), qPrintable(describe(first)));
        QCOMPARE(listedRows(first), 0);
        // No message: nothing on standard error from the program, and it ended by itself.
        QVERIFY2(!first.err.contains("tavrelo:"), qPrintable(first.err));
        QVERIFY(QFileInfo(folder + "/House.db").isFile());
        QVERIFY(QFileInfo(folder + "/Images").isDir());
        QVERIFY(QFileInfo(folder + "/Music").isDir());
        for (const char* table : {"t_HouseType", "t_House", "t_Content", "t_Image", "t_Content_Auto"})
            QCOMPARE(count(folder + "/House.db", table), 0);
        // Nothing lands beside the unpacked program.
        QVERIFY(!QFileInfo::exists(unpacked("/usr/bin/House.db")));
        QVERIFY(!QFileInfo::exists(unpacked("/usr/bin/Images")));

        // A house added meanwhile: the second start lists it from the same file, untouched.
        {
            db::Connection c;
            QVERIFY(c.Open(folder + "/House.db"));
            QVERIFY(c.Execute("Insert Into t_HouseType (HouseType, List) Values ('一室一厅', 1)"));
            QVERIFY(
                c.Execute("Insert Into t_House (HouseName, HouseNo, TypeID) Values ('翠湖苑', '101', 1)"));
        }
        const QByteArray before = sha256(folder + "/House.db");
        const Run second = startAndList(unpacked("/usr/bin/tavrelo"), env);
        QVERIFY2(second.exitCode == 0, qPrintable(describe(second)));
        QCOMPARE(listedRows(second), 1);
        QCOMPARE(sha256(folder + "/House.db"), before);
    }

    void the_main_window_and_a_message_box_show_the_program_icon()
    {
        QString home;
        QProcessEnvironment env = freshUser(&home);
        QProcess program;
        program.setProcessEnvironment(env);
        program.start(unpacked("/usr/bin/tavrelo"), {});
        QVERIFY(program.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(!windowsOf(program.processId(), env).isEmpty(), 60000);
        const QString frame = windowsOf(program.processId(), env).first();
        const QStringList sizes = iconSizes(frame, env);
        // Qt offers the window manager the sizes up to 128 px.
        for (const char* size : {"16x16", "32x32", "48x48", "128x128"})
            QVERIFY2(sizes.contains(QLatin1String(size)), qPrintable(sizes.join(' ')));
        const Run wmClass = run("xprop", {"-id", frame, "WM_CLASS"}, env);
        QVERIFY2(wmClass.out.contains("\"tavrelo\", \"Tavrelo\""), qPrintable(wmClass.out));
        program.kill();
        program.waitForFinished();

        // The refusal of a folder that is not a program folder is a message box: it shows the
        // icon too.
        const QString notes = home + "/notes";
        QDir().mkpath(notes);
        QFile other(notes + "/letter.txt");
        QVERIFY(other.open(QIODevice::WriteOnly));
        other.write("not a catalogue\n");
        other.close();
        QProcess refused;
        refused.setProcessEnvironment(env);
        refused.start(unpacked("/usr/bin/tavrelo"), {"--folder", notes});
        QVERIFY(refused.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(!windowsOf(refused.processId(), env).isEmpty(), 60000);
        const QString box = windowsOf(refused.processId(), env).first();
        const QStringList boxSizes = iconSizes(box, env);
        QVERIFY2(boxSizes.contains("16x16") && boxSizes.contains("128x128"), qPrintable(boxSizes.join(' ')));
        run("xdotool", {"windowfocus", "--sync", box}, env);
        run("xdotool", {"key", "--clearmodifiers", "Return"}, env);
        QVERIFY(refused.waitForFinished(20000));
        QCOMPARE(refused.exitCode(), 1);
        QVERIFY(QString::fromLocal8Bit(refused.readAllStandardError()).contains(notes));
        QCOMPARE(QDir(notes).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{"letter.txt"});
    }

    void folder_makes_a_catalogue_in_an_empty_or_new_folder_and_refuses_any_other()
    {
        QString home;
        const QProcessEnvironment env = freshUser(&home);
        const QString empty = home + "/second";
        QVERIFY(QDir().mkpath(empty));
        const Run made = startAndList(unpacked("/usr/bin/tavrelo"), env, {"--folder", empty});
        QVERIFY2(made.exitCode == 0, qPrintable(describe(made)));
        QCOMPARE(listedRows(made), 0);
        QVERIFY(QFileInfo(empty + "/House.db").isFile());
        QVERIFY(QFileInfo(empty + "/Images").isDir());
        QVERIFY(QFileInfo(empty + "/Music").isDir());
        QCOMPARE(count(empty + "/House.db", "t_House"), 0);
        QVERIFY2(!QFileInfo::exists(home + "/data/Tavrelo"), "--folder leaves the per-user folder alone");

        // A folder that does not exist yet, named by the environment variable this time.
        QProcessEnvironment named = env;
        named.insert("TAVRELO_FOLDER", home + "/third/catalogue");
        const Run viaVariable = startAndList(unpacked("/usr/bin/tavrelo"), named);
        QVERIFY2(viaVariable.exitCode == 0, qPrintable(describe(viaVariable)));
        QVERIFY(QFileInfo(home + "/third/catalogue/House.db").isFile());

        // Not empty and no House.db: refused with the folder named, nothing written. Answered by
        // the message box's interceptor-free path: the test presses its OK key.
        const QString busy = home + "/busy";
        QVERIFY(QDir().mkpath(busy + "/Images"));
        QProcess refused;
        refused.setProcessEnvironment(env);
        refused.start(unpacked("/usr/bin/tavrelo"), {"--folder", busy});
        QVERIFY(refused.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(!windowsOf(refused.processId(), env).isEmpty(), 60000);
        const QString box = windowsOf(refused.processId(), env).first();
        run("xdotool", {"windowfocus", "--sync", box}, env);
        run("xdotool", {"key", "--clearmodifiers", "Return"}, env);
        QVERIFY(refused.waitForFinished(20000));
        QCOMPARE(refused.exitCode(), 1);
        const QString err = QString::fromLocal8Bit(refused.readAllStandardError());
        QVERIFY2(err.contains(busy) && err.contains("House.db"), qPrintable(err));
        QVERIFY(!QFileInfo::exists(busy + "/House.db"));
        QVERIFY(!QFileInfo::exists(busy + "/Music"));
    }

    void the_unpacked_importer_fills_the_catalogue_the_unpacked_program_lists()
    {
        const QString sample = legacySample();
        QVERIFY2(!sample.isEmpty(), "the legacy sample House.MDB is missing from tests/import/fixtures");
        QFile json(QFileInfo(sample).absolutePath() + "/House.json");
        QVERIFY2(json.open(QIODevice::ReadOnly), qPrintable(json.fileName()));
        const int houses = QJsonDocument::fromJson(json.readAll())
                               .object()["tables"]
                               .toObject()["t_House"]
                               .toObject()["rows"]
                               .toArray()
                               .size();
        QVERIFY(houses > 0);

        QString home;
        const QProcessEnvironment env = freshUser(&home);
        // Before the program ever ran: the importer makes the per-user folder itself.
        const Run imported = run(unpacked("/usr/bin/tavrelo-import"), {sample}, env, 60000);
        QVERIFY2(imported.exitCode == 0, qPrintable(describe(imported)));
        const QString folder = home + "/data/Tavrelo";
        QVERIFY2(imported.out.contains(folder + "/House.db"), qPrintable(imported.out));
        QCOMPARE(count(folder + "/House.db", "t_House"), qint64(houses));
        const Run listed = startAndList(unpacked("/usr/bin/tavrelo"), env);
        QVERIFY2(listed.exitCode == 0, qPrintable(describe(listed)));
        QCOMPARE(listedRows(listed), houses);
    }

    void as_root_apt_installs_starts_removes_and_purges_it()
    {
        const QStringList apt = {"-y", "-q", "-o", "DPkg::Lock::Timeout=300", "--no-install-recommends"};
        const QProcessEnvironment sys = [] {
            QProcessEnvironment e = QProcessEnvironment::systemEnvironment();
            e.insert("DEBIAN_FRONTEND", "noninteractive");
            return e;
        }();
        if (geteuid() != 0) {
            // Installing for real needs root; an ordinary user can still have apt work out the
            // installation, which fails when a dependency cannot be met.
            const Run simulated =
                run("apt-get", QStringList{"install", "-s"} + apt + QStringList{deb_}, sys, 600000);
            QVERIFY2(simulated.exitCode == 0, qPrintable(describe(simulated)));
            QVERIFY2(simulated.out.contains("Inst tavrelo"), qPrintable(simulated.out));
            qInfo("not root: the installation was simulated with apt-get -s, not carried out");
            return;
        }
        const Run before = run("dpkg-query", {"-W", "-f=${Status}", "tavrelo"}, sys);
        QVERIFY2(!before.out.contains("install ok installed"),
                 "a tavrelo package is already installed on this machine; the test will not replace it");
        const Run install = run("apt-get", QStringList{"install"} + apt + QStringList{deb_}, sys, 600000);
        QVERIFY2(install.exitCode == 0, qPrintable(describe(install)));
        const Run status = run("dpkg-query", {"-W", "-f=${Status} ${Version}", "tavrelo"}, sys);
        QCOMPARE(status.out, "install ok installed " + version());
        QVERIFY(QFileInfo("/usr/bin/tavrelo").isExecutable());
        QVERIFY(!QDir("/usr/share/applications").entryList({"*.desktop"}).filter("avrelo").isEmpty());

        QString home;
        const QProcessEnvironment env = freshUser(&home);
        const Run started = startAndList("/usr/bin/tavrelo", env);
        QVERIFY2(started.exitCode == 0, qPrintable(describe(started)));
        QCOMPARE(listedRows(started), 0);
        QVERIFY(QFileInfo(home + "/data/Tavrelo/House.db").isFile());

        const Run remove = run("apt-get", QStringList{"remove"} + apt + QStringList{"tavrelo"}, sys, 600000);
        QVERIFY2(remove.exitCode == 0, qPrintable(describe(remove)));
        QVERIFY(!QFileInfo::exists("/usr/bin/tavrelo"));
        QVERIFY(QDir("/usr/share/applications").entryList({"*.desktop"}).filter("avrelo").isEmpty());
        // apt no longer knows a removed package that came from a file, not from an archive: dpkg
        // purges what is left of it.
        const Run purge = run("dpkg", {"--purge", "tavrelo"}, sys, 600000);
        QVERIFY2(purge.exitCode == 0, qPrintable(describe(purge)));
        // Purged: dpkg knows nothing of it any more, or only as not installed.
        const Run after = run("dpkg-query", {"-W", "-f=${Status}", "tavrelo"}, sys);
        QVERIFY2(after.exitCode != 0 || after.out.trimmed() == "unknown ok not-installed",
                 qPrintable(describe(after)));
        // The user's catalogue is theirs: removing the program leaves it.
        QVERIFY(QFileInfo(home + "/data/Tavrelo/House.db").isFile());
    }
};

QTEST_GUILESS_MAIN(tst_package)
#include "tst_package.moc"
