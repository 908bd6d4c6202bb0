#pragma once

#include <QObject>
#include <QSet>
#include <QString>

class QSocketNotifier;
class QTimer;
struct sqlite3;
struct sqlite3_stmt;
typedef struct pg_conn PGconn;

namespace db {

// Tells a window that another PC (or another window of this one) committed a change to the
// catalogue, so that it can read again without a click.
//
// On a shared catalogue a second connection of the same login LISTENs on "tavrelo_changes", where
// the server's history triggers announce the unit that changed; its socket is watched by the event
// loop, so nothing runs while nothing changes. A lost server is reported once and retried quietly,
// waiting a little longer each time (up to kMaxRetryMs).
//
// On House.db a connection of its own reads PRAGMA data_version every kFilePollMs: another
// connection's commit changes it. One read of the file's header, without a lock kept between reads,
// and a look at the file's name: a file moved away counts as out of reach, one put in its place
// (a restore) as a change.
class ChangeWatcher : public QObject {
    Q_OBJECT
public:
    static constexpr int kFilePollMs = 150;
    static constexpr int kBusyRetryMs = 15;
    static constexpr int kBatchMs = 40;
    static constexpr int kFirstRetryMs = 500;
    static constexpr int kMaxRetryMs = 5000;
    static constexpr int kConnectTimeoutMs = 10000;

    explicit ChangeWatcher(QObject* parent = nullptr);
    ~ChangeWatcher() override;
    ChangeWatcher(const ChangeWatcher&) = delete;
    ChangeWatcher& operator=(const ChangeWatcher&) = delete;

    // Watches the catalogue a program folder uses (the rule of OpenCatalogue).
    void WatchProgramFolder(const QString& programFolder);
    // Watches a server (a libpq URI) or a House.db path.
    void Watch(const QString& store);
    void Stop();

    // The server is being listened to, or the file can be read.
    bool Connected() const { return connected_; }
    bool Watching() const { return !store_.isEmpty(); }

signals:
    // The units that changed, as the server named them; an empty set means "something changed,
    // read everything again" (House.db, and after the watcher was reconnected).
    void Changed(const QSet<qint32>& houses);
    // The catalogue cannot be reached; sent once until it can again.
    void ConnectionLost(const QString& reason);
    void ConnectionRestored();

private:
    // The server.
    void connectServer();
    void pollConnect();
    void watchSocket(bool forReading);
    void readServer();
    void serverLost(const QString& reason);
    void dropServer();
    // The file.
    void pollFile();
    bool openFile();
    void closeFile();

    void reachable();
    void unreachable(const QString& reason);
    void scheduleRetry();
    void flush();

    QString store_;
    bool server_ = false;
    bool connected_ = false;
    bool lostReported_ = false;
    bool listening_ = false;
    int retryMs_ = kFirstRetryMs;

    PGconn* conn_ = nullptr;
    int socket_ = -1;
    QSocketNotifier* reader_ = nullptr;
    QSocketNotifier* writer_ = nullptr;
    QTimer* retry_ = nullptr;
    QTimer* connectLimit_ = nullptr;
    QTimer* batch_ = nullptr;
    QSet<qint32> pending_;
    bool pendingAll_ = false;

    sqlite3* file_ = nullptr;
    sqlite3_stmt* version_ = nullptr;
    qint64 lastVersion_ = -1;
    quint64 inode_ = 0;
    quint64 device_ = 0;
    QTimer* poll_ = nullptr;
};

}  // namespace db
