/* Takes samples of the attached cache: which processes are chosen, and what they looked like. */
#ifndef SAMPLING_H
#define SAMPLING_H

#include "exitstatus.h"
#include "tvsi.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace tvsistat {

using samples::ExitStatus;
using samples::Failure;

struct KindSelection {
    uint32_t mask = SHRPC_ALL;
};
struct PidSelection {
    int pid;
};
/* The Vok main thread and the page server of a session. */
struct SessionSelection {
    int sessionId;
};
/* Vok main threads by a POSIX extended regular expression. */
struct NameSelection {
    std::string expression;
    bool ignoreCase;
};

/* Which processes are reported: exactly one of the library's queries. */
using Selection = std::variant<KindSelection, PidSelection, SessionSelection, NameSelection>;

/* True for the selection that leaves out nothing. */
bool selectsAll(const Selection& selection);

/* The kinds that a selection can yield, as a mask. */
uint32_t kindsOf(const Selection& selection);

/* What one look at the cache found. Made to be refilled: its buffer grows and is kept. */
class Sample {
public:
    std::chrono::system_clock::time_point wallTime; /* for the reader */
    std::chrono::steady_clock::time_point taken;    /* for rates */
    int slots = 0;                                  /* of the process table, used or not */
    int slotsInUse = 0;

    /* The chosen processes in slot order (of a session: the Vok first). */
    std::span<const TvsiResultSType> records() const {
        return std::span(buffer).first(static_cast<size_t>(count));
    }

private:
    friend class Sampler;
    std::vector<TvsiResultSType> buffer;
    int count = 0;
};

/* Asks the attached cache for the chosen processes. Not for use by several threads at once. */
class Sampler {
public:
    /* `cacheTitle` names the cache in sentences. */
    Sampler(Selection chosen, std::string cacheTitle)
        : selection(std::move(chosen)), title(std::move(cacheTitle)) {}

    /* Refills the sample; on failure its records are not to be used. */
    std::optional<Failure> take(Sample& sample);

private:
    int fill(Sample& sample);
    int countInUse(const Sample& sample, int& inUse);
    Failure failureOf(int status) const;

    Selection selection;
    std::string title;
    std::vector<TvsiResultSType> everyProcess; /* scratch, when not all are chosen */
    char expressionError[256] = "";
};

} // namespace tvsistat

#endif
