// The sales settings window: the defaults shown on a new catalogue; every bad entry (not a number,
// 0, negative, an empty word, two steps with one word) refused with a message and the focus on the
// field, nothing written; a good one written in full and read back; consultants added and changed.
#include <QCheckBox>
#include <QLineEdit>

#include "DealWindows.h"

using namespace dealwin;
using testsupport::Click;

class tst_sales_settings : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages;
    std::unique_ptr<Frame> frame;

    QStringList stored()
    {
        QStringList all;
        for (const QVariantList& row :
             folder->Rows(QStringLiteral("Select Name, Value From t_Setting Order By Name")))
            all << row[0].toString() + QLatin1Char('=') + row[1].toString();
        return all;
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

    void defaults_are_shown_on_a_new_catalogue()
    {
        auto* w = frame->Open<frmSalesSettings>("frmSalesSettings");
        QVERIFY(w);
        QCOMPARE(w->txtHoldHours->text(), QStringLiteral("24"));
        QCOMPARE(w->txtMaxExtensions->text(), QStringLiteral("1"));
        QCOMPARE(w->txtStatusCaption->text(), QStringLiteral("状态"));
        QCOMPARE(w->txtWordHold->text(), QStringLiteral("预留"));
        QCOMPARE(w->txtWordDeposit->text(), QStringLiteral("已认购"));
        QCOMPARE(w->txtWordSign->text(), QStringLiteral("已售"));
        QCOMPARE(w->txtWordForSale->text(), QStringLiteral("在售"));
    }

    void bad_entries_are_refused_and_nothing_is_written_data()
    {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("message");
        const QString hours = QStringLiteral("预留时长（小时）");
        const QString extensions = QStringLiteral("最多延长次数");
        QTest::newRow("hours not a number") << "txtHoldHours"
                                            << "两天" << QStringLiteral("\"%1\"只能输入数字。").arg(hours);
        QTest::newRow("hours zero") << "txtHoldHours"
                                    << "0"
                                    << QStringLiteral("\"%1\"只能输入 1 到 8760 之间的数值。").arg(hours);
        QTest::newRow("hours negative")
            << "txtHoldHours"
            << "-5" << QStringLiteral("\"%1\"只能输入 1 到 8760 之间的数值。").arg(hours);
        QTest::newRow("hours empty") << "txtHoldHours"
                                     << "  " << QStringLiteral("请在\"%1\"中输入值。").arg(hours);
        QTest::newRow("hours huge") << "txtHoldHours"
                                    << "99999999999"
                                    << QStringLiteral("\"%1\"只能输入 1 到 8760 之间的数值。").arg(hours);
        QTest::newRow("extensions negative")
            << "txtMaxExtensions"
            << "-1" << QStringLiteral("\"%1\"只能输入 0 到 100 之间的数值。").arg(extensions);
        QTest::newRow("extensions text") << "txtMaxExtensions"
                                         << "x" << QStringLiteral("\"%1\"只能输入数字。").arg(extensions);
        QTest::newRow("caption empty") << "txtStatusCaption"
                                       << "" << QStringLiteral("请在\"状态项名称\"中输入值。");
        QTest::newRow("hold word empty") << "txtWordHold"
                                         << " " << QStringLiteral("请在\"预留后的状态\"中输入值。");
        QTest::newRow("deposit word empty") << "txtWordDeposit"
                                            << "" << QStringLiteral("请在\"认购后的状态\"中输入值。");
        QTest::newRow("sign word empty") << "txtWordSign"
                                         << "" << QStringLiteral("请在\"签约后的状态\"中输入值。");
        QTest::newRow("for-sale word empty") << "txtWordForSale"
                                             << "" << QStringLiteral("请在\"在售的状态\"中输入值。");
        QTest::newRow("two steps one word")
            << "txtWordForSale"
            << "已售" << QStringLiteral("每一步的状态必须各不相同：\"已售\"用了两次。");
    }
    void bad_entries_are_refused_and_nothing_is_written()
    {
        QFETCH(QString, field);
        QFETCH(QString, text);
        QFETCH(QString, message);
        QVERIFY(
            Exec(*folder, QStringLiteral("Insert Into t_Setting (Name, Value) Values ('HoldHours', '48')")));
        const QStringList before = stored();
        auto* w = frame->Open<frmSalesSettings>("frmSalesSettings");
        QVERIFY(w);
        QCOMPARE(w->txtHoldHours->text(), QStringLiteral("48"));
        // Every other field changed to a good value, so that a half-written save would show.
        w->txtMaxExtensions->setText(QStringLiteral("3"));
        w->txtWordHold->setText(QStringLiteral("保留"));
        auto* box = testsupport::Find<QLineEdit>(w, field);
        QVERIFY(box);
        box->setText(text);
        QVERIFY(Click(w, QStringLiteral("cmdSave")));
        QCOMPARE(messages->Texts(), QStringList{message});
        QCOMPARE(QApplication::focusWidget(), box);
        QCOMPARE(stored(), before);
    }

    void good_settings_are_written_in_full()
    {
        auto* w = frame->Open<frmSalesSettings>("frmSalesSettings");
        w->txtHoldHours->setText(QStringLiteral(" 72 "));
        w->txtMaxExtensions->setText(QStringLiteral("0"));
        w->txtStatusCaption->setText(QStringLiteral("销售状态"));
        w->txtWordHold->setText(QStringLiteral("保留"));
        w->txtWordDeposit->setText(QStringLiteral("已定"));
        w->txtWordSign->setText(QStringLiteral("售出"));
        w->txtWordForSale->setText(QStringLiteral("可售"));
        QVERIFY(Click(w, QStringLiteral("cmdSave")));
        QCOMPARE(messages->Texts(), QStringList{QStringLiteral("设置已保存。")});
        QCOMPARE(stored(),
                 (QStringList{"HoldHours=72", "MaxExtensions=0", "StatusCaption=销售状态", "WordDeposit=已定",
                              "WordForSale=可售", "WordHold=保留", "WordSign=售出"}));
        // A fresh window reads them back.
        Forms::Unload(QStringLiteral("frmSalesSettings"));
        w = frame->Open<frmSalesSettings>("frmSalesSettings");
        QCOMPARE(w->txtHoldHours->text(), QStringLiteral("72"));
        QCOMPARE(w->txtMaxExtensions->text(), QStringLiteral("0"));
        QCOMPARE(w->txtWordSign->text(), QStringLiteral("售出"));
    }

    void consultants_are_added_and_changed()
    {
        auto* w = frame->Open<frmSalesSettings>("frmSalesSettings");
        w->txtConsultantName->setText(QStringLiteral("  张顾问 "));
        w->txtConsultantLogin->setText(QStringLiteral("zhang"));
        QVERIFY(Click(w, QStringLiteral("cmdSaveConsultant")));
        w->txtConsultantName->setText(QStringLiteral("刘顾问"));
        w->txtConsultantLogin->clear();
        QVERIFY(Click(w, QStringLiteral("cmdSaveConsultant")));
        QCOMPARE(messages->Texts(), QStringList());
        QCOMPARE(ListColumn(w->lsvConsultants, 0),
                 (QStringList{QStringLiteral("刘顾问"), QStringLiteral("张顾问")}));
        // 张 leaves: the same name again, no longer active.
        w->lsvConsultants->SelectRow(1);
        emit w->lsvConsultants->ItemClick(1);
        QCOMPARE(w->txtConsultantLogin->text(), QStringLiteral("zhang"));
        w->chkConsultantActive->setChecked(false);
        QVERIFY(Click(w, QStringLiteral("cmdSaveConsultant")));
        const QList<QVariantList> rows = folder->Rows(
            QStringLiteral("Select ConsultantName, Login, Active From t_Consultant Order By ConsultantID"));
        QCOMPARE(rows.size(), 2);
        QCOMPARE(rows[0][0].toString(), QStringLiteral("张顾问"));
        QCOMPARE(rows[0][1].toString(), QStringLiteral("zhang"));
        QCOMPARE(rows[0][2].toLongLong(), 0);
        QVERIFY(rows[1][1].isNull());
        QCOMPARE(rows[1][2].toLongLong(), 1);
        // A consultant needs a name.
        w->txtConsultantName->clear();
        QVERIFY(Click(w, QStringLiteral("cmdSaveConsultant")));
        QCOMPARE(messages->Texts(), QStringList{QStringLiteral("请在\"姓名\"中输入值。")});
    }
};

QTEST_MAIN(tst_sales_settings)
#include "tst_sales_settings.moc"
