/* Sample streams made by hand: what a view prints of them is known to the letter. */
#ifndef TESTING_SAMPLESTREAM_H
#define TESTING_SAMPLESTREAM_H

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "streamencoder.h"
#include "versions.h"

namespace testsupport {

struct StreamProcess {
    std::uint32_t kind;
    std::int32_t pid, session;
    std::string name;
    std::map<std::string, std::int64_t> values; /* by field, "name[i]" for an element */
    samples::ProcessState state = samples::ProcessState::Alive;
    std::int64_t startedSec = 1794853000; /* 2026-11-16 18:16:40 UTC */
};

/* A stream of a cache of 64 slots, whose samples come at whole seconds from 18:20:07 UTC on. */
class SampleStream {
public:
    explicit SampleStream(const std::string& location = "prod~1f2e", int monitorPid = 100,
                          double second = 0) {
        samples::StreamHeader header;
        header.interfaceVersion = samples::serverVersion();
        header.readerVersion = samples::releaseVersion();
        header.location = location;
        header.brox = location.substr(0, location.find('~'));
        header.host = "db1";
        header.monitorPid = monitorPid;
        header.monitorStartedNs = 1794853000000000000;
        header.slots = 64;
        header.times = timesAt(second);
        encoder.add(header);
    }
    SampleStream& sample(double second, const std::vector<StreamProcess>& processes) {
        samples::Sample sample;
        sample.times = timesAt(second);
        sample.sequence = ++sequence;
        sample.slots = 64;
        sample.used = static_cast<std::int32_t>(processes.size());
        encoder.beginSample(sample);
        for (const StreamProcess& process : processes) {
            encoder.addRecord(recordOf(process),
                              {process.state, process.startedSec * 1000000000, 1000});
        }
        encoder.endSample();
        return *this;
    }
    SampleStream& lost(int status, const std::string& sentence, double second = 9) {
        encoder.add(samples::Lost{status, sentence, timesAt(second)});
        return *this;
    }
    SampleStream& mark(const std::string& text, double second) {
        encoder.add(samples::Mark{text, timesAt(second)});
        return *this;
    }
    SampleStream& notice(const std::string& text) {
        encoder.add(samples::Notice{text, timesAt(0)});
        return *this;
    }
    SampleStream& end() {
        encoder.add(samples::End{timesAt(9)});
        return *this;
    }
    std::string bytes() const {
        const auto all = encoder.bytes();
        return {reinterpret_cast<const char*>(all.data()), all.size()};
    }

    static samples::Times timesAt(double second) {
        const auto ns = static_cast<std::int64_t>(second * 1e9);
        return {1794853207042000000 + ns, 5000000000 + ns};
    }

private:
    static TvsiResultSType recordOf(const StreamProcess& process) {
        TvsiResultSType record{};
        record.stats.processId = process.pid;
        record.stats.sessionId = process.session;
        process.name.copy(record.olvName, sizeof record.olvName);
        record.statType = process.kind;
        for (const auto& [name, value] : process.values) {
            const auto bracket = name.find('[');
            const auto& kind = *statscatalogue::kindOfBit(process.kind);
            const auto place = findField(kind, name.substr(0, bracket)).value();
            const std::size_t element =
                bracket == std::string::npos ? 0 : std::stoul(name.substr(bracket + 1));
            const std::size_t width = widthOf(place.field->type);
            std::memcpy(reinterpret_cast<char*>(&record) + place.recordOffset + element * width,
                        &value, width);
        }
        return record;
    }

    samples::StreamEncoder encoder;
    std::uint64_t sequence = 0;
};

} // namespace testsupport

#endif
