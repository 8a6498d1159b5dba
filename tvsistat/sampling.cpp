#include "sampling.h"

#include <algorithm>
#include <fmt/format.h>

#include "report.h"

namespace tvsistat {
namespace {

template <class... Cases> struct Overloaded : Cases... { using Cases::operator()...; };
template <class... Cases> Overloaded(Cases...) -> Overloaded<Cases...>;

/* Counts the record that a query for one process has written; finding none is no error. */
int counted(int status, int& count) {
    if (status == TVSI_SUCCESS) {
        count++;
    }
    return status == TVSI_ERR_NOT_FOUND ? TVSI_SUCCESS : status;
}

int statsForSession(int sessionId, std::span<TvsiResultSType> into, int& count) {
    count = 0;
    const int status = counted(TvsiStatsForVokSessionId(sessionId, into.data()), count);
    if (status != TVSI_SUCCESS) {
        return status;
    }
    return counted(TvsiStatsForPgsvrSessionId(sessionId, &into[static_cast<size_t>(count)]), count);
}

} // namespace

bool selectsAll(const Selection& selection) {
    const auto* kinds = std::get_if<KindSelection>(&selection);
    return kinds != nullptr && kinds->mask == SHRPC_ALL;
}

uint32_t kindsOf(const Selection& selection) {
    return std::visit(Overloaded{
                          [](const KindSelection& kinds) { return kinds.mask; },
                          [](const PidSelection&) -> uint32_t { return SHRPC_ALL; },
                          [](const SessionSelection&) -> uint32_t {
                              return SHRPC_VOK | SHRPC_VOK_PGSVR_MAIN | SHRPC_VOK_PGSVR_THD;
                          },
                          [](const NameSelection&) -> uint32_t { return SHRPC_VOK; },
                      },
                      selection);
}

int Sampler::fill(Sample& sample) {
    const std::span<TvsiResultSType> into(sample.buffer);
    int& count = sample.count;
    count = sample.slots;
    return std::visit(
        Overloaded{
            [&](const KindSelection& kinds) {
                return TvsiAllStatsForMask(kinds.mask, into.data(), &count);
            },
            [&](const PidSelection& process) {
                count = 0;
                return counted(TvsiStatsForProcessId(process.pid, into.data()), count);
            },
            [&](const SessionSelection& session) {
                return statsForSession(session.sessionId, into, count);
            },
            [&](const NameSelection& name) {
                return TvsiAllVokStatsForRegexName(name.expression.c_str(), name.ignoreCase ? 1 : 0,
                                                   into.data(), &count, expressionError,
                                                   sizeof expressionError);
            },
        },
        selection);
}

int Sampler::countInUse(const Sample& sample, int& inUse) {
    if (selectsAll(selection)) {
        inUse = sample.count;
        return TVSI_SUCCESS;
    }
    everyProcess.resize(std::max(everyProcess.size(), sample.buffer.size()));
    inUse = sample.slots;
    return TvsiAllStatsForMask(SHRPC_ALL, everyProcess.data(), &inUse);
}

std::optional<Failure> Sampler::take(Sample& sample) {
    int status = TvsiFetchMaxProcessesInCache(&sample.slots);
    if (status == TVSI_SUCCESS) {
        /* The size is read anew each time: a table may grow. A live one has two slots at least,
         * which the query for a session relies on. */
        const auto slots = static_cast<size_t>(std::max(sample.slots, 2));
        sample.buffer.resize(std::max(sample.buffer.size(), slots));
        sample.wallTime = std::chrono::system_clock::now();
        sample.taken = std::chrono::steady_clock::now();
        status = fill(sample);
    }
    if (status == TVSI_SUCCESS) {
        status = countInUse(sample, sample.slotsInUse);
    }
    if (status != TVSI_SUCCESS) {
        return failureOf(status);
    }
    return std::nullopt;
}

Failure Sampler::failureOf(int status) const {
    switch (status) {
    case TVSI_ERR_CACHE_CONNECTION_SEVERED:
    case TVSI_ERR_CACHE_NOT_ATTACHED:
        return {ExitStatus::CacheGone,
                fmt::format("{} has gone away: its monitor or its Brox has ended", title)};
    case TVSI_ERR_BAD_REGEX: {
        std::string expression;
        appendPrintable(expression, std::get<NameSelection>(selection).expression);
        return {ExitStatus::BadExpression,
                fmt::format("the regular expression '{}' does not compile: {}", expression,
                            expressionError)};
    }
    default:
        return {ExitStatus::Failure,
                fmt::format("{} cannot be read: the library answers {}", title, status)};
    }
}

} // namespace tvsistat
