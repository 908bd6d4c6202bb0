// tavrelo-backup restore refuses a program folder that a running Tavrelo holds open, changing
// nothing there; once the program has ended the same restore goes through.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <QCryptographicHash>
#include <QDirIterator>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include "BackupFixture.h"
#include "TestSupport.h"
#include "core/Folders.h"

namespace {

// Every file under the folder (lock file aside) with its SHA-256.
QMap<QString, QByteArray> snapshot(const QString& folder)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        if (path.endsWith(QLatin1String(folders::kFolderLockName))) continue;
        QFile f(path);
        QByteArray sum = "<unreadable>";
        if (f.open(QIODevice::ReadOnly))
            sum = QCryptographicHash::hash(f.readAll(), QCryptographicHash::Sha256).toHex();
        files.insert(QDir(folder).relativeFilePath(path), sum);
    }
    return files;
}

// Whether some process holds the folder's lock (an exclusive try fails).
bool folderHeld(const QString& folder)
{
    const QByteArray path =
        QFile::encodeName(folder + QLatin1Char('/') + QLatin1String(folders::kFolderLockName));
    const int fd = ::open(path.constData(), O_RDONLY);
    if (fd < 0) return false;
    const bool held = ::flock(fd, LOCK_EX | LOCK_NB) != 0;
    ::close(fd);
    return held;
}

}  // namespace

class tst_restore_running : public QObject {
    Q_OBJECT

private slots:
    void restore_refuses_a_folder_a_running_program_holds()
    {
        testsupport::ProgramFolder folder;
        QVERIFY(folder.Exec(
            "INSERT INTO t_HouseType (List, HouseType, MusicTitle, MusicFile) VALUES (1, 'A', '', '')"));
        QVERIFY(folder.Exec(
            "INSERT INTO t_House (HouseName, TypeID, HouseNo, Intro) VALUES ('one', 1, '1', '')"));
        testsupport::MakePicture(folder.File("Images/000001_0001.png"), 20, 10);
        QTemporaryDir scratch;
        const QString archive = scratch.path() + "/copy.tar.gz";
        const backuptest::Run created = backuptest::runTool({"create", folder.Path(), archive});
        QVERIFY2(created.exitCode == 0, qPrintable(created.err));
        // Changed after the archive, so that a restore would change the folder.
        QVERIFY(folder.Exec(
            "INSERT INTO t_House (HouseName, TypeID, HouseNo, Intro) VALUES ('two', 1, '2', '')"));
        testsupport::MakePicture(folder.File("Images/000002_0001.png"), 30, 10);
        const auto before = snapshot(folder.Path());

        QProcess program;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("QT_QPA_PLATFORM", "offscreen");
        environment.insert("QTWEBENGINE_DISABLE_SANDBOX", "1");
        // Its own runtime folder: the single-instance lock of another test's program is not ours.
        QTemporaryDir runtime;
        QFile::setPermissions(runtime.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        environment.insert("XDG_RUNTIME_DIR", runtime.path());
        program.setProcessEnvironment(environment);
        program.start(backuptest::binaryDir() + "/tavrelo", {"--folder", folder.Path()});
        QVERIFY2(program.waitForStarted(10000), "tavrelo did not start");
        QTRY_VERIFY2_WITH_TIMEOUT(folderHeld(folder.Path()) || program.state() != QProcess::Running,
                                  "tavrelo never held its folder", 60000);
        QVERIFY2(program.state() == QProcess::Running,
                 qPrintable("tavrelo ended: " + QString::fromLocal8Bit(program.readAllStandardError())));

        const backuptest::Run refused = backuptest::runTool({"restore", "--replace", archive, folder.Path()});
        QCOMPARE(refused.exitCode, 1);
        QVERIFY2(refused.err.contains("Tavrelo is running"), qPrintable(refused.err));
        QCOMPARE(snapshot(folder.Path()), before);
        for (const char* bak : {"House.db.bak", "Images.bak", "Music.bak"})
            QVERIFY2(!QFileInfo::exists(folder.File(bak)), bak);

        program.kill();
        QVERIFY(program.waitForFinished(30000));
        const backuptest::Run restored =
            backuptest::runTool({"restore", "--replace", archive, folder.Path()});
        QVERIFY2(restored.exitCode == 0, qPrintable(restored.err));
        QCOMPARE(folder.Value("SELECT count(*) FROM t_House").toInt(), 1);
        QVERIFY(QFileInfo::exists(folder.File("House.db.bak")));
    }
};

QTEST_MAIN(tst_restore_running)
#include "tst_restore_running.moc"
