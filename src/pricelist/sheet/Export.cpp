#include <xlsxwriter.h>

#include <QFile>
#include <QFileInfo>
#include <QHash>

#include "core/db/Connection.h"
#include "core/db/Convert.h"
#include "core/db/Statement.h"
#include "core/db/Store.h"
#include "pricelist/sheet/Csv.h"
#include "pricelist/sheet/PriceList.h"

namespace pricelist {

namespace {

constexpr int kFixedColumns = 6;  // 序号 .. 说明

struct HouseRow {
    qint64 id = 0;
    QStringList fixed;
    QList<QPair<int, QString>> attributes;  // caption column, value
    QStringList pictures;
};

}  // namespace

bool ReadCatalogue(db::Connection& connection, const QSet<qint32>* only, Table* table, QString* error)
{
    // The same inner join as every list of the program: a house whose type row is missing is not
    // part of the catalogue the user sees, so it is not part of the price list either.
    db::Statement houses;
    db::Statement contents;
    db::Statement images;
    if (!houses.Prepare(connection,
                        QStringLiteral("SELECT a.HouseID, a.HouseName, b.HouseType, a.HouseFloor, a.HouseNo, "
                                       "a.Intro FROM t_House AS a, t_HouseType AS b "
                                       "WHERE a.TypeID = b.TypeID ORDER BY a.HouseID")) ||
        !contents.Prepare(connection, QStringLiteral("SELECT HouseID, Caption, Content FROM t_Content "
                                                     "ORDER BY HouseID, List, ContentID")) ||
        !images.Prepare(connection, QStringLiteral("SELECT HouseID, ImageFile FROM t_Image "
                                                   "ORDER BY HouseID, List, ImageID"))) {
        if (error) *error = connection.LastError();
        return false;
    }

    std::vector<HouseRow> rows;
    while (houses.Next()) {
        const qint64 id = houses.Column(0).toLongLong();
        if (only && !only->contains(qint32(id))) continue;
        HouseRow row;
        row.id = id;
        const QVariant floor = houses.Column(3);
        row.fixed << db::PaddedHouseNumber(id) << houses.Column(1).toString() << houses.Column(2).toString()
                  << (floor.isNull() ? QString() : floor.toString()) << houses.Column(4).toString()
                  << houses.Column(5).toString();
        rows.push_back(std::move(row));
    }

    // Caption columns in the order of first appearance: walking the rows in key order and each
    // house's attribute rows in their own order. The statement walks t_Content in exactly that
    // order, so the first sighting of a caption is its first appearance.
    QStringList captions;
    QHash<QString, int> captionColumn;
    // Both statements walk the houses in key order, so one pass pairs every row with its house.
    auto houseOf = [&rows](size_t& cursor, qint64 id) -> HouseRow* {
        while (cursor < rows.size() && rows[cursor].id < id) ++cursor;
        return cursor < rows.size() && rows[cursor].id == id ? &rows[cursor] : nullptr;
    };
    size_t cursor = 0;
    while (contents.Next()) {
        HouseRow* house = houseOf(cursor, contents.Column(0).toLongLong());
        if (!house) continue;
        const QString caption = contents.Column(1).toString();
        auto col = captionColumn.constFind(caption);
        if (col == captionColumn.constEnd()) {
            col = captionColumn.insert(caption, int(captions.size()));
            captions << caption;
        }
        house->attributes.append({col.value(), contents.Column(2).toString()});
    }
    cursor = 0;
    while (images.Next()) {
        if (HouseRow* house = houseOf(cursor, images.Column(0).toLongLong()))
            house->pictures << images.Column(1).toString();
    }

    table->header = QStringList{kColumnNumber, kColumnBuilding, kColumnType,
                                kColumnFloor,  kColumnRoom,     kColumnIntro};
    table->header << captions << kColumnPictures;
    table->rows.clear();
    table->rows.reserve(rows.size());
    const int width = int(table->header.size());
    for (HouseRow& row : rows) {
        QStringList cells = row.fixed;
        cells.reserve(width);
        for (int i = 0; i < captions.size(); ++i) cells << QString();
        std::vector<bool> filled(size_t(captions.size()), false);
        for (const auto& attribute : row.attributes) {
            QString& cell = cells[kFixedColumns + attribute.first];
            // A caption the house carries more than once: its values share the one cell.
            if (filled[size_t(attribute.first)]) cell += kListSeparator;
            cell += attribute.second;
            filled[size_t(attribute.first)] = true;
        }
        cells << row.pictures.join(kListSeparator);
        table->rows.push_back(std::move(cells));
    }
    return true;
}

bool WriteCsv(const Table& table, const QString& path, QString* error)
{
    // The byte-order mark tells spreadsheet programs that the text is UTF-8; without it they read
    // it in the machine's own code page and the Chinese text comes out garbled.
    QByteArray out("\xEF\xBB\xBF");
    out.reserve(int(table.rows.size()) * 160);
    AppendCsvLine(out, table.header);
    for (const QStringList& row : table.rows) AppendCsvLine(out, row);
    // Written aside and renamed into place: a failure never leaves half a file under the name the
    // user chose, and an existing file is replaced only by a complete one.
    const QString part = path + QStringLiteral(".part");
    QFile file(part);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(out) != out.size()) {
        if (error) *error = QStringLiteral("无法写入文件 %1：%2").arg(path, file.errorString());
        file.close();
        QFile::remove(part);
        return false;
    }
    file.close();
    QFile::remove(path);
    if (!QFile::rename(part, path)) {
        QFile::remove(part);
        if (error) *error = QStringLiteral("无法写入文件 %1").arg(path);
        return false;
    }
    return true;
}

bool WriteXlsx(const Table& table, const QString& path, QString* error)
{
    // Written aside and renamed into place, so that a failure never leaves half a workbook where
    // the user expects the file.
    const QString part = path + QStringLiteral(".part");
    QFile::remove(part);
    // Rows go straight to disk and strings are written in place rather than gathered into a
    // shared table first: a whole catalogue is written row by row anyway, and this halves the work.
    lxw_workbook_options options = {};
    options.constant_memory = LXW_TRUE;
    lxw_workbook* workbook = workbook_new_opt(QFile::encodeName(part).constData(), &options);
    if (!workbook) {
        if (error) *error = QStringLiteral("无法写入文件 %1").arg(path);
        return false;
    }
    lxw_worksheet* sheet = workbook_add_worksheet(workbook, "价目表");
    lxw_format* bold = workbook_add_format(workbook);
    format_set_bold(bold);
    for (int c = 0; c < table.header.size(); ++c)
        worksheet_write_string(sheet, 0, lxw_col_t(c), table.header[c].toUtf8().constData(), bold);
    const int floorColumn = 3;
    for (size_t r = 0; r < table.rows.size(); ++r) {
        const QStringList& row = table.rows[r];
        const lxw_row_t xr = lxw_row_t(r + 1);
        for (int c = 0; c < row.size(); ++c) {
            const QString& cell = row[c];
            if (cell.isEmpty()) continue;
            bool isNumber = false;
            const int floor = c == floorColumn ? cell.toInt(&isNumber) : 0;
            // The floor is a number the spreadsheet can sort and sum; the six-digit house number
            // stays text so that its leading zeros survive.
            if (isNumber) {
                worksheet_write_number(sheet, xr, lxw_col_t(c), floor, nullptr);
            } else {
                worksheet_write_string(sheet, xr, lxw_col_t(c), cell.toUtf8().constData(), nullptr);
            }
        }
    }
    worksheet_freeze_panes(sheet, 1, 0);
    const lxw_error result = workbook_close(workbook);
    if (result != LXW_NO_ERROR) {
        QFile::remove(part);
        if (error)
            *error = QStringLiteral("无法写入文件 %1：%2").arg(path, QString::fromUtf8(lxw_strerror(result)));
        return false;
    }
    QFile::remove(path);
    if (!QFile::rename(part, path)) {
        QFile::remove(part);
        if (error) *error = QStringLiteral("无法写入文件 %1").arg(path);
        return false;
    }
    return true;
}

namespace {

int exportFrom(db::Connection& connection, const QString& path, const QSet<qint32>* only, QString* error)
{
    Table table;
    if (!ReadCatalogue(connection, only, &table, error)) return -1;
    connection.Close();
    const bool xlsx = path.endsWith(QStringLiteral(".xlsx"), Qt::CaseInsensitive);
    if (!(xlsx ? WriteXlsx(table, path, error) : WriteCsv(table, path, error))) return -1;
    return int(table.rows.size());
}

}  // namespace

int ExportCatalogue(const QString& databasePath, const QString& path, const QSet<qint32>* only,
                    QString* error)
{
    db::Connection connection;
    if (!connection.Open(databasePath)) {
        if (error) *error = QStringLiteral("无法打开数据库 %1：%2").arg(databasePath, connection.LastError());
        return -1;
    }
    return exportFrom(connection, path, only, error);
}

int ExportProgramFolder(const QString& programFolder, const QString& path, const QSet<qint32>* only,
                        QString* error)
{
    db::Connection connection;
    if (!db::OpenCatalogue(connection, programFolder)) {
        const QString server = db::ServerUri(programFolder);
        if (error)
            *error = QStringLiteral("无法打开数据库 %1：%2")
                         .arg(server.isEmpty() ? programFolder + QStringLiteral("/House.db") : server,
                              connection.LastError());
        return -1;
    }
    return exportFrom(connection, path, only, error);
}

}  // namespace pricelist
