// delayProxy: a TCP relay on loopback that holds every piece of data for a
// fixed delay in each direction, so that the benchmark can show what a network
// with latency does to the loader. It counts round trips: the times a client
// sent something after the server had answered it.
//   delayProxy LISTEN_PORT TARGET_PORT DELAY_MICROSECONDS STATS_FILE
// A LISTEN_PORT of 0 takes a free port; the port is printed on the first line
// of standard output. STATS_FILE is rewritten after each connection with
// "CONNECTIONS ROUND_TRIPS". Runs until killed.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

std::chrono::microseconds g_delay;
std::string g_statsFile;
std::mutex g_statsLock;
long g_connections = 0;
long g_roundTrips = 0;

// One connection's relay state, shared by its two directions.
struct Link {
    int client;
    int server;
    std::atomic<bool> serverSpokeLast{false};
    std::atomic<long> roundTrips{0};
    std::atomic<bool> closed{false};
};

struct Piece {
    Clock::time_point due;
    std::string data;
};

bool WriteAll(int fd, const std::string& data) {
    size_t done = 0;
    while (done < data.size()) {
        ssize_t n = write(fd, data.data() + done, data.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

// Reads from `from` and writes to `to`, each piece `g_delay` after it came.
void Relay(Link& link, int from, int to, bool fromClient) {
    std::deque<Piece> pending;
    char buffer[65536];
    bool open = true;
    while (open || !pending.empty()) {
        struct timespec timeout {};
        struct timespec* wait = nullptr;
        if (!pending.empty()) {
            auto left = pending.front().due - Clock::now();
            auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
            ns = ns < 0 ? 0 : ns;
            timeout.tv_sec = ns / 1000000000;
            timeout.tv_nsec = ns % 1000000000;
            wait = &timeout;
        }
        struct pollfd poller {
            from, static_cast<short>(open ? POLLIN : 0), 0
        };
        int ready = ppoll(&poller, 1, wait, nullptr);
        if (ready < 0 && errno != EINTR) {
            break;
        }
        if (ready > 0 && (poller.revents & (POLLIN | POLLHUP | POLLERR))) {
            ssize_t n = read(from, buffer, sizeof buffer);
            if (n <= 0) {
                open = false;
            } else {
                if (fromClient && link.serverSpokeLast.exchange(false)) {
                    ++link.roundTrips;
                } else if (!fromClient) {
                    link.serverSpokeLast = true;
                }
                pending.push_back({Clock::now() + g_delay, std::string(buffer, n)});
            }
        }
        while (!pending.empty() && pending.front().due <= Clock::now()) {
            if (!WriteAll(to, pending.front().data)) {
                open = false;
                pending.clear();
                break;
            }
            pending.pop_front();
        }
    }
    shutdown(to, SHUT_WR);
}

void Serve(int client, int targetPort) {
    int server = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(targetPort));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (server < 0 || connect(server, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        std::perror("delayProxy: connect");
        close(client);
        if (server >= 0) {
            close(server);
        }
        return;
    }
    int one = 1;
    setsockopt(server, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    Link link{client, server};
    std::thread up(Relay, std::ref(link), client, server, true);
    Relay(link, server, client, false);
    up.join();
    close(client);
    close(server);
    std::lock_guard<std::mutex> lock(g_statsLock);
    ++g_connections;
    g_roundTrips += link.roundTrips;
    if (std::FILE* out = std::fopen(g_statsFile.c_str(), "w")) {
        std::fprintf(out, "%ld %ld\n", g_connections, g_roundTrips);
        std::fclose(out);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: delayProxy LISTEN_PORT TARGET_PORT DELAY_US STATS_FILE\n");
        return 2;
    }
    const int listenPort = std::atoi(argv[1]);
    const int targetPort = std::atoi(argv[2]);
    g_delay = std::chrono::microseconds(std::atol(argv[3]));
    g_statsFile = argv[4];
    int listener = socket(AF_INET, SOCK_STREAM, 0);
    int one = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(listenPort));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (listener < 0 ||
        bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener, 16) != 0) {
        std::perror("delayProxy: listen");
        return 1;
    }
    socklen_t length = sizeof address;
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    std::printf("%d\n", ntohs(address.sin_port));
    std::fflush(stdout);
    for (;;) {
        int client = accept(listener, nullptr, nullptr);
        if (client < 0) {
            if (errno == EINTR) {
                continue;
            }
            std::perror("delayProxy: accept");
            return 1;
        }
        std::thread(Serve, client, targetPort).detach();
    }
}
