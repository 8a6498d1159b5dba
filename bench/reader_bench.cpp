/* What a sample costs tvsi-reader beyond the query: the form of the stream, and the states of the
   processes. */
#include "benchcache.h"
#include "benchmain.h"
#include "processwatch.h"
#include "require.h"
#include "streamencoder.h"

#include <array>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace bench {
namespace {

using testsupport::require;

/* As many processes as a table has entries, and the records that say so. */
class Population {
public:
    explicit Population(int entries) {
        const BenchCache& cache = sharedCache(entries);
        for (int slot = 0; slot < entries; ++slot) {
            const ShrPcPteSType& entry = cache.entry(static_cast<std::uint32_t>(slot));
            TvsiResultSType record;
            std::memcpy(static_cast<void*>(&record), &entry.stats, sizeof record);
            record.stats.processId = fork();
            if (record.stats.processId == 0) {
                prctl(PR_SET_PDEATHSIG, SIGKILL);
                for (;;) {
                    pause();
                }
            }
            require(record.stats.processId > 0, "a process can be made");
            records_.push_back(record);
        }
    }
    Population& operator=(Population&&) = delete;
    ~Population() {
        for (const auto& record : records_) {
            kill(record.stats.processId, SIGKILL);
            waitpid(record.stats.processId, nullptr, 0);
        }
    }
    std::span<const TvsiResultSType> records() const { return records_; }

private:
    std::vector<TvsiResultSType> records_;
};

std::unique_ptr<Population> population;

const Population& sharedPopulation(int entries) {
    if (!population) {
        population = std::make_unique<Population>(entries);
    }
    return *population;
}

/* A pipe of the reader's size that a process of its own empties. */
class DrainedPipe {
public:
    DrainedPipe() {
        std::array<int, 2> ends;
        require(pipe2(ends.data(), O_CLOEXEC) == 0, "a pipe can be made");
        writeEnd_ = ends[1];
        fcntl(writeEnd_, F_SETPIPE_SZ, 1 << 20);
        drain_ = fork();
        if (drain_ == 0) {
            close(ends[1]);
            static std::array<char, 1 << 20> piece;
            while (read(ends[0], piece.data(), piece.size()) > 0) {
            }
            _exit(0);
        }
        close(ends[0]);
    }
    DrainedPipe& operator=(DrainedPipe&&) = delete;
    ~DrainedPipe() {
        close(writeEnd_);
        waitpid(drain_, nullptr, 0);
    }
    void write(std::span<const std::byte> bytes) const {
        while (!bytes.empty()) {
            const ssize_t count = ::write(writeEnd_, bytes.data(), bytes.size());
            require(count > 0, "the pipe takes bytes");
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        }
    }

private:
    int writeEnd_;
    pid_t drain_;
};

Comparison compareForms(const Plan& plan) {
    const auto records = sharedPopulation(plan.entries).records();
    const DrainedPipe pipe;
    samples::StreamEncoder encoder;
    const auto compact = [&] {
        encoder.clear();
        encoder.beginSample(samples::Sample());
        for (const auto& record : records) {
            encoder.addRecord(record, {});
        }
        encoder.endSample();
        pipe.write(encoder.bytes());
    };
    const auto structures = [&] { pipe.write(std::as_bytes(records)); };
    return compare(plan.warm(), compact, structures);
}

Comparison compareStates(const Plan& plan) {
    const auto records = sharedPopulation(plan.entries).records();
    reader::ProcessWatch watch(reader::ProcessWatch::descriptorLimit());
    const auto ask = [&] {
        for (const auto& record : records) {
            require(kill(record.stats.processId, 0) == 0, "it lives");
        }
    };
    return compare(
        plan.warm(), [&] { watch.update(records); }, ask);
}

Comparison compareFirstLooks(const Plan& plan) {
    const auto records = sharedPopulation(plan.entries).records();
    const auto first = [&] {
        reader::ProcessWatch watch(0);
        watch.update(records);
    };
    const auto stat = [&] {
        for (const auto& record : records) {
            reader::StateFile file;
            file.open(record.stats.processId);
            require(file.read().has_value(), "it can be read");
        }
    };
    return compare(plan.warm(), first, stat);
}

} // namespace

std::vector<int> tableSizes() {
    return {50, 1000};
}

void registerBenchmarks(const Plan& plan) {
    const int entries = plan.entries;
    addFigure({"a sample encoded and written to a pipe", entries, "writing the structures"},
              [=] { return compareForms(plan); });
    addFigure({"the states of all processes, once more", entries, "signal 0 to each"},
              [=] { return compareStates(plan); });
    addFigure(
        {"start, user and state of all processes", entries, "reading `/proc/PID/stat` of each"},
        [=] { return compareFirstLooks(plan); });
}

void cleanUp() {
    population.reset();
    dropSharedCache();
}

} // namespace bench
