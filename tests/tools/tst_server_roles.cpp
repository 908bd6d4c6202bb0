// The rights of a shared catalogue's logins, against a private server that asks every login but
// the test's administrator for a SCRAM password: tavrelo-server init makes the owner, staff and
// viewer roles, user add/remove/list manage logins (password on standard input), a staff login
// reads and writes rows but cannot change the structure, move a key counter or reach the server's
// files and programs, and a viewer login reads everything the program reads while every write it
// could attempt is refused with SQLSTATE 42501.
#include <libpq-fe.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include "PgCluster.h"
#include "ServerRoles.h"
#include "ServerTool.h"
#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "core/db/ServerFiles.h"

using testsupport::PgCluster;

namespace {

struct Run {
    int exitCode = -1;
    QString out, err;
};

Run runTool(const QStringList& args, const QByteArray& input = QByteArray())
{
    QProcess p;
    p.start(qEnvironmentVariable("TAVRELO_BINARY_DIR") + QStringLiteral("/tavrelo-server"), args);
    p.write(input);
    p.closeWriteChannel();
    Run r;
    if (!p.waitForFinished(120000)) return r;
    r.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = QString::fromLocal8Bit(p.readAllStandardOutput());
    r.err = QString::fromLocal8Bit(p.readAllStandardError());
    return r;
}

QString databaseOf(const QString& uri)
{
    return uri.section(QLatin1Char('/'), 3).section(QLatin1Char('?'), 0, 0);
}

// A login's own libpq connection over TCP, with its password given directly.
struct Login {
    PGconn* conn = nullptr;
    Login(const QString& database, const QString& user, const QString& password)
    {
        const QByteArray port = QByteArray::number(PgCluster::Instance().Port());
        const QByteArray db = database.toUtf8(), u = user.toUtf8(), pw = password.toUtf8();
        const char* keys[] = {"host", "port", "dbname", "user", "password", nullptr};
        const char* values[] = {"127.0.0.1",   port.constData(), db.constData(),
                                u.constData(), pw.constData(),   nullptr};
        conn = PQconnectdbParams(keys, values, 0);
    }
    // The test's administrator, over the socket.
    explicit Login(const QString& uri) : conn(PQconnectdb(uri.toUtf8().constData())) {}
    ~Login() { PQfinish(conn); }
    bool Ok() const { return PQstatus(conn) == CONNECTION_OK; }
    QString Error() const { return QString::fromUtf8(PQerrorMessage(conn)); }
    // The SQLSTATE of a statement: "" when it worked.
    QString State(const QString& sql) const
    {
        PGresult* r = PQexec(conn, sql.toUtf8().constData());
        const ExecStatusType s = PQresultStatus(r);
        const QString state = s == PGRES_COMMAND_OK || s == PGRES_TUPLES_OK
                                  ? QString()
                                  : QString::fromUtf8(PQresultErrorField(r, PG_DIAG_SQLSTATE));
        PQclear(r);
        return state;
    }
    QString Value(const QString& sql) const
    {
        PGresult* r = PQexec(conn, sql.toUtf8().constData());
        const QString v = PQresultStatus(r) == PGRES_TUPLES_OK && PQntuples(r) > 0
                              ? QString::fromUtf8(PQgetvalue(r, 0, 0))
                              : QStringLiteral("<error: %1>").arg(QString::fromUtf8(PQresultErrorMessage(r)));
        PQclear(r);
        return v;
    }
};

const char* const kTables[] = {"t_HouseType", "t_House", "t_Content", "t_Image", "t_Content_Auto", "t_File"};

}  // namespace

class tst_server_roles : public QObject {
    Q_OBJECT

    QString uri_;
    QString database_;
    servertool::RoleNames roles_;
    QTemporaryDir home_;

    // The administrator's (superuser's) view of the catalogue.
    QString admin(const QString& sql) { return Login(uri_).Value(sql); }
    QString counts()
    {
        return admin(
            QStringLiteral("SELECT (SELECT count(*) FROM t_HouseType) || '/' || (SELECT count(*) FROM "
                           "t_House) || '/' || (SELECT count(*) FROM t_Content) || '/' || (SELECT "
                           "count(*) FROM t_Image) || '/' || (SELECT count(*) FROM t_Content_Auto) || "
                           "'/' || (SELECT count(*) FROM t_File) || '/' || (SELECT last_value FROM "
                           "t_house_houseid_seq)"));
    }

private slots:
    void initTestCase()
    {
        testsupport::PgClusterOptions options;
        options.passwords = true;
        PgCluster::Configure(options);
        uri_ = PgCluster::Instance().CreateDatabase(false);
        database_ = databaseOf(uri_);
        roles_ = servertool::RolesFor(database_);
        const Run init = runTool({"init", uri_});
        QVERIFY2(init.exitCode == 0, qPrintable(init.err));
        QVERIFY(init.out.contains(roles_.staff));
        const Run staff = runTool({"user", "add", "alice", "--role", "staff", uri_}, "alice's secret\n");
        QVERIFY2(staff.exitCode == 0, qPrintable(staff.err));
        const Run viewer = runTool({"user", "add", "victor", "--role=viewer", uri_}, "victor's secret\n");
        QVERIFY2(viewer.exitCode == 0, qPrintable(viewer.err));
        // A few rows to read, written by the owner's side.
        QCOMPARE(admin("INSERT INTO t_HouseType (List, HouseType) VALUES (1, 'one') RETURNING TypeID"),
                 QString("1"));
        QCOMPARE(
            admin(
                "INSERT INTO t_House (HouseName, HouseNo, TypeID) VALUES ('A', '101', 1) RETURNING HouseID"),
            QString("1"));
        QCOMPARE(admin("INSERT INTO t_File (Folder, Name, Content) VALUES ('Images', 'a.png', 'xyz') "
                       "RETURNING Name"),
                 QString("a.png"));
    }

    void init_makes_three_groups_and_logins_are_scram_and_never_superusers()
    {
        for (const QString& group : {roles_.owner, roles_.staff, roles_.viewer})
            QCOMPARE(
                admin(
                    QStringLiteral("SELECT rolcanlogin::text FROM pg_roles WHERE rolname = '%1'").arg(group)),
                QString("false"));
        for (const char* table : kTables)
            QCOMPARE(
                admin(QStringLiteral("SELECT pg_get_userbyid(relowner) FROM pg_class WHERE relname = '%1'")
                          .arg(QString::fromLatin1(table).toLower())),
                roles_.owner);
        QCOMPARE(admin("SELECT string_agg(rolname || ':' || rolsuper || rolcreaterole || rolcreatedb || "
                       "rolreplication || rolbypassrls, ',' ORDER BY rolname) FROM pg_roles "
                       "WHERE rolname IN ('alice', 'victor')"),
                 QString("alice:falsefalsefalsefalsefalse,victor:falsefalsefalsefalsefalse"));
        // The server holds a SCRAM verifier, not the password.
        QCOMPARE(admin("SELECT count(*) FROM pg_authid WHERE rolname IN ('alice', 'victor') AND "
                       "rolpassword LIKE 'SCRAM-SHA-256$%' AND rolpassword NOT LIKE '%secret%'"),
                 QString("2"));
        QCOMPARE(admin("SELECT prosecdef::text || array_to_string(proconfig, ',') FROM pg_proc "
                       "WHERE proname = 'tavrelo_keys_grow'"),
                 QString("truesearch_path=pg_catalog, pg_temp"));
        const Run list = runTool({"user", "list", uri_});
        QVERIFY2(list.exitCode == 0, qPrintable(list.err));
        QCOMPARE(list.out.split('\n', Qt::SkipEmptyParts).size(), 2);
        QVERIFY(list.out.contains(QRegularExpression("alice\\s+staff")));
        QVERIFY(list.out.contains(QRegularExpression("victor\\s+viewer")));
        QVERIFY(Login(database_, "alice", "alice's secret").Ok());
        QVERIFY(!Login(database_, "alice", "guess").Ok());
        QVERIFY(!Login(database_, "alice", "").Ok());
    }

    void staff_reads_and_writes_rows_and_pictures()
    {
        const Login staff(database_, "alice", "alice's secret");
        QVERIFY2(staff.Ok(), qPrintable(staff.Error()));
        QCOMPARE(staff.Value("SELECT count(*) FROM t_House"), QString("1"));
        QCOMPARE(
            staff.State("INSERT INTO t_Content (HouseID, Caption, Content, List) VALUES (1, 'c', 'v', 1)"),
            QString());
        QCOMPARE(staff.State("UPDATE t_House SET Intro = 'x' WHERE HouseID = 1"), QString());
        // A key of its own moves the counter through the owner's trigger; the next key follows it.
        QCOMPARE(staff.State("INSERT INTO t_House (HouseID, HouseName) VALUES (500, 'B')"), QString());
        QCOMPARE(staff.Value("INSERT INTO t_House (HouseName) VALUES ('C') RETURNING HouseID"),
                 QString("501"));
        QCOMPARE(staff.State("DELETE FROM t_House WHERE HouseID = 501"), QString());
        QCOMPARE(staff.State("INSERT INTO t_File (Folder, Name, Content) VALUES ('Images', 'b.png', 'b') ON "
                             "CONFLICT (Folder, Name) DO UPDATE SET Content = EXCLUDED.Content"),
                 QString());
        QCOMPARE(staff.State("INSERT INTO t_File (Folder, Name, Content) VALUES ('Images', 'b.png', 'c') ON "
                             "CONFLICT (Folder, Name) DO UPDATE SET Content = EXCLUDED.Content"),
                 QString());
        QCOMPARE(staff.Value("SELECT convert_from(Content, 'UTF8') FROM t_File WHERE Name = 'b.png'"),
                 QString("c"));
        QCOMPARE(staff.State("DELETE FROM t_File WHERE Name = 'b.png'"), QString());
        QCOMPARE(staff.State("DELETE FROM t_House WHERE HouseID = 500"), QString());
    }

    void staff_cannot_change_structure_move_counters_or_reach_the_server()
    {
        const Login staff(database_, "alice", "alice's secret");
        QVERIFY2(staff.Ok(), qPrintable(staff.Error()));
        const QString before = counts();
        const QStringList refused = {
            "DROP TABLE t_Content",
            "TRUNCATE t_House",
            "ALTER TABLE t_House ADD COLUMN Extra integer",
            "ALTER TABLE t_House DROP COLUMN Intro",
            "CREATE TABLE t_Extra (x integer)",
            "CREATE INDEX ix_extra ON t_House (Intro)",
            "DROP TRIGGER t_house_keys_grow ON t_House",
            "SELECT setval(pg_get_serial_sequence('t_house', 'houseid'), 1)",
            "ALTER SEQUENCE t_house_houseid_seq RESTART WITH 1",
            "SELECT tavrelo_keys_grow()",
            "CREATE OR REPLACE FUNCTION sgn(numeric) RETURNS integer LANGUAGE sql AS 'SELECT 0'",
            "DROP FUNCTION sgn(numeric)",
            "SELECT pg_read_file('/etc/hostname')",
            "SELECT pg_ls_dir('.')",
            "COPY t_House TO PROGRAM 'id'",
            "COPY t_House FROM '/etc/hostname'",
            "COPY t_House TO '/tmp/tavrelo-stolen'",
            "SELECT lo_import('/etc/hostname')",
            "CREATE ROLE mallory LOGIN SUPERUSER",
            "CREATE ROLE mallory LOGIN",
            "ALTER ROLE victor PASSWORD 'mine'",
            "DROP ROLE victor",
            QStringLiteral("GRANT %1 TO alice").arg(roles_.owner),
            QStringLiteral("GRANT %1 TO victor").arg(roles_.staff),
            "ALTER TABLE t_House OWNER TO alice",
        };
        for (const QString& sql : refused)
            QVERIFY2(staff.State(sql) == "42501", qPrintable(sql + " -> " + staff.State(sql)));
        // Without grant option a GRANT only warns; it must still give nobody anything.
        staff.State("GRANT INSERT, DELETE ON t_House TO victor");
        QCOMPARE(admin("SELECT has_table_privilege('victor', 't_house', 'INSERT')::text || "
                       "has_table_privilege('victor', 't_house', 'DELETE')::text"),
                 QString("falsefalse"));
        QCOMPARE(counts(), before);
        QCOMPARE(admin("SELECT count(*) FROM pg_roles WHERE rolname = 'mallory'"), QString("0"));
    }

    void viewer_reads_everything_and_every_write_is_refused_with_42501()
    {
        const Login viewer(database_, "victor", "victor's secret");
        QVERIFY2(viewer.Ok(), qPrintable(viewer.Error()));
        for (const char* table : kTables)
            QCOMPARE(viewer.State(QStringLiteral("SELECT * FROM %1").arg(table)), QString());
        QCOMPARE(viewer.Value("SELECT HouseName FROM t_House WHERE HouseID = 1"), QString("A"));
        const QString before = counts();
        const QStringList writes = {
            "INSERT INTO t_HouseType (List, HouseType) VALUES (2, 'two')",
            "INSERT INTO t_House (HouseName) VALUES ('x')",
            "INSERT INTO t_House (HouseID, HouseName) VALUES (900, 'x')",  // the key trigger's path
            "INSERT INTO t_Content (HouseID, Caption) VALUES (1, 'x')",
            "INSERT INTO t_Image (HouseID, Caption) VALUES (1, 'x')",
            "INSERT INTO t_Content_Auto (TypeID, Caption) VALUES (1, 'x')",
            "INSERT INTO t_File (Folder, Name, Content) VALUES ('Images', 'a.png', 'x') ON CONFLICT (Folder, "
            "Name) DO UPDATE SET Content = EXCLUDED.Content",
            "UPDATE t_HouseType SET HouseType = 'x'",
            "UPDATE t_House SET HouseName = 'x'",
            "UPDATE t_Content SET Content = 'x'",
            "UPDATE t_Image SET Caption = 'x'",
            "UPDATE t_Content_Auto SET Content = 'x'",
            "UPDATE t_File SET Content = 'x'",
            "DELETE FROM t_HouseType",
            "DELETE FROM t_House",
            "DELETE FROM t_Content",
            "DELETE FROM t_Image",
            "DELETE FROM t_Content_Auto",
            "DELETE FROM t_File",
            "TRUNCATE t_House",
            "SELECT setval('t_house_houseid_seq', 1)",
            "SELECT nextval('t_house_houseid_seq')",
            "SELECT * FROM t_House FOR UPDATE",
        };
        for (const QString& sql : writes)
            QVERIFY2(viewer.State(sql) == "42501", qPrintable(sql + " -> " + viewer.State(sql)));
        QCOMPARE(counts(), before);
    }

    void the_program_reads_as_a_viewer_and_cannot_write()
    {
        // The password where libpq looks for it, as a showroom PC keeps it.
        QFile pgpass(home_.filePath("pgpass"));
        QVERIFY(pgpass.open(QIODevice::WriteOnly));
        pgpass.write(QStringLiteral("127.0.0.1:%1:%2:victor:victor's secret\n")
                         .arg(PgCluster::Instance().Port())
                         .arg(database_)
                         .toUtf8());
        pgpass.close();
        pgpass.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
        qputenv("PGPASSFILE", home_.filePath("pgpass").toUtf8());
        const QString uri = QStringLiteral("postgresql://victor@127.0.0.1:%1/%2")
                                .arg(PgCluster::Instance().Port())
                                .arg(database_);
        const QString before = counts();
        db::Connection connection;
        QVERIFY2(connection.OpenServer(uri), qPrintable(connection.LastError()));
        db::Recordset rs;
        QVERIFY(
            rs.Open("Select a.HouseID, a.HouseName, b.HouseType From t_House as a, t_HouseType as b"
                    " Where a.TypeID = b.TypeID Order By a.HouseName,a.TypeID",
                    connection));
        QVERIFY(!rs.Eof());
        QCOMPARE(rs.Field("HouseName").toString(), QString("A"));
        rs.Close();
        QByteArray content;
        QVERIFY(db::GetServerFile(connection, "Images", "a.png", &content));
        QCOMPARE(content, QByteArray("xyz"));
        QVERIFY(db::ServerFileNames(connection, "Images").contains("a.png"));
        QVERIFY(!db::PutServerFile(connection, "Images", "a.png", "overwritten"));
        QVERIFY(!connection.Execute("Delete From t_House Where HouseID = 1"));
        QVERIFY2(connection.LastError().contains("permission denied"), qPrintable(connection.LastError()));
        QVERIFY(connection.BeginTrans());
        QVERIFY(!connection.Execute("Insert Into t_House (HouseName) Values ('x')"));
        connection.CommitTrans();
        connection.Close();
        QCOMPARE(counts(), before);
        qunsetenv("PGPASSFILE");
    }

    void init_gives_an_older_catalogue_its_roles_once()
    {
        // A catalogue made before there were roles: the tables belong to whoever made them.
        const QString uri = PgCluster::Instance().CreateDatabase(true);
        const servertool::RoleNames roles = servertool::RolesFor(databaseOf(uri));
        const Login older(uri);
        // ... here the login every PC used, which also owned the database.
        QString error;
        QVERIFY2(
            PgCluster::Instance().AdminExec(
                databaseOf(uri),
                QStringLiteral("CREATE ROLE oldpc LOGIN PASSWORD 'old''s secret'; "
                               "ALTER DATABASE %1 OWNER TO oldpc; "
                               "ALTER TABLE t_HouseType OWNER TO oldpc; ALTER TABLE t_House OWNER TO oldpc; "
                               "ALTER TABLE t_Content OWNER TO oldpc; ALTER TABLE t_Image OWNER TO oldpc; "
                               "ALTER TABLE t_Content_Auto OWNER TO oldpc; ALTER TABLE t_File OWNER TO oldpc")
                    .arg(databaseOf(uri)),
                &error),
            qPrintable(error));
        QCOMPARE(older.Value("SELECT pg_get_userbyid(relowner) FROM pg_class WHERE relname = 't_house'"),
                 QString("oldpc"));
        QCOMPARE(older.Value("INSERT INTO t_House (HouseName) VALUES ('kept') RETURNING HouseName"),
                 QString("kept"));
        const Run init = runTool({"init", uri});
        QVERIFY2(init.exitCode == 0, qPrintable(init.err));
        QVERIFY(init.out.contains("already there"));
        QCOMPARE(older.Value("SELECT pg_get_userbyid(relowner) FROM pg_class WHERE relname = 't_house'"),
                 roles.owner);
        QCOMPARE(older.Value("SELECT has_table_privilege('" + roles.viewer +
                             "', 't_house', 'SELECT')::text || "
                             "has_table_privilege('" +
                             roles.viewer +
                             "', 't_house', 'INSERT')::text || "
                             "has_table_privilege('" +
                             roles.staff +
                             "', 't_house', 'DELETE')::text || "
                             "has_table_privilege('" +
                             roles.staff + "', 't_house', 'TRUNCATE')::text"),
                 QString("truefalsetruefalse"));
        QCOMPARE(older.Value("SELECT HouseName FROM t_House"), QString("kept"));
        // The old login keeps working on rows until the PCs have their own, but can no longer drop,
        // truncate or alter anything, though it still owns the database.
        QVERIFY(init.out.contains("oldpc"));
        const Login oldpc(databaseOf(uri), "oldpc", "old's secret");
        QVERIFY2(oldpc.Ok(), qPrintable(oldpc.Error()));
        QCOMPARE(oldpc.State("UPDATE t_House SET Intro = 'still works'"), QString());
        for (const QString& sql :
             QStringList{"DROP TABLE t_Content", "TRUNCATE t_House", "ALTER TABLE t_House ADD x int",
                         "CREATE TABLE t_Extra (x int)", "DROP SCHEMA public CASCADE"})
            QVERIFY2(oldpc.State(sql) == "42501", qPrintable(sql + " -> " + oldpc.State(sql)));
        // A login of the first catalogue cannot even connect to this one.
        QVERIFY(Login(database_, "alice", "alice's secret").Ok());
        const Login stranger(databaseOf(uri), "alice", "alice's secret");
        QVERIFY(!stranger.Ok());
        QVERIFY2(stranger.Error().contains("permission denied"), qPrintable(stranger.Error()));
        const Run again = runTool({"init", uri});
        QCOMPARE(again.exitCode, 1);
        QVERIFY(again.err.contains("already"));
        PgCluster::Instance().DropDatabase(uri);
        PgCluster::Instance().AdminExec("postgres", "DROP ROLE oldpc");
    }

    void user_commands_refuse_what_they_cannot_do()
    {
        // Usage: no role, an unknown role, a password on the command line is no option.
        QCOMPARE(runTool({"user", "add", "bob", uri_}, "pw\n").exitCode, 2);
        QCOMPARE(runTool({"user", "add", "bob", "--role", "owner", uri_}, "pw\n").exitCode, 2);
        QCOMPARE(runTool({"user", "add", "bob", "--role", "staff", "--password", "pw", uri_}).exitCode, 2);
        QCOMPARE(runTool({"user", "list"}).exitCode, 2);
        // No password, an existing name, a name of the server's own: nothing made.
        Run r = runTool({"user", "add", "bob", "--role", "staff", uri_}, "");
        QCOMPARE(r.exitCode, 1);
        r = runTool({"user", "add", "victor", "--role", "staff", uri_}, "pw\n");
        QCOMPARE(r.exitCode, 1);
        QVERIFY(r.err.contains("already exists"));
        r = runTool({"user", "add", "pg_evil", "--role", "staff", uri_}, "pw\n");
        QCOMPARE(r.exitCode, 1);
        // A hostile name is a name, not SQL.
        r = runTool({"user", "add", "x\"; DROP TABLE t_House; --", "--role", "viewer", uri_}, "pw\n");
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(admin("SELECT count(*) FROM t_House"), QString("1"));
        QVERIFY(runTool({"user", "list", uri_}).out.contains("DROP TABLE"));
        r = runTool({"user", "remove", "x\"; DROP TABLE t_House; --", uri_});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        // Only this catalogue's logins are removed; a role of its own stays.
        r = runTool({"user", "remove", roles_.owner, uri_});
        QCOMPARE(r.exitCode, 1);
        r = runTool({"user", "add", "bob", "--role", "staff", uri_}, "bob's secret\n");
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY(Login(database_, "bob", "bob's secret").Ok());
        r = runTool({"user", "remove", "bob", uri_});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(
            admin("SELECT count(*) FROM pg_roles WHERE rolname IN ('bob', 'pg_evil') OR rolname LIKE 'x\"%'"),
            QString("0"));
        QVERIFY(!Login(database_, "bob", "bob's secret").Ok());
    }
};

QTEST_GUILESS_MAIN(tst_server_roles)
#include "tst_server_roles.moc"
