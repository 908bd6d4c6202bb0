#pragma once

#include <QDialog>

#include "core/ui/WindowCalls.h"
#include "wall/frmWall.h"

class QCheckBox;
class QListWidget;
class QPushButton;
class QSpinBox;

// Asked before the wall screen starts: which buildings it shows, how long each stays, and whether
// the prices stay off the wall.
class frmWallSetup : public QDialog {
    Q_OBJECT
public:
    explicit frmWallSetup(const ui::WallRequest& request, QWidget* parent = nullptr);

    wall::WallOptions Options() const;

    QListWidget* lstBuildings;
    QSpinBox* txtSeconds;
    QCheckBox* chkHidePrices;
    QPushButton* cmdStart;
    QPushButton* cmdCancel;

private:
    void cmdStart_Click();

    ui::WallRequest request_;
};

namespace wall {
// What the window registry hands to the board (ui::SetWallStarter): asks, then starts the wall.
void StartWithDialog(QWidget* parent, const ui::WallRequest& request);
}  // namespace wall
