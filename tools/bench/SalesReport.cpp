#include "SalesReport.h"

#include <sqlite3.h>

#include <QDir>
#include <QFile>

#include "core/db/Connection.h"
#include "core/db/Statement.h"
#include "core/db/TextCollation.h"
#include "report/SalesFigures.h"

namespace bench {

namespace {

// Ten status changes per house: 1,000,000 history rows for the 100,000 houses of the full run.
constexpr int kHistoryPerHouse = 10;
constexpr int kConsultants = 20;

// One deal per house, its consultant in turn; a price under 总价 on every house (one in fifty
// 面议, which is counted but not summed); and the history: row i on house i % N + 1, its path in
// a steady mix of the deal steps, its time spread evenly over 2025 (UTC).
QStringList fillStatements(const CatalogueShape& shape)
{
    const QString houses = QString::number(shape.houses);
    return {
        // The deal lines measured before leave their deals and history in the catalogue: the report
        // is measured on its own year of them alone.
        QStringLiteral("DELETE FROM t_History"),
        QStringLiteral("DELETE FROM t_Deal"),
        QStringLiteral("DELETE FROM t_Customer"),
        QStringLiteral("DELETE FROM t_Consultant"),
        QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) "
                       "INSERT INTO t_Consultant (ConsultantName, Active) SELECT '报表顾问' || "
                       "printf('%02d', i), 1 FROM n")
            .arg(kConsultants),
        QStringLiteral("INSERT INTO t_Deal (DealID, HouseID, ConsultantID, Stage, Active, Extensions) "
                       "SELECT HouseID, HouseID, HouseID % %1 + 1, 'contract', NULL, 0 FROM t_House")
            .arg(kConsultants),
        QStringLiteral(
            "INSERT INTO t_Content (HouseID, Caption, Content, List) SELECT HouseID, '总价', "
            "CASE WHEN HouseID % 50 = 0 THEN '面议' ELSE printf('%d', 800000 + HouseID % 997 * 1000) END, 9 "
            "FROM t_House"),
        QStringLiteral(
            "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < %1) "
            "INSERT INTO t_History (HouseID, ChangedAt, ChangedBy, Machine, OldValue, NewValue, DealID, "
            "Path) "
            "SELECT i % %2 + 1, strftime('%Y-%m-%d %H:%M:%S', 1735689600 + i * 31536 / 1000, 'unixepoch'), "
            "'bench', 'pc', '在售', '预留', i % %2 + 1, "
            "CASE i % 20 WHEN 0 THEN 'return' WHEN 1 THEN 'cancel' WHEN 2 THEN 'cancel' "
            "WHEN 3 THEN 'expire' WHEN 4 THEN 'expire' WHEN 5 THEN 'expire' "
            "WHEN 6 THEN 'deposit' WHEN 7 THEN 'deposit' WHEN 8 THEN 'deposit' "
            "WHEN 9 THEN 'contract' WHEN 10 THEN 'contract' WHEN 11 THEN 'contract' "
            "WHEN 12 THEN 'sql' ELSE 'hold' END FROM n")
            .arg(shape.houses * kHistoryPerHouse - 1)
            .arg(houses)};
}

// Writes the report's data into the catalogue at path, through the program's data layer (so that
// every function its triggers use is there), in one transaction.
bool fillReportData(const QString& path, const CatalogueShape& shape, QString* error)
{
    db::Connection connection;
    if (!connection.Open(path)) {
        *error = connection.LastError();
        return false;
    }
    db::Transaction transaction(connection);
    for (const QString& sql : fillStatements(shape)) {
        db::Statement statement;
        if (!statement.Prepare(connection, sql) || !statement.Exec()) {
            *error = QStringLiteral("report data: ") + connection.LastError();
            return false;
        }
    }
    if (!transaction.Commit()) {
        *error = QStringLiteral("report data: ") + connection.LastError();
        return false;
    }
    return true;
}

// The floor's collation, as in Floor.cpp: SQLite's NOCASE rule under the program's name.
int asciiNoCase(void*, int aBytes, const void* a, int bBytes, const void* b)
{
    const int n = aBytes < bBytes ? aBytes : bBytes;
    const int c = sqlite3_strnicmp(static_cast<const char*>(a), static_cast<const char*>(b), n);
    return c ? c : aBytes - bBytes;
}

// SQLite alone: the report's statements prepared, bound and stepped, every column read as text.
bool runFloor(const QString& path, const std::vector<report::Query>& queries)
{
    sqlite3* handle = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(path).constData(), &handle, SQLITE_OPEN_READWRITE, nullptr) !=
        SQLITE_OK) {
        sqlite3_close(handle);
        return false;
    }
    sqlite3_create_collation(handle, db::kTextCollation, SQLITE_UTF8, nullptr, asciiNoCase);
    bool ok = true;
    qint64 bytes = 0;
    for (const report::Query& q : queries) {
        const QByteArray sql = q.sql.toUtf8();
        sqlite3_stmt* stmt = nullptr;
        if (sqlite3_prepare_v2(handle, sql.constData(), int(sql.size()), &stmt, nullptr) != SQLITE_OK) {
            ok = false;
            break;
        }
        for (int i = 0; i < q.values.size(); ++i) {
            const QVariant& v = q.values[i];
            if (v.typeId() == QMetaType::QString) {
                const QByteArray text = v.toString().toUtf8();
                sqlite3_bind_text(stmt, i + 1, text.constData(), int(text.size()), SQLITE_TRANSIENT);
            } else {
                sqlite3_bind_int64(stmt, i + 1, v.toLongLong());
            }
        }
        const int columns = sqlite3_column_count(stmt);
        int rc;
        while ((rc = sqlite3_step(stmt)) == SQLITE_ROW)
            for (int c = 0; c < columns; ++c) {
                sqlite3_column_text(stmt, c);
                bytes += sqlite3_column_bytes(stmt, c);
            }
        sqlite3_finalize(stmt);
        if (rc != SQLITE_DONE) {
            ok = false;
            break;
        }
    }
    sqlite3_close(handle);
    static volatile qint64 sink = 0;
    sink = sink + bytes;
    return ok;
}

void measureRange(const QString& path, const QString& name, const QDate& from, const QDate& to,
                  Report* report)
{
    Operation op;
    op.name = name;
    op.floorName = QStringLiteral("SQLite alone: the report's statements with the same values");
    bool failed = false;
    const std::vector<report::Query> queries =
        report::SalesFigures::Queries(false, from, to, QStringLiteral("状态"), QStringLiteral("总价"));
    Measure(
        &op,
        [&] {
            db::Connection connection;
            connection.Open(path);
            report::SalesFigures figures;
            if (!figures.Compute(connection, from, to, QStringLiteral("总价")) && !failed) {
                report->problems << name + QStringLiteral(": ") + figures.Error();
                failed = true;
            }
        },
        [&] {
            if (!runFloor(path, queries) && !failed) {
                report->problems << name + QStringLiteral(": the floor's statements failed");
                failed = true;
            }
        });
    report->operations.push_back(op);
}

}  // namespace

void MeasureSalesReport(const QString& folder, const CatalogueShape& shape, Report* report)
{
    const QString path = folder + QStringLiteral("/House-report.db");
    QFile::remove(path);
    QString error;
    if (!QFile::copy(folder + QStringLiteral("/House.db"), path) || !fillReportData(path, shape, &error)) {
        report->problems << QStringLiteral("sales report: cannot prepare its catalogue: ") + error;
        return;
    }
    const QString rows = QString::number(shape.houses * kHistoryPerHouse);
    measureRange(path, QStringLiteral("sales report over %1 history rows: one month").arg(rows),
                 QDate(2025, 6, 1), QDate(2025, 6, 30), report);
    measureRange(path, QStringLiteral("sales report over %1 history rows: the whole year").arg(rows),
                 QDate(2025, 1, 1), QDate(2025, 12, 31), report);
    QFile::remove(path);
}

}  // namespace bench
