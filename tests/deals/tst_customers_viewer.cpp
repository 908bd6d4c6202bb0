// A showroom login on a shared catalogue, made the way an administrator makes one (the server
// tool's roles and `user add --role=viewer`): the server itself refuses it the customers. The
// 客户… entry is greyed out for it, the customers window opened anyway shows the server's refusal
// and no customer, and the history leaves the customer column out.
#include <unistd.h>

#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSettings>

#include "DealWindows.h"
#include "PgCluster.h"
#include "ServerRoles.h"
#include "windows/frmMain.h"

using namespace dealwin;
using testsupport::PgCluster;

class tst_customers_viewer : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qputenv("TAVRELO_TEST_STORE", "server");
        QVERIFY(PgCluster::Instance().Start());
    }

    void the_server_refuses_a_viewer_the_customers()
    {
        testsupport::ProgramFolder folder;
        QVERIFY(FillCatalogue(folder));
        QVERIFY(Exec(folder, QStringLiteral("Insert Into t_Customer (CustomerName, Phone, SearchKey) Values "
                                            "('欧阳娜娜', '13912345678', 'x')")));
        QVERIFY(Exec(folder, QStringLiteral("Update t_Content Set Content = '已售' Where HouseID = 1 And "
                                            "Caption = '状态'")));
        const servertool::Result roles = servertool::SetUpRoles(folder.ServerUri());
        QVERIFY2(roles.ok, qPrintable(roles.error));
        const QString viewer = QStringLiteral("showroom_%1").arg(getpid());
        const servertool::Result user = servertool::AddUser(
            folder.ServerUri(), viewer, servertool::LoginKind::Viewer, QStringLiteral("pw"));
        QVERIFY2(user.ok, qPrintable(user.error));
        QString uri = folder.ServerUri();
        const int at = uri.indexOf(QStringLiteral("user="));
        QVERIFY(at > 0);
        uri = uri.left(at) + QStringLiteral("user=") + viewer;
        {
            QSettings settings(folder.File(QStringLiteral("Tavrelo.conf")), QSettings::IniFormat);
            settings.setValue(QStringLiteral("catalogue/server"), uri);
        }
        QCOMPARE(CurrentLogin(), viewer);
        testsupport::MsgBoxRecorder messages;

        {
            frmMain main;
            QVERIFY(main.mnuCustomers->isEnabled());
            emit main.mnuSales->aboutToShow();
            QVERIFY(!main.mnuCustomers->isEnabled());
            QVERIFY(main.mnuHistory->isEnabled());
        }
        Frame frame;
        auto* w = frame.Open<frmCustomers>("frmCustomers");
        QVERIFY(w);
        QVERIFY(w->lblRefused->isVisible());
        QVERIFY2(w->lblRefused->text().startsWith(QStringLiteral("此登录不能查看客户资料。")),
                 qPrintable(w->lblRefused->text()));
        QVERIFY2(w->lblRefused->text().contains(QStringLiteral("permission denied")),
                 qPrintable(w->lblRefused->text()));
        QCOMPARE(w->lsvCustomers->Model()->Count(), 0);
        QVERIFY(!w->cmdSave->isEnabled());
        QVERIFY(!w->txtFind->isEnabled());

        // The history is there for it, without whose deal a change was.
        auto* h = frame.Open<frmHistory>("frmHistory");
        QVERIFY(h);
        QVERIFY(!h->ShowsCustomers());
        QCOMPARE(h->lsvHistory->Model()->Count(), 5);  // the four status rows as filled, and one change
        for (int c = 0; c < h->lsvHistory->Model()->columnCount(); ++c)
            QVERIFY(h->lsvHistory->Model()->ColumnTitle(c) != QStringLiteral("客户"));
        QCOMPARE(messages.Texts(), QStringList());
    }
};

QTEST_MAIN(tst_customers_viewer)
#include "tst_customers_viewer.moc"
