#include <xlsxwriter.h>

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
#include "pricelist/sheet/Csv.h"
#include "pricelist/sheet/PriceList.h"
#include "pricelist/sheet/Sheet.h"

namespace pricelist {

namespace {

constexpr int kFixedColumns = 6;  // 序号 .. 说明
constexpr int kFloorColumn = 3;

// Where the rows go: a CSV or an XLSX file, written aside under ".part" and renamed into place
// by Finish, so that a failure never leaves half a file under the name the user chose and an
// existing file is replaced only by a complete one.
class Sink {
public:
    virtual ~Sink() = default;
    virtual bool Header(const QStringList& titles) = 0;
    virtual bool Row(const QStringList& cells) = 0;
    virtual bool Finish() = 0;
    QString error;

protected:
    bool putInPlace(const QString& part, const QString& path)
    {
        QFile::remove(path);
        if (QFile::rename(part, path)) return true;
        QFile::remove(part);
        error = QStringLiteral("无法写入文件 %1").arg(path);
        return false;
    }
};

class CsvSink : public Sink {
public:
    explicit CsvSink(const QString& path) : path_(path), file_(path + QStringLiteral(".part")) {}
    ~CsvSink() override
    {
        if (file_.isOpen()) {
            file_.close();
            file_.remove();
        }
    }
    bool Header(const QStringList& titles) override
    {
        if (!file_.open(QIODevice::WriteOnly | QIODevice::Truncate)) return failed();
        // The byte-order mark tells spreadsheet programs that the text is UTF-8; without it they
        // read it in the machine's own code page and the Chinese text comes out garbled.
        buffer_ = QByteArray("\xEF\xBB\xBF");
        AppendCsvLine(buffer_, titles);
        return true;
    }
    bool Row(const QStringList& cells) override
    {
        // A text cell that a spreadsheet program would run as a formula gets its apostrophe; the
        // floor is a number and stays one, even a negative one.
        QStringList guarded;
        guarded.reserve(cells.size());
        for (int c = 0; c < cells.size(); ++c) {
            bool number = false;
            if (c == kFloorColumn) cells[c].toLongLong(&number);
            guarded << (number ? cells[c] : GuardFormulaText(cells[c]));
        }
        AppendCsvLine(buffer_, guarded);
        return buffer_.size() < kFlushBytes || flush();
    }
    bool Finish() override
    {
        if (!flush()) return false;
        file_.close();
        if (file_.error() != QFileDevice::NoError) return failed();
        return putInPlace(file_.fileName(), path_);
    }

private:
    static constexpr int kFlushBytes = 256 * 1024;
    bool flush()
    {
        if (file_.write(buffer_) != buffer_.size()) return failed();
        buffer_.clear();
        return true;
    }
    bool failed()
    {
        error = QStringLiteral("无法写入文件 %1：%2").arg(path_, file_.errorString());
        return false;
    }
    QString path_;
    QFile file_;
    QByteArray buffer_;
};

class XlsxSink : public Sink {
public:
    XlsxSink(const QString& path, const QString& catalogue)
        : path_(path), part_(path + QStringLiteral(".part")), catalogue_(catalogue.toUtf8())
    {
    }
    ~XlsxSink() override
    {
        if (workbook_) {
            workbook_close(workbook_);
            QFile::remove(part_);
        }
    }
    bool Header(const QStringList& titles) override
    {
        QFile::remove(part_);
        // Rows go straight to disk and strings are written in place rather than gathered into a
        // shared table first: memory stays flat however large the catalogue is.
        lxw_workbook_options options = {};
        options.constant_memory = LXW_TRUE;
        workbook_ = workbook_new_opt(QFile::encodeName(part_).constData(), &options);
        if (!workbook_) {
            error = QStringLiteral("无法写入文件 %1").arg(path_);
            return false;
        }
        // The catalogue the list came from, so that an import elsewhere can tell (see
        // CatalogueIdentity); the program that opens the workbook shows it among its properties.
        if (!catalogue_.isEmpty())
            workbook_set_custom_property_string(workbook_, kCatalogueProperty, catalogue_.constData());
        sheet_ = workbook_add_worksheet(workbook_, "价目表");
        lxw_format* bold = workbook_add_format(workbook_);
        format_set_bold(bold);
        for (int c = 0; c < titles.size(); ++c)
            worksheet_write_string(sheet_, 0, lxw_col_t(c), titles[c].toUtf8().constData(), bold);
        worksheet_freeze_panes(sheet_, 1, 0);
        return true;
    }
    bool Row(const QStringList& cells) override
    {
        ++row_;
        for (int c = 0; c < cells.size(); ++c) {
            const QString& cell = cells[c];
            if (cell.isEmpty()) continue;
            bool isNumber = false;
            const int floor = c == kFloorColumn ? cell.toInt(&isNumber) : 0;
            // The floor is a number the spreadsheet can sort and sum; everything else is a string
            // cell, which no spreadsheet program runs as a formula whatever it begins with, and
            // the six-digit house number keeps its leading zeros.
            if (isNumber)
                worksheet_write_number(sheet_, row_, lxw_col_t(c), floor, nullptr);
            else
                worksheet_write_string(sheet_, row_, lxw_col_t(c), cell.toUtf8().constData(), nullptr);
        }
        return true;
    }
    bool Finish() override
    {
        const lxw_error result = workbook_close(workbook_);
        workbook_ = nullptr;
        if (result != LXW_NO_ERROR) {
            QFile::remove(part_);
            error = QStringLiteral("无法写入文件 %1：%2").arg(path_, QString::fromUtf8(lxw_strerror(result)));
            return false;
        }
        return putInPlace(part_, path_);
    }

private:
    QString path_;
    QString part_;
    QByteArray catalogue_;
    lxw_workbook* workbook_ = nullptr;
    lxw_worksheet* sheet_ = nullptr;
    lxw_row_t row_ = 0;
};

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
    bool Rows(const QHash<QString, int>& captionColumn, Sink& sink, int* count);
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

bool CatalogueWalk::Rows(const QHash<QString, int>& captionColumn, Sink& sink, int* count)
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

    std::unique_ptr<Sink> sink;
    if (xlsx)
        sink = std::make_unique<XlsxSink>(path, catalogue);
    else
        sink = std::make_unique<CsvSink>(path);
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
