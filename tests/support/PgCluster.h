#pragma once

// A private PostgreSQL server for the tests of one executable: a cluster made with initdb in a
// temporary folder, listening on a Unix socket inside that folder (and on a loopback TCP port for
// the tests that put a proxy in front of it), run as an unprivileged user when the tests run as
// root. It is made on first use and removed when the executable ends; if the test process dies,
// the server dies with it.

#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <memory>

class QProcess;

namespace testsupport {

// How the cluster of a test executable asks for logins. The default is the trusting server most
// tests use; a test of logins or encryption configures its executable's cluster before first use.
struct PgClusterOptions {
    // Roles other than the test's administrator must give a SCRAM-SHA-256 password, on the socket
    // and over TCP.
    bool passwords = false;
    // With both set: TCP connections only over SSL, with this certificate and key.
    QString sslCertificate;
    QString sslKey;
};

class PgCluster {
public:
    // Must come before the first Instance() of the executable.
    static void Configure(const PgClusterOptions& options);
    // Puts another certificate and key in place of the server's and has it read them again.
    bool ReplaceSslCertificate(const QString& certificate, const QString& key);
    // Runs one statement as the administrator (a superuser) on that database; false with *error.
    bool AdminExec(const QString& database, const QString& sql, QString* error = nullptr) const;

    // The one cluster of this test executable, started on first use. A cluster that cannot be made
    // or started ends the test run with the reason: a test never skips for want of a server.
    static PgCluster& Instance();
    ~PgCluster();

    // A new, empty database (owned by the test role) and its libpq URI over the Unix socket.
    QString CreateDatabase(bool withSchema = true);
    void DropDatabase(const QString& uri);
    QString Uri(const QString& database) const;
    QString TcpUri(const QString& database) const;
    int Port() const { return port_; }
    QString SocketFolder() const { return dir_.path(); }

    // Fault injection: a clean stop, a SIGKILL of the server, and a start again on the same data.
    bool Stop();
    bool Kill();
    bool Start();
    bool Running() const;

private:
    PgCluster();
    bool run(const QStringList& command, QString* output = nullptr) const;
    QStringList asServerUser(const QStringList& command) const;
    bool adminExec(const QString& sql, QString* error = nullptr) const;
    bool writeAccessRules() const;
    bool placeSslFiles(const QString& certificate, const QString& key) const;

    QTemporaryDir dir_;
    QString bin_;
    int port_ = 0;
    int counter_ = 0;
    bool root_ = false;
    std::unique_ptr<QProcess> server_;
};

// True when the tests of this run use the server (TAVRELO_TEST_STORE=server).
bool ServerMode();

}  // namespace testsupport
