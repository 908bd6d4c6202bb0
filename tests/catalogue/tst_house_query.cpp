#include <QTest>

#include "TestSupport.h"
#include "catalogue/HouseQuery.h"
#include "core/db/Connection.h"
#include "core/db/Dialect.h"
#include "core/db/Recordset.h"
#include "core/db/Store.h"

using catalogue::BuildHouseQuery;
using catalogue::HouseCriteria;

namespace {
const QString kHead = "Select Distinct a.HouseID, a.HouseName, b.HouseType, a.HouseNo, a.Intro ,  a.TypeID";
const QString kFrom = " From t_House as a, t_HouseType as b";
const QString kFromContent = ", c.Content From t_House as a, t_HouseType as b, t_Content as c";
const QString kWhere = " Where a.TypeID = b.TypeID";
const QString kTail = " Order By a.housename,a.TypeID  ";
}  // namespace

class tst_house_query : public QObject {
    Q_OBJECT
private slots:
    void no_box_gives_only_the_join() { QCOMPARE(BuildHouseQuery({}), kHead + kFrom + kWhere + kTail); }
    void building_name_alone_is_a_substring_match()
    {
        HouseCriteria c;
        c.houseName = "花园";
        QCOMPARE(BuildHouseQuery(c), kHead + kFrom + kWhere + " And a.HouseName Like '%花园%'" + kTail);
    }
    void type_alone_is_exact()
    {
        HouseCriteria c;
        c.houseType = "公寓";
        QCOMPARE(BuildHouseQuery(c), kHead + kFrom + kWhere + " And b.HouseType = '公寓'" + kTail);
    }
    void floor_alone_is_a_bare_number()
    {
        HouseCriteria c;
        c.houseFloor = "41";
        QCOMPARE(BuildHouseQuery(c), kHead + kFrom + kWhere + " And a.HouseFloor=41" + kTail);
    }
    void room_number_alone_is_text()
    {
        HouseCriteria c;
        c.houseNo = "0302";
        QCOMPARE(BuildHouseQuery(c), kHead + kFrom + kWhere + " And a.HouseNo = '0302'" + kTail);
    }
    void caption_alone_brings_the_attribute_table_and_an_empty_pattern()
    {
        HouseCriteria c;
        c.caption = "朝向";
        QCOMPARE(BuildHouseQuery(c),
                 kHead + kFromContent + kWhere +
                     " And c.Caption = '朝向' And c.Content Like '%%' And a.HouseID = c.HouseID" + kTail);
    }
    void value_without_caption_is_ignored()
    {
        HouseCriteria c;
        c.content = "南";
        QCOMPARE(BuildHouseQuery(c), kHead + kFrom + kWhere + kTail);
    }
    void caption_with_value()
    {
        HouseCriteria c;
        c.caption = "朝向";
        c.content = "南";
        QCOMPARE(BuildHouseQuery(c),
                 kHead + kFromContent + kWhere +
                     " And c.Caption = '朝向' And c.Content Like '%南%' And a.HouseID = c.HouseID" + kTail);
    }
    void all_boxes_together_in_their_order()
    {
        HouseCriteria c{"A座", "别墅", "12", "1201", "面积", "120"};
        QCOMPARE(BuildHouseQuery(c),
                 QString("Select Distinct a.HouseID, a.HouseName, b.HouseType, a.HouseNo, a.Intro ,  a.TypeID"
                         ", c.Content From t_House as a, t_HouseType as b, t_Content as c"
                         " Where a.TypeID = b.TypeID"
                         " And a.HouseName Like '%A座%'"
                         " And b.HouseType = '别墅'"
                         " And a.HouseFloor=12"
                         " And a.HouseNo = '1201'"
                         " And c.Caption = '面积' And c.Content Like '%120%' And a.HouseID = c.HouseID"
                         " Order By a.housename,a.TypeID  "));
    }
    void typed_text_goes_in_as_it_stands()
    {
        HouseCriteria c;
        c.houseName = " O'Hara ";
        c.houseFloor = " 7 ";
        QCOMPARE(BuildHouseQuery(c), kHead + kFrom + kWhere + " And a.HouseName Like '% O'Hara %'" +
                                         " And a.HouseFloor= 7 " + kTail);
    }
    void fixed_statements()
    {
        QCOMPARE(
            catalogue::AllHousesSql(),
            QString(
                "Select a.HouseID, a.HouseName, b.HouseType, a.HouseNo, a.Intro ,a.TypeID From t_House as a, "
                "t_HouseType as b Where a.TypeID = b.TypeID Order By a.HouseName,a.TypeID"));
        QCOMPARE(catalogue::HouseNamesSql(),
                 QString("Select Distinct HouseName From t_House Order By HouseName"));
        QCOMPARE(catalogue::HouseTypesSql(), QString("Select HouseType From t_HouseType Order By List"));
        QCOMPARE(catalogue::HouseNumbersSql(),
                 QString("Select Distinct HouseNo From t_House Order By HouseNo"));
        QCOMPARE(catalogue::CaptionsSql(),
                 QString("Select Distinct Caption From t_Content Order By Caption"));
        QCOMPARE(catalogue::ContentsSql(),
                 QString("Select Distinct Content From t_Content Order By Content"));
        QCOMPARE(catalogue::CountHousesSql(), QString("Select Count(*) as a From t_House"));
        QCOMPARE(catalogue::DeleteHouseSql(12), QString("Delete From t_House Where HouseID = 12"));
        QCOMPARE(catalogue::DeleteContentSql(12), QString("Delete From t_Content Where HouseID = 12"));
        QCOMPARE(catalogue::SelectImageFilesSql(12),
                 QString("Select ImageFile From t_Image Where HouseID = 12"));
        QCOMPARE(catalogue::DeleteImageSql(12), QString("Delete From t_Image Where HouseID = 12"));
    }
    // Every statement the catalogue sends must run on the store through the dialect adapter.
    void every_statement_runs_on_the_store()
    {
        testsupport::ProgramFolder folder;
        db::Connection connection;
        QVERIFY(db::OpenCatalogue(connection, folder.Path()));
        const std::vector<db::Sql> reads = {catalogue::AllHousesSql(),
                                            BuildHouseQuery({}),
                                            BuildHouseQuery({"A座", "别墅", "12", "1201", "面积", "120"}),
                                            catalogue::HouseNamesSql(),
                                            catalogue::HouseTypesSql(),
                                            catalogue::HouseNumbersSql(),
                                            catalogue::CaptionsSql(),
                                            catalogue::ContentsSql(),
                                            catalogue::CountHousesSql(),
                                            catalogue::SelectImageFilesSql(3)};
        for (const db::Sql& sql : reads) {
            db::Recordset rs;
            QVERIFY2(rs.Open(sql, connection), qPrintable(sql.Jet() + " / " + connection.LastError()));
        }
        for (const QString& sql :
             {catalogue::DeleteHouseSql(3), catalogue::DeleteContentSql(3), catalogue::DeleteImageSql(3)}) {
            QVERIFY2(connection.Execute(sql), qPrintable(sql));
        }
    }
};

QTEST_APPLESS_MAIN(tst_house_query)
#include "tst_house_query.moc"
