#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>
#include <vector>

namespace db {

class Connection;

// Statements sent to a shared catalogue's server without waiting for each answer (libpq's
// pipeline mode): a batch of thousands of inserts costs a few round trips instead of one each,
// which over an office network is the difference between seconds and minutes. It is meant for
// the inside of one transaction: a statement that fails makes the server skip the rest of the
// batch, Sync reports the first failure, and the caller rolls the transaction back.
class Pipeline {
public:
    explicit Pipeline(Connection& connection);
    ~Pipeline();
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;

    // Enters pipeline mode; false when the connection is not a server's or it cannot.
    bool Begin();
    // Queues one statement with $1, $2 ... for the values (a null QVariant is NULL, anything else
    // text); a QByteArray value goes as binary (a picture's bytes). Every so many statements the
    // queue is synced on its own, so memory and the server's buffers stay bounded.
    bool Send(const QString& sql, const std::vector<QVariant>& values);
    // Waits for every answer so far: false with LastError() set when a statement failed.
    bool Sync();
    // Syncs what is left and leaves pipeline mode.
    bool End();
    QString LastError() const { return error_; }

private:
    bool fail(const QString& message);

    Connection& connection_;
    bool active_ = false;
    int pending_ = 0;
    QString error_;
};

}  // namespace db
