#pragma once

#include <QString>
#include <QStringList>
#include <vector>

#include "pricelist/sheet/Csv.h"

// A price list as rows of text, whatever program wrote it: CSV or tab-separated text, an Excel
// workbook (.xlsx) or an Excel 97-2003 workbook (.xls). The kind is told by the file's first bytes,
// not by its name, because offices rename files freely. Cells come in as the text a person sees
// in the spreadsheet program: a room "0801" typed as text stays "0801", a floor 12.0 is "12".
namespace pricelist {

struct SheetTable {
    bool ok = false;
    QString error;
    int errorLine = 0;
    QString format;     // "UTF-8", "UTF-16", "GB18030" for text; "XLSX" or "XLS" for workbooks
    QChar separator;    // text files only
    bool text = false;  // CSV or tab-separated text: a leading apostrophe may guard a formula-like cell
    std::vector<CsvRecord> records;  // blank rows left out; line is the spreadsheet's row number
    QString catalogue;  // the catalogue a workbook says it was exported from, "" when it does not say
};

// The workbook property in which the export names its catalogue.
inline constexpr const char* kCatalogueProperty = "TavreloCatalogue";

// Reads the first sheet of a workbook, or the sheet named `sheet` when it is given (a text file
// has no sheets, so a name is refused there).
SheetTable ReadSheet(const QString& path, const QString& sheet = QString());

// The workbook readers behind ReadSheet, for a file already known to be of their kind.
SheetTable ReadXlsx(const QString& path, const QString& sheet);
SheetTable ReadXls(const QString& path, const QString& sheet);

// The text a spreadsheet program shows for a number cell: whole numbers without a decimal point,
// others with up to 15 significant digits, as Excel's "General" format does.
QString GeneralNumberText(double value);

// Spreadsheet programs count days from 1899-12-30 (1900 system) or 1904-01-01. Renders the serial
// with an Excel number format such as "yyyy/m/d" or "yyyy-mm-dd hh:mm".
QString DateText(double serial, const QString& excelFormat, bool from1904 = false);

// Formula guards. A spreadsheet program runs a text cell that begins with =, +, -, @, a tab or a
// carriage return as a formula; the CSV export puts an apostrophe before such text (which the
// program shows as plain text), and the import takes one apostrophe off again. Text that already
// begins with apostrophes before such a character gets one more, so the two are exact inverses.
QString GuardFormulaText(const QString& text);
QString UnguardFormulaText(const QString& text);

}  // namespace pricelist
