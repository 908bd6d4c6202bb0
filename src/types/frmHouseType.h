#pragma once

#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "core/ui/Form.h"

class QLabel;
class QLineEdit;
class QPushButton;

namespace ui {
class ListView;
class MediaControl;
}  // namespace ui

// The manager of house types: the types in the user's order with their background music, add,
// edit, delete, move up/down, choose and play the tune, and the way into each type's template.
namespace mdlHouse {
class Save;
}

class frmHouseType : public ui::Form {
    Q_OBJECT
public:
    frmHouseType();

    void Load() override;
    void Unload() override;

    // The open-file dialog as the window keeps it: it remembers the last file chosen, so a
    // cancelled dialog still reports the earlier choice.
    struct FileDialogState {
        QString Filter;
        QString FileName;
    };

    ui::ListView* lsvType = nullptr;
    QLabel* lblHouseType = nullptr;
    QLabel* lblMusicTitle = nullptr;
    QLabel* lblMusicFile = nullptr;
    QLineEdit* txtHouseType = nullptr;
    QLineEdit* txtMusicTitle = nullptr;
    QLineEdit* txtMusicFile = nullptr;
    QPushButton* cmdOpenMusicFile = nullptr;
    QPushButton* cmdPlay = nullptr;
    QPushButton* cmdAddNew = nullptr;
    QPushButton* cmdEdit = nullptr;
    QPushButton* cmdDelete = nullptr;
    QPushButton* cmdUp = nullptr;
    QPushButton* cmdDown = nullptr;
    QPushButton* cmdRefresh = nullptr;
    QPushButton* cmdContent = nullptr;
    QPushButton* cmdExit = nullptr;
    QPushButton* cmdEditOK = nullptr;
    QPushButton* cmdEditCancel = nullptr;
    FileDialogState cdlMusicFile;
    ui::MediaControl* MMC1 = nullptr;

    qint16 CurrentList = 0;  // List position of the selected row; 0 with an empty list
    int EditMode = 0;        // 0 adding a type, 1 editing the selected one

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void setupControls();

    void lsvType_Click();
    void cmdAddNew_Click();
    void cmdEdit_Click();
    void cmdEditOK_Click();
    void cmdEditCancel_Click();
    void cmdDelete_Click();
    void cmdUp_Click();
    void cmdDown_Click();
    void cmdRefresh_Click();
    void cmdContent_Click();
    void cmdOpenMusicFile_Click();
    void cmdPlay_Click();
    void MMC1_Done(int notifyCode);

    void LoadTypeList();
    qint16 SelectedPosition();
    void ShowSelectedType();
    QString MusicFileAtPosition();
    qint32 TypeIdAtPosition();
    bool CanDeleteType();
    // False when the type still (or again) has houses: nothing was deleted.
    bool DeleteType();
    bool holdTypeAt(mdlHouse::Save& save, qint16 list, const QString& goneMessage);
    qint32 heldTypeId_ = 0;
    bool bothPositionsThere(qint16 p, qint16 q);
    void SetBrowseState();
    void SetEditState();
    void SaveEditedType();
    void SaveNewType();
    void CopyMusicFile(const QString& fileName);
    void PlayMusic();
    void StopMusic();

    db::Connection conn_;
    db::Recordset rs_;
    QString sql_;
};
