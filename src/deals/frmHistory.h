#pragma once

#include <vector>

#include "core/db/Connection.h"
#include "core/ui/Form.h"
#include "deals/HistoryList.h"

class QComboBox;
class QLabel;
class QPushButton;
namespace ui {
class ListView;
}

// The change history of the units' status (销售 → 变更记录…, and a cell's 历史记录… on the board):
// who changed what, when, from which PC and why, newest first, a page at a time; exported as
// CSV or XLSX.
class frmHistory : public ui::Form {
    Q_OBJECT
public:
    frmHistory();

    void Load() override;

    // One unit's history.
    void ShowUnit(qint32 houseId);
    // A building's history; an empty name is the whole catalogue.
    void ShowBuilding(const QString& building);
    // Adds the next page of older rows.
    void ShowMore();
    // Writes the whole scope (not only the rows shown) to a file the user picks.
    void Export();

    const deals::HistoryScope& Scope() const { return scope_; }
    bool ShowsCustomers() const { return withCustomers_; }

    static constexpr int kPageRows = 1000;

    QLabel* lblBuilding;
    QComboBox* cmbBuilding;
    QLabel* lblUnit;
    QPushButton* cmdMore;
    QPushButton* cmdExport;
    ui::ListView* lsvHistory;
    QLabel* lblCount;

private:
    void setupControls();
    void fillBuildings();
    void addColumns();
    void reload();
    void appendPage();

    db::Connection connection_;
    deals::HistoryScope scope_;
    std::vector<QStringList> rows_;
    qint64 oldestShown_ = 0;
    bool more_ = false;
    bool withCustomers_ = false;
    bool filling_ = false;
};
