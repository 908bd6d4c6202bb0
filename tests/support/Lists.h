#pragma once

// Reading and clicking the report-view lists (ui::ListView) and drop-downs as a user would.

#include <QStringList>

class QComboBox;

namespace ui {
class ListView;
}

namespace testsupport {

// The texts of one column, top to bottom as displayed (column 0 is the item text).
QStringList ListColumn(const ui::ListView* list, int column = 0);
// Clicks a row with the mouse, in the given column's cell (scrolled into view first).
void ClickListRow(ui::ListView* list, int row, int column = 0);
// A press and release on the row, then a double click, as a real double click arrives.
void DoubleClickListRow(ui::ListView* list, int row, int column = 0);
// Clicks the row whose item text is `item`; true when that row is then the selected one.
bool ClickListItem(ui::ListView* list, const QString& item, int column = 1);
// The entries of a drop-down, in order.
QStringList ComboEntries(const QComboBox* box);

}  // namespace testsupport
