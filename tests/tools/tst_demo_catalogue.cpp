// Runs the real tavrelo-demo program into temporary program folders and checks what it leaves
// there: rows in all five tables that keep the catalogue's ordering rules, a decodable PNG for
// every picture row, a playable PCM WAV for every type's tune, and a refusal, with nothing
// changed, when the catalogue already holds rows.
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QImageReader>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include "TestSupport.h"
#include "core/db/Connection.h"
#include "core/db/Convert.h"
#include "core/db/Recordset.h"
#include "core/db/TextCollation.h"

namespace {

struct Run {
    int exitCode = -1;
    QString out;
    QString err;
};

QString demoProgram()
{
    return qEnvironmentVariable("TAVRELO_BINARY_DIR") + QStringLiteral("/tools/demo/tavrelo-demo");
}

Run runDemo(const QStringList& args,
            const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment())
{
    Run r;
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(demoProgram(), args);
    if (!p.waitForFinished(60000)) {
        p.kill();
        p.waitForFinished();
        r.err = QStringLiteral("timed out");
        return r;
    }
    r.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = QString::fromLocal8Bit(p.readAllStandardOutput());
    r.err = QString::fromLocal8Bit(p.readAllStandardError());
    return r;
}

bool hasChinese(const QString& text)
{
    for (QChar c : text) {
        if (c.unicode() >= 0x4E00 && c.unicode() <= 0x9FFF) return true;
    }
    return false;
}

// A list of 1..n in order, as the List columns must read when sorted.
QVariantList oneToN(int n)
{
    QVariantList v;
    for (int i = 1; i <= n; ++i) v << qint64(i);
    return v;
}

QVariantList column(const QList<QVariantList>& rows, int index = 0)
{
    QVariantList v;
    for (const QVariantList& row : rows) v << row.value(index);
    return v;
}

struct WavInfo {
    QString problem;  // empty when the file is a sound PCM WAV
    int channels = 0;
    int rate = 0;
    int bits = 0;
    double seconds = 0;
    int peak = 0;
};

WavInfo readWav(const QString& path)
{
    WavInfo info;
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) {
        info.problem = QStringLiteral("cannot open");
        return info;
    }
    const QByteArray b = f.readAll();
    auto le32 = [&b](int at) { return qFromLittleEndian<quint32>(b.constData() + at); };
    auto le16 = [&b](int at) { return qFromLittleEndian<quint16>(b.constData() + at); };
    if (b.size() < 44 || b.left(4) != "RIFF" || b.mid(8, 4) != "WAVE") {
        info.problem = QStringLiteral("no RIFF/WAVE header");
        return info;
    }
    if (le32(4) != quint32(b.size() - 8)) {
        info.problem = QStringLiteral("RIFF size does not match the file");
        return info;
    }
    int at = 12;
    bool haveFormat = false;
    while (at + 8 <= b.size()) {
        const QByteArray id = b.mid(at, 4);
        const quint32 size = le32(at + 4);
        const int body = at + 8;
        if (body + qint64(size) > b.size()) {
            info.problem = QStringLiteral("chunk %1 runs past the end").arg(QString::fromLatin1(id));
            return info;
        }
        if (id == "fmt ") {
            if (size < 16 || le16(body) != 1) {
                info.problem = QStringLiteral("not PCM");
                return info;
            }
            info.channels = le16(body + 2);
            info.rate = int(le32(body + 4));
            info.bits = le16(body + 14);
            if (le32(body + 8) != quint32(info.rate * info.channels * info.bits / 8) ||
                le16(body + 12) != info.channels * info.bits / 8) {
                info.problem = QStringLiteral("byte rate or block align inconsistent");
                return info;
            }
            haveFormat = true;
        } else if (id == "data") {
            if (!haveFormat || info.bits != 16 || info.channels < 1 || info.rate <= 0) {
                info.problem = QStringLiteral("data before a 16-bit format chunk");
                return info;
            }
            const int frames = int(size) / (2 * info.channels);
            info.seconds = double(frames) / info.rate;
            for (quint32 i = 0; i + 1 < size; i += 2)
                info.peak =
                    std::max(info.peak, std::abs(int(qFromLittleEndian<qint16>(b.constData() + body + i))));
            return info;
        }
        at = body + int(size) + int(size & 1);
    }
    info.problem = QStringLiteral("no data chunk");
    return info;
}

QByteArray folderDigest(const QString& folder)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    for (const QString& sub : {QStringLiteral("."), QStringLiteral("Images"), QStringLiteral("Music")}) {
        QDir dir(folder + QLatin1Char('/') + sub);
        for (const QString& name : dir.entryList(QDir::Files, QDir::Name)) {
            QFile f(dir.filePath(name));
            if (!f.open(QIODevice::ReadOnly)) return {};
            hash.addData(sub.toUtf8() + '/' + name.toUtf8());
            hash.addData(f.readAll());
        }
    }
    return hash.result().toHex();
}

}  // namespace

class tst_demo_catalogue : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY2(!qEnvironmentVariableIsEmpty("TAVRELO_BINARY_DIR"), "TAVRELO_BINARY_DIR is not set");
        QVERIFY2(QFileInfo(demoProgram()).isExecutable(), qPrintable(demoProgram() + " is not built"));
    }

    void fillsAllFiveTablesInOrder()
    {
        testsupport::ProgramFolder folder(false);
        const Run r = runDemo({folder.Path()});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY(QFileInfo(folder.DatabasePath()).isFile());

        // Types: three, positions dense 1..3, Chinese names, each with a title and a tune.
        const auto types = folder.Rows(QStringLiteral(
            "SELECT TypeID, List, HouseType, MusicTitle, MusicFile FROM t_HouseType ORDER BY List"));
        QCOMPARE(types.size(), 3);
        QCOMPARE(column(types, 1), oneToN(3));
        QSet<QString> typeNames;
        for (const QVariantList& t : types) {
            QVERIFY2(hasChinese(t[2].toString()), qPrintable(t[2].toString()));
            QVERIFY(hasChinese(t[3].toString()));
            QVERIFY(!t[4].toString().isEmpty());
            QVERIFY(!t[4].toString().contains(QLatin1Char('/')));
            typeNames.insert(t[2].toString());
        }
        QCOMPARE(typeNames.size(), 3);

        // Houses: a dozen in two Chinese-named buildings, each with a known type and a floor.
        QCOMPARE(folder.Value(QStringLiteral("SELECT count(*) FROM t_House")).toInt(), 12);
        const auto buildings = folder.Rows(QStringLiteral("SELECT DISTINCT HouseName FROM t_House"));
        QCOMPARE(buildings.size(), 2);
        for (const QVariantList& b : buildings) QVERIFY(hasChinese(b[0].toString()));
        // The catalogue lists houses through an inner join: every house must survive it.
        QCOMPARE(folder
                     .Value(QStringLiteral("SELECT count(*) FROM t_House as a, t_HouseType as b "
                                           "WHERE a.TypeID = b.TypeID"))
                     .toInt(),
                 12);
        QCOMPARE(folder
                     .Value(QStringLiteral("SELECT count(*) FROM t_House WHERE HouseNo IS NULL OR "
                                           "HouseNo = '' OR Intro IS NULL OR Intro = '' OR "
                                           "HouseFloor IS NULL OR HouseFloor < 1"))
                     .toInt(),
                 0);
        QCOMPARE(folder.Value(QStringLiteral("SELECT count(DISTINCT TypeID) FROM t_House")).toInt(), 3);
        QCOMPARE(folder
                     .Value(QStringLiteral("SELECT count(*) FROM (SELECT HouseName, HouseNo FROM t_House "
                                           "GROUP BY HouseName, HouseNo HAVING count(*) > 1)"))
                     .toInt(),
                 0);

        // Attribute rows: every house has some, numbered 1..n, with the usual captions.
        const auto houses = folder.Rows(QStringLiteral("SELECT HouseID FROM t_House ORDER BY HouseID"));
        for (const QVariantList& h : houses) {
            const QString id = h[0].toString();
            const auto rows = folder.Rows(QStringLiteral("SELECT List, Caption, Content FROM t_Content "
                                                         "WHERE HouseID = %1 ORDER BY List")
                                              .arg(id));
            QVERIFY2(rows.size() >= 3, qPrintable(id));
            QCOMPARE(column(rows, 0), oneToN(int(rows.size())));
            for (const QVariantList& row : rows) {
                QVERIFY(hasChinese(row[1].toString()));
                QVERIFY(!row[2].toString().isEmpty());
            }
        }
        for (const char* caption : {"朝向", "面积", "装修"}) {
            QCOMPARE(folder
                         .Value(QStringLiteral(
                                    "SELECT count(DISTINCT HouseID) FROM t_Content WHERE Caption = '%1'")
                                    .arg(QString::fromUtf8(caption)))
                         .toInt(),
                     12);
        }
        // The sales board colours the demo by its 状态 rows: one per house, on sale, reserved and
        // sold all present.
        QCOMPARE(
            folder
                .Value(QStringLiteral("SELECT count(DISTINCT HouseID) FROM t_Content WHERE Caption = '状态'"))
                .toInt(),
            12);
        QCOMPARE(
            folder.Value(QStringLiteral("SELECT count(*) FROM t_Content WHERE Caption = '状态'")).toInt(),
            12);
        QCOMPARE(column(folder.Rows(QStringLiteral(
                     "SELECT DISTINCT Content FROM t_Content WHERE Caption = '状态' ORDER BY Content"))),
                 (QVariantList{QStringLiteral("在售"), QStringLiteral("已售"), QStringLiteral("已预订")}));
        QCOMPARE(folder
                     .Value(QStringLiteral("SELECT count(*) FROM t_Content WHERE HouseID NOT IN "
                                           "(SELECT HouseID FROM t_House)"))
                     .toInt(),
                 0);

        // Templates: rows for every type, and none for a type that does not exist.
        QCOMPARE(folder.Value(QStringLiteral("SELECT count(DISTINCT TypeID) FROM t_Content_Auto")).toInt(),
                 3);
        QCOMPARE(folder
                     .Value(QStringLiteral("SELECT count(*) FROM t_Content_Auto WHERE TypeID NOT IN "
                                           "(SELECT TypeID FROM t_HouseType)"))
                     .toInt(),
                 0);
        QCOMPARE(folder
                     .Value(QStringLiteral("SELECT count(*) FROM t_Content_Auto WHERE Caption IS NULL OR "
                                           "Caption = ''"))
                     .toInt(),
                 0);
    }

    void everyPictureRowNamesADecodablePng()
    {
        testsupport::ProgramFolder folder(false);
        const Run r = runDemo({folder.Path()});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));

        const QRegularExpression pattern(QStringLiteral("^(\\d{6})_(\\d{4})\\.png$"));
        const auto houses = folder.Rows(QStringLiteral("SELECT HouseID FROM t_House ORDER BY HouseID"));
        int pictures = 0;
        for (const QVariantList& h : houses) {
            const qint64 id = h[0].toLongLong();
            const auto rows =
                folder.Rows(QStringLiteral("SELECT List, Caption, Intro, ImageFile FROM t_Image "
                                           "WHERE HouseID = %1 ORDER BY List")
                                .arg(id));
            QVERIFY2(!rows.isEmpty(), qPrintable(QString::number(id)));
            QCOMPARE(column(rows, 0), oneToN(int(rows.size())));
            for (const QVariantList& row : rows) {
                const QString file = row[3].toString();
                const auto m = pattern.match(file);
                QVERIFY2(m.hasMatch(), qPrintable(file));
                QCOMPARE(m.captured(1), db::PaddedHouseNumber(id));
                QCOMPARE(m.captured(2).toInt(), row[0].toInt());
                QVERIFY(hasChinese(row[1].toString()));
                QVERIFY(hasChinese(row[2].toString()));

                const QString path = folder.File(QStringLiteral("Images/") + file);
                QVERIFY2(QFileInfo(path).isFile(), qPrintable(path));
                QImageReader reader(path);
                QCOMPARE(reader.format(), QByteArray("png"));
                const QImage image = reader.read();
                QVERIFY2(!image.isNull(), qPrintable(path + ": " + reader.errorString()));
                QVERIFY(image.width() >= 320 && image.height() >= 240);
                // A drawing, not a blank: more than a handful of colours.
                QSet<QRgb> colours;
                for (int y = 0; y < image.height(); y += 7)
                    for (int x = 0; x < image.width(); x += 7) colours.insert(image.pixel(x, y));
                QVERIFY2(colours.size() > 8, qPrintable(path));
                ++pictures;
            }
        }
        QCOMPARE(folder.Value(QStringLiteral("SELECT count(*) FROM t_Image")).toInt(), pictures);
        // Exactly the files the rows name, nothing else.
        QCOMPARE(QDir(folder.File(QStringLiteral("Images"))).entryList(QDir::Files).size(), pictures);
    }

    void everyTuneIsAPcmWav()
    {
        testsupport::ProgramFolder folder(false);
        const Run r = runDemo({folder.Path()});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        const auto files = folder.Rows(QStringLiteral("SELECT MusicFile FROM t_HouseType ORDER BY List"));
        QCOMPARE(files.size(), 3);
        QSet<QByteArray> contents;
        for (const QVariantList& row : files) {
            const QString path = folder.File(QStringLiteral("Music/") + row[0].toString());
            QVERIFY2(QFileInfo(path).isFile(), qPrintable(path));
            QVERIFY(path.endsWith(QStringLiteral(".wav")));
            const WavInfo wav = readWav(path);
            QVERIFY2(wav.problem.isEmpty(), qPrintable(path + ": " + wav.problem));
            QVERIFY2(wav.seconds >= 2.0 && wav.seconds <= 15.0, qPrintable(QString::number(wav.seconds)));
            QVERIFY2(wav.peak > 4000, "the tune is (nearly) silent");
            QFile f(path);
            QVERIFY(f.open(QIODevice::ReadOnly));
            contents.insert(QCryptographicHash::hash(f.readAll(), QCryptographicHash::Sha1));
        }
        QCOMPARE(contents.size(), 3);  // a different tune for each type
    }

    void makesAMissingFolderAndWritesTheSameEveryTime()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString first = dir.filePath(QStringLiteral("a/程序"));
        const QString second = dir.filePath(QStringLiteral("b"));
        Run r = runDemo({first});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        r = runDemo({second});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY(QFileInfo(first + QStringLiteral("/Images")).isDir());
        QVERIFY(QFileInfo(first + QStringLiteral("/Music")).isDir());
        // The pictures and the tunes are identical; the database is compared by its rows.
        QDir(first).remove(QStringLiteral("House.db"));
        QDir(second).remove(QStringLiteral("House.db"));
        const QByteArray a = folderDigest(first);
        QVERIFY(!a.isEmpty());
        QCOMPARE(a, folderDigest(second));
    }

    void refusesACatalogueThatHoldsRows()
    {
        testsupport::ProgramFolder folder(false);
        Run r = runDemo({folder.Path()});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        const QByteArray before = folderDigest(folder.Path());

        r = runDemo({folder.Path()});
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(r.err.contains(QStringLiteral("already holds rows")), qPrintable(r.err));
        QCOMPARE(folderDigest(folder.Path()), before);
        QCOMPARE(folder.Value(QStringLiteral("SELECT count(*) FROM t_House")).toInt(), 12);
    }

    void refusesWhenOnlyATemplateRowIsThere()
    {
        testsupport::ProgramFolder folder;  // fresh, empty House.db
        QVERIFY(
            folder.Exec(QStringLiteral("INSERT INTO t_Content_Auto (TypeID, Caption, Content) "
                                       "VALUES (7, '朝向', '南')")));
        const Run r = runDemo({folder.Path()});
        QCOMPARE(r.exitCode, 3);
        QVERIFY2(r.err.contains(QStringLiteral("t_Content_Auto")), qPrintable(r.err));
        QCOMPARE(folder.Value(QStringLiteral("SELECT count(*) FROM t_HouseType")).toInt(), 0);
        QCOMPARE(folder.Value(QStringLiteral("SELECT count(*) FROM t_House")).toInt(), 0);
        QVERIFY(QDir(folder.File(QStringLiteral("Images"))).entryList(QDir::Files).isEmpty());
        QVERIFY(QDir(folder.File(QStringLiteral("Music"))).entryList(QDir::Files).isEmpty());
    }

    void refusesAFileThatIsNoCatalogue()
    {
        testsupport::ProgramFolder folder(false);
        QFile junk(folder.DatabasePath());
        QVERIFY(junk.open(QIODevice::WriteOnly));
        junk.write("not a database at all");
        junk.close();
        const Run r = runDemo({folder.Path()});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains(QStringLiteral("cannot open the catalogue")), qPrintable(r.err));
        QVERIFY(QDir(folder.File(QStringLiteral("Images"))).entryList(QDir::Files).isEmpty());
    }

    void takesAZeroLengthFileForAMissingCatalogue()
    {
        testsupport::ProgramFolder folder(false);
        QFile empty(folder.DatabasePath());
        QVERIFY(empty.open(QIODevice::WriteOnly));
        empty.close();
        QCOMPARE(QFileInfo(folder.DatabasePath()).size(), qint64(0));
        const Run r = runDemo({folder.Path()});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(folder.Value(QStringLiteral("SELECT count(*) FROM t_House")).toInt(), 12);
        QCOMPARE(folder.Value(QStringLiteral("PRAGMA user_version")).toInt(), db::kSchemaVersion);
    }

    void withTwoFoldersItShowsUsage()
    {
        QTemporaryDir a, b;
        const Run r = runDemo({a.path(), b.path()});
        QCOMPARE(r.exitCode, 2);
        QVERIFY(r.err.contains(QStringLiteral("usage: tavrelo-demo")));
        QVERIFY(!QFileInfo::exists(a.path() + QStringLiteral("/House.db")));
        QVERIFY(!QFileInfo::exists(b.path() + QStringLiteral("/House.db")));
    }

    // No House.db beside the tool (it sits in tools/demo of the build): without a folder it
    // fills the per-user folder the program opens, made on the spot.
    void withoutAFolderItFillsThePerUserFolder()
    {
        QTemporaryDir home;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove(QStringLiteral("TAVRELO_FOLDER"));
        env.insert(QStringLiteral("HOME"), home.path());
        env.insert(QStringLiteral("XDG_DATA_HOME"), home.path() + QStringLiteral("/data"));
        const Run r = runDemo({}, env);
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        const QString folder = home.path() + QStringLiteral("/data/Tavrelo");
        QVERIFY(QFileInfo(folder + QStringLiteral("/Images")).isDir());
        QVERIFY(QFileInfo(folder + QStringLiteral("/Music")).isDir());
        db::Connection connection;
        QVERIFY(connection.Open(folder + QStringLiteral("/House.db")));
        db::Recordset rs;
        QVERIFY(connection.Execute(QStringLiteral("Select Count(*) as a From t_House"), rs));
        QCOMPARE(rs.Field(QStringLiteral("a")).toInt(), 12);
    }

    // TAVRELO_FOLDER names the folder for the tool as for the program.
    void theFolderVariableNamesTheFolder()
    {
        QTemporaryDir home;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("HOME"), home.path());
        env.insert(QStringLiteral("XDG_DATA_HOME"), home.path() + QStringLiteral("/data"));
        env.insert(QStringLiteral("TAVRELO_FOLDER"), home.path() + QStringLiteral("/second"));
        const Run r = runDemo({}, env);
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY(QFileInfo(home.path() + QStringLiteral("/second/House.db")).isFile());
        QVERIFY(!QFileInfo::exists(home.path() + QStringLiteral("/data/Tavrelo")));
    }
};

QTEST_MAIN(tst_demo_catalogue)
#include "tst_demo_catalogue.moc"
