#include "deals/Settings.h"

#include <utility>
#include <vector>

#include "core/Save.h"
#include "core/db/Connection.h"
#include "core/db/Recordset.h"

namespace deals {

namespace {

constexpr int kMostHoldHours = 8760;  // a year
constexpr int kMostExtensions = 100;
constexpr int kLongestWord = 50;

bool wordFits(const QString& word)
{
    return !word.trimmed().isEmpty() && word.size() <= kLongestWord && !word.contains(QLatin1Char('\n')) &&
           !word.contains(QLatin1Char('\r')) && !word.contains(QChar(0));
}

std::vector<std::pair<QString, QString>> namedValues(const Settings& s)
{
    return {{QStringLiteral("HoldHours"), QString::number(s.holdHours)},
            {QStringLiteral("MaxExtensions"), QString::number(s.maxExtensions)},
            {QStringLiteral("StatusCaption"), s.statusCaption},
            {QStringLiteral("WordHold"), s.wordHold},
            {QStringLiteral("WordDeposit"), s.wordDeposit},
            {QStringLiteral("WordSign"), s.wordSign},
            {QStringLiteral("WordForSale"), s.wordForSale}};
}

void takeNumber(const QString& text, int least, int most, int* value)
{
    bool ok = false;
    const int n = text.trimmed().toInt(&ok);
    if (ok && n >= least && n <= most) *value = n;
}

void takeWord(const QString& text, QString* value)
{
    if (wordFits(text)) *value = text.trimmed();
}

}  // namespace

bool Settings::Load(db::Connection& connection)
{
    *this = Settings();
    db::Recordset rs;
    if (!connection.Execute("Select Name, Value From t_Setting", rs)) return false;
    for (; !rs.Eof(); rs.MoveNext()) {
        const QString name = rs.Field(0).toString();
        const QString value = rs.Field(1).toString();
        if (name.compare(QLatin1String("HoldHours"), Qt::CaseInsensitive) == 0)
            takeNumber(value, 1, kMostHoldHours, &holdHours);
        else if (name.compare(QLatin1String("MaxExtensions"), Qt::CaseInsensitive) == 0)
            takeNumber(value, 0, kMostExtensions, &maxExtensions);
        else if (name.compare(QLatin1String("StatusCaption"), Qt::CaseInsensitive) == 0)
            takeWord(value, &statusCaption);
        else if (name.compare(QLatin1String("WordHold"), Qt::CaseInsensitive) == 0)
            takeWord(value, &wordHold);
        else if (name.compare(QLatin1String("WordDeposit"), Qt::CaseInsensitive) == 0)
            takeWord(value, &wordDeposit);
        else if (name.compare(QLatin1String("WordSign"), Qt::CaseInsensitive) == 0)
            takeWord(value, &wordSign);
        else if (name.compare(QLatin1String("WordForSale"), Qt::CaseInsensitive) == 0)
            takeWord(value, &wordForSale);
    }
    rs.Close();
    return true;
}

bool Settings::Check(QString* problem) const
{
    QString why;
    if (holdHours < 1 || holdHours > kMostHoldHours)
        why = QStringLiteral("预留时长必须是 1 到 %1 之间的整数（小时）。").arg(kMostHoldHours);
    else if (maxExtensions < 0 || maxExtensions > kMostExtensions)
        why = QStringLiteral("延长次数必须是 0 到 %1 之间的整数。").arg(kMostExtensions);
    else if (!wordFits(statusCaption) || !wordFits(wordHold) || !wordFits(wordDeposit) ||
             !wordFits(wordSign) || !wordFits(wordForSale))
        why = QStringLiteral("状态项和各状态文字不能为空，不能换行，最多 %1 个字。").arg(kLongestWord);
    if (problem) *problem = why;
    return why.isEmpty();
}

bool Settings::Save(db::Connection& connection, QString* refusal) const
{
    QString why;
    if (!Check(&why)) {
        if (refusal) *refusal = why;
        return false;
    }
    if (!connection.IsOpen()) {
        if (refusal) *refusal = mdlHouse::kNothingSavedMessage;
        return false;
    }
    bool written = false;
    {
        db::Transaction transaction(connection);
        bool ok = connection.InTransaction();
        for (const auto& [name, value] : namedValues(*this)) {
            ok = ok &&
                 connection.Execute(db::Sql("Delete From t_Setting Where Name = ") + db::Sql::Quoted(name));
            ok = ok && connection.Execute(db::Sql("Insert Into t_Setting (Name, Value) Values (") +
                                          db::Sql::Quoted(name) + db::Sql(", ") + db::Sql::Quoted(value) +
                                          db::Sql(")"));
        }
        written = ok && transaction.Commit();
    }
    if (!written && refusal)
        *refusal = connection.IsServer() && connection.WriteRefused() ? kManagerOnlyMessage
                                                                      : mdlHouse::kNothingSavedMessage;
    return written;
}

}  // namespace deals
