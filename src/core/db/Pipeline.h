#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
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

// Rows for one table gathered on this side and sent as one statement per batch: each column
// goes as one array value and the server takes them apart with unnest, so ten thousand rows cost
// the server one statement to parse and plan instead of ten thousand. Text loses its NUL
// characters as everywhere else; a null QVariant is NULL.
class RowBatch {
public:
    // types: the server's type of each column ("bigint", "text", "integer").
    RowBatch(const QString& table, const QStringList& columns, const QStringList& types);
    void Add(const std::vector<QVariant>& row);
    int Size() const { return rows_; }
    // Queues the rows gathered so far on the pipeline and starts again empty; true when empty.
    bool SendTo(Pipeline& pipeline);

private:
    QString sql_;
    std::vector<QString> arrays_;
    int rows_ = 0;
};

// A text as an element of an array value in text form: between double quotes, with its
// backslashes and double quotes escaped.
QString ArrayElement(const QString& text);

}  // namespace db
