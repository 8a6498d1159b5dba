/*
 * make_recording FILE HOURS MOVING [UPDATES [PROCESSES]]: a recording of 199 processes, a sample a
 * second, as a server's would be, made by the writer itself; and what that took. A FILE that ends
 * in a slash is a directory with a file for each hour, as the service's. MOVING is the percentage
 * of the values that move, UPDATES how often each of them does in a second (10, as those of
 * tvxstandin).
 *
 * Prints lines of "name value": bytes a value, microseconds of CPU a sample in the writer, bytes
 * written for each byte of the file, the most that the process has held in kilobytes.
 */
#include "countermover.h"
#include "recordingwriter.h"
#include "require.h"
#include "streamdecoder.h"
#include "streamencoder.h"
#include "versions.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <exception>
#include <filesystem>
#include <random>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace {

using testsupport::require;

constexpr int64_t secondNs = 1'000'000'000;
constexpr int64_t startNs = 1'794'787'200 * secondNs; /* 2026-11-16 00:00:00 UTC */

double cpuMicroseconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

/* A process whose statistics move, or some of them. */
class Owner {
public:
    Owner(uint32_t kind, int number, unsigned moving)
        : mover_(live_.stats, kind, static_cast<uint32_t>(number)) {
        live_.statType = kind;
        live_.stats.processId = 2000 + number;
        live_.stats.sessionId = number;
        std::snprintf(live_.olvName, sizeof live_.olvName, "Session%d", number);
        mover_.start(startNs / secondNs);
        shown_ = live_;
        std::minstd_rand random(static_cast<unsigned>(number));
        isMoving_.resize((sizeof live_.stats - offsetof(ShrPcStatsSType, cmn)) / sizeof(uint32_t));
        for (size_t i = 0; i < isMoving_.size(); i++) {
            isMoving_[i] = random() % 100 < moving;
        }
    }

    void update(std::time_t now, int times) {
        for (int i = 0; i < times; i++) {
            mover_.update(now);
        }
        const auto* from = reinterpret_cast<const std::byte*>(&live_.stats.cmn);
        auto* to = reinterpret_cast<std::byte*>(&shown_.stats.cmn);
        for (size_t i = 0; i < isMoving_.size(); i++) {
            if (isMoving_[i]) {
                std::memcpy(to + i * sizeof(uint32_t), from + i * sizeof(uint32_t),
                            sizeof(uint32_t));
            }
        }
    }
    const TvsiResultSType& record() const { return shown_; }

private:
    TvsiResultSType live_{};
    TvsiResultSType shown_{};
    standin::CounterMover mover_;
    std::vector<bool> isMoving_;
};

/* Of a file, or of all files of a directory. */
uint64_t sizeOf(const std::string& path) {
    if (!std::filesystem::is_directory(path)) {
        return std::filesystem::file_size(path);
    }
    uint64_t size = 0;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
        size += entry.file_size();
    }
    return size;
}

int make(int argc, char** argv) {
    require(argc >= 4, "usage: make_recording FILE HOURS MOVING [UPDATES [PROCESSES]]");
    const std::string path = argv[1];
    const auto numSamples = static_cast<int64_t>(std::stod(argv[2]) * 3600);
    const auto moving = static_cast<unsigned>(std::stoul(argv[3]));
    const int updates = argc > 4 ? std::stoi(argv[4]) : 10;
    const int numProcesses = argc > 5 ? std::stoi(argv[5]) : 199;

    std::deque<Owner> owners;
    owners.emplace_back(SHRPC_MONITOR, 1, moving);
    owners.emplace_back(SHRPC_BROX, 2, moving);
    while (owners.size() < static_cast<size_t>(numProcesses)) {
        const auto number = static_cast<int>(owners.size()) + 1;
        owners.emplace_back(number % 4 == 0 ? SHRPC_VOK_PGSVR_MAIN : SHRPC_VOK, number, moving);
    }

    samples::RecordingOptions options;
    options.isDirectory = path.ends_with('/');
    auto opened = samples::RecordingWriter::open(path, options);
    require(std::holds_alternative<samples::RecordingWriter>(opened), "FILE can be written");
    auto& writer = std::get<samples::RecordingWriter>(opened);
    samples::StreamEncoder encoder;
    samples::StreamDecoder decoder;
    samples::StreamHeader header;
    header.interfaceVersion = samples::serverVersion();
    header.readerVersion = samples::releaseVersion();
    header.location = "prod~1f2e";
    header.brox = "prod";
    header.host = "db1";
    header.monitorPid = 2001;
    header.slots = 256;
    header.times = {startNs, secondNs};
    encoder.add(header);

    double cpu = 0;
    uint64_t numValues = 0;
    for (int64_t i = 0; i < numSamples; i++) {
        samples::Sample shape;
        /* A timer is late by some microseconds each time. */
        const int64_t moment = i * secondNs + (i * 7919) % 90000;
        shape.times = {startNs + moment, secondNs + moment};
        shape.sequence = static_cast<uint64_t>(i) + 1;
        shape.slots = 256;
        shape.used = numProcesses;
        encoder.beginSample(shape);
        for (Owner& owner : owners) {
            owner.update((startNs + moment) / secondNs, updates);
            encoder.addRecord(owner.record(), {samples::ProcessState::Alive, startNs, 1000});
        }
        encoder.endSample();
        decoder.feed(encoder.bytes());
        encoder.clear();
        while (auto message = decoder.next()) {
            const double before = cpuMicroseconds();
            writer.add(0, *message);
            cpu += cpuMicroseconds() - before;
            if (auto* sample = std::get_if<samples::Sample>(&*message)) {
                for (const auto& record : sample->records()) {
                    forEachField(*record.kind, [&](const statscatalogue::FieldPlace& place) {
                        numValues += place.field->count;
                    });
                }
                decoder.recycle(std::move(*sample));
            }
        }
    }
    const double before = cpuMicroseconds();
    writer.close();
    cpu += cpuMicroseconds() - before;
    require(!decoder.failed() && !writer.isFailing(), "every sample was recorded");
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto size = static_cast<double>(sizeOf(path));
    std::printf("values_a_sample %.0f\nbytes_a_value %.3f\ncpu_us_a_sample %.0f\n"
                "written_for_each_byte %.2f\npeak_kb %ld\n",
                static_cast<double>(numValues) / static_cast<double>(numSamples),
                size / static_cast<double>(numValues), cpu / static_cast<double>(numSamples),
                static_cast<double>(writer.bytesWritten()) / size, usage.ru_maxrss);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return make(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make_recording: %s\n", error.what());
        return 1;
    }
}
