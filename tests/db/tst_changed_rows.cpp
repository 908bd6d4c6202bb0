// The data layer's count of changed rows and its quoting of text values: what a conditional write
// (change a row only while it still holds the value shown) relies on.
#include <QTemporaryDir>
#include <QTest>

#include "core/db/Connection.h"
#include "core/db/Recordset.h"

class tst_changed_rows : public QObject {
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(dir_.isValid());
        path_ = dir_.filePath(QStringLiteral("House%1.db").arg(++count_));
        QVERIFY(db::CreateEmptyDatabase(path_));
        QVERIFY(connection_.Open(path_));
        QVERIFY(connection_.Execute(QStringLiteral(
            "Insert Into t_Content (HouseID, Caption, Content, List) Values (1, '状态', '在售', 1), "
            "(1, '朝向', '南', 2), (2, '状态', '在售', 1)")));
    }
    void cleanup() { connection_.Close(); }

    void countsTheRowsAStatementChanged()
    {
        QCOMPARE(connection_.RowsAffected(), 3);  // the insert
        QVERIFY(connection_.Execute(
            QStringLiteral("Update t_Content Set Content = '已售' Where Caption = '状态'")));
        QCOMPARE(connection_.RowsAffected(), 2);
        QVERIFY(connection_.Execute(QStringLiteral(
            "Update t_Content Set Content = '已预订' Where ContentID = 1 And Content = '在售'")));
        QCOMPARE(connection_.RowsAffected(), 0);  // the condition no longer holds
        QVERIFY(connection_.Execute(QStringLiteral("Delete From t_Content Where HouseID = 2")));
        QCOMPARE(connection_.RowsAffected(), 1);
    }

    void aFailedOrReadingStatementChangesNothing()
    {
        QVERIFY(!connection_.Execute(QStringLiteral("Update t_Nothing Set a = 1")));
        QCOMPARE(connection_.RowsAffected(), 0);
        QVERIFY(connection_.Execute(QStringLiteral("Update t_Content Set List = List Where HouseID = 1")));
        QCOMPARE(connection_.RowsAffected(), 2);
        // A read through a recordset leaves the count of the last statement alone.
        db::Recordset rs;
        QVERIFY(connection_.Execute(QStringLiteral("Select * From t_Content"), rs));
        rs.Close();
        QCOMPARE(connection_.RowsAffected(), 2);
        connection_.Close();
        QVERIFY(!connection_.Execute(QStringLiteral("Delete From t_Content")));
        QCOMPARE(connection_.RowsAffected(), 0);
    }

    void quotedTextKeepsItsApostrophes()
    {
        QCOMPARE(db::QuoteText(QStringLiteral("在售")), QStringLiteral("'在售'"));
        QCOMPARE(db::QuoteText(QStringLiteral("O'Neil's")), QStringLiteral("'O''Neil''s'"));
        QCOMPARE(db::QuoteText(QString()), QStringLiteral("''"));
        const QString value = QStringLiteral("x' Or '1' = '1");
        QVERIFY(connection_.Execute(QStringLiteral("Update t_Content Set Content = ") + db::QuoteText(value) +
                                    QStringLiteral(" Where ContentID = 2")));
        QCOMPARE(connection_.RowsAffected(), 1);
        db::Recordset rs;
        QVERIFY(connection_.Execute(
            QStringLiteral("Select Content From t_Content Where Content = ") + db::QuoteText(value), rs));
        QVERIFY(!rs.Eof());
        QCOMPARE(rs.Field(0).toString(), value);
        rs.MoveNext();
        QVERIFY(rs.Eof());
    }

private:
    QTemporaryDir dir_;
    QString path_;
    int count_ = 0;
    db::Connection connection_;
};

QTEST_MAIN(tst_changed_rows)
#include "tst_changed_rows.moc"
