// The catalogue store: opening it (and every way that fails), the program's statements run through
// the dialect adapter on a database with rows, and the recordset's insert and update rules.
#include <sqlite3.h>

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTest>

#include "Records.h"
#include "TestSupport.h"
#include "core/db/Connection.h"
#include "core/db/Convert.h"
#include "core/db/Recordset.h"
#include "core/db/TextCollation.h"
#include "core/mdlHouse.h"

using testsupport::MsgBoxRecorder;
using testsupport::ProgramFolder;
using testsupport::QueryColumn;

class tst_data_store : public QObject {
    Q_OBJECT

    // Five types at positions 1..5, and houses over three buildings.
    void fill(const ProgramFolder& f)
    {
        QVERIFY(f.Exec(
            "INSERT INTO t_HouseType (List, HouseType, MusicTitle, MusicFile) VALUES "
            "(1,'一室','t1','a.mp3'),(2,'二室','t2','b.mp3'),(3,'三室','t3','c.mp3'),(4,'四室','t4','d.mp3'),"
            "(5,'五室','t5','e.mp3');"
            "INSERT INTO t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) VALUES "
            "('Garden','101','south',1,1),('GARDEN','102','north',1,2),('Lake','201','',2,3),"
            "('Hill','301','x',3,2);"
            "INSERT INTO t_Content (HouseID, Caption, Content, List) VALUES "
            "(1,'朝向','South side',1),(1,'面积','80',2),(2,'朝向','north',1),(3,'朝向','SOUTH SIDE',1);"
            "INSERT INTO t_Image (HouseID, Caption, Intro, ImageFile, List) VALUES "
            "(1,'客厅','big','000001_0001.jpg',1),(1,'卧室','small','000001_0002.jpg',2);"
            "INSERT INTO t_Content_Auto (TypeID, Caption, Content) VALUES (1,'朝向','南'),(1,'面积','');"));
    }

private slots:
    void open_succeeds_on_the_empty_catalogue()
    {
        ProgramFolder f;
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        QVERIFY(cn.IsOpen());
        cn.Close();
        QVERIFY(!cn.IsOpen());
    }

    void schema_has_the_five_tables_and_a_version()
    {
        ProgramFolder f;
        QCOMPARE(f.Value("PRAGMA user_version").toInt(), db::kSchemaVersion);
        // The five tables, and the deals tables beside them.
        QStringList tables;
        for (const auto& r :
             f.Rows("SELECT name FROM sqlite_master WHERE type='table' AND name LIKE 't_%' ORDER BY name"))
            tables << r[0].toString();
        QCOMPARE(tables, QStringList({"t_Consultant", "t_Content", "t_Content_Auto", "t_Customer", "t_Deal",
                                      "t_History", "t_House", "t_HouseType", "t_Image", "t_Setting"}));
        const auto cols = [&](const char* t) {
            QStringList names;
            for (const auto& r : f.Rows(QString("PRAGMA table_info(%1)").arg(t))) names << r[1].toString();
            return names.join(',');
        };
        QCOMPARE(cols("t_House"), QString("HouseID,HouseName,HouseNo,Intro,HouseFloor,TypeID"));
        QCOMPARE(cols("t_HouseType"), QString("TypeID,List,HouseType,MusicTitle,MusicFile"));
        QCOMPARE(cols("t_Content"), QString("ContentID,HouseID,Caption,Content,List"));
        QCOMPARE(cols("t_Image"), QString("ImageID,HouseID,Caption,Intro,ImageFile,List"));
        QCOMPARE(cols("t_Content_Auto"), QString("ContentID,TypeID,Caption,Content"));
        // Every join and filter column has an index.
        const QString indexed = [&] {
            QStringList s;
            for (const auto& r : f.Rows(
                     "SELECT tbl_name || '.' || ii.name FROM sqlite_master m, pragma_index_info(m.name) ii "
                     "WHERE m.type='index' AND ii.seqno = 0"))
                s << r[0].toString();
            return s.join(' ');
        }();
        for (const char* c : {"t_House.TypeID", "t_House.HouseName", "t_Content.HouseID", "t_Content.Caption",
                              "t_Image.HouseID", "t_HouseType.List", "t_Content_Auto.TypeID"})
            QVERIFY2(indexed.contains(c), c);
    }

    void a_missing_file_fails_and_is_never_created()
    {
        ProgramFolder f(false);
        db::Connection cn;
        QVERIFY(!cn.Open(f.DatabasePath()));
        QVERIFY(!QFile::exists(f.DatabasePath()));
        // Statements on the failed connection fail quietly.
        QVERIFY(!cn.Execute("Delete From t_House Where HouseID = 1"));
        db::Recordset rs;
        QVERIFY(!rs.Open("Select * From t_House", cn));
        QVERIFY(rs.Eof());
    }

    void a_file_that_is_not_a_database_fails()
    {
        ProgramFolder f(false);
        QFile file(f.DatabasePath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(4096, 'x'));
        file.close();
        db::Connection cn;
        QVERIFY(!cn.Open(f.DatabasePath()));
    }

    void a_database_without_the_tables_fails()
    {
        ProgramFolder f(false);
        sqlite3* h = nullptr;
        sqlite3_open(QFile::encodeName(f.DatabasePath()).constData(), &h);
        sqlite3_exec(h, "CREATE TABLE t_House (HouseID INTEGER PRIMARY KEY)", nullptr, nullptr, nullptr);
        sqlite3_close(h);
        db::Connection cn;
        QVERIFY(!cn.Open(f.DatabasePath()));
    }

    void a_locked_file_fails()
    {
        ProgramFolder f;
        // Another connection holds an exclusive lock for the whole attempt.
        sqlite3* h = nullptr;
        sqlite3_open(QFile::encodeName(f.DatabasePath()).constData(), &h);
        QCOMPARE(
            sqlite3_exec(h, "PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE;", nullptr, nullptr, nullptr),
            SQLITE_OK);
        db::Connection cn;
        QVERIFY(!cn.Open(f.DatabasePath()));
        sqlite3_exec(h, "COMMIT", nullptr, nullptr, nullptr);
        sqlite3_close(h);
        QVERIFY(cn.Open(f.DatabasePath()));
    }

    void open_database_shows_the_three_line_message_once_per_call()
    {
        ProgramFolder f(false);
        MsgBoxRecorder boxes;
        db::Connection cn;
        mdlHouse::OpenDatabase(cn);
        mdlHouse::OpenDatabase(cn);
        QCOMPARE(boxes.messages.size(), 2);
        QCOMPARE(boxes.messages[0].first,
                 QString("数据库连接失败。\r\n无法连接到系统数据库，请确认没有更改或删除系统文件。\r\n"
                         "(重新安装应用程序可以解决这个问题。)"));
        QCOMPARE(boxes.messages[0].second, ui::Buttons::OkOnly);
        QVERIFY(!cn.IsOpen());
    }

    void open_database_is_silent_when_it_works()
    {
        ProgramFolder f;
        MsgBoxRecorder boxes;
        db::Connection cn;
        mdlHouse::OpenDatabase(cn);
        QVERIFY(cn.IsOpen());
        QVERIFY(boxes.messages.isEmpty());
    }

    void top_1_returns_one_row()
    {
        ProgramFolder f;
        fill(f);
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        QCOMPARE(QueryColumn(cn, "Select Top 1 HouseID From t_House Order By HouseID DESC", "HouseID"),
                 QStringList{"4"});
        QCOMPARE(QueryColumn(cn, "Select Top 1 HouseID From t_House Where HouseID < 3 Order By HouseID DESC",
                             "HouseID"),
                 QStringList{"2"});
        QCOMPARE(QueryColumn(cn, "Select HouseID From t_House Where HouseID > 2 Order By HouseID", "HouseID"),
                 (QStringList{"3", "4"}));
        db::Recordset rs;
        QVERIFY(rs.Open("Select Top 1 * From t_HouseType Order By List DESC", cn, db::CursorType::Keyset,
                        db::LockType::Optimistic));
        QCOMPARE(rs.RecordCount(), 1);
        QCOMPARE(rs.Field("List").toInt(), 5);
    }

    void moving_a_type_swaps_exactly_the_two_neighbours_data()
    {
        QTest::addColumn<QString>("statement");
        QTest::addColumn<QString>("expected");
        // p = 3 of 5 moved up: the bounds are written high first, as the type manager writes them.
        QTest::newRow("up")
            << "Update t_HouseType Set List = List + Sgn(2.5 - List) Where List Between 3 And 2"
            << "一室,三室,二室,四室,五室";
        QTest::newRow("up, bounds low first")
            << "Update t_HouseType Set List = List + Sgn(2.5 - List) Where List Between 2 And 3"
            << "一室,三室,二室,四室,五室";
        QTest::newRow("down")
            << "Update t_HouseType Set List = List + Sgn(3.5 - List) Where List Between 3 And 4"
            << "一室,二室,四室,三室,五室";
        QTest::newRow("down, bounds high first")
            << "Update t_HouseType Set List = List + Sgn(3.5 - List) Where List Between 4 And 3"
            << "一室,二室,四室,三室,五室";
    }

    void moving_a_type_swaps_exactly_the_two_neighbours()
    {
        QFETCH(QString, statement);
        QFETCH(QString, expected);
        ProgramFolder f;
        fill(f);
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        QVERIFY(cn.Execute(statement));
        QCOMPARE(QueryColumn(cn, "Select HouseType From t_HouseType Order By List", "HouseType").join(','),
                 expected);
        QCOMPARE(
            f.Value("SELECT group_concat(List) FROM (SELECT List FROM t_HouseType ORDER BY List)").toString(),
            QString("1,2,3,4,5"));
    }

    void sgn_gives_the_sign()
    {
        ProgramFolder f;
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        QCOMPARE(QueryColumn(cn, "Select Sgn(-7) as a, Sgn(0) as b", "a"), QStringList{"-1"});
        QCOMPARE(QueryColumn(cn, "Select Sgn(0) as a", "a"), QStringList{"0"});
        QCOMPARE(QueryColumn(cn, "Select Sgn(12) as a", "a"), QStringList{"1"});
    }

    void text_compares_without_regard_to_case()
    {
        ProgramFolder f;
        fill(f);
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        // "Garden" and "GARDEN" are one distinct building name.
        const QStringList names =
            QueryColumn(cn, "Select Distinct HouseName From t_House Order By HouseName", "HouseName");
        QCOMPARE(names.size(), 3);
        QCOMPARE(names[0].toLower(), QString("garden"));
        QCOMPARE(QueryColumn(cn, "Select HouseID From t_House Where HouseName = 'garden' Order By HouseID",
                             "HouseID"),
                 (QStringList{"1", "2"}));
        QCOMPARE(QueryColumn(cn, "Select Distinct Content From t_Content Order By Content", "Content").size(),
                 3);
        QCOMPARE(QueryColumn(cn, "Select TypeID From t_HouseType Where HouseType = '三室'", "TypeID"),
                 QStringList{"3"});
    }

    void like_matches_substrings_ignoring_case()
    {
        ProgramFolder f;
        fill(f);
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        QCOMPARE(
            QueryColumn(
                cn,
                "Select Distinct a.HouseID From t_House as a, t_Content as c Where c.Content Like '%sou%'"
                " And a.HouseID = c.HouseID Order By a.HouseID",
                "HouseID"),
            (QStringList{"1", "3"}));
        QCOMPARE(QueryColumn(cn, "Select HouseID From t_House Where HouseName Like '%ARD%' Order By HouseID",
                             "HouseID"),
                 (QStringList{"1", "2"}));
        // Two percent signs match every non-empty value, and the empty string too.
        QCOMPARE(
            QueryColumn(cn, "Select HouseID From t_House Where Intro Like '%%' Order By HouseID", "HouseID")
                .size(),
            4);
    }

    void the_inner_join_hides_a_house_without_its_type()
    {
        ProgramFolder f;
        fill(f);
        QVERIFY(
            f.Exec("INSERT INTO t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) VALUES "
                   "('Orphan','1','',1,99)"));
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        db::Recordset rs;
        QVERIFY(rs.Open(
            "Select a.HouseID, a.HouseName, b.HouseType, a.HouseNo, a.Intro ,a.TypeID"
            " From t_House as a, t_HouseType as b Where a.TypeID = b.TypeID Order By a.HouseName,a.TypeID",
            cn, db::CursorType::Keyset, db::LockType::ReadOnly));
        QCOMPARE(rs.RecordCount(), 4);
        QStringList names;
        while (!rs.Eof()) {
            names << rs.Field("housename").toString();
            rs.MoveNext();
        }
        QVERIFY(!names.contains("Orphan"));
        QCOMPARE(QueryColumn(cn, "Select Count(*) as a From t_House", "a"), QStringList{"5"});
        QVERIFY(
            QueryColumn(cn,
                        "Select a.HouseID, a.HouseName, a.HouseNo, a.Intro,a.HouseFloor,  b.HouseType, "
                        "b.MusicFile, b.List"
                        " From t_House as a, t_HouseType as b Where a.TypeID = b.TypeID And a.HouseID = 5",
                        "HouseID")
                .isEmpty());
    }

    void every_statement_of_the_program_runs_with_its_meaning()
    {
        ProgramFolder f;
        fill(f);
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        QCOMPARE(QueryColumn(cn, "Select Distinct HouseNo From t_House Order By HouseNo", "HouseNo"),
                 (QStringList{"101", "102", "201", "301"}));
        QCOMPARE(
            QueryColumn(cn,
                        "Select a.HouseID, a.HouseName, a.HouseNo, a.Intro,a.HouseFloor,  b.HouseType, "
                        "b.MusicFile, b.List"
                        " From t_House as a, t_HouseType as b Where a.TypeID = b.TypeID And a.HouseID = 4",
                        "HouseType"),
            QStringList{"二室"});
        QCOMPARE(
            QueryColumn(cn,
                        "Select a.HouseName, b.List, a.HouseNo, a.Intro From t_House as a, t_HouseType as b"
                        " Where a.TypeID = b.TypeID And a.HouseID = 3",
                        "List"),
            QStringList{"3"});
        QCOMPARE(QueryColumn(cn, "Select Count(*) as a From t_House Where TypeID = 2", "a"),
                 QStringList{"2"});
        QCOMPARE(
            QueryColumn(
                cn, "Select TypeID, List, HouseType, MusicTitle, MusicFile From t_HouseType Order By List",
                "List"),
            (QStringList{"1", "2", "3", "4", "5"}));
        QCOMPARE(QueryColumn(cn, "Select HouseType, MusicTitle, MusicFile From t_HouseType Where List = 4",
                             "MusicFile"),
                 QStringList{"d.mp3"});
        QCOMPARE(QueryColumn(cn, "Select TypeID From t_HouseType Where List = 2", "TypeID"),
                 QStringList{"2"});
        QCOMPARE(QueryColumn(cn, "Select MusicFile From t_HouseType Where List = 1", "MusicFile"),
                 QStringList{"a.mp3"});
        QCOMPARE(QueryColumn(cn, "Select Caption, Content From t_Content Where HouseID = 1 Order By List",
                             "Caption"),
                 (QStringList{"朝向", "面积"}));
        QCOMPARE(QueryColumn(cn, "Select Distinct Caption From t_Content Order By Caption", "Caption").size(),
                 2);
        QCOMPARE(
            QueryColumn(cn, "Select Caption, Intro, ImageFile From t_Image Where HouseID = 1 Order By List",
                        "ImageFile"),
            (QStringList{"000001_0001.jpg", "000001_0002.jpg"}));
        QCOMPARE(QueryColumn(cn, "Select ImageFile From t_Image Where HouseID = 1", "ImageFile").size(), 2);
        QCOMPARE(
            QueryColumn(cn, "Select Caption, Content From t_Content_Auto Where TypeID = 1 Order By ContentID",
                        "Caption"),
            (QStringList{"朝向", "面积"}));

        // Deleting a type closes the gap behind it.
        QVERIFY(cn.Execute("Delete From t_HouseType Where List = 2"));
        QVERIFY(cn.Execute("Update t_HouseType Set List = List - 1 Where List > 2"));
        QCOMPARE(QueryColumn(cn, "Select HouseType From t_HouseType Order By List", "HouseType"),
                 (QStringList{"一室", "三室", "四室", "五室"}));
        QCOMPARE(
            f.Value("SELECT group_concat(List) FROM (SELECT List FROM t_HouseType ORDER BY List)").toString(),
            QString("1,2,3,4"));

        QVERIFY(cn.Execute("Delete From t_House Where HouseID = 1"));
        QVERIFY(cn.Execute("Delete From t_Content Where HouseID = 1"));
        QVERIFY(cn.Execute("Delete From t_Image Where HouseID = 1"));
        QVERIFY(cn.Execute("Delete From t_Content_Auto Where TypeID = 1"));
        QCOMPARE(f.Value("SELECT count(*) FROM t_House WHERE HouseID = 1").toInt(), 0);
        QCOMPARE(f.Value("SELECT count(*) FROM t_Content WHERE HouseID = 1").toInt(), 0);
        QCOMPARE(f.Value("SELECT count(*) FROM t_Image WHERE HouseID = 1").toInt(), 0);
        QCOMPARE(f.Value("SELECT count(*) FROM t_Content_Auto").toInt(), 0);
    }

    void the_key_read_back_after_an_insert_is_the_largest_and_never_reused()
    {
        ProgramFolder f;
        fill(f);
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        auto insert = [&](const QString& name) {
            db::Recordset rs;
            QVERIFY(rs.Open("Select * From t_House Where HouseID Is Null", cn, db::CursorType::Keyset,
                            db::LockType::Optimistic));
            QCOMPARE(rs.RecordCount(), 0);
            QVERIFY(rs.AddNew());
            QVERIFY(rs.SetField("HouseName", name));
            QVERIFY(rs.SetField("housefloor", "3"));
            QVERIFY(rs.SetField("TypeID", 1));
            QVERIFY(rs.Update());
        };
        insert("New");
        QCOMPARE(QueryColumn(cn, "Select Top 1 HouseID From t_House Order By HouseID DESC", "HouseID"),
                 QStringList{"5"});
        QVERIFY(cn.Execute("Delete From t_House Where HouseID = 5"));
        insert("Newer");
        QCOMPARE(QueryColumn(cn, "Select Top 1 HouseID From t_House Order By HouseID DESC", "HouseID"),
                 QStringList{"6"});
        QCOMPARE(f.Value("SELECT HouseName FROM t_House WHERE HouseID = 6").toString(), QString("Newer"));
        QCOMPARE(f.Value("SELECT HouseFloor FROM t_House WHERE HouseID = 6").toInt(), 3);
    }

    void an_apostrophe_is_stored_by_addnew_but_breaks_a_concatenated_statement()
    {
        ProgramFolder f;
        fill(f);
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        db::Recordset rs;
        QVERIFY(rs.Open("Select * From t_House Where HouseID Is Null", cn, db::CursorType::Keyset,
                        db::LockType::Optimistic));
        QVERIFY(rs.AddNew());
        QVERIFY(rs.SetField("HouseName", "O'Brien's"));
        QVERIFY(rs.SetField("TypeID", 1));
        QVERIFY(rs.Update());
        QCOMPARE(f.Value("SELECT count(*) FROM t_House WHERE HouseName = 'O''Brien''s'").toInt(), 1);
        // The same value put into a statement breaks it; the failure is quiet and changes nothing.
        const int before = f.Value("SELECT count(*) FROM t_House").toInt();
        QVERIFY(!cn.Execute("Delete From t_House Where HouseName = 'O'Brien's'"));
        QCOMPARE(f.Value("SELECT count(*) FROM t_House").toInt(), before);
        db::Recordset bad;
        QVERIFY(!bad.Open("Select TypeID From t_HouseType Where HouseType = 'a'b'", cn));
        QVERIFY(bad.Eof());
    }

    void a_number_column_refuses_what_the_long_conversion_refuses()
    {
        ProgramFolder f;
        fill(f);
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        db::Recordset rs;
        QVERIFY(rs.Open("Select * From t_House Where HouseID Is Null", cn, db::CursorType::Keyset,
                        db::LockType::Optimistic));
        QVERIFY(rs.AddNew());
        QVERIFY(rs.SetField("HouseName", "N"));
        QVERIFY(!rs.SetField("housefloor", "abc"));
        QVERIFY(!rs.SetField("housefloor", "99999999999"));
        QVERIFY(rs.SetField("TypeID", " 2.5 "));  // rounds half to even: 2
        QVERIFY(rs.Update());
        const auto row = f.Rows("SELECT HouseFloor, TypeID FROM t_House WHERE HouseName = 'N'");
        QCOMPARE(row.size(), 1);
        QVERIFY(row[0][0].isNull());
        QCOMPARE(row[0][1].toInt(), 2);
    }

    void updating_a_row_through_the_recordset()
    {
        ProgramFolder f;
        fill(f);
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        db::Recordset rs;
        QVERIFY(rs.Open("Select * From t_House Where HouseID = 3", cn, db::CursorType::Keyset,
                        db::LockType::Optimistic));
        QCOMPARE(rs.RecordCount(), 1);
        QVERIFY(rs.SetField("HouseName", "湖畔"));
        QVERIFY(rs.SetField("housefloor", 9));
        QVERIFY(rs.Update());
        QCOMPARE(f.Rows("SELECT HouseName, HouseFloor FROM t_House WHERE HouseID = 3")[0],
                 (QVariantList{QString("湖畔"), qint64(9)}));
        QCOMPARE(f.Value("SELECT count(*) FROM t_House").toInt(), 4);
        // A read-only recordset cannot be written.
        db::Recordset ro;
        QVERIFY(ro.Open("Select * From t_House Where HouseID = 3", cn));
        QVERIFY(!ro.SetField("HouseName", "x"));
        QVERIFY(!ro.AddNew());
    }

    void null_and_empty_text_stay_apart()
    {
        ProgramFolder f;
        fill(f);
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        db::Recordset rs;
        QVERIFY(rs.Open("Select Intro From t_House Where HouseID = 3", cn));
        QVERIFY(!rs.Field("Intro").isNull());
        QCOMPARE(rs.Field("Intro").toString(), QString());
        QVERIFY(rs.Field("NoSuchColumn").isNull());
    }

    void opening_and_closing_at_100000_houses_is_cheap()
    {
        ProgramFolder f;
        QVERIFY(
            f.Exec("INSERT INTO t_HouseType (List, HouseType) VALUES (1, 'T');"
                   "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100000) "
                   "INSERT INTO t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) "
                   "SELECT 'B' || (i % 50), i, 'intro', i % 40 + 1, 1 FROM n;"));
        QCOMPARE(f.Value("SELECT count(*) FROM t_House").toInt(), 100000);
        const int rounds = 200;
        QElapsedTimer t;
        t.start();
        for (int i = 0; i < rounds; ++i) {
            db::Connection cn;
            QVERIFY(cn.Open(f.DatabasePath()));
            cn.Close();
        }
        const double perOpen = t.nsecsElapsed() / 1e3 / rounds;
        qInfo("open + close of a connection on 100,000 houses: %.1f us", perOpen);
        QVERIFY2(perOpen < 20000, "a connection should open in well under 20 ms");
    }
};

QTEST_MAIN(tst_data_store)
#include "tst_data_store.moc"
