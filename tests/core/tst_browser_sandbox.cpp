// The one rule for the picture browser's sandbox: off, with one line saying why, only for the
// root user; an ordinary user's environment is left exactly as it was.
#include <QTest>

#include "core/BrowserSandbox.h"

class tst_browser_sandbox : public QObject {
    Q_OBJECT

    QByteArray savedDisable_, savedFlags_;
    bool hadDisable_ = false, hadFlags_ = false;

private slots:
    void init()
    {
        hadDisable_ = qEnvironmentVariableIsSet("QTWEBENGINE_DISABLE_SANDBOX");
        hadFlags_ = qEnvironmentVariableIsSet("QTWEBENGINE_CHROMIUM_FLAGS");
        savedDisable_ = qgetenv("QTWEBENGINE_DISABLE_SANDBOX");
        savedFlags_ = qgetenv("QTWEBENGINE_CHROMIUM_FLAGS");
        qunsetenv("QTWEBENGINE_DISABLE_SANDBOX");
        qunsetenv("QTWEBENGINE_CHROMIUM_FLAGS");
    }

    void cleanup()
    {
        if (hadDisable_)
            qputenv("QTWEBENGINE_DISABLE_SANDBOX", savedDisable_);
        else
            qunsetenv("QTWEBENGINE_DISABLE_SANDBOX");
        if (hadFlags_)
            qputenv("QTWEBENGINE_CHROMIUM_FLAGS", savedFlags_);
        else
            qunsetenv("QTWEBENGINE_CHROMIUM_FLAGS");
    }

    void an_ordinary_user_keeps_the_sandbox()
    {
        qputenv("QTWEBENGINE_CHROMIUM_FLAGS", "--disable-gpu");
        QString notice = QStringLiteral("unchanged");
        QVERIFY(!browsersandbox::PrepareForUserId(1000, QStringLiteral("tavrelo"), &notice));
        QVERIFY(notice.isEmpty());
        QVERIFY(!qEnvironmentVariableIsSet("QTWEBENGINE_DISABLE_SANDBOX"));
        QCOMPARE(qgetenv("QTWEBENGINE_CHROMIUM_FLAGS"), QByteArray("--disable-gpu"));
    }

    void root_goes_without_it_and_says_why_once()
    {
        qputenv("QTWEBENGINE_CHROMIUM_FLAGS", "--disable-gpu");
        QString notice;
        QVERIFY(browsersandbox::PrepareForUserId(0, QStringLiteral("tavrelo"), &notice));
        QCOMPARE(qgetenv("QTWEBENGINE_DISABLE_SANDBOX"), QByteArray("1"));
        QCOMPARE(qgetenv("QTWEBENGINE_CHROMIUM_FLAGS"), QByteArray("--disable-gpu --no-sandbox"));
        QVERIFY(notice.startsWith(QStringLiteral("tavrelo: running as root")));
        QVERIFY(notice.contains(QStringLiteral("normal user is safer")));
        QVERIFY(!notice.contains(QLatin1Char('\n')));
        // A child started by this process finds it switched off already: nothing more to say,
        // and the switch is not added twice.
        QVERIFY(browsersandbox::PrepareForUserId(0, QStringLiteral("tavrelo"), &notice));
        QVERIFY(notice.isEmpty());
        QCOMPARE(qgetenv("QTWEBENGINE_CHROMIUM_FLAGS"), QByteArray("--disable-gpu --no-sandbox"));
    }

    void root_with_no_flags_gets_only_the_switch()
    {
        QString notice;
        QVERIFY(browsersandbox::PrepareForUserId(0, QStringLiteral("tavrelo-bench"), &notice));
        QCOMPARE(qgetenv("QTWEBENGINE_CHROMIUM_FLAGS"), QByteArray("--no-sandbox"));
        QVERIFY(notice.startsWith(QStringLiteral("tavrelo-bench: ")));
    }

    void a_zero_in_the_environment_counts_as_not_switched_off()
    {
        qputenv("QTWEBENGINE_DISABLE_SANDBOX", "0");
        QString notice;
        QVERIFY(browsersandbox::PrepareForUserId(0, QStringLiteral("tavrelo"), &notice));
        QCOMPARE(qgetenv("QTWEBENGINE_DISABLE_SANDBOX"), QByteArray("1"));
        QVERIFY(!notice.isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_browser_sandbox)
#include "tst_browser_sandbox.moc"
