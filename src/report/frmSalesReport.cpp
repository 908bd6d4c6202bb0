#include "report/frmSalesReport.h"

#include <QChart>
#include <QChartView>
#include <QComboBox>
#include <QDateEdit>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSplitter>
#include <QTabWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "core/mdlHouse.h"
#include "core/ui/FileDialog.h"
#include "core/ui/MsgBox.h"
#include "core/ui/Twips.h"
#include "report/ReportCharts.h"
#include "report/ReportOutput.h"
#include "report/ReportTables.h"
#include "sales/SalesSql.h"

namespace {

enum RangeChoice { kToday, kThisWeek, kThisMonth, kCustom };

QTreeWidget* makeList(QWidget* parent, const char* name)
{
    auto* list = ui::MakeNamed<QTreeWidget>(parent, name);
    list->setRootIsDecorated(false);
    list->setAlternatingRowColors(true);
    list->setUniformRowHeights(true);
    list->header()->setStretchLastSection(false);
    return list;
}

void fillList(QTreeWidget* list, const report::Table& table)
{
    list->clear();
    list->setColumnCount(table.headers.size());
    list->setHeaderLabels(table.headers);
    QList<QTreeWidgetItem*> items;
    for (const QVariantList& row : table.rows) {
        auto* item = new QTreeWidgetItem;
        for (int c = 0; c < row.size(); ++c) {
            item->setText(c, report::CellText(row[c], table.amounts[size_t(c)]));
            if (row[c].typeId() != QMetaType::QString)
                item->setTextAlignment(c, Qt::AlignRight | Qt::AlignVCenter);
        }
        items << item;
    }
    list->addTopLevelItems(items);
    for (int c = 0; c < table.headers.size(); ++c) list->resizeColumnToContents(c);
}

// The caption a price most likely sits under: the first one that says 总价, else 价.
QString likelyPriceCaption(const QStringList& captions)
{
    for (const QString& word : {QStringLiteral("总价"), QStringLiteral("价")})
        for (const QString& c : captions)
            if (c.contains(word)) return c;
    return QString();
}

}  // namespace

frmSalesReport::frmSalesReport()
{
    setObjectName(QStringLiteral("frmSalesReport"));
    setWindowTitle(QStringLiteral("销售报表"));
    setupControls();
}

void frmSalesReport::setupControls()
{
    lblRange = ui::MakeNamed<QLabel>(this, "lblRange", QStringLiteral("日期"));
    cmbRange = ui::MakeNamed<QComboBox>(this, "cmbRange");
    cmbRange->addItems(
        {QStringLiteral("今天"), QStringLiteral("本周"), QStringLiteral("本月"), QStringLiteral("自定义")});
    lblFrom = ui::MakeNamed<QLabel>(this, "lblFrom", QStringLiteral("从"));
    lblTo = ui::MakeNamed<QLabel>(this, "lblTo", QStringLiteral("至"));
    for (QDateEdit** edit : {&dtpFrom, &dtpTo}) {
        *edit = ui::MakeNamed<QDateEdit>(this, edit == &dtpFrom ? "dtpFrom" : "dtpTo");
        (*edit)->setCalendarPopup(true);
        (*edit)->setDisplayFormat(QStringLiteral("yyyy-MM-dd"));
        (*edit)->setDateRange(QDate(2000, 1, 1), QDate(2099, 12, 31));
    }
    lblPrice = ui::MakeNamed<QLabel>(this, "lblPrice", QStringLiteral("价格项"));
    cmbPrice = ui::MakeNamed<QComboBox>(this, "cmbPrice");
    cmbPrice->setMinimumWidth(110);
    cmbPrice->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    cmdRefresh = ui::MakeNamed<QPushButton>(this, "cmdRefresh", QStringLiteral("统计"));
    cmdExcel = ui::MakeNamed<QPushButton>(this, "cmdExcel", QStringLiteral("导出 Excel…"));
    cmdPdf = ui::MakeNamed<QPushButton>(this, "cmdPdf", QStringLiteral("导出 PDF…"));

    tabReport = ui::MakeNamed<QTabWidget>(this, "tabReport");
    lsvStatus = makeList(this, "lsvStatus");
    lsvBuildings = makeList(this, "lsvBuildings");
    lsvConsultants = makeList(this, "lsvConsultants");
    lsvDays = makeList(this, "lsvDays");
    lsvNotSummed = makeList(this, "lsvNotSummed");
    chtStatus = ui::MakeNamed<QChartView>(this, "chtStatus");
    chtDaily = ui::MakeNamed<QChartView>(this, "chtDaily");
    for (QChartView* view : {chtStatus, chtDaily}) {
        view->setRenderHint(QPainter::Antialiasing, true);
        view->setMinimumHeight(220);
    }
    auto* charts = new QSplitter(Qt::Vertical, this);
    charts->setObjectName(QStringLiteral("splCharts"));
    charts->addWidget(chtStatus);
    charts->addWidget(chtDaily);
    tabReport->addTab(charts, QStringLiteral("图表"));
    tabReport->addTab(lsvStatus, QStringLiteral("现状"));
    tabReport->addTab(lsvBuildings, QStringLiteral("按楼宇"));
    tabReport->addTab(lsvConsultants, QStringLiteral("按置业顾问"));
    tabReport->addTab(lsvDays, QStringLiteral("每日"));
    tabReport->addTab(lsvNotSummed, QStringLiteral("未计入金额"));
    lblSummary = ui::MakeNamed<QLabel>(this, "lblSummary");
    lblSummary->setWordWrap(true);
    lblSummary->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* top = new QHBoxLayout;
    for (QWidget* w : std::initializer_list<QWidget*>{lblRange, cmbRange, lblFrom, dtpFrom, lblTo, dtpTo,
                                                      lblPrice, cmbPrice, cmdRefresh})
        top->addWidget(w);
    top->addStretch(1);
    top->addWidget(cmdExcel);
    top->addWidget(cmdPdf);
    auto* all = new QVBoxLayout(this);
    all->addLayout(top);
    all->addWidget(lblSummary);
    all->addWidget(tabReport, 1);

    connect(cmbRange, &QComboBox::currentIndexChanged, this, [this](int index) { chooseRange(index); });
    // A date typed or picked makes the range a range of the user's own, shown on the next 统计.
    for (QDateEdit* edit : {dtpFrom, dtpTo})
        connect(edit, &QDateEdit::dateChanged, this, [this] {
            if (!setting_) cmbRange->setCurrentIndex(kCustom);
        });
    connect(cmdRefresh, &QPushButton::clicked, this, [this] { ShowReport(); });
    connect(cmdExcel, &QPushButton::clicked, this, [this] { cmdExcel_Click(); });
    connect(cmdPdf, &QPushButton::clicked, this, [this] { cmdPdf_Click(); });
}

void frmSalesReport::Load()
{
    SetCaption(QStringLiteral("销售报表"));
    SetSizeTwips(15600, 9600);
    fillCaptions();
    setting_ = true;
    cmbRange->setCurrentIndex(kToday);
    setting_ = false;
    chooseRange(kToday);
}

void frmSalesReport::fillCaptions()
{
    QStringList captions;
    db::Connection connection;
    mdlHouse::OpenDatabase(connection);
    db::Recordset rs;
    if (connection.Execute(sales::CaptionsSql(), rs)) {
        for (; !rs.Eof(); rs.MoveNext())
            if (!rs.Field(0).toString().isEmpty()) captions << rs.Field(0).toString();
        rs.Close();
    }
    connection.Close();
    const QString keep = cmbPrice->count() > 0 ? cmbPrice->currentText() : likelyPriceCaption(captions);
    cmbPrice->clear();
    cmbPrice->addItems(QStringList{QString()} + captions);
    const int at = cmbPrice->findText(keep, Qt::MatchFixedString | Qt::MatchCaseSensitive);
    cmbPrice->setCurrentIndex(std::max(0, at));
}

void frmSalesReport::chooseRange(int index)
{
    if (setting_ || index == kCustom) return;
    QDate from;
    QDate to;
    const report::RangeKind kinds[] = {report::RangeKind::Today, report::RangeKind::ThisWeek,
                                       report::RangeKind::ThisMonth};
    report::RangeAround(kinds[index], QDate::currentDate(), &from, &to);
    setting_ = true;
    dtpFrom->setDate(from);
    dtpTo->setDate(to);
    setting_ = false;
    ShowReport();
}

bool frmSalesReport::ShowReport()
{
    if (dtpFrom->date() > dtpTo->date()) {
        ui::MsgBox(QStringLiteral("开始日期不能晚于结束日期。"));
        dtpFrom->setFocus();
        return false;
    }
    db::Connection connection;
    mdlHouse::OpenDatabase(connection);
    if (!connection.IsOpen()) return false;
    report::SalesFigures figures;
    const bool ok = figures.Compute(connection, dtpFrom->date(), dtpTo->date(), cmbPrice->currentText());
    connection.Close();
    if (!ok) {
        ui::MsgBox(QStringLiteral("无法读取销售数据：") + figures.Error());
        return false;
    }
    figures_ = figures;
    shown_ = true;
    showTables();
    showCharts();
    return true;
}

void frmSalesReport::showTables()
{
    const std::vector<report::Table> tables = report::Tables(figures_);
    QTreeWidget* lists[] = {lsvStatus, lsvBuildings, lsvConsultants, lsvDays, lsvNotSummed};
    for (size_t i = 0; i < tables.size(); ++i) fillList(lists[i], tables[i]);
    QString summary = report::Summary(figures_);
    if (figures_.notSummedCount > int(figures_.notSummed.size()))
        summary += QStringLiteral("（列出前 %1 套）").arg(figures_.notSummed.size());
    lblSummary->setText(summary);
}

void frmSalesReport::showCharts()
{
    const QFont font = this->font();
    for (QChartView* view : {chtStatus, chtDaily}) {
        QChart* old = view->chart();
        view->setChart(view == chtStatus ? report::StatusChart(figures_, font)
                                         : report::DailyChart(figures_, font));
        // A chart view made without a chart holds one of its own; either way the old one goes.
        delete old;
    }
}

QString frmSalesReport::suggestedName(const QString& extension) const
{
    QString name = QStringLiteral("销售报表_") + figures_.from.toString(QStringLiteral("yyyyMMdd"));
    if (figures_.to != figures_.from)
        name += QLatin1Char('-') + figures_.to.toString(QStringLiteral("yyyyMMdd"));
    return name + extension;
}

void frmSalesReport::cmdExcel_Click()
{
    if (!shown_ && !ShowReport()) return;
    QString path = ui::GetSaveFileName(this, QStringLiteral("Excel 工作簿(*.xlsx)|*.xlsx"),
                                       suggestedName(QStringLiteral(".xlsx")));
    if (path.isEmpty()) return;
    if (!path.endsWith(QStringLiteral(".xlsx"), Qt::CaseInsensitive)) path += QStringLiteral(".xlsx");
    QString error;
    if (!report::SaveXlsx(figures_, path, &error)) ui::MsgBox(error);
}

void frmSalesReport::cmdPdf_Click()
{
    if (!shown_ && !ShowReport()) return;
    QString path = ui::GetSaveFileName(this, QStringLiteral("PDF 文件(*.pdf)|*.pdf"),
                                       suggestedName(QStringLiteral(".pdf")));
    if (path.isEmpty()) return;
    if (!path.endsWith(QStringLiteral(".pdf"), Qt::CaseInsensitive)) path += QStringLiteral(".pdf");
    QString error;
    if (!report::SavePdf(figures_, path, &error)) ui::MsgBox(error);
}
