// The catalogue's query finds text whatever the case of its letters, in every script: accented
// Latin, full-width Latin, Greek and Cyrillic, as typed into the real query boxes.
#include "CatalogueFixture.h"

using namespace cataloguetest;
using testsupport::Click;
using testsupport::MsgBoxRecorder;
using testsupport::ProgramFolder;
using testsupport::Type;

namespace {

void addSample(const ProgramFolder& folder)
{
    folder.Exec(
        "Insert Into t_HouseType (TypeID, List, HouseType, MusicTitle, MusicFile) Values "
        "(1, 1, 'Élan', '', ''), (2, 2, 'Вилла', '', ''), (3, 3, 'Ｓｕｉｔｅ', '', '')");
    AddHouse(folder, 1, "Élysée Court", "0101", 1, 1);
    AddHouse(folder, 2, "ÉLYSÉE COURT", "0102", 1, 2);
    AddHouse(folder, 3, "Garden", "0201", 2, 3);
    AddHouse(folder, 4, "Ωμέγα Tower", "0301", 3, 1);
    AddHouse(folder, 5, "Elysee Court", "0401", 4, 2);
    AddContent(folder, 1, "Ориентация", "ЮГ", 1);
    AddContent(folder, 3, "ориентация", "север", 1);
}

}  // namespace

class tst_query_any_case : public QObject {
    Q_OBJECT

private slots:
    void init() { mdlHouse::CurrentHouseID = 0; }

    void building_name_finds_every_case_but_not_other_letters()
    {
        ProgramFolder folder;
        addSample(folder);
        MsgBoxRecorder boxes;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(Type(w, "cmbHouseName", "élysée"));
        QVERIFY(Click(w, "cmdQuery"));
        // "Elysee" without accents is another name.
        QCOMPARE(Column(w, 0), (QStringList{"000001", "000002"}));
        QVERIFY(Type(w, "cmbHouseName", "ΩΜΈΓΑ"));
        QVERIFY(Click(w, "cmdQuery"));
        QCOMPARE(Column(w, 0), QStringList{"000004"});
        QVERIFY(boxes.messages.isEmpty());
    }

    void type_matches_in_any_case()
    {
        ProgramFolder folder;
        addSample(folder);
        MsgBoxRecorder boxes;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(Type(w, "cmbHouseType", "éLAN"));
        QVERIFY(Click(w, "cmdQuery"));
        QCOMPARE(Column(w, 0), (QStringList{"000001", "000004"}));
        QVERIFY(Type(w, "cmbHouseType", "ВИЛЛА"));
        QVERIFY(Click(w, "cmdQuery"));
        QCOMPARE(Column(w, 0), (QStringList{"000002", "000005"}));
        QVERIFY(Type(w, "cmbHouseType", "ｓｕｉｔｅ"));
        QVERIFY(Click(w, "cmdQuery"));
        QCOMPARE(Column(w, 0), QStringList{"000003"});
    }

    void caption_and_value_match_in_any_case()
    {
        ProgramFolder folder;
        addSample(folder);
        MsgBoxRecorder boxes;
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QVERIFY(Type(w, "cmbCaption", "ОРИЕНТАЦИЯ"));
        QVERIFY(Click(w, "cmdQuery"));
        QCOMPARE(Column(w, 0), (QStringList{"000001", "000003"}));
        QVERIFY(Type(w, "cmbCaption", "ориентация"));
        QVERIFY(Type(w, "cmbContent", "юг"));
        QVERIFY(Click(w, "cmdQuery"));
        QCOMPARE(Column(w, 0), QStringList{"000001"});
    }

    void the_query_boxes_offer_each_name_once_whatever_its_case()
    {
        ProgramFolder folder;
        addSample(folder);
        Frame frame;
        frmHouseList* w = frame.OpenList();
        QStringList names;
        for (int i = 0; i < w->cmbHouseName->count(); ++i) names << w->cmbHouseName->itemText(i);
        // "Élysée Court" and "ÉLYSÉE COURT" are one name; the plain "Elysee Court" is another.
        QCOMPARE(names.size(), 4);
        QCOMPARE(names.count(QStringLiteral("Elysee Court")), 1);
        QCOMPARE(names.count(QStringLiteral("Élysée Court")) + names.count(QStringLiteral("ÉLYSÉE COURT")),
                 1);
        QStringList captions;
        for (int i = 0; i < w->cmbCaption->count(); ++i) captions << w->cmbCaption->itemText(i);
        QCOMPARE(captions.size(), 1);
    }
};

QTEST_MAIN(tst_query_any_case)
#include "tst_query_any_case.moc"
