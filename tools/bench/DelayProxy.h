#pragma once

#include <QString>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

// A TCP proxy on the loopback interface that holds every chunk of data for a fixed time in each
// direction before passing it on: a server "over a network" with a known round-trip time, on one
// machine. Each direction of each connection is one thread that reads, waits until the chunk's due
// time and writes, so chunks keep their order and a stream's bandwidth is not limited.
namespace bench {

class DelayProxy {
public:
    // Listens on 127.0.0.1 (a free port) and forwards to host:port, adding oneWayMs each way.
    DelayProxy(const QString& host, int port, int oneWayMs);
    ~DelayProxy();
    bool Listening() const { return listenFd_ >= 0; }
    int Port() const { return port_; }

private:
    void acceptLoop();

    QString host_;
    int targetPort_;
    int oneWayMs_;
    int listenFd_ = -1;
    int port_ = 0;
    std::atomic<bool> stopping_{false};
    std::thread acceptor_;
    std::vector<std::thread> pipes_;
    std::vector<int> sockets_;
};

// The URI with its host and port replaced by the proxy's (a libpq connection string).
QString ThroughProxy(const QString& uri, int proxyPort, QString* targetHost, int* targetPort);

}  // namespace bench
