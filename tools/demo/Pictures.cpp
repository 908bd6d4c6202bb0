// The demo's pictures, drawn rather than shipped: a floor plan per house type and a coloured
// view of the building with the house's window marked. The room number is on both, so a
// picture shown in the presentation is easy to tell apart from its neighbours.
#include <QFont>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QRectF>

#include "DemoData.h"

namespace demo {

namespace {

constexpr int kWidth = 800;
constexpr int kHeight = 600;

struct Room {
    QRectF cell;  // in a 12 x 8 grid
    const char* name;
    QRgb colour;
};

const std::vector<Room>& RoomsOf(int type)
{
    static const std::vector<Room> one = {
        {{0, 0, 7, 5}, "客厅", 0xfff3e3c3}, {{7, 0, 5, 5}, "卧室", 0xffd6e6f2},
        {{0, 5, 4, 3}, "厨房", 0xffe4efd8}, {{4, 5, 3, 3}, "卫生间", 0xffdcdcec},
        {{7, 5, 5, 3}, "阳台", 0xfff6f0d8},
    };
    static const std::vector<Room> two = {
        {{0, 0, 6, 5}, "客厅", 0xfff3e3c3},   {{6, 0, 6, 4}, "主卧", 0xffd6e6f2},
        {{6, 4, 6, 4}, "次卧", 0xffd9ecec},   {{0, 5, 3, 3}, "厨房", 0xffe4efd8},
        {{3, 5, 3, 3}, "卫生间", 0xffdcdcec},
    };
    static const std::vector<Room> three = {
        {{0, 0, 5, 4}, "客厅", 0xfff3e3c3}, {{0, 4, 5, 2}, "餐厅", 0xfff7e8d0},
        {{5, 0, 4, 4}, "主卧", 0xffd6e6f2}, {{9, 0, 3, 4}, "书房", 0xffeadff0},
        {{5, 4, 4, 4}, "次卧", 0xffd9ecec}, {{9, 4, 3, 4}, "卫生间", 0xffdcdcec},
        {{0, 6, 5, 2}, "厨房", 0xffe4efd8},
    };
    return type == 0 ? one : (type == 1 ? two : three);
}

QFont ChineseFont(int pixelSize, bool bold = false)
{
    QFont font(QStringLiteral("Noto Sans CJK SC"));
    font.setPixelSize(pixelSize);
    font.setBold(bold);
    return font;
}

}  // namespace

bool DrawFloorPlan(const HouseData& house, const QString& path)
{
    const TypeData& type = Types()[size_t(house.type)];
    QImage image(kWidth, kHeight, QImage::Format_RGB32);
    image.fill(QColor(0xfa, 0xfa, 0xf6));
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);

    p.setPen(QColor(0x33, 0x33, 0x33));
    p.setFont(ChineseFont(26, true));
    p.drawText(QRectF(0, 14, kWidth, 40), Qt::AlignCenter,
               QStringLiteral("%1 %2室 户型图").arg(house.building, house.roomNo));
    p.setFont(ChineseFont(18));
    p.drawText(QRectF(0, 52, kWidth, 30), Qt::AlignCenter,
               QStringLiteral("%1 · 建筑面积%2平方米 · %3朝向")
                   .arg(type.name)
                   .arg(type.area)
                   .arg(house.orientation));

    const QRectF plan(70, 100, 660, 440);
    const double cw = plan.width() / 12.0;
    const double ch = plan.height() / 8.0;
    // Even room numbers get the mirrored plan, as the two flats on either side of a stair do.
    const bool mirrored = house.roomNo.toInt() % 2 == 0;
    for (const Room& room : RoomsOf(house.type)) {
        QRectF cell = room.cell;
        if (mirrored) cell.moveLeft(12 - cell.right());
        const QRectF r(plan.left() + cell.left() * cw, plan.top() + cell.top() * ch, cell.width() * cw,
                       cell.height() * ch);
        p.fillRect(r, QColor::fromRgb(room.colour));
        p.setPen(QPen(QColor(0x44, 0x44, 0x44), 4));
        p.drawRect(r);
        p.setPen(QColor(0x22, 0x22, 0x22));
        p.setFont(ChineseFont(22));
        p.drawText(r, Qt::AlignCenter, QString::fromUtf8(room.name));
    }
    p.setPen(QPen(QColor(0x22, 0x22, 0x22), 8));
    p.setBrush(Qt::NoBrush);
    p.drawRect(plan);
    // The entrance: a gap in the outer wall with a door swing.
    const double doorX = mirrored ? plan.right() - 2.2 * cw : plan.left() + 1.2 * cw;
    p.setPen(QPen(QColor(0xfa, 0xfa, 0xf6), 10));
    p.drawLine(QPointF(doorX, plan.bottom()), QPointF(doorX + cw, plan.bottom()));
    p.setPen(QPen(QColor(0x88, 0x55, 0x22), 2));
    p.drawArc(QRectF(doorX - cw, plan.bottom() - cw, 2 * cw, 2 * cw), 0, 90 * 16);
    p.setFont(ChineseFont(16));
    p.setPen(QColor(0x88, 0x55, 0x22));
    p.drawText(QRectF(doorX - 20, plan.bottom() + 8, cw + 40, 24), Qt::AlignCenter, QStringLiteral("入户门"));
    // North arrow.
    p.setPen(QPen(QColor(0x33, 0x33, 0x33), 2));
    p.drawLine(QPointF(750, 150), QPointF(750, 110));
    p.drawLine(QPointF(750, 110), QPointF(742, 124));
    p.drawLine(QPointF(750, 110), QPointF(758, 124));
    p.setFont(ChineseFont(16, true));
    p.drawText(QRectF(735, 152, 30, 22), Qt::AlignCenter, QStringLiteral("北"));
    p.end();
    return image.save(path, "PNG");
}

bool DrawView(const HouseData& house, const QString& path)
{
    QImage image(kWidth, kHeight, QImage::Format_RGB32);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);

    QLinearGradient sky(0, 0, 0, kHeight);
    sky.setColorAt(0, QColor(0x7e, 0xb6, 0xe8));
    sky.setColorAt(1, QColor(0xd8, 0xec, 0xf8));
    p.fillRect(image.rect(), sky);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0x9c, 0xc9, 0x7a));
    p.drawRect(QRectF(0, 500, kWidth, 100));
    p.setBrush(QColor(0x6f, 0xa8, 0xc8));  // the lake in front of the buildings
    p.drawEllipse(QRectF(480, 520, 360, 70));

    // The building: twelve floors at most, six flats a floor; the house's window is lit.
    const int floors = 12;
    const int perFloor = 6;
    const QRectF tower(200, 60, 400, 440);
    const bool westBuilding = house.building.endsWith(QStringLiteral("二号楼"));
    p.setBrush(westBuilding ? QColor(0xe8, 0xd9, 0xc4) : QColor(0xdf, 0xe3, 0xea));
    p.setPen(QPen(QColor(0x66, 0x66, 0x66), 2));
    p.drawRect(tower);
    const double fh = tower.height() / floors;
    const double fw = tower.width() / perFloor;
    const int unit = (house.roomNo.toInt() % 100 - 1 + perFloor) % perFloor;
    QRectF marked;
    for (int f = 0; f < floors; ++f) {
        for (int u = 0; u < perFloor; ++u) {
            const QRectF w(tower.left() + u * fw + 10, tower.bottom() - (f + 1) * fh + 7, fw - 20, fh - 14);
            const bool mine = f + 1 == house.floor && u == unit;
            p.setPen(QPen(QColor(0x55, 0x55, 0x55), 1));
            p.setBrush(mine ? QColor(0xff, 0x9a, 0x2e) : QColor(0x9d, 0xbf, 0xd9));
            p.drawRect(w);
            if (mine) marked = w;
        }
    }
    p.setFont(ChineseFont(28, true));
    p.setPen(QColor(0x1e, 0x3a, 0x5a));
    p.drawText(QRectF(0, 12, kWidth, 44), Qt::AlignCenter, house.building);
    if (!marked.isNull()) {
        const QPointF tip(marked.right(), marked.center().y());
        const QRectF label(650, tip.y() - 26, 130, 52);
        p.setPen(QPen(QColor(0xc0, 0x4a, 0x00), 3));
        p.drawLine(tip, QPointF(label.left(), label.center().y()));
        p.setBrush(QColor(0xff, 0xf4, 0xe0));
        p.drawRoundedRect(label, 8, 8);
        p.setFont(ChineseFont(26, true));
        p.drawText(label, Qt::AlignCenter, QStringLiteral("%1室").arg(house.roomNo));
    }
    p.end();
    return image.save(path, "PNG");
}

}  // namespace demo
