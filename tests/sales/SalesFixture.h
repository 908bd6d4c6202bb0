#pragma once

// What the sales tests share: an MDI frame with the board, the presentation and the house sheet
// registered, a small catalogue, and a way to pick from a cell's context menu as the user does.

#include <QApplication>
#include <QContextMenuEvent>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QProcess>
#include <QTest>
#include <QTimer>

#include "MdiFrame.h"
#include "Seed.h"
#include "TestSupport.h"
#include "core/ui/Forms.h"
#include "presentation/frmHouseShow.h"
#include "sales/SalesBoardView.h"
#include "sales/frmHouseSheet.h"
#include "sales/frmSalesBoard.h"

namespace salestest {

class Frame : public testsupport::MdiFrame {
public:
    Frame() : MdiFrame(1300, 800)
    {
        Forms::Register(QStringLiteral("frmSalesBoard"), [] { return new frmSalesBoard; });
        Forms::Register(QStringLiteral("frmHouseShow"), [] { return new frmHouseShow; });
        Forms::Register(QStringLiteral("frmHouseSheet"), [] { return new frmHouseSheet; });
    }
    frmSalesBoard* OpenBoard()
    {
        auto* w = qobject_cast<frmSalesBoard*>(Forms::Show(QStringLiteral("frmSalesBoard")));
        QCoreApplication::processEvents();
        return w;
    }
};

inline bool Exec(const testsupport::ProgramFolder& folder, const QString& sql)
{
    const bool ok = folder.Exec(sql);
    if (!ok) qWarning("statement failed: %s", qPrintable(sql));
    return ok;
}

// The floor is written as it stands: a number, or "Null" for a house without a floor.
inline void AddHouse(const testsupport::ProgramFolder& folder, int id, const QString& building,
                     const QString& no, const QString& floor, int typeId, const QString& intro = QString())
{
    testsupport::AddHouse(folder, id, building, no, floor, typeId, intro);
}

inline void AddRow(const testsupport::ProgramFolder& folder, int houseId, const QString& caption,
                   const QString& content, int list)
{
    testsupport::AddContentRow(folder, houseId, caption, content, list);
}

// Right-clicks the house's cell and picks the entries of the path in the menu that opens (a
// submenu's caption, then an entry). Returns false when an entry was not there.
inline bool PickFromCellMenu(frmSalesBoard* board, qint32 houseId, const QStringList& path)
{
    const QPoint at = board->picBoard->UnitCentre(houseId);
    if (at.isNull()) return false;
    bool picked = false;
    bool menuSeen = false;
    QTimer poll;
    poll.setInterval(10);
    QObject::connect(&poll, &QTimer::timeout, [&] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        if (!menu) return;
        poll.stop();
        menuSeen = true;
        QMenu* current = menu;
        QAction* action = nullptr;
        for (int i = 0; i < path.size() && current; ++i) {
            action = nullptr;
            for (QAction* a : current->actions())
                if (a->text() == path[i]) action = a;
            if (!action) break;
            if (i + 1 < path.size()) current = action->menu();
        }
        // Closing first, as a click on an entry does, then the entry's work.
        menu->close();
        if (action && !action->menu() && action->isEnabled()) {
            action->trigger();
            picked = true;
        }
    });
    poll.start();
    QContextMenuEvent event(QContextMenuEvent::Mouse, at, board->picBoard->viewport()->mapToGlobal(at));
    QApplication::sendEvent(board->picBoard->viewport(), &event);
    poll.stop();
    if (!menuSeen) qWarning("no context menu opened");
    return picked;
}

// Runs a statement in another process, as a second PC would.
// The small program that plays the other PC (tests/sales/sql_elsewhere.cpp).
inline QString SqlElsewhereProgram()
{
    return qEnvironmentVariable("TAVRELO_BINARY_DIR") + QStringLiteral("/tests/sql_elsewhere");
}

// What sql_elsewhere is given for the folder's catalogue: House.db, or the server database's URI.
inline QString ElsewhereTarget(const testsupport::ProgramFolder& folder)
{
    return folder.ServerUri().isEmpty() ? folder.DatabasePath() : folder.ServerUri();
}

inline bool ExecElsewhere(const testsupport::ProgramFolder& folder, const QString& sql)
{
    QProcess p;
    p.start(SqlElsewhereProgram(), {ElsewhereTarget(folder), sql});
    if (!p.waitForFinished(10000)) return false;
    if (p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) {
        qWarning("sql_elsewhere: %s %s", p.readAllStandardError().constData(), qPrintable(p.errorString()));
        return false;
    }
    return true;
}

// Runs a program and returns its standard output ("" and a warning when it failed).
inline QString Output(const QString& program, const QStringList& args)
{
    QProcess p;
    p.start(program, args);
    if (!p.waitForFinished(30000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) {
        qWarning("%s failed: %s", qPrintable(program), p.readAllStandardError().constData());
        return QString();
    }
    return QString::fromUtf8(p.readAllStandardOutput());
}

}  // namespace salestest
