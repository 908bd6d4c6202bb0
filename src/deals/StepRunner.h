#pragma once

#include <QDateTime>
#include <QString>
#include <QVariant>
#include <functional>
#include <initializer_list>

#include "deals/DealSteps.h"

// What every deal step shares: the words of the catalogue, the unit's status row, the deal row
// locked for the step, the one transaction, and the result with its message. DealSteps.cpp says
// what each step does; this says how a step is done.
namespace deals::steps {

// The catalogue's settings as the steps use them.
struct Words {
    QString caption;  // the status caption (状态)
    QString hold, deposit, sign, forSale;
    int holdHours = 24;
    int maxExtensions = 1;
};

// The unit's status row: the first row of the status caption, as the board reads it.
struct Unit {
    bool found = false;  // the house is there
    QString houseNo;
    qint64 statusRowId = 0;
    QString status;
};

// The deal row a step works on, read after locking it.
struct DealRow {
    qint64 dealId = 0;
    qint32 houseId = 0;
    QString stage;
    bool active = false;
    QDateTime holdEnd;
    int extensions = 0;
    QVariant priorStatus;
    qint64 customerId = 0;
    qint64 consultantId = 0;
    QString consultantLogin;
};

// One step in the making.
struct Context {
    Context(db::Connection& connection, const Shown& shown, Step step);
    db::Connection& connection;
    const Shown& shown;
    Step step;
    Words words;
    QDateTime now;
    Unit unit;
    DealRow deal;
    qint64 dealId = 0;  // the deal the step made or changed
    QString status;     // the unit's status once the step is done
    bool failed = false;
    QString detail;  // for a refusal that says more than its kind (the limit, the expiry ...)
    QString error;   // the store's message for the statement that failed
};

// Reads the settings, once per step (a step is rare; the settings may have changed since the last).
Words LoadWords(db::Connection& connection);
// The house's number and its status row, inside the step's transaction.
Unit ReadUnit(db::Connection& connection, qint32 houseId, const QString& caption);
// Changes the status row from what the board showed to `value` (or adds the row when the board
// showed none and there still is none). False when the row no longer holds what was shown, or the
// statement failed (Context::failed then).
bool WriteStatus(Context& c, const QString& value);
// Sets who and why for the history row the status change makes.
bool SetContext(Context& c, const QString& path, qint64 customerId, qint64 dealId, const QString& reason);
// Locks the deal the board showed and reads it. Refusal::None when it is still the unit's open deal
// at one of the stages; otherwise why not.
Refusal LockShownDeal(Context& c, std::initializer_list<QString> stages);
// Runs one statement with the values bound; the rows it changed, or -1 when it failed (and
// Context::failed is set).
int Exec(Context& c, const QString& sql, std::initializer_list<QVariant> values);

// Runs the step: its work inside one transaction, committed only when the work refuses nothing;
// then the result, read back from the catalogue when refused.
StepResult Run(db::Connection& connection, const Shown& shown, Step step,
               const std::function<Refusal(Context&)>& work);
// A result for a step refused before anything was begun.
StepResult Refuse(db::Connection& connection, const Shown& shown, Step step, Refusal refusal,
                  const QString& detail = QString());

}  // namespace deals::steps
