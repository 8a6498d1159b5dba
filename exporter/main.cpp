/* tvsi-exporter: serves live statistics of shared page caches to Prometheus. */
#include "board.h"
#include "collector.h"
#include "httpserver.h"
#include "scrape.h"
#include "settings.h"
#include "webpage.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <malloc.h>
#include <optional>
#include <sys/signalfd.h>

namespace {

using namespace exporter;
using samples::ExitStatus;
using samples::Failure;

ExitStatus fail(const Failure& failure) {
    say(failure.sentence);
    return failure.status;
}

/* The signals that end the process or ask it to read its configuration anew, in a descriptor. */
samples::Descriptor signalsOf() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return samples::Descriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

constexpr const char* overview = "tvsi-exporter: live statistics of Talvex shared page caches\n"
                                 "\n"
                                 "/metrics  for Prometheus\n"
                                 "/healthz  whether this program runs\n"
                                 "/ready    whether a cache is read, and why none is\n";

std::variant<samples::Descriptor, Failure> socketFor(const Settings& settings) {
    if (auto passed = passedSocket()) {
        return std::move(*passed);
    }
    return listenAt(settings.listen, settings.allowsRemote);
}

ExitStatus serve(const Settings& settings) {
    if (const auto failure = settings.page.recording.empty()
                                 ? std::nullopt
                                 : RecordedPast::check(settings.page.recording)) {
        return fail(*failure);
    }
    const samples::Descriptor signals = signalsOf();
    auto socket = socketFor(settings);
    if (const auto* failure = std::get_if<Failure>(&socket)) {
        return fail(*failure);
    }
    const MetricPlan plan(settings.series);
    Board board;
    Scraper scraper(settings.series, plan, board);
    std::optional<WebPage> page;
    if (settings.page.isOn) {
        page.emplace(settings.page, board);
    }
    const auto answer = [&](const HttpRequest& request, const HttpTraffic& traffic) {
        if (request.path == "/metrics") {
            return scraper.metrics(request, traffic);
        }
        if (request.path == "/healthz") {
            return textAnswer(200, "ok\n");
        }
        if (request.path == "/ready") {
            return scraper.readiness();
        }
        if (auto paged = page ? page->answer(request) : std::nullopt) {
            return std::move(*paged);
        }
        return request.path == "/"
                   ? textAnswer(200, overview)
                   : textAnswer(404, "there is nothing here; / says what there is\n");
    };
    auto server = HttpServer::start(std::move(std::get<samples::Descriptor>(socket)), answer);
    if (const auto* failure = std::get_if<Failure>(&server)) {
        return fail(*failure);
    }
    tellReady();
    Collector(settings.collector, settings.series, plan, board).run(signals.get());
    return ExitStatus::Ok;
}

/* Large blocks go back to the system as soon as they are free: samples, pictures and texts are
 * replaced all the time, and between them nothing is to stay. */
void keepMemorySmall() {
    constexpr int largeBlock = 128 * 1024;
    mallopt(M_MMAP_THRESHOLD, largeBlock);
    mallopt(M_TRIM_THRESHOLD, largeBlock);
}

ExitStatus run(int argc, char** argv) {
    keepMemorySmall();
    std::signal(SIGPIPE, SIG_IGN);
    const auto settings = settingsFrom(argc, argv);
    if (const auto* failure = std::get_if<Failure>(&settings)) {
        return fail(*failure);
    }
    if (const auto* wanted = std::get_if<TextRequest>(&settings)) {
        const bool isPrinted = std::fputs(wanted->text.c_str(), stdout) >= 0;
        return isPrinted && std::fflush(stdout) == 0
                   ? ExitStatus::Ok
                   : fail({ExitStatus::OutputFailed, "standard output cannot be written"});
    }
    return serve(std::get<Settings>(settings));
}

} // namespace

int main(int argc, char** argv) {
    try {
        return static_cast<int>(run(argc, argv));
    } catch (const std::exception& error) {
        return static_cast<int>(fail({ExitStatus::Failure, error.what()}));
    }
}
