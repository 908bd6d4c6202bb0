#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include "Importer.h"
#include "LegacyFixtures.h"
#include "LegacyReader.h"
#include "TestSupport.h"
#include "catalogue/frmHouseList.h"
#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "core/ui/Forms.h"
#include "core/ui/ListView.h"

using namespace importtest;
using testsupport::ProgramFolder;

class tst_legacy_import : public QObject {
    Q_OBJECT
private:
    QTemporaryDir work;
    QString importer;

    // A copy of the sample office's old folder: House.MDB, Images and Music.
    QString makeOldFolder(const QString& name, const QString& mdb = QStringLiteral("House.MDB"))
    {
        const QString folder = work.filePath(name);
        QDir().mkpath(folder);
        QFile::copy(fixtureDir() + QLatin1Char('/') + mdb, folder + QStringLiteral("/House.MDB"));
        QFile(folder + QStringLiteral("/House.MDB"))
            .setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
        return folder;
    }

    // Runs the import into a fresh program folder, expecting a refusal that leaves it untouched.
    void expectRefusal(const QString& source, const QString& mentioned)
    {
        ProgramFolder program;
        const auto before = snapshot(program.Path());
        const auto oldBefore = snapshot(QFileInfo(source).isDir() ? source : QFileInfo(source).path());
        const legacy::ImportResult result = legacy::Import({source, program.Path(), false});
        QVERIFY2(!result.ok, "the bad input was accepted");
        QVERIFY2(result.error.contains(mentioned, Qt::CaseInsensitive), qPrintable(result.error));
        QCOMPARE(snapshot(program.Path()), before);
        QCOMPARE(snapshot(QFileInfo(source).isDir() ? source : QFileInfo(source).path()), oldBefore);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(work.isValid());
        importer = qEnvironmentVariable("TAVRELO_BINARY_DIR") + QStringLiteral("/tavrelo-import");
    }

    void decodes_compressed_and_plain_text_with_surrogate_pairs()
    {
        // Compressed: FF FE, one byte a character, a zero switches to two bytes a character.
        QCOMPARE(legacy::DecodeJetText(QByteArray("\xFF\xFEO'Neil", 8)), QStringLiteral("O'Neil"));
        const QString mixed = QStringLiteral("ab😊楼c");
        QByteArray compressed(
            "\xFF\xFE"
            "ab",
            4);
        compressed += '\0';
        compressed += utf16(QStringLiteral("😊楼"));
        compressed += '\0';
        compressed += 'c';
        QCOMPARE(legacy::DecodeJetText(compressed), mixed);
        // A zero byte switches modes wherever it stands, as Access reads it; strings with such
        // characters are therefore stored without compression.
        QCOMPARE(legacy::DecodeJetText(QByteArray("\xFF\xFEx\0\x00\x4E", 6)),
                 QStringLiteral("x") + QChar(0x4E));
        QCOMPARE(legacy::DecodeJetText(utf16(mixed)), mixed);
        QCOMPARE(legacy::DecodeJetText(QByteArray()), QString());
        QCOMPARE(legacy::DecodeJetText(QByteArray("\xFF\xFE", 2)), QString());
    }

    void sample_office_imports_exactly()
    {
        REQUIRE_FIXTURES();
        const QString old = makeOldFolder("sample");
        ProgramFolder program;
        const legacy::ImportResult result = legacy::Import({old, program.Path(), false});
        QVERIFY2(result.ok, qPrintable(result.error));
        QString difference;
        QVERIFY2(sameAsJson(program.DatabasePath(), loadJson("House.json"), &difference),
                 qPrintable(difference));
        QCOMPARE(result.rowCounts.size(), 5);
        QCOMPARE(result.rowCounts[1], qMakePair(QStringLiteral("t_House"), 12));
        // An empty string stays an empty string.
        QCOMPARE(program.Value("Select quote(MusicFile) From t_HouseType Where TypeID = 2").toString(),
                 QStringLiteral("''"));
    }

    void new_keys_continue_above_the_largest_imported()
    {
        REQUIRE_FIXTURES();
        const QString old = makeOldFolder("keys");
        ProgramFolder program;
        QVERIFY(legacy::Import({old, program.Path(), false}).ok);
        const QJsonObject tables = loadJson("House.json").value("tables").toObject();
        const QStringList keyTables = {"t_HouseType", "t_House", "t_Content", "t_Image", "t_Content_Auto"};
        for (const QString& table : keyTables) {
            const QJsonArray rows = tables.value(table).toObject().value("rows").toArray();
            const QString key = tables.value(table)
                                    .toObject()
                                    .value("columns")
                                    .toArray()[0]
                                    .toObject()
                                    .value("name")
                                    .toString();
            const qint64 largest = rows.last().toObject().value(key).toInteger();
            db::Connection conn;
            QVERIFY(conn.Open(program.DatabasePath()));
            db::Recordset rs;
            QVERIFY(rs.Open(QStringLiteral("Select * From %1 Where %2 Is Null").arg(table, key), conn,
                            db::CursorType::Keyset, db::LockType::Optimistic));
            QVERIFY(rs.AddNew());
            QVERIFY(rs.Update());
            rs.Close();
            QCOMPARE(
                query(program.DatabasePath(), QStringLiteral("Select Max(%1) From %2").arg(key, table))[0][0]
                    .toLongLong(),
                largest + 1);
        }
    }

    void imported_catalogue_lists_its_houses()
    {
        REQUIRE_FIXTURES();
        const QString old = makeOldFolder("list");
        ProgramFolder program;
        QVERIFY(legacy::Import({old, program.Path(), false}).ok);
        // The catalogue window's own list statement, through the program's data layer.
        const QList<QVariantList> rows = query(
            program.DatabasePath(),
            "Select a.HouseID, a.HouseName, b.HouseType, a.HouseNo, a.Intro ,a.TypeID From t_House as a, "
            "t_HouseType as b Where a.TypeID = b.TypeID Order By a.HouseName,a.TypeID");
        const QJsonObject tables = loadJson("House.json").value("tables").toObject();
        QMap<qint64, QString> typeNames;
        for (const auto& t : tables.value("t_HouseType").toObject().value("rows").toArray())
            typeNames.insert(t.toObject().value("TypeID").toInteger(),
                             t.toObject().value("HouseType").toString());
        QMap<qint64, QJsonObject> expected;
        for (const auto& h : tables.value("t_House").toObject().value("rows").toArray()) {
            if (typeNames.contains(h.toObject().value("TypeID").toInteger()))
                expected.insert(h.toObject().value("HouseID").toInteger(), h.toObject());
        }
        QCOMPARE(rows.size(), expected.size());
        QVERIFY(rows.size() >= 12);
        QPair<QString, qint64> previous;
        for (const QVariantList& row : rows) {
            const QJsonObject house = expected.value(row[0].toLongLong());
            QVERIFY(!house.isEmpty());
            QCOMPARE(row[1].toString(), house.value("HouseName").toString());
            QCOMPARE(row[2].toString(), typeNames.value(house.value("TypeID").toInteger()));
            QCOMPARE(row[3].toString(), house.value("HouseNo").toString());
            QCOMPARE(row[4].toString(), house.value("Intro").toString());
            const QPair<QString, qint64> order(row[1].toString(), row[5].toLongLong());
            QVERIFY(previous <= order);
            previous = order;
        }
    }

    void imported_catalogue_opens_in_the_catalogue_window()
    {
        REQUIRE_FIXTURES();
        const QString old = makeOldFolder("window");
        ProgramFolder program;
        QVERIFY(legacy::Import({old, program.Path(), false}).ok);
        testsupport::MsgBoxRecorder messages;
        Forms::Register(QStringLiteral("frmHouseList"), [] { return new frmHouseList; });
        auto* w = qobject_cast<frmHouseList*>(Forms::Show(QStringLiteral("frmHouseList")));
        QVERIFY(w);
        QVERIFY2(messages.Texts().isEmpty(), qPrintable(messages.Texts().join(" | ")));

        const QJsonObject tables = loadJson("House.json").value("tables").toObject();
        QMap<qint64, QString> typeNames;
        for (const auto& t : tables.value("t_HouseType").toObject().value("rows").toArray())
            typeNames.insert(t.toObject().value("TypeID").toInteger(),
                             t.toObject().value("HouseType").toString());
        QMap<QString, QJsonObject> expected;  // by the number the list shows
        for (const auto& h : tables.value("t_House").toObject().value("rows").toArray()) {
            const QJsonObject house = h.toObject();
            if (typeNames.contains(house.value("TypeID").toInteger()))
                expected.insert(
                    QStringLiteral("%1").arg(house.value("HouseID").toInteger(), 6, 10, QLatin1Char('0')),
                    house);
        }
        const ui::ListModel* model = w->lsvHouse->Model();
        QCOMPARE(model->Count(), expected.size());
        QStringList shown;
        for (int r = 0; r < model->Count(); ++r) {
            const QString number = model->Text(r, 0);
            shown << number;
            const QJsonObject house = expected.value(number);
            QVERIFY2(!house.isEmpty(), qPrintable(number));
            QCOMPARE(model->Text(r, 1), house.value("HouseName").toString());
            QCOMPARE(model->Text(r, 2), typeNames.value(house.value("TypeID").toInteger()));
            QCOMPARE(model->Text(r, 3), house.value("HouseNo").toString());
            QCOMPARE(model->Text(r, 4), house.value("Intro").toString());
        }
        QCOMPARE(shown, QStringList(expected.keys()));  // listed by number, all of them
        Forms::Unload(QStringLiteral("frmHouseList"));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void empty_office_imports_exactly()
    {
        REQUIRE_FIXTURES();
        const QString old = makeOldFolder("empty", "Empty.MDB");
        ProgramFolder program;
        const legacy::ImportResult result = legacy::Import({old + "/House.MDB", program.Path(), false});
        QVERIFY2(result.ok, qPrintable(result.error));
        QString difference;
        QVERIFY2(sameAsJson(program.DatabasePath(), loadJson("Empty.json"), &difference),
                 qPrintable(difference));
        QVERIFY(result.copied.isEmpty());
        QVERIFY(result.missing.isEmpty());
    }

    void named_files_are_copied_and_missing_ones_listed()
    {
        REQUIRE_FIXTURES();
        const QString old = makeOldFolder("media");
        QDir(old).mkdir("Images");
        QDir(old).mkdir("Music");
        QVERIFY(writeAll(old + "/Images/000001_0001.jpg", "one"));
        QVERIFY(writeAll(old + "/Images/000001_0002.jpg", "two"));
        // The old program ran where case did not matter: the row says .JPG, the disk says .jpg.
        QVERIFY(writeAll(old + "/Images/000013_0001.jpg", "thirteen"));
        QVERIFY(writeAll(old + "/Images/unrelated.jpg", "not named by any row"));
        QVERIFY(writeAll(old + "/Music/spring.mp3", QByteArray(legacy::kProgressThreshold + 10, 'm')));
        ProgramFolder program;
        const auto oldBefore = snapshot(old);
        QStringList progressed;
        const legacy::ImportResult result =
            legacy::Import({old, program.Path(), false}, [&](const QString& file, qint64 done, qint64 total) {
                if (done == total) progressed << file;
            });
        QVERIFY2(result.ok, qPrintable(result.error));
        QCOMPARE(snapshot(old), oldBefore);
        QStringList copied = result.copied;
        copied.sort();
        QCOMPARE(copied, (QStringList{"Images/000001_0001.jpg", "Images/000001_0002.jpg",
                                      "Images/000013_0001.JPG", "Music/spring.mp3"}));
        QCOMPARE(readAll(program.File("Images/000001_0002.jpg")), QByteArray("two"));
        QCOMPARE(readAll(program.File("Images/000013_0001.JPG")), QByteArray("thirteen"));
        QVERIFY(!QFileInfo::exists(program.File("Images/unrelated.jpg")));
        QCOMPARE(QFileInfo(program.File("Music/spring.mp3")).size(), legacy::kProgressThreshold + 10);
        QCOMPARE(progressed, QStringList{"Music/spring.mp3"});
        QVERIFY(result.missing.contains("Images/000002_0001.jpg"));
        QVERIFY(result.missing.contains("Music/moonlight.mid"));
        QCOMPARE(result.missing.size() + result.copied.size(), 9 + 2 - 0);  // 9 pictures + 2 named tunes
        // No temporary file is left behind.
        for (const QString& f : snapshot(program.Path()).keys())
            QVERIFY2(!f.contains(".import-"), qPrintable(f));
    }

    void refuses_a_catalogue_with_rows_unless_replace()
    {
        REQUIRE_FIXTURES();
        const QString old = makeOldFolder("replace");
        ProgramFolder program;
        QVERIFY(program.Exec("Insert Into t_HouseType (List, HouseType) Values (1, 'kept')"));
        const QByteArray before = readAll(program.DatabasePath());
        legacy::ImportResult result = legacy::Import({old, program.Path(), false});
        QVERIFY(!result.ok);
        QVERIFY2(result.error.contains("--replace"), qPrintable(result.error));
        QCOMPARE(readAll(program.DatabasePath()), before);
        QVERIFY(!QFileInfo::exists(program.DatabasePath() + ".bak"));

        result = legacy::Import({old, program.Path(), true});
        QVERIFY2(result.ok, qPrintable(result.error));
        QCOMPARE(readAll(program.DatabasePath() + ".bak"), before);
        QCOMPARE(program.Value("Select Count(*) From t_House").toInt(), 12);
        QCOMPARE(result.backupPath, program.DatabasePath() + ".bak");
    }

    void keeps_apostrophes_and_characters_outside_the_bmp()
    {
        REQUIRE_FIXTURES();
        const QString old = makeOldFolder("unicode");
        QByteArray file = readAll(old + "/House.MDB");
        // Same byte length, so the rows keep their shape: 南北 becomes an emoji (a surrogate pair),
        // 客厅 becomes O' (an apostrophe).
        QVERIFY(replaceAll(file, utf16("南北"), utf16("😊")) > 0);
        QVERIFY(replaceAll(file, utf16("客厅"), utf16("O'")) > 0);
        QVERIFY(writeAll(old + "/House.MDB", file));
        QJsonObject json = mapStrings(
            loadJson("House.json"),
            [](const QString&, const QString&, const QJsonObject&, const QJsonValue& v) -> QJsonValue {
                if (!v.isString()) return v;
                return v.toString().replace("南北", "😊").replace("客厅", "O'");
            });
        ProgramFolder program;
        const legacy::ImportResult result = legacy::Import({old, program.Path(), false});
        QVERIFY2(result.ok, qPrintable(result.error));
        QString difference;
        QVERIFY2(sameAsJson(program.DatabasePath(), json, &difference), qPrintable(difference));
        QCOMPARE(program.Value("Select Content From t_Content Where ContentID = 1").toString(),
                 QStringLiteral("😊"));
        QVERIFY(program.Value("Select Count(*) From t_Image Where Caption = 'O''' ").toInt() > 0);
    }

    void status_rows_read_from_the_old_file_leave_the_deals_tables_empty()
    {
        REQUIRE_FIXTURES();
        const QString old = makeOldFolder("status");
        QByteArray file = readAll(old + "/House.MDB");
        // Same byte length: every 朝向 row becomes a status row, which a change would record.
        QVERIFY(replaceAll(file, utf16("朝向"), utf16("状态")) > 0);
        QVERIFY(writeAll(old + "/House.MDB", file));
        ProgramFolder program;
        const legacy::ImportResult result = legacy::Import({old, program.Path(), false});
        QVERIFY2(result.ok, qPrintable(result.error));
        QVERIFY(program.Value("Select Count(*) From t_Content Where Caption = '状态'").toInt() > 0);
        for (const char* table : {"t_Setting", "t_Consultant", "t_Customer", "t_Deal", "t_History"})
            QVERIFY2(
                program.Value(QStringLiteral("Select Count(*) From %1").arg(QLatin1String(table))).toInt() ==
                    0,
                table);
        // The history triggers are in place again for what the program changes next.
        QVERIFY(program.Exec("Update t_Content Set Content = 'x' Where Caption = '状态'"));
        QVERIFY(program.Value("Select Count(*) From t_History").toInt() > 0);
    }

    void null_stays_null()
    {
        REQUIRE_FIXTURES();
        const QString old = makeOldFolder("null");
        QByteArray file = readAll(old + "/House.MDB");
        // Find the data row of type 1 (its MusicTitle 春天的故事) and clear MusicTitle's bit in the
        // row's null mask (the last byte of a five-column row; a set bit means "has a value").
        const QByteArray title = utf16("春天的故事");
        const int at = file.indexOf(title);
        QVERIFY(at > 0);
        const int page = at / kPage;
        const char* p = file.constData() + page * kPage;
        QCOMPARE(int(p[0]), 0x01);  // a data page
        const int rows = quint8(p[12]) | quint8(p[13]) << 8;
        int rowEnd = -1;
        for (int r = 0; r < rows; ++r) {
            const int start = (quint8(p[14 + 2 * r]) | quint8(p[15 + 2 * r]) << 8) & 0x1FFF;
            const int end = r == 0 ? kPage : (quint8(p[12 + 2 * r]) | quint8(p[13 + 2 * r]) << 8) & 0x1FFF;
            if (page * kPage + start <= at && at < page * kPage + end) rowEnd = page * kPage + end;
        }
        QVERIFY(rowEnd > 0);
        QVERIFY(file[rowEnd - 1] & 0x08);
        file[rowEnd - 1] = char(file[rowEnd - 1] & ~0x08);
        QVERIFY(writeAll(old + "/House.MDB", file));
        const QJsonObject json = mapStrings(
            loadJson("House.json"),
            [](const QString& table, const QString& column, const QJsonObject& row, const QJsonValue& v) {
                return table == "t_HouseType" && column == "MusicTitle" &&
                               row.value("TypeID").toInteger() == 1
                           ? QJsonValue(QJsonValue::Null)
                           : v;
            });
        ProgramFolder program;
        const legacy::ImportResult result = legacy::Import({old, program.Path(), false});
        QVERIFY2(result.ok, qPrintable(result.error));
        QString difference;
        QVERIFY2(sameAsJson(program.DatabasePath(), json, &difference), qPrintable(difference));
        QCOMPARE(program.Value("Select MusicTitle Is Null From t_HouseType Where TypeID = 1").toInt(), 1);
    }

    void thousands_of_houses_on_many_pages_with_long_texts()
    {
        REQUIRE_FIXTURES();
        const QString old = makeOldFolder("large");
        JetGrower grower(readAll(old + "/House.MDB"));
        QList<QVariantMap> houses, contents;
        QMap<int, QString> intros;
        for (int i = 0; i < 3000; ++i) {
            const int id = 1000 + i;
            QString intro = QStringLiteral("第%1套，朝南。").arg(i);
            QVariant introValue = intro;
            if (i % 500 == 7) {  // too long for the row: one long-value page
                intro = QStringLiteral("长说明%1：").arg(i) + QString(1500, QChar(0x623F));
                introValue = grower.longMemo(intro, false);
            } else if (i % 500 == 11) {  // longer still: chained over several pages
                intro = QStringLiteral("很长的说明%1：").arg(i) + QString(4000, QChar(0x697C)) +
                        QStringLiteral("😊");
                introValue = grower.longMemo(intro, true);
            }
            intros.insert(id, intro);
            houses << QVariantMap{{"HouseID", id},
                                  {"HouseName", QStringLiteral("幸福家园%1号楼").arg(i / 40 + 1)},
                                  {"HouseNo", QString::number(101 + i % 40)},
                                  {"Intro", introValue},
                                  {"HouseFloor", i % 40 / 4 + 1},
                                  {"TypeID", 1 + i % 3}};
            contents << QVariantMap{
                {"ContentID", 1000 + i},
                {"HouseID", id},
                {"Caption", QStringLiteral("面积")},
                {"Content", i % 10 ? QVariant(QStringLiteral("%1平方米").arg(60 + i % 80)) : QVariant()},
                {"List", 1}};
        }
        QVERIFY(grower.appendRows("HouseID", "HouseName", houses));
        QVERIFY(grower.appendRows("ContentID", "HouseID", contents));
        QVERIFY(writeAll(old + "/House.MDB", grower.d));

        ProgramFolder program;
        const legacy::ImportResult result = legacy::Import({old, program.Path(), false});
        QVERIFY2(result.ok, qPrintable(result.error));
        QCOMPARE(program.Value("Select Count(*) From t_House").toInt(), 12 + 3000);
        QCOMPARE(program.Value("Select Count(*) From t_Content").toInt(), 35 + 3000);
        QCOMPARE(program.Value("Select Count(*) From t_Content Where Content Is Null").toInt(), 300);
        const QList<QVariantList> rows = program.Rows(
            "Select HouseID, Intro, HouseNo, TypeID From t_House Where HouseID >= 1000 Order By HouseID");
        QCOMPARE(rows.size(), 3000);
        for (const QVariantList& r : rows) {
            const int id = r[0].toInt();
            QCOMPARE(r[1].toString(), intros.value(id));
            QCOMPARE(r[2].toString(), QString::number(101 + (id - 1000) % 40));
            QCOMPARE(r[3].toInt(), 1 + (id - 1000) % 3);
        }
        QCOMPARE(program.Value("Select seq From sqlite_sequence Where name = 't_House'").toInt(), 3999);
    }

    void refuses_a_file_that_is_not_access()
    {
        const QString old = work.filePath("notaccess");
        QDir().mkpath(old);
        QVERIFY(
            writeAll(old + "/House.MDB", QByteArray("this is a text file, not a database\n").repeated(300)));
        expectRefusal(old, "not an Access");
        QVERIFY(writeAll(old + "/House.MDB", QByteArray()));
        expectRefusal(old, "not an Access");
    }

    void refuses_a_truncated_file()
    {
        REQUIRE_FIXTURES();
        const QString old = makeOldFolder("truncated");
        const QByteArray whole = readAll(old + "/House.MDB");
        QVERIFY(writeAll(old + "/House.MDB", whole.left(whole.size() / 2 + 1000)));
        expectRefusal(old, "truncated");
        // Cut at a page boundary, the tables' pages are simply not there.
        QVERIFY(writeAll(old + "/House.MDB", whole.left(whole.size() / 2 / kPage * kPage)));
        expectRefusal(old, "House.MDB");
    }

    void refuses_or_survives_every_damaged_page()
    {
        REQUIRE_FIXTURES();
        const QString old = makeOldFolder("damaged");
        const QByteArray whole = readAll(old + "/House.MDB");
        const QJsonObject json = loadJson("House.json");
        int refused = 0;
        for (int page = 0; page < whole.size() / kPage; ++page) {
            for (char fill : {char(0x00), char(0xA5)}) {
                QByteArray damaged = whole;
                damaged.replace(page * kPage, kPage, QByteArray(kPage, fill));
                QVERIFY(writeAll(old + "/House.MDB", damaged));
                ProgramFolder program;
                const auto before = snapshot(program.Path());
                const legacy::ImportResult result = legacy::Import({old, program.Path(), false});
                if (!result.ok) {
                    ++refused;
                    QVERIFY(!result.error.isEmpty());
                    QCOMPARE(snapshot(program.Path()), before);
                } else {
                    // A page the catalogue does not need (free, or an index): the rows are all there.
                    QString difference;
                    QVERIFY2(sameAsJson(program.DatabasePath(), json, &difference),
                             qPrintable(QStringLiteral("page %1: %2").arg(page).arg(difference)));
                }
            }
        }
        // Pages that hold the catalogue's rows and table definitions are missed when damaged.
        qInfo("%d of %d damaged copies refused", refused, int(whole.size() / kPage * 2));
        QVERIFY2(refused >= 10, qPrintable(QString::number(refused)));
    }

    void refuses_a_file_without_one_of_the_tables()
    {
        REQUIRE_FIXTURES();
        const QString old = makeOldFolder("notable");
        QByteArray file = readAll(old + "/House.MDB");
        // The table's name in the list of objects, in whichever form it is stored.
        const int patched = replaceAll(file, "t_Content_Auto", "t_Content_Autx") +
                            replaceAll(file, utf16("t_Content_Auto"), utf16("t_Content_Autx"));
        QVERIFY(patched > 0);
        QVERIFY(writeAll(old + "/House.MDB", file));
        expectRefusal(old, "t_Content_Auto is missing");
    }

    void refuses_a_table_without_a_needed_column()
    {
        REQUIRE_FIXTURES();
        const QString old = makeOldFolder("nocolumn");
        QByteArray file = readAll(old + "/House.MDB");
        QVERIFY(replaceAll(file, utf16("HouseFloor"), utf16("HouseFlxor")) > 0);
        QVERIFY(writeAll(old + "/House.MDB", file));
        expectRefusal(old, "t_House has no column HouseFloor");
    }

    void refuses_text_in_a_number_column()
    {
        REQUIRE_FIXTURES();
        const QString old = makeOldFolder("textnumber");
        QByteArray file = readAll(old + "/House.MDB");
        int typeOffset = -1;
        QVERIFY(columnDescriptor(file, "HouseFloor", &typeOffset) > 0);
        QCOMPARE(int(file[typeOffset]), 0x04);  // a long integer column
        file[typeOffset] = 0x0A;                // now declared as text: its four bytes read as text
        QVERIFY(writeAll(old + "/House.MDB", file));
        expectRefusal(old, "t_House.HouseFloor of row 1 (HouseID 1) does not fit: the text");
    }

    void refuses_missing_and_unreadable_sources()
    {
        expectRefusal(work.filePath("no-such-folder"), "does not exist");
        const QString emptyFolder = work.filePath("nomdb");
        QDir().mkpath(emptyFolder);
        expectRefusal(emptyFolder, "holds no House.MDB");
    }

    // The real program, as a user runs it: output, exit codes, and permissions (as an unprivileged
    // user when the tests run as root, since root reads and writes everything).
    void program_reports_and_refuses()
    {
        REQUIRE_FIXTURES();
        QVERIFY2(QFileInfo::exists(importer), "tavrelo-import is not built beside tavrelo");
        const QString old = makeOldFolder("program");
        QDir(old).mkdir("Images");
        QVERIFY(writeAll(old + "/Images/000001_0001.jpg", "one"));
        ProgramFolder program;
        QProcess p;
        p.start(importer, {old, program.Path()});
        QVERIFY(p.waitForFinished(60000));
        const QString out = QString::fromLocal8Bit(p.readAllStandardOutput());
        QCOMPARE(p.exitCode(), 0);
        QVERIFY2(out.contains("t_House        : 12 rows"), qPrintable(out));
        QVERIFY2(out.contains("Files copied: 1"), qPrintable(out));
        QVERIFY2(out.contains("Files missing: 10"), qPrintable(out));  // 9 pictures and 2 tunes named
        QVERIFY2(out.contains("Images/000013_0001.JPG"), qPrintable(out));

        // A second run refuses, with a non-zero exit.
        p.start(importer, {old, program.Path()});
        QVERIFY(p.waitForFinished(60000));
        QCOMPARE(p.exitCode(), 1);
        QVERIFY(QString::fromLocal8Bit(p.readAllStandardError()).contains("--replace"));

        p.start(importer, {});
        QVERIFY(p.waitForFinished(60000));
        QCOMPARE(p.exitCode(), 2);
    }

    void program_folder_without_write_access_and_unreadable_folders()
    {
        REQUIRE_FIXTURES();
        QVERIFY2(QFileInfo::exists(importer), "tavrelo-import is not built beside tavrelo");
        QStringList runner;
        if (::geteuid() == 0) {
            QVERIFY2(!QStandardPaths::findExecutable("setpriv").isEmpty(),
                     "running as root needs setpriv (util-linux)");
            runner = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "--"};
        }
        QTemporaryDir base;
        QFile::setPermissions(base.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                               QFile::ReadOther | QFile::ExeOther);
        const QString old = base.filePath("old");
        QDir().mkpath(old + "/Images");
        QVERIFY(QFile::copy(fixtureDir() + "/House.MDB", old + "/House.MDB"));
        const auto readable = QFile::ReadOwner | QFile::ReadOther | QFile::ExeOwner | QFile::ExeOther;
        QFile::setPermissions(old + "/House.MDB", QFile::ReadOwner | QFile::ReadOther);
        QFile::setPermissions(old, readable | QFile::WriteOwner);
        QFile::setPermissions(old + "/Images", readable | QFile::WriteOwner);
        const QString target = base.filePath("program");
        QDir().mkpath(target);
        QFile::setPermissions(target, readable | QFile::WriteOwner);  // nobody may not write here

        auto run = [&](const QStringList& args, QString* err) {
            QProcess p;
            QStringList all = runner + QStringList{importer} + args;
            p.start(all.takeFirst(), all);
            p.waitForFinished(60000);
            *err = QString::fromLocal8Bit(p.readAllStandardError());
            return p.exitCode();
        };
        QString err;
        QCOMPARE(run({old, target}, &err), 1);
        QVERIFY2(err.contains("cannot write into the program folder"), qPrintable(err));
        QVERIFY(QDir(target).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).isEmpty());

        QFile::setPermissions(target, readable | QFile::WriteOwner | QFile::WriteOther);
        QFile::setPermissions(old + "/Images", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QCOMPARE(run({old, target}, &err), 1);
        QVERIFY2(err.contains("cannot be read"), qPrintable(err));
        QVERIFY(QDir(target).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).isEmpty());

        QFile::setPermissions(old, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QCOMPARE(run({old, target}, &err), 1);
        QVERIFY2(err.contains("cannot be read") || err.contains("does not exist"), qPrintable(err));
        QVERIFY(QDir(target).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).isEmpty());
        QFile::setPermissions(old, readable | QFile::WriteOwner);
        QFile::setPermissions(old + "/Images", readable | QFile::WriteOwner);
    }
};

QTEST_MAIN(tst_legacy_import)
#include "tst_legacy_import.moc"
