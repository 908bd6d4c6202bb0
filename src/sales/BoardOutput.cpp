#include "sales/BoardOutput.h"

#include <QDate>
#include <QFileInfo>
#include <QFontMetrics>
#include <QPageLayout>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <algorithm>

#include "core/mdlHouse.h"
#include "sales/SalesBoard.h"

namespace sales {

namespace {

constexpr int kMargin = 36;  // pixels at 96 per inch, about 1 cm
constexpr int kHeaderHeight = 34;

QFont outputFont(int pixels, bool bold = false)
{
    // AR PL UMing: its character map has no CJK radicals sharing the glyphs of the ideographs,
    // so the text copied out of the PDF is the text written (with Noto CJK "一" comes back as
    // the radical "⼀").
    QFont f;
    f.setFamilies({QStringLiteral("AR PL UMing CN"), QStringLiteral("Noto Sans CJK SC")});
    f.setPixelSize(pixels);
    f.setBold(bold);
    return f;
}

QString title(const Board& board)
{
    return QStringLiteral("%1  销控表  %2")
        .arg(board.building, QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd")));
}

// Paints the legend in a line that wraps within width; returns its height.
int paintLegend(QPainter* painter, const Board& board, int left, int top, int width)
{
    const QFont font = outputFont(12);
    const QFontMetrics metrics(font);
    const int line = metrics.height() + 6;
    int x = left;
    int y = top;
    for (const LegendEntry& e : board.Legend()) {
        const QString text = LegendText(e.value, e.count, e.share);
        const int w = 18 + metrics.horizontalAdvance(text) + 18;
        if (x > left && x + w > left + width) {
            x = left;
            y += line;
        }
        if (painter) {
            painter->setPen(e.colour.darker(140));
            painter->setBrush(e.colour);
            painter->drawRect(x, y + (line - 12) / 2, 12, 12);
            painter->setPen(Qt::black);
            painter->setFont(font);
            painter->drawText(QRect(x + 18, y, w - 18, line), Qt::AlignLeft | Qt::AlignVCenter, text);
        }
        x += w;
    }
    return y - top + line;
}

}  // namespace

QString LegendText(const QString& value, int count, double share)
{
    return QStringLiteral("%1 %2 套 %3%").arg(StatusLabel(value)).arg(count).arg(share, 0, 'f', 1);
}

int RenderBoard(const Board& board, QPagedPaintDevice* device)
{
    device->setPageLayout(
        QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Landscape, QMarginsF(0, 0, 0, 0)));
    QPainter painter;
    if (!painter.begin(device)) return 0;
    // Laid out in pixels at 96 per inch, whatever the device's resolution.
    const double toDevice = device->logicalDpiX() / 96.0;
    const QSizeF page = device->pageLayout().fullRectPoints().size() * (96.0 / 72.0);
    const int contentWidth = int(page.width()) - 2 * kMargin;
    const QSize size = board.Size();
    const double scale = std::clamp(double(contentWidth) / std::max(1, size.width()), 0.5, 1.0);

    // Whole rows per page; a board wider than the page goes on in bands of whole cells to the
    // right, each with the floor column again at its left.
    const int labels = Board::kLabelWidth + Board::kGap;
    const int cellStep = Board::kCellWidth + Board::kGap;
    const int cellsWidth = size.width() - labels;
    const int bandWidth = std::max(1, (int(contentWidth / scale) - labels) / cellStep) * cellStep;
    const int rowHeight = Board::kCellHeight + Board::kGap;
    int pages = 0;
    int top = 0;  // board rows already on paper, in board pixels
    do {
        int rowsHeight = rowHeight;
        for (int left = 0; left == 0 || left < cellsWidth; left += bandWidth) {
            if (pages > 0 && !device->newPage()) {
                painter.end();
                return pages;
            }
            ++pages;
            painter.resetTransform();
            painter.scale(toDevice, toDevice);
            painter.setPen(Qt::black);
            painter.setFont(outputFont(16, true));
            const QRect header(kMargin, kMargin, contentWidth, kHeaderHeight);
            painter.drawText(header, Qt::AlignLeft | Qt::AlignVCenter, title(board));
            painter.setFont(outputFont(11));
            painter.drawText(header, Qt::AlignRight | Qt::AlignVCenter,
                             QStringLiteral("第 %1 页").arg(pages));
            int y = kMargin + kHeaderHeight;
            if (pages == 1) y += paintLegend(&painter, board, kMargin, y, contentWidth) + 8;
            const int available = int((page.height() - kMargin - y) / scale);
            if (left == 0) rowsHeight = std::max(1, available / rowHeight) * rowHeight;
            const int height = std::min(rowsHeight, size.height() - top);
            painter.translate(kMargin, y);
            painter.scale(scale, scale);
            painter.setFont(outputFont(12));
            painter.save();
            painter.translate(0, -top);
            painter.setClipRect(QRect(0, top, labels, height));
            board.PaintLabels(painter, QRect(0, top, labels, height));
            painter.restore();
            const QRect slice(labels + left, top, std::min(bandWidth, cellsWidth - left), height);
            painter.translate(-left, -top);
            painter.setClipRect(slice);
            board.Paint(painter, slice, 0, false);
            painter.setClipping(false);
        }
        top += rowsHeight;
    } while (top < size.height());
    painter.end();
    return pages;
}

bool SaveBoardPdf(const Board& board, const QString& path)
{
    QPdfWriter writer(path);
    writer.setCreator(mdlHouse::kProgramTitle);
    writer.setTitle(title(board));
    writer.setResolution(300);
    return RenderBoard(board, &writer) > 0 && QFileInfo(path).size() > 0;
}

QImage BoardImage(const Board& board)
{
    const QSize size = board.Size();
    const int width = std::max(size.width(), 480) + 2 * 12;
    const int legend = paintLegend(nullptr, board, 12, 0, width - 24);
    QImage image(width, 12 + kHeaderHeight + legend + 8 + size.height() + 12, QImage::Format_RGB32);
    if (image.isNull()) return image;
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(Qt::black);
    painter.setFont(outputFont(16, true));
    painter.drawText(QRect(12, 12, width - 24, kHeaderHeight), Qt::AlignLeft | Qt::AlignVCenter,
                     title(board));
    const int y = 12 + kHeaderHeight;
    paintLegend(&painter, board, 12, y, width - 24);
    painter.translate(12, y + legend + 8);
    painter.setFont(outputFont(12));
    board.Paint(painter, QRect(QPoint(0, 0), size));
    painter.end();
    return image;
}

bool SaveBoardPng(const Board& board, const QString& path)
{
    const QImage image = BoardImage(board);
    return !image.isNull() && image.save(path, "PNG");
}

}  // namespace sales
