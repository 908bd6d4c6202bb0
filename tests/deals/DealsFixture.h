#pragma once

// What the deal-step tests share: a catalogue on either store within one test run, a building of
// units for sale with consultants and customers, the deal worker they start as other PCs, and
// reads of the deal and history tables.
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include "PgCluster.h"
#include "Processes.h"
#include "TestSupport.h"
#include "core/db/Connection.h"
#include "core/db/Store.h"
#include "deals/DealSteps.h"

namespace dealtest {

// The folders made while one of these lives use House.db or, with server true, a database of the
// test's private server.
class Store {
public:
    explicit Store(bool server) : before_(qgetenv("TAVRELO_TEST_STORE"))
    {
        if (server)
            qputenv("TAVRELO_TEST_STORE", "server");
        else
            qunsetenv("TAVRELO_TEST_STORE");
    }
    ~Store() { qputenv("TAVRELO_TEST_STORE", before_); }
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

private:
    QByteArray before_;
};

// The test clock for the life of the object (an ISO date-time in UTC).
class TestClock {
public:
    explicit TestClock(const QString& now) { Set(now); }
    ~TestClock() { qunsetenv("TAVRELO_TEST_NOW"); }
    TestClock(const TestClock&) = delete;
    TestClock& operator=(const TestClock&) = delete;
    void Set(const QString& now) { qputenv("TAVRELO_TEST_NOW", now.toUtf8()); }
};

inline QString Quoted(QString text)
{
    return QLatin1Char('\'') + text.replace(QLatin1Char('\''), QStringLiteral("''")) + QLatin1Char('\'');
}

// One type, `count` units of `building` (HouseIDs first .. first+count-1, room numbers 101 …) each
// with a 状态 row holding `status`, consultants 1 王芳 (login wangfang) and 2 张伟 (login
// zhangwei), customers 1 李明 and 2 赵敏; an empty history.
inline bool SeedBuilding(const testsupport::ProgramFolder& folder, const QString& building, int count,
                         const QString& status = QStringLiteral("在售"), int first = 1)
{
    bool ok =
        first != 1 || folder.Exec(QStringLiteral("INSERT INTO t_HouseType (TypeID, List, HouseType, "
                                                 "MusicTitle, MusicFile) VALUES (1, 1, '公寓', '', '')"));
    if (first == 1) {
        ok = ok &&
             folder.Exec(
                 QStringLiteral("INSERT INTO t_Consultant (ConsultantID, ConsultantName, Login, Active) "
                                "VALUES (1, '王芳', 'wangfang', 1)")) &&
             folder.Exec(
                 QStringLiteral("INSERT INTO t_Consultant (ConsultantID, ConsultantName, Login, Active) "
                                "VALUES (2, '张伟', 'zhangwei', 1)")) &&
             folder.Exec(QStringLiteral("INSERT INTO t_Customer (CustomerID, CustomerName, Phone, SearchKey) "
                                        "VALUES (1, '李明', '13800000001', '李明13800000001')")) &&
             folder.Exec(QStringLiteral("INSERT INTO t_Customer (CustomerID, CustomerName, Phone, SearchKey) "
                                        "VALUES (2, '赵敏', '13800000002', '赵敏13800000002')"));
    }
    for (int i = 0; i < count && ok; ++i) {
        const int id = first + i;
        ok =
            folder.Exec(QStringLiteral("INSERT INTO t_House (HouseID, HouseName, HouseNo, Intro, HouseFloor, "
                                       "TypeID) VALUES (%1, %2, '%3', '', %4, 1)")
                            .arg(id)
                            .arg(Quoted(building))
                            .arg(100 * (1 + i / 4) + 1 + i % 4)
                            .arg(1 + i / 4));
        if (ok && !status.isNull())
            ok = folder.Exec(QStringLiteral("INSERT INTO t_Content (HouseID, Caption, Content, List) VALUES "
                                            "(%1, '状态', %2, 1)")
                                 .arg(id)
                                 .arg(Quoted(status)));
    }
    // The seeded status rows are the starting point, not changes the tests look for.
    ok = ok && folder.Exec(QStringLiteral("DELETE FROM t_History"));
    if (!ok) qWarning("seeding %s failed", qPrintable(building));
    return ok;
}

inline bool Open(db::Connection& connection, const testsupport::ProgramFolder& folder)
{
    const bool ok = db::OpenCatalogue(connection, folder.Path());
    if (!ok) qWarning("cannot open the catalogue: %s", qPrintable(connection.LastError()));
    return ok;
}

// The unit's status as the board would show it.
inline QString Status(const testsupport::ProgramFolder& folder, int houseId)
{
    const auto rows =
        folder.Rows(QStringLiteral("SELECT Content FROM t_Content WHERE HouseID = %1 AND Caption = "
                                   "'状态' ORDER BY List, ContentID")
                        .arg(houseId));
    return rows.isEmpty() ? QString() : rows.first().value(0).toString();
}

// "old>new|path|dealId" per history row of the unit, in order.
inline QStringList History(const testsupport::ProgramFolder& folder, int houseId)
{
    QStringList out;
    const auto rows =
        folder.Rows(QStringLiteral("SELECT OldValue, NewValue, Path, DealID FROM t_History WHERE "
                                   "HouseID = %1 ORDER BY HistoryID")
                        .arg(houseId));
    for (const auto& r : rows)
        out << QStringLiteral("%1>%2|%3|%4")
                   .arg(r.value(0).toString(), r.value(1).toString(), r.value(2).toString(),
                        r.value(3).toString());
    return out;
}

inline QString WorkerPath()
{
    return testsupport::BinaryDir() + QStringLiteral("/tests/deal_worker");
}

inline QProcessEnvironment WorkerEnvironment()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.remove(QStringLiteral("TAVRELO_TEST_NOW"));
    return environment;
}

}  // namespace dealtest
