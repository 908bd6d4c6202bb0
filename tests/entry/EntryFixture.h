#pragma once

// What the entry wizard's tests share: a program folder with types, the two windows registered,
// a stand-in catalogue that counts its reloads, and steps that drive the real controls.

#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QInputMethodEvent>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTest>
#include <memory>

#include "Lists.h"
#include "Processes.h"
#include "Seed.h"
#include "TestSupport.h"
#include "core/mdlHouse.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"
#include "entry/frmAddNewImage.h"
#include "entry/frmHouseInput.h"
#include "windows/RegisterWindows.h"

namespace entrytest {

// Types text as a user would: ASCII on the keyboard, Chinese through the input method (a commit
// of the composed text), which is how it reaches a text box on a real desktop.
inline void TypeInto(QWidget* target, const QString& text)
{
    target->setFocus();
    QString run;
    auto flush = [&] {
        if (run.isEmpty()) return;
        QInputMethodEvent commit;
        commit.setCommitString(run);
        QCoreApplication::sendEvent(target, &commit);
        run.clear();
    };
    for (const QChar c : text) {
        if (c.unicode() >= 0x20 && c.unicode() < 0x7f) {
            flush();
            QTest::keyClick(target, c.toLatin1());
        } else {
            run += c;
        }
    }
    flush();
}

// Replaces the text of a named text box or drop-down by typing.
inline bool Type(QObject* root, const QString& name, const QString& text)
{
    if (auto* combo = root->findChild<QComboBox*>(name)) {
        combo->setCurrentIndex(-1);
        combo->setEditText(QString());
        TypeInto(combo->lineEdit() ? static_cast<QWidget*>(combo->lineEdit()) : combo, text);
        return true;
    }
    if (auto* line = root->findChild<QLineEdit*>(name)) {
        line->clear();
        TypeInto(line, text);
        return true;
    }
    if (auto* plain = root->findChild<QPlainTextEdit*>(name)) {
        plain->clear();
        TypeInto(plain, text);
        return true;
    }
    qWarning("control %s not found", qPrintable(name));
    return false;
}

// Every window, as the program registers them (a test may register a stand-in over one after).
inline void RegisterWindows()
{
    windows::RegisterWindows();
}

inline void CloseWindows()
{
    for (const char* name : {"frmAddNewImage", "frmHouseInput", "frmHouseList"})
        Forms::Unload(QString::fromLatin1(name));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}

inline frmHouseInput* Wizard()
{
    return qobject_cast<frmHouseInput*>(Forms::Find(QStringLiteral("frmHouseInput")));
}

inline frmAddNewImage* Dialog()
{
    return qobject_cast<frmAddNewImage*>(Forms::Find(QStringLiteral("frmAddNewImage")));
}

// Opened from the menu: the window loads and starts itself once.
inline frmHouseInput* OpenFromMenu()
{
    auto* w = qobject_cast<frmHouseInput*>(Forms::Show(QStringLiteral("frmHouseInput")));
    if (w) {
        QApplication::setActiveWindow(w);
        w->activateWindow();
    }
    return w;
}

// Opened by the catalogue's add (0) or edit (1): show, then start.
inline frmHouseInput* OpenFromCatalogue(int mode)
{
    frmHouseInput* w = OpenFromMenu();
    if (w) w->StartInput(mode);
    return w;
}

// Adds the types 1..n in position order.
using testsupport::AddTypes;

inline bool FillPage1(frmHouseInput* w, const QString& name, const QString& type, const QString& no,
                      const QString& floor)
{
    bool ok = Type(w, QStringLiteral("cmbHouseName"), name);
    ok = Type(w, QStringLiteral("cmbHouseType"), type) && ok;
    ok = Type(w, QStringLiteral("cmbHouseNo"), no) && ok;
    ok = Type(w, QStringLiteral("cmbHouseFloor"), floor) && ok;
    return ok;
}

inline void SetRow(frmHouseInput* w, int i, const QString& caption, const QString& content)
{
    Type(w, QStringLiteral("cmbCaption(%1)").arg(i), caption);
    Type(w, QStringLiteral("cmbContent(%1)").arg(i), content);
}

// Through the real dialog: "新增", browse (answered by the stub), title, description, "确定".
inline bool AddPicture(testsupport::FileDialogStub& files, const QString& title, const QString& intro,
                       const QString& path)
{
    frmHouseInput* w = Wizard();
    if (!w || !testsupport::Click(w, QStringLiteral("cmdAddNewImage"))) return false;
    frmAddNewImage* d = Dialog();
    if (!d) return false;
    files.paths << path;
    testsupport::Click(d, QStringLiteral("cmdOpenImageFile"));
    Type(d, QStringLiteral("txtImageCaption"), title);
    Type(d, QStringLiteral("txtImageIntro"), intro);
    testsupport::Click(d, QStringLiteral("cmdImageOK"));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return Dialog() == nullptr;
}

// Clicks a row of the picture list with the mouse.
inline void ClickRow(ui::ListView* list, int row, bool twice = false)
{
    if (twice)
        testsupport::DoubleClickListRow(list, row, 1);
    else
        testsupport::ClickListRow(list, row, 1);
}

inline QStringList Column(const ui::ListView* list, int column)
{
    return testsupport::ListColumn(list, column);
}

inline QByteArray Bytes(const QString& path)
{
    return testsupport::ReadFile(path);
}

// Every row of a query as "a|b|c" texts: short to compare whole tables.
inline QStringList Table(const testsupport::ProgramFolder& folder, const QString& sql)
{
    return testsupport::TableRows(folder, sql);
}

}  // namespace entrytest
