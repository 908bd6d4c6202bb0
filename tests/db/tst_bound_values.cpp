// A statement's values reach the store as data: the text that runs has placeholders where the
// concatenation pasted values, and a text that holds a second statement runs nothing. Checked on
// House.db and on a private PostgreSQL server that this executable starts.
#include <QTest>

#include "PgCluster.h"
#include "TestSupport.h"
#include "core/db/Connection.h"
#include "core/db/DialectPostgres.h"
#include "core/db/Recordset.h"
#include "core/db/Sql.h"
#include "core/db/Store.h"

using db::Sql;
using testsupport::ProgramFolder;

class tst_bound_values : public QObject {
    Q_OBJECT

    std::unique_ptr<ProgramFolder> folder;

    void useStore()
    {
        QFETCH_GLOBAL(bool, server);
        if (server)
            qputenv("TAVRELO_TEST_STORE", "server");
        else
            qunsetenv("TAVRELO_TEST_STORE");
        folder = std::make_unique<ProgramFolder>();
        QCOMPARE(folder->ServerUri().isEmpty(), !server);
        QVERIFY(
            folder->Exec("Insert Into t_House (HouseID, HouseName, HouseNo, HouseFloor, TypeID) Values "
                         "(1, 'O''Hara', '1', 7, 1), (2, 'B座', '2', 10, 1)"));
        QVERIFY(folder->Exec(
            "Insert Into t_Content (HouseID, Caption, Content, List) Values (1, '朝向', '南', 1)"));
    }

    QStringList names(const Sql& sql)
    {
        db::Connection cn;
        if (!db::OpenCatalogue(cn, folder->Path())) return {QStringLiteral("<no connection>")};
        db::Recordset rs;
        if (!rs.Open(sql, cn)) return {QStringLiteral("<failed>")};
        QStringList values;
        for (; !rs.Eof(); rs.MoveNext()) values << rs.Field(0).toString();
        return values;
    }

private slots:
    void initTestCase_data()
    {
        QTest::addColumn<bool>("server");
        QTest::newRow("House.db") << false;
        QTest::newRow("server") << true;
    }
    void cleanup()
    {
        folder.reset();
        qunsetenv("TAVRELO_TEST_STORE");
    }

    void jet_text_is_the_concatenation()
    {
        const Sql sql = Sql("Select a From t Where b Like '%") + Sql::Value("x'y") + Sql("%' And c = ") +
                        Sql::Quoted("O'Neil") + Sql(" And d=") + Sql::Value(" 7 ");
        QCOMPARE(sql.Jet(), QString("Select a From t Where b Like '%x'y%' And c = 'O''Neil' And d= 7 "));
        QVERIFY(sql == QString("Select a From t Where b Like '%x'y%' And c = 'O''Neil' And d= 7 "));
        QVERIFY(sql.HasValues());
        QVERIFY(!Sql("Select 1").HasValues());
    }

    void bound_text_has_one_placeholder_per_literal_with_a_value()
    {
        const Sql sql = Sql("Select a From t Where b Like '%") + Sql::Value("x'y") +
                        Sql("%' And e = 'it''s' And c = ") + Sql::Quoted("O'Neil") + Sql(" And d=") +
                        Sql::Value(" 7 ") + Sql(" And f = 1.5");
        const Sql::Bound bound = sql.Bind();
        QVERIFY(bound.valid);
        QCOMPARE(bound.text,
                 QString("Select a From t Where b Like $1 And e = 'it''s' And c = $2 And d=$3 And f = 1.5"));
        QCOMPARE(int(bound.values.size()), 3);
        QCOMPARE(bound.values[0], QVariant(QString("%x'y%")));
        QCOMPARE(bound.values[1], QVariant(QString("O'Neil")));
        QCOMPARE(bound.values[2], QVariant(qint64(7)));
        QCOMPARE(Sql("Select 1 Where 'a' = 'b'").Bind().text, QString("Select 1 Where 'a' = 'b'"));
    }

    void a_bare_value_must_be_a_number()
    {
        QCOMPARE((Sql("x=") + Sql::Value("1e1")).Bind().values.front(), QVariant(10.0));
        QVERIFY(!(Sql("x=") + Sql::Value("7 Or 1=1")).Bind().valid);
        QVERIFY(!(Sql("x=") + Sql::Value("")).Bind().valid);
    }

    void nul_characters_are_dropped()
    {
        QCOMPARE(db::WithoutNul(QString("a") + QChar(0) + "b"), QString("ab"));
    }

    void the_server_like_takes_a_placeholder()
    {
        QCOMPARE(
            db::toPostgres("Select a From t Where c.b Like $1"),
            QString(
                R"(Select a From t Where lower(c.b COLLATE "und-x-icu") LIKE lower($1 COLLATE "und-x-icu") ESCAPE '')"));
    }

    void values_find_what_they_say()
    {
        useStore();
        QCOMPARE(
            names(Sql("Select HouseName From t_House Where HouseName = '") + Sql::Value("O'Hara") + Sql("'")),
            QStringList{"O'Hara"});
        QCOMPARE(names(Sql("Select HouseName From t_House Where HouseName Like '%") + Sql::Value("'H") +
                       Sql("%'")),
                 QStringList{"O'Hara"});
        QCOMPARE(
            names(Sql("Select HouseName From t_House Where HouseName Like '%") + Sql::Value("b") + Sql("%'")),
            QStringList{"B座"});
        QCOMPARE(names(Sql("Select HouseName From t_House Where HouseFloor=") + Sql::Value(" 10 ")),
                 QStringList{"B座"});
        QCOMPARE(names(Sql("Select HouseName From t_House Where HouseFloor=") + Sql::Value("7.5")),
                 QStringList());
        QCOMPARE(names(Sql("Select HouseName From t_House Where HouseFloor=") + Sql::Value("x")),
                 QStringList{"<failed>"});
        QCOMPARE(names(Sql("Select HouseName From t_House Where HouseName = ") + Sql::Quoted("' OR '1'='1")),
                 QStringList());
        // Another table's rows cannot be added to a list.
        const QString other = folder->ServerUri().isEmpty()
                                  ? "x%' UNION ALL SELECT name FROM sqlite_master --"
                                  : "x%' UNION ALL SELECT rolname FROM pg_roles --";
        QCOMPARE(names(Sql("Select HouseName From t_House Where HouseName Like '%") + Sql::Value(other) +
                       Sql("%'")),
                 QStringList());
    }

    void a_second_statement_runs_nothing()
    {
        useStore();
        db::Connection cn;
        QVERIFY(db::OpenCatalogue(cn, folder->Path()));
        QVERIFY(!cn.Execute(QStringLiteral("Delete From t_Image; Delete From t_Content")));
        QVERIFY(!cn.Execute(QStringLiteral("Select 1; Delete From t_Content")));
        db::Recordset rs;
        QVERIFY(!rs.Open(QStringLiteral("Select HouseName From t_House; Delete From t_Content"), cn));
        cn.Close();
        QCOMPARE(folder->Value("Select Count(*) From t_Content").toInt(), 1);
        // A trailing semicolon is still one statement.
        QVERIFY(db::OpenCatalogue(cn, folder->Path()));
        QVERIFY2(cn.Execute(QStringLiteral("Delete From t_Image Where ImageID = 5;")),
                 qPrintable(cn.LastError()));
    }

    void text_values_keep_everything_but_nul()
    {
        useStore();
        db::Connection cn;
        QVERIFY(db::OpenCatalogue(cn, folder->Path()));
        const QString value = QString("a") + QChar(0) + "'\\$$--;🏠";
        QVERIFY2(cn.Execute(Sql("Update t_Content Set Content = ") + Sql::Quoted(value) +
                            Sql(" Where HouseID = 1")),
                 qPrintable(cn.LastError()));
        QCOMPARE(cn.RowsAffected(), 1);
        db::Recordset rs;
        QVERIFY(rs.Open(QStringLiteral("Select * From t_Content Where ContentID Is Null"), cn,
                        db::CursorType::Keyset, db::LockType::Optimistic));
        QVERIFY(rs.AddNew());
        QVERIFY(rs.SetField("HouseID", 2));
        QVERIFY(rs.SetField("Content", value));
        QVERIFY(rs.Update());
        cn.Close();
        QCOMPARE(folder->Rows("Select Content From t_Content Order By ContentID"),
                 (QList<QVariantList>{{QString("a'\\$$--;🏠")}, {QString("a'\\$$--;🏠")}}));
    }
};

QTEST_GUILESS_MAIN(tst_bound_values)
#include "tst_bound_values.moc"
