#pragma once

#include <QColor>
#include <QHash>
#include <QRect>
#include <QString>
#include <vector>

class QPainter;

namespace db {
class Connection;
}

// What the sales board shows of one building, without any widget: the units with their status
// and price, arranged one row per floor (the highest on top, houses without a floor last), and
// the legend of the status values. The window, the printout and the PNG all draw it the same way.
namespace sales {

inline const QString kUnknownFloor = QStringLiteral("楼层未知");

struct Unit {
    qint32 houseId = 0;
    QString houseNo;
    QString type;
    bool hasFloor = false;
    int floor = 0;
    // The first row of the status caption: its key (0 when the house has none) and its value.
    qint64 statusRowId = 0;
    QString status;
    QString price;  // the first row of the price caption, empty when none is chosen or present
    // The unit's open deal, when the board reads them: its key and stage, the line the cell shows
    // (a hold's consultant and time left) and the cell's tooltip.
    qint64 dealId = 0;
    QString dealStage;
    QString dealNote;
    QString dealTip;
};

struct FloorRow {
    QString label;           // "12层", or kUnknownFloor
    std::vector<int> units;  // indexes into Board::units, in room-number order
};

struct LegendEntry {
    QString value;  // "" for the houses without a status
    int count = 0;
    double share = 0;  // percent of the building's units
    QColor colour;
};

// Room numbers as people read them: digit runs compare by their number ("201" before "1001",
// "A2" before "A10"), the rest as text without regard to case.
int NaturalCompare(const QString& a, const QString& b);

// The fill of a status: 在售/可售 green, 已预订/预留/保留 amber, 已售 red, no value grey, and any
// other value a colour of its own that stays the same from run to run (its colour when it is the
// only such value on the board).
QColor StatusColour(const QString& value);
// The colours of the values outside the built-in ones when they are shown together: no two share
// a colour, whatever their number, and the same set gets the same colours on every PC.
QHash<QString, QColor> StatusColours(const QStringList& values);
// What the legend calls the houses without a status.
QString StatusLabel(const QString& value);

class Board {
public:
    QString building;
    QString statusCaption;
    QString priceCaption;
    std::vector<Unit> units;
    std::vector<FloorRow> rows;

    // Reads the building's units with two statements. False when a statement failed (the board
    // is then empty).
    bool Load(db::Connection& connection, const QString& building, const QString& statusCaption,
              const QString& priceCaption);
    // Builds the rows from the units.
    void Arrange();
    int IndexOf(qint32 houseId) const;
    std::vector<LegendEntry> Legend() const;
    // The fill of a status on this board, where the values outside the built-in ones each have a
    // colour of their own (see StatusColours). AssignColours works them out again from the units'
    // statuses; Arrange calls it, and so must whoever changes a unit's status.
    QColor Colour(const QString& value) const;
    void AssignColours();

    // Geometry in pixels at scale 1: a label column, then one cell per unit.
    static constexpr int kLabelWidth = 76;
    static constexpr int kCellWidth = 104;
    static constexpr int kCellHeight = 62;
    static constexpr int kGap = 4;
    QSize Size() const;
    QRect CellRect(int row, int column) const;
    QRect UnitRect(qint32 houseId) const;   // empty when the house is not on the board
    int UnitAt(const QPoint& point) const;  // index into units, or -1

    // Paints the rows that meet the exposed rectangle (board coordinates) with the painter's
    // current transformation; without labels the floor column is left to PaintLabels.
    void Paint(QPainter& painter, const QRect& exposed, qint32 highlightedHouse = 0,
               bool labels = true) const;
    // The floor labels of the rows that meet the exposed rectangle, at x = 0.
    void PaintLabels(QPainter& painter, const QRect& exposed) const;

private:
    std::vector<int> rowOfUnit_;     // per unit: its row
    std::vector<int> columnOfUnit_;  // per unit: its column
    int columns_ = 0;
    QHash<QString, QColor> colours_;
};

}  // namespace sales
