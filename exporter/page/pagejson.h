/* What the page is told, as JSON. docs/monitoring.md describes the shapes. Names that are no UTF-8
 * are written as tvsistat's JSON has them; numbers are exact, as strings beyond 2^53. */
#ifndef PAGEJSON_H
#define PAGEJSON_H

#include "board.h"
#include "fieldchoice.h"
#include "sampleview.h"

#include <span>
#include <string>

namespace exporter {

/* Whether a cache is read; Gone once it was lost, Waiting until it has been attached. */
enum class CacheState : uint8_t { Live, Stale, Gone, Waiting };
CacheState stateOf(const CacheStatus& cache, Clock::time_point now);

/* By what a request names a cache. */
std::string idOf(const CacheStatus& cache);

/* Every kind, and every figure that the records of one have. */
std::string catalogueJson();

std::string cachesJson(const BoardState& state, Clock::time_point now, bool hasRecording);

/* The kinds and processes of a sample, with the chosen fields; nothing of them without a view. In
 * brief processes have no values where they have rates, as in a table. */
std::string sampleJson(const CacheStatus& cache, CacheState state, const SampleView* view,
                       std::span<const ChosenField> fields, bool isBrief);

/* All figures of a process, in the order of the catalogue. */
std::string processJson(const CacheStatus& cache, CacheState state, const SampleView* view,
                        const ProcessAddress& address);

/* Numbers with commas between them, in brackets; `numberOf` gives each. */
template <class List, class NumberOf>
void appendJsonList(std::string& text, const List& list, NumberOf appendOne) {
    text += '[';
    bool isFirst = true;
    for (const auto& entry : list) {
        text += isFirst ? "" : ",";
        appendOne(entry);
        isFirst = false;
    }
    text += ']';
}

/* A moment in whole milliseconds since the epoch. */
void appendMilliseconds(std::string& text, int64_t nanoseconds);

} // namespace exporter

#endif
