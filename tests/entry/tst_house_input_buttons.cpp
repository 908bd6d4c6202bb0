// Page 1 of the entry wizard inside a main frame, as the program shows it: however many attribute
// rows the house has, the page's button row (上一步/下一步/取消) stays wholly in view without scrolling,
// the window never reaches out of the frame, and the rows keep their pitch.

#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>

#include "EntryFixture.h"
#include "core/ui/Twips.h"

using namespace entrytest;
using testsupport::Click;

namespace {

// True when every pixel of w lies inside each of its ancestors up to and including top: nothing of
// it is cut off by a scrolled area, a page or the window's edge.
bool wholyShown(const QWidget* w, const QWidget* top, QString* why)
{
    if (!w->isVisible()) {
        *why = w->objectName() + " is hidden";
        return false;
    }
    QRect r = w->rect();
    const QWidget* child = w;
    for (const QWidget* p = w->parentWidget(); p; p = p->parentWidget()) {
        r = QRect(child->mapTo(p, r.topLeft()), r.size());
        if (!p->rect().contains(r)) {
            *why =
                QStringLiteral("%1 at %2,%3 %4x%5 is cut off by %6 (%7x%8)")
                    .arg(w->objectName())
                    .arg(r.x())
                    .arg(r.y())
                    .arg(r.width())
                    .arg(r.height())
                    .arg(p->objectName().isEmpty() ? QString(p->metaObject()->className()) : p->objectName())
                    .arg(p->width())
                    .arg(p->height());
            return false;
        }
        if (p == top) return true;
        child = p;
    }
    *why = w->objectName() + " is not inside " + top->objectName();
    return false;
}

}  // namespace

class tst_house_input_buttons : public QObject {
    Q_OBJECT

    // The scrolled part of page 1 (the fields and the attribute rows).
    static QScrollArea* rowsOf(frmHouseInput* w) { return w->findChild<QScrollArea*>(); }

    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages;
    std::unique_ptr<QMdiArea> area;

    frmHouseInput* openWithRows(int rows)
    {
        auto* w = OpenFromMenu();
        if (!w) return nullptr;
        while (w->AttributeRowCount() < rows) {
            if (!Click(w, QStringLiteral("cmdAddNewContent"))) return nullptr;
        }
        QCoreApplication::processEvents();
        return w;
    }

    void checkButtonsInView(frmHouseInput* w)
    {
        QMdiSubWindow* frame = qobject_cast<QMdiSubWindow*>(w->Frame());
        QVERIFY(frame);
        QVERIFY2(area->viewport()->rect().contains(frame->geometry()),
                 qPrintable(QStringLiteral("the window (%1,%2 %3x%4) reaches out of the frame (%5x%6)")
                                .arg(frame->x())
                                .arg(frame->y())
                                .arg(frame->width())
                                .arg(frame->height())
                                .arg(area->viewport()->width())
                                .arg(area->viewport()->height())));
        for (const char* name : {"Command1", "cmdNext", "cmdCancel"}) {
            auto* button = w->findChild<QPushButton*>(QLatin1String(name));
            QVERIFY(button);
            QString why;
            QVERIFY2(wholyShown(button, area->viewport(), &why), qPrintable(why));
        }
        // The buttons stand below the rows area, not over a row.
        QVERIFY(w->cmdNext->mapTo(w, QPoint(0, 0)).y() >=
                rowsOf(w)->mapTo(w, QPoint(0, rowsOf(w)->height())).y());
    }

private slots:
    void init()
    {
        folder = std::make_unique<testsupport::ProgramFolder>();
        messages = std::make_unique<testsupport::MsgBoxRecorder>();
        RegisterWindows();
        AddTypes(*folder, {QStringLiteral("公寓")});
        // The main frame's window area, the size of a small laptop screen's.
        area = std::make_unique<QMdiArea>();
        area->setObjectName(QStringLiteral("mdiArea"));
        area->resize(1000, 700);
        area->show();
        QVERIFY(QTest::qWaitForWindowExposed(area.get()));
        Forms::SetMdiArea(area.get());
    }

    void cleanup()
    {
        CloseWindows();
        Forms::SetMdiArea(nullptr);
        area.reset();
        messages.reset();
        folder.reset();
    }

    void buttons_stay_in_view_at_any_number_of_rows_data()
    {
        QTest::addColumn<int>("rows");
        for (int rows : {3, 6, 12, 40}) QTest::newRow(qPrintable(QString::number(rows))) << rows;
    }

    void buttons_stay_in_view_at_any_number_of_rows()
    {
        QFETCH(int, rows);
        frmHouseInput* w = openWithRows(rows);
        QVERIFY(w);
        QCOMPARE(w->AttributeRowCount(), rows);
        // Wherever the rows are scrolled to: at the top (the house's own fields in view), and at
        // the bottom (the last row in view).
        QScrollBar* bar = rowsOf(w)->verticalScrollBar();
        for (int at : {0, bar->maximum()}) {
            bar->setValue(at);
            checkButtonsInView(w);
        }
        for (int i = 2; i <= rows; ++i)
            QCOMPARE(ui::Twips(w->cmbCaption[i]->y() - w->cmbCaption[i - 1]->y()), 600);
        // The newest row, where the add button put the focus, is in view as well.
        QString why;
        QVERIFY2(wholyShown(w->cmbCaption[rows], rowsOf(w)->viewport(), &why), qPrintable(why));
        // The buttons work from where they stand.
        QTest::mouseClick(w->cmdNext, Qt::LeftButton);
        QCOMPARE(messages->Texts().size(), 1);  // the house name is required first
        QVERIFY(w->Frame1->isVisible());
    }

    void the_window_grows_with_its_rows_then_only_the_rows_scroll()
    {
        frmHouseInput* w = openWithRows(3);
        QVERIFY(w);
        const int frameHeight = w->Frame()->height();
        const int nextTop = ui::Twips(w->cmdNext->y());
        for (int k = 0; k < 3; ++k) QVERIFY(Click(w, QStringLiteral("cmdAddNewContent")));
        // While the frame has room, the buttons move down one pitch per row and the window grows.
        QCOMPARE(ui::Twips(w->cmdNext->y()) - nextTop, 1800);
        QVERIFY(w->Frame()->height() > frameHeight);
        QCOMPARE(rowsOf(w)->verticalScrollBar()->maximum(), 0);
        checkButtonsInView(w);

        // Past the frame's height the window stops growing and the rows scroll.
        for (int k = 0; k < 30; ++k) QVERIFY(Click(w, QStringLiteral("cmdAddNewContent")));
        QVERIFY(w->Frame()->height() <= area->viewport()->height());
        QVERIFY(rowsOf(w)->verticalScrollBar()->maximum() > 0);
        checkButtonsInView(w);
        // Scrolled back to the top, the first fields are there and the buttons still are.
        rowsOf(w)->verticalScrollBar()->setValue(0);
        QString why;
        QVERIFY2(wholyShown(w->cmbHouseName, area->viewport(), &why), qPrintable(why));
        checkButtonsInView(w);

        // Removing rows moves the buttons back up with them once the rows fit again.
        for (int k = 0; k < 30; ++k) QVERIFY(Click(w, QStringLiteral("cmdDeleteContent")));
        QCOMPARE(w->AttributeRowCount(), 6);
        QCOMPARE(ui::Twips(w->cmdNext->y()) - nextTop, 1800);
        checkButtonsInView(w);
    }

    void an_edited_house_with_many_rows_opens_with_its_buttons_in_view()
    {
        folder->Exec(
            QStringLiteral("Insert Into t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) "
                           "Values ('A座', '1', '', 1, 1)"));
        const qint64 id = folder->Value(QStringLiteral("Select max(HouseID) From t_House")).toLongLong();
        for (int i = 1; i <= 25; ++i)
            folder->Exec(QStringLiteral("Insert Into t_Content (HouseID, Caption, Content, List) "
                                        "Values (%1, 'c%2', 'v%2', %2)")
                             .arg(id)
                             .arg(i));
        mdlHouse::CurrentHouseID = qint32(id);
        frmHouseInput* w = OpenFromCatalogue(1);
        QVERIFY(w);
        QCOMPARE(w->AttributeRowCount(), 25);
        QCoreApplication::processEvents();
        checkButtonsInView(w);
    }
};

QTEST_MAIN(tst_house_input_buttons)
#include "tst_house_input_buttons.moc"
