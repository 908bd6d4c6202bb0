#include "sales/HouseSheet.h"

#include <QDate>
#include <QFileInfo>
#include <QImageReader>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QPrinter>
#include <QTextLayout>

#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "core/db/ServerFiles.h"
#include "core/mdlHouse.h"
#include "core/ui/FileDialog.h"
#include "core/ui/MsgBox.h"
#include "core/ui/PrintDialog.h"
#include "sales/SalesSql.h"

namespace sales {

namespace {

// A4 in points, and the sheet's margins.
constexpr double kPageWidth = 595.0;
constexpr double kPageHeight = 842.0;
constexpr double kMargin = 48.0;
constexpr double kFooter = 28.0;
constexpr double kContentWidth = kPageWidth - 2 * kMargin;
constexpr double kBottom = kPageHeight - kMargin - kFooter;
constexpr double kPictureHeight = 150.0;
constexpr double kPictureTitle = 20.0;
constexpr double kPictureGap = 12.0;

// The sheet's font: a CJK family that the PDF writer embeds, in point sizes given as pixels of the
// point-based coordinate system the sheet is painted in.
QFont sheetFont(int size, bool bold = false)
{
    // AR PL UMing: its character map has no CJK radicals sharing the glyphs of the ideographs,
    // so the text copied out of the PDF is the text written (with Noto CJK "一" comes back as
    // the radical "⼀").
    QFont f;
    f.setFamilies({QStringLiteral("AR PL UMing CN"), QStringLiteral("Noto Sans CJK SC")});
    f.setPixelSize(size);
    f.setBold(bold);
    return f;
}

QString today()
{
    return QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd"));
}

// Paints wrapped text from y downwards, starting a new page where the lines run out of room.
// Returns the y below the last line, or a negative value when a new page could not be started.
double paintWrapped(QPainter& painter, const QString& text, const QFont& font, double left, double width,
                    double y, const std::function<bool()>& newPage)
{
    QTextLayout layout(text, font, painter.device());
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    std::vector<QTextLine> lines;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        lines.push_back(line);
    }
    layout.endLayout();
    painter.setFont(font);
    for (QTextLine& line : lines) {
        if (y + line.height() > kBottom) {
            if (!newPage()) return -1;
            y = kMargin;
        }
        line.draw(&painter, QPointF(left, y - line.y()));
        y += line.height();
    }
    return y;
}

}  // namespace

bool HouseSheet::Load(qint32 houseId)
{
    data_ = SheetData();
    db::Connection connection;
    mdlHouse::OpenDatabase(connection);
    db::Recordset rs;
    if (!connection.Execute(SheetHouseSql(houseId), rs) || rs.Eof()) return false;
    data_.houseId = houseId;
    data_.building = rs.Field(QStringLiteral("HouseName")).toString();
    data_.houseNo = rs.Field(QStringLiteral("HouseNo")).toString();
    data_.intro = rs.Field(QStringLiteral("Intro")).toString();
    data_.floor = rs.Field(QStringLiteral("HouseFloor")).toString();
    data_.type = rs.Field(QStringLiteral("HouseType")).toString();
    rs.Close();
    if (connection.Execute(SheetRowsSql(houseId), rs)) {
        for (; !rs.Eof(); rs.MoveNext())
            data_.rows.emplace_back(rs.Field(0).toString(), rs.Field(1).toString());
        rs.Close();
    }
    if (connection.Execute(SheetPicturesSql(houseId), rs)) {
        for (; !rs.Eof() && int(data_.pictures.size()) < kMaxPictures; rs.MoveNext()) {
            const QString file = mdlHouse::ProgramPath(QStringLiteral("/Images/")) + rs.Field(2).toString();
            // A shared catalogue's picture that this PC has not shown yet comes from the server.
            db::FillMediaCache(mdlHouse::ProgramFolder(), file);
            data_.pictures.push_back({rs.Field(0).toString(), file});
        }
        rs.Close();
    }
    connection.Close();
    return true;
}

namespace {
// One picture fitted into its box without changing its shape (a dashed box when the file cannot
// be read), with its title under it.
void paintPicture(QPainter& painter, const SheetPicture& picture, const QRectF& box)
{
    QImageReader reader(picture.file);
    reader.setAutoTransform(true);
    const QImage image = reader.read();
    if (image.isNull()) {
        painter.setPen(QPen(QColor(160, 160, 160), 1, Qt::DashLine));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(box);
        painter.setFont(sheetFont(10));
        painter.drawText(box, Qt::AlignCenter, QStringLiteral("（图片文件缺失）"));
    } else {
        QSizeF fitted = QSizeF(image.size()).scaled(box.size(), Qt::KeepAspectRatio);
        const QRectF target(box.center().x() - fitted.width() / 2, box.center().y() - fitted.height() / 2,
                            fitted.width(), fitted.height());
        painter.drawImage(target, image);
    }
    painter.setPen(Qt::black);
    painter.setFont(sheetFont(10));
    painter.drawText(QRectF(box.left(), box.bottom() + 2, box.width(), kPictureTitle - 2), Qt::AlignCenter,
                     QFontMetrics(sheetFont(10)).elidedText(picture.title, Qt::ElideRight, int(box.width())));
}
}  // namespace

int HouseSheet::paint(QPainter& painter, const std::function<bool()>& newPage) const
{
    int pages = 1;
    auto footer = [&] {
        painter.setFont(sheetFont(9));
        painter.setPen(QColor(90, 90, 90));
        const QRectF line(kMargin, kPageHeight - kMargin - 12, kContentWidth, 14);
        painter.drawText(line, Qt::AlignLeft | Qt::AlignVCenter, QStringLiteral("打印日期：") + today());
        painter.drawText(line, Qt::AlignRight | Qt::AlignVCenter, QStringLiteral("第 %1 页").arg(pages));
        painter.setPen(Qt::black);
    };
    const std::function<bool()> nextPage = [&] {
        footer();
        if (!newPage()) return false;
        ++pages;
        return true;
    };

    double y = paintHeading(painter);
    y = paintRows(painter, y, nextPage);
    if (y >= 0) y = paintIntro(painter, y, nextPage);
    if (y >= 0) y = paintPictures(painter, y, nextPage);
    if (y < 0) return 0;
    footer();
    return pages;
}

double HouseSheet::paintHeading(QPainter& painter) const
{
    double y = kMargin;
    painter.setPen(Qt::black);
    painter.setFont(sheetFont(20, true));
    painter.drawText(QRectF(kMargin, y, kContentWidth, 30), Qt::AlignLeft | Qt::AlignVCenter,
                     data_.building + QStringLiteral("  ") + data_.houseNo);
    y += 34;
    painter.setPen(QPen(QColor(60, 60, 60), 1));
    painter.drawLine(QPointF(kMargin, y), QPointF(kMargin + kContentWidth, y));
    y += 10;

    // The facts, two to a line.
    const std::pair<QString, QString> facts[] = {{QStringLiteral("楼宇名称"), data_.building},
                                                 {QStringLiteral("房间号"), data_.houseNo},
                                                 {QStringLiteral("楼层"), data_.floor},
                                                 {QStringLiteral("房型"), data_.type}};
    painter.setPen(Qt::black);
    for (int i = 0; i < 4; ++i) {
        const double x = kMargin + (i % 2) * kContentWidth / 2;
        const QRectF cell(x, y + (i / 2) * 20, kContentWidth / 2, 20);
        painter.setFont(sheetFont(11, true));
        painter.drawText(cell, Qt::AlignLeft | Qt::AlignVCenter, facts[i].first + QStringLiteral("："));
        painter.setFont(sheetFont(11));
        painter.drawText(cell.adjusted(70, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter,
                         QFontMetrics(sheetFont(11))
                             .elidedText(facts[i].second, Qt::ElideRight, int(kContentWidth / 2 - 76)));
    }
    return y + 48;
}

double HouseSheet::paintRows(QPainter& painter, double y, const std::function<bool()>& nextPage) const
{
    // Every attribute row in its order: the caption in a column, the value wrapped beside it.
    constexpr double captionWidth = 110;
    for (const auto& [caption, value] : data_.rows) {
        if (y + 18 > kBottom) {
            if (!nextPage()) return -1;
            y = kMargin;
        }
        painter.setFont(sheetFont(11, true));
        painter.drawText(
            QRectF(kMargin, y, captionWidth - 6, 18), Qt::AlignLeft | Qt::AlignTop,
            QFontMetrics(sheetFont(11, true)).elidedText(caption, Qt::ElideRight, int(captionWidth - 8)));
        y = paintWrapped(painter, value.isEmpty() ? QStringLiteral(" ") : value, sheetFont(11),
                         kMargin + captionWidth, kContentWidth - captionWidth, y, nextPage);
        if (y < 0) return -1;
        y += 3;
    }
    return y;
}

double HouseSheet::paintIntro(QPainter& painter, double y, const std::function<bool()>& nextPage) const
{
    if (data_.intro.isEmpty()) return y;
    y += 8;
    if (y + 40 > kBottom) {
        if (!nextPage()) return -1;
        y = kMargin;
    }
    painter.setFont(sheetFont(12, true));
    painter.drawText(QRectF(kMargin, y, kContentWidth, 20), Qt::AlignLeft | Qt::AlignVCenter,
                     QStringLiteral("说明"));
    y += 22;
    return paintWrapped(painter, data_.intro, sheetFont(11), kMargin, kContentWidth, y, nextPage);
}

double HouseSheet::paintPictures(QPainter& painter, double y, const std::function<bool()>& nextPage) const
{
    // Up to four pictures, two to a line.
    const double boxWidth = (kContentWidth - kPictureGap) / 2;
    for (int i = 0; i < int(data_.pictures.size()); ++i) {
        if (i % 2 == 0) {
            y += kPictureGap;
            if (y + kPictureHeight + kPictureTitle > kBottom) {
                if (!nextPage()) return -1;
                y = kMargin;
            }
        }
        const QRectF box(kMargin + (i % 2) * (boxWidth + kPictureGap), y, boxWidth, kPictureHeight);
        paintPicture(painter, data_.pictures[size_t(i)], box);
        if (i % 2 == 1 || i + 1 == int(data_.pictures.size())) y += kPictureHeight + kPictureTitle;
    }
    return y;
}

int HouseSheet::Render(QPagedPaintDevice* device) const
{
    device->setPageSize(QPageSize(QPageSize::A4));
    device->setPageMargins(QMarginsF(0, 0, 0, 0));
    QPainter painter;
    if (!painter.begin(device)) return 0;
    // The sheet is laid out in points; the device may have any resolution.
    painter.scale(device->logicalDpiX() / 72.0, device->logicalDpiY() / 72.0);
    painter.setRenderHint(QPainter::SmoothPixmapTransform, true);
    const int pages = paint(painter, [device] { return device->newPage(); });
    painter.end();
    return pages;
}

bool HouseSheet::SavePdf(const QString& path) const
{
    QPdfWriter writer(path);
    writer.setCreator(mdlHouse::kProgramTitle);
    writer.setTitle(data_.building + QLatin1Char(' ') + data_.houseNo);
    writer.setResolution(300);
    if (Render(&writer) == 0) return false;
    return QFileInfo(path).isFile() && QFileInfo(path).size() > 0;
}

std::vector<QImage> HouseSheet::Pages(int dpi) const
{
    std::vector<QImage> pages;
    const QSize size(qRound(kPageWidth / 72.0 * dpi), qRound(kPageHeight / 72.0 * dpi));
    auto blank = [&] {
        QImage page(size, QImage::Format_RGB32);
        page.fill(Qt::white);
        return page;
    };
    pages.push_back(blank());
    QPainter painter(&pages.back());
    auto start = [&] {
        painter.setRenderHint(QPainter::Antialiasing, true);
        painter.setRenderHint(QPainter::SmoothPixmapTransform, true);
        painter.scale(dpi / 72.0, dpi / 72.0);
    };
    start();
    paint(painter, [&] {
        painter.end();
        pages.push_back(blank());
        painter.begin(&pages.back());
        start();
        return true;
    });
    painter.end();
    return pages;
}

void SaveHouseSheet(QWidget* parent, qint32 houseId)
{
    HouseSheet sheet;
    if (!sheet.Load(houseId)) {
        ui::MsgBox(QStringLiteral("找不到这个房源，无法生成房源单页。"));
        return;
    }
    QString path = ui::GetSaveFileName(parent, QStringLiteral("PDF 文件(*.pdf)|*.pdf"),
                                       sheet.Data().building + sheet.Data().houseNo + QStringLiteral(".pdf"));
    if (path.isEmpty()) return;
    if (!path.endsWith(QStringLiteral(".pdf"), Qt::CaseInsensitive)) path += QStringLiteral(".pdf");
    if (!sheet.SavePdf(path)) ui::MsgBox(QStringLiteral("无法写入文件：") + path);
}

void PrintHouseSheet(QWidget* parent, qint32 houseId)
{
    HouseSheet sheet;
    if (!sheet.Load(houseId)) {
        ui::MsgBox(QStringLiteral("找不到这个房源，无法生成房源单页。"));
        return;
    }
    QPrinter printer(QPrinter::HighResolution);
    printer.setFullPage(true);
    printer.setPageSize(QPageSize(QPageSize::A4));
    printer.setDocName(sheet.Data().building + QLatin1Char(' ') + sheet.Data().houseNo);
    if (!ui::ExecPrintDialog(printer, parent)) return;
    if (sheet.Render(&printer) == 0) ui::MsgBox(QStringLiteral("打印失败。"));
}

}  // namespace sales
