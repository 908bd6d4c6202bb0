#include "sales/SalesBoardView.h"

#include <QContextMenuEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QToolTip>

SalesBoardView::SalesBoardView(QWidget* parent) : QAbstractScrollArea(parent)
{
    viewport()->setBackgroundRole(QPalette::Base);
    viewport()->setAutoFillBackground(true);
    setContextMenuPolicy(Qt::DefaultContextMenu);
}

void SalesBoardView::SetBoard(const sales::Board* board)
{
    board_ = board;
    BoardChanged();
}

void SalesBoardView::BoardChanged()
{
    if (board_ && board_->IndexOf(selected_) < 0) selected_ = 0;
    updateScrollBars();
    viewport()->update();
}

void SalesBoardView::UpdateUnit(qint32 houseId)
{
    if (!board_) return;
    const QRect cell = board_->UnitRect(houseId);
    if (!cell.isEmpty()) viewport()->update(cell.translated(-offset()).adjusted(-2, -2, 2, 2));
}

QPoint SalesBoardView::UnitCentre(qint32 houseId)
{
    if (!board_) return QPoint();
    const QRect cell = board_->UnitRect(houseId);
    if (cell.isEmpty()) return QPoint();
    const int labels = sales::Board::kLabelWidth + sales::Board::kGap;
    const QRect view = QRect(offset(), viewport()->size()).adjusted(labels, 0, 0, 0);
    if (!view.contains(cell)) {
        horizontalScrollBar()->setValue(cell.center().x() - viewport()->width() / 2);
        verticalScrollBar()->setValue(cell.center().y() - viewport()->height() / 2);
    }
    return cell.center() - offset();
}

QPoint SalesBoardView::offset() const
{
    return QPoint(horizontalScrollBar()->value(), verticalScrollBar()->value());
}

void SalesBoardView::updateScrollBars()
{
    const QSize size = board_ ? board_->Size() : QSize();
    const QSize view = viewport()->size();
    horizontalScrollBar()->setRange(0, std::max(0, size.width() - view.width()));
    verticalScrollBar()->setRange(0, std::max(0, size.height() - view.height()));
    horizontalScrollBar()->setPageStep(view.width());
    verticalScrollBar()->setPageStep(view.height());
    horizontalScrollBar()->setSingleStep(sales::Board::kCellWidth / 2);
    verticalScrollBar()->setSingleStep(sales::Board::kCellHeight / 2);
}

qint32 SalesBoardView::houseAt(const QPoint& viewportPoint) const
{
    // The floor column covers the cells scrolled under it.
    if (!board_ || viewportPoint.x() < sales::Board::kLabelWidth + sales::Board::kGap) return 0;
    const int i = board_->UnitAt(viewportPoint + offset());
    return i < 0 ? 0 : board_->units[size_t(i)].houseId;
}

void SalesBoardView::paintEvent(QPaintEvent* event)
{
    if (!board_) return;
    QPainter painter(viewport());
    painter.translate(-offset());
    board_->Paint(painter, event->rect().translated(offset()), selected_, false);
    // The floor column stays at the left edge while the cells scroll sideways under it.
    painter.resetTransform();
    painter.translate(0, -offset().y());
    board_->PaintLabels(painter, QRect(0, event->rect().top() + offset().y(), sales::Board::kLabelWidth,
                                       event->rect().height()));
}

void SalesBoardView::resizeEvent(QResizeEvent* event)
{
    QAbstractScrollArea::resizeEvent(event);
    updateScrollBars();
}

void SalesBoardView::mousePressEvent(QMouseEvent* event)
{
    const qint32 house = houseAt(event->position().toPoint());
    if (house != selected_) {
        UpdateUnit(selected_);
        selected_ = house;
        UpdateUnit(selected_);
    }
    QAbstractScrollArea::mousePressEvent(event);
}

void SalesBoardView::mouseDoubleClickEvent(QMouseEvent* event)
{
    const qint32 house = houseAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton && house != 0) emit unitDoubleClicked(house);
}

void SalesBoardView::contextMenuEvent(QContextMenuEvent* event)
{
    const qint32 house = houseAt(event->pos());
    if (house == 0) return;
    if (house != selected_) {
        UpdateUnit(selected_);
        selected_ = house;
        UpdateUnit(selected_);
    }
    emit unitContextMenu(house, event->globalPos());
}

QString SalesBoardView::ToolTipAt(const QPoint& viewportPoint) const
{
    const qint32 house = houseAt(viewportPoint);
    const int i = board_ && house != 0 ? board_->IndexOf(house) : -1;
    return i < 0 ? QString() : board_->units[size_t(i)].dealTip;
}

bool SalesBoardView::viewportEvent(QEvent* event)
{
    if (event->type() == QEvent::ToolTip) {
        auto* help = static_cast<QHelpEvent*>(event);
        const QString tip = ToolTipAt(help->pos());
        if (tip.isEmpty())
            QToolTip::hideText();
        else
            QToolTip::showText(help->globalPos(), tip, viewport());
        return true;
    }
    return QAbstractScrollArea::viewportEvent(event);
}
