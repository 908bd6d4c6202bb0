#include "wall/frmWallSetup.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include "core/ui/MsgBox.h"

frmWallSetup::frmWallSetup(const ui::WallRequest& request, QWidget* parent)
    : QDialog(parent), request_(request)
{
    setObjectName(QStringLiteral("frmWallSetup"));
    setWindowTitle(QStringLiteral("全屏展示"));

    lstBuildings = new QListWidget(this);
    lstBuildings->setObjectName(QStringLiteral("lstBuildings"));
    for (const QString& building : request.buildings) {
        auto* item = new QListWidgetItem(building, lstBuildings);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
        item->setCheckState(building == request.building ? Qt::Checked : Qt::Unchecked);
    }
    txtSeconds = new QSpinBox(this);
    txtSeconds->setObjectName(QStringLiteral("txtSeconds"));
    txtSeconds->setRange(5, 3600);
    txtSeconds->setValue(20);
    txtSeconds->setSuffix(QStringLiteral(" 秒"));
    chkHidePrices = new QCheckBox(QStringLiteral("不显示价格"), this);
    chkHidePrices->setObjectName(QStringLiteral("chkHidePrices"));
    chkHidePrices->setEnabled(!request.priceCaption.isEmpty());
    cmdStart = new QPushButton(QStringLiteral("开始"), this);
    cmdStart->setObjectName(QStringLiteral("cmdStart"));
    cmdStart->setDefault(true);
    cmdCancel = new QPushButton(QStringLiteral("取消"), this);
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));

    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("轮流展示的楼宇："), lstBuildings);
    form->addRow(QStringLiteral("每栋停留："), txtSeconds);
    form->addRow(QString(), chkHidePrices);
    auto* hint = new QLabel(QStringLiteral("展示中按 Esc 键退出。客户姓名不会显示。"), this);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cmdStart);
    buttons->addWidget(cmdCancel);
    auto* all = new QVBoxLayout(this);
    all->addLayout(form);
    all->addWidget(hint);
    all->addLayout(buttons);
    resize(420, 380);

    connect(cmdStart, &QPushButton::clicked, this, [this] { cmdStart_Click(); });
    connect(cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
}

wall::WallOptions frmWallSetup::Options() const
{
    wall::WallOptions options;
    for (int i = 0; i < lstBuildings->count(); ++i)
        if (lstBuildings->item(i)->checkState() == Qt::Checked)
            options.buildings << lstBuildings->item(i)->text();
    options.statusCaption = request_.statusCaption;
    options.priceCaption = request_.priceCaption;
    options.seconds = txtSeconds->value();
    options.hidePrices = chkHidePrices->isChecked();
    return options;
}

void frmWallSetup::cmdStart_Click()
{
    if (Options().buildings.isEmpty()) {
        ui::MsgBox(QStringLiteral("请至少选择一栋楼。"));
        return;
    }
    accept();
}

namespace wall {

void StartWithDialog(QWidget* parent, const ui::WallRequest& request)
{
    frmWallSetup setup(request, parent);
    if (setup.exec() != QDialog::Accepted) return;
    // A window of its own, not a child of the main frame: it covers the whole screen.
    auto* screen = new frmWall(setup.Options());
    screen->Start(parent);
}

}  // namespace wall
