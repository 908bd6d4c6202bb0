#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>

#include "core/db/CatalogueIdentity.h"
#include "core/db/Connection.h"
#include "core/db/Convert.h"
#include "core/db/Statement.h"
#include "pricelist/sheet/Csv.h"
#include "pricelist/sheet/PriceList.h"
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
    const QStringList known = {kColumnNumber, kColumnBuilding, kColumnType,    kColumnFloor,
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
        existing->byPlace[placeKey(readHouses.Column(1).toString(), readHouses.Column(2).toString())].append(
            id);
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
    return QStringLiteral(
               "有 %1 行的序号在本目录中是楼宇名称和房间号都不同的房屋，此价目表可能导出自另一个目录。")
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

    PlanContext context{cols,    int(header.fields.size()),     sheet.text, existing,
                        options, QFileInfo(path).absoluteDir(), {}};
    for (size_t r = headerIndex + 1; r < sheet.records.size(); ++r)
        planRecord(sheet.records[r], context, &plan);
    plan.otherCatalogue =
        otherCatalogue(plan, sheet.catalogue, db::CatalogueIdentity(connection, false), existing);
    plan.ok = true;
    return plan;
}

}  // namespace pricelist
