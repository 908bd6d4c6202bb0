#include "deals/frmSalesSettings.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "core/Save.h"
#include "core/db/Recordset.h"
#include "core/mdlHouse.h"
#include "core/ui/ListView.h"
#include "core/ui/MsgBox.h"
#include "core/ui/Twips.h"
#include "deals/Settings.h"

namespace {
// The widest values the settings accept (deals::Settings::Check).
constexpr int kMaxHoldHours = 8760;
constexpr int kMaxExtensions = 100;
}  // namespace

frmSalesSettings::frmSalesSettings()
{
    setObjectName(QStringLiteral("frmSalesSettings"));
    setWindowTitle(QStringLiteral("销售设置"));
    setupControls();
}

void frmSalesSettings::setupControls()
{
    auto label = [](QWidget* parent, const char* name, const QString& text) {
        return ui::MakeNamed<QLabel>(parent, name, text);
    };
    auto box = [](QWidget* parent, const char* name, int maxLength) {
        auto* b = ui::MakeNamed<QLineEdit>(parent, name);
        b->setMaxLength(maxLength);
        return b;
    };
    fraHold = ui::MakeNamed<QGroupBox>(this, "fraHold");
    fraHold->setTitle(QStringLiteral("预留与状态"));
    lblHoldHours = label(fraHold, "lblHoldHours", QStringLiteral("预留时长（小时）"));
    txtHoldHours = box(fraHold, "txtHoldHours", 6);
    lblMaxExtensions = label(fraHold, "lblMaxExtensions", QStringLiteral("最多延长次数"));
    txtMaxExtensions = box(fraHold, "txtMaxExtensions", 3);
    lblStatusCaption = label(fraHold, "lblStatusCaption", QStringLiteral("状态项名称"));
    txtStatusCaption = box(fraHold, "txtStatusCaption", 50);
    lblWordHold = label(fraHold, "lblWordHold", QStringLiteral("预留后的状态"));
    txtWordHold = box(fraHold, "txtWordHold", 50);
    lblWordDeposit = label(fraHold, "lblWordDeposit", QStringLiteral("认购后的状态"));
    txtWordDeposit = box(fraHold, "txtWordDeposit", 50);
    lblWordSign = label(fraHold, "lblWordSign", QStringLiteral("签约后的状态"));
    txtWordSign = box(fraHold, "txtWordSign", 50);
    lblWordForSale = label(fraHold, "lblWordForSale", QStringLiteral("在售的状态"));
    txtWordForSale = box(fraHold, "txtWordForSale", 50);
    cmdSave = ui::MakeNamed<QPushButton>(fraHold, "cmdSave", QStringLiteral("保存设置"));
    auto* form = new QFormLayout;
    form->addRow(lblHoldHours, txtHoldHours);
    form->addRow(lblMaxExtensions, txtMaxExtensions);
    form->addRow(lblStatusCaption, txtStatusCaption);
    form->addRow(lblWordHold, txtWordHold);
    form->addRow(lblWordDeposit, txtWordDeposit);
    form->addRow(lblWordSign, txtWordSign);
    form->addRow(lblWordForSale, txtWordForSale);
    auto* holdLayout = new QVBoxLayout(fraHold);
    holdLayout->addLayout(form);
    holdLayout->addStretch(1);
    holdLayout->addWidget(cmdSave, 0, Qt::AlignRight);

    fraConsultants = ui::MakeNamed<QGroupBox>(this, "fraConsultants");
    fraConsultants->setTitle(QStringLiteral("置业顾问"));
    lsvConsultants = new ui::ListView(fraConsultants);
    lsvConsultants->setObjectName(QStringLiteral("lsvConsultants"));
    ui::ListModel* model = lsvConsultants->Model();
    model->AddColumn(QStringLiteral("姓名"), 1300);
    model->AddColumn(QStringLiteral("登录名"), 1300);
    model->AddColumn(QStringLiteral("在职"), 600);
    lsvConsultants->ApplyColumns();
    lblConsultantName = label(fraConsultants, "lblConsultantName", QStringLiteral("姓名"));
    txtConsultantName = box(fraConsultants, "txtConsultantName", 50);
    lblConsultantLogin = label(fraConsultants, "lblConsultantLogin", QStringLiteral("登录名"));
    txtConsultantLogin = box(fraConsultants, "txtConsultantLogin", 63);
    txtConsultantLogin->setPlaceholderText(QStringLiteral("该顾问登录时自动选中"));
    chkConsultantActive =
        ui::MakeNamed<QCheckBox>(fraConsultants, "chkConsultantActive", QStringLiteral("在职"));
    chkConsultantActive->setChecked(true);
    cmdSaveConsultant =
        ui::MakeNamed<QPushButton>(fraConsultants, "cmdSaveConsultant", QStringLiteral("增加或修改顾问"));
    auto* consultantForm = new QFormLayout;
    consultantForm->addRow(lblConsultantName, txtConsultantName);
    consultantForm->addRow(lblConsultantLogin, txtConsultantLogin);
    auto* consultantButtons = new QHBoxLayout;
    consultantButtons->addWidget(chkConsultantActive);
    consultantButtons->addStretch(1);
    consultantButtons->addWidget(cmdSaveConsultant);
    auto* consultantLayout = new QVBoxLayout(fraConsultants);
    consultantLayout->addWidget(lsvConsultants, 1);
    consultantLayout->addLayout(consultantForm);
    consultantLayout->addLayout(consultantButtons);

    auto* all = new QHBoxLayout(this);
    all->addWidget(fraHold, 1);
    all->addWidget(fraConsultants, 1);
    connectControls();
}

void frmSalesSettings::connectControls()
{
    connect(cmdSave, &QPushButton::clicked, this, [this] { SaveSettings(); });
    connect(cmdSaveConsultant, &QPushButton::clicked, this, [this] { SaveConsultant(); });
    connect(lsvConsultants, &ui::ListView::ItemClick, this, [this](int row) {
        if (row < 0 || size_t(row) >= consultants_.size()) return;
        const deals::Consultant& c = consultants_[size_t(row)];
        txtConsultantName->setText(c.name);
        txtConsultantLogin->setText(c.login);
        chkConsultantActive->setChecked(c.active);
    });
}

void frmSalesSettings::Load()
{
    SetCaption(QStringLiteral("销售设置"));
    SetSizeTwips(11400, 6600);
    ReadSettings();
    showConsultants();
}

void frmSalesSettings::ReadSettings()
{
    mdlHouse::OpenDatabase(connection_);
    deals::Settings v;
    v.Load(connection_);
    connection_.Close();
    txtHoldHours->setText(QString::number(v.holdHours));
    txtMaxExtensions->setText(QString::number(v.maxExtensions));
    txtStatusCaption->setText(v.statusCaption);
    txtWordHold->setText(v.wordHold);
    txtWordDeposit->setText(v.wordDeposit);
    txtWordSign->setText(v.wordSign);
    txtWordForSale->setText(v.wordForSale);
}

bool frmSalesSettings::checkWord(QLineEdit* box, const QString& fieldName)
{
    box->setText(box->text().trimmed());
    return mdlHouse::RequireValue(box, fieldName);
}

bool frmSalesSettings::SaveSettings()
{
    // Every field is checked before anything is written: a refused field leaves the stored
    // settings exactly as they were.
    const QString hours = QStringLiteral("预留时长（小时）");
    const QString extensions = QStringLiteral("最多延长次数");
    txtHoldHours->setText(txtHoldHours->text().trimmed());
    txtMaxExtensions->setText(txtMaxExtensions->text().trimmed());
    if (!mdlHouse::RequireValue(txtHoldHours, hours) ||
        !mdlHouse::CheckNumberRange(txtHoldHours, hours, 1, kMaxHoldHours))
        return false;
    if (!mdlHouse::RequireValue(txtMaxExtensions, extensions) ||
        !mdlHouse::CheckNumberRange(txtMaxExtensions, extensions, 0, kMaxExtensions))
        return false;
    if (!checkWord(txtStatusCaption, QStringLiteral("状态项名称")) ||
        !checkWord(txtWordHold, QStringLiteral("预留后的状态")) ||
        !checkWord(txtWordDeposit, QStringLiteral("认购后的状态")) ||
        !checkWord(txtWordSign, QStringLiteral("签约后的状态")) ||
        !checkWord(txtWordForSale, QStringLiteral("在售的状态")))
        return false;
    const QStringList words{txtWordHold->text(), txtWordDeposit->text(), txtWordSign->text(),
                            txtWordForSale->text()};
    // A unit's stage is read back from its status word, so two steps may not share one.
    for (int i = 0; i < words.size(); ++i)
        for (int j = i + 1; j < words.size(); ++j)
            if (words[i].compare(words[j], Qt::CaseInsensitive) == 0) {
                ui::MsgBox(QStringLiteral("每一步的状态必须各不相同：\"%1\"用了两次。").arg(words[i]));
                QLineEdit* boxes[] = {txtWordHold, txtWordDeposit, txtWordSign, txtWordForSale};
                boxes[j]->setFocus();
                return false;
            }
    deals::Settings v;
    v.holdHours = txtHoldHours->text().toInt();
    v.maxExtensions = txtMaxExtensions->text().toInt();
    v.statusCaption = txtStatusCaption->text();
    v.wordHold = words[0];
    v.wordDeposit = words[1];
    v.wordSign = words[2];
    v.wordForSale = words[3];
    // What the fields cannot show (a word on two lines, one too long) is still refused here.
    QString problem;
    if (!v.Check(&problem)) {
        ui::MsgBox(problem);
        return false;
    }
    mdlHouse::OpenDatabase(connection_);
    if (!connection_.IsOpen()) return false;
    QString refusal;
    const bool written = v.Save(connection_, &refusal);
    if (!written && refusal.isEmpty()) refusal = mdlHouse::RefusedSaveMessage(connection_);
    connection_.Close();
    if (!written) {
        ui::MsgBox(refusal);
        return false;
    }
    ui::MsgBox(QStringLiteral("设置已保存。"));
    return true;
}

void frmSalesSettings::showConsultants()
{
    mdlHouse::OpenDatabase(connection_);
    deals::ReadConsultants(connection_, &consultants_);
    connection_.Close();
    std::vector<QStringList> rows;
    for (const deals::Consultant& c : consultants_)
        rows.push_back({c.name, c.login, c.active ? QStringLiteral("是") : QStringLiteral("否")});
    lsvConsultants->Model()->SetItems(std::move(rows));
}

bool frmSalesSettings::SaveConsultant()
{
    txtConsultantName->setText(txtConsultantName->text().trimmed());
    if (!mdlHouse::RequireValue(txtConsultantName, QStringLiteral("姓名"))) return false;
    deals::Consultant c;
    c.name = txtConsultantName->text();
    c.login = txtConsultantLogin->text().trimmed();
    c.active = chkConsultantActive->isChecked();
    mdlHouse::OpenDatabase(connection_);
    if (!connection_.IsOpen()) return false;
    const bool saved = deals::SaveConsultant(connection_, &c);
    const QString refusal = saved ? QString() : mdlHouse::RefusedSaveMessage(connection_);
    connection_.Close();
    if (!saved) ui::MsgBox(refusal);
    showConsultants();
    return saved;
}
