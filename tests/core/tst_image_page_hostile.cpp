// Picture titles, descriptions and file names are typed by users and imported from other
// installations: the picture page must show them exactly as stored and run nothing in them, in
// the page itself and in the large view that a click opens.
#include <QFile>
#include <QSignalSpy>
#include <QTest>
#include <QWebEngineView>

#include "TestSupport.h"
#include "core/ImagePage.h"
#include "core/ui/WebBrowser.h"

class tst_image_page_hostile : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<ui::WebBrowser> browser;

    QVariant js(const QString& script) { return browser->Evaluate(script); }

    void openPage()
    {
        browser.reset(new ui::WebBrowser());
        browser->setObjectName("WebImage");
        browser->resize(400, 400);
        browser->show();
        QSignalSpy loaded(browser.get(), &ui::WebBrowser::DocumentComplete);
        mdlHouse::InitImagePage(browser.get());
        QTRY_VERIFY_WITH_TIMEOUT(loaded.count() >= 1, 60000);
        QTRY_COMPARE_WITH_TIMEOUT(js("document.getElementById('Pict') !== null").toBool(), true, 30000);
    }

    // Every attribute of the shown picture but the size that fitting gives it, "name=value" joined
    // by newlines.
    QString pictureAttributes()
    {
        return js("var i=document.getElementById('ImageShow'); if(!i) ''; else "
                  "Array.prototype.filter.call(i.attributes, function(a){return "
                  "a.name!='width'&&a.name!='height';})"
                  ".map(function(a){return a.name+'='+a.value;}).join('\\n')")
            .toString();
    }

    QString pwned() { return js("String(window.pwned)").toString(); }

private slots:
    void init() { folder.reset(new testsupport::ProgramFolder()); }
    void cleanup()
    {
        browser.reset();
        folder.reset();
    }

    void hostile_values_show_as_stored_and_run_nothing_data()
    {
        QTest::addColumn<QString>("caption");
        QTest::addColumn<QString>("intro");
        QTest::addColumn<QString>("file");
        // A backslash before the quote ends the old script string and runs what follows.
        QTest::newRow("caption breaks out of the script")
            << QString("\\');window.pwned=1;//") << QString("plain") << QString("p1.png");
        QTest::newRow("issue's caption")
            << QString("');alert(1);window.pwned=1;//") << QString("x") << QString("p2.png");
        // Markup in a description reaches the large view's document.
        QTest::newRow("markup in description")
            << QString("t") << QString("<svg/onload=opener.pwned=2><b>bold</b>") << QString("p3.png");
        QTest::newRow("script element in title") << QString("</title><script>opener.pwned=5</script>")
                                                 << QString("&copy; &lt; R&D &#65;") << QString("p4.png");
        // A double quote in a file name ends the src attribute and adds another one.
        QTest::newRow("quote in file name")
            << QString("t") << QString("i") << QString("p5\" onerror=\"window.pwned=3\" x=\".png");
        // (A backslash in a file name would be read as a folder separator by the browser's URL.)
        QTest::newRow("apostrophe in file name")
            << QString("t") << QString("i") << QString("a');opener.pwned=4;('.png");
        QTest::newRow("ampersand reference in file name")
            << QString("t") << QString("i") << QString("a&quot;b&amp;c.png");
    }
    void hostile_values_show_as_stored_and_run_nothing()
    {
        QFETCH(QString, caption);
        QFETCH(QString, intro);
        QFETCH(QString, file);
        const QString path = folder->File("Images/") + file;
        testsupport::MakePicture(path, 120, 80);
        QVERIFY(QFile::exists(path));
        openPage();

        // Plain picture: exactly the two attributes, the file as stored.
        mdlHouse::ShowImage(browser.get(), 1, caption, intro, path);
        QTRY_VERIFY_WITH_TIMEOUT(js("document.getElementById('ImageShow') !== null").toBool(), 30000);
        QCOMPARE(pictureAttributes(), QString("id=ImageShow\nsrc=%1\nborder=0").arg(path));
        QTRY_COMPARE_WITH_TIMEOUT(js("document.getElementById('ImageShow').naturalWidth").toInt(), 120,
                                  30000);
        QCOMPARE(pwned(), QString("undefined"));

        // Clickable picture and its large view.
        mdlHouse::ShowImage(browser.get(), 2, caption, intro, path);
        QTRY_VERIFY_WITH_TIMEOUT(
            js("var i=document.getElementById('ImageShow'); i && i.hasAttribute('onclick')").toBool(), 30000);
        const QStringList names =
            js("Array.prototype.map.call(document.getElementById('ImageShow').attributes, "
               "function(a){return a.name;}).filter(function(n){return n!='width'&&n!='height';}).join(',')")
                .toString()
                .split(',');
        QCOMPARE(names, QStringList({"id", "src", "border", "style", "onclick"}));
        QCOMPARE(js("document.getElementById('ImageShow').getAttribute('src')").toString(), path);
        QSignalSpy opened(browser.get(), &ui::WebBrowser::PopupOpened);
        js("document.getElementById('ImageShow').click(); 1");
        QTRY_COMPARE_WITH_TIMEOUT(opened.count(), 1, 30000);
        QWebEngineView* popup = browser->Popups().value(0);
        QVERIFY(popup);
        auto eval = [popup](const QString& s) { return ui::WebBrowser::Evaluate(popup->page(), s); };
        QTRY_VERIFY_WITH_TIMEOUT(eval("document.images.length").toInt() == 1, 30000);
        QString title = eval("document.title").toString();
        QCOMPARE(title.replace(QChar(0xa0), ' '), caption);
        QString shown = eval("document.querySelector('td').textContent").toString();
        QCOMPARE(shown.replace(QChar(0xa0), ' '), intro);
        QCOMPARE(eval("document.images[0].getAttribute('src')").toString(), path);
        QCOMPARE(eval("document.images[0].attributes.length").toInt(), 2);
        QTRY_COMPARE_WITH_TIMEOUT(eval("document.images[0].naturalWidth").toInt(), 120, 30000);
        QCOMPARE(eval("document.scripts.length + document.querySelectorAll('svg,b').length").toInt(), 0);
        // Anything it ran would have had the time to run by now.
        QTest::qWait(300);
        QCOMPARE(pwned(), QString("undefined"));
        popup->close();
    }

    void line_break_in_a_description_is_a_break_in_the_large_view()
    {
        testsupport::MakePicture(folder->File("Images/p.png"), 60, 40);
        openPage();
        mdlHouse::ShowImage(browser.get(), 2, "a<b", "first<i>\rsecond", folder->File("Images/p.png"));
        QTRY_VERIFY_WITH_TIMEOUT(js("document.getElementById('ImageShow') !== null").toBool(), 30000);
        QSignalSpy opened(browser.get(), &ui::WebBrowser::PopupOpened);
        js("document.getElementById('ImageShow').click(); 1");
        QTRY_COMPARE_WITH_TIMEOUT(opened.count(), 1, 30000);
        QWebEngineView* popup = browser->Popups().value(0);
        QVERIFY(popup);
        auto eval = [popup](const QString& s) { return ui::WebBrowser::Evaluate(popup->page(), s); };
        QTRY_VERIFY_WITH_TIMEOUT(eval("document.images.length").toInt() == 1, 30000);
        QCOMPARE(eval("document.querySelector('td').innerHTML").toString(),
                 QString("first&lt;i&gt;<br>second"));
        QCOMPARE(eval("document.title").toString(), QString("a<b"));
        popup->close();
    }
};

QTEST_MAIN(tst_image_page_hostile)
#include "tst_image_page_hostile.moc"
