#pragma once

#include <QString>
#include <QStringList>
#include <vector>

typedef struct pg_conn PGconn;

namespace db {

// One administrator's connection to a catalogue's server, for setting up roles and logins: values
// are bound, never pasted, and names and literals that must stand in a statement are quoted by
// libpq itself.
class ServerAdmin {
public:
    explicit ServerAdmin(const QString& uri);
    ~ServerAdmin();
    ServerAdmin(const ServerAdmin&) = delete;
    ServerAdmin& operator=(const ServerAdmin&) = delete;

    bool Connected() const { return conn_ != nullptr; }
    QString Error() const { return error_; }

    // One statement with its values bound ($1, $2 ...).
    bool Run(const QString& sql, const QStringList& values = {}, std::vector<QStringList>* rows = nullptr);
    // The one value of a query; empty when it gives no row.
    QString Value(const QString& sql, const QStringList& values = {});
    QString Ident(const QString& name) const;
    QString Literal(const QString& value) const;
    // The SCRAM verifier of a password, made here so that the password itself never travels in a
    // statement; empty on failure (see Error).
    QString ScramVerifier(const QString& user, const QString& password);

private:
    QString error_;
    PGconn* conn_;
};

}  // namespace db
