#pragma once

#include <QList>
#include <QPair>
#include <QString>
#include <QVariant>

#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "core/ui/ControlArray.h"
#include "core/ui/Form.h"
#include "core/ui/WindowCalls.h"

class QComboBox;
class QLabel;
class QPlainTextEdit;
class QPushButton;
class QScrollArea;
class QWidget;

namespace mdlHouse {
class Save;
}
namespace ui {
class ListView;
class WebBrowser;
}  // namespace ui

// The entry wizard "录入资料": page 1 holds the house's own fields and its attribute rows, page 2
// its pictures with a preview. Nothing is written until "完成"; then the house is saved in one
// pass and the catalogue, when open, reloads.
//
// The class is split over three files: this window's pages, start and saves here; the attribute
// rows in HouseInputRows.cpp; the picture list in HouseInputPictures.cpp.
class frmHouseInput : public ui::Form, public ui::HouseInputCalls {
    Q_OBJECT
public:
    frmHouseInput();

    void Load() override;
    void Unload() override;

    // Add starts a new house, Edit edits the house mdlHouse::CurrentHouseID. Discards what the
    // window holds without asking.
    void StartInput(ui::InputMode mode) override;
    // The same by the routine's numbers: 1 edits, anything else adds.
    void StartInput(int mode) { StartInput(mode == 1 ? ui::InputMode::Edit : ui::InputMode::Add); }
    // The picture dialog hands a picture back through these two.
    Q_INVOKABLE void AddNewImage(const QString& title, const QString& description, const QString& filePath);
    Q_INVOKABLE void EditImage(const QString& title, const QString& description, const QString& filePath);

    int InputMode() const { return static_cast<int>(inputMode_); }
    int CurrentPictureNumber() const;
    int AttributeRowCount() const { return cmbCaption.UBound(); }

    // Page 1
    QWidget* Frame1;
    // The fields and the attribute rows scroll in rowsArea once they outgrow the window; the page's
    // button row (Command1, cmdNext, cmdCancel) stands below them outside it, so it stays in view.
    QScrollArea* rowsArea;
    QWidget* page1;  // the scrolled contents of rowsArea
    QLabel* lblHouseName;
    QComboBox* cmbHouseName;
    QLabel* lblHouseType;
    QComboBox* cmbHouseType;
    QLabel* lblHouseNo;
    QComboBox* cmbHouseNo;
    QLabel* lblHouseFloor;
    QComboBox* cmbHouseFloor;
    QLabel* Label1;
    QPlainTextEdit* txtHouseIntro;
    QLabel* lblCaption;
    ui::ControlArray<QComboBox> cmbCaption;
    ui::ControlArray<QLabel> lblContent;
    ui::ControlArray<QComboBox> cmbContent;
    QPushButton* cmdAddNewContent;
    QPushButton* cmdDeleteContent;
    QPushButton* cmdImage;
    QPushButton* Command1;
    QPushButton* cmdNext;
    QPushButton* cmdCancel;

    // Page 2
    QWidget* Frame2;
    ui::ListView* lsvImage;
    QLabel* Label2;
    ui::WebBrowser* WebImage;
    QPushButton* cmdAddNewImage;
    QPushButton* cmdEdit;
    QPushButton* cmdDeleteImage;
    QPushButton* cmdDeleteAllImage;
    QPushButton* cmdPrevious;
    QPushButton* cmdFinish;
    QPushButton* cmdCancel2;

protected:
    void Resized() override;

private:
    void setupControls();
    void setupPage1();
    void setupPage2();
    void connectControls();
    void showPage(int page);
    void fillDropDowns();
    void loadHouse();
    void cmdNext_Click();
    void cmdFinish_Click();
    bool saveNewHouse();
    bool saveEditedHouse();
    bool holdType(mdlHouse::Save& save);
    bool closeAfter(bool saved);
    QVariant lookUpTypeId();
    void writeHouseFields(db::Recordset& house);

    // Attribute rows (HouseInputRows.cpp)
    void addContentRow();
    void removeLastContentRow();
    void removeAllContentRows();
    void placeRowButtons();
    void growWithRows();
    void layoutPage1();
    void orderTabs();
    void loadContentRows(db::Connection& cn, qint32 houseId);
    void writeContentRows(db::Connection& cn, qint32 houseId);

    // Pictures (HouseInputPictures.cpp)
    void setupImageColumns();
    void loadImages(db::Connection& cn, qint32 houseId);
    using PictureCopy = QPair<QString, QString>;  // source, target in Images
    void writeImages(db::Connection& cn, qint32 houseId, QList<PictureCopy>* copies);
    void copyPictures(const QList<PictureCopy>& copies);
    void lsvImage_ItemClick(int row);
    void cmdAddNewImage_Click();
    void cmdEdit_Click();
    void cmdDeleteImage_Click();
    void cmdDeleteAllImage_Click();
    void layoutPage2();

    // Nothing is written while StartInput adds its rows, so the caption and value lists read for
    // its first row serve every row it adds: a house with sixty rows opens in one read, not sixty.
    bool sized_ = false;  // Load has given the window its size: from then on it grows with its rows
    bool holdRowLists_ = false;
    bool rowListsHeld_ = false;
    QStringList heldCaptions_;
    QStringList heldContents_;

    db::Connection cn;
    db::Recordset rs;
    ui::InputMode inputMode_ = ui::InputMode::Add;
    int currentPicture_ = 0;
    QVariant typeIdForSave_;
};
