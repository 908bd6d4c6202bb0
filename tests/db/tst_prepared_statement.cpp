// db::Statement, the bulk path of the data layer: values are bound, never pasted, so quotes and
// apostrophes are stored as typed; NULL, whole numbers and text keep their kinds; a statement
// runs again with new values after each Exec; failures report false with the engine's message.
#include <QTemporaryDir>
#include <QTest>

#include "core/db/Connection.h"
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
};

QTEST_GUILESS_MAIN(tst_prepared_statement)
#include "tst_prepared_statement.moc"
