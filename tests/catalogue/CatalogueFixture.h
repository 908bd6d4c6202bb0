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

#include "Lists.h"
#include "MdiFrame.h"
#include "Seed.h"
#include "TestSupport.h"
#include "catalogue/frmHouseList.h"
#include "core/mdlHouse.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"

namespace cataloguetest {

// An MDI area that holds the windows for one test, with the catalogue registered.
// An active window, so that focus moves can be seen.
class Frame : public testsupport::MdiFrame {
public:
    Frame() : MdiFrame(1300, 800, true)
    {
        Forms::Register(QStringLiteral("frmHouseList"), [] { return new frmHouseList; });
    }
    frmHouseList* OpenList()
    {
        return qobject_cast<frmHouseList*>(Forms::Show(QStringLiteral("frmHouseList")));
    }
};

// Types 1 "公寓" and 2 "别墅" (in list order 1, 2), and houses with chosen keys.
inline void AddTypes(const testsupport::ProgramFolder& folder)
{
    testsupport::AddType(folder, 1, 2, QStringLiteral("别墅"));
    testsupport::AddType(folder, 2, 1, QStringLiteral("公寓"));
}

inline void AddHouse(const testsupport::ProgramFolder& folder, int id, const QString& name, const QString& no,
                     int floor, int typeId, const QString& intro = QString())
{
    testsupport::AddHouse(folder, id, name, no, floor, typeId, intro);
}

inline void AddContent(const testsupport::ProgramFolder& folder, int houseId, const QString& caption,
                       const QString& content, int list)
{
    testsupport::AddContentRow(folder, houseId, caption, content, list);
}

// Texts of one column of the list, top to bottom.
inline QStringList Column(frmHouseList* w, int column)
{
    return testsupport::ListColumn(w->lsvHouse, column);
}

inline QStringList Titles(frmHouseList* w)
{
    QStringList titles;
    const ui::ListModel* model = w->lsvHouse->Model();
    for (int c = 0; c < model->columnCount(); ++c) titles << model->ColumnTitle(c);
    return titles;
}

inline QStringList Entries(QComboBox* box)
{
    return testsupport::ComboEntries(box);
}

// Selects the row whose item text is the padded key, by clicking it like a user.
inline bool ClickRow(frmHouseList* w, const QString& padded)
{
    return testsupport::ClickListItem(w->lsvHouse, padded);
}

}  // namespace cataloguetest
