#include "httpserver.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <list>
#include <microhttpd.h>
#include <netinet/in.h>
#include <optional>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace exporter {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using samples::ExitStatus;
using samples::Failure;

constexpr auto requestLimit = 5s;
constexpr auto answerLimit = 30s;
/* While somebody waits for a connection's end. */
constexpr auto crowdedRequestLimit = 500ms;
constexpr auto crowdedAnswerLimit = 5s;
/* How often it is looked whether somebody does. */
constexpr int64_t lookPauseMs = 100;
constexpr unsigned mostConnections = 64;
constexpr unsigned mostOfAnAddress = 16;
constexpr size_t headerRoom = 32768;

std::string_view headerOf(MHD_Connection* connection, const char* name) {
    const char* value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
    return value == nullptr ? std::string_view() : value;
}

/* Owns the pieces that a response points at. */
using Body = std::vector<std::shared_ptr<const std::string>>;

void freeBody(void* body) {
    delete static_cast<Body*>(body);
}

/* What is left of a streamed body. */
struct StreamedBody {
    HttpStream stream;
    Body behind;
};

constexpr size_t streamRoom = 32768;

ssize_t readBody(void* closure, uint64_t at, char* room, size_t size) {
    auto& body = *static_cast<StreamedBody*>(closure);
    if (at < body.stream.size) {
        const size_t got =
            body.stream.read({room, std::min<uint64_t>(size, body.stream.size - at)});
        return got > 0 ? static_cast<ssize_t>(got) : MHD_CONTENT_READER_END_WITH_ERROR;
    }
    at -= body.stream.size;
    for (const auto& piece : body.behind) {
        if (at < piece->size()) {
            return static_cast<ssize_t>(piece->copy(room, size, at));
        }
        at -= piece->size();
    }
    return MHD_CONTENT_READER_END_OF_STREAM;
}

void freeStream(void* body) {
    delete static_cast<StreamedBody*>(body);
}

uint64_t sizeOf(const HttpAnswer& answer) {
    uint64_t size = answer.stream.size;
    for (const auto& piece : answer.body) {
        size += piece->size();
    }
    return size;
}

/* Null when there is no memory for it; else it owns the body. */
MHD_Response* streamOf(HttpAnswer& answer) {
    const uint64_t size = sizeOf(answer);
    auto body = std::make_unique<StreamedBody>(
        StreamedBody{std::move(answer.stream), std::move(answer.body)});
    MHD_Response* response =
        MHD_create_response_from_callback(size, streamRoom, readBody, body.get(), freeStream);
    if (response != nullptr) {
        static_cast<void>(body.release());
    }
    return response;
}

MHD_Response* piecesOf(HttpAnswer& answer) {
    std::vector<MHD_IoVec> pieces;
    for (const auto& piece : answer.body) {
        pieces.push_back({piece->data(), piece->size()});
    }
    auto body = std::make_unique<Body>(std::move(answer.body));
    MHD_Response* response = MHD_create_response_from_iovec(
        pieces.data(), static_cast<unsigned>(pieces.size()), freeBody, body.get());
    if (response != nullptr) {
        static_cast<void>(body.release());
    }
    return response;
}

MHD_Response* responseOf(HttpAnswer& answer) {
    MHD_Response* response = answer.stream.size > 0 ? streamOf(answer) : piecesOf(answer);
    if (response == nullptr) {
        return nullptr;
    }
    MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, answer.contentType.c_str());
    MHD_add_response_header(response, "X-Content-Type-Options", "nosniff");
    MHD_add_response_header(response, MHD_HTTP_HEADER_CACHE_CONTROL, answer.cacheControl.c_str());
    for (const auto& [name, value] : answer.headers) {
        MHD_add_response_header(response, name, value.c_str());
    }
    return response;
}

} // namespace

HttpAnswer textAnswer(unsigned status, std::string text) {
    HttpAnswer answer;
    answer.status = status;
    answer.body.push_back(std::make_shared<const std::string>(std::move(text)));
    return answer;
}

/* All but start() and the end belongs to the thread. */
class HttpServer::Serving {
public:
    explicit Serving(Handler served) : handler(std::move(served)) {}
    Serving(const Serving&) = delete;
    Serving& operator=(const Serving&) = delete;
    ~Serving() {
        if (thread.joinable()) {
            const uint64_t one = 1;
            [[maybe_unused]] const ssize_t written = write(wake.get(), &one, sizeof one);
            thread.join();
        }
        if (daemon != nullptr) {
            MHD_stop_daemon(daemon);
        }
    }

    std::optional<Failure> start(samples::Descriptor socket) {
        wake = samples::Descriptor(eventfd(0, EFD_CLOEXEC));
        fcntl(socket.get(), F_SETFL, fcntl(socket.get(), F_GETFL) | O_NONBLOCK);
        /* The daemon closes the socket. */
        listener = fcntl(socket.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        daemon = MHD_start_daemon(
            MHD_USE_EPOLL, 0, nullptr, nullptr, onRequest, this, MHD_OPTION_LISTEN_SOCKET, listener,
            MHD_OPTION_CONNECTION_LIMIT, mostConnections, MHD_OPTION_PER_IP_CONNECTION_LIMIT,
            mostOfAnAddress, MHD_OPTION_CONNECTION_MEMORY_LIMIT, headerRoom,
            MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_NOTIFY_CONNECTION, onConnection, this,
            MHD_OPTION_NOTIFY_COMPLETED, onCompleted, this, MHD_OPTION_EXTERNAL_LOGGER, ignoreLog,
            nullptr, MHD_OPTION_END);
        if (daemon == nullptr || wake.get() < 0) {
            const int error = errno;
            if (daemon == nullptr) {
                close(listener);
            }
            return Failure{ExitStatus::Failure, "the HTTP server can't be started: " +
                                                    std::generic_category().message(error)};
        }
        thread = std::thread([this] { run(); });
        return std::nullopt;
    }

private:
    /* What a connection is doing, and since when. */
    struct Peer {
        int fd;
        std::string address; /* without the port; empty for a socket that isn't of the internet */
        Clock::time_point since;
        bool isAnswered = false; /* else its request is waited for */
        bool isCutOff = false;
    };

    void run() {
        const auto* info = MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_EPOLL_FD);
        std::array<pollfd, 2> watched{pollfd{info->listen_fd, POLLIN, 0},
                                      pollfd{wake.get(), POLLIN, 0}};
        while ((watched[1].revents & POLLIN) == 0) {
            poll(watched.data(), watched.size(), timeout());
            const bool wasFull = peers.size() >= mostConnections;
            MHD_run(daemon);
            if (wasFull && peers.size() < mostConnections) {
                MHD_run(daemon); /* the first one has made room, this one listens again */
            }
            pollfd waiting{listener, POLLIN, 0};
            isWaitedFor = peers.size() >= mostConnections && poll(&waiting, 1, 0) == 1;
            cutOffLatePeers();
        }
    }

    /* Until the next deadline, in milliseconds rounded up; -1: for ever. */
    int timeout() const {
        int64_t wait = peers.size() < mostConnections ? -1 : lookPauseMs;
        unsigned long long ownWait = 0;
        if (MHD_get_timeout(daemon, &ownWait) == MHD_YES) {
            const auto bounded = static_cast<int64_t>(std::min(ownWait, 60'000ULL));
            wait = wait < 0 ? bounded : std::min(wait, bounded);
        }
        const auto now = Clock::now();
        for (const Peer& peer : peers) {
            if (!peer.isCutOff) {
                const auto left =
                    std::chrono::ceil<std::chrono::milliseconds>(deadlineOf(peer) - now);
                const int64_t bounded = std::max<int64_t>(left.count(), 0);
                wait = wait < 0 ? bounded : std::min(wait, bounded);
            }
        }
        return static_cast<int>(wait);
    }

    /* Connections, or those of an address. */
    size_t countOpen(const std::string* address) const {
        return static_cast<size_t>(std::ranges::count_if(peers, [&](const Peer& peer) {
            return !peer.isCutOff && (address == nullptr || peer.address == *address);
        }));
    }

    /* Whether the daemon takes no further connection, which one has come for already; or would
     * refuse one of this address. */
    bool isCrowded(const Peer& peer) const {
        if (peers.size() < mostOfAnAddress) {
            return false;
        }
        return (isWaitedFor && countOpen(nullptr) >= mostConnections) ||
               (!peer.address.empty() && countOpen(&peer.address) >= mostOfAnAddress);
    }

    /* Who is slow must shut nobody out: where it is crowded, there is less time. */
    Clock::time_point deadlineOf(const Peer& peer) const {
        const bool hasLess = isCrowded(peer);
        if (peer.isAnswered) {
            return peer.since + (hasLess ? crowdedAnswerLimit : answerLimit);
        }
        return hasLess ? peer.since + crowdedRequestLimit : peer.since + requestLimit;
    }

    /* The oldest first, as long as it is crowded. The daemon notices that such a connection is
     * closed. */
    void cutOffLatePeers() {
        const auto now = Clock::now();
        for (auto peer = peers.rbegin(); peer != peers.rend(); ++peer) {
            if (!peer->isCutOff && now >= deadlineOf(*peer)) {
                shutdown(peer->fd, SHUT_RDWR);
                peer->isCutOff = true;
                traffic.cutOff++;
            }
        }
    }

    static void ignoreLog(void* /*closure*/, const char* /*format*/, va_list /*arguments*/) {}

    static void onConnection(void* closure, MHD_Connection* connection, void** context,
                             MHD_ConnectionNotificationCode code) {
        auto& self = *static_cast<Serving*>(closure);
        if (code == MHD_CONNECTION_NOTIFY_STARTED) {
            const auto* info =
                MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
            self.peers.push_front({info->connect_fd, addressOf(connection), Clock::now()});
            self.traffic.connections++;
            self.traffic.connectionsTotal++;
            *context = &self.peers.front();
        } else if (*context != nullptr) {
            self.peers.remove_if([&](const Peer& peer) { return &peer == *context; });
            self.traffic.connections--;
            *context = nullptr;
        }
    }

    static void onCompleted(void* closure, MHD_Connection* connection, void** request,
                            MHD_RequestTerminationCode code) {
        auto& self = *static_cast<Serving*>(closure);
        auto* size = static_cast<uint64_t*>(*request);
        if (size != nullptr && code == MHD_REQUEST_TERMINATED_COMPLETED_OK) {
            self.traffic.bytesSent += *size;
        }
        delete size;
        *request = nullptr;
        startPhase(peerOf(connection), false);
    }

    static void startPhase(Peer& peer, bool isAnswered) {
        peer.since = Clock::now();
        peer.isAnswered = isAnswered;
    }

    static std::string addressOf(MHD_Connection* connection) {
        const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
        if (info == nullptr || info->client_addr == nullptr) {
            return "";
        }
        const sockaddr* address = info->client_addr;
        const auto bytes = [&](const auto& part) {
            return std::string(reinterpret_cast<const char*>(&part), sizeof part);
        };
        switch (address->sa_family) {
        case AF_INET:
            return bytes(reinterpret_cast<const sockaddr_in*>(address)->sin_addr);
        case AF_INET6:
            return bytes(reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr);
        default:
            return "";
        }
    }

    static Peer& peerOf(MHD_Connection* connection) {
        const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
        return *static_cast<Peer*>(info->socket_context);
    }

    /* Called once when the headers are there, for each piece of a body, and once more at its end.
     * What is answered before that ends the connection. */
    static MHD_Result onRequest(void* closure, MHD_Connection* connection, const char* url,
                                const char* method, const char* /*version*/, const char* /*upload*/,
                                size_t* uploadSize, void** request) {
        auto& self = *static_cast<Serving*>(closure);
        const bool isHead = std::strcmp(method, MHD_HTTP_METHOD_HEAD) == 0;
        const bool isServed = isHead || std::strcmp(method, MHD_HTTP_METHOD_GET) == 0;
        const bool isFirst = *request == nullptr;
        if (isFirst) {
            *request = new uint64_t(0);
        }
        if (isServed && (isFirst || *uploadSize > 0)) {
            *uploadSize = 0; /* a body is of no interest */
            return MHD_YES;
        }
        startPhase(peerOf(connection), true);
        HttpAnswer answer = isServed ? self.answerTo(connection, url) : refusal();
        const uint64_t size = sizeOf(answer);
        const unsigned status = answer.status;
        MHD_Response* response = responseOf(answer);
        if (response == nullptr) {
            return MHD_NO;
        }
        *static_cast<uint64_t*>(*request) = isHead ? 0 : size;
        const MHD_Result result = MHD_queue_response(connection, status, response);
        MHD_destroy_response(response);
        return result;
    }

    static HttpAnswer refusal() {
        HttpAnswer answer = textAnswer(405, "GET and HEAD are all that is served here.\n");
        answer.headers.emplace_back(MHD_HTTP_HEADER_ALLOW, "GET, HEAD");
        return answer;
    }

    HttpAnswer answerTo(MHD_Connection* connection, const char* url) const {
        const auto argument = [connection](const char* name) -> std::string_view {
            const char* value =
                MHD_lookup_connection_value(connection, MHD_GET_ARGUMENT_KIND, name);
            return value == nullptr ? std::string_view() : value;
        };
        try {
            return handler({url, headerOf(connection, MHD_HTTP_HEADER_HOST),
                            headerOf(connection, MHD_HTTP_HEADER_ACCEPT),
                            headerOf(connection, MHD_HTTP_HEADER_ACCEPT_ENCODING),
                            headerOf(connection, MHD_HTTP_HEADER_IF_NONE_MATCH), argument},
                           traffic);
        } catch (const std::exception& error) {
            return textAnswer(500, std::string(error.what()) + "\n");
        }
    }

    Handler handler;
    samples::Descriptor wake;
    MHD_Daemon* daemon = nullptr;
    int listener = -1;     /* the daemon's */
    std::list<Peer> peers; /* the newest first */
    bool isWaitedFor = false;
    HttpTraffic traffic;
    std::thread thread;
};

std::variant<std::unique_ptr<HttpServer>, Failure> HttpServer::start(samples::Descriptor socket,
                                                                     Handler handler) {
    auto serving = std::make_unique<Serving>(std::move(handler));
    if (auto failure = serving->start(std::move(socket))) {
        return std::move(*failure);
    }
    return std::unique_ptr<HttpServer>(new HttpServer(std::move(serving)));
}

HttpServer::HttpServer(std::unique_ptr<Serving> begun) : serving(std::move(begun)) {}

HttpServer::~HttpServer() = default;

} // namespace exporter
