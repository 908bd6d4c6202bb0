#include "core/ui/ListView.h"

#include <QHeaderView>
#include <algorithm>

#include "core/ui/Twips.h"

namespace ui {

ListModel::ListModel(QObject* parent) : QAbstractTableModel(parent) {}

int ListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(rows_.size());
}

int ListModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(columns_.size());
}

QVariant ListModel::data(const QModelIndex& index, int role) const
{
    if (role != Qt::DisplayRole || !index.isValid() || index.row() >= int(rows_.size())) return QVariant();
    const QStringList& row = rows_[index.row()];
    return index.column() < row.size() ? row[index.column()] : QString();
}

QVariant ListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 ||
        section >= int(columns_.size()))
        return QVariant();
    return columns_[section].title;
}

void ListModel::sort(int column, Qt::SortOrder order)
{
    if (column < 0) return;
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    std::vector<int> order_(rows_.size());
    for (int i = 0; i < int(order_.size()); ++i) order_[i] = i;
    // Each text is folded once, so the sort compares plain texts: comparing without regard to case
    // pair by pair folds every text again in each of the n log n comparisons. Folding leaves a text
    // without capitals (a padded number, most Chinese text) as it is, sharing its storage.
    std::vector<QString> keys(rows_.size());
    for (size_t r = 0; r < rows_.size(); ++r) {
        const QStringList& row = rows_[r];
        if (column < row.size()) keys[r] = row[column].toCaseFolded();
    }
    std::stable_sort(order_.begin(), order_.end(), [&](int a, int b) {
        const int c = QStringView(keys[a]).compare(QStringView(keys[b]), Qt::CaseSensitive);
        return order == Qt::AscendingOrder ? c < 0 : c > 0;
    });
    std::vector<QStringList> sorted;
    sorted.reserve(rows_.size());
    std::vector<int> newPos(rows_.size());
    for (int i = 0; i < int(order_.size()); ++i) {
        sorted.push_back(std::move(rows_[order_[i]]));
        newPos[order_[i]] = i;
    }
    rows_ = std::move(sorted);
    QModelIndexList after;
    after.reserve(before.size());
    for (const QModelIndex& idx : before) after << index(newPos[idx.row()], idx.column());
    changePersistentIndexList(before, after);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

void ListModel::ClearItems()
{
    beginResetModel();
    rows_.clear();
    endResetModel();
}

void ListModel::ClearColumns()
{
    beginResetModel();
    columns_.clear();
    endResetModel();
}

int ListModel::AddColumn(const QString& title, int widthTwips)
{
    const int c = int(columns_.size());
    beginInsertColumns(QModelIndex(), c, c);
    columns_.push_back({title, widthTwips});
    endInsertColumns();
    return c;
}

int ListModel::ColumnWidthTwips(int column) const
{
    return column >= 0 && column < int(columns_.size()) ? columns_[column].widthTwips : 0;
}

QString ListModel::ColumnTitle(int column) const
{
    return column >= 0 && column < int(columns_.size()) ? columns_[column].title : QString();
}

int ListModel::AddItem(const QString& text)
{
    const int r = int(rows_.size());
    beginInsertRows(QModelIndex(), r, r);
    rows_.push_back(QStringList{text});
    endInsertRows();
    return r;
}

void ListModel::SetSubItem(int row, int subItem, const QString& text)
{
    if (row < 0 || row >= int(rows_.size()) || subItem < 1) return;
    QStringList& r = rows_[row];
    while (r.size() <= subItem) r.append(QString());
    r[subItem] = text;
    emit dataChanged(index(row, subItem), index(row, subItem));
}

void ListModel::SetItemText(int row, const QString& text)
{
    if (row < 0 || row >= int(rows_.size())) return;
    QStringList& r = rows_[row];
    if (r.isEmpty()) r.append(QString());
    r[0] = text;
    emit dataChanged(index(row, 0), index(row, 0));
}

void ListModel::SetItems(std::vector<QStringList> rows)
{
    beginResetModel();
    rows_ = std::move(rows);
    endResetModel();
}

void ListModel::RemoveItem(int row)
{
    if (row < 0 || row >= int(rows_.size())) return;
    beginRemoveRows(QModelIndex(), row, row);
    rows_.erase(rows_.begin() + row);
    endRemoveRows();
}

QString ListModel::Text(int row, int column) const
{
    if (row < 0 || row >= int(rows_.size())) return QString();
    return rows_[row].value(column);
}

ListView::ListView(QWidget* parent) : QTableView(parent), model_(new ListModel(this))
{
    setModel(model_);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setShowGrid(true);
    setWordWrap(false);
    setTabKeyNavigation(false);
    verticalHeader()->hide();
    // Fixed row heights keep a list of 100,000 houses as quick as one of ten.
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    horizontalHeader()->setSectionsClickable(true);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setStretchLastSection(false);
    horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    // The selection stays visible (in the active colour) when the list loses the focus.
    QPalette p = palette();
    p.setColor(QPalette::Inactive, QPalette::Highlight, p.color(QPalette::Active, QPalette::Highlight));
    p.setColor(QPalette::Inactive, QPalette::HighlightedText,
               p.color(QPalette::Active, QPalette::HighlightedText));
    setPalette(p);

    connect(horizontalHeader(), &QHeaderView::sectionClicked, this, &ListView::ColumnClick);
    connect(this, &QAbstractItemView::clicked, this,
            [this](const QModelIndex& i) { emit ItemClick(i.row()); });
    connect(this, &QAbstractItemView::doubleClicked, this,
            [this](const QModelIndex& i) { emit ItemDblClick(i.row()); });
    connect(model_, &QAbstractItemModel::modelReset, this, [this]() {
        ApplyColumns();
        selectTopIfNone();
    });
    connect(model_, &QAbstractItemModel::rowsInserted, this, [this]() { selectTopIfNone(); });
    connect(model_, &QAbstractItemModel::columnsInserted, this, [this]() { ApplyColumns(); });
}

void ListView::ApplyColumns()
{
    for (int c = 0; c < model_->columnCount(); ++c) setColumnWidth(c, Px(model_->ColumnWidthTwips(c)));
}

void ListView::SetSortKey(int column)
{
    sortKey_ = column;
    model_->sort(column, Qt::AscendingOrder);
    selectTopIfNone();
}

int ListView::SelectedRow() const
{
    if (model_->Count() == 0) return -1;
    const QModelIndex current = selectionModel()->currentIndex();
    const QModelIndexList rows = selectionModel()->selectedRows();
    if (!rows.isEmpty()) return rows.first().row();
    if (current.isValid()) return current.row();
    return -1;
}

QString ListView::SelectedText(int column) const
{
    return model_->Text(SelectedRow(), column);
}

void ListView::SelectRow(int row)
{
    if (row < 0 || row >= model_->Count()) return;
    const QModelIndex i = model_->index(row, 0);
    selectionModel()->setCurrentIndex(i, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    scrollTo(i);
}

void ListView::selectTopIfNone()
{
    if (model_->Count() > 0 && selectionModel()->selectedRows().isEmpty()) {
        const QModelIndex i = model_->index(0, 0);
        selectionModel()->setCurrentIndex(i, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    }
}

}  // namespace ui
