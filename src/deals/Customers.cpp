#include "deals/Customers.h"

#include <QDateTime>
#include <QHash>
#include <QRegularExpression>

#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "deals/DealText.h"

namespace deals {

using db::Sql;

namespace {

Sql quoted(const QString& value)
{
    return Sql::Quoted(value);
}

QVariant textOrNull(const QString& text)
{
    return text.isEmpty() ? QVariant() : QVariant(text);
}

Customer readRow(const db::Recordset& rs)
{
    Customer c;
    c.id = rs.Field(QStringLiteral("CustomerID")).toLongLong();
    c.name = rs.Field(QStringLiteral("CustomerName")).toString();
    c.phone = rs.Field(QStringLiteral("Phone")).toString();
    c.consultantId = rs.Field(QStringLiteral("ConsultantID")).toLongLong();
    c.firstVisit = rs.Field(QStringLiteral("FirstVisit")).toString();
    c.source = rs.Field(QStringLiteral("Source")).toString();
    c.notes = rs.Field(QStringLiteral("Notes")).toString();
    return c;
}

const QString kCustomerColumns =
    QStringLiteral("CustomerID, CustomerName, Phone, ConsultantID, FirstVisit, Source, Notes");

}  // namespace

QStringList CustomerSources()
{
    return {QStringLiteral("来访"), QStringLiteral("来电"), QStringLiteral("渠道"), QStringLiteral("其他")};
}

QString NormalisePhone(const QString& phone)
{
    QString digits;
    bool plus = false;
    for (const QChar c : phone) {
        // Full-width digits (typed with a Chinese input method) count as the digits they are.
        const int value = c.digitValue();
        if (value >= 0 && value <= 9 && (c.isDigit())) {
            digits += QChar(u'0' + value);
        } else if ((c == QLatin1Char('+') || c == QChar(0xFF0B)) && digits.isEmpty()) {
            plus = true;
        }
    }
    if (digits.isEmpty()) return QString();
    return plus ? QLatin1Char('+') + digits : digits;
}

QString SearchKey(const QString& name, const QString& phone)
{
    QString key;
    for (const QChar c : (name + phone).toCaseFolded())
        if (!c.isSpace()) key += c;
    return key;
}

bool CanReadCustomers(db::Connection& connection)
{
    db::Recordset rs;
    const bool ok = connection.Execute(QStringLiteral("Select Top 1 CustomerID From t_Customer"), rs);
    rs.Close();
    return ok;
}

bool ReadConsultants(db::Connection& connection, std::vector<Consultant>* consultants)
{
    consultants->clear();
    db::Recordset rs;
    if (!connection.Execute(QStringLiteral("Select ConsultantID, ConsultantName, Login, Active From "
                                           "t_Consultant Order By ConsultantName"),
                            rs))
        return false;
    for (; !rs.Eof(); rs.MoveNext()) {
        Consultant c;
        c.id = rs.Field(0).toLongLong();
        c.name = rs.Field(1).toString();
        c.login = rs.Field(2).toString();
        c.active = rs.Field(3).isNull() || rs.Field(3).toLongLong() != 0;
        consultants->push_back(c);
    }
    rs.Close();
    return true;
}

qint64 ConsultantOfLogin(db::Connection& connection, const QString& login)
{
    if (login.isEmpty()) return 0;
    db::Recordset rs;
    qint64 id = 0;
    if (connection.Execute(
            QStringLiteral("Select ConsultantID From t_Consultant Where Active = 1 And Login = ") +
                quoted(login) + QStringLiteral(" Order By ConsultantID"),
            rs) &&
        !rs.Eof())
        id = rs.Field(0).toLongLong();
    rs.Close();
    return id;
}

bool SaveConsultant(db::Connection& connection, Consultant* consultant)
{
    const QString name = consultant->name.trimmed();
    if (name.isEmpty()) return false;
    db::Transaction transaction(connection);
    db::Recordset rs;
    qint64 id = 0;
    if (!connection.Execute(
            QStringLiteral("Select ConsultantID From t_Consultant Where ConsultantName = ") + quoted(name),
            rs))
        return false;
    if (!rs.Eof()) id = rs.Field(0).toLongLong();
    rs.Close();
    const QString active = consultant->active ? QStringLiteral("1") : QStringLiteral("0");
    const Sql login = consultant->login.trimmed().isEmpty() ? Sql(QStringLiteral("Null"))
                                                            : quoted(consultant->login.trimmed());
    const bool written =
        id != 0
            ? connection.Execute(QStringLiteral("Update t_Consultant Set Login = ") + login +
                                 QStringLiteral(", Active = ") + active +
                                 QStringLiteral(" Where ConsultantID = ") + QString::number(id))
            : connection.Execute(QStringLiteral("Insert Into t_Consultant (ConsultantName, Login, Active) "
                                                "Values (") +
                                 quoted(name) + QStringLiteral(", ") + login + QStringLiteral(", ") + active +
                                 QStringLiteral(")"));
    if (!written || !transaction.Commit()) return false;
    consultant->name = name;
    if (id == 0) {
        if (connection.Execute(
                QStringLiteral("Select ConsultantID From t_Consultant Where ConsultantName = ") +
                    quoted(name),
                rs) &&
            !rs.Eof())
            id = rs.Field(0).toLongLong();
        rs.Close();
    }
    consultant->id = id;
    return id != 0;
}

bool FindCustomers(db::Connection& connection, const QString& text, int limit, std::vector<Customer>* found)
{
    found->clear();
    const QString key = SearchKey(text, QString());
    // The phone is stored as digits only, so "138 0013" finds it too: its digits are searched as
    // well as the text as typed.
    const QString digits = NormalisePhone(text);
    Sql sql = QStringLiteral("Select Top ") + QString::number(limit) + QStringLiteral(" ") +
              kCustomerColumns + QStringLiteral(" From t_Customer");
    if (!key.isEmpty()) {
        sql += QStringLiteral(" Where SearchKey Like '%") + Sql::Value(key) + QStringLiteral("%'");
        // A customer written by another program may lack its search key; the name still finds it.
        sql += QStringLiteral(" Or CustomerName Like '%") + Sql::Value(text.trimmed()) + QStringLiteral("%'");
        if (!digits.isEmpty() && digits != key)
            sql += QStringLiteral(" Or Phone Like '%") + Sql::Value(digits) + QStringLiteral("%'");
    }
    sql += QStringLiteral(" Order By CustomerName, CustomerID");
    db::Recordset rs;
    if (!connection.Execute(sql, rs)) return false;
    for (; !rs.Eof(); rs.MoveNext()) found->push_back(readRow(rs));
    rs.Close();
    return true;
}

bool ReadCustomer(db::Connection& connection, qint64 id, Customer* customer)
{
    db::Recordset rs;
    if (!connection.Execute(QStringLiteral("Select ") + kCustomerColumns +
                                QStringLiteral(" From t_Customer Where CustomerID = ") + QString::number(id),
                            rs))
        return false;
    const bool there = !rs.Eof();
    if (there) *customer = readRow(rs);
    rs.Close();
    return there;
}

qint64 CustomerWithPhone(db::Connection& connection, const QString& phone, qint64 except)
{
    if (phone.isEmpty()) return 0;
    db::Recordset rs;
    if (!connection.Execute(QStringLiteral("Select CustomerID From t_Customer Where Phone = ") +
                                quoted(phone) + QStringLiteral(" And CustomerID <> ") +
                                QString::number(except),
                            rs))
        return -1;
    const qint64 id = rs.Eof() ? 0 : rs.Field(0).toLongLong();
    rs.Close();
    return id;
}

SaveResult SaveCustomer(db::Connection& connection, Customer* customer, qint64* other)
{
    customer->name = customer->name.trimmed();
    customer->phone = NormalisePhone(customer->phone);
    db::Transaction transaction(connection);
    const qint64 holder = CustomerWithPhone(connection, customer->phone, customer->id);
    if (holder > 0) {
        if (other) *other = holder;
        return SaveResult::DuplicatePhone;
    }
    if (holder < 0) return connection.WriteRefused() ? SaveResult::Refused : SaveResult::Failed;
    db::Recordset rs;
    const QString where = QStringLiteral(" Where CustomerID = ") + QString::number(customer->id);
    bool written = rs.Open(
        QStringLiteral("Select ") + kCustomerColumns + QStringLiteral(", SearchKey From t_Customer") + where,
        connection, db::CursorType::Keyset, db::LockType::Optimistic);
    if (written && customer->id == 0)
        written = rs.AddNew();
    else if (written)
        written = !rs.Eof();
    if (written) {
        rs.SetField(QStringLiteral("CustomerName"), customer->name);
        rs.SetField(QStringLiteral("Phone"), textOrNull(customer->phone));
        rs.SetField(QStringLiteral("ConsultantID"),
                    customer->consultantId > 0 ? QVariant(customer->consultantId) : QVariant());
        rs.SetField(QStringLiteral("FirstVisit"), textOrNull(customer->firstVisit));
        rs.SetField(QStringLiteral("Source"), textOrNull(customer->source));
        rs.SetField(QStringLiteral("Notes"), textOrNull(customer->notes));
        rs.SetField(QStringLiteral("SearchKey"), SearchKey(customer->name, customer->phone));
        written = rs.Update();
        if (written && customer->id == 0) customer->id = rs.Field(QStringLiteral("CustomerID")).toLongLong();
    }
    rs.Close();
    if (written && customer->id > 0 && transaction.Commit()) return SaveResult::Saved;
    const bool refused = connection.WriteRefused();
    transaction.Rollback();
    if (refused) return SaveResult::Refused;
    // Two PCs adding the same phone at once: the unique index lets one in, the other learns who.
    const qint64 now = CustomerWithPhone(connection, customer->phone, customer->id);
    if (now > 0) {
        if (other) *other = now;
        return SaveResult::DuplicatePhone;
    }
    return SaveResult::Failed;
}

bool ReadCustomerDeals(db::Connection& connection, qint64 customerId, std::vector<CustomerDeal>* deals)
{
    deals->clear();
    db::Recordset rs;
    const QString sql = QStringLiteral(
                            "Select d.DealID, d.HouseID, a.HouseName, a.HouseNo, d.Stage, c.ConsultantName, "
                            "d.CreatedAt, d.HoldEnd, d.Deposit, d.DepositDate, d.ContractDate, d.Reason "
                            "From (t_Deal as d Left Join t_House as a On d.HouseID = a.HouseID) "
                            "Left Join t_Consultant as c On d.ConsultantID = c.ConsultantID "
                            "Where d.CustomerID = ") +
                        QString::number(customerId) + QStringLiteral(" Order By d.DealID Desc");
    if (!connection.Execute(sql, rs)) return false;
    for (; !rs.Eof(); rs.MoveNext()) {
        CustomerDeal d;
        d.dealId = rs.Field(0).toLongLong();
        d.houseId = rs.Field(1).toInt();
        d.unit = (rs.Field(2).toString() + QLatin1Char(' ') + rs.Field(3).toString()).trimmed();
        d.stage = rs.Field(4).toString();
        d.consultant = rs.Field(5).toString();
        d.since = LocalTimeText(rs.Field(6));
        if (d.stage == QLatin1String("hold"))
            d.detail = QStringLiteral("至 ") + LocalTimeText(rs.Field(7));
        else if (d.stage == QLatin1String("deposit"))
            d.detail = QStringLiteral("定金 %1（%2）").arg(rs.Field(8).toString(), rs.Field(9).toString());
        else if (d.stage == QLatin1String("contract"))
            d.detail = QStringLiteral("签约 ") + rs.Field(10).toString();
        else
            d.detail = rs.Field(11).toString();
        deals->push_back(d);
    }
    rs.Close();
    return true;
}

}  // namespace deals
