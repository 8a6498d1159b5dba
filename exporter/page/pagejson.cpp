#include "pagejson.h"

#include "exactnumber.h"
#include "printable.h"
#include "versions.h"

#include <array>
#include <map>

namespace exporter {
namespace {

using samples::appendInteger;
using samples::appendJson;
using samples::appendJsonString;
using samples::Figure;
using samples::Number;
using samples::Process;
using statscatalogue::Kind;

void appendText(std::string& text, std::string_view member, std::string_view value) {
    text += ",\"";
    text += member;
    text += "\":";
    appendJsonString(text, value);
}

void appendNumber(std::string& text, std::string_view member, Number number) {
    text += ",\"";
    text += member;
    text += "\":";
    appendJson(text, number);
}

/* ,"member": and a list behind it. */
template <class List, class AppendOne>
void appendList(std::string& text, std::string_view member, const List& list, AppendOne appendOne) {
    text += ",\"";
    text += member;
    text += "\":";
    appendJsonList(text, list, appendOne);
}

std::string_view nameOf(CacheState state) {
    static constexpr std::array<std::string_view, 4> names{"live", "stale", "gone", "waiting"};
    return names[static_cast<size_t>(state)];
}

void appendCache(std::string& text, const CacheStatus& cache, CacheState state) {
    text += "{\"id\":";
    appendJsonString(text, idOf(cache));
    appendText(text, "cache", cache.location);
    appendText(text, "brox", cache.brox);
    appendText(text, "host", cache.host);
    appendText(text, "title", cache.title);
    appendText(text, "state", nameOf(state));
    text += ",\"lost\":";
    if (cache.lostNs == 0) {
        text += "null";
    } else {
        appendMilliseconds(text, cache.lostNs);
    }
    appendText(text, "loss", cache.loss);
    appendText(text, "problem", cache.problem);
    appendNumber(text, "attaches", Number::ofUnsigned(cache.attaches));
    appendNumber(text, "interval",
                 Number::ofDecimal(std::chrono::duration<double>(cache.interval).count()));
    const Picture* picture = cache.picture.get();
    appendNumber(text, "slots", picture == nullptr ? Number() : Number::ofSigned(picture->slots));
    appendNumber(text, "used",
                 picture == nullptr || picture->used < 0 ? Number()
                                                         : Number::ofSigned(picture->used));
    text += '}';
}

/* What every answer about one cache begins with. */
void appendHead(std::string& text, const CacheStatus& cache, CacheState state,
                const SampleView* view) {
    text += "{\"version\":1,\"cache\":";
    appendCache(text, cache, state);
    text += ",\"time\":";
    if (view == nullptr) {
        text += "null";
    } else {
        appendMilliseconds(text, view->moment().realNs);
    }
    const bool hasBefore = view != nullptr && view->moment().seconds > 0;
    appendNumber(text, "seconds", hasBefore ? Number::ofDecimal(view->moment().seconds) : Number());
}

/* "values" and "rates" of groups of processes, field by field; rates of counters alone, in brief
 * their only numbers. */
template <class Groups>
void appendNumbers(std::string& text, const SampleView& view, std::span<const ChosenField> fields,
                   const Groups& groups, bool isBrief) {
    appendList(text, "values", fields, [&](const ChosenField& field) {
        if (isBrief && field.isCounter()) {
            text += "null";
            return;
        }
        appendJsonList(text, groups,
                       [&](const auto& group) { appendJson(text, view.value(field, group)); });
    });
    appendList(text, "rates", fields, [&](const ChosenField& field) {
        if (!field.isCounter()) {
            text += "null";
            return;
        }
        appendJsonList(text, groups,
                       [&](const auto& group) { appendJson(text, view.rate(field, group)); });
    });
}

void appendKinds(std::string& text, const SampleView& view, std::span<const ChosenField> fields,
                 std::span<const Kind* const> kinds) {
    std::vector<std::span<const Process>> groups;
    for (const Kind* kind : kinds) {
        groups.push_back(view.of(*kind));
    }
    text += ",\"kinds\":{\"kind\":";
    appendJsonList(text, kinds,
                   [&](const Kind* kind) { appendJsonString(text, kind->shortName.view()); });
    appendList(text, "processes", groups,
               [&](const auto& group) { appendInteger(text, uint64_t{group.size()}); });
    appendNumbers(text, view, fields, groups, false);
    text += '}';
}

void appendProcesses(std::string& text, const SampleView& view, std::span<const ChosenField> fields,
                     std::span<const Kind* const> kinds, bool isBrief) {
    std::vector<std::span<const Process>> groups; /* of one */
    for (const Process& process : view.processes()) {
        if (process.now->kind != nullptr) {
            groups.emplace_back(&process, 1);
        }
    }
    std::array<int64_t, SHRPC_numStatTypes> places{};
    for (size_t i = 0; i < kinds.size(); i++) {
        places[static_cast<size_t>(kinds[i]->index)] = static_cast<int64_t>(i);
    }
    const auto add = [&](std::string_view member, auto&& appendOf) {
        appendList(text, member, groups, [&](const auto& group) { appendOf(*group.front().now); });
    };
    using samples::Record;
    text += ",\"processes\":{\"count\":";
    appendInteger(text, uint64_t{groups.size()});
    add("kind", [&](const Record& record) {
        appendInteger(text, places[static_cast<size_t>(record.kind->index)]);
    });
    add("pid", [&](const Record& record) { appendInteger(text, int64_t{record.pid}); });
    add("session", [&](const Record& record) { appendInteger(text, int64_t{record.session}); });
    add("name", [&](const Record& record) { appendJsonString(text, record.name); });
    add("state", [&](const Record& record) { appendJsonString(text, nameOf(record.state)); });
    appendNumbers(text, view, fields, groups, isBrief);
    text += '}';
}

/* {"name":"commitCount",...} */
std::string descriptorOf(const Figure& figure) {
    std::string name;
    figure.appendName(name);
    std::string text = "{\"name\":";
    appendJsonString(text, name);
    appendText(text, "class", figure.field == nullptr ? "derived" : nameOf(figure.meaning));
    appendText(text, "unit", nameOf(figure.unit));
    appendText(text, "symbol", symbolOf(figure.unit));
    appendText(text, "group", nameOf(figure.group()));
    std::string title;
    figure.appendTitle(title);
    appendText(text, "title", title);
    appendText(text, "sentence", figure.sentence());
    text += figure.isPerSecond() ? ",\"perSecond\":true" : "";
    return text + '}';
}

} // namespace

CacheState stateOf(const CacheStatus& cache, Clock::time_point now) {
    if (cache.picture != nullptr) {
        return cache.isLive(now) ? CacheState::Live : CacheState::Stale;
    }
    return cache.attaches > 0 ? CacheState::Gone : CacheState::Waiting;
}

std::string idOf(const CacheStatus& cache) {
    return cache.location.empty() ? "brox " + cache.brox : cache.location;
}

void appendMilliseconds(std::string& text, int64_t nanoseconds) {
    appendInteger(text, nanoseconds / 1'000'000);
}

std::string catalogueJson() {
    std::map<std::string, size_t> indices; /* of figures in the list, by what is told of them */
    std::string figures;
    std::string text;
    for (const Kind& kind : statscatalogue::kinds()) {
        text += text.empty() ? "{\"name\":" : ",{\"name\":";
        appendJsonString(text, kind.shortName.view());
        appendText(text, "title", kind.title.view());
        appendList(text, "columns", defaultColumns(kind),
                   [&](const auto& name) { appendJsonString(text, name.view()); });
        appendList(text, "fields", samples::figuresOf(kind, {}), [&](const Figure& figure) {
            std::string descriptor = descriptorOf(figure);
            const auto [at, isNew] = indices.try_emplace(std::move(descriptor), indices.size());
            if (isNew) {
                figures += at->second > 0 ? "," : "";
                figures += at->first;
            }
            appendInteger(text, uint64_t{at->second});
        });
        text += '}';
    }
    return "{\"version\":1,\"fields\":[" + figures + "],\"kinds\":[" + text + "]}";
}

std::string cachesJson(const BoardState& state, Clock::time_point now, bool hasRecording) {
    std::string text = "{\"version\":1";
    appendText(text, "release", samples::releaseVersion());
    appendText(text, "server", samples::serverVersion());
    text += ",\"recording\":";
    text += hasRecording ? "true" : "false";
    appendText(text, "problem", state.problem);
    appendList(text, "caches", state.caches,
               [&](const CacheStatus& cache) { appendCache(text, cache, stateOf(cache, now)); });
    return text + '}';
}

std::string sampleJson(const CacheStatus& cache, CacheState state, const SampleView* view,
                       std::span<const ChosenField> fields, bool isBrief) {
    std::string text;
    appendHead(text, cache, state, view);
    appendList(text, "fields", fields,
               [&](const ChosenField& field) { appendJsonString(text, field.name); });
    if (view != nullptr) {
        std::vector<const Kind*> kinds;
        for (const Kind& kind : statscatalogue::kinds()) {
            if (!view->of(kind).empty()) {
                kinds.push_back(&kind);
            }
        }
        constexpr size_t bytesOfNumber = 12;
        text.reserve(text.size() +
                     view->processes().size() * (5 + 2 * fields.size()) * bytesOfNumber);
        appendKinds(text, *view, fields, kinds);
        appendProcesses(text, *view, fields, kinds, isBrief);
    }
    return text + '}';
}

std::string processJson(const CacheStatus& cache, CacheState state, const SampleView* view,
                        const ProcessAddress& address) {
    std::string text;
    appendHead(text, cache, state, view);
    const auto index = view == nullptr ? std::nullopt : address.findIn(view->processes());
    if (!index) {
        return text + ",\"process\":null}";
    }
    const Process& process = view->processes()[*index];
    const samples::Record& record = *process.now;
    text += ",\"process\":{\"kind\":";
    appendJsonString(text, record.kind->shortName.view());
    appendNumber(text, "pid", Number::ofSigned(record.pid));
    appendNumber(text, "session", Number::ofSigned(record.session));
    appendText(text, "name", record.name);
    appendText(text, "state", nameOf(record.state));
    text += ",\"started\":";
    if (record.startedNs == 0) {
        text += "null";
    } else {
        appendMilliseconds(text, record.startedNs);
    }
    appendNumber(text, "uid",
                 record.uid == samples::unknownUser ? Number() : Number::ofUnsigned(record.uid));
    const std::span<const Process> alone(&process, 1);
    const auto figures = samples::figuresOf(*record.kind, {});
    appendList(text, "values", figures, [&](const Figure& figure) {
        appendJson(text, valueOf(figure, alone, view->moment()));
    });
    appendList(text, "rates", figures, [&](const Figure& figure) {
        appendJson(text, rateOf(figure, alone, view->moment()));
    });
    return text + "}}";
}

} // namespace exporter
