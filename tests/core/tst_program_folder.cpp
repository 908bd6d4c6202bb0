// The rule that picks the program folder and the step that makes one usable: a named folder wins,
// then the portable folder, then the per-user folder; a missing or empty folder gets an empty
// catalogue with Images and Music, a catalogue already there is never touched, and a folder with
// other files but no catalogue is refused with nothing written.
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include "core/Folders.h"
#include "core/db/Connection.h"
#include "core/db/Recordset.h"

namespace {

QByteArray sha256(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QCryptographicHash::hash(f.readAll(), QCryptographicHash::Sha256)
                                       : QByteArray();
}

qint64 tables(const QString& database)
{
    db::Connection c;
    if (!c.Open(database)) return -1;
    db::Recordset rs;
    if (!c.Execute(QStringLiteral(
                       "Select Count(*) as n From sqlite_master Where type = 'table' And name Like 't_%'"),
                   rs))
        return -1;
    return rs.Field(QStringLiteral("n")).toLongLong();
}

}  // namespace

class tst_program_folder : public QObject {
    Q_OBJECT
    QTemporaryDir dir_;

private slots:
    void init()
    {
        qunsetenv(folders::kFolderVariable);
        qputenv("XDG_DATA_HOME", QFile::encodeName(dir_.path() + "/data"));
    }

    void without_a_catalogue_beside_the_program_it_is_the_per_user_folder()
    {
        // The test executable's folder holds no House.db.
        QVERIFY(!QFileInfo::exists(QCoreApplication::applicationDirPath() + "/House.db"));
        QCOMPARE(folders::PortableOrUserFolder(), dir_.path() + "/data/Tavrelo");
        QCOMPARE(folders::DefaultProgramFolder(), dir_.path() + "/data/Tavrelo");
    }

    void the_folder_variable_wins_and_is_made_absolute()
    {
        qputenv(folders::kFolderVariable, QFile::encodeName(dir_.path() + "/named/../other/"));
        QCOMPARE(folders::DefaultProgramFolder(), dir_.path() + "/other");
        qputenv(folders::kFolderVariable, "relative/office");
        QCOMPARE(folders::DefaultProgramFolder(), QDir::currentPath() + "/relative/office");
    }

    void a_missing_folder_is_made_with_an_empty_catalogue()
    {
        const QString folder = dir_.path() + "/new/deeper";
        QCOMPARE(folders::StateOf(folder), folders::FolderState::NeedsCatalogue);
        QString error;
        QVERIFY2(folders::Prepare(folder, &error), qPrintable(error));
        QCOMPARE(tables(folder + "/House.db"), 10);  // the five, and the deals tables beside them
        QVERIFY(QFileInfo(folder + "/Images").isDir());
        QVERIFY(QFileInfo(folder + "/Music").isDir());
        QCOMPARE(folders::StateOf(folder), folders::FolderState::Ready);
        // Nothing but the catalogue and the two folders: no draft left behind.
        QCOMPARE(QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 (QStringList{"House.db", "Images", "Music"}));
    }

    void a_catalogue_already_there_is_never_touched()
    {
        const QString folder = dir_.path() + "/kept";
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(db::CreateEmptyDatabase(folder + "/House.db"));
        {
            db::Connection c;
            QVERIFY(c.Open(folder + "/House.db"));
            QVERIFY(c.Execute("Insert Into t_HouseType (HouseType, List) Values ('一室一厅', 1)"));
        }
        const QByteArray before = sha256(folder + "/House.db");
        QString error;
        QVERIFY2(folders::Prepare(folder, &error), qPrintable(error));
        QCOMPARE(sha256(folder + "/House.db"), before);
        QVERIFY(QFileInfo(folder + "/Images").isDir());
    }

    void a_folder_with_other_files_is_refused_with_nothing_written()
    {
        const QString folder = dir_.path() + "/letters";
        QVERIFY(QDir().mkpath(folder));
        QFile f(folder + "/letter.txt");
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("x");
        f.close();
        QCOMPARE(folders::StateOf(folder), folders::FolderState::NotAProgramFolder);
        QString error;
        QVERIFY(!folders::Prepare(folder, &error));
        QVERIFY2(error.contains(folder) && error.contains("House.db"), qPrintable(error));
        QCOMPARE(QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList{"letter.txt"});
        // A hidden file counts too, and so does a plain file where the folder should be.
        const QString hidden = dir_.path() + "/hidden";
        QVERIFY(QDir().mkpath(hidden + "/.git"));
        QCOMPARE(folders::StateOf(hidden), folders::FolderState::NotAProgramFolder);
        QCOMPARE(folders::StateOf(folder + "/letter.txt"), folders::FolderState::NotAProgramFolder);
    }

    void an_empty_folder_looked_at_before_the_frame_made_its_media_folders_still_gets_a_catalogue()
    {
        const QString folder = dir_.path() + "/looked";
        QVERIFY(QDir().mkpath(folder));
        const folders::FolderState state = folders::StateOf(folder);
        QCOMPARE(state, folders::FolderState::NeedsCatalogue);
        QVERIFY(QDir().mkdir(folder + "/Images"));
        QVERIFY(QDir().mkdir(folder + "/Music"));
        QString error;
        QVERIFY2(folders::Prepare(folder, state, &error), qPrintable(error));
        QCOMPARE(tables(folder + "/House.db"), 10);  // the five, and the deals tables beside them
    }

    void a_folder_that_cannot_be_made_is_reported_by_name()
    {
        const QString locked = dir_.path() + "/locked";
        QVERIFY(QDir().mkpath(locked));
        QFile::setPermissions(locked, QFile::ReadOwner | QFile::ExeOwner);
        // Root writes anywhere; the check holds for an ordinary user.
        const bool root = QFileInfo(locked).isWritable();
        QString error;
        const bool made = folders::Prepare(locked + "/inside", &error);
        QFile::setPermissions(locked, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        if (!root) {
            QVERIFY(!made);
            QVERIFY2(error.contains(locked + "/inside"), qPrintable(error));
        } else {
            QVERIFY2(made, qPrintable(error));
        }
    }
};

QTEST_GUILESS_MAIN(tst_program_folder)
#include "tst_program_folder.moc"
