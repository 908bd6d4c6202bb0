#include "sales/frmSalesBoard.h"

#include <QApplication>
#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QPrinter>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "core/Save.h"
#include "core/db/ChangeContext.h"
#include "core/db/ChangeWatcher.h"
#include "core/db/Clock.h"
#include "core/db/Expiry.h"
#include "core/db/Recordset.h"
#include "core/db/Store.h"
#include "core/mdlHouse.h"
#include "core/ui/FileDialog.h"
#include "core/ui/Forms.h"
#include "core/ui/InputBox.h"
#include "core/ui/MsgBox.h"
#include "core/ui/PrintDialog.h"
#include "core/ui/Twips.h"
#include "core/ui/WindowCalls.h"
#include "deals/Clock.h"
#include "deals/OpenDeals.h"
#include "sales/BoardChanges.h"
#include "sales/BoardOutput.h"
#include "sales/HouseSheet.h"
#include "sales/SalesBoardView.h"
#include "sales/SalesSql.h"

namespace {

const QString kStatusCaption = QStringLiteral("状态");
constexpr int kReadAgainMs = 300;

QIcon swatch(const QColor& colour)
{
    QPixmap pixmap(14, 14);
    pixmap.fill(colour);
    QPainter painter(&pixmap);
    painter.setPen(colour.darker(140));
    painter.drawRect(0, 0, 13, 13);
    return QIcon(pixmap);
}

// Puts the items into a chooser, keeping the chosen text when it is still there.
void fill(QComboBox* box, const QStringList& items, const QString& keep)
{
    box->clear();
    box->addItems(items);
    const int at = box->findText(keep, Qt::MatchFixedString | Qt::MatchCaseSensitive);
    box->setCurrentIndex(at >= 0 ? at : (items.isEmpty() ? -1 : 0));
}

}  // namespace

frmSalesBoard::frmSalesBoard()
{
    setObjectName(QStringLiteral("frmSalesBoard"));
    setWindowTitle(QStringLiteral("销控表"));
    setupControls();
    watcher_ = new db::ChangeWatcher(this);
    connect(watcher_, &db::ChangeWatcher::Changed, this, [this] { catalogueChanged(); });
    deferred_ = new QTimer(this);
    deferred_->setSingleShot(true);
    deferred_->setInterval(100);
    connect(deferred_, &QTimer::timeout, this, [this] { catalogueChanged(); });
}

void frmSalesBoard::setupControls()
{
    auto label = [this](const char* name, const QString& text) {
        return ui::MakeNamed<QLabel>(this, name, text);
    };
    auto combo = [this](const char* name, int minimumWidth) {
        auto* c = ui::MakeNamed<QComboBox>(this, name);
        c->setMinimumWidth(minimumWidth);
        c->setSizeAdjustPolicy(QComboBox::AdjustToContents);
        return c;
    };
    auto button = [this](const char* name, const QString& text) {
        return ui::MakeNamed<QPushButton>(this, name, text);
    };
    lblBuilding = label("lblBuilding", QStringLiteral("楼宇"));
    cmbBuilding = combo("cmbBuilding", 160);
    lblStatus = label("lblStatus", QStringLiteral("状态项"));
    cmbStatus = combo("cmbStatus", 100);
    lblPrice = label("lblPrice", QStringLiteral("价格项"));
    cmbPrice = combo("cmbPrice", 100);
    cmdRefresh = button("cmdRefresh", QStringLiteral("刷新"));
    cmdPrint = button("cmdPrint", QStringLiteral("打印…"));
    cmdSave = button("cmdSave", QStringLiteral("保存…"));
    cmdWall = button("cmdWall", QStringLiteral("全屏展示"));

    picBoard = new SalesBoardView(this);
    picBoard->setObjectName(QStringLiteral("picBoard"));
    picBoard->SetBoard(&board_);

    lsvLegend = new QTreeWidget(this);
    lsvLegend->setObjectName(QStringLiteral("lsvLegend"));
    lsvLegend->setRootIsDecorated(false);
    lsvLegend->setColumnCount(3);
    lsvLegend->setHeaderLabels({QStringLiteral("状态"), QStringLiteral("套数"), QStringLiteral("占比")});
    lsvLegend->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    lsvLegend->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    lsvLegend->header()->setSectionResizeMode(2, QHeaderView::ResizeToContents);
    lsvLegend->setFixedWidth(230);

    lblSummary = label("lblSummary", QString());

    auto* top = new QHBoxLayout;
    for (QWidget* w :
         std::initializer_list<QWidget*>{lblBuilding, cmbBuilding, lblStatus, cmbStatus, lblPrice, cmbPrice})
        top->addWidget(w);
    top->addStretch(1);
    top->addWidget(cmdRefresh);
    top->addWidget(cmdPrint);
    top->addWidget(cmdSave);
    top->addWidget(cmdWall);
    auto* middle = new QHBoxLayout;
    middle->addWidget(picBoard, 1);
    middle->addWidget(lsvLegend);
    auto* all = new QVBoxLayout(this);
    all->addLayout(top);
    all->addLayout(middle, 1);
    all->addWidget(lblSummary);

    auto changed = [this] {
        if (!filling_) ShowBuilding();
    };
    connect(cmbBuilding, &QComboBox::currentIndexChanged, this, changed);
    connect(cmbStatus, &QComboBox::currentIndexChanged, this, changed);
    connect(cmbPrice, &QComboBox::currentIndexChanged, this, changed);
    connect(cmdRefresh, &QPushButton::clicked, this, [this] { Refresh(); });
    connect(cmdPrint, &QPushButton::clicked, this, [this] { cmdPrint_Click(); });
    connect(cmdSave, &QPushButton::clicked, this, [this] { cmdSave_Click(); });
    connect(cmdWall, &QPushButton::clicked, this, [this] { cmdWall_Click(); });
    connect(picBoard, &SalesBoardView::unitDoubleClicked, this,
            [this](qint32 house) { openPresentation(house); });
    connect(picBoard, &SalesBoardView::unitContextMenu, this, [this](qint32 house, const QPoint& at) {
        QMenu* menu = CellMenu(house);
        menu->exec(at);
        delete menu;
    });
}

void frmSalesBoard::Load()
{
    SetCaption(QStringLiteral("销控表"));
    SetSizeTwips(15600, 9600);
    // Watching first, so that a change committed while the board reads is not missed.
    watcher_->WatchProgramFolder(mdlHouse::ProgramFolder());
    Refresh();
}

void frmSalesBoard::Unload()
{
    watcher_->Stop();
    deferred_->stop();
}

void frmSalesBoard::catalogueChanged()
{
    if (QApplication::activePopupWidget() || QApplication::activeModalWidget()) {
        if (!deferred_->isActive()) deferred_->start();
        return;
    }
    ReloadChanged();
}

void frmSalesBoard::ReloadChanged()
{
    if (board_.building.isEmpty()) return;
    const sales::Board before = board_;
    if (!readBuilding(true)) {
        board_ = before;
        // Held up by a writer, most likely: once more shortly. A catalogue out of reach is tried
        // again when the watcher reaches it again.
        if (watcher_->Connected()) QTimer::singleShot(kReadAgainMs, this, [this] { catalogueChanged(); });
        return;
    }
    const sales::BoardChanges changes = sales::CompareBoards(before, board_);
    if (changes.sameLayout && changes.houses.empty()) return;
    if (changes.sameLayout) {
        for (const qint32 house : changes.houses) picBoard->UpdateUnit(house);
    } else {
        picBoard->BoardChanged();
    }
    showLegend();
}

void frmSalesBoard::Refresh()
{
    fillChoosers();
    ShowBuilding();
}

void frmSalesBoard::fillChoosers()
{
    QStringList buildings;
    QStringList captions;
    mdlHouse::OpenDatabase(connection_);
    db::Recordset rs;
    if (connection_.Execute(sales::BuildingsSql(), rs)) {
        for (; !rs.Eof(); rs.MoveNext()) buildings << rs.Field(0).toString();
        rs.Close();
    }
    if (connection_.Execute(sales::CaptionsSql(), rs)) {
        for (; !rs.Eof(); rs.MoveNext())
            if (!rs.Field(0).toString().isEmpty()) captions << rs.Field(0).toString();
        rs.Close();
    }
    connection_.Close();

    const bool first = cmbStatus->count() == 0 && cmbBuilding->count() == 0;
    filling_ = true;
    fill(cmbBuilding, buildings, cmbBuilding->currentText());
    // The board writes its status under "状态" unless another caption is chosen, so it is offered
    // even before any house has such a row.
    QStringList statusCaptions = captions;
    if (!statusCaptions.contains(kStatusCaption, Qt::CaseInsensitive)) statusCaptions.prepend(kStatusCaption);
    fill(cmbStatus, statusCaptions, first ? kStatusCaption : cmbStatus->currentText());
    fill(cmbPrice, QStringList{QString()} + captions, first ? QString() : cmbPrice->currentText());
    filling_ = false;
}

void frmSalesBoard::ShowBuilding()
{
    readBuilding(false);
    picBoard->BoardChanged();
    showLegend();
}

bool frmSalesBoard::readBuilding(bool quiet)
{
    // A read nobody clicked for (another PC's change) gives no message when the catalogue is out
    // of reach.
    if (quiet)
        db::OpenCatalogue(connection_, mdlHouse::ProgramFolder());
    else
        mdlHouse::OpenDatabase(connection_);
    // Reading the open deals first releases the holds past their end, so that the statuses read
    // after it never show a hold that has already run out.
    deals::OpenDeals open;
    QDateTime now;
    if (connection_.IsOpen()) {
        open = deals::ReadOpenDeals(connection_, cmbBuilding->currentText());
        now = deals::Now(connection_);
        readDealSettings();
    }
    const bool read = board_.Load(connection_, cmbBuilding->currentText(), cmbStatus->currentText(),
                                  cmbPrice->currentText());
    connection_.Close();
    if (read) attachDeals(open, now);
    return read;
}

void frmSalesBoard::showLegend()
{
    lsvLegend->clear();
    QList<QTreeWidgetItem*> items;
    for (const sales::LegendEntry& e : board_.Legend()) {
        auto* item = new QTreeWidgetItem({sales::StatusLabel(e.value), QString::number(e.count),
                                          QString::number(e.share, 'f', 1) + QLatin1Char('%')});
        item->setIcon(0, swatch(e.colour));
        item->setData(0, Qt::UserRole, e.value);
        item->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
        item->setTextAlignment(2, Qt::AlignRight | Qt::AlignVCenter);
        items << item;
    }
    lsvLegend->addTopLevelItems(items);
    if (board_.building.isEmpty())
        lblSummary->setText(QStringLiteral("目录中没有房源。"));
    else
        lblSummary->setText(QStringLiteral("%1：共 %2 套，%3 行")
                                .arg(board_.building)
                                .arg(board_.units.size())
                                .arg(board_.rows.size()));
}

void frmSalesBoard::openPresentation(qint32 houseId)
{
    // As the catalogue's view button does: the house becomes the current one and its
    // presentation starts afresh.
    mdlHouse::CurrentHouseID = houseId;
    Forms::Unload(QStringLiteral("frmHouseShow"));
    Forms::Show(QStringLiteral("frmHouseShow"));
}

QMenu* frmSalesBoard::CellMenu(qint32 houseId)
{
    auto* menu = new QMenu(this);
    menu->setObjectName(QStringLiteral("mnuBoardCell"));
    const int index = board_.IndexOf(houseId);
    if (index < 0) return menu;
    const QString current = board_.units[size_t(index)].status;
    const QString caption = board_.statusCaption;

    QMenu* status = menu->addMenu(QStringLiteral("设置") + (caption.isEmpty() ? kStatusCaption : caption));
    status->setObjectName(QStringLiteral("mnuSetStatus"));
    status->menuAction()->setObjectName(QStringLiteral("mnuSetStatus"));
    status->setEnabled(!caption.isEmpty());
    if (!caption.isEmpty()) {
        mdlHouse::OpenDatabase(connection_);
        db::Recordset rs;
        QStringList values;
        if (connection_.Execute(sales::CaptionValuesSql(caption), rs)) {
            for (; !rs.Eof(); rs.MoveNext())
                if (!rs.Field(0).toString().trimmed().isEmpty()) values << rs.Field(0).toString();
            rs.Close();
        }
        connection_.Close();
        for (const QString& value : values) {
            QAction* a = status->addAction(swatch(board_.Colour(value)), value);
            a->setObjectName(QStringLiteral("mnuStatusValue"));
            a->setCheckable(true);
            a->setChecked(value == current);
            connect(a, &QAction::triggered, this, [this, houseId, value] { SetStatus(houseId, value); });
        }
        if (!values.isEmpty()) status->addSeparator();
        QAction* other = status->addAction(QStringLiteral("其他…"));
        other->setObjectName(QStringLiteral("mnuStatusOther"));
        connect(other, &QAction::triggered, this, [this, houseId] { askStatus(houseId); });
    }
    menu->addSeparator();
    QAction* show = menu->addAction(QStringLiteral("打开展示"));
    show->setObjectName(QStringLiteral("mnuShowHouse"));
    connect(show, &QAction::triggered, this, [this, houseId] { openPresentation(houseId); });
    QAction* print = menu->addAction(QStringLiteral("打印房源单页…"));
    print->setObjectName(QStringLiteral("mnuPrintSheet"));
    connect(print, &QAction::triggered, this, [this, houseId] { sales::PrintHouseSheet(this, houseId); });
    QAction* save = menu->addAction(QStringLiteral("保存房源单页为 PDF…"));
    save->setObjectName(QStringLiteral("mnuSaveSheet"));
    connect(save, &QAction::triggered, this, [this, houseId] { sales::SaveHouseSheet(this, houseId); });
    menu->addSeparator();
    addDealEntries(menu, houseId);
    return menu;
}

void frmSalesBoard::askStatus(qint32 houseId)
{
    const QString value =
        ui::InputBox(this, QStringLiteral("新的") + board_.statusCaption + QStringLiteral("："));
    if (value.trimmed().isEmpty()) return;
    SetStatus(houseId, value.trimmed());
}

bool frmSalesBoard::SetStatus(qint32 houseId, const QString& value)
{
    const int index = board_.IndexOf(houseId);
    const QString caption = board_.statusCaption;
    if (index < 0 || caption.isEmpty()) return false;
    sales::Unit& unit = board_.units[size_t(index)];

    mdlHouse::OpenDatabase(connection_);
    if (!connection_.IsOpen()) return false;
    bool written = false;
    bool failed = false;
    {
        // Only while the row still holds what the board shows (or, for a house without one, while
        // it still has none): of two PCs reserving the same unit at once, one wins and the other
        // is told.
        db::Transaction transaction(connection_);
        db::SetChangeContext(connection_, db::ChangeContext{QStringLiteral("board")});
        const bool ran = connection_.Execute(
            unit.statusRowId != 0 ? sales::UpdateShownValueSql(unit.statusRowId, unit.status, value)
                                  : sales::InsertValueRowSql(houseId, caption, value));
        const bool held = ran && connection_.RowsAffected() == 1;
        written = held && transaction.Commit();
        // A statement or a commit that failed is not somebody else's change.
        failed = !ran || (held && !written);
    }
    const bool refused = connection_.IsServer() && connection_.WriteRefused();
    // What is stored now, read the way the board reads it.
    db::Recordset rs;
    if (connection_.Execute(sales::HouseCaptionRowSql(houseId, caption), rs)) {
        unit.statusRowId = rs.Eof() ? 0 : rs.Field(0).toLongLong();
        unit.status = rs.Eof() ? QString() : rs.Field(1).toString();
        rs.Close();
    }
    connection_.Close();
    // A new value may move the colours of the other values outside the built-in ones.
    const std::vector<sales::LegendEntry> before = board_.Legend();
    board_.AssignColours();
    bool recoloured = false;
    for (const sales::LegendEntry& e : before) recoloured |= e.colour != board_.Colour(e.value);
    if (recoloured)
        picBoard->viewport()->update();
    else
        picBoard->UpdateUnit(houseId);
    showLegend();
    if (!written) {
        if (failed && refused)
            ui::MsgBox(mdlHouse::kLookOnlyMessage);
        else if (failed)
            ui::MsgBox(QStringLiteral("房间 %1 的%2未能保存，请稍后再试。").arg(unit.houseNo, caption));
        else
            ui::MsgBox(QStringLiteral("房间 %1 的%2已在别处改为“%3”，本次设置未保存。")
                           .arg(unit.houseNo, caption, sales::StatusLabel(unit.status)));
    }
    return written;
}

void frmSalesBoard::cmdPrint_Click()
{
    if (board_.units.empty()) return;
    QPrinter printer(QPrinter::HighResolution);
    printer.setFullPage(true);
    printer.setDocName(board_.building + QStringLiteral(" 销控表"));
    if (!ui::ExecPrintDialog(printer, this)) return;
    if (sales::RenderBoard(board_, &printer) == 0) ui::MsgBox(QStringLiteral("打印失败。"));
}

void frmSalesBoard::cmdWall_Click()
{
    ui::WallRequest request;
    for (int i = 0; i < cmbBuilding->count(); ++i) request.buildings << cmbBuilding->itemText(i);
    request.building = board_.building;
    request.statusCaption = board_.statusCaption;
    request.priceCaption = board_.priceCaption;
    if (request.buildings.isEmpty()) return;
    ui::StartWall(this, request);
}

void frmSalesBoard::cmdSave_Click()
{
    if (board_.units.empty()) return;
    QString path = ui::GetSaveFileName(this, QStringLiteral("PDF 文件(*.pdf)|*.pdf|PNG 图片(*.png)|*.png"),
                                       board_.building + QStringLiteral("销控表.pdf"));
    if (path.isEmpty()) return;
    bool ok;
    if (path.endsWith(QStringLiteral(".png"), Qt::CaseInsensitive)) {
        ok = sales::SaveBoardPng(board_, path);
    } else {
        if (!path.endsWith(QStringLiteral(".pdf"), Qt::CaseInsensitive)) path += QStringLiteral(".pdf");
        ok = sales::SaveBoardPdf(board_, path);
    }
    if (!ok) ui::MsgBox(QStringLiteral("无法写入文件：") + path);
}
