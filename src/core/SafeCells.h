#pragma once

#include <QString>
#include <QStringList>

struct lxw_workbook;
struct lxw_worksheet;
struct lxw_format;

// A workbook of several sheets whose cells a spreadsheet program shows as they are and never runs,
// as the price list's export writes its one sheet: text only in string cells.
namespace cells {

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
