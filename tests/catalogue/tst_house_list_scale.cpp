#include <sqlite3.h>

#include <QElapsedTimer>
#include <QFile>

#include "CatalogueFixture.h"
#include "catalogue/HouseQuery.h"
#include "core/db/Dialect.h"
#include "core/db/TextCollation.h"

using namespace cataloguetest;
using testsupport::ProgramFolder;

namespace {

// Adds houses first..last in one transaction: 300 buildings, five types, floors 1 to 30, and one
// orientation row per house.
bool FillHouses(const ProgramFolder& folder, int first, int last)
{
    return folder.Exec(
        QStringLiteral("BEGIN;"
                       "WITH RECURSIVE n(i) AS (SELECT %1 UNION ALL SELECT i + 1 FROM n WHERE i < %2) "
                       "INSERT INTO t_House (HouseID, HouseName, HouseNo, Intro, HouseFloor, TypeID) "
                       "SELECT i, '楼宇' || printf('%03d', i % 300), printf('%02d%02d', i % 30 + 1, (i / "
                       "300) % 20 + 1), "
                       "'第 ' || i || ' 号房，采光好', i % 30 + 1, i % 5 + 1 FROM n;"
                       "WITH RECURSIVE n(i) AS (SELECT %1 UNION ALL SELECT i + 1 FROM n WHERE i < %2) "
                       "INSERT INTO t_Content (HouseID, Caption, Content, List) "
                       "SELECT i, '朝向', CASE i % 4 WHEN 0 THEN '南' WHEN 1 THEN '北' WHEN 2 THEN '东' ELSE "
                       "'西' END, 1 FROM n;"
                       "COMMIT;")
            .arg(first)
            .arg(last));
}

// SQLite alone: the same statement, every row stepped and every column read as text.
qint64 ReadWithSqliteAlone(const ProgramFolder& folder, int* rows)
{
    QElapsedTimer timer;
    timer.start();
    sqlite3* handle = nullptr;
    sqlite3_open_v2(QFile::encodeName(folder.DatabasePath()).constData(), &handle, SQLITE_OPEN_READONLY,
                    nullptr);
    db::RegisterTextCollation(handle);
    const QByteArray sql = db::toSqlite(catalogue::AllHousesSql()).toUtf8();
    sqlite3_stmt* stmt = nullptr;
    sqlite3_prepare_v2(handle, sql.constData(), -1, &stmt, nullptr);
    *rows = 0;
    qint64 bytes = 0;
    while (stmt && sqlite3_step(stmt) == SQLITE_ROW) {
        for (int c = 0; c < sqlite3_column_count(stmt); ++c) {
            sqlite3_column_text(stmt, c);
            bytes += sqlite3_column_bytes(stmt, c);
        }
        ++*rows;
    }
    sqlite3_finalize(stmt);
    sqlite3_close(handle);
    if (bytes == 0) qWarning("nothing read");
    return timer.elapsed();
}

}  // namespace

class tst_house_list_scale : public QObject {
    Q_OBJECT
private slots:
    void a_hundred_thousand_houses_open_quickly()
    {
        ProgramFolder folder;
        folder.Exec(
            "Insert Into t_HouseType (TypeID, List, HouseType) Values (1, 1, '公寓'), (2, 2, '别墅'), "
            "(3, 3, '商铺'), (4, 4, '写字楼'), (5, 5, '车位')");
        QElapsedTimer fill;
        fill.start();
        QVERIFY(FillHouses(folder, 1, 10000));
        qInfo("filled 10,000 houses in %lld ms", fill.elapsed());

        testsupport::MsgBoxRecorder boxes;
        Frame frame;
        QElapsedTimer timer;
        timer.start();
        frmHouseList* w = frame.OpenList();
        qInfo("opened the list window over 10,000 houses in %lld ms", timer.elapsed());
        QVERIFY(w);
        timer.restart();
        w->StartList();
        const qint64 list10k = timer.elapsed();
        int rows = 0;
        const qint64 sqlite10k = ReadWithSqliteAlone(folder, &rows);
        QCOMPARE(rows, 10000);
        QCOMPARE(w->lsvHouse->Model()->Count(), 10000);
        qInfo("10,000 houses: StartList %lld ms, SQLite alone %lld ms", list10k, sqlite10k);

        fill.restart();
        QVERIFY(FillHouses(folder, 10001, 100000));
        qInfo("filled 90,000 more houses in %lld ms", fill.elapsed());
        timer.restart();
        w->StartList();
        const qint64 list100k = timer.elapsed();
        const qint64 sqlite100k = ReadWithSqliteAlone(folder, &rows);
        QCOMPARE(rows, 100000);
        qInfo("100,000 houses: StartList %lld ms, SQLite alone %lld ms", list100k, sqlite100k);

        ui::ListModel* model = w->lsvHouse->Model();
        QCOMPARE(model->Count(), 100000);
        QCOMPARE(w->lblStatus->text(), QString("全部记录共 100000 项。"));
        QCOMPARE(model->Text(0), QString("000001"));
        QCOMPARE(model->Text(99999), QString("100000"));
        // The padded text order is the numeric order all the way.
        for (int r = 1; r < model->Count(); ++r) {
            if (model->Text(r - 1) >= model->Text(r))
                QFAIL(qPrintable("out of order at row " + QString::number(r)));
        }
        QCOMPARE(w->cmbHouseName->count(), 300);
        QCOMPARE(w->cmbContent->count(), 4);
        // Drawing the visible part of the list must not depend on its length.
        timer.restart();
        w->lsvHouse->viewport()->repaint();
        qInfo("100,000 houses: painting the list %lld ms", timer.elapsed());

        timer.restart();
        w->lsvHouse->SetSortKey(1);
        w->lsvHouse->SetSortKey(0);
        qInfo("100,000 houses: sorting by name and back by number %lld ms", timer.elapsed());
        QCOMPARE(model->Text(0), QString("000001"));

        QVERIFY(testsupport::Type(w, "cmbCaption", "朝向"));
        QVERIFY(testsupport::Type(w, "cmbContent", "南"));
        timer.restart();
        QVERIFY(testsupport::Click(w, "cmdQuery"));
        qInfo("100,000 houses: query on an attribute (25,000 matches) %lld ms", timer.elapsed());
        QCOMPARE(model->Count(), 25000);
        QCOMPARE(w->lblStatus->text(), QString("共查询到 25000 项。"));
        QVERIFY(boxes.messages.isEmpty());

        // A generous bound: the list of 100,000 houses must stay usable on a small machine.
        QVERIFY2(list100k < 20000, qPrintable(QString::number(list100k)));
    }
};

QTEST_MAIN(tst_house_list_scale)
#include "tst_house_list_scale.moc"
