#pragma once

#include <QDateTime>

#include "core/db/Connection.h"
#include "core/ui/Form.h"
#include "sales/SalesBoard.h"

class QComboBox;
class QLabel;
class QMenu;
class QPushButton;
class QTimer;
class QTreeWidget;
class SalesBoardView;
namespace deals {
enum class Step;
struct OpenDeals;
}  // namespace deals

namespace db {
class ChangeWatcher;
}

// The sales board (销控表): every unit of one building at a glance, one row per floor, coloured
// by its status; the status is set from a cell's context menu.
class frmSalesBoard : public ui::Form {
    Q_OBJECT
public:
    frmSalesBoard();

    void Load() override;
    void Unload() override;

    // Reads the choosers again and redraws the chosen building.
    void Refresh();
    // Redraws the building of the choosers from the database.
    void ShowBuilding();
    // Sets the status of one house on the board, on the condition that its row still holds the
    // value the board shows. False when it did not (the board then shows what is stored).
    bool SetStatus(qint32 houseId, const QString& value);
    // Reads the building shown again and draws the cells that show something else now; the whole
    // board only when units came or went. Quiet: a catalogue out of reach leaves the board as it is.
    void ReloadChanged();
    db::ChangeWatcher* Watcher() const { return watcher_; }

    const sales::Board& Board() const { return board_; }
    // The context menu of a cell, as it would open there (the caller owns it). Tests look at it.
    QMenu* CellMenu(qint32 houseId);
    // Runs a deal step on the unit as its menu entry does, with the entry's dialog where it has
    // one; a refusal is shown, and the board is read again either way. True when it was done.
    bool RunStep(qint32 houseId, deals::Step step);
    // Opens the history of one unit.
    void ShowHistory(qint32 houseId);

    QLabel* lblBuilding;
    QComboBox* cmbBuilding;
    QLabel* lblStatus;
    QComboBox* cmbStatus;
    QLabel* lblPrice;
    QComboBox* cmbPrice;
    QPushButton* cmdRefresh;
    QPushButton* cmdPrint;
    QPushButton* cmdSave;
    QPushButton* cmdWall;
    SalesBoardView* picBoard;
    QTreeWidget* lsvLegend;
    QLabel* lblSummary;

private:
    void setupControls();
    void fillChoosers();
    // Reads the building of the choosers into the board: everything a cell shows. False when the
    // catalogue could not be read (the board is then empty).
    bool readBuilding(bool quiet);
    void showLegend();
    void openPresentation(qint32 houseId);
    void askStatus(qint32 houseId);
    void cmdPrint_Click();
    void cmdSave_Click();
    // The deals part of the board (BoardDeals.cpp).
    void readDealSettings();
    void attachDeals(const deals::OpenDeals& open, const QDateTime& now);
    void addDealEntries(QMenu* menu, qint32 houseId);
    void cmdWall_Click();
    void catalogueChanged();

    db::Connection connection_;
    sales::Board board_;
    bool filling_ = false;
    // The deal steps write the catalogue's status caption; on a board showing another caption
    // they are not offered.
    QString dealCaption_;
    QString wordForSale_;
    int holdHours_ = 24;
    // Another PC's change waits while a menu or a dialog is open, so that what it shows stays
    // what the board showed when it opened.
    db::ChangeWatcher* watcher_;
    QTimer* deferred_;
};
