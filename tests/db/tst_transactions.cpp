// A window action's save as one transaction: what is committed, what is rolled back, that a
// failing statement inside is still skipped alone, and that a transaction SQLite rolls back by
// itself leaves the connection going on without one.
#include <QTest>

#include "TestSupport.h"
#include "core/db/Connection.h"
#include "core/db/Probe.h"
#include "core/db/Recordset.h"

using testsupport::ProgramFolder;

namespace {

const char* const kInsertA =
    "Insert Into t_HouseType (List, HouseType, MusicTitle, MusicFile) Values (1, 'a', '', '')";
const char* const kInsertB =
    "Insert Into t_HouseType (List, HouseType, MusicTitle, MusicFile) Values (2, 'b', '', '')";

QStringList types(const ProgramFolder& f)
{
    QStringList names;
    for (const QVariantList& row : f.Rows("SELECT HouseType FROM t_HouseType ORDER BY List"))
        names << row[0].toString();
    return names;
}

}  // namespace

class tst_transactions : public QObject {
    Q_OBJECT

private slots:
    void a_committed_save_keeps_every_statement()
    {
        ProgramFolder f;
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        {
            db::Transaction t(cn);
            QVERIFY(cn.InTransaction());
            QVERIFY(cn.Execute(kInsertA));
            QVERIFY(cn.Execute(kInsertB));
            // Nothing is visible to another connection before the commit.
            QCOMPARE(f.Value("SELECT count(*) FROM t_HouseType").toInt(), 0);
            QVERIFY(t.Commit());
        }
        QVERIFY(!cn.InTransaction());
        QCOMPARE(types(f), (QStringList{"a", "b"}));
    }

    void a_save_left_without_commit_leaves_nothing()
    {
        ProgramFolder f;
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        {
            db::Transaction t(cn);
            QVERIFY(cn.Execute(kInsertA));
            QVERIFY(cn.Execute(kInsertB));
        }
        QVERIFY(!cn.InTransaction());
        QCOMPARE(types(f), QStringList{});
        // The connection goes on as before: statements outside a save stand alone.
        QVERIFY(cn.Execute(kInsertA));
        QCOMPARE(types(f), QStringList{"a"});
    }

    void closing_the_connection_rolls_an_open_save_back()
    {
        ProgramFolder f;
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        QVERIFY(cn.BeginTrans());
        QVERIFY(cn.Execute(kInsertA));
        cn.Close();
        QVERIFY(!cn.InTransaction());
        QCOMPARE(types(f), QStringList{});
        QCOMPARE(f.Value("PRAGMA integrity_check").toString(), QStringLiteral("ok"));
    }

    void closing_with_a_recordset_still_open_releases_the_catalogue_at_once()
    {
        ProgramFolder f;
        QVERIFY(f.Exec(kInsertA));
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        db::Recordset reading;
        QVERIFY(cn.Execute("Select * From t_HouseType", reading));
        QVERIFY(cn.BeginTrans());
        QVERIFY(cn.Execute(kInsertB));
        cn.Close();
        // The recordset still holds its statement (and with it a read lock), yet the closed save's
        // write lock is gone: another connection starts its save at once...
        db::Connection other;
        QVERIFY(other.Open(f.DatabasePath()));
        QVERIFY(other.BeginTrans());
        QVERIFY(other.Execute("Update t_HouseType Set MusicTitle = 'x'"));
        // ...and finishes it once the reading is done.
        reading.Close();
        QVERIFY(other.CommitTrans());
        QCOMPARE(types(f), QStringList{"a"});
        QCOMPARE(f.Value("SELECT MusicTitle FROM t_HouseType").toString(), QStringLiteral("x"));
    }

    void a_failing_statement_inside_is_skipped_and_the_rest_is_saved()
    {
        ProgramFolder f;
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        db::Transaction t(cn);
        QVERIFY(cn.Execute(kInsertA));
        QVERIFY(!cn.Execute("Insert Into t_NoSuchTable Values (1)"));
        QVERIFY(!cn.Execute("Update t_HouseType Set NoSuchColumn = 1"));
        QVERIFY(cn.InTransaction());
        QVERIFY(cn.Execute(kInsertB));
        // A recordset insert whose value the column refuses leaves the column, not the save.
        db::Recordset rs;
        QVERIFY(rs.Open("Select * From t_House Where HouseID = 0", cn, db::CursorType::Keyset,
                        db::LockType::Optimistic));
        rs.AddNew();
        QVERIFY(rs.SetField("HouseName", "x"));
        QVERIFY(!rs.SetField("HouseFloor", "not a number"));
        QVERIFY(rs.Update());
        rs.Close();
        QVERIFY(t.Commit());
        QCOMPARE(types(f), (QStringList{"a", "b"}));
        QCOMPARE(f.Rows("SELECT HouseName, HouseFloor FROM t_House"),
                 (QList<QVariantList>{{"x", QVariant()}}));
    }

    void a_save_rolled_back_by_sqlite_goes_on_statement_by_statement()
    {
        ProgramFolder f;
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        // InterruptNow() interrupts the statement calling it: SQLite then rolls the whole transaction
        // back by itself, as it does on a full disk or an I/O error.
        QVERIFY(db::AddInterruptFunction(cn));
        db::Transaction t(cn);
        QVERIFY(cn.Execute(kInsertA));
        QVERIFY(!cn.Execute("Update t_HouseType Set List = InterruptNow() + List"));
        // SQLite has undone the whole transaction; the connection knows it has none any more.
        QVERIFY(!cn.InTransaction());
        QVERIFY(cn.Execute(kInsertB));
        QCOMPARE(types(f), QStringList{"b"});
        QVERIFY(!t.Commit());
        QCOMPARE(types(f), QStringList{"b"});
        // And the next save is a transaction again.
        QVERIFY(cn.BeginTrans());
        QVERIFY(cn.InTransaction());
        cn.RollbackTrans();
    }

    void one_save_at_a_time_and_none_without_a_connection()
    {
        ProgramFolder f;
        db::Connection cn;
        QVERIFY(!cn.BeginTrans());
        QVERIFY(!cn.CommitTrans());
        {
            // A guard on a closed connection leaves it as it was, and its commit has nothing to do.
            db::Transaction t(cn);
            QVERIFY(!cn.InTransaction());
            QVERIFY(t.Commit());
        }
        QVERIFY(cn.Open(f.DatabasePath()));
        QVERIFY(cn.BeginTrans());
        QVERIFY(!cn.BeginTrans());
        {
            // An inner guard does not end the outer save.
            db::Transaction inner(cn);
            QVERIFY(cn.Execute(kInsertA));
        }
        QVERIFY(cn.InTransaction());
        QVERIFY(cn.CommitTrans());
        QCOMPARE(types(f), QStringList{"a"});
    }

    void a_second_copy_waits_for_a_save_and_then_saves()
    {
        ProgramFolder f;
        db::Connection first;
        db::Connection second;
        QVERIFY(first.Open(f.DatabasePath()));
        QVERIFY(second.Open(f.DatabasePath()));
        QVERIFY(first.BeginTrans());
        QVERIFY(first.Execute(kInsertA));
        // The second copy cannot start its save while the first holds the catalogue...
        QVERIFY(!second.BeginTrans());
        QVERIFY(!second.InTransaction());
        QVERIFY(first.CommitTrans());
        // ...and can once it is done.
        QVERIFY(second.BeginTrans());
        QVERIFY(second.Execute(kInsertB));
        QVERIFY(second.CommitTrans());
        QCOMPARE(types(f), (QStringList{"a", "b"}));
    }
};

QTEST_GUILESS_MAIN(tst_transactions)
#include "tst_transactions.moc"
