// tavrelo-demo PROGRAM_FOLDER: fills an empty program folder with a small demo catalogue —
// three house types with their tunes, a dozen houses in two buildings with attribute rows and
// pictures — so that every window has something to show. It never touches a catalogue that
// already holds rows.

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <cstdio>

#include "DemoData.h"
#include "core/Folders.h"
#include "core/db/Connection.h"
#include "core/db/Convert.h"
#include "core/db/Recordset.h"

namespace {

// Exit codes: 0 done, 1 failed, 2 usage, 3 refused because the catalogue holds rows (scripts
// tell this apart from a failure and simply start the program on what is there).
constexpr int kAlreadyFilled = 3;

int Fail(const QString& message)
{
    std::fprintf(stderr, "tavrelo-demo: %s\n", qPrintable(message));
    return 1;
}

qint64 RowsIn(db::Connection& connection, const char* table)
{
    db::Recordset rs;
    if (!connection.Execute(QStringLiteral("Select Count(*) as a From ") + QLatin1String(table), rs))
        return -1;
    return rs.Eof() ? -1 : rs.Field(QStringLiteral("a")).toLongLong();
}

// Adds one row through the program's own insert path: an empty keyset recordset, AddNew, the
// columns by name, Update.
bool Insert(db::Connection& connection, const QString& emptySelect,
            const std::vector<std::pair<QString, QVariant>>& fields)
{
    db::Recordset rs;
    if (!rs.Open(emptySelect, connection, db::CursorType::Keyset, db::LockType::Optimistic)) return false;
    if (!rs.AddNew()) return false;
    for (const auto& field : fields) {
        if (!rs.SetField(field.first, field.second)) return false;
    }
    return rs.Update();
}

qint32 LastKey(db::Connection& connection, const QString& sql, const QString& column)
{
    db::Recordset rs;
    if (!connection.Execute(sql, rs) || rs.Eof()) return 0;
    return qint32(rs.Field(column).toLongLong());
}

// The file name the entry wizard gives a copied picture: padded house key, "_", padded number.
QString PictureName(qint32 houseId, int number)
{
    return db::PaddedHouseNumber(houseId) + QLatin1Char('_') + QStringLiteral("0000%1").arg(number).right(4) +
           QStringLiteral(".png");
}

int Fill(db::Connection& connection, const QString& folder)
{
    const QString images = folder + QStringLiteral("/Images");
    const QString music = folder + QStringLiteral("/Music");
    const auto& types = demo::Types();
    std::vector<qint32> typeIds;
    for (size_t i = 0; i < types.size(); ++i) {
        const demo::TypeData& type = types[i];
        if (!demo::WriteTune(int(i), music + QLatin1Char('/') + type.musicFile))
            return Fail(QStringLiteral("cannot write the tune ") + music + QLatin1Char('/') + type.musicFile);
        if (!Insert(connection, QStringLiteral("Select Top 1 * From t_HouseType Order By List DESC"),
                    {{QStringLiteral("HouseType"), type.name},
                     {QStringLiteral("List"), int(i) + 1},
                     {QStringLiteral("MusicTitle"), type.musicTitle},
                     {QStringLiteral("MusicFile"), type.musicFile}}))
            return Fail(QStringLiteral("cannot add the type ") + type.name + QStringLiteral(": ") +
                        connection.LastError());
        const qint32 typeId =
            LastKey(connection, QStringLiteral("Select Top 1 TypeID From t_HouseType Order By TypeID DESC"),
                    QStringLiteral("TypeID"));
        typeIds.push_back(typeId);
        for (const demo::Attribute& row : type.templateRows) {
            if (!Insert(connection, QStringLiteral("Select * From t_Content_Auto Where ContentID Is Null"),
                        {{QStringLiteral("TypeID"), typeId},
                         {QStringLiteral("Caption"), row.caption},
                         {QStringLiteral("Content"), row.content}}))
                return Fail(QStringLiteral("cannot add a template row: ") + connection.LastError());
        }
    }

    for (const demo::HouseData& house : demo::Houses()) {
        if (!Insert(connection, QStringLiteral("Select * From t_House Where HouseID Is Null"),
                    {{QStringLiteral("HouseName"), house.building},
                     {QStringLiteral("HouseNo"), house.roomNo},
                     {QStringLiteral("Intro"), demo::Intro(house)},
                     {QStringLiteral("housefloor"), house.floor},
                     {QStringLiteral("TypeID"), typeIds[size_t(house.type)]}}))
            return Fail(QStringLiteral("cannot add a house: ") + connection.LastError());
        const qint32 houseId =
            LastKey(connection, QStringLiteral("Select Top 1 HouseID From t_House Order By HouseID DESC"),
                    QStringLiteral("HouseID"));
        int list = 0;
        for (const demo::Attribute& row : demo::HouseAttributes(house)) {
            if (!Insert(connection, QStringLiteral("Select * From t_Content Where ContentID Is Null"),
                        {{QStringLiteral("HouseID"), houseId},
                         {QStringLiteral("Caption"), row.caption},
                         {QStringLiteral("Content"), row.content},
                         {QStringLiteral("List"), ++list}}))
                return Fail(QStringLiteral("cannot add an attribute row: ") + connection.LastError());
        }
        const QString planName = PictureName(houseId, 1);
        const QString viewName = PictureName(houseId, 2);
        if (!demo::DrawFloorPlan(house, images + QLatin1Char('/') + planName) ||
            !demo::DrawView(house, images + QLatin1Char('/') + viewName))
            return Fail(QStringLiteral("cannot write the pictures in ") + images);
        const QString room = house.building + house.roomNo + QStringLiteral("室");
        const std::vector<std::pair<QString, QString>> pictures = {
            {QStringLiteral("户型图"), room + QStringLiteral("的户型平面图，") +
                                           demo::Types()[size_t(house.type)].name + QStringLiteral("。")},
            {QStringLiteral("楼宇外观"), room + QStringLiteral("在楼上的位置（橙色窗户）。")},
        };
        const QString files[] = {planName, viewName};
        for (int n = 0; n < 2; ++n) {
            if (!Insert(connection, QStringLiteral("Select * From t_Image Where ImageID Is Null"),
                        {{QStringLiteral("HouseID"), houseId},
                         {QStringLiteral("Caption"), pictures[size_t(n)].first},
                         {QStringLiteral("Intro"), pictures[size_t(n)].second},
                         {QStringLiteral("ImageFile"), files[n]},
                         {QStringLiteral("List"), n + 1}}))
                return Fail(QStringLiteral("cannot add a picture row: ") + connection.LastError());
        }
    }
    return 0;
}

}  // namespace

int main(int argc, char* argv[])
{
    // Drawing text needs fonts, not a screen: the tool runs the same with or without a display.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
        std::fprintf(stderr,
                     "usage: tavrelo-demo [PROGRAM_FOLDER]\n"
                     "Fills the program folder (House.db, Images/, Music/) with a demo catalogue.\n"
                     "Without PROGRAM_FOLDER it fills the one Tavrelo opens: $TAVRELO_FOLDER when set,\n"
                     "else this program's own folder when House.db is there, else the per-user folder\n"
                     "$XDG_DATA_HOME/Tavrelo.\n");
        return argc == 2 && (qstrcmp(argv[1], "--help") == 0 || qstrcmp(argv[1], "-h") == 0) ? 0 : 2;
    }
    const QString folder =
        argc == 2 ? QDir(QString::fromLocal8Bit(argv[1])).absolutePath() : folders::DefaultProgramFolder();
    if (argc == 1 && folders::StateOf(folder) == folders::FolderState::NotAProgramFolder)
        return Fail(folders::NotAProgramFolderMessage(folder));
    if (folders::StateOf(folder) == folders::FolderState::ServerCatalogue)
        return Fail(folders::ServerFolderMessage(folder));
    if (!QDir().mkpath(folder)) return Fail(QStringLiteral("cannot make the folder ") + folder);
    const QString database = folder + QStringLiteral("/House.db");
    // A zero-length file holds no catalogue (opening a missing path with some SQLite tools leaves
    // one behind); it is replaced by an empty catalogue like a missing file.
    const QFileInfo databaseFile(database);
    if (databaseFile.isFile() && databaseFile.size() == 0) QFile::remove(database);
    if (!QFileInfo::exists(database)) {
        QString error;
        if (!db::CreateEmptyDatabase(database, &error)) return Fail(error);
    }
    if (!QDir().mkpath(folder + QStringLiteral("/Images")) ||
        !QDir().mkpath(folder + QStringLiteral("/Music")))
        return Fail(QStringLiteral("cannot make Images/ and Music/ in ") + folder);

    db::Connection connection;
    if (!connection.Open(database))
        return Fail(QStringLiteral("cannot open the catalogue ") + database + QStringLiteral(": ") +
                    connection.LastError());
    for (const char* table : db::kTableNames) {
        const qint64 rows = RowsIn(connection, table);
        if (rows < 0) return Fail(QStringLiteral("cannot read ") + QLatin1String(table));
        if (rows > 0) {
            Fail(QStringLiteral("the catalogue %1 already holds rows (%2 in %3); the demo only fills an "
                                "empty catalogue")
                     .arg(database)
                     .arg(rows)
                     .arg(QLatin1String(table)));
            return kAlreadyFilled;
        }
    }

    // One transaction: either the whole demo is there or none of it.
    if (!connection.BeginTrans()) return Fail(QStringLiteral("the catalogue is locked: ") + database);
    const int result = Fill(connection, folder);
    if (result != 0 || !connection.CommitTrans()) {
        connection.RollbackTrans();
        return result != 0 ? result : Fail(QStringLiteral("cannot save the catalogue ") + database);
    }
    std::printf("tavrelo-demo: %d types, %d houses written to %s\n", int(demo::Types().size()),
                int(demo::Houses().size()), qPrintable(folder));
    return 0;
}
