#pragma once

#include <QAbstractTableModel>
#include <QStringList>
#include <QTableView>
#include <vector>

namespace ui {

// The rows of a report-style list: an item text (column 0) and its sub-items (the columns after
// it), as plain strings. Sorting compares texts as text, without regard to case, which is why the
// catalogue pads its numbers: the text order of "000012" equals the numeric order.
class ListModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit ListModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    void ClearItems();
    void ClearColumns();
    int AddColumn(const QString& title, int widthTwips);
    int ColumnWidthTwips(int column) const;
    QString ColumnTitle(int column) const;
    // Adds an item and returns its row.
    int AddItem(const QString& text);
    void SetSubItem(int row, int subItem, const QString& text);
    // Replaces the item text (column 0) of a row.
    void SetItemText(int row, const QString& text);
    // Replaces all items at once: the fast path for long lists.
    void SetItems(std::vector<QStringList> rows);
    void RemoveItem(int row);
    int Count() const { return int(rows_.size()); }
    QString Text(int row, int column = 0) const;
    const std::vector<QStringList>& Rows() const { return rows_; }

private:
    struct Column {
        QString title;
        int widthTwips;
    };
    std::vector<Column> columns_;
    std::vector<QStringList> rows_;
};

// A list view in report view: full-row selection, grid lines, one selected row that stays visible
// when the list loses the focus, no editing in place. Like the original control, a list with
// items always has a selected item: when items arrive and nothing is selected, the top row is.
class ListView : public QTableView {
    Q_OBJECT
public:
    explicit ListView(QWidget* parent = nullptr);

    ListModel* Model() const { return model_; }
    // Sorts ascending by the column (0 = item text) as text. Items added later are not placed by
    // it: a window that adds items sorts again, as every list of this program is rebuilt whole.
    void SetSortKey(int column);
    int SortKey() const { return sortKey_; }
    // Re-reads the column titles and widths from the model.
    void ApplyColumns();

    int SelectedRow() const;  // -1 when the list is empty
    QString SelectedText(int column = 0) const;
    void SelectRow(int row);

signals:
    void ItemClick(int row);
    void ItemDblClick(int row);
    void ColumnClick(int column);

private:
    void selectTopIfNone();

    ListModel* model_;
    int sortKey_ = -1;
};

}  // namespace ui
