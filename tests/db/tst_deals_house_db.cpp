// The deals tables on House.db: what a new catalogue holds, the one-open-deal and one-phone rules,
// the move of an earlier file (its rows untouched, all or nothing), the history the triggers write
// for every kind of status change, and the release of expired holds.
#include <sqlite3.h>

#include <QFile>
#include <QTest>
#include <QTimeZone>

#include "TestSupport.h"
#include "core/db/ChangeContext.h"
#include "core/db/Clock.h"
#include "core/db/Connection.h"
#include "core/db/DealsSchema.h"
#include "core/db/Recordset.h"
#include "core/db/TextCollation.h"
#include "core/db/schema_sql.h"
#include "deals/Expiry.h"
#include "deals/Settings.h"

using testsupport::ProgramFolder;

namespace {

const QStringList kDealsTables{"t_Setting", "t_Consultant", "t_Customer", "t_Deal", "t_History"};

// A catalogue as the builds before the deals tables wrote it: the five tables, version 2.
void writeVersionTwoCatalogue(const QString& path)
{
    QString schema = QString::fromUtf8(db::kSchemaSql);
    schema.replace(QStringLiteral("PRAGMA user_version = %1;").arg(db::kSchemaVersion),
                   QStringLiteral("PRAGMA user_version = 2;"));
    QFile::remove(path);
    sqlite3* h = nullptr;
    QCOMPARE(sqlite3_open(QFile::encodeName(path).constData(), &h), SQLITE_OK);
    db::RegisterTextCollation(h);
    QCOMPARE(sqlite3_exec(h, schema.toUtf8().constData(), nullptr, nullptr, nullptr), SQLITE_OK);
    const char* rows =
        "INSERT INTO t_HouseType (TypeID, List, HouseType, MusicTitle, MusicFile) VALUES (1, 1, '一室', 't', "
        "'a.mp3');"
        "INSERT INTO t_House (HouseID, HouseName, HouseNo, Intro, HouseFloor, TypeID) VALUES "
        "(1, '翠湖苑', '0101', 'it''s', 1, 1), (2, '翠湖苑', '0102', NULL, NULL, 1), (9, 'x', 'y', 'z', 3, "
        "1);"
        "DELETE FROM t_House WHERE HouseID = 9;"
        "INSERT INTO t_Content (HouseID, Caption, Content, List) VALUES (1, '状态', '在售', 1), "
        "(1, '面积', '89.5', 2), (2, '状态', '已售', 1);"
        "INSERT INTO t_Image (HouseID, Caption, Intro, ImageFile, List) VALUES (1, 'a', 'b', '1.jpg', 1);"
        "INSERT INTO t_Content_Auto (TypeID, Caption, Content) VALUES (1, '状态', '在售');";
    QCOMPARE(sqlite3_exec(h, rows, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(h);
}

// Every row of the five tables with each value quoted by SQLite itself (type and bytes), and the
// key counters: equal lists mean byte-identical rows.
QStringList catalogueRows(const ProgramFolder& f)
{
    QStringList all;
    for (const char* table : db::kTableNames) {
        for (const QVariantList& row :
             f.Rows(QStringLiteral("SELECT * FROM %1 ORDER BY 1").arg(QLatin1String(table)))) {
            QStringList cells;
            for (const QVariant& v : row)
                cells << (v.isNull() ? QStringLiteral("NULL")
                                     : v.typeName() + QLatin1Char(':') + v.toString());
            all << QLatin1String(table) + QLatin1Char('|') + cells.join(QLatin1Char('|'));
        }
    }
    for (const QVariantList& row : f.Rows("SELECT name, seq FROM sqlite_sequence ORDER BY name"))
        all << row[0].toString() + QLatin1Char('=') + row[1].toString();
    return all;
}

QStringList schemaOfCatalogueTables(const ProgramFolder& f)
{
    QStringList all;
    for (const QVariantList& row :
         f.Rows("SELECT type, name, sql FROM sqlite_master WHERE tbl_name IN ('t_HouseType', 't_House', "
                "'t_Content', 't_Image', 't_Content_Auto') AND type IN ('table', 'index') ORDER BY name"))
        all << row[0].toString() + QLatin1Char(' ') + row[1].toString() + QLatin1Char(' ') +
                   row[2].toString();
    return all;
}

QByteArray fileBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The history as "house|old|new|path|customer|deal|reason" lines, oldest first.
QStringList history(const ProgramFolder& f)
{
    QStringList lines;
    for (const QVariantList& row :
         f.Rows("SELECT HouseID, ifnull(OldValue, 'NULL'), ifnull(NewValue, 'NULL'), Path, "
                "ifnull(CustomerID, 'NULL'), ifnull(DealID, 'NULL'), ifnull(Reason, 'NULL') "
                "FROM t_History ORDER BY HistoryID")) {
        QStringList cells;
        for (const QVariant& v : row) cells << v.toString();
        lines << cells.join(QLatin1Char('|'));
    }
    return lines;
}

QString statusOf(const ProgramFolder& f, int house)
{
    const QVariant v = f.Value(
        QStringLiteral("SELECT Content FROM t_Content WHERE HouseID = %1 AND Caption = '状态'").arg(house));
    return v.isValid() ? v.toString() : QStringLiteral("<none>");
}

}  // namespace

class tst_deals_house_db : public QObject {
    Q_OBJECT

private slots:
    void init() { qputenv("TAVRELO_TEST_NOW", "2026-03-01 09:30:00"); }
    void cleanup() { qunsetenv("TAVRELO_TEST_NOW"); }

    void a_new_catalogue_has_the_deals_tables_and_their_rules()
    {
        ProgramFolder f;
        QCOMPARE(f.Value("PRAGMA user_version").toInt(), 3);
        for (const QString& table : kDealsTables)
            QVERIFY2(f.Value(QStringLiteral(
                                 "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = '%1'")
                                 .arg(table))
                             .toInt() == 1,
                     qPrintable(table));
        for (const char* name :
             {"ux_Deal_Active", "ux_Customer_Phone", "ix_History_House", "ix_History_ChangedAt"})
            QVERIFY2(f.Value(QStringLiteral(
                                 "SELECT count(*) FROM sqlite_master WHERE type = 'index' AND name = '%1'")
                                 .arg(QLatin1String(name)))
                             .toInt() == 1,
                     name);
        // One open deal per unit; closed ones as many as there were.
        QVERIFY(f.Exec("INSERT INTO t_Deal (HouseID, Stage, Active) VALUES (1, 'hold', 1)"));
        QVERIFY(!f.Exec("INSERT INTO t_Deal (HouseID, Stage, Active) VALUES (1, 'hold', 1)"));
        QVERIFY(f.Exec("INSERT INTO t_Deal (HouseID, Stage, Active) VALUES (1, 'expired', NULL)"));
        QVERIFY(f.Exec("INSERT INTO t_Deal (HouseID, Stage, Active) VALUES (1, 'cancelled', NULL)"));
        QVERIFY(f.Exec("INSERT INTO t_Deal (HouseID, Stage, Active) VALUES (2, 'hold', 1)"));
        // A phone names one customer; customers without one are many.
        QVERIFY(f.Exec("INSERT INTO t_Customer (CustomerName, Phone) VALUES ('甲', '+8613800000000')"));
        QVERIFY(!f.Exec("INSERT INTO t_Customer (CustomerName, Phone) VALUES ('乙', '+8613800000000')"));
        QVERIFY(f.Exec(
            "INSERT INTO t_Customer (CustomerName, Phone) VALUES ('丙', ''), ('丁', ''), ('戊', NULL), "
            "('己', NULL)"));
        QVERIFY(!f.Exec("INSERT INTO t_Customer (CustomerName) VALUES (NULL)"));
        QVERIFY(!f.Exec("INSERT INTO t_Consultant (ConsultantName) VALUES ('王')") ||
                !f.Exec("INSERT INTO t_Consultant (ConsultantName) VALUES ('王')"));
    }

    void an_earlier_catalogue_gets_the_deals_tables_on_open_and_nothing_else_changes()
    {
        ProgramFolder f;
        writeVersionTwoCatalogue(f.DatabasePath());
        QCOMPARE(f.Value("PRAGMA user_version").toInt(), 2);
        const QStringList rows = catalogueRows(f);
        const QStringList schema = schemaOfCatalogueTables(f);
        QCOMPARE(rows.size(), 8 + 5);  // the rows, and five key counters

        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        QVERIFY(db::HasDealsTables(cn));
        cn.Close();
        QCOMPARE(f.Value("PRAGMA user_version").toInt(), 3);
        for (const QString& table : kDealsTables)
            QCOMPARE(f.Value(QStringLiteral("SELECT count(*) FROM %1").arg(table)).toInt(), 0);
        QCOMPARE(f.Value("SELECT count(*) FROM sqlite_master WHERE type = 'trigger'").toInt(), 4);
        QCOMPARE(catalogueRows(f), rows);
        QCOMPARE(schemaOfCatalogueTables(f), schema);
        QCOMPARE(f.Value("PRAGMA integrity_check").toString(), QStringLiteral("ok"));

        // The upgraded file keeps history like a new one.
        QVERIFY(cn.Open(f.DatabasePath()));
        QVERIFY(cn.BeginTrans());
        QVERIFY(db::SetChangeContext(cn, db::ChangeContext{QStringLiteral("board")}));
        QVERIFY(cn.Execute("Update t_Content Set Content = '预留' Where HouseID = 1 And Caption = '状态'"));
        QVERIFY(cn.CommitTrans());
        QCOMPARE(history(f), QStringList{"1|在售|预留|board|NULL|NULL|NULL"});
    }

    void a_move_that_fails_halfway_leaves_the_file_as_it_was()
    {
        ProgramFolder f;
        writeVersionTwoCatalogue(f.DatabasePath());
        // A name the last statement of the move wants is taken: everything before it is undone.
        QVERIFY(f.Exec("CREATE TABLE ix_History_ChangedAt (a INTEGER)"));
        const QByteArray before = fileBytes(f.DatabasePath());
        QVERIFY(!before.isEmpty());

        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));  // still opens, as it was
        QCOMPARE(cn.Execute("Select Count(*) From t_House") ? 1 : 0, 1);
        cn.Close();
        QCOMPARE(fileBytes(f.DatabasePath()), before);
        QCOMPARE(f.Value("PRAGMA user_version").toInt(), 2);
        QCOMPARE(
            f.Value("SELECT count(*) FROM sqlite_master WHERE name IN ('t_Setting', 't_Deal', 't_History')")
                .toInt(),
            0);
    }

    void every_status_change_leaves_one_history_row_with_its_path()
    {
        ProgramFolder f;
        QVERIFY(
            f.Exec("INSERT INTO t_Content (HouseID, Caption, Content, List) VALUES (1, '状态', '在售', 1), "
                   "(1, '面积', '90', 2), (2, '状态', '在售', 1)"));
        // Written without any context: path sql.
        QCOMPARE(history(f),
                 (QStringList{"1|NULL|在售|sql|NULL|NULL|NULL", "2|NULL|在售|sql|NULL|NULL|NULL"}));
        QVERIFY(f.Exec("DELETE FROM t_History"));

        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        QVERIFY(cn.BeginTrans());
        QVERIFY(db::SetChangeContext(
            cn, db::ChangeContext{QStringLiteral("board"), 0, 0, QStringLiteral("why")}));
        QVERIFY(cn.Execute("Update t_Content Set Content = '已售' Where HouseID = 1 And Caption = '状态'"));
        // The same value again, another caption, a case-only match of the caption: no row.
        QVERIFY(cn.Execute("Update t_Content Set Content = '已售' Where HouseID = 1 And Caption = '状态'"));
        QVERIFY(cn.Execute("Update t_Content Set Content = '95' Where HouseID = 1 And Caption = '面积'"));
        QVERIFY(cn.CommitTrans());
        QCOMPARE(history(f), QStringList{"1|在售|已售|board|NULL|NULL|why"});
        const QVariantList who =
            f.Rows("SELECT ChangedBy, Machine, ChangedAt, TxID IS NOT NULL FROM t_History").value(0);
        QCOMPARE(who.value(0).toString(), db::AccountName());
        QCOMPARE(who.value(1).toString(), db::MachineName());
        QCOMPARE(who.value(2).toString(), QStringLiteral("2026-03-01 09:30:00"));
        QCOMPARE(who.value(3).toInt(), 1);

        // The context ends with its transaction.
        QVERIFY(cn.Execute("Update t_Content Set Content = '在售' Where HouseID = 1 And Caption = '状态'"));
        QCOMPARE(history(f).value(1), QStringLiteral("1|已售|在售|sql|NULL|NULL|NULL"));

        // The wizard replaces a house's rows whole: the same value back is no change, another one
        // is one change.
        QVERIFY(cn.BeginTrans());
        QVERIFY(db::SetChangeContext(cn, db::ChangeContext{QStringLiteral("wizard")}));
        QVERIFY(cn.Execute("Delete From t_Content Where HouseID = 1"));
        QVERIFY(cn.Execute(
            "Insert Into t_Content (HouseID, Caption, Content, List) Values (1, '状态', '在售', 1)"));
        QVERIFY(cn.Execute(
            "Insert Into t_Content (HouseID, Caption, Content, List) Values (1, '面积', '95', 2)"));
        QVERIFY(cn.Execute("Delete From t_Content Where HouseID = 2"));
        QVERIFY(cn.Execute(
            "Insert Into t_Content (HouseID, Caption, Content, List) Values (2, '状态', '预留', 1)"));
        QVERIFY(cn.CommitTrans());
        QCOMPARE(history(f).size(), 3);
        QCOMPARE(history(f).value(2), QStringLiteral("2|在售|预留|wizard|NULL|NULL|NULL"));

        // A deletion of the status row, and a caption renamed away from the status.
        QVERIFY(cn.Execute("Delete From t_Content Where HouseID = 2 And Caption = '状态'"));
        QVERIFY(cn.Execute("Update t_Content Set Caption = '旧状态' Where HouseID = 1 And Caption = '状态'"));
        QCOMPARE(history(f).mid(3),
                 (QStringList{"2|预留|NULL|sql|NULL|NULL|NULL", "1|在售|NULL|sql|NULL|NULL|NULL"}));

        // A rolled-back change leaves no row.
        QVERIFY(cn.BeginTrans());
        QVERIFY(
            cn.Execute("Insert Into t_Content (HouseID, Caption, Content, List) Values (3, '状态', 'x', 1)"));
        cn.RollbackTrans();
        QCOMPARE(history(f).size(), 5);
    }

    void the_status_caption_setting_chooses_the_rows_that_count()
    {
        ProgramFolder f;
        QVERIFY(f.Exec("INSERT INTO t_Setting (Name, Value) VALUES ('StatusCaption', '销售状态')"));
        QVERIFY(
            f.Exec("INSERT INTO t_Content (HouseID, Caption, Content, List) VALUES (1, '状态', '在售', 1), "
                   "(1, '销售状态', '在售', 2)"));
        QCOMPARE(history(f), QStringList{"1|NULL|在售|sql|NULL|NULL|NULL"});
        QCOMPARE(f.Value("SELECT ContentID FROM t_History").toInt(),
                 f.Value("SELECT ContentID FROM t_Content WHERE Caption = '销售状态'").toInt());
    }

    void history_names_the_units_open_deal_unless_told_otherwise()
    {
        ProgramFolder f;
        QVERIFY(f.Exec("INSERT INTO t_Customer (CustomerID, CustomerName) VALUES (7, '张三'), (8, '李四')"));
        QVERIFY(f.Exec(
            "INSERT INTO t_Deal (DealID, HouseID, CustomerID, Stage, Active) VALUES (3, 1, 7, 'hold', 1), "
            "(4, 2, 8, 'returned', NULL)"));
        QVERIFY(
            f.Exec("INSERT INTO t_Content (HouseID, Caption, Content, List) VALUES (1, '状态', '预留', 1), "
                   "(2, '状态', '在售', 1)"));
        QCOMPARE(history(f), (QStringList{"1|NULL|预留|sql|7|3|NULL", "2|NULL|在售|sql|NULL|NULL|NULL"}));
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        QVERIFY(cn.BeginTrans());
        QVERIFY(db::SetChangeContext(
            cn, db::ChangeContext{QStringLiteral("return"), 0, 4, QStringLiteral("退房")}));
        QVERIFY(cn.Execute("Update t_Content Set Content = '已售' Where HouseID = 2"));
        QVERIFY(cn.CommitTrans());
        QCOMPARE(history(f).value(2), QStringLiteral("2|在售|已售|return|8|4|退房"));
    }

    void expired_holds_are_released_in_one_statement()
    {
        ProgramFolder f;
        // Unit 1 was for sale before its hold, unit 2 had no status row, unit 3's status was changed
        // by hand meanwhile, unit 4's hold ends later, unit 5 is past the deposit.
        QVERIFY(
            f.Exec("INSERT INTO t_Content (HouseID, Caption, Content, List) VALUES (1, '状态', '预留', 1), "
                   "(2, '状态', '预留', 1), (3, '状态', '已售', 1), (4, '状态', '预留', 1), (5, '状态', "
                   "'已认购', 1)"));
        QVERIFY(f.Exec(
            "INSERT INTO t_Deal (DealID, HouseID, CustomerID, Stage, Active, HoldEnd, PriorStatus) VALUES "
            "(1, 1, 11, 'hold', 1, '2026-03-01 09:00:00', '在售'), (2, 2, 12, 'hold', 1, '2026-03-01 "
            "09:30:00', NULL), "
            "(3, 3, 13, 'hold', 1, '2026-02-01 00:00:00', '在售'), (4, 4, 14, 'hold', 1, '2026-03-01 "
            "09:31:00', '在售'), "
            "(5, 5, 15, 'deposit', 1, '2026-01-01 00:00:00', '在售')"));
        QVERIFY(f.Exec("DELETE FROM t_History"));

        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        // A second before unit 1's end only the long-expired hold of unit 3 goes, and its status,
        // changed meanwhile, stays.
        QCOMPARE(deals::ReleaseExpired(cn, QDateTime(QDate(2026, 3, 1), QTime(8, 59, 59), QTimeZone::utc())),
                 1);
        QCOMPARE(statusOf(f, 1), QStringLiteral("预留"));
        QCOMPARE(statusOf(f, 3), QStringLiteral("已售"));
        QCOMPARE(history(f), QStringList());
        QCOMPARE(deals::ReleaseExpired(cn, db::Now()), 2);
        QCOMPARE(statusOf(f, 1), QStringLiteral("在售"));
        QCOMPARE(statusOf(f, 2), QStringLiteral("<none>"));
        QCOMPARE(statusOf(f, 3), QStringLiteral("已售"));
        QCOMPARE(statusOf(f, 4), QStringLiteral("预留"));
        QCOMPARE(statusOf(f, 5), QStringLiteral("已认购"));
        QCOMPARE(f.Rows("SELECT DealID FROM t_Deal WHERE Active = 1 ORDER BY DealID").size(), 2);
        QCOMPARE(f.Value("SELECT group_concat(Stage || ':' || ClosedAt || ':' || Reason, ',') FROM t_Deal "
                         "WHERE DealID <= 3")
                     .toString(),
                 QStringLiteral("expired:2026-03-01 09:30:00:到期释放,expired:2026-03-01 09:30:00:到期释放,"
                                "expired:2026-03-01 08:59:59:到期释放"));
        QCOMPARE(history(f),
                 (QStringList{"1|预留|在售|expire|11|1|到期释放", "2|预留|NULL|expire|12|2|到期释放"}));
        // A second release finds nothing; the minute after, unit 4 goes too.
        QCOMPARE(deals::ReleaseExpired(cn, db::Now()), 0);
        qputenv("TAVRELO_TEST_NOW", "2026-03-01T09:31:00Z");
        QCOMPARE(deals::ReleaseExpired(cn, db::Now()), 1);
        QCOMPARE(statusOf(f, 4), QStringLiteral("在售"));
    }

    void a_release_inside_a_step_gives_the_step_its_own_context_back()
    {
        ProgramFolder f;
        QVERIFY(
            f.Exec("INSERT INTO t_Content (HouseID, Caption, Content, List) VALUES (1, '状态', '预留', 1), "
                   "(2, '状态', '在售', 1)"));
        QVERIFY(
            f.Exec("INSERT INTO t_Deal (HouseID, Stage, Active, HoldEnd, PriorStatus) VALUES "
                   "(1, 'hold', 1, '2026-03-01 09:00:00', '在售')"));
        QVERIFY(f.Exec("DELETE FROM t_History"));
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        QVERIFY(cn.BeginTrans());
        QVERIFY(db::SetChangeContext(cn, db::ChangeContext{QStringLiteral("hold"), 5, 0, QString()}));
        QCOMPARE(deals::ReleaseExpired(cn, db::Now()), 1);
        QVERIFY(cn.Execute("Update t_Content Set Content = '预留' Where HouseID = 2"));
        QVERIFY(cn.CommitTrans());
        QCOMPARE(history(f),
                 (QStringList{"1|预留|在售|expire|NULL|1|到期释放", "2|在售|预留|hold|5|NULL|NULL"}));
    }

    void settings_load_with_defaults_and_save_in_one_go()
    {
        ProgramFolder f;
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        deals::Settings s;
        QVERIFY(s.Load(cn));
        QCOMPARE(s.holdHours, 24);
        QCOMPARE(s.maxExtensions, 1);
        QCOMPARE(s.statusCaption, QStringLiteral("状态"));
        QCOMPARE(s.wordHold, QStringLiteral("预留"));
        QCOMPARE(s.wordDeposit, QStringLiteral("已认购"));
        QCOMPARE(s.wordSign, QStringLiteral("已售"));
        QCOMPARE(s.wordForSale, QStringLiteral("在售"));
        // Values that do not fit keep the default.
        QVERIFY(
            f.Exec("INSERT INTO t_Setting (Name, Value) VALUES ('HoldHours', '-3'), ('MaxExtensions', 'x'), "
                   "('WordHold', ''), ('WordSign', '已签约')"));
        QVERIFY(s.Load(cn));
        QCOMPARE(s.holdHours, 24);
        QCOMPARE(s.maxExtensions, 1);
        QCOMPARE(s.wordHold, QStringLiteral("预留"));
        QCOMPARE(s.wordSign, QStringLiteral("已签约"));

        s.holdHours = 48;
        s.maxExtensions = 0;
        s.wordForSale = QStringLiteral("可售");
        QString refusal;
        QVERIFY2(s.Save(cn, &refusal), qPrintable(refusal));
        deals::Settings again;
        QVERIFY(again.Load(cn));
        QCOMPARE(again.holdHours, 48);
        QCOMPARE(again.maxExtensions, 0);
        QCOMPARE(again.wordForSale, QStringLiteral("可售"));
        QCOMPARE(again.wordSign, QStringLiteral("已签约"));
        QCOMPARE(f.Value("SELECT count(*) FROM t_Setting").toInt(), 7);

        // A value that cannot be saved is refused with the reason, nothing written.
        again.holdHours = 0;
        QVERIFY(!again.Save(cn, &refusal));
        QVERIFY(refusal.contains(QStringLiteral("预留时长")));
        again.holdHours = 5;
        again.wordDeposit = QStringLiteral("a\nb");
        QVERIFY(!again.Save(cn, &refusal));
        QCOMPARE(f.Value("SELECT Value FROM t_Setting WHERE Name = 'HoldHours'").toString(),
                 QStringLiteral("48"));
    }
};

QTEST_GUILESS_MAIN(tst_deals_house_db)
#include "tst_deals_house_db.moc"
