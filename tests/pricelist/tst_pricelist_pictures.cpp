// The pictures and text of a price-list import as they land: a picture many units name is read
// and written once and its further names are links to that one file, every name still holding
// the picture's bytes; a failed import leaves no file behind; and on a shared catalogue the rows
// that go to the server in batches come back exactly as the sheet had them.
#include <sys/stat.h>

#include <QDir>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

#include "PriceListFixture.h"
#include "core/db/Connection.h"
#include "core/db/Statement.h"
#include "pricelist/sheet/Csv.h"
#include "pricelist/sheet/PriceList.h"

using namespace pricelistfixture;

namespace {

const QStringList kHeader = {QStringLiteral("序号"),   QStringLiteral("楼宇名称"), QStringLiteral("类型"),
                             QStringLiteral("楼层"),   QStringLiteral("房间号"),   QStringLiteral("状态"),
                             QStringLiteral("备注项"), QStringLiteral("图片")};

bool writePicture(const QString& path, Qt::GlobalColor colour)
{
    QImage picture(16, 12, QImage::Format_RGB32);
    picture.fill(colour);
    return picture.save(path);
}

// A sheet of the given lines (each line's cells after the header's order).
bool writeSheet(const QString& path, const QList<QStringList>& lines)
{
    QByteArray out("\xEF\xBB\xBF");
    pricelist::AppendCsvLine(out, kHeader);
    for (const QStringList& line : lines) pricelist::AppendCsvLine(out, line);
    return WriteBytes(path, out);
}

pricelist::WriteResult import(const QString& sheet, db::Connection& c, const QString& folder, QString* error)
{
    pricelist::ImportOptions options;
    options.createTypes = true;
    const pricelist::Plan plan = pricelist::MakePlan(sheet, c, options);
    const pricelist::WriteResult result = pricelist::WritePlan(plan, c, folder);
    *error = plan.error + result.error;
    return result;
}

QStringList rows(db::Connection& c, const QString& sql)
{
    QStringList out;
    db::Statement s;
    if (!s.Prepare(c, sql)) return {QStringLiteral("cannot read: ") + c.LastError()};
    while (s.Next()) {
        QStringList cells;
        for (int i = 0; i < s.ColumnCount(); ++i) cells << s.Column(i).toString();
        out << cells.join(QLatin1Char('|'));
    }
    return out;
}

ino_t inodeOf(const QString& path)
{
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 ? st.st_ino : 0;
}

QStringList leftOver(const QString& images)
{
    return QDir(images).entryList({QStringLiteral(".import-*")}, QDir::Files | QDir::Hidden);
}

}  // namespace

class tst_pricelist_pictures : public QObject {
    Q_OBJECT
private slots:
    void aPictureManyUnitsNameIsWrittenOnce()
    {
        QTemporaryDir tmp;
        const QString folder = tmp.filePath(QStringLiteral("pc"));
        QVERIFY(QDir().mkpath(folder + QStringLiteral("/Images")));
        QVERIFY(db::CreateEmptyDatabase(folder + QStringLiteral("/House.db")));
        // a.png and b.png hold the same bytes; c.png others.
        QVERIFY(writePicture(tmp.filePath(QStringLiteral("a.png")), Qt::darkCyan));
        QVERIFY(writePicture(tmp.filePath(QStringLiteral("b.png")), Qt::darkCyan));
        QVERIFY(writePicture(tmp.filePath(QStringLiteral("c.png")), Qt::darkRed));
        QList<QStringList> lines;
        for (int i = 0; i < 30; ++i)
            lines << QStringList{QString(),
                                 QStringLiteral("一号楼"),
                                 QStringLiteral("两室"),
                                 QStringLiteral("3"),
                                 QString::number(300 + i),
                                 QStringLiteral("在售"),
                                 QString(),
                                 i < 20 ? QStringLiteral("a.png；b.png") : QStringLiteral("c.png；c.png")};
        QVERIFY(writeSheet(tmp.filePath(QStringLiteral("units.csv")), lines));

        db::Connection c;
        QVERIFY(c.Open(folder + QStringLiteral("/House.db")));
        QString error;
        const pricelist::WriteResult result =
            import(tmp.filePath(QStringLiteral("units.csv")), c, folder, &error);
        QVERIFY2(result.ok, qPrintable(error));
        QCOMPARE(result.picturesCopied, 60);

        const QStringList stored =
            rows(c, QStringLiteral("SELECT ImageFile FROM t_Image ORDER BY HouseID, List"));
        QCOMPARE(stored.size(), 60);
        const QByteArray cyan = ReadBytes(tmp.filePath(QStringLiteral("a.png")));
        const QByteArray red = ReadBytes(tmp.filePath(QStringLiteral("c.png")));
        QVERIFY(cyan != red);
        QSet<ino_t> cyanFiles, redFiles;
        for (int p = 0; p < stored.size(); ++p) {
            const QString path = folder + QStringLiteral("/Images/") + stored[p];
            const bool isCyan = p < 40;
            QCOMPARE(ReadBytes(path), isCyan ? cyan : red);
            (isCyan ? cyanFiles : redFiles).insert(inodeOf(path));
        }
        // Forty names, one file; twenty names, another.
        QCOMPARE(cyanFiles.size(), 1);
        QCOMPARE(redFiles.size(), 1);
        QVERIFY(!cyanFiles.contains(0) && cyanFiles != redFiles);
        QCOMPARE(leftOver(folder + QStringLiteral("/Images")), QStringList());
        // The sheet's own pictures are untouched, not linked into the folder.
        QVERIFY(inodeOf(tmp.filePath(QStringLiteral("a.png"))) != *cyanFiles.begin());
    }

    void aFailedImportLeavesNoPictureBehind()
    {
        QTemporaryDir tmp;
        const QString folder = tmp.filePath(QStringLiteral("pc"));
        QVERIFY(QDir().mkpath(folder + QStringLiteral("/Images")));
        QVERIFY(db::CreateEmptyDatabase(folder + QStringLiteral("/House.db")));
        QVERIFY(writePicture(tmp.filePath(QStringLiteral("a.png")), Qt::darkCyan));
        QList<QStringList> lines;
        for (int i = 0; i < 40; ++i)
            lines << QStringList{QString(),
                                 QStringLiteral("一号楼"),
                                 QStringLiteral("两室"),
                                 QStringLiteral("3"),
                                 QString::number(300 + i),
                                 QStringLiteral("在售"),
                                 i == 30 ? QStringLiteral("拒收") : QString(),
                                 QStringLiteral("a.png；a.png")};
        QVERIFY(writeSheet(tmp.filePath(QStringLiteral("units.csv")), lines));

        db::Connection c;
        QVERIFY(c.Open(folder + QStringLiteral("/House.db")));
        // The catalogue refuses line 32's attribute row, after thirty lines' pictures were put aside.
        QVERIFY(
            c.Execute(QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON t_Content WHEN NEW.Content = "
                                     "'拒收' BEGIN SELECT RAISE(ABORT, 'refused'); END")));
        QString error;
        const pricelist::WriteResult result =
            import(tmp.filePath(QStringLiteral("units.csv")), c, folder, &error);
        QVERIFY(!result.ok);
        QVERIFY2(error.startsWith(QStringLiteral("第 32 行：")), qPrintable(error));
        QCOMPARE(rows(c, QStringLiteral("SELECT COUNT(*) FROM t_House")), QStringList{QStringLiteral("0")});
        QCOMPARE(QDir(folder + QStringLiteral("/Images")).entryList(QDir::Files | QDir::Hidden),
                 QStringList());
    }

    void batchedRowsComeBackAsTheSheetHadThem()
    {
        QTemporaryDir tmp;
        const QString folder = tmp.filePath(QStringLiteral("pc"));
        QVERIFY(QDir().mkpath(folder + QStringLiteral("/Images")));
        const QString uri = testsupport::PgCluster::Instance().CreateDatabase();
        QVERIFY(writePicture(tmp.filePath(QStringLiteral("a.png")), Qt::darkCyan));
        QVERIFY(writePicture(tmp.filePath(QStringLiteral("b.png")), Qt::darkCyan));
        // Text that an array value in text form would take apart if it were not quoted.
        const QStringList hostile = {
            QStringLiteral("NULL"),          QStringLiteral("a\"b"),
            QStringLiteral("c\\d\\\""),      QStringLiteral("{1,2}"),
            QStringLiteral(" 空格 , 逗号 "), QStringLiteral("x'; DROP TABLE t_House; --")};
        QList<QStringList> lines;
        for (int i = 0; i < hostile.size(); ++i)
            lines << QStringList{QString(),
                                 hostile[i] + QStringLiteral("楼"),
                                 QStringLiteral("两室"),
                                 QStringLiteral("2"),
                                 hostile[i],
                                 QStringLiteral("在售"),
                                 hostile[i],
                                 QStringLiteral("a.png；b.png")};
        QVERIFY(writeSheet(tmp.filePath(QStringLiteral("units.csv")), lines));

        db::Connection c;
        QVERIFY2(c.OpenServer(uri), qPrintable(c.LastError()));
        QString error;
        pricelist::WriteResult result = import(tmp.filePath(QStringLiteral("units.csv")), c, folder, &error);
        QVERIFY2(result.ok, qPrintable(error));
        QStringList expected;
        for (int i = 0; i < hostile.size(); ++i)
            expected << QStringLiteral("%1|%2楼|%2|2").arg(i + 1).arg(hostile[i]);
        QCOMPARE(rows(c, QStringLiteral(
                             "SELECT HouseID, HouseName, HouseNo, HouseFloor FROM t_House ORDER BY HouseID")),
                 expected);
        QStringList values;
        for (const QString& h : hostile) values << h;
        QCOMPARE(rows(c, QStringLiteral(
                             "SELECT Content FROM t_Content WHERE Caption = '备注项' ORDER BY HouseID")),
                 values);
        // Every name holds the bytes, though they went to the server once.
        const QByteArray bytes = ReadBytes(tmp.filePath(QStringLiteral("a.png")));
        db::Statement files;
        QVERIFY(files.Prepare(c, QStringLiteral("SELECT Name, Content FROM t_File WHERE Folder = 'Images'")));
        int named = 0;
        while (files.Next()) {
            QCOMPARE(files.Column(1).toByteArray(), bytes);
            ++named;
        }
        QCOMPARE(named, hostile.size() * 2);

        // A house named twice in one sheet ends as its last line says, as one line at a time would.
        lines = {{QStringLiteral("2"), QStringLiteral("二号楼"), QStringLiteral("两室"), QStringLiteral("5"),
                  QStringLiteral("501"), QStringLiteral("已售"), QStringLiteral("第一次"), QString()},
                 {QStringLiteral("2"), QStringLiteral("二号楼"), QStringLiteral("两室"), QStringLiteral("6"),
                  QStringLiteral("601"), QStringLiteral("预留"), QString(), QString()}};
        QVERIFY(writeSheet(tmp.filePath(QStringLiteral("twice.csv")), lines));
        result = import(tmp.filePath(QStringLiteral("twice.csv")), c, folder, &error);
        QVERIFY2(result.ok, qPrintable(error));
        QCOMPARE(
            rows(c, QStringLiteral("SELECT HouseName, HouseNo, HouseFloor FROM t_House WHERE HouseID = 2")),
            QStringList{QStringLiteral("二号楼|601|6")});
        QCOMPARE(
            rows(c, QStringLiteral("SELECT Caption, Content FROM t_Content WHERE HouseID = 2 ORDER BY List")),
            QStringList{QStringLiteral("状态|预留")});
    }
};

QTEST_GUILESS_MAIN(tst_pricelist_pictures)
#include "tst_pricelist_pictures.moc"
