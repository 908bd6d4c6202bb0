// Writing a price list's plan: one transaction, the new types, then line by line the house, its
// attribute rows and its pictures; on a shared catalogue the lines' statements go in batches.
#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <memory>

#include "core/ImageNames.h"
#include "core/db/ChangeContext.h"
#include "core/db/Connection.h"
#include "core/db/ServerFiles.h"
#include "core/db/Statement.h"
#include "pricelist/sheet/PictureCopies.h"
#include "pricelist/sheet/PriceList.h"
#include "pricelist/sheet/ServerBatch.h"

namespace pricelist {

namespace {

// Type names are looked up the way the catalogue compares text: without regard to case (as the
// plan looked them up).
QString typeKey(const QString& name)
{
    return name.toCaseFolded();
}

// Writes a plan inside the caller's transaction: the statements, the new types, then line by line
// the house, its attribute rows and its pictures. A failing step returns false with error() set.
class PlanWriter {
public:
    PlanWriter(db::Connection& connection, const QString& images) : connection_(connection), pictures_(images)
    {
    }

    bool Prepare();
    bool CreateTypes(const QStringList& names, int* created);
    // On a shared catalogue the lines' statements go in batches (see ServerBatch); Finish sends
    // what is left and reports whether all of them were taken.
    bool BeginBatches(const Plan& plan);
    bool Finish();
    // Leaves the batches without caring for their answers, before a rollback.
    void Abandon()
    {
        if (batch_) batch_->End();
        batch_.reset();
    }
    bool WriteLine(const PlanLine& line, WriteResult* result);
    QString error() const { return error_; }
    PictureCopies& pictures() { return pictures_; }

private:
    bool fail(const QString& what)
    {
        error_ = QStringLiteral("%1：%2").arg(what, connection_.LastError());
        return false;
    }
    bool writeHouse(const PlanLine& line, qint64 typeId, qint64* houseId);
    bool writeAttributes(const PlanLine& line, qint64 houseId);
    bool writePictures(const PlanLine& line, qint64 houseId);
    bool copyPicture(const QString& source, const QString& stored);

    db::Connection& connection_;
    PictureCopies pictures_;
    QString error_;
    QHash<QString, qint64> types_;
    std::unique_ptr<ServerBatch> batch_;
    db::Statement lastList_, insertType_, insertHouse_, updateHouse_, updateHouseKeepIntro_, deleteContent_,
        insertContent_, readImages_, deleteImages_, insertImage_, readTypes_;
};

bool PlanWriter::Prepare()
{
    db::Connection& c = connection_;
    const bool prepared =
        lastList_.Prepare(c, QStringLiteral("SELECT MAX(List) FROM t_HouseType")) &&
        readTypes_.Prepare(c, QStringLiteral("SELECT TypeID, HouseType FROM t_HouseType")) &&
        insertType_.Prepare(c, QStringLiteral("INSERT INTO t_HouseType (List, HouseType, MusicTitle, "
                                              "MusicFile) VALUES (?, ?, '', '')")) &&
        insertHouse_.Prepare(c, QStringLiteral("INSERT INTO t_House (HouseName, HouseNo, Intro, "
                                               "HouseFloor, TypeID) VALUES (?, ?, ?, ?, ?)")) &&
        updateHouse_.Prepare(c, QStringLiteral("UPDATE t_House SET HouseName = ?, HouseNo = ?, Intro = ?, "
                                               "HouseFloor = ?, TypeID = ? WHERE HouseID = ?")) &&
        updateHouseKeepIntro_.Prepare(c, QStringLiteral("UPDATE t_House SET HouseName = ?, HouseNo = ?, "
                                                        "HouseFloor = ?, TypeID = ? WHERE HouseID = ?")) &&
        deleteContent_.Prepare(c, QStringLiteral("DELETE FROM t_Content WHERE HouseID = ?")) &&
        insertContent_.Prepare(c, QStringLiteral("INSERT INTO t_Content (HouseID, Caption, Content, List) "
                                                 "VALUES (?, ?, ?, ?)")) &&
        readImages_.Prepare(
            c, QStringLiteral("SELECT ImageFile FROM t_Image WHERE HouseID = ? ORDER BY List, ImageID")) &&
        deleteImages_.Prepare(c, QStringLiteral("DELETE FROM t_Image WHERE HouseID = ?")) &&
        insertImage_.Prepare(c, QStringLiteral("INSERT INTO t_Image (HouseID, Caption, Intro, ImageFile, "
                                               "List) VALUES (?, ?, '', ?, ?)"));
    if (!prepared) return fail(QStringLiteral("无法准备写入语句"));
    while (readTypes_.Next())
        types_.insert(typeKey(readTypes_.Column(1).toString()), readTypes_.Column(0).toLongLong());
    return true;
}

// New types go to the end of the user's order, in the order the sheet first names them.
bool PlanWriter::CreateTypes(const QStringList& names, int* created)
{
    qint64 list = lastList_.Next() ? lastList_.Column(0).toLongLong() : 0;
    lastList_.Reset();
    for (const QString& name : names) {
        if (types_.contains(typeKey(name))) continue;
        insertType_.Bind(1, ++list);
        insertType_.Bind(2, name);
        if (!insertType_.Exec()) return fail(QStringLiteral("无法增加类型\"%1\"").arg(name));
        types_.insert(typeKey(name), insertType_.LastInsertId());
        ++*created;
    }
    return true;
}

bool PlanWriter::BeginBatches(const Plan& plan)
{
    batch_ = std::make_unique<ServerBatch>(connection_);
    if (batch_->Begin(plan)) return true;
    error_ = QStringLiteral("无法准备写入语句：%1").arg(batch_->LastError());
    return false;
}

bool PlanWriter::Finish()
{
    if (!batch_ || batch_->End()) return true;
    error_ = QStringLiteral("无法写入：%1").arg(batch_->LastError());
    return false;
}

bool PlanWriter::writeHouse(const PlanLine& line, qint64 typeId, qint64* houseId)
{
    if (batch_) {
        if (line.kind == LineKind::New) *houseId = batch_->NextNewKey();
        const bool sent =
            *houseId > 0 && (line.kind == LineKind::New ? batch_->InsertHouse(*houseId, line, typeId)
                                                        : batch_->UpdateHouse(*houseId, line, typeId));
        if (!sent) error_ = QStringLiteral("无法写入房屋：%1").arg(batch_->LastError());
        return sent;
    }
    if (line.kind == LineKind::New) {
        insertHouse_.Bind(1, line.building);
        insertHouse_.Bind(2, line.room);
        insertHouse_.Bind(3, line.intro);
        insertHouse_.Bind(4, line.floor);
        insertHouse_.Bind(5, typeId);
        if (!insertHouse_.Exec()) return fail(QStringLiteral("无法增加房屋"));
        *houseId = insertHouse_.LastInsertId();
        return true;
    }
    db::Statement& update = line.hasIntro ? updateHouse_ : updateHouseKeepIntro_;
    int i = 1;
    update.Bind(i++, line.building);
    update.Bind(i++, line.room);
    if (line.hasIntro) update.Bind(i++, line.intro);
    update.Bind(i++, line.floor);
    update.Bind(i++, typeId);
    update.Bind(i++, *houseId);
    deleteContent_.Bind(1, *houseId);
    if (!update.Exec() || !deleteContent_.Exec()) return fail(QStringLiteral("无法更新房屋"));
    return true;
}

bool PlanWriter::writeAttributes(const PlanLine& line, qint64 houseId)
{
    int position = 0;
    for (const auto& attribute : line.attributes) {
        if (batch_) {
            if (batch_->InsertContent(houseId, attribute.first, attribute.second, ++position)) continue;
            error_ = QStringLiteral("无法写入属性\"%1\"：%2").arg(attribute.first, batch_->LastError());
            return false;
        }
        insertContent_.Bind(1, houseId);
        insertContent_.Bind(2, attribute.first);
        insertContent_.Bind(3, attribute.second);
        insertContent_.Bind(4, ++position);
        if (!insertContent_.Exec()) return fail(QStringLiteral("无法写入属性\"%1\"").arg(attribute.first));
    }
    return true;
}

bool PlanWriter::copyPicture(const QString& source, const QString& stored)
{
    PictureCopies::Picture picture;
    if (!pictures_.Read(source, &picture) || !pictures_.Stage(source, stored, picture))
        return fail(QStringLiteral("无法复制图片\"%1\"").arg(source));
    // A shared catalogue keeps its pictures on the server, in the same transaction as the rows
    // that name them; this PC's Images folder is only its cache.
    if (connection_.IsServer()) {
        const bool sent =
            batch_ ? batch_->PutFile(stored, picture.digest, picture.content)
                   : db::PutServerFile(connection_, QStringLiteral("Images"), stored, picture.content);
        if (!sent) return fail(QStringLiteral("无法把图片\"%1\"存到服务器").arg(stored));
    }
    return true;
}

bool PlanWriter::writePictures(const PlanLine& line, qint64 houseId)
{
    // An update keeps its pictures unless the sheet names others.
    if (line.pictureNames.isEmpty()) return true;
    if (line.kind == LineKind::Update) {
        QStringList stored;
        if (batch_) {
            stored = batch_->StoredPictures(houseId);
        } else {
            readImages_.Bind(1, houseId);
            while (readImages_.Next()) stored << readImages_.Column(0).toString();
            readImages_.Reset();
        }
        if (stored == line.pictureNames) return true;
        const bool deleted =
            batch_ ? batch_->DeleteImages(houseId) : (deleteImages_.Bind(1, houseId), deleteImages_.Exec());
        if (!deleted) return fail(QStringLiteral("无法更新图片"));
    }
    for (int p = 0; p < line.pictureSources.size(); ++p) {
        const QString& source = line.pictureSources[p];
        const QString stored = images::StoredImageName(houseId, QString::number(p + 1), source);
        const QString caption = QFileInfo(line.pictureNames[p]).completeBaseName();
        bool inserted = false;
        if (batch_) {
            inserted = batch_->InsertImage(houseId, caption, stored, p + 1);
        } else {
            insertImage_.Bind(1, houseId);
            insertImage_.Bind(2, caption);
            insertImage_.Bind(3, stored);
            insertImage_.Bind(4, p + 1);
            inserted = insertImage_.Exec();
        }
        if (!inserted) return fail(QStringLiteral("无法写入图片\"%1\"").arg(stored));
        if (!copyPicture(source, stored)) return false;
    }
    return true;
}

bool PlanWriter::WriteLine(const PlanLine& line, WriteResult* result)
{
    const qint64 typeId = types_.value(typeKey(line.type), -1);
    if (typeId < 0) {
        error_ = QStringLiteral("类型\"%1\"不存在").arg(line.type);
        return false;
    }
    qint64 houseId = line.houseId;
    if (!writeHouse(line, typeId, &houseId)) return false;
    ++(line.kind == LineKind::New ? result->added : result->updated);
    return writeAttributes(line, houseId) && writePictures(line, houseId);
}

}  // namespace

WriteResult WritePlan(const Plan& plan, db::Connection& connection, const QString& programFolder,
                      const Progress& progress)
{
    WriteResult result;
    if (!plan.ok) {
        result.error = plan.error;
        return result;
    }
    const QString images = programFolder + QStringLiteral("/Images");
    QDir().mkpath(images);

    db::Transaction transaction(connection);
    if (!connection.InTransaction()) {
        result.error = QStringLiteral("数据库正被占用，无法导入：%1").arg(connection.LastError());
        return result;
    }
    db::SetChangeContext(connection, db::ChangeContext{QStringLiteral("import")});
    PlanWriter writer(connection, images);
    auto undo = [&]() {
        writer.Abandon();
        transaction.Rollback();
        writer.pictures().Discard();
        result.added = result.updated = result.typesCreated = 0;
    };
    auto fail = [&](int line) {
        undo();
        result.error =
            line > 0 ? QStringLiteral("第 %1 行：%2").arg(line).arg(writer.error()) : writer.error();
        return result;
    };
    if (!writer.Prepare() || !writer.CreateTypes(plan.newTypes, &result.typesCreated)) return fail(0);
    if (connection.IsServer() && !writer.BeginBatches(plan)) return fail(0);

    int total = 0;
    for (const PlanLine& line : plan.lines) total += line.kind != LineKind::Error ? 1 : 0;
    int done = 0;
    if (progress && !progress(0, total)) {
        result.cancelled = true;
        writer.Abandon();
        transaction.Rollback();
        return result;
    }
    for (const PlanLine& line : plan.lines) {
        if (line.kind == LineKind::Error) continue;
        if (!writer.WriteLine(line, &result)) return fail(line.line);
        ++done;
        if (progress && (done % 100 == 0 || done == total) && !progress(done, total)) {
            undo();
            result.cancelled = true;
            return result;
        }
    }
    if (!writer.Finish()) return fail(0);
    writer.pictures().Sync();
    if (!transaction.Commit()) {
        writer.pictures().Discard();
        result.error = QStringLiteral("无法保存导入：%1").arg(connection.LastError());
        return result;
    }
    result.picturesCopied = writer.pictures().Place();
    result.ok = true;
    return result;
}

}  // namespace pricelist
