#include <QFile>

#include "CatalogueFixture.h"

using namespace cataloguetest;
using testsupport::Click;
using testsupport::MsgBoxRecorder;
using testsupport::ProgramFolder;
using testsupport::Type;

namespace {

void AddImage(const ProgramFolder& folder, int houseId, const QString& file, int list)
{
    testsupport::MakePicture(folder.File("Images/" + file), 40, 30);
    folder.Exec(QStringLiteral("Insert Into t_Image (HouseID, Caption, Intro, ImageFile, List) "
                               "Values (%1, '图', '说明', '%2', %3)")
                    .arg(houseId)
                    .arg(file)
                    .arg(list));
}

qint64 Count(const ProgramFolder& folder, const QString& sql)
{
    return folder.Value(sql).toLongLong();
}

}  // namespace

class tst_house_delete : public QObject {
    Q_OBJECT
private slots:
    void init() { mdlHouse::CurrentHouseID = 0; }

    void deleting_the_only_house_removes_its_rows_and_keeps_its_pictures()
    {
        ProgramFolder folder;
        AddTypes(folder);
        AddHouse(folder, 12, "A座", "0101", 1, 2, "东边");
        AddContent(folder, 12, "朝向", "南", 1);
        AddContent(folder, 12, "面积", "90", 2);
        AddImage(folder, 12, "12-1.png", 1);
        AddImage(folder, 12, "12-2.png", 2);
        MsgBoxRecorder boxes;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QCOMPARE(Column(w, 0), QStringList({"000012"}));
        QVERIFY(Click(w, "cmdDelete"));
        QCOMPARE(boxes.Texts(), QStringList({"确实要删除序号为 000012 的项目吗？"}));
        QCOMPARE(boxes.messages.first().second, ui::Buttons::YesNo);
        QCOMPARE(Count(folder, "Select Count(*) From t_House"), 0);
        QCOMPARE(Count(folder, "Select Count(*) From t_Content"), 0);
        QCOMPARE(Count(folder, "Select Count(*) From t_Image"), 0);
        QVERIFY(QFile::exists(folder.File("Images/12-1.png")));
        QVERIFY(QFile::exists(folder.File("Images/12-2.png")));
        QCOMPARE(w->lsvHouse->Model()->Count(), 0);
        QCOMPARE(w->lblStatus->text(), QString("全部记录共 0 项。"));
        QCOMPARE(w->cmbHouseName->count(), 0);
        QCOMPARE(w->cmbCaption->count(), 0);
    }

    void only_the_selected_house_goes()
    {
        ProgramFolder folder;
        AddTypes(folder);
        AddHouse(folder, 3, "C座", "0302", 3, 1);
        AddHouse(folder, 7, "B座", "1201", 12, 2);
        AddContent(folder, 3, "朝向", "西", 1);
        AddContent(folder, 7, "朝向", "南", 1);
        AddImage(folder, 3, "3-1.png", 1);
        AddImage(folder, 7, "7-1.png", 1);
        MsgBoxRecorder boxes;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(ClickRow(w, "000007"));
        QVERIFY(Click(w, "cmdDelete"));
        QCOMPARE(boxes.Texts(), QStringList({"确实要删除序号为 000007 的项目吗？"}));
        QCOMPARE(mdlHouse::CurrentHouseID, 7);
        QCOMPARE(folder.Rows("Select HouseID From t_House"), QList<QVariantList>({{qint64(3)}}));
        QCOMPARE(folder.Rows("Select HouseID From t_Content"), QList<QVariantList>({{qint64(3)}}));
        QCOMPARE(folder.Rows("Select HouseID From t_Image"), QList<QVariantList>({{qint64(3)}}));
        QCOMPARE(Column(w, 0), QStringList({"000003"}));
        QCOMPARE(w->lblStatus->text(), QString("全部记录共 1 项。"));
        QVERIFY(QFile::exists(folder.File("Images/7-1.png")));
    }

    void answering_no_changes_nothing_but_keeps_the_selected_key()
    {
        ProgramFolder folder;
        AddTypes(folder);
        AddHouse(folder, 3, "C座", "0302", 3, 1);
        AddHouse(folder, 12, "A座", "0101", 1, 2);
        AddContent(folder, 12, "朝向", "南", 1);
        AddImage(folder, 12, "12-1.png", 1);
        MsgBoxRecorder boxes;
        boxes.answers << ui::Answer::No;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(ClickRow(w, "000012"));
        QVERIFY(Click(w, "cmdDelete"));
        QCOMPARE(boxes.Texts(), QStringList({"确实要删除序号为 000012 的项目吗？"}));
        QCOMPARE(mdlHouse::CurrentHouseID, 12);
        QCOMPARE(Count(folder, "Select Count(*) From t_House"), 2);
        QCOMPARE(Count(folder, "Select Count(*) From t_Content"), 1);
        QCOMPARE(Count(folder, "Select Count(*) From t_Image"), 1);
        QCOMPARE(Column(w, 0), QStringList({"000003", "000012"}));
        QCOMPARE(w->lsvHouse->SelectedText(), QString("000012"));
    }

    void a_query_stays_active_across_deletion_and_refresh()
    {
        ProgramFolder folder;
        AddTypes(folder);
        AddHouse(folder, 3, "A座", "0302", 3, 1);
        AddHouse(folder, 7, "A座", "1201", 12, 2);
        AddHouse(folder, 9, "A座", "0101", 1, 2);
        AddHouse(folder, 11, "B座", "0101", 1, 2);
        AddContent(folder, 3, "朝向", "南", 1);
        AddContent(folder, 7, "朝向", "南北", 1);
        AddContent(folder, 9, "朝向", "南", 1);
        AddContent(folder, 11, "朝向", "南", 1);
        MsgBoxRecorder boxes;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(Type(w, "cmbHouseName", "A"));
        QVERIFY(Type(w, "cmbCaption", "朝向"));
        QVERIFY(Type(w, "cmbContent", "南"));
        QVERIFY(Click(w, "cmdQuery"));
        QCOMPARE(Column(w, 0), QStringList({"000003", "000007", "000009"}));
        QVERIFY(ClickRow(w, "000007"));
        QVERIFY(Click(w, "cmdDelete"));
        QCOMPARE(boxes.Texts(), QStringList({"确实要删除序号为 000007 的项目吗？"}));
        // The query ran again: the deleted house is gone, the other matches stay, B座 stays out.
        QCOMPARE(Column(w, 0), QStringList({"000003", "000009"}));
        QCOMPARE(Titles(w).at(4), QString("朝向"));
        QCOMPARE(w->lblStatus->text(), QString("共查询到 2 项。"));
        for (QComboBox* box : {w->cmbHouseName, w->cmbHouseType, w->cmbHouseFloor, w->cmbHouseNo,
                               w->cmbCaption, w->cmbContent})
            QCOMPARE(box->currentText(), QString());
        QCOMPARE(Count(folder, "Select Count(*) From t_House"), 3);
        QVERIFY(Click(w, "cmdRefresh"));
        QCOMPARE(Column(w, 0), QStringList({"000003", "000009"}));
        QCOMPARE(w->lblStatus->text(), QString("共查询到 2 项。"));
        QVERIFY(Click(w, "cmdAll"));
        QCOMPARE(Column(w, 0), QStringList({"000003", "000009", "000011"}));
    }

    void missing_database_on_delete_shows_only_connection_messages()
    {
        ProgramFolder folder;
        AddTypes(folder);
        AddHouse(folder, 5, "A座", "0101", 1, 1);
        MsgBoxRecorder boxes;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(folder.HideDatabase());
        QVERIFY(Click(w, "cmdDelete"));
        const QString failure = mdlHouse::DatabaseFailureMessage();
        QCOMPARE(boxes.Texts(),
                 QStringList({"确实要删除序号为 000005 的项目吗？", failure, failure, failure}));
        QCOMPARE(w->lsvHouse->Model()->Count(), 0);
        QVERIFY(folder.RestoreDatabase());
        QCOMPARE(Count(folder, "Select Count(*) From t_House"), 1);
    }
};

QTEST_MAIN(tst_house_delete)
#include "tst_house_delete.moc"
