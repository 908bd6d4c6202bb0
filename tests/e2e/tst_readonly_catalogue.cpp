// A save that the store refuses as a whole: House.db that this user may not write. The wizard
// (in a process of its own, as an ordinary user: root writes any file) tells the user that
// nothing was saved and keeps what was entered; no row is written and no file in Images is
// changed or added. (Before, the failed insert made the rows and the picture go to the newest
// existing house: its picture file was replaced by the new one.)
#include <unistd.h>

#include <QCryptographicHash>
#include <QDirIterator>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include "TestSupport.h"
#include "core/Save.h"

namespace {

QMap<QString, QByteArray> images(const QString& folder)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(folder + "/Images", QDir::Files | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        QFile f(path);
        QByteArray sum = "<unreadable>";
        if (f.open(QIODevice::ReadOnly))
            sum = QCryptographicHash::hash(f.readAll(), QCryptographicHash::Sha256).toHex();
        files.insert(it.fileName(), sum);
    }
    return files;
}

}  // namespace

class tst_readonly_catalogue : public QObject {
    Q_OBJECT

private slots:
    void a_catalogue_that_cannot_be_written_keeps_the_wizard_and_every_file()
    {
        qunsetenv("TAVRELO_TEST_STORE");
        testsupport::ProgramFolder folder;
        QVERIFY(folder.Exec(
            "INSERT INTO t_HouseType (List, HouseType, MusicTitle, MusicFile) VALUES (1, '公寓', '', '')"));
        // House 12 with its picture, the newest house of the catalogue.
        QVERIFY(
            folder.Exec("INSERT INTO t_House (HouseID, HouseName, TypeID, HouseNo, Intro) VALUES (12, 'old', "
                        "1, '1', '')"));
        QVERIFY(folder.Exec(
            "INSERT INTO t_Image (HouseID, List, Caption, Intro, ImageFile) VALUES (12, 1, 'c', 'i', "
            "'000012_0001.png')"));
        testsupport::MakePicture(folder.File("Images/000012_0001.png"), 10, 10, Qt::red);
        const QString picture = testsupport::MakePicture(folder.File("new.png"), 20, 20, Qt::blue);
        const QStringList tablesBefore = {folder.Value("SELECT count(*) FROM t_House").toString(),
                                          folder.Value("SELECT count(*) FROM t_Content").toString(),
                                          folder.Value("SELECT count(*) FROM t_Image").toString()};
        const auto before = images(folder.Path());

        // The catalogue may be read by anyone and written by nobody but its owner; Images may be
        // written, so that a stray copy would show.
        QVERIFY(QFile::setPermissions(folder.DatabasePath(),
                                      QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
        const QFile::Permissions open = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                        QFile::ReadGroup | QFile::ExeGroup | QFile::ReadOther |
                                        QFile::ExeOther;
        QVERIFY(QFile::setPermissions(folder.Path(), open));
        QVERIFY(QFile::setPermissions(folder.File("Images"), open | QFile::WriteGroup | QFile::WriteOther));
        QVERIFY(QFile::setPermissions(
            folder.File("Images/000012_0001.png"),
            QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther | QFile::WriteOther));

        QTemporaryDir home;
        QVERIFY(QFile::setPermissions(home.path(), open | QFile::WriteGroup | QFile::WriteOther));
        QProcess wizard;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("QT_QPA_PLATFORM", "offscreen");
        environment.insert("QTWEBENGINE_DISABLE_SANDBOX", "1");
        environment.insert("HOME", home.path());
        environment.insert("XDG_RUNTIME_DIR", home.path());
        wizard.setProcessEnvironment(environment);
        const QString helper = qEnvironmentVariable("TAVRELO_BINARY_DIR") + "/tests/wizard_once";
        QStringList command{helper, folder.Path(), picture};
        // Root may write any file: the wizard runs as nobody then.
        if (geteuid() == 0) {
            QVERIFY2(!QStandardPaths::findExecutable("setpriv").isEmpty(),
                     "running as root needs setpriv (util-linux)");
            command =
                QStringList{"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "--"} + command;
        }
        wizard.start(command.takeFirst(), command);
        QVERIFY(wizard.waitForFinished(120000));
        const QString out = QString::fromUtf8(wizard.readAllStandardOutput());
        const QString err = QString::fromLocal8Bit(wizard.readAllStandardError());
        QVERIFY2(wizard.exitStatus() == QProcess::NormalExit && wizard.exitCode() == 0,
                 qPrintable(out + err));

        QVERIFY2(out.contains("message: " + mdlHouse::kNothingSavedMessage), qPrintable(out));
        QVERIFY2(out.contains("open=1\nname=新楼 rows=2 pictures=1"), qPrintable(out));
        QVERIFY2(!out.contains(mdlHouse::kLookOnlyMessage), qPrintable(out));
        QCOMPARE(images(folder.Path()), before);
        const QStringList tablesAfter = {folder.Value("SELECT count(*) FROM t_House").toString(),
                                         folder.Value("SELECT count(*) FROM t_Content").toString(),
                                         folder.Value("SELECT count(*) FROM t_Image").toString()};
        QCOMPARE(tablesAfter, tablesBefore);
    }
};

QTEST_MAIN(tst_readonly_catalogue)
#include "tst_readonly_catalogue.moc"
