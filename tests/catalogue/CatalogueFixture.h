#pragma once

// What the catalogue tests share: an MDI frame for the windows, a catalogue with a few known
// houses, and reads of the list as the user sees it.

#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QTest>
#include <memory>

#include "TestSupport.h"
#include "catalogue/frmHouseList.h"
#include "core/mdlHouse.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"

namespace cataloguetest {

// An MDI area that holds the windows for one test, with the catalogue registered.
class Frame {
public:
    Frame() {
        area.resize(1300, 800);
        area.show();
        // An active window, so that focus moves can be seen.
        area.activateWindow();
        if (!QTest::qWaitForWindowActive(&area)) qWarning("the test frame did not become active");
        Forms::SetMdiArea(&area);
        Forms::Register(QStringLiteral("frmHouseList"), [] { return new frmHouseList; });
    }
    ~Frame() {
        for (QMdiSubWindow* sub : area.subWindowList()) sub->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        Forms::SetMdiArea(nullptr);
    }
    frmHouseList* OpenList() {
        return qobject_cast<frmHouseList*>(Forms::Show(QStringLiteral("frmHouseList")));
    }

    QMdiArea area;
};

// Types 1 "公寓" and 2 "别墅" (in list order 1, 2), and houses with chosen keys.
inline void AddTypes(const testsupport::ProgramFolder& folder) {
    folder.Exec(
        "Insert Into t_HouseType (TypeID, List, HouseType, MusicTitle, MusicFile) Values "
        "(1, 2, '别墅', '', ''), (2, 1, '公寓', '', '')");
}

inline void AddHouse(const testsupport::ProgramFolder& folder, int id, const QString& name, const QString& no,
                     int floor, int typeId, const QString& intro = QString()) {
    const bool ok =
        folder.Exec(QStringLiteral("Insert Into t_House (HouseID, HouseName, HouseNo, Intro, HouseFloor, "
                                   "TypeID) Values (%1, '%2', '%3', '%4', %5, %6)")
                        .arg(id)
                        .arg(name, no, intro)
                        .arg(floor)
                        .arg(typeId));
    if (!ok) qWarning("could not add house %d", id);
}

inline void AddContent(const testsupport::ProgramFolder& folder, int houseId, const QString& caption,
                       const QString& content, int list) {
    folder.Exec(
        QStringLiteral("Insert Into t_Content (HouseID, Caption, Content, List) Values (%1, '%2', '%3', %4)")
            .arg(houseId)
            .arg(caption, content)
            .arg(list));
}

// Texts of one column of the list, top to bottom.
inline QStringList Column(frmHouseList* w, int column) {
    QStringList texts;
    const ui::ListModel* model = w->lsvHouse->Model();
    for (int r = 0; r < model->Count(); ++r) texts << model->Text(r, column);
    return texts;
}

inline QStringList Titles(frmHouseList* w) {
    QStringList titles;
    const ui::ListModel* model = w->lsvHouse->Model();
    for (int c = 0; c < model->columnCount(); ++c) titles << model->ColumnTitle(c);
    return titles;
}

inline QStringList Entries(QComboBox* box) {
    QStringList entries;
    for (int i = 0; i < box->count(); ++i) entries << box->itemText(i);
    return entries;
}

// Selects the row whose item text is the padded key, by clicking it like a user.
inline bool ClickRow(frmHouseList* w, const QString& padded) {
    const ui::ListModel* model = w->lsvHouse->Model();
    for (int r = 0; r < model->Count(); ++r) {
        if (model->Text(r, 0) != padded) continue;
        const QModelIndex index = model->index(r, 1);
        w->lsvHouse->scrollTo(index);
        QTest::mouseClick(w->lsvHouse->viewport(), Qt::LeftButton, {},
                          w->lsvHouse->visualRect(index).center());
        return w->lsvHouse->SelectedText() == padded;
    }
    return false;
}

}  // namespace cataloguetest
