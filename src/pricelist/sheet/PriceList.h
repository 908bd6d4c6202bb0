#pragma once

#include <QList>
#include <QPair>
#include <QSet>
#include <QString>
#include <QStringList>
#include <functional>
#include <vector>

namespace db {
class Connection;
}

// The catalogue as a price list: one row per house, with its key, building, type, floor, room
// number, description, one column per attribute caption and its picture files. The export writes
// it as CSV or XLSX; the import reads the CSV back into a plan that is shown before anything is
// written, and writes the plan in one transaction. The import reads CSV and tab-separated text as
// well as Excel workbooks (.xlsx and the older .xls).
namespace pricelist {

// The column titles. The attribute columns stand between 说明 and 图片.
inline const QString kColumnNumber = QStringLiteral("序号");
inline const QString kColumnBuilding = QStringLiteral("楼宇名称");
inline const QString kColumnType = QStringLiteral("类型");
inline const QString kColumnFloor = QStringLiteral("楼层");
inline const QString kColumnRoom = QStringLiteral("房间号");
inline const QString kColumnIntro = QStringLiteral("说明");
inline const QString kColumnPictures = QStringLiteral("图片");
// Several values in one cell (pictures, or a caption a house carries twice) are joined with it.
inline const QString kListSeparator = QStringLiteral("；");

// ---- export ----

// Every house with a type, in key order, or only those in `only` when it is given; captions get
// their columns in the order of their first appearance among the rows written. The rows are read
// and written one by one, so memory does not grow with the catalogue. Text cells that a
// spreadsheet program would run as a formula are written so that they never run (see Sheet.h).
// ExportCatalogue reads the catalogue at databasePath and writes path as XLSX when it ends in
// ".xlsx" (any case), as CSV when it ends in ".csv" or has no extension; any other extension is
// refused. Returns the number of houses written, or -1 with *error set.
int ExportCatalogue(const QString& databasePath, const QString& path, const QSet<qint32>* only,
                    QString* error);
// The same for the catalogue a program folder uses: its House.db, or the shared one on the server
// that the folder's settings name.
int ExportProgramFolder(const QString& programFolder, const QString& path, const QSet<qint32>* only,
                        QString* error);

// ---- import ----

enum class LineKind { New, Update, Error };

struct PlanLine {
    int line = 0;
    LineKind kind = LineKind::Error;
    QString reason;      // why the line is refused
    qint32 houseId = 0;  // the house an update replaces
    QString numberText;  // 序号 as written
    QString building;
    QString type;
    QString room;
    QString intro;
    bool hasIntro = false;  // false when the file has no 说明 column: an update keeps the old text
    QString floorText;      // 楼层 as written
    int floor = 0;
    QList<QPair<QString, QString>> attributes;  // caption, value, in column order
    QStringList pictureNames;                   // as written in 图片
    QStringList pictureSources;                 // the files found for them
};

struct ImportOptions {
    bool createTypes = false;  // an unknown type is made rather than refused
    QString sheet;             // the workbook's sheet to read; empty: the first
    // A list from another catalogue: its 序号 name that catalogue's houses, so every line is taken
    // as a new house instead of an update of the house that has the same key here.
    bool keysAsNew = false;
};

struct Plan {
    bool ok = false;  // false: the file itself could not be read; error says why
    QString error;
    int errorLine = 0;
    QString encoding;  // a text file's encoding, or "XLSX" / "XLS" for a workbook
    QChar separator;
    std::vector<PlanLine> lines;
    QStringList newTypes;  // types the write will create, in first-appearance order
    // Not empty when the list looks like another catalogue's export: the workbook names another
    // catalogue, or keys of the list name houses here whose building and room both differ. Says
    // why, for the preview; ImportOptions::keysAsNew is then the way to take its lines as new.
    QString otherCatalogue;
    int Count(LineKind kind) const;
};

// Reads the file (CSV, text, .xlsx or .xls, told apart by their contents) and decides, line by line, what the
// import would do. Nothing is written.
Plan MakePlan(const QString& path, db::Connection& connection, const ImportOptions& options);

struct WriteResult {
    bool ok = false;
    bool cancelled = false;
    QString error;
    int added = 0;
    int updated = 0;
    int typesCreated = 0;
    int picturesCopied = 0;
};

// Called now and then while the plan is written; returning false cancels the import.
using Progress = std::function<bool(int done, int total)>;

// Writes the accepted lines of the plan in one transaction, all or nothing. Pictures are copied
// into programFolder/Images under the entry wizard's names; they take their places only once the
// transaction has committed, so a cancelled or failed import leaves the folder as it was.
WriteResult WritePlan(const Plan& plan, db::Connection& connection, const QString& programFolder,
                      const Progress& progress = {});

// "新增", "更新", "错误".
QString KindText(LineKind kind);
// "第 3 行：新增 翠湖苑一号楼 201" or "第 4 行：错误 请在"类型"中输入值。": the line as the command
// line prints it.
QString ReportLine(const PlanLine& line);

}  // namespace pricelist
