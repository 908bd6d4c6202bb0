// The sales board's colours for status values outside the built-in ones: within one building no
// two values share a colour, however many there are, none looks like a built-in status, the same
// set of values gets the same colours in any order (so on every PC), and the legend shows the
// colours the cells are painted with.
#include <QImage>
#include <QPainter>
#include <QTest>
#include <algorithm>
#include <random>

#include "sales/SalesBoard.h"

namespace {

const QStringList kTwelve = {QStringLiteral("样板间"), QStringLiteral("特价"),   QStringLiteral("内部认购"),
                             QStringLiteral("待定"),   QStringLiteral("抵押"),   QStringLiteral("售罄待结"),
                             QStringLiteral("回迁"),   QStringLiteral("团购"),   QStringLiteral("员工房"),
                             QStringLiteral("封存"),   QStringLiteral("待装修"), QStringLiteral("限售")};

sales::Board boardWith(const QStringList& statuses)
{
    sales::Board board;
    board.building = QStringLiteral("翠湖苑一号楼");
    qint32 id = 0;
    for (const QString& status : statuses) {
        for (int copy = 0; copy < 2; ++copy) {
            sales::Unit u;
            u.houseId = ++id;
            u.houseNo = QString::number(100 + id);
            u.type = QStringLiteral("两室一厅");
            u.hasFloor = true;
            u.floor = 1 + id % 5;
            u.status = status;
            board.units.push_back(u);
        }
    }
    board.Arrange();
    return board;
}

// The colour at the middle of a unit's cell, painted as the window paints it.
QColor paintedAt(const sales::Board& board, qint32 houseId)
{
    QImage image(board.Size(), QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    board.Paint(painter, QRect(QPoint(0, 0), board.Size()));
    painter.end();
    const QRect cell = board.UnitRect(houseId);
    return image.pixelColor(cell.left() + 6, cell.bottom() - 4);
}

}  // namespace

class tst_status_colours : public QObject {
    Q_OBJECT
private slots:
    void distinctForTwoFiveAndTwelveValues_data()
    {
        QTest::addColumn<int>("count");
        QTest::newRow("2") << 2;
        QTest::newRow("5") << 5;
        QTest::newRow("12") << 12;
    }

    void distinctForTwoFiveAndTwelveValues()
    {
        QFETCH(int, count);
        const QStringList values = kTwelve.mid(0, count);
        QStringList shown = values;
        shown << QStringLiteral("在售") << QStringLiteral("已售") << QStringLiteral("已预订") << QString();
        const sales::Board board = boardWith(shown);

        QList<QRgb> seen;
        for (const QString& v : values) {
            const QColor c = board.Colour(v);
            QVERIFY2(!seen.contains(c.rgb()), qPrintable(v + QStringLiteral(" shares a colour")));
            seen << c.rgb();
            for (const QString& builtIn :
                 {QStringLiteral("在售"), QStringLiteral("已售"), QStringLiteral("已预订"), QString()})
                QVERIFY(c != sales::StatusColour(builtIn));
            // Light enough for the dark text on the cell.
            QVERIFY2(c.lightnessF() > 0.5, qPrintable(v));
        }
        // Neighbouring colours are told apart by eye: no two closer than a minimum distance.
        for (int i = 0; i < seen.size(); ++i) {
            for (int j = i + 1; j < seen.size(); ++j) {
                const QColor a(seen[i]), b(seen[j]);
                const int d = std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) +
                              std::abs(a.blue() - b.blue());
                QVERIFY2(d >= 30,
                         qPrintable(QStringLiteral("%1 and %2 are too close").arg(values[i], values[j])));
            }
        }
        // The legend shows the painted colours.
        for (const sales::LegendEntry& e : board.Legend()) {
            const auto unit = std::find_if(board.units.begin(), board.units.end(),
                                           [&e](const sales::Unit& u) { return u.status == e.value; });
            QVERIFY(unit != board.units.end());
            QCOMPARE(paintedAt(board, unit->houseId).rgb(), e.colour.rgb());
        }
    }

    void theSameSetGetsTheSameColoursInAnyOrder()
    {
        QStringList values = kTwelve;
        const QHash<QString, QColor> first = sales::StatusColours(values);
        std::mt19937 shuffle(7);
        for (int round = 0; round < 5; ++round) {
            std::shuffle(values.begin(), values.end(), shuffle);
            QCOMPARE(sales::StatusColours(values), first);
        }
        // The two values of the report share no colour any more; alone, a value keeps its own.
        const QHash<QString, QColor> two =
            sales::StatusColours({QStringLiteral("样板间"), QStringLiteral("特价")});
        QVERIFY(two.value(QStringLiteral("样板间")) != two.value(QStringLiteral("特价")));
        QCOMPARE(sales::StatusColours({QStringLiteral("特价")}).value(QStringLiteral("特价")),
                 sales::StatusColour(QStringLiteral("特价")));
        // Built-in values and blanks take no slot.
        QCOMPARE(sales::StatusColours({QStringLiteral("在售"), QString(), QStringLiteral(" 特价 ")}).keys(),
                 QStringList{QStringLiteral("特价")});
    }
};

QTEST_MAIN(tst_status_colours)
#include "tst_status_colours.moc"
