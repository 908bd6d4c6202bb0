#pragma once

// What the type-manager tests share: a fresh program folder per test, the two windows registered,
// message boxes and the file dialog answered, and small helpers to click list rows and read tables.

#include <QApplication>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <cmath>
#include <memory>

#include "Lists.h"
#include "Processes.h"
#include "TestSupport.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"
#include "core/ui/MediaControl.h"
#include "types/frmContent.h"
#include "types/frmHouseType.h"
#include "windows/RegisterWindows.h"

namespace typetest {

// Every window, as the program registers them.
inline void RegisterWindows()
{
    windows::RegisterWindows();
}

inline frmHouseType* OpenTypes()
{
    auto* w = qobject_cast<frmHouseType*>(Forms::Show(QStringLiteral("frmHouseType")));
    // Focus checks need the window to be the active one.
    if (w && !QTest::qWaitForWindowActive(w)) qWarning("frmHouseType did not become active");
    return w;
}

// Replaces the text of a box by typing it, the way a user would.
inline bool TypeInto(QLineEdit* box, const QString& text)
{
    if (!box || !box->isEnabled()) return false;
    box->setFocus();
    box->selectAll();
    QTest::keyClick(box, Qt::Key_Delete);
    QTest::keyClicks(box, text);
    return box->text() == text;
}

inline void CloseAll()
{
    Forms::Unload(QStringLiteral("frmContent"));
    Forms::Unload(QStringLiteral("frmHouseType"));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

// Types "T1".."Tn" at positions 1..n, with titles "M1".."Mn" and no music.
inline void SeedTypes(const testsupport::ProgramFolder& folder, int count)
{
    for (int i = 1; i <= count; ++i) {
        folder.Exec(QStringLiteral("Insert Into t_HouseType (List, HouseType, MusicTitle, MusicFile) "
                                   "Values (%1, 'T%1', 'M%1', '')")
                        .arg(i));
    }
}

// "List:HouseType" of every type in position order, e.g. "1:T1 2:T3 3:T2".
inline QString Positions(const testsupport::ProgramFolder& folder)
{
    QStringList parts;
    const QString sql = QStringLiteral("Select List, HouseType From t_HouseType Order By List");
    for (const QVariantList& row : folder.Rows(sql))
        parts << row[0].toString() + QLatin1Char(':') + row[1].toString();
    return parts.join(QLatin1Char(' '));
}

// Every column of every type, ordered by key: to show that an action changed nothing.
inline QList<QVariantList> TypeTable(const testsupport::ProgramFolder& folder)
{
    return folder.Rows(QStringLiteral("Select * From t_HouseType Order By TypeID"));
}

inline qint64 TypeIdOf(const testsupport::ProgramFolder& folder, const QString& name)
{
    const QString sql = QStringLiteral("Select TypeID From t_HouseType Where HouseType = '%1'");
    return folder.Value(sql.arg(name)).toLongLong();
}

// The item texts (column 0) or another column of the list, in displayed order.
inline QStringList Column(ui::ListView* list, int column = 0)
{
    return testsupport::ListColumn(list, column);
}

inline void ClickRow(ui::ListView* list, int row)
{
    testsupport::ClickListRow(list, row);
}

inline void DoubleClickRow(ui::ListView* list, int row)
{
    testsupport::DoubleClickListRow(list, row);
}

inline void ClickHeader(ui::ListView* list, int column)
{
    QHeaderView* header = list->horizontalHeader();
    const int x = header->sectionViewportPosition(column) + header->sectionSize(column) / 2;
    const QPoint at(x, header->height() / 2);
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, at);
}

using testsupport::ReadFile;
using testsupport::WriteFile;

}  // namespace typetest
