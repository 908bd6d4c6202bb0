#include <QDir>
#include <memory>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>

#include "core/db/CatalogueIdentity.h"
#include "core/db/Connection.h"
#include "core/db/Convert.h"
#include "core/db/ServerFiles.h"
#include "core/db/Statement.h"
#include "entry/EntrySql.h"
#include "pricelist/sheet/Csv.h"
#include "pricelist/sheet/PriceList.h"
#include "pricelist/sheet/ServerBatch.h"
#include "pricelist/sheet/Sheet.h"

namespace pricelist {

int Plan::Count(LineKind kind) const
{
    int n = 0;
    for (const PlanLine& line : lines) n += line.kind == kind ? 1 : 0;
    return n;
}

QString KindText(LineKind kind)
{
    switch (kind) {
        case LineKind::New:
            return QStringLiteral("新增");
        case LineKind::Update:
            return QStringLiteral("更新");
        case LineKind::Error:
            break;
    }
    return QStringLiteral("错误");
}

QString ReportLine(const PlanLine& line)
{
    QString text = QStringLiteral("第 %1 行：%2 ").arg(line.line).arg(KindText(line.kind));
    if (line.kind == LineKind::Error) return text + line.reason;
    if (line.kind == LineKind::Update) text += db::PaddedHouseNumber(line.houseId) + QLatin1Char(' ');
    return text + line.building + QLatin1Char(' ') + line.room;
}

namespace {

// Type names are looked up the way the catalogue compares text: without regard to case.
QString typeKey(const QString& name)
{
    return name.toCaseFolded();
}

QString requiredMessage(const QString& field)
{
    // The entry wizard's wording for a field left empty.
    return QStringLiteral("请在\"") + field + QStringLiteral("\"中输入值。");
}

bool wholeNumber(const QString& text, qint64* value)
{
    static const QRegularExpression digits(QStringLiteral("^\\s*\\+?(\\d{1,9})\\s*$"));
    const QRegularExpressionMatch m = digits.match(text);
    if (!m.hasMatch()) return false;
    *value = m.captured(1).toLongLong();
    return true;
}

QStringList splitList(const QString& cell)
{
    // Both the full-width "；" the export writes and a plain ";" typed by hand separate names.
    static const QRegularExpression separators(QStringLiteral("[；;]"));
    QStringList names;
    for (const QString& part : cell.split(separators)) {
        const QString name = part.trimmed();
        if (!name.isEmpty()) names << name;
    }
    return names;
}

// A picture named in the sheet: an absolute path as it stands, a relative one beside the
// spreadsheet or in the Images folder beside it (where an exported catalogue keeps them).
QString findPicture(const QString& name, const QDir& sheetFolder)
{
    if (QFileInfo(name).isAbsolute()) return QFileInfo(name).isFile() ? name : QString();
    for (const QString& candidate :
         {sheetFolder.filePath(name), sheetFolder.filePath(QStringLiteral("Images/") + name)}) {
        if (QFileInfo(candidate).isFile()) return QFileInfo(candidate).absoluteFilePath();
    }
    return QString();
}

struct Columns {
    int number = -1, building = -1, type = -1, floor = -1, room = -1, intro = -1, pictures = -1;
    QList<QPair<int, QString>> attributes;  // column, caption
};

}  // namespace

namespace {

// The header row: the first row naming at least two of the known columns, so that a title row
// above it (a merged "翠湖苑价目表" across the sheet, or a note) is passed over. A sheet where no
// row qualifies takes its first row, whose missing columns are then reported.
size_t findHeader(const std::vector<CsvRecord>& records)
{
    const QStringList known = {kColumnNumber, kColumnBuilding, kColumnType, kColumnFloor,
                               kColumnRoom,   kColumnIntro,    kColumnPictures};
    for (size_t r = 0; r < records.size() && r < 20; ++r) {
        int hits = 0;
        for (const QString& field : records[r].fields) hits += known.contains(field.trimmed()) ? 1 : 0;
        if (hits >= 2) return r;
    }
    return 0;
}

// The header names the columns, in any order; a title the program does not know is an
// attribute caption.
bool readColumns(const CsvRecord& header, Columns* cols, Plan* plan)
{
    const std::vector<std::pair<QString, int*>> known = {
        {kColumnNumber, &cols->number},    {kColumnBuilding, &cols->building}, {kColumnType, &cols->type},
        {kColumnFloor, &cols->floor},      {kColumnRoom, &cols->room},         {kColumnIntro, &cols->intro},
        {kColumnPictures, &cols->pictures}};
    auto headerError = [plan, &header](const QString& message) {
        plan->error = QStringLiteral("第 %1 行：%2").arg(header.line).arg(message);
        plan->errorLine = header.line;
        return false;
    };
    for (int c = 0; c < header.fields.size(); ++c) {
        const QString title = header.fields[c].trimmed();
        if (title.isEmpty()) continue;
        bool isKnown = false;
        for (const auto& k : known) {
            if (title != k.first) continue;
            if (*k.second >= 0) return headerError(QStringLiteral("列\"%1\"出现了两次。").arg(title));
            *k.second = c;
            isKnown = true;
        }
        if (!isKnown) cols->attributes.append({c, title});
    }
    for (const auto& required :
         {std::make_pair(kColumnBuilding, cols->building), std::make_pair(kColumnType, cols->type),
          std::make_pair(kColumnRoom, cols->room), std::make_pair(kColumnFloor, cols->floor)}) {
        if (required.second < 0) return headerError(QStringLiteral("缺少列\"%1\"。").arg(required.first));
    }
    return true;
}

QString placeKey(const QString& building, const QString& room)
{
    return building + QChar(0) + room;
}

// What is there now: the types by name, the houses by key and by building and room.
struct Existing {
    QHash<QString, qint64> types;
    QSet<qint64> houses;
    QHash<QString, QList<qint32>> byPlace;
    QHash<qint64, QPair<QString, QString>> placeOf;  // key -> building, room
};

bool readExisting(db::Connection& connection, Existing* existing, QString* error)
{
    db::Statement readTypes;
    db::Statement readHouses;
    if (!readTypes.Prepare(connection, QStringLiteral("SELECT TypeID, HouseType FROM t_HouseType")) ||
        !readHouses.Prepare(connection, QStringLiteral("SELECT HouseID, HouseName, HouseNo FROM t_House"))) {
        *error = QStringLiteral("无法读取数据库：%1").arg(connection.LastError());
        return false;
    }
    while (readTypes.Next())
        existing->types.insert(typeKey(readTypes.Column(1).toString()), readTypes.Column(0).toLongLong());
    while (readHouses.Next()) {
        const qint32 id = qint32(readHouses.Column(0).toLongLong());
        existing->houses.insert(id);
        existing->byPlace[placeKey(readHouses.Column(1).toString(), readHouses.Column(2).toString())].append(id);
        existing->placeOf.insert(id, {readHouses.Column(1).toString(), readHouses.Column(2).toString()});
    }
    return true;
}

// One row of the sheet as the line it would be, before its checks.
PlanLine lineFromRecord(const CsvRecord& record, const Columns& cols, bool guardedText)
{
    PlanLine line;
    line.line = record.line;
    auto cell = [&record, guardedText](int column) {
        const QString text = column >= 0 ? record.fields.value(column) : QString();
        return guardedText ? UnguardFormulaText(text) : text;
    };
    line.numberText = cell(cols.number).trimmed();
    line.building = cell(cols.building);
    line.type = cell(cols.type);
    line.room = cell(cols.room);
    line.intro = cell(cols.intro);
    line.hasIntro = cols.intro >= 0;
    line.floorText = cell(cols.floor);
    for (const auto& attribute : cols.attributes) {
        const QString value = cell(attribute.first);
        if (!value.isEmpty()) line.attributes.append({attribute.second, value});
    }
    line.pictureNames = splitList(cell(cols.pictures));
    return line;
}

// The checks run in the entry wizard's order; the first failure is the reason given, and an
// empty reason means the line passes them.
QString checkFields(PlanLine& line, qint64* number)
{
    if (line.building.isEmpty()) return requiredMessage(QStringLiteral("名称"));
    if (line.type.isEmpty()) return requiredMessage(QStringLiteral("类型"));
    if (line.room.isEmpty()) return requiredMessage(QStringLiteral("房间号"));
    if (line.floorText.isEmpty()) return requiredMessage(QStringLiteral("楼层"));
    qint64 floor = 0;
    if (!wholeNumber(line.floorText, &floor) || floor < 1 || floor > 99)
        return QStringLiteral("\"楼层\"只能输入 1 到 99 之间的整数（现在是\"%1\"）。").arg(line.floorText);
    line.floor = int(floor);
    if (!line.numberText.isEmpty() && !wholeNumber(line.numberText, number))
        return QStringLiteral("\"序号\"只能输入数字（现在是\"%1\"）。").arg(line.numberText);
    return QString();
}

QString findPictures(PlanLine& line, const QDir& sheetFolder)
{
    for (const QString& name : line.pictureNames) {
        const QString source = findPicture(name, sheetFolder);
        if (source.isEmpty()) return QStringLiteral("找不到图片文件\"%1\"。").arg(name);
        line.pictureSources << source;
    }
    return QString();
}

// Decides whether a checked line adds a house or replaces one; an empty result means it does.
QString placeLine(PlanLine& line, qint64 number, const Existing& existing, bool keysAsNew)
{
    if (!line.numberText.isEmpty() && keysAsNew) {
        line.kind = LineKind::New;
    } else if (!line.numberText.isEmpty() && existing.houses.contains(number)) {
        line.kind = LineKind::Update;
        line.houseId = qint32(number);
    } else if (line.numberText.isEmpty()) {
        const QList<qint32> matches = existing.byPlace.value(placeKey(line.building, line.room));
        if (matches.size() > 1) {
            return QStringLiteral("楼宇名称\"%1\"、房间号\"%2\"对应 %3 套房屋，请填写序号。")
                .arg(line.building, line.room)
                .arg(matches.size());
        }
        line.kind = matches.isEmpty() ? LineKind::New : LineKind::Update;
        line.houseId = matches.isEmpty() ? 0 : matches.first();
    } else {
        // A key that names no house (a price list from another catalogue): a new house, which
        // gets its own key.
        line.kind = LineKind::New;
    }
    return QString();
}

struct PlanContext {
    const Columns& cols;
    int headerWidth;
    bool guardedText;
    const Existing& existing;
    const ImportOptions& options;
    QDir sheetFolder;
    QSet<QString> newTypeKeys;
};

void planRecord(const CsvRecord& record, PlanContext& context, Plan* plan)
{
    PlanLine line = lineFromRecord(record, context.cols, context.guardedText);
    auto refuse = [plan, &line](const QString& reason) {
        line.kind = LineKind::Error;
        line.reason = reason;
        plan->lines.push_back(line);
    };
    for (int c = context.headerWidth; c < record.fields.size(); ++c) {
        if (!record.fields[c].isEmpty()) return refuse(QStringLiteral("本行的字段比标题行多。"));
    }
    qint64 number = 0;
    QString reason = checkFields(line, &number);
    if (!reason.isEmpty()) return refuse(reason);
    const QString key = typeKey(line.type);
    const bool knownType = context.existing.types.contains(key) || context.newTypeKeys.contains(key);
    if (!knownType && !context.options.createTypes)
        return refuse(QStringLiteral("类型\"%1\"不存在。").arg(line.type));
    reason = findPictures(line, context.sheetFolder);
    if (reason.isEmpty()) reason = placeLine(line, number, context.existing, context.options.keysAsNew);
    if (!reason.isEmpty()) return refuse(reason);
    if (!knownType) {
        context.newTypeKeys.insert(key);
        plan->newTypes << line.type;
    }
    plan->lines.push_back(line);
}

// Why the list looks like another catalogue's, or "" when it does not. A workbook that names a
// catalogue other than this one says so itself; any list (a CSV names none) gives itself away when
// its keys name houses here whose building and room both differ from the line's, which an edit
// of this catalogue's own list (a room renumbered, a building renamed) does not do.
QString otherCatalogue(const Plan& plan, const QString& source, const QString& own, const Existing& existing)
{
    if (!source.isEmpty() && !own.isEmpty() && source != own)
        return QStringLiteral("此价目表导出自另一个目录（%1），其中的序号指的是那个目录的房屋。").arg(source);
    int strangers = 0;
    for (const PlanLine& line : plan.lines) {
        if (line.numberText.isEmpty() || line.kind == LineKind::Error) continue;
        qint64 number = 0;
        if (!wholeNumber(line.numberText, &number) || !existing.placeOf.contains(number)) continue;
        const QPair<QString, QString> here = existing.placeOf.value(number);
        if (here.first.compare(line.building, Qt::CaseInsensitive) != 0 &&
            here.second.compare(line.room, Qt::CaseInsensitive) != 0)
            ++strangers;
    }
    if (strangers == 0) return QString();
    return QStringLiteral("有 %1 行的序号在本目录中是楼宇名称和房间号都不同的房屋，此价目表可能导出自另一个目录。")
        .arg(strangers);
}

}  // namespace

Plan MakePlan(const QString& path, db::Connection& connection, const ImportOptions& options)
{
    Plan plan;
    const SheetTable sheet = ReadSheet(path, options.sheet);
    plan.encoding = sheet.format;
    plan.separator = sheet.separator;
    if (!sheet.ok) {
        plan.error = sheet.error;
        plan.errorLine = sheet.errorLine;
        return plan;
    }
    if (sheet.records.empty()) {
        plan.error = QStringLiteral("文件中没有标题行。");
        return plan;
    }
    const size_t headerIndex = findHeader(sheet.records);
    const CsvRecord& header = sheet.records[headerIndex];
    Columns cols;
    if (!readColumns(header, &cols, &plan)) return plan;
    Existing existing;
    if (!readExisting(connection, &existing, &plan.error)) return plan;

    PlanContext context{cols,     int(header.fields.size()), sheet.text, existing,
                        options, QFileInfo(path).absoluteDir(), {}};
    for (size_t r = headerIndex + 1; r < sheet.records.size(); ++r) planRecord(sheet.records[r], context, &plan);
    plan.otherCatalogue = otherCatalogue(plan, sheet.catalogue, db::CatalogueIdentity(connection, false), existing);
    plan.ok = true;
    return plan;
}

namespace {

struct PendingCopy {
    QString temporary;
    QString final;
};

void discard(const std::vector<PendingCopy>& copies)
{
    for (const PendingCopy& copy : copies) QFile::remove(copy.temporary);
}

// Writes a plan inside the caller's transaction: the statements, the new types, then line by line
// the house, its attribute rows and its pictures. A failing step returns false with error() set.
class PlanWriter {
public:
    PlanWriter(db::Connection& connection, const QString& images) : connection_(connection), images_(images) {}

    bool Prepare();
    bool CreateTypes(const QStringList& names, int* created);
    // On a shared catalogue the lines' statements go in batches (see ServerBatch); Finish sends
    // what is left and reports whether all of them were taken.
    bool BeginBatches(const Plan& plan);
    bool Finish();
    // Leaves the batches without caring for their answers, before a rollback.
    void Abandon()
    {
        if (batch_) batch_->End();
        batch_.reset();
    }
    bool WriteLine(const PlanLine& line, WriteResult* result);
    QString error() const { return error_; }
    const std::vector<PendingCopy>& copies() const { return copies_; }

private:
    bool fail(const QString& what)
    {
        error_ = QStringLiteral("%1：%2").arg(what, connection_.LastError());
        return false;
    }
    bool writeHouse(const PlanLine& line, qint64 typeId, qint64* houseId);
    bool writeAttributes(const PlanLine& line, qint64 houseId);
    bool writePictures(const PlanLine& line, qint64 houseId);
    bool copyPicture(const QString& source, const QString& stored);

    db::Connection& connection_;
    QString images_;
    QString error_;
    QHash<QString, qint64> types_;
    std::vector<PendingCopy> copies_;
    std::unique_ptr<ServerBatch> batch_;
    db::Statement lastList_, insertType_, insertHouse_, updateHouse_, updateHouseKeepIntro_, deleteContent_,
        insertContent_, readImages_, deleteImages_, insertImage_, readTypes_;
};

bool PlanWriter::Prepare()
{
    db::Connection& c = connection_;
    const bool prepared =
        lastList_.Prepare(c, QStringLiteral("SELECT MAX(List) FROM t_HouseType")) &&
        readTypes_.Prepare(c, QStringLiteral("SELECT TypeID, HouseType FROM t_HouseType")) &&
        insertType_.Prepare(c, QStringLiteral("INSERT INTO t_HouseType (List, HouseType, MusicTitle, "
                                              "MusicFile) VALUES (?, ?, '', '')")) &&
        insertHouse_.Prepare(c, QStringLiteral("INSERT INTO t_House (HouseName, HouseNo, Intro, "
                                               "HouseFloor, TypeID) VALUES (?, ?, ?, ?, ?)")) &&
        updateHouse_.Prepare(c, QStringLiteral("UPDATE t_House SET HouseName = ?, HouseNo = ?, Intro = ?, "
                                               "HouseFloor = ?, TypeID = ? WHERE HouseID = ?")) &&
        updateHouseKeepIntro_.Prepare(c, QStringLiteral("UPDATE t_House SET HouseName = ?, HouseNo = ?, "
                                                        "HouseFloor = ?, TypeID = ? WHERE HouseID = ?")) &&
        deleteContent_.Prepare(c, QStringLiteral("DELETE FROM t_Content WHERE HouseID = ?")) &&
        insertContent_.Prepare(c, QStringLiteral("INSERT INTO t_Content (HouseID, Caption, Content, List) "
                                                 "VALUES (?, ?, ?, ?)")) &&
        readImages_.Prepare(
            c, QStringLiteral("SELECT ImageFile FROM t_Image WHERE HouseID = ? ORDER BY List, ImageID")) &&
        deleteImages_.Prepare(c, QStringLiteral("DELETE FROM t_Image WHERE HouseID = ?")) &&
        insertImage_.Prepare(c, QStringLiteral("INSERT INTO t_Image (HouseID, Caption, Intro, ImageFile, "
                                               "List) VALUES (?, ?, '', ?, ?)"));
    if (!prepared) return fail(QStringLiteral("无法准备写入语句"));
    while (readTypes_.Next())
        types_.insert(typeKey(readTypes_.Column(1).toString()), readTypes_.Column(0).toLongLong());
    return true;
}

// New types go to the end of the user's order, in the order the sheet first names them.
bool PlanWriter::CreateTypes(const QStringList& names, int* created)
{
    qint64 list = lastList_.Next() ? lastList_.Column(0).toLongLong() : 0;
    lastList_.Reset();
    for (const QString& name : names) {
        if (types_.contains(typeKey(name))) continue;
        insertType_.Bind(1, ++list);
        insertType_.Bind(2, name);
        if (!insertType_.Exec()) return fail(QStringLiteral("无法增加类型\"%1\"").arg(name));
        types_.insert(typeKey(name), insertType_.LastInsertId());
        ++*created;
    }
    return true;
}

bool PlanWriter::BeginBatches(const Plan& plan)
{
    batch_ = std::make_unique<ServerBatch>(connection_);
    if (batch_->Begin(plan)) return true;
    error_ = QStringLiteral("无法准备写入语句：%1").arg(batch_->LastError());
    return false;
}

bool PlanWriter::Finish()
{
    if (!batch_ || batch_->End()) return true;
    error_ = QStringLiteral("无法写入：%1").arg(batch_->LastError());
    return false;
}

bool PlanWriter::writeHouse(const PlanLine& line, qint64 typeId, qint64* houseId)
{
    if (batch_) {
        if (line.kind == LineKind::New) *houseId = batch_->NextNewKey();
        const bool sent = *houseId > 0 && (line.kind == LineKind::New ? batch_->InsertHouse(*houseId, line, typeId)
                                                                       : batch_->UpdateHouse(*houseId, line, typeId));
        if (!sent) error_ = QStringLiteral("无法写入房屋：%1").arg(batch_->LastError());
        return sent;
    }
    if (line.kind == LineKind::New) {
        insertHouse_.Bind(1, line.building);
        insertHouse_.Bind(2, line.room);
        insertHouse_.Bind(3, line.intro);
        insertHouse_.Bind(4, line.floor);
        insertHouse_.Bind(5, typeId);
        if (!insertHouse_.Exec()) return fail(QStringLiteral("无法增加房屋"));
        *houseId = insertHouse_.LastInsertId();
        return true;
    }
    db::Statement& update = line.hasIntro ? updateHouse_ : updateHouseKeepIntro_;
    int i = 1;
    update.Bind(i++, line.building);
    update.Bind(i++, line.room);
    if (line.hasIntro) update.Bind(i++, line.intro);
    update.Bind(i++, line.floor);
    update.Bind(i++, typeId);
    update.Bind(i++, *houseId);
    deleteContent_.Bind(1, *houseId);
    if (!update.Exec() || !deleteContent_.Exec()) return fail(QStringLiteral("无法更新房屋"));
    return true;
}

bool PlanWriter::writeAttributes(const PlanLine& line, qint64 houseId)
{
    int position = 0;
    for (const auto& attribute : line.attributes) {
        if (batch_) {
            if (batch_->InsertContent(houseId, attribute.first, attribute.second, ++position)) continue;
            error_ = QStringLiteral("无法写入属性\"%1\"：%2").arg(attribute.first, batch_->LastError());
            return false;
        }
        insertContent_.Bind(1, houseId);
        insertContent_.Bind(2, attribute.first);
        insertContent_.Bind(3, attribute.second);
        insertContent_.Bind(4, ++position);
        if (!insertContent_.Exec()) return fail(QStringLiteral("无法写入属性\"%1\"").arg(attribute.first));
    }
    return true;
}

bool PlanWriter::copyPicture(const QString& source, const QString& stored)
{
    // Copied aside now, put in place after the commit: until then the folder holds exactly what
    // the catalogue names.
    const PendingCopy copy{images_ + QStringLiteral("/.import-%1.part").arg(copies_.size()),
                           images_ + QLatin1Char('/') + stored};
    QFile::remove(copy.temporary);
    const bool copied = QFile::copy(source, copy.temporary);
    copies_.push_back(copy);
    if (!copied) return fail(QStringLiteral("无法复制图片\"%1\"").arg(source));
    // A shared catalogue keeps its pictures on the server, in the same transaction as the rows
    // that name them; this PC's Images folder is only its cache.
    if (connection_.Server()) {
        QFile picture(copy.temporary);
        const bool read = picture.open(QIODevice::ReadOnly);
        const QByteArray bytes = read ? picture.readAll() : QByteArray();
        const bool stored_ = read && (batch_ ? batch_->PutFile(QStringLiteral("Images"), stored, bytes)
                                             : db::PutServerFile(connection_, QStringLiteral("Images"), stored, bytes));
        if (!stored_) return fail(QStringLiteral("无法把图片\"%1\"存到服务器").arg(stored));
    }
    return true;
}

bool PlanWriter::writePictures(const PlanLine& line, qint64 houseId)
{
    // An update keeps its pictures unless the sheet names others.
    if (line.pictureNames.isEmpty()) return true;
    if (line.kind == LineKind::Update) {
        QStringList stored;
        if (batch_) {
            stored = batch_->StoredPictures(houseId);
        } else {
            readImages_.Bind(1, houseId);
            while (readImages_.Next()) stored << readImages_.Column(0).toString();
            readImages_.Reset();
        }
        if (stored == line.pictureNames) return true;
        const bool deleted = batch_ ? batch_->DeleteImages(houseId) : (deleteImages_.Bind(1, houseId), deleteImages_.Exec());
        if (!deleted) return fail(QStringLiteral("无法更新图片"));
    }
    for (int p = 0; p < line.pictureSources.size(); ++p) {
        const QString& source = line.pictureSources[p];
        const QString stored = entry::StoredImageName(houseId, QString::number(p + 1), source);
        const QString caption = QFileInfo(line.pictureNames[p]).completeBaseName();
        bool inserted = false;
        if (batch_) {
            inserted = batch_->InsertImage(houseId, caption, stored, p + 1);
        } else {
            insertImage_.Bind(1, houseId);
            insertImage_.Bind(2, caption);
            insertImage_.Bind(3, stored);
            insertImage_.Bind(4, p + 1);
            inserted = insertImage_.Exec();
        }
        if (!inserted) return fail(QStringLiteral("无法写入图片\"%1\"").arg(stored));
        if (!copyPicture(source, stored)) return false;
    }
    return true;
}

bool PlanWriter::WriteLine(const PlanLine& line, WriteResult* result)
{
    const qint64 typeId = types_.value(typeKey(line.type), -1);
    if (typeId < 0) {
        error_ = QStringLiteral("类型\"%1\"不存在").arg(line.type);
        return false;
    }
    qint64 houseId = line.houseId;
    if (!writeHouse(line, typeId, &houseId)) return false;
    ++(line.kind == LineKind::New ? result->added : result->updated);
    return writeAttributes(line, houseId) && writePictures(line, houseId);
}

}  // namespace

WriteResult WritePlan(const Plan& plan, db::Connection& connection, const QString& programFolder,
                      const Progress& progress)
{
    WriteResult result;
    if (!plan.ok) {
        result.error = plan.error;
        return result;
    }
    const QString images = programFolder + QStringLiteral("/Images");
    QDir().mkpath(images);

    db::Transaction transaction(connection);
    if (!connection.InTransaction()) {
        result.error = QStringLiteral("数据库正被占用，无法导入：%1").arg(connection.LastError());
        return result;
    }
    PlanWriter writer(connection, images);
    auto undo = [&]() {
        writer.Abandon();
        transaction.Rollback();
        discard(writer.copies());
        result.added = result.updated = result.typesCreated = 0;
    };
    auto fail = [&](int line) {
        undo();
        result.error = line > 0 ? QStringLiteral("第 %1 行：%2").arg(line).arg(writer.error()) : writer.error();
        return result;
    };
    if (!writer.Prepare() || !writer.CreateTypes(plan.newTypes, &result.typesCreated)) return fail(0);
    if (connection.Server() && !writer.BeginBatches(plan)) return fail(0);

    int total = 0;
    for (const PlanLine& line : plan.lines) total += line.kind != LineKind::Error ? 1 : 0;
    int done = 0;
    if (progress && !progress(0, total)) {
        result.cancelled = true;
        writer.Abandon();
        transaction.Rollback();
        return result;
    }
    for (const PlanLine& line : plan.lines) {
        if (line.kind == LineKind::Error) continue;
        if (!writer.WriteLine(line, &result)) return fail(line.line);
        ++done;
        if (progress && (done % 100 == 0 || done == total) && !progress(done, total)) {
            undo();
            result.cancelled = true;
            return result;
        }
    }
    if (!writer.Finish()) return fail(0);
    if (!transaction.Commit()) {
        discard(writer.copies());
        result.error = QStringLiteral("无法保存导入：%1").arg(connection.LastError());
        return result;
    }
    for (const PendingCopy& copy : writer.copies()) {
        QFile::remove(copy.final);
        if (QFile::rename(copy.temporary, copy.final)) ++result.picturesCopied;
    }
    result.ok = true;
    return result;
}

}  // namespace pricelist
