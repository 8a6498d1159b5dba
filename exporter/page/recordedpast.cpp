#include "recordedpast.h"

#include "exactnumber.h"
#include "pagejson.h"
#include "printable.h"
#include "sampleview.h"

#include <algorithm>
#include <array>
#include <utility>

namespace exporter {
namespace {

using namespace std::chrono_literals;
using samples::Number;
using samples::Process;
using samples::Sample;
using statscatalogue::Kind;

/* As many as a chart can show. */
constexpr int64_t mostPoints = 300;
constexpr int64_t second = 1'000'000'000;
/* What lies between points so far apart is passed over, a minute at a time at least. */
constexpr int64_t seekFrom = 180 * second;
constexpr size_t mostQuestions = 4;
constexpr size_t mostAnswers = 16;

/* The values and rates of a field, of one kind or process, by point. */
struct Line {
    std::vector<Number> values;
    std::vector<Number> rates;
};

/* The points of the charts as they are found. */
class Points {
public:
    explicit Points(const PastQuestion& asked) : question(asked) {}

    void add(const Sample& now, const Sample* before) {
        view.show(now, before);
        times.push_back(now.times.realNs);
        if (question.process) {
            const auto index = question.process->findIn(view.processes());
            addTo(*question.process->kind,
                  index ? view.processes().subspan(*index, 1) : std::span<const Process>());
            return;
        }
        for (const Kind& kind : statscatalogue::kinds()) {
            addTo(kind, view.of(kind));
        }
    }

    /* {"problem":null,"times":[],"kinds":[],"values":[],"rates":[]}: by field, kind and time. The
     * problem is why something may be missing; empty when there is none. */
    std::string json(std::string_view problem) {
        for (auto& own : lines) {
            for (Line& line : own) { /* it may not have been there to the end */
                line.values.resize(times.size());
                line.rates.resize(times.size());
            }
        }
        std::string text = "{\"version\":1,\"problem\":";
        if (problem.empty()) {
            text += "null";
        } else {
            samples::appendJsonString(text, problem);
        }
        text += ",\"times\":";
        appendJsonList(text, times, [&](int64_t time) { appendMilliseconds(text, time); });
        std::vector<const Kind*> seen;
        for (const Kind& kind : statscatalogue::kinds()) {
            if (!lines[static_cast<size_t>(kind.index)].empty()) {
                seen.push_back(&kind);
            }
        }
        text += ",\"kinds\":";
        appendJsonList(text, seen, [&](const Kind* kind) {
            text += '"';
            text += kind->shortName.view();
            text += '"';
        });
        for (const auto numbers : {&Line::values, &Line::rates}) {
            text += numbers == &Line::values ? ",\"values\":" : ",\"rates\":";
            size_t field = 0;
            appendJsonList(text, question.fields, [&](const ChosenField&) {
                appendJsonList(text, seen, [&](const Kind* kind) {
                    const Line& line = lines[static_cast<size_t>(kind->index)][field];
                    appendJsonList(text, line.*numbers,
                                   [&](Number number) { appendJson(text, number); });
                });
                field++;
            });
        }
        return text + '}';
    }

private:
    void addTo(const Kind& kind, std::span<const Process> processes) {
        auto& own = lines[static_cast<size_t>(kind.index)];
        if (own.empty()) {
            if (processes.empty()) {
                return;
            }
            own.resize(question.fields.size());
        }
        for (size_t i = 0; i < own.size(); i++) {
            /* It may not have been there from the beginning. */
            own[i].values.resize(times.size());
            own[i].rates.resize(times.size());
            own[i].values.back() = view.value(question.fields[i], processes);
            own[i].rates.back() = view.rate(question.fields[i], processes);
        }
    }

    const PastQuestion& question;
    SampleView view;
    std::vector<int64_t> times;
    std::array<std::vector<Line>, SHRPC_numStatTypes> lines; /* by kind and field */
};

std::string sentenceOf(std::span<const samples::RecordingDamage> damages) {
    if (damages.empty()) {
        return "";
    }
    const std::string more = damages.size() == 1 ? "" : "; more is damaged behind it";
    return damages.front().sentence + more;
}

} // namespace

std::optional<samples::Failure> RecordedPast::check(const std::string& path) {
    auto opened = samples::RecordingReader::open(path);
    auto* failure = std::get_if<samples::Failure>(&opened);
    return failure == nullptr ? std::nullopt : std::optional(std::move(*failure));
}

RecordedPast::RecordedPast(std::string recording)
    : path(std::move(recording)), thread([this] { run(); }) {}

RecordedPast::~RecordedPast() {
    {
        const std::lock_guard lock(mutex);
        isEnding = true;
    }
    changed.notify_all();
    thread.join();
}

std::shared_ptr<const std::string> RecordedPast::ask(const std::string& key,
                                                     PastQuestion question) {
    const auto now = std::chrono::steady_clock::now();
    const std::lock_guard lock(mutex);
    const auto at = answers.find(key);
    if (at != answers.end() &&
        (at->second.json == nullptr || now - at->second.made < at->second.lasts)) {
        return at->second.json;
    }
    if (questions.size() == mostQuestions) {
        return nullptr;
    }
    while (answers.size() >= mostAnswers) {
        const auto oldest = std::ranges::min_element(answers, {}, [](const auto& entry) {
            return entry.second.json == nullptr ? std::chrono::steady_clock::time_point::max()
                                                : entry.second.made;
        });
        answers.erase(oldest);
    }
    answers[key] = {nullptr, now,
                    std::max(5s, std::chrono::seconds(question.seconds / mostPoints))};
    questions.emplace_back(key, std::move(question));
    changed.notify_all();
    return nullptr;
}

void RecordedPast::run() {
    std::unique_lock lock(mutex);
    while (!isEnding) {
        if (questions.empty()) {
            changed.wait(lock);
            continue;
        }
        const auto [key, question] = std::move(questions.front());
        questions.pop_front();
        lock.unlock();
        auto json = std::make_shared<const std::string>(answerTo(question));
        lock.lock();
        Answer& answer = answers[key];
        answer.json = std::move(json);
        answer.made = std::chrono::steady_clock::now();
    }
}

std::string RecordedPast::answerTo(const PastQuestion& question) const {
    Points points(question);
    auto opened = samples::RecordingReader::open(path);
    auto* reader = std::get_if<samples::RecordingReader>(&opened);
    const int64_t until = samples::currentTimes().realNs;
    const int64_t from = until - question.seconds * second;
    const int64_t step = question.seconds * second / mostPoints;
    if (reader == nullptr) {
        return points.json(std::get<samples::Failure>(opened).sentence);
    }
    const auto isOfCache = [&](size_t index) {
        const auto& header = reader->caches()[index];
        return question.location.empty() || header.location.empty()
                   ? header.brox == question.brox
                   : header.location == question.location;
    };
    std::optional<Sample> before;
    std::pair<int32_t, int64_t> monitor; /* of the server that `before` is of */
    int64_t due = from;
    reader->seek(from);
    while (auto recorded = reader->next()) {
        auto* sample = std::get_if<Sample>(&recorded->message);
        if (isEnding) {
            break;
        }
        if (!isOfCache(recorded->cache)) {
            continue;
        }
        if (const auto* header = std::get_if<samples::StreamHeader>(&recorded->message)) {
            const std::pair attached(header->monitorPid, header->monitorStartedNs);
            if (std::exchange(monitor, attached) != attached) {
                before.reset();
            }
        }
        if (sample == nullptr || sample->times.realNs < due) {
            continue;
        }
        if (sample->times.realNs > until) {
            break;
        }
        points.add(*sample, before ? &*before : nullptr);
        due = sample->times.realNs + step - step / 4; /* a sample is rarely on time */
        before = std::move(*sample);
        if (step >= seekFrom) {
            reader->seek(due);
        }
    }
    return points.json(sentenceOf(reader->damages()));
}

} // namespace exporter
