#include "testcache.h"

namespace testsupport {

TestCache::TestCache(const TestCacheOptions& options)
    : registry_(directory_.path()), segment_(options.geometry, options.mode, [&](key_t key) {
          recordCache(name_, key, options.monitor);
      }) {
    setenv("TALVEX_GLOBAL_DIR", directory_.path().c_str(), 1);
    registry_.writeHostId(0x1f2e);
    registry_.writeRecord(broxName_, standin::broxRecord(getpid()));
    occupy(0, SHRPC_MONITOR, "shrpcmonitor", 0, options.monitor);
    occupy(1, SHRPC_BROX, broxName_);
    segment_.setInitDone(options.initDone);
}

TestCache::~TestCache() {
    unsetenv("TALVEX_GLOBAL_DIR");
}

} // namespace testsupport
