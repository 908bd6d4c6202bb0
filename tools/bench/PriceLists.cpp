#include "PriceLists.h"

#include <sqlite3.h>

#include <QDir>
#include <QFile>

#include "Floor.h"
#include "core/db/Connection.h"
#include "core/db/TextCollation.h"
#include "pricelist/sheet/Csv.h"
#include "pricelist/sheet/PriceList.h"

namespace bench {

namespace {

constexpr int kImportUnits = 10000;

const QStringList& types()
{
    static const QStringList names = {QStringLiteral("一室一厅"), QStringLiteral("两室一厅"),
                                      QStringLiteral("三室两厅")};
    return names;
}

struct Unit {
    QString building;
    QString type;
    int floor;
    QString room;
    QString intro;
    QStringList attributes;  // 朝向, 面积, 单价, 状态
};

Unit unit(int i)
{
    const int floor = i % 33 + 1;
    return {QStringLiteral("新城%1号楼").arg(i / 500 + 1),
            types()[i % 3],
            floor,
            QStringLiteral("%1%2").arg(floor).arg(i % 12 + 1, 2, 10, QLatin1Char('0')),
            QStringLiteral("第%1套，采光充足，视野开阔。").arg(i),
            {i % 2 ? QStringLiteral("南北通透") : QStringLiteral("南"),
             QStringLiteral("%1平方米").arg(56 + i % 80), QStringLiteral("%1元/平方米").arg(15000 + i % 5000),
             QStringLiteral("在售")}};
}

bool writeSheet(const QString& path, int units)
{
    QByteArray out("\xEF\xBB\xBF");
    pricelist::AppendCsvLine(out, {QStringLiteral("楼宇名称"), QStringLiteral("类型"), QStringLiteral("楼层"),
                                   QStringLiteral("房间号"), QStringLiteral("说明"), QStringLiteral("朝向"),
                                   QStringLiteral("面积"), QStringLiteral("单价"), QStringLiteral("状态")});
    for (int i = 0; i < units; ++i) {
        const Unit u = unit(i);
        pricelist::AppendCsvLine(
            out, QStringList{u.building, u.type, QString::number(u.floor), u.room, u.intro} << u.attributes);
    }
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(out) == out.size();
}

// An empty catalogue that knows the sheet's three types.
bool freshCatalogue(const QString& path)
{
    QFile::remove(path);
    if (!db::CreateEmptyDatabase(path)) return false;
    db::Connection c;
    if (!c.Open(path)) return false;
    for (int i = 0; i < types().size(); ++i) {
        if (!c.Execute(QStringLiteral("Insert Into t_HouseType (List, HouseType, MusicTitle, MusicFile) "
                                      "Values (%1, '%2', '', '')")
                           .arg(i + 1)
                           .arg(types()[i])))
            return false;
    }
    return true;
}

// SQLite alone writing what the import writes: the same rows, prepared statements, one transaction.
void insertFloor(const QString& path, int units, QStringList* problems)
{
    sqlite3* handle = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(path).constData(), &handle, SQLITE_OPEN_READWRITE, nullptr) !=
        SQLITE_OK) {
        problems->append(QStringLiteral("floor: cannot open ") + path);
        sqlite3_close(handle);
        return;
    }
    db::RegisterTextCollation(handle);
    sqlite3_stmt* house = nullptr;
    sqlite3_stmt* content = nullptr;
    sqlite3_exec(handle, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    sqlite3_prepare_v2(
        handle, "INSERT INTO t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) VALUES (?, ?, ?, ?, ?)",
        -1, &house, nullptr);
    sqlite3_prepare_v2(handle, "INSERT INTO t_Content (HouseID, Caption, Content, List) VALUES (?, ?, ?, ?)",
                       -1, &content, nullptr);
    static const QByteArray captions[] = {QStringLiteral("朝向").toUtf8(), QStringLiteral("面积").toUtf8(),
                                          QStringLiteral("单价").toUtf8(), QStringLiteral("状态").toUtf8()};
    bool ok = house && content;
    for (int i = 0; ok && i < units; ++i) {
        const Unit u = unit(i);
        const QByteArray name = u.building.toUtf8(), room = u.room.toUtf8(), intro = u.intro.toUtf8();
        sqlite3_bind_text(house, 1, name.constData(), int(name.size()), SQLITE_TRANSIENT);
        sqlite3_bind_text(house, 2, room.constData(), int(room.size()), SQLITE_TRANSIENT);
        sqlite3_bind_text(house, 3, intro.constData(), int(intro.size()), SQLITE_TRANSIENT);
        sqlite3_bind_int(house, 4, u.floor);
        sqlite3_bind_int(house, 5, i % 3 + 1);
        ok = sqlite3_step(house) == SQLITE_DONE;
        sqlite3_reset(house);
        const sqlite3_int64 id = sqlite3_last_insert_rowid(handle);
        for (int a = 0; ok && a < 4; ++a) {
            const QByteArray value = u.attributes[a].toUtf8();
            sqlite3_bind_int64(content, 1, id);
            sqlite3_bind_text(content, 2, captions[a].constData(), int(captions[a].size()), SQLITE_STATIC);
            sqlite3_bind_text(content, 3, value.constData(), int(value.size()), SQLITE_TRANSIENT);
            sqlite3_bind_int(content, 4, a + 1);
            ok = sqlite3_step(content) == SQLITE_DONE;
            sqlite3_reset(content);
        }
    }
    sqlite3_finalize(house);
    sqlite3_finalize(content);
    if (!ok || sqlite3_exec(handle, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK)
        problems->append(QStringLiteral("floor: the inserts failed: ") +
                         QString::fromUtf8(sqlite3_errmsg(handle)));
    sqlite3_close(handle);
}

}  // namespace

void MeasurePriceLists(const QString& folder, const CatalogueShape& shape, Report* report)
{
    const QString database = folder + QStringLiteral("/House.db");
    const QString work = folder + QStringLiteral("/pricelist");
    QDir().mkpath(work);
    const QStringList exportReads = {
        QStringLiteral("Select a.HouseID, a.HouseName, b.HouseType, a.HouseFloor, a.HouseNo, a.Intro "
                       "From t_House as a, t_HouseType as b Where a.TypeID = b.TypeID Order By a.HouseID"),
        QStringLiteral("Select HouseID, Caption, Content From t_Content Order By HouseID, List, ContentID"),
        QStringLiteral("Select HouseID, ImageFile From t_Image Order By HouseID, List, ImageID")};
    auto floorReads = [&] {
        if (!RunStatements(database, exportReads))
            report->problems << QStringLiteral("floor: the export's reads failed");
    };
    for (const QString& suffix : {QStringLiteral("csv"), QStringLiteral("xlsx")}) {
        Operation op;
        op.name = QStringLiteral("export the catalogue as a %1 price list").arg(suffix.toUpper());
        op.floorName = QStringLiteral("SQLite alone reading the export's three statements");
        const QString file = work + QStringLiteral("/catalogue.") + suffix;
        Measure(
            &op,
            [&] {
                QString error;
                if (pricelist::ExportCatalogue(database, file, nullptr, &error) != shape.houses)
                    report->problems << QStringLiteral("the %1 export failed: %2").arg(suffix, error);
            },
            floorReads);
        report->operations.push_back(op);
    }

    const int units = qMin(shape.houses, kImportUnits);
    const QString sheet = work + QStringLiteral("/units.csv");
    const QString target = work + QStringLiteral("/House.db");
    const QString floorTarget = work + QStringLiteral("/floor.db");
    if (!writeSheet(sheet, units)) {
        report->problems << QStringLiteral("cannot write the sheet ") + sheet;
        return;
    }
    Operation op;
    op.name = QStringLiteral("import a CSV price list of %1 new units").arg(units);
    op.floorName = QStringLiteral("SQLite alone inserting the same rows (prepared, one transaction)");
    Measure(
        &op,
        [&] {
            db::Connection c;
            if (!c.Open(target)) {
                report->problems << QStringLiteral("cannot open ") + target;
                return;
            }
            const pricelist::Plan plan = pricelist::MakePlan(sheet, c, {});
            const pricelist::WriteResult result = pricelist::WritePlan(plan, c, work);
            if (!result.ok || result.added != units)
                report->problems << QStringLiteral("the import failed: ") + plan.error + result.error;
        },
        [&] { insertFloor(floorTarget, units, &report->problems); },
        [&] {
            // Both start from an empty catalogue with the three types, made before the clock runs.
            if (!freshCatalogue(target) || !freshCatalogue(floorTarget))
                report->problems << QStringLiteral("cannot make the empty catalogues in ") + work;
        });
    report->operations.push_back(op);
}

}  // namespace bench
