#pragma once

#include <QStringList>
#include <vector>

#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "core/ui/ControlArray.h"
#include "core/ui/Form.h"

class QGroupBox;
class QLabel;
class QPushButton;

namespace ui {
class MediaControl;
class WebBrowser;
}  // namespace ui

// The presentation of one house (mdlHouse::CurrentHouseID): its facts and attribute rows on the
// left, its pictures on the right, previous/next through every house by key, and the tune of the
// house's type playing in a loop.
class frmHouseShow : public ui::Form {
    Q_OBJECT
public:
    frmHouseShow();

    void Load() override;
    void Unload() override;

    void ShowHouse();
    void ClearHouse();
    void LoadHouse();
    void PlayMusic();

    // The logical top of a control in twips, as the layout rules set it; the pixel position on
    // screen is derived from it.
    static int TopTwips(const QWidget* control);

    QGroupBox* Frame1 = nullptr;
    QGroupBox* Frame2 = nullptr;
    QLabel* lblHI = nullptr;
    QLabel* lblHouseID = nullptr;
    QLabel* lblH = nullptr;
    QLabel* lblHouseName = nullptr;
    QLabel* lblHT = nullptr;
    QLabel* lblHouseType = nullptr;
    QLabel* Label1 = nullptr;
    QLabel* lblHouseFloor = nullptr;
    QLabel* lblHN = nullptr;
    QLabel* lblHouseNo = nullptr;
    QLabel* lblI = nullptr;
    QLabel* lblIntro = nullptr;
    ui::ControlArray<QLabel> lblCaption;
    ui::ControlArray<QLabel> lblContent;
    ui::ControlArray<QPushButton> cmdImage;
    ui::WebBrowser* WebImage = nullptr;
    QLabel* lblImageIntro = nullptr;
    QPushButton* cmdPre = nullptr;
    QPushButton* cmdNext = nullptr;
    QPushButton* cmdMusic = nullptr;
    ui::MediaControl* MMC1 = nullptr;

    // The current house's pictures, entry n for picture button n (entry 0 unused).
    std::vector<QString> ImageCaptions{QString()};
    std::vector<QString> ImageFiles{QString()};
    std::vector<QString> ImageIntros{QString()};
    QString HouseMusicFile;

protected:
    void Resized() override;

private:
    void setupControls();
    void cmdImage_Click(int index);
    void cmdPre_Click();
    void cmdNext_Click();
    void cmdMusic_Click();
    void MMC1_Done(int notifyCode);
    void stepTo(const QString& sql, const QString& endMessage);

    db::Connection cnn_;
    db::Recordset rs_;
    QString sql_;
    bool resizing_ = false;
};
