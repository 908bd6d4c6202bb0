#include "wall/frmWall.h"

#include <QDateTime>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QScreen>
#include <QTimer>
#include <algorithm>
#include <cmath>

#include "core/db/ChangeWatcher.h"
#include "core/db/Clock.h"
#include "core/db/Connection.h"
#include "core/db/Expiry.h"
#include "core/db/Store.h"
#include "core/mdlHouse.h"
#include "sales/BoardChanges.h"

namespace {

const QColor kHeaderFill(28, 48, 78);
const QColor kLegendFill(243, 245, 248);
const QString kLostNotice = QStringLiteral("与房源库的连接已中断，正在重试…");

// Sizes in proportion to the screen's height, so that 1920 x 1080 and 3840 x 2160 look alike.
int px(const QWidget* w, double share)
{
    return std::max(1, int(std::lround(w->height() * share)));
}

}  // namespace

frmWall::frmWall(const wall::WallOptions& options, QWidget* parent) : QWidget(parent), options_(options)
{
    setObjectName(QStringLiteral("frmWall"));
    setWindowTitle(QStringLiteral("销控表"));
    setAttribute(Qt::WA_DeleteOnClose);
    // Closing the main window still ends the program while the wall is up.
    setAttribute(Qt::WA_QuitOnClose, false);
    setCursor(Qt::BlankCursor);
    setFocusPolicy(Qt::StrongFocus);
    QPalette p = palette();
    p.setColor(QPalette::Window, Qt::white);
    setPalette(p);
    setAutoFillBackground(true);
    if (options_.hidePrices) options_.priceCaption.clear();
    options_.seconds = std::max(1, options_.seconds);

    watcher_ = new db::ChangeWatcher(this);
    connect(watcher_, &db::ChangeWatcher::Changed, this, [this] { catalogueChanged(); });
    connect(watcher_, &db::ChangeWatcher::ConnectionLost, this, [this] {
        unreachable_ = true;
        setNotice(kLostNotice);
    });
    connect(watcher_, &db::ChangeWatcher::ConnectionRestored, this, [this] {
        unreachable_ = false;
        catalogueChanged();
    });
    cycle_ = new QTimer(this);
    cycle_->setInterval(options_.seconds * 1000);
    connect(cycle_, &QTimer::timeout, this, &frmWall::Next);
    clock_ = new QTimer(this);
    clock_->setInterval(1000);
    connect(clock_, &QTimer::timeout, this, [this] {
        if (clockText() != shownClock_) update(headerRect());
    });
}

void frmWall::Start(QWidget* near)
{
    QScreen* screen = near ? near->screen() : QGuiApplication::primaryScreen();
    if (screen) setGeometry(screen->geometry());
    watcher_->WatchProgramFolder(mdlHouse::ProgramFolder());
    showBuilding(0);
    showFullScreen();
    activateWindow();
    setFocus();
    cycle_->start();
    clock_->start();
}

void frmWall::Next()
{
    if (page_ + 1 < int(pages_.size())) {
        ++page_;
        arrange();
        update();
        return;
    }
    showBuilding(options_.buildings.isEmpty() ? 0 : (building_ + 1) % int(options_.buildings.size()));
}

// Reads a building quietly: nobody is there to answer a message, and the wall must go on.
bool frmWall::read(const QString& building, sales::Board* board)
{
    if (unreachable_) return false;
    db::Connection connection;
    if (!db::OpenCatalogue(connection, mdlHouse::ProgramFolder())) return false;
    // As every read of the units: holds past their end are released first (any login may).
    db::ReleaseExpiredHolds(connection, db::Now());
    return board->Load(connection, building, options_.statusCaption, options_.priceCaption);
}

void frmWall::showBuilding(int index)
{
    building_ = index;
    page_ = 0;
    const QString name = options_.buildings.value(index);
    sales::Board fresh;
    if (read(name, &fresh)) {
        kept_[name] = fresh;
        board_ = std::move(fresh);
        if (!unreachable_) setNotice(QString());
    } else {
        const auto kept = kept_.find(name);
        board_ = kept != kept_.end() ? kept->second : sales::Board();
        board_.building = name;
        setNotice(kLostNotice);
    }
    arrange();
    update();
}

void frmWall::catalogueChanged()
{
    if (unreachable_) return;
    sales::Board fresh;
    if (!read(board_.building, &fresh)) {
        setNotice(kLostNotice);
        if (watcher_->Connected()) QTimer::singleShot(500, this, [this] { catalogueChanged(); });
        return;
    }
    setNotice(QString());
    kept_[fresh.building] = fresh;
    const sales::BoardChanges changes = sales::CompareBoards(board_, fresh);
    if (changes.sameLayout && changes.houses.empty()) return;
    board_ = std::move(fresh);
    if (!changes.sameLayout) {
        arrange();
        update();
        return;
    }
    for (const qint32 house : changes.houses) {
        const QRect cell = CellOnScreen(house);
        if (!cell.isEmpty()) update(cell.adjusted(-3, -3, 3, 3));
    }
    update(legendRect());
}

void frmWall::setNotice(const QString& text)
{
    if (text == notice_) return;
    notice_ = text;
    update(legendRect());
}

QRect frmWall::headerRect() const
{
    return QRect(0, 0, width(), px(this, 0.085));
}

QRect frmWall::legendRect() const
{
    const int top = headerRect().bottom() + 1;
    const int w = std::max(px(this, 0.46), width() / 5);
    return QRect(width() - w, top, w, height() - top);
}

QRect frmWall::boardRect() const
{
    const int margin = px(this, 0.02);
    const QRect header = headerRect();
    return QRect(margin, header.bottom() + 1 + margin, legendRect().left() - 2 * margin,
                 height() - header.bottom() - 1 - 2 * margin);
}

// Works out the scale and the pages: the whole building at the largest scale that fits, or, when
// even the smallest legible one does not, as many floors and units as fit at that one per page.
void frmWall::arrange()
{
    using B = sales::Board;
    const QRect area = boardRect();
    const int rows = int(board_.rows.size());
    int columns = 0;
    for (const sales::FloorRow& r : board_.rows) columns = std::max(columns, int(r.units.size()));
    pages_.clear();
    if (rows == 0 || columns == 0 || area.isEmpty()) {
        pages_.push_back(PageRange{});
        page_ = 0;
        scale_ = kMinScale;
        return;
    }
    const QSize whole = board_.Size();
    const double fit = std::min(area.width() / double(whole.width()), area.height() / double(whole.height()));
    int rowsPerPage = rows;
    int columnsPerPage = columns;
    if (fit >= kMinScale) {
        scale_ = std::min(fit, kMaxScale);
    } else {
        scale_ = kMinScale;
        rowsPerPage = std::max(1, int((area.height() / scale_ - B::kGap) / (B::kCellHeight + B::kGap)));
        columnsPerPage =
            std::max(1, int((area.width() / scale_ - B::kLabelWidth - B::kGap) / (B::kCellWidth + B::kGap)));
        rowsPerPage = std::min(rowsPerPage, rows);
        columnsPerPage = std::min(columnsPerPage, columns);
        // Pages of even size (16 floors at 7 a page: 6, 6 and 4 rather than 7, 7 and 2), each
        // drawn as large as the largest of them allows.
        const int rowPages = (rows + rowsPerPage - 1) / rowsPerPage;
        const int columnPages = (columns + columnsPerPage - 1) / columnsPerPage;
        rowsPerPage = (rows + rowPages - 1) / rowPages;
        columnsPerPage = (columns + columnPages - 1) / columnPages;
        const double pageWidth = B::kLabelWidth + B::kGap + columnsPerPage * (B::kCellWidth + B::kGap);
        const double pageHeight = B::kGap + rowsPerPage * (B::kCellHeight + B::kGap);
        scale_ =
            std::clamp(std::min(area.width() / pageWidth, area.height() / pageHeight), kMinScale, kMaxScale);
    }
    for (int r = 0; r < rows; r += rowsPerPage)
        for (int c = 0; c < columns; c += columnsPerPage)
            pages_.push_back(
                PageRange{r, std::min(rowsPerPage, rows - r), c, std::min(columnsPerPage, columns - c)});
    page_ = std::clamp(page_, 0, int(pages_.size()) - 1);

    const PageRange& p = pages_[size_t(page_)];
    const double pageWidth = B::kLabelWidth + B::kGap + p.columnCount * (B::kCellWidth + B::kGap);
    const double pageHeight = B::kGap + p.rowCount * (B::kCellHeight + B::kGap);
    // Centred in the area.
    const double left = area.left() + (area.width() - pageWidth * scale_) / 2;
    const double top = area.top() + (area.height() - pageHeight * scale_) / 2;
    labels_ = QTransform::fromTranslate(left, top);
    labels_.scale(scale_, scale_);
    labels_.translate(0, -p.firstRow * (B::kCellHeight + B::kGap));
    cells_ = labels_;
    cells_.translate(-p.firstColumn * (B::kCellWidth + B::kGap), 0);
}

QRect frmWall::CellOnScreen(qint32 houseId) const
{
    const QRect cell = board_.UnitRect(houseId);
    if (cell.isEmpty() || pages_.empty()) return QRect();
    const PageRange& p = pages_[size_t(page_)];
    const int row = (cell.top() - sales::Board::kGap) / (sales::Board::kCellHeight + sales::Board::kGap);
    const int column = (cell.left() - sales::Board::kLabelWidth - sales::Board::kGap) /
                       (sales::Board::kCellWidth + sales::Board::kGap);
    if (row < p.firstRow || row >= p.firstRow + p.rowCount || column < p.firstColumn ||
        column >= p.firstColumn + p.columnCount)
        return QRect();
    return cells_.mapRect(QRectF(cell)).toAlignedRect();
}

QString frmWall::clockText() const
{
    return QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd  HH:mm"));
}

void frmWall::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::TextAntialiasing, true);
    const QRect exposed = event->rect();
    if (exposed.intersects(headerRect())) paintHeader(painter);
    if (exposed.intersects(boardRect())) paintBoard(painter);
    if (exposed.intersects(legendRect())) paintLegend(painter);
}

void frmWall::paintHeader(QPainter& painter)
{
    const QRect header = headerRect();
    painter.fillRect(header, kHeaderFill);
    const int margin = px(this, 0.025);
    const QRect text = header.adjusted(margin, 0, -margin, 0);
    QFont title = font();
    title.setPixelSize(px(this, 0.048));
    title.setBold(true);
    painter.setFont(title);
    painter.setPen(Qt::white);
    QString name = sales::StatusLabel(board_.building);
    if (pages_.size() > 1) name += QStringLiteral("  （%1/%2）").arg(page_ + 1).arg(pages_.size());
    painter.drawText(text, Qt::AlignLeft | Qt::AlignVCenter,
                     QFontMetrics(title).elidedText(name, Qt::ElideRight, text.width() * 2 / 3));
    QFont clock = font();
    clock.setPixelSize(px(this, 0.040));
    painter.setFont(clock);
    shownClock_ = clockText();
    painter.drawText(text, Qt::AlignRight | Qt::AlignVCenter, shownClock_);
}

void frmWall::paintBoard(QPainter& painter)
{
    if (pages_.empty() || board_.rows.empty()) {
        QFont f = font();
        f.setPixelSize(px(this, 0.04));
        painter.setFont(f);
        painter.setPen(QColor(90, 90, 90));
        painter.drawText(boardRect(), Qt::AlignCenter, QStringLiteral("这栋楼没有房源。"));
        return;
    }
    using B = sales::Board;
    const PageRange& p = pages_[size_t(page_)];
    const QRect firstCell = board_.CellRect(p.firstRow, p.firstColumn);
    const QRect lastCell = board_.CellRect(p.firstRow + p.rowCount - 1, p.firstColumn + p.columnCount - 1);
    painter.save();
    painter.setTransform(cells_);
    board_.Paint(painter, QRect(firstCell.topLeft(), lastCell.bottomRight()), 0, false);
    painter.setTransform(labels_);
    board_.PaintLabels(painter,
                       QRect(0, firstCell.top(), B::kLabelWidth, lastCell.bottom() - firstCell.top() + 1));
    painter.restore();
}

void frmWall::paintLegend(QPainter& painter)
{
    const QRect legend = legendRect();
    painter.fillRect(legend, kLegendFill);
    const int margin = px(this, 0.025);
    const int line = px(this, 0.058);
    QFont f = font();
    f.setPixelSize(px(this, 0.032));
    QFont bold = f;
    bold.setBold(true);
    const QRect inner = legend.adjusted(margin, margin, -margin, -margin);
    int y = inner.top();
    painter.setFont(bold);
    painter.setPen(QColor(30, 30, 30));
    painter.drawText(QRect(inner.left(), y, inner.width(), line), Qt::AlignLeft | Qt::AlignVCenter,
                     QStringLiteral("共 %1 套").arg(board_.units.size()));
    y += line + margin / 2;
    const int swatch = line * 6 / 10;
    const QFontMetrics metrics(f);
    const int countRight = inner.right() - metrics.horizontalAdvance(QStringLiteral("100.0%")) - margin / 2;
    painter.setFont(f);
    const std::vector<sales::LegendEntry> entries = board_.Legend();
    int countWidth = 0;
    for (const sales::LegendEntry& e : entries)
        countWidth = std::max(countWidth, metrics.horizontalAdvance(QString::number(e.count)));
    for (const sales::LegendEntry& e : entries) {
        if (y + line > inner.bottom() - line) break;
        const QRect row(inner.left(), y, inner.width(), line);
        painter.setPen(e.colour.darker(140));
        painter.setBrush(e.colour);
        painter.drawRoundedRect(QRect(row.left(), row.center().y() - swatch / 2, swatch, swatch), 4, 4);
        painter.setPen(QColor(30, 30, 30));
        const int labelLeft = row.left() + swatch + margin / 2;
        const int labelWidth = countRight - labelLeft - countWidth - margin / 2;
        const QRect label(labelLeft, y, labelWidth, line);
        painter.drawText(label, Qt::AlignLeft | Qt::AlignVCenter,
                         metrics.elidedText(sales::StatusLabel(e.value), Qt::ElideRight, label.width()));
        painter.drawText(QRect(row.left(), y, countRight - row.left(), line),
                         Qt::AlignRight | Qt::AlignVCenter, QString::number(e.count));
        painter.drawText(row, Qt::AlignRight | Qt::AlignVCenter,
                         QString::number(e.share, 'f', 1) + QLatin1Char('%'));
        y += line;
    }
    if (!notice_.isEmpty()) {
        QFont small = font();
        small.setPixelSize(px(this, 0.020));
        painter.setFont(small);
        const QRect box(inner.left(), inner.bottom() - line, inner.width(), line);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(255, 236, 179));
        painter.drawRoundedRect(box, 6, 6);
        painter.setPen(QColor(110, 70, 0));
        painter.drawText(box.adjusted(margin / 3, 0, -margin / 3, 0), Qt::AlignCenter | Qt::TextWordWrap,
                         notice_);
    }
}

void frmWall::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

void frmWall::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    arrange();
}
