#pragma once

#include <QAbstractScrollArea>

#include "sales/SalesBoard.h"

// The painted board: only the cells in view are drawn, so a building of thousands of units
// scrolls and redraws as fast as one of ten. One widget instead of a widget per unit.
class SalesBoardView : public QAbstractScrollArea {
    Q_OBJECT
public:
    explicit SalesBoardView(QWidget* parent = nullptr);

    // The board to draw; the window owns it and calls BoardChanged after changing it.
    void SetBoard(const sales::Board* board);
    void BoardChanged();
    // Redraws one unit's cell (after its status changed).
    void UpdateUnit(qint32 houseId);
    // Scrolls the unit into view and returns the centre of its cell in viewport coordinates
    // (a null point when the house is not on the board).
    QPoint UnitCentre(qint32 houseId);
    qint32 SelectedHouse() const { return selected_; }
    // The tooltip of the cell at a point of the viewport ("" where there is none).
    QString ToolTipAt(const QPoint& viewportPoint) const;

signals:
    void unitDoubleClicked(qint32 houseId);
    void unitContextMenu(qint32 houseId, const QPoint& globalPos);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    bool viewportEvent(QEvent* event) override;

private:
    void updateScrollBars();
    QPoint offset() const;
    qint32 houseAt(const QPoint& viewportPoint) const;

    const sales::Board* board_ = nullptr;
    qint32 selected_ = 0;
};
