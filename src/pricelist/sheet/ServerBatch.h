#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <vector>

#include "core/db/Pipeline.h"
#include "pricelist/sheet/PriceList.h"

namespace db {
class Connection;
}

namespace pricelist {

// The import's writes to a shared catalogue, sent in batches inside its one transaction. A new
// house's key would otherwise come back one round trip per house; instead the keys are taken from
// the key sequence's position once and the rows are inserted with the keys after it. The pictures
// an update compares with are read for all updated houses at once, too. What is left is a stream
// of statements that need no answer before the next: the pipeline sends them.
class ServerBatch {
public:
    explicit ServerBatch(db::Connection& connection) : connection_(connection), pipeline_(connection) {}

    bool Begin(const Plan& plan);
    qint64 NextNewKey() { return next_ < keys_.size() ? keys_[next_++] : 0; }
    QStringList StoredPictures(qint64 houseId) const { return pictures_.value(houseId); }

    bool InsertHouse(qint64 houseId, const PlanLine& line, qint64 typeId);
    bool UpdateHouse(qint64 houseId, const PlanLine& line, qint64 typeId);
    bool InsertContent(qint64 houseId, const QString& caption, const QString& value, int list);
    bool DeleteImages(qint64 houseId);
    bool InsertImage(qint64 houseId, const QString& caption, const QString& file, int list);
    bool PutFile(const QString& folder, const QString& name, const QByteArray& content);
    bool End() { return pipeline_.End(); }
    QString LastError() const { return error_.isEmpty() ? pipeline_.LastError() : error_; }

private:
    db::Connection& connection_;
    db::Pipeline pipeline_;
    std::vector<qint64> keys_;
    size_t next_ = 0;
    QHash<qint64, QStringList> pictures_;
    QString error_;
};

}  // namespace pricelist
