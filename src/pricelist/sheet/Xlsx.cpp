// An Excel workbook (.xlsx) is a zip of XML parts: the workbook lists the sheets, its relations
// say which part holds each, the shared strings hold the text most cells point to, and the styles
// say which number cells are dates. Only those parts and the chosen sheet are read.
#include <archive.h>
#include <archive_entry.h>

#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QXmlStreamReader>
#include <functional>
#include <memory>

#include "pricelist/sheet/Sheet.h"

namespace pricelist {

namespace {

// A part bigger than this is not a price list but a zip bomb or a damaged size field.
constexpr qint64 kMaxPartBytes = 1024LL * 1024 * 1024;

struct Parts {
    QString error;
    QHash<QString, QByteArray> bytes;
    bool encrypted = false;
    bool openDocument = false;
};

// Reads the named parts of the zip (the others are skipped unread).
Parts readParts(const QString& path, const std::function<bool(const QString&)>& wanted)
{
    Parts parts;
    std::unique_ptr<archive, int (*)(archive*)> zip(archive_read_new(), archive_read_free);
    archive_read_support_format_zip(zip.get());
    if (archive_read_open_filename(zip.get(), QFile::encodeName(path).constData(), 64 * 1024) != ARCHIVE_OK) {
        parts.error = QString::fromUtf8(archive_error_string(zip.get()));
        return parts;
    }
    archive_entry* entry = nullptr;
    int status = ARCHIVE_OK;
    while ((status = archive_read_next_header(zip.get(), &entry)) == ARCHIVE_OK) {
        const QString name =
            QString::fromUtf8(archive_entry_pathname_utf8(entry) ? archive_entry_pathname_utf8(entry)
                                                                 : archive_entry_pathname(entry));
        if (name == QLatin1String("mimetype")) parts.openDocument = true;
        if (!wanted(name)) continue;
        if (archive_entry_is_encrypted(entry)) {
            parts.encrypted = true;
            return parts;
        }
        QByteArray data;
        char buffer[64 * 1024];
        la_ssize_t got = 0;
        while ((got = archive_read_data(zip.get(), buffer, sizeof buffer)) > 0) {
            if (data.size() + got > kMaxPartBytes) {
                parts.error = QStringLiteral("%1 太大").arg(name);
                return parts;
            }
            data.append(buffer, int(got));
        }
        if (got < 0) {
            parts.error = QString::fromUtf8(archive_error_string(zip.get()));
            return parts;
        }
        parts.bytes.insert(name, data);
    }
    if (status != ARCHIVE_EOF) parts.error = QString::fromUtf8(archive_error_string(zip.get()));
    return parts;
}

// Office writes characters that XML cannot carry (a carriage return, other control characters)
// as "_x000D_"; a literal "_x" that would read as one is itself written "_x005F_x".
QString officeUnescape(const QString& text)
{
    if (!text.contains(QLatin1String("_x"))) return text;
    static const QRegularExpression escape(QStringLiteral("_x([0-9A-Fa-f]{4})_"));
    QString out;
    int last = 0;
    for (auto it = escape.globalMatch(text); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        out += QStringView(text).mid(last, m.capturedStart() - last);
        out += QChar(char16_t(m.captured(1).toUShort(nullptr, 16)));
        last = int(m.capturedEnd());
    }
    out += QStringView(text).mid(last);
    return out;
}

QString attribute(const QXmlStreamReader& xml, const char* name)
{
    return xml.attributes().value(QLatin1String(name)).toString();
}

// A text custom document property: <property name="..."><vt:lpwstr>value</vt:lpwstr></property>.
QString customProperty(const QByteArray& bytes, const QString& name)
{
    QXmlStreamReader xml(bytes);
    bool inside = false;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement() && xml.name() == QLatin1String("property"))
            inside = attribute(xml, "name") == name;
        else if (inside && xml.isStartElement() && xml.name() == QLatin1String("lpwstr"))
            return xml.readElementText();
    }
    return QString();
}

struct SheetRef {
    QString name;
    QString part;
};

struct Book {
    std::vector<SheetRef> sheets;
    bool date1904 = false;
};

bool readBook(const Parts& parts, Book* book)
{
    QHash<QString, QString> targets;
    QXmlStreamReader rels(parts.bytes.value(QStringLiteral("xl/_rels/workbook.xml.rels")));
    while (!rels.atEnd()) {
        rels.readNext();
        if (!rels.isStartElement() || rels.name() != QLatin1String("Relationship")) continue;
        QString target = attribute(rels, "Target");
        target = target.startsWith(QLatin1Char('/')) ? target.mid(1) : QStringLiteral("xl/") + target;
        targets.insert(attribute(rels, "Id"), target);
    }
    QXmlStreamReader xml(parts.bytes.value(QStringLiteral("xl/workbook.xml")));
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement()) continue;
        if (xml.name() == QLatin1String("workbookPr")) {
            const QString d = attribute(xml, "date1904");
            book->date1904 = d == QLatin1String("1") || d == QLatin1String("true");
        } else if (xml.name() == QLatin1String("sheet")) {
            QString id;
            for (const QXmlStreamAttribute& a : xml.attributes())
                if (a.name() == QLatin1String("id") && !a.namespaceUri().isEmpty()) id = a.value().toString();
            book->sheets.push_back({attribute(xml, "name"), targets.value(id)});
        }
    }
    return !xml.hasError() && !book->sheets.empty();
}

// The text of <t> elements inside the current element (a shared string or an inline string),
// leaving out the phonetic guide runs (<rPh>) that East Asian editions add.
QString readRichText(QXmlStreamReader& xml)
{
    QString text;
    int phonetic = 0;
    int depth = 1;
    while (depth > 0 && !xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement()) {
            ++depth;
            if (xml.name() == QLatin1String("rPh")) ++phonetic;
            if (xml.name() == QLatin1String("t") && phonetic == 0) {
                text += officeUnescape(xml.readElementText());
                --depth;
            }
        } else if (xml.isEndElement()) {
            --depth;
            if (xml.name() == QLatin1String("rPh")) --phonetic;
        }
    }
    return text;
}

QStringList readSharedStrings(const QByteArray& bytes)
{
    QStringList strings;
    QXmlStreamReader xml(bytes);
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement() && xml.name() == QLatin1String("si")) strings << readRichText(xml);
    }
    return strings;
}

QString builtInFormat(int id)
{
    switch (id) {
        case 14:
            return QStringLiteral("yyyy/m/d");
        case 15:
            return QStringLiteral("d-mmm-yy");
        case 16:
            return QStringLiteral("d-mmm");
        case 17:
            return QStringLiteral("mmm-yy");
        case 18:
            return QStringLiteral("h:mm AM/PM");
        case 19:
            return QStringLiteral("h:mm:ss AM/PM");
        case 20:
            return QStringLiteral("h:mm");
        case 21:
            return QStringLiteral("h:mm:ss");
        case 22:
            return QStringLiteral("yyyy/m/d h:mm");
        case 27:
        case 57:
            return QStringLiteral("yyyy\"年\"m\"月\"");
        case 28:
        case 58:
            return QStringLiteral("m\"月\"d\"日\"");
        case 29:
        case 31:
            return QStringLiteral("yyyy\"年\"m\"月\"d\"日\"");
        case 30:
            return QStringLiteral("m-d-yy");
        case 32:
            return QStringLiteral("h\"时\"mm\"分\"");
        case 33:
            return QStringLiteral("h\"时\"mm\"分\"ss\"秒\"");
        case 45:
            return QStringLiteral("mm:ss");
        case 46:
            return QStringLiteral("h:mm:ss");
        case 47:
            return QStringLiteral("mm:ss");
        default:
            return QString();
    }
}

bool isDateFormat(const QString& code)
{
    if (code.compare(QLatin1String("General"), Qt::CaseInsensitive) == 0) return false;
    static const QRegularExpression noise(QStringLiteral("\"[^\"]*\"|\\\\.|\\[[^\\]]*\\]"));
    QString bare = code;
    bare.remove(noise);
    return bare.contains(QRegularExpression(QStringLiteral("[ymdhsYMDHS]")));
}

// A cell's format: empty for numbers shown as they are, a date format, or a fixed pattern of
// zeros such as "0000" (a room number kept as a number) or "0.00".
struct Styles {
    std::vector<QString> cellFormats;  // by style index: the date format or zero pattern, or ""
};

Styles readStyles(const QByteArray& bytes)
{
    Styles styles;
    QHash<int, QString> custom;
    QXmlStreamReader xml(bytes);
    bool inCellXfs = false;
    static const QRegularExpression zeros(QStringLiteral("^0+(\\.0+)?$"));
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isEndElement() && xml.name() == QLatin1String("cellXfs")) inCellXfs = false;
        if (!xml.isStartElement()) continue;
        if (xml.name() == QLatin1String("numFmt")) {
            custom.insert(attribute(xml, "numFmtId").toInt(), attribute(xml, "formatCode"));
        } else if (xml.name() == QLatin1String("cellXfs")) {
            inCellXfs = true;
        } else if (inCellXfs && xml.name() == QLatin1String("xf")) {
            const int id = attribute(xml, "numFmtId").toInt();
            QString code = custom.contains(id) ? custom.value(id) : builtInFormat(id);
            if (id == 1) code = QStringLiteral("0");
            if (id == 2) code = QStringLiteral("0.00");
            if (!isDateFormat(code) && !zeros.match(code).hasMatch()) code.clear();
            styles.cellFormats.push_back(code);
        }
    }
    return styles;
}

QString numberText(const QString& value, const QString& format, bool date1904)
{
    bool ok = false;
    const double number = value.toDouble(&ok);
    if (!ok || format.isEmpty()) return ok ? GeneralNumberText(number) : value;
    if (isDateFormat(format)) return DateText(number, format, date1904);
    const int point = format.indexOf(QLatin1Char('.'));
    const int decimals = point < 0 ? 0 : int(format.size()) - point - 1;
    const int width = point < 0 ? int(format.size()) : point;
    QString text = QString::number(number, 'f', decimals);
    const bool negative = text.startsWith(QLatin1Char('-'));
    if (negative) text.remove(0, 1);
    const int digits = text.indexOf(QLatin1Char('.')) < 0 ? int(text.size()) : text.indexOf(QLatin1Char('.'));
    if (digits < width) text.prepend(QString(width - digits, QLatin1Char('0')));
    return negative ? QLatin1Char('-') + text : text;
}

// "AB12" -> column 27 (0-based); -1 when the reference has no letters.
int columnOf(const QString& ref)
{
    int column = 0;
    int letters = 0;
    for (const QChar c : ref) {
        if (c < QLatin1Char('A') || c > QLatin1Char('Z')) break;
        column = column * 26 + (c.unicode() - 'A' + 1);
        if (++letters > 3) return -1;
    }
    return letters == 0 ? -1 : column - 1;
}

struct CellContext {
    const QStringList& shared;
    const Styles& styles;
    bool date1904;
};

QString readCell(QXmlStreamReader& xml, const CellContext& context)
{
    const QString type = attribute(xml, "t");
    const int style = attribute(xml, "s").toInt();
    QString value;
    QString inlineText;
    bool hasInline = false;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isEndElement() && xml.name() == QLatin1String("c")) break;
        if (!xml.isStartElement()) continue;
        if (xml.name() == QLatin1String("v")) {
            value = xml.readElementText();
        } else if (xml.name() == QLatin1String("is")) {
            inlineText = readRichText(xml);
            hasInline = true;
        } else {
            xml.skipCurrentElement();  // the formula itself: its cached value is what the sheet shows
        }
    }
    if (type == QLatin1String("s")) {
        bool ok = false;
        const int index = value.toInt(&ok);
        return ok && index >= 0 && index < context.shared.size() ? context.shared.at(index) : QString();
    }
    if (type == QLatin1String("inlineStr")) return hasInline ? inlineText : value;
    if (type == QLatin1String("b"))
        return value == QLatin1String("1") ? QStringLiteral("TRUE") : QStringLiteral("FALSE");
    if (type == QLatin1String("str")) return officeUnescape(value);
    if (type == QLatin1String("e") || type == QLatin1String("d")) return value;
    if (value.isEmpty()) return QString();
    const QString format = style >= 0 && size_t(style) < context.styles.cellFormats.size()
                               ? context.styles.cellFormats[size_t(style)]
                               : QString();
    return numberText(value, format, context.date1904);
}

bool readRows(const QByteArray& bytes, const CellContext& context, std::vector<CsvRecord>* records,
              QString* error)
{
    QXmlStreamReader xml(bytes);
    CsvRecord record;
    int nextRow = 1;
    int nextColumn = 0;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement() && xml.name() == QLatin1String("row")) {
            const int r = attribute(xml, "r").toInt();
            record = CsvRecord();
            record.line = r > 0 ? r : nextRow;
            nextRow = record.line + 1;
            nextColumn = 0;
        } else if (xml.isStartElement() && xml.name() == QLatin1String("c")) {
            int column = columnOf(attribute(xml, "r"));
            if (column < 0) column = nextColumn;
            nextColumn = column + 1;
            const QString text = readCell(xml, context);
            if (text.isEmpty()) continue;
            while (record.fields.size() <= column) record.fields << QString();
            record.fields[column] = text;
        } else if (xml.isEndElement() && xml.name() == QLatin1String("row")) {
            if (!record.fields.isEmpty()) records->push_back(std::move(record));
            record = CsvRecord();
        }
    }
    if (xml.hasError()) {
        *error = xml.errorString();
        return false;
    }
    return true;
}

}  // namespace

SheetTable ReadXlsx(const QString& path, const QString& sheetName)
{
    SheetTable table;
    table.format = QStringLiteral("XLSX");
    auto damaged = [&table](const QString& why) {
        table.error = QStringLiteral("工作簿已损坏，无法读取（%1）。").arg(why);
        return table;
    };
    const Parts meta = readParts(path, [](const QString& name) {
        return name == QLatin1String("xl/workbook.xml") ||
               name == QLatin1String("xl/_rels/workbook.xml.rels") ||
               name == QLatin1String("xl/sharedStrings.xml") || name == QLatin1String("xl/styles.xml") ||
               name == QLatin1String("docProps/custom.xml");
    });
    if (meta.encrypted) {
        table.error = QStringLiteral("工作簿设有密码（已加密），无法读取。请在表格程序中取消密码后再导入。");
        return table;
    }
    if (!meta.error.isEmpty()) return damaged(meta.error);
    if (!meta.bytes.contains(QStringLiteral("xl/workbook.xml"))) {
        if (meta.openDocument) {
            table.error = QStringLiteral(
                "这是 OpenDocument 表格（.ods），请在表格程序中另存为 .xlsx 或 CSV 后再导入。");
            return table;
        }
        return damaged(QStringLiteral("没有 xl/workbook.xml"));
    }
    Book book;
    if (!readBook(meta, &book)) return damaged(QStringLiteral("工作表目录无法读取"));
    const SheetRef* chosen = &book.sheets.front();
    if (!sheetName.isEmpty()) {
        chosen = nullptr;
        QStringList names;
        for (const SheetRef& s : book.sheets) {
            names << s.name;
            if (s.name == sheetName) chosen = &s;
        }
        if (!chosen) {
            table.error = QStringLiteral("工作簿中没有工作表\"%1\"（有：%2）。")
                              .arg(sheetName, names.join(QStringLiteral("、")));
            return table;
        }
    }
    const QString part = chosen->part;
    const Parts sheetPart = readParts(path, [&part](const QString& name) { return name == part; });
    if (!sheetPart.error.isEmpty()) return damaged(sheetPart.error);
    if (!sheetPart.bytes.contains(part)) return damaged(QStringLiteral("没有 %1").arg(part));
    const QStringList shared = readSharedStrings(meta.bytes.value(QStringLiteral("xl/sharedStrings.xml")));
    const Styles styles = readStyles(meta.bytes.value(QStringLiteral("xl/styles.xml")));
    QString error;
    if (!readRows(sheetPart.bytes.value(part), CellContext{shared, styles, book.date1904}, &table.records,
                  &error))
        return damaged(error);
    table.catalogue = customProperty(meta.bytes.value(QStringLiteral("docProps/custom.xml")),
                                     QString::fromLatin1(kCatalogueProperty));
    table.ok = true;
    return table;
}

}  // namespace pricelist
