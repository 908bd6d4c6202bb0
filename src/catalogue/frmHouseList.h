#pragma once

#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "core/db/Sql.h"
#include "core/ui/Form.h"
#include "core/ui/WindowCalls.h"

class QAction;
class QComboBox;
class QGroupBox;
class QLabel;
class QPushButton;

namespace ui {
class ListView;
}

// The catalogue: every house in a report list, narrowed by up to six query boxes, and the place
// from which a house is shown, added, edited or deleted.
class frmHouseList : public ui::Form, public ui::HouseListCalls {
    Q_OBJECT
public:
    frmHouseList();

    void Load() override;
    void Unload() override;

    // Rebuilds the whole window from the database and the stored query (if any). The entry wizard
    // calls it after a save so that the list shows what was stored.
    void StartList() override;

    // The stored query: empty while every house is listed.
    QString QuerySql() const { return querySql_.Jet(); }
    QString QueryCaption() const { return queryCaption_; }

    ui::ListView* lsvHouse;
    QLabel* lblStatus;
    QGroupBox* Frame1;
    QLabel* lblHouseName;
    QComboBox* cmbHouseName;
    QLabel* lblHouseType;
    QComboBox* cmbHouseType;
    QLabel* lblHouseFloor;
    QComboBox* cmbHouseFloor;
    QLabel* lblHouseNo;
    QComboBox* cmbHouseNo;
    QLabel* lblOthers;
    QComboBox* cmbCaption;
    QComboBox* cmbContent;
    QPushButton* cmdQuery;
    QPushButton* cmdShow;
    QPushButton* cmdEdit;
    QPushButton* cmdDelete;
    QPushButton* cmdAddNew;
    QPushButton* cmdRefresh;
    QPushButton* cmdAll;
    QPushButton* cmdExit;
    QAction* mnuExportList;  // the list's context menu: the houses listed, as a price list

protected:
    void Resized() override;

private:
    void setupControls();
    void fillQueryBoxes();
    void addColumns();
    void fillList();

    void cmdQuery_Click();
    void cmdAll_Click();
    void cmdShow_Click();
    void cmdEdit_Click();
    void cmdAddNew_Click();
    void cmdDelete_Click();

    qint32 GetSelectedHouse();
    void OpenPresentation();
    void OpenEntry(ui::InputMode mode);
    void DeleteHouse();
    void ExportList();

    db::Connection connection_;
    db::Recordset recordset_;
    db::Sql workSql_;
    db::Sql querySql_;
    QString queryCaption_;
};
