#include "deals/DealDialogs.h"

#include <QComboBox>
#include <QDate>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QVBoxLayout>

#include "core/Save.h"
#include "core/db/Connection.h"
#include "core/mdlHouse.h"
#include "core/ui/MsgBox.h"
#include "core/ui/Twips.h"
#include "deals/DealSteps.h"
#include "deals/Who.h"

namespace deals {

namespace {

std::function<void(QDialog*)>& interceptor()
{
    static std::function<void(QDialog*)> f;
    return f;
}

// The OK and Cancel row every dialog ends with.
QHBoxLayout* buttonRow(QDialog* dialog, QPushButton** ok, QPushButton** cancel)
{
    *ok = ui::MakeNamed<QPushButton>(dialog, "cmdOK", QStringLiteral("确定"));
    *cancel = ui::MakeNamed<QPushButton>(dialog, "cmdCancel", QStringLiteral("取消"));
    (*ok)->setDefault(true);
    QObject::connect(*cancel, &QPushButton::clicked, dialog, &QDialog::reject);
    auto* row = new QHBoxLayout;
    row->addStretch(1);
    row->addWidget(*ok);
    row->addWidget(*cancel);
    return row;
}

QLabel* unitLabel(QDialog* dialog, const QString& unit)
{
    auto* label = ui::MakeNamed<QLabel>(dialog, "lblUnit", QStringLiteral("房源：") + unit);
    QFont bold = label->font();
    bold.setBold(true);
    label->setFont(bold);
    return label;
}

bool refuse(QWidget* field, const QString& message)
{
    ui::MsgBox(message);
    field->setFocus();
    return false;
}

}  // namespace

void SetDealDialogInterceptor(std::function<void(QDialog* dialog)> f)
{
    interceptor() = std::move(f);
}

bool RunDealDialog(QDialog* dialog)
{
    if (interceptor()) {
        dialog->setResult(QDialog::Rejected);
        interceptor()(dialog);
        return dialog->result() == QDialog::Accepted;
    }
    return dialog->exec() == QDialog::Accepted;
}

bool IsDateText(const QString& text)
{
    static const QRegularExpression shape(QStringLiteral("^\\d{4}-\\d{2}-\\d{2}$"));
    return shape.match(text).hasMatch() && QDate::fromString(text, QStringLiteral("yyyy-MM-dd")).isValid();
}

dlgHold::dlgHold(QWidget* parent, const QString& unit, int defaultHours) : QDialog(parent)
{
    setObjectName(QStringLiteral("dlgHold"));
    setWindowTitle(QStringLiteral("预留"));
    lblUnit = unitLabel(this, unit);
    lblFind = ui::MakeNamed<QLabel>(this, "lblFind", QStringLiteral("查找客户"));
    txtFind = ui::MakeNamed<QLineEdit>(this, "txtFind");
    txtFind->setPlaceholderText(QStringLiteral("姓名或电话的一部分"));
    cmbCustomer = ui::MakeNamed<QComboBox>(this, "cmbCustomer");
    cmbCustomer->setMinimumWidth(260);
    lblNewName = ui::MakeNamed<QLabel>(this, "lblNewName", QStringLiteral("或新客户姓名"));
    txtNewName = ui::MakeNamed<QLineEdit>(this, "txtNewName");
    txtNewName->setMaxLength(100);
    lblNewPhone = ui::MakeNamed<QLabel>(this, "lblNewPhone", QStringLiteral("新客户电话"));
    txtNewPhone = ui::MakeNamed<QLineEdit>(this, "txtNewPhone");
    txtNewPhone->setMaxLength(40);
    lblConsultant = ui::MakeNamed<QLabel>(this, "lblConsultant", QStringLiteral("置业顾问"));
    cmbConsultant = ui::MakeNamed<QComboBox>(this, "cmbConsultant");
    lblHours = ui::MakeNamed<QLabel>(this, "lblHours", QStringLiteral("预留小时数"));
    txtHours = ui::MakeNamed<QLineEdit>(this, "txtHours");
    txtHours->setMaxLength(6);
    txtHours->setText(QString::number(defaultHours));

    auto* form = new QFormLayout;
    form->addRow(lblFind, txtFind);
    form->addRow(QString(), cmbCustomer);
    form->addRow(lblNewName, txtNewName);
    form->addRow(lblNewPhone, txtNewPhone);
    form->addRow(lblConsultant, cmbConsultant);
    form->addRow(lblHours, txtHours);
    auto* all = new QVBoxLayout(this);
    all->addWidget(lblUnit);
    all->addLayout(form);
    all->addLayout(buttonRow(this, &cmdOK, &cmdCancel));
    connect(txtFind, &QLineEdit::textChanged, this, [this] { findCustomers(); });
    connect(cmdOK, &QPushButton::clicked, this, [this] { ok(); });
}

bool dlgHold::Fill(db::Connection& connection)
{
    connection_ = &connection;
    std::vector<Consultant> consultants;
    ReadConsultants(connection, &consultants);
    const qint64 own = ConsultantOfLogin(connection, CurrentLogin(connection));
    cmbConsultant->clear();
    cmbConsultant->addItem(QString(), qint64(0));
    for (const Consultant& c : consultants)
        if (c.active) cmbConsultant->addItem(c.name, c.id);
    cmbConsultant->setCurrentIndex(std::max(0, cmbConsultant->findData(own)));
    findCustomers();
    return true;
}

void dlgHold::findCustomers()
{
    if (!connection_) return;
    std::vector<Customer> found;
    cmbCustomer->clear();
    if (!FindCustomers(*connection_, txtFind->text(), 200, &found)) {
        cmbCustomer->addItem(QStringLiteral("（无法读取客户）"), qint64(0));
        return;
    }
    cmbCustomer->addItem(found.empty() ? QStringLiteral("（没有找到客户）") : QString(), qint64(0));
    for (const Customer& c : found)
        cmbCustomer->addItem(c.phone.isEmpty() ? c.name : c.name + QStringLiteral("  ") + c.phone, c.id);
    // One match is the one meant.
    if (found.size() == 1 && !txtFind->text().trimmed().isEmpty()) cmbCustomer->setCurrentIndex(1);
}

qint64 dlgHold::ConsultantId() const
{
    return cmbConsultant->currentData().toLongLong();
}

int dlgHold::Hours() const
{
    return txtHours->text().trimmed().toInt();
}

bool dlgHold::addNewCustomer()
{
    Customer c;
    c.name = txtNewName->text().trimmed();
    c.phone = txtNewPhone->text();
    c.consultantId = ConsultantId();
    c.firstVisit = QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd"));
    if (!txtNewPhone->text().trimmed().isEmpty() && NormalisePhone(c.phone).isEmpty())
        return refuse(txtNewPhone, QStringLiteral("\"新客户电话\"中没有数字。"));
    qint64 other = 0;
    switch (SaveCustomer(*connection_, &c, &other)) {
        case SaveResult::Saved:
            customerId_ = c.id;
            return true;
        case SaveResult::DuplicatePhone: {
            // The phone is a known customer's: the hold is for that customer.
            Customer known;
            ReadCustomer(*connection_, other, &known);
            ui::MsgBox(
                QStringLiteral("电话 %1 已是老客户 %2 的电话，将为该客户预留。").arg(c.phone, known.name));
            customerId_ = other;
            return true;
        }
        case SaveResult::Refused:
            ui::MsgBox(mdlHouse::kLookOnlyMessage);
            return false;
        case SaveResult::Failed:
            break;
    }
    ui::MsgBox(mdlHouse::kNothingSavedMessage);
    return false;
}

void dlgHold::ok()
{
    const qint64 chosen = cmbCustomer->currentData().toLongLong();
    txtNewName->setText(txtNewName->text().trimmed());
    if (chosen == 0 && txtNewName->text().isEmpty()) {
        refuse(txtFind, QStringLiteral("请选择客户，或输入新客户的姓名。"));
        return;
    }
    if (!mdlHouse::RequireValue(txtHours, QStringLiteral("预留小时数")) ||
        !mdlHouse::CheckNumberRange(txtHours, QStringLiteral("预留小时数"), 1, 8760))
        return;
    if (chosen != 0) {
        customerId_ = chosen;
    } else if (!addNewCustomer()) {
        return;
    }
    accept();
}

dlgDeposit::dlgDeposit(QWidget* parent, const QString& unit) : QDialog(parent)
{
    setObjectName(QStringLiteral("dlgDeposit"));
    setWindowTitle(QStringLiteral("认购"));
    lblUnit = unitLabel(this, unit);
    lblAmount = ui::MakeNamed<QLabel>(this, "lblAmount", QStringLiteral("定金（元）"));
    txtAmount = ui::MakeNamed<QLineEdit>(this, "txtAmount");
    txtAmount->setMaxLength(20);
    lblDate = ui::MakeNamed<QLabel>(this, "lblDate", QStringLiteral("认购日期"));
    txtDate = ui::MakeNamed<QLineEdit>(this, "txtDate");
    txtDate->setMaxLength(10);
    txtDate->setText(QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd")));
    auto* form = new QFormLayout;
    form->addRow(lblAmount, txtAmount);
    form->addRow(lblDate, txtDate);
    auto* all = new QVBoxLayout(this);
    all->addWidget(lblUnit);
    all->addLayout(form);
    all->addLayout(buttonRow(this, &cmdOK, &cmdCancel));
    connect(cmdOK, &QPushButton::clicked, this, [this] { ok(); });
}

QString dlgDeposit::Amount() const
{
    return NormalisedAmount(txtAmount->text());
}

QString dlgDeposit::Date() const
{
    return txtDate->text().trimmed();
}

void dlgDeposit::ok()
{
    if (!mdlHouse::RequireValue(txtAmount, QStringLiteral("定金（元）"))) return;
    if (Amount().isEmpty()) {
        refuse(txtAmount, QStringLiteral("\"定金（元）\"请输入大于 0 的金额，例如 50000 或 50000.00。"));
        return;
    }
    if (!IsDateText(Date())) {
        refuse(txtDate, QStringLiteral("\"认购日期\"请按 YYYY-MM-DD 输入日期，例如 2024-05-01。"));
        return;
    }
    accept();
}

dlgOneField::dlgOneField(QWidget* parent, const QString& title, const QString& unit, Kind kind)
    : QDialog(parent), kind_(kind)
{
    setObjectName(kind == Kind::ContractDate ? QStringLiteral("dlgContract") : QStringLiteral("dlgReason"));
    setWindowTitle(title);
    lblUnit = unitLabel(this, unit);
    lblValue = ui::MakeNamed<QLabel>(
        this, "lblValue", kind == Kind::ContractDate ? QStringLiteral("签约日期") : QStringLiteral("原因"));
    txtValue = ui::MakeNamed<QLineEdit>(this, "txtValue");
    txtValue->setMinimumWidth(260);
    if (kind == Kind::ContractDate) {
        txtValue->setMaxLength(10);
        txtValue->setText(QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd")));
    } else {
        txtValue->setMaxLength(200);
    }
    auto* form = new QFormLayout;
    form->addRow(lblValue, txtValue);
    auto* all = new QVBoxLayout(this);
    all->addWidget(lblUnit);
    all->addLayout(form);
    all->addLayout(buttonRow(this, &cmdOK, &cmdCancel));
    connect(cmdOK, &QPushButton::clicked, this, [this] { ok(); });
}

QString dlgOneField::Value() const
{
    return txtValue->text().trimmed();
}

void dlgOneField::ok()
{
    if (kind_ == Kind::Reason) {
        txtValue->setText(Value());
        if (!mdlHouse::RequireValue(txtValue, QStringLiteral("原因"))) return;
    } else if (!IsDateText(Value())) {
        refuse(txtValue, QStringLiteral("\"签约日期\"请按 YYYY-MM-DD 输入日期，例如 2024-05-01。"));
        return;
    }
    accept();
}

}  // namespace deals
