#include <QFile>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTest>
#include <QWebEngineView>

#include "TestSupport.h"
#include "core/ui/WebBrowser.h"

class tst_web_browser : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> folder;

    QString writePage(const QString& name, const QByteArray& html)
    {
        QFile f(folder->File(name));
        if (!f.open(QIODevice::WriteOnly)) return QString();
        f.write(html);
        return f.fileName();
    }

    void load(ui::WebBrowser& b, const QString& path)
    {
        QSignalSpy loaded(&b, &ui::WebBrowser::DocumentComplete);
        b.Navigate(path);
        QTRY_VERIFY_WITH_TIMEOUT(loaded.count() >= 1, 60000);
    }

private slots:
    void init() { folder.reset(new testsupport::ProgramFolder(false)); }
    void cleanup() { folder.reset(); }

    void blank_browser_has_no_location_and_a_page_has_its_file_name()
    {
        ui::WebBrowser b;
        b.resize(200, 200);
        b.show();
        QCOMPARE(b.LocationName(), QString());
        load(b, writePage("Page One.htm", "<html><head><title>T</title></head><body>x</body></html>"));
        QCOMPARE(b.LocationName(), QString("Page One.htm"));
        QCOMPARE(b.Evaluate("document.title").toString(), QString("T"));
    }

    void scripts_run_in_the_order_given()
    {
        ui::WebBrowser b;
        b.resize(200, 200);
        b.show();
        load(b, writePage("p.htm", "<html><body></body></html>"));
        b.RunScript("window.seen = [];");
        for (int i = 0; i < 40; ++i) b.RunScript(QString("window.seen.push(%1);").arg(i));
        QStringList expected;
        for (int i = 0; i < 40; ++i) expected << QString::number(i);
        QCOMPARE(b.Evaluate("window.seen.join(',')").toString(), expected.join(','));
    }

    void script_strings_carry_any_text()
    {
        ui::WebBrowser b;
        b.resize(200, 200);
        b.show();
        load(b, writePage("p.htm", "<html><body></body></html>"));
        const QString text = QString::fromUtf8("a\"b\\c'd\r\ne\t\u2028宋体</script>");
        QCOMPARE(b.Evaluate(ui::WebBrowser::ScriptString(text)).toString(), text);
    }

    void remote_addresses_are_never_fetched()
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        const QString base = QString("http://127.0.0.1:%1/").arg(server.serverPort());
        ui::WebBrowser b;
        b.resize(200, 200);
        b.show();
        load(b, writePage("p.htm", QString("<html><body><img src='%1pic.png'>"
                                           "<iframe src='%1frame.htm'></iframe></body></html>")
                                       .arg(base)
                                       .toUtf8()));
        b.RunScript(QString("location.href = '%1page.htm';").arg(base));
        b.Navigate(folder->File("p.htm"));  // and a local page still loads afterwards
        QTest::qWait(1500);
        QVERIFY(!server.hasPendingConnections());
        QVERIFY(!server.waitForNewConnection(500));
        QCOMPARE(b.LocationName(), QString("p.htm"));
        QTRY_VERIFY_WITH_TIMEOUT(b.Evaluate("location.protocol").toString() == "file:", 30000);
    }

    void window_open_gives_a_new_top_level_window_the_script_can_write()
    {
        ui::WebBrowser b;
        b.resize(200, 200);
        b.show();
        load(b, writePage("p.htm", "<html><body></body></html>"));
        QSignalSpy opened(&b, &ui::WebBrowser::PopupOpened);
        b.RunScript(
            "var w = window.open(''); w.document.write('<html><head><title>Big</title></head>"
            "<body><p id=x>hello</p></body></html>'); w.document.close();");
        QTRY_COMPARE_WITH_TIMEOUT(opened.count(), 1, 30000);
        QWebEngineView* popup = b.Popups().value(0);
        QVERIFY(popup);
        QVERIFY(popup->isWindow());
        QVERIFY(popup->isVisible());
        QVERIFY(popup != b.window());
        QTRY_COMPARE_WITH_TIMEOUT(popup->windowTitle(), QString("Big"), 30000);
        QCOMPARE(
            ui::WebBrowser::Evaluate(popup->page(), "document.getElementById('x').textContent").toString(),
            QString("hello"));
        popup->close();
        QTRY_VERIFY_WITH_TIMEOUT(b.Popups().isEmpty(), 10000);
    }
};

QTEST_MAIN(tst_web_browser)
#include "tst_web_browser.moc"
