#include "sales/SalesBoard.h"

#include <QFontMetrics>
#include <QHash>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <map>

#include "core/db/Connection.h"
#include "core/db/Convert.h"
#include "core/db/Recordset.h"
#include "sales/SalesSql.h"

namespace sales {

namespace {

bool isAsciiDigit(QChar c)
{
    return c.unicode() >= '0' && c.unicode() <= '9';
}

// A digit run without its leading zeros (one zero stays for "000").
QStringView significant(QStringView run)
{
    int zeros = 0;
    while (zeros < run.size() - 1 && run[zeros] == QLatin1Char('0')) ++zeros;
    return run.mid(zeros);
}

// FNV-1a over the UTF-8 bytes: the same value gives the same colour in every run and on every PC,
// which qHash (seeded per process) does not promise.
quint32 stableHash(const QString& text)
{
    quint32 h = 2166136261u;
    for (const char c : text.toUtf8()) {
        h ^= quint8(c);
        h *= 16777619u;
    }
    return h;
}

bool sameCaption(const QString& a, const QString& b)
{
    return !b.isEmpty() && a.compare(b, Qt::CaseInsensitive) == 0;
}

}  // namespace

int NaturalCompare(const QString& a, const QString& b)
{
    int i = 0;
    int j = 0;
    while (i < a.size() && j < b.size()) {
        const bool digitA = isAsciiDigit(a[i]);
        const bool digitB = isAsciiDigit(b[j]);
        if (digitA && digitB) {
            const int startA = i;
            const int startB = j;
            while (i < a.size() && isAsciiDigit(a[i])) ++i;
            while (j < b.size() && isAsciiDigit(b[j])) ++j;
            const QStringView runA = significant(QStringView(a).mid(startA, i - startA));
            const QStringView runB = significant(QStringView(b).mid(startB, j - startB));
            if (runA.size() != runB.size()) return runA.size() < runB.size() ? -1 : 1;
            const int c = runA.compare(runB);
            if (c != 0) return c < 0 ? -1 : 1;
        } else if (digitA != digitB) {
            return digitA ? -1 : 1;  // a number before a letter at the same place
        } else {
            const QChar ca = a[i].toCaseFolded();
            const QChar cb = b[j].toCaseFolded();
            if (ca != cb) return ca < cb ? -1 : 1;
            ++i;
            ++j;
        }
    }
    if ((a.size() - i) != (b.size() - j)) return (a.size() - i) < (b.size() - j) ? -1 : 1;
    // Equal as people read them ("07" and "7", "a" and "A"): any fixed order will do.
    const int c = a.compare(b);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

namespace {

bool builtInStatus(const QString& v)
{
    static const QStringList known = {QString(),
                                      QStringLiteral("在售"),
                                      QStringLiteral("可售"),
                                      QStringLiteral("已预订"),
                                      QStringLiteral("预留"),
                                      QStringLiteral("保留"),
                                      QStringLiteral("已售")};
    return known.contains(v);
}

// The colour of slot i of n for the values outside the built-in ones: hues spread evenly from cyan
// through blue and violet to pink, away from green, amber, red and grey so that no other value
// looks like one of those; neighbouring slots also differ in lightness, so that even twelve values
// stay apart. Light enough for the dark cell text on top.
QColor slotColour(int i, int n)
{
    const double hue = 175.0 + 165.0 * double(i) / double(n);
    const double lightness = i % 2 == 0 ? 0.72 : 0.62;
    // Rounded to 8 bits a channel, as it is painted.
    const QColor c = QColor::fromHslF(float(std::fmod(hue, 360.0) / 360.0), 0.60f, float(lightness)).toRgb();
    return QColor(c.red(), c.green(), c.blue());
}

constexpr int kMinimumSlots = 7;

}  // namespace

QColor StatusColour(const QString& value)
{
    const QString v = value.trimmed();
    if (v.isEmpty()) return QColor(200, 200, 200);
    if (v == QStringLiteral("在售") || v == QStringLiteral("可售")) return QColor(118, 196, 118);
    if (v == QStringLiteral("已预订") || v == QStringLiteral("预留") || v == QStringLiteral("保留"))
        return QColor(244, 186, 66);
    if (v == QStringLiteral("已售")) return QColor(226, 96, 96);
    return slotColour(int(stableHash(v) % kMinimumSlots), kMinimumSlots);
}

QHash<QString, QColor> StatusColours(const QStringList& values)
{
    // Each value wants the slot its hash names; a value whose slot is taken takes the next free
    // one. The values are placed in a fixed order (by hash, then text), so the same set of values
    // gets the same colours on every PC, and a value alone keeps its StatusColour.
    QStringList custom;
    for (const QString& value : values) {
        const QString v = value.trimmed();
        if (!builtInStatus(v) && !custom.contains(v)) custom << v;
    }
    std::sort(custom.begin(), custom.end(), [](const QString& a, const QString& b) {
        const quint32 ha = stableHash(a);
        const quint32 hb = stableHash(b);
        return ha != hb ? ha < hb : a < b;
    });
    const int slotCount = std::max(kMinimumSlots, int(custom.size()));
    std::vector<bool> taken(size_t(slotCount), false);
    QHash<QString, QColor> colours;
    for (const QString& v : custom) {
        int slot = int(stableHash(v) % quint32(slotCount));
        while (taken[size_t(slot)]) slot = (slot + 1) % slotCount;
        taken[size_t(slot)] = true;
        colours.insert(v, slotColour(slot, slotCount));
    }
    return colours;
}

QColor Board::Colour(const QString& value) const
{
    return colours_.value(value.trimmed(), StatusColour(value));
}

void Board::AssignColours()
{
    QStringList values;
    for (const Unit& u : units) values << u.status;
    colours_ = StatusColours(values);
}

QString StatusLabel(const QString& value)
{
    return value.trimmed().isEmpty() ? QStringLiteral("（无）") : value;
}

bool Board::Load(db::Connection& connection, const QString& buildingName, const QString& status,
                 const QString& price)
{
    building = buildingName;
    statusCaption = status;
    priceCaption = price;
    units.clear();
    rows.clear();
    columns_ = 0;
    QHash<qint32, int> indexOf;
    db::Recordset rs;
    bool ok = connection.Execute(BuildingHousesSql(buildingName), rs);
    while (ok && !rs.Eof()) {
        Unit u;
        u.houseId = rs.Field(0).toInt();
        u.houseNo = rs.Field(1).toString();
        qint32 floor = 0;
        const QVariant floorValue = rs.Field(2);
        u.hasFloor = !floorValue.isNull() && db::ToLong(floorValue, &floor);
        u.floor = floor;
        u.type = rs.Field(3).toString();
        indexOf.insert(u.houseId, int(units.size()));
        units.push_back(u);
        rs.MoveNext();
    }
    rs.Close();
    if (ok && !units.empty() && (!status.isEmpty() || !price.isEmpty())) {
        ok = connection.Execute(BuildingValuesSql(buildingName, status, price), rs);
        // Rows come in each house's own order: the first row of a caption is the one shown.
        while (ok && !rs.Eof()) {
            const auto it = indexOf.constFind(rs.Field(0).toInt());
            if (it != indexOf.constEnd()) {
                Unit& u = units[size_t(*it)];
                const QString caption = rs.Field(2).toString();
                if (sameCaption(caption, status) && u.statusRowId == 0) {
                    u.statusRowId = rs.Field(1).toLongLong();
                    u.status = rs.Field(3).toString();
                }
                if (sameCaption(caption, price) && u.price.isNull()) u.price = rs.Field(3).toString();
            }
            rs.MoveNext();
        }
        rs.Close();
    }
    if (!ok) units.clear();
    Arrange();
    return ok;
}

void Board::Arrange()
{
    rows.clear();
    std::map<int, std::vector<int>, std::greater<int>> byFloor;
    std::vector<int> unknown;
    for (int i = 0; i < int(units.size()); ++i) {
        if (units[size_t(i)].hasFloor)
            byFloor[units[size_t(i)].floor].push_back(i);
        else
            unknown.push_back(i);
    }
    auto byRoom = [this](int x, int y) {
        const int c = NaturalCompare(units[size_t(x)].houseNo, units[size_t(y)].houseNo);
        return c != 0 ? c < 0 : units[size_t(x)].houseId < units[size_t(y)].houseId;
    };
    for (auto& [floor, list] : byFloor) {
        std::sort(list.begin(), list.end(), byRoom);
        rows.push_back({QStringLiteral("%1层").arg(floor), std::move(list)});
    }
    if (!unknown.empty()) {
        std::sort(unknown.begin(), unknown.end(), byRoom);
        rows.push_back({kUnknownFloor, std::move(unknown)});
    }
    rowOfUnit_.assign(units.size(), -1);
    columnOfUnit_.assign(units.size(), -1);
    columns_ = 0;
    for (int r = 0; r < int(rows.size()); ++r) {
        const std::vector<int>& list = rows[size_t(r)].units;
        columns_ = std::max(columns_, int(list.size()));
        for (int c = 0; c < int(list.size()); ++c) {
            rowOfUnit_[size_t(list[size_t(c)])] = r;
            columnOfUnit_[size_t(list[size_t(c)])] = c;
        }
    }
    AssignColours();
}

int Board::IndexOf(qint32 houseId) const
{
    for (int i = 0; i < int(units.size()); ++i)
        if (units[size_t(i)].houseId == houseId) return i;
    return -1;
}

std::vector<LegendEntry> Board::Legend() const
{
    QHash<QString, int> counts;
    for (const Unit& u : units) ++counts[u.status.trimmed().isEmpty() ? QString() : u.status];
    std::vector<LegendEntry> legend;
    for (auto it = counts.constBegin(); it != counts.constEnd(); ++it) {
        LegendEntry e;
        e.value = it.key();
        e.count = it.value();
        e.share = units.empty() ? 0 : 100.0 * e.count / double(units.size());
        e.colour = Colour(e.value);
        legend.push_back(e);
    }
    std::sort(legend.begin(), legend.end(), [](const LegendEntry& a, const LegendEntry& b) {
        if (a.value.isEmpty() != b.value.isEmpty()) return b.value.isEmpty();  // no status last
        if (a.count != b.count) return a.count > b.count;
        return NaturalCompare(a.value, b.value) < 0;
    });
    return legend;
}

QSize Board::Size() const
{
    return QSize(kLabelWidth + kGap + columns_ * (kCellWidth + kGap),
                 kGap + int(rows.size()) * (kCellHeight + kGap));
}

QRect Board::CellRect(int row, int column) const
{
    return QRect(kLabelWidth + kGap + column * (kCellWidth + kGap), kGap + row * (kCellHeight + kGap),
                 kCellWidth, kCellHeight);
}

QRect Board::UnitRect(qint32 houseId) const
{
    const int i = IndexOf(houseId);
    if (i < 0 || size_t(i) >= rowOfUnit_.size()) return QRect();
    return CellRect(rowOfUnit_[size_t(i)], columnOfUnit_[size_t(i)]);
}

int Board::UnitAt(const QPoint& point) const
{
    if (point.x() < kLabelWidth + kGap || point.y() < kGap) return -1;
    const int row = (point.y() - kGap) / (kCellHeight + kGap);
    const int column = (point.x() - kLabelWidth - kGap) / (kCellWidth + kGap);
    if (row >= int(rows.size()) || column >= int(rows[size_t(row)].units.size())) return -1;
    if (!CellRect(row, column).contains(point)) return -1;  // in a gap
    return rows[size_t(row)].units[size_t(column)];
}

void Board::PaintLabels(QPainter& painter, const QRect& exposed) const
{
    const QFont saved = painter.font();
    QFont bold = saved;
    bold.setPixelSize(12);
    bold.setBold(true);
    painter.setFont(bold);
    const int firstRow = std::max(0, (exposed.top() - kGap) / (kCellHeight + kGap));
    const int lastRow = std::min(int(rows.size()) - 1, (exposed.bottom() - kGap) / (kCellHeight + kGap));
    painter.fillRect(QRect(0, exposed.top(), kLabelWidth + kGap, exposed.height()), Qt::white);
    for (int r = firstRow; r <= lastRow; ++r) {
        const QRect labelRect(0, kGap + r * (kCellHeight + kGap), kLabelWidth, kCellHeight);
        painter.fillRect(labelRect, QColor(236, 239, 243));
        painter.setPen(QColor(40, 40, 40));
        painter.drawText(labelRect, Qt::AlignCenter, rows[size_t(r)].label);
    }
    painter.setFont(saved);
}

void Board::Paint(QPainter& painter, const QRect& exposed, qint32 highlightedHouse, bool labels) const
{
    if (labels) PaintLabels(painter, exposed);
    // Pixel sizes, so that the printout (painted with a scale to the printer's resolution) looks
    // like the screen.
    const QFont saved = painter.font();
    QFont base = saved;
    base.setPixelSize(12);
    QFont bold = base;
    bold.setBold(true);
    const QFontMetrics plainMetrics(base);
    const QFontMetrics boldMetrics(bold);
    const int lineHeight = std::max(plainMetrics.height(), boldMetrics.height());
    const int firstRow = std::max(0, (exposed.top() - kGap) / (kCellHeight + kGap));
    const int lastRow = std::min(int(rows.size()) - 1, (exposed.bottom() - kGap) / (kCellHeight + kGap));
    const int firstColumn = std::max(0, (exposed.left() - kLabelWidth - kGap) / (kCellWidth + kGap));
    const int lastColumn = (exposed.right() - kLabelWidth - kGap) / (kCellWidth + kGap);

    painter.setRenderHint(QPainter::Antialiasing, true);
    for (int r = firstRow; r <= lastRow; ++r) {
        const FloorRow& row = rows[size_t(r)];
        const int end = std::min(lastColumn, int(row.units.size()) - 1);
        for (int c = firstColumn; c <= end; ++c) {
            const Unit& u = units[size_t(row.units[size_t(c)])];
            const QRect cell = CellRect(r, c);
            const QColor fill = Colour(u.status);
            const bool highlighted = u.houseId == highlightedHouse;
            painter.setPen(QPen(highlighted ? QColor(20, 20, 20) : fill.darker(140), highlighted ? 3 : 1));
            painter.setBrush(fill);
            painter.drawRoundedRect(QRectF(cell).adjusted(0.5, 0.5, -0.5, -0.5), 4, 4);

            const QRect text = cell.adjusted(4, 2, -4, -2);
            // A held unit shows who holds it and for how long in place of its type.
            QStringList lines = {u.houseNo, u.dealNote.isEmpty() ? u.type : u.dealNote};
            if (!u.price.isEmpty()) lines << u.price;
            const int top = text.top() + std::max(0, (text.height() - lineHeight * int(lines.size())) / 2);
            painter.setPen(QColor(20, 20, 20));
            for (int i = 0; i < lines.size(); ++i) {
                const QFontMetrics& m = i == 0 ? boldMetrics : plainMetrics;
                painter.setFont(i == 0 ? bold : base);
                const QRect line(text.left(), top + i * lineHeight, text.width(), lineHeight);
                painter.drawText(line, Qt::AlignHCenter | Qt::AlignVCenter,
                                 m.elidedText(lines[i], Qt::ElideRight, text.width()));
            }
        }
    }
    painter.setFont(saved);
}

}  // namespace sales
