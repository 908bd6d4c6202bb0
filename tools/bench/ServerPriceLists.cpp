#include "ServerPriceLists.h"

#include <libpq-fe.h>

#include <QDir>
#include <QFile>
#include <QImage>

#include "Floor.h"
#include "core/db/Connection.h"
#include "core/db/Store.h"
#include "pricelist/sheet/Csv.h"
#include "pricelist/sheet/PriceList.h"

namespace bench {

namespace {

constexpr int kImportUnits = 10000;
const QStringList kCaptions = {QStringLiteral("朝向"), QStringLiteral("面积"), QStringLiteral("装修"),
                               QStringLiteral("单价"), QStringLiteral("状态")};

QString building(int i)
{
    return QStringLiteral("导入新城%1号楼").arg(i / 500 + 1);
}

QStringList values(int i)
{
    return {i % 2 ? QStringLiteral("南北通透") : QStringLiteral("南"),
            QStringLiteral("%1平方米").arg(56 + i % 80), QStringLiteral("精装"),
            QStringLiteral("%1元/平方米").arg(15000 + i % 5000), QStringLiteral("在售")};
}

// The sheet of new units, each with five attribute rows and the two pictures beside it.
bool writeSheet(const QString& work, int units)
{
    QImage picture(32, 24, QImage::Format_RGB32);
    picture.fill(Qt::darkCyan);
    if (!picture.save(work + QStringLiteral("/a.jpg")) || !picture.save(work + QStringLiteral("/b.jpg")))
        return false;
    QByteArray out("\xEF\xBB\xBF");
    pricelist::AppendCsvLine(out, QStringList{QStringLiteral("楼宇名称"), QStringLiteral("类型"),
                                              QStringLiteral("楼层"), QStringLiteral("房间号")}
                                      << kCaptions << QStringLiteral("图片"));
    for (int i = 0; i < units; ++i) {
        pricelist::AppendCsvLine(out, QStringList{building(i), QStringLiteral("导入户型"),
                                                  QString::number(i % 33 + 1), QString::number(1000 + i)}
                                          << values(i) << QStringLiteral("a.jpg；b.jpg"));
    }
    QFile file(work + QStringLiteral("/server-units.csv"));
    return file.open(QIODevice::WriteOnly) && file.write(out) == out.size();
}

bool exec(PGconn* conn, const char* sql)
{
    PGresult* r = PQexec(conn, sql);
    const bool ok = PQresultStatus(r) == PGRES_COMMAND_OK || PQresultStatus(r) == PGRES_TUPLES_OK;
    PQclear(r);
    return ok;
}

// Takes the imported units out again (and their type), so that every run starts from the same
// catalogue; before the clock runs. (LIKE needs a deterministic collation: the byte order's.)
bool removeImported(const QString& uri)
{
    PGconn* conn = PQconnectdb(uri.toUtf8().constData());
    const bool ok =
        PQstatus(conn) == CONNECTION_OK && exec(conn, "BEGIN") &&
        exec(conn,
             "DELETE FROM t_File WHERE Folder = 'Images' AND Name IN (SELECT ImageFile FROM t_Image WHERE "
             "HouseID IN (SELECT HouseID FROM t_House WHERE HouseName COLLATE \"C\" LIKE '导入新城%'))") &&
        exec(conn,
             "DELETE FROM t_Image WHERE HouseID IN (SELECT HouseID FROM t_House WHERE HouseName COLLATE "
             "\"C\" LIKE '导入新城%')") &&
        exec(conn,
             "DELETE FROM t_Content WHERE HouseID IN (SELECT HouseID FROM t_House WHERE HouseName COLLATE "
             "\"C\" LIKE '导入新城%')") &&
        exec(conn, "DELETE FROM t_House WHERE HouseName COLLATE \"C\" LIKE '导入新城%'") &&
        exec(conn, "DELETE FROM t_HouseType WHERE HouseType = '导入户型'") && exec(conn, "COMMIT");
    PQfinish(conn);
    return ok;
}

// Queues one statement with text values (the last one binary when binaryLast).
bool send(PGconn* conn, const char* sql, const std::vector<QByteArray>& v, int binaryLast = 0)
{
    std::vector<const char*> p;
    std::vector<int> lengths, formats;
    for (const QByteArray& b : v) {
        p.push_back(b.constData());
        lengths.push_back(int(b.size()));
        formats.push_back(0);
    }
    if (binaryLast) formats.back() = 1;
    return PQsendQueryParams(conn, sql, int(v.size()), nullptr, p.data(), lengths.data(), formats.data(),
                             0) == 1;
}

// Syncs the pipeline and reads every answer up to the sync; false when a statement failed.
bool drain(PGconn* conn, QString* error)
{
    if (PQpipelineSync(conn) != 1) return false;
    bool ok = true;
    for (;;) {
        PGresult* r = PQgetResult(conn);
        if (!r) {
            if (PQstatus(conn) != CONNECTION_OK) return false;
            continue;
        }
        const ExecStatusType status = PQresultStatus(r);
        if (status == PGRES_FATAL_ERROR && error->isEmpty())
            *error = QString::fromUtf8(PQresultErrorMessage(r));
        PQclear(r);
        if (status == PGRES_PIPELINE_SYNC) return ok;
        if (status == PGRES_FATAL_ERROR || status == PGRES_PIPELINE_ABORTED) ok = false;
    }
}

// An array value in text form: each element between double quotes, with its backslashes and
// double quotes escaped.
QByteArray arrayOf(const QStringList& elements)
{
    QStringList quoted;
    for (QString e : elements)
        quoted << QLatin1Char('"') +
                      e.replace(QLatin1Char('\\'), QStringLiteral("\\\\"))
                          .replace(QLatin1Char('"'), QStringLiteral("\\\"")) +
                      QLatin1Char('"');
    return (QLatin1Char('{') + quoted.join(QLatin1Char(',')) + QLatin1Char('}')).toUtf8();
}

// The rows of units [from, to) as one statement per table, the unnest of one array per column.
bool sendUnits(PGconn* conn, qint64 firstKey, int from, int to, QString* error)
{
    QStringList keys, names, rooms, floors, contentKeys, captions, contents, lists, imageKeys, files,
        positions;
    for (int i = from; i < to; ++i) {
        const QString key = QString::number(firstKey + i);
        keys << key;
        names << building(i) + QStringLiteral("F");
        rooms << QString::number(1000 + i);
        floors << QString::number(i % 33 + 1);
        const QStringList v = values(i);
        for (int a = 0; a < kCaptions.size(); ++a) {
            contentKeys << key;
            captions << kCaptions[a];
            contents << v[a];
            lists << QString::number(a + 1);
        }
        for (int p = 1; p <= 2; ++p) {
            imageKeys << key;
            files << QStringLiteral("f%1_%2.jpg").arg(i).arg(p);
            positions << QString::number(p);
        }
    }
    const bool sent =
        send(conn,
             "INSERT INTO t_House (HouseID, HouseName, HouseNo, Intro, HouseFloor, TypeID) SELECT k, n, r, "
             "'', f, "
             "(SELECT min(TypeID) FROM t_HouseType WHERE HouseType = '导入户型') "
             "FROM unnest($1::bigint[], $2::text[], $3::text[], $4::integer[]) AS u(k, n, r, f)",
             {arrayOf(keys), arrayOf(names), arrayOf(rooms), arrayOf(floors)}) &&
        send(conn,
             "INSERT INTO t_Content (HouseID, Caption, Content, List) "
             "SELECT * FROM unnest($1::bigint[], $2::text[], $3::text[], $4::integer[])",
             {arrayOf(contentKeys), arrayOf(captions), arrayOf(contents), arrayOf(lists)}) &&
        send(conn,
             "INSERT INTO t_Image (HouseID, Caption, Intro, ImageFile, List) "
             "SELECT k, f, '', f, l FROM unnest($1::bigint[], $2::text[], $3::integer[]) AS u(k, f, l)",
             {arrayOf(imageKeys), arrayOf(files), arrayOf(positions)});
    if (!sent && error->isEmpty()) *error = QString::fromUtf8(PQerrorMessage(conn));
    return sent;
}

// libpq alone doing the import's writes in the cheapest way it can (in buildings of its own,
// beside the units the program just imported, which the next run's preparation takes out with
// these): one transaction, the keys taken after the largest one as the import takes them, every
// table's rows sent as one statement per 2,000 units in pipeline mode without waiting, and the
// picture's bytes sent once for all the names that hold them, as the import stores them.
bool insertFloor(const QString& uri, const QByteArray& picture, int units, QString* error)
{
    PGconn* conn = PQconnectdb(uri.toUtf8().constData());
    bool ok = PQstatus(conn) == CONNECTION_OK && exec(conn, "BEGIN") &&
              exec(conn,
                   "INSERT INTO t_HouseType (List, HouseType, MusicTitle, MusicFile) "
                   "SELECT coalesce(max(List), 0) + 1, '导入户型', '', '' FROM t_HouseType "
                   "HAVING NOT bool_or(HouseType = '导入户型') OR count(*) = 0") &&
              exec(conn, "LOCK TABLE t_House IN SHARE ROW EXCLUSIVE MODE");
    PGresult* last = ok ? PQexec(conn,
                                 "SELECT coalesce(pg_sequence_last_value(pg_get_serial_sequence('t_house', "
                                 "'houseid')), 0)")
                        : nullptr;
    ok = ok && PQresultStatus(last) == PGRES_TUPLES_OK && PQntuples(last) == 1;
    const qint64 firstKey = ok ? QByteArray(PQgetvalue(last, 0, 0)).toLongLong() + 1 : 0;
    PQclear(last);
    ok = ok && PQenterPipelineMode(conn) == 1;
    QStringList files;
    for (int from = 0; ok && from < units; from += 2000) {
        ok = sendUnits(conn, firstKey, from, qMin(units, from + 2000), error);
        for (int i = from; i < qMin(units, from + 2000); ++i)
            files << QStringLiteral("f%1_1.jpg").arg(i) << QStringLiteral("f%1_2.jpg").arg(i);
    }
    ok =
        ok && send(conn, "INSERT INTO t_File (Folder, Name, Content) SELECT 'Images', unnest($1::text[]), $2",
                   {arrayOf(files), picture}, 1);
    ok = ok && drain(conn, error) && PQexitPipelineMode(conn) == 1 && exec(conn, "COMMIT");
    if (!ok && error->isEmpty()) *error = QString::fromUtf8(PQerrorMessage(conn));
    PQfinish(conn);
    return ok;
}

}  // namespace

void MeasureServerPriceLists(const QString& folder, const QString& uri, const CatalogueShape& shape,
                             Report* report)
{
    const QString work = folder + QStringLiteral("/pricelist-server");
    QDir().mkpath(work + QStringLiteral("/Images"));
    Operation exportOp;
    exportOp.name = QStringLiteral("export the catalogue as a CSV price list");
    exportOp.floorName = QStringLiteral("libpq alone reading the export's three statements");
    const QStringList exportReads = {
        QStringLiteral("Select a.HouseID, a.HouseName, b.HouseType, a.HouseFloor, a.HouseNo, a.Intro "
                       "From t_House as a, t_HouseType as b Where a.TypeID = b.TypeID Order By a.HouseID"),
        QStringLiteral("Select HouseID, Caption, Content From t_Content Order By HouseID, List, ContentID"),
        QStringLiteral("Select HouseID, ImageFile From t_Image Order By HouseID, List, ImageID")};
    Measure(
        &exportOp,
        [&] {
            QString error;
            if (pricelist::ExportProgramFolder(folder, work + QStringLiteral("/catalogue.csv"), nullptr,
                                               &error) != shape.houses)
                report->problems << QStringLiteral("the server's CSV export failed: ") + error;
        },
        [&] {
            if (!RunStatements(uri, exportReads))
                report->problems << QStringLiteral("floor: the export's reads failed");
        });
    report->operations.push_back(exportOp);

    const int units = qMin(shape.houses, kImportUnits);
    if (!writeSheet(work, units)) {
        report->problems << QStringLiteral("cannot write the sheet in ") + work;
        return;
    }
    QFile pictureFile(work + QStringLiteral("/a.jpg"));
    const QByteArray picture = pictureFile.open(QIODevice::ReadOnly) ? pictureFile.readAll() : QByteArray();
    Operation importOp;
    importOp.name =
        QStringLiteral("import a CSV price list of %1 new units (5 rows, 2 pictures each)").arg(units);
    importOp.floorName =
        QStringLiteral("libpq alone inserting the same rows and pictures (pipeline, one transaction)");
    Measure(
        &importOp,
        [&] {
            db::Connection c;
            if (!db::OpenCatalogue(c, folder)) {
                report->problems << QStringLiteral("cannot open the server's catalogue: ") + c.LastError();
                return;
            }
            pricelist::ImportOptions options;
            options.createTypes = true;
            const pricelist::Plan plan =
                pricelist::MakePlan(work + QStringLiteral("/server-units.csv"), c, options);
            const pricelist::WriteResult result = pricelist::WritePlan(plan, c, work);
            if (!result.ok || result.added != units)
                report->problems << QStringLiteral("the server import failed: ") + plan.error + result.error;
        },
        [&] {
            QString error;
            if (!insertFloor(uri, picture, units, &error))
                report->problems << QStringLiteral("floor: the server inserts failed: ") + error.trimmed();
        },
        [&] {
            if (!removeImported(uri)) report->problems << QStringLiteral("cannot remove the imported units");
            QDir(work + QStringLiteral("/Images")).removeRecursively();
        });
    report->operations.push_back(importOp);
    removeImported(uri);
}

}  // namespace bench
