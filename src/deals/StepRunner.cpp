#include "deals/StepRunner.h"

#include "core/Save.h"
#include "core/db/ChangeContext.h"
#include "core/db/Clock.h"
#include "core/db/Connection.h"
#include "core/db/Statement.h"
#include "deals/Clock.h"
#include "deals/OpenDeals.h"
#include "deals/Settings.h"

namespace deals::steps {

namespace {

QString stepName(Step step)
{
    switch (step) {
        case Step::Hold:
            return QStringLiteral("预留");
        case Step::Extend:
        case Step::ManagerExtend:
            return QStringLiteral("延长预留");
        case Step::CancelHold:
        case Step::ManagerRelease:
            return QStringLiteral("取消预留");
        case Step::Deposit:
            return QStringLiteral("认购");
        case Step::Contract:
            return QStringLiteral("签约");
        case Step::Return:
            return QStringLiteral("退房");
    }
    return QString();
}

QString localTime(const QDateTime& time)
{
    return time.toLocalTime().toString(QStringLiteral("MM-dd HH:mm"));
}

// "置业顾问 王芳 为客户 李明 预留（至 11-26 10:00）"
QString holderText(const Holder& h)
{
    QString text =
        QStringLiteral("置业顾问 ") + (h.consultant.isEmpty() ? QStringLiteral("（未指定）") : h.consultant);
    if (!h.customer.isEmpty()) text += QStringLiteral(" 为客户 ") + h.customer;
    text += QLatin1Char(' ') + StageLabel(h.stage);
    if (h.stage == kStageHold && h.holdEnd.isValid())
        text += QStringLiteral("（至 %1）").arg(localTime(h.holdEnd));
    return text;
}

QString refusalText(const Context& c, Refusal refusal, const StepResult& r)
{
    const QString room = QStringLiteral("房间 ") +
                         (c.unit.houseNo.isEmpty() ? QString::number(c.shown.houseId) : c.unit.houseNo);
    const QString what = stepName(c.step);
    switch (refusal) {
        case Refusal::NotForSale:
            return QStringLiteral("%1 的状态是“%2”，不是在售，不能预留。").arg(room, r.status);
        case Refusal::Taken:
            return QStringLiteral("%1 已由%2，本次%3未保存。").arg(room, holderText(r.holder), what);
        case Refusal::Changed:
            if (!c.unit.found) return QStringLiteral("%1 已被删除，本次%2未保存。").arg(room, what);
            return QStringLiteral("%1 已在别处改变（现在%2%3），本次%4未保存。")
                .arg(room,
                     r.status.isEmpty() ? QStringLiteral("没有状态") : QStringLiteral("是“%1”").arg(r.status),
                     r.holder.dealId ? QStringLiteral("，由") + holderText(r.holder) : QString(), what);
        case Refusal::NoDeal:
            return QStringLiteral("%1 现在没有进行中的预留或认购，不能%2。").arg(room, what);
        case Refusal::WrongStage:
            return QStringLiteral("%1 现在是%2，不能%3。").arg(room, StageLabel(r.holder.stage), what);
        case Refusal::Expired:
            return QStringLiteral("%1 的预留已于 %2 到期，不能再延长。").arg(room, c.detail);
        case Refusal::LimitReached:
            return QStringLiteral("%1 的预留已延长 %2，再延长须由经理操作。").arg(room, c.detail);
        case Refusal::ReasonRequired:
            return QStringLiteral("退房须填写原因。");
        case Refusal::BadInput:
            return c.detail;
        case Refusal::NotManager:
            return QStringLiteral("只有经理可以%1。")
                .arg(c.step == Step::ManagerExtend ? QStringLiteral("超出次数延长预留")
                                                   : QStringLiteral("释放他人的预留"));
        case Refusal::NotYours:
            return QStringLiteral("%1 由%2；取消他人的预留须由经理操作。").arg(room, holderText(r.holder));
        case Refusal::LookOnly:
            return mdlHouse::kLookOnlyMessage;
        case Refusal::None:
            break;
    }
    return QStringLiteral("%1 的%2未能保存，请稍后再试。").arg(room, what);
}

// What the result of a step that was not done says: the unit and its holder as they are now.
StepResult notDone(Context& c, Refusal refusal, bool lookOnly)
{
    StepResult r;
    r.outcome = refusal == Refusal::None && !lookOnly ? Outcome::Failed : Outcome::Refused;
    r.refusal = lookOnly ? Refusal::LookOnly : refusal;
    c.unit = ReadUnit(c.connection, c.shown.houseId, c.words.caption);
    r.status = c.unit.status;
    const OpenDeal open = ReadOpenDeal(c.connection, c.shown.houseId);
    r.holder = Holder{open.dealId, open.stage, open.consultant, open.customer, open.holdEnd};
    // A deal the board did not show tells the user more than "changed": somebody holds the unit. A
    // hold that failed on the one open deal a unit may have (another PC's, committed a moment
    // earlier) is that same refusal.
    if (c.step == Step::Hold && open.dealId != 0 && !lookOnly &&
        (refusal == Refusal::Changed || refusal == Refusal::None)) {
        r.outcome = Outcome::Refused;
        r.refusal = Refusal::Taken;
    }
    r.dealId = open.dealId;
    r.message = refusalText(c, r.refusal, r);
    return r;
}

}  // namespace

Context::Context(db::Connection& connection_, const Shown& shown_, Step step_)
    : connection(connection_),
      shown(shown_),
      step(step_),
      words(LoadWords(connection_)),
      now(Now(connection_))
{
}

Words LoadWords(db::Connection& connection)
{
    // A read that fails leaves the defaults, which are the words of every new catalogue.
    Settings s;
    s.Load(connection);
    Words w;
    w.caption = s.statusCaption;
    w.hold = s.wordHold;
    w.deposit = s.wordDeposit;
    w.sign = s.wordSign;
    w.forSale = s.wordForSale;
    w.holdHours = s.holdHours;
    w.maxExtensions = s.maxExtensions;
    return w;
}

Unit ReadUnit(db::Connection& connection, qint32 houseId, const QString& caption)
{
    Unit unit;
    db::Statement read;
    if (read.Prepare(connection, QStringLiteral("SELECT HouseNo FROM t_House WHERE HouseID = ?")) &&
        read.Bind(1, qint64(houseId)) && read.Next()) {
        unit.found = true;
        unit.houseNo = read.Column(0).toString();
    }
    if (!unit.found) return unit;
    if (read.Prepare(connection, QStringLiteral("SELECT ContentID, Content FROM t_Content WHERE HouseID = ? "
                                                "AND Caption = ? ORDER BY List, ContentID LIMIT 1")) &&
        read.Bind(1, qint64(houseId)) && read.Bind(2, caption) && read.Next()) {
        unit.statusRowId = read.Column(0).toLongLong();
        unit.status = read.Column(1).toString();
    }
    return unit;
}

int Exec(Context& c, const QString& sql, std::initializer_list<QVariant> values)
{
    db::Statement statement;
    bool ok = statement.Prepare(c.connection, sql);
    int index = 0;
    for (const QVariant& v : values) ok = ok && statement.Bind(++index, v);
    ok = ok && statement.Exec();
    if (!ok) {
        c.failed = true;
        c.error = c.connection.LastError();
        return -1;
    }
    return statement.RowsAffected();
}

bool WriteStatus(Context& c, const QString& value)
{
    int changed;
    if (c.unit.statusRowId != 0) {
        // A row without a value showed as empty: it may hold Null or an empty text.
        const QString condition = c.shown.status.isEmpty()
                                      ? QStringLiteral("(Content IS NULL OR Content = '')")
                                      : QStringLiteral("Content = ?");
        const QString sql =
            QStringLiteral("UPDATE t_Content SET Content = ? WHERE ContentID = ? AND ") + condition;
        changed = c.shown.status.isEmpty() ? Exec(c, sql, {value, c.unit.statusRowId})
                                           : Exec(c, sql, {value, c.unit.statusRowId, c.shown.status});
    } else if (c.shown.status.isEmpty()) {
        const qint64 house = c.shown.houseId;
        changed = Exec(
            c,
            QStringLiteral("INSERT INTO t_Content (HouseID, Caption, Content, List) SELECT HouseID, ?, ?, "
                           "(SELECT COALESCE(MAX(List), 0) + 1 FROM t_Content WHERE HouseID = ?) FROM "
                           "t_House WHERE HouseID = ? AND NOT EXISTS (SELECT 1 FROM t_Content WHERE "
                           "HouseID = ? AND Caption = ?)"),
            {c.words.caption, value, house, house, house, c.words.caption});
    } else {
        return false;
    }
    if (changed == 1) c.status = value;
    return changed == 1;
}

bool SetContext(Context& c, const QString& path, qint64 customerId, qint64 dealId, const QString& reason)
{
    if (db::SetChangeContext(c.connection, db::ChangeContext{path, customerId, dealId, reason})) return true;
    c.failed = true;
    return false;
}

Refusal LockShownDeal(Context& c, std::initializer_list<QString> stages)
{
    if (c.shown.dealId == 0) {
        // The board showed no deal: if one has come since, the unit has changed under the user.
        return ReadOpenDeal(c.connection, c.shown.houseId).dealId != 0 ? Refusal::Changed : Refusal::NoDeal;
    }
    const int locked = c.connection.LockRow(QStringLiteral("t_Deal"), QStringLiteral("DealID"),
                                            c.shown.dealId, db::Connection::RowLock::Update);
    if (locked < 0) {
        c.failed = true;
        return Refusal::None;
    }
    db::Statement read;
    const QString sql = QStringLiteral(
        "SELECT d.DealID, d.HouseID, d.Stage, d.Active, d.HoldEnd, d.Extensions, d.PriorStatus, "
        "d.CustomerID, d.ConsultantID, s.Login FROM t_Deal d LEFT JOIN t_Consultant s ON "
        "s.ConsultantID = d.ConsultantID WHERE d.DealID = ?");
    if (!read.Prepare(c.connection, sql) || !read.Bind(1, c.shown.dealId) || !read.Next())
        return Refusal::Changed;
    DealRow& d = c.deal;
    d.dealId = read.Column(0).toLongLong();
    d.houseId = qint32(read.Column(1).toLongLong());
    d.stage = read.Column(2).toString();
    d.active = read.Column(3).toLongLong() == 1;
    d.holdEnd = db::ParseTime(read.Column(4));
    d.extensions = int(read.Column(5).toLongLong());
    d.priorStatus = read.Column(6);
    d.customerId = read.Column(7).toLongLong();
    d.consultantId = read.Column(8).toLongLong();
    d.consultantLogin = read.Column(9).toString();
    c.dealId = d.dealId;
    if (d.houseId != c.shown.houseId) return Refusal::Changed;
    if (!d.active) {
        if (d.stage == kStageExpired && d.holdEnd.isValid()) {
            c.detail = localTime(d.holdEnd);
            return Refusal::Expired;
        }
        return Refusal::Changed;
    }
    for (const QString& stage : stages)
        if (d.stage == stage) return Refusal::None;
    return Refusal::WrongStage;
}

StepResult Run(db::Connection& connection, const Shown& shown, Step step,
               const std::function<Refusal(Context&)>& work)
{
    Context c(connection, shown, step);
    Refusal refusal = Refusal::None;
    bool committed = false;
    bool lookOnly = false;
    {
        db::Transaction transaction(connection);
        if (!connection.InTransaction()) {
            c.failed = true;
        } else {
            refusal = work(c);
            if (refusal == Refusal::None && !c.failed) committed = transaction.Commit();
        }
        lookOnly = connection.WriteRefused();
    }
    if (committed) {
        StepResult r;
        r.outcome = Outcome::Done;
        r.dealId = c.dealId;
        r.status = c.status.isNull() ? c.unit.status : c.status;
        return r;
    }
    // A second open deal is refused by the unique index (named on the server, by its column on
    // House.db): another PC's hold that committed while this one waited for it. Whatever has become
    // of that deal since, the unit is no longer as the board showed it.
    if (c.failed && (c.error.contains(QStringLiteral("ux_Deal_Active"), Qt::CaseInsensitive) ||
                     c.error.contains(QStringLiteral("t_Deal.HouseID"), Qt::CaseInsensitive))) {
        c.failed = false;
        refusal = Refusal::Changed;
    }
    return notDone(c, c.failed ? Refusal::None : refusal, lookOnly);
}

StepResult Refuse(db::Connection& connection, const Shown& shown, Step step, Refusal refusal,
                  const QString& detail)
{
    Context c(connection, shown, step);
    c.detail = detail;
    return notDone(c, refusal, false);
}

}  // namespace deals::steps
