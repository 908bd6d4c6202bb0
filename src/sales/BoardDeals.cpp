// The deals on the sales board: each cell's open deal (a hold's consultant and time left, the
// customer in its tooltip), and the deal steps in the cell's context menu with their dialogs.
#include <QDate>
#include <QMenu>

#include "core/mdlHouse.h"
#include "core/ui/Forms.h"
#include "core/ui/MsgBox.h"
#include "deals/DealDialogs.h"
#include "deals/DealSteps.h"
#include "deals/DealText.h"
#include "deals/OpenDeals.h"
#include "deals/Settings.h"
#include "deals/Who.h"
#include "deals/frmHistory.h"
#include "sales/SalesBoardView.h"
#include "sales/frmSalesBoard.h"

namespace {

QString dateText(const QDateTime& time)
{
    return time.isValid() ? time.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm")) : QString();
}

}  // namespace

void frmSalesBoard::readDealSettings()
{
    deals::Settings settings;
    settings.Load(connection_);
    dealCaption_ = settings.statusCaption;
    wordForSale_ = settings.wordForSale;
    holdHours_ = settings.holdHours;
}

void frmSalesBoard::attachDeals(const deals::OpenDeals& open, const QDateTime& now)
{
    for (sales::Unit& u : board_.units) {
        const auto it = open.byHouse.constFind(u.houseId);
        if (it == open.byHouse.constEnd()) continue;
        const deals::OpenDeal& d = *it;
        u.dealId = d.dealId;
        u.dealStage = d.stage;
        const QString consultant = d.consultant.isEmpty() ? deals::StageLabel(d.stage) : d.consultant;
        u.dealNote = d.stage == deals::kStageHold
                         ? consultant + QLatin1Char(' ') + deals::TimeLeft(d.holdEnd, now)
                         : consultant;
        QStringList tip;
        // Only a login that may read the customers learns whose deal it is.
        if (!d.customer.isEmpty()) tip << QStringLiteral("客户：") + d.customer;
        tip << QStringLiteral("置业顾问：") +
                   (d.consultant.isEmpty() ? QStringLiteral("（未指定）") : d.consultant);
        tip << QStringLiteral("阶段：") + deals::StageLabel(d.stage);
        if (d.stage == deals::kStageHold && d.holdEnd.isValid())
            tip << QStringLiteral("预留至：") + dateText(d.holdEnd);
        u.dealTip = tip.join(QLatin1Char('\n'));
    }
}

void frmSalesBoard::addDealEntries(QMenu* menu, qint32 houseId)
{
    const int index = board_.IndexOf(houseId);
    if (index < 0) return;
    const sales::Unit& unit = board_.units[size_t(index)];
    const bool applies =
        !dealCaption_.isEmpty() && board_.statusCaption.compare(dealCaption_, Qt::CaseInsensitive) == 0;
    struct Entry {
        const char* name;
        QString caption;
        deals::Step step;
    };
    const Entry entries[] = {
        {"mnuHold", QStringLiteral("预留…"), deals::Step::Hold},
        {"mnuExtend", QStringLiteral("延长预留"), deals::Step::Extend},
        {"mnuCancelHold", QStringLiteral("取消预留"), deals::Step::CancelHold},
        {"mnuDeposit", QStringLiteral("认购…"), deals::Step::Deposit},
        {"mnuContract", QStringLiteral("签约…"), deals::Step::Contract},
        {"mnuReturn", QStringLiteral("退房…"), deals::Step::Return},
    };
    for (const Entry& e : entries) {
        QAction* a = menu->addAction(e.caption);
        a->setObjectName(QLatin1String(e.name));
        bool fits = applies && deals::StepFits(e.step, unit.dealStage);
        if (e.step == deals::Step::Hold) fits = fits && deals::IsForSale(unit.status, wordForSale_);
        a->setEnabled(fits);
        const deals::Step step = e.step;
        connect(a, &QAction::triggered, this, [this, houseId, step] { RunStep(houseId, step); });
    }
    menu->addSeparator();
    QAction* history = menu->addAction(QStringLiteral("历史记录…"));
    history->setObjectName(QStringLiteral("mnuHistory"));
    connect(history, &QAction::triggered, this, [this, houseId] { ShowHistory(houseId); });
}

void frmSalesBoard::ShowHistory(qint32 houseId)
{
    if (auto* history = qobject_cast<frmHistory*>(Forms::Show(QStringLiteral("frmHistory"))))
        history->ShowUnit(houseId);
}

bool frmSalesBoard::RunStep(qint32 houseId, deals::Step step)
{
    const int index = board_.IndexOf(houseId);
    if (index < 0) return false;
    const sales::Unit unit = board_.units[size_t(index)];
    const deals::Shown shown{houseId, unit.status, unit.dealId};
    const QString unitText = board_.building + QLatin1Char(' ') + unit.houseNo;
    mdlHouse::OpenDatabase(connection_);
    if (!connection_.IsOpen()) return false;
    bool chosen = true;
    deals::StepResult result;
    switch (step) {
        case deals::Step::Hold: {
            deals::dlgHold dialog(this, unitText, holdHours_);
            dialog.Fill(connection_);
            chosen = deals::RunDealDialog(&dialog);
            if (chosen)
                result = deals::Hold(connection_, shown, dialog.CustomerId(), dialog.ConsultantId(),
                                     dialog.Hours());
            break;
        }
        case deals::Step::Extend:
            result = deals::Extend(connection_, shown);
            // Past the most extensions a manager may still extend, and is asked whether to.
            if (result.refusal == deals::Refusal::LimitReached && deals::IsManager(connection_) &&
                ui::MsgBox(result.message + QStringLiteral("\n以经理身份继续延长？"), ui::Buttons::YesNo) ==
                    ui::Answer::Yes)
                result = deals::ManagerExtend(connection_, shown);
            break;
        case deals::Step::CancelHold:
            chosen = ui::MsgBox(QStringLiteral("取消房间 %1 的预留？").arg(unitText), ui::Buttons::YesNo) ==
                     ui::Answer::Yes;
            if (!chosen) break;
            result = deals::CancelHold(connection_, shown);
            // Another consultant's hold: a manager releases it, for a reason.
            if (result.refusal == deals::Refusal::NotYours && deals::IsManager(connection_)) {
                deals::dlgOneField reason(this, QStringLiteral("经理释放预留"), unitText,
                                          deals::dlgOneField::Kind::Reason);
                if (deals::RunDealDialog(&reason))
                    result = deals::ManagerRelease(connection_, shown, reason.Value());
            }
            break;
        case deals::Step::Deposit: {
            deals::dlgDeposit dialog(this, unitText);
            chosen = deals::RunDealDialog(&dialog);
            if (chosen)
                result = deals::Deposit(connection_, shown, dialog.Amount(),
                                        QDate::fromString(dialog.Date(), QStringLiteral("yyyy-MM-dd")));
            break;
        }
        case deals::Step::Contract: {
            deals::dlgOneField dialog(this, QStringLiteral("签约"), unitText,
                                      deals::dlgOneField::Kind::ContractDate);
            chosen = deals::RunDealDialog(&dialog);
            if (chosen)
                result = deals::Contract(connection_, shown,
                                         QDate::fromString(dialog.Value(), QStringLiteral("yyyy-MM-dd")));
            break;
        }
        case deals::Step::Return: {
            deals::dlgOneField dialog(this, QStringLiteral("退房"), unitText,
                                      deals::dlgOneField::Kind::Reason);
            chosen = deals::RunDealDialog(&dialog);
            if (chosen) result = deals::Return(connection_, shown, dialog.Value());
            break;
        }
        default:
            chosen = false;
            break;
    }
    connection_.Close();
    if (!chosen) return false;
    if (!result.Done())
        ui::MsgBox(result.message.isEmpty()
                       ? QStringLiteral("房间 %1 的操作未能保存，请稍后再试。").arg(unitText)
                       : result.message);
    // Whatever happened, the board shows what is stored now: the step, or who got there first.
    ShowBuilding();
    return result.Done();
}
