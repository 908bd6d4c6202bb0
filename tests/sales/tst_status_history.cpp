// Every way the program changes a unit's status leaves one history row naming its path, who and
// which PC, on House.db and (as tst_status_history_server) on the test server: a status set on the
// sales board, the entry wizard's save of a house's rows, a price-list import. A wizard save that
// leaves the status as it was leaves no row.
#include <QFile>
#include <QTest>

#include "SalesFixture.h"
#include "core/db/ChangeContext.h"
#include "core/db/Connection.h"
#include "core/mdlHouse.h"
#include "entry/EntryFixture.h"
#include "pricelist/sheet/PriceList.h"

namespace {

const QString kBuilding = QStringLiteral("翠湖苑一号楼");

// Who the history should name: the server's login on a shared catalogue, the account on House.db.
QString expectedWho(const testsupport::ProgramFolder& f)
{
    return f.ServerUri().isEmpty() ? db::AccountName()
                                   : f.Value(QStringLiteral("SELECT session_user")).toString();
}

QString lastHistory(const testsupport::ProgramFolder& f)
{
    const QList<QVariantList> rows =
        f.Rows(QStringLiteral("SELECT HouseID, OldValue, NewValue, Path, ChangedBy, Machine FROM t_History "
                              "ORDER BY HistoryID DESC LIMIT 1"));
    if (rows.isEmpty()) return QStringLiteral("<none>");
    QStringList cells;
    for (const QVariant& v : rows.first()) cells << (v.isNull() ? QStringLiteral("NULL") : v.toString());
    return cells.join(QLatin1Char('|'));
}

int historyCount(const testsupport::ProgramFolder& f)
{
    return f.Value(QStringLiteral("SELECT count(*) FROM t_History")).toInt();
}

}  // namespace

class tst_status_history : public QObject {
    Q_OBJECT

    std::unique_ptr<testsupport::ProgramFolder> folder_;
    std::unique_ptr<testsupport::MsgBoxRecorder> messages_;
    std::unique_ptr<salestest::Frame> frame_;

    QString expected(int house, const QString& from, const QString& to, const QString& path)
    {
        return QStringLiteral("%1|%2|%3|%4|%5|%6")
            .arg(house)
            .arg(from, to, path, expectedWho(*folder_), db::MachineName());
    }

private slots:
    void init()
    {
        folder_ = std::make_unique<testsupport::ProgramFolder>();
        messages_ = std::make_unique<testsupport::MsgBoxRecorder>();
        QVERIFY(salestest::Exec(
            *folder_, QStringLiteral("Insert Into t_HouseType (TypeID, List, HouseType, MusicTitle, "
                                     "MusicFile) Values (1, 1, '一室一厅', '', '')")));
        salestest::AddHouse(*folder_, 1, kBuilding, QStringLiteral("101"), QStringLiteral("1"), 1);
        salestest::AddHouse(*folder_, 2, kBuilding, QStringLiteral("102"), QStringLiteral("1"), 1);
        salestest::AddRow(*folder_, 1, QStringLiteral("状态"), QStringLiteral("在售"), 1);
        salestest::AddRow(*folder_, 1, QStringLiteral("朝向"), QStringLiteral("南"), 2);
        salestest::AddRow(*folder_, 2, QStringLiteral("状态"), QStringLiteral("已预订"), 1);
        frame_ = std::make_unique<salestest::Frame>();
        entrytest::RegisterWindows();
        mdlHouse::CurrentHouseID = 0;
    }
    void cleanup()
    {
        entrytest::CloseWindows();
        frame_.reset();
        messages_.reset();
        folder_.reset();
    }

    void rows_written_without_the_program_are_recorded_as_sql()
    {
        QCOMPARE(historyCount(*folder_), 2);
        QVERIFY(lastHistory(*folder_).startsWith(QStringLiteral("2|NULL|已预订|sql|")));
    }

    void the_boards_status_change_is_recorded_as_board()
    {
        frmSalesBoard* board = frame_->OpenBoard();
        QVERIFY(board);
        const int before = historyCount(*folder_);
        QVERIFY(salestest::PickFromCellMenu(board, 2, {QStringLiteral("设置状态"), QStringLiteral("在售")}));
        QCOMPARE(messages_->Texts(), QStringList());
        QCOMPARE(historyCount(*folder_), before + 1);
        QCOMPARE(lastHistory(*folder_),
                 expected(2, QStringLiteral("已预订"), QStringLiteral("在售"), QStringLiteral("board")));
    }

    void a_wizard_save_records_a_changed_status_once_and_an_unchanged_one_not_at_all()
    {
        const int before = historyCount(*folder_);
        mdlHouse::CurrentHouseID = 1;
        frmHouseInput* w = entrytest::OpenFromCatalogue(1);
        QVERIFY(w);
        // The wizard's edit does not bring the floor back; it is typed again, as the user does.
        QVERIFY(entrytest::Type(w, QStringLiteral("cmbHouseFloor"), QStringLiteral("1")));
        QVERIFY(testsupport::Click(w, QStringLiteral("cmdNext")));
        QVERIFY(testsupport::Click(w, QStringLiteral("cmdFinish")));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(messages_->Texts().join(QLatin1Char('/')), QString());
        // The rows were deleted and written again, the status as it was: no change.
        QCOMPARE(historyCount(*folder_), before);

        w = entrytest::OpenFromCatalogue(1);
        QVERIFY(w);
        QCOMPARE(w->cmbCaption[1]->currentText(), QStringLiteral("状态"));
        entrytest::SetRow(w, 1, QStringLiteral("状态"), QStringLiteral("已售"));
        QVERIFY(entrytest::Type(w, QStringLiteral("cmbHouseFloor"), QStringLiteral("1")));
        QVERIFY(testsupport::Click(w, QStringLiteral("cmdNext")));
        QVERIFY(testsupport::Click(w, QStringLiteral("cmdFinish")));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(messages_->Texts(), QStringList());
        QCOMPARE(historyCount(*folder_), before + 1);
        QCOMPARE(lastHistory(*folder_),
                 expected(1, QStringLiteral("在售"), QStringLiteral("已售"), QStringLiteral("wizard")));
    }

    void a_price_list_import_is_recorded_as_import()
    {
        const QString csv = folder_->File(QStringLiteral("list.csv"));
        QFile file(csv);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QStringLiteral("序号,楼宇名称,类型,楼层,房间号,状态\n000001,%1,一室一厅,1,101,已认购\n"
                                  "000002,%1,一室一厅,1,102,已预订\n")
                       .arg(kBuilding)
                       .toUtf8());
        file.close();
        const int before = historyCount(*folder_);
        db::Connection cn;
        mdlHouse::OpenDatabase(cn);
        QVERIFY(cn.IsOpen());
        const pricelist::Plan plan = pricelist::MakePlan(csv, cn, pricelist::ImportOptions());
        QVERIFY2(plan.ok, qPrintable(plan.error));
        const pricelist::WriteResult written = pricelist::WritePlan(plan, cn, folder_->Path());
        QVERIFY2(written.ok, qPrintable(written.error));
        cn.Close();
        // House 2 kept its status: only house 1 changed.
        QCOMPARE(historyCount(*folder_), before + 1);
        QCOMPARE(lastHistory(*folder_),
                 expected(1, QStringLiteral("在售"), QStringLiteral("已认购"), QStringLiteral("import")));
    }
};

QTEST_MAIN(tst_status_history)
#include "tst_status_history.moc"
