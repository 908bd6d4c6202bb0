#pragma once

#include <QByteArray>
#include <QSet>
#include <QString>
#include <QStringList>
#include <memory>

// Tables written for spreadsheet programs, as CSV or XLSX, with cells that never run as formulas.
// The price list and the change history both write through it, so both files read the same way
// and are equally safe to open. No widgets: the command-line tools use it too.
namespace table {

// Formula guards. A spreadsheet program runs a text cell that begins with =, +, -, @, a tab or a
// carriage return as a formula; CSV puts an apostrophe before such text (which the program shows
// as plain text), and a reader takes one apostrophe off again. Text that already begins with
// apostrophes before such a character gets one more, so the two are exact inverses.
QString GuardFormulaText(const QString& text);
QString UnguardFormulaText(const QString& text);

// One record as a CSV line ending in CR LF; fields holding a comma, a quote or a line break are
// quoted, with quotes doubled.
void AppendCsvLine(QByteArray& out, const QStringList& fields);

struct Options {
    // The worksheet's name (XLSX only).
    QString sheetName = QStringLiteral("Sheet1");
    // A custom workbook property, written when both are set (XLSX only).
    QByteArray propertyName;
    QString propertyValue;
    // Columns whose whole-number cells are written as numbers; every other cell is text.
    QSet<int> numberColumns;
};

// Where the rows go, written aside under ".part" and renamed into place by Finish, so that a
// failure never leaves half a file under the name the user chose and an existing file is replaced
// only by a complete one. Rows go to disk as they come: memory stays flat however many there are.
class Writer {
public:
    virtual ~Writer() = default;
    virtual bool Header(const QStringList& titles) = 0;
    virtual bool Row(const QStringList& cells) = 0;
    virtual bool Finish() = 0;
    QString error;

protected:
    bool putInPlace(const QString& part, const QString& path);
};

// A CSV file in UTF-8 with a byte-order mark, or an XLSX workbook whose text cells are string cells
// (which no spreadsheet program runs, whatever they begin with).
std::unique_ptr<Writer> MakeCsvWriter(const QString& path, const Options& options);
std::unique_ptr<Writer> MakeXlsxWriter(const QString& path, const Options& options);
// By the name: ".xlsx" (any case) is a workbook, ".csv" or no extension CSV; anything else is
// refused (nullptr), as the file would not be what its name promises.
std::unique_ptr<Writer> MakeWriter(const QString& path, const Options& options);

}  // namespace table
