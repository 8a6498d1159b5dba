/* Soak: soak ROUNDS [SEED]. Rounds of a server whose cache four threads query until it ends in some
   way; afterwards this process holds what it held after round 10. */
#include <atomic>
#include <csignal>
#include <fstream>
#include <optional>
#include <random>
#include <set>
#include <thread>

#include "attachcall.h"
#include "processstate.h"
#include "queries.h"
#include "require.h"
#include "server.h"
#include "temporarydirectory.h"

using namespace testsupport;

namespace {

/* What a query may answer at any moment. */
const std::set<int> documented = {TVSI_SUCCESS, TVSI_ERR_NOT_FOUND, TVSI_ERR_NO_BROX,
                                  TVSI_ERR_CACHE_CONNECTION_SEVERED, TVSI_ERR_CACHE_NOT_ATTACHED};

long residentPages() {
    long total = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident;
}

void runRound(const standin::ServerOptions& options, std::minstd_rand* random) {
    std::optional<standin::Server> server(std::in_place, options);
    require(attachForBrox(options.brox) == success, "the attach fails");
    std::atomic<int> strange = 0;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread](const std::stop_token& stop) {
            for (int i = thread; !stop.stop_requested(); ++i) {
                strange += !documented.contains(anyQuery(i));
                std::this_thread::yield();
            }
        });
    }
    usleep(static_cast<unsigned>((*random)() % 50000));
    const auto ending = (*random)() % 4; /* in one case it is the detach below */
    if (ending == 2) {
        server.reset();
    } else if (ending < 2) {
        kill(ending == 0 ? server->monitorPid() : server->broxPid(), SIGKILL);
        usleep(5000);
        server->noticeEndedMembers(); /* a zombie would count as alive */
    }
    usleep(static_cast<unsigned>((*random)() % 50000));
    threads.clear();
    require(strange == 0, std::to_string(strange) + " undocumented statuses");
    require(documented.contains(TvsiDetachSharedCache()), "the detach fails");
}

} // namespace

int main(int argc, char** argv) try {
    const int rounds = argc > 1 ? std::stoi(argv[1]) : 20;
    std::minstd_rand random(static_cast<unsigned>(argc > 2 ? std::stoi(argv[2]) : 1));
    const TemporaryDirectory directory;
    setenv("TALVEX_GLOBAL_DIR", directory.path().c_str(), 1);
    standin::ServerOptions options;
    options.brox = "soak";
    options.directory = directory.path();
    options.hostId = 0x1f2e; /* the library reads it once */
    TvsiInit();
    ProcessState early;
    long earlyPages = 0;
    for (int round = 1; round <= rounds; ++round) {
        runRound(options, &random);
        if (round <= 10) {
            early = restingState();
            earlyPages = residentPages();
        }
    }
    const ProcessState late = processStateSince(early);
    const long latePages = residentPages();
    printf("%d rounds; resident: %ld pages early, %ld late\n", rounds, earlyPages, latePages);
    require(late.sharedMemory == early.sharedMemory, "segments stay mapped");
    require(late.descriptors == early.descriptors, "descriptors stay open");
    require(late.threads == early.threads, "threads stay");
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) /* they keep what is freed */
    require(late.mappings == early.mappings, "mappings stay");
    require(std::labs(latePages - earlyPages) * 100 <= earlyPages, "memory changes by over 1 %");
#endif
} catch (const std::exception& error) {
    fprintf(stderr, "%s\n", error.what());
    return 1;
}
