// Text compares without regard to case for all of Unicode: the collation itself, Like, the
// statements through the data layer, the move of an earlier build's catalogue, and what a program
// that does not know the collation (the sqlite3 shell) sees.
#include <sqlite3.h>

#include <QFile>
#include <QRandomGenerator>
#include <QTest>

#include "TestSupport.h"
#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "core/db/TextCollation.h"
#include "core/db/schema_sql.h"

using testsupport::ProgramFolder;

namespace {

int compare(const QString& a, const QString& b)
{
    const QByteArray x = a.toUtf8();
    const QByteArray y = b.toUtf8();
    const int c = db::CompareFolded(x.constData(), int(x.size()), y.constData(), int(y.size()));
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

// The ordering written plainly: fold every code point, then compare code point by code point.
int reference(const QString& a, const QString& b)
{
    QList<uint> x = a.toUcs4();
    QList<uint> y = b.toUcs4();
    for (uint& c : x) c = QChar::toCaseFolded(char32_t(c));
    for (uint& c : y) c = QChar::toCaseFolded(char32_t(c));
    return x < y ? -1 : (y < x ? 1 : 0);
}

bool like(const QString& text, const QString& pattern)
{
    const QByteArray t = text.toUtf8();
    const QByteArray p = pattern.toUtf8();
    return db::LikeFolded(p.constData(), int(p.size()), t.constData(), int(t.size()));
}

QStringList column(db::Connection& cn, const QString& sql)
{
    QStringList values;
    db::Recordset rs;
    if (!cn.Execute(sql, rs)) return {QStringLiteral("<failed: ") + cn.LastError() + QLatin1Char('>')};
    while (!rs.Eof()) {
        values << rs.Field(0).toString();
        rs.MoveNext();
    }
    return values;
}

// A catalogue as the builds before this collation wrote it: the same tables with COLLATE NOCASE
// and schema version 1.
void writeVersionOneCatalogue(const QString& path)
{
    QString schema = QString::fromUtf8(db::kSchemaSql);
    schema.replace(QLatin1String(db::kTextCollation), QLatin1String("NOCASE"));
    schema.replace(QStringLiteral("PRAGMA user_version = %1;").arg(db::kSchemaVersion),
                   QLatin1String("PRAGMA user_version = 1;"));
    QFile::remove(path);
    sqlite3* h = nullptr;
    QCOMPARE(sqlite3_open(QFile::encodeName(path).constData(), &h), SQLITE_OK);
    QCOMPARE(sqlite3_exec(h, schema.toUtf8().constData(), nullptr, nullptr, nullptr), SQLITE_OK);
    const char* rows =
        "INSERT INTO t_HouseType (TypeID, List, HouseType, MusicTitle, MusicFile) VALUES "
        "(1, 1, 'Élan', 't', 'a.mp3'), (2, 2, 'Villa', '', ''), (7, 3, 'Ёлка', '', '');"
        "DELETE FROM t_HouseType WHERE TypeID = 7;"
        "INSERT INTO t_HouseType (TypeID, List, HouseType, MusicTitle, MusicFile) VALUES (3, 3, 'Ёлка', '', "
        "'');"
        "INSERT INTO t_House (HouseID, HouseName, HouseNo, Intro, HouseFloor, TypeID) VALUES "
        "(1, 'Élysée Court', '0101', 'a', 1, 1), (2, 'ÉLYSÉE COURT', '0102', 'b', 1, 2),"
        "(3, 'garden', '0201', 'c', 2, 3), (40, 'x', '9', '', 1, 1);"
        "DELETE FROM t_House WHERE HouseID = 40;"
        "INSERT INTO t_Content (HouseID, Caption, Content, List) VALUES (1, 'Ａrea', '80', 1), (2, 'ａREA', "
        "'90', 1);"
        "INSERT INTO t_Image (HouseID, Caption, Intro, ImageFile, List) VALUES (1, 'Σ', 'i', 'p.png', 1);"
        "INSERT INTO t_Content_Auto (TypeID, Caption, Content) VALUES (1, 'Ａrea', '');";
    QCOMPARE(sqlite3_exec(h, rows, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(h);
}

// Runs one statement on a plain SQLite connection that knows nothing of the program's collation,
// as the sqlite3 shell does; returns the first value or the error text.
QString plainSqlite(const QString& path, const char* sql)
{
    sqlite3* h = nullptr;
    sqlite3_open_v2(QFile::encodeName(path).constData(), &h, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* stmt = nullptr;
    QString result;
    if (sqlite3_prepare_v2(h, sql, -1, &stmt, nullptr) != SQLITE_OK) {
        result = QStringLiteral("error: ") + QString::fromUtf8(sqlite3_errmsg(h));
    } else if (sqlite3_step(stmt) == SQLITE_ROW) {
        result = QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0)));
    } else {
        result = QStringLiteral("error: ") + QString::fromUtf8(sqlite3_errmsg(h));
    }
    sqlite3_finalize(stmt);
    sqlite3_close(h);
    return result;
}

}  // namespace

class tst_text_collation : public QObject {
    Q_OBJECT

private slots:
    void letters_of_every_script_compare_without_case()
    {
        QCOMPARE(compare("Élan", "éLAN"), 0);
        QCOMPARE(compare("ÉLYSÉE", "élysée"), 0);
        QCOMPARE(compare("ＡＢＣ", "ａｂｃ"), 0);  // full-width Latin
        QCOMPARE(compare("ΣΟΦΊΑ", "σοφία"), 0);    // Greek
        QCOMPARE(compare("ΟΔΟΣ", "οδος"), 0);      // final sigma folds like sigma
        QCOMPARE(compare("ПРИВЕТ", "привет"), 0);  // Cyrillic
        QCOMPARE(compare("Garden", "gARDEN"), 0);
        QCOMPARE(compare("楼宇0001", "楼宇0001"), 0);
        QCOMPARE(compare("K", "\u212A"), 0);  // the Kelvin sign is a K
        QCOMPARE(compare("é", "e"), 1);       // accents still count
        QCOMPARE(compare("a", "B"), -1);
        QCOMPARE(compare("Élan", "élans"), -1);
        QCOMPARE(compare("", "a"), -1);
        QCOMPARE(compare("楼宇0002", "楼宇0010"), -1);
        QCOMPARE(compare("楼宇", "楼层"), reference("楼宇", "楼层"));
    }

    void the_fast_paths_agree_with_the_plain_ordering()
    {
        // Random texts over an alphabet where bytes of different characters share prefixes
        // (é/É, а/А, ａ/Ａ), where folding crosses the ASCII border (K and the Kelvin sign) and
        // where nothing folds (Chinese): every pair must order as the plain definition does.
        const QStringList alphabet = {"a", "A",  "b",  "Z", "_", "0", "é", "É", "è",      "а",  "А",  "я",
                                      "Я", "ａ", "Ａ", "σ", "Σ", "ς", "K", "k", "\u212A", "楼", "宇", "😀"};
        const quint32 seed = 20261122;
        QRandomGenerator random(seed);
        QStringList texts;
        for (int n = 0; n < 400; ++n) {
            QString text;
            const int length = random.bounded(6);
            for (int k = 0; k < length; ++k) text += alphabet[random.bounded(int(alphabet.size()))];
            texts << text;
        }
        for (const QString& a : texts) {
            for (int k = 0; k < 40; ++k) {
                const QString& b = texts[random.bounded(int(texts.size()))];
                if (compare(a, b) != reference(a, b))
                    QFAIL(qPrintable(QStringLiteral("'%1' against '%2': %3, plainly %4")
                                         .arg(a, b)
                                         .arg(compare(a, b))
                                         .arg(reference(a, b))));
                QCOMPARE(compare(b, a), -compare(a, b));
            }
        }
    }

    void invalid_bytes_compare_consistently()
    {
        const QByteArray samples[] = {"\xC3",
                                      "\xC3\xA9",
                                      "\xC3"
                                      "A",
                                      "\x80",
                                      "\x80\x80",
                                      "\xE2\x82",
                                      "\xE2\x82\xAC",
                                      "\xFF",
                                      "a\xC3",
                                      "A\xC3"};
        for (const QByteArray& a : samples) {
            for (const QByteArray& b : samples) {
                const int ab = db::CompareFolded(a.constData(), int(a.size()), b.constData(), int(b.size()));
                const int ba = db::CompareFolded(b.constData(), int(b.size()), a.constData(), int(a.size()));
                QCOMPARE(ab<0, ba> 0);
                QCOMPARE(ab == 0, ba == 0);
                if (a == b) QCOMPARE(ab, 0);
            }
        }
        QCOMPARE(db::CompareFolded("a\xC3", 2, "A\xC3", 2), 0);
        QVERIFY(db::CompareFolded("\xC3"
                                  "A",
                                  2, "\xC3\xA9", 2) != 0);
    }

    void like_folds_every_script_and_keeps_its_wildcards()
    {
        QVERIFY(like("Élysée Court", "%élysée%"));
        QVERIFY(like("ÉLYSÉE COURT", "%élysée%"));
        QVERIFY(like("Ｇarden", "%ｇARDEN"));
        QVERIFY(like("Дом у моря", "%ДОМ%"));
        QVERIFY(like("ΟΔΟΣ", "οδοσ"));
        QVERIFY(like("楼宇0042", "楼_0042"));
        QVERIFY(like("楼宇0042", "%"));
        QVERIFY(like("", "%"));
        QVERIFY(like("abcabd", "%abd"));
        QVERIFY(like("a%b", "a%%b"));
        QVERIFY(!like("Elysee Court", "%élysée%"));
        QVERIFY(!like("楼宇0042", "楼_042"));
        QVERIFY(!like("abc", "ab"));
        QVERIFY(!like("", "_"));
        const QByteArray text = "50% off";
        QVERIFY(db::LikeFolded("50\\%%", 5, text.constData(), int(text.size()), U'\\'));
        QVERIFY(!db::LikeFolded("50\\%", 4, text.constData(), int(text.size()), U'\\'));
    }

    void statements_of_the_windows_find_and_sort_every_script()
    {
        ProgramFolder f;
        QVERIFY(
            f.Exec("INSERT INTO t_HouseType (List, HouseType, MusicTitle, MusicFile) VALUES "
                   "(1, 'Élan', '', ''), (2, 'ВИЛЛА', '', '')"));
        QVERIFY(
            f.Exec("INSERT INTO t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) VALUES "
                   "('Élysée Court', 'Ａ1', '', 1, 1), ('ÉLYSÉE COURT', 'ａ1', '', 2, 1), "
                   "('élysée court', 'a1', '', 3, 2), ('Birch', 'B2', '', 1, 2), ('ábaco', 'C3', '', 1, 2)"));
        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        QCOMPARE(column(cn, "Select TypeID From t_HouseType Where HouseType = 'éLAN'"), QStringList{"1"});
        QCOMPARE(column(cn, "Select TypeID From t_HouseType Where HouseType = 'вилла'"), QStringList{"2"});
        QCOMPARE(column(cn, "Select Count(*) From t_House Where HouseName Like '%élysée%'"),
                 QStringList{"3"});
        QCOMPARE(column(cn, "Select Count(*) From t_House Where HouseName = 'élysée court'"),
                 QStringList{"3"});
        QCOMPARE(column(cn, "Select Distinct HouseName From t_House Order By HouseName").size(), 3);
        // Full-width "Ａ" is its own letter (folding to "ａ"), not a plain "a".
        const QStringList numbers = column(cn, "Select Distinct HouseNo From t_House Order By HouseNo");
        QCOMPARE(numbers.mid(0, 3), (QStringList{"a1", "B2", "C3"}));
        QCOMPARE(numbers.size(), 4);
        QVERIFY(numbers[3] == QStringLiteral("Ａ1") || numbers[3] == QStringLiteral("ａ1"));
        // Accented letters sort after "z" by their folded code point, the same for either case.
        QCOMPARE(column(cn, "Select HouseName From t_House Order By HouseName, HouseID"),
                 (QStringList{"Birch", "ábaco", "Élysée Court", "ÉLYSÉE COURT", "élysée court"}));
        QCOMPARE(column(cn, "Select Count(*) From t_House Where HouseName = 'ÁBACO'"), QStringList{"1"});
        cn.Close();
        QCOMPARE(f.Value("PRAGMA integrity_check").toString(), QStringLiteral("ok"));
    }

    void every_text_column_names_the_one_collation()
    {
        ProgramFolder f;
        sqlite3* h = nullptr;
        QCOMPARE(sqlite3_open(QFile::encodeName(f.DatabasePath()).constData(), &h), SQLITE_OK);
        int textColumns = 0;
        for (const char* table : db::kTableNames) {
            sqlite3_stmt* stmt = nullptr;
            QCOMPARE(
                sqlite3_prepare_v2(h, QByteArray("SELECT name, type FROM pragma_table_info('") + table + "')",
                                   -1, &stmt, nullptr),
                SQLITE_OK);
            while (sqlite3_step(stmt) == SQLITE_ROW) {
                const QByteArray name = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0));
                const QByteArray type = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 1));
                const char* collation = nullptr;
                QCOMPARE(sqlite3_table_column_metadata(h, nullptr, table, name.constData(), nullptr,
                                                       &collation, nullptr, nullptr, nullptr),
                         SQLITE_OK);
                if (type == "TEXT") {
                    ++textColumns;
                    QCOMPARE(QByteArray(collation), QByteArray(db::kTextCollation));
                } else {
                    QCOMPARE(QByteArray(collation), QByteArray("BINARY"));
                }
            }
            sqlite3_finalize(stmt);
        }
        sqlite3_close(h);
        QCOMPARE(textColumns, 13);
        QCOMPARE(f.Value("PRAGMA user_version").toInt(), db::kSchemaVersion);
    }

    void an_earlier_catalogue_is_moved_on_open_with_its_rows_and_key_counters()
    {
        ProgramFolder f;
        writeVersionOneCatalogue(f.DatabasePath());
        QCOMPARE(f.Value("PRAGMA user_version").toInt(), 1);
        const auto before = f.Rows("SELECT * FROM t_House ORDER BY HouseID");
        const auto sequences = f.Rows("SELECT name, seq FROM sqlite_sequence ORDER BY name");
        const QString indexCount =
            "SELECT count(*) FROM sqlite_master WHERE type = 'index' AND tbl_name IN ('t_HouseType', "
            "'t_House', 't_Content', 't_Image', 't_Content_Auto')";
        const int indexes = f.Value(indexCount).toInt();

        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        QCOMPARE(f.Rows("SELECT name, seq FROM sqlite_sequence ORDER BY name"), sequences);
        QCOMPARE(column(cn, "Select TypeID From t_HouseType Where HouseType = 'éLAN'"), QStringList{"1"});
        QCOMPARE(column(cn, "Select TypeID From t_HouseType Where HouseType = 'ёлка'"), QStringList{"3"});
        QCOMPARE(column(cn, "Select Distinct HouseName From t_House Where HouseName = 'élysée court'").size(),
                 1);
        QCOMPARE(column(cn, "Select Distinct Caption From t_Content"), QStringList{"Ａrea"});
        QVERIFY(
            cn.Execute("Insert Into t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) Values "
                       "('new', '1', '', 1, 1)"));
        QVERIFY(cn.Execute(
            "Insert Into t_HouseType (List, HouseType, MusicTitle, MusicFile) Values (4, 'n', '', '')"));
        cn.Close();

        QCOMPARE(f.Value("PRAGMA user_version").toInt(), db::kSchemaVersion);
        QCOMPARE(f.Value("PRAGMA integrity_check").toString(), QStringLiteral("ok"));
        QCOMPARE(f.Rows("SELECT * FROM t_House WHERE HouseID < 41 ORDER BY HouseID"), before);
        // Deleted keys stay used: house 40 and type 7 were deleted before the move.
        QCOMPARE(f.Value("SELECT max(HouseID) FROM t_House").toInt(), 41);
        QCOMPARE(f.Value("SELECT max(TypeID) FROM t_HouseType").toInt(), 8);
        QCOMPARE(f.Value(indexCount).toInt(), indexes);
        QCOMPARE(f.Value("SELECT count(*) FROM sqlite_master WHERE name LIKE '%_v1'").toInt(), 0);
        QCOMPARE(f.Value("SELECT count(*) FROM t_Image").toInt(), 1);
        QCOMPARE(f.Value("SELECT count(*) FROM t_Content_Auto").toInt(), 1);

        // A second open finds nothing to move.
        QVERIFY(cn.Open(f.DatabasePath()));
        QCOMPARE(column(cn, "Select Count(*) From t_House"), QStringList{"4"});
    }

    void an_earlier_catalogue_that_cannot_be_moved_yet_still_opens_and_is_moved_later()
    {
        ProgramFolder f;
        writeVersionOneCatalogue(f.DatabasePath());
        // An earlier build in the middle of reading holds the file: the move cannot finish now.
        sqlite3* reader = nullptr;
        QCOMPARE(sqlite3_open(QFile::encodeName(f.DatabasePath()).constData(), &reader), SQLITE_OK);
        sqlite3_stmt* reading = nullptr;
        QCOMPARE(sqlite3_prepare_v2(reader, "SELECT HouseID FROM t_House", -1, &reading, nullptr), SQLITE_OK);
        QCOMPARE(sqlite3_step(reading), SQLITE_ROW);

        db::Connection cn;
        QVERIFY(cn.Open(f.DatabasePath()));
        // Still the old ordering: A to Z fold, the rest does not.
        QCOMPARE(column(cn, "Select Count(*) From t_House Where HouseName = 'élysée court'"),
                 QStringList{"0"});
        QCOMPARE(column(cn, "Select Count(*) From t_House Where HouseName = 'GARDEN'"), QStringList{"1"});
        cn.Close();
        sqlite3_finalize(reading);
        sqlite3_close(reader);
        QCOMPARE(f.Value("PRAGMA user_version").toInt(), 1);
        QCOMPARE(f.Value("PRAGMA integrity_check").toString(), QStringLiteral("ok"));

        QVERIFY(cn.Open(f.DatabasePath()));
        QCOMPARE(column(cn, "Select Count(*) From t_House Where HouseName = 'élysée court'"),
                 QStringList{"2"});
        cn.Close();
        QCOMPARE(f.Value("PRAGMA user_version").toInt(), db::kSchemaVersion);
    }

    void a_program_without_the_collation_reads_rows_but_refuses_text_comparisons()
    {
        ProgramFolder f;
        QVERIFY(
            f.Exec("INSERT INTO t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) VALUES "
                   "('Élysée Court', '1', '', 1, 1)"));
        QCOMPARE(plainSqlite(f.DatabasePath(), "SELECT HouseName FROM t_House"),
                 QStringLiteral("Élysée Court"));
        QCOMPARE(plainSqlite(f.DatabasePath(), "SELECT count(*) FROM t_House WHERE HouseID = 1"),
                 QStringLiteral("1"));
        QCOMPARE(plainSqlite(f.DatabasePath(), "SELECT count(*) FROM t_House WHERE HouseName = 'x'"),
                 QStringLiteral("error: no such collation sequence: UNICODE_NOCASE"));
        QCOMPARE(plainSqlite(f.DatabasePath(), "SELECT HouseName FROM t_House ORDER BY HouseName"),
                 QStringLiteral("error: no such collation sequence: UNICODE_NOCASE"));
    }
};

QTEST_GUILESS_MAIN(tst_text_collation)
#include "tst_text_collation.moc"
