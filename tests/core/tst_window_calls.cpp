// The typed calls between windows: each lookup reaches the registered window of its name, the
// catalogue starts the wizard in the mode of the button pressed, a save reloads the open list, and
// the catalogue's export reaches the price-list dialog the registry handed in.
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QTest>

#include "Lists.h"
#include "Seed.h"
#include "TestSupport.h"
#include "catalogue/frmHouseList.h"
#include "core/mdlHouse.h"
#include "core/ui/FileDialog.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"
#include "core/ui/WindowCalls.h"
#include "entry/frmHouseInput.h"
#include "windows/RegisterWindows.h"

class tst_window_calls : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> folder;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages;
    QMdiArea area;

    void closeAll()
    {
        for (QMdiSubWindow* sub : area.subWindowList()) sub->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

private slots:
    void initTestCase()
    {
        area.resize(1300, 850);
        area.show();
        Forms::SetMdiArea(&area);
        windows::RegisterWindows();
    }
    void init()
    {
        folder = std::make_unique<testsupport::ProgramFolder>();
        messages = std::make_unique<testsupport::MsgBoxRecorder>();
        QVERIFY(testsupport::AddType(*folder, 1, 1, QStringLiteral("公寓")));
        QVERIFY(testsupport::AddHouse(*folder, 7, QStringLiteral("A座"), QStringLiteral("0701"), 7, 1));
    }
    void cleanup()
    {
        closeAll();
        messages.reset();
        folder.reset();
    }
    void cleanupTestCase() { Forms::SetMdiArea(nullptr); }

    void lookups_reach_the_registered_windows()
    {
        QVERIFY(!ui::OpenHouseList());  // not open yet: nothing is loaded for the call
        QVERIFY(Forms::Show(QStringLiteral("frmHouseList")));
        QCOMPARE(dynamic_cast<frmHouseList*>(ui::OpenHouseList()),
                 qobject_cast<frmHouseList*>(Forms::Find(QStringLiteral("frmHouseList"))));
        ui::HouseInputCalls* wizard = ui::ShowHouseInput();
        QVERIFY(wizard);
        QCOMPARE(dynamic_cast<frmHouseInput*>(wizard),
                 qobject_cast<frmHouseInput*>(Forms::Find(QStringLiteral("frmHouseInput"))));
    }

    void the_modes_keep_their_numbers()
    {
        QCOMPARE(static_cast<int>(ui::InputMode::Add), 0);
        QCOMPARE(static_cast<int>(ui::InputMode::Edit), 1);
    }

    void catalogue_buttons_start_the_wizard_in_their_mode()
    {
        auto* list = qobject_cast<frmHouseList*>(Forms::Show(QStringLiteral("frmHouseList")));
        QVERIFY(list);
        QVERIFY(testsupport::ClickListItem(list->lsvHouse, QStringLiteral("000007")));
        QVERIFY(testsupport::Click(list, QStringLiteral("cmdEdit")));
        auto* wizard = qobject_cast<frmHouseInput*>(Forms::Find(QStringLiteral("frmHouseInput")));
        QVERIFY(wizard);
        QCOMPARE(wizard->InputMode(), 1);
        QCOMPARE(wizard->cmbHouseName->currentText(), QStringLiteral("A座"));
        QVERIFY(testsupport::Click(list, QStringLiteral("cmdAddNew")));
        QCOMPARE(wizard->InputMode(), 0);
        QCOMPARE(wizard->cmbHouseName->currentText(), QString());
    }

    void a_saved_house_shows_in_the_open_list()
    {
        auto* list = qobject_cast<frmHouseList*>(Forms::Show(QStringLiteral("frmHouseList")));
        QVERIFY(list);
        QCOMPARE(testsupport::ListColumn(list->lsvHouse), QStringList{"000007"});
        QVERIFY(testsupport::AddHouse(*folder, 8, QStringLiteral("B座"), QStringLiteral("0801"), 8, 1));
        // Nothing tells the list yet; the typed call is what the wizard and the import make.
        QCOMPARE(testsupport::ListColumn(list->lsvHouse).size(), 1);
        ui::OpenHouseList()->StartList();
        QCOMPARE(testsupport::ListColumn(list->lsvHouse), (QStringList{"000007", "000008"}));
    }

    void the_catalogue_export_reaches_the_price_list_dialog()
    {
        QStringList filters;
        ui::SetSaveFileDialogInterceptor([&filters](const QString& filter) {
            filters << filter;
            return QString();  // cancelled: nothing is written
        });
        QVERIFY(ui::ExportPriceList(nullptr));
        ui::SetSaveFileDialogInterceptor({});
        QCOMPARE(filters.size(), 1);
        QVERIFY2(filters[0].contains(QStringLiteral("*.xlsx")), qPrintable(filters[0]));
        QVERIFY(messages->messages.isEmpty());
    }
};

QTEST_MAIN(tst_window_calls)
#include "tst_window_calls.moc"
