#include "Catalogue.h"

#include <sqlite3.h>

#include <QColor>
#include <QDir>
#include <QFile>
#include <QImage>

#include "core/db/Connection.h"
#include "core/db/TextCollation.h"

namespace bench {

namespace {

// Houses 1..N in buildings "楼宇0000".., floors 1 to 30, room numbers "0101".."3012", twenty
// types in turn; three attribute rows and two picture rows each (the picture rows name files
// that do not exist: only the big house's pictures are ever shown).
const char* const kFillSql = R"SQL(
BEGIN;
WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < :types)
INSERT INTO t_HouseType (TypeID, List, HouseType, MusicTitle, MusicFile)
SELECT i, i, '房型' || printf('%02d', i), '', '' FROM n;
WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < :houses)
INSERT INTO t_House (HouseID, HouseName, HouseNo, Intro, HouseFloor, TypeID)
SELECT i, '楼宇' || printf('%04d', i % :buildings),
       printf('%02d%02d', i % 30 + 1, (i / 30) % 12 + 1),
       '第 ' || i || ' 号房，南北通透，采光好，近地铁站。', i % 30 + 1, i % :types + 1 FROM n;
WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < :houses)
INSERT INTO t_Content (HouseID, Caption, Content, List)
SELECT i, '朝向', CASE i % 6 WHEN 0 THEN '南' WHEN 1 THEN '北' WHEN 2 THEN '东' WHEN 3 THEN '西'
                            WHEN 4 THEN '东南' ELSE '西南' END, 1 FROM n
UNION ALL SELECT i, '面积', (60 + i % 141) || '平方米', 2 FROM n
UNION ALL SELECT i, '户型', (i % 4 + 1) || '室' || (i % 2 + 1) || '厅', 3 FROM n;
WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < :houses)
INSERT INTO t_Image (HouseID, Caption, Intro, ImageFile, List)
SELECT i, '客厅', '客厅朝南，阳光充足', printf('%06d_1.png', i), 1 FROM n
UNION ALL SELECT i, '卧室', '主卧带阳台', printf('%06d_2.png', i), 2 FROM n;
DELETE FROM t_Content WHERE HouseID = :big;
DELETE FROM t_Image WHERE HouseID = :big;
WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < :rows)
INSERT INTO t_Content (HouseID, Caption, Content, List)
SELECT :big, '属性' || printf('%02d', i), '第 ' || i || ' 项的内容', i FROM n;
WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < :pictures)
INSERT INTO t_Image (HouseID, Caption, Intro, ImageFile, List)
SELECT :big, '照片' || printf('%02d', i), '第 ' || i || ' 张照片的说明', printf('big_%02d.png', i), i FROM n;
UPDATE t_House SET HouseName = '销控楼',
       HouseFloor = CASE WHEN (HouseID - :boardFirst) % 500 = 499 THEN NULL
                         ELSE (HouseID - :boardFirst) / :perFloor + 1 END,
       HouseNo = printf('%d%02d', (HouseID - :boardFirst) / :perFloor + 1, (HouseID - :boardFirst) % :perFloor + 1)
 WHERE HouseID >= :boardFirst;
INSERT INTO t_Content (HouseID, Caption, Content, List)
SELECT HouseID, '状态', CASE WHEN HouseID % 10 < 6 THEN '在售' WHEN HouseID % 10 < 8 THEN '已预订' ELSE '已售' END, 4
  FROM t_House WHERE HouseID >= :boardFirst AND HouseID % 10 <> 9;
INSERT INTO t_Content (HouseID, Caption, Content, List)
SELECT HouseID, '单价', printf('%d元/平方米', 15000 + HouseID % 50 * 100), 5 FROM t_House WHERE HouseID >= :boardFirst;
COMMIT;
)SQL";

QString fillSql(const CatalogueShape& shape)
{
    QString sql = QString::fromUtf8(kFillSql);
    sql.replace(QLatin1String(":types"), QString::number(shape.types));
    sql.replace(QLatin1String(":houses"), QString::number(shape.houses));
    sql.replace(QLatin1String(":buildings"), QString::number(shape.buildings()));
    sql.replace(QLatin1String(":boardFirst"), QString::number(shape.boardFirstHouse()));
    sql.replace(QLatin1String(":perFloor"), QString::number(CatalogueShape::boardUnitsPerFloor));
    sql.replace(QLatin1String(":big"), QString::number(shape.bigHouse()));
    sql.replace(QLatin1String(":rows"), QString::number(CatalogueShape::bigHouseRows));
    sql.replace(QLatin1String(":pictures"), QString::number(CatalogueShape::bigHousePictures));
    return sql;
}

bool writePictures(const QString& images, QString* error)
{
    for (int i = 1; i <= CatalogueShape::bigHousePictures; ++i) {
        QImage picture(160, 120, QImage::Format_RGB32);
        picture.fill(QColor::fromHsv((i * 9) % 360, 160, 220));
        const QString path = images + QStringLiteral("/big_%1.png").arg(i, 2, 10, QLatin1Char('0'));
        if (!picture.save(path, "PNG")) {
            *error = QStringLiteral("cannot write ") + path;
            return false;
        }
    }
    return true;
}

}  // namespace

bool BuildCatalogue(const QString& folder, const CatalogueShape& shape, QString* error)
{
    QDir dir(folder);
    if (!dir.mkpath(QStringLiteral("Images")) || !dir.mkpath(QStringLiteral("Music"))) {
        *error = QStringLiteral("cannot make Images and Music in ") + folder;
        return false;
    }
    const QString path = folder + QStringLiteral("/House.db");
    if (!db::CreateEmptyDatabase(path, error)) return false;

    sqlite3* handle = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(path).constData(), &handle, SQLITE_OPEN_READWRITE, nullptr) !=
        SQLITE_OK) {
        *error = QString::fromUtf8(sqlite3_errmsg(handle));
        sqlite3_close(handle);
        return false;
    }
    db::RegisterTextCollation(handle);
    char* message = nullptr;
    const int rc = sqlite3_exec(handle, fillSql(shape).toUtf8().constData(), nullptr, nullptr, &message);
    if (rc != SQLITE_OK) *error = QString::fromUtf8(message);
    sqlite3_free(message);
    sqlite3_close(handle);
    return rc == SQLITE_OK && writePictures(folder + QStringLiteral("/Images"), error);
}

QString QueriedBuildingName(const CatalogueShape& shape)
{
    return QStringLiteral("楼宇%1").arg(42 % shape.buildings(), 4, 10, QLatin1Char('0'));
}

}  // namespace bench
