#pragma once

#include <vector>

#include "core/db/Connection.h"
#include "core/ui/Form.h"
#include "deals/Customers.h"

class QCheckBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
namespace ui {
class ListView;
}

// The catalogue's sales settings (销售 → 设置…): how long a hold lasts, how often it may be
// extended, the status caption and the word each deal step writes into it; and the list of
// consultants (置业顾问).
class frmSalesSettings : public ui::Form {
    Q_OBJECT
public:
    frmSalesSettings();

    void Load() override;

    // Reads the settings into the fields.
    void ReadSettings();
    // Checks every field and writes them all; false (nothing written) when one is refused.
    bool SaveSettings();
    // Adds or changes the consultant named in the consultant fields.
    bool SaveConsultant();

    QGroupBox* fraHold;
    QLabel* lblHoldHours;
    QLineEdit* txtHoldHours;
    QLabel* lblMaxExtensions;
    QLineEdit* txtMaxExtensions;
    QLabel* lblStatusCaption;
    QLineEdit* txtStatusCaption;
    QLabel* lblWordHold;
    QLineEdit* txtWordHold;
    QLabel* lblWordDeposit;
    QLineEdit* txtWordDeposit;
    QLabel* lblWordSign;
    QLineEdit* txtWordSign;
    QLabel* lblWordForSale;
    QLineEdit* txtWordForSale;
    QPushButton* cmdSave;
    QGroupBox* fraConsultants;
    ui::ListView* lsvConsultants;
    QLabel* lblConsultantName;
    QLineEdit* txtConsultantName;
    QLabel* lblConsultantLogin;
    QLineEdit* txtConsultantLogin;
    QCheckBox* chkConsultantActive;
    QPushButton* cmdSaveConsultant;

private:
    void setupControls();
    void connectControls();
    void showConsultants();
    bool checkWord(QLineEdit* box, const QString& fieldName);

    db::Connection connection_;
    std::vector<deals::Consultant> consultants_;
};
