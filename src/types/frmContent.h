#pragma once

#include <QHash>

#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "core/ui/Form.h"

class QLabel;
class QLineEdit;
class QPushButton;

namespace ui {
class ListView;
}

// The attribute template of one house type: name/value rows edited in the list, written to the
// database only on "确定", which replaces the type's whole template.
class frmContent : public ui::Form {
    Q_OBJECT
public:
    frmContent();

    void Load() override;
    void Unload() override;

    // Takes the type at List position TypeList: makes it the current type and appends its
    // template rows to the list (the list is not emptied first).
    Q_INVOKABLE void GetTypeContent(qint16& TypeList);

    ui::ListView* lsvContent = nullptr;
    QLabel* Label1 = nullptr;
    QLabel* Label2 = nullptr;
    QLineEdit* txtCaption = nullptr;
    QLineEdit* txtContent = nullptr;
    QPushButton* cmdAddNew = nullptr;
    QPushButton* cmdEdit = nullptr;
    QPushButton* cmdDelete = nullptr;
    QPushButton* cmdClear = nullptr;
    QPushButton* cmdEditOK = nullptr;
    QPushButton* cmdEditCancel = nullptr;
    QPushButton* cmdOK = nullptr;
    QPushButton* cmdCancel = nullptr;

    qint32 CurrentTypeID = 0;
    int EditMode = 0;  // 0 adding a row, 1 editing the selected row

private:
    void setupControls();
    void setBoxText(QLineEdit* box, const QString& text);
    void box_Change(QLineEdit* box);
    void selectWindowText();
    bool eventFilter(QObject* watched, QEvent* event) override;

    void cmdAddNew_Click();
    void cmdEdit_Click();
    void cmdDelete_Click();
    void cmdClear_Click();
    void cmdEditOK_Click();
    void cmdEditCancel_Click();
    void cmdOK_Click();

    void SetBrowseState();
    void SetEditState();

    db::Connection conn_;
    db::Recordset rs_;
    QString sql_;
    bool settingText_ = false;  // the window, not the user, is changing a box
    // Per box: its text was put there by the window and the user has not touched it since.
    QHash<const QLineEdit*, bool> windowText_;
};
