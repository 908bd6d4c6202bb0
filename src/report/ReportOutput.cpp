#include "report/ReportOutput.h"

#include <QChart>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QFontMetricsF>
#include <QGraphicsScene>
#include <QPageLayout>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QTextLayout>
#include <functional>
#include <memory>

#include "core/SafeCells.h"
#include "core/mdlHouse.h"
#include "report/ReportCharts.h"
#include "report/ReportTables.h"
#include "report/SalesFigures.h"

namespace report {

namespace {

// A4 in points, and the margins.
constexpr double kPageWidth = 595.0;
constexpr double kPageHeight = 842.0;
constexpr double kMargin = 40.0;
constexpr double kFooter = 24.0;
constexpr double kContentWidth = kPageWidth - 2 * kMargin;
constexpr double kBottom = kPageHeight - kMargin - kFooter;
constexpr double kChartHeight = 250.0;

// AR PL UMing first, as on the house sheet: text copied out of the PDF is the text written.
QFont outputFont(double size, bool bold = false)
{
    QFont f;
    f.setFamilies({QStringLiteral("AR PL UMing CN"), QStringLiteral("Noto Sans CJK SC")});
    f.setPixelSize(qRound(size));
    f.setBold(bold);
    return f;
}

QString generatedAt()
{
    return QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

// Writes one table into the current sheet of the workbook, from row 0.
bool writeTable(cells::Workbook& book, const Table& table)
{
    if (!book.AddSheet(table.name) || !book.Header(table.headers)) return false;
    int row = 1;
    for (const QVariantList& cells : table.rows) {
        for (int c = 0; c < cells.size(); ++c) {
            const QVariant& v = cells[c];
            const bool number = v.typeId() == QMetaType::Int || v.typeId() == QMetaType::LongLong ||
                                v.typeId() == QMetaType::Double;
            if (!(number ? book.Number(row, c, v.toDouble()) : book.Text(row, c, v.toString()))) return false;
        }
        ++row;
    }
    return true;
}

// Paints the pages in points; newPage starts the next one and returns false when it cannot.
class Pages {
public:
    Pages(QPainter& painter, std::function<bool()> newPage) : p_(painter), newPage_(std::move(newPage)) {}

    int count() const { return pages_; }
    bool failed() const { return failed_; }
    double y = kMargin;

    // Room for height more points on this page, or a new page.
    bool Room(double height)
    {
        if (y + height <= kBottom) return true;
        footer();
        if (!newPage_()) {
            failed_ = true;
            return false;
        }
        ++pages_;
        y = kMargin;
        return true;
    }
    void Finish() { footer(); }

    void Line(const QString& text, const QFont& font, double height)
    {
        if (!Room(height)) return;
        p_.setFont(font);
        p_.setPen(Qt::black);
        p_.drawText(QRectF(kMargin, y, kContentWidth, height), Qt::AlignLeft | Qt::AlignVCenter, text);
        y += height;
    }
    void Wrapped(const QString& text, const QFont& font)
    {
        QTextLayout layout(text, font, p_.device());
        QTextOption option;
        option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        layout.setTextOption(option);
        layout.beginLayout();
        std::vector<QTextLine> lines;
        for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
            line.setLineWidth(kContentWidth);
            lines.push_back(line);
        }
        layout.endLayout();
        p_.setPen(Qt::black);
        for (QTextLine& line : lines) {
            if (!Room(line.height())) return;
            line.draw(&p_, QPointF(kMargin, y - line.y()));
            y += line.height();
        }
    }
    void Chart(QChart* owned)
    {
        QGraphicsScene scene;
        scene.addItem(owned);  // the scene deletes it
        owned->setGeometry(QRectF(0, 0, kContentWidth, kChartHeight));
        if (!Room(kChartHeight)) return;
        scene.render(&p_, QRectF(kMargin, y, kContentWidth, kChartHeight),
                     QRectF(0, 0, kContentWidth, kChartHeight));
        y += kChartHeight + 8;
    }
    void TableOf(const Table& table);

private:
    void footer()
    {
        p_.setFont(outputFont(8));
        p_.setPen(QColor(90, 90, 90));
        const QRectF line(kMargin, kPageHeight - kMargin - 10, kContentWidth, 12);
        p_.drawText(line, Qt::AlignLeft | Qt::AlignVCenter, QStringLiteral("生成时间：") + generatedAt());
        p_.drawText(line, Qt::AlignRight | Qt::AlignVCenter, QStringLiteral("第 %1 页").arg(pages_));
        p_.setPen(Qt::black);
    }
    void rowOf(const QStringList& texts, const std::vector<double>& widths, double height, bool header,
               const std::vector<bool>& right);

    QPainter& p_;
    std::function<bool()> newPage_;
    int pages_ = 1;
    bool failed_ = false;
};

void Pages::rowOf(const QStringList& texts, const std::vector<double>& widths, double height, bool header,
                  const std::vector<bool>& right)
{
    const QFont font = outputFont(widths.size() > 10 ? 7 : 8, header);
    const QFontMetricsF metrics(font);
    p_.setFont(font);
    if (header) p_.fillRect(QRectF(kMargin, y, kContentWidth, height), QColor(230, 230, 230));
    double x = kMargin;
    for (size_t c = 0; c < widths.size(); ++c) {
        const QRectF cell(x + 2, y, widths[c] - 4, height);
        const QString text = metrics.elidedText(texts.value(int(c)), Qt::ElideRight, cell.width());
        p_.drawText(cell, (right[c] && !header ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter, text);
        x += widths[c];
    }
    p_.setPen(QColor(200, 200, 200));
    p_.drawLine(QPointF(kMargin, y + height), QPointF(kMargin + kContentWidth, y + height));
    p_.setPen(Qt::black);
    y += height;
}

void Pages::TableOf(const Table& table)
{
    const int columns = int(table.headers.size());
    if (columns == 0) return;
    // The first column (the key) twice as wide as each figure column.
    const double unit = kContentWidth / (columns + 1);
    std::vector<double> widths(size_t(columns), unit);
    widths[0] = 2 * unit;
    std::vector<bool> right(size_t(columns), true);
    right[0] = false;
    for (int c = 0; c < columns && !table.rows.empty(); ++c) {
        const QVariant& v = table.rows.front()[c];
        right[size_t(c)] = v.typeId() != QMetaType::QString;
    }
    const double rowHeight = 13;
    if (!Room(22 + 2 * rowHeight)) return;
    y += 6;
    Line(table.name, outputFont(11, true), 16);
    rowOf(table.headers, widths, rowHeight, true, right);
    for (const QVariantList& row : table.rows) {
        if (y + rowHeight > kBottom) {
            if (!Room(2 * rowHeight)) return;
            rowOf(table.headers, widths, rowHeight, true, right);
        }
        QStringList texts;
        for (int c = 0; c < row.size(); ++c) texts << CellText(row[c], table.amounts[size_t(c)]);
        rowOf(texts, widths, rowHeight, false, right);
    }
}

int paint(const SalesFigures& figures, QPainter& painter, const std::function<bool()>& newPage)
{
    Pages pages(painter, newPage);
    pages.Line(QStringLiteral("销售报表"), outputFont(18, true), 28);
    pages.Line(QStringLiteral("日期：") + RangeText(figures), outputFont(10), 16);
    pages.Line(QStringLiteral("状态项：%1    价格项：%2")
                   .arg(figures.statusCaption,
                        figures.priceCaption.isEmpty() ? QStringLiteral("（未选）") : figures.priceCaption),
               outputFont(10), 16);
    pages.y += 4;
    pages.Wrapped(Summary(figures), outputFont(10));
    pages.y += 8;
    const QFont chartFont = outputFont(8);
    pages.Chart(StatusChart(figures, chartFont));
    pages.Chart(DailyChart(figures, chartFont));
    for (const Table& table : Tables(figures)) {
        if (table.rows.empty()) continue;
        pages.TableOf(table);
        if (pages.failed()) return 0;
    }
    if (pages.failed()) return 0;
    pages.Finish();
    return pages.count();
}

}  // namespace

bool SaveXlsx(const SalesFigures& figures, const QString& path, QString* error)
{
    cells::Workbook book(path);
    bool ok = book.Open() && book.AddSheet(QStringLiteral("说明"));
    const QList<QPair<QString, QString>> about = {{QStringLiteral("报表"), QStringLiteral("销售报表")},
                                                  {QStringLiteral("日期"), RangeText(figures)},
                                                  {QStringLiteral("状态项"), figures.statusCaption},
                                                  {QStringLiteral("价格项"), figures.priceCaption},
                                                  {QStringLiteral("概要"), Summary(figures)},
                                                  {QStringLiteral("生成时间"), generatedAt()}};
    for (int r = 0; ok && r < about.size(); ++r)
        ok = book.Text(r, 0, about[r].first) && book.Text(r, 1, about[r].second);
    for (const Table& table : Tables(figures)) {
        if (!ok) break;
        ok = writeTable(book, table);
    }
    ok = ok && book.Finish();
    if (!ok && error) *error = book.Error().isEmpty() ? QStringLiteral("无法写入文件 ") + path : book.Error();
    return ok;
}

int RenderReport(const SalesFigures& figures, QPagedPaintDevice* device)
{
    device->setPageLayout(
        QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait, QMarginsF(0, 0, 0, 0)));
    QPainter painter;
    if (!painter.begin(device)) return 0;
    // Laid out in points, whatever the device's resolution.
    painter.scale(device->logicalDpiX() / 72.0, device->logicalDpiY() / 72.0);
    painter.setRenderHint(QPainter::Antialiasing, true);
    const int pages = paint(figures, painter, [device] { return device->newPage(); });
    painter.end();
    return pages;
}

bool SavePdf(const SalesFigures& figures, const QString& path, QString* error)
{
    // Written aside and put in place when whole, as the workbook is.
    const QString part = path + QStringLiteral(".part");
    bool ok;
    {
        QPdfWriter writer(part);
        writer.setCreator(mdlHouse::kProgramTitle);
        writer.setTitle(QStringLiteral("销售报表 ") + RangeText(figures));
        writer.setResolution(300);
        ok = RenderReport(figures, &writer) > 0;
    }
    ok = ok && QFileInfo(part).size() > 0;
    if (ok) {
        QFile::remove(path);
        ok = QFile::rename(part, path);
    }
    if (!ok) {
        QFile::remove(part);
        if (error) *error = QStringLiteral("无法写入文件 ") + path;
    }
    return ok;
}

}  // namespace report
