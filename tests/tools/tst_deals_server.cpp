// The deals tables on a shared catalogue, against a private server that asks every login but the
// test's administrator for a password: init makes them with the owner's history and expiry
// functions and the manager role; the history says who (the server's session_user), which PC and
// which path for a PC's change and for a statement typed at the server; a showroom login can
// neither read customers nor change deals but may release expired holds; staff can read the
// history but never change, delete or empty it; a manager may change the settings, staff may not;
// every change is announced to listening PCs; upgrade gives a catalogue made before the deals
// tables those tables in one transaction.
#include <libpq-fe.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include "PgCluster.h"
#include "PgLogin.h"
#include "ServerRoles.h"
#include "ServerTool.h"
#include "core/db/ChangeContext.h"
#include "core/db/Connection.h"
#include "core/db/DealsSchema.h"
#include "deals/Expiry.h"
#include "deals/Settings.h"

using testsupport::PgCluster;
using testsupport::PgLogin;

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

const char* const kDealsTables[] = {"t_setting", "t_consultant", "t_customer", "t_deal", "t_history"};
const char* const kPermissionDenied = "42501";

}  // namespace

class tst_deals_server : public QObject {
    Q_OBJECT

    QString uri_;
    QString database_;
    servertool::RoleNames roles_;
    QTemporaryDir home_;

    QString admin(const QString& sql) { return PgLogin(uri_).Value(sql); }
    // The program's connection as one of the test's logins (its password in the pgpass file).
    QString loginUri(const QString& user) const
    {
        return QStringLiteral("postgresql://%1@127.0.0.1:%2/%3")
            .arg(user)
            .arg(PgCluster::Instance().Port())
            .arg(database_);
    }
    QString lastHistory()
    {
        return admin(
            "SELECT HouseID || '|' || coalesce(OldValue, 'NULL') || '|' || coalesce(NewValue, 'NULL') || '|' "
            "|| Path || '|' || ChangedBy || '|' || coalesce(Machine, 'NULL') || '|' || "
            "coalesce(CustomerID::text, 'NULL') || '|' || coalesce(DealID::text, 'NULL') || '|' || "
            "coalesce(Reason, 'NULL') FROM t_History ORDER BY HistoryID DESC LIMIT 1");
    }
    QString historyCount() { return admin("SELECT count(*) FROM t_History"); }

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
        QVERIFY(init.out.contains(roles_.manager));
        for (const auto& [name, role] : {std::pair<const char*, const char*>{"alice", "staff"},
                                         {"victor", "viewer"},
                                         {"mia", "manager"}}) {
            const Run add =
                runTool({"user", "add", name, "--role", role, uri_}, QByteArray(name) + " secret\n");
            QVERIFY2(add.exitCode == 0, qPrintable(add.err));
        }
        QFile pgpass(home_.filePath("pgpass"));
        QVERIFY(pgpass.open(QIODevice::WriteOnly));
        for (const char* name : {"alice", "victor", "mia"})
            pgpass.write(QStringLiteral("127.0.0.1:%1:%2:%3:%3 secret\n")
                             .arg(PgCluster::Instance().Port())
                             .arg(database_, QLatin1String(name))
                             .toUtf8());
        pgpass.close();
        pgpass.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
        qputenv("PGPASSFILE", home_.filePath("pgpass").toUtf8());

        QCOMPARE(admin("INSERT INTO t_HouseType (List, HouseType) VALUES (1, 'one') RETURNING TypeID"),
                 QString("1"));
        QCOMPARE(admin("INSERT INTO t_House (HouseID, HouseName, HouseNo, TypeID) VALUES (1, 'A', '101', 1), "
                       "(2, 'A', '102', 1), (3, 'A', '103', 1) RETURNING 1"),
                 QString("1"));
        QCOMPARE(
            admin("INSERT INTO t_Content (HouseID, Caption, Content, List) VALUES (1, '状态', '在售', 1), "
                  "(2, '状态', '在售', 1), (3, '状态', '在售', 1), (1, '面积', '90', 2) RETURNING 1"),
            QString("1"));
        QCOMPARE(
            admin(
                "INSERT INTO t_Customer (CustomerID, CustomerName, Phone) VALUES (1, '张三', '13800000000') "
                "RETURNING 1"),
            QString("1"));
    }

    void cleanupTestCase() { qunsetenv("PGPASSFILE"); }

    void init_makes_the_deals_tables_and_functions_of_the_owner_and_a_manager_role()
    {
        for (const char* table : kDealsTables)
            QCOMPARE(
                admin(QStringLiteral("SELECT pg_get_userbyid(relowner) FROM pg_class WHERE relname = '%1'")
                          .arg(QLatin1String(table))),
                roles_.owner);
        QCOMPARE(
            admin("SELECT string_agg(proname || ':' || pg_get_userbyid(proowner) || ':' || prosecdef, ',' "
                  "ORDER BY proname) FROM pg_proc WHERE proname IN ('tavrelo_history', "
                  "'tavrelo_release_expired')"),
            QStringLiteral("tavrelo_history:%1:true,tavrelo_release_expired:%1:true").arg(roles_.owner));
        QCOMPARE(
            admin(
                QStringLiteral("SELECT pg_has_role('%1', '%2', 'MEMBER')").arg(roles_.manager, roles_.staff)),
            QString("t"));
        QCOMPARE(
            admin(
                "SELECT count(*) FROM pg_indexes WHERE indexname IN ('ux_deal_active', 'ux_customer_phone')"),
            QString("2"));
        const Run list = runTool({"user", "list", uri_});
        QVERIFY2(list.exitCode == 0, qPrintable(list.err));
        QVERIFY(list.out.contains(QRegularExpression("mia\\s+manager")));
        QVERIFY(list.out.contains(QRegularExpression("alice\\s+staff")));
    }

    void a_staff_change_is_recorded_with_the_login_the_pc_and_the_path()
    {
        const QString before = historyCount();
        db::Connection cn;
        QVERIFY2(cn.OpenServer(loginUri("alice")), qPrintable(cn.LastError()));
        QVERIFY(cn.BeginTrans());
        QVERIFY(db::SetChangeContext(
            cn, db::ChangeContext{QStringLiteral("board"), 1, 0, QStringLiteral("电话预约")}));
        QVERIFY(cn.Execute("Update t_Content Set Content = '预留' Where HouseID = 1 And Caption = '状态'"));
        // The same value again, and another caption: no row.
        QVERIFY(cn.Execute("Update t_Content Set Content = '预留' Where HouseID = 1 And Caption = '状态'"));
        QVERIFY(cn.Execute("Update t_Content Set Content = '91' Where HouseID = 1 And Caption = '面积'"));
        QVERIFY(cn.CommitTrans());
        QCOMPARE(historyCount().toInt(), before.toInt() + 1);
        QCOMPARE(lastHistory(),
                 QStringLiteral("1|在售|预留|board|alice|%1|1|NULL|电话预约").arg(db::MachineName()));
        // The context ends with the transaction.
        QVERIFY(cn.Execute("Update t_Content Set Content = '在售' Where HouseID = 1 And Caption = '状态'"));
        QCOMPARE(lastHistory(),
                 QStringLiteral("1|预留|在售|sql|alice|%1|NULL|NULL|NULL").arg(db::MachineName()));
        // A PC cannot name somebody else as the one who acted.
        const PgLogin staff(database_, "alice", "alice secret");
        QCOMPARE(staff.State("BEGIN; SELECT set_config('tavrelo.path', 'manager', true); "
                             "SET LOCAL ROLE " +
                             roles_.owner + "; COMMIT"),
                 QString(kPermissionDenied));
        QCOMPARE(staff.State("ROLLBACK"), QString());
        // The wizard's whole replacement of a house's rows: the same status back is no change.
        const QString count = historyCount();
        QVERIFY(cn.BeginTrans());
        QVERIFY(db::SetChangeContext(cn, db::ChangeContext{QStringLiteral("wizard")}));
        QVERIFY(cn.Execute("Delete From t_Content Where HouseID = 1"));
        QVERIFY(cn.Execute(
            "Insert Into t_Content (HouseID, Caption, Content, List) Values (1, '状态', '在售', 1)"));
        QVERIFY(cn.Execute(
            "Insert Into t_Content (HouseID, Caption, Content, List) Values (1, '面积', '91', 2)"));
        QVERIFY(cn.CommitTrans());
        QCOMPARE(historyCount(), count);
    }

    void a_statement_typed_at_the_server_is_recorded_as_sql_by_its_login()
    {
        const PgLogin administrator(uri_);
        const QString who = administrator.Value("SELECT session_user");
        QCOMPARE(administrator.State(
                     "UPDATE t_Content SET Content = '已售' WHERE HouseID = 2 AND Caption = '状态'"),
                 QString());
        QCOMPARE(lastHistory().section('|', 0, 4), QStringLiteral("2|在售|已售|sql|%1").arg(who));
        QCOMPARE(administrator.State("DELETE FROM t_Content WHERE HouseID = 2 AND Caption = '状态'"),
                 QString());
        QCOMPARE(lastHistory().section('|', 0, 4), QStringLiteral("2|已售|NULL|sql|%1").arg(who));
        QVERIFY(admin("SELECT ChangedAt > now() - interval '1 minute' FROM t_History ORDER BY HistoryID DESC "
                      "LIMIT 1") == QLatin1String("t"));
    }

    void staff_reads_the_history_but_cannot_change_delete_or_empty_it()
    {
        const PgLogin staff(database_, "alice", "alice secret");
        QVERIFY2(staff.Ok(), qPrintable(staff.Error()));
        QVERIFY(staff.Value("SELECT count(*) FROM t_History").toInt() > 0);
        const QString count = historyCount();
        QCOMPARE(staff.State("UPDATE t_History SET ChangedBy = 'bob'"), QString(kPermissionDenied));
        QCOMPARE(staff.State("DELETE FROM t_History"), QString(kPermissionDenied));
        QCOMPARE(staff.State("TRUNCATE t_History"), QString(kPermissionDenied));
        QCOMPARE(staff.State("INSERT INTO t_History (HouseID, NewValue, Path) VALUES (1, 'x', 'board')"),
                 QString(kPermissionDenied));
        QCOMPARE(staff.State("ALTER TABLE t_Content DISABLE TRIGGER t_content_history"),
                 QString(kPermissionDenied));
        QCOMPARE(staff.State("SET session_replication_role = replica"), QString(kPermissionDenied));
        QCOMPARE(staff.State("SELECT setval(pg_get_serial_sequence('t_history', 'historyid'), 1)"),
                 QString(kPermissionDenied));
        // Staff keep the customers and deals.
        QCOMPARE(staff.State("INSERT INTO t_Customer (CustomerName, Phone) VALUES ('李四', '13900000000')"),
                 QString());
        QCOMPARE(staff.State("INSERT INTO t_Customer (CustomerName, Phone) VALUES ('王五', '13900000000')"),
                 QString("23505"));
        QCOMPARE(staff.State("DELETE FROM t_Customer"), QString(kPermissionDenied));
        QCOMPARE(staff.State("INSERT INTO t_Setting (Name, Value) VALUES ('HoldHours', '1')"),
                 QString(kPermissionDenied));
        QCOMPARE(historyCount(), count);
    }

    void a_viewer_reads_deals_but_no_customer_and_writes_nothing()
    {
        const PgLogin viewer(database_, "victor", "victor secret");
        QVERIFY2(viewer.Ok(), qPrintable(viewer.Error()));
        QCOMPARE(viewer.State("SELECT * FROM t_Customer"), QString(kPermissionDenied));
        QCOMPARE(viewer.State("SELECT count(*) FROM t_Deal"), QString());
        QCOMPARE(viewer.State("SELECT count(*) FROM t_History"), QString());
        QCOMPARE(viewer.State("SELECT * FROM t_Setting"), QString());
        QCOMPARE(viewer.State("INSERT INTO t_Deal (HouseID, Stage, Active) VALUES (3, 'hold', 1)"),
                 QString(kPermissionDenied));
        QCOMPARE(viewer.State("UPDATE t_Deal SET Stage = 'hold'"), QString(kPermissionDenied));
        QCOMPARE(viewer.State("UPDATE t_Content SET Content = 'x'"), QString(kPermissionDenied));
    }

    void every_login_releases_expired_holds_and_a_viewer_cannot_move_the_clock()
    {
        QCOMPARE(
            admin("UPDATE t_Content SET Content = '预留' WHERE HouseID = 3 AND Caption = '状态' RETURNING 1"),
            QString("1"));
        QCOMPARE(
            admin("INSERT INTO t_Deal (HouseID, CustomerID, Stage, Active, HoldStart, HoldEnd, PriorStatus) "
                  "VALUES (3, 1, 'hold', 1, now(), now() + interval '1 day', '在售') RETURNING 1"),
            QString("1"));
        const QString deal = admin("SELECT DealID FROM t_Deal WHERE HouseID = 3 AND Active = 1");
        // A showroom that claims it is two days later releases nothing; its real time is used.
        const PgLogin viewer(database_, "victor", "victor secret");
        QCOMPARE(viewer.Value("SELECT tavrelo_release_expired(now() + interval '2 days')"), QString("0"));
        QCOMPARE(admin("SELECT Content FROM t_Content WHERE HouseID = 3 AND Caption = '状态'"),
                 QString("预留"));
        // The program's release as staff, at a moment after the end.
        db::Connection cn;
        QVERIFY2(cn.OpenServer(loginUri("victor")), qPrintable(cn.LastError()));
        QCOMPARE(deals::ReleaseExpired(cn, QDateTime::currentDateTimeUtc()), 0);
        cn.Close();
        QVERIFY2(cn.OpenServer(loginUri("alice")), qPrintable(cn.LastError()));
        QCOMPARE(deals::ReleaseExpired(cn, QDateTime::currentDateTimeUtc().addDays(2)), 1);
        QCOMPARE(admin("SELECT Content FROM t_Content WHERE HouseID = 3 AND Caption = '状态'"),
                 QString("在售"));
        QCOMPARE(lastHistory(),
                 QStringLiteral("3|预留|在售|expire|alice|%1|1|%2|到期释放").arg(db::MachineName(), deal));
        QCOMPARE(
            admin("SELECT Stage || ':' || (Active IS NULL) || ':' || Reason FROM t_Deal WHERE DealID = " +
                  deal),
            QString("expired:true:到期释放"));
        // A viewer's release of a hold really past its end works, with the owner's rights.
        QCOMPARE(
            admin("UPDATE t_Content SET Content = '预留' WHERE HouseID = 3 AND Caption = '状态' RETURNING 1"),
            QString("1"));
        QCOMPARE(admin("INSERT INTO t_Deal (HouseID, Stage, Active, HoldEnd, PriorStatus) "
                       "VALUES (3, 'hold', 1, now() - interval '1 minute', '在售') RETURNING 1"),
                 QString("1"));
        QCOMPARE(viewer.Value("SELECT tavrelo_release_expired(now())"), QString("1"));
        QCOMPARE(lastHistory().section('|', 0, 4), QString("3|预留|在售|expire|victor"));
    }

    void a_manager_saves_the_settings_and_staff_are_refused()
    {
        db::Connection cn;
        QVERIFY2(cn.OpenServer(loginUri("alice")), qPrintable(cn.LastError()));
        deals::Settings s;
        QVERIFY(s.Load(cn));
        QCOMPARE(s.holdHours, 24);
        s.holdHours = 12;
        QString refusal;
        QVERIFY(!s.Save(cn, &refusal));
        QCOMPARE(refusal, deals::kManagerOnlyMessage);
        QCOMPARE(admin("SELECT count(*) FROM t_Setting"), QString("0"));
        cn.Close();
        QVERIFY2(cn.OpenServer(loginUri("mia")), qPrintable(cn.LastError()));
        QVERIFY2(s.Save(cn, &refusal), qPrintable(refusal));
        QCOMPARE(admin("SELECT Value FROM t_Setting WHERE Name = 'HoldHours'"), QString("12"));
        deals::Settings again;
        QVERIFY(again.Load(cn));
        QCOMPARE(again.holdHours, 12);
        // A manager is staff too.
        QVERIFY(cn.Execute("Insert Into t_Consultant (ConsultantName, Login) Values ('王经理', 'mia')"));
    }

    void listening_pcs_learn_which_unit_changed_when_the_writer_commits()
    {
        const PgLogin listener(database_, "victor", "victor secret");
        QCOMPARE(listener.State("LISTEN tavrelo_changes"), QString());
        const PgLogin staff(database_, "alice", "alice secret");
        QCOMPARE(staff.State(
                     "BEGIN; UPDATE t_Content SET Content = '已认购' WHERE HouseID = 3 AND Caption = '状态'"),
                 QString());
        QCOMPARE(listener.Notification(300), QString());
        QCOMPARE(staff.State("COMMIT"), QString());
        QCOMPARE(listener.Notification(5000), QString("tavrelo_changes:3"));
        QCOMPARE(staff.State("INSERT INTO t_Deal (HouseID, Stage, Active) VALUES (2, 'hold', 1)"), QString());
        QCOMPARE(listener.Notification(5000), QString("tavrelo_changes:2"));
        // One open deal per unit, for staff as for anyone.
        QCOMPARE(staff.State("INSERT INTO t_Deal (HouseID, Stage, Active) VALUES (2, 'hold', 1)"),
                 QString("23505"));
    }

    void upgrade_gives_an_older_catalogue_the_deals_tables_and_nothing_else()
    {
        const QString uri = PgCluster::Instance().CreateDatabase(false);
        QCOMPARE(runTool({"init", uri}).exitCode, 0);
        const PgLogin older(uri);
        // The catalogue as the builds before the deals tables left it.
        QCOMPARE(older.State("DROP TABLE t_Setting, t_Consultant, t_Customer, t_Deal, t_History; "
                             "DROP FUNCTION tavrelo_history(), tavrelo_deal_notify(), tavrelo_deal_expire(), "
                             "tavrelo_release_expired(timestamptz) CASCADE"),
                 QString());
        QCOMPARE(
            older.State("INSERT INTO t_HouseType (List, HouseType) VALUES (1, 'a'); INSERT INTO t_House "
                        "(HouseName, HouseNo, TypeID) VALUES ('甲', '1', 1), ('乙', '2', 1); INSERT INTO "
                        "t_Content (HouseID, Caption, Content, List) VALUES (1, '状态', '在售', 1)"),
            QString());
        const QString rows = older.Value(
            "SELECT md5(string_agg(t::text, ',' ORDER BY t::text)) FROM (SELECT h::text AS t FROM t_House h "
            "UNION ALL "
            "SELECT c::text FROM t_Content c UNION ALL SELECT y::text FROM t_HouseType y) x");
        // A PC's program still opens it; the deals are not there yet, and it cannot add them.
        db::Connection cn;
        QVERIFY2(cn.OpenServer(uri), qPrintable(cn.LastError()));
        QVERIFY(!db::HasDealsTables(cn));
        QCOMPARE(deals::ReleaseExpired(cn, QDateTime::currentDateTimeUtc()), -1);
        cn.Close();

        // A name the last statement of the upgrade wants is taken: all of it is undone.
        QCOMPARE(older.State("CREATE TABLE ix_history_changedat (a integer)"), QString());
        const Run failed = runTool({"upgrade", uri});
        QVERIFY(failed.exitCode != 0);
        QVERIFY2(failed.err.contains("nothing was changed"), qPrintable(failed.err));
        QCOMPARE(older.Value(
                     "SELECT count(*) FROM pg_class WHERE relname IN ('t_setting', 't_deal', 't_history')"),
                 QString("0"));
        QCOMPARE(older.State("DROP TABLE ix_history_changedat"), QString());

        const Run upgrade = runTool({"upgrade", uri});
        QVERIFY2(upgrade.exitCode == 0, qPrintable(upgrade.err));
        const servertool::RoleNames roles = servertool::RolesFor(databaseOf(uri));
        for (const char* table : kDealsTables)
            QCOMPARE(older.Value(
                         QStringLiteral("SELECT pg_get_userbyid(relowner) FROM pg_class WHERE relname = '%1'")
                             .arg(QLatin1String(table))),
                     roles.owner);
        QCOMPARE(
            older.Value(
                "SELECT md5(string_agg(t::text, ',' ORDER BY t::text)) FROM (SELECT h::text AS t FROM "
                "t_House h "
                "UNION ALL SELECT c::text FROM t_Content c UNION ALL SELECT y::text FROM t_HouseType y) x"),
            rows);
        QCOMPARE(older.Value("SELECT count(*) FROM t_History"), QString("0"));
        QCOMPARE(older.State("UPDATE t_Content SET Content = '预留' WHERE HouseID = 1"), QString());
        QCOMPARE(older.Value("SELECT OldValue || '>' || NewValue || ':' || Path FROM t_History"),
                 QString("在售>预留:sql"));
        QVERIFY2(cn.OpenServer(uri), qPrintable(cn.LastError()));
        QVERIFY(db::HasDealsTables(cn));
        cn.Close();
        const Run again = runTool({"upgrade", uri});
        QCOMPARE(again.exitCode, 0);
        QVERIFY(again.out.contains("nothing was changed"));
        PgCluster::Instance().DropDatabase(uri);
    }
};

QTEST_GUILESS_MAIN(tst_deals_server)
#include "tst_deals_server.moc"
