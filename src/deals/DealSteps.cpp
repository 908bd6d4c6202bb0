#include "deals/DealSteps.h"

#include <QRegularExpression>

#include "core/db/Clock.h"
#include "core/db/Connection.h"
#include "core/db/Statement.h"
#include "deals/Clock.h"
#include "deals/OpenDeals.h"
#include "deals/StepRunner.h"
#include "deals/Who.h"

namespace deals {

using steps::Context;

namespace {

// A hold longer than a year is a typing mistake, not a hold.
constexpr int kMostHoldHours = 24 * 366;
constexpr int kMostReasonLength = 500;

// The length of a hold or an extension: the one asked for, or the catalogue's.
bool holdHours(Context& c, int asked, int* hours)
{
    *hours = asked > 0 ? asked : c.words.holdHours;
    if (asked >= 0 && *hours >= 1 && *hours <= kMostHoldHours) return true;
    c.detail = QStringLiteral("预留时长须在 1 到 %1 小时之间。").arg(kMostHoldHours);
    return false;
}

// 1 when the row is there, 0 when not, -1 when the read failed (a login that may not read it).
int exists(Context& c, const QString& sql, qint64 key)
{
    db::Statement read;
    if (!read.Prepare(c.connection, sql) || !read.Bind(1, key)) {
        c.failed = true;
        return -1;
    }
    if (read.Next()) return 1;
    if (c.connection.IsServer() && read.ColumnCount() == 0) {
        c.failed = true;
        return -1;
    }
    return 0;
}

// A hold past its end is released by the next read of the units; until then no step builds on it.
bool holdRunOut(Context& c)
{
    if (c.deal.stage != kStageHold || !c.deal.holdEnd.isValid() || c.deal.holdEnd > c.now) return false;
    c.detail = c.deal.holdEnd.toLocalTime().toString(QStringLiteral("MM-dd HH:mm"));
    return true;
}

// Changes the locked deal row; exactly that one row, or the step is refused.
Refusal changeDeal(Context& c, const QString& sql, std::initializer_list<QVariant> values)
{
    const int changed = steps::Exec(c, sql, values);
    if (changed < 0) return Refusal::None;  // failed
    return changed == 1 ? Refusal::None : Refusal::Changed;
}

// The status change that goes with a deal change, recorded for the history under `path`.
Refusal writeStatus(Context& c, const QString& path, const QString& value, const QString& reason = QString())
{
    if (!steps::SetContext(c, path, c.deal.customerId, c.deal.dealId, reason)) return Refusal::None;
    if (steps::WriteStatus(c, value)) return Refusal::None;
    return c.failed ? Refusal::None : Refusal::Changed;
}

Refusal holdWork(Context& c, qint64 customerId, qint64 consultantId, int asked)
{
    int hours = 0;
    if (!holdHours(c, asked, &hours)) return Refusal::BadInput;
    c.unit = steps::ReadUnit(c.connection, c.shown.houseId, c.words.caption);
    if (!c.unit.found) return Refusal::Changed;
    if (!IsForSale(c.shown.status, c.words.forSale)) return Refusal::NotForSale;
    const int customer =
        exists(c, QStringLiteral("SELECT 1 FROM t_Customer WHERE CustomerID = ?"), customerId);
    if (customer <= 0) {
        c.detail = QStringLiteral("请选择客户（所选客户不存在）。");
        return customer < 0 ? Refusal::None : Refusal::BadInput;
    }
    const int consultant = exists(
        c, QStringLiteral("SELECT 1 FROM t_Consultant WHERE ConsultantID = ? AND Active = 1"), consultantId);
    if (consultant <= 0) {
        c.detail = QStringLiteral("请选择置业顾问（所选置业顾问不存在或已停用）。");
        return consultant < 0 ? Refusal::None : Refusal::BadInput;
    }
    // The unique index on open deals stops a second hold in any case; reading first only spares
    // the catalogue a failed insert and the user a vaguer answer.
    if (ReadOpenDeal(c.connection, c.shown.houseId).dealId != 0) return Refusal::Changed;
    const QDateTime end = c.now.addSecs(qint64(hours) * 3600);
    if (steps::Exec(c,
                    QStringLiteral(
                        "INSERT INTO t_Deal (HouseID, CustomerID, ConsultantID, Stage, Active, HoldStart, "
                        "HoldEnd, Extensions, PriorStatus, CreatedAt) VALUES (?, ?, ?, 'hold', 1, ?, ?, 0, "
                        "?, ?)"),
                    {qint64(c.shown.houseId), customerId, consultantId, db::TimeText(c.now),
                     db::TimeText(end), c.unit.status, db::TimeText(c.now)}) != 1) {
        c.failed = true;
        return Refusal::None;
    }
    db::Statement read;
    if (!read.Prepare(c.connection,
                      QStringLiteral("SELECT DealID FROM t_Deal WHERE HouseID = ? AND Active = 1")) ||
        !read.Bind(1, qint64(c.shown.houseId)) || !read.Next()) {
        c.failed = true;
        return Refusal::None;
    }
    c.deal.dealId = c.dealId = read.Column(0).toLongLong();
    c.deal.customerId = customerId;
    return writeStatus(c, QStringLiteral("hold"), c.words.hold);
}

Refusal extendWork(Context& c, int asked, bool manager)
{
    int hours = 0;
    if (!holdHours(c, asked, &hours)) return Refusal::BadInput;
    const Refusal locked = steps::LockShownDeal(c, {kStageHold});
    if (locked != Refusal::None || c.failed) return locked;
    c.unit = steps::ReadUnit(c.connection, c.shown.houseId, c.words.caption);
    if (holdRunOut(c)) return Refusal::Expired;
    if (!manager && c.deal.extensions >= c.words.maxExtensions) {
        c.detail = QStringLiteral("%1 次（最多 %2 次）").arg(c.deal.extensions).arg(c.words.maxExtensions);
        return Refusal::LimitReached;
    }
    const QDateTime from = c.deal.holdEnd.isValid() ? c.deal.holdEnd : c.now;
    const QString reason = manager ? QStringLiteral("经理延长预留") : QString();
    return changeDeal(
        c,
        QStringLiteral("UPDATE t_Deal SET HoldEnd = ?, Extensions = Extensions + 1, Reason = "
                       "COALESCE(?, Reason) WHERE DealID = ? AND Active = 1 AND Stage = 'hold'"),
        {db::TimeText(from.addSecs(qint64(hours) * 3600)), reason.isEmpty() ? QVariant() : QVariant(reason),
         c.deal.dealId});
}

Refusal releaseWork(Context& c, bool manager, const QString& reason)
{
    const Refusal locked = steps::LockShownDeal(c, {kStageHold});
    if (locked != Refusal::None || c.failed) return locked;
    c.unit = steps::ReadUnit(c.connection, c.shown.houseId, c.words.caption);
    // A consultant releases the holds made in their own name; anybody else's takes a manager.
    if (!manager && !c.deal.consultantLogin.isEmpty() &&
        c.deal.consultantLogin != CurrentLogin(c.connection) && !IsManager(c.connection))
        return Refusal::NotYours;
    const Refusal changed = changeDeal(
        c,
        QStringLiteral("UPDATE t_Deal SET Stage = 'cancelled', Active = NULL, ClosedAt = ?, Reason = ? "
                       "WHERE DealID = ? AND Active = 1 AND Stage = 'hold'"),
        {db::TimeText(c.now), reason.isEmpty() ? QVariant() : QVariant(reason), c.deal.dealId});
    if (changed != Refusal::None || c.failed) return changed;
    // The status the unit had before the hold; a hold made on a unit without one gives it back
    // for sale.
    const QString prior = c.deal.priorStatus.isNull() ? c.words.forSale : c.deal.priorStatus.toString();
    return writeStatus(c, manager ? QStringLiteral("manager") : QStringLiteral("cancel"), prior, reason);
}

Refusal depositWork(Context& c, const QString& amount, const QDate& date)
{
    const QString kept = NormalisedAmount(amount);
    if (kept.isEmpty()) {
        c.detail = QStringLiteral("认购金额须为大于零的数字，最多两位小数。");
        return Refusal::BadInput;
    }
    if (!date.isValid()) {
        c.detail = QStringLiteral("认购日期无效。");
        return Refusal::BadInput;
    }
    const Refusal locked = steps::LockShownDeal(c, {kStageHold});
    if (locked != Refusal::None || c.failed) return locked;
    c.unit = steps::ReadUnit(c.connection, c.shown.houseId, c.words.caption);
    if (holdRunOut(c)) return Refusal::Expired;
    const Refusal changed = changeDeal(
        c,
        QStringLiteral("UPDATE t_Deal SET Stage = 'deposit', Deposit = ?, DepositDate = ? WHERE DealID = ? "
                       "AND Active = 1 AND Stage = 'hold'"),
        {kept, date.toString(Qt::ISODate), c.deal.dealId});
    if (changed != Refusal::None || c.failed) return changed;
    return writeStatus(c, QStringLiteral("deposit"), c.words.deposit);
}

Refusal contractWork(Context& c, const QDate& date)
{
    if (!date.isValid()) {
        c.detail = QStringLiteral("签约日期无效。");
        return Refusal::BadInput;
    }
    const Refusal locked = steps::LockShownDeal(c, {kStageHold, kStageDeposit});
    if (locked != Refusal::None || c.failed) return locked;
    c.unit = steps::ReadUnit(c.connection, c.shown.houseId, c.words.caption);
    if (holdRunOut(c)) return Refusal::Expired;
    const Refusal changed =
        changeDeal(c,
                   QStringLiteral("UPDATE t_Deal SET Stage = 'contract', ContractDate = ? WHERE "
                                  "DealID = ? AND Active = 1 AND Stage IN ('hold', 'deposit')"),
                   {date.toString(Qt::ISODate), c.deal.dealId});
    if (changed != Refusal::None || c.failed) return changed;
    return writeStatus(c, QStringLiteral("contract"), c.words.sign);
}

Refusal returnWork(Context& c, const QString& reason)
{
    const Refusal locked = steps::LockShownDeal(c, {kStageDeposit, kStageContract});
    if (locked != Refusal::None || c.failed) return locked;
    c.unit = steps::ReadUnit(c.connection, c.shown.houseId, c.words.caption);
    const Refusal changed = changeDeal(
        c,
        QStringLiteral("UPDATE t_Deal SET Stage = 'returned', Active = NULL, ClosedAt = ?, Reason = ? "
                       "WHERE DealID = ? AND Active = 1 AND Stage IN ('deposit', 'contract')"),
        {db::TimeText(c.now), reason, c.deal.dealId});
    if (changed != Refusal::None || c.failed) return changed;
    return writeStatus(c, QStringLiteral("return"), c.words.forSale, reason);
}

// A reason as it is kept: control characters out, blanks at the ends trimmed.
QString cleanReason(const QString& typed)
{
    QString text;
    text.reserve(typed.size());
    for (const QChar ch : typed) text += ch.category() == QChar::Other_Control ? QLatin1Char(' ') : ch;
    return text.trimmed();
}

}  // namespace

QString StageLabel(const QString& stage)
{
    if (stage == kStageHold) return QStringLiteral("预留");
    if (stage == kStageDeposit) return QStringLiteral("认购");
    if (stage == kStageContract) return QStringLiteral("签约");
    if (stage == kStageCancelled) return QStringLiteral("已取消");
    if (stage == kStageExpired) return QStringLiteral("已到期");
    if (stage == kStageReturned) return QStringLiteral("已退房");
    return stage;
}

bool StepFits(Step step, const QString& stage)
{
    switch (step) {
        case Step::Hold:
            return stage.isEmpty();
        case Step::Extend:
        case Step::CancelHold:
        case Step::Deposit:
        case Step::ManagerExtend:
        case Step::ManagerRelease:
            return stage == kStageHold;
        case Step::Contract:
            return stage == kStageHold || stage == kStageDeposit;
        case Step::Return:
            return stage == kStageDeposit || stage == kStageContract;
    }
    return false;
}

bool IsForSale(const QString& status, const QString& wordForSale)
{
    const QString s = status.trimmed();
    if (s.isEmpty()) return false;
    return s.compare(wordForSale.trimmed(), Qt::CaseInsensitive) == 0 || s == QStringLiteral("在售") ||
           s == QStringLiteral("可售");
}

QString NormalisedAmount(const QString& typed)
{
    QString text = typed;
    text.remove(QRegularExpression(QStringLiteral("[\\s,，]")));
    static const QRegularExpression amount(QStringLiteral("^(\\d{1,13})(?:\\.(\\d{0,2}))?$"));
    const QRegularExpressionMatch m = amount.match(text);
    if (!m.hasMatch()) return QString();
    QString whole = m.captured(1);
    while (whole.size() > 1 && whole.startsWith(QLatin1Char('0'))) whole.remove(0, 1);
    QString cents = m.captured(2);
    while (cents.endsWith(QLatin1Char('0'))) cents.chop(1);
    if (whole == QLatin1String("0") && cents.isEmpty()) return QString();
    return cents.isEmpty() ? whole : whole + QLatin1Char('.') + cents;
}

StepResult Hold(db::Connection& connection, const Shown& shown, qint64 customerId, qint64 consultantId,
                int hours)
{
    if (shown.dealId != 0) return steps::Refuse(connection, shown, Step::Hold, Refusal::Taken);
    return steps::Run(connection, shown, Step::Hold,
                      [&](Context& c) { return holdWork(c, customerId, consultantId, hours); });
}

StepResult Extend(db::Connection& connection, const Shown& shown, int hours)
{
    return steps::Run(connection, shown, Step::Extend,
                      [&](Context& c) { return extendWork(c, hours, false); });
}

StepResult ManagerExtend(db::Connection& connection, const Shown& shown, int hours)
{
    if (!IsManager(connection))
        return steps::Refuse(connection, shown, Step::ManagerExtend, Refusal::NotManager);
    return steps::Run(connection, shown, Step::ManagerExtend,
                      [&](Context& c) { return extendWork(c, hours, true); });
}

StepResult CancelHold(db::Connection& connection, const Shown& shown)
{
    return steps::Run(connection, shown, Step::CancelHold,
                      [&](Context& c) { return releaseWork(c, false, QString()); });
}

StepResult ManagerRelease(db::Connection& connection, const Shown& shown, const QString& reason)
{
    const QString kept = cleanReason(reason);
    if (!IsManager(connection))
        return steps::Refuse(connection, shown, Step::ManagerRelease, Refusal::NotManager);
    if (kept.size() > kMostReasonLength)
        return steps::Refuse(connection, shown, Step::ManagerRelease, Refusal::BadInput,
                             QStringLiteral("原因最多 %1 字。").arg(kMostReasonLength));
    return steps::Run(connection, shown, Step::ManagerRelease,
                      [&](Context& c) { return releaseWork(c, true, kept); });
}

StepResult Deposit(db::Connection& connection, const Shown& shown, const QString& amount, const QDate& date)
{
    return steps::Run(connection, shown, Step::Deposit,
                      [&](Context& c) { return depositWork(c, amount, date); });
}

StepResult Contract(db::Connection& connection, const Shown& shown, const QDate& date)
{
    return steps::Run(connection, shown, Step::Contract, [&](Context& c) { return contractWork(c, date); });
}

StepResult Return(db::Connection& connection, const Shown& shown, const QString& reason)
{
    const QString kept = cleanReason(reason);
    if (kept.isEmpty()) return steps::Refuse(connection, shown, Step::Return, Refusal::ReasonRequired);
    if (kept.size() > kMostReasonLength)
        return steps::Refuse(connection, shown, Step::Return, Refusal::BadInput,
                             QStringLiteral("原因最多 %1 字。").arg(kMostReasonLength));
    return steps::Run(connection, shown, Step::Return, [&](Context& c) { return returnWork(c, kept); });
}

}  // namespace deals
