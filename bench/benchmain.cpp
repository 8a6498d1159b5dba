#include "benchmain.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {
namespace {

using namespace std::chrono_literals;

/* The rows by the name of their benchmark. */
std::map<std::string, Figure> figures;

std::string withDigits(double value, int digits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

/* Three significant digits and a unit. */
std::string quantity(double value, Unit unit) {
    struct Scale {
        double factor;
        const char* name;
    };
    constexpr Scale times[] = {{1e9, " s"}, {1e6, " ms"}, {1e3, " µs"}, {1, " ns"}};
    constexpr Scale sizes[] = {{1e9, " GB"}, {1e6, " MB"}, {1e3, " kB"}, {1, " B"}};
    constexpr Scale counts[] = {{1, ""}};
    const Scale* scale = unit == Unit::bytes ? sizes : unit == Unit::count ? counts : times;
    while (value < scale->factor && scale->factor > 1) {
        ++scale;
    }
    const double scaled = value / scale->factor;
    return withDigits(scaled, scaled < 10 ? 2 : scaled < 100 ? 1 : 0) + scale->name;
}

std::string verdict(const Target& target, double ratio, double excessNs) {
    switch (target.measure) {
    case Target::ratio:
        return "≤ " + withDigits(target.value, 2) + (ratio <= target.value ? ": met" : ": missed");
    case Target::excessNs:
        return "≤ " + withDigits(target.value, 0) +
               " ns above: " + (excessNs <= target.value ? "met" : "missed") + " (" +
               withDigits(excessNs, 1) + ")";
    case Target::none:
        break;
    }
    return "";
}

std::string inQuotes(const std::string& text) {
    return '"' + text + '"'; /* no name has a quote */
}

/* One line of comma-separated values: subject, entries, unit, value, compared with, its value,
   ratio, excess, kind of target, target. */
std::string csvRow(const Figure& figure, const benchmark::UserCounters& counters) {
    constexpr const char* targets[] = {"", "ratio", "excess"};
    std::ostringstream row;
    row << std::setprecision(6) << inQuotes(figure.subject) << ',';
    if (figure.entries != 0) {
        row << figure.entries;
    }
    constexpr const char* units[] = {",ns,", ",B,", ",1,"};
    row << units[static_cast<int>(figure.unit)] << counters.at("subject").value << ','
        << inQuotes(figure.limit) << ',' << counters.at("limit").value << ','
        << counters.at("ratio").value << ',' << counters.at("excess").value << ','
        << targets[figure.target.measure] << ',';
    if (figure.target.measure != Target::none) {
        row << figure.target.value;
    }
    row << '\n';
    return row.str();
}

/* Shows the rows as they come, and keeps them for the file. */
class TableReporter : public benchmark::BenchmarkReporter {
public:
    explicit TableReporter(bool showsHeading) : showsHeading_(showsHeading) {}

    bool ReportContext(const Context&) override {
        if (!showsHeading_) {
            return true;
        }
        std::printf("%-52s %8s %10s %10s %7s\n", "", "entries", "subject", "limit", "ratio");
        return true;
    }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                std::printf("%s: %s\n", run.run_name.function_name.c_str(),
                            run.error_message.c_str());
                failed_ = true;
                continue;
            }
            report(figures.at(run.run_name.function_name), run.counters);
        }
    }

    const std::string& csv() const { return csv_; }
    bool failed() const { return failed_; }

private:
    void report(const Figure& figure, const benchmark::UserCounters& counters) {
        const double subject = counters.at("subject");
        const double limit = counters.at("limit");
        const double ratio = counters.at("ratio");
        const std::string entries = figure.entries == 0 ? "" : std::to_string(figure.entries);
        const std::string reached = verdict(figure.target, ratio, counters.at("excess"));
        std::printf("%-52s %8s %10s %10s %7.3f %s\n", figure.subject.c_str(), entries.c_str(),
                    quantity(subject, figure.unit).c_str(), quantity(limit, figure.unit).c_str(),
                    ratio, reached.c_str());
        std::fflush(stdout);
        csv_ += csvRow(figure, counters);
    }

    bool showsHeading_;
    std::string csv_;
    bool failed_ = false;
};

void runFigure(benchmark::State& state, const std::function<Comparison()>& measure) {
    for ([[maybe_unused]] auto _ : state) {
        try {
            const Comparison result = measure();
            state.SetIterationTime(result.subject * 1e-9); /* wanted, and shown nowhere */
            state.counters["subject"] = result.subject;
            state.counters["limit"] = result.limit;
            state.counters["ratio"] = result.ratio;
            state.counters["excess"] = result.excess;
        } catch (const std::exception& error) {
            state.SkipWithError(error.what());
        }
    }
}

} // namespace

Effort Plan::warm(Time time) const {
    return quick ? Effort{0ns, 1, 0ns, time} : Effort{500ms, 21, 200us, time};
}

Effort Plan::single(int pairs) const {
    return quick ? Effort{0ns, 1, 0ns} : Effort{0ns, pairs, 0ns};
}

void addFigure(const Figure& figure, const std::function<Comparison()>& measure) {
    const std::string name = figure.subject + "/" + std::to_string(figure.entries);
    figures[name] = figure;
    benchmark::RegisterBenchmark(name.c_str(),
                                 [measure](benchmark::State& state) { runFigure(state, measure); })
        ->Iterations(1)
        ->UseManualTime();
}

} // namespace bench

namespace {

/* All benchmarks for one table size. */
int runFor(const bench::Plan& plan, const std::string& csvFile) {
    bench::registerBenchmarks(plan);
    if (bench::figures.empty()) {
        return 0;
    }
    bench::TableReporter reporter(plan.isFirst);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    bench::cleanUp();
    if (!csvFile.empty() && !(std::ofstream(csvFile, std::ios::app) << reporter.csv())) {
        std::cerr << csvFile << " cannot be written\n";
        return 1;
    }
    return reporter.failed() ? 1 : 0;
}

/* In a process of its own, as the library keeps the first directory that it is shown. */
bool runForked(const bench::Plan& plan, const std::string& csvFile) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        std::exit(runFor(plan, csvFile));
    }
    int status = -1;
    return child != -1 && waitpid(child, &status, 0) == child && status == 0;
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    std::vector<int> sizes = bench::tableSizes();
    bool quick = false;
    std::string csvFile;
    constexpr std::string_view csvOption = "--csv=";
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--quick") {
            quick = true;
            sizes = {50};
        } else if (argument.starts_with(csvOption)) {
            csvFile = argument.substr(csvOption.size());
        } else {
            std::cerr << "unknown argument " << argument << "\n";
            return 2;
        }
    }
    bool succeeded = true;
    for (const int entries : sizes) {
        const bool isFirst = entries == sizes.front();
        succeeded &= runForked({quick, isFirst, entries}, csvFile);
    }
    return succeeded ? 0 : 1;
}
