// The deals tables travel with every copy of a catalogue: House.db uploaded to a server and
// downloaded again, and a backup archive restored, give back every row of every new table as it
// was (times, keys and key counters included), and the history is copied as it stands, not written
// again by the triggers. The legacy importer leaves the new tables empty.
#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include "Backup.h"
#include "PgCluster.h"
#include "PgLogin.h"
#include "ServerTool.h"
#include "TestSupport.h"
#include "core/db/CatalogueCopy.h"
#include "core/db/Connection.h"
#include "core/db/Statement.h"

using testsupport::PgCluster;
using testsupport::ProgramFolder;

namespace {

// Rows of a House.db at any path, read through the data layer.
QList<QVariantList> rowsOf(const QString& path, const QString& sql)
{
    QList<QVariantList> rows;
    db::Connection connection;
    if (!connection.Open(path)) return {{QStringLiteral("<cannot open>")}};
    db::Statement query;
    if (!query.Prepare(connection, sql))
        return {{QStringLiteral("<failed: %1>").arg(connection.LastError())}};
    while (query.Next()) {
        QVariantList row;
        for (int i = 0; i < query.ColumnCount(); ++i) row << query.Column(i);
        rows << row;
    }
    return rows;
}

// Every row of every table a copy carries, each value with its kind, and the key counters.
QStringList everything(const QString& programFolder)
{
    QStringList all;
    const QString path = programFolder + QStringLiteral("/House.db");
    for (const char* table : db::kCopiedTables) {
        for (const QVariantList& row :
             rowsOf(path, QStringLiteral("SELECT * FROM %1 ORDER BY 1").arg(QLatin1String(table)))) {
            QStringList cells;
            for (const QVariant& v : row)
                cells << (v.isNull() ? QStringLiteral("NULL")
                                     : QString::fromLatin1(v.typeName()) + QLatin1Char(':') + v.toString());
            all << QLatin1String(table) + QLatin1Char('|') + cells.join(QLatin1Char('|'));
        }
    }
    for (const QVariantList& row :
         rowsOf(path, QStringLiteral("SELECT name, seq FROM sqlite_sequence ORDER BY name")))
        all << row[0].toString() + QLatin1Char('=') + row[1].toString();
    return all;
}

// A catalogue with rows in every table, history made by the triggers and one history row written
// as it came from elsewhere.
void fill(const ProgramFolder& f)
{
    const char* const statements[] = {
        "INSERT INTO t_HouseType (TypeID, List, HouseType, MusicTitle, MusicFile) VALUES (1, 1, '一室', '', "
        "'')",
        "INSERT INTO t_House (HouseID, HouseName, HouseNo, Intro, HouseFloor, TypeID) VALUES (1, '翠湖', "
        "'101', "
        "'it''s', 1, 1), (2, '翠湖', '102', NULL, NULL, 1)",
        "INSERT INTO t_Content (HouseID, Caption, Content, List) VALUES (1, '状态', '在售', 1), (2, '状态', "
        "'预留', 1)",
        "UPDATE t_Content SET Content = '已售' WHERE HouseID = 1",
        "INSERT INTO t_Image (HouseID, Caption, Intro, ImageFile, List) VALUES (1, 'a', 'b', "
        "'000001_0001.jpg', 1)",
        "INSERT INTO t_Content_Auto (TypeID, Caption, Content) VALUES (1, '状态', '在售')",
        "INSERT INTO t_Setting (Name, Value) VALUES ('HoldHours', '48'), ('WordSign', '已签约')",
        "INSERT INTO t_Consultant (ConsultantID, ConsultantName, Login, Active) VALUES (3, '王', 'wang', 1), "
        "(4, '李', NULL, 0)",
        "INSERT INTO t_Customer (CustomerID, CustomerName, Phone, ConsultantID, FirstVisit, Source, Notes, "
        "SearchKey) "
        "VALUES (5, '张三', '+8613800000000', 3, '2026-02-01', '来访', '多行\n备注', '张三+8613800000000')",
        "INSERT INTO t_Deal (DealID, HouseID, CustomerID, ConsultantID, Stage, Active, HoldStart, HoldEnd, "
        "Extensions, "
        "PriorStatus, Deposit, DepositDate, ContractDate, Reason, CreatedAt, ClosedAt) VALUES "
        "(7, 2, 5, 3, 'hold', 1, '2026-03-01 09:00:00', '2026-03-02 09:00:00', 1, '在售', NULL, NULL, NULL, "
        "NULL, "
        "'2026-03-01 09:00:00', NULL), (6, 1, 5, 4, 'returned', NULL, '2026-01-01 08:00:00', '2026-01-02 "
        "08:00:00', 0, "
        "'在售', '20000', '2026-01-02', '2026-01-05', '客户改变主意', '2026-01-01 08:00:00', '2026-02-01 "
        "10:11:12')",
        "INSERT INTO t_History (HouseID, ContentID, ChangedAt, ChangedBy, Machine, OldValue, NewValue, "
        "CustomerID, "
        "DealID, Reason, Path, TxID) VALUES (1, 1, '2025-01-02 03:04:05', 'someone', 'pc-7', '在售', "
        "'已认购', 5, 6, "
        "NULL, 'deposit', 42)"};
    for (const char* sql : statements) QVERIFY2(f.Exec(QString::fromUtf8(sql)), sql);
}

}  // namespace

class tst_deals_copies : public QObject {
    Q_OBJECT

    QTemporaryDir work_;

private slots:
    void upload_and_download_carry_every_new_table_as_it_is()
    {
        ProgramFolder source;
        fill(source);
        const QStringList before = everything(source.Path());
        // Rows of all ten tables and their seven key counters (t_Setting has none).
        QCOMPARE(before.size(), 1 + 2 + 2 + 1 + 1 + 2 + 2 + 1 + 2 + 4 + 9);
        QCOMPARE(source.Value("SELECT count(*) FROM t_History").toInt(), 4);

        const QString uri = PgCluster::Instance().CreateDatabase(false);
        const servertool::Result up = servertool::Upload(uri, source.Path(), false);
        QVERIFY2(up.ok, qPrintable(up.error));
        QVERIFY2(up.report.join('\n').contains(QRegularExpression("t_History\\s*: 4 rows")),
                 qPrintable(up.report.join('\n')));
        const testsupport::PgLogin server(uri);
        // Copied, not made again: the same four history rows, the one from elsewhere as it was.
        QCOMPARE(server.Value("SELECT count(*) FROM t_History"), QString("4"));
        QCOMPARE(server.Value("SELECT ChangedBy || '|' || Machine || '|' || TxID || '|' || "
                              "to_char(ChangedAt AT TIME ZONE 'UTC', 'YYYY-MM-DD HH24:MI:SS') FROM t_History "
                              "WHERE Path = 'deposit'"),
                 QString("someone|pc-7|42|2025-01-02 03:04:05"));
        QCOMPARE(server.Value("SELECT to_char(ClosedAt AT TIME ZONE 'UTC', 'YYYY-MM-DD HH24:MI:SS') FROM "
                              "t_Deal WHERE DealID = 6"),
                 QString("2026-02-01 10:11:12"));
        // The triggers are on again after the copy, and the key counters went along.
        QCOMPARE(server.State("UPDATE t_Content SET Content = '在售' WHERE HouseID = 1"), QString());
        QCOMPARE(
            server.Value("SELECT HistoryID || ':' || Path FROM t_History ORDER BY HistoryID DESC LIMIT 1"),
            QString("5:sql"));
        QCOMPARE(server.Value("INSERT INTO t_Deal (HouseID, Stage) VALUES (1, 'cancelled') RETURNING DealID"),
                 QString("8"));
        QCOMPARE(
            server.State("DELETE FROM t_History WHERE HistoryID = 5; DELETE FROM t_Deal WHERE DealID = 8; "
                         "ALTER TABLE t_Content DISABLE TRIGGER t_content_history; "
                         "UPDATE t_Content SET Content = '已售' WHERE HouseID = 1; "
                         "ALTER TABLE t_Content ENABLE TRIGGER t_content_history"),
            QString());

        const QString target = work_.filePath(QStringLiteral("downloaded"));
        const servertool::Result down = servertool::Download(uri, target);
        QVERIFY2(down.ok, qPrintable(down.error));
        QStringList after = everything(target);
        // The counters stood one further on the server for the row made and taken back there.
        QVERIFY(after.removeOne(QStringLiteral("t_Deal=8")));
        QVERIFY(after.removeOne(QStringLiteral("t_History=5")));
        QStringList expected = before;
        QVERIFY(expected.removeOne(QStringLiteral("t_Deal=7")));
        QVERIFY(expected.removeOne(QStringLiteral("t_History=4")));
        QCOMPARE(after, expected);
        // House.db's own triggers are back in place.
        QCOMPARE(rowsOf(target + QStringLiteral("/House.db"),
                        "SELECT count(*) FROM sqlite_master WHERE type = 'trigger'")
                     .value(0)
                     .value(0)
                     .toInt(),
                 4);
        PgCluster::Instance().DropDatabase(uri);
    }

    void an_upload_to_a_catalogue_made_before_the_deals_tables_adds_them_first()
    {
        ProgramFolder source;
        fill(source);
        const QString uri = PgCluster::Instance().CreateDatabase(true);
        const testsupport::PgLogin server(uri);
        QCOMPARE(
            server.State("DROP TABLE t_Setting, t_Consultant, t_Customer, t_Deal, t_History; "
                         "DROP FUNCTION tavrelo_history(), tavrelo_deal_notify(), tavrelo_deal_expire(), "
                         "tavrelo_release_expired(timestamptz) CASCADE"),
            QString());
        const servertool::Result up = servertool::Upload(uri, source.Path(), false);
        QVERIFY2(up.ok, qPrintable(up.error));
        QCOMPARE(server.Value("SELECT count(*) FROM t_Deal"), QString("2"));
        QCOMPARE(server.Value("SELECT count(*) FROM t_History"), QString("4"));
        // The key counters of the new tables went along too.
        QCOMPARE(server.Value("INSERT INTO t_Deal (HouseID, Stage) VALUES (1, 'cancelled') RETURNING DealID"),
                 QString("8"));
        QCOMPARE(server.Value("INSERT INTO t_Customer (CustomerName) VALUES ('新') RETURNING CustomerID"),
                 QString("6"));
        PgCluster::Instance().DropDatabase(uri);
    }

    void a_backup_restores_every_new_table()
    {
        ProgramFolder source;
        fill(source);
        const QStringList before = everything(source.Path());
        const QString archive = work_.filePath(QStringLiteral("deals.tar.zst"));
        const backup::Result created = backup::Create(source.Path(), archive);
        QVERIFY2(created.ok, qPrintable(created.error));
        const QString target = work_.filePath(QStringLiteral("restored"));
        QVERIFY(QDir().mkpath(target));
        const backup::Result restored = backup::Restore({archive, target, false});
        QVERIFY2(restored.ok, qPrintable(restored.error));
        QCOMPARE(everything(target), before);
    }
};

QTEST_GUILESS_MAIN(tst_deals_copies)
#include "tst_deals_copies.moc"
