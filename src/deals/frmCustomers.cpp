#include "deals/frmCustomers.h"

#include <QComboBox>
#include <QDate>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "core/Save.h"
#include "core/mdlHouse.h"
#include "core/ui/ListView.h"
#include "core/ui/MsgBox.h"
#include "core/ui/Twips.h"
#include "deals/Clock.h"
#include "deals/DealSteps.h"
#include "deals/DealText.h"
#include "deals/Expiry.h"
#include "deals/Who.h"

frmCustomers::frmCustomers()
{
    setObjectName(QStringLiteral("frmCustomers"));
    setWindowTitle(QStringLiteral("客户"));
    setupControls();
}

void frmCustomers::setupControls()
{
    auto label = [this](const char* name, const QString& text) {
        return ui::MakeNamed<QLabel>(this, name, text);
    };
    lblFind = label("lblFind", QStringLiteral("姓名或电话"));
    txtFind = ui::MakeNamed<QLineEdit>(this, "txtFind");
    txtFind->setPlaceholderText(QStringLiteral("输入姓名或电话的一部分"));
    cmdFind = ui::MakeNamed<QPushButton>(this, "cmdFind", QStringLiteral("查找"));
    cmdNew = ui::MakeNamed<QPushButton>(this, "cmdNew", QStringLiteral("新建客户"));

    lsvCustomers = new ui::ListView(this);
    lsvCustomers->setObjectName(QStringLiteral("lsvCustomers"));
    ui::ListModel* model = lsvCustomers->Model();
    model->AddColumn(QStringLiteral("姓名"), 1400);
    model->AddColumn(QStringLiteral("电话"), 2100);
    model->AddColumn(QStringLiteral("置业顾问"), 1200);
    model->AddColumn(QStringLiteral("首次来访"), 1400);
    model->AddColumn(QStringLiteral("来源"), 800);
    lsvCustomers->ApplyColumns();
    lblCount = label("lblCount", QString());

    lblName = label("lblName", QStringLiteral("姓名"));
    txtName = ui::MakeNamed<QLineEdit>(this, "txtName");
    txtName->setMaxLength(100);
    lblPhone = label("lblPhone", QStringLiteral("电话"));
    txtPhone = ui::MakeNamed<QLineEdit>(this, "txtPhone");
    txtPhone->setMaxLength(40);
    lblConsultant = label("lblConsultant", QStringLiteral("置业顾问"));
    cmbConsultant = ui::MakeNamed<QComboBox>(this, "cmbConsultant");
    lblFirstVisit = label("lblFirstVisit", QStringLiteral("首次来访"));
    txtFirstVisit = ui::MakeNamed<QLineEdit>(this, "txtFirstVisit");
    txtFirstVisit->setPlaceholderText(QStringLiteral("YYYY-MM-DD"));
    txtFirstVisit->setMaxLength(10);
    lblSource = label("lblSource", QStringLiteral("来源"));
    cmbSource = ui::MakeNamed<QComboBox>(this, "cmbSource");
    cmbSource->addItem(QString());
    cmbSource->addItems(deals::CustomerSources());
    lblNotes = label("lblNotes", QStringLiteral("备注"));
    txtNotes = ui::MakeNamed<QPlainTextEdit>(this, "txtNotes");
    txtNotes->setTabChangesFocus(true);
    txtNotes->setMaximumHeight(110);
    cmdSave = ui::MakeNamed<QPushButton>(this, "cmdSave", QStringLiteral("保存"));
    lblDeals = label("lblDeals", QStringLiteral("房源与交易"));
    lsvDeals = new ui::ListView(this);
    lsvDeals->setObjectName(QStringLiteral("lsvDeals"));
    ui::ListModel* deals = lsvDeals->Model();
    deals->AddColumn(QStringLiteral("房源"), 1700);
    deals->AddColumn(QStringLiteral("阶段"), 700);
    deals->AddColumn(QStringLiteral("置业顾问"), 1000);
    deals->AddColumn(QStringLiteral("日期"), 2100);
    deals->AddColumn(QStringLiteral("说明"), 2200);
    lsvDeals->ApplyColumns();
    lblRefused = label("lblRefused", QString());
    lblRefused->setWordWrap(true);
    lblRefused->setStyleSheet(QStringLiteral("color: #a00000;"));
    lblRefused->hide();
    layOutControls();
    connectControls();
}

void frmCustomers::layOutControls()
{
    auto* top = new QHBoxLayout;
    top->addWidget(lblFind);
    top->addWidget(txtFind, 1);
    top->addWidget(cmdFind);
    top->addWidget(cmdNew);
    auto* form = new QFormLayout;
    form->addRow(lblName, txtName);
    form->addRow(lblPhone, txtPhone);
    form->addRow(lblConsultant, cmbConsultant);
    form->addRow(lblFirstVisit, txtFirstVisit);
    form->addRow(lblSource, cmbSource);
    form->addRow(lblNotes, txtNotes);
    auto* right = new QVBoxLayout;
    right->addLayout(form);
    right->addWidget(cmdSave, 0, Qt::AlignRight);
    right->addWidget(lblDeals);
    right->addWidget(lsvDeals, 1);
    auto* left = new QVBoxLayout;
    left->addWidget(lsvCustomers, 1);
    left->addWidget(lblCount);
    auto* middle = new QHBoxLayout;
    middle->addLayout(left, 1);
    middle->addLayout(right, 1);
    auto* all = new QVBoxLayout(this);
    all->addWidget(lblRefused);
    all->addLayout(top);
    all->addLayout(middle, 1);
}

void frmCustomers::connectControls()
{
    connect(cmdFind, &QPushButton::clicked, this, [this] { Find(); });
    connect(txtFind, &QLineEdit::returnPressed, this, [this] { Find(); });
    connect(cmdNew, &QPushButton::clicked, this, [this] { NewCustomer(); });
    connect(cmdSave, &QPushButton::clicked, this, [this] { SaveCustomer(); });
    connect(lsvCustomers, &ui::ListView::ItemClick, this, [this](int row) {
        if (row >= 0 && size_t(row) < found_.size()) OpenCustomer(found_[size_t(row)].id);
    });
}

void frmCustomers::Load()
{
    SetCaption(QStringLiteral("客户"));
    SetSizeTwips(14400, 8400);
    mdlHouse::OpenDatabase(connection_);
    if (!connection_.IsOpen()) return refuse(QString());
    // A showroom login has no right to the customers at all: the server refuses the read, and
    // the window says so instead of showing an empty list as if there were no customers.
    if (!deals::CanReadCustomers(connection_)) {
        const QString reason = connection_.LastError();
        connection_.Close();
        return refuse(reason);
    }
    ownConsultant_ = deals::ConsultantOfLogin(connection_, deals::CurrentLogin(connection_));
    connection_.Close();
    fillConsultants();
    NewCustomer();
    Find();
}

void frmCustomers::refuse(const QString& reason)
{
    lblRefused->setText(QStringLiteral("此登录不能查看客户资料。") +
                        (reason.isEmpty() ? QString() : QStringLiteral("\n服务器：") + reason));
    lblRefused->show();
    for (QWidget* w : std::initializer_list<QWidget*>{txtFind, cmdFind, cmdNew, lsvCustomers, txtName,
                                                      txtPhone, cmbConsultant, txtFirstVisit, cmbSource,
                                                      txtNotes, cmdSave, lsvDeals})
        w->setEnabled(false);
}

void frmCustomers::fillConsultants()
{
    std::vector<deals::Consultant> consultants;
    mdlHouse::OpenDatabase(connection_);
    deals::ReadConsultants(connection_, &consultants);
    connection_.Close();
    cmbConsultant->clear();
    cmbConsultant->addItem(QString(), qint64(0));
    for (const deals::Consultant& c : consultants)
        if (c.active) cmbConsultant->addItem(c.name, c.id);
    // A customer may still name one who has left; that one stays in the list, marked.
    for (const deals::Consultant& c : consultants)
        if (!c.active) cmbConsultant->addItem(c.name + QStringLiteral("（已停用）"), c.id);
}

void frmCustomers::selectConsultant(qint64 id)
{
    const int at = cmbConsultant->findData(id);
    cmbConsultant->setCurrentIndex(at >= 0 ? at : 0);
}

void frmCustomers::Find()
{
    if (!txtFind->isEnabled()) return;
    mdlHouse::OpenDatabase(connection_);
    const bool ok = deals::FindCustomers(connection_, txtFind->text(), kListLimit, &found_);
    const QString error = connection_.LastError();
    connection_.Close();
    std::vector<QStringList> rows;
    for (const deals::Customer& c : found_)
        rows.push_back({c.name, c.phone,
                        cmbConsultant->itemText(std::max(0, cmbConsultant->findData(c.consultantId))),
                        c.firstVisit, c.source});
    lsvCustomers->Model()->SetItems(std::move(rows));
    if (!ok)
        lblCount->setText(QStringLiteral("无法读取客户：") + error);
    else if (int(found_.size()) >= kListLimit)
        lblCount->setText(QStringLiteral("只列出前 %1 位客户，请输入更多文字缩小范围。").arg(kListLimit));
    else
        lblCount->setText(QStringLiteral("共 %1 位客户").arg(found_.size()));
}

bool frmCustomers::OpenCustomer(qint64 customerId)
{
    deals::Customer c;
    mdlHouse::OpenDatabase(connection_);
    const bool ok = deals::ReadCustomer(connection_, customerId, &c);
    connection_.Close();
    if (!ok) return false;
    customerId_ = c.id;
    txtName->setText(c.name);
    txtPhone->setText(c.phone);
    selectConsultant(c.consultantId);
    txtFirstVisit->setText(c.firstVisit);
    const int source = cmbSource->findText(c.source);
    cmbSource->setCurrentIndex(source >= 0 ? source : 0);
    txtNotes->setPlainText(c.notes);
    for (int row = 0; row < int(found_.size()); ++row)
        if (found_[size_t(row)].id == customerId && lsvCustomers->SelectedRow() != row)
            lsvCustomers->SelectRow(row);
    showDeals();
    return true;
}

void frmCustomers::NewCustomer()
{
    customerId_ = 0;
    txtName->clear();
    txtPhone->clear();
    selectConsultant(ownConsultant_);
    txtFirstVisit->setText(QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd")));
    cmbSource->setCurrentIndex(0);
    txtNotes->clear();
    lsvDeals->Model()->SetItems({});
    if (txtName->isEnabled()) txtName->setFocus();
}

void frmCustomers::showDeals()
{
    std::vector<deals::CustomerDeal> list;
    if (customerId_ > 0) {
        mdlHouse::OpenDatabase(connection_);
        // Holds past their end are released first, so that none is listed as still running.
        deals::ReleaseExpired(connection_, deals::Now(connection_));
        deals::ReadCustomerDeals(connection_, customerId_, &list);
        connection_.Close();
    }
    std::vector<QStringList> rows;
    for (const deals::CustomerDeal& d : list)
        rows.push_back({d.unit, deals::StageLabel(d.stage), d.consultant, d.since, d.detail});
    lsvDeals->Model()->SetItems(std::move(rows));
}

bool frmCustomers::checkFields()
{
    txtName->setText(txtName->text().trimmed());
    if (!mdlHouse::RequireValue(txtName, QStringLiteral("姓名"))) return false;
    if (!txtPhone->text().trimmed().isEmpty() && deals::NormalisePhone(txtPhone->text()).isEmpty()) {
        ui::MsgBox(QStringLiteral("\"电话\"中没有数字。"));
        txtPhone->setFocus();
        return false;
    }
    const QString visit = txtFirstVisit->text().trimmed();
    if (!visit.isEmpty() && !QDate::fromString(visit, QStringLiteral("yyyy-MM-dd")).isValid()) {
        ui::MsgBox(QStringLiteral("\"首次来访\"请按 YYYY-MM-DD 输入日期，例如 2024-05-01。"));
        txtFirstVisit->setFocus();
        return false;
    }
    return true;
}

bool frmCustomers::SaveCustomer()
{
    if (!cmdSave->isEnabled() || !checkFields()) return false;
    deals::Customer c;
    c.id = customerId_;
    c.name = txtName->text();
    c.phone = txtPhone->text();
    c.consultantId = cmbConsultant->currentData().toLongLong();
    c.firstVisit = txtFirstVisit->text().trimmed();
    c.source = cmbSource->currentText();
    c.notes = txtNotes->toPlainText();
    qint64 other = 0;
    mdlHouse::OpenDatabase(connection_);
    if (!connection_.IsOpen()) return false;
    const deals::SaveResult result = deals::SaveCustomer(connection_, &c, &other);
    connection_.Close();
    switch (result) {
        case deals::SaveResult::Saved:
            customerId_ = c.id;
            Find();
            OpenCustomer(c.id);
            return true;
        case deals::SaveResult::DuplicatePhone:
            if (customerId_ == 0) {
                // A known phone is the same person: the one on file is opened instead of a second.
                ui::MsgBox(QStringLiteral("电话 %1 已是老客户的电话，已为您打开该客户。").arg(c.phone));
                txtFind->clear();
                Find();
                OpenCustomer(other);
            } else {
                ui::MsgBox(QStringLiteral("电话 %1 已属于另一位客户，未保存。").arg(c.phone));
                txtPhone->setFocus();
            }
            return false;
        case deals::SaveResult::Refused:
            ui::MsgBox(mdlHouse::kLookOnlyMessage);
            return false;
        case deals::SaveResult::Failed:
            break;
    }
    ui::MsgBox(mdlHouse::kNothingSavedMessage);
    return false;
}
