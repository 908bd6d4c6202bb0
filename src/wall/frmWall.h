#pragma once

#include <QString>
#include <QStringList>
#include <QTransform>
#include <QWidget>
#include <map>

#include "sales/SalesBoard.h"

class QTimer;

namespace db {
class ChangeWatcher;
}

namespace wall {

struct WallOptions {
    QStringList buildings;  // shown in turn
    QString statusCaption;
    QString priceCaption;  // empty: no prices
    int seconds = 20;      // on each building (or each page of a large one)
    bool hidePrices = false;
};

}  // namespace wall

// The showroom's wall screen: the sales board of one building after another, full screen, large
// enough to read across the room, with the legend, the building's name and the time. Nothing to
// click; it follows the catalogue by itself, keeps showing what it last read while the catalogue
// is out of reach (with a small notice), and only Esc ends it. It reads units, statuses and prices,
// never a customer.
class frmWall : public QWidget {
    Q_OBJECT
public:
    // The smallest and largest scale of the board's cells: at the smallest a room number is about
    // 22 pixels high, legible at 1920 x 1080 from across a showroom; a building that does not fit at
    // it is shown a page at a time.
    static constexpr double kMinScale = 1.8;
    static constexpr double kMaxScale = 4.0;

    explicit frmWall(const wall::WallOptions& options, QWidget* parent = nullptr);

    // Shows the first building full screen on the screen of `near` (or the primary one).
    void Start(QWidget* near = nullptr);
    // Shows the next page, or the next building.
    void Next();

    QString Building() const { return board_.building; }
    const sales::Board& Board() const { return board_; }
    int Page() const { return page_; }
    int PageCount() const { return int(pages_.size()); }
    double Scale() const { return scale_; }
    QString Notice() const { return notice_; }
    const wall::WallOptions& Options() const { return options_; }
    db::ChangeWatcher* Watcher() const { return watcher_; }
    // Where a unit's cell is on screen (empty when it is not on the page shown).
    QRect CellOnScreen(qint32 houseId) const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    struct PageRange {
        int firstRow = 0;
        int rowCount = 0;
        int firstColumn = 0;
        int columnCount = 0;
    };
    void showBuilding(int index);
    bool read(const QString& building, sales::Board* board);
    void catalogueChanged();
    void setNotice(const QString& text);
    void arrange();
    void paintHeader(QPainter& painter);
    void paintLegend(QPainter& painter);
    void paintBoard(QPainter& painter);
    QRect headerRect() const;
    QRect legendRect() const;
    QRect boardRect() const;
    QString clockText() const;

    wall::WallOptions options_;
    sales::Board board_;
    // The last board read of each building, shown while the catalogue is out of reach.
    std::map<QString, sales::Board> kept_;
    int building_ = 0;
    int page_ = 0;
    std::vector<PageRange> pages_;
    double scale_ = 1;
    QTransform cells_;   // board coordinates of the page shown to the screen
    QTransform labels_;  // the floor labels' column
    QString notice_;
    QString shownClock_;
    bool unreachable_ = false;
    db::ChangeWatcher* watcher_;
    QTimer* cycle_;
    QTimer* clock_;
};
