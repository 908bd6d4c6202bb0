#pragma once

#include <QDate>
#include <QDateTime>
#include <QString>

namespace db {
class Connection;
}

// The steps of a deal on one unit: hold, extend, cancel, deposit (认购), contract (签约), return
// (退房), and the manager's extension beyond the limit and release of any hold. Each step is one
// transaction on an open connection: the deal row, the unit's status row and (through the
// catalogue's triggers) the history row, all or nothing. A step goes ahead only while the unit is
// still as the board showed it; otherwise nothing is written and the result says why and who
// holds the unit. No call throws.
namespace deals {

// The stage codes of t_Deal.Stage: open ones, then closed ones.
inline const QString kStageHold = QStringLiteral("hold");
inline const QString kStageDeposit = QStringLiteral("deposit");
inline const QString kStageContract = QStringLiteral("contract");
inline const QString kStageCancelled = QStringLiteral("cancelled");
inline const QString kStageExpired = QStringLiteral("expired");
inline const QString kStageReturned = QStringLiteral("returned");
// What the office calls a stage (预留, 认购, 签约, 已取消, 已到期, 已退房).
QString StageLabel(const QString& stage);

enum class Step { Hold, Extend, CancelHold, Deposit, Contract, Return, ManagerExtend, ManagerRelease };
// Whether a step fits a unit whose open deal is at `stage` ("" when it has none). The statuses that
// allow a hold are checked by the step itself.
bool StepFits(Step step, const QString& stage);

// The built-in status values the board colours green, beside the catalogue's own word for it.
bool IsForSale(const QString& status, const QString& wordForSale);

// What the board showed of a unit when the step was chosen.
struct Shown {
    qint32 houseId = 0;
    QString status;     // the unit's status value ("" when it had none)
    qint64 dealId = 0;  // its open deal (0: none)
};

enum class Outcome { Done, Refused, Failed };
enum class Refusal {
    None,
    NotForSale,      // a hold needs a for-sale status
    Taken,           // another open deal holds the unit
    Changed,         // the status or the deal is no longer what the board showed
    NoDeal,          // the step needs an open deal and there is none
    WrongStage,      // the open deal is at a stage the step does not fit
    Expired,         // the hold ended before it could be extended
    LimitReached,    // the most extensions are used up (a manager may go beyond)
    ReasonRequired,  // a return needs a reason
    BadInput,        // an amount, date, hours, customer or consultant that is not acceptable
    NotManager,      // the manager's steps
    NotYours,        // another consultant's hold, which only a manager may release
    LookOnly,        // the login may not change the catalogue
};

// The open deal that holds a unit, as a refusal names it.
struct Holder {
    qint64 dealId = 0;
    QString stage;
    QString consultant;
    QString customer;  // empty where the login may not read customers
    QDateTime holdEnd;
};

struct StepResult {
    Outcome outcome = Outcome::Failed;
    Refusal refusal = Refusal::None;
    qint64 dealId = 0;
    QString status;   // the unit's status now (after the step, or as found when refused)
    Holder holder;    // who holds the unit, when one does
    QString message;  // for the user; empty when the step was done
    bool Done() const { return outcome == Outcome::Done; }
};

// Holds the unit for a customer for `hours` (0: the catalogue's HoldHours), named for a consultant.
StepResult Hold(db::Connection& connection, const Shown& shown, qint64 customerId, qint64 consultantId,
                int hours = 0);
// Moves the end of a hold on by `hours` (0: HoldHours), at most MaxExtensions times.
StepResult Extend(db::Connection& connection, const Shown& shown, int hours = 0);
// Ends a hold of the login's own consultant (or one without a login); the unit gets back the status
// it had before the hold.
StepResult CancelHold(db::Connection& connection, const Shown& shown);
// 认购: a held unit takes a deposit (an amount of money, as typed, checked) on a date.
StepResult Deposit(db::Connection& connection, const Shown& shown, const QString& amount, const QDate& date);
// 签约: a held or deposited unit is signed on a date.
StepResult Contract(db::Connection& connection, const Shown& shown, const QDate& date);
// 退房: a deposit or contract is undone, for a reason that must be given; the unit is for sale again.
StepResult Return(db::Connection& connection, const Shown& shown, const QString& reason);
// The manager's steps, recorded with the path 'manager': an extension beyond MaxExtensions, and
// the release of anybody's hold (the unit gets back its status from before the hold).
StepResult ManagerExtend(db::Connection& connection, const Shown& shown, int hours = 0);
StepResult ManagerRelease(db::Connection& connection, const Shown& shown, const QString& reason = QString());

// A typed deposit amount as it is kept ("12000", "12000.5"), or "" when it is not a positive amount
// of money with at most two decimals.
QString NormalisedAmount(const QString& typed);

}  // namespace deals
