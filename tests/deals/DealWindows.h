#pragma once

// What the deals window tests share: an MDI frame with the deals windows and the board
// registered, a small catalogue, and direct reads of the new tables.

#include <QComboBox>
#include <QDialog>
#include <QLineEdit>
#include <QProcess>
#include <QTest>

#include "MdiFrame.h"
#include "Seed.h"
#include "TestSupport.h"
#include "core/db/Connection.h"
#include "core/db/Store.h"
#include "core/mdlHouse.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"
#include "deals/Customers.h"
#include "deals/DealDialogs.h"
#include "deals/Who.h"
#include "deals/frmCustomers.h"
#include "deals/frmHistory.h"
#include "deals/frmSalesSettings.h"
#include "presentation/frmHouseShow.h"
#include "sales/frmHouseSheet.h"
#include "sales/frmSalesBoard.h"

namespace dealwin {

inline const QString kBuilding = QStringLiteral("翠湖苑一号楼");

// House.db names the acting login by the account's name in the environment; a bare test runner
// may not set it.
inline void EnsureUser()
{
    if (qEnvironmentVariableIsEmpty("USER")) qputenv("USER", "tavrelo-test");
}

class Frame : public testsupport::MdiFrame {
public:
    Frame() : MdiFrame(1300, 800)
    {
        EnsureUser();
        Forms::Register(QStringLiteral("frmCustomers"), [] { return new frmCustomers; });
        Forms::Register(QStringLiteral("frmSalesSettings"), [] { return new frmSalesSettings; });
        Forms::Register(QStringLiteral("frmHistory"), [] { return new frmHistory; });
        Forms::Register(QStringLiteral("frmSalesBoard"), [] { return new frmSalesBoard; });
        Forms::Register(QStringLiteral("frmHouseShow"), [] { return new frmHouseShow; });
        Forms::Register(QStringLiteral("frmHouseSheet"), [] { return new frmHouseSheet; });
    }
    template <typename T>
    T* Open(const char* name)
    {
        auto* w = qobject_cast<T*>(Forms::Show(QLatin1String(name)));
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

// Two types and four units of one building, each with a status row; unit 4 is in another building.
inline bool FillCatalogue(const testsupport::ProgramFolder& f)
{
    bool ok =
        Exec(f, QStringLiteral("Insert Into t_HouseType (TypeID, List, HouseType, MusicTitle, MusicFile) "
                               "Values (1, 1, '一室一厅', '', ''), (2, 2, '两室一厅', '', '')"));
    ok = ok && testsupport::AddHouse(f, 1, kBuilding, QStringLiteral("101"), QStringLiteral("1"), 1);
    ok = ok && testsupport::AddHouse(f, 2, kBuilding, QStringLiteral("102"), QStringLiteral("1"), 2);
    ok = ok && testsupport::AddHouse(f, 3, kBuilding, QStringLiteral("201"), QStringLiteral("2"), 1);
    ok = ok && testsupport::AddHouse(f, 4, QStringLiteral("翠湖苑二号楼"), QStringLiteral("101"),
                                     QStringLiteral("1"), 2);
    for (int house = 1; house <= 4; ++house) {
        ok = ok && testsupport::AddContentRow(f, house, QStringLiteral("朝向"), QStringLiteral("南"), 1);
        ok = ok && testsupport::AddContentRow(f, house, QStringLiteral("状态"), QStringLiteral("在售"), 2);
        ok = ok && testsupport::AddContentRow(f, house, QStringLiteral("单价"), QStringLiteral("15800元"), 3);
    }
    return ok;
}

// The login that acts, as the program sees it on this store.
inline QString CurrentLogin()
{
    EnsureUser();
    db::Connection connection;
    if (!db::OpenCatalogue(connection, mdlHouse::ProgramFolder())) return QString();
    return deals::CurrentLogin(connection);
}

inline QStringList ListRow(const ui::ListView* list, int row)
{
    QStringList cells;
    for (int c = 0; c < list->Model()->columnCount(); ++c) cells << list->Model()->Text(row, c);
    return cells;
}

inline QStringList ListColumn(const ui::ListView* list, int column)
{
    QStringList cells;
    for (int r = 0; r < list->Model()->Count(); ++r) cells << list->Model()->Text(r, column);
    return cells;
}

// Answers the deal dialogs: each one that opens is handed to the next function in the queue.
class DialogAnswers {
public:
    DialogAnswers()
    {
        deals::SetDealDialogInterceptor([this](QDialog* d) {
            seen << d->objectName();
            if (queue.isEmpty()) return d->reject();
            auto answer = queue.takeFirst();
            answer(d);
        });
    }
    ~DialogAnswers() { deals::SetDealDialogInterceptor({}); }
    QList<std::function<void(QDialog*)>> queue;
    QStringList seen;
};

inline QString Unzip(const QString& archive, const QString& member)
{
    QProcess p;
    p.start(QStringLiteral("unzip"), {QStringLiteral("-p"), archive, member});
    if (!p.waitForFinished(30000) || p.exitCode() != 0) return QStringLiteral("unzip failed");
    return QString::fromUtf8(p.readAllStandardOutput());
}

}  // namespace dealwin
