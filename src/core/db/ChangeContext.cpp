#include "core/db/ChangeContext.h"

#include <pwd.h>
#include <sqlite3.h>
#include <unistd.h>

#include <QRandomGenerator>
#include <QSysInfo>
#include <map>
#include <mutex>

#include "core/db/Clock.h"
#include "core/db/Connection.h"
#include "core/db/Handles.h"
#include "core/db/PgSession.h"

namespace db {

namespace {

// One House.db connection's context. The transaction number starts at a random point per
// connection, so that two programs writing one file never take each other's history rows for
// their own.
struct State {
    ChangeContext context;
    qint64 transaction = 0;
    QString user;
    QString machine;
};

std::mutex statesLock;
std::map<sqlite3*, State*>& states()
{
    static std::map<sqlite3*, State*> all;
    return all;
}

State* stateOf(sqlite3* handle)
{
    std::lock_guard<std::mutex> hold(statesLock);
    const auto it = states().find(handle);
    return it == states().end() ? nullptr : it->second;
}

void endTransaction(State* state)
{
    state->context = ChangeContext();
    ++state->transaction;
}

int onCommit(void* state)
{
    endTransaction(static_cast<State*>(state));
    return 0;
}

void onRollback(void* state)
{
    endTransaction(static_cast<State*>(state));
}

void resultText(sqlite3_context* result, const QString& text)
{
    if (text.isEmpty()) {
        sqlite3_result_null(result);
        return;
    }
    const QByteArray utf8 = text.toUtf8();
    sqlite3_result_text(result, utf8.constData(), int(utf8.size()), SQLITE_TRANSIENT);
}

void resultKey(sqlite3_context* result, qint64 key)
{
    if (key > 0)
        sqlite3_result_int64(result, key);
    else
        sqlite3_result_null(result);
}

void contextFunction(sqlite3_context* result, int, sqlite3_value** argv)
{
    const auto* state = static_cast<const State*>(sqlite3_user_data(result));
    const char* raw = reinterpret_cast<const char*>(sqlite3_value_text(argv[0]));
    const QByteArray name = raw ? QByteArray(raw) : QByteArray();
    if (name == "path")
        resultText(result, state->context.path);
    else if (name == "customer")
        resultKey(result, state->context.customerId);
    else if (name == "deal")
        resultKey(result, state->context.dealId);
    else if (name == "reason")
        resultText(result, state->context.reason);
    else if (name == "user")
        resultText(result, state->user);
    else if (name == "machine")
        resultText(result, state->machine);
    else if (name == "now")
        resultText(result, TimeText(Now()));
    else if (name == "txn")
        sqlite3_result_int64(result, state->transaction);
    else
        sqlite3_result_error(result, "tavrelo_context: unknown name", -1);
}

void forget(void* pointer)
{
    auto* state = static_cast<State*>(pointer);
    {
        std::lock_guard<std::mutex> hold(statesLock);
        for (auto it = states().begin(); it != states().end(); ++it) {
            if (it->second == state) {
                states().erase(it);
                break;
            }
        }
    }
    delete state;
}

}  // namespace

QString AccountName()
{
    if (const passwd* entry = getpwuid(getuid()); entry && entry->pw_name && *entry->pw_name)
        return QString::fromLocal8Bit(entry->pw_name);
    return qEnvironmentVariable("USER");
}

QString MachineName()
{
    return QSysInfo::machineHostName();
}

bool RegisterChangeContext(sqlite3* handle)
{
    if (!handle) return false;
    auto* state = new State;
    state->transaction = qint64(QRandomGenerator::global()->generate64() >> 24) << 20;
    state->user = AccountName();
    state->machine = MachineName();
    // A second registration on the same connection replaces the first (SQLite then lets go of the
    // old state through forget, which only drops the map's entry when it is still the old one).
    if (sqlite3_create_function_v2(handle, "tavrelo_context", 1, SQLITE_UTF8, state, contextFunction, nullptr,
                                   nullptr, forget) != SQLITE_OK) {
        return false;  // SQLite has already called forget on the state
    }
    {
        std::lock_guard<std::mutex> hold(statesLock);
        states()[handle] = state;
    }
    sqlite3_commit_hook(handle, onCommit, state);
    sqlite3_rollback_hook(handle, onRollback, state);
    return true;
}

bool SetChangeContext(Connection& connection, const ChangeContext& context)
{
    if (PgSession* server = Handles::Server(connection)) {
        const auto key = [](qint64 k) { return k > 0 ? QString::number(k) : QString(QLatin1String("")); };
        return server->ExecuteParams(
            QStringLiteral(
                "SELECT set_config('tavrelo.path', $1, true), set_config('tavrelo.customer', $2, "
                "true), set_config('tavrelo.deal', $3, true), set_config('tavrelo.reason', $4, true)"),
            {WithoutNul(context.path), key(context.customerId), key(context.dealId),
             WithoutNul(context.reason)});
    }
    State* state = stateOf(Handles::Sqlite(connection));
    if (!state) return false;
    state->context = context;
    return true;
}

ChangeContext CurrentChangeContext(Connection& connection)
{
    const State* state = connection.IsServer() ? nullptr : stateOf(Handles::Sqlite(connection));
    return state ? state->context : ChangeContext();
}

}  // namespace db
