#pragma once

#include <QDialog>
#include <functional>
#include <vector>

#include "deals/Customers.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace db {
class Connection;
}

// The small dialogs of the board's deal steps. Each checks its fields when OK is pressed and stays
// open, with the focus on the field, until they are right.
namespace deals {

// Tests fill a dialog here instead of it being shown: the function gets the dialog (its controls
// found by objectName) and ends it by clicking OK or Cancel, or calling reject(). An empty
// function restores the real dialogs.
void SetDealDialogInterceptor(std::function<void(QDialog* dialog)> f);
// Shows the dialog modal, or hands it to the interceptor; true when it ended with OK.
bool RunDealDialog(QDialog* dialog);

// 预留…: who the unit is held for, by which consultant, for how many hours.
class dlgHold : public QDialog {
    Q_OBJECT
public:
    dlgHold(QWidget* parent, const QString& unit, int defaultHours);

    // Reads the customers and consultants (this login's consultant chosen). False when the
    // customers cannot be read; the dialog then says so.
    bool Fill(db::Connection& connection);

    qint64 CustomerId() const { return customerId_; }
    qint64 ConsultantId() const;
    int Hours() const;

    QLabel* lblUnit;
    QLabel* lblFind;
    QLineEdit* txtFind;
    QComboBox* cmbCustomer;
    QLabel* lblNewName;
    QLineEdit* txtNewName;
    QLabel* lblNewPhone;
    QLineEdit* txtNewPhone;
    QLabel* lblConsultant;
    QComboBox* cmbConsultant;
    QLabel* lblHours;
    QLineEdit* txtHours;
    QPushButton* cmdOK;
    QPushButton* cmdCancel;

private:
    void findCustomers();
    void ok();
    bool addNewCustomer();

    db::Connection* connection_ = nullptr;
    qint64 customerId_ = 0;
};

// 认购…: the deposit and its date.
class dlgDeposit : public QDialog {
    Q_OBJECT
public:
    dlgDeposit(QWidget* parent, const QString& unit);
    QString Amount() const;
    QString Date() const;

    QLabel* lblUnit;
    QLabel* lblAmount;
    QLineEdit* txtAmount;
    QLabel* lblDate;
    QLineEdit* txtDate;
    QPushButton* cmdOK;
    QPushButton* cmdCancel;

private:
    void ok();
};

// 签约…: the contract's date. 退房… and the manager's release: the reason, which is required.
class dlgOneField : public QDialog {
    Q_OBJECT
public:
    enum class Kind { ContractDate, Reason };
    dlgOneField(QWidget* parent, const QString& title, const QString& unit, Kind kind);
    QString Value() const;

    QLabel* lblUnit;
    QLabel* lblValue;
    QLineEdit* txtValue;
    QPushButton* cmdOK;
    QPushButton* cmdCancel;

private:
    void ok();
    Kind kind_;
};

// A date typed as YYYY-MM-DD that is a real date.
bool IsDateText(const QString& text);

}  // namespace deals
