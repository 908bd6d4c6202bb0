#pragma once

// A login's own libpq connection to a test catalogue, for checking what a role may and may not do
// without the program in between.

#include <QString>

typedef struct pg_conn PGconn;

namespace testsupport {

class PgLogin {
public:
    // A named login with its password, over TCP to the test cluster.
    PgLogin(const QString& database, const QString& user, const QString& password);
    // The test's administrator, through a URI (the cluster's socket).
    explicit PgLogin(const QString& uri);
    ~PgLogin();
    PgLogin(const PgLogin&) = delete;
    PgLogin& operator=(const PgLogin&) = delete;

    bool Ok() const;
    QString Error() const;
    // The SQLSTATE of a statement (or script): "" when it worked.
    QString State(const QString& sql) const;
    // The first value of a query, or "<error: ...>".
    QString Value(const QString& sql) const;
    // The next notification on a channel this login listens on, waiting up to `ms`; "" when none.
    QString Notification(int ms) const;
    PGconn* Handle() const { return conn_; }

private:
    PGconn* conn_ = nullptr;
};

}  // namespace testsupport
