#include "pricelist/sheet/ServerBatch.h"

#include "core/db/Connection.h"
#include "core/db/Statement.h"

namespace pricelist {

namespace {

// Rows and picture bytes gathered before they go: enough that statements are few, little enough
// that memory stays small.
constexpr int kRowsPerBatch = 2000;
constexpr qint64 kFileBytesPerBatch = 16 * 1024 * 1024;

}  // namespace

ServerBatch::ServerBatch(db::Connection& connection)
    : connection_(connection),
      pipeline_(connection),
      houses_(QStringLiteral("t_House"),
              {QStringLiteral("HouseID"), QStringLiteral("HouseName"), QStringLiteral("HouseNo"),
               QStringLiteral("Intro"), QStringLiteral("HouseFloor"), QStringLiteral("TypeID")},
              {QStringLiteral("bigint"), QStringLiteral("text"), QStringLiteral("text"),
               QStringLiteral("text"), QStringLiteral("integer"), QStringLiteral("bigint")}),
      contents_(QStringLiteral("t_Content"),
                {QStringLiteral("HouseID"), QStringLiteral("Caption"), QStringLiteral("Content"),
                 QStringLiteral("List")},
                {QStringLiteral("bigint"), QStringLiteral("text"), QStringLiteral("text"),
                 QStringLiteral("integer")}),
      images_(QStringLiteral("t_Image"),
              {QStringLiteral("HouseID"), QStringLiteral("Caption"), QStringLiteral("Intro"),
               QStringLiteral("ImageFile"), QStringLiteral("List")},
              {QStringLiteral("bigint"), QStringLiteral("text"), QStringLiteral("text"),
               QStringLiteral("text"), QStringLiteral("integer")})
{
}

bool ServerBatch::flush()
{
    return houses_.SendTo(pipeline_) && contents_.SendTo(pipeline_) && images_.SendTo(pipeline_);
}

bool ServerBatch::flushFiles()
{
    // The same statement as db::PutServerFile, once for every name that holds the same bytes.
    for (const SharedFile& file : std::as_const(files_)) {
        if (file.names.isEmpty()) continue;
        QStringList elements;
        for (const QString& name : file.names) elements << db::ArrayElement(name);
        const bool sent = pipeline_.Send(
            QStringLiteral(
                "INSERT INTO t_File (Folder, Name, Content) SELECT 'Images', unnest($1::text[]), $2 "
                "ON CONFLICT (Folder, Name) DO UPDATE SET Content = EXCLUDED.Content"),
            {QVariant(QLatin1Char('{') + elements.join(QLatin1Char(',')) + QLatin1Char('}')),
             QVariant(file.content)});
        if (!sent) return false;
    }
    files_.clear();
    fileOf_.clear();
    fileBytes_ = 0;
    return true;
}

bool ServerBatch::Begin(const Plan& plan)
{
    int added = 0;
    QStringList updated;
    for (const PlanLine& line : plan.lines) {
        if (line.kind == LineKind::New) ++added;
        if (line.kind == LineKind::Update && !line.pictureNames.isEmpty())
            updated << QString::number(line.houseId);
    }
    if (added > 0) {
        // The new houses take the keys after the largest one given so far, and the key sequence
        // moves past each as it is inserted (the catalogue's keys-only-grow trigger), so a
        // cancelled import uses up only the keys of the lines it wrote, as one row at a time did.
        // Other PCs adding houses meanwhile wait for this transaction rather than take the same keys.
        db::Statement lock, last;
        if (!lock.Prepare(connection_, QStringLiteral("LOCK TABLE t_House IN SHARE ROW EXCLUSIVE MODE")) ||
            !lock.Exec() ||
            !last.Prepare(connection_, QStringLiteral("SELECT coalesce(pg_sequence_last_value("
                                                      "pg_get_serial_sequence('t_house', 'houseid')), 0)")) ||
            !last.Next()) {
            error_ = connection_.LastError();
            return false;
        }
        const qint64 largest = last.Column(0).toLongLong();
        for (qint64 k = 1; k <= added; ++k) keys_.push_back(largest + k);
    }
    if (!updated.isEmpty()) {
        db::Statement images;
        if (!images.Prepare(connection_,
                            QStringLiteral("SELECT HouseID, ImageFile FROM t_Image WHERE HouseID = "
                                           "ANY (string_to_array(?, ',')::bigint[]) "
                                           "ORDER BY HouseID, List, ImageID")))
            return false;
        images.Bind(1, updated.join(QLatin1Char(',')));
        while (images.Next()) pictures_[images.Column(0).toLongLong()] << images.Column(1).toString();
    }
    return pipeline_.Begin();
}

bool ServerBatch::InsertHouse(qint64 houseId, const PlanLine& line, qint64 typeId)
{
    houses_.Add({houseId, line.building, line.room, line.intro, line.floor, typeId});
    return houses_.Size() < kRowsPerBatch || flush();
}

bool ServerBatch::UpdateHouse(qint64 houseId, const PlanLine& line, qint64 typeId)
{
    if (!flush()) return false;
    const bool updated =
        line.hasIntro
            ? pipeline_.Send(QStringLiteral("UPDATE t_House SET HouseName = $1, HouseNo = $2, Intro = $3, "
                                            "HouseFloor = $4, TypeID = $5 WHERE HouseID = $6"),
                             {line.building, line.room, line.intro, line.floor, typeId, houseId})
            : pipeline_.Send(
                  QStringLiteral("UPDATE t_House SET HouseName = $1, HouseNo = $2, HouseFloor = $3, "
                                 "TypeID = $4 WHERE HouseID = $5"),
                  {line.building, line.room, line.floor, typeId, houseId});
    return updated && pipeline_.Send(QStringLiteral("DELETE FROM t_Content WHERE HouseID = $1"), {houseId});
}

bool ServerBatch::InsertContent(qint64 houseId, const QString& caption, const QString& value, int list)
{
    contents_.Add({houseId, caption, value, list});
    return contents_.Size() < kRowsPerBatch || flush();
}

bool ServerBatch::DeleteImages(qint64 houseId)
{
    return flush() && pipeline_.Send(QStringLiteral("DELETE FROM t_Image WHERE HouseID = $1"), {houseId});
}

bool ServerBatch::InsertImage(qint64 houseId, const QString& caption, const QString& file, int list)
{
    images_.Add({houseId, caption, QStringLiteral(""), file, list});
    return images_.Size() < kRowsPerBatch || flush();
}

bool ServerBatch::PutFile(const QString& name, const QByteArray& digest, const QByteArray& content)
{
    // A name queued again (a house twice in one sheet) keeps only its last bytes, as the
    // statements one by one would have left it.
    const auto earlier = fileOf_.constFind(name);
    if (earlier != fileOf_.constEnd()) files_[earlier.value()].names.removeOne(name);
    SharedFile& file = files_[digest];
    if (file.names.isEmpty() && file.content.isNull()) {
        file.content = content;
        fileBytes_ += content.size();
    }
    file.names << name;
    fileOf_.insert(name, digest);
    return fileBytes_ < kFileBytesPerBatch || flushFiles();
}

}  // namespace pricelist
