// The change watcher on both stores: quiet while nothing changes, a signal soon after another
// connection commits, the units a server names gathered into one signal, and a catalogue that goes
// away reported once and picked up again when it is back.
#include <QSignalSpy>
#include <QTest>

#include "PgCluster.h"
#include "TestSupport.h"
#include "core/db/ChangeWatcher.h"

using testsupport::PgCluster;

class tst_change_watcher : public QObject {
    Q_OBJECT

    // Every house id of every Changed signal so far, and whether one of them meant "everything".
    static QSet<qint32> housesOf(const QSignalSpy& spy, bool* everything = nullptr)
    {
        QSet<qint32> all;
        if (everything) *everything = false;
        for (const QList<QVariant>& args : spy) {
            const QSet<qint32> houses = args[0].value<QSet<qint32>>();
            if (houses.isEmpty() && everything) *everything = true;
            all.unite(houses);
        }
        return all;
    }

private slots:
    void initTestCase() { qRegisterMetaType<QSet<qint32>>(); }

    void house_db_commits_of_another_connection()
    {
        testsupport::ProgramFolder folder;
        QVERIFY(folder.ServerUri().isEmpty());
        db::ChangeWatcher watcher;
        QSignalSpy changed(&watcher, &db::ChangeWatcher::Changed);
        QSignalSpy lost(&watcher, &db::ChangeWatcher::ConnectionLost);
        QSignalSpy restored(&watcher, &db::ChangeWatcher::ConnectionRestored);
        watcher.Watch(folder.DatabasePath());
        QVERIFY(watcher.Connected());
        QTest::qWait(700);
        QCOMPARE(changed.count(), 0);

        QVERIFY(folder.Exec(
            "INSERT INTO t_HouseType (List, HouseType, MusicTitle, MusicFile) VALUES (1, 'a', '', '')"));
        QTRY_COMPARE_WITH_TIMEOUT(changed.count(), 1, 1000);
        QVERIFY(changed[0][0].value<QSet<qint32>>().isEmpty());
        QTest::qWait(500);
        QCOMPARE(changed.count(), 1);

        // Moved away: reported once; back: reported, and read again.
        QVERIFY(folder.HideDatabase());
        QTRY_COMPARE_WITH_TIMEOUT(lost.count(), 1, 1000);
        QVERIFY(!watcher.Connected());
        QTest::qWait(500);
        QCOMPARE(lost.count(), 1);
        changed.clear();
        QVERIFY(folder.RestoreDatabase());
        QTRY_COMPARE_WITH_TIMEOUT(restored.count(), 1, 1000);
        QTRY_COMPARE_WITH_TIMEOUT(changed.count(), 1, 1000);
        QVERIFY(watcher.Connected());

        watcher.Stop();
        changed.clear();
        QVERIFY(folder.Exec(
            "INSERT INTO t_HouseType (List, HouseType, MusicTitle, MusicFile) VALUES (2, 'b', '', '')"));
        QTest::qWait(500);
        QCOMPARE(changed.count(), 0);
    }

    void server_notifications_and_a_server_that_restarts()
    {
        const QByteArray store = qgetenv("TAVRELO_TEST_STORE");
        qputenv("TAVRELO_TEST_STORE", "server");
        {
            testsupport::ProgramFolder folder;
            QVERIFY(!folder.ServerUri().isEmpty());
            db::ChangeWatcher watcher;
            QSignalSpy changed(&watcher, &db::ChangeWatcher::Changed);
            QSignalSpy lost(&watcher, &db::ChangeWatcher::ConnectionLost);
            QSignalSpy restored(&watcher, &db::ChangeWatcher::ConnectionRestored);
            watcher.WatchProgramFolder(folder.Path());
            QTRY_VERIFY_WITH_TIMEOUT(watcher.Connected(), 10000);
            // Listening: whatever changed before that is to be read again.
            QTRY_COMPARE_WITH_TIMEOUT(changed.count(), 1, 1000);
            QVERIFY(changed[0][0].value<QSet<qint32>>().isEmpty());
            changed.clear();
            QTest::qWait(500);
            QCOMPARE(changed.count(), 0);

            // Three units announced in one transaction arrive together; a payload that is not a unit
            // means everything.
            QVERIFY(
                folder.Exec("SELECT pg_notify('tavrelo_changes', '5'), pg_notify('tavrelo_changes', '6'), "
                            "pg_notify('tavrelo_changes', '70000')"));
            QTRY_COMPARE_WITH_TIMEOUT(changed.count(), 1, 1000);
            QCOMPARE(housesOf(changed), QSet<qint32>({5, 6, 70000}));
            changed.clear();
            QVERIFY(folder.Exec("SELECT pg_notify('tavrelo_changes', 'x')"));
            QTRY_COMPARE_WITH_TIMEOUT(changed.count(), 1, 1000);
            QVERIFY(changed[0][0].value<QSet<qint32>>().isEmpty());
            // Another channel is not ours.
            changed.clear();
            QVERIFY(folder.Exec("SELECT pg_notify('elsewhere', '9')"));
            QTest::qWait(400);
            QCOMPARE(changed.count(), 0);

            // The server stops: told once, retried quietly; it starts again: told, and read again.
            QVERIFY(PgCluster::Instance().Stop());
            QTRY_COMPARE_WITH_TIMEOUT(lost.count(), 1, 3000);
            QVERIFY(!watcher.Connected());
            QTest::qWait(2500);
            QCOMPARE(lost.count(), 1);
            QCOMPARE(restored.count(), 0);
            QVERIFY(PgCluster::Instance().Start());
            QTRY_COMPARE_WITH_TIMEOUT(restored.count(), 1, 10000);
            QVERIFY(watcher.Connected());
            QTRY_VERIFY_WITH_TIMEOUT(!changed.isEmpty(), 1000);
            bool everything = false;
            housesOf(changed, &everything);
            QVERIFY(everything);
            changed.clear();
            QVERIFY(folder.Exec("SELECT pg_notify('tavrelo_changes', '12')"));
            QTRY_COMPARE_WITH_TIMEOUT(housesOf(changed), QSet<qint32>({12}), 1000);
        }
        qputenv("TAVRELO_TEST_STORE", store);
    }

    void a_server_that_is_not_there()
    {
        db::ChangeWatcher watcher;
        QSignalSpy lost(&watcher, &db::ChangeWatcher::ConnectionLost);
        watcher.Watch(QStringLiteral("postgresql:///nowhere?host=/nonexistent/folder&port=1"));
        QTRY_COMPARE_WITH_TIMEOUT(lost.count(), 1, 3000);
        QVERIFY(!watcher.Connected());
        QTest::qWait(1500);
        QCOMPARE(lost.count(), 1);
    }
};

QTEST_MAIN(tst_change_watcher)
#include "tst_change_watcher.moc"
