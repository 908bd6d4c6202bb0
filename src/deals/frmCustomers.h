#pragma once

#include <vector>

#include "core/db/Connection.h"
#include "core/ui/Form.h"
#include "deals/Customers.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
namespace ui {
class ListView;
}

// The customers (销售 → 客户…): found by a part of the name or the phone, added and edited, with
// each customer's units and deals. A login that may not read customers sees the server's refusal
// and nothing else.
class frmCustomers : public ui::Form {
    Q_OBJECT
public:
    frmCustomers();

    void Load() override;

    // Lists the customers that match the search box.
    void Find();
    // Shows one customer in the fields and lists its deals; false when it cannot be read.
    bool OpenCustomer(qint64 customerId);
    // Empties the fields for a new customer, with this login's consultant chosen.
    void NewCustomer();
    // Saves the fields (a new customer or the one shown); false when nothing was saved.
    bool SaveCustomer();
    qint64 CurrentCustomer() const { return customerId_; }

    static constexpr int kListLimit = 500;

    QLabel* lblFind;
    QLineEdit* txtFind;
    QPushButton* cmdFind;
    QPushButton* cmdNew;
    ui::ListView* lsvCustomers;
    QLabel* lblCount;
    QLabel* lblName;
    QLineEdit* txtName;
    QLabel* lblPhone;
    QLineEdit* txtPhone;
    QLabel* lblConsultant;
    QComboBox* cmbConsultant;
    QLabel* lblFirstVisit;
    QLineEdit* txtFirstVisit;
    QLabel* lblSource;
    QComboBox* cmbSource;
    QLabel* lblNotes;
    QPlainTextEdit* txtNotes;
    QPushButton* cmdSave;
    QLabel* lblDeals;
    ui::ListView* lsvDeals;
    QLabel* lblRefused;

private:
    void setupControls();
    void layOutControls();
    void connectControls();
    void fillConsultants();
    void showDeals();
    void refuse(const QString& reason);
    bool checkFields();
    void selectConsultant(qint64 id);

    db::Connection connection_;
    std::vector<deals::Customer> found_;
    qint64 customerId_ = 0;
    qint64 ownConsultant_ = 0;
};
