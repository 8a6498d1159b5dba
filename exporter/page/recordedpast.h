/*
 * What a recording has of the charts' past. Read by a thread of its own, one question after the
 * other, so that nobody else waits; the answer is there when it is asked for again. Memory is
 * bounded by what RecordingReader takes, two samples, and a few answers of a few hundred points.
 */
#ifndef RECORDEDPAST_H
#define RECORDEDPAST_H

#include "exitstatus.h"
#include "fieldchoice.h"
#include "recordingreader.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace exporter {

inline constexpr int64_t shortestPast = 60;
inline constexpr int64_t longestPast = int64_t{31} * 86400;

struct PastQuestion {
    std::string location; /* of the cache */
    std::string brox;     /* where that is empty */
    std::vector<ChosenField> fields;
    std::optional<ProcessAddress> process; /* else all kinds */
    int64_t seconds = shortestPast;        /* before now */
};

class RecordedPast {
public:
    /* Fails when there is no recording at the path, a file or a directory. */
    static std::optional<samples::Failure> check(const std::string& path);

    explicit RecordedPast(std::string recording);
    ~RecordedPast();
    RecordedPast(const RecordedPast&) = delete;
    RecordedPast& operator=(const RecordedPast&) = delete;

    /* JSON; null as long as it is not there: ask again. The same key means the same question. */
    std::shared_ptr<const std::string> ask(const std::string& key, PastQuestion question);

private:
    struct Answer {
        std::shared_ptr<const std::string> json; /* null: not yet */
        std::chrono::steady_clock::time_point made;
        std::chrono::steady_clock::duration lasts{};
    };

    void run();
    std::string answerTo(const PastQuestion& question) const;

    const std::string path;
    std::mutex mutex; /* guards what follows */
    std::condition_variable changed;
    std::deque<std::pair<std::string, PastQuestion>> questions;
    std::map<std::string, Answer> answers;
    std::atomic<bool> isEnding = false;
    std::thread thread;
};

} // namespace exporter

#endif
