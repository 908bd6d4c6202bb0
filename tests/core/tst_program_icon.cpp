// The program's own icon: drawn in every size the icon theme wants, and shown by every window the
// program opens (the frame, each child window, message boxes, the picture pop-up), which all take
// it from the one place the program sets it.
#include <QApplication>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMessageBox>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QWebEngineView>

#include "TestSupport.h"
#include "core/ui/Forms.h"
#include "core/ui/MsgBox.h"
#include "core/ui/ProgramIcon.h"
#include "core/ui/WebBrowser.h"
#include "windows/RegisterWindows.h"
#include "windows/frmMain.h"

class tst_program_icon : public QObject {
    Q_OBJECT

    qint64 programIcon() const { return QApplication::windowIcon().cacheKey(); }

private slots:
    void initTestCase() { QApplication::setWindowIcon(ui::ProgramIcon()); }

    void every_theme_size_is_drawn_from_the_house_picture()
    {
        const QIcon icon = ui::ProgramIcon();
        QVERIFY(!icon.isNull());
        for (int size : {16, 22, 24, 32, 48, 64, 128, 256}) {
            QVERIFY2(icon.availableSizes().contains(QSize(size, size)), qPrintable(QString::number(size)));
            const QImage image = icon.pixmap(QSize(size, size), 1.0).toImage();
            QCOMPARE(image.size(), QSize(size, size));
            // The roof is red above the middle, the wall blue below it, the corners see-through.
            const QColor roof = image.pixelColor(size / 2, size * 3 / 10);
            const QColor wall = image.pixelColor(size * 3 / 10, size * 8 / 10);
            QVERIFY2(roof.red() > 150 && roof.blue() < 100, qPrintable(roof.name()));
            QVERIFY2(wall.blue() > 120 && wall.red() < 80, qPrintable(wall.name()));
            QCOMPARE(image.pixelColor(0, size - 1).alpha(), 0);
        }
    }

    void the_frame_and_every_child_window_show_it()
    {
        testsupport::ProgramFolder folder;
        testsupport::MsgBoxRecorder boxes;
        const QStringList names = windows::RegisterWindows();
        QVERIFY(names.size() >= 7);
        frmMain frame;
        QVERIFY(frame.Load());
        QCOMPARE(frame.windowIcon().cacheKey(), programIcon());
        for (const QString& name : names) {
            QWidget* window = Forms::Show(name);
            QVERIFY2(window, qPrintable(name));
            QCOMPARE(window->windowIcon().cacheKey(), programIcon());
            auto* sub = qobject_cast<QMdiSubWindow*>(window->parentWidget());
            QVERIFY2(sub, qPrintable(name + " is not a child of the frame"));
            QCOMPARE(sub->windowIcon().cacheKey(), programIcon());
        }
        frame.MdiArea()->closeAllSubWindows();
    }

    void a_message_box_shows_it()
    {
        qint64 seen = 0;
        QString caption;
        QTimer::singleShot(0, this, [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box) return;
            seen = box->windowIcon().cacheKey();
            caption = box->windowTitle();
            box->accept();
        });
        ui::MsgBox(QStringLiteral("图标"));
        QCOMPARE(caption, QStringLiteral("Tavrelo"));
        QCOMPARE(seen, programIcon());
    }

    void the_picture_popup_shows_it()
    {
        testsupport::ProgramFolder folder;
        ui::WebBrowser browser;
        browser.resize(200, 200);
        browser.show();
        QSignalSpy loaded(&browser, &ui::WebBrowser::DocumentComplete);
        QFile page(folder.File("p.htm"));
        QVERIFY(page.open(QIODevice::WriteOnly));
        page.write("<html><body></body></html>");
        page.close();
        browser.Navigate(folder.File("p.htm"));
        QTRY_VERIFY_WITH_TIMEOUT(loaded.count() > 0, 30000);
        QSignalSpy opened(&browser, &ui::WebBrowser::PopupOpened);
        browser.RunScript("var w = window.open(''); w.document.write('<p>big</p>'); w.document.close();");
        QTRY_COMPARE_WITH_TIMEOUT(opened.count(), 1, 30000);
        QWebEngineView* popup = browser.Popups().value(0);
        QVERIFY(popup);
        QVERIFY(popup->isWindow());
        QCOMPARE(popup->windowIcon().cacheKey(), programIcon());
        popup->close();
    }
};

QTEST_MAIN(tst_program_icon)
#include "tst_program_icon.moc"
