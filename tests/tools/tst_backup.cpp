// tavrelo-backup: a catalogue of 10,000 houses with pictures and tunes is archived while another
// process keeps saving houses through the data layer; the archive is verified and restored into
// an empty folder and compared table by table and file by file. Damaged and cut-short archives
// and every refusal leave the program folder exactly as it was.
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include "Backup.h"
#include "BackupFixture.h"
#include "TestSupport.h"
#include "core/db/Connection.h"
#include "core/db/TextCollation.h"

using namespace backuptest;

class BackupTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir work_;
    QString smallFolder_;   // 200 houses, made once
    QString smallArchive_;  // its backup as .tar.zst

    // A program folder holding a catalogue with rows, to restore over.
    QString occupiedFolder(const QString& name)
    {
        const QString folder = work_.filePath(name);
        if (!QDir().mkpath(folder) || !db::CreateEmptyDatabase(folder + QStringLiteral("/House.db")))
            return QString();
        if (!fill(folder, 5, 1000)) return QString();
        return folder;
    }

    // The refusal every damaged archive must get: exit 1 for verify and for restore over an occupied
    // folder (even with --replace), the folder exactly as before.
    void expectRefusedUntouched(const QString& archive, const QString& why)
    {
        const Run verify = runTool({QStringLiteral("verify"), archive});
        QCOMPARE(verify.exitCode, 1);
        QVERIFY2(verify.err.contains(QStringLiteral("damaged or incomplete")) ||
                     verify.err.contains(QStringLiteral("cannot be read as an archive")),
                 qPrintable(verify.err));
        const QString folder = occupiedFolder(QStringLiteral("target-") + why);
        QVERIFY(!folder.isEmpty());
        const auto before = folderState(folder);
        const Run restore =
            runTool({QStringLiteral("restore"), QStringLiteral("--replace"), archive, folder});
        QCOMPARE(restore.exitCode, 1);
        QVERIFY2(restore.err.contains(QStringLiteral("Nothing was changed")), qPrintable(restore.err));
        QCOMPARE(folderState(folder), before);
        // An empty folder stays empty too.
        const QString empty = work_.filePath(QStringLiteral("empty-") + why);
        QVERIFY(QDir().mkpath(empty));
        QCOMPARE(runTool({QStringLiteral("restore"), archive, empty}).exitCode, 1);
        QVERIFY(folderState(empty).isEmpty());
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(!binaryDir().isEmpty(), "TAVRELO_BINARY_DIR is not set");
        QVERIFY2(QFileInfo(toolPath()).isExecutable(),
                 qPrintable(toolPath() + QStringLiteral(" is missing")));
        QVERIFY2(QFileInfo(helperPath()).isExecutable(),
                 qPrintable(helperPath() + QStringLiteral(" is missing")));
        QVERIFY(work_.isValid());
        smallFolder_ = work_.filePath(QStringLiteral("small"));
        QVERIFY(QDir().mkpath(smallFolder_));
        QVERIFY(db::CreateEmptyDatabase(smallFolder_ + QStringLiteral("/House.db")));
        QVERIFY(fill(smallFolder_, 200, 3000));
        smallArchive_ = work_.filePath(QStringLiteral("small.tar.zst"));
        const Run r = runTool({QStringLiteral("create"), smallFolder_, smallArchive_});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY(r.out.contains(QStringLiteral("200 in Images")));
    }

    void backupWhileSavingRestoresAConsistentCatalogue()
    {
        QElapsedTimer timer;
        timer.start();
        testsupport::ProgramFolder source;
        QVERIFY(fill(source.Path(), 10000, 2048));
        qInfo("filled 10,000 houses in %lld ms", timer.restart());

        QProcess saver;
        saver.start(helperPath(), {QStringLiteral("save"), source.Path()});
        QVERIFY(saver.waitForStarted());
        // Houses the saver reports saved, counted as its lines arrive.
        QByteArray saverOutput;
        auto saved = [&] {
            saverOutput += saver.readAllStandardOutput();
            return int(saverOutput.count("saved "));
        };
        auto waitForSaves = [&](int more) {
            const int target = saved() + more;
            QElapsedTimer wait;
            wait.start();
            while (saved() < target && wait.elapsed() < 30000) saver.waitForReadyRead(200);
            return saved() >= target;
        };
        QVERIFY2(waitForSaves(20), "the saving process did not save");
        const QStringList filesBefore = filesBelow(source.Path());

        const QString archive = work_.filePath(QStringLiteral("big.tar.zst"));
        const int savedBefore = saved();
        const backup::Result created = backup::Create(source.Path(), archive);
        saver.waitForReadyRead(0);
        const int savedDuring = saved() - savedBefore;
        QVERIFY2(created.ok, qPrintable(created.error));
        qInfo("created the archive in %lld ms (%lld files, %lld bytes)", timer.restart(), created.files,
              created.bytes);
        // The saver went on saving while the archive was written, and after.
        QVERIFY2(waitForSaves(5), "the saving process stopped");
        saver.kill();
        saver.waitForFinished();
        // No save of the other process failed because a backup was being taken.
        saved();
        QVERIFY2(!saverOutput.contains("failed"), saverOutput.right(200).constData());

        const backup::Result verified = backup::Verify(archive);
        QVERIFY2(verified.ok, qPrintable(verified.error));
        QCOMPARE(verified.files, created.files);
        QCOMPARE(verified.tables, created.tables);

        const QString target = work_.filePath(QStringLiteral("restored"));
        QVERIFY(QDir().mkpath(target));
        backup::RestoreOptions options;
        options.archive = archive;
        options.programFolder = target;
        const backup::Result restored = backup::Restore(options);
        QVERIFY2(restored.ok, qPrintable(restored.error));
        QVERIFY(restored.kept.isEmpty());
        qInfo("verified and restored in %lld ms", timer.restart());
        QCOMPARE(
            QDir(target).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
            (QStringList{QStringLiteral("House.db"), QStringLiteral("Images"), QStringLiteral("Music")}));

        // The copy is a consistent snapshot: intact, every house with all its rows, no row
        // without its house, and more than the 10,000 houses that were there before saving began.
        const QString copy = target + QStringLiteral("/House.db");
        QCOMPARE(value(copy, QStringLiteral("PRAGMA integrity_check")), QStringLiteral("ok"));
        const qint64 lastHouse = value(copy, QStringLiteral("SELECT max(HouseID) FROM t_House")).toLongLong();
        QVERIFY2(lastHouse > 10020, qPrintable(QString::number(lastHouse)));
        QCOMPARE(value(copy, QStringLiteral("SELECT count(*) FROM t_House")).toLongLong(), lastHouse);
        QCOMPARE(value(copy, QStringLiteral(
                                 "SELECT count(*) FROM t_House h WHERE "
                                 "(SELECT count(*) FROM t_Content c WHERE c.HouseID = h.HouseID) <> 3 OR "
                                 "(SELECT count(*) FROM t_Image i WHERE i.HouseID = h.HouseID) <> 1")),
                 QStringLiteral("0"));
        QCOMPARE(value(copy, QStringLiteral("SELECT count(*) FROM t_Content WHERE HouseID NOT IN "
                                            "(SELECT HouseID FROM t_House)")),
                 QStringLiteral("0"));
        QCOMPARE(value(copy, QStringLiteral("SELECT count(*) FROM t_Image WHERE HouseID NOT IN "
                                            "(SELECT HouseID FROM t_House)")),
                 QStringLiteral("0"));
        QCOMPARE(value(copy, QStringLiteral("SELECT seq FROM sqlite_sequence WHERE name = 't_House'"))
                     .toLongLong(),
                 lastHouse);

        // Table by table, the copy holds exactly the source's rows up to its last house: the saver
        // only ever added houses, so the source then is the copy plus the houses saved later.
        const QString original = source.DatabasePath();
        const QString upTo = QString::number(lastHouse);
        const QList<QPair<QString, QString>> tables = {
            {QStringLiteral("t_HouseType"), QStringLiteral("SELECT * FROM t_HouseType ORDER BY TypeID")},
            {QStringLiteral("t_Content_Auto"),
             QStringLiteral("SELECT * FROM t_Content_Auto ORDER BY ContentID")},
            {QStringLiteral("t_House"),
             QStringLiteral("SELECT * FROM t_House WHERE HouseID <= %1 ORDER BY HouseID")},
            {QStringLiteral("t_Content"),
             QStringLiteral("SELECT * FROM t_Content WHERE HouseID <= %1 ORDER BY ContentID")},
            {QStringLiteral("t_Image"),
             QStringLiteral("SELECT * FROM t_Image WHERE HouseID <= %1 ORDER BY ImageID")},
        };
        for (const auto& t : tables) {
            const QString sql = t.second.contains(QStringLiteral("%1")) ? t.second.arg(upTo) : t.second;
            const QStringList inCopy = rows(copy, sql);
            const QStringList inSource = rows(original, sql);
            QVERIFY2(!inCopy.isEmpty(), qPrintable(t.first));
            QVERIFY2(inCopy == inSource, qPrintable(t.first + QStringLiteral(" differs")));
            QCOMPARE(qint64(rows(copy, QStringLiteral("SELECT * FROM ") + t.first).size()), [&] {
                for (const auto& c : restored.tables)
                    if (c.first == t.first) return c.second;
                return qint64(-1);
            }());
        }

        // Files: every picture and tune that was there before the backup began, every picture the
        // copy's rows name, each byte for byte as in the source folder.
        const QStringList restoredFiles = filesBelow(target);
        const QSet<QString> restoredSet(restoredFiles.begin(), restoredFiles.end());
        for (const QString& name : filesBefore) {
            if (name == QLatin1String("House.db") || !name.contains(QLatin1Char('/'))) continue;
            QVERIFY2(restoredSet.contains(name), qPrintable(name + QStringLiteral(" was not restored")));
        }
        for (const QString& file : rows(copy, QStringLiteral("SELECT ImageFile FROM t_Image")))
            QVERIFY2(restoredSet.contains(QStringLiteral("Images/") + file), qPrintable(file));
        for (const QString& file : rows(copy, QStringLiteral("SELECT MusicFile FROM t_HouseType")))
            QVERIFY2(restoredSet.contains(QStringLiteral("Music/") + file), qPrintable(file));
        int compared = 0;
        for (const QString& name : restoredFiles) {
            if (name == QLatin1String("House.db")) continue;
            QCOMPARE(fileHash(target + QLatin1Char('/') + name), fileHash(source.File(name)));
            ++compared;
        }
        QVERIFY(compared >= 10000 + 20);
        QCOMPARE(qint64(compared), restored.images + restored.music);
        QCOMPARE(restored.music, qint64(20));
        qInfo(
            "compared in %lld ms: houses up to %lld in the copy, %d saves reported while the archive was "
            "written",
            timer.elapsed(), lastHouse, savedDuring);
    }

    void verifyReportsCountsOfAnIntactArchive()
    {
        const Run r = runTool({QStringLiteral("verify"), smallArchive_});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.contains(QStringLiteral("complete and intact")));
        QVERIFY(r.out.contains(QStringLiteral("t_House        : 200 rows")));
        QVERIFY(r.out.contains(QStringLiteral("t_Content      : 600 rows")));
        QVERIFY(r.out.contains(QStringLiteral("200 in Images, 20 in Music")));
    }

    void damagedArchiveIsRefusedAndNothingChanges()
    {
        const QString damaged = work_.filePath(QStringLiteral("damaged.tar.zst"));
        QVERIFY(QFile::copy(smallArchive_, damaged));
        flipBytes(damaged, QFileInfo(damaged).size() / 2, 16);
        expectRefusedUntouched(damaged, QStringLiteral("damaged"));
    }

    void truncatedArchiveIsRefusedAndNothingChanges()
    {
        const qint64 size = QFileInfo(smallArchive_).size();
        const QString half = work_.filePath(QStringLiteral("half.tar.zst"));
        truncateTo(smallArchive_, half, size / 2);
        expectRefusedUntouched(half, QStringLiteral("half"));
        // Cut in the last few hundred bytes: everything but the manifest's end is there.
        const QString nearlyAll = work_.filePath(QStringLiteral("nearly.tar.zst"));
        truncateTo(smallArchive_, nearlyAll, size - 200);
        expectRefusedUntouched(nearlyAll, QStringLiteral("nearly"));
        const QString nothing = work_.filePath(QStringLiteral("nothing.tar.zst"));
        truncateTo(smallArchive_, nothing, 0);
        expectRefusedUntouched(nothing, QStringLiteral("nothing"));
    }

    void changedPictureInUncompressedArchiveFailsItsChecksum()
    {
        // Without compression no decoder notices a changed byte: only the manifest's SHA-256 does.
        const QString plain = work_.filePath(QStringLiteral("plain.tar"));
        QCOMPARE(runTool({QStringLiteral("create"), smallFolder_, plain}).exitCode, 0);
        QCOMPARE(runTool({QStringLiteral("verify"), plain}).exitCode, 0);
        const QString picture = QStringLiteral("Images/000077_0001.jpg");
        QFile pictureFile(smallFolder_ + QLatin1Char('/') + picture);
        QVERIFY(pictureFile.open(QIODevice::ReadOnly));
        const QByteArray content = pictureFile.readAll();
        QFile archive(plain);
        QVERIFY(archive.open(QIODevice::ReadOnly));
        const qint64 at = archive.readAll().indexOf(content);
        archive.close();
        QVERIFY(at > 0);
        flipBytes(plain, at + 100, 1);
        const Run r = runTool({QStringLiteral("verify"), plain});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains(picture + QStringLiteral(" does not match its SHA-256")), qPrintable(r.err));
        expectRefusedUntouched(plain, QStringLiteral("plain"));
    }

    void restoreRefusesACatalogueWithRowsWithoutReplace()
    {
        const QString folder = occupiedFolder(QStringLiteral("occupied"));
        QVERIFY(!folder.isEmpty());
        const auto before = folderState(folder);
        const Run r = runTool({QStringLiteral("restore"), smallArchive_, folder});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains(QStringLiteral("already holds a catalogue; give --replace")),
                 qPrintable(r.err));
        QCOMPARE(folderState(folder), before);
    }

    void restoreRefusesWhenABakIsAlreadyThere()
    {
        const QString folder = occupiedFolder(QStringLiteral("withbak"));
        QVERIFY(!folder.isEmpty());
        QVERIFY(QDir().mkpath(folder + QStringLiteral("/Images.bak")));
        QFile old(folder + QStringLiteral("/Images.bak/kept.jpg"));
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write("earlier");
        old.close();
        const auto before = folderState(folder);
        const Run r =
            runTool({QStringLiteral("restore"), QStringLiteral("--replace"), smallArchive_, folder});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains(QStringLiteral("Images.bak is already there")), qPrintable(r.err));
        QCOMPARE(folderState(folder), before);
    }

    void replaceKeepsWhatWasThereAsBak()
    {
        const QString folder = occupiedFolder(QStringLiteral("replaced"));
        QVERIFY(!folder.isEmpty());
        const auto before = folderState(folder);
        const Run r =
            runTool({QStringLiteral("restore"), QStringLiteral("--replace"), smallArchive_, folder});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY(r.out.contains(QStringLiteral("House.db.bak")));
        // The earlier pieces, unchanged, under .bak; the archive's in their place.
        int keptFiles = 0;
        for (auto it = before.constBegin(); it != before.constEnd(); ++it) {
            if (it.value() == "<dir>") continue;
            const QString piece = it.key().section(QLatin1Char('/'), 0, 0);
            const QString rest = it.key().mid(piece.size());
            QCOMPARE(fileHash(folder + QLatin1Char('/') + piece + QStringLiteral(".bak") + rest), it.value());
            ++keptFiles;
        }
        QCOMPARE(keptFiles, 1 + 5 + 20);
        QCOMPARE(
            value(folder + QStringLiteral("/House.db.bak"), QStringLiteral("SELECT count(*) FROM t_House")),
            QStringLiteral("5"));
        QCOMPARE(value(folder + QStringLiteral("/House.db"), QStringLiteral("SELECT count(*) FROM t_House")),
                 QStringLiteral("200"));
        QCOMPARE(filesBelow(folder + QStringLiteral("/Images")),
                 filesBelow(smallFolder_ + QStringLiteral("/Images")));
        QCOMPARE(rows(folder + QStringLiteral("/House.db"),
                      QStringLiteral("SELECT * FROM t_Content ORDER BY ContentID")),
                 rows(smallFolder_ + QStringLiteral("/House.db"),
                      QStringLiteral("SELECT * FROM t_Content ORDER BY ContentID")));
        // A second restore over it now meets the .bak and refuses.
        QCOMPARE(
            runTool({QStringLiteral("restore"), QStringLiteral("--replace"), smallArchive_, folder}).exitCode,
            1);
    }

    void replaceAfterACrashKeepsTheOldCatalogueWithItsJournal()
    {
        // A program killed in the middle of a save leaves House.db half written with a hot
        // journal beside it. Made here by copying both files while a large save is still open.
        const QString live = work_.filePath(QStringLiteral("crash-live"));
        QVERIFY(QDir().mkpath(live));
        QVERIFY(db::CreateEmptyDatabase(live + QStringLiteral("/House.db")));
        QVERIFY(fill(live, 300, 100));
        const QString contentSql = QStringLiteral("SELECT * FROM t_Content ORDER BY ContentID");
        const QStringList oldRows = rows(live + QStringLiteral("/House.db"), contentSql);
        const QString crashed = work_.filePath(QStringLiteral("crashed"));
        QVERIFY(QDir().mkpath(crashed + QStringLiteral("/Images")));
        sqlite3* h = nullptr;
        QCOMPARE(sqlite3_open(QFile::encodeName(live + QStringLiteral("/House.db")).constData(), &h),
                 SQLITE_OK);
        db::RegisterTextCollation(h);
        QCOMPARE(sqlite3_exec(
                     h, "PRAGMA cache_size = 2; BEGIN; UPDATE t_Content SET Content = Content || ' changed'",
                     nullptr, nullptr, nullptr),
                 SQLITE_OK);
        QVERIFY(QFileInfo(live + QStringLiteral("/House.db-journal")).size() > 0);
        for (const QString& name : {QStringLiteral("/House.db"), QStringLiteral("/House.db-journal")})
            QVERIFY(QFile::copy(live + name, crashed + name));
        sqlite3_exec(h, "ROLLBACK", nullptr, nullptr, nullptr);
        sqlite3_close(h);

        // A backup of such a folder finishes the interrupted save's rollback first, as the
        // program's own start would, and holds the catalogue as it was before that save.
        const QString source = work_.filePath(QStringLiteral("crash-source"));
        QVERIFY(QDir().mkpath(source));
        for (const QString& name : {QStringLiteral("/House.db"), QStringLiteral("/House.db-journal")})
            QVERIFY(QFile::copy(crashed + name, source + name));
        const QString archive = work_.filePath(QStringLiteral("crash.tar.zst"));
        QCOMPARE(runTool({QStringLiteral("create"), source, archive}).exitCode, 0);
        const QString unpacked = work_.filePath(QStringLiteral("crash-unpacked"));
        QCOMPARE(runTool({QStringLiteral("restore"), archive, unpacked}).exitCode, 0);
        QCOMPARE(rows(unpacked + QStringLiteral("/House.db"), contentSql), oldRows);

        // Without --replace: refused, and the interrupted save is not even rolled back.
        const auto before = folderState(crashed);
        const Run refused = runTool({QStringLiteral("restore"), smallArchive_, crashed});
        QCOMPARE(refused.exitCode, 1);
        QVERIFY2(refused.err.contains(QStringLiteral("journal of an interrupted save")),
                 qPrintable(refused.err));
        QCOMPARE(folderState(crashed), before);

        const Run r =
            runTool({QStringLiteral("restore"), QStringLiteral("--replace"), smallArchive_, crashed});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY(QFileInfo(crashed + QStringLiteral("/House.db.bak-journal")).size() > 0);
        // The restored catalogue is whole, and nothing of the interrupted save is replayed into it.
        const QString restored = crashed + QStringLiteral("/House.db");
        QVERIFY(!QFileInfo::exists(restored + QStringLiteral("-journal")));
        QCOMPARE(value(restored, QStringLiteral("PRAGMA integrity_check")), QStringLiteral("ok"));
        QCOMPARE(rows(restored, contentSql), rows(smallFolder_ + QStringLiteral("/House.db"), contentSql));
        // The kept catalogue is the old one as it stood before the interrupted save.
        const QString kept = crashed + QStringLiteral("/House.db.bak");
        QCOMPARE(value(kept, QStringLiteral("PRAGMA integrity_check")), QStringLiteral("ok"));
        QCOMPARE(rows(kept, contentSql), oldRows);
        QVERIFY(!QFileInfo::exists(kept + QStringLiteral("-journal")));
    }

    void restoreOverAnEmptyCatalogueNeedsNoReplaceAndKeepsNoBak()
    {
        const QString folder = work_.filePath(QStringLiteral("fresh"));
        QVERIFY(QDir().mkpath(folder + QStringLiteral("/Images")));
        QVERIFY(QDir().mkpath(folder + QStringLiteral("/Music")));
        QVERIFY(db::CreateEmptyDatabase(folder + QStringLiteral("/House.db")));
        const Run r = runTool({QStringLiteral("restore"), smallArchive_, folder});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(
            QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
            (QStringList{QStringLiteral("House.db"), QStringLiteral("Images"), QStringLiteral("Music")}));
        QCOMPARE(value(folder + QStringLiteral("/House.db"), QStringLiteral("SELECT count(*) FROM t_Image")),
                 QStringLiteral("200"));
    }

    void aJournalWithoutItsCatalogueDoesNotMeetTheRestoredOne()
    {
        // What a crash leaves when House.db itself was then deleted by hand: a journal alone.
        const QString folder = work_.filePath(QStringLiteral("orphan"));
        QVERIFY(QDir().mkpath(folder));
        const QString live = work_.filePath(QStringLiteral("orphan-live"));
        QVERIFY(QDir().mkpath(live));
        QVERIFY(QFile::copy(smallFolder_ + QStringLiteral("/House.db"), live + QStringLiteral("/House.db")));
        sqlite3* h = nullptr;
        QCOMPARE(sqlite3_open(QFile::encodeName(live + QStringLiteral("/House.db")).constData(), &h),
                 SQLITE_OK);
        db::RegisterTextCollation(h);
        QCOMPARE(
            sqlite3_exec(h, "PRAGMA cache_size = 2; BEGIN; DELETE FROM t_Content", nullptr, nullptr, nullptr),
            SQLITE_OK);
        QVERIFY(QFile::copy(live + QStringLiteral("/House.db-journal"),
                            folder + QStringLiteral("/House.db-journal")));
        sqlite3_exec(h, "ROLLBACK", nullptr, nullptr, nullptr);
        sqlite3_close(h);

        const Run r = runTool({QStringLiteral("restore"), smallArchive_, folder});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(
            QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
            (QStringList{QStringLiteral("House.db"), QStringLiteral("Images"), QStringLiteral("Music")}));
        QCOMPARE(value(folder + QStringLiteral("/House.db"), QStringLiteral("PRAGMA integrity_check")),
                 QStringLiteral("ok"));
        QCOMPARE(
            value(folder + QStringLiteral("/House.db"), QStringLiteral("SELECT count(*) FROM t_Content")),
            QStringLiteral("600"));
    }

    void otherFormatsAndAnyNameRoundTrip()
    {
        for (const QString& name :
             {QStringLiteral("b.tar.gz"), QStringLiteral("b.zip"), QStringLiteral("b.tar.xz")}) {
            const QString archive = work_.filePath(name);
            const backup::Result created = backup::Create(smallFolder_, archive);
            QVERIFY2(created.ok, qPrintable(created.error));
            // Verify and restore recognise the format by content, whatever the name says.
            const QString renamed = archive + QStringLiteral(".backup");
            QVERIFY(QFile::rename(archive, renamed));
            QVERIFY2(backup::Verify(renamed).ok, qPrintable(name));
            const QString folder = work_.filePath(QStringLiteral("from-") + name);
            const backup::Result restored = backup::Restore({renamed, folder, false});
            QVERIFY2(restored.ok, qPrintable(restored.error));
            QCOMPARE(filesBelow(folder + QStringLiteral("/Music")),
                     filesBelow(smallFolder_ + QStringLiteral("/Music")));
            QCOMPARE(
                value(folder + QStringLiteral("/House.db"), QStringLiteral("SELECT count(*) FROM t_House")),
                QStringLiteral("200"));
        }
    }

    void entriesThatDoNotBelongAreRefused()
    {
        QFile db(smallFolder_ + QStringLiteral("/House.db"));
        QVERIFY(db.open(QIODevice::ReadOnly));
        const QByteArray catalogue = db.readAll();
        const QString outside = work_.filePath(QStringLiteral("escaped.txt"));
        struct Case {
            QString name;
            QList<QPair<QString, QByteArray>> entries;
            QString expected;  // in the refusal
        };
        const QList<Case> cases = {
            {QStringLiteral("climbs out"),
             {{QStringLiteral("House.db"), catalogue}, {QStringLiteral("Images/../../escaped.txt"), "x"}},
             QStringLiteral("Images/../../escaped.txt does not belong")},
            {QStringLiteral("absolute"),
             {{QStringLiteral("House.db"), catalogue}, {outside, "x"}},
             outside + QStringLiteral(" does not belong")},
            {QStringLiteral("other folder"),
             {{QStringLiteral("House.db"), catalogue}, {QStringLiteral("Scripts/run.sh"), "x"}},
             QStringLiteral("Scripts/run.sh does not belong")},
            {QStringLiteral("link"),
             {{QStringLiteral("House.db"), catalogue}, {QStringLiteral("Images/a.jpg"), "->/etc/passwd"}},
             QStringLiteral("Images/a.jpg is not a plain file")},
            {QStringLiteral("no catalogue"),
             {{QStringLiteral("Images/a.jpg"), "x"}},
             QStringLiteral("it holds no House.db")},
            {QStringLiteral("not a catalogue"),
             {{QStringLiteral("House.db"), QByteArray(8192, 'x')}},
             QStringLiteral("the catalogue in the archive is damaged")},
        };
        int n = 0;
        for (const auto& c : cases) {
            const QString archive = work_.filePath(QStringLiteral("crafted%1.tar").arg(++n));
            QVERIFY(writeCraftedTar(archive, c.entries));
            const Run verify = runTool({QStringLiteral("verify"), archive});
            QVERIFY2(verify.exitCode == 1, qPrintable(c.name));
            QVERIFY2(verify.err.contains(c.expected), qPrintable(c.name + QStringLiteral(": ") + verify.err));
            const QString folder = work_.filePath(QStringLiteral("crafted-target%1").arg(n));
            QVERIFY(QDir().mkpath(folder));
            const Run restore = runTool({QStringLiteral("restore"), archive, folder});
            QVERIFY2(restore.exitCode == 1, qPrintable(c.name + QLatin1Char(' ') + restore.err));
            QVERIFY2(restore.err.contains(c.expected),
                     qPrintable(c.name + QStringLiteral(": ") + restore.err));
            QVERIFY2(folderState(folder).isEmpty(), qPrintable(c.name));
            QVERIFY(!QFileInfo::exists(outside));
        }
    }

    void createRefusals()
    {
        const auto before = folderState(work_.path());
        Run r = runTool({QStringLiteral("create"), smallFolder_, smallArchive_});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains(QStringLiteral("never overwritten")), qPrintable(r.err));
        r = runTool({QStringLiteral("create"), smallFolder_, work_.filePath(QStringLiteral("x.rar"))});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains(QStringLiteral("unknown archive ending")), qPrintable(r.err));
        r = runTool({QStringLiteral("create"), work_.filePath(QStringLiteral("no-such-folder")),
                     work_.filePath(QStringLiteral("x.tar.zst"))});
        QCOMPARE(r.exitCode, 1);
        const QString notCatalogue = work_.filePath(QStringLiteral("notcat"));
        QVERIFY(QDir().mkpath(notCatalogue));
        QFile junk(notCatalogue + QStringLiteral("/House.db"));
        QVERIFY(junk.open(QIODevice::WriteOnly));
        junk.write("this is not a database, just text that is long enough to be looked at by SQLite");
        junk.close();
        const auto notCatalogueBefore = folderState(work_.path());
        r = runTool({QStringLiteral("create"), notCatalogue, work_.filePath(QStringLiteral("y.tar.zst"))});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains(QStringLiteral("not a Tavrelo catalogue")), qPrintable(r.err));
        QCOMPARE(folderState(work_.path()), notCatalogueBefore);
        QVERIFY(before.size() + 2 == notCatalogueBefore.size());
        const auto smallBefore = folderState(smallFolder_);
        r = runTool(
            {QStringLiteral("create"), smallFolder_, smallFolder_ + QStringLiteral("/Images/self.tar")});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains(QStringLiteral("put the archive outside Images and Music")),
                 qPrintable(r.err));
        QCOMPARE(folderState(smallFolder_), smallBefore);
        r = runTool({QStringLiteral("verify"), work_.filePath(QStringLiteral("missing.tar.zst"))});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains(QStringLiteral("does not exist")), qPrintable(r.err));
    }

    void createWithoutAFolderBacksUpTheProgramsOwn()
    {
        // The tool sits beside tavrelo and its House.db in the build folder.
        const QString archive = work_.filePath(QStringLiteral("default.tar.zst"));
        const Run r = runTool({QStringLiteral("create"), archive});
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY2(r.out.contains(QStringLiteral(" from ") + binaryDir()), qPrintable(r.out));
        QCOMPARE(runTool({QStringLiteral("verify"), archive}).exitCode, 0);
    }

    void usageErrorsExitTwo()
    {
        const QList<QStringList> wrong = {
            {},
            {QStringLiteral("frobnicate")},
            {QStringLiteral("create")},
            {QStringLiteral("create"), QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")},
            {QStringLiteral("verify")},
            {QStringLiteral("verify"), QStringLiteral("a"), QStringLiteral("b")},
            {QStringLiteral("restore")},
            {QStringLiteral("restore"), QStringLiteral("--bogus"), QStringLiteral("a")},
            {QStringLiteral("create"), QStringLiteral("--replace"), QStringLiteral("a.tar")},
        };
        for (const QStringList& args : wrong) {
            const Run r = runTool(args);
            QVERIFY2(r.exitCode == 2, qPrintable(args.join(QLatin1Char(' '))));
            QVERIFY(r.err.contains(QStringLiteral("usage: tavrelo-backup")));
        }
        const Run help = runTool({QStringLiteral("--help")});
        QCOMPARE(help.exitCode, 0);
        QVERIFY(help.err.contains(QStringLiteral("usage: tavrelo-backup")));
    }
};

QTEST_GUILESS_MAIN(BackupTest)
#include "tst_backup.moc"
