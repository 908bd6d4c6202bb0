#pragma once

#include <QString>
#include <QStringList>
#include <vector>

namespace db {
class Connection;
}

// The customers of the sales office and the consultants (置业顾问) who look after them, read and
// written without any widget: the customers window, the board's deal dialogs and the tests share
// these. Every call reports success; a failed statement leaves its message in the connection.
namespace deals {

// Where a customer first came from, in the order the window offers them.
QStringList CustomerSources();

struct Customer {
    qint64 id = 0;  // 0 for one not stored yet
    QString name;
    QString phone;  // normalised
    qint64 consultantId = 0;
    QString firstVisit;  // 'YYYY-MM-DD' or empty
    QString source;
    QString notes;
};

struct Consultant {
    qint64 id = 0;
    QString name;
    QString login;
    bool active = true;
};

// A phone number as it is stored and compared: its digits only, a leading + kept, so that
// "138 0013-8000" and "13800138000" are one number. Empty when it holds no digit.
QString NormalisePhone(const QString& phone);
// What the partial search looks in: name and phone folded to lower case, white space removed.
QString SearchKey(const QString& name, const QString& phone);

// Whether this login may read customers at all (a showroom login may not).
bool CanReadCustomers(db::Connection& connection);

bool ReadConsultants(db::Connection& connection, std::vector<Consultant>* consultants);
// The consultant whose Login is this one, 0 when none is.
qint64 ConsultantOfLogin(db::Connection& connection, const QString& login);
// Adds a consultant, or changes the login and whether it is active of one already there by name.
bool SaveConsultant(db::Connection& connection, Consultant* consultant);

// Customers whose name or phone holds the text (ignoring case and white space), by name, at most
// `limit` of them; an empty text lists them all (up to the limit).
bool FindCustomers(db::Connection& connection, const QString& text, int limit, std::vector<Customer>* found);
bool ReadCustomer(db::Connection& connection, qint64 id, Customer* customer);
// The customer who has this (normalised) phone, other than `except`: its key, 0 when nobody has
// it, -1 when the read failed.
qint64 CustomerWithPhone(db::Connection& connection, const QString& phone, qint64 except = 0);

enum class SaveResult { Saved, DuplicatePhone, Refused, Failed };
// Adds (id 0) or changes the customer in one transaction; the phone and the search key are
// normalised here. DuplicatePhone sets *other to the customer who already has the phone.
SaveResult SaveCustomer(db::Connection& connection, Customer* customer, qint64* other = nullptr);

// One of a customer's deals, as the customers window lists it.
struct CustomerDeal {
    qint64 dealId = 0;
    qint32 houseId = 0;
    QString unit;  // building and room
    QString stage;
    QString consultant;
    QString since;   // when it was made
    QString detail;  // hold end, deposit, contract date or reason, whichever fits the stage
};
bool ReadCustomerDeals(db::Connection& connection, qint64 customerId, std::vector<CustomerDeal>* deals);

}  // namespace deals
