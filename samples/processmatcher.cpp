#include "processmatcher.h"

#include <algorithm>
#include <compare>
#include <numeric>
#include <tuple>

namespace samples {
namespace {

/* The common block comes first in every kind's packed record. */
uint64_t slotOf(const Record& record) {
    constexpr size_t offset = offsetof(ShrPcCommonStatSType, cacheSlotIndex);
    return record.kind == nullptr
               ? 0
               : statscatalogue::read(record.blocks + offset, statscatalogue::FieldType::U32).bits;
}

std::strong_ordering compareIdentity(const Record& one, const Record& other) {
    const auto identity = [](const Record& record) {
        return std::tie(record.pid, record.statType, record.startedNs, record.session, record.name);
    };
    return identity(one) <=> identity(other);
}

bool isSame(const Record& one, const Record& other) {
    return std::is_eq(compareIdentity(one, other)) && slotOf(one) == slotOf(other);
}

/* Sorts the positions from..to of the records by identity, then slot, then place. */
void sortPositions(std::vector<uint32_t>& order, std::span<const Record> records, size_t from,
                   size_t to) {
    order.resize(to - from);
    std::iota(order.begin(), order.end(), static_cast<uint32_t>(from));
    std::ranges::sort(order, [&](uint32_t one, uint32_t other) {
        const auto identities = compareIdentity(records[one], records[other]);
        if (std::is_neq(identities)) {
            return std::is_lt(identities);
        }
        const uint64_t oneSlot = slotOf(records[one]);
        const uint64_t otherSlot = slotOf(records[other]);
        return oneSlot != otherSlot ? oneSlot < otherSlot : one < other;
    });
}

/* The run of records alike that begins at `first`. */
std::span<uint32_t> runAt(std::vector<uint32_t>& order, std::span<const Record> records,
                          size_t first) {
    size_t end = first + 1;
    while (end < order.size() &&
           std::is_eq(compareIdentity(records[order[first]], records[order[end]]))) {
        end++;
    }
    return std::span(order).subspan(first, end - first);
}

bool slotsDiffer(std::span<const uint32_t> run, std::span<const Record> records) {
    return std::ranges::adjacent_find(run, [&](uint32_t one, uint32_t other) {
               return slotOf(records[one]) == slotOf(records[other]);
           }) == run.end();
}

} // namespace

std::span<const Record* const> ProcessMatcher::match(std::span<const Record> now,
                                                     std::span<const Record> before) {
    matches.assign(now.size(), nullptr);
    size_t front = 0;
    while (front < std::min(now.size(), before.size()) && isSame(now[front], before[front])) {
        matches[front] = &before[front];
        front++;
    }
    size_t nowEnd = now.size();
    size_t beforeEnd = before.size();
    while (nowEnd > front && beforeEnd > front && isSame(now[nowEnd - 1], before[beforeEnd - 1])) {
        matches[--nowEnd] = &before[--beforeEnd];
    }
    sortPositions(nowOrder, now, front, nowEnd);
    sortPositions(beforeOrder, before, front, beforeEnd);
    size_t nextNow = 0;
    size_t nextBefore = 0;
    while (nextNow < nowOrder.size() && nextBefore < beforeOrder.size()) {
        const auto order = compareIdentity(now[nowOrder[nextNow]], before[beforeOrder[nextBefore]]);
        if (std::is_lt(order)) {
            nextNow++;
        } else if (std::is_gt(order)) {
            nextBefore++;
        } else {
            const auto nowRun = runAt(nowOrder, now, nextNow);
            const auto beforeRun = runAt(beforeOrder, before, nextBefore);
            nextNow += nowRun.size();
            nextBefore += beforeRun.size();
            const bool isAlone = nowRun.size() == 1 && beforeRun.size() == 1;
            if (!isAlone && slotsDiffer(nowRun, now) && slotsDiffer(beforeRun, before)) {
                pairBySlot(nowRun, now, beforeRun, before);
            } else {
                pairInOrder(nowRun, beforeRun, before);
            }
        }
    }
    return matches;
}

/* Both runs are sorted by slot. */
void ProcessMatcher::pairBySlot(std::span<const uint32_t> nowRun, std::span<const Record> now,
                                std::span<const uint32_t> beforeRun,
                                std::span<const Record> before) {
    size_t next = 0;
    for (const uint32_t position : nowRun) {
        const uint64_t slot = slotOf(now[position]);
        while (next < beforeRun.size() && slotOf(before[beforeRun[next]]) < slot) {
            next++;
        }
        if (next < beforeRun.size() && slotOf(before[beforeRun[next]]) == slot) {
            matches[position] = &before[beforeRun[next]];
        }
    }
}

void ProcessMatcher::pairInOrder(std::span<uint32_t> nowRun, std::span<uint32_t> beforeRun,
                                 std::span<const Record> before) {
    std::ranges::sort(nowRun);
    std::ranges::sort(beforeRun);
    for (size_t i = 0; i < std::min(nowRun.size(), beforeRun.size()); i++) {
        matches[nowRun[i]] = &before[beforeRun[i]];
    }
}

} // namespace samples
