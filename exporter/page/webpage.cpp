#include "webpage.h"

#include "compression.h"
#include "negotiation.h"
#include "pagefiles.h"
#include "printable.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <strings.h>

namespace exporter {
namespace {

/* Of this page nothing may be had from elsewhere, nor anything in it be run that came as data. */
constexpr const char* policy =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; "
    "base-uri 'none'; frame-ancestors 'none'";

constexpr size_t mostRenderings = 8;
constexpr size_t mostViews = 4;

std::string_view contentTypeOf(std::string_view name) {
    static constexpr std::array<std::pair<std::string_view, std::string_view>, 4> types{
        {{".html", "text/html; charset=utf-8"},
         {".css", "text/css; charset=utf-8"},
         {".js", "text/javascript; charset=utf-8"},
         {".svg", "image/svg+xml"}}};
    const auto at =
        std::ranges::find_if(types, [&](const auto& type) { return name.ends_with(type.first); });
    return at == types.end() ? "application/octet-stream" : at->second;
}

/* FNV-1a: two texts of one path hardly ever have the same tag. */
std::string tagOf(std::string_view text) {
    uint64_t hash = 0xcbf29ce484222325;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    }
    std::array<char, 16> digits;
    char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), hash, 16).ptr;
    return "W/\"" + std::string(digits.data(), end) + '"';
}

bool hasTag(std::string_view ifNoneMatch, std::string_view tag) {
    return ifNoneMatch == "*" || ifNoneMatch.find(tag) != std::string_view::npos;
}

HttpAnswer refusal(unsigned status, std::string sentence) {
    return textAnswer(status, std::move(sentence) + "\n");
}

void addPolicy(HttpAnswer& answer) {
    answer.headers.emplace_back("Content-Security-Policy", policy);
    answer.headers.emplace_back("Referrer-Policy", "no-referrer");
    answer.headers.emplace_back("Cross-Origin-Resource-Policy", "same-origin");
}

/* The key of a request without a value is in every list, and a name never holds a NUL. */
std::string keyOf(const HttpRequest& request, std::initializer_list<const char*> arguments) {
    std::string key(request.path);
    for (const char* name : arguments) {
        key += '\0';
        key += request.argument(name);
    }
    return key;
}

std::string ageText(Clock::duration age) {
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::max(age, Clock::duration()));
    return std::to_string(milliseconds.count());
}

} // namespace

bool isAllowedHost(std::string_view header, const HostNames& names) {
    const bool isBracketed = header.starts_with('[');
    const size_t end = isBracketed ? header.find(']') : header.find(':');
    if (isBracketed && end == std::string_view::npos) {
        return false;
    }
    std::string_view name = header.substr(0, end);
    std::string_view port = end == std::string_view::npos ? "" : header.substr(end);
    if (isBracketed) {
        name.remove_prefix(1);
        port.remove_prefix(std::min<size_t>(port.size(), 1));
    }
    const bool hasPort = !port.empty();
    if (hasPort && (port[0] != ':' || port.size() > 6 ||
                    port.find_first_not_of("0123456789", 1) != std::string_view::npos)) {
        return false;
    }
    const auto isName = [&](std::string_view allowed) {
        return (allowed.find(':') != std::string_view::npos) == isBracketed &&
               allowed.size() == name.size() &&
               strncasecmp(allowed.data(), name.data(), name.size()) == 0;
    };
    return isName("localhost") || std::ranges::any_of(names, isName);
}

WebPage::WebPage(const PageSettings& settings, const Board& shown)
    : hosts(settings.hosts), board(shown) {
    for (const PageFile& file : pageFiles()) {
        std::string path = "/" + std::string(file.name == "index.html" ? "" : file.name);
        files.emplace_back(std::move(path),
                           bodyOf(contentTypeOf(file.name), std::string(file.bytes)));
    }
    if (!settings.recording.empty()) {
        recorded = std::make_unique<RecordedPast>(settings.recording);
    }
}

WebPage::Body WebPage::bodyOf(std::string_view contentType, std::string text) {
    GzipBeginning beginning;
    beginning.add(text);
    Body body;
    body.contentType = contentType;
    body.tag = tagOf(text);
    const auto piece = beginning.end();
    if (const auto end = endGzip(piece, "")) {
        body.compressed = std::make_shared<const std::string>(piece->bytes + *end);
    }
    body.text = std::make_shared<const std::string>(std::move(text));
    return body;
}

HttpAnswer WebPage::answerWith(const Body& body, const HttpRequest& request,
                               std::string_view cacheControl) {
    HttpAnswer answer;
    answer.contentType = body.contentType;
    answer.cacheControl = cacheControl;
    answer.headers.emplace_back("ETag", body.tag);
    answer.headers.emplace_back("Vary", "Accept-Encoding");
    if (hasTag(request.ifNoneMatch, body.tag)) {
        answer.status = 304;
    } else if (body.compressed != nullptr && takesGzip(request.acceptEncoding)) {
        answer.headers.emplace_back("Content-Encoding", "gzip");
        answer.body.push_back(body.compressed);
    } else {
        answer.body.push_back(body.text);
    }
    return answer;
}

std::optional<HttpAnswer> WebPage::answer(const HttpRequest& request) {
    const auto file = std::ranges::find(
        files, request.path, [](const auto& entry) -> std::string_view { return entry.first; });
    const bool isApi = request.path.starts_with("/api/");
    if (file == files.end() && !isApi) {
        return std::nullopt;
    }
    HttpAnswer answer =
        !isAllowedHost(request.host, hosts)
            ? refusal(421, "the page is not served by the name in the Host header; localhost, the "
                           "listen address and the names given with --host are")
        : isApi ? api(request)
                : answerWith(file->second, request, "no-cache");
    addPolicy(answer);
    return answer;
}

HttpAnswer WebPage::api(const HttpRequest& request) {
    const auto state = board.state();
    const auto now = Clock::now();
    constexpr std::string_view json = "application/json";
    if (request.path == "/api/catalogue") {
        if (!catalogue) {
            catalogue = bodyOf(json, catalogueJson());
        }
        return answerWith(*catalogue, request, "no-cache");
    }
    if (request.path == "/api/caches") {
        return answerWith(bodyOf(json, cachesJson(*state, now, recorded != nullptr)), request,
                          "no-store");
    }
    const bool isPast = request.path == "/api/past";
    if (!isPast && request.path != "/api/sample" && request.path != "/api/process") {
        return refusal(404, "there are /api/caches, /api/catalogue, /api/sample, /api/process and "
                            "/api/past");
    }
    const std::string wanted = samples::bytesOfUtf8(request.argument("cache"));
    const auto cache = std::ranges::find(state->caches, wanted, idOf);
    if (cache == state->caches.end()) {
        return refusal(400, "cache: there is none of this name; /api/caches has those that there "
                            "are");
    }
    return isPast ? past(request, *cache) : ofCache(request, *cache, now);
}

HttpAnswer WebPage::ofCache(const HttpRequest& request, const CacheStatus& cache,
                            Clock::time_point now) {
    const CacheState state = stateOf(cache, now);
    Shown shown{cache.labels, cache.problem, state, cache.attaches, {}, false};
    if (cache.sample != nullptr) {
        shown.times = cache.sample->times;
        shown.hasBefore = cache.sampleBefore != nullptr;
    }
    std::string key = keyOf(request, {"cache", "fields", "brief", "process"});
    auto at = std::ranges::find(renderings, key, &Rendering::key);
    if (at == renderings.end() || at->shown != shown) {
        std::string text;
        if (request.path == "/api/process") {
            const auto address = processAddress(request.argument("process"));
            if (const auto* bad = std::get_if<BadRequest>(&address)) {
                return refusal(400, "process: " + bad->sentence);
            }
            text = processJson(cache, state, viewOf(cache), std::get<ProcessAddress>(address));
        } else {
            const auto fields = chosenFields(request.argument("fields"));
            if (const auto* bad = std::get_if<BadRequest>(&fields)) {
                return refusal(400, "fields: " + bad->sentence);
            }
            text =
                sampleJson(cache, state, viewOf(cache), std::get<std::vector<ChosenField>>(fields),
                           request.argument("brief") == "1");
        }
        if (at != renderings.end()) {
            renderings.erase(at);
        } else if (renderings.size() == mostRenderings) {
            renderings.pop_back();
        }
        renderings.push_front({std::move(key), shown, bodyOf("application/json", std::move(text))});
    } else {
        renderings.splice(renderings.begin(), renderings, at);
    }
    HttpAnswer answer = answerWith(renderings.front().body, request, "no-store");
    if (cache.picture != nullptr) {
        answer.headers.emplace_back("Sample-Age-Ms", ageText(now - cache.taken));
    }
    return answer;
}

/* The samples' processes, matched once for all who ask; null without a sample. */
const SampleView* WebPage::viewOf(const CacheStatus& cache) {
    if (cache.sample == nullptr) {
        return nullptr;
    }
    const auto at = std::ranges::find(views, cache.sample, &View::sample);
    if (at != views.end()) {
        views.splice(views.begin(), views, at);
        return &views.front().view;
    }
    if (views.size() == mostViews) {
        views.splice(views.begin(), views, std::prev(views.end()));
    } else {
        views.emplace_front();
    }
    View& view = views.front();
    view.sample = cache.sample;
    view.before = cache.sampleBefore;
    view.view.show(*view.sample, view.before.get());
    return &view.view;
}

HttpAnswer WebPage::past(const HttpRequest& request, const CacheStatus& cache) {
    if (recorded == nullptr) {
        return refusal(400, "there is no recording: tvsi-exporter --recording FILE has one read");
    }
    PastQuestion question;
    question.location = cache.location;
    question.brox = cache.brox;
    auto fields = chosenFields(request.argument("fields"));
    if (const auto* bad = std::get_if<BadRequest>(&fields)) {
        return refusal(400, "fields: " + bad->sentence);
    }
    question.fields = std::move(std::get<std::vector<ChosenField>>(fields));
    const std::string_view seconds = request.argument("seconds");
    const auto [end, error] =
        std::from_chars(seconds.data(), seconds.data() + seconds.size(), question.seconds);
    if (error != std::errc() || end != seconds.data() + seconds.size() ||
        question.seconds < shortestPast || question.seconds > longestPast) {
        return refusal(400, "seconds: a number from " + std::to_string(shortestPast) + " to " +
                                std::to_string(longestPast) + " is wanted");
    }
    if (const std::string_view process = request.argument("process"); !process.empty()) {
        const auto address = processAddress(process);
        if (const auto* bad = std::get_if<BadRequest>(&address)) {
            return refusal(400, "process: " + bad->sentence);
        }
        question.process = std::get<ProcessAddress>(address);
    }
    const std::string key = keyOf(request, {"cache", "fields", "seconds", "process"});
    const auto json = recorded->ask(key, std::move(question));
    if (json == nullptr) {
        HttpAnswer answer = textAnswer(202, "{\"pending\":true}");
        answer.contentType = "application/json";
        return answer;
    }
    return answerWith(bodyOf("application/json", *json), request, "no-store");
}

} // namespace exporter
