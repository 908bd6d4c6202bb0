#pragma once

// Drives whatever windows are open the way an impatient user with a bad keyboard would: random
// clicks on every enabled button, random rows, double clicks and column titles in every list,
// awkward text in every box, arrow keys in every drop-down, windows opened from the menus and
// from the registry, resized to odd sizes and closed again. Everything is found generically
// (by widget class below the open windows), so a window that is registered is driven without
// this file knowing it.

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMap>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPointer>
#include <QRandomGenerator>
#include <QSet>
#include <QTableView>
#include <QTest>
#include <QTextEdit>
#include <algorithm>
#include <functional>

#include "core/ui/Form.h"
#include "core/ui/Forms.h"
#include "core/ui/WebBrowser.h"
#include "windows/frmMain.h"

namespace robustness {

// The texts typed into boxes: quotes that break concatenated SQL, LIKE wildcards, backslashes,
// Chinese, emoji (surrogate pairs and a joined sequence), numbers far out of every range, blank
// and very long texts. None of them ends in the extension of a real picture, so that a picture
// path typed by hand never passes for one that was picked (the final picture check relies on it).
inline QStringList BadTexts()
{
    QStringList texts = {
        QString(),
        QStringLiteral(" "),
        QStringLiteral("O'Brien"),
        QStringLiteral("it's"),
        QStringLiteral("'"),
        QStringLiteral("''"),
        QStringLiteral("\"quoted\""),
        QStringLiteral("\""),
        QStringLiteral("100%"),
        QStringLiteral("%"),
        QStringLiteral("_%_"),
        QStringLiteral("C:\\Program Files\\House\\"),
        QStringLiteral("\\"),
        QStringLiteral("\\'"),
        QStringLiteral("楼宇一号"),
        QStringLiteral("三室两厅 朝南 120平方米"),
        QStringLiteral("宋体"),
        QStringLiteral("😀🏠"),
        QStringLiteral("👨‍👩‍👧‍👦"),
        QStringLiteral("a😀'\"%\\中"),
        QStringLiteral("0"),
        QStringLiteral("-1"),
        QStringLiteral("3.5"),
        QStringLiteral("2.5"),
        QStringLiteral("32767"),
        QStringLiteral("32768"),
        QStringLiteral("-32769"),
        QStringLiteral("2147483647"),
        QStringLiteral("2147483648"),
        QStringLiteral("-2147483649"),
        QStringLiteral("99999999999999999999"),
        QStringLiteral("1e309"),
        QStringLiteral("-1e309"),
        QStringLiteral("NaN"),
        QStringLiteral("&H7FFFFFFF"),
        QStringLiteral("12abc"),
        QStringLiteral("Robert'); Delete From t_House; --"),
        QStringLiteral("' Or '1'='1"),
        QStringLiteral("<b>bold</b> & <script>alert(1)</script>"),
        // Some ordinary values too, so that a form is now and then complete and really saves.
        QStringLiteral("A101"),
        QStringLiteral("normal text"),
        QStringLiteral("阳光花园"),
        QStringLiteral("1"),
        QStringLiteral("5"),
        QStringLiteral("12"),
        QStringLiteral("99"),
    };
    texts << QString(10000, QLatin1Char('x'));
    texts << QString(10000, QChar(0x623F));  // 房
    QString mixed;
    while (mixed.size() < 10000) mixed += QStringLiteral("'%\\\"中😀");
    texts << mixed;
    return texts;
}

class RandomDriver {
public:
    RandomDriver(QRandomGenerator* rng, frmMain* main, QStringList windowNames)
        : rng_(rng), main_(main), names_(std::move(windowNames)), texts_(BadTexts())
    {
    }

    // One random action; returns its description (for the trace and for a crash report).
    QString Step()
    {
        const QStringList before = OpenForms().keys();
        QString done = act();
        // Windows outside the registry open later (a page script opens them): any top-level
        // window not seen before counts from the step in which it shows up.
        const QMap<QString, QWidget*> forms = OpenForms();
        for (QWidget* top : QApplication::topLevelWidgets()) {
            if (!top->isVisible() || top == main_ || qobject_cast<QMenu*>(top) || seenTop_.contains(top))
                continue;
            if (std::find(forms.cbegin(), forms.cend(), top) != forms.cend()) continue;
            seenTop_.insert(top);
            ++otherWindows;
            done += QStringLiteral(" [a window is open: ") +
                    QString::fromLatin1(top->metaObject()->className()) + QLatin1Char(']');
        }
        // A window that has just opened is where the user goes on.
        const auto after = OpenForms();
        for (auto it = after.cbegin(); it != after.cend(); ++it) {
            if (!before.contains(it.key())) lastWindow_ = it.value();
        }
        return done;
    }

    // The registered windows that are open now, by name.
    QMap<QString, QWidget*> OpenForms() const
    {
        QMap<QString, QWidget*> open;
        for (const QString& name : names_) {
            if (QWidget* w = Forms::Find(name)) open.insert(name, w);
        }
        return open;
    }

    QMap<QString, int> actions;  // how many of each kind ran (skipped ones are counted as such)
    QSet<QString> opened;        // registered windows seen open at least once
    int exitRequests = 0;
    int otherWindows = 0;  // windows of the program outside the registry (a picture's large view)

    void NoteOpenWindows()
    {
        const auto open = OpenForms();
        for (auto it = open.cbegin(); it != open.cend(); ++it) opened.insert(it.key());
    }

private:
    QString act()
    {
        // With few windows open most actions would find nothing to act on: a user opens one.
        const int open = OpenForms().size();
        if (open == 0 || (open == 1 && rng_->bounded(4) == 0))
            return rng_->bounded(4) ? openFromMenu() : openFromRegistry();
        const int r = int(rng_->bounded(100));
        QString done;
        if (r < 6)
            done = openFromMenu();
        else if (r < 8)
            done = openFromRegistry();
        else if (r < 45)
            done = clickButton();
        else if (r < 60)
            done = listAction();
        else if (r < 79)
            done = typeText();
        else if (r < 85)
            done = comboKeys();
        else if (r < 89)
            done = keyToFocus();
        else if (r < 90)
            done = clickLabel();
        else if (r < 91)
            done = resizeWindow();
        else if (r < 92)
            done = clickInPage();
        else if (r < 94)
            done = fillForm();
        else
            done = closeWindow();
        // Nothing of that kind to act on: the action goes to the menus instead.
        if (done.endsWith(QLatin1String("(none)"))) done += QStringLiteral(", then ") + openFromMenu();
        return done;
    }

    template <typename T>
    T* pick(const QList<T*>& list)
    {
        return list.isEmpty() ? nullptr : list.at(int(rng_->bounded(quint32(list.size()))));
    }

    QString count(const QString& kind)
    {
        ++actions[kind];
        return kind;
    }

    // Every window a user could reach now: the open registered windows and any other window of
    // the program that is shown on its own (a picture's large view, say), but not the frame.
    QList<QWidget*> roots() const
    {
        QList<QWidget*> list;
        const auto open = OpenForms();
        for (QWidget* w : open) {
            if (w->isVisible()) list << w;
        }
        for (QWidget* top : QApplication::topLevelWidgets()) {
            if (top == main_ || !top->isVisible() || qobject_cast<QMenu*>(top)) continue;
            if (top->windowType() == Qt::Popup || top->windowType() == Qt::ToolTip) continue;
            if (!list.contains(top)) list << top;
        }
        return list;
    }

    // The controls of one kind that a user could use now, in one window picked at random among
    // the windows that have any (so a window with few buttons gets its share of the clicks).
    template <typename T>
    QList<T*> usable(const std::function<bool(T*)>& fits = {})
    {
        QList<QList<T*>> perWindow;
        QList<QWidget*> windows;
        for (QWidget* root : roots()) {
            QList<T*> found;
            for (T* w : root->findChildren<T*>()) {
                if (w->isVisible() && w->isEnabled() && (!fits || fits(w))) found << w;
            }
            if (found.isEmpty()) continue;
            perWindow << found;
            windows << root;
        }
        if (perWindow.isEmpty()) return {};
        // Half the time the user stays with the window of the last action, so that steps that
        // build on each other (fill in, go on, save) happen now and then.
        const int last = windows.indexOf(lastWindow_.data());
        const int i = last >= 0 && rng_->bounded(2) ? last : int(rng_->bounded(quint32(perWindow.size())));
        lastWindow_ = windows.at(i);
        return perWindow.at(i);
    }

    static QString describe(QObject* o)
    {
        QString path =
            o->objectName().isEmpty() ? QString::fromLatin1(o->metaObject()->className()) : o->objectName();
        if (auto* w = qobject_cast<QWidget*>(o)) {
            if (QWidget* win = w->window()) {
                // The registered window it sits in, when it sits in one.
                for (QWidget* p = w->parentWidget(); p; p = p->parentWidget()) {
                    if (qobject_cast<ui::Form*>(p)) return p->objectName() + QLatin1Char('.') + path;
                }
                if (win != w) return win->objectName() + QLatin1Char('.') + path;
            }
        }
        return path;
    }

    QString openFromMenu()
    {
        QList<QAction*> entries;
        for (QAction* a : main_->findChildren<QAction*>()) {
            if (a->objectName().startsWith(QLatin1String("mnu")) && !a->menu() && a->isEnabled())
                entries << a;
        }
        QAction* a = pick(entries);
        if (!a) return count(QStringLiteral("menu (none)"));
        if (a == main_->mnuExit) ++exitRequests;
        const QString d = QStringLiteral("menu ") + a->objectName();
        ++actions[QStringLiteral("menu")];
        a->trigger();
        return d;
    }

    QString openFromRegistry()
    {
        const QString name = names_.at(int(rng_->bounded(quint32(names_.size()))));
        ++actions[QStringLiteral("show")];
        Forms::Show(name);
        return QStringLiteral("show ") + name;
    }

    QString clickButton()
    {
        QAbstractButton* b = pick(usable<QAbstractButton>());
        if (!b) return count(QStringLiteral("click (none)"));
        const QString d =
            QStringLiteral("click ") + describe(b) + QStringLiteral(" \"") + b->text() + QLatin1Char('"');
        ++actions[QStringLiteral("click")];
        if (b->width() > 0 && b->height() > 0)
            QTest::mouseClick(b, Qt::LeftButton);
        else
            b->click();
        return d;
    }

    QString listAction()
    {
        QAbstractItemView* view = pick(usable<QAbstractItemView>());
        if (!view || !view->model()) return count(QStringLiteral("list (none)"));
        QAbstractItemModel* model = view->model();
        const int rows = model->rowCount(view->rootIndex());
        const int columns = qMax(1, model->columnCount(view->rootIndex()));
        const int how = int(rng_->bounded(10));
        auto* table = qobject_cast<QTableView*>(view);
        if (how == 9 && table && table->horizontalHeader()->isVisible()) {
            QHeaderView* header = table->horizontalHeader();
            if (header->count() == 0) return count(QStringLiteral("list header (none)"));
            const int section = int(rng_->bounded(quint32(header->count())));
            const QPoint at(header->sectionViewportPosition(section) + header->sectionSize(section) / 2,
                            header->height() / 2);
            ++actions[QStringLiteral("list header")];
            QTest::mouseClick(header->viewport(), Qt::LeftButton, Qt::NoModifier, at);
            return QStringLiteral("column click ") + describe(view) + QLatin1Char(' ') +
                   QString::number(section);
        }
        if (rows == 0) return count(QStringLiteral("list (empty)"));
        const int row = int(rng_->bounded(quint32(rows)));
        const QModelIndex index = model->index(row, int(rng_->bounded(quint32(columns))), view->rootIndex());
        if (how == 8) {
            ++actions[QStringLiteral("list key")];
            view->setFocus();
            QTest::keyClick(view, rng_->bounded(2) ? Qt::Key_Down : Qt::Key_Up);
            return QStringLiteral("arrow key in ") + describe(view);
        }
        view->scrollTo(index);
        const QPoint at = view->visualRect(index).center();
        if (how >= 6) {
            ++actions[QStringLiteral("list double click")];
            QTest::mouseDClick(view->viewport(), Qt::LeftButton, Qt::NoModifier, at);
            return QStringLiteral("double click ") + describe(view) + QStringLiteral(" row ") +
                   QString::number(row);
        }
        ++actions[QStringLiteral("list click")];
        QTest::mouseClick(view->viewport(), Qt::LeftButton, Qt::NoModifier, at);
        return QStringLiteral("click ") + describe(view) + QStringLiteral(" row ") + QString::number(row);
    }

    // Types one character the way a keyboard or an input method delivers it.
    static void typeCharacter(QWidget* target, uint codePoint)
    {
        if (codePoint >= 32 && codePoint < 127) {
            QTest::keyClick(target, char(codePoint));
        } else {
            const char32_t cp = char32_t(codePoint);
            QTest::sendKeyEvent(QTest::Click, target, Qt::Key_unknown, QString::fromUcs4(&cp, 1),
                                Qt::NoModifier);
        }
    }

    QString typeText()
    {
        QWidget* box = pick(usable<QWidget>([](QWidget* w) {
            if (auto* e = qobject_cast<QLineEdit*>(w)) return !e->isReadOnly();
            if (auto* e = qobject_cast<QPlainTextEdit*>(w)) return !e->isReadOnly();
            if (auto* e = qobject_cast<QTextEdit*>(w)) return !e->isReadOnly();
            return false;
        }));
        if (!box) return count(QStringLiteral("type (none)"));
        const QString text = texts_.at(int(rng_->bounded(quint32(texts_.size()))));
        const QString d = QStringLiteral("type into ") + describe(box) + QStringLiteral(": ") +
                          (text.size() > 40 ? QString::number(text.size()) + QStringLiteral(" characters")
                                            : QLatin1Char('"') + text + QLatin1Char('"'));
        QPointer<QWidget> guard(box);
        box->setFocus();
        auto* line = qobject_cast<QLineEdit*>(box);
        auto* plain = qobject_cast<QPlainTextEdit*>(box);
        auto* rich = qobject_cast<QTextEdit*>(box);
        if (line) line->selectAll();
        if (plain) plain->selectAll();
        if (rich) rich->selectAll();
        if (text.isEmpty()) {
            ++actions[QStringLiteral("type (erase)")];
            QTest::keyClick(box, Qt::Key_Backspace);
        } else if (text.size() <= 60 && rng_->bounded(10) < 7) {
            ++actions[QStringLiteral("type (keys)")];
            for (uint cp : text.toUcs4()) {
                typeCharacter(box, cp);
                // A key may close the window under the cursor.
                if (!guard || !box->isVisible()) break;
            }
        } else {
            // A paste: the whole text replaces the selection in one edit.
            ++actions[QStringLiteral("type (paste)")];
            if (line) line->insert(text);
            if (plain) plain->insertPlainText(text);
            if (rich) rich->insertPlainText(text);
        }
        return d;
    }

    QString comboKeys()
    {
        QComboBox* combo = pick(usable<QComboBox>());
        if (!combo) return count(QStringLiteral("combo (none)"));
        static const Qt::Key keys[] = {Qt::Key_Down, Qt::Key_Up, Qt::Key_Home, Qt::Key_End, Qt::Key_PageDown};
        const int presses = 1 + int(rng_->bounded(3));
        const Qt::Key key = keys[rng_->bounded(5)];
        const QString d = QStringLiteral("keys in ") + describe(combo) + QStringLiteral(" x") +
                          QString::number(presses) + QStringLiteral(" key ") + QString::number(int(key), 16);
        ++actions[QStringLiteral("combo")];
        QPointer<QComboBox> guard(combo);
        combo->setFocus();
        for (int i = 0; i < presses && guard; ++i) QTest::keyClick(combo, key);
        return d;
    }

    // Keys that act but never change a text: a stray Space only where it presses a button.
    QString keyToFocus()
    {
        QWidget* focus = QApplication::focusWidget();
        // Without an active window (no window manager) Qt reports no focus: the key goes to the
        // control that has the focus within the window the user works in.
        if (!focus && lastWindow_) focus = lastWindow_->focusWidget();
        if (!focus || focus->window() == nullptr || !focus->isVisible())
            return count(QStringLiteral("key (none)"));
        static const Qt::Key keys[] = {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Escape, Qt::Key_Tab,
                                       Qt::Key_Up,     Qt::Key_Down,  Qt::Key_PageUp, Qt::Key_PageDown};
        Qt::Key key = keys[rng_->bounded(8)];
        if (qobject_cast<QAbstractButton*>(focus) && rng_->bounded(3) == 0) key = Qt::Key_Space;
        ++actions[QStringLiteral("key")];
        const QString d =
            QStringLiteral("key ") + QString::number(int(key), 16) + QStringLiteral(" to ") + describe(focus);
        QTest::keyClick(focus, key);
        return d;
    }

    QString clickLabel()
    {
        QLabel* label = pick(usable<QLabel>());
        if (!label || label->width() == 0 || label->height() == 0)
            return count(QStringLiteral("label (none)"));
        ++actions[QStringLiteral("label")];
        const QString d = QStringLiteral("click label ") + describe(label);
        QTest::mouseClick(label, Qt::LeftButton);
        return d;
    }

    // A click on something in a browser control's page (a picture opens its large view there).
    QString clickInPage()
    {
        ui::WebBrowser* browser = pick(usable<ui::WebBrowser>());
        if (!browser) return count(QStringLiteral("page (none)"));
        const int k = int(rng_->bounded(1000));
        ++actions[QStringLiteral("page click")];
        // Half the clicks go to a picture, where a user clicks on such a page. The click waits for
        // the page (a little), as a user's click lands on what is shown.
        const QVariant found = browser->Evaluate(
            QStringLiteral(
                "(function(){var k=%1,p=document.images,"
                "e=document.querySelectorAll('img,a,td,div,span,body');"
                "if(p.length&&k%2==0){p[k%p.length].click();return 'picture';}"
                "if(e.length){e[k%e.length].click();return e[k%e.length].tagName;}return 'nothing';})();")
                .arg(k),
            2000);
        return QStringLiteral("click in the page of ") + describe(browser) + QStringLiteral(": ") +
               (found.isValid() ? found.toString() : QStringLiteral("(no answer)"));
    }

    QString resizeWindow()
    {
        const auto open = OpenForms();
        if (open.isEmpty()) return count(QStringLiteral("resize (none)"));
        const QString name = open.keys().at(int(rng_->bounded(quint32(open.size()))));
        QWidget* w = open.value(name);
        QWidget* frame = w;
        if (auto* form = qobject_cast<ui::Form*>(w)) frame = form->Frame();
        const bool tiny = rng_->bounded(5) == 0;
        const int width = 1 + int(rng_->bounded(tiny ? 80 : 1800));
        const int height = 1 + int(rng_->bounded(tiny ? 80 : 1100));
        ++actions[QStringLiteral("resize")];
        frame->resize(width, height);
        return QStringLiteral("resize ") + name + QStringLiteral(" to ") + QString::number(width) +
               QLatin1Char('x') + QString::number(height);
    }

    QString closeWindow()
    {
        QList<QWidget*> others;
        for (QWidget* top : QApplication::topLevelWidgets()) {
            if (top != main_ && top->isVisible() && !qobject_cast<QMenu*>(top) &&
                top->windowType() != Qt::Popup && top->windowType() != Qt::ToolTip)
                others << top;
        }
        const auto open = OpenForms();
        const int total = open.size() + others.size();
        if (total == 0) return count(QStringLiteral("close (none)"));
        const int i = int(rng_->bounded(quint32(total)));
        if (i >= open.size()) {
            QWidget* top = others.at(i - open.size());
            const QString d = QStringLiteral("close window ") + describe(top);
            ++actions[QStringLiteral("close other")];
            top->close();
            return d;
        }
        const QString name = open.keys().at(i);
        QWidget* w = open.value(name);
        if (rng_->bounded(10) < 7) {
            // The frame's close box, as the user closes a child window.
            QWidget* frame = w;
            if (auto* form = qobject_cast<ui::Form*>(w)) frame = form->Frame();
            ++actions[QStringLiteral("close")];
            frame->close();
            return QStringLiteral("close box of ") + name;
        }
        ++actions[QStringLiteral("unload")];
        Forms::Unload(name);
        return QStringLiteral("unload ") + name;
    }

    // Fills every empty box of one window and picks an entry in every drop-down that has none,
    // the way a user completes a form before pressing its button; each text is drawn from the
    // same awkward set.
    QString fillForm()
    {
        QList<QWidget*> windows = roots();
        if (windows.isEmpty()) return count(QStringLiteral("fill (none)"));
        const int last = windows.indexOf(lastWindow_.data());
        QWidget* window = last >= 0 && rng_->bounded(2)
                              ? windows.at(last)
                              : windows.at(int(rng_->bounded(quint32(windows.size()))));
        lastWindow_ = window;
        int filled = 0;
        for (QWidget* w : window->findChildren<QWidget*>()) {
            if (!w->isVisible() || !w->isEnabled()) continue;
            QString text = texts_.at(int(rng_->bounded(quint32(texts_.size()))));
            if (text.isEmpty()) text = QStringLiteral("1");
            if (auto* line = qobject_cast<QLineEdit*>(w)) {
                if (line->isReadOnly() || !line->text().isEmpty()) continue;
                line->setFocus();
                line->insert(text);
                ++filled;
            } else if (auto* plain = qobject_cast<QPlainTextEdit*>(w)) {
                if (plain->isReadOnly() || !plain->toPlainText().isEmpty()) continue;
                plain->setFocus();
                plain->insertPlainText(text);
                ++filled;
            } else if (auto* combo = qobject_cast<QComboBox*>(w)) {
                if (combo->isEditable() || combo->currentIndex() >= 0 || combo->count() == 0) continue;
                combo->setFocus();
                QTest::keyClick(combo, Qt::Key_Down);
                ++filled;
            }
        }
        ++actions[QStringLiteral("fill")];
        return QStringLiteral("fill ") + QString::number(filled) + QStringLiteral(" boxes of ") +
               describe(window);
    }

    QPointer<QWidget> lastWindow_;
    QSet<QWidget*> seenTop_;  // only compared, never dereferenced
    QRandomGenerator* rng_;
    frmMain* main_;
    QStringList names_;
    QStringList texts_;
};

}  // namespace robustness
