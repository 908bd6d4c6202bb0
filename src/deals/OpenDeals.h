#pragma once

#include <QDateTime>
#include <QHash>
#include <QString>

namespace db {
class Connection;
}

// The open deals of the units as the board, the lists and the customer window read them. Every read
// first releases the holds past their end (deals::ReleaseExpired), so that what it shows is never a
// hold that has already run out.
namespace deals {

struct OpenDeal {
    qint64 dealId = 0;
    qint32 houseId = 0;
    QString stage;  // hold, deposit, contract
    qint64 consultantId = 0;
    QString consultant;
    qint64 customerId = 0;
    QString customer;   // empty where the login may not read customers
    QDateTime holdEnd;  // invalid when the deal has none
    int extensions = 0;
};

struct OpenDeals {
    bool ok = false;               // false when the read failed
    bool customersHidden = false;  // the login may not read customers: names left empty
    QHash<qint32, OpenDeal> byHouse;
};

// The open deals of one building's units (every building's when `building` is empty), in one
// statement after the release of expired holds. A login that may not read customers still gets
// everything else.
OpenDeals ReadOpenDeals(db::Connection& connection, const QString& building);
// The open deal of one unit (dealId 0 when it has none), without releasing anything first: the deal
// steps read it inside their own transaction.
OpenDeal ReadOpenDeal(db::Connection& connection, qint32 houseId, bool* customersHidden = nullptr);

// "…3小时", "…25分钟", "…2天": the time a hold has left at `now`, as a cell shows it ("" when it
// has none or it has run out).
QString TimeLeft(const QDateTime& holdEnd, const QDateTime& now);

}  // namespace deals
