/* The programs as their users meet them: whole processes on a server whose processes are real,
   tvsistat always with its reader. TVSI_FORMER_TVSISTAT names a tvsistat from before the sample
   stream, which attached the cache itself; without it the rows beside it are left out, and
   those beside Varnish where that isn't installed. */
#include <array>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <memory>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "benchmain.h"
#include "measuredprocess.h"
#include "readerprocess.h"
#include "server.h"
#include "temporarydirectory.h"
#include "varnish.h"

namespace bench {
namespace {

using testsupport::require;
using testsupport::Usage;
using Command = std::vector<std::string>;

struct RunningServer {
    explicit RunningServer(int entries) : server(optionsFor(entries, directory.path())) {
        setenv("TALVEX_GLOBAL_DIR", directory.path().c_str(), 1);
    }
    /* A fifth of the entries is further threads, two fifths page servers. */
    static standin::ServerOptions optionsFor(int entries, const std::filesystem::path& place) {
        standin::ServerOptions options;
        options.brox = "prod";
        options.directory = place;
        options.sessions = static_cast<std::uint32_t>((entries - 2) * 2 / 5);
        options.slots = static_cast<std::uint32_t>(entries + 14);
        options.updatesPerSecond = 0.1; /* so that it hardly takes part in what is measured */
        return options;
    }

    testsupport::TemporaryDirectory directory;
    standin::Server server;
};

std::unique_ptr<RunningServer> runningServer;

struct Measured {
    double wallNs;
    Usage used;
};

/* Runs a program, which must succeed, and drops what it prints. It is spawned: a fork of this
   process, which is large, would be counted as the program's. */
Measured measure(Command command) {
    std::vector<char*> words;
    for (std::string& word : command) {
        words.push_back(word.data());
    }
    words.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDWR, 0);
    posix_spawn_file_actions_adddup2(&files, STDIN_FILENO, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&files, STDIN_FILENO, STDERR_FILENO);
    const auto start = std::chrono::steady_clock::now();
    pid_t pid = -1;
    const int error = posix_spawnp(&pid, words[0], &files, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    int status = 0;
    rusage used{};
    require(error == 0 && wait4(pid, &status, 0, &used) == pid && status == 0,
            command[0] + " fails");
    const std::chrono::duration<double, std::nano> wall = std::chrono::steady_clock::now() - start;
    return {wall.count(), testsupport::usageOf(used)};
}

Command tool(Command arguments = {}) {
    arguments.insert(arguments.begin(), {TVSISTAT, "--brox=prod"});
    return arguments;
}

const char* formerTool() {
    return std::getenv("TVSI_FORMER_TVSISTAT");
}

Command formerReport() {
    return {formerTool(), "--brox", "prod"};
}

/* What a report costs beyond the first one, whose start and page faults are paid once. */
Measured furtherReport(const Command& command, int reports) {
    const auto run = [&](int count) {
        Command counted = command;
        counted.push_back(std::to_string(count));
        return measure(counted);
    };
    const Measured one = run(1);
    const Measured all = run(reports);
    const auto each = [&](double last, double first) { return (last - first) / (reports - 1); };
    return {each(all.wallNs, one.wallNs),
            {each(all.used.cpuNs, one.used.cpuNs), each(all.used.pageFaults, one.used.pageFaults),
             each(all.used.contextSwitches, one.used.contextSwitches)}};
}

/* Processor time of two commands in turn, divided by what each has to show. */
Comparison compareCpu(int pairCount, const Command& subject, double subjects, const Command& other,
                      double others) {
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const double own = measure(subject).used.cpuNs / subjects;
        pairs.add(own, measure(other).used.cpuNs / others);
    }
    return pairs.medians();
}

Comparison compareJson(int pairCount, int backends) {
    const Varnish varnish(backends);
    const std::string out = runProgram(tool({"--json"})).out;
    double values = 0;
    constexpr std::string_view begin = "\"values\":{";
    for (std::size_t at = out.find(begin); at != std::string::npos; at = out.find(begin, at + 1)) {
        values += occurrences(out.substr(at + begin.size(), out.find('}', at) - at), "\":");
    }
    return compareCpu(pairCount, tool({"--json"}), values, varnish.command(), varnish.counters());
}

/* The time that passes, against what the former tool took and 10 microseconds for each process,
   whose state it didn't look up; a larger server may take somewhat longer than that. */
Comparison compareOneReport(int entries, int pairCount) {
    const double factor = entries < 1000 ? 1 : 1.15;
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const double own = measure(tool()).wallNs;
        pairs.add(own, factor * measure(formerReport()).wallNs + 10e3 * entries);
    }
    return pairs.medians();
}

Comparison compareFurtherReport(int pairCount, int reports) {
    Pairs pairs;
    while (pairs.count() < pairCount) {
        const double own = furtherReport(tool({"0.1"}), reports).used.cpuNs;
        pairs.add(own, measure(formerReport()).used.cpuNs);
    }
    return pairs.medians();
}

/* Resident memory of a process that runs. */
double residentBytes(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") {
            double kilobytes = 0;
            status >> kilobytes;
            return 1024 * kilobytes;
        }
    }
    throw std::runtime_error("a process has ended too early");
}

enum Program { reader, view };

/* A reader without pauses feeds a tool. */
Comparison compareMemory(Program program, int fewSamples, int manySamples) {
    auto started = samples::ReaderProcess::start({"--brox=prod", "--interval=0"}, -1);
    require(std::holds_alternative<samples::ReaderProcess>(started), "the reader starts");
    auto& fed = std::get<samples::ReaderProcess>(started);
    std::array<int, 2> lines;
    require(pipe2(lines.data(), O_CLOEXEC) == 0, "a pipe can be made");
    const testsupport::ChildProcess shown([&] {
        dup2(fed.fd(), STDIN_FILENO);
        dup2(lines[1], STDOUT_FILENO);
        testsupport::execute({TVSISTAT, "--read=-", "--json", "--kind=monitor", "--fields=pid"},
                             {});
    });
    close(lines[1]);
    const pid_t pid = program == reader ? fed.pid() : shown.pid();
    double few = 0;
    std::array<char, 65536> piece;
    for (int count = 0; count < manySamples;) {
        const ssize_t size = read(lines[0], piece.data(), piece.size());
        require(size > 0, "the tool goes on");
        const std::string_view text(piece.data(), static_cast<std::size_t>(size));
        count += static_cast<int>(occurrences(text, "\n"));
        few = few == 0 && count >= fewSamples ? residentBytes(pid) : few;
    }
    const double many = residentBytes(pid);
    close(lines[0]);
    return {many, few, many / few, many - few};
}

/* A further report, three a second. */
const Measured& thirdOfSecond(const Command& command, int reports) {
    static std::map<Command, Measured> known;
    auto found = known.find(command);
    if (found == known.end()) {
        found = known.emplace(command, furtherReport(command, reports)).first;
    }
    return found->second;
}

void addThreeASecond(const std::string& who, const Command& command, int entries, int reports) {
    const auto add = [&](const char* what, const char* limit, Unit unit, auto measured) {
        addFigure({who + ", " + what, entries, limit, {}, unit}, [=] {
            const Measured& each = thirdOfSecond(command, reports);
            const auto [value, of] = measured(each);
            return Comparison{value, of, value / of, value - of};
        });
    };
    using Two = std::pair<double, double>;
    add("processor time", "one core", Unit::nanoseconds, [](const Measured& each) {
        return Two{each.used.cpuNs, each.wallNs};
    });
    add("page faults", "one", Unit::count, [](const Measured& each) {
        return Two{each.used.pageFaults, 1};
    });
    add("context switches", "one", Unit::count, [](const Measured& each) {
        return Two{each.used.contextSwitches, 1};
    });
}

/* What doesn't depend on the size of the table. */
void addOfAnyServer(bool quick) {
    if (Varnish::isInstalled()) {
        addFigure(
            {"`tvsistat -V`, processor time", 0, "`varnishstat -V`", {Target::ratio, 1}}, [=] {
                return compareCpu(quick ? 1 : 400, {TVSISTAT, "-V"}, 1, {Varnish::tool, "-V"}, 1);
            });
    }
    const int few = quick ? 10 : 10000; /* its buffers have grown as far as it lags */
    for (const Program program : {reader, view}) {
        const std::string name = program == reader ? "tvsi-reader" : "tvsistat";
        addFigure({name + "'s memory after 100,000 samples",
                   0,
                   "its memory after 10,000",
                   {Target::ratio, 1.02},
                   Unit::bytes},
                  [=] { return compareMemory(program, few, 10 * few); });
    }
}

void addBesideFormer(int entries, bool quick) {
    const int pairs = quick ? 1 : 60;
    addFigure({"one report, time that passes",
               entries,
               "the former one's (1,000: 1.15 times) and 10 µs a process",
               {Target::ratio, 1}},
              [=] { return compareOneReport(entries, pairs); });
    addFigure({"one report, processor time", entries, "the former one's"},
              [=] { return compareCpu(pairs, tool(), 1, formerReport(), 1); });
    addFigure({"a further report, processor time",
               entries,
               "the former one's whole run",
               {entries < 1000 ? Target::none : Target::ratio, 1.0 / 3}},
              [=] { return compareFurtherReport(quick ? 1 : 5, quick ? 2 : 31); });
}

} // namespace

std::vector<int> tableSizes() {
    return {20, 200, 1000};
}

void registerBenchmarks(const Plan& plan) {
    const int entries = plan.entries;
    const bool quick = plan.quick;
    runningServer = std::make_unique<RunningServer>(entries);
    if (plan.isFirst) {
        addOfAnyServer(quick);
    }
    if (Varnish::isInstalled() && !quick && entries == 200) {
        addFigure({"a value as JSON, processor time",
                   entries,
                   "a counter of `varnishstat -j`",
                   {Target::ratio, 1.0 / 3}},
                  [=] { return compareJson(60, 1000); });
    }
    if (formerTool() != nullptr && entries >= 200) {
        addBesideFormer(entries, quick);
    }
    if (quick || entries == 1000) {
        const int reports = quick ? 2 : 91;
        addThreeASecond("a sample, three a second",
                        {TVSI_READER, "--brox=prod", "--interval=0.333", "--count"}, entries,
                        reports);
        addThreeASecond("a report, three a second", tool({"0.333"}), entries, reports);
        addThreeASecond("JSON, three a second", tool({"--json", "0.333"}), entries, reports);
    }
}

void cleanUp() {
    runningServer.reset();
}

} // namespace bench
