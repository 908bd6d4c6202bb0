#include "deals/frmHistory.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "core/db/Recordset.h"
#include "core/mdlHouse.h"
#include "core/ui/FileDialog.h"
#include "core/ui/ListView.h"
#include "core/ui/MsgBox.h"
#include "core/ui/Twips.h"
#include "deals/Clock.h"
#include "deals/Customers.h"
#include "deals/Expiry.h"

namespace {
const QString kWholeCatalogue = QStringLiteral("（全部楼宇）");

// A unit without a status row (before its first one, after its last) shows as such.
QString valueText(const QString& value)
{
    return value.isEmpty() ? QStringLiteral("（无）") : value;
}
}  // namespace

frmHistory::frmHistory()
{
    setObjectName(QStringLiteral("frmHistory"));
    setWindowTitle(QStringLiteral("变更记录"));
    setupControls();
}

void frmHistory::setupControls()
{
    lblBuilding = ui::MakeNamed<QLabel>(this, "lblBuilding", QStringLiteral("楼宇"));
    cmbBuilding = ui::MakeNamed<QComboBox>(this, "cmbBuilding");
    cmbBuilding->setMinimumWidth(180);
    cmbBuilding->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    lblUnit = ui::MakeNamed<QLabel>(this, "lblUnit", QString());
    cmdMore = ui::MakeNamed<QPushButton>(this, "cmdMore", QStringLiteral("更早的记录"));
    cmdExport = ui::MakeNamed<QPushButton>(this, "cmdExport", QStringLiteral("导出…"));
    lsvHistory = new ui::ListView(this);
    lsvHistory->setObjectName(QStringLiteral("lsvHistory"));
    lblCount = ui::MakeNamed<QLabel>(this, "lblCount", QString());

    auto* top = new QHBoxLayout;
    top->addWidget(lblBuilding);
    top->addWidget(cmbBuilding);
    top->addWidget(lblUnit);
    top->addStretch(1);
    top->addWidget(cmdMore);
    top->addWidget(cmdExport);
    auto* all = new QVBoxLayout(this);
    all->addLayout(top);
    all->addWidget(lsvHistory, 1);
    all->addWidget(lblCount);

    connect(cmbBuilding, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (filling_) return;
        ShowBuilding(index <= 0 ? QString() : cmbBuilding->currentText());
    });
    connect(cmdMore, &QPushButton::clicked, this, [this] { ShowMore(); });
    connect(cmdExport, &QPushButton::clicked, this, [this] { Export(); });
}

void frmHistory::Load()
{
    SetCaption(QStringLiteral("变更记录"));
    SetSizeTwips(15600, 8400);
    mdlHouse::OpenDatabase(connection_);
    // Only a login that may read the customers sees whose deal a change belonged to.
    withCustomers_ = connection_.IsOpen() && deals::CanReadCustomers(connection_);
    connection_.Close();
    addColumns();
    fillBuildings();
    reload();
}

void frmHistory::addColumns()
{
    ui::ListModel* model = lsvHistory->Model();
    model->ClearColumns();
    model->AddColumn(QStringLiteral("时间"), 2100);
    model->AddColumn(QStringLiteral("房源"), 1900);
    model->AddColumn(QStringLiteral("操作人"), 1100);
    model->AddColumn(QStringLiteral("电脑"), 1200);
    model->AddColumn(QStringLiteral("原状态 → 新状态"), 2000);
    if (withCustomers_) model->AddColumn(QStringLiteral("客户"), 1100);
    model->AddColumn(QStringLiteral("原因"), 1800);
    model->AddColumn(QStringLiteral("途径"), 1100);
    lsvHistory->ApplyColumns();
}

void frmHistory::fillBuildings()
{
    QStringList buildings;
    mdlHouse::OpenDatabase(connection_);
    db::Recordset rs;
    if (connection_.Execute(QStringLiteral("Select Distinct HouseName From t_House Order By HouseName"),
                            rs)) {
        for (; !rs.Eof(); rs.MoveNext()) buildings << rs.Field(0).toString();
        rs.Close();
    }
    connection_.Close();
    filling_ = true;
    cmbBuilding->clear();
    cmbBuilding->addItem(kWholeCatalogue);
    cmbBuilding->addItems(buildings);
    const int at = scope_.building.isEmpty() ? 0 : cmbBuilding->findText(scope_.building);
    cmbBuilding->setCurrentIndex(std::max(0, at));
    filling_ = false;
}

void frmHistory::ShowUnit(qint32 houseId)
{
    scope_ = deals::HistoryScope{houseId, QString()};
    QString unit;
    mdlHouse::OpenDatabase(connection_);
    db::Recordset rs;
    if (connection_.Execute(QStringLiteral("Select HouseName, HouseNo From t_House Where HouseID = ") +
                                QString::number(houseId),
                            rs) &&
        !rs.Eof()) {
        scope_.building = rs.Field(0).toString();
        unit = rs.Field(0).toString() + QLatin1Char(' ') + rs.Field(1).toString();
    }
    rs.Close();
    connection_.Close();
    filling_ = true;
    cmbBuilding->setCurrentIndex(std::max(0, cmbBuilding->findText(scope_.building)));
    filling_ = false;
    lblUnit->setText(QStringLiteral("房源：") + (unit.isEmpty() ? QString::number(houseId) : unit));
    reload();
}

void frmHistory::ShowBuilding(const QString& building)
{
    scope_ = deals::HistoryScope{0, building};
    lblUnit->clear();
    filling_ = true;
    cmbBuilding->setCurrentIndex(building.isEmpty() ? 0 : std::max(0, cmbBuilding->findText(building)));
    filling_ = false;
    reload();
}

void frmHistory::reload()
{
    rows_.clear();
    oldestShown_ = 0;
    appendPage();
}

void frmHistory::ShowMore()
{
    if (more_) appendPage();
}

void frmHistory::appendPage()
{
    std::vector<deals::HistoryRow> page;
    mdlHouse::OpenDatabase(connection_);
    // A hold past its end is released (and recorded as such) before the history is read.
    if (oldestShown_ == 0) deals::ReleaseExpired(connection_, deals::Now(connection_));
    const bool ok = deals::ReadHistory(connection_, scope_, oldestShown_, kPageRows, withCustomers_, &page);
    const QString error = connection_.LastError();
    connection_.Close();
    for (const deals::HistoryRow& r : page) {
        QStringList row{r.when, (r.building + QLatin1Char(' ') + r.room).trimmed(), r.who, r.machine,
                        valueText(r.oldValue) + QStringLiteral(" → ") + valueText(r.newValue)};
        if (withCustomers_) row << r.customer;
        row << r.reason << r.path;
        rows_.push_back(row);
    }
    if (!page.empty()) oldestShown_ = page.back().historyId;
    more_ = ok && int(page.size()) == kPageRows;
    cmdMore->setEnabled(more_);
    lsvHistory->Model()->SetItems(rows_);
    if (!ok)
        lblCount->setText(QStringLiteral("无法读取变更记录：") + error);
    else if (more_)
        lblCount->setText(
            QStringLiteral("显示最近的 %1 条记录（每次 %2 条），点“更早的记录”继续；导出包含全部记录。")
                .arg(rows_.size())
                .arg(kPageRows));
    else
        lblCount->setText(QStringLiteral("共 %1 条记录").arg(rows_.size()));
}

void frmHistory::Export()
{
    const QString name =
        scope_.building.isEmpty() ? QStringLiteral("变更记录") : scope_.building + QStringLiteral("变更记录");
    const QString path =
        ui::GetSaveFileName(this, QStringLiteral("Excel 工作簿(*.xlsx)|*.xlsx|CSV 文件(*.csv)|*.csv"),
                            name + QStringLiteral(".xlsx"));
    if (path.isEmpty()) return;
    QString error;
    mdlHouse::OpenDatabase(connection_);
    if (!connection_.IsOpen()) return;
    const int count = deals::ExportHistory(connection_, scope_, withCustomers_, path, &error);
    connection_.Close();
    if (count < 0)
        ui::MsgBox(QStringLiteral("导出失败：") + error);
    else
        ui::MsgBox(QStringLiteral("已导出 %1 条变更记录到 %2").arg(count).arg(path));
}
