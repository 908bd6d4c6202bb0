#include "core/db/ChangeWatcher.h"

#include <libpq-fe.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <QFile>
#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>

#include "core/db/ServerLogin.h"
#include "core/db/Store.h"

namespace db {

namespace {
const char* const kChannel = "tavrelo_changes";
void ignoreNotice(void*, const char*) {}
}  // namespace

ChangeWatcher::ChangeWatcher(QObject* parent) : QObject(parent)
{
    retry_ = new QTimer(this);
    retry_->setSingleShot(true);
    connect(retry_, &QTimer::timeout, this, [this] {
        if (server_)
            connectServer();
        else
            pollFile();
    });
    connectLimit_ = new QTimer(this);
    connectLimit_->setSingleShot(true);
    connect(connectLimit_, &QTimer::timeout, this,
            [this] { serverLost(QStringLiteral("timeout expired while connecting")); });
    batch_ = new QTimer(this);
    batch_->setSingleShot(true);
    batch_->setInterval(kBatchMs);
    connect(batch_, &QTimer::timeout, this, &ChangeWatcher::flush);
    poll_ = new QTimer(this);
    poll_->setInterval(kFilePollMs);
    connect(poll_, &QTimer::timeout, this, &ChangeWatcher::pollFile);
}

ChangeWatcher::~ChangeWatcher()
{
    Stop();
}

void ChangeWatcher::WatchProgramFolder(const QString& programFolder)
{
    const QString uri = ServerUri(programFolder);
    Watch(uri.isEmpty() ? programFolder + QStringLiteral("/House.db") : uri);
}

void ChangeWatcher::Watch(const QString& store)
{
    Stop();
    store_ = store;
    server_ = IsServerUri(store);
    retryMs_ = kFirstRetryMs;
    if (server_) {
        connectServer();
    } else {
        pollFile();
        poll_->start();
    }
}

void ChangeWatcher::Stop()
{
    dropServer();
    closeFile();
    poll_->stop();
    retry_->stop();
    batch_->stop();
    pending_.clear();
    pendingAll_ = false;
    store_.clear();
    connected_ = false;
    lostReported_ = false;
}

// ---- the server -------------------------------------------------------------------------------

void ChangeWatcher::connectServer()
{
    dropServer();
    QString error;
    conn_ = StartServerConnection(store_, &error);
    if (!conn_) {
        unreachable(error);
        scheduleRetry();
        return;
    }
    // The server's goodbye when it shuts down arrives as a notice; the loss is reported by signal.
    PQsetNoticeProcessor(conn_, ignoreNotice, nullptr);
    connectLimit_->start(kConnectTimeoutMs);
    // libpq's rule: begin as though the last poll had asked to write.
    watchSocket(false);
}

// One step of the connection's start each time its socket is ready.
void ChangeWatcher::pollConnect()
{
    switch (PQconnectPoll(conn_)) {
        case PGRES_POLLING_READING:
            watchSocket(true);
            return;
        case PGRES_POLLING_WRITING:
            watchSocket(false);
            return;
        case PGRES_POLLING_OK:
            break;
        default:
            serverLost(QString::fromUtf8(PQerrorMessage(conn_)).trimmed());
            return;
    }
    connectLimit_->stop();
    PQsetnonblocking(conn_, 1);
    if (!PQsendQuery(conn_, (QByteArray("LISTEN ") + kChannel).constData())) {
        serverLost(QString::fromUtf8(PQerrorMessage(conn_)).trimmed());
        return;
    }
    const bool unsent = PQflush(conn_) == 1;
    watchSocket(true);
    // The rest of the LISTEN goes out when the socket takes it.
    if (unsent && writer_) writer_->setEnabled(true);
}

// Watches the connection's socket for reading or writing; the socket may change while libpq tries
// one address after another.
void ChangeWatcher::watchSocket(bool forReading)
{
    const int fd = PQsocket(conn_);
    if (fd != socket_) {
        for (QSocketNotifier* n : {reader_, writer_}) {
            if (!n) continue;
            n->setEnabled(false);
            n->deleteLater();
        }
        reader_ = writer_ = nullptr;
        socket_ = fd;
        if (fd < 0) {
            serverLost(QStringLiteral("no socket"));
            return;
        }
        reader_ = new QSocketNotifier(qintptr(fd), QSocketNotifier::Read, this);
        writer_ = new QSocketNotifier(qintptr(fd), QSocketNotifier::Write, this);
        connect(reader_, &QSocketNotifier::activated, this, [this] {
            if (PQstatus(conn_) == CONNECTION_OK)
                readServer();
            else
                pollConnect();
        });
        connect(writer_, &QSocketNotifier::activated, this, [this] {
            if (PQstatus(conn_) == CONNECTION_OK) {
                // Only the LISTEN can be waiting to go out.
                if (PQflush(conn_) == 0) writer_->setEnabled(false);
            } else {
                pollConnect();
            }
        });
    }
    reader_->setEnabled(forReading);
    writer_->setEnabled(!forReading);
}

void ChangeWatcher::readServer()
{
    if (!PQconsumeInput(conn_)) {
        serverLost(QString::fromUtf8(PQerrorMessage(conn_)).trimmed());
        return;
    }
    while (!PQisBusy(conn_)) {
        PGresult* result = PQgetResult(conn_);
        if (!result) break;
        const bool ok = PQresultStatus(result) == PGRES_COMMAND_OK;
        const QString error = QString::fromUtf8(PQresultErrorMessage(result)).trimmed();
        PQclear(result);
        if (!ok) {
            serverLost(error);
            return;
        }
        if (!listening_) {
            listening_ = true;
            retryMs_ = kFirstRetryMs;
            reachable();
            // What changed before the LISTEN took effect was not announced to this connection.
            pendingAll_ = true;
            if (!batch_->isActive()) batch_->start();
        }
    }
    while (PGnotify* note = PQnotifies(conn_)) {
        bool isNumber = false;
        const qint32 house = QByteArray(note->extra).trimmed().toInt(&isNumber);
        if (isNumber)
            pending_.insert(house);
        else
            pendingAll_ = true;
        PQfreemem(note);
        if (!batch_->isActive()) batch_->start();
    }
    if (PQstatus(conn_) != CONNECTION_OK) serverLost(QString::fromUtf8(PQerrorMessage(conn_)).trimmed());
}

void ChangeWatcher::serverLost(const QString& reason)
{
    dropServer();
    unreachable(reason.isEmpty() ? QStringLiteral("connection lost") : reason);
    scheduleRetry();
}

void ChangeWatcher::dropServer()
{
    for (QSocketNotifier* n : {reader_, writer_}) {
        if (!n) continue;
        n->setEnabled(false);
        n->deleteLater();
    }
    reader_ = writer_ = nullptr;
    socket_ = -1;
    connectLimit_->stop();
    listening_ = false;
    if (conn_) PQfinish(conn_);
    conn_ = nullptr;
}

// ---- the file ---------------------------------------------------------------------------------

bool ChangeWatcher::openFile()
{
    closeFile();
    if (!QFile::exists(store_)) return false;
    if (sqlite3_open_v2(QFile::encodeName(store_).constData(), &file_,
                        SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK ||
        sqlite3_prepare_v2(file_, "PRAGMA data_version", -1, &version_, nullptr) != SQLITE_OK) {
        closeFile();
        return false;
    }
    // A writer in the middle of its commit is not waited for: the next tick reads again.
    sqlite3_busy_timeout(file_, 0);
    lastVersion_ = -1;
    return true;
}

void ChangeWatcher::closeFile()
{
    if (version_) sqlite3_finalize(version_);
    version_ = nullptr;
    if (file_) sqlite3_close(file_);
    file_ = nullptr;
}

void ChangeWatcher::pollFile()
{
    if (store_.isEmpty() || server_) return;
    // The file itself, by name: one moved away or replaced (a restore) is not the one the open
    // connection still reads.
    struct stat now {};
    if (::stat(QFile::encodeName(store_).constData(), &now) != 0) {
        closeFile();
        unreachable(QStringLiteral("cannot read ") + store_);
        return;
    }
    bool replaced = false;
    if (file_ && (quint64(now.st_ino) != inode_ || quint64(now.st_dev) != device_)) {
        closeFile();
        replaced = true;
    }
    const bool reopened = !file_;
    if (!file_ && !openFile()) {
        unreachable(QStringLiteral("cannot read ") + store_);
        return;
    }
    inode_ = quint64(now.st_ino);
    device_ = quint64(now.st_dev);
    const int rc = sqlite3_step(version_);
    const qint64 version = rc == SQLITE_ROW ? sqlite3_column_int64(version_, 0) : -1;
    // Reset at once: a statement left open would keep a read lock that makes writers wait.
    sqlite3_reset(version_);
    // A writer in the middle of its commit: look again as soon as it is likely done.
    if (rc == SQLITE_BUSY || rc == SQLITE_LOCKED) {
        retry_->start(kBusyRetryMs);
        return;
    }
    if (rc != SQLITE_ROW) {
        closeFile();
        unreachable(QStringLiteral("cannot read ") + store_);
        return;
    }
    const bool wasLost = lostReported_;
    reachable();
    const bool changed =
        (lastVersion_ >= 0 && version != lastVersion_) || (reopened && (wasLost || replaced));
    lastVersion_ = version;
    if (changed) {
        pendingAll_ = true;
        flush();
    }
}

// ---- both -------------------------------------------------------------------------------------

void ChangeWatcher::reachable()
{
    connected_ = true;
    if (lostReported_) {
        lostReported_ = false;
        emit ConnectionRestored();
    }
}

void ChangeWatcher::unreachable(const QString& reason)
{
    connected_ = false;
    if (!lostReported_) {
        lostReported_ = true;
        emit ConnectionLost(reason);
    }
}

void ChangeWatcher::scheduleRetry()
{
    if (store_.isEmpty()) return;
    retry_->start(retryMs_);
    retryMs_ = std::min(retryMs_ * 2, int(kMaxRetryMs));
}

void ChangeWatcher::flush()
{
    batch_->stop();
    if (!pendingAll_ && pending_.isEmpty()) return;
    const QSet<qint32> houses = pendingAll_ ? QSet<qint32>() : pending_;
    pending_.clear();
    pendingAll_ = false;
    emit Changed(houses);
}

}  // namespace db
