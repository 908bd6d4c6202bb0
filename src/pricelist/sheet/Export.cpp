#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <memory>
#include <optional>

#include "core/db/CatalogueIdentity.h"
#include "core/db/Connection.h"
#include "core/db/Convert.h"
#include "core/db/RowCursor.h"
#include "core/db/Store.h"
#include "core/table/TableFile.h"
#include "pricelist/sheet/Csv.h"
#include "pricelist/sheet/PriceList.h"
#include "pricelist/sheet/Sheet.h"

namespace pricelist {

namespace {

constexpr int kFixedColumns = 6;  // 序号 .. 说明
constexpr int kFloorColumn = 3;

// The catalogue read forward in key order: the houses with their type (the same inner join as
// every list of the program: a house whose type row is missing is not part of the catalogue the
// user sees), and beside them their attribute rows and pictures, which the statements walk in
// the same key order so that one pass pairs every row with its house.
class CatalogueWalk {
public:
    CatalogueWalk(db::Connection& connection, const QSet<qint32>* only) : connection_(connection), only_(only)
    {
    }

    // First pass: the caption columns in the order of their first appearance among the houses
    // written, walking the houses in key order and each house's attribute rows in their own order.
    bool Captions(QStringList* captions);
    // Second pass: every house as its row of cells, handed to the sink as it is read.
    bool Rows(const QHash<QString, int>& captionColumn, table::Writer& sink, int* count);
    QString error() const { return connection_.LastError(); }

private:
    bool open(bool withPictures);
    bool wanted(qint64 id) const { return !only_ || only_->contains(qint32(id)); }

    db::Connection& connection_;
    const QSet<qint32>* only_;
    db::RowCursor houses_, contents_, images_;
    bool contentValid_ = false, imageValid_ = false;
    QString errorBefore_;
};

bool CatalogueWalk::open(bool withPictures)
{
    errorBefore_ = connection_.LastError();
    const bool opened =
        houses_.Open(connection_,
                     QStringLiteral("SELECT a.HouseID, a.HouseName, b.HouseType, a.HouseFloor, a.HouseNo, "
                                    "a.Intro FROM t_House AS a, t_HouseType AS b "
                                    "WHERE a.TypeID = b.TypeID ORDER BY a.HouseID")) &&
        contents_.Open(connection_, QStringLiteral("SELECT HouseID, Caption, Content FROM t_Content "
                                                   "ORDER BY HouseID, List, ContentID")) &&
        (!withPictures || images_.Open(connection_, QStringLiteral("SELECT HouseID, ImageFile FROM t_Image "
                                                                   "ORDER BY HouseID, List, ImageID")));
    contentValid_ = opened && contents_.Next();
    imageValid_ = opened && withPictures && images_.Next();
    return opened;
}

bool CatalogueWalk::Captions(QStringList* captions)
{
    if (!open(false)) return false;
    QSet<QString> seen;
    while (houses_.Next()) {
        const qint64 id = houses_.Column(0).toLongLong();
        while (contentValid_ && contents_.Column(0).toLongLong() < id) contentValid_ = contents_.Next();
        for (; contentValid_ && contents_.Column(0).toLongLong() == id; contentValid_ = contents_.Next()) {
            const QString caption = contents_.Column(1).toString();
            if (!wanted(id) || seen.contains(caption)) continue;
            seen.insert(caption);
            *captions << caption;
        }
    }
    houses_.Close();
    contents_.Close();
    return connection_.LastError() == errorBefore_;
}

bool CatalogueWalk::Rows(const QHash<QString, int>& captionColumn, table::Writer& sink, int* count)
{
    if (!open(true)) return false;
    const int captions = int(captionColumn.size());
    while (houses_.Next()) {
        const qint64 id = houses_.Column(0).toLongLong();
        const QVariant floor = houses_.Column(3);
        QStringList cells{db::PaddedHouseNumber(id),    houses_.Column(1).toString(),
                          houses_.Column(2).toString(), floor.isNull() ? QString() : floor.toString(),
                          houses_.Column(4).toString(), houses_.Column(5).toString()};
        for (int i = 0; i < captions; ++i) cells << QString();
        std::vector<bool> filled(size_t(captions), false);
        while (contentValid_ && contents_.Column(0).toLongLong() < id) contentValid_ = contents_.Next();
        for (; contentValid_ && contents_.Column(0).toLongLong() == id; contentValid_ = contents_.Next()) {
            const int column = captionColumn.value(contents_.Column(1).toString(), -1);
            if (column < 0) continue;
            QString& cell = cells[kFixedColumns + column];
            // A caption the house carries more than once: its values share the one cell.
            if (filled[size_t(column)]) cell += kListSeparator;
            cell += contents_.Column(2).toString();
            filled[size_t(column)] = true;
        }
        QStringList pictures;
        while (imageValid_ && images_.Column(0).toLongLong() < id) imageValid_ = images_.Next();
        for (; imageValid_ && images_.Column(0).toLongLong() == id; imageValid_ = images_.Next())
            pictures << images_.Column(1).toString();
        cells << pictures.join(kListSeparator);
        if (!wanted(id)) continue;
        if (!sink.Row(cells)) return false;
        ++*count;
    }
    // A cursor that stopped on a failure looks like one at its end; the failure left its message.
    return connection_.LastError() == errorBefore_;
}

// The export writes what its name says: CSV or XLSX. A name with any other extension (".ods",
// ".xls") would get CSV text under a name that promises something else, so it is refused.
bool checkName(const QString& path, bool* xlsx, QString* error)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    *xlsx = suffix == QLatin1String("xlsx");
    if (suffix.isEmpty() || suffix == QLatin1String("csv") || *xlsx) return true;
    if (error)
        *error = QStringLiteral("无法导出为\"%1\"：价目表只能保存为 .csv 或 .xlsx 文件。")
                     .arg(QFileInfo(path).fileName());
    return false;
}

int exportFrom(db::Connection& connection, const QString& path, const QSet<qint32>* only, QString* error)
{
    bool xlsx = false;
    if (!checkName(path, &xlsx, error)) return -1;
    // A workbook names its catalogue; a CSV stays the plain table every program reads.
    const QString catalogue = xlsx ? db::CatalogueIdentity(connection, true) : QString();
    // On a server the rows are read through cursors, which live in a transaction; it only reads,
    // and it gives both passes the same view of the catalogue.
    std::optional<db::Transaction> reading;
    if (connection.IsServer()) {
        reading.emplace(connection);
        if (!connection.InTransaction()) {
            if (error) *error = connection.LastError();
            return -1;
        }
    }
    CatalogueWalk walk(connection, only);
    QStringList captions;
    if (!walk.Captions(&captions)) {
        if (error) *error = walk.error();
        return -1;
    }
    QHash<QString, int> captionColumn;
    for (int i = 0; i < captions.size(); ++i) captionColumn.insert(captions[i], i);
    QStringList header{kColumnNumber, kColumnBuilding, kColumnType, kColumnFloor, kColumnRoom, kColumnIntro};
    header << captions << kColumnPictures;

    // The floor is a number the spreadsheet can sort and sum; the rest is text. The workbook
    // names the catalogue the list came from (see CatalogueIdentity), so that an import elsewhere
    // can tell; the program that opens it shows it among its properties.
    table::Options options;
    options.sheetName = QStringLiteral("价目表");
    options.propertyName = kCatalogueProperty;
    options.propertyValue = catalogue;
    options.numberColumns = {kFloorColumn};
    const std::unique_ptr<table::Writer> sink =
        xlsx ? table::MakeXlsxWriter(path, options) : table::MakeCsvWriter(path, options);
    int count = 0;
    if (!sink->Header(header) || !walk.Rows(captionColumn, *sink, &count) || !sink->Finish()) {
        if (error) *error = sink->error.isEmpty() ? walk.error() : sink->error;
        return -1;
    }
    return count;
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
