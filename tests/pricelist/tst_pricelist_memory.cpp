// The export streams the catalogue from the store to the file: the real tavrelo-pricelist, measured
// with /usr/bin/time -v, peaks at the same resident memory for a catalogue ten times larger, in
// CSV and in XLSX, and stays far below 100 MB. (An export that gathers the catalogue first grows
// by several megabytes per thousand houses.)
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include "PriceListFixture.h"
#include "core/db/Connection.h"
#include "core/db/Statement.h"

using namespace pricelistfixture;

namespace {

// A catalogue of `houses` houses, each with five attribute rows and two pictures (names only).
bool fill(const QString& folder, int houses)
{
    if (!MakeEmptyFolder(folder)) return false;
    db::Connection c;
    if (!db::OpenCatalogue(c, folder)) return false;
    db::Transaction transaction(c);
    db::Statement type, house, content, image;
    if (!type.Prepare(c, QStringLiteral("INSERT INTO t_HouseType (List, HouseType, MusicTitle, MusicFile) "
                                        "VALUES (1, '两室一厅', '', '')")) ||
        !type.Exec() ||
        !house.Prepare(c,
                       QStringLiteral("INSERT INTO t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) "
                                      "VALUES (?, ?, ?, ?, 1)")) ||
        !content.Prepare(c, QStringLiteral("INSERT INTO t_Content (HouseID, Caption, Content, List) "
                                           "VALUES (?, ?, ?, ?)")) ||
        !image.Prepare(c, QStringLiteral("INSERT INTO t_Image (HouseID, Caption, Intro, ImageFile, List) "
                                         "VALUES (?, '', '', ?, ?)")))
        return false;
    const QStringList captions = {QStringLiteral("朝向"), QStringLiteral("面积"), QStringLiteral("装修"),
                                  QStringLiteral("单价"), QStringLiteral("状态")};
    for (int i = 1; i <= houses; ++i) {
        house.Bind(1, QStringLiteral("新城%1号楼").arg(i / 500 + 1));
        house.Bind(2, QStringLiteral("%1").arg(i % 3300 + 101));
        house.Bind(3, QStringLiteral("第%1套，采光充足，视野开阔，南北通透，临近地铁站与学校。").arg(i));
        house.Bind(4, i % 33 + 1);
        if (!house.Exec()) return false;
        const qint64 id = house.LastInsertId();
        for (int a = 0; a < captions.size(); ++a) {
            content.Bind(1, id);
            content.Bind(2, captions[a]);
            content.Bind(3, QStringLiteral("%1-%2，带说明的属性值").arg(captions[a]).arg(i));
            content.Bind(4, a + 1);
            if (!content.Exec()) return false;
        }
        for (int p = 1; p <= 2; ++p) {
            image.Bind(1, id);
            image.Bind(
                2,
                QStringLiteral("%1_%2.jpg").arg(id, 6, 10, QLatin1Char('0')).arg(p, 4, 10, QLatin1Char('0')));
            image.Bind(3, p);
            if (!image.Exec()) return false;
        }
    }
    return transaction.Commit();
}

// The peak resident memory of one export, in kB, or -1.
long peakKb(const QString& folder, const QString& file, QString* output)
{
    const Run r = RunProgram(QStringLiteral("/usr/bin/time"),
                             {QStringLiteral("-v"), BinaryDir() + QStringLiteral("/tavrelo-pricelist"),
                              QStringLiteral("export"), file, folder},
                             300000);
    *output = r.out + r.err;
    if (r.exitCode != 0) return -1;
    static const QRegularExpression peak(QStringLiteral("Maximum resident set size \\(kbytes\\): (\\d+)"));
    const QRegularExpressionMatch m = peak.match(r.err);
    return m.hasMatch() ? m.captured(1).toLong() : -1;
}

}  // namespace

class tst_pricelist_memory : public QObject {
    Q_OBJECT
private slots:
    void exportMemoryDoesNotGrowWithTheCatalogue()
    {
        QTemporaryDir tmp;
        const QString small = tmp.filePath(QStringLiteral("small"));
        const QString large = tmp.filePath(QStringLiteral("large"));
        QVERIFY(fill(small, 2000));
        QVERIFY(fill(large, 20000));
        for (const QString& suffix : {QStringLiteral("csv"), QStringLiteral("xlsx")}) {
            QString out;
            const long smallKb = peakKb(small, tmp.filePath(QStringLiteral("small.") + suffix), &out);
            QVERIFY2(smallKb > 0, qPrintable(out));
            const long largeKb = peakKb(large, tmp.filePath(QStringLiteral("large.") + suffix), &out);
            QVERIFY2(largeKb > 0, qPrintable(out));
            QVERIFY2(out.contains(QStringLiteral("Wrote 20000 houses")), qPrintable(out));
            qInfo("%s export: %ld kB peak for 2,000 houses, %ld kB for 20,000", qPrintable(suffix), smallKb,
                  largeKb);
            // Ten times the houses (about 14 MB more CSV) may cost a little more in buffers, not
            // megabytes per thousand houses.
            QVERIFY2(largeKb - smallKb < 8 * 1024,
                     qPrintable(QStringLiteral("%1 kB -> %2 kB").arg(smallKb).arg(largeKb)));
            QVERIFY(largeKb < 100 * 1024);
        }
    }
};

QTEST_GUILESS_MAIN(tst_pricelist_memory)
#include "tst_pricelist_memory.moc"
