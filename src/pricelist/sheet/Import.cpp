#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>

#include "core/ImageNames.h"
#include "core/db/Connection.h"
#include "core/db/Convert.h"
#include "core/db/ServerFiles.h"
#include "core/db/Statement.h"
#include "pricelist/sheet/Csv.h"
#include "pricelist/sheet/PriceList.h"

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

Plan MakePlan(const QString& path, db::Connection& connection, const ImportOptions& options)
{
    Plan plan;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        plan.error = QStringLiteral("无法打开文件 %1：%2").arg(path, file.errorString());
        return plan;
    }
    const DecodedText decoded = DecodeSpreadsheetText(file.readAll());
    file.close();
    if (!decoded.ok) {
        plan.error = decoded.error;
        return plan;
    }
    plan.encoding = decoded.encoding;
    const CsvTable csv = ParseCsv(decoded.text);
    plan.separator = csv.separator;
    if (!csv.ok) {
        plan.error = QStringLiteral("第 %1 行：%2").arg(csv.errorLine).arg(csv.error);
        plan.errorLine = csv.errorLine;
        return plan;
    }
    if (csv.records.empty()) {
        plan.error = QStringLiteral("文件中没有标题行。");
        return plan;
    }

    // The header names the columns, in any order; a title the program does not know is an
    // attribute caption.
    Columns cols;
    const CsvRecord& header = csv.records.front();
    const std::vector<std::pair<QString, int*>> known = {
        {kColumnNumber, &cols.number},    {kColumnBuilding, &cols.building}, {kColumnType, &cols.type},
        {kColumnFloor, &cols.floor},      {kColumnRoom, &cols.room},         {kColumnIntro, &cols.intro},
        {kColumnPictures, &cols.pictures}};
    auto headerError = [&plan, &header](const QString& message) {
        plan.error = QStringLiteral("第 %1 行：%2").arg(header.line).arg(message);
        plan.errorLine = header.line;
        return plan;
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
        if (!isKnown) cols.attributes.append({c, title});
    }
    for (const auto& required :
         {std::make_pair(kColumnBuilding, cols.building), std::make_pair(kColumnType, cols.type),
          std::make_pair(kColumnRoom, cols.room), std::make_pair(kColumnFloor, cols.floor)}) {
        if (required.second < 0) return headerError(QStringLiteral("缺少列\"%1\"。").arg(required.first));
    }

    // What is there now: the types by name, the houses by key and by building and room.
    QHash<QString, qint64> types;
    QSet<qint64> houses;
    QHash<QString, QList<qint32>> byPlace;
    db::Statement readTypes;
    db::Statement readHouses;
    if (!readTypes.Prepare(connection, QStringLiteral("SELECT TypeID, HouseType FROM t_HouseType")) ||
        !readHouses.Prepare(connection, QStringLiteral("SELECT HouseID, HouseName, HouseNo FROM t_House"))) {
        plan.error = QStringLiteral("无法读取数据库：%1").arg(connection.LastError());
        return plan;
    }
    while (readTypes.Next())
        types.insert(typeKey(readTypes.Column(1).toString()), readTypes.Column(0).toLongLong());
    auto placeKey = [](const QString& building, const QString& room) { return building + QChar(0) + room; };
    while (readHouses.Next()) {
        const qint32 id = qint32(readHouses.Column(0).toLongLong());
        houses.insert(id);
        byPlace[placeKey(readHouses.Column(1).toString(), readHouses.Column(2).toString())].append(id);
    }

    const QDir sheetFolder = QFileInfo(path).absoluteDir();
    QSet<QString> newTypeKeys;
    for (size_t r = 1; r < csv.records.size(); ++r) {
        const CsvRecord& record = csv.records[r];
        PlanLine line;
        line.line = record.line;
        auto cell = [&record](int column) { return column >= 0 ? record.fields.value(column) : QString(); };
        line.numberText = cell(cols.number).trimmed();
        line.building = cell(cols.building);
        line.type = cell(cols.type);
        line.room = cell(cols.room);
        line.intro = cell(cols.intro);
        line.hasIntro = cols.intro >= 0;
        for (const auto& attribute : cols.attributes) {
            const QString value = cell(attribute.first);
            if (!value.isEmpty()) line.attributes.append({attribute.second, value});
        }
        line.pictureNames = splitList(cell(cols.pictures));

        auto refuse = [&plan, &line](const QString& reason) {
            line.kind = LineKind::Error;
            line.reason = reason;
            plan.lines.push_back(line);
        };
        bool extra = false;
        for (int c = int(header.fields.size()); c < record.fields.size(); ++c)
            extra |= !record.fields[c].isEmpty();
        if (extra) {
            refuse(QStringLiteral("本行的字段比标题行多。"));
            continue;
        }
        // The checks run in the entry wizard's order, and the first failure is the reason given.
        if (line.building.isEmpty()) {
            refuse(requiredMessage(QStringLiteral("名称")));
            continue;
        }
        if (line.type.isEmpty()) {
            refuse(requiredMessage(QStringLiteral("类型")));
            continue;
        }
        if (line.room.isEmpty()) {
            refuse(requiredMessage(QStringLiteral("房间号")));
            continue;
        }
        const QString floorText = cell(cols.floor);
        line.floorText = floorText;
        if (floorText.isEmpty()) {
            refuse(requiredMessage(QStringLiteral("楼层")));
            continue;
        }
        qint64 floor = 0;
        if (!wholeNumber(floorText, &floor) || floor < 1 || floor > 99) {
            refuse(QStringLiteral("\"楼层\"只能输入 1 到 99 之间的整数（现在是\"%1\"）。").arg(floorText));
            continue;
        }
        line.floor = int(floor);
        qint64 number = 0;
        if (!line.numberText.isEmpty() && !wholeNumber(line.numberText, &number)) {
            refuse(QStringLiteral("\"序号\"只能输入数字（现在是\"%1\"）。").arg(line.numberText));
            continue;
        }
        const QString key = typeKey(line.type);
        if (!types.contains(key) && !newTypeKeys.contains(key)) {
            if (!options.createTypes) {
                refuse(QStringLiteral("类型\"%1\"不存在。").arg(line.type));
                continue;
            }
        }
        QString missing;
        for (const QString& name : line.pictureNames) {
            const QString source = findPicture(name, sheetFolder);
            if (source.isEmpty()) {
                missing = name;
                break;
            }
            line.pictureSources << source;
        }
        if (!missing.isEmpty()) {
            refuse(QStringLiteral("找不到图片文件\"%1\"。").arg(missing));
            continue;
        }

        if (!line.numberText.isEmpty() && houses.contains(number)) {
            line.kind = LineKind::Update;
            line.houseId = qint32(number);
        } else if (line.numberText.isEmpty()) {
            const QList<qint32> matches = byPlace.value(placeKey(line.building, line.room));
            if (matches.size() > 1) {
                refuse(QStringLiteral("楼宇名称\"%1\"、房间号\"%2\"对应 %3 套房屋，请填写序号。")
                           .arg(line.building, line.room)
                           .arg(matches.size()));
                continue;
            }
            line.kind = matches.isEmpty() ? LineKind::New : LineKind::Update;
            line.houseId = matches.isEmpty() ? 0 : matches.first();
        } else {
            // A key that names no house (a price list from another catalogue): a new house, which
            // gets its own key.
            line.kind = LineKind::New;
        }
        if (!types.contains(key) && !newTypeKeys.contains(key)) {
            newTypeKeys.insert(key);
            plan.newTypes << line.type;
        }
        plan.lines.push_back(line);
    }
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
    std::vector<PendingCopy> copies;
    int currentLine = 0;
    auto undo = [&]() {
        transaction.Rollback();
        discard(copies);
        result.added = result.updated = result.typesCreated = 0;
    };
    auto fail = [&](const QString& what) {
        undo();
        result.error =
            currentLine > 0
                ? QStringLiteral("第 %1 行：%2：%3").arg(currentLine).arg(what, connection.LastError())
                : QStringLiteral("%1：%2").arg(what, connection.LastError());
        return result;
    };

    db::Statement lastList, insertType, insertHouse, updateHouse, updateHouseKeepIntro, deleteContent,
        insertContent, readImages, deleteImages, insertImage, readTypes;
    const bool prepared =
        lastList.Prepare(connection, QStringLiteral("SELECT MAX(List) FROM t_HouseType")) &&
        readTypes.Prepare(connection, QStringLiteral("SELECT TypeID, HouseType FROM t_HouseType")) &&
        insertType.Prepare(connection, QStringLiteral("INSERT INTO t_HouseType (List, HouseType, MusicTitle, "
                                                      "MusicFile) VALUES (?, ?, '', '')")) &&
        insertHouse.Prepare(connection, QStringLiteral("INSERT INTO t_House (HouseName, HouseNo, Intro, "
                                                       "HouseFloor, TypeID) VALUES (?, ?, ?, ?, ?)")) &&
        updateHouse.Prepare(connection,
                            QStringLiteral("UPDATE t_House SET HouseName = ?, HouseNo = ?, Intro = ?, "
                                           "HouseFloor = ?, TypeID = ? WHERE HouseID = ?")) &&
        updateHouseKeepIntro.Prepare(connection,
                                     QStringLiteral("UPDATE t_House SET HouseName = ?, HouseNo = ?, "
                                                    "HouseFloor = ?, TypeID = ? WHERE HouseID = ?")) &&
        deleteContent.Prepare(connection, QStringLiteral("DELETE FROM t_Content WHERE HouseID = ?")) &&
        insertContent.Prepare(connection,
                              QStringLiteral("INSERT INTO t_Content (HouseID, Caption, Content, List) "
                                             "VALUES (?, ?, ?, ?)")) &&
        readImages.Prepare(
            connection,
            QStringLiteral("SELECT ImageFile FROM t_Image WHERE HouseID = ? ORDER BY List, ImageID")) &&
        deleteImages.Prepare(connection, QStringLiteral("DELETE FROM t_Image WHERE HouseID = ?")) &&
        insertImage.Prepare(connection,
                            QStringLiteral("INSERT INTO t_Image (HouseID, Caption, Intro, ImageFile, "
                                           "List) VALUES (?, ?, '', ?, ?)"));
    if (!prepared) return fail(QStringLiteral("无法准备写入语句"));

    // New types go to the end of the user's order, in the order the sheet first names them.
    QHash<QString, qint64> types;
    while (readTypes.Next())
        types.insert(typeKey(readTypes.Column(1).toString()), readTypes.Column(0).toLongLong());
    qint64 list = lastList.Next() ? lastList.Column(0).toLongLong() : 0;
    lastList.Reset();
    for (const QString& name : plan.newTypes) {
        if (types.contains(typeKey(name))) continue;
        insertType.Bind(1, ++list);
        insertType.Bind(2, name);
        if (!insertType.Exec()) return fail(QStringLiteral("无法增加类型\"%1\"").arg(name));
        types.insert(typeKey(name), insertType.LastInsertId());
        ++result.typesCreated;
    }

    int total = 0;
    for (const PlanLine& line : plan.lines) total += line.kind != LineKind::Error ? 1 : 0;
    int done = 0;
    if (progress && !progress(0, total)) {
        result.cancelled = true;
        transaction.Rollback();
        return result;
    }
    for (const PlanLine& line : plan.lines) {
        if (line.kind == LineKind::Error) continue;
        currentLine = line.line;
        const qint64 typeId = types.value(typeKey(line.type), -1);
        if (typeId < 0) return fail(QStringLiteral("类型\"%1\"不存在").arg(line.type));
        qint64 houseId = line.houseId;
        if (line.kind == LineKind::New) {
            insertHouse.Bind(1, line.building);
            insertHouse.Bind(2, line.room);
            insertHouse.Bind(3, line.intro);
            insertHouse.Bind(4, line.floor);
            insertHouse.Bind(5, typeId);
            if (!insertHouse.Exec()) return fail(QStringLiteral("无法增加房屋"));
            houseId = insertHouse.LastInsertId();
            ++result.added;
        } else {
            db::Statement& update = line.hasIntro ? updateHouse : updateHouseKeepIntro;
            int i = 1;
            update.Bind(i++, line.building);
            update.Bind(i++, line.room);
            if (line.hasIntro) update.Bind(i++, line.intro);
            update.Bind(i++, line.floor);
            update.Bind(i++, typeId);
            update.Bind(i++, houseId);
            deleteContent.Bind(1, houseId);
            if (!update.Exec() || !deleteContent.Exec()) return fail(QStringLiteral("无法更新房屋"));
            ++result.updated;
        }
        int position = 0;
        for (const auto& attribute : line.attributes) {
            insertContent.Bind(1, houseId);
            insertContent.Bind(2, attribute.first);
            insertContent.Bind(3, attribute.second);
            insertContent.Bind(4, ++position);
            if (!insertContent.Exec()) return fail(QStringLiteral("无法写入属性\"%1\"").arg(attribute.first));
        }

        // An update keeps its pictures unless the sheet names others.
        bool replacePictures = !line.pictureNames.isEmpty();
        if (replacePictures && line.kind == LineKind::Update) {
            QStringList stored;
            readImages.Bind(1, houseId);
            while (readImages.Next()) stored << readImages.Column(0).toString();
            readImages.Reset();
            replacePictures = stored != line.pictureNames;
            if (replacePictures) {
                deleteImages.Bind(1, houseId);
                if (!deleteImages.Exec()) return fail(QStringLiteral("无法更新图片"));
            }
        }
        if (replacePictures) {
            for (int p = 0; p < line.pictureSources.size(); ++p) {
                const QString& source = line.pictureSources[p];
                const QString number = QString::number(p + 1);
                const QString stored = images::StoredImageName(houseId, number, source);
                insertImage.Bind(1, houseId);
                insertImage.Bind(2, QFileInfo(line.pictureNames[p]).completeBaseName());
                insertImage.Bind(3, stored);
                insertImage.Bind(4, p + 1);
                if (!insertImage.Exec()) return fail(QStringLiteral("无法写入图片\"%1\"").arg(stored));
                // Copied aside now, put in place after the commit: until then the folder holds
                // exactly what the catalogue names.
                const PendingCopy copy{images + QStringLiteral("/.import-%1.part").arg(copies.size()),
                                       images + QLatin1Char('/') + stored};
                QFile::remove(copy.temporary);
                if (!QFile::copy(source, copy.temporary)) {
                    copies.push_back(copy);
                    return fail(QStringLiteral("无法复制图片\"%1\"").arg(source));
                }
                copies.push_back(copy);
                // A shared catalogue keeps its pictures on the server, in the same transaction as
                // the rows that name them; this PC's Images folder is only its cache.
                if (connection.Server()) {
                    QFile picture(copy.temporary);
                    if (!picture.open(QIODevice::ReadOnly) ||
                        !db::PutServerFile(connection, QStringLiteral("Images"), stored, picture.readAll()))
                        return fail(QStringLiteral("无法把图片\"%1\"存到服务器").arg(stored));
                }
            }
        }
        ++done;
        if (progress && (done % 100 == 0 || done == total) && !progress(done, total)) {
            undo();
            result.cancelled = true;
            return result;
        }
    }
    currentLine = 0;
    if (!transaction.Commit()) {
        discard(copies);
        result.error = QStringLiteral("无法保存导入：%1").arg(connection.LastError());
        return result;
    }
    for (const PendingCopy& copy : copies) {
        QFile::remove(copy.final);
        if (QFile::rename(copy.temporary, copy.final)) ++result.picturesCopied;
    }
    result.ok = true;
    return result;
}

}  // namespace pricelist
