#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <vector>

// Spreadsheet text as the office's programs save it: CSV or tab-separated text in UTF-8 (with or
// without a byte-order mark), UTF-16 with a mark, or GB18030 (what spreadsheet programs in Chinese
// write by default, with no mark to say so).
namespace pricelist {

struct DecodedText {
    bool ok = false;
    QString text;
    QString encoding;  // "UTF-8", "UTF-16", "GB18030"
    QString error;
};

// UTF-8 when the bytes carry its mark or are valid UTF-8 throughout (plain ASCII included);
// otherwise GB18030, which fails only when the bytes are not GB18030 either.
DecodedText DecodeSpreadsheetText(const QByteArray& bytes);

struct CsvRecord {
    int line = 0;  // the physical line on which the record starts, 1-based
    QStringList fields;
};

struct CsvTable {
    bool ok = false;
    QChar separator = QLatin1Char(',');
    std::vector<CsvRecord> records;  // blank lines are left out
    QString error;
    int errorLine = 0;
};

// Splits the text into records. The separator is the one of the first line: a tab when it holds
// more tabs than commas, else a comma. A field in double quotes may hold separators, line breaks
// and doubled quotes; a quote that is never closed is an error at the line where it opened.
CsvTable ParseCsv(const QString& text);

// One record as a CSV line ending in CR LF; fields holding a comma, a quote or a line break are
// quoted, with quotes doubled.
void AppendCsvLine(QByteArray& out, const QStringList& fields);

}  // namespace pricelist
