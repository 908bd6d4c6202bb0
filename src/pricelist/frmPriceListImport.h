#pragma once

#include "core/db/Connection.h"
#include "core/ui/Form.h"
#include "pricelist/sheet/PriceList.h"

class QCheckBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;

namespace ui {
class ListView;
}

// Loads a price list: the user picks a CSV file or an Excel workbook, sees what would happen to every line
// (new house, update of an existing one, or the reason it is refused) and only then writes the accepted
// lines, all in one transaction that a cancel rolls back.
class frmPriceListImport : public ui::Form {
    Q_OBJECT
public:
    frmPriceListImport();

    void Load() override;
    void Unload() override;

    QLabel* lblFile;
    QLineEdit* txtFile;
    QPushButton* cmdBrowse;
    QCheckBox* chkCreateTypes;
    QCheckBox* chkKeysAsNew;  // shown when the list looks like another catalogue's
    QPushButton* cmdReload;
    ui::ListView* lsvLines;
    QLabel* lblSummary;
    QProgressBar* prgImport;
    QPushButton* cmdImport;
    QPushButton* cmdCancel;

protected:
    void Resized() override;
    void closeEvent(QCloseEvent* event) override;

private:
    void setupControls();
    void cmdBrowse_Click();
    void cmdImport_Click();
    void cmdCancel_Click();
    // Reads the chosen file again and lists what the import would do; nothing is written.
    void makePlan();
    void showPlan();
    void setWriting(bool writing);

    db::Connection connection_;
    pricelist::Plan plan_;
    bool writing_ = false;
    bool cancelRequested_ = false;
};
