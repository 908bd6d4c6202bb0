#include "PgCluster.h"

#include <libpq-fe.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QThread>
#include <csignal>

#include "core/db/ServerCatalogue.h"

namespace testsupport {

namespace {

const char* const kRole = "tavrelo";
const char* const kTemplate = "tavrelo_template";

int freePort()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t length = sizeof address;
    int port = 0;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        port = ntohs(address.sin_port);
    ::close(fd);
    return port;
}

PgClusterOptions& clusterOptions()
{
    static PgClusterOptions options;
    return options;
}

bool sslWanted()
{
    return !clusterOptions().sslCertificate.isEmpty() && !clusterOptions().sslKey.isEmpty();
}

}  // namespace

void PgCluster::Configure(const PgClusterOptions& options)
{
    clusterOptions() = options;
}

bool ServerMode()
{
    return qEnvironmentVariable("TAVRELO_TEST_STORE") == QLatin1String("server");
}

PgCluster& PgCluster::Instance()
{
    static PgCluster cluster;
    return cluster;
}

PgCluster::PgCluster() : dir_(QStringLiteral("/tmp/tvpg-XXXXXX"))
{
    bin_ = qEnvironmentVariable("TAVRELO_PG_BIN", QStringLiteral("/usr/lib/postgresql/15/bin"));
    if (!QFile::exists(bin_ + QStringLiteral("/initdb")))
        qFatal("PostgreSQL 15 is not installed (no %s/initdb): run scripts/setup", qPrintable(bin_));
    if (!dir_.isValid()) qFatal("cannot make a folder for the test server");
    root_ = ::geteuid() == 0;
    if (root_ && !run({QStringLiteral("chown"), QStringLiteral("nobody:nogroup"), dir_.path()}))
        qFatal("cannot hand %s to nobody", qPrintable(dir_.path()));
    QString output;
    if (!run(asServerUser({bin_ + QStringLiteral("/initdb"), QStringLiteral("-D"),
                           dir_.path() + QStringLiteral("/data"), QStringLiteral("-U"), QLatin1String(kRole),
                           QStringLiteral("-A"), QStringLiteral("trust"), QStringLiteral("-E"),
                           QStringLiteral("UTF8"), QStringLiteral("--locale=C.UTF-8"),
                           QStringLiteral("--no-sync"), QStringLiteral("--no-instructions")}),
             &output))
        qFatal("initdb failed: %s", qPrintable(output));
    if (!writeAccessRules()) qFatal("cannot write the test server's pg_hba.conf");
    if (sslWanted() && !placeSslFiles(clusterOptions().sslCertificate, clusterOptions().sslKey))
        qFatal("cannot give the test server its certificate");
    port_ = freePort();
    if (!Start())
        qFatal("the test server did not start; its log:\n%s", qPrintable(QString::fromUtf8([this] {
                   QFile log(dir_.path() + QStringLiteral("/server.log"));
                   return log.open(QIODevice::ReadOnly) ? log.readAll() : QByteArray();
               }())));
    QString error;
    if (!adminExec(QStringLiteral("CREATE DATABASE %1").arg(QLatin1String(kTemplate)), &error))
        qFatal("cannot make the template catalogue: %s", qPrintable(error));
    if (!db::InitServerCatalogue(Uri(QLatin1String(kTemplate)), &error))
        qFatal("cannot make the catalogue schema: %s", qPrintable(error));
}

PgCluster::~PgCluster()
{
    if (server_) {
        server_->kill();
        server_->waitForFinished(5000);
    }
}

QStringList PgCluster::asServerUser(const QStringList& command) const
{
    if (!root_) return command;
    // setpriv replaces itself with the command, so the server stays our child and dies with us.
    return QStringList{QStringLiteral("setpriv"), QStringLiteral("--reuid=nobody"),
                       QStringLiteral("--regid=nogroup"), QStringLiteral("--clear-groups"),
                       QStringLiteral("--pdeathsig=KILL")} +
           command;
}

bool PgCluster::run(const QStringList& command, QString* output) const
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(command.first(), command.mid(1));
    const bool finished = process.waitForFinished(120000);
    if (output) *output = QString::fromLocal8Bit(process.readAll());
    return finished && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

QString PgCluster::Uri(const QString& database) const
{
    return QStringLiteral("postgresql:///%1?host=%2&port=%3&user=%4")
        .arg(database, dir_.path(), QString::number(port_), QLatin1String(kRole));
}

QString PgCluster::TcpUri(const QString& database) const
{
    return QStringLiteral("postgresql://%1@127.0.0.1:%2/%3")
        .arg(QLatin1String(kRole), QString::number(port_), database);
}

bool PgCluster::Running() const
{
    return server_ && server_->state() == QProcess::Running;
}

bool PgCluster::Start()
{
    if (Running()) return true;
    server_ = std::make_unique<QProcess>();
    server_->setStandardOutputFile(dir_.path() + QStringLiteral("/server.log"), QIODevice::Append);
    server_->setStandardErrorFile(dir_.path() + QStringLiteral("/server.log"), QIODevice::Append);
    if (!root_) server_->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    // Without fsync the write-ahead log still reaches the operating system at every commit, so a
    // killed server (SIGKILL) recovers every committed save; only a crash of the machine would not.
    QStringList settings;
    if (sslWanted())
        settings << QStringLiteral("-c") << QStringLiteral("ssl=on") << QStringLiteral("-c")
                 << QStringLiteral("ssl_cert_file=") + dir_.path() + QStringLiteral("/ssl/server.crt")
                 << QStringLiteral("-c")
                 << QStringLiteral("ssl_key_file=") + dir_.path() + QStringLiteral("/ssl/server.key");
    const QStringList command = asServerUser(
        QStringList{bin_ + QStringLiteral("/postgres"), QStringLiteral("-D"),
                    dir_.path() + QStringLiteral("/data"), QStringLiteral("-k"), dir_.path(),
                    QStringLiteral("-p"), QString::number(port_), QStringLiteral("-c"),
                    QStringLiteral("listen_addresses=127.0.0.1"), QStringLiteral("-c"),
                    QStringLiteral("fsync=off"), QStringLiteral("-c"), QStringLiteral("full_page_writes=off"),
                    QStringLiteral("-c"), QStringLiteral("max_connections=60"), QStringLiteral("-c"),
                    QStringLiteral("shared_buffers=32MB")} +
        settings);
    server_->start(command.first(), command.mid(1));
    if (!server_->waitForStarted(10000)) return false;
    const QByteArray uri = Uri(QStringLiteral("postgres")).toUtf8();
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 30000) {
        if (PQping(uri.constData()) == PQPING_OK) return true;
        if (server_->state() != QProcess::Running) return false;
        QThread::msleep(50);
    }
    return false;
}

bool PgCluster::Stop()
{
    if (!Running()) return true;
    // SIGINT: the server's fast shutdown, which ends every session at once.
    ::kill(pid_t(server_->processId()), SIGINT);
    const bool stopped = server_->waitForFinished(30000);
    server_.reset();
    return stopped;
}

bool PgCluster::Kill()
{
    if (!Running()) return true;
    ::kill(pid_t(server_->processId()), SIGKILL);
    const bool stopped = server_->waitForFinished(30000);
    server_.reset();
    // The sessions the postmaster started notice it is gone and end; wait until the socket is free.
    QThread::msleep(300);
    return stopped;
}

// The test's administrator always comes in over the socket without a password; everyone else as
// the executable's options say.
bool PgCluster::writeAccessRules() const
{
    const PgClusterOptions& o = clusterOptions();
    const QString method = o.passwords ? QStringLiteral("scram-sha-256") : QStringLiteral("trust");
    QString rules =
        QStringLiteral("local all %1 trust\nlocal all all %2\n").arg(QLatin1String(kRole), method);
    rules += QStringLiteral("%1 all all 127.0.0.1/32 %2\n")
                 .arg(sslWanted() ? QStringLiteral("hostssl") : QStringLiteral("host"), method);
    QFile hba(dir_.path() + QStringLiteral("/data/pg_hba.conf"));
    const QByteArray text = rules.toUtf8();
    return hba.open(QIODevice::WriteOnly | QIODevice::Truncate) && hba.write(text) == text.size();
}

bool PgCluster::placeSslFiles(const QString& certificate, const QString& key) const
{
    const QString folder = dir_.path() + QStringLiteral("/ssl");
    QDir().mkpath(folder);
    const QString crt = folder + QStringLiteral("/server.crt"), pem = folder + QStringLiteral("/server.key");
    QFile::remove(crt);
    QFile::remove(pem);
    if (!QFile::copy(certificate, crt) || !QFile::copy(key, pem)) return false;
    // The server reads a key only when no one else may.
    QFile::setPermissions(pem, QFile::ReadOwner | QFile::WriteOwner);
    if (root_ && !run({QStringLiteral("chown"), QStringLiteral("nobody:nogroup"), crt, pem})) return false;
    return true;
}

bool PgCluster::ReplaceSslCertificate(const QString& certificate, const QString& key)
{
    if (!placeSslFiles(certificate, key) || !Running()) return false;
    const auto reloads = [this] {
        QFile log(dir_.path() + QStringLiteral("/server.log"));
        return log.open(QIODevice::ReadOnly) ? log.readAll().count("reloading configuration files") : -1;
    };
    const qsizetype before = reloads();
    // SIGHUP: the server reads its configuration and certificate again, in one go before it takes
    // the next connection; its log says when it has begun.
    ::kill(pid_t(server_->processId()), SIGHUP);
    QElapsedTimer timer;
    timer.start();
    while (reloads() <= before) {
        if (timer.elapsed() > 30000) return false;
        QThread::msleep(50);
    }
    QThread::msleep(200);
    return true;
}

bool PgCluster::AdminExec(const QString& database, const QString& sql, QString* error) const
{
    const QByteArray uri = Uri(database).toUtf8();
    PGconn* conn = PQconnectdb(uri.constData());
    bool ok = PQstatus(conn) == CONNECTION_OK;
    if (ok) {
        PGresult* result = PQexec(conn, sql.toUtf8().constData());
        ok = PQresultStatus(result) == PGRES_COMMAND_OK || PQresultStatus(result) == PGRES_TUPLES_OK;
        if (!ok && error) *error = QString::fromUtf8(PQresultErrorMessage(result));
        PQclear(result);
    } else if (error) {
        *error = QString::fromUtf8(PQerrorMessage(conn));
    }
    PQfinish(conn);
    return ok;
}

bool PgCluster::adminExec(const QString& sql, QString* error) const
{
    const QByteArray uri = Uri(QStringLiteral("postgres")).toUtf8();
    PGconn* conn = PQconnectdb(uri.constData());
    bool ok = PQstatus(conn) == CONNECTION_OK;
    if (ok) {
        PGresult* result = PQexec(conn, sql.toUtf8().constData());
        ok = PQresultStatus(result) == PGRES_COMMAND_OK;
        if (!ok && error) *error = QString::fromUtf8(PQresultErrorMessage(result));
        PQclear(result);
    } else if (error) {
        *error = QString::fromUtf8(PQerrorMessage(conn));
    }
    PQfinish(conn);
    return ok;
}

QString PgCluster::CreateDatabase(bool withSchema)
{
    const QString name = QStringLiteral("c%1_%2").arg(QCoreApplication::applicationPid()).arg(++counter_);
    QString error;
    const QString sql = withSchema ? QStringLiteral("CREATE DATABASE %1 TEMPLATE %2 STRATEGY FILE_COPY")
                                         .arg(name, QLatin1String(kTemplate))
                                   : QStringLiteral("CREATE DATABASE %1").arg(name);
    if (!adminExec(sql, &error)) qFatal("cannot make a test catalogue: %s", qPrintable(error));
    return Uri(name);
}

void PgCluster::DropDatabase(const QString& uri)
{
    const QString name = uri.section(QLatin1Char('/'), 3).section(QLatin1Char('?'), 0, 0);
    if (Running()) adminExec(QStringLiteral("DROP DATABASE IF EXISTS %1 WITH (FORCE)").arg(name));
}

}  // namespace testsupport
