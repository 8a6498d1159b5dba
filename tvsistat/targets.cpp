#include "targets.h"

#include "discovery.h"
#include "output.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace tvsistat {
namespace {

using namespace std::chrono_literals;
using samples::ExitStatus;
using samples::Failure;

std::chrono::steady_clock::time_point now() {
    return std::chrono::steady_clock::now();
}

/* Every cache of the host as a target, or why there is none. Waits as the request says. */
std::variant<std::vector<Target>, Failure> allTargets(const Request& request) {
    const auto start = now();
    for (bool saidSo = false;; saidSo = true) {
        auto found = samples::listCaches();
        if (auto* caches = std::get_if<samples::CacheListings>(&found)) {
            std::vector<Target> targets;
            for (auto& cache : *caches) {
                targets.push_back({false, std::move(cache.location)});
            }
            return targets;
        }
        auto& failure = std::get<Failure>(found);
        const bool waits =
            request.wait && failure.status == ExitStatus::NoCache &&
            (*request.wait == 0 || now() - start < std::chrono::duration<double>(*request.wait));
        if (!waits) {
            return std::move(failure);
        }
        if (!saidSo) {
            complain(failure.sentence + "; waiting for one");
        }
        std::this_thread::sleep_for(250ms);
    }
}

} // namespace

std::variant<std::vector<Target>, Failure> findTargets(const Request& request) {
    std::vector<Target> targets = request.targets;
    if (!request.takesAll) {
        return targets;
    }
    auto all = allTargets(request);
    if (auto* failure = std::get_if<Failure>(&all)) {
        return std::move(*failure);
    }
    for (Target& target : std::get<std::vector<Target>>(all)) {
        if (std::ranges::find(targets, target) == targets.end()) {
            targets.push_back(std::move(target));
        }
    }
    return targets;
}

size_t placeAmong(std::span<const Target> targets, const samples::StreamHeader& header) {
    const auto found = std::ranges::find_if(targets, [&](const Target& target) {
        return target.name == (target.isBrox ? header.brox : header.location);
    });
    return static_cast<size_t>(found - targets.begin());
}

} // namespace tvsistat
