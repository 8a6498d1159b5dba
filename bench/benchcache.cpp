#include "benchcache.h"

#include <cstring>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace bench {
namespace {

testsupport::TestCacheOptions optionsFor(int entries) {
    testsupport::TestCacheOptions options;
    options.geometry = standin::SegmentGeometry::withSlots(static_cast<std::uint32_t>(entries));
    return options;
}

std::unique_ptr<BenchCache> shared;

} // namespace

BenchCache::BenchCache(int entries) : TestCache(optionsFor(entries)), entries_(entries) {
    std::minstd_rand random(1);
    for (int slot = 2; slot < entries; ++slot) {
        const bool isPageServer = random() % 4 == 0;
        const std::string name = (isPageServer ? "PageServer" : "Session") + std::to_string(slot);
        /* Process ids beyond those of any process here. */
        occupy(static_cast<std::uint32_t>(slot), isPageServer ? SHRPC_VOK_PGSVR_MAIN : SHRPC_VOK,
               name, slot, 5000000 + slot);
        /* An owner has written the whole of its record. */
        std::memset(&entry(static_cast<std::uint32_t>(slot)).stats.u, 1,
                    sizeof(ShrPcStatsSType::u));
    }
}

const BenchCache& sharedCache(int entries) {
    if (!shared) {
        shared = std::make_unique<BenchCache>(entries);
    }
    return *shared;
}

void dropSharedCache() {
    shared.reset();
}

ShrPcPteSType* secondProcessTable(const BenchCache& cache) {
    const auto own = reinterpret_cast<std::uintptr_t>(cache.segment().address());
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        const std::uintptr_t start = std::stoull(line, nullptr, 16);
        std::istringstream fields(line);
        std::string range, permissions, offset, device;
        std::int64_t inode = 0;
        fields >> range >> permissions >> offset >> device >> inode;
        const bool isSegment = line.find("/SYSV") != std::string::npos;
        if (isSegment && inode == cache.segment().id() && start != own) {
            return reinterpret_cast<ShrPcPteSType*>(start +
                                                    cache.view().geometry().processTableOffset);
        }
    }
    throw std::runtime_error("the library has not mapped the segment");
}

void evictCaches() {
    const long known = sysconf(_SC_LEVEL3_CACHE_SIZE);
    const std::size_t size = 2 * (known > 0 ? static_cast<std::size_t>(known) : 32U << 20);
    static std::vector<char> other(size);
    for (std::size_t i = 0; i < size; i += 64) {
        ++other[i];
    }
}

} // namespace bench
