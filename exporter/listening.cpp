#include "listening.h"

#include "printable.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

namespace exporter {
namespace {

using samples::Descriptor;
using samples::ExitStatus;
using samples::Failure;

/* Where systemd puts the first socket that it passes on. */
constexpr int firstPassed = 3;

std::string messageOf(int error) {
    return std::generic_category().message(error);
}

/* Whether only processes of this host reach the address. */
bool isOwn(const sockaddr& address) {
    if (address.sa_family == AF_INET) {
        const auto& v4 = reinterpret_cast<const sockaddr_in&>(address);
        return ntohl(v4.sin_addr.s_addr) >> 24 == 127;
    }
    const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address);
    return std::memcmp(&v6.sin6_addr, &in6addr_loopback, sizeof v6.sin6_addr) == 0;
}

std::string sentenceOf(int error, const std::string& text) {
    switch (error) {
    case EADDRINUSE:
        return text + " is in use by another program: choose another port with --listen";
    case EACCES:
        return "there is no right to listen at " + text +
               ": choose a port from 1024 on, or let systemd pass a socket on";
    case EADDRNOTAVAIL:
        return text + " is no address of this host";
    default:
        return "listening at " + text + " has failed: " + messageOf(error);
    }
}

} // namespace

std::string ListenAddress::text() const {
    const bool isV6 = host.find(':') != std::string::npos;
    return (isV6 ? "[" + host + "]" : host) + ":" + port;
}

std::optional<ListenAddress> parseListenAddress(std::string_view text) {
    const size_t colon = text.rfind(':');
    if (colon == std::string_view::npos || colon == 0) {
        return std::nullopt;
    }
    std::string_view host = text.substr(0, colon);
    const std::string_view port = text.substr(colon + 1);
    const bool isBracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    if (isBracketed) {
        host = host.substr(1, host.size() - 2);
    }
    uint16_t number = 0;
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
    const bool isPort = error == std::errc() && end == port.data() + port.size() && number > 0;
    if (!isPort || (host.find(':') != std::string_view::npos) != isBracketed) {
        return std::nullopt;
    }
    return ListenAddress{std::string(host), std::to_string(number)};
}

std::variant<Descriptor, Failure> listenAt(const ListenAddress& address, bool allowsRemote) {
    const std::string text = samples::printable(address.text());
    addrinfo hints{};
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    if (const int error = getaddrinfo(address.host.c_str(), address.port.c_str(), &hints, &list);
        error != 0) {
        return Failure{ExitStatus::Usage,
                       "--listen: " + text + " is no address: " + gai_strerror(error)};
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> found(list, freeaddrinfo);
    if (!allowsRemote && !isOwn(*found->ai_addr)) {
        return Failure{ExitStatus::Usage,
                       text + " can be reached from other hosts, where neither password nor "
                              "encryption protects it: if that is meant, add --allow-remote"};
    }
    Descriptor socket(
        ::socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP));
    const int yes = 1;
    setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    if (socket.get() < 0 || bind(socket.get(), found->ai_addr, found->ai_addrlen) != 0 ||
        listen(socket.get(), SOMAXCONN) != 0) {
        return Failure{ExitStatus::Failure, sentenceOf(errno, text)};
    }
    return socket;
}

std::optional<std::variant<Descriptor, Failure>> passedSocket() {
    const char* pid = std::getenv("LISTEN_PID");
    const char* count = std::getenv("LISTEN_FDS");
    if (pid == nullptr || count == nullptr || std::to_string(getpid()) != pid) {
        return std::nullopt;
    }
    const std::string number = count;
    unsetenv("LISTEN_PID"); /* not meant for readers */
    unsetenv("LISTEN_FDS");
    unsetenv("LISTEN_FDNAMES");
    int isListening = 0;
    socklen_t size = sizeof isListening;
    const bool isSocket =
        getsockopt(firstPassed, SOL_SOCKET, SO_ACCEPTCONN, &isListening, &size) == 0;
    if (number != "1" || !isSocket || isListening == 0) {
        return Failure{ExitStatus::Usage,
                       "one listening socket is expected from systemd, with Accept=no; it has "
                       "passed " +
                           samples::printable(number) + " descriptors"};
    }
    fcntl(firstPassed, F_SETFD, FD_CLOEXEC);
    return Descriptor(firstPassed);
}

void tellReady() {
    const char* path = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    if (path == nullptr || std::strlen(path) >= sizeof address.sun_path) {
        return;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path, std::strlen(path));
    if (path[0] == '@') {
        address.sun_path[0] = '\0';
    }
    const Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    constexpr std::string_view ready = "READY=1";
    sendto(socket.get(), ready.data(), ready.size(), MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr*>(&address),
           static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path)));
    unsetenv("NOTIFY_SOCKET");
}

} // namespace exporter
