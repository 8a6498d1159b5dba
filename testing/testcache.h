/* A live cache that the library finds: segment, host id file and registry files in a directory of
   its own, which TALVEX_GLOBAL_DIR names for as long as the object lives. */
#ifndef TESTING_TESTCACHE_H
#define TESTING_TESTCACHE_H

#include "registrydirectory.h"
#include "sharedsegment.h"
#include "temporarydirectory.h"

namespace testsupport {

struct TestCacheOptions {
    standin::SegmentGeometry geometry = standin::SegmentGeometry();
    pid_t monitor = getpid(); /* owner of slot 0; slot 1, the Brox's, is this process's */
    bool initDone = true;
    mode_t mode = 0600;
};

class TestCache {
public:
    explicit TestCache(const TestCacheOptions& options = {});
    TestCache& operator=(TestCache&&) = delete;
    ~TestCache();

    const std::string& name() const { return name_; } /* "prod~1f2e" */
    const std::string& broxName() const { return broxName_; }
    ShrPcConfigSType& header() const { return segment_.header(); }
    ShrPcPteSType& entry(std::uint32_t slot) const { return segment_.entry(slot); }
    void occupy(std::uint32_t slot, std::uint32_t kind, const std::string& name = {},
                std::int32_t sessionId = 0, pid_t pid = getpid()) const {
        segment_.occupy(slot, {pid, sessionId, name, kind});
    }
    const standin::CacheSegment& segment() const { return segment_; }
    standin::CacheSegment& segment() { return segment_; }
    standin::RegistryDirectory& registry() { return registry_; }
    const std::filesystem::path& directory() const { return directory_.path(); }
    /* Lets the cache's name, or another one, lead to the segment with `key`. */
    void recordCache(const std::string& name, key_t key, pid_t monitor = getpid()) {
        registry_.writeRecord(name, standin::monitorRecord(monitor, key));
    }

private:
    std::string name_ = "prod~1f2e", broxName_ = "prod";
    TemporaryDirectory directory_;
    standin::RegistryDirectory registry_;
    standin::CacheSegment segment_;
};

} // namespace testsupport

#endif
