// The shared catalogue when its server goes away: stopped or killed during a session, every data
// routine gives the same connection message as a missing House.db and nothing crashes; once the
// server is back the next routine works; a save in a transaction cut off by SIGKILL leaves nothing.
#include <QTest>

#include "../catalogue/CatalogueFixture.h"
#include "PgCluster.h"
#include "TestSupport.h"
#include "core/db/Connection.h"
#include "core/db/Store.h"

using testsupport::Click;
using testsupport::MsgBoxRecorder;
using testsupport::PgCluster;
using testsupport::ProgramFolder;

class tst_server_faults : public QObject {
    Q_OBJECT

    std::unique_ptr<ProgramFolder> folder;

    // The messages of a query in the open catalogue window.
    QStringList queryMessages(frmHouseList* w)
    {
        MsgBoxRecorder boxes;
        if (!Click(w, "cmdQuery")) return {"<no query button>"};
        return boxes.Texts();
    }

private slots:
    void init()
    {
        qputenv("TAVRELO_TEST_STORE", "server");
        QVERIFY(PgCluster::Instance().Start());
        folder = std::make_unique<ProgramFolder>();
        cataloguetest::AddTypes(*folder);
        cataloguetest::AddHouse(*folder, 5, "A座", "0101", 1, 1);
        cataloguetest::AddHouse(*folder, 6, "B座", "0202", 2, 2);
    }
    void cleanup()
    {
        QVERIFY(PgCluster::Instance().Start());
        folder.reset();
    }

    void stopped_and_killed_servers_give_the_connection_message_per_routine_then_work_again()
    {
        cataloguetest::Frame frame;
        frmHouseList* w = nullptr;
        {
            MsgBoxRecorder boxes;
            w = frame.OpenList();
            QVERIFY(w);
            QVERIFY(boxes.Texts().isEmpty());
        }
        QCOMPARE(w->lsvHouse->Model()->Count(), 2);
        // What a query shows when the catalogue is out of reach: one message per data routine.
        QVERIFY(folder->HideDatabase());
        const QStringList unreachable = queryMessages(w);
        QVERIFY(!unreachable.isEmpty());
        for (const QString& text : unreachable) QCOMPARE(text, mdlHouse::DatabaseFailureMessage());
        QVERIFY(folder->RestoreDatabase());
        QCOMPARE(queryMessages(w), QStringList());
        QCOMPARE(w->lsvHouse->Model()->Count(), 2);

        QVERIFY(PgCluster::Instance().Stop());
        QCOMPARE(queryMessages(w), unreachable);
        QVERIFY(PgCluster::Instance().Start());
        QCOMPARE(queryMessages(w), QStringList());
        QCOMPARE(w->lsvHouse->Model()->Count(), 2);

        QVERIFY(PgCluster::Instance().Kill());
        QCOMPARE(queryMessages(w), unreachable);
        QVERIFY(PgCluster::Instance().Start());
        QCOMPARE(queryMessages(w), QStringList());
        QCOMPARE(w->lsvHouse->Model()->Count(), 2);
    }

    void a_connection_open_when_the_server_stops_fails_quietly()
    {
        db::Connection cn;
        QVERIFY(db::OpenCatalogue(cn, folder->Path()));
        QVERIFY(PgCluster::Instance().Stop());
        QVERIFY(!cn.Execute("Delete From t_House"));
        db::Recordset rs;
        QVERIFY(!cn.Execute("Select * From t_House", rs));
        QVERIFY(rs.Eof());
        QVERIFY(!cn.BeginTrans());
        cn.Close();
        QVERIFY(PgCluster::Instance().Start());
        QCOMPARE(folder->Value("Select Count(*) From t_House").toInt(), 2);
    }

    void a_save_cut_off_by_sigkill_leaves_no_half_saved_house()
    {
        db::Connection cn;
        QVERIFY(db::OpenCatalogue(cn, folder->Path()));
        {
            db::Transaction save(cn);
            QVERIFY(cn.InTransaction());
            QVERIFY(cn.Execute("Insert Into t_House (HouseID, HouseName, TypeID) Values (7, 'half', 1)"));
            QVERIFY(cn.Execute(
                "Insert Into t_Content (HouseID, Caption, Content, List) Values (7, 'a', 'b', 1)"));
            QVERIFY(PgCluster::Instance().Kill());
            QVERIFY(!cn.Execute("Insert Into t_Image (HouseID, ImageFile, List) Values (7, 'x.png', 1)"));
            QVERIFY(!save.Commit());
        }
        QVERIFY(PgCluster::Instance().Start());
        QCOMPARE(folder->Value("Select Count(*) From t_House Where HouseID = 7").toInt(), 0);
        QCOMPARE(folder->Value("Select Count(*) From t_Content Where HouseID = 7").toInt(), 0);
        QCOMPARE(folder->Value("Select Count(*) From t_House").toInt(), 2);
    }
};

QTEST_MAIN(tst_server_faults)
#include "tst_server_faults.moc"
