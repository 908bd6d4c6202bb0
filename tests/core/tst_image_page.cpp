#include <QFile>
#include <QSignalSpy>
#include <QTest>
#include <QWebEngineView>

#include "TestSupport.h"
#include "core/ImagePage.h"
#include "core/ui/WebBrowser.h"

using mdlHouse::ImageHtml;
using mdlHouse::TextToHtml;

namespace {

QByteArray readFile(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

}  // namespace

class tst_image_page : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<ui::WebBrowser> browser;

    QVariant js(const QString& script) { return browser->Evaluate(script); }
    // "WxH" of the shown picture ("" when there is none) and of the page body's client area.
    QString pictureSize()
    {
        return js("var i=document.getElementById('ImageShow'); i ? i.width + 'x' + i.height : ''").toString();
    }
    QString bodySize()
    {
        return js("document.body.clientWidth + 'x' + document.body.clientHeight").toString();
    }

    // A browser on the picture page, loaded and laid out at 400 x 400.
    void openPage()
    {
        browser.reset(new ui::WebBrowser());
        browser->setObjectName("WebImage");
        browser->resize(400, 400);
        browser->show();
        QSignalSpy loaded(browser.get(), &ui::WebBrowser::DocumentComplete);
        mdlHouse::InitImagePage(browser.get());
        QTRY_VERIFY_WITH_TIMEOUT(loaded.count() >= 1, 60000);
        QTRY_COMPARE_WITH_TIMEOUT(bodySize(), QString("400x400"), 30000);
    }

private slots:
    void init() { folder.reset(new testsupport::ProgramFolder()); }
    void cleanup()
    {
        browser.reset();
        folder.reset();
    }

    void page_text_is_eight_crlf_lines()
    {
        QCOMPARE(
            mdlHouse::ImagePageText(),
            QString("<html>\r\n<head>\r\n<title>Image</title>\r\n</head>\r\n"
                    "<body leftmargin=0 topmargin=0 style='overflow:hidden'>\r\n<div id='Pict'></div>\r\n"
                    "</body>\r\n</html>\r\n"));
    }

    void text_to_html_of_empty_is_empty()
    {
        QCOMPARE(TextToHtml(QString()), QString());
        QCOMPARE(TextToHtml(QString("")), QString(""));
    }
    void text_to_html_escapes_quotes_angles_and_spaces()
    {
        QCOMPARE(TextToHtml("It's \"big\" <b>"), QString("It\\'s&nbsp;&quot;big&quot;&nbsp;&lt;b&gt;"));
    }
    void text_to_html_keeps_line_feed_after_break() { QCOMPARE(TextToHtml("a\r\nb"), QString("a<br>\nb")); }
    void text_to_html_leaves_ampersand_backslash_tab_and_wide_space()
    {
        QCOMPARE(TextToHtml("R&D"), QString("R&D"));
        QCOMPARE(TextToHtml("C:\\x"), QString("C:\\x"));
        QCOMPARE(TextToHtml("a\tb\u3000c"), QString("a\tb\u3000c"));
        // The replacements run in order: the "&nbsp;" made from a blank is not escaped again.
        QCOMPARE(TextToHtml("< >"), QString("&lt;&nbsp;&gt;"));
    }

    void html_for_plain_picture_keeps_file_name_as_given()
    {
        QCOMPARE(ImageHtml(1, "c", "i", "Images/my house 1.jpg"),
                 QString("<img id=\"ImageShow\" src=\"Images/my house 1.jpg\" border=0>"));
    }
    void html_for_other_actions_is_empty()
    {
        QCOMPARE(ImageHtml(0, "c", "i", "Images/a.jpg"), QString());
        QCOMPARE(ImageHtml(5, "c", "i", "Images/a.jpg"), QString());
        QCOMPARE(ImageHtml(-1, "c", "i", "Images/a.jpg"), QString());
    }
    void html_for_clickable_picture_is_exact()
    {
        const QString expected =
            QString(
                "<img id=\"ImageShow\" src=\"Images\\a b.jpg\" border=0 style=\"cursor: hand\" onclick=\"") +
            "var NewWin = window.open(''); NewWin.document.write(" + "'<html><head><title>" +
            "Tom\\'s&nbsp;room" + "</title>" +
            "<meta http-equiv=Content-Type content=text/html; charset=gb2312>" +
            QString::fromUtf8("<style>td{font-family: 宋体;font-size: 9pt}</style></head><body>") +
            "<table align=center><tr><td align=center>" + "&quot;x&quot;<br>\ny" +
            "</td></tr><tr><tr><td><hr size=1></td></tr><tr><td align=center>" + "<img border=1 src=\\'" +
            "Images\\\\a b.jpg" + "\\'>" + "</td></tr></table>')\">";
        QCOMPARE(ImageHtml(2, "Tom's room", "\"x\"\r\ny", "Images\\a b.jpg"), expected);
    }

    void init_on_blank_browser_writes_and_loads_the_page()
    {
        QFile::remove(mdlHouse::ImagePagePath());
        openPage();
        QCOMPARE(browser->LocationName(), QString("Image.htm"));
        QCOMPARE(readFile(folder->File("Image.htm")), mdlHouse::ImagePageText().toLatin1());
        QCOMPARE(js("document.getElementById('Pict') !== null").toBool(), true);
        QCOMPARE(js("document.title").toString(), QString("Image"));
    }

    void init_on_the_page_only_empties_the_picture()
    {
        openPage();
        testsupport::MakePicture(folder->File("Images/p.png"), 100, 50);
        mdlHouse::ShowImage(browser.get(), 1, "c", "i", "Images/p.png");
        QTRY_VERIFY_WITH_TIMEOUT(js("document.getElementById('ImageShow') !== null").toBool(), 30000);
        // Mark the file: a rewrite would put the page text back.
        {
            QFile f(folder->File("Image.htm"));
            QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Append));
            f.write("<!-- marker -->");
        }
        const QByteArray before = readFile(folder->File("Image.htm"));
        QSignalSpy loads(browser.get(), &ui::WebBrowser::DocumentComplete);
        mdlHouse::InitImagePage(browser.get());
        QTRY_COMPARE_WITH_TIMEOUT(js("document.getElementById('Pict').innerHTML").toString(), QString(),
                                  30000);
        QCOMPARE(readFile(folder->File("Image.htm")), before);
        QTest::qWait(300);
        QCOMPARE(loads.count(), 0);
    }

    void init_on_another_location_rewrites_and_loads()
    {
        browser.reset(new ui::WebBrowser());
        browser->resize(400, 400);
        browser->show();
        {
            QFile f(folder->File("other.htm"));
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write("<html><body>other</body></html>");
        }
        {
            QFile f(folder->File("Image.htm"));
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write("stale");
        }
        QSignalSpy loads(browser.get(), &ui::WebBrowser::DocumentComplete);
        browser->Navigate(folder->File("other.htm"));
        QTRY_VERIFY_WITH_TIMEOUT(loads.count() >= 1, 60000);
        QCOMPARE(browser->LocationName(), QString("other.htm"));
        mdlHouse::InitImagePage(browser.get());
        QCOMPARE(readFile(folder->File("Image.htm")), mdlHouse::ImagePageText().toLatin1());
        QTRY_VERIFY_WITH_TIMEOUT(loads.count() >= 2, 60000);
        QTRY_COMPARE_WITH_TIMEOUT(js("document.title").toString(), QString("Image"), 30000);
        QCOMPARE(browser->LocationName(), QString("Image.htm"));
    }

    void plain_picture_source_is_the_name_as_passed()
    {
        openPage();
        testsupport::MakePicture(folder->File("Images/my house.png"), 100, 50);
        mdlHouse::ShowImage(browser.get(), 1, "c", "i", "Images/my house.png");
        QTRY_COMPARE_WITH_TIMEOUT(
            js("var i=document.getElementById('ImageShow'); i ? i.getAttribute('src') : ''").toString(),
            QString("Images/my house.png"), 30000);
        QCOMPARE(js("document.getElementById('ImageShow').getAttribute('border')").toString(), QString("0"));
        QCOMPARE(js("document.getElementById('ImageShow').hasAttribute('onclick')").toBool(), false);
        QTRY_VERIFY_WITH_TIMEOUT(js("document.getElementById('ImageShow').naturalWidth").toInt() == 100,
                                 30000);
    }

    void clickable_picture_has_raw_path_in_page_and_doubled_path_in_popup()
    {
        openPage();
        mdlHouse::ShowImage(browser.get(), 2, "c", "i", "Images\\sub\\a.png");
        QTRY_COMPARE_WITH_TIMEOUT(
            js("var i=document.getElementById('ImageShow'); i ? i.getAttribute('src') : ''").toString(),
            QString("Images\\sub\\a.png"), 30000);
        const QString onclick = js("document.getElementById('ImageShow').getAttribute('onclick')").toString();
        QVERIFY2(onclick.contains("<img border=1 src=\\'Images\\\\sub\\\\a.png\\'>"), qPrintable(onclick));
    }

    void other_actions_empty_the_picture_and_fit_nothing()
    {
        openPage();
        testsupport::MakePicture(folder->File("Images/p.png"), 100, 50);
        for (qint16 action : {qint16(0), qint16(5)}) {
            mdlHouse::ShowImage(browser.get(), 1, "c", "i", "Images/p.png");
            QTRY_VERIFY_WITH_TIMEOUT(js("document.getElementById('ImageShow') !== null").toBool(), 30000);
            mdlHouse::ShowImage(browser.get(), action, "c", "i", "Images/p.png");
            QTRY_COMPARE_WITH_TIMEOUT(js("document.getElementById('Pict').innerHTML").toString(), QString(),
                                      30000);
            QCOMPARE(js("document.getElementById('ImageShow') === null").toBool(), true);
            QCOMPARE(js("document.getElementById('Pict').childNodes.length").toInt(), 0);
        }
    }

    void small_picture_is_stretched_over_the_whole_area()
    {
        openPage();
        testsupport::MakePicture(folder->File("Images/p.png"), 100, 50);
        mdlHouse::ShowImage(browser.get(), 2, "c", "i", "Images/p.png");
        QTRY_COMPARE_WITH_TIMEOUT(pictureSize(), QString("400x400"), 30000);
        QCOMPARE(js("document.getElementById('ImageShow').parentNode.id").toString(), QString("Pict"));
        QTRY_VERIFY_WITH_TIMEOUT(js("document.getElementById('ImageShow').naturalWidth").toInt() == 100,
                                 30000);
        QCOMPARE(
            js("var r=document.getElementById('ImageShow').getBoundingClientRect(); r.left+','+r.top+','+"
               "r.width+','+r.height")
                .toString(),
            QString("0,0,400,400"));
    }

    void picture_follows_a_resize_when_fitted_again()
    {
        openPage();
        testsupport::MakePicture(folder->File("Images/p.png"), 100, 50);
        mdlHouse::ShowImage(browser.get(), 1, "c", "i", "Images/p.png");
        QTRY_COMPARE_WITH_TIMEOUT(pictureSize(), QString("400x400"), 30000);
        browser->resize(300, 180);
        mdlHouse::FitImage(browser.get());
        QTRY_COMPARE_WITH_TIMEOUT(pictureSize(), QString("300x180"), 30000);
        QCOMPARE(bodySize(), QString("300x180"));
    }

    void picture_fitted_while_hidden_follows_once_shown()
    {
        // A window lays itself out before it is first shown; the page learns the size only then.
        openPage();
        testsupport::MakePicture(folder->File("Images/p.png"), 100, 50);
        mdlHouse::ShowImage(browser.get(), 1, "c", "i", "Images/p.png");
        QTRY_COMPARE_WITH_TIMEOUT(pictureSize(), QString("400x400"), 30000);
        browser->hide();
        browser->resize(260, 140);
        mdlHouse::FitImage(browser.get());
        QTest::qWait(300);
        browser->show();
        QTRY_COMPARE_WITH_TIMEOUT(bodySize(), QString("260x140"), 30000);
        QTRY_COMPARE_WITH_TIMEOUT(pictureSize(), QString("260x140"), 30000);
    }

    void clickable_picture_shows_a_pointing_hand()
    {
        openPage();
        mdlHouse::ShowImage(browser.get(), 2, "c", "i", "Images/p.png");
        QTRY_COMPARE_WITH_TIMEOUT(
            js("var i=document.getElementById('ImageShow'); i ? getComputedStyle(i).cursor : ''").toString(),
            QString("pointer"), 30000);
        // The page's own markup is left as it was given.
        QCOMPARE(js("document.getElementById('ImageShow').getAttribute('style')").toString(),
                 QString("cursor: hand"));
    }

    void click_opens_large_view_titled_with_the_caption()
    {
        openPage();
        testsupport::MakePicture(folder->File("Images/p.png"), 120, 80);
        mdlHouse::ShowImage(browser.get(), 2, QString::fromUtf8("客厅 A"),
                            QString::fromUtf8("Tom's 朝南\r采光好"), "Images/p.png");
        QTRY_COMPARE_WITH_TIMEOUT(pictureSize(), QString("400x400"), 30000);
        QSignalSpy opened(browser.get(), &ui::WebBrowser::PopupOpened);
        // The offscreen platform delivers no mouse input to Chromium, so the picture's own click
        // handler is started by a click event dispatched to the element.
        js("document.getElementById('ImageShow').click(); 1");
        QTRY_COMPARE_WITH_TIMEOUT(opened.count(), 1, 30000);
        QWebEngineView* popup = browser->Popups().value(0);
        QVERIFY(popup);
        // The caption's blank became "&nbsp;" on its way into the pop-up's title.
        QTRY_COMPARE_WITH_TIMEOUT(popup->windowTitle(), QString::fromUtf8("客厅\u00a0A"), 30000);
        QVERIFY(popup->isWindow());
        QVERIFY(popup->isVisible());
        auto eval = [popup](const QString& s) { return ui::WebBrowser::Evaluate(popup->page(), s); };
        QTRY_VERIFY_WITH_TIMEOUT(eval("document.images.length").toInt() == 1, 30000);
        QCOMPARE(eval("document.querySelector('td').innerText").toString().replace("\u00a0", " "),
                 QString::fromUtf8("Tom's 朝南\n采光好"));
        QCOMPARE(eval("document.querySelectorAll('hr').length").toInt(), 1);
        QCOMPARE(eval("document.images[0].getAttribute('src')").toString(), QString("Images/p.png"));
        QTRY_COMPARE_WITH_TIMEOUT(eval("document.images[0].naturalWidth").toInt(), 120, 30000);
        popup->close();
    }
};

QTEST_MAIN(tst_image_page)
#include "tst_image_page.moc"
