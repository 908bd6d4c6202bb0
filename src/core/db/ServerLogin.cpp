#include "core/db/ServerLogin.h"

#include <libpq-fe.h>
#include <poll.h>

#include <QElapsedTimer>
#include <QHash>
#include <QRegularExpression>
#include <mutex>

namespace db {

namespace {

struct Login {
    QString user;
    QString password;
};

std::mutex loginLock;

PasswordPrompt& prompt()
{
    static PasswordPrompt p;
    return p;
}

// Passwords typed during this run, by connection URI; never written anywhere.
QHash<QString, Login>& logins()
{
    static QHash<QString, Login> kept;
    return kept;
}

// Reaching the server is bounded unless the URI itself says how long to wait.
const char* const kConnectTimeout = "5";

// The value libpq reads for one keyword of the URI; null when the URI does not name it.
QString uriValue(const QString& uri, const char* keyword, bool* named = nullptr)
{
    if (named) *named = false;
    char* message = nullptr;
    PQconninfoOption* options = PQconninfoParse(uri.toUtf8().constData(), &message);
    if (message) PQfreemem(message);
    QString value;
    for (PQconninfoOption* o = options; o && o->keyword; ++o) {
        if (qstrcmp(o->keyword, keyword) == 0 && o->val) {
            value = QString::fromUtf8(o->val);
            if (named) *named = true;
        }
    }
    if (options) PQconninfoFree(options);
    return value;
}

// How long reaching one server may take: the URI's connect_timeout, else ours; libpq counts it per
// host the URI names.
int connectMilliseconds(const QString& uri)
{
    bool named = false;
    const int seconds = uriValue(uri, "connect_timeout", &named).toInt();
    if (named && seconds <= 0) return -1;  // libpq's "wait for ever"
    // libpq rounds a timeout below 2 seconds up to 2.
    const int perHost = (named ? qMax(seconds, 2) : QByteArray(kConnectTimeout).toInt()) * 1000;
    return perHost * qMax<int>(1, int(uriValue(uri, "host").count(QLatin1Char(',')) + 1));
}

PGconn* connect(const QString& uri, const Login* login, QString* timeout)
{
    const QByteArray dbname = uri.toUtf8();
    const QByteArray user = login ? login->user.toUtf8() : QByteArray();
    const QByteArray password = login ? login->password.toUtf8() : QByteArray();
    // Later entries win: the URI's own settings override the defaults before it, and a login typed
    // at this PC overrides the URI's user name.
    const char* keywords[] = {"connect_timeout", "client_encoding", "dbname", "user", "password", nullptr};
    const char* values[] = {kConnectTimeout,      "UTF8", dbname.constData(), user.constData(),
                            password.constData(), nullptr};
    if (!login) keywords[3] = nullptr;
    PGconn* conn = PQconnectStartParams(keywords, values, 1);
    if (!conn || PQstatus(conn) == CONNECTION_BAD) return conn;
    // Verbose errors carry the server's error code, which tells a refused password from anything
    // else whatever language the server speaks.
    PQsetErrorVerbosity(conn, PQERRORS_VERBOSE);
    QElapsedTimer clock;
    clock.start();
    const int limit = connectMilliseconds(uri);
    PostgresPollingStatusType state = PGRES_POLLING_WRITING;
    while (state != PGRES_POLLING_OK && state != PGRES_POLLING_FAILED) {
        const int left = limit < 0 ? -1 : int(limit - clock.elapsed());
        pollfd wait{PQsocket(conn), short(state == PGRES_POLLING_READING ? POLLIN : POLLOUT), 0};
        if (limit >= 0 && (left <= 0 || (wait.fd >= 0 && ::poll(&wait, 1, left) == 0))) {
            *timeout = QStringLiteral("timeout expired");
            return conn;
        }
        if (limit < 0 && wait.fd >= 0) ::poll(&wait, 1, -1);
        state = PQconnectPoll(conn);
    }
    // Statements' errors read as they always did.
    if (state == PGRES_POLLING_OK) PQsetErrorVerbosity(conn, PQERRORS_DEFAULT);
    return conn;
}

bool passwordRefused(PGconn* conn)
{
    return PQconnectionUsedPassword(conn) && QByteArray(PQerrorMessage(conn)).contains("28P01");
}

}  // namespace

void SetPasswordPrompt(PasswordPrompt p)
{
    std::lock_guard<std::mutex> hold(loginLock);
    prompt() = std::move(p);
}

bool UriHasPassword(const QString& uri)
{
    bool named = false;
    uriValue(uri, "password", &named);
    return named;
}

QString PasswordInUriMessage()
{
    return QStringLiteral(
               "共享房源库的连接地址中含有密码。Tavrelo 不保存密码，也不接受写在 Tavrelo.conf "
               "或 TAVRELO_SERVER 中的密码。") +
           QStringLiteral("\n") +
           QStringLiteral(
               "请把密码放在 ~/.pgpass、libpq 的服务文件（pg_service.conf）或 PGPASSFILE "
               "指定的密码文件中，或者在登录时输入，并从连接地址中删去密码。");
}

PGconn* ConnectServer(const QString& uri, QString* error)
{
    if (UriHasPassword(uri)) {
        if (error) *error = PasswordInUriMessage();
        return nullptr;
    }
    Login login;
    bool haveLogin = false;
    PasswordPrompt ask;
    {
        std::lock_guard<std::mutex> hold(loginLock);
        haveLogin = logins().contains(uri);
        if (haveLogin) login = logins().value(uri);
        ask = prompt();
    }
    for (;;) {
        QString timeout;
        PGconn* conn = connect(uri, haveLogin ? &login : nullptr, &timeout);
        if (conn && timeout.isEmpty() && PQstatus(conn) == CONNECTION_OK) {
            if (haveLogin) {
                std::lock_guard<std::mutex> hold(loginLock);
                logins().insert(uri, login);
            }
            return conn;
        }
        const bool refused = conn && haveLogin && passwordRefused(conn);
        const bool wanted = conn && PQconnectionNeedsPassword(conn);
        if (!ask || !(refused || wanted)) {
            if (error)
                *error = conn ? QString::fromUtf8(PQerrorMessage(conn)).trimmed()
                              : QStringLiteral("out of memory");
            if (refused) {
                std::lock_guard<std::mutex> hold(loginLock);
                logins().remove(uri);
            }
            PQfinish(conn);
            return nullptr;
        }
        LoginRequest request;
        request.host = QString::fromUtf8(PQhost(conn));
        request.database = QString::fromUtf8(PQdb(conn));
        request.user = haveLogin ? login.user : uriValue(uri, "user");
        request.defaultUser = QString::fromUtf8(PQuser(conn));
        request.wrongPassword = refused;
        PQfinish(conn);
        LoginAnswer answer;
        if (!ask(request, &answer)) {
            {
                std::lock_guard<std::mutex> hold(loginLock);
                logins().remove(uri);
            }
            if (error) *error = QStringLiteral("login cancelled");
            return nullptr;
        }
        login.user = answer.user.isEmpty() ? request.defaultUser : answer.user;
        login.password = answer.password;
        haveLogin = true;
    }
}

PGconn* StartServerConnection(const QString& uri, QString* error)
{
    if (UriHasPassword(uri)) {
        if (error) *error = PasswordInUriMessage();
        return nullptr;
    }
    Login login;
    bool haveLogin = false;
    {
        std::lock_guard<std::mutex> hold(loginLock);
        haveLogin = logins().contains(uri);
        if (haveLogin) login = logins().value(uri);
    }
    const QByteArray dbname = uri.toUtf8();
    const QByteArray user = login.user.toUtf8();
    const QByteArray password = login.password.toUtf8();
    // As in connect(): the URI's own settings come after the defaults, a typed login after the URI.
    const char* keywords[] = {"keepalives",
                              "keepalives_idle",
                              "keepalives_interval",
                              "keepalives_count",
                              "client_encoding",
                              "dbname",
                              "user",
                              "password",
                              nullptr};
    const char* values[] = {
        "1", "20", "5", "3", "UTF8", dbname.constData(), user.constData(), password.constData(), nullptr};
    if (!haveLogin) keywords[6] = nullptr;
    PGconn* conn = PQconnectStartParams(keywords, values, 1);
    if (!conn || PQstatus(conn) == CONNECTION_BAD) {
        if (error)
            *error =
                conn ? QString::fromUtf8(PQerrorMessage(conn)).trimmed() : QStringLiteral("out of memory");
        PQfinish(conn);
        return nullptr;
    }
    return conn;
}

void ForgetServerLogins()
{
    std::lock_guard<std::mutex> hold(loginLock);
    logins().clear();
}

}  // namespace db
