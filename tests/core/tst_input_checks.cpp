// The two input checks every window uses: their messages, the focus, and the numeric rules.
#include <QComboBox>
#include <QLineEdit>
#include <QTest>

#include "TestSupport.h"
#include "core/db/Convert.h"
#include "core/mdlHouse.h"

class tst_input_checks : public QObject {
    Q_OBJECT
private slots:
    void require_value_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("passes");
        QTest::newRow("empty") << "" << false;
        QTest::newRow("blanks") << "   " << true;
        QTest::newRow("text") << "abc" << true;
    }
    void require_value()
    {
        QFETCH(QString, text);
        QFETCH(bool, passes);
        testsupport::MsgBoxRecorder boxes;
        QWidget window;
        auto* other = new QLineEdit(&window);
        auto* box = new QLineEdit(&window);
        box->setText(text);
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        other->setFocus();
        QCOMPARE(mdlHouse::RequireValue(box, "名称"), passes);
        if (passes) {
            QVERIFY(boxes.messages.isEmpty());
            QVERIFY(other->hasFocus());
        } else {
            QCOMPARE(boxes.Texts(), QStringList{"请在\"名称\"中输入值。"});
            QCOMPARE(boxes.messages[0].second, ui::Buttons::OkOnly);
            QVERIFY(box->hasFocus());
        }
    }

    void require_value_on_a_combo_box()
    {
        testsupport::MsgBoxRecorder boxes;
        QComboBox combo;
        combo.setEditable(true);
        QVERIFY(!mdlHouse::RequireValue(&combo, "类型"));
        QCOMPARE(boxes.Texts(), QStringList{"请在\"类型\"中输入值。"});
        combo.setEditText("二室");
        QVERIFY(mdlHouse::RequireValue(&combo, "类型"));
    }

    void number_range_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("message");  // "" = passes
        const QString digits = "\"楼层\"只能输入数字。";
        const QString range = "\"楼层\"只能输入 1 到 99 之间的数值。";
        QTest::newRow("empty") << ""
                               << "";
        QTest::newRow("blanks") << "   " << digits;
        QTest::newRow("abc") << "abc" << digits;
        QTest::newRow("0") << "0" << range;
        QTest::newRow("100") << "100" << range;
        QTest::newRow("99.4") << "99.4"
                              << "";
        QTest::newRow("99.5") << "99.5" << range;
        QTest::newRow("0.5 rounds to even 0") << "0.5" << range;
        QTest::newRow("1.5 rounds to 2") << "1.5"
                                         << "";
        QTest::newRow("blanks around 5") << " 5 "
                                         << "";
        QTest::newRow("1e1") << "1e1"
                             << "";
        QTest::newRow("+7") << "+7"
                            << "";
        QTest::newRow("-0") << "-0" << range;
        QTest::newRow("99999999999") << "99999999999" << range;
        QTest::newRow("1e") << "1e" << digits;
        QTest::newRow("41") << "41"
                            << "";
        QTest::newRow("full-width digits") << "４" << digits;
    }
    void number_range()
    {
        QFETCH(QString, text);
        QFETCH(QString, message);
        testsupport::MsgBoxRecorder boxes;
        QWidget window;
        auto* other = new QLineEdit(&window);
        auto* combo = new QComboBox(&window);
        combo->setEditable(true);
        combo->setEditText(text);
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        other->setFocus();
        const bool ok = mdlHouse::CheckNumberRange(combo, "楼层", 1, 99);
        QCOMPARE(ok, message.isEmpty());
        if (message.isEmpty()) {
            QVERIFY(boxes.messages.isEmpty());
        } else {
            QCOMPARE(boxes.Texts(), QStringList{message});
            QVERIFY(combo->hasFocus() || (combo->lineEdit() && combo->lineEdit()->hasFocus()));
        }
    }

    void range_bounds_are_plain_decimal()
    {
        testsupport::MsgBoxRecorder boxes;
        QLineEdit box;
        box.setText("5");
        QVERIFY(!mdlHouse::CheckNumberRange(&box, "x", -3, 2));
        QCOMPARE(boxes.Texts(), QStringList{"\"x\"只能输入 -3 到 2 之间的数值。"});
    }

    void long_conversion()
    {
        qint32 v = 0;
        QVERIFY(db::ToLong("2.5", &v));
        QCOMPARE(v, 2);
        QVERIFY(db::ToLong("3.5", &v));
        QCOMPARE(v, 4);
        QVERIFY(db::ToLong("-2.5", &v));
        QCOMPARE(v, -2);
        QVERIFY(db::ToLong(" 2147483647 ", &v));
        QCOMPARE(v, 2147483647);
        QVERIFY(!db::ToLong("2147483648", &v));
        QVERIFY(!db::ToLong("", &v));
        QVERIFY(!db::ToLong(".", &v));
        QCOMPARE(db::PaddedHouseNumber(12), QString("000012"));
        QCOMPARE(db::PaddedHouseNumber(1234567), QString("234567"));
    }
};

QTEST_MAIN(tst_input_checks)
#include "tst_input_checks.moc"
