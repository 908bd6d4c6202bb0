// db::Statement, the bulk path of the data layer: values are bound, never pasted, so quotes and
// apostrophes are stored as typed; NULL, whole numbers and text keep their kinds; a statement
// runs again with new values after each Exec; failures report false with the engine's message.
// The same statements run on a shared catalogue's server (a private test server), where keys
// come from the server and only grow, and each insert knows its own key even when another PC
// inserts at the same time.
#include <QTemporaryDir>
#include <QTest>

#include "PgCluster.h"
#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "core/db/Statement.h"

class tst_prepared_statement : public QObject {
    Q_OBJECT
private slots:
    void bindsRunsAgainAndReadsBack()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("House.db"));
        QVERIFY(db::CreateEmptyDatabase(path));
        db::Connection c;
        QVERIFY(c.Open(path));

        db::Statement insert;
        QVERIFY(
            insert.Prepare(c, QStringLiteral("INSERT INTO t_House (HouseName, HouseNo, Intro, HouseFloor, "
                                             "TypeID) VALUES (?, ?, ?, ?, ?)")));
        const QStringList names = {QStringLiteral("O'Neil 楼"),
                                   QStringLiteral("\"双引号\"; DROP TABLE t_House; --")};
        for (const QString& name : names) {
            QVERIFY(insert.Bind(1, name));
            QVERIFY(insert.Bind(2, QStringLiteral("101")));
            QVERIFY(insert.Bind(3, QVariant()));
            QVERIFY(insert.Bind(4, 7));
            QVERIFY(insert.Bind(5, qint64(3)));
            QVERIFY(insert.Exec());
            QCOMPARE(insert.LastInsertId(), qint64(names.indexOf(name) + 1));
        }

        db::Statement read;
        QVERIFY(
            read.Prepare(c, QStringLiteral("SELECT HouseName, Intro, HouseFloor, typeof(HouseFloor), HouseNo "
                                           "FROM t_House ORDER BY HouseID")));
        QCOMPARE(read.ColumnCount(), 5);
        QStringList read1;
        while (read.Next()) {
            read1 << read.Column(0).toString();
            QVERIFY(read.Column(1).isNull());
            QCOMPARE(read.Column(2).toLongLong(), qint64(7));
            QCOMPARE(read.Column(3).toString(), QStringLiteral("integer"));
            QCOMPARE(read.Column(4).toString(), QStringLiteral("101"));
            QVERIFY(read.Column(5).isNull());  // past the last column
        }
        QCOMPARE(read1, names);
    }

    void failuresReportTheEngineMessage()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("House.db"));
        QVERIFY(db::CreateEmptyDatabase(path));
        db::Connection c;
        db::Statement s;
        QVERIFY(!s.Prepare(c, QStringLiteral("SELECT 1")));  // not open yet
        QVERIFY(c.Open(path));
        QVERIFY(!s.Prepare(c, QStringLiteral("SELECT HouseName FROM nowhere")));
        QVERIFY2(c.LastError().contains(QStringLiteral("nowhere")), qPrintable(c.LastError()));
        QVERIFY(!s.IsPrepared());
        QVERIFY(!s.Exec());
        QVERIFY(!s.Bind(1, 1));

        // A constraint failure: the key is taken. Exec reports it and the statement runs again.
        QVERIFY(s.Prepare(
            c, QStringLiteral("INSERT INTO t_HouseType (TypeID, List, HouseType) VALUES (?, 1, 'x')")));
        QVERIFY(s.Bind(1, 5));
        QVERIFY(s.Exec());
        QVERIFY(s.Bind(1, 5));
        QVERIFY(!s.Exec());
        QVERIFY(c.LastError().contains(QStringLiteral("UNIQUE")));
        QVERIFY(s.Bind(1, 6));
        QVERIFY(s.Exec());
    }

    void runsOnTheServerWithItsKeys()
    {
        const QString uri = testsupport::PgCluster::Instance().CreateDatabase();
        db::Connection c;
        QVERIFY2(c.OpenServer(uri), qPrintable(c.LastError()));

        // A "?" inside a quoted text is part of the text, not a value.
        db::Statement insert;
        QVERIFY2(
            insert.Prepare(c, QStringLiteral("INSERT INTO t_House (HouseName, HouseNo, Intro, HouseFloor, "
                                             "TypeID) VALUES (?, '?', ?, ?, ?)")),
            qPrintable(c.LastError()));
        const QStringList names = {QStringLiteral("O'Neil 楼"),
                                   QStringLiteral("\"双引号\"; DROP TABLE t_House; --")};
        for (const QString& name : names) {
            QVERIFY(insert.Bind(1, name));
            QVERIFY(insert.Bind(2, QVariant()));
            QVERIFY(insert.Bind(3, 7));
            QVERIFY(insert.Bind(4, qint64(3)));
            QVERIFY2(insert.Exec(), qPrintable(c.LastError()));
            QCOMPARE(insert.LastInsertId(), qint64(names.indexOf(name) + 1));
        }

        // A row given its own key moves the counter past it: the next key is one more.
        db::Statement own;
        QVERIFY(own.Prepare(
            c, QStringLiteral("INSERT INTO t_House (HouseID, HouseName, TypeID) VALUES (?, ?, 1)")));
        QVERIFY(own.Bind(1, 50));
        QVERIFY(own.Bind(2, QStringLiteral("五十")));
        QVERIFY(own.Exec());
        QVERIFY(insert.Bind(1, QStringLiteral("下一个")));
        QVERIFY(insert.Exec());
        QCOMPARE(insert.LastInsertId(), qint64(51));

        // Another PC inserts after it: this connection's newest key is still its own.
        db::Connection other;
        QVERIFY(other.OpenServer(uri));
        QVERIFY(other.Execute(QStringLiteral("Insert Into t_House (HouseName, TypeID) Values ('别处', 1)")));
        db::Recordset newest;
        QVERIFY(c.Execute(QStringLiteral("Select Top 1 HouseID From t_House Order By HouseID DESC"), newest));
        QCOMPARE(newest.Field(0).toLongLong(), qint64(51));
        newest.Close();
        QCOMPARE(insert.LastInsertId(), qint64(51));

        db::Statement read;
        QVERIFY(read.Prepare(c, QStringLiteral("SELECT HouseName, Intro, HouseFloor, HouseNo FROM t_House "
                                               "WHERE HouseID < ? ORDER BY HouseID")));
        QVERIFY(read.Bind(1, 3));
        QStringList read1;
        while (read.Next()) {
            QCOMPARE(read.ColumnCount(), 4);
            read1 << read.Column(0).toString();
            QVERIFY(read.Column(1).isNull());
            QCOMPARE(read.Column(2).toLongLong(), qint64(7));
            QCOMPARE(read.Column(3).toString(), QStringLiteral("?"));
            QVERIFY(read.Column(4).isNull());  // past the last column
        }
        QCOMPARE(read1, names);
        QVERIFY(!read.Next());  // stays at the end until reset
        read.Reset();
        QVERIFY(read.Bind(1, 2));
        QVERIFY(read.Next());
        QCOMPARE(read.Column(0).toString(), names.first());
        QVERIFY(!read.Next());
    }

    void serverFailuresReportTheServerMessage()
    {
        const QString uri = testsupport::PgCluster::Instance().CreateDatabase();
        db::Connection c;
        QVERIFY(c.OpenServer(uri));
        db::Statement s;
        QVERIFY(!s.Prepare(c, QStringLiteral("SELECT HouseName FROM nowhere")));
        QVERIFY2(c.LastError().contains(QStringLiteral("nowhere")), qPrintable(c.LastError()));
        QVERIFY(!s.IsPrepared());
        QVERIFY(!s.Exec());
        QVERIFY(!s.Bind(1, 1));

        // Inside a transaction a failed statement is skipped and the next one still runs.
        QVERIFY(c.BeginTrans());
        QVERIFY(s.Prepare(
            c, QStringLiteral("INSERT INTO t_HouseType (TypeID, List, HouseType) VALUES (?, 1, 'x')")));
        QVERIFY(s.Bind(1, 5));
        QVERIFY(s.Exec());
        QVERIFY(s.Bind(1, 5));
        QVERIFY(!s.Exec());
        QVERIFY2(c.LastError().contains(QStringLiteral("duplicate")), qPrintable(c.LastError()));
        QVERIFY(c.InTransaction());
        QVERIFY(s.Bind(1, 6));
        QVERIFY2(s.Exec(), qPrintable(c.LastError()));
        QVERIFY(c.CommitTrans());
        db::Statement count;
        QVERIFY(count.Prepare(c, QStringLiteral("SELECT COUNT(*) FROM t_HouseType")));
        QVERIFY(count.Next());
        QCOMPARE(count.Column(0).toLongLong(), qint64(2));
    }
};

QTEST_GUILESS_MAIN(tst_prepared_statement)
#include "tst_prepared_statement.moc"
