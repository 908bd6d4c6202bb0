// The deal steps under the logins of a shared catalogue (a private server, the catalogue made by
// `tavrelo-server init`, logins added with `user add`): a staff login extends only up to the limit and
// cancels only the holds of its own consultant; a manager extends beyond it and releases anybody's
// hold, recorded as the manager's; a showroom (viewer) login can hold nothing but still reads the
// board's open deals, without the customers.
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include "DealsFixture.h"
#include "core/db/Statement.h"
#include "deals/OpenDeals.h"

using deals::Outcome;
using deals::Refusal;
using testsupport::PgCluster;

namespace {

const QString kBuilding = QStringLiteral("翠湖苑一号楼");

int runTool(const QStringList& args, const QByteArray& input = QByteArray(), QString* err = nullptr)
{
    QProcess p;
    p.start(testsupport::BinaryDir() + QStringLiteral("/tavrelo-server"), args);
    p.write(input);
    p.closeWriteChannel();
    if (!p.waitForFinished(120000)) return -1;
    if (err) *err = QString::fromLocal8Bit(p.readAllStandardError());
    return p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
}

}  // namespace

class tst_deal_logins : public QObject {
    Q_OBJECT

    QString uri_;
    QString database_;

    QString uriOf(const QString& login) const
    {
        QString uri = uri_;
        uri.replace(QRegularExpression(QStringLiteral("user=[^&]*")), QStringLiteral("user=") + login);
        return uri;
    }
    bool admin(const QString& sql)
    {
        QString error;
        const bool ok = PgCluster::Instance().AdminExec(database_, sql, &error);
        if (!ok) qWarning("%s: %s", qPrintable(sql), qPrintable(error));
        return ok;
    }
    QString value(const QString& sql)
    {
        db::Connection cn;
        db::Statement read;
        if (!cn.OpenServer(uri_) || !read.Prepare(cn, sql) || !read.Next()) return QStringLiteral("<none>");
        return read.Column(0).toString();
    }
    deals::Shown shown(int house, qint64 deal)
    {
        deals::Shown s;
        s.houseId = house;
        s.status = value(QStringLiteral("SELECT Content FROM t_Content WHERE HouseID = %1").arg(house));
        s.dealId = deal;
        return s;
    }

private slots:
    void initTestCase()
    {
        uri_ = PgCluster::Instance().CreateDatabase(false);
        database_ = uri_.section(QLatin1Char('/'), 3).section(QLatin1Char('?'), 0, 0);
        QString err;
        QVERIFY2(runTool({QStringLiteral("init"), uri_}, QByteArray(), &err) == 0, qPrintable(err));
        for (const auto& [name, role] :
             {std::pair{"alice", "staff"}, {"mia", "manager"}, {"victor", "viewer"}})
            QVERIFY2(runTool({QStringLiteral("user"), QStringLiteral("add"), QString::fromLatin1(name),
                              QStringLiteral("--role"), QString::fromLatin1(role), uri_},
                             "a secret\n", &err) == 0,
                     qPrintable(err));
        QVERIFY(
            admin(QStringLiteral("INSERT INTO t_HouseType (TypeID, List, HouseType) VALUES (1, 1, '公寓')")));
        for (int house = 1; house <= 4; ++house) {
            QVERIFY(
                admin(QStringLiteral("INSERT INTO t_House (HouseID, HouseName, HouseNo, HouseFloor, TypeID) "
                                     "VALUES (%1, '%2', '%3', 1, 1)")
                          .arg(house)
                          .arg(kBuilding)
                          .arg(100 + house)));
            QVERIFY(admin(
                QStringLiteral("INSERT INTO t_Content (HouseID, Caption, Content, List) VALUES (%1, '状态', "
                               "'在售', 1)")
                    .arg(house)));
        }
        QVERIFY(admin(
            QStringLiteral("INSERT INTO t_Consultant (ConsultantID, ConsultantName, Login, Active) VALUES "
                           "(1, '王芳', 'alice', 1), (2, '张伟', 'zhangwei', 1)")));
        QVERIFY(
            admin(QStringLiteral("INSERT INTO t_Customer (CustomerID, CustomerName, Phone, SearchKey) VALUES "
                                 "(1, '李明', '13800000001', '李明13800000001')")));
    }

    void staff_stops_at_the_limit_and_at_other_consultants_holds()
    {
        db::Connection alice;
        QVERIFY2(alice.OpenServer(uriOf(QStringLiteral("alice"))), qPrintable(alice.LastError()));
        const deals::StepResult own = deals::Hold(alice, shown(1, 0), 1, 1);
        const deals::StepResult other = deals::Hold(alice, shown(2, 0), 1, 2);
        QVERIFY2(own.Done() && other.Done(), qPrintable(own.message + other.message));
        QVERIFY(deals::Extend(alice, shown(1, own.dealId)).Done());
        const deals::StepResult limit = deals::Extend(alice, shown(1, own.dealId));
        QCOMPARE(limit.refusal, Refusal::LimitReached);
        for (const deals::StepResult& r : {deals::ManagerExtend(alice, shown(1, own.dealId)),
                                           deals::ManagerRelease(alice, shown(2, other.dealId))})
            QCOMPARE(r.refusal, Refusal::NotManager);
        const deals::StepResult notYours = deals::CancelHold(alice, shown(2, other.dealId));
        QCOMPARE(notYours.refusal, Refusal::NotYours);
        QVERIFY2(notYours.message.contains(QStringLiteral("张伟")), qPrintable(notYours.message));
        QCOMPARE(value(QStringLiteral("SELECT Extensions FROM t_Deal WHERE DealID = %1").arg(own.dealId)),
                 QStringLiteral("1"));
        QCOMPARE(value(QStringLiteral("SELECT count(*) FROM t_Deal WHERE Active = 1")), QStringLiteral("2"));
        // Who acted is the server's record of the login, not anything the PC says.
        QCOMPARE(value(QStringLiteral("SELECT ChangedBy FROM t_History WHERE DealID = %1").arg(own.dealId)),
                 QStringLiteral("alice"));
        const deals::StepResult cancelled = deals::CancelHold(alice, shown(1, own.dealId));
        QVERIFY2(cancelled.Done(), qPrintable(cancelled.message));
    }

    void the_manager_goes_beyond_and_is_recorded()
    {
        db::Connection mia;
        QVERIFY2(mia.OpenServer(uriOf(QStringLiteral("mia"))), qPrintable(mia.LastError()));
        const qint64 deal =
            value(QStringLiteral("SELECT DealID FROM t_Deal WHERE HouseID = 2 AND Active = 1")).toLongLong();
        QVERIFY(deal > 0);
        QVERIFY(deals::Extend(mia, shown(2, deal)).Done());
        QCOMPARE(deals::Extend(mia, shown(2, deal)).refusal, Refusal::LimitReached);
        const deals::StepResult beyond = deals::ManagerExtend(mia, shown(2, deal));
        QVERIFY2(beyond.Done(), qPrintable(beyond.message));
        QCOMPARE(value(QStringLiteral("SELECT Extensions FROM t_Deal WHERE DealID = %1").arg(deal)),
                 QStringLiteral("2"));
        QCOMPARE(value(QStringLiteral("SELECT Reason FROM t_Deal WHERE DealID = %1").arg(deal)),
                 QStringLiteral("经理延长预留"));
        const deals::StepResult released =
            deals::ManagerRelease(mia, shown(2, deal), QStringLiteral("客户放弃"));
        QVERIFY2(released.Done(), qPrintable(released.message));
        QCOMPARE(
            value(QStringLiteral("SELECT ChangedBy || '|' || Path || '|' || NewValue FROM t_History WHERE "
                                 "DealID = %1 ORDER BY HistoryID DESC LIMIT 1")
                      .arg(deal)),
            QStringLiteral("mia|manager|在售"));
    }

    void a_viewer_holds_nothing_but_reads_the_board()
    {
        db::Connection alice;
        QVERIFY(alice.OpenServer(uriOf(QStringLiteral("alice"))));
        const deals::StepResult held = deals::Hold(alice, shown(3, 0), 1, 1);
        QVERIFY(held.Done());
        db::Connection victor;
        QVERIFY2(victor.OpenServer(uriOf(QStringLiteral("victor"))), qPrintable(victor.LastError()));
        const QString before =
            value(QStringLiteral("SELECT count(*) || '/' || (SELECT count(*) FROM t_History) FROM "
                                 "t_Deal"));
        const deals::StepResult refused = deals::Hold(victor, shown(4, 0), 1, 1);
        QCOMPARE(refused.outcome, Outcome::Refused);
        QCOMPARE(refused.refusal, Refusal::LookOnly);
        const deals::StepResult cancel = deals::CancelHold(victor, shown(3, held.dealId));
        QCOMPARE(cancel.refusal, Refusal::LookOnly);
        QCOMPARE(
            value(QStringLiteral("SELECT count(*) || '/' || (SELECT count(*) FROM t_History) FROM t_Deal")),
            before);

        const deals::OpenDeals open = deals::ReadOpenDeals(victor, kBuilding);
        QVERIFY(open.ok);
        QVERIFY(open.customersHidden);
        QCOMPARE(open.byHouse.value(3).consultant, QStringLiteral("王芳"));
        QCOMPARE(open.byHouse.value(3).customer, QString());
        QVERIFY(open.byHouse.value(3).holdEnd.isValid());
        const deals::OpenDeals staff = deals::ReadOpenDeals(alice, kBuilding);
        QVERIFY(!staff.customersHidden);
        QCOMPARE(staff.byHouse.value(3).customer, QStringLiteral("李明"));
    }
};

QTEST_GUILESS_MAIN(tst_deal_logins)
#include "tst_deal_logins.moc"
