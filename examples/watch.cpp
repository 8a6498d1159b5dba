#include <chrono>
#include <cstdio>
#include <tvsi.hpp>

int main(int argc, char** argv) {
    tvsi::Buffer buffer;
    const auto cache = tvsi::Cache::attachForBrox(argc > 1 ? argv[1] : "brox");
    if (!cache) {
        std::fprintf(stderr, "%s\n", cache.error().sentence.c_str());
        return 1;
    }
    for (const auto& sample : cache->samples<tvsi::Vok>(std::chrono::seconds(1), buffer)) {
        if (!sample) {
            std::fprintf(stderr, "%s\n", sample.error().sentence.c_str());
            return 1;
        }
        for (const tvsi::Vok vok : sample->records)
            std::printf("%-31s session %5d  commits %u\n", std::string(vok.name()).c_str(),
                        vok.sessionId(), vok.counters().commitCount);
        std::fflush(stdout);
    }
}
