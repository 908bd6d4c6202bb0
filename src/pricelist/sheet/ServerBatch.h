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
// of statements that need no answer before the next: the pipeline sends them. New rows go as one
// statement per table and batch (db::RowBatch), and a picture's bytes go once however many of
// the import's stored names hold them (a building's units mostly share their plans).
class ServerBatch {
public:
    explicit ServerBatch(db::Connection& connection);

    bool Begin(const Plan& plan);
    qint64 NextNewKey() { return next_ < keys_.size() ? keys_[next_++] : 0; }
    QStringList StoredPictures(qint64 houseId) const { return pictures_.value(houseId); }

    bool InsertHouse(qint64 houseId, const PlanLine& line, qint64 typeId);
    bool UpdateHouse(qint64 houseId, const PlanLine& line, qint64 typeId);
    bool InsertContent(qint64 houseId, const QString& caption, const QString& value, int list);
    bool DeleteImages(qint64 houseId);
    bool InsertImage(qint64 houseId, const QString& caption, const QString& file, int list);
    // digest names the content (the same bytes, the same digest); the bytes may be sent later.
    bool PutFile(const QString& name, const QByteArray& digest, const QByteArray& content);
    bool End() { return flush() && flushFiles() && pipeline_.End(); }
    QString LastError() const { return error_.isEmpty() ? pipeline_.LastError() : error_; }

private:
    // Sends the gathered rows, houses before the rows that name them; any statement that is not
    // gathered goes after this, so the server sees every change in the order of the sheet.
    bool flush();
    bool flushFiles();

    struct SharedFile {
        QByteArray content;
        QStringList names;
    };

    db::Connection& connection_;
    db::Pipeline pipeline_;
    db::RowBatch houses_, contents_, images_;
    QHash<QByteArray, SharedFile> files_;  // by digest
    QHash<QString, QByteArray> fileOf_;    // name -> digest, so a name queued twice goes once, as the last
    qint64 fileBytes_ = 0;
    std::vector<qint64> keys_;
    size_t next_ = 0;
    QHash<qint64, QStringList> pictures_;
    QString error_;
};

}  // namespace pricelist
