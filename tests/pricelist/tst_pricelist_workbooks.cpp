// Price lists as offices send them: Excel workbooks (.xlsx written here with libxlsxwriter, .xls
// from a fixture) read into the same plan as a CSV, a damaged or encrypted workbook refused with
// nothing written, and exports whose text cells never run as formulas while the round trip stays
// byte for byte.
#include <xlsxwriter.h>

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include "PriceListFixture.h"
#include "core/db/Connection.h"
#include "core/db/Statement.h"
#include "pricelist/sheet/PriceList.h"
#include "pricelist/sheet/Sheet.h"

using namespace pricelistfixture;

namespace {

pricelist::Plan plan(const QString& sheet, const QString& folder, bool createTypes = false,
                     const QString& sheetName = QString())
{
    db::Connection c;
    db::OpenCatalogue(c, folder);
    pricelist::ImportOptions options;
    options.createTypes = createTypes;
    options.sheet = sheetName;
    return pricelist::MakePlan(sheet, c, options);
}

pricelist::WriteResult write(const pricelist::Plan& p, const QString& folder)
{
    db::Connection c;
    db::OpenCatalogue(c, folder);
    return pricelist::WritePlan(p, c, folder);
}

QStringList fieldsOf(const pricelist::SheetTable& t)
{
    QStringList out;
    for (const pricelist::CsvRecord& r : t.records)
        out << QString::number(r.line) + QLatin1Char(':') + r.fields.join(QLatin1Char('|'));
    return out;
}

QString unzip(const QString& archive, const QString& member)
{
    const Run r = RunProgram(QStringLiteral("unzip"), {QStringLiteral("-p"), archive, member});
    return r.exitCode == 0 ? r.out : QStringLiteral("unzip failed: ") + r.err;
}

// A workbook as offices send it: a notes sheet first, the price list second with a merged title
// above the header, text and number cells, a date, a boolean, an empty cell and a formula with the
// value it last computed. Shared strings unless constantMemory, which writes inline strings.
bool writeOfficeWorkbook(const QString& path, bool constantMemory)
{
    lxw_workbook_options options = {};
    options.constant_memory = constantMemory ? LXW_TRUE : LXW_FALSE;
    lxw_workbook* book = workbook_new_opt(QFile::encodeName(path).constData(), &options);
    if (!book) return false;
    lxw_worksheet* notes = workbook_add_worksheet(book, "说明");
    worksheet_write_string(notes, 0, 0, "本表由销售部整理", nullptr);
    lxw_worksheet* sheet = workbook_add_worksheet(book, "价目表");
    lxw_format* date = workbook_add_format(book);
    format_set_num_format(date, "yyyy-mm-dd");
    lxw_format* padded = workbook_add_format(book);
    format_set_num_format(padded, "0000");
    if (!constantMemory)
        worksheet_merge_range(sheet, 0, 0, 0, 7, "金桂园价目表", nullptr);
    else
        worksheet_write_string(sheet, 0, 0, "金桂园价目表", nullptr);
    const char* titles[] = {"楼宇名称", "类型", "楼层", "房间号", "说明", "面积", "交房日期", "精装"};
    for (int c = 0; c < 8; ++c) worksheet_write_string(sheet, 1, lxw_col_t(c), titles[c], nullptr);
    // Row 3: the room typed as text keeps its zero; the floor 12.0 is the number 12.
    worksheet_write_string(sheet, 2, 0, "金桂园1号楼", nullptr);
    worksheet_write_string(sheet, 2, 1, "两室一厅", nullptr);
    worksheet_write_number(sheet, 2, 2, 12.0, nullptr);
    worksheet_write_string(sheet, 2, 3, "0801", nullptr);
    worksheet_write_string(sheet, 2, 4, "南北通透", nullptr);
    worksheet_write_number(sheet, 2, 5, 89.5, nullptr);
    lxw_datetime handover = {2027, 6, 30, 0, 0, 0};
    worksheet_write_datetime(sheet, 2, 6, &handover, date);
    worksheet_write_boolean(sheet, 2, 7, 1, nullptr);
    // Row 4: the floor is a formula whose cached value is 8; the room a number shown as "0802";
    // 说明 is left empty.
    worksheet_write_string(sheet, 3, 0, "金桂园1号楼", nullptr);
    worksheet_write_string(sheet, 3, 1, "三室两厅", nullptr);
    worksheet_write_formula_num(sheet, 3, 2, "=4*2", nullptr, 8);
    worksheet_write_number(sheet, 3, 3, 802, padded);
    worksheet_write_number(sheet, 3, 5, 120, nullptr);
    worksheet_write_boolean(sheet, 3, 7, 0, nullptr);
    return workbook_close(book) == LXW_NO_ERROR;
}

const QStringList kOfficeRows = {
    QStringLiteral("1:金桂园价目表"),
    QStringLiteral("2:楼宇名称|类型|楼层|房间号|说明|面积|交房日期|精装"),
    QStringLiteral("3:金桂园1号楼|两室一厅|12|0801|南北通透|89.5|2027-06-30|TRUE"),
    QStringLiteral("4:金桂园1号楼|三室两厅|8|0802||120||FALSE"),
};

// A house whose texts begin with what a spreadsheet program takes for a formula.
const QStringList kDangerous = {
    QStringLiteral("=HYPERLINK(\"http://evil.example\",\"看房\")"),
    QStringLiteral("+86 10 1234"),
    QStringLiteral("-5"),
    QStringLiteral("@SUM(A1:A2)"),
    QStringLiteral("\t=1+1"),
    QStringLiteral("\r=1+1"),
    QStringLiteral("'=already guarded"),
    QStringLiteral("''-twice"),
    QStringLiteral("'plain"),
};

}  // namespace

class tst_pricelist_workbooks : public QObject {
    Q_OBJECT
private slots:
    void xlsxCellsReadAsTheSheetShowsThem();
    void xlsxSheetIsChosenByName();
    void xlsxImportsLikeTheSameCsv();
    void ownXlsxExportImportsBackByteIdentical();
    void xlsFixtureReadsToTheSameCatalogue();
    void damagedAndEncryptedWorkbooksAreRefused();
    void csvExportGuardsEveryFormulaStart();
    void xlsxExportWritesThemAsStrings();
    void guardedExportRoundTripsExactly();
    void exportRefusesAnExtensionItDoesNotWrite();
    void numberAndDateTexts();
    void listFromAnotherCatalogueIsNamedAndTakenAsNew();
    void ownListIsNotAnotherCatalogues();
};

void tst_pricelist_workbooks::xlsxCellsReadAsTheSheetShowsThem()
{
    QTemporaryDir tmp;
    for (const bool constantMemory : {false, true}) {
        const QString book =
            tmp.filePath(constantMemory ? QStringLiteral("inline.xlsx") : QStringLiteral("shared.xlsx"));
        QVERIFY(writeOfficeWorkbook(book, constantMemory));
        // Shared strings in one, inline strings in the other: the same rows either way.
        const QString xml = unzip(book, QStringLiteral("xl/worksheets/sheet2.xml"));
        QVERIFY2(xml.contains(constantMemory ? QStringLiteral("t=\"inlineStr\"") : QStringLiteral("t=\"s\"")),
                 qPrintable(xml.left(300)));
        QVERIFY(xml.contains(QStringLiteral("<f>")));
        const pricelist::SheetTable t = pricelist::ReadSheet(book, QStringLiteral("价目表"));
        QVERIFY2(t.ok, qPrintable(t.error));
        QCOMPARE(t.format, QStringLiteral("XLSX"));
        QVERIFY(!t.text);
        QCOMPARE(fieldsOf(t), kOfficeRows);
    }
}

void tst_pricelist_workbooks::xlsxSheetIsChosenByName()
{
    QTemporaryDir tmp;
    const QString book = tmp.filePath(QStringLiteral("book.xlsx"));
    QVERIFY(writeOfficeWorkbook(book, false));
    // The first sheet unless one is named.
    const pricelist::SheetTable first = pricelist::ReadSheet(book);
    QVERIFY(first.ok);
    QCOMPARE(fieldsOf(first), QStringList{QStringLiteral("1:本表由销售部整理")});
    const pricelist::SheetTable missing = pricelist::ReadSheet(book, QStringLiteral("三月"));
    QVERIFY(!missing.ok);
    QCOMPARE(missing.error, QStringLiteral("工作簿中没有工作表\"三月\"（有：说明、价目表）。"));

    const QString folder = tmp.filePath(QStringLiteral("f"));
    QVERIFY(MakeEmptyFolder(folder));
    const Run r = RunPriceList({QStringLiteral("import"), book, folder, QStringLiteral("--sheet"),
                                QStringLiteral("价目表"), QStringLiteral("--create-types")});
    QVERIFY2(r.exitCode == 0, qPrintable(r.err + r.out));
    QVERIFY2(r.out.contains(QStringLiteral("2 lines (XLSX): 2 new, 0 update, 0 error")), qPrintable(r.out));
    QCOMPARE(
        Rows(folder, QStringLiteral("SELECT HouseName, HouseNo, HouseFloor FROM t_House ORDER BY HouseID")),
        (QStringList{QStringLiteral("金桂园1号楼|0801|12"), QStringLiteral("金桂园1号楼|0802|8")}));
    // Without the name the notes sheet is read, which has no price list in it.
    const Run notes = RunPriceList({QStringLiteral("import"), book, folder, QStringLiteral("--dry-run")});
    QCOMPARE(notes.exitCode, 1);
    QVERIFY2(notes.err.contains(QStringLiteral("缺少列")), qPrintable(notes.err));
}

void tst_pricelist_workbooks::xlsxImportsLikeTheSameCsv()
{
    QTemporaryDir tmp;
    const QString book = tmp.filePath(QStringLiteral("book.xlsx"));
    QVERIFY(writeOfficeWorkbook(book, false));
    const QString csv = tmp.filePath(QStringLiteral("book.csv"));
    QVERIFY(WriteBytes(csv, QStringLiteral("金桂园价目表\r\n"
                                           "楼宇名称,类型,楼层,房间号,说明,面积,交房日期,精装\r\n"
                                           "金桂园1号楼,两室一厅,12,0801,南北通透,89.5,2027-06-30,TRUE\r\n"
                                           "金桂园1号楼,三室两厅,8,0802,,120,,FALSE\r\n")
                                .toUtf8()));
    const QString a = tmp.filePath(QStringLiteral("a"));
    const QString b = tmp.filePath(QStringLiteral("b"));
    QVERIFY(MakeEmptyFolder(a));
    QVERIFY(MakeEmptyFolder(b));
    const pricelist::Plan fromBook = plan(book, a, true, QStringLiteral("价目表"));
    QVERIFY2(fromBook.ok, qPrintable(fromBook.error));
    QCOMPARE(fromBook.Count(pricelist::LineKind::New), 2);
    QCOMPARE(fromBook.lines.front().line, 3);
    QVERIFY(write(fromBook, a).ok);
    const pricelist::Plan fromCsv = plan(csv, b, true);
    QVERIFY2(fromCsv.ok, qPrintable(fromCsv.error));
    QVERIFY(write(fromCsv, b).ok);
    QCOMPARE(Dump(a), Dump(b));
    QCOMPARE(Rows(a, QStringLiteral("SELECT HouseID, Content FROM t_Content WHERE Caption = '交房日期'")),
             QStringList{QStringLiteral("1|2027-06-30")});
}

void tst_pricelist_workbooks::ownXlsxExportImportsBackByteIdentical()
{
    QTemporaryDir tmp;
    const QString demo = tmp.filePath(QStringLiteral("demo"));
    const QString empty = tmp.filePath(QStringLiteral("empty"));
    QString why;
    QVERIFY2(MakeDemoFolder(demo, &why), qPrintable(why));
    QVERIFY(MakeEmptyFolder(empty));
    QString error;
    const QString csv = tmp.filePath(QStringLiteral("demo.csv"));
    QCOMPARE(pricelist::ExportProgramFolder(demo, csv, nullptr, &error), 12);
    // Beside its Images folder, so that the workbook's pictures are found.
    const QString book = demo + QStringLiteral("/demo.xlsx");
    QCOMPARE(pricelist::ExportProgramFolder(demo, book, nullptr, &error), 12);

    const pricelist::Plan p = plan(book, empty, true);
    QVERIFY2(p.ok, qPrintable(p.error));
    QCOMPARE(p.encoding, QStringLiteral("XLSX"));
    QCOMPARE(p.Count(pricelist::LineKind::New), 12);
    const pricelist::WriteResult w = write(p, empty);
    QVERIFY2(w.ok, qPrintable(w.error));
    QCOMPARE(w.picturesCopied, 24);
    const QString again = tmp.filePath(QStringLiteral("again.csv"));
    QCOMPARE(pricelist::ExportProgramFolder(empty, again, nullptr, &error), 12);
    QCOMPARE(ReadBytes(again), ReadBytes(csv));
}

void tst_pricelist_workbooks::xlsFixtureReadsToTheSameCatalogue()
{
    // units.xls was written by tests/pricelist/data/make_units_xls.py with xlwt (Debian's
    // python3-xlwt), a BIFF8 writer like Excel 97-2003: a merged title row over the header, the
    // floor 12.0 as a number, the room "0801" as text, a date cell formatted yyyy-mm-dd, an empty
    // cell, and a second sheet "备注".
    const QString fixture =
        qEnvironmentVariable("TAVRELO_SOURCE_DIR") + QStringLiteral("/tests/pricelist/data/units.xls");
    QVERIFY(QFileInfo::exists(fixture));
    const pricelist::SheetTable t = pricelist::ReadSheet(fixture);
    QVERIFY2(t.ok, qPrintable(t.error));
    QCOMPARE(t.format, QStringLiteral("XLS"));
    QCOMPARE(fieldsOf(t),
             (QStringList{QStringLiteral("1:金桂园价目表"),
                          QStringLiteral("2:楼宇名称|类型|楼层|房间号|说明|面积|单价|交房日期"),
                          QStringLiteral("3:金桂园1号楼|两室一厅|12|0801|南北通透|89.5|15800|2027-06-30"),
                          QStringLiteral("4:金桂园1号楼|三室两厅|8|0802||120|16200|2027-06-30"),
                          QStringLiteral("5:金桂园2号楼|两室一厅|3|0301|带花园|95.25|14900")}));
    QCOMPARE(fieldsOf(pricelist::ReadSheet(fixture, QStringLiteral("备注"))),
             QStringList{QStringLiteral("1:本表由销售部整理")});

    QTemporaryDir tmp;
    const QString csv = tmp.filePath(QStringLiteral("units.csv"));
    QVERIFY(WriteBytes(csv, QStringLiteral("楼宇名称,类型,楼层,房间号,说明,面积,单价,交房日期\r\n"
                                           "金桂园1号楼,两室一厅,12,0801,南北通透,89.5,15800,2027-06-30\r\n"
                                           "金桂园1号楼,三室两厅,8,0802,,120,16200,2027-06-30\r\n"
                                           "金桂园2号楼,两室一厅,3,0301,带花园,95.25,14900,\r\n")
                                .toUtf8()));
    const QString a = tmp.filePath(QStringLiteral("a"));
    const QString b = tmp.filePath(QStringLiteral("b"));
    QVERIFY(MakeEmptyFolder(a));
    QVERIFY(MakeEmptyFolder(b));
    const Run r = RunPriceList({QStringLiteral("import"), fixture, a, QStringLiteral("--create-types")});
    QVERIFY2(r.exitCode == 0, qPrintable(r.err + r.out));
    QVERIFY2(r.out.contains(QStringLiteral("3 lines (XLS): 3 new")), qPrintable(r.out));
    QVERIFY(write(plan(csv, b, true), b).ok);
    QCOMPARE(Dump(a), Dump(b));
    QCOMPARE(Count(a, QStringLiteral("t_House")), qint64(3));
}

void tst_pricelist_workbooks::damagedAndEncryptedWorkbooksAreRefused()
{
    QTemporaryDir tmp;
    const QString folder = tmp.filePath(QStringLiteral("f"));
    QVERIFY(MakeEmptyFolder(folder));
    const QString whole = tmp.filePath(QStringLiteral("whole.xlsx"));
    QVERIFY(writeOfficeWorkbook(whole, false));
    const QByteArray bytes = ReadBytes(whole);

    // Cut short, as a broken download leaves it.
    const QString cut = tmp.filePath(QStringLiteral("cut.xlsx"));
    QVERIFY(WriteBytes(cut, bytes.left(bytes.size() / 2)));
    // Office saves a workbook with a password as an OLE2 compound file holding an
    // "EncryptionInfo" stream instead of the zip; its directory names the stream in UTF-16.
    QByteArray encrypted("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8);
    encrypted += QByteArray(504, '\0');
    encrypted += QByteArray::fromRawData("E\0n\0c\0r\0y\0p\0t\0i\0o\0n\0I\0n\0f\0o\0", 28);
    encrypted += QByteArray(1024, '\0');
    const QString locked = tmp.filePath(QStringLiteral("locked.xlsx"));
    QVERIFY(WriteBytes(locked, encrypted));
    // An .xls whose compound file is garbage after its signature.
    const QString brokenXls = tmp.filePath(QStringLiteral("broken.xls"));
    QVERIFY(
        WriteBytes(brokenXls, QByteArray("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8) + QByteArray(600, '\x7f')));

    const QList<QPair<QString, QString>> cases = {
        {cut, QStringLiteral("工作簿已损坏，无法读取")},
        {locked, QStringLiteral("工作簿设有密码（已加密），无法读取。")},
        {brokenXls, QStringLiteral("工作簿已损坏或不是 Excel 97-2003 工作簿，无法读取")},
    };
    for (const auto& c : cases) {
        const Run r =
            RunPriceList({QStringLiteral("import"), c.first, folder, QStringLiteral("--create-types")});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains(c.second), qPrintable(c.first + QLatin1Char(' ') + r.err));
        QVERIFY(r.err.contains(QStringLiteral("Nothing was written.")));
    }
    QCOMPARE(Count(folder, QStringLiteral("t_House")), qint64(0));
    QCOMPARE(Count(folder, QStringLiteral("t_HouseType")), qint64(0));
}

namespace {

// A catalogue of one type and two houses whose building, description and attribute values start
// like formulas, and a house on floor -5 (a basement, written into the store directly).
bool makeDangerousFolder(const QString& folder)
{
    if (!MakeEmptyFolder(folder)) return false;
    db::Connection c;
    if (!db::OpenCatalogue(c, folder)) return false;
    db::Statement type, house, content;
    if (!type.Prepare(c, QStringLiteral("INSERT INTO t_HouseType (List, HouseType, MusicTitle, MusicFile) "
                                        "VALUES (1, '-洋房', '', '')")) ||
        !type.Exec() ||
        !house.Prepare(c,
                       QStringLiteral("INSERT INTO t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) "
                                      "VALUES (?, ?, ?, ?, 1)")) ||
        !content.Prepare(c, QStringLiteral("INSERT INTO t_Content (HouseID, Caption, Content, List) "
                                           "VALUES (?, ?, ?, ?)")))
        return false;
    for (int h = 0; h < 2; ++h) {
        house.Bind(1, kDangerous[h]);
        house.Bind(2, QStringLiteral("=1+%1").arg(h));
        house.Bind(3, kDangerous[2 + h]);
        house.Bind(4, h == 0 ? 5 : -5);
        if (!house.Exec()) return false;
        const qint64 houseId = house.LastInsertId();
        for (int i = 0; i < kDangerous.size(); ++i) {
            content.Bind(1, houseId);
            content.Bind(2, QStringLiteral("值%1").arg(i));
            content.Bind(3, kDangerous[(i + h) % kDangerous.size()]);
            content.Bind(4, i + 1);
            if (!content.Exec()) return false;
        }
    }
    return true;
}

}  // namespace

void tst_pricelist_workbooks::csvExportGuardsEveryFormulaStart()
{
    QTemporaryDir tmp;
    const QString folder = tmp.filePath(QStringLiteral("f"));
    QVERIFY(makeDangerousFolder(folder));
    const QString csv = tmp.filePath(QStringLiteral("out.csv"));
    QString error;
    QCOMPARE(pricelist::ExportProgramFolder(folder, csv, nullptr, &error), 2);
    const QString text = QString::fromUtf8(ReadBytes(csv));
    // Every cell that starts like a formula starts with an apostrophe instead; in CSV the cells
    // that hold a quote or a line break are quoted, so the apostrophe follows the quote.
    QVERIFY2(text.contains(QStringLiteral(",\"'=HYPERLINK(\"\"http://evil.example\"\",\"\"看房\"\")\",")),
             qPrintable(text));
    QVERIFY(text.contains(QStringLiteral(",'+86 10 1234,")));
    QVERIFY(text.contains(QStringLiteral(",'-5,")));
    QVERIFY(text.contains(QStringLiteral(",'@SUM(A1:A2)")));
    QVERIFY2(text.contains(QStringLiteral(",'\t=1+1,")),
             qPrintable(QString(text)
                            .replace(QLatin1Char('\t'), QStringLiteral("<TAB>"))
                            .replace(QLatin1Char('\r'), QStringLiteral("<CR>"))));
    QVERIFY(text.contains(QStringLiteral(",\"'\r=1+1\",")));
    QVERIFY(text.contains(QStringLiteral(",''=already guarded,")));
    QVERIFY(text.contains(QStringLiteral(",'''-twice,")));
    QVERIFY(text.contains(QStringLiteral(",'plain,")));
    QVERIFY(text.contains(QStringLiteral(",'-洋房,")));  // the type
    QVERIFY(text.contains(QStringLiteral(",'=1+0,")));   // the room
    // The floor column is numeric: -5 stays the number it is.
    QVERIFY2(text.contains(QStringLiteral(",'-洋房,-5,'=1+1,")), qPrintable(text));
    // No cell starts with a formula character, whatever the quoting.
    const pricelist::CsvTable parsed = pricelist::ParseCsv(text.mid(1));
    QVERIFY(parsed.ok);
    for (const pricelist::CsvRecord& record : parsed.records) {
        for (int c = 0; c < record.fields.size(); ++c) {
            const QString& f = record.fields[c];
            if (f.isEmpty() || c == 3) continue;
            QVERIFY2(!QStringLiteral("=+-@\t\r").contains(f.at(0)), qPrintable(f));
        }
    }
}

void tst_pricelist_workbooks::xlsxExportWritesThemAsStrings()
{
    QTemporaryDir tmp;
    const QString folder = tmp.filePath(QStringLiteral("f"));
    QVERIFY(makeDangerousFolder(folder));
    const QString book = tmp.filePath(QStringLiteral("out.xlsx"));
    QString error;
    QCOMPARE(pricelist::ExportProgramFolder(folder, book, nullptr, &error), 2);
    const QString xml = unzip(book, QStringLiteral("xl/worksheets/sheet1.xml"));
    QVERIFY2(xml.contains(QStringLiteral("<sheetData>")), qPrintable(xml.left(200)));
    // String cells only, never a formula; the texts stand as they are, without an apostrophe.
    QVERIFY(!xml.contains(QStringLiteral("<f>")));
    QVERIFY(!xml.contains(QStringLiteral("<f ")));
    QVERIFY(
        xml.contains(QStringLiteral("t=\"inlineStr\"><is><t>=HYPERLINK(&quot;http://evil.example&quot;")) ||
        xml.contains(QStringLiteral("t=\"inlineStr\"><is><t>=HYPERLINK(\"http://evil.example\"")));
    QVERIFY(xml.contains(QStringLiteral("<t>@SUM(A1:A2)</t>")));
    QVERIFY(xml.contains(QStringLiteral("<t>-5</t>")));
    // The floor -5 is a number cell.
    QVERIFY2(xml.contains(QStringLiteral("<c r=\"D3\"><v>-5</v></c>")), qPrintable(xml));
    const pricelist::SheetTable back = pricelist::ReadSheet(book);
    QVERIFY(back.ok);
    QCOMPARE(back.records.at(1).fields.at(1), kDangerous[0]);
    QCOMPARE(back.records.at(2).fields.at(1), kDangerous[1]);
}

void tst_pricelist_workbooks::guardedExportRoundTripsExactly()
{
    QTemporaryDir tmp;
    const QString folder = tmp.filePath(QStringLiteral("f"));
    QVERIFY(makeDangerousFolder(folder));
    QString error;
    for (const QString& name : {QStringLiteral("out.csv"), QStringLiteral("out.xlsx")}) {
        const QString file = tmp.filePath(name);
        QCOMPARE(pricelist::ExportProgramFolder(folder, file, nullptr, &error), 2);
        // The -5 floor is refused by the import, as the wizard refuses it; the other house goes in
        // with every text exactly as stored.
        const QString target = tmp.filePath(QStringLiteral("to-") + name);
        QVERIFY(MakeEmptyFolder(target));
        pricelist::Plan p = plan(file, target, true);
        QVERIFY2(p.ok, qPrintable(p.error));
        QCOMPARE(p.Count(pricelist::LineKind::Error), 1);
        QCOMPARE(p.lines.back().reason,
                 QStringLiteral("\"楼层\"只能输入 1 到 99 之间的整数（现在是\"-5\"）。"));
        p.lines.pop_back();
        QVERIFY(write(p, target).ok);
        const QString houses = QStringLiteral("SELECT HouseName, HouseNo, Intro, HouseFloor FROM t_House");
        const QString contents = QStringLiteral(
            "SELECT Caption, Content, List FROM t_Content WHERE HouseID = 1 "
            "ORDER BY List");
        QCOMPARE(Rows(target, houses), Rows(folder, houses + QStringLiteral(" WHERE HouseID = 1")));
        QCOMPARE(Rows(target, contents), Rows(folder, contents));
        QCOMPARE(Rows(target, QStringLiteral("SELECT HouseType FROM t_HouseType")),
                 QStringList{QStringLiteral("-洋房")});
        // And exported again from there, the CSV is the same bytes as the first house's lines.
        const QString again = tmp.filePath(QStringLiteral("again-") + name + QStringLiteral(".csv"));
        QCOMPARE(pricelist::ExportProgramFolder(target, again, nullptr, &error), 1);
        const QSet<qint32> first{1};
        const QString original = tmp.filePath(QStringLiteral("first-") + name + QStringLiteral(".csv"));
        QCOMPARE(pricelist::ExportProgramFolder(folder, original, &first, &error), 1);
        QCOMPARE(ReadBytes(again), ReadBytes(original));
    }
}

void tst_pricelist_workbooks::exportRefusesAnExtensionItDoesNotWrite()
{
    QTemporaryDir tmp;
    const QString demo = tmp.filePath(QStringLiteral("demo"));
    QString why;
    QVERIFY2(MakeDemoFolder(demo, &why), qPrintable(why));
    for (const QString& name : {QStringLiteral("list.ods"), QStringLiteral("list.xls")}) {
        QString error;
        QCOMPARE(pricelist::ExportProgramFolder(demo, tmp.filePath(name), nullptr, &error), -1);
        QCOMPARE(error, QStringLiteral("无法导出为\"%1\"：价目表只能保存为 .csv 或 .xlsx 文件。").arg(name));
        QVERIFY(!QFileInfo::exists(tmp.filePath(name)));
        const Run r = RunPriceList({QStringLiteral("export"), tmp.filePath(name), demo});
        QCOMPARE(r.exitCode, 1);
        QVERIFY(r.err.contains(QStringLiteral("只能保存为 .csv 或 .xlsx")));
        QVERIFY(!QFileInfo::exists(tmp.filePath(name)));
    }
    QString error;
    QCOMPARE(pricelist::ExportProgramFolder(demo, tmp.filePath(QStringLiteral("LIST.XLSX")), nullptr, &error),
             12);
    QCOMPARE(pricelist::ExportProgramFolder(demo, tmp.filePath(QStringLiteral("list")), nullptr, &error), 12);
    QVERIFY(ReadBytes(tmp.filePath(QStringLiteral("list"))).startsWith("\xEF\xBB\xBF序号,"));
}

void tst_pricelist_workbooks::numberAndDateTexts()
{
    QCOMPARE(pricelist::GeneralNumberText(12.0), QStringLiteral("12"));
    QCOMPARE(pricelist::GeneralNumberText(-3.0), QStringLiteral("-3"));
    QCOMPARE(pricelist::GeneralNumberText(89.5), QStringLiteral("89.5"));
    QCOMPARE(pricelist::GeneralNumberText(0.1 + 0.2), QStringLiteral("0.3"));
    // 46568 is 2027-06-30 in the 1900 system.
    QCOMPARE(pricelist::DateText(46568, QStringLiteral("yyyy-mm-dd")), QStringLiteral("2027-06-30"));
    QCOMPARE(pricelist::DateText(46568, QStringLiteral("yyyy/m/d")), QStringLiteral("2027/6/30"));
    QCOMPARE(pricelist::DateText(46568.75, QStringLiteral("yyyy/m/d h:mm")),
             QStringLiteral("2027/6/30 18:00"));
    QCOMPARE(pricelist::DateText(46568, QStringLiteral("yyyy\"年\"m\"月\"d\"日\"")),
             QStringLiteral("2027年6月30日"));
    QCOMPARE(pricelist::DateText(46568, QStringLiteral("[$-804]yyyy\\-mm")), QStringLiteral("2027-06"));
    QCOMPARE(pricelist::GuardFormulaText(QStringLiteral("=1")), QStringLiteral("'=1"));
    QCOMPARE(pricelist::GuardFormulaText(QStringLiteral("翠湖苑")), QStringLiteral("翠湖苑"));
    for (const QString& s : kDangerous)
        QCOMPARE(pricelist::UnguardFormulaText(pricelist::GuardFormulaText(s)), s);
}

namespace {

// Four houses of another development, keys 1 to 4, as in the trial where they were overwritten.
bool makeOtherOffice(const QString& folder)
{
    if (!MakeEmptyFolder(folder)) return false;
    const QString csv = folder + QStringLiteral("/own.csv");
    if (!WriteBytes(csv, QStringLiteral("楼宇名称,类型,楼层,房间号\r\n"
                                        "金桂园1号楼,洋房,1,0101\r\n金桂园1号楼,洋房,1,0102\r\n"
                                        "金桂园2号楼,洋房,2,0201\r\n金桂园2号楼,洋房,2,0202\r\n")
                             .toUtf8()))
        return false;
    return write(plan(csv, folder, true), folder).ok;
}

}  // namespace

void tst_pricelist_workbooks::listFromAnotherCatalogueIsNamedAndTakenAsNew()
{
    QTemporaryDir tmp;
    const QString demo = tmp.filePath(QStringLiteral("demo"));
    const QString other = tmp.filePath(QStringLiteral("other"));
    QString why;
    QVERIFY2(MakeDemoFolder(demo, &why), qPrintable(why));
    QVERIFY(makeOtherOffice(other));
    const QStringList before = Dump(other);
    QString error;
    const QString csv = demo + QStringLiteral("/demo.csv");
    const QString book = demo + QStringLiteral("/demo.xlsx");
    QCOMPARE(pricelist::ExportProgramFolder(demo, csv, nullptr, &error), 12);
    QCOMPARE(pricelist::ExportProgramFolder(demo, book, nullptr, &error), 12);
    // The workbook names the catalogue it came from.
    const pricelist::SheetTable sheet = pricelist::ReadSheet(book);
    QVERIFY(!sheet.catalogue.isEmpty());

    // A CSV names none: its keys 1 to 4 name houses here with another building and room.
    const pricelist::Plan fromCsv = plan(csv, other, true);
    QVERIFY(fromCsv.ok);
    QCOMPARE(fromCsv.Count(pricelist::LineKind::Update), 4);
    QCOMPARE(fromCsv.otherCatalogue,
             QStringLiteral(
                 "有 4 行的序号在本目录中是楼宇名称和房间号都不同的房屋，此价目表可能导出自另一个目录。"));
    // Once this catalogue has an identity of its own, the workbook says it is another's.
    QCOMPARE(pricelist::ExportProgramFolder(other, tmp.filePath(QStringLiteral("o.xlsx")), nullptr, &error),
             4);
    const pricelist::Plan fromBook = plan(book, other, true);
    QVERIFY(fromBook.otherCatalogue.startsWith(
        QStringLiteral("此价目表导出自另一个目录（%1）").arg(sheet.catalogue)));

    // The command line refuses it unless told to take the lines as new houses.
    Run r = RunPriceList({QStringLiteral("import"), book, other, QStringLiteral("--create-types")});
    QCOMPARE(r.exitCode, 1);
    QVERIFY2(r.out.contains(QStringLiteral("此价目表导出自另一个目录")), qPrintable(r.out));
    QVERIFY(r.err.contains(QStringLiteral("--as-new")));
    QCOMPARE(Dump(other), before);
    r = RunPriceList({QStringLiteral("import"), book, other, QStringLiteral("--create-types"),
                      QStringLiteral("--as-new")});
    QVERIFY2(r.exitCode == 0, qPrintable(r.err + r.out));
    QVERIFY(r.out.contains(QStringLiteral("12 lines (XLSX): 12 new, 0 update, 0 error")));
    // The four houses are as they were; the list's houses are new ones after them.
    const QString houses =
        QStringLiteral("SELECT HouseID, HouseName, HouseNo FROM t_House WHERE HouseID <= 4");
    QCOMPARE(Rows(other, houses).size(), 4);
    QVERIFY(Rows(other, houses).first().startsWith(QStringLiteral("1|金桂园1号楼|0101")));
    QCOMPARE(Count(other, QStringLiteral("t_House")), qint64(16));
    QCOMPARE(Rows(other, QStringLiteral("SELECT HouseName, HouseNo FROM t_House WHERE HouseID = 5")),
             QStringList{QStringLiteral("翠湖苑一号楼|201")});
}

void tst_pricelist_workbooks::ownListIsNotAnotherCatalogues()
{
    QTemporaryDir tmp;
    const QString demo = tmp.filePath(QStringLiteral("demo"));
    QString why;
    QVERIFY2(MakeDemoFolder(demo, &why), qPrintable(why));
    QString error;
    const QString book = demo + QStringLiteral("/demo.xlsx");
    QCOMPARE(pricelist::ExportProgramFolder(demo, book, nullptr, &error), 12);
    const QString identity = pricelist::ReadSheet(book).catalogue;
    // Exporting again keeps the identity; the catalogue's own list is no stranger to it.
    QCOMPARE(pricelist::ExportProgramFolder(demo, book, nullptr, &error), 12);
    QCOMPARE(pricelist::ReadSheet(book).catalogue, identity);
    const pricelist::Plan own = plan(book, demo);
    QVERIFY(own.ok);
    QCOMPARE(own.Count(pricelist::LineKind::Update), 12);
    QCOMPARE(own.otherCatalogue, QString());
    // A copy of House.db is the same catalogue, with the same houses under the same keys.
    if (!testsupport::ServerMode()) {
        const QString copy = tmp.filePath(QStringLiteral("copy"));
        QVERIFY(QDir().mkpath(copy + QStringLiteral("/Images")));
        QVERIFY(QFile::copy(demo + QStringLiteral("/House.db"), copy + QStringLiteral("/House.db")));
        QCOMPARE(plan(book, copy).otherCatalogue, QString());
        QCOMPARE(
            pricelist::ExportProgramFolder(copy, tmp.filePath(QStringLiteral("c.xlsx")), nullptr, &error),
            12);
        QCOMPARE(pricelist::ReadSheet(tmp.filePath(QStringLiteral("c.xlsx"))).catalogue, identity);
    }
}

QTEST_GUILESS_MAIN(tst_pricelist_workbooks)
#include "tst_pricelist_workbooks.moc"
