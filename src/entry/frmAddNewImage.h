#pragma once

#include "core/ui/Form.h"

class QLabel;
class QLineEdit;
class QPushButton;

// "增加新的图片": picks a picture file and gives it a title and a description, for the entry
// wizard's picture list. Modeless: the wizard stays usable while it is open.
class frmAddNewImage : public ui::Form {
    Q_OBJECT
public:
    frmAddNewImage();

    void Load() override;

    // Switches to editing and fills the fields from the wizard's selected picture.
    Q_INVOKABLE void GetImage();
    // Back to adding, with empty fields.
    void StartAdd();
    int DialogMode() const { return dialogMode_; }

    QLabel* lblImageFile;
    QLineEdit* txtImageFile;
    QPushButton* cmdOpenImageFile;
    QLabel* lblImageCaption;
    QLineEdit* txtImageCaption;
    QLabel* lblImageIntro;
    QLineEdit* txtImageIntro;
    QPushButton* cmdImageOK;
    QPushButton* cmdImageCancel;

    // The filter of the browse button, in the common dialog's "description|patterns" form.
    static QString ImageFilter();

private:
    void setupControls();
    void cmdOpenImageFile_Click();
    void cmdImageOK_Click();

    int dialogMode_ = 0;  // 0 adds a picture, 1 edits the wizard's selected one
};
