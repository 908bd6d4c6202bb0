// The wizard's statements and the stored picture names, as pure texts.

#include <QTest>

#include "core/db/Dialect.h"
#include "entry/EntrySql.h"

class tst_entry_statements : public QObject {
    Q_OBJECT
private slots:
    void statements_are_the_fixed_texts()
    {
        QCOMPARE(entry::SqlLoadHouse(7),
                 QString("Select a.HouseName, b.List, a.HouseNo, a.Intro From t_House as a, "
                         "t_HouseType as b Where a.TypeID = b.TypeID And a.HouseID = 7"));
        QCOMPARE(entry::SqlTypeIdByName("别墅"),
                 QString("Select TypeID From t_HouseType Where HouseType = '别墅'"));
        QCOMPARE(entry::SqlTypeIdByName("King's"),
                 QString("Select TypeID From t_HouseType Where HouseType = 'King's'"));
        QCOMPARE(entry::SqlHouseContent(12),
                 QString("Select Caption, Content From t_Content Where HouseID = 12 Order By List"));
        QCOMPARE(entry::SqlHouseImages(12),
                 QString("Select Caption, Intro, ImageFile From t_Image Where HouseID = 12 Order By List"));
        QCOMPARE(entry::SqlHouseById(12), QString("Select * From t_House Where HouseID = 12"));
        QCOMPARE(entry::SqlDeleteContent(12), QString("Delete From t_Content Where HouseID = 12"));
        QCOMPARE(entry::SqlDeleteImages(12), QString("Delete From t_Image Where HouseID = 12"));
        QCOMPARE(entry::SqlEmptyHouse(), QString("Select * From t_House Where HouseID Is Null"));
        QCOMPARE(entry::SqlEmptyContent(), QString("Select * From t_Content Where ContentID Is Null"));
        QCOMPARE(entry::SqlEmptyImage(), QString("Select * From t_Image Where ImageID Is Null"));
        QCOMPARE(entry::SqlLastHouseId(), QString("Select Top 1 HouseID From t_House Order By HouseID DESC"));
        QCOMPARE(db::toSqlite(entry::SqlLastHouseId()),
                 QString("Select HouseID From t_House Order By HouseID DESC LIMIT 1"));
        QCOMPARE(entry::SqlHouseNames(),
                 QString("Select Distinct HouseName From t_House Order By HouseName"));
        QCOMPARE(entry::SqlHouseNos(), QString("Select Distinct HouseNo From t_House Order By HouseNo"));
        QCOMPARE(entry::SqlHouseTypes(), QString("Select HouseType From t_HouseType Order By List"));
        QCOMPARE(entry::SqlCaptions(), QString("Select Distinct Caption From t_Content Order By Caption"));
        QCOMPARE(entry::SqlContents(), QString("Select Distinct Content From t_Content Order By Content"));
    }

    void stored_name_pads_key_and_number()
    {
        QCOMPARE(entry::StoredImageName(12, "3", "C:/photos/front.JPG"), QString("000012_0003.JPG"));
        QCOMPARE(entry::StoredImageName(1, "12", "/a/b.c/pic.jpeg"), QString("000001_0012.jpeg"));
        // Only the tails are kept past six and four digits.
        QCOMPARE(entry::StoredImageName(1234567, "12345", "x.gif"), QString("234567_2345.gif"));
        QCOMPARE(entry::StoredImageName(5, "1", "/tmp/archive.tar.gz"), QString("000005_0001.gz"));
    }

    void a_path_without_a_dot_is_its_own_extension()
    {
        QCOMPARE(entry::ImageExtension("/home/sales/pictures/front"), QString("/home/sales/pictures/front"));
        QCOMPARE(entry::StoredImageName(3, "2", "/pics/front"), QString("000003_0002./pics/front"));
        QCOMPARE(entry::ImageExtension("name."), QString());
    }
};

QTEST_APPLESS_MAIN(tst_entry_statements)
#include "tst_entry_statements.moc"
