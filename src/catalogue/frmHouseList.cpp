#include "catalogue/frmHouseList.h"

#include <QAction>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QMetaObject>
#include <QPushButton>
#include <QSet>
#include <vector>

#include "catalogue/HouseQuery.h"
#include "core/Save.h"
#include "core/db/Convert.h"
#include "core/mdlHouse.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"
#include "core/ui/MsgBox.h"
#include "core/ui/Twips.h"

using ui::Px;

namespace {

// The window's size when it opens and the smallest size it lets itself be dragged to (twips).
constexpr int kLoadWidth = 10100;
constexpr int kLoadHeight = 7000;
constexpr int kMinWidth = 10100;
constexpr int kMinHeight = 3000;

// Where the list starts; its width and height follow the window (see Resized).
constexpr int kListLeft = 120;
constexpr int kListTop = 1680;
constexpr int kButtonWidth = 1000;
constexpr int kButtonHeight = 375;

// Index of a result column by name, without regard to case; -1 when the statement has none.
int fieldIndex(const db::Recordset& rs, const QString& name)
{
    for (int i = 0; i < rs.FieldCount(); ++i) {
        if (rs.FieldName(i).compare(name, Qt::CaseInsensitive) == 0) return i;
    }
    return -1;
}

}  // namespace

frmHouseList::frmHouseList()
{
    setObjectName(QStringLiteral("frmHouseList"));
    SetCaption(QStringLiteral("列表"));
    setupControls();
}

void frmHouseList::setupControls()
{
    auto label = [](QWidget* parent, const char* name, const QString& caption) {
        return ui::MakeNamed<QLabel>(parent, name, caption);
    };
    auto combo = [](QWidget* parent, const char* name) {
        auto* c = ui::MakeNamed<QComboBox>(parent, name);
        c->setEditable(true);
        // Typed text is the criterion as it stands: never completed, never added to the list.
        c->setInsertPolicy(QComboBox::NoInsert);
        c->setCompleter(nullptr);
        c->setMaxVisibleItems(20);
        return c;
    };
    auto button = [](const char* name, const QString& caption, QWidget* parent) {
        auto* b = ui::MakeNamed<QPushButton>(parent, name, caption);
        b->setAutoDefault(false);
        return b;
    };

    Frame1 = new QGroupBox(QStringLiteral(" 查询内容 "), this);
    Frame1->setObjectName(QStringLiteral("Frame1"));
    ui::PlaceTwips(Frame1, kListLeft, 60, 9520, 1260);

    constexpr int row1 = 330, row2 = 780, rowHeight = 345;
    lblHouseName = label(Frame1, "lblHouseName", QStringLiteral("名称"));
    cmbHouseName = combo(Frame1, "cmbHouseName");
    lblHouseType = label(Frame1, "lblHouseType", QStringLiteral("类型"));
    cmbHouseType = combo(Frame1, "cmbHouseType");
    lblHouseFloor = label(Frame1, "lblHouseFloor", QStringLiteral("楼层"));
    cmbHouseFloor = combo(Frame1, "cmbHouseFloor");
    lblHouseNo = label(Frame1, "lblHouseNo", QStringLiteral("房号"));
    cmbHouseNo = combo(Frame1, "cmbHouseNo");
    lblOthers = label(Frame1, "lblOthers", QStringLiteral("其它"));
    cmbCaption = combo(Frame1, "cmbCaption");
    cmbContent = combo(Frame1, "cmbContent");
    cmdQuery = button("cmdQuery", QStringLiteral("查询"), Frame1);

    ui::PlaceTwips(lblHouseName, 180, row1, 540, rowHeight);
    ui::PlaceTwips(cmbHouseName, 720, row1, 2760, rowHeight);
    ui::PlaceTwips(lblHouseType, 3660, row1, 540, rowHeight);
    ui::PlaceTwips(cmbHouseType, 4200, row1, 1980, rowHeight);
    ui::PlaceTwips(lblHouseFloor, 6360, row1, 540, rowHeight);
    ui::PlaceTwips(cmbHouseFloor, 6900, row1, 1080, rowHeight);
    ui::PlaceTwips(lblHouseNo, 180, row2, 540, rowHeight);
    ui::PlaceTwips(cmbHouseNo, 720, row2, 1380, rowHeight);
    ui::PlaceTwips(lblOthers, 2280, row2, 540, rowHeight);
    ui::PlaceTwips(cmbCaption, 2820, row2, 1800, rowHeight);
    ui::PlaceTwips(cmbContent, 4740, row2, 3240, rowHeight);
    ui::PlaceTwips(cmdQuery, 8220, row2 - 15, kButtonWidth, kButtonHeight);

    lblStatus = label(this, "lblStatus", QStringLiteral("返回记录数"));
    ui::PlaceTwips(lblStatus, kListLeft, 1380, 9520, 270);

    lsvHouse = new ui::ListView(this);
    lsvHouse->setObjectName(QStringLiteral("lsvHouse"));
    ui::PlaceTwips(lsvHouse, kListLeft, kListTop, kLoadWidth - 580, kLoadHeight - 3000);

    // One row under the list; the exit button sits at the list's right edge.
    cmdShow = button("cmdShow", QStringLiteral("查看"), this);
    cmdEdit = button("cmdEdit", QStringLiteral("编辑"), this);
    cmdDelete = button("cmdDelete", QStringLiteral("删除"), this);
    cmdAddNew = button("cmdAddNew", QStringLiteral("新增"), this);
    cmdRefresh = button("cmdRefresh", QStringLiteral("刷新"), this);
    cmdAll = button("cmdAll", QStringLiteral("全部"), this);
    cmdExit = button("cmdExit", QStringLiteral("退出"), this);
    const int buttonTop = kLoadHeight - 1100;
    int left = kListLeft;
    for (QPushButton* b : {cmdShow, cmdEdit, cmdDelete, cmdAddNew, cmdRefresh, cmdAll}) {
        ui::PlaceTwips(b, left, buttonTop, kButtonWidth, kButtonHeight);
        left += kButtonWidth + 120;
    }
    ui::PlaceTwips(cmdExit, kListLeft + 9520 - kButtonWidth, buttonTop, kButtonWidth, kButtonHeight);

    // The list's context menu hands the houses it shows, the current query's result, to the
    // price-list export.
    mnuExportList = new QAction(QStringLiteral("导出查询结果…"), lsvHouse);
    mnuExportList->setObjectName(QStringLiteral("mnuExportList"));
    lsvHouse->setContextMenuPolicy(Qt::ActionsContextMenu);
    lsvHouse->addAction(mnuExportList);
    connect(mnuExportList, &QAction::triggered, this, [this] { ExportList(); });

    connect(cmdQuery, &QPushButton::clicked, this, [this] { cmdQuery_Click(); });
    connect(cmdAll, &QPushButton::clicked, this, [this] { cmdAll_Click(); });
    connect(cmdRefresh, &QPushButton::clicked, this, [this] { StartList(); });
    connect(cmdShow, &QPushButton::clicked, this, [this] { cmdShow_Click(); });
    connect(cmdEdit, &QPushButton::clicked, this, [this] { cmdEdit_Click(); });
    connect(cmdAddNew, &QPushButton::clicked, this, [this] { cmdAddNew_Click(); });
    connect(cmdDelete, &QPushButton::clicked, this, [this] { cmdDelete_Click(); });
    connect(cmdExit, &QPushButton::clicked, this, [this] { UnloadForm(); });
    connect(lsvHouse, &ui::ListView::ItemDblClick, this, [this](int) { cmdShow_Click(); });
    // Every header click sorts ascending by that column; clicking again does not reverse it.
    connect(lsvHouse, &ui::ListView::ColumnClick, this, [this](int column) { lsvHouse->SetSortKey(column); });
}

void frmHouseList::Load()
{
    SetSizeTwips(kLoadWidth, kLoadHeight);
    // Report view, full-row selection, grid lines, a selection that stays visible without the
    // focus and no editing in place are how ui::ListView always behaves.
    querySql_.Clear();
    queryCaption_.clear();
    StartList();
}

void frmHouseList::Unload()
{
    recordset_.Close();
    connection_.Close();
}

void frmHouseList::StartList()
{
    for (QComboBox* c : {cmbHouseName, cmbHouseType, cmbHouseFloor, cmbHouseNo, cmbCaption, cmbContent}) {
        c->clear();
        c->clearEditText();
    }
    lsvHouse->Model()->ClearItems();
    lsvHouse->Model()->ClearColumns();

    fillQueryBoxes();
    addColumns();
    fillList();
    // Whatever order the statement gave, the list shows the houses by their number, and the
    // selection starts on the top row, where the user can see it.
    lsvHouse->SetSortKey(0);
    lsvHouse->SelectRow(0);
}

void frmHouseList::fillQueryBoxes()
{
    mdlHouse::OpenDatabase(connection_);
    auto fill = [this](QComboBox* box, const QString& sql, const QString& field) {
        db::Recordset rs;
        if (!connection_.Execute(sql, rs)) return;
        const int column = fieldIndex(rs, field);
        QStringList entries;
        for (; !rs.Eof(); rs.MoveNext()) {
            const QVariant value = rs.Field(column);
            // A missing value cannot be offered as an entry; it is skipped like any failing step.
            if (!value.isNull()) entries << value.toString();
        }
        rs.Close();
        box->addItems(entries);
    };
    fill(cmbHouseName, catalogue::HouseNamesSql(), QStringLiteral("HouseName"));
    fill(cmbHouseType, catalogue::HouseTypesSql(), QStringLiteral("HouseType"));
    QStringList floors;
    for (int floor = 1; floor <= 40; ++floor) floors << QString::number(floor);
    cmbHouseFloor->addItems(floors);
    fill(cmbHouseNo, catalogue::HouseNumbersSql(), QStringLiteral("HouseNo"));
    fill(cmbCaption, catalogue::CaptionsSql(), QStringLiteral("Caption"));
    fill(cmbContent, catalogue::ContentsSql(), QStringLiteral("Content"));
    connection_.Close();

    // A combo box picks its first entry by itself when entries arrive; the boxes start blank.
    for (QComboBox* c : {cmbHouseName, cmbHouseType, cmbHouseFloor, cmbHouseNo, cmbCaption, cmbContent}) {
        c->setCurrentIndex(-1);
        c->clearEditText();
    }
}

void frmHouseList::addColumns()
{
    ui::ListModel* model = lsvHouse->Model();
    model->AddColumn(QStringLiteral("序号"), 1000);
    model->AddColumn(QStringLiteral("楼宇名称"), 1500);
    model->AddColumn(QStringLiteral("房间类型"), 1200);
    model->AddColumn(QStringLiteral("房间号"), 1000);
    if (!queryCaption_.isEmpty()) model->AddColumn(queryCaption_, 1500);
    model->AddColumn(QStringLiteral("说明"), 3000);
}

void frmHouseList::fillList()
{
    mdlHouse::OpenDatabase(connection_);
    workSql_ = querySql_.IsEmpty() ? catalogue::AllHousesSql() : querySql_;
    if (!recordset_.Open(workSql_, connection_, db::CursorType::Keyset, db::LockType::ReadOnly)) {
        // The statement failed (no database, a server gone away): like every failing step it is
        // skipped and the list stays empty. A query still says what it found, so that the
        // status line never goes on saying that one is running.
        if (!querySql_.IsEmpty())
            lblStatus->setText(QStringLiteral("共查询到 ") + QString::number(0) + QStringLiteral(" 项。"));
        connection_.Close();
        return;
    }
    const int recordCount = recordset_.RecordCount();

    if (!querySql_.IsEmpty()) {
        lblStatus->setText(QStringLiteral("共查询到 ") + QString::number(recordCount) +
                           QStringLiteral(" 项。"));
    } else {
        db::Recordset count;
        if (connection_.Execute(catalogue::CountHousesSql(), count) && !count.Eof()) {
            const QString all = count.Field(QStringLiteral("a")).toString();
            lblStatus->setText(QStringLiteral("全部记录共 ") + all + QStringLiteral(" 项。"));
        }
        count.Close();
    }

    if (recordCount > 0) {
        const int id = fieldIndex(recordset_, QStringLiteral("HouseID"));
        const int name = fieldIndex(recordset_, QStringLiteral("HouseName"));
        const int type = fieldIndex(recordset_, QStringLiteral("HouseType"));
        const int number = fieldIndex(recordset_, QStringLiteral("HouseNo"));
        const int intro = fieldIndex(recordset_, QStringLiteral("Intro"));
        const int content = fieldIndex(recordset_, QStringLiteral("Content"));
        const bool withCaption = !queryCaption_.isEmpty();

        // The rows go into the model in one step: a list of 100,000 houses must open quickly.
        std::vector<QStringList> rows;
        rows.reserve(size_t(recordCount));
        for (; !recordset_.Eof(); recordset_.MoveNext()) {
            QStringList row;
            row.reserve(withCaption ? 6 : 5);
            row << db::PaddedHouseNumber(recordset_.Field(id).toLongLong())
                << recordset_.Field(name).toString() << recordset_.Field(type).toString()
                << recordset_.Field(number).toString();
            if (withCaption) row << recordset_.Field(content).toString();
            row << recordset_.Field(intro).toString();
            rows.push_back(std::move(row));
        }
        lsvHouse->Model()->SetItems(std::move(rows));
    }
    recordset_.Close();
    connection_.Close();
}

void frmHouseList::cmdQuery_Click()
{
    if (!mdlHouse::CheckNumberRange(cmbHouseFloor, QStringLiteral("楼层"), 1, 99)) return;
    catalogue::HouseCriteria criteria;
    criteria.houseName = cmbHouseName->currentText();
    criteria.houseType = cmbHouseType->currentText();
    criteria.houseFloor = cmbHouseFloor->currentText();
    criteria.houseNo = cmbHouseNo->currentText();
    criteria.caption = cmbCaption->currentText();
    criteria.content = cmbContent->currentText();
    workSql_ = catalogue::BuildHouseQuery(criteria);
    lblStatus->setText(QStringLiteral("正在查询，请稍候..."));
    querySql_ = workSql_;
    queryCaption_ = criteria.caption;
    StartList();
}

void frmHouseList::cmdAll_Click()
{
    querySql_.Clear();
    queryCaption_.clear();
    StartList();
}

void frmHouseList::cmdShow_Click()
{
    if (GetSelectedHouse() != 0) OpenPresentation();
}

void frmHouseList::cmdEdit_Click()
{
    if (GetSelectedHouse() != 0) OpenEntry(ui::InputMode::Edit);
}

void frmHouseList::cmdAddNew_Click()
{
    OpenEntry(ui::InputMode::Add);
}

void frmHouseList::cmdDelete_Click()
{
    if (GetSelectedHouse() == 0) return;
    const QString text =
        QStringLiteral("确实要删除序号为 ") + lsvHouse->SelectedText() + QStringLiteral(" 的项目吗？");
    if (ui::MsgBox(text, ui::Buttons::YesNo) != ui::Answer::Yes) return;
    DeleteHouse();
    StartList();
}

qint32 frmHouseList::GetSelectedHouse()
{
    if (lsvHouse->Model()->Count() == 0) {
        mdlHouse::CurrentHouseID = 0;
        return 0;
    }
    qint32 key = 0;
    db::ToLong(lsvHouse->SelectedText(), &key);
    mdlHouse::CurrentHouseID = key;
    return key;
}

void frmHouseList::OpenPresentation()
{
    // Unloading first makes every show start afresh: the house, its pictures and its music of now.
    Forms::Unload(QStringLiteral("frmHouseShow"));
    Forms::Show(QStringLiteral("frmHouseShow"));
}

void frmHouseList::OpenEntry(ui::InputMode mode)
{
    // The wizard takes the mode through its StartInput.
    if (ui::HouseInputCalls* wizard = ui::ShowHouseInput()) wizard->StartInput(mode);
}

void frmHouseList::DeleteHouse()
{
    const qint32 key = mdlHouse::CurrentHouseID;
    mdlHouse::OpenDatabase(connection_);
    // The house and its rows go together or not at all. The house is held first: a wizard on
    // another PC saving it holds it until that save is written, and this deletion then removes the
    // rows it wrote too (each statement here sees what was committed before it began). A house
    // another PC deleted already leaves nothing to do.
    mdlHouse::Save deletion(connection_);
    if (deletion.Require(QStringLiteral("t_House"), QStringLiteral("HouseID"), key,
                         db::Connection::RowLock::Update, QString()) != 1) {
        connection_.Close();
        return;
    }
    connection_.Execute(catalogue::DeleteHouseSql(key));
    connection_.Execute(catalogue::DeleteContentSql(key));
    // The picture rows are read and walked but their files are left in Images on purpose:
    // deleting a house never deletes a file.
    if (connection_.Execute(catalogue::SelectImageFilesSql(key), recordset_)) {
        while (!recordset_.Eof()) recordset_.MoveNext();
    }
    recordset_.Close();
    connection_.Execute(catalogue::DeleteImageSql(key));
    deletion.Finish();
    connection_.Close();
}

void frmHouseList::ExportList()
{
    QSet<qint32> houses;
    for (const QStringList& row : lsvHouse->Model()->Rows()) {
        qint32 key = 0;
        if (db::ToLong(row.value(0), &key)) houses.insert(key);
    }
    ui::ExportPriceList(this, &houses);
}

void frmHouseList::Resized()
{
    // Lengths are in twips of the window's outer size, as the layout rules give them.
    QWidget* frame = Frame();
    const int minWidth = Px(kMinWidth);
    const int minHeight = Px(kMinHeight);
    if (frame->width() < minWidth || frame->height() < minHeight) {
        frame->resize(qMax(frame->width(), minWidth), qMax(frame->height(), minHeight));
    }
    const int width = ui::Twips(frame->width());
    const int height = ui::Twips(frame->height());
    lsvHouse->resize(Px(width - 580), Px(height - 3000));
    for (QPushButton* b : {cmdShow, cmdRefresh, cmdAll, cmdEdit, cmdDelete, cmdAddNew, cmdExit}) {
        b->move(b->x(), Px(height - 1100));
    }
}
