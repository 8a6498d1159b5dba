/*
 * libtvsi for C++17 and later: the calls of tvsi.h with an attachment that detaches itself, queries
 * into a buffer that is used again, typed access to the blocks of each kind, and samples at an
 * interval. Header only: it adds no symbol to the library and needs nothing but tvsi.h.
 *
 *     tvsi::Buffer buffer;
 *     auto cache = tvsi::Cache::attachForBrox("prod");
 *     if (!cache) { complain(cache.error().sentence); return; }
 *     for (const auto& sample : cache->samples<tvsi::Vok>(std::chrono::seconds(1), buffer)) {
 *         if (!sample) { complain(sample.error().sentence); break; }
 *         for (const tvsi::Vok vok : sample->records) {
 *             use(vok.name(), vok.common64().pageLocateCount, vok.counters().vokKind);
 *         }
 *     }
 *
 * Failures come back as a Result, with the status of tvsierr.h and a sentence; nothing throws but
 * std::bad_alloc. Units and meanings of the fields are those of tvsi-stats(7).
 *
 * One cache can be attached in a process at a time, whatever it was attached with. Cache objects
 * that are not, or no longer, the attached one answer TVSI_ERR_CACHE_NOT_ATTACHED and detach
 * nothing.
 *
 * Threads. Queries of one Cache may be made from any number of threads at once, each with a buffer
 * of its own; they take turns. The caller must keep attaching, detaching, moving and destroying a
 * Cache apart from each other and from queries. What tvsi.h says of fork(), cancellation and stacks
 * holds here, too.
 */
#ifndef TVSI_HPP
#define TVSI_HPP

#include <algorithm>
#include <array>
#include <atomic>
#include <cassert>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <variant>

#include "tvsi.h"

namespace tvsi {

/* What a status of tvsierr.h means to people; "" for TVSI_SUCCESS. */
constexpr std::string_view sentenceOf(int status) {
    constexpr std::array<std::string_view, 14> sentences{
        "",
        "the library has not been initialised",
        "this cache is attached already",
        "no process of the cache matches",
        "an argument is not one that the library takes",
        "the cache has gone away: attach again when its server runs",
        "the cache has no Brox: it is on another host than its Brox",
        "no cache is attached",
        "another cache is attached: detach it first",
        "the cache's segment could not be mapped, or failed a check",
        "the thread that watches the cache could not be started",
        "the cache belongs to a server of another version",
        "no cache on this host serves this Brox",
        "the regular expression does not compile",
    };
    return status >= 0 && static_cast<std::size_t>(status) < sentences.size()
               ? sentences[static_cast<std::size_t>(status)]
               : "the library answers with a status that this program does not know";
}

/* Why a call failed: the status of tvsierr.h, and the library's own sentence where it has written
 * one, else that of the status. */
struct Error {
    int status;
    std::string sentence;
};

/* What a call gives, or why it failed. The value may be asked for only when there is one. */
template <class Value> class [[nodiscard]] Result {
public:
    // NOLINTBEGIN(google-explicit-constructor): a function returns the one or the other
    Result(Value value) : state_(std::in_place_index<0>, std::move(value)) {}
    Result(Error error) : state_(std::in_place_index<1>, std::move(error)) {}
    // NOLINTEND(google-explicit-constructor)

    explicit operator bool() const noexcept { return state_.index() == 0; }
    Value& operator*() & {
        assert(*this);
        return *std::get_if<0>(&state_);
    }
    const Value& operator*() const& {
        assert(*this);
        return *std::get_if<0>(&state_);
    }
    Value&& operator*() && { return std::move(**this); }
    Value* operator->() { return &**this; }
    const Value* operator->() const { return &**this; }

    /* Only when there is no value. */
    const Error& error() const {
        assert(!*this);
        return *std::get_if<1>(&state_);
    }
    /* TVSI_SUCCESS, or the status of the failure. */
    int status() const noexcept { return *this ? int{TVSI_SUCCESS} : error().status; }

private:
    std::variant<Value, Error> state_;
};

/*
 * A record in a buffer: a pointer, to be passed by value. It holds for as long as the buffer is
 * neither filled again nor destroyed. The values are those of the moment of the copy; the server
 * may have been writing one.
 */
class Record {
public:
    /* What a mask query for these records asks for. */
    static constexpr unsigned int kinds = SHRPC_ALL;

    explicit Record(const TvsiResultSType& record) : record_(&record) {}

    const TvsiResultSType& raw() const { return *record_; }
    std::int32_t processId() const { return record_->stats.processId; }
    std::int32_t sessionId() const { return record_->stats.sessionId; }
    /* The kind's bit, as SHRPC_VOK; several bits or unknown ones if the segment says so. */
    std::uint32_t kind() const { return record_->statType; }
    /* Up to 32 characters, also when the server has not ended them. */
    std::string_view name() const {
        return {record_->olvName, strnlen(record_->olvName, sizeof record_->olvName)};
    }
    /* The counters that every kind keeps. */
    const ShrPcCommonStatSType& common() const { return record_->stats.cmn; }
    const ShrPcCommon64StatSType& common64() const { return record_->stats.cmn64; }

    /* The record as one of its kind, as in `if (const auto vok = record.as<tvsi::Vok>())`. */
    template <class Typed> std::optional<Typed> as() const {
        return kind() == Typed::kinds ? std::optional<Typed>(Typed(raw())) : std::nullopt;
    }

private:
    const TvsiResultSType* record_;
};

/* A record of the kind with the bit `kindBit`: its blocks are the members of the record's unions
 * that are given. A block that the kind does not have does not compile. */
template <unsigned int kindBit, auto block = nullptr, auto block64 = nullptr,
          auto blockTimes = nullptr>
class RecordOf : public Record {
public:
    static constexpr unsigned int kinds = kindBit;
    static constexpr bool hasCounters = !std::is_null_pointer_v<decltype(block)>;
    static constexpr bool hasCounters64 = !std::is_null_pointer_v<decltype(block64)>;
    static constexpr bool hasTimes = !std::is_null_pointer_v<decltype(blockTimes)>;

    using Record::Record;

    /* The kind's own 32-bit counters. */
    const auto& counters() const {
        static_assert(hasCounters, "this kind has no 32-bit block of its own");
        return raw().stats.u.*block;
    }
    /* The kind's own 64-bit counters. */
    const auto& counters64() const {
        static_assert(hasCounters64, "this kind has no 64-bit block of its own");
        return raw().stats.u64.*block64;
    }
    /* When the process last saw each event, in seconds since the Unix epoch; 0: never. */
    const auto& times() const {
        static_assert(hasTimes, "this kind keeps no times");
        return raw().stats.uTimeStats.*blockTimes;
    }
};

using Monitor = RecordOf<SHRPC_MONITOR, &ShrPcStatUnion::monitor, &ShrPcStat64Union::monitor64>;
using Brox = RecordOf<SHRPC_BROX, &ShrPcStatUnion::brox, &ShrPcStat64Union::brox64,
                      &ShrRelativeStatUnion::brox>;
using VokPgsvrMain = RecordOf<SHRPC_VOK_PGSVR_MAIN, &ShrPcStatUnion::vokPgsvr>;
using Vok =
    RecordOf<SHRPC_VOK, &ShrPcStatUnion::vok, &ShrPcStat64Union::vok64, &ShrRelativeStatUnion::vok>;
using Statmon = RecordOf<SHRPC_STATMON>;
using App = RecordOf<SHRPC_APP>;
using Psc = RecordOf<SHRPC_PSC>;
using Pagemgr = RecordOf<SHRPC_PAGEMGR, &ShrPcStatUnion::pageMgr, &ShrPcStat64Union::pageMgr64>;
using BrxRestoreThr = RecordOf<SHRPC_BrxRestoreThr, nullptr, &ShrPcStat64Union::restoreThr64>;
using VokThr = RecordOf<SHRPC_VokThr, &ShrPcStatUnion::vokthr, &ShrPcStat64Union::vokthr64>;
using BrxAioThr = RecordOf<SHRPC_BrxAioThr, &ShrPcStatUnion::aioThd>;
using FfThr = RecordOf<SHRPC_FF_Thr, &ShrPcStatUnion::ffThd>;
using CachePgsvr =
    RecordOf<SHRPC_CACHE_PGSVR, &ShrPcStatUnion::cachePgsvr, &ShrPcStat64Union::cachePgsvr64>;
using VokPgsvrThd = RecordOf<SHRPC_VOK_PGSVR_THD, &ShrPcStatUnion::vokPgsvr>;

/* The records of a query, side by side in a buffer: a pointer and a length. data() and size() make
 * a std::span of them in C++20. */
template <class Typed = Record> class Records {
public:
    class iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Typed;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = Typed;

        iterator() = default;
        explicit iterator(const TvsiResultSType* at) : at_(at) {}
        Typed operator*() const { return Typed(*at_); }
        iterator& operator++() {
            ++at_;
            return *this;
        }
        iterator operator++(int) { return iterator(at_++); }
        friend bool operator==(iterator one, iterator other) { return one.at_ == other.at_; }
        friend bool operator!=(iterator one, iterator other) { return one.at_ != other.at_; }

    private:
        const TvsiResultSType* at_ = nullptr;
    };

    Records() = default;
    Records(const TvsiResultSType* data, std::size_t size) : data_(data), size_(size) {}

    const TvsiResultSType* data() const { return data_; }
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    Typed operator[](std::size_t index) const {
        assert(index < size_);
        return Typed(data_[index]);
    }
    iterator begin() const { return iterator(data_); }
    iterator end() const { return iterator(data_ + size_); }

private:
    const TvsiResultSType* data_ = nullptr;
    std::size_t size_ = 0;
};

/* Memory for the records of queries: grows to what a query needs, and is used again by the next
 * one, which ends the life of the records before. Not to be used by two threads at once. */
class Buffer {
public:
    std::size_t capacity() const { return static_cast<std::size_t>(capacity_); }

private:
    friend class Cache;

    /* What was in it is lost. */
    void reserve(int records) {
        if (records > capacity_) {
            records_.reset(); // two would be too many
            capacity_ = 0;
            // Not filled with zeros: the query fills it.
            records_.reset(new TvsiResultSType[static_cast<std::size_t>(records)]);
            capacity_ = records;
        }
    }

    std::unique_ptr<TvsiResultSType[]> records_;
    int capacity_ = 0;
};

/* What a cache held at one moment. */
template <class Typed = Record> struct Sample {
    std::uint64_t
        number; /* of the moment in the schedule, from 0: one that is left out was missed */
    std::chrono::steady_clock::time_point time; /* after the query */
    std::chrono::system_clock::time_point realTime;
    Records<Typed> records; /* in slot order, in the buffer, until the next sample is taken */
};

template <class Typed> class Samples;

/* The attachment of this process to a shared page cache; detaches at its end. Can be moved. */
class Cache {
public:
    /* Finds the cache on this host that serves the Brox with this name, and attaches it. Waits,
     * and fails, as TvsiAttachSharedCacheForBrox(). Calls TvsiInit(). */
    static Result<Cache> attachForBrox(const std::string& broxName) {
        return attached(TvsiAttachSharedCacheForBrox, broxName);
    }
    /* Attaches the cache with this location, as "prod~1f2e"; see TvsiAttachSharedCache(). */
    static Result<Cache> attach(const std::string& location) {
        return attached(TvsiAttachSharedCache, location);
    }

    Cache(Cache&& other) noexcept : attachment_(std::exchange(other.attachment_, 0)) {}
    Cache& operator=(Cache&& other) noexcept {
        if (this != &other) {
            detach();
            attachment_ = std::exchange(other.attachment_, 0);
        }
        return *this;
    }
    ~Cache() { detach(); }

    /* Gives up the cache; waits up to about a second. TVSI_SUCCESS when a live attachment was
     * ended, TVSI_ERR_CACHE_NOT_ATTACHED when there was none any more. */
    int detach() noexcept {
        const bool isOurs = isCurrent();
        attachment_ = 0;
        return isOurs ? TvsiDetachSharedCache() : int{TVSI_ERR_CACHE_NOT_ATTACHED};
    }

    /* Whether the cache is attached and alive. A query like the others: it ends the attachment to a
     * dead cache. */
    bool isAlive() const { return isCurrent() && TvsiCacheIsAlive() == 1; }

    /* The number of slots of the process table, used or not. */
    Result<int> slots() const {
        return counted([](int* slots) { return TvsiFetchMaxProcessesInCache(slots); });
    }

    /* The queries for one process copy its record into `record`, and give a view of it. They fail
     * with TVSI_ERR_NOT_FOUND when there is none. */

    /* The process with this process id (1 or more), whatever its kind; the lowest slot. */
    Result<Record> process(int processId, TvsiResultSType& record) const {
        return one<Record>(record, TvsiStatsForProcessId, processId);
    }
    /* The Vok main thread of the session (1 or more). */
    Result<Vok> vok(int sessionId, TvsiResultSType& record) const {
        return one<Vok>(record, TvsiStatsForVokSessionId, sessionId);
    }
    /* The page server of the session (1 or more): a VokPgsvrMain or a VokPgsvrThd. */
    Result<Record> pageServer(int sessionId, TvsiResultSType& record) const {
        return one<Record>(record, TvsiStatsForPgsvrSessionId, sessionId);
    }
    /* The Vok or VokThr whose name equals this one; the lowest slot. */
    Result<Record> vokNamed(const std::string& name, TvsiResultSType& record) const {
        return one<Record>(record, TvsiStatsForVokSessionWithName, name.c_str());
    }
    /* The Brox; TVSI_ERR_NO_BROX when it is on another host. */
    Result<Brox> brox(TvsiResultSType& record) const { return one<Brox>(record, TvsiStatsForBrox); }
    Result<Monitor> monitor(TvsiResultSType& record) const {
        return one<Monitor>(record, TvsiStatsForShrPcMon);
    }

    /* The queries for many processes give all that match, in slot order; the buffer grows as
     * needed. */

    /* Every process whose kind is in `kinds`, a set of bits within SHRPC_ALL. */
    Result<Records<>> query(unsigned int kinds, Buffer& buffer) const {
        return many<Record>(buffer, [kinds](TvsiResultSType* records, int* count) {
            return TvsiAllStatsForMask(kinds, records, count);
        });
    }
    /* Every process of one kind: `query<tvsi::Vok>(buffer)`; of all kinds without one. */
    template <class Typed = Record> Result<Records<Typed>> query(Buffer& buffer) const {
        return many<Typed>(buffer, [](TvsiResultSType* records, int* count) {
            return TvsiAllStatsForMask(Typed::kinds, records, count);
        });
    }
    /* Every Vok main thread with least <= vokKind <= most. */
    Result<Records<Vok>> voksOfKind(int least, int most, Buffer& buffer) const {
        return many<Vok>(buffer, [=](TvsiResultSType* records, int* count) {
            return TvsiAllVokStatsForVokKindRange(least, most, records, count);
        });
    }
    Result<int> countVoksOfKind(int least, int most) const {
        return counted([=](int* count) {
            return TvsiAllVokStatsForVokKindRange(least, most, nullptr, count);
        });
    }
    /* Every Vok main thread whose name the POSIX extended regular expression matches; the error's
     * sentence of TVSI_ERR_BAD_REGEX says what is wrong with it. */
    Result<Records<Vok>> voksMatching(const std::string& expression, bool ignoreCase,
                                      Buffer& buffer) const {
        std::array<char, 256> reason{};
        return many<Vok>(
            buffer,
            [&](TvsiResultSType* records, int* count) {
                return TvsiAllVokStatsForRegexName(expression.c_str(), ignoreCase ? 1 : 0, records,
                                                   count, reason.data(), reason.size());
            },
            reason.data());
    }
    Result<int> countVoksMatching(const std::string& expression, bool ignoreCase) const {
        std::array<char, 256> reason{};
        return counted(
            [&](int* count) {
                return TvsiAllVokStatsForRegexName(expression.c_str(), ignoreCase ? 1 : 0, nullptr,
                                                   count, reason.data(), reason.size());
            },
            reason.data());
    }

    /* A sample of the processes of one kind, or of all, at once and then at each interval; see
     * Samples. Cache and buffer must outlive it. */
    template <class Typed = Record>
    Samples<Typed> samples(std::chrono::nanoseconds interval, Buffer& buffer) const;

private:
    /* Attachments are numbered, so that an object that was left behind by a dead cache neither
     * reads nor detaches the next one. */
    inline static std::atomic<std::uint64_t> lastAttachment{0};

    explicit Cache(std::uint64_t attachment) : attachment_(attachment) {}

    bool isCurrent() const {
        return attachment_ != 0 && attachment_ == lastAttachment.load(std::memory_order_relaxed);
    }

    /* Off the way of a query that succeeds. */
    [[gnu::noinline, gnu::cold]] static Error errorOf(int status, const char* reason) {
        return {status, reason == nullptr || *reason == '\0' ? std::string(sentenceOf(status))
                                                             : std::string(reason)};
    }

    template <class Value>
    static Result<Value> resultOf(int status, Value value, const char* reason = nullptr) {
        if (status != TVSI_SUCCESS) {
            return errorOf(status, reason);
        }
        return value;
    }

    static Result<Cache> attached(int (*attach)(const char*, char*, std::size_t),
                                  const std::string& name) {
        std::array<char, 1024> reason{};
        TvsiInit();
        const int status = attach(name.c_str(), reason.data(), reason.size());
        if (status != TVSI_SUCCESS) {
            return errorOf(status, reason.data());
        }
        return Cache(++lastAttachment);
    }

    template <class Typed, class... Parameters, class... Arguments>
    Result<Typed> one(TvsiResultSType& record, int (*call)(Parameters...),
                      Arguments... arguments) const {
        return resultOf(isCurrent() ? call(arguments..., &record)
                                    : int{TVSI_ERR_CACHE_NOT_ATTACHED},
                        Typed(record));
    }

    template <class Query> Result<int> counted(Query query, const char* reason = nullptr) const {
        int count = 0;
        const int status = isCurrent() ? query(&count) : int{TVSI_ERR_CACHE_NOT_ATTACHED};
        return resultOf(status, count, reason);
    }

    /* A full buffer may have left out matches: then it grows to the process table, which may have
     * grown itself meanwhile. */
    template <class Typed, class Query>
    Result<Records<Typed>> many(Buffer& buffer, Query query, const char* reason = nullptr) const {
        if (!isCurrent()) {
            return errorOf(TVSI_ERR_CACHE_NOT_ATTACHED, nullptr);
        }
        for (;;) {
            int count = buffer.capacity_;
            if (count > 0) {
                const int status = query(buffer.records_.get(), &count);
                if (status != TVSI_SUCCESS) {
                    return errorOf(status, reason);
                }
            }
            if (count < buffer.capacity_) {
                return Records<Typed>(buffer.records_.get(), static_cast<std::size_t>(count));
            }
            const Result<int> most = slots();
            if (!most) {
                return most.error();
            }
            if (count > 0 && *most <= count) {
                return Records<Typed>(buffer.records_.get(), static_cast<std::size_t>(count));
            }
            // One more than there are, so that a full table does not look like a full buffer.
            buffer.reserve(std::max(*most, 1) + 1);
        }
    }

    std::uint64_t attachment_; /* its number; 0: none */
};

/*
 * Samples at an interval, for a range-based for: the first at once, the others at whole intervals
 * from there; the wait is in the loop's own thread. A moment that has passed before the loop comes
 * back is left out. The loop goes on until it is left; a query that fails, as when the cache has
 * died, gives its error as the last element.
 */
template <class Typed = Record> class Samples {
public:
    using Element = Result<Sample<Typed>>;
    struct End {};

    class iterator {
    public:
        explicit iterator(const Samples& samples) : samples_(&samples) { take(); }
        const Element& operator*() const { return *element_; }
        const Element* operator->() const { return &*element_; }
        iterator& operator++() {
            if (*element_) {
                wait();
                take();
            } else {
                element_.reset();
            }
            return *this;
        }
        friend bool operator==(const iterator& one, End) { return !one.element_; }
        friend bool operator!=(const iterator& one, End) { return one.element_.has_value(); }

    private:
        void take() {
            Result<Records<Typed>> records =
                samples_->cache_->template query<Typed>(*samples_->buffer_);
            if (records) {
                element_.emplace(Sample<Typed>{number_, std::chrono::steady_clock::now(),
                                               std::chrono::system_clock::now(), *records});
            } else {
                element_.emplace(records.error());
            }
        }
        void wait() {
            const std::chrono::nanoseconds interval = samples_->interval_;
            number_++;
            if (interval.count() <= 0) {
                return;
            }
            const auto past = std::chrono::steady_clock::now() - start_;
            number_ = std::max(number_, static_cast<std::uint64_t>(
                                            (past - std::chrono::nanoseconds(1)) / interval + 1));
            std::this_thread::sleep_until(start_ + interval * static_cast<std::int64_t>(number_));
        }

        const Samples* samples_;
        std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
        std::uint64_t number_ = 0;
        std::optional<Element> element_;
    };

    Samples(const Cache& cache, std::chrono::nanoseconds interval, Buffer& buffer)
        : cache_(&cache), interval_(interval), buffer_(&buffer) {}
    iterator begin() const { return iterator(*this); }
    End end() const { return {}; }

private:
    const Cache* cache_;
    std::chrono::nanoseconds interval_; /* 0 or less: no pause */
    Buffer* buffer_;
};

template <class Typed>
Samples<Typed> Cache::samples(std::chrono::nanoseconds interval, Buffer& buffer) const {
    return Samples<Typed>(*this, interval, buffer);
}

} // namespace tvsi

#endif
