#include "pricelist/sheet/Csv.h"

#include <QStringDecoder>

#include "core/table/TableFile.h"

namespace pricelist {

DecodedText DecodeSpreadsheetText(const QByteArray& bytes)
{
    DecodedText result;
    if (bytes.startsWith("\xEF\xBB\xBF")) {
        QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        result.text = utf8(bytes.mid(3));
        result.encoding = QStringLiteral("UTF-8");
        result.ok = !utf8.hasError();
        if (!result.ok) result.error = QStringLiteral("文件标明是 UTF-8 编码，但其中有无法识别的字节。");
        return result;
    }
    if (bytes.startsWith("\xFF\xFE") || bytes.startsWith("\xFE\xFF")) {
        // Spreadsheet programs save "Unicode text" as UTF-16 with its mark.
        QStringDecoder utf16(bytes.startsWith("\xFF\xFE") ? QStringDecoder::Utf16LE : QStringDecoder::Utf16BE,
                             QStringDecoder::Flag::Stateless);
        result.text = utf16(bytes.mid(2));
        result.encoding = QStringLiteral("UTF-16");
        result.ok = !utf16.hasError();
        if (!result.ok) result.error = QStringLiteral("文件标明是 UTF-16 编码，但其中有无法识别的字节。");
        return result;
    }
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8(bytes);
    if (!utf8.hasError()) {
        result.text = text;
        result.encoding = QStringLiteral("UTF-8");
        result.ok = true;
        return result;
    }
    // Not UTF-8, so it is what a Chinese spreadsheet program saves by default. GB18030 covers
    // GBK and GB2312, so one decoder serves files from every version of those programs.
    QStringDecoder gb("GB18030", QStringDecoder::Flag::Stateless);
    if (!gb.isValid()) {
        result.error = QStringLiteral("文件不是 UTF-8 编码，而本机无法读取 GB18030 编码。");
        return result;
    }
    result.text = gb(bytes);
    result.encoding = QStringLiteral("GB18030");
    result.ok = !gb.hasError();
    if (!result.ok) result.error = QStringLiteral("文件既不是 UTF-8 编码，也不是 GB18030 编码。");
    return result;
}

namespace {

QChar detectSeparator(const QString& text)
{
    int commas = 0;
    int tabs = 0;
    bool quoted = false;
    for (const QChar c : text) {
        if (c == QLatin1Char('"')) {
            quoted = !quoted;
        } else if (!quoted) {
            if (c == QLatin1Char('\n') || c == QLatin1Char('\r')) break;
            if (c == QLatin1Char(',')) ++commas;
            if (c == QLatin1Char('\t')) ++tabs;
        }
    }
    return tabs > commas ? QLatin1Char('\t') : QLatin1Char(',');
}

bool isBlank(const QStringList& fields)
{
    return fields.size() == 1 && fields.first().isEmpty();
}

}  // namespace

CsvTable ParseCsv(const QString& text)
{
    CsvTable table;
    table.separator = detectSeparator(text);
    const QChar sep = table.separator;
    const QChar quote = QLatin1Char('"');

    int line = 1;
    CsvRecord record;
    record.line = 1;
    QString field;
    bool inQuotes = false;
    int quoteLine = 0;
    auto endRecord = [&]() {
        record.fields << field;
        field.clear();
        if (!isBlank(record.fields)) table.records.push_back(std::move(record));
        record = CsvRecord();
    };

    const int n = int(text.size());
    for (int i = 0; i < n; ++i) {
        const QChar c = text.at(i);
        if (inQuotes) {
            if (c == quote) {
                if (i + 1 < n && text.at(i + 1) == quote) {
                    field += quote;
                    ++i;
                } else {
                    inQuotes = false;
                }
            } else {
                if (c == QLatin1Char('\n') ||
                    (c == QLatin1Char('\r') && !(i + 1 < n && text.at(i + 1) == QLatin1Char('\n'))))
                    ++line;
                field += c;
            }
            continue;
        }
        if (c == quote && field.isEmpty()) {
            inQuotes = true;
            quoteLine = line;
        } else if (c == sep) {
            record.fields << field;
            field.clear();
        } else if (c == QLatin1Char('\r') || c == QLatin1Char('\n')) {
            if (c == QLatin1Char('\r') && i + 1 < n && text.at(i + 1) == QLatin1Char('\n')) ++i;
            endRecord();
            ++line;
            record.line = line;
        } else {
            // A quote in the middle of an unquoted field, or text after a closing quote, is kept
            // as it stands, as spreadsheet programs read it.
            field += c;
        }
    }
    if (inQuotes) {
        table.error = QStringLiteral("引号没有结束。");
        table.errorLine = quoteLine;
        return table;
    }
    endRecord();
    table.ok = true;
    return table;
}

void AppendCsvLine(QByteArray& out, const QStringList& fields)
{
    table::AppendCsvLine(out, fields);
}

}  // namespace pricelist
