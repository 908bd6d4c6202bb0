// The customers window driven as the user drives it: found by a part of the name or the phone
// (case and spaces ignored), added, a known phone opening its customer instead of a second one,
// edited, refused without a name; the login's consultant chosen for a new customer; a customer's
// deals listed. The database is read afterwards to see what was stored.
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>

#include "DealWindows.h"

using namespace dealwin;
using testsupport::Click;

class tst_customers : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages;
    std::unique_ptr<Frame> frame;

    frmCustomers* open()
    {
        auto* w = frame->Open<frmCustomers>("frmCustomers");
        // A login that may read customers never sees the refusal.
        return w && !w->lblRefused->isVisible() ? w : nullptr;
    }

    bool add(frmCustomers* w, const QString& name, const QString& phone)
    {
        if (!Click(w, QStringLiteral("cmdNew"))) return false;
        w->txtName->setText(name);
        w->txtPhone->setText(phone);
        return Click(w, QStringLiteral("cmdSave"));
    }

    QStringList findNames(frmCustomers* w, const QString& text)
    {
        w->txtFind->setText(text);
        Click(w, QStringLiteral("cmdFind"));
        return ListColumn(w->lsvCustomers, 0);
    }

    qint64 customerCount()
    {
        return folder->Value(QStringLiteral("Select Count(*) From t_Customer")).toLongLong();
    }

private slots:
    void init()
    {
        folder = std::make_unique<testsupport::ProgramFolder>();
        QVERIFY(FillCatalogue(*folder));
        messages = std::make_unique<testsupport::MsgBoxRecorder>();
        frame = std::make_unique<Frame>();
    }
    void cleanup()
    {
        frame.reset();
        messages.reset();
        folder.reset();
    }

    void search_is_partial_and_ignores_case_and_spaces()
    {
        frmCustomers* w = open();
        QVERIFY(w);
        QVERIFY(add(w, QStringLiteral("Wang Xiaoming"), QStringLiteral("138 0013-8000")));
        QVERIFY(add(w, QStringLiteral("李 雷"), QStringLiteral("+86 139 0000 1111")));
        QVERIFY(add(w, QStringLiteral("韩梅梅"), QString()));
        QCOMPARE(messages->Texts(), QStringList());
        QCOMPARE(customerCount(), 3);
        // Stored normalised: digits only, a leading + kept; the search key folded, no spaces.
        QCOMPARE(
            folder->Value(QStringLiteral("Select Phone From t_Customer Where CustomerName = 'Wang Xiaoming'"))
                .toString(),
            QStringLiteral("13800138000"));
        QCOMPARE(folder->Value(QStringLiteral("Select Phone From t_Customer Where CustomerName = '李 雷'"))
                     .toString(),
                 QStringLiteral("+8613900001111"));
        QCOMPARE(folder
                     ->Value(QStringLiteral(
                         "Select SearchKey From t_Customer Where CustomerName = 'Wang Xiaoming'"))
                     .toString(),
                 QStringLiteral("wangxiaoming13800138000"));
        QVERIFY(folder->Value(QStringLiteral("Select Phone From t_Customer Where CustomerName = '韩梅梅'"))
                    .isNull());

        QCOMPARE(findNames(w, QStringLiteral("xiaom")), QStringList{QStringLiteral("Wang Xiaoming")});
        QCOMPARE(findNames(w, QStringLiteral("WANG xiao MING")),
                 QStringList{QStringLiteral("Wang Xiaoming")});
        QCOMPARE(findNames(w, QStringLiteral("0013 8000")), QStringList{QStringLiteral("Wang Xiaoming")});
        QCOMPARE(findNames(w, QStringLiteral("李雷")), QStringList{QStringLiteral("李 雷")});
        QCOMPARE(findNames(w, QStringLiteral("139-0000")), QStringList{QStringLiteral("李 雷")});
        QCOMPARE(findNames(w, QStringLiteral("梅")), QStringList{QStringLiteral("韩梅梅")});
        QCOMPARE(findNames(w, QStringLiteral("nobody")), QStringList());
        QCOMPARE(findNames(w, QString()).size(), 3);
        QCOMPARE(w->lblCount->text(), QStringLiteral("共 3 位客户"));
        // Hostile text is only ever a search.
        QCOMPARE(findNames(w, QStringLiteral("'; Delete From t_Customer; --")), QStringList());
        QCOMPARE(customerCount(), 3);
    }

    void a_known_phone_opens_that_customer_instead()
    {
        frmCustomers* w = open();
        QVERIFY(add(w, QStringLiteral("Wang Xiaoming"), QStringLiteral("13800138000")));
        const qint64 wang = w->CurrentCustomer();
        QVERIFY(wang > 0);
        QVERIFY(add(w, QStringLiteral("王晓明"), QStringLiteral("138-0013-8000")));
        QCOMPARE(messages->Texts(),
                 QStringList{QStringLiteral("电话 13800138000 已是老客户的电话，已为您打开该客户。")});
        QCOMPARE(customerCount(), 1);
        QCOMPARE(w->CurrentCustomer(), wang);
        QCOMPARE(w->txtName->text(), QStringLiteral("Wang Xiaoming"));
    }

    void a_customer_is_edited_and_keeps_a_phone_of_its_own()
    {
        frmCustomers* w = open();
        QVERIFY(add(w, QStringLiteral("Wang Xiaoming"), QStringLiteral("13800138000")));
        QVERIFY(add(w, QStringLiteral("李雷"), QStringLiteral("13900001111")));
        const qint64 li = w->CurrentCustomer();
        w->cmbSource->setCurrentText(QStringLiteral("渠道"));
        w->txtNotes->setPlainText(QStringLiteral("想要南向\n两室"));
        w->txtFirstVisit->setText(QStringLiteral("2024-05-01"));
        QVERIFY(Click(w, QStringLiteral("cmdSave")));
        QCOMPARE(messages->Texts(), QStringList());
        const QList<QVariantList> rows = folder->Rows(
            QStringLiteral("Select Source, Notes, FirstVisit From t_Customer Where CustomerID = %1").arg(li));
        QCOMPARE(rows.size(), 1);
        QCOMPARE(rows[0][0].toString(), QStringLiteral("渠道"));
        QCOMPARE(rows[0][1].toString(), QStringLiteral("想要南向\n两室"));
        QCOMPARE(rows[0][2].toString(), QStringLiteral("2024-05-01"));

        // Wang's phone on Li: refused, Li keeps his own.
        w->txtPhone->setText(QStringLiteral("138 0013 8000"));
        QVERIFY(Click(w, QStringLiteral("cmdSave")));
        QCOMPARE(messages->Texts(),
                 QStringList{QStringLiteral("电话 13800138000 已属于另一位客户，未保存。")});
        QCOMPARE(folder->Value(QStringLiteral("Select Phone From t_Customer Where CustomerID = %1").arg(li))
                     .toString(),
                 QStringLiteral("13900001111"));
        messages->Clear();

        // A date that is no date, and a phone without digits: refused, focus on the field.
        w->txtPhone->setText(QStringLiteral("13900001111"));
        w->txtFirstVisit->setText(QStringLiteral("2024-02-30"));
        QVERIFY(Click(w, QStringLiteral("cmdSave")));
        QCOMPARE(messages->Texts().size(), 1);
        QVERIFY(messages->Texts().first().contains(QStringLiteral("首次来访")));
        QVERIFY(w->txtFirstVisit->hasFocus() || QApplication::focusWidget() == w->txtFirstVisit);
        messages->Clear();
        w->txtFirstVisit->setText(QStringLiteral("2024-05-01"));
        w->txtPhone->setText(QStringLiteral("无"));
        QVERIFY(Click(w, QStringLiteral("cmdSave")));
        QCOMPARE(messages->Texts(), QStringList{QStringLiteral("\"电话\"中没有数字。")});
        QCOMPARE(folder->Value(QStringLiteral("Select Phone From t_Customer Where CustomerID = %1").arg(li))
                     .toString(),
                 QStringLiteral("13900001111"));
    }

    void a_name_is_required()
    {
        frmCustomers* w = open();
        QVERIFY(add(w, QStringLiteral("   "), QStringLiteral("13800138000")));
        QCOMPARE(messages->Texts(), QStringList{QStringLiteral("请在\"姓名\"中输入值。")});
        QCOMPARE(customerCount(), 0);
    }

    void the_logins_consultant_is_chosen_and_deals_are_listed()
    {
        const QString login = CurrentLogin();
        QVERIFY(!login.isEmpty());
        QVERIFY(
            Exec(*folder, QStringLiteral("Insert Into t_Consultant (ConsultantName, Login, Active) Values "
                                         "('张顾问', 'someone_else', 1), ('刘顾问', '%1', 1)")
                              .arg(login)));
        frmCustomers* w = open();
        QCOMPARE(w->cmbConsultant->currentText(), QStringLiteral("刘顾问"));
        QVERIFY(add(w, QStringLiteral("李雷"), QStringLiteral("13900001111")));
        const qint64 li = w->CurrentCustomer();
        const qint64 liu = folder
                               ->Value(QStringLiteral(
                                   "Select ConsultantID From t_Consultant Where ConsultantName = '刘顾问'"))
                               .toLongLong();
        QCOMPARE(
            folder->Value(QStringLiteral("Select ConsultantID From t_Customer Where CustomerID = %1").arg(li))
                .toLongLong(),
            liu);
        // A deal of Li's on unit 102, written as a deal step writes it.
        QVERIFY(Exec(*folder,
                     QStringLiteral("Insert Into t_Deal (HouseID, CustomerID, ConsultantID, Stage, Active, "
                                    "HoldStart, HoldEnd, CreatedAt) Values (2, %1, %2, 'hold', 1, "
                                    "'2099-05-01 02:00:00', '2099-05-02 02:00:00', '2099-05-01 02:00:00')")
                         .arg(li)
                         .arg(liu)));
        QVERIFY(Click(w, QStringLiteral("cmdNew")));
        QCOMPARE(w->lsvDeals->Model()->Count(), 0);
        QVERIFY(w->OpenCustomer(li));
        QCOMPARE(w->lsvDeals->Model()->Count(), 1);
        const QStringList deal = ListRow(w->lsvDeals, 0);
        QCOMPARE(deal[0], kBuilding + QStringLiteral(" 102"));
        QCOMPARE(deal[1], QStringLiteral("预留"));
        QCOMPARE(deal[2], QStringLiteral("刘顾问"));
    }
};

QTEST_MAIN(tst_customers)
#include "tst_customers.moc"
