/* The socket that scrapes come to. */
#ifndef LISTENING_H
#define LISTENING_H

#include "exitstatus.h"
#include "readerprocess.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace exporter {

/* "127.0.0.1:9964", "[::1]:9964". */
struct ListenAddress {
    std::string host; /* without brackets */
    std::string port;

    std::string text() const;
};

/* Nothing when the text is no address with a port. */
std::optional<ListenAddress> parseListenAddress(std::string_view text);

/* A listening socket for the address. One that isn't the host's own needs `allowsRemote`. */
std::variant<samples::Descriptor, samples::Failure> listenAt(const ListenAddress& address,
                                                             bool allowsRemote);

/* The socket that systemd has passed on; nothing when it has passed none. */
std::optional<std::variant<samples::Descriptor, samples::Failure>> passedSocket();

/* Tells systemd, if it waits for it, that the process is ready. */
void tellReady();

} // namespace exporter

#endif
