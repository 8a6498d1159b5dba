/* What tvsi-exporter costs, beside what others take for as many series: prometheus-cpp's serialiser
   for the text, Debian's prometheus-node-exporter for a whole scrape. The sizes are sessions of the
   server; without series of processes they don't change the number of series. */
#include <fstream>
#include <map>
#include <memory>
#include <poll.h>
#include <prometheus/text_serializer.h>
#include <sstream>
#include <streambuf>

#include "accumulation.h"
#include "benchmain.h"
#include "exposition.h"
#include "prometheuscppmetrics.h"
#include "readerstream.h"
#include "scrapedprogram.h"
#include "server.h"
#include "temporarydirectory.h"

namespace bench {
namespace {

using exporter::TextForm;
using testsupport::require;
using Form = ScrapedProgram::Form;

constexpr const char* nodeExporter = "/usr/bin/prometheus-node-exporter";
constexpr int sessionsOfMany = 360; /* with series of processes: about 100,000 */

/* A server with as many sessions. */
class Cache {
public:
    explicit Cache(int sessions) : server_(optionsFor(sessions, directory_.path())) {
        setenv("TALVEX_GLOBAL_DIR", directory_.path().c_str(), 1);
    }
    /* A reader's first two. */
    static std::vector<samples::Sample> twoSamples() {
        samples::ReaderOptions options;
        options.cache = "prod";
        options.interval = std::chrono::milliseconds(100);
        options.count = 2;
        auto started = samples::ReaderProcess::start(options);
        require(std::holds_alternative<samples::ReaderProcess>(started), "the reader starts");
        const auto& reader = std::get<samples::ReaderProcess>(started);
        samples::StreamDecoder decoder;
        std::vector<samples::Sample> found;
        while (found.size() < 2) {
            if (auto message = decoder.next()) {
                if (auto* sample = std::get_if<samples::Sample>(&*message)) {
                    found.push_back(std::move(*sample));
                }
                continue;
            }
            pollfd readable{reader.fd(), POLLIN, 0};
            poll(&readable, 1, -1);
            require(samples::readPiece(reader.fd(), decoder, 1 << 20) != samples::Piece::End,
                    "the reader sends two samples");
        }
        return found;
    }

private:
    static standin::ServerOptions optionsFor(int sessions, const std::filesystem::path& place) {
        standin::ServerOptions options;
        options.brox = "prod";
        options.directory = place;
        options.sessions = static_cast<std::uint32_t>(sessions);
        options.updatesPerSecond = 0.1; /* so that it hardly takes part in what is measured */
        return options;
    }

    testsupport::TemporaryDirectory directory_;
    standin::Server server_;
};

/* What the exporter makes of two samples, without its HTTP. */
class Rendering {
public:
    explicit Rendering(bool isPerProcess) {
        choice_.isPerProcess = isPerProcess;
        for (samples::Sample& sample : Cache::twoSamples()) {
            if (auto before = sums_.add(std::move(sample))) {
                spare_ = std::move(*before);
            }
        }
    }
    /* Takes the two samples in once more, in turn. */
    void add() { spare_ = std::move(*sums_.add(std::move(spare_))); }
    const std::string& render() {
        text_.clear();
        const exporter::LiveCache cache{R"(cache="prod~1f2e",brox="prod")", sums_.picture().get()};
        exposition_.append(text_, TextForm::Prometheus, {&cache, 1}, choice_.isPerProcess,
                           [](std::string& /*grows*/) {});
        return text_;
    }

private:
    exporter::SeriesChoice choice_;
    exporter::MetricPlan plan_{choice_};
    exporter::Accumulation sums_{choice_, plan_};
    exporter::Exposition exposition_{plan_};
    samples::Sample spare_;
    std::string text_;
};

void serialise(const std::vector<prometheus::MetricFamily>& families) {
    struct Nowhere : std::streambuf {
        std::streamsize xsputn(const char*, std::streamsize size) override { return size; }
        int_type overflow(int_type letter) override { return traits_type::not_eof(letter); }
    } nowhere;
    std::ostream out(&nowhere);
    prometheus::TextSerializer().Serialize(out, families);
}

/* Rendering and serialising the same series, each for one of them. */
Comparison compareText(const Effort& effort, Rendering& own) {
    const std::string text = own.render();
    std::istringstream in(text);
    const auto families = prometheusCppMetrics(in);
    Comparison result = compare(
        effort, [&] { own.render(); }, [&] { serialise(families); });
    const double series = seriesIn(text);
    return {result.subject / series, result.limit / series, result.ratio, result.excess / series};
}

std::vector<std::string> exporterCommand(const std::vector<std::string>& options) {
    std::vector<std::string> command{TVSI_EXPORTER, "--brox=prod"};
    command.insert(command.end(), options.begin(), options.end());
    command.emplace_back("--listen=127.0.0.1:");
    return command;
}

bool hasSeries(const ScrapedProgram& program, double least) {
    return testsupport::eventually([&] { return seriesIn(program.scrape()) >= least; });
}

constexpr double leastSeries = 900; /* of a cache that is read */

/* What scrapes of both programs take of a processor, for each series; before each of ours there has
   been another sample. */
Comparison compareScrapes(Form form, int pairCount) {
    constexpr int scrapes = 10;
    constexpr useconds_t interval = 100000;
    const ScrapedProgram own(exporterCommand({"--interval=100ms"}));
    require(hasSeries(own, leastSeries), "the cache is read");
    const ScrapedProgram other({nodeExporter, "--web.listen-address=127.0.0.1:"});
    const auto costOf = [&](const ScrapedProgram& program) {
        const double series = seriesIn(program.scrape());
        const double before = program.cpuNs();
        for (int i = 0; i < scrapes; ++i) {
            usleep(interval);
            program.scrape(form);
        }
        return (program.cpuNs() - before) / scrapes / series;
    };
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const double limit = costOf(other);
        pairs.add(costOf(own), limit);
    }
    return pairs.medians();
}

/* Resident memory. */
struct Memory {
    double greatest = 0; /* there has been */
    double now = 0;
};

Memory memoryOf(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    Memory found;
    for (std::string word; status >> word;) {
        if (word == "VmHWM:" || word == "VmRSS:") {
            double kilobytes = 0;
            status >> kilobytes;
            (word == "VmHWM:" ? found.greatest : found.now) = 1024 * kilobytes;
        }
    }
    require(found.now > 0, "the program runs");
    return found;
}

/* After eight scrapes that are large. */
Memory memoryAfterScrapes(const ScrapedProgram& program, Form form, double leastBytes) {
    for (int scrapes = 0; scrapes < 8;) {
        usleep(500000);
        scrapes += static_cast<double>(program.scrape(form).size()) > leastBytes ? 1 : 0;
    }
    return memoryOf(program.pid());
}

/* The whole exporter, scraped with a sample of its own each time, and a program that serves the
   same series with prometheus-cpp. */
struct TwoMemories {
    Memory own, other;
};

const TwoMemories& memoriesOf(Form form, double least) {
    static std::map<Form, TwoMemories> known;
    if (const auto found = known.find(form); found != known.end()) {
        return found->second;
    }
    const testsupport::TemporaryDirectory directory;
    const std::filesystem::path file = directory.file("metrics");
    const auto command =
        exporterCommand({"--per-process", "--max-series=1000000", "--interval=500ms"});
    {
        const ScrapedProgram program(command);
        require(hasSeries(program, least), "there are many series");
        const std::string text = program.scrape();
        std::ofstream(file) << text.substr(text.find("\r\n\r\n") + 4);
    }
    const double leastBytes = form == Form::gzip ? least : 50 * least;
    TwoMemories& both = known[form];
    both.other = memoryAfterScrapes(ScrapedProgram({PROMETHEUS_CPP_PROBE, file, "127.0.0.1:"}),
                                    form, leastBytes);
    both.own = memoryAfterScrapes(ScrapedProgram(command), form, leastBytes);
    return both;
}

std::unique_ptr<Cache> cache;
std::unique_ptr<Rendering> small; /* of a server of ten sessions */
std::unique_ptr<Rendering> sums;  /* of this one */

/* Of a server of about 100,000 series. */
void addOfManySeries(const Plan& plan) {
    addFigure(
        {"a series of a process rendered", 0, "prometheus-cpp's serialiser", {Target::ratio, 0.1}},
        [=] {
            Rendering own(true);
            return compareText(plan.warm(), own);
        });
    const double least = plan.quick ? 2 * leastSeries : 95000;
    const auto add = [&](const std::string& what, Form form, double Memory::*memory,
                         Target target) {
        addFigure({"tvsi-exporter's memory, 100,000 series, " + what, 0,
                   "a program with prometheus-cpp", target, Unit::bytes},
                  [=] {
                      const TwoMemories& both = memoriesOf(form, least);
                      const double own = both.own.*memory;
                      const double other = both.other.*memory;
                      return Comparison{own, other, own / other, own - other};
                  });
    };
    add("at its peak", Form::gzip, &Memory::greatest, {Target::ratio, 0.2});
    add("between scrapes", Form::gzip, &Memory::now, {Target::ratio, 0.2});
    add("at its peak, uncompressed", Form::plain, &Memory::greatest, {Target::ratio, 0.2});
}

void addOfKinds(const Plan& plan) {
    const int entries = plan.entries;
    addFigure({"a series of a kind rendered",
               entries,
               "prometheus-cpp's serialiser",
               {Target::ratio, 0.1}},
              [=] { return compareText(plan.warm(), *sums); });
    addFigure({"the series of all kinds rendered", entries, "those of 10 sessions"}, [=] {
        return compare(
            plan.warm(), [] { sums->render(); }, [] { small->render(); });
    });
    addFigure({"a sample summed up", entries, "one of 10 sessions"}, [=] {
        return compare(
            plan.warm(), [] { sums->add(); }, [] { small->add(); });
    });
    if (access(nodeExporter, X_OK) != 0) {
        return;
    }
    for (const Form form : {Form::gzip, Form::plain}) {
        const std::string name = form == Form::gzip ? "compressed" : "uncompressed";
        addFigure({"a scrape, " + name + ", for each series",
                   entries,
                   "prometheus-node-exporter",
                   {Target::ratio, 1}},
                  [=] { return compareScrapes(form, plan.quick ? 1 : 7); });
    }
}

} // namespace

std::vector<int> tableSizes() {
    return {10, 200, sessionsOfMany, 1000};
}

void registerBenchmarks(const Plan& plan) {
    cache = std::make_unique<Cache>(10);
    small = std::make_unique<Rendering>(false);
    cache = std::make_unique<Cache>(plan.entries);
    sums = std::make_unique<Rendering>(false);
    if (plan.quick || plan.entries == sessionsOfMany) {
        addOfManySeries(plan);
    }
    if (plan.entries != sessionsOfMany) {
        addOfKinds(plan);
    }
}

void cleanUp() {
    sums.reset();
    small.reset();
    cache.reset();
}

} // namespace bench
