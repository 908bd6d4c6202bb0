#include "Lists.h"

#include <QComboBox>
#include <QTest>

#include "core/ui/ListView.h"

namespace testsupport {

namespace {
QPoint CellCentre(ui::ListView* list, int row, int column)
{
    const QModelIndex index = list->Model()->index(row, column);
    list->scrollTo(index);
    return list->visualRect(index).center();
}
}  // namespace

QStringList ListColumn(const ui::ListView* list, int column)
{
    QStringList texts;
    for (int r = 0; r < list->Model()->Count(); ++r) texts << list->Model()->Text(r, column);
    return texts;
}

void ClickListRow(ui::ListView* list, int row, int column)
{
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, CellCentre(list, row, column));
}

void DoubleClickListRow(ui::ListView* list, int row, int column)
{
    const QPoint at = CellCentre(list, row, column);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, at);
}

bool ClickListItem(ui::ListView* list, const QString& item, int column)
{
    for (int r = 0; r < list->Model()->Count(); ++r) {
        if (list->Model()->Text(r, 0) != item) continue;
        ClickListRow(list, r, column);
        return list->SelectedText() == item;
    }
    return false;
}

QStringList ComboEntries(const QComboBox* box)
{
    QStringList entries;
    for (int i = 0; i < box->count(); ++i) entries << box->itemText(i);
    return entries;
}

}  // namespace testsupport
