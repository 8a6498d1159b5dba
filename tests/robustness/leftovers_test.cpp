/* What tests create goes also when they are killed: not at once, but when the next one starts. */
#include <fstream>
#include <gtest/gtest.h>
#include <sys/shm.h>

#include "runningprogram.h"
#include "server.h"
#include "testcache.h"

using namespace testsupport;

namespace {

/* Says where its things are and waits to be killed. */
[[noreturn]] void announce(const std::filesystem::path& directory, int segmentId) {
    printf("%s %d\n", directory.c_str(), segmentId);
    fflush(stdout);
    for (;;) {
        pause();
    }
}

struct Case {
    const char* what;
    std::function<void()> body;
};

bool hasSegment(int id) {
    shmid_ds status{};
    return shmctl(id, IPC_STAT, &status) == 0;
}

} // namespace

TEST(Leftovers, OfAKilledTestGoWithTheNextOneAndThoseOfALivingOneStay) {
    const Case cases[] = {
        {"a cache",
         [] {
             const TestCache cache;
             announce(cache.directory(), cache.segment().id());
         }},
        {"a malformed segment",
         [] {
             TestCache cache;
             const auto segment =
                 standin::SharedSegment::ofBytes(std::vector<std::byte>(1), 0600, [&](key_t key) {
                     cache.recordCache("other~1", key, 1);
                 });
             announce(cache.directory(), segment.id());
         }},
        {"a server",
         [] {
             const TemporaryDirectory directory;
             standin::ServerOptions options;
             options.brox = "prod";
             options.directory = directory.path();
             const standin::Server server(options);
             announce(directory.path(), server.segmentId());
         }},
    };
    const TestCache living;
    for (const Case& example : cases) {
        SCOPED_TRACE(example.what);
        ChildProcess test(example.body);
        ASSERT_TRUE(eventually([&] { return test.out().ends_with("\n"); })) << test.err();
        std::istringstream said(test.out());
        std::filesystem::path directory;
        int segmentId = -1;
        said >> directory >> segmentId;
        removeLeftovers();
        EXPECT_TRUE(std::filesystem::exists(directory) && hasSegment(segmentId)) << "it lives";
        test.send(SIGKILL);
        EXPECT_EQ(test.wait(), -SIGKILL);
        EXPECT_TRUE(std::filesystem::exists(directory) && hasSegment(segmentId));
        EXPECT_TRUE(eventually([&] { /* a server's processes end a moment later */
                                     removeLeftovers();
                                     return !std::filesystem::exists(directory);
        }));
        EXPECT_TRUE(eventually([&] { return !hasSegment(segmentId); })) << "with its last user";
    }
    EXPECT_TRUE(std::filesystem::exists(living.directory()) && hasSegment(living.segment().id()));
}
