#pragma once

#include "core/ui/Form.h"
#include "report/SalesFigures.h"

class QChartView;
class QComboBox;
class QDateEdit;
class QLabel;
class QPushButton;
class QTabWidget;
class QTreeWidget;

// The sales report (销售报表): for a range of days, the units by status now and the holds,
// deposits, contracts and returns of the range, per building, per consultant and per day, with two
// charts; saved as an Excel workbook or a PDF.
class frmSalesReport : public ui::Form {
    Q_OBJECT
public:
    frmSalesReport();

    void Load() override;
    // Reads the figures for the dates shown and fills the tables and charts. False when the dates
    // were refused or the catalogue could not be read (the user has been told).
    bool ShowReport();
    const report::SalesFigures& Figures() const { return figures_; }

    QLabel* lblRange;
    QComboBox* cmbRange;
    QLabel* lblFrom;
    QDateEdit* dtpFrom;
    QLabel* lblTo;
    QDateEdit* dtpTo;
    QLabel* lblPrice;
    QComboBox* cmbPrice;
    QPushButton* cmdRefresh;
    QPushButton* cmdExcel;
    QPushButton* cmdPdf;
    QTabWidget* tabReport;
    QTreeWidget* lsvStatus;
    QTreeWidget* lsvBuildings;
    QTreeWidget* lsvConsultants;
    QTreeWidget* lsvDays;
    QTreeWidget* lsvNotSummed;
    QChartView* chtStatus;
    QChartView* chtDaily;
    QLabel* lblSummary;

private:
    void setupControls();
    void fillCaptions();
    void chooseRange(int index);
    void showTables();
    void showCharts();
    QString suggestedName(const QString& extension) const;
    void cmdExcel_Click();
    void cmdPdf_Click();

    report::SalesFigures figures_;
    bool shown_ = false;    // figures_ holds a report
    bool setting_ = false;  // the dates are being set from the range chooser
};
