#pragma once

#include <QString>
#include <QStringList>

struct lxw_workbook;
struct lxw_worksheet;
struct lxw_format;

// Cells that a spreadsheet program shows as they are and never runs. Every export of the program
// that hands text to a spreadsheet (price lists, reports, history) writes through here.
namespace cells {

// Formula guards for text files. A spreadsheet program runs a text cell that begins with =, +, -,
// @, a tab or a carriage return as a formula; CSV writers put an apostrophe before such text
// (which the program shows as plain text), and readers take one apostrophe off again. Text that
// already begins with apostrophes before such a character gets one more, so the two are exact
// inverses.
QString GuardFormulaText(const QString& text);
QString UnguardFormulaText(const QString& text);

// An .xlsx workbook written aside under ".part" and renamed into place by Finish, so that a
// failure never leaves half a file under the name the user chose and an existing file is replaced
// only by a complete one. Text always goes into string cells, which no spreadsheet program runs
// as a formula whatever it begins with; numbers go into number cells.
class Workbook {
public:
    // constantMemory: rows go straight to disk and strings are written in place (memory stays
    // flat), at the price of writing every sheet's rows in order, one sheet after the other.
    explicit Workbook(const QString& path, bool constantMemory = false);
    ~Workbook();
    Workbook(const Workbook&) = delete;
    Workbook& operator=(const Workbook&) = delete;

    bool Open();
    bool SetProperty(const QString& name, const QString& value);
    // A new sheet; it becomes the one the cells below go to. The name is made acceptable to
    // spreadsheet programs (no []:*?/\, at most 31 characters, not repeated).
    bool AddSheet(const QString& name);
    // A bold title row with the panes frozen under it, in the current sheet's row 0.
    bool Header(const QStringList& titles);
    bool Text(int row, int column, const QString& text);
    bool Number(int row, int column, double value);
    bool Finish();
    QString Error() const { return error_; }

private:
    bool fail(const QString& why);
    QString path_;
    QString part_;
    bool constantMemory_;
    lxw_workbook* workbook_ = nullptr;
    lxw_worksheet* sheet_ = nullptr;
    lxw_format* bold_ = nullptr;
    QStringList sheetNames_;
    QString error_;
};

}  // namespace cells
