#include "DelayProxy.h"

#include <arpa/inet.h>
#include <libpq-fe.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QStringList>
#include <chrono>
#include <cstring>
#include <deque>

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

void noDelay(int fd)
{
    int one = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
}

int connectTo(const QString& host, int port)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(host.toUtf8().constData(), QByteArray::number(port).constData(), &hints, &found) != 0)
        return -1;
    int fd = -1;
    for (addrinfo* a = found; a && fd < 0; a = a->ai_next) {
        fd = socket(a->ai_family, a->ai_socktype, a->ai_protocol);
        if (fd >= 0 && connect(fd, a->ai_addr, a->ai_addrlen) != 0) {
            close(fd);
            fd = -1;
        }
    }
    freeaddrinfo(found);
    if (fd >= 0) noDelay(fd);
    return fd;
}

// One direction: read what arrives, pass each chunk on when its time has come.
void pipe(int from, int to, int delayMs)
{
    struct Chunk {
        Clock::time_point due;
        std::vector<char> bytes;
    };
    std::deque<Chunk> queue;
    char buffer[65536];
    bool open = true;
    while (open || !queue.empty()) {
        int timeout = -1;
        if (!queue.empty()) {
            const auto wait =
                std::chrono::duration_cast<std::chrono::milliseconds>(queue.front().due - Clock::now());
            timeout = int(std::max<long long>(0, wait.count()));
        }
        pollfd p{from, short(open ? POLLIN : 0), 0};
        const int ready = poll(&p, 1, timeout);
        if (ready > 0 && (p.revents & (POLLIN | POLLHUP | POLLERR))) {
            const ssize_t n = read(from, buffer, sizeof buffer);
            if (n <= 0) {
                open = false;
            } else {
                queue.push_back({Clock::now() + std::chrono::milliseconds(delayMs),
                                 std::vector<char>(buffer, buffer + n)});
            }
        }
        while (!queue.empty() && queue.front().due <= Clock::now()) {
            const std::vector<char>& bytes = queue.front().bytes;
            size_t done = 0;
            while (done < bytes.size()) {
                const ssize_t n = write(to, bytes.data() + done, bytes.size() - done);
                if (n <= 0) return;
                done += size_t(n);
            }
            queue.pop_front();
        }
    }
    shutdown(to, SHUT_WR);
}

}  // namespace

DelayProxy::DelayProxy(const QString& host, int port, int oneWayMs)
    : host_(host), targetPort_(port), oneWayMs_(oneWayMs)
{
    listenFd_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(listenFd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(listenFd_, 64) != 0 ||
        getsockname(listenFd_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        close(listenFd_);
        listenFd_ = -1;
        return;
    }
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { acceptLoop(); });
}

DelayProxy::~DelayProxy()
{
    stopping_ = true;
    if (listenFd_ >= 0) {
        shutdown(listenFd_, SHUT_RDWR);
        close(listenFd_);
    }
    if (acceptor_.joinable()) acceptor_.join();
    for (int fd : sockets_) shutdown(fd, SHUT_RDWR);
    for (std::thread& t : pipes_) t.join();
    for (int fd : sockets_) close(fd);
}

void DelayProxy::acceptLoop()
{
    while (!stopping_) {
        const int client = accept(listenFd_, nullptr, nullptr);
        if (client < 0) return;
        noDelay(client);
        const int server = connectTo(host_, targetPort_);
        if (server < 0) {
            close(client);
            continue;
        }
        sockets_.push_back(client);
        sockets_.push_back(server);
        pipes_.emplace_back(pipe, client, server, oneWayMs_);
        pipes_.emplace_back(pipe, server, client, oneWayMs_);
    }
}

QString ThroughProxy(const QString& uri, int proxyPort, QString* targetHost, int* targetPort)
{
    char* error = nullptr;
    PQconninfoOption* options = PQconninfoParse(uri.toUtf8().constData(), &error);
    if (!options) {
        PQfreemem(error);
        return QString();
    }
    QStringList parts;
    *targetHost = QStringLiteral("127.0.0.1");
    *targetPort = 5432;
    for (PQconninfoOption* o = options; o->keyword; ++o) {
        if (!o->val) continue;
        const QString key = QString::fromUtf8(o->keyword), value = QString::fromUtf8(o->val);
        if (key == QLatin1String("host") || key == QLatin1String("hostaddr")) {
            *targetHost = value;
            continue;
        }
        if (key == QLatin1String("port")) {
            *targetPort = value.toInt();
            continue;
        }
        QString quoted = value;
        quoted.replace(QLatin1Char('\\'), QStringLiteral("\\\\"))
            .replace(QLatin1Char('\''), QStringLiteral("\\'"));
        parts << key + QStringLiteral("='") + quoted + QLatin1Char('\'');
    }
    PQconninfoFree(options);
    parts << QStringLiteral("host=127.0.0.1") << QStringLiteral("port=%1").arg(proxyPort);
    return parts.join(QLatin1Char(' '));
}

}  // namespace bench
