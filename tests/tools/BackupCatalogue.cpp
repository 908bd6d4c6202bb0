// A helper for the backup test and its measurements. Two commands:
//   fill FOLDER HOUSES PICTURE_BYTES   writes a catalogue of HOUSES houses (3 attribute rows and one
//                                      picture of PICTURE_BYTES bytes each, 20 types with a tune
//                                      each) into FOLDER, which must hold an empty House.db.
//   save FOLDER                        keeps adding houses the way the entry wizard saves one,
//                                      through the program's data layer, until it is killed; prints
//                                      "saved <HouseID>" after each save.
#include <sqlite3.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QThread>
#include <cstdio>

#include "core/db/Connection.h"
#include "core/db/Recordset.h"
#include "core/db/TextCollation.h"
#include "entry/EntrySql.h"

namespace {

constexpr int kTypes = 20;

QByteArray pictureBytes(quint32 seed, int size)
{
    QByteArray data(size, Qt::Uninitialized);
    QRandomGenerator generator(seed);
    generator.fillRange(reinterpret_cast<quint32*>(data.data()), size / 4);
    // A JPEG's first bytes, so that the files look like what an office keeps.
    if (size >= 4) data.replace(0, 4, QByteArray::fromHex("ffd8ffe0"));
    return data;
}

// Written aside (in the program folder, outside Images) and renamed in, so that a picture is
// either wholly in Images or not there at all.
bool writeFile(const QString& path, const QByteArray& data)
{
    const QString temp = QFileInfo(path).absolutePath() + QStringLiteral("/../.picture.part");
    QFile f(temp);
    if (!f.open(QIODevice::WriteOnly) || f.write(data) != data.size()) return false;
    f.close();
    return QFile::rename(temp, path);
}

bool exec(sqlite3_stmt* st)
{
    const bool ok = sqlite3_step(st) == SQLITE_DONE;
    sqlite3_reset(st);
    return ok;
}

int fill(const QString& folder, int houses, int pictureSize)
{
    QDir().mkpath(folder + QStringLiteral("/Images"));
    QDir().mkpath(folder + QStringLiteral("/Music"));
    sqlite3* h = nullptr;
    if (sqlite3_open(QFile::encodeName(folder + QStringLiteral("/House.db")).constData(), &h) != SQLITE_OK)
        return 1;
    db::RegisterTextCollation(h);
    sqlite3_exec(h, "BEGIN", nullptr, nullptr, nullptr);
    sqlite3_stmt *type, *tmpl, *house, *content, *image;
    sqlite3_prepare_v2(h, "INSERT INTO t_HouseType (List, HouseType, MusicTitle, MusicFile) VALUES (?,?,?,?)",
                       -1, &type, nullptr);
    sqlite3_prepare_v2(h, "INSERT INTO t_Content_Auto (TypeID, Caption, Content) VALUES (?,?,?)", -1, &tmpl,
                       nullptr);
    sqlite3_prepare_v2(
        h, "INSERT INTO t_House (HouseName, HouseNo, Intro, HouseFloor, TypeID) VALUES (?,?,?,?,?)", -1,
        &house, nullptr);
    sqlite3_prepare_v2(h, "INSERT INTO t_Content (HouseID, Caption, Content, List) VALUES (?,?,?,?)", -1,
                       &content, nullptr);
    sqlite3_prepare_v2(h, "INSERT INTO t_Image (HouseID, Caption, Intro, ImageFile, List) VALUES (?,?,?,?,?)",
                       -1, &image, nullptr);
    auto text = [](sqlite3_stmt* st, int i, const QString& s) {
        const QByteArray u = s.toUtf8();
        sqlite3_bind_text(st, i, u.constData(), u.size(), SQLITE_TRANSIENT);
    };
    bool ok = true;
    for (int t = 1; t <= kTypes; ++t) {
        const QString tune = QStringLiteral("tune%1.wav").arg(t, 2, 10, QLatin1Char('0'));
        sqlite3_bind_int(type, 1, t);
        text(type, 2, QStringLiteral("户型%1").arg(t));
        text(type, 3, QStringLiteral("曲目 %1").arg(t));
        text(type, 4, tune);
        ok = ok && exec(type);
        ok = ok && writeFile(folder + QStringLiteral("/Music/") + tune, pictureBytes(1000 + t, 4096));
        for (const QString& caption : {QStringLiteral("朝向"), QStringLiteral("面积")}) {
            sqlite3_bind_int(tmpl, 1, t);
            text(tmpl, 2, caption);
            text(tmpl, 3, QString());
            ok = ok && exec(tmpl);
        }
    }
    for (int id = 1; id <= houses && ok; ++id) {
        text(house, 1, QStringLiteral("翠湖苑%1号楼").arg(id % 50 + 1));
        text(house, 2, QString::number(100 + id % 900));
        text(house, 3, QStringLiteral("南北通透，第%1套").arg(id));
        sqlite3_bind_int(house, 4, id % 30 + 1);
        sqlite3_bind_int(house, 5, id % kTypes + 1);
        ok = ok && exec(house);
        const qint64 houseId = sqlite3_last_insert_rowid(h);
        const QStringList captions = {QStringLiteral("朝向"), QStringLiteral("面积"), QStringLiteral("单价")};
        for (int i = 0; i < captions.size(); ++i) {
            sqlite3_bind_int64(content, 1, houseId);
            text(content, 2, captions[i]);
            text(content, 3, QStringLiteral("值%1-%2").arg(houseId).arg(i));
            sqlite3_bind_int(content, 4, i + 1);
            ok = ok && exec(content);
        }
        const QString file = entry::StoredImageName(houseId, QStringLiteral("1"), QStringLiteral("a.jpg"));
        sqlite3_bind_int64(image, 1, houseId);
        text(image, 2, QStringLiteral("平面图"));
        text(image, 3, QStringLiteral("第%1套的平面图").arg(houseId));
        text(image, 4, file);
        sqlite3_bind_int(image, 5, 1);
        ok = ok && exec(image);
        ok = ok && writeFile(folder + QStringLiteral("/Images/") + file,
                             pictureBytes(quint32(houseId), pictureSize));
    }
    for (sqlite3_stmt* st : {type, tmpl, house, content, image}) sqlite3_finalize(st);
    ok = ok && sqlite3_exec(h, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(h);
    std::printf("%s\n", ok ? "filled" : "failed");
    return ok ? 0 : 1;
}

// One save as the entry wizard makes it: the house row, its key read back, its attribute rows
// and its picture row, all in one transaction; the picture file is copied into Images first.
bool saveOne(const QString& folder, int serial)
{
    db::Connection cn;
    if (!cn.Open(folder + QStringLiteral("/House.db"))) return false;
    db::Transaction transaction(cn);
    db::Recordset rs;
    if (!rs.Open(entry::SqlEmptyHouse(), cn, db::CursorType::Keyset, db::LockType::Optimistic)) return false;
    rs.AddNew();
    rs.SetField(QStringLiteral("HouseName"), QStringLiteral("新楼%1").arg(serial % 7));
    rs.SetField(QStringLiteral("TypeID"), serial % kTypes + 1);
    rs.SetField(QStringLiteral("HouseNo"), QString::number(serial));
    rs.SetField(QStringLiteral("Intro"), QStringLiteral("保存中的第%1套").arg(serial));
    rs.SetField(QStringLiteral("housefloor"), serial % 30 + 1);
    if (!rs.Update()) return false;
    rs.Close();
    qint32 houseId = 0;
    if (cn.Execute(entry::SqlLastHouseId(), rs) && !rs.Eof())
        houseId = rs.Field(QStringLiteral("HouseID")).toInt();
    rs.Close();
    if (houseId == 0) return false;
    const QStringList captions = {QStringLiteral("朝向"), QStringLiteral("面积"), QStringLiteral("单价")};
    for (int i = 0; i < captions.size(); ++i) {
        if (!rs.Open(entry::SqlEmptyContent(), cn, db::CursorType::Keyset, db::LockType::Optimistic))
            return false;
        rs.AddNew();
        rs.SetField(QStringLiteral("HouseID"), houseId);
        rs.SetField(QStringLiteral("List"), i + 1);
        rs.SetField(QStringLiteral("Caption"), captions[i]);
        rs.SetField(QStringLiteral("Content"), QStringLiteral("值%1-%2").arg(houseId).arg(i));
        if (!rs.Update()) return false;
        rs.Close();
    }
    const QString file = entry::StoredImageName(houseId, QStringLiteral("1"), QStringLiteral("a.jpg"));
    if (!writeFile(folder + QStringLiteral("/Images/") + file, pictureBytes(quint32(houseId), 3000)))
        return false;
    if (!rs.Open(entry::SqlEmptyImage(), cn, db::CursorType::Keyset, db::LockType::Optimistic)) return false;
    rs.AddNew();
    rs.SetField(QStringLiteral("HouseID"), houseId);
    rs.SetField(QStringLiteral("List"), 1);
    rs.SetField(QStringLiteral("Caption"), QStringLiteral("平面图"));
    rs.SetField(QStringLiteral("Intro"), QStringLiteral("第%1套的平面图").arg(houseId));
    rs.SetField(QStringLiteral("ImageFile"), file);
    if (!rs.Update()) return false;
    rs.Close();
    if (!transaction.Commit()) return false;
    cn.Close();
    std::printf("saved %d\n", houseId);
    std::fflush(stdout);
    return true;
}

}  // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    if (args.size() == 4 && args[0] == QLatin1String("fill"))
        return fill(args[1], args[2].toInt(), args[3].toInt());
    if (args.size() == 2 && args[0] == QLatin1String("save")) {
        for (int serial = 1;; ++serial) {
            // A save that meets a busy file fails as the wizard's would; the next one goes on.
            if (!saveOne(args[1], serial)) {
                std::printf("failed %d\n", serial);
                std::fflush(stdout);
            }
            QThread::msleep(2);
        }
    }
    std::fprintf(stderr, "usage: backup-catalogue fill FOLDER HOUSES PICTURE_BYTES | save FOLDER\n");
    return 2;
}
