// Logging in to a shared catalogue whose server asks for SCRAM passwords: the login dialog of the
// program (driven by objectName, offscreen), a wrong password told and asked again, 取消 ending as a
// failed connection, the user name remembered and the password kept nowhere; a password written
// into the server setting refused everywhere; the command-line tools asking on the terminal or
// reading standard input.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QAbstractItemView>
#include <QApplication>
#include <QDialog>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QLabel>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>

#include "PgCluster.h"
#include "TestSupport.h"
#include "catalogue/CatalogueFixture.h"
#include "core/db/Connection.h"
#include "core/db/Probe.h"
#include "core/db/ServerLogin.h"
#include "core/mdlHouse.h"
#include "core/ui/LoginDialog.h"

using testsupport::MsgBoxRecorder;
using testsupport::PgCluster;
using testsupport::ProgramFolder;

namespace {

const char* const kRight = "carol's right password";

// Answers each login dialog as it appears, in order: a password to type, or "" for 取消. Records
// the user name each dialog offered and whether it said the last password was wrong.
class DialogDriver {
public:
    explicit DialogDriver(QStringList answers) : answers_(std::move(answers))
    {
        timer_.setInterval(20);
        QObject::connect(&timer_, &QTimer::timeout, [this] { answer(); });
        timer_.start();
    }
    QStringList offeredUsers;
    QList<bool> saidWrong;
    int Shown() const { return int(offeredUsers.size()); }

private:
    void answer()
    {
        for (QWidget* w : QApplication::topLevelWidgets()) {
            auto* dialog = qobject_cast<QDialog*>(w);
            if (!dialog || dialog->objectName() != "frmLogin" || !dialog->isVisible() ||
                dialog->property("answered").toBool())
                continue;
            dialog->setProperty("answered", true);
            offeredUsers << dialog->findChild<QLineEdit*>("txtUser")->text();
            saidWrong << dialog->findChild<QLabel*>("lblError")->isVisible();
            const QString password = answers_.isEmpty() ? QString() : answers_.takeFirst();
            if (password.isEmpty()) {
                testsupport::Click(dialog, "cmdCancel");
            } else {
                testsupport::Type(dialog, "txtPassword", password);
                testsupport::Click(dialog, "cmdLogin");
            }
        }
    }
    QStringList answers_;
    QTimer timer_;
};

struct Run {
    int exitCode = -1;
    QString out, err;
};

Run runTool(const QString& tool, const QStringList& args, const QByteArray& input,
            const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment())
{
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(qEnvironmentVariable("TAVRELO_BINARY_DIR") + QLatin1Char('/') + tool, args);
    p.write(input);
    p.closeWriteChannel();
    Run r;
    if (!p.waitForFinished(120000)) return r;
    r.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = QString::fromLocal8Bit(p.readAllStandardOutput());
    r.err = QString::fromLocal8Bit(p.readAllStandardError());
    return r;
}

}  // namespace

class tst_server_login : public QObject {
    Q_OBJECT

    QTemporaryDir config_;
    QString database_;

    // A login of carol's over TCP; each test names its own application so that no test takes
    // another's pooled session.
    QString uri(const QString& tag, const QString& user = QStringLiteral("carol")) const
    {
        const QString who = user.isEmpty() ? QString() : user + QLatin1Char('@');
        return QStringLiteral("postgresql://") + who +
               QStringLiteral("127.0.0.1:%1/%2?application_name=%3")
                   .arg(QString::number(PgCluster::Instance().Port()), database_, tag);
    }
    static void useServer(const ProgramFolder& folder, const QString& uri)
    {
        QSettings conf(folder.File("Tavrelo.conf"), QSettings::IniFormat);
        conf.setValue("catalogue/server", uri);
    }
    // Every file below a folder that holds the text.
    static QStringList filesHolding(const QString& folder, const QByteArray& text)
    {
        QStringList found;
        for (QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
             it.hasNext();) {
            QFile f(it.next());
            if (f.open(QIODevice::ReadOnly) && f.readAll().contains(text)) found << f.fileName();
        }
        return found;
    }

private slots:
    void initTestCase()
    {
        // The remembered user name goes to this run's own settings folder.
        qputenv("XDG_CONFIG_HOME", config_.path().toUtf8());
        testsupport::PgClusterOptions options;
        options.passwords = true;
        PgCluster::Configure(options);
        const QString admin = PgCluster::Instance().CreateDatabase(true);
        database_ = admin.section('/', 3).section('?', 0, 0);
        QString error;
        QVERIFY2(PgCluster::Instance().AdminExec(
                     database_,
                     QStringLiteral(
                         "CREATE ROLE carol LOGIN PASSWORD '%1'; "
                         "GRANT SELECT, INSERT, UPDATE, DELETE ON ALL TABLES IN SCHEMA public TO carol; "
                         "INSERT INTO t_HouseType (TypeID, List, HouseType) VALUES (1, 1, '公寓'); "
                         "INSERT INTO t_House (HouseID, HouseName, HouseNo, HouseFloor, TypeID) "
                         "VALUES (1, 'A座', '101', 1, 1), (2, 'A座', '102', 1, 1)")
                         .arg(QString::fromUtf8(kRight).replace("'", "''")),
                     &error),
                 qPrintable(error));
        ui::LoginDialog::Install();
    }

    void init() { db::ForgetServerLogins(); }

    void the_catalogue_asks_once_and_keeps_only_the_user_name()
    {
        ProgramFolder folder;
        useServer(folder, uri("list"));
        MsgBoxRecorder boxes;
        DialogDriver driver({kRight});
        cataloguetest::Frame frame;
        frmHouseList* list = frame.OpenList();
        QVERIFY(list);
        QCOMPARE(boxes.Texts(), QStringList());
        QCOMPARE(driver.Shown(), 1);
        QCOMPARE(driver.offeredUsers, QStringList{"carol"});
        QCOMPARE(driver.saidWrong, QList<bool>{false});
        auto* view = list->findChild<QAbstractItemView*>("lsvHouse");
        QVERIFY(view);
        QTRY_COMPARE(view->model()->rowCount(), 2);
        // More connections in the same run do not ask again.
        db::Connection a, b;
        mdlHouse::OpenDatabase(a);
        mdlHouse::OpenDatabase(b);
        QVERIFY(a.IsOpen() && b.IsOpen());
        QCOMPARE(driver.Shown(), 1);
        QCOMPARE(boxes.Texts(), QStringList());
        // The name is offered again next time; the password is in no file at all.
        QCOMPARE(ui::LoginDialog::RememberedUser(), QString("carol"));
        QCOMPARE(filesHolding(folder.Path(), kRight), QStringList());
        QCOMPARE(filesHolding(config_.path(), kRight), QStringList());
        QCOMPARE(filesHolding(config_.path(), "carol").size(), 1);
    }

    void a_wrong_password_is_told_and_asked_again()
    {
        ProgramFolder folder;
        useServer(folder, uri("wrong"));
        MsgBoxRecorder boxes;
        DialogDriver driver({"not it", "nor this", kRight});
        db::Connection connection;
        mdlHouse::OpenDatabase(connection);
        QVERIFY(connection.IsOpen());
        QCOMPARE(driver.saidWrong, (QList<bool>{false, true, true}));
        QCOMPARE(boxes.Texts(), QStringList());
    }

    void cancel_ends_as_a_failed_connection()
    {
        ProgramFolder folder;
        useServer(folder, uri("cancel"));
        MsgBoxRecorder boxes;
        {
            DialogDriver driver({""});
            db::Connection connection;
            mdlHouse::OpenDatabase(connection);
            QVERIFY(!connection.IsOpen());
            QCOMPARE(driver.Shown(), 1);
            QCOMPARE(boxes.Texts(), QStringList{mdlHouse::DatabaseFailureMessage()});
        }
        // A wrong password and then 取消: the same.
        boxes.Clear();
        DialogDriver driver({"not it", ""});
        db::Connection connection;
        mdlHouse::OpenDatabase(connection);
        QVERIFY(!connection.IsOpen());
        QCOMPARE(driver.saidWrong, (QList<bool>{false, true}));
        QCOMPARE(boxes.Texts(), QStringList{mdlHouse::DatabaseFailureMessage()});
    }

    void the_remembered_name_is_offered_when_the_setting_names_none()
    {
        QSettings(QSettings::IniFormat, QSettings::UserScope, "Tavrelo", "Tavrelo")
            .setValue("catalogue/user", "carol");
        ProgramFolder folder;
        useServer(folder, uri("nouser", QString()));
        MsgBoxRecorder boxes;
        DialogDriver driver({kRight});
        db::Connection connection;
        mdlHouse::OpenDatabase(connection);
        QVERIFY(connection.IsOpen());
        QCOMPARE(driver.offeredUsers, QStringList{"carol"});
        QCOMPARE(db::SessionLogin(connection), QString("carol"));
    }

    void a_password_file_needs_no_dialog()
    {
        QTemporaryDir home;
        QFile pgpass(home.filePath("pgpass"));
        QVERIFY(pgpass.open(QIODevice::WriteOnly));
        pgpass.write(QStringLiteral("127.0.0.1:*:%1:carol:%2\n").arg(database_, kRight).toUtf8());
        pgpass.close();
        pgpass.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
        qputenv("PGPASSFILE", pgpass.fileName().toUtf8());
        ProgramFolder folder;
        useServer(folder, uri("pgpass"));
        MsgBoxRecorder boxes;
        DialogDriver driver({});
        db::Connection connection;
        mdlHouse::OpenDatabase(connection);
        qunsetenv("PGPASSFILE");
        QVERIFY(connection.IsOpen());
        QCOMPARE(driver.Shown(), 0);
        QCOMPARE(boxes.Texts(), QStringList());
    }

    void a_password_in_the_setting_is_refused_everywhere()
    {
        const QString port = QString::number(PgCluster::Instance().Port());
        const QStringList withPassword = {
            QStringLiteral("postgresql://carol:%1@127.0.0.1:%2/%3").arg("x", port, database_),
            QStringLiteral("host=127.0.0.1 port=%1 dbname=%2 user=carol password=x").arg(port, database_),
            QStringLiteral("postgresql://127.0.0.1:%1/%2?user=carol&password=x").arg(port, database_),
        };
        for (const QString& bad : withPassword) {
            ProgramFolder folder;
            useServer(folder, bad);
            MsgBoxRecorder boxes;
            DialogDriver driver({kRight});
            db::Connection connection;
            mdlHouse::OpenDatabase(connection);
            QVERIFY2(!connection.IsOpen(), qPrintable(bad));
            QCOMPARE(driver.Shown(), 0);
            QCOMPARE(boxes.Texts(), QStringList{db::PasswordInUriMessage()});
            // The same from the environment variable.
            qputenv("TAVRELO_SERVER", bad.toUtf8());
            boxes.Clear();
            mdlHouse::OpenDatabase(connection);
            qunsetenv("TAVRELO_SERVER");
            QVERIFY(!connection.IsOpen());
            QCOMPARE(boxes.Texts(), QStringList{db::PasswordInUriMessage()});
        }
        for (const char* place : {"~/.pgpass", "PGPASSFILE", "服务文件"})
            QVERIFY(db::PasswordInUriMessage().contains(QString::fromUtf8(place)));
        // The tools refuse it too, before asking anything.
        Run r = runTool("tavrelo-server", {"user", "list", withPassword[0]}, QByteArray(kRight) + "\n");
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("PGPASSFILE"), qPrintable(r.err));
        ProgramFolder folder;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("TAVRELO_SERVER", withPassword[1]);
        r = runTool("tavrelo-pricelist", {"export", folder.File("out.csv"), folder.Path()},
                    QByteArray(kRight) + "\n", env);
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("~/.pgpass"), qPrintable(r.err));
        QVERIFY(!QFile::exists(folder.File("out.csv")));
    }

    void the_tools_ask_on_a_terminal_without_echo()
    {
        // script(1) gives the tool a terminal of its own and passes on what it shows; the password
        // is typed only once the question is there, as a person would.
        QProcess p;
        p.setProcessChannelMode(QProcess::MergedChannels);
        p.start("script", {"-qefc",
                           QStringLiteral("'%1/tavrelo-server' user list '%2'")
                               .arg(qEnvironmentVariable("TAVRELO_BINARY_DIR"), uri("tty")),
                           "/dev/null"});
        QByteArray shown;
        QElapsedTimer clock;
        clock.start();
        while (!shown.contains("Password for carol") && clock.elapsed() < 60000 && p.waitForReadyRead(1000))
            shown += p.readAll();
        QVERIFY2(shown.contains("Password for carol"), shown.constData());
        p.write(QByteArray(kRight) + "\n");
        QVERIFY(p.waitForFinished(60000));
        shown += p.readAll();
        QCOMPARE(p.exitCode(), 0);
        QVERIFY2(!shown.contains("right password"), shown.constData());
    }

    void a_server_that_never_answers_is_given_up_in_time()
    {
        // A port that takes the connection and then says nothing: the login waits only as long as
        // the setting's connect_timeout, and no dialog appears.
        const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        QVERIFY(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0);
        QVERIFY(::listen(listener, 8) == 0);
        QVERIFY(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) == 0);
        ProgramFolder folder;
        useServer(folder,
                  QStringLiteral("postgresql://carol@127.0.0.1:%1/%2?connect_timeout=2&sslmode=disable")
                      .arg(ntohs(address.sin_port))
                      .arg(database_));
        MsgBoxRecorder boxes;
        DialogDriver driver({kRight});
        QElapsedTimer clock;
        clock.start();
        db::Connection connection;
        mdlHouse::OpenDatabase(connection);
        const qint64 waited = clock.elapsed();
        ::close(listener);
        QVERIFY(!connection.IsOpen());
        QCOMPARE(driver.Shown(), 0);
        QCOMPARE(boxes.Texts(), QStringList{mdlHouse::DatabaseFailureMessage()});
        QVERIFY2(waited >= 1500 && waited < 8000, qPrintable(QString::number(waited)));
    }

    void the_tools_read_the_password_from_standard_input()
    {
        Run r = runTool("tavrelo-server", {"user", "list", uri("tool")}, QByteArray(kRight) + "\n");
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        r = runTool("tavrelo-server", {"user", "list", uri("tool")}, "guess\n");
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains("wrong password"), qPrintable(r.err));
        r = runTool("tavrelo-server", {"user", "list", uri("tool")}, "guess\n" + QByteArray(kRight) + "\n");
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        r = runTool("tavrelo-server", {"user", "list", uri("tool")}, "");
        QCOMPARE(r.exitCode, 1);
        ProgramFolder folder;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("TAVRELO_SERVER", uri("pricelist"));
        r = runTool("tavrelo-pricelist", {"export", folder.File("out.csv"), folder.Path()},
                    QByteArray(kRight) + "\n", env);
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QFile csv(folder.File("out.csv"));
        QVERIFY(csv.open(QIODevice::ReadOnly));
        QVERIFY(QString::fromUtf8(csv.readAll()).contains("A座"));
    }
};

QTEST_MAIN(tst_server_login)
#include "tst_server_login.moc"
