// Verified encryption to a shared catalogue: the test makes its own certificate authority and
// server certificates with openssl, starts its server with ssl=on (TCP only over SSL, SCRAM
// passwords, as the documentation sets it up), and checks that the program connects with
// sslmode=verify-full and the authority's certificate, and gets the connection message, and
// nothing else, when the server shows a certificate for another host name or from another
// authority.

#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include "PgCluster.h"
#include "TestSupport.h"
#include "core/db/Connection.h"
#include "core/db/Probe.h"
#include "core/db/ServerLogin.h"
#include "core/mdlHouse.h"

using testsupport::MsgBoxRecorder;
using testsupport::PgCluster;
using testsupport::ProgramFolder;

namespace {

bool openssl(const QStringList& args, const QString& folder)
{
    QProcess p;
    p.setWorkingDirectory(folder);
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(QStringLiteral("openssl"), args);
    if (!p.waitForFinished(60000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) {
        qWarning("openssl %s: %s", qPrintable(args.join(' ')), p.readAll().constData());
        return false;
    }
    return true;
}

const QStringList kEcKey = {"-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"};

// A self-signed authority: NAME.crt and NAME.key.
bool makeAuthority(const QString& folder, const QString& name)
{
    return openssl(QStringList{"req", "-x509"} + kEcKey +
                       QStringList{"-keyout", name + ".key", "-out", name + ".crt", "-days", "2", "-subj",
                                   "/CN=" + name, "-addext", "basicConstraints=critical,CA:TRUE", "-addext",
                                   "keyUsage=critical,keyCertSign,cRLSign"},
                   folder);
}

// A server certificate for a host name, signed by the authority: HOST.crt and HOST.key.
bool makeServerCertificate(const QString& folder, const QString& authority, const QString& host)
{
    QFile ext(folder + "/" + host + ".ext");
    if (!ext.open(QIODevice::WriteOnly)) return false;
    ext.write(("subjectAltName=DNS:" + host + "\nextendedKeyUsage=serverAuth\n").toUtf8());
    ext.close();
    return openssl(QStringList{"req"} + kEcKey +
                       QStringList{"-keyout", host + ".key", "-out", host + ".csr", "-subj", "/CN=" + host},
                   folder) &&
           openssl(
               {"x509", "-req", "-in", host + ".csr", "-CA", authority + ".crt", "-CAkey", authority + ".key",
                "-CAcreateserial", "-out", host + ".crt", "-days", "2", "-extfile", host + ".ext"},
               folder);
}

}  // namespace

class tst_server_ssl : public QObject {
    Q_OBJECT

    QTemporaryDir certs_;
    QString database_;

    QString pcSetting(const QString& tag, const QString& mode, const QString& authority) const
    {
        return QStringLiteral(
                   "host=localhost hostaddr=127.0.0.1 port=%1 dbname=%2 user=dora sslmode=%3 "
                   "sslrootcert=%4 application_name=%5")
            .arg(QString::number(PgCluster::Instance().Port()), database_, mode,
                 certs_.filePath(authority + ".crt"), tag);
    }
    // Opens the catalogue as every window does; the messages it showed.
    static QStringList open(const QString& setting, bool* encrypted)
    {
        ProgramFolder folder;
        QSettings(folder.File("Tavrelo.conf"), QSettings::IniFormat).setValue("catalogue/server", setting);
        MsgBoxRecorder boxes;
        db::Connection connection;
        mdlHouse::OpenDatabase(connection);
        *encrypted = connection.IsOpen() && db::UsesEncryption(connection);
        return boxes.Texts();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(makeAuthority(certs_.path(), "authority"));
        QVERIFY(makeAuthority(certs_.path(), "stranger"));
        QVERIFY(makeServerCertificate(certs_.path(), "authority", "localhost"));
        QVERIFY(makeServerCertificate(certs_.path(), "authority", "elsewhere.example"));
        testsupport::PgClusterOptions options;
        options.passwords = true;
        options.sslCertificate = certs_.filePath("localhost.crt");
        options.sslKey = certs_.filePath("localhost.key");
        PgCluster::Configure(options);
        const QString admin = PgCluster::Instance().CreateDatabase(true);
        database_ = admin.section('/', 3).section('?', 0, 0);
        QString error;
        QVERIFY2(PgCluster::Instance().AdminExec(
                     database_,
                     "CREATE ROLE dora LOGIN PASSWORD 'dora''s password'; "
                     "GRANT SELECT, INSERT, UPDATE, DELETE ON ALL TABLES IN SCHEMA public TO dora",
                     &error),
                 qPrintable(error));
        // The PC's password lives where libpq looks for it.
        QFile pgpass(certs_.filePath("pgpass"));
        QVERIFY(pgpass.open(QIODevice::WriteOnly));
        pgpass.write("*:*:*:dora:dora's password\n");
        pgpass.close();
        pgpass.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
        qputenv("PGPASSFILE", pgpass.fileName().toUtf8());
    }

    void verify_full_with_the_authority_connects_encrypted()
    {
        bool encrypted = false;
        QCOMPARE(open(pcSetting("full", "verify-full", "authority"), &encrypted), QStringList());
        QVERIFY(encrypted);
        // The URI form says the same.
        const QString uri = QStringLiteral(
                                "postgresql://dora@localhost:%1/%2?hostaddr=127.0.0.1&sslmode=verify-full"
                                "&sslrootcert=%3&application_name=uri")
                                .arg(QString::number(PgCluster::Instance().Port()), database_,
                                     certs_.filePath("authority.crt"));
        QCOMPARE(open(uri, &encrypted), QStringList());
        QVERIFY(encrypted);
    }

    void the_server_takes_no_unencrypted_connection()
    {
        bool encrypted = true;
        QCOMPARE(open(pcSetting("plain", "disable", "authority"), &encrypted),
                 QStringList{mdlHouse::DatabaseFailureMessage()});
        QVERIFY(!encrypted);
    }

    void another_authority_is_refused_with_the_connection_message()
    {
        bool encrypted = true;
        QCOMPARE(open(pcSetting("stranger", "verify-full", "stranger"), &encrypted),
                 QStringList{mdlHouse::DatabaseFailureMessage()});
        QVERIFY(!encrypted);
    }

    void a_certificate_for_another_host_is_refused_with_the_connection_message()
    {
        QVERIFY(PgCluster::Instance().ReplaceSslCertificate(certs_.filePath("elsewhere.example.crt"),
                                                            certs_.filePath("elsewhere.example.key")));
        bool encrypted = true;
        QCOMPARE(open(pcSetting("elsewhere", "verify-full", "authority"), &encrypted),
                 QStringList{mdlHouse::DatabaseFailureMessage()});
        QVERIFY(!encrypted);
        // The authority is right and only the name is wrong: verify-ca, which skips the name, gets in.
        QCOMPARE(open(pcSetting("elsewhere-ca", "verify-ca", "authority"), &encrypted), QStringList());
        QVERIFY(encrypted);
        // The right certificate back: verify-full gets in again.
        QVERIFY(PgCluster::Instance().ReplaceSslCertificate(certs_.filePath("localhost.crt"),
                                                            certs_.filePath("localhost.key")));
        QCOMPARE(open(pcSetting("back", "verify-full", "authority"), &encrypted), QStringList());
        QVERIFY(encrypted);
    }
};

QTEST_MAIN(tst_server_ssl)
#include "tst_server_ssl.moc"
