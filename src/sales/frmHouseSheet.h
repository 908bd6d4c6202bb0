#pragma once

#include "core/ui/Form.h"

class QLabel;
class QPushButton;
class QScrollArea;

// The house sheet of the current house before it goes to paper: a preview of its pages, printing
// through the system's dialog, or saving as PDF.
class frmHouseSheet : public ui::Form {
    Q_OBJECT
public:
    frmHouseSheet();

    void Load() override;
    // Shows the sheet of mdlHouse::CurrentHouseID.
    void ShowHouse();
    qint32 HouseID() const { return houseId_; }

    QLabel* lblHouse;
    QScrollArea* picSheet;
    QLabel* picPages;
    QPushButton* cmdPrint;
    QPushButton* cmdSave;
    QPushButton* cmdClose;

private:
    void setupControls();

    qint32 houseId_ = 0;
};
