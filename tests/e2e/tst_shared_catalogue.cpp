// Several program processes on one shared catalogue. Each process has its own program folder (its
// own Images and Music cache) pointed at the same database of a private PostgreSQL server and
// saves houses through the real entry wizard, with attribute rows and a picture each, at the same
// time as the others. Afterwards every house must have exactly its own rows and picture (none
// crossed, none lost) and every picture must open from every process's folder.
//
// The processes are this executable started again with --saver: a Qt program that registers and
// drives the program's own windows offscreen, as the window suites do.
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <cstdio>

#include "../entry/EntryFixture.h"
#include "PgCluster.h"
#include "TestSupport.h"
#include "core/db/Connection.h"
#include "core/db/ServerFiles.h"
#include "core/db/Store.h"
#include "core/mdlHouse.h"
#include "entry/EntrySql.h"

using testsupport::PgCluster;

namespace {

QString houseName(int process, int house)
{
    return QStringLiteral("P%1-%2").arg(process).arg(house);
}

// Every house gets a picture of its own: its size says whose it is.
QString makeHousePicture(const QString& folder, int process, int house)
{
    QDir().mkpath(folder);
    return testsupport::MakePicture(folder + QStringLiteral("/p%1_%2.png").arg(process).arg(house),
                                    8 + process, 8 + house, process % 2 ? Qt::darkRed : Qt::darkBlue);
}

QByteArray bytesOf(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// The saving process: count houses through the wizard, each with two rows and one picture.
int runSaver(const QString& folder, int process, int count)
{
    mdlHouse::SetProgramFolder(folder);
    testsupport::MsgBoxRecorder messages;
    testsupport::FileDialogStub files;
    entrytest::RegisterWindows();
    frmHouseInput* w = entrytest::OpenFromMenu();
    for (int i = 0; i < count; ++i) {
        if (!w) w = entrytest::OpenFromMenu();
        if (!w) return 3;
        entrytest::FillPage1(w, houseName(process, i), QStringLiteral("T1"), QString::number(i),
                             QStringLiteral("1"));
        entrytest::SetRow(w, 1, QStringLiteral("a"), houseName(process, i) + QStringLiteral("-a"));
        entrytest::SetRow(w, 2, QStringLiteral("b"), houseName(process, i) + QStringLiteral("-b"));
        if (!testsupport::Click(w, QStringLiteral("cmdNext"))) return 4;
        const QString picture = makeHousePicture(folder + QStringLiteral("/pictures"), process, i);
        if (!entrytest::AddPicture(files, QStringLiteral("pic"), houseName(process, i), picture)) return 5;
        if (!testsupport::Click(w, QStringLiteral("cmdFinish"))) return 6;
        w = entrytest::Wizard();
    }
    for (const QString& text : messages.Texts()) std::fprintf(stderr, "message: %s\n", qPrintable(text));
    return messages.messages.isEmpty() ? 0 : 7;
}

}  // namespace

class tst_shared_catalogue : public QObject {
    Q_OBJECT

    // Starts `processes` savers of `count` houses each on one fresh catalogue and checks the result.
    void saveTogether(int processes, int count)
    {
        // The test's own folder: a fresh catalogue on the server, read directly afterwards.
        qputenv("TAVRELO_TEST_STORE", "server");
        testsupport::ProgramFolder admin;
        const QString uri = admin.ServerUri();
        QVERIFY(!uri.isEmpty());
        db::Connection probe;
        QVERIFY(db::OpenCatalogue(probe, admin.Path()));
        QVERIFY(probe.Execute("Insert Into t_HouseType (List, HouseType) Values (1, 'T1')"));
        probe.Close();

        std::vector<std::unique_ptr<QTemporaryDir>> folders;
        std::vector<std::unique_ptr<QProcess>> savers;
        QElapsedTimer timer;
        timer.start();
        for (int p = 0; p < processes; ++p) {
            folders.push_back(std::make_unique<QTemporaryDir>());
            const QString folder = folders.back()->path();
            QDir(folder).mkdir("Images");
            QDir(folder).mkdir("Music");
            QSettings(folder + "/Tavrelo.conf", QSettings::IniFormat).setValue("catalogue/server", uri);
            auto saver = std::make_unique<QProcess>();
            saver->setProcessChannelMode(QProcess::ForwardedErrorChannel);
            saver->start(QCoreApplication::applicationFilePath(),
                         {"--saver", folder, QString::number(p), QString::number(count)});
            QVERIFY(saver->waitForStarted());
            savers.push_back(std::move(saver));
        }
        for (auto& saver : savers) {
            QVERIFY(saver->waitForFinished(600000));
            QCOMPARE(saver->exitStatus(), QProcess::NormalExit);
            QCOMPARE(saver->exitCode(), 0);
        }
        qInfo("%d processes x %d saves: %lld ms", processes, count, timer.elapsed());

        QCOMPARE(admin.Value("Select Count(*) From t_House").toInt(), processes * count);
        QCOMPARE(admin.Value("Select Count(*) From t_Content").toInt(), processes * count * 2);
        QCOMPARE(admin.Value("Select Count(*) From t_Image").toInt(), processes * count);
        // Whole tables in three reads, then house by house.
        QHash<QString, QVariantList> houses;
        for (const QVariantList& row : admin.Rows("Select HouseName, HouseID, HouseNo From t_House"))
            houses.insert(row[0].toString(), row);
        QHash<qint64, QList<QVariantList>> contents;
        for (const QVariantList& row :
             admin.Rows("Select HouseID, Caption, Content, List From t_Content Order By HouseID, List"))
            contents[row[0].toLongLong()] << row.mid(1);
        QHash<qint64, QList<QVariantList>> images;
        for (const QVariantList& row : admin.Rows("Select HouseID, Intro, ImageFile From t_Image"))
            images[row[0].toLongLong()] << row.mid(1);
        QHash<QString, QByteArray> served;
        for (const QVariantList& row : admin.Rows("Select Name, Content From t_File Where Folder = 'Images'"))
            served.insert(row[0].toString(), row[1].toByteArray());
        QTemporaryDir expected;
        for (int p = 0; p < processes; ++p) {
            for (int i = 0; i < count; ++i) {
                const QString name = houseName(p, i);
                QVERIFY2(houses.contains(name), qPrintable(name));
                const qint64 id = houses[name][1].toLongLong();
                QCOMPARE(houses[name][2].toString(), QString::number(i));
                QCOMPARE(contents.value(id),
                         QList<QVariantList>({{"a", name + "-a", 1}, {"b", name + "-b", 2}}));
                const QString stored = entry::StoredImageName(id, "1", "x.png");
                QCOMPARE(images.value(id), QList<QVariantList>({{name, stored}}));
                const QByteArray picture = bytesOf(makeHousePicture(expected.path(), p, i));
                QVERIFY(!picture.isEmpty());
                QVERIFY2(served.value(stored) == picture, qPrintable(name));
                // Every process's folder shows it: from its own copy or fetched into its cache.
                for (const auto& folder : folders) {
                    const QString local = folder->path() + "/Images/" + stored;
                    db::FillMediaCache(folder->path(), local);
                    QVERIFY2(bytesOf(local) == picture, qPrintable(local));
                }
            }
        }
        qInfo("checked in %lld ms", timer.elapsed());
    }

private slots:
    void two_processes_save_without_crossing() { saveTogether(2, 30); }
    void four_processes_save_without_crossing() { saveTogether(4, 150); }
};

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    if (argc == 5 && QByteArray(argv[1]) == "--saver")
        return runSaver(QString::fromLocal8Bit(argv[2]), atoi(argv[3]), atoi(argv[4]));
    tst_shared_catalogue test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_shared_catalogue.moc"
