#include "pricelist/frmPriceListImport.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMetaObject>
#include <QProgressBar>
#include <QPushButton>

#include "core/Save.h"
#include "core/db/Convert.h"
#include "core/mdlHouse.h"
#include "core/ui/FileDialog.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"
#include "core/ui/MsgBox.h"
#include "core/ui/Twips.h"
#include "core/ui/WindowCalls.h"

using ui::Px;

namespace {

constexpr int kWidth = 12600;
constexpr int kHeight = 7600;
constexpr int kMargin = 120;
constexpr int kListTop = 1020;
constexpr int kButtonWidth = 1200;
constexpr int kButtonHeight = 375;

const QString kFilter =
    QStringLiteral("价目表 (*.csv; *.txt; *.xlsx; *.xls)|*.csv; *.txt; *.xlsx; *.xls|所有文件 (*.*)|*.*");

}  // namespace

frmPriceListImport::frmPriceListImport()
{
    setObjectName(QStringLiteral("frmPriceListImport"));
    SetCaption(QStringLiteral("导入价目表"));
    setupControls();
}

void frmPriceListImport::setupControls()
{
    auto button = [this](const char* name, const QString& caption) {
        auto* b = ui::MakeNamed<QPushButton>(this, name, caption);
        b->setAutoDefault(false);
        return b;
    };
    lblFile = ui::MakeNamed<QLabel>(this, "lblFile", QStringLiteral("价目表文件："));
    txtFile = ui::MakeNamed<QLineEdit>(this, "txtFile");
    txtFile->setReadOnly(true);
    cmdBrowse = button("cmdBrowse", QStringLiteral("浏览..."));
    chkCreateTypes = new QCheckBox(QStringLiteral("创建缺少的类型"), this);
    chkCreateTypes->setObjectName(QStringLiteral("chkCreateTypes"));
    chkKeysAsNew = new QCheckBox(QStringLiteral("按新房屋导入（不更新本目录中序号相同的房屋）"), this);
    chkKeysAsNew->setObjectName(QStringLiteral("chkKeysAsNew"));
    chkKeysAsNew->setVisible(false);
    cmdReload = button("cmdReload", QStringLiteral("重新读取"));
    lsvLines = new ui::ListView(this);
    lsvLines->setObjectName(QStringLiteral("lsvLines"));
    lblSummary = new QLabel(this);
    lblSummary->setObjectName(QStringLiteral("lblSummary"));
    prgImport = new QProgressBar(this);
    prgImport->setObjectName(QStringLiteral("prgImport"));
    prgImport->setVisible(false);
    cmdImport = button("cmdImport", QStringLiteral("导入"));
    cmdCancel = button("cmdCancel", QStringLiteral("取消"));

    ui::PlaceTwips(lblFile, kMargin, 180, 1200, 345);
    ui::PlaceTwips(cmdBrowse, kWidth - 400 - kButtonWidth, 165, kButtonWidth, kButtonHeight);
    ui::PlaceTwips(chkCreateTypes, 1320, 600, 3000, 345);
    ui::PlaceTwips(chkKeysAsNew, 4440, 600, 5400, 345);
    ui::PlaceTwips(cmdReload, kWidth - 400 - kButtonWidth, 585, kButtonWidth, kButtonHeight);

    ui::ListModel* model = lsvLines->Model();
    model->AddColumn(QStringLiteral("行"), 600);
    model->AddColumn(QStringLiteral("结果"), 700);
    model->AddColumn(QStringLiteral("序号"), 900);
    model->AddColumn(QStringLiteral("楼宇名称"), 1800);
    model->AddColumn(QStringLiteral("类型"), 1200);
    model->AddColumn(QStringLiteral("楼层"), 600);
    model->AddColumn(QStringLiteral("房间号"), 900);
    model->AddColumn(QStringLiteral("原因"), 5200);
    lsvLines->ApplyColumns();

    connect(cmdBrowse, &QPushButton::clicked, this, [this] { cmdBrowse_Click(); });
    connect(cmdReload, &QPushButton::clicked, this, [this] { makePlan(); });
    connect(chkCreateTypes, &QCheckBox::toggled, this, [this] { makePlan(); });
    connect(chkKeysAsNew, &QCheckBox::toggled, this, [this] { makePlan(); });
    connect(cmdImport, &QPushButton::clicked, this, [this] { cmdImport_Click(); });
    connect(cmdCancel, &QPushButton::clicked, this, [this] { cmdCancel_Click(); });
}

void frmPriceListImport::Load()
{
    SetSizeTwips(kWidth, kHeight);
    lblSummary->setText(
        QStringLiteral("请选择价目表文件（CSV，UTF-8 或 GB18030 编码；或 Excel 工作簿 .xlsx、.xls）。"));
}

void frmPriceListImport::Unload()
{
    connection_.Close();
}

void frmPriceListImport::Resized()
{
    const int width = qMax(ui::Twips(Frame()->width()), 6000);
    const int height = qMax(ui::Twips(Frame()->height()), 4000);
    // The frame's border and caption take about 500 twips across and 900 down.
    const int inner = width - 2 * kMargin - 400;
    ui::PlaceTwips(txtFile, 1320, 165, inner - 1320 - kButtonWidth - 120 + kMargin, 345);
    cmdBrowse->move(Px(kMargin + inner - kButtonWidth), cmdBrowse->y());
    cmdReload->move(Px(kMargin + inner - kButtonWidth), cmdReload->y());
    const int bottom = height - 900;
    const int buttonsTop = bottom - kButtonHeight;
    ui::PlaceTwips(lsvLines, kMargin, kListTop, inner, buttonsTop - 420 - kListTop - 90);
    ui::PlaceTwips(lblSummary, kMargin, buttonsTop - 420, inner, 345);
    ui::PlaceTwips(prgImport, kMargin, buttonsTop, inner - 2 * (kButtonWidth + 120), kButtonHeight);
    ui::PlaceTwips(cmdImport, kMargin + inner - 2 * kButtonWidth - 120, buttonsTop, kButtonWidth,
                   kButtonHeight);
    ui::PlaceTwips(cmdCancel, kMargin + inner - kButtonWidth, buttonsTop, kButtonWidth, kButtonHeight);
}

void frmPriceListImport::closeEvent(QCloseEvent* event)
{
    // Closing while the lines are written cancels the import; the window goes once it is undone.
    if (writing_) {
        cancelRequested_ = true;
        event->ignore();
        return;
    }
    ui::Form::closeEvent(event);
}

void frmPriceListImport::cmdBrowse_Click()
{
    const QString path = ui::GetOpenFileName(this, kFilter, QStringLiteral("选择价目表"));
    if (path.isEmpty()) return;
    txtFile->setText(path);
    makePlan();
}

void frmPriceListImport::makePlan()
{
    if (writing_) return;
    plan_ = pricelist::Plan();
    if (!txtFile->text().isEmpty()) {
        mdlHouse::OpenDatabase(connection_);
        if (connection_.IsOpen()) {
            pricelist::ImportOptions options;
            options.createTypes = chkCreateTypes->isChecked();
            options.keysAsNew = chkKeysAsNew->isChecked();
            plan_ = pricelist::MakePlan(txtFile->text(), connection_, options);
        } else {
            plan_.error = QStringLiteral("无法打开数据库。");
        }
        connection_.Close();
    }
    showPlan();
}

void frmPriceListImport::showPlan()
{
    std::vector<QStringList> rows;
    rows.reserve(plan_.lines.size());
    for (const pricelist::PlanLine& line : plan_.lines) {
        const QString number =
            line.kind == pricelist::LineKind::Update ? db::PaddedHouseNumber(line.houseId) : line.numberText;
        rows.push_back(QStringList{QString::number(line.line), pricelist::KindText(line.kind), number,
                                   line.building, line.type, line.floorText, line.room, line.reason});
    }
    lsvLines->Model()->ClearItems();
    if (!rows.empty()) lsvLines->Model()->SetItems(std::move(rows));

    if (txtFile->text().isEmpty()) return;
    if (!plan_.ok) {
        lblSummary->setText(QStringLiteral("无法读取：") + plan_.error);
        return;
    }
    const bool workbook = plan_.encoding.startsWith(QLatin1String("XLS"));
    QString summary =
        QStringLiteral("共 %1 行：新增 %2，更新 %3，错误 %4。%5 %6。")
            .arg(plan_.lines.size())
            .arg(plan_.Count(pricelist::LineKind::New))
            .arg(plan_.Count(pricelist::LineKind::Update))
            .arg(plan_.Count(pricelist::LineKind::Error))
            .arg(workbook ? QStringLiteral("Excel 工作簿") : QStringLiteral("编码"), plan_.encoding);
    if (!plan_.newTypes.isEmpty())
        summary +=
            QStringLiteral("将创建类型：") + plan_.newTypes.join(QStringLiteral("、")) + QStringLiteral("。");
    // A list from another catalogue: say so before its keys overwrite houses that only share them.
    chkKeysAsNew->setVisible(!plan_.otherCatalogue.isEmpty() || chkKeysAsNew->isChecked());
    if (!plan_.otherCatalogue.isEmpty()) summary = plan_.otherCatalogue + summary;
    lblSummary->setText(summary);
}

void frmPriceListImport::setWriting(bool writing)
{
    writing_ = writing;
    for (QWidget* w : {static_cast<QWidget*>(cmdBrowse), static_cast<QWidget*>(cmdReload),
                       static_cast<QWidget*>(chkCreateTypes), static_cast<QWidget*>(cmdImport)})
        w->setEnabled(!writing);
    prgImport->setVisible(writing);
}

void frmPriceListImport::cmdImport_Click()
{
    if (writing_) return;
    if (txtFile->text().isEmpty()) {
        ui::MsgBox(QStringLiteral("请先选择价目表文件。"));
        return;
    }
    // The file and the catalogue are read again, so that what is written is what the list shows
    // now, even if either changed since the preview.
    makePlan();
    if (!plan_.ok) {
        ui::MsgBox(QStringLiteral("无法读取价目表：") + plan_.error);
        return;
    }
    const int refused = plan_.Count(pricelist::LineKind::Error);
    const int accepted = int(plan_.lines.size()) - refused;
    if (accepted == 0) {
        ui::MsgBox(QStringLiteral("没有可以导入的行。"));
        return;
    }
    if (refused > 0 &&
        ui::MsgBox(
            QStringLiteral("有 %1 行有错误，这些行不会导入。是否导入其余 %2 行？").arg(refused).arg(accepted),
            ui::Buttons::YesNo) != ui::Answer::Yes)
        return;

    mdlHouse::OpenDatabase(connection_);
    if (!connection_.IsOpen()) return;
    cancelRequested_ = false;
    setWriting(true);
    prgImport->setRange(0, accepted);
    prgImport->setValue(0);
    const pricelist::WriteResult result =
        pricelist::WritePlan(plan_, connection_, mdlHouse::ProgramFolder(), [this](int done, int total) {
            prgImport->setMaximum(total);
            prgImport->setValue(done);
            QCoreApplication::processEvents();
            return !cancelRequested_;
        });
    const bool lookOnly = connection_.IsServer() && connection_.WriteRefused();
    connection_.Close();
    setWriting(false);

    if (result.cancelled) {
        lblSummary->setText(QStringLiteral("导入已取消，没有写入任何内容。"));
        ui::MsgBox(QStringLiteral("导入已取消，没有写入任何内容。"));
        return;
    }
    if (!result.ok && lookOnly) {
        lblSummary->setText(QStringLiteral("导入失败，没有写入任何内容。"));
        ui::MsgBox(mdlHouse::kLookOnlyMessage);
        return;
    }
    if (!result.ok) {
        lblSummary->setText(QStringLiteral("导入失败，没有写入任何内容。"));
        ui::MsgBox(QStringLiteral("导入失败，没有写入任何内容。\r\n") + result.error);
        return;
    }
    const QString done = QStringLiteral("导入完成：新增 %1 套，更新 %2 套，新建类型 %3 个，图片 %4 张。")
                             .arg(result.added)
                             .arg(result.updated)
                             .arg(result.typesCreated)
                             .arg(result.picturesCopied);
    lblSummary->setText(done);
    // The catalogue, when open, shows what was stored.
    if (ui::HouseListCalls* list = ui::OpenHouseList()) list->StartList();
    ui::MsgBox(done);
}

void frmPriceListImport::cmdCancel_Click()
{
    if (writing_) {
        cancelRequested_ = true;
        return;
    }
    UnloadForm();
}
