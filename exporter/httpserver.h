/*
 * Answers GET and HEAD over HTTP, in a thread of its own. What comes in is not trusted, and nobody
 * can keep it from serving others: a client that isn't done with its request 5 seconds after its
 * connection (or its last answer), or with the answer 30 seconds after its request, is cut off,
 * however busy it seems; there are at most 64 connections, 16 an address, and 32 KB of header.
 * While there are that many, half a second and 5 seconds are all: somebody else is waiting.
 *
 * The library has a time-out of its own, which begins anew with every byte; so the deadlines are
 * kept here.
 */
#ifndef HTTPSERVER_H
#define HTTPSERVER_H

#include "exitstatus.h"
#include "readerprocess.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace exporter {

/* A request for a path, valid during the call. Headers are empty when they are missing. */
struct HttpRequest {
    std::string_view path;
    std::string_view host;
    std::string_view accept;
    std::string_view acceptEncoding;
    std::string_view ifNoneMatch;
    /* The value of an argument of the query; empty when it is missing. */
    std::function<std::string_view(const char* name)> argument;
};

/* A text that is made while it is sent, so that nobody needs room for the whole of it. */
struct HttpStream {
    uint64_t size = 0;
    /* Fills the room with what comes next, as far as there is some left; less than that breaks the
     * answer off. */
    std::function<size_t(std::span<char> room)> read;
};

struct HttpAnswer {
    unsigned status = 200;
    std::string contentType = "text/plain; charset=utf-8";
    std::string cacheControl = "no-store";
    HttpStream stream; /* the beginning of the body; usually there is none */
    /* The body behind it, one piece after the other; shared with other answers. */
    std::vector<std::shared_ptr<const std::string>> body;
    std::vector<std::pair<const char*, std::string>> headers; /* besides those of every answer */
};

/* A text in UTF-8. */
HttpAnswer textAnswer(unsigned status, std::string text);

struct HttpTraffic {
    unsigned connections = 0;
    uint64_t connectionsTotal = 0;
    uint64_t cutOff = 0;    /* connections, at their deadline */
    uint64_t bytesSent = 0; /* bodies that were sent whole */
};

class HttpServer {
public:
    /* Called by the server's thread. */
    using Handler = std::function<HttpAnswer(const HttpRequest&, const HttpTraffic&)>;

    /* Serves the listening socket, which it takes, until it is destroyed. */
    static std::variant<std::unique_ptr<HttpServer>, samples::Failure>
    start(samples::Descriptor socket, Handler handler);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

private:
    class Serving;
    explicit HttpServer(std::unique_ptr<Serving> begun);
    std::unique_ptr<Serving> serving;
};

} // namespace exporter

#endif
