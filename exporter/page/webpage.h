/*
 * The live page and what it asks for, over HTTP: its files, and JSON that is rendered from the
 * collector's last samples. What is the same for all who ask is rendered and compressed once. For
 * the server's thread.
 *
 * Of a browser it is the name in the Host header that tells a page of this exporter from another
 * one that had its name point here; so all answers but to the names that are allowed are 421.
 */
#ifndef WEBPAGE_H
#define WEBPAGE_H

#include "board.h"
#include "httpserver.h"
#include "pagejson.h"
#include "recordedpast.h"

#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace exporter {

/* The names, besides localhost, by which the page may be asked for, without port; an IPv6 address
 * without brackets. */
using HostNames = std::vector<std::string>;

/* "localhost", "LOCALHOST:9964", "[::1]:9964" for these names. */
bool isAllowedHost(std::string_view header, const HostNames& names);

struct PageSettings {
    bool isOn = false;
    HostNames hosts;
    std::string recording; /* path; empty: none */
};

class WebPage {
public:
    /* The board must outlive it. */
    WebPage(const PageSettings& settings, const Board& shown);

    /* Nothing when the path is none of the page's. */
    std::optional<HttpAnswer> answer(const HttpRequest& request);

private:
    /* A body in both forms. */
    struct Body {
        std::string contentType;
        std::string tag; /* as in ETag */
        std::shared_ptr<const std::string> text;
        std::shared_ptr<const std::string> compressed; /* null: there was no memory for it */
    };
    static Body bodyOf(std::string_view contentType, std::string text);
    static HttpAnswer answerWith(const Body& body, const HttpRequest& request,
                                 std::string_view cacheControl);

    /* What an answer about a cache was made of. Keeps no sample: nobody may ask for it again. */
    struct Shown {
        std::string labels;
        std::string problem;
        CacheState state{};
        uint64_t attaches = 0;
        samples::Times times; /* of the sample */
        bool hasBefore = false;

        bool operator==(const Shown&) const = default;
    };
    /* An answer as it was rendered last. */
    struct Rendering {
        std::string key;
        Shown shown;
        Body body;
    };
    /* The last view of a cache's sample; keeps the samples. */
    struct View {
        std::shared_ptr<const samples::Sample> sample, before;
        SampleView view;
    };

    HttpAnswer api(const HttpRequest& request);
    HttpAnswer past(const HttpRequest& request, const CacheStatus& cache);
    HttpAnswer ofCache(const HttpRequest& request, const CacheStatus& cache, Clock::time_point now);
    const SampleView* viewOf(const CacheStatus& cache);

    const HostNames hosts;
    const Board& board;
    std::vector<std::pair<std::string, Body>> files; /* by path */
    std::optional<Body> catalogue;
    std::list<Rendering> renderings; /* the last used first */
    std::list<View> views;           /* the same */
    std::unique_ptr<RecordedPast> recorded;
};

} // namespace exporter

#endif
