#include "deals/SettingsAccess.h"

#include <QHash>

#include "core/db/Connection.h"
#include "core/db/Recordset.h"

namespace deals {

namespace {

QList<QPair<QString, QString>> asPairs(const SettingValues& v)
{
    return {{QStringLiteral("HoldHours"), QString::number(v.holdHours)},
            {QStringLiteral("MaxExtensions"), QString::number(v.maxExtensions)},
            {QStringLiteral("StatusCaption"), v.statusCaption},
            {QStringLiteral("WordHold"), v.wordHold},
            {QStringLiteral("WordDeposit"), v.wordDeposit},
            {QStringLiteral("WordSign"), v.wordSign},
            {QStringLiteral("WordForSale"), v.wordForSale}};
}

}  // namespace

SettingValues ReadSettingValues(db::Connection& connection)
{
    SettingValues v;
    QHash<QString, QString> stored;
    db::Recordset rs;
    if (connection.Execute(QStringLiteral("Select Name, Value From t_Setting"), rs)) {
        for (; !rs.Eof(); rs.MoveNext())
            stored.insert(rs.Field(0).toString().toLower(), rs.Field(1).toString());
        rs.Close();
    }
    auto number = [&stored](const char* name, int fallback, int minimum) {
        bool ok = false;
        const int n = stored.value(QString::fromLatin1(name).toLower()).trimmed().toInt(&ok);
        return ok && n >= minimum ? n : fallback;
    };
    auto word = [&stored](const char* name, const QString& fallback) {
        const QString w = stored.value(QString::fromLatin1(name).toLower()).trimmed();
        return w.isEmpty() ? fallback : w;
    };
    v.holdHours = number("HoldHours", v.holdHours, 1);
    v.maxExtensions = number("MaxExtensions", v.maxExtensions, 0);
    v.statusCaption = word("StatusCaption", v.statusCaption);
    v.wordHold = word("WordHold", v.wordHold);
    v.wordDeposit = word("WordDeposit", v.wordDeposit);
    v.wordSign = word("WordSign", v.wordSign);
    v.wordForSale = word("WordForSale", v.wordForSale);
    return v;
}

bool WriteSettingValues(db::Connection& connection, const SettingValues& values)
{
    db::Transaction transaction(connection);
    if (!connection.InTransaction()) return false;
    for (const auto& [name, value] : asPairs(values)) {
        const db::Sql key = db::Sql::Quoted(name);
        if (!connection.Execute(QStringLiteral("Delete From t_Setting Where Name = ") + key) ||
            !connection.Execute(QStringLiteral("Insert Into t_Setting (Name, Value) Values (") + key +
                                QStringLiteral(", ") + db::Sql::Quoted(value) + QStringLiteral(")")))
            return false;
    }
    return transaction.Commit();
}

}  // namespace deals
