#pragma once

#include <QMainWindow>
#include <functional>
#include <memory>

class QAction;
class QMdiArea;
class QMenu;

namespace ui {
class SingleInstance;
}

// The program's frame: an MDI window captioned "Tavrelo" holding every working window, with the
// menu bar. Its load refuses a second copy and makes the media folders; closing it unloads the
// children and deletes Image.htm, while the menu's exit ends at once and skips all of that.
class frmMain : public QMainWindow {
    Q_OBJECT
public:
    frmMain();
    ~frmMain() override;

    // The load steps. Returns false when another copy already runs: the message has been shown,
    // the unload handler has run, and this copy must end.
    bool Load();

    QMdiArea* MdiArea() const { return mdiArea_; }

    // What the menu's exit does; tests replace it to see that it was asked for.
    static void SetEndProgram(std::function<void()> end);

    QMenu* mnuSystem;
    QAction* mnuExit;
    QMenu* mnuHouse;
    QAction* mnuHouseList;
    QAction* mnuHouseInput;
    QAction* mnuHouseType;
    // The office's daily tools: the sales board, the house sheet and the price lists.
    QMenu* mnuSales;
    QAction* mnuSalesBoard;
    QAction* mnuHouseSheet;
    QAction* mnuPriceListImport;
    QAction* mnuPriceListExport;
    QAction* mnuCustomers;
    QAction* mnuHistory;
    QAction* mnuSalesSettings;
    QAction* mnuSalesReport;
    QMenu* mnuHelp;
    QAction* mnuAbout;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void setupControls();
    void unloadHandler();
    void checkCustomerRights();

    QMdiArea* mdiArea_;
    bool customerRightsKnown_ = false;
    std::unique_ptr<ui::SingleInstance> instance_;
};
