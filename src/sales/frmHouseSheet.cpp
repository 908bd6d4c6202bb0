#include "sales/frmHouseSheet.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include "core/mdlHouse.h"
#include "core/ui/Twips.h"
#include "sales/HouseSheet.h"

frmHouseSheet::frmHouseSheet()
{
    setObjectName(QStringLiteral("frmHouseSheet"));
    setWindowTitle(QStringLiteral("房源单页"));
    setupControls();
}

void frmHouseSheet::setupControls()
{
    lblHouse = ui::MakeNamed<QLabel>(this, "lblHouse");
    cmdPrint = ui::MakeNamed<QPushButton>(this, "cmdPrint", QStringLiteral("打印…"));
    cmdSave = ui::MakeNamed<QPushButton>(this, "cmdSave", QStringLiteral("保存为 PDF…"));
    cmdClose = ui::MakeNamed<QPushButton>(this, "cmdClose", QStringLiteral("关闭"));
    picPages = new QLabel;
    picPages->setObjectName(QStringLiteral("picPages"));
    picPages->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    picSheet = new QScrollArea(this);
    picSheet->setObjectName(QStringLiteral("picSheet"));
    picSheet->setWidget(picPages);
    picSheet->setWidgetResizable(true);
    picSheet->setBackgroundRole(QPalette::Dark);

    auto* top = new QHBoxLayout;
    top->addWidget(lblHouse, 1);
    top->addWidget(cmdPrint);
    top->addWidget(cmdSave);
    top->addWidget(cmdClose);
    auto* all = new QVBoxLayout(this);
    all->addLayout(top);
    all->addWidget(picSheet, 1);

    connect(cmdPrint, &QPushButton::clicked, this, [this] { sales::PrintHouseSheet(this, houseId_); });
    connect(cmdSave, &QPushButton::clicked, this, [this] { sales::SaveHouseSheet(this, houseId_); });
    connect(cmdClose, &QPushButton::clicked, this, [this] { UnloadForm(); });
}

void frmHouseSheet::Load()
{
    SetCaption(QStringLiteral("房源单页"));
    SetSizeTwips(10800, 11400);
    ShowHouse();
}

void frmHouseSheet::ShowHouse()
{
    sales::HouseSheet sheet;
    houseId_ = 0;
    if (mdlHouse::CurrentHouseID == 0 || !sheet.Load(mdlHouse::CurrentHouseID)) {
        lblHouse->setText(QStringLiteral("没有选定房源：请先在列表或销控表中选择一个房源。"));
        picPages->clear();
        cmdPrint->setEnabled(false);
        cmdSave->setEnabled(false);
        return;
    }
    houseId_ = mdlHouse::CurrentHouseID;
    lblHouse->setText(sheet.Data().building + QStringLiteral("  ") + sheet.Data().houseNo);
    // The pages one below the other, at screen resolution, with a gap between them.
    const std::vector<QImage> pages = sheet.Pages(72);
    int height = 0;
    for (const QImage& page : pages) height += page.height() + 12;
    QImage all(pages.front().width() + 24, height + 12, QImage::Format_RGB32);
    all.fill(QColor(128, 128, 128));
    QPainter painter(&all);
    int y = 12;
    for (const QImage& page : pages) {
        painter.drawImage(12, y, page);
        y += page.height() + 12;
    }
    painter.end();
    picPages->setPixmap(QPixmap::fromImage(all));
    cmdPrint->setEnabled(true);
    cmdSave->setEnabled(true);
}
