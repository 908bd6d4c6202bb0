#include <QTest>

#include "core/db/Dialect.h"

class tst_sql_dialect : public QObject {
    Q_OBJECT
private slots:
    void top_becomes_limit()
    {
        QCOMPARE(db::toSqlite("Select Top 1 HouseID From t_House Order By HouseID DESC"),
                 QString("Select HouseID From t_House Order By HouseID DESC LIMIT 1"));
        QCOMPARE(db::toSqlite("Select Top 1 * From t_HouseType Order By List DESC"),
                 QString("Select * From t_HouseType Order By List DESC LIMIT 1"));
    }
    void between_takes_either_bound_order()
    {
        QCOMPARE(
            db::toSqlite("Update t_HouseType Set List = List + Sgn(3 - List) Where List Between 4 And 3"),
            QString("Update t_HouseType Set List = List + Sgn(3 - List) Where List Between min(4, 3) And "
                    "max(4, 3)"));
    }
    void other_statements_pass_unchanged()
    {
        const QString s = "Select Distinct a.HouseID From t_House as a Where a.HouseName Like '%x%'";
        QCOMPARE(db::toSqlite(s), s);
    }
};

QTEST_APPLESS_MAIN(tst_sql_dialect)
#include "tst_sql_dialect.moc"
