// The template editor inside a main frame, opened from the type window as the program does, with
// real mouse clicks: whatever text the window itself puts into the caption and value boxes is
// wholly selected, ready to be typed over, from the very first click in a freshly opened window,
// and stays so while the focus moves between the boxes until the user works in one of them.

#include <QMdiArea>
#include <QMdiSubWindow>
#include <QTest>

#include "TypeTestFixture.h"

using namespace typetest;

class tst_content_selection : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<testsupport::MsgBoxRecorder> boxes;
    std::unique_ptr<QMdiArea> area;
    qint64 t1 = 0;

    // A press and release with the mouse, as a user clicks: the button takes the focus first.
    static void press(QWidget* w)
    {
        QVERIFY(w && w->isEnabled() && w->isVisible());
        QTest::mouseClick(w, Qt::LeftButton, {}, w->rect().center());
        QCoreApplication::processEvents();
    }

    frmContent* openTemplate()
    {
        auto* types = qobject_cast<frmHouseType*>(Forms::Show(QStringLiteral("frmHouseType")));
        if (!types) return nullptr;
        QCoreApplication::processEvents();
        ClickRow(types->lsvType, 0);
        QTest::mouseClick(types->cmdContent, Qt::LeftButton);
        auto* c = qobject_cast<frmContent*>(Forms::Find(QStringLiteral("frmContent")));
        // Whatever the frame does after showing a new window happens before the user's next click.
        QCoreApplication::processEvents();
        QTest::qWait(50);
        return c;
    }

    static void checkWhollySelected(QLineEdit* box, const QString& text)
    {
        QCOMPARE(box->text(), text);
        QCOMPARE(box->selectedText(), text);
        QCOMPARE(box->selectionStart(), 0);
    }

    // Both boxes wholly selected right after the click, and still after the focus has gone from
    // the caption box to the value box and back with the keyboard.
    static void checkBothAfterFocusMoves(frmContent* c, const QString& caption, const QString& value)
    {
        checkWhollySelected(c->txtCaption, caption);
        checkWhollySelected(c->txtContent, value);
        QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(c->txtCaption));
        QTest::keyClick(c->txtCaption, Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(c->txtContent));
        QTest::keyClick(c->txtContent, Qt::Key_Backtab);
        QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(c->txtCaption));
        QCoreApplication::processEvents();
        checkWhollySelected(c->txtCaption, caption);
        checkWhollySelected(c->txtContent, value);
    }

private slots:
    void initTestCase() { RegisterWindows(); }

    void init()
    {
        folder = std::make_unique<testsupport::ProgramFolder>();
        boxes = std::make_unique<testsupport::MsgBoxRecorder>();
        SeedTypes(*folder, 1);
        t1 = TypeIdOf(*folder, QStringLiteral("T1"));
        folder->Exec(
            QStringLiteral("Insert Into t_Content_Auto (TypeID, Caption, Content) Values (%1, '朝向', '南')")
                .arg(t1));
        area = std::make_unique<QMdiArea>();
        area->setObjectName(QStringLiteral("mdiArea"));
        area->resize(1200, 800);
        area->show();
        QVERIFY(QTest::qWaitForWindowExposed(area.get()));
        // Without a window manager nobody else makes the frame the active window.
        area->activateWindow();
        QApplication::setActiveWindow(area.get());
        QVERIFY(QTest::qWaitForWindowActive(area.get()));
        Forms::SetMdiArea(area.get());
    }

    void cleanup()
    {
        CloseAll();
        Forms::SetMdiArea(nullptr);
        area.reset();
        boxes.reset();
        folder.reset();
    }

    void first_add_in_a_fresh_window_selects_both_placeholders()
    {
        frmContent* c = openTemplate();
        QVERIFY(c);
        press(c->cmdAddNew);
        checkBothAfterFocusMoves(c, QStringLiteral("新增属性"), QStringLiteral("新增值"));
        // Typing replaces the placeholder in either box.
        QTest::keyClicks(c->txtCaption, "area");
        QCOMPARE(c->txtCaption->text(), QStringLiteral("area"));
        c->txtContent->setFocus(Qt::TabFocusReason);
        QTest::keyClicks(c->txtContent, "90");
        QCOMPARE(c->txtContent->text(), QStringLiteral("90"));
    }

    void first_edit_in_a_fresh_window_selects_both_texts()
    {
        frmContent* c = openTemplate();
        QVERIFY(c);
        ClickRow(c->lsvContent, 0);
        press(c->cmdEdit);
        checkBothAfterFocusMoves(c, QStringLiteral("朝向"), QStringLiteral("南"));
    }

    void a_double_click_on_a_row_selects_both_texts()
    {
        frmContent* c = openTemplate();
        QVERIFY(c);
        DoubleClickRow(c->lsvContent, 0);
        checkBothAfterFocusMoves(c, QStringLiteral("朝向"), QStringLiteral("南"));
    }

    void add_after_an_edit_selects_both_placeholders()
    {
        frmContent* c = openTemplate();
        QVERIFY(c);
        ClickRow(c->lsvContent, 0);
        press(c->cmdEdit);
        // The user works in the value box, then takes the row over.
        press(c->txtContent);
        QTest::keyClick(c->txtContent, Qt::Key_End);
        QTest::keyClicks(c->txtContent, "x");
        press(c->cmdEditOK);
        QCOMPARE(c->lsvContent->Model()->Text(0, 1), QStringLiteral("南x"));
        press(c->cmdAddNew);
        checkBothAfterFocusMoves(c, QStringLiteral("新增属性"), QStringLiteral("新增值"));
        // And once more after the add was cancelled.
        press(c->cmdEditCancel);
        press(c->cmdAddNew);
        checkBothAfterFocusMoves(c, QStringLiteral("新增属性"), QStringLiteral("新增值"));
    }

    void edit_after_an_add_selects_both_texts()
    {
        frmContent* c = openTemplate();
        QVERIFY(c);
        press(c->cmdAddNew);
        press(c->txtContent);
        QTest::keyClicks(c->txtContent, "y");
        press(c->cmdEditOK);
        QCOMPARE(c->lsvContent->Model()->Count(), 2);
        ClickRow(c->lsvContent, 1);
        press(c->cmdEdit);
        QVERIFY(!c->lsvContent->Model()->Text(1, 1).isEmpty());
        checkBothAfterFocusMoves(c, QStringLiteral("新增属性"), c->lsvContent->Model()->Text(1, 1));
    }
};

QTEST_MAIN(tst_content_selection)
#include "tst_content_selection.moc"
