// The price list's reading and writing, through the library and through the real
// tavrelo-pricelist program: the demo catalogue survives a CSV round trip byte for byte, GB18030
// and UTF-8 sheets import alike, every refused line is reported with its line number while
// nothing is written, updates replace fields and attribute rows but keep pictures, and the XLSX
// output is a workbook whose sheet XML holds the catalogue.
#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include "PriceListFixture.h"
#include "core/db/Connection.h"
#include "core/db/ServerFiles.h"
#include "pricelist/sheet/Csv.h"
#include "pricelist/sheet/PriceList.h"

using namespace pricelistfixture;

namespace {

const QString kHeader = QStringLiteral("序号,楼宇名称,类型,楼层,房间号,说明,朝向,单价,图片\r\n");

pricelist::Plan plan(const QString& sheet, const QString& folder, bool createTypes = false)
{
    db::Connection c;
    db::OpenCatalogue(c, folder);
    pricelist::ImportOptions options;
    options.createTypes = createTypes;
    return pricelist::MakePlan(sheet, c, options);
}

pricelist::WriteResult write(const pricelist::Plan& p, const QString& folder)
{
    db::Connection c;
    db::OpenCatalogue(c, folder);
    return pricelist::WritePlan(p, c, folder);
}

QString unzip(const QString& archive, const QString& member)
{
    const Run r = RunProgram(QStringLiteral("unzip"), {QStringLiteral("-p"), archive, member});
    return r.exitCode == 0 ? r.out : QStringLiteral("unzip failed: ") + r.err;
}

}  // namespace

class tst_pricelist_io : public QObject {
    Q_OBJECT
private slots:
    void demoRoundTripIsByteIdentical();
    void commandLineRoundTripAndReport();
    void gb18030AndUtf8ImportAlike();
    void everyRefusalHasItsLineAndNothingIsWritten();
    void fileLevelErrorsNameTheirLine();
    void updatesReplaceFieldsAndRowsButKeepPictures();
    void xlsxOpensAsAWorkbook();
    void exportOfSomeHousesOnly();
    void theSampleSheetLoads();
};

void tst_pricelist_io::demoRoundTripIsByteIdentical()
{
    QTemporaryDir tmp;
    const QString demo = tmp.filePath(QStringLiteral("demo"));
    const QString empty = tmp.filePath(QStringLiteral("empty"));
    QString why;
    QVERIFY2(MakeDemoFolder(demo, &why), qPrintable(why));
    QVERIFY(MakeEmptyFolder(empty));

    // Written into the demo folder, the sheet finds its pictures in Images beside it.
    const QString first = demo + QStringLiteral("/pricelist.csv");
    QString error;
    QCOMPARE(pricelist::ExportProgramFolder(demo, first, nullptr, &error), 12);
    const QByteArray firstBytes = ReadBytes(first);
    QVERIFY(firstBytes.startsWith(
        "\xEF\xBB\xBF序号,楼宇名称,类型,楼层,房间号,说明,朝向,面积,装修,单价,状态,学区,车位,图片\r\n"));
    QVERIFY(firstBytes.contains("\r\n000001,翠湖苑一号楼,一室一厅,2,201,"));
    QVERIFY(firstBytes.contains("000001_0001.png；000001_0002.png\r\n"));

    // Without --create-types the empty catalogue knows none of the demo's types.
    const pricelist::Plan refused = plan(first, empty);
    QVERIFY(refused.ok);
    QCOMPARE(refused.Count(pricelist::LineKind::Error), 12);
    QCOMPARE(refused.lines.front().reason, QStringLiteral("类型\"一室一厅\"不存在。"));

    const pricelist::Plan p = plan(first, empty, true);
    QVERIFY2(p.ok, qPrintable(p.error));
    QCOMPARE(p.Count(pricelist::LineKind::New), 12);
    QCOMPARE(p.newTypes, (QStringList{QStringLiteral("一室一厅"), QStringLiteral("两室一厅"),
                                      QStringLiteral("三室两厅")}));
    const pricelist::WriteResult w = write(p, empty);
    QVERIFY2(w.ok, qPrintable(w.error));
    QCOMPARE(w.added, 12);
    QCOMPARE(w.typesCreated, 3);
    QCOMPARE(w.picturesCopied, 24);

    const QString second = tmp.filePath(QStringLiteral("second.csv"));
    QCOMPARE(pricelist::ExportProgramFolder(empty, second, nullptr, &error), 12);
    QCOMPARE(ReadBytes(second), firstBytes);

    // The pictures were copied under the wizard's names, byte for byte.
    for (const QString& name : {QStringLiteral("000001_0001.png"), QStringLiteral("000012_0002.png")}) {
        const QByteArray original = ReadBytes(demo + QStringLiteral("/Images/") + name);
        QVERIFY(!original.isEmpty());
        QCOMPARE(ReadBytes(empty + QStringLiteral("/Images/") + name), original);
    }
    // Types go to the end of the order, dense; attribute rows are dense per house.
    QCOMPARE(Count(empty, QStringLiteral("t_HouseType WHERE List BETWEEN 1 AND 3")), qint64(3));
    QCOMPARE(Count(empty, QStringLiteral("t_Content WHERE HouseID = 3 AND List BETWEEN 1 AND 6")), qint64(6));
    QCOMPARE(QDir(empty + QStringLiteral("/Images")).entryList(QDir::Files | QDir::Hidden).size(), 24);
    // A shared catalogue keeps them on its server as well, where the other PCs fetch them.
    if (testsupport::ServerMode()) {
        db::Connection c;
        QVERIFY(db::OpenCatalogue(c, empty));
        QCOMPARE(db::ServerFileNames(c, QStringLiteral("Images")).size(), 24);
        QByteArray stored;
        QVERIFY(db::GetServerFile(c, QStringLiteral("Images"), QStringLiteral("000012_0002.png"), &stored));
        QCOMPARE(stored, ReadBytes(demo + QStringLiteral("/Images/000012_0002.png")));
    }
}

void tst_pricelist_io::commandLineRoundTripAndReport()
{
    QTemporaryDir tmp;
    const QString demo = tmp.filePath(QStringLiteral("demo"));
    const QString empty = tmp.filePath(QStringLiteral("empty"));
    QString why;
    QVERIFY2(MakeDemoFolder(demo, &why), qPrintable(why));
    QVERIFY(MakeEmptyFolder(empty));
    const QString sheet = demo + QStringLiteral("/list.csv");

    Run r = RunPriceList({QStringLiteral("export"), sheet, demo});
    QVERIFY2(r.exitCode == 0, qPrintable(r.err));
    QVERIFY(r.out.contains(QStringLiteral("Wrote 12 houses")));

    r = RunPriceList({QStringLiteral("import"), sheet, empty});
    QCOMPARE(r.exitCode, 1);
    QVERIFY(r.out.contains(QStringLiteral("第 2 行：错误 类型\"一室一厅\"不存在。")));
    QVERIFY(r.err.contains(QStringLiteral("Nothing was written.")));
    QCOMPARE(Count(empty, QStringLiteral("t_House")), qint64(0));

    r = RunPriceList({QStringLiteral("import"), sheet, empty, QStringLiteral("--create-types"),
                      QStringLiteral("--dry-run")});
    QCOMPARE(r.exitCode, 0);
    QVERIFY(r.out.contains(QStringLiteral("第 2 行：新增 翠湖苑一号楼 201")));
    QVERIFY(r.out.contains(QStringLiteral("12 lines (UTF-8): 12 new, 0 update, 0 error")));
    QCOMPARE(Count(empty, QStringLiteral("t_House")), qint64(0));
    QCOMPARE(Count(empty, QStringLiteral("t_HouseType")), qint64(0));

    r = RunPriceList({QStringLiteral("import"), sheet, empty, QStringLiteral("--create-types")});
    QVERIFY2(r.exitCode == 0, qPrintable(r.err));
    QVERIFY(r.out.contains(QStringLiteral("Wrote 12 new and 0 updated houses, 3 new types, 24 pictures")));
    QCOMPARE(Count(empty, QStringLiteral("t_House")), qint64(12));

    // The same sheet again: every line names its house by key, so every line is an update and the
    // pictures, already the same, stay.
    r = RunPriceList({QStringLiteral("import"), sheet, empty});
    QVERIFY2(r.exitCode == 0, qPrintable(r.err));
    QVERIFY(r.out.contains(QStringLiteral("第 13 行：更新 000012 翠湖苑二号楼 1205")));
    QCOMPARE(Count(empty, QStringLiteral("t_House")), qint64(12));
    QCOMPARE(Count(empty, QStringLiteral("t_Image")), qint64(24));

    const QString back = tmp.filePath(QStringLiteral("back.csv"));
    r = RunPriceList({QStringLiteral("export"), back, empty});
    QCOMPARE(r.exitCode, 0);
    QCOMPARE(ReadBytes(back), ReadBytes(sheet));

    QCOMPARE(RunPriceList({QStringLiteral("import")}).exitCode, 2);
    QCOMPARE(RunPriceList({QStringLiteral("export"), back, empty, QStringLiteral("--dry-run")}).exitCode, 2);
    QCOMPARE(RunPriceList({QStringLiteral("merge"), back, empty}).exitCode, 2);
    r = RunPriceList({QStringLiteral("import"), tmp.filePath(QStringLiteral("missing.csv")), empty});
    QCOMPARE(r.exitCode, 1);
    QVERIFY(r.err.contains(QStringLiteral("无法打开文件")));
    r = RunPriceList({QStringLiteral("export"), back, tmp.filePath(QStringLiteral("nowhere"))});
    QCOMPARE(r.exitCode, 1);
}

void tst_pricelist_io::gb18030AndUtf8ImportAlike()
{
    // Quoted fields with a line break, a comma, doubled quotes and apostrophes; a blank line.
    const QString sheet = QStringLiteral(
        "楼宇名称,类型,楼层,房间号,说明,朝向,备注\r\n"
        "金桂园'A'座,两室一厅,3,301,\"南向，\"\"采光\"\"好\n带阳台\",南,O'Neil\r\n"
        "\r\n"
        "金桂园'A'座,两室一厅,17,1702,顶层,\"东,南\",\r\n");
    const QString tabbed = QStringLiteral(
        "楼宇名称\t类型\t楼层\t房间号\t说明\t朝向\t备注\r\n"
        "金桂园'A'座\t两室一厅\t3\t301\t\"南向，\"\"采光\"\"好\n带阳台\"\t南\tO'Neil\r\n"
        "\r\n"
        "金桂园'A'座\t两室一厅\t17\t1702\t顶层\t东,南\t\r\n");
    const QByteArray gb = Gb18030(sheet);
    QVERIFY2(!gb.isEmpty(), "no GB18030 encoder");
    QVERIFY(gb != sheet.toUtf8());
    const QList<QPair<QString, QByteArray>> variants = {
        {QStringLiteral("utf8"), sheet.toUtf8()},
        {QStringLiteral("utf8bom"), QByteArray("\xEF\xBB\xBF") + sheet.toUtf8()},
        {QStringLiteral("gb18030"), gb},
        {QStringLiteral("gb18030tab"), Gb18030(tabbed)},
    };
    QTemporaryDir tmp;
    QStringList reference;
    for (const auto& v : variants) {
        const QString folder = tmp.filePath(v.first);
        QVERIFY(MakeEmptyFolder(folder));
        const QString file = folder + QStringLiteral("/sheet.csv");
        QVERIFY(WriteBytes(file, v.second));
        const pricelist::Plan p = plan(file, folder, true);
        QVERIFY2(p.ok, qPrintable(p.error));
        QCOMPARE(p.encoding, v.first.startsWith(QLatin1String("gb")) ? QStringLiteral("GB18030")
                                                                     : QStringLiteral("UTF-8"));
        QCOMPARE(p.separator, v.first.endsWith(QLatin1String("tab")) ? QLatin1Char('\t') : QLatin1Char(','));
        QCOMPARE(int(p.lines.size()), 2);
        QCOMPARE(p.lines[0].line, 2);
        QCOMPARE(p.lines[1].line, 5);  // the quoted line break and the blank line count
        QVERIFY(write(p, folder).ok);
        const QStringList dump = Dump(folder);
        if (reference.isEmpty()) {
            reference = dump;
            QVERIFY(dump.contains(QStringLiteral("1|金桂园'A'座|301|南向，\"采光\"好\n带阳台|3|1")));
            QVERIFY(dump.contains(QStringLiteral("2|1|备注|O'Neil|2")));
            QVERIFY(dump.contains(QStringLiteral("3|2|朝向|东,南|1")));
        }
        QCOMPARE(dump, reference);
    }
    // "Unicode text" as spreadsheet programs save it: UTF-16 with its mark.
    QByteArray utf16("\xFF\xFE");
    for (const QChar ch : tabbed) {
        utf16.append(char(ch.unicode() & 0xFF));
        utf16.append(char(ch.unicode() >> 8));
    }
    const pricelist::DecodedText unicode = pricelist::DecodeSpreadsheetText(utf16);
    QVERIFY(unicode.ok);
    QCOMPARE(unicode.encoding, QStringLiteral("UTF-16"));
    QCOMPARE(unicode.text, tabbed);
    // Bytes that are neither UTF-8 nor GB18030 are refused, not guessed.
    const pricelist::DecodedText bad = pricelist::DecodeSpreadsheetText(QByteArray("\x81\x30\xFF\xFF,a\r\n"));
    QVERIFY(!bad.ok);
    QCOMPARE(bad.error, QStringLiteral("文件既不是 UTF-8 编码，也不是 GB18030 编码。"));
}

void tst_pricelist_io::everyRefusalHasItsLineAndNothingIsWritten()
{
    QTemporaryDir tmp;
    const QString folder = tmp.filePath(QStringLiteral("demo"));
    QString why;
    QVERIFY2(MakeDemoFolder(folder, &why), qPrintable(why));
    // Two houses share a building and room, so that line cannot say which one it means.
    // A key that names no house makes a new one, here a second 201.
    QVERIFY(WriteBytes(
        folder + QStringLiteral("/dup.csv"),
        QStringLiteral("序号,楼宇名称,类型,楼层,房间号\n999,翠湖苑一号楼,一室一厅,2,201\n").toUtf8()));
    const pricelist::Plan duplicate = plan(folder + QStringLiteral("/dup.csv"), folder);
    QCOMPARE(duplicate.Count(pricelist::LineKind::New), 1);
    QVERIFY(write(duplicate, folder).ok);
    QCOMPARE(Count(folder, QStringLiteral("t_House WHERE HouseName = '翠湖苑一号楼' AND HouseNo = '201'")),
             qint64(2));
    const QStringList before = Dump(folder);
    const QStringList imagesBefore =
        QDir(folder + QStringLiteral("/Images")).entryList(QDir::Files | QDir::Hidden);

    const QString sheet = kHeader + QStringLiteral(
                                        ",,一室一厅,3,301,,,,\r\n"          // 2: no building
                                        ",金桂园,,3,301,,,,\r\n"            // 3: no type
                                        ",金桂园,一室一厅,3,,,,,\r\n"       // 4: no room
                                        ",金桂园,一室一厅,,301,,,,\r\n"     // 5: no floor
                                        ",金桂园,一室一厅,abc,301,,,,\r\n"  // 6: floor not a number
                                        ",金桂园,一室一厅,0,301,,,,\r\n"    // 7: floor too low
                                        ",金桂园,一室一厅,100,301,,,,\r\n"  // 8: floor too high
                                        ",金桂园,一室一厅,2.5,301,\"两行\n说明\",,,\r\n"  // 9: not whole
                                        ",金桂园,别墅,3,301,,,,\r\n"                      // 11: unknown type
                                        ",金桂园,一室一厅,3,301,,,,nowhere.png\r\n"       // 12: no picture
                                        "12a,金桂园,一室一厅,3,301,,,,\r\n"               // 13: bad key
                                        ",翠湖苑一号楼,一室一厅,2,201,,,,\r\n"    // 14: two houses match
                                        ",金桂园,一室一厅,3,301,,,,,extra\r\n");  // 15: too many fields
    const QString file = folder + QStringLiteral("/errors.csv");
    QVERIFY(WriteBytes(file, sheet.toUtf8()));
    const pricelist::Plan p = plan(file, folder);
    QVERIFY2(p.ok, qPrintable(p.error));
    const QList<QPair<int, QString>> expected = {
        {2, QStringLiteral("请在\"名称\"中输入值。")},
        {3, QStringLiteral("请在\"类型\"中输入值。")},
        {4, QStringLiteral("请在\"房间号\"中输入值。")},
        {5, QStringLiteral("请在\"楼层\"中输入值。")},
        {6, QStringLiteral("\"楼层\"只能输入 1 到 99 之间的整数（现在是\"abc\"）。")},
        {7, QStringLiteral("\"楼层\"只能输入 1 到 99 之间的整数（现在是\"0\"）。")},
        {8, QStringLiteral("\"楼层\"只能输入 1 到 99 之间的整数（现在是\"100\"）。")},
        {9, QStringLiteral("\"楼层\"只能输入 1 到 99 之间的整数（现在是\"2.5\"）。")},
        {11, QStringLiteral("类型\"别墅\"不存在。")},
        {12, QStringLiteral("找不到图片文件\"nowhere.png\"。")},
        {13, QStringLiteral("\"序号\"只能输入数字（现在是\"12a\"）。")},
        {14, QStringLiteral("楼宇名称\"翠湖苑一号楼\"、房间号\"201\"对应 2 套房屋，请填写序号。")},
        {15, QStringLiteral("本行的字段比标题行多。")},
    };
    QCOMPARE(int(p.lines.size()), expected.size());
    for (int i = 0; i < expected.size(); ++i) {
        QCOMPARE(p.lines[size_t(i)].kind, pricelist::LineKind::Error);
        QCOMPARE(p.lines[size_t(i)].line, expected[i].first);
        QCOMPARE(p.lines[size_t(i)].reason, expected[i].second);
        QCOMPARE(pricelist::ReportLine(p.lines[size_t(i)]),
                 QStringLiteral("第 %1 行：错误 %2").arg(expected[i].first).arg(expected[i].second));
    }
    // Writing a plan of refused lines writes nothing; neither does the command line.
    const pricelist::WriteResult w = write(p, folder);
    QVERIFY(w.ok);
    QCOMPARE(w.added + w.updated + w.typesCreated, 0);
    const Run r = RunPriceList({QStringLiteral("import"), file, folder});
    QCOMPARE(r.exitCode, 1);
    for (const auto& e : expected)
        QVERIFY2(r.out.contains(QStringLiteral("第 %1 行：错误").arg(e.first)), qPrintable(r.out));
    QVERIFY(r.err.contains(QStringLiteral("Nothing was written.")));
    QCOMPARE(Dump(folder), before);
    QCOMPARE(QDir(folder + QStringLiteral("/Images")).entryList(QDir::Files | QDir::Hidden), imagesBefore);

    // One good line among refused ones: the command line still writes nothing.
    QVERIFY(WriteBytes(file, (sheet + QStringLiteral(",金桂园,一室一厅,3,301,,,,\r\n")).toUtf8()));
    QCOMPARE(RunPriceList({QStringLiteral("import"), file, folder}).exitCode, 1);
    QCOMPARE(Dump(folder), before);
}

void tst_pricelist_io::fileLevelErrorsNameTheirLine()
{
    QTemporaryDir tmp;
    const QString folder = tmp.filePath(QStringLiteral("f"));
    QVERIFY(MakeEmptyFolder(folder));
    const QString file = folder + QStringLiteral("/bad.csv");
    const QList<QPair<QByteArray, QString>> cases = {
        {"\xEF\xBB\xBF楼宇名称,类型,楼层,房间号\n金桂园,一室一厅,3,\"301\n",
         QStringLiteral("第 2 行：引号没有结束。")},
        {"楼宇名称,类型,房间号\n金桂园,一室一厅,301\n", QStringLiteral("第 1 行：缺少列\"楼层\"。")},
        {"\n\n楼宇名称,类型,楼层,楼层,房间号\n", QStringLiteral("第 3 行：列\"楼层\"出现了两次。")},
        {"", QStringLiteral("文件中没有标题行。")},
    };
    for (const auto& c : cases) {
        QVERIFY(WriteBytes(file, c.first));
        const pricelist::Plan p = plan(file, folder, true);
        QVERIFY(!p.ok);
        QCOMPARE(p.error, c.second);
        const Run r =
            RunPriceList({QStringLiteral("import"), file, folder, QStringLiteral("--create-types")});
        QCOMPARE(r.exitCode, 1);
        QVERIFY(r.err.contains(c.second));
    }
    QCOMPARE(Dump(folder), QStringList());
}

void tst_pricelist_io::updatesReplaceFieldsAndRowsButKeepPictures()
{
    QTemporaryDir tmp;
    const QString folder = tmp.filePath(QStringLiteral("demo"));
    QString why;
    QVERIFY2(MakeDemoFolder(folder, &why), qPrintable(why));
    const QByteArray picture3 = ReadBytes(folder + QStringLiteral("/Images/000003_0001.png"));
    QVERIFY(!picture3.isEmpty());
    // A new picture beside the sheet, and one named by an absolute path.
    QDir().mkpath(tmp.filePath(QStringLiteral("in")));
    QVERIFY(QFile::copy(folder + QStringLiteral("/Images/000012_0001.png"),
                        tmp.filePath(QStringLiteral("in/plan.PNG"))));
    QVERIFY(QFile::copy(folder + QStringLiteral("/Images/000011_0002.png"),
                        tmp.filePath(QStringLiteral("far.jpg"))));

    const QString sheet = QStringLiteral(
                              "序号,房间号,楼宇名称,类型,楼层,单价,朝向,图片\n"
                              "000003,501,翠湖苑一号楼,三室两厅,5,\"18,000元/平方米\",南,\n"
                              ",502,翠湖苑一号楼,一室一厅,6,,东'南,plan.PNG；%1\n"
                              ",909,新楼,一室一厅,9,,,\n")
                              .arg(tmp.filePath(QStringLiteral("far.jpg")));
    const QString file = tmp.filePath(QStringLiteral("in/update.csv"));
    QVERIFY(WriteBytes(file, sheet.toUtf8()));
    const pricelist::Plan p = plan(file, folder);
    QVERIFY2(p.ok, qPrintable(p.error));
    QCOMPARE(int(p.lines.size()), 3);
    QCOMPARE(p.lines[0].kind, pricelist::LineKind::Update);
    QCOMPARE(p.lines[0].houseId, 3);
    QCOMPARE(p.lines[1].kind, pricelist::LineKind::Update);
    QCOMPARE(p.lines[1].houseId, 4);
    QCOMPARE(p.lines[2].kind, pricelist::LineKind::New);
    const qint64 introBefore = Count(folder, QStringLiteral("t_House WHERE HouseID = 3 AND Intro <> ''"));
    const pricelist::WriteResult w = write(p, folder);
    QVERIFY2(w.ok, qPrintable(w.error));
    QCOMPARE(w.updated, 2);
    QCOMPARE(w.added, 1);
    QCOMPARE(w.picturesCopied, 2);

    // House 3: fields replaced, the description kept (the sheet has no 说明 column), its rows
    // replaced by the sheet's in column order, its pictures untouched.
    QCOMPARE(Count(folder, QStringLiteral("t_House WHERE HouseID = 3 AND Intro <> ''")), introBefore);
    const QStringList rows3 =
        Rows(folder,
             QStringLiteral("SELECT Caption, Content, List FROM t_Content WHERE HouseID = 3 ORDER BY List"));
    QCOMPARE(rows3, (QStringList{QStringLiteral("单价|18,000元/平方米|1"), QStringLiteral("朝向|南|2")}));
    QCOMPARE(Count(folder, QStringLiteral("t_Image WHERE HouseID = 3")), qint64(2));
    QCOMPARE(ReadBytes(folder + QStringLiteral("/Images/000003_0001.png")), picture3);
    // House 4: matched by building and room; apostrophe stored as typed; new pictures named by
    // the wizard's rule, the extension's case kept.
    QCOMPARE(Count(folder, QStringLiteral("t_House WHERE HouseID = 4 AND HouseFloor = 6 AND TypeID = 1")),
             qint64(1));
    QCOMPARE(
        Count(folder,
              QStringLiteral(
                  "t_Content WHERE HouseID = 4 AND Caption = '朝向' AND Content = '东''南' AND List = 1")),
        qint64(1));
    QCOMPARE(Count(folder, QStringLiteral("t_Content WHERE HouseID = 4")), qint64(1));
    QCOMPARE(Count(folder,
                   QStringLiteral("t_Image WHERE HouseID = 4 AND ImageFile = '000004_0001.PNG' AND List = 1 "
                                  "AND Caption = 'plan'")),
             qint64(1));
    QCOMPARE(Count(folder, QStringLiteral(
                               "t_Image WHERE HouseID = 4 AND ImageFile = '000004_0002.jpg' AND List = 2")),
             qint64(1));
    QCOMPARE(Count(folder, QStringLiteral("t_Image WHERE HouseID = 4")), qint64(2));
    QCOMPARE(ReadBytes(folder + QStringLiteral("/Images/000004_0001.PNG")),
             ReadBytes(tmp.filePath(QStringLiteral("in/plan.PNG"))));
    QCOMPARE(ReadBytes(folder + QStringLiteral("/Images/000004_0002.jpg")),
             ReadBytes(tmp.filePath(QStringLiteral("far.jpg"))));
    // The old picture files stay: nothing is ever deleted.
    QVERIFY(QFileInfo::exists(folder + QStringLiteral("/Images/000004_0001.png")));
    QCOMPARE(Count(folder, QStringLiteral("t_House")), qint64(13));
    QCOMPARE(Count(folder,
                   QStringLiteral("t_House WHERE HouseID = 13 AND HouseName = '新楼' AND HouseNo = '909'")),
             qint64(1));
    // No file is left aside from the copy.
    QCOMPARE(QDir(folder + QStringLiteral("/Images"))
                 .entryList({QStringLiteral(".*part")}, QDir::Files | QDir::Hidden),
             QStringList());
}

void tst_pricelist_io::xlsxOpensAsAWorkbook()
{
    QTemporaryDir tmp;
    const QString demo = tmp.filePath(QStringLiteral("demo"));
    QString why;
    QVERIFY2(MakeDemoFolder(demo, &why), qPrintable(why));
    const QString book = tmp.filePath(QStringLiteral("list.xlsx"));
    const Run r = RunPriceList({QStringLiteral("export"), book, demo});
    QVERIFY2(r.exitCode == 0, qPrintable(r.err));
    QVERIFY(!QFileInfo::exists(book + QStringLiteral(".part")));

    const Run type = RunProgram(QStringLiteral("file"), {QStringLiteral("-b"), book});
    QCOMPARE(type.exitCode, 0);
    QVERIFY2(type.out.contains(QStringLiteral("Excel 2007")), qPrintable(type.out));
    const Run list = RunProgram(QStringLiteral("unzip"), {QStringLiteral("-t"), book});
    QVERIFY2(list.exitCode == 0, qPrintable(list.out + list.err));

    const QString sheet = unzip(book, QStringLiteral("xl/worksheets/sheet1.xml"));
    const QString workbook = unzip(book, QStringLiteral("xl/workbook.xml"));
    QVERIFY2(workbook.contains(QStringLiteral("name=\"价目表\"")), qPrintable(workbook));
    // The workbook is written row by row with its texts in the cells, in the order they were written.
    QRegularExpression cell(
        QStringLiteral("<c r=\"([A-Z]+[0-9]+)\"[^>]*t=\"inlineStr\"><is><t[^>]*>([^<]*)</t></is></c>"));
    QStringList texts;
    QHash<QString, QString> byCell;
    for (auto it = cell.globalMatch(sheet); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        texts << m.captured(2);
        byCell.insert(m.captured(1), m.captured(2));
    }
    QVERIFY2(texts.size() > 14, qPrintable(sheet.left(400)));
    QCOMPARE(texts.mid(0, 14),
             (QStringList{QStringLiteral("序号"), QStringLiteral("楼宇名称"), QStringLiteral("类型"),
                          QStringLiteral("楼层"), QStringLiteral("房间号"), QStringLiteral("说明"),
                          QStringLiteral("朝向"), QStringLiteral("面积"), QStringLiteral("装修"),
                          QStringLiteral("单价"), QStringLiteral("状态"), QStringLiteral("学区"),
                          QStringLiteral("车位"), QStringLiteral("图片")}));
    QCOMPARE(texts.value(14), QStringLiteral("000001"));
    QVERIFY(texts.contains(QStringLiteral("000012_0001.png；000012_0002.png")));
    // Thirteen rows; the floor of house 1 (row 2, column D) is the number 2, its key text.
    QVERIFY(sheet.contains(QStringLiteral("<row r=\"13\"")));
    QVERIFY(!sheet.contains(QStringLiteral("<row r=\"14\"")));
    QVERIFY2(sheet.contains(QStringLiteral("<c r=\"D2\"><v>2</v></c>")), qPrintable(sheet.left(800)));
    QCOMPARE(byCell.value(QStringLiteral("A2")), QStringLiteral("000001"));
    QVERIFY(sheet.contains(QStringLiteral("<c r=\"D13\"><v>12</v></c>")));
}

void tst_pricelist_io::exportOfSomeHousesOnly()
{
    QTemporaryDir tmp;
    const QString demo = tmp.filePath(QStringLiteral("demo"));
    QString why;
    QVERIFY2(MakeDemoFolder(demo, &why), qPrintable(why));
    // A house whose type row is gone is not in the catalogue, and not in its price list.
    {
        db::Connection c;
        QVERIFY(db::OpenCatalogue(c, demo));
        QVERIFY(c.Execute(QStringLiteral("Update t_House Set TypeID = 99 Where HouseID = 2")));
    }
    const QSet<qint32> only = {9, 1, 2, 5};
    const QString file = tmp.filePath(QStringLiteral("some.csv"));
    QString error;
    QCOMPARE(pricelist::ExportProgramFolder(demo, file, &only, &error), 3);
    const QStringList lines =
        QString::fromUtf8(ReadBytes(file).mid(3)).split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 4);
    QVERIFY(lines[1].startsWith(QStringLiteral("000001,")));
    QVERIFY(lines[2].startsWith(QStringLiteral("000005,")));
    QVERIFY(lines[3].startsWith(QStringLiteral("000009,")));
    // Only the captions these houses use; house 2's 学区 is not among them.
    QCOMPARE(lines[0],
             QStringLiteral("序号,楼宇名称,类型,楼层,房间号,说明,朝向,面积,装修,单价,状态,车位,图片"));
    QCOMPARE(pricelist::ExportProgramFolder(demo, file, nullptr, &error), 11);
}

void tst_pricelist_io::theSampleSheetLoads()
{
    QTemporaryDir tmp;
    const QString folder = tmp.filePath(QStringLiteral("f"));
    QVERIFY(MakeEmptyFolder(folder));
    const QString sample =
        qEnvironmentVariable("TAVRELO_SOURCE_DIR") + QStringLiteral("/docs/pricelist-sample.csv");
    QVERIFY2(QFileInfo::exists(sample), qPrintable(sample));
    const Run r = RunPriceList({QStringLiteral("import"), sample, folder, QStringLiteral("--create-types")});
    QVERIFY2(r.exitCode == 0, qPrintable(r.out + r.err));
    QVERIFY(r.out.contains(
        QStringLiteral("4 lines (UTF-8): 4 new, 0 update, 0 error; new types: 两室一厅 三室两厅 一室一厅")));
    QCOMPARE(Rows(folder, QStringLiteral("SELECT Intro FROM t_House WHERE HouseNo = '301'")),
             QStringList{QStringLiteral("南北通透，\n带入户花园")});
    QCOMPARE(
        Rows(folder, QStringLiteral("SELECT Content FROM t_Content WHERE HouseID = 1 AND Caption = '单价'")),
        QStringList{QStringLiteral("16,200元/平方米")});
}

QTEST_GUILESS_MAIN(tst_pricelist_io)
#include "tst_pricelist_io.moc"
