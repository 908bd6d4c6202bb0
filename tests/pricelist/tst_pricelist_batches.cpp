// A whole building over a slow network: the import into a shared catalogue sends its statements
// in batches, so its time grows with the data, not with one round trip per statement. Measured
// through the benchmark's proxy, which adds 2 ms to every round trip (1 ms each way).
#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

#include "../../tools/bench/DelayProxy.h"
#include "PriceListFixture.h"
#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "pricelist/sheet/Csv.h"
#include "pricelist/sheet/PriceList.h"

using namespace pricelistfixture;

namespace {

// The sheet, and the two pictures its lines name when withPictures.
bool writeSheet(const QString& folder, int units, bool withPictures)
{
    QImage picture(8, 8, QImage::Format_RGB32);
    picture.fill(Qt::darkCyan);
    if (!picture.save(folder + QStringLiteral("/a.png")) || !picture.save(folder + QStringLiteral("/b.png")))
        return false;
    QByteArray out("\xEF\xBB\xBF");
    pricelist::AppendCsvLine(out, {QStringLiteral("楼宇名称"), QStringLiteral("类型"), QStringLiteral("楼层"),
                                   QStringLiteral("房间号"), QStringLiteral("朝向"), QStringLiteral("面积"),
                                   QStringLiteral("装修"), QStringLiteral("单价"), QStringLiteral("状态"),
                                   QStringLiteral("图片")});
    for (int i = 0; i < units; ++i) {
        pricelist::AppendCsvLine(
            out, {QStringLiteral("新城%1号楼").arg(i / 100 + 1), QStringLiteral("两室一厅"),
                  QString::number(i % 30 + 1), QString::number(1000 + i), QStringLiteral("南"),
                  QStringLiteral("%1平方米").arg(60 + i % 50), QStringLiteral("精装"),
                  QStringLiteral("%1元").arg(15000 + i), QStringLiteral("在售"),
                  withPictures ? QStringLiteral("a.png；b.png") : QString()});
    }
    return WriteBytes(folder + QStringLiteral("/units.csv"), out);
}

struct Server {
    QString uri;   // over the socket, for checking
    QString slow;  // through the proxy
};

// A fresh catalogue on the test server, and its address through the proxy.
Server freshCatalogue(const bench::DelayProxy& proxy)
{
    Server s;
    s.uri = testsupport::PgCluster::Instance().CreateDatabase();
    const QString name = s.uri.section(QLatin1Char('/'), 3).section(QLatin1Char('?'), 0, 0);
    s.slow = QStringLiteral("postgresql://tavrelo@127.0.0.1:%1/%2").arg(proxy.Port()).arg(name);
    return s;
}

qint64 value(db::Connection& c, const QString& sql)
{
    db::Recordset rs;
    return c.Execute(sql, rs) && !rs.Eof() ? rs.Field(0).toLongLong() : -1;
}

// Imports the sheet in folder into the catalogue at uri; the time it took in ms, or -1.
qint64 import(const QString& folder, const QString& uri, QString* error)
{
    db::Connection c;
    if (!c.OpenServer(uri)) {
        *error = c.LastError();
        return -1;
    }
    QElapsedTimer timer;
    timer.start();
    pricelist::ImportOptions options;
    options.createTypes = true;
    const pricelist::Plan plan = pricelist::MakePlan(folder + QStringLiteral("/units.csv"), c, options);
    const pricelist::WriteResult result = pricelist::WritePlan(plan, c, folder + QStringLiteral("/pc"));
    *error = plan.error + result.error;
    return result.ok ? timer.elapsed() : -1;
}

}  // namespace

class tst_pricelist_batches : public QObject {
    Q_OBJECT
private slots:
    void aBuildingGoesInWithoutARoundTripPerStatement()
    {
        // 1,000 units with five attribute rows: 6,000 statements, which one at a time would
        // wait at least 12 s for the proxy alone (38 s measured on a loaded machine).
        constexpr int kUnits = 1000;
        QTemporaryDir tmp;
        QVERIFY(writeSheet(tmp.path(), kUnits, false));
        bench::DelayProxy proxy(QStringLiteral("127.0.0.1"), testsupport::PgCluster::Instance().Port(), 1);
        QVERIFY(proxy.Listening());
        const Server server = freshCatalogue(proxy);
        {
            // The proxy is really there: one statement costs at least its 2 ms.
            db::Connection c;
            QVERIFY2(c.OpenServer(server.slow), qPrintable(c.LastError()));
            QElapsedTimer trip;
            trip.start();
            QVERIFY(c.Execute(QStringLiteral("Select Count(*) From t_House")));
            QVERIFY(trip.nsecsElapsed() >= 2000000);
        }
        QString error;
        const qint64 ms = import(tmp.path(), server.slow, &error);
        QVERIFY2(ms >= 0, qPrintable(error));
        qInfo("%d units with %d attribute rows through the 2 ms proxy: %lld ms", kUnits, kUnits * 5, ms);
        QVERIFY2(ms < 5000, qPrintable(QStringLiteral("%1 ms").arg(ms)));
        db::Connection check;
        QVERIFY(check.OpenServer(server.uri));
        QCOMPARE(value(check, QStringLiteral("Select Count(*) From t_House")), qint64(kUnits));
        QCOMPARE(value(check, QStringLiteral("Select Count(*) From t_Content")), qint64(kUnits * 5));
        QCOMPARE(
            value(check, QStringLiteral("Select Count(*) From t_Content Where HouseID = 1000 And List = 5")),
            qint64(1));
    }

    void picturesAndKeysOfABatchedImport()
    {
        constexpr int kUnits = 200;
        QTemporaryDir tmp;
        QVERIFY(writeSheet(tmp.path(), kUnits, true));
        QVERIFY(QDir().mkpath(tmp.filePath(QStringLiteral("pc/Images"))));
        bench::DelayProxy proxy(QStringLiteral("127.0.0.1"), testsupport::PgCluster::Instance().Port(), 1);
        const Server server = freshCatalogue(proxy);
        QString error;
        QVERIFY2(import(tmp.path(), server.slow, &error) >= 0, qPrintable(error));
        db::Connection check;
        QVERIFY(check.OpenServer(server.uri));
        QCOMPARE(value(check, QStringLiteral("Select Max(HouseID) From t_House")), qint64(kUnits));
        QCOMPARE(value(check, QStringLiteral("Select Count(*) From t_Image")), qint64(kUnits * 2));
        QCOMPARE(value(check, QStringLiteral("Select Count(*) From t_File Where Folder = 'Images'")),
                 qint64(kUnits * 2));
        QCOMPARE(value(check, QStringLiteral("Select Count(*) From t_File Where Name = '000200_0002.png'")),
                 qint64(1));
        QVERIFY(QFileInfo::exists(tmp.filePath(QStringLiteral("pc/Images/000200_0002.png"))));
        // A house added afterwards takes the next key.
        QVERIFY(check.Execute(
            QStringLiteral("Insert Into t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) "
                           "Values ('新城99号楼', '1', '', 1, 1)")));
        QCOMPARE(value(check, QStringLiteral("Select Max(HouseID) From t_House")), qint64(kUnits + 1));
        // Imported again, every line updates its house by building and room: no key is taken.
        QVERIFY2(import(tmp.path(), server.slow, &error) >= 0, qPrintable(error));
        QCOMPARE(value(check, QStringLiteral("Select Count(*) From t_House")), qint64(kUnits + 1));
        QCOMPARE(value(check, QStringLiteral("Select Count(*) From t_Content")), qint64(kUnits * 5));
    }
};

QTEST_GUILESS_MAIN(tst_pricelist_batches)
#include "tst_pricelist_batches.moc"
