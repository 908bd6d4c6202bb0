#include "pricelist/sheet/ServerBatch.h"

#include "core/db/Connection.h"
#include "core/db/Statement.h"

namespace pricelist {

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
    return pipeline_.Send(
        QStringLiteral("INSERT INTO t_House (HouseID, HouseName, HouseNo, Intro, HouseFloor, TypeID) "
                       "VALUES ($1, $2, $3, $4, $5, $6)"),
        {houseId, line.building, line.room, line.intro, line.floor, typeId});
}

bool ServerBatch::UpdateHouse(qint64 houseId, const PlanLine& line, qint64 typeId)
{
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
    return pipeline_.Send(QStringLiteral("INSERT INTO t_Content (HouseID, Caption, Content, List) "
                                         "VALUES ($1, $2, $3, $4)"),
                          {houseId, caption, value, list});
}

bool ServerBatch::DeleteImages(qint64 houseId)
{
    return pipeline_.Send(QStringLiteral("DELETE FROM t_Image WHERE HouseID = $1"), {houseId});
}

bool ServerBatch::InsertImage(qint64 houseId, const QString& caption, const QString& file, int list)
{
    return pipeline_.Send(QStringLiteral("INSERT INTO t_Image (HouseID, Caption, Intro, ImageFile, List) "
                                         "VALUES ($1, $2, '', $3, $4)"),
                          {houseId, caption, file, list});
}

bool ServerBatch::PutFile(const QString& folder, const QString& name, const QByteArray& content)
{
    // The same statement as db::PutServerFile, queued rather than waited for.
    return pipeline_.Send(
        QStringLiteral("INSERT INTO t_File (Folder, Name, Content) VALUES ($1, $2, $3) "
                       "ON CONFLICT (Folder, Name) DO UPDATE SET Content = EXCLUDED.Content"),
        {folder, name, QVariant(content)});
}

}  // namespace pricelist
