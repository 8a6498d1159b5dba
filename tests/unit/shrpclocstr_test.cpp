/* The string that names a cache. */
#include "shrpclocstr.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(CacheLocation, IsTheBroxAndTheHostIdInHexadecimal) {
    const std::tuple<const char*, std::uint64_t, const char*> cases[] = {
        {"prod", 7982, "prod~1f2e"},
        {"a!b!prod", 0xAB12, "prod~ab12"},
        {"prod!", 1, "~1"},
        {"a~b", UINT64_MAX, "a~b~ffffffffffffffff"},
        {"", 0, "~0"},
        {"%s%n", 1, "%s%n~1"},
    };
    for (const auto& [brox, hostId, expected] : cases) {
        ShrPcLocationArgType location;
        EXPECT_TRUE(ShrPcCacheLocationStr(brox, hostId, &location));
        EXPECT_STREQ(location.locationStr, expected);
    }
}

TEST(CacheLocation, HasAtMostTwoCharactersLessThanItsPlace) {
    const std::pair<std::size_t, std::size_t> cases[] = {
        {0, 3}, {1, 3}, {4, 3}, {5, 3}, {512, 510}, {512, 511}, {512, 2000},
    };
    for (const auto& [size, length] : cases) {
        const std::string name(length - 2, 'b'); // and "~1"
        const bool fits = length + 2 <= size;
        std::string place(3000, '#');
        testing::internal::CaptureStderr();
        EXPECT_EQ(ShrPcCacheLocationStr(("host!" + name).c_str(), 1, place.data(), size), fits);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  fits ? "" : "ShrPcCacheLocationStr: name " + name + " is too large\n");
        const std::string text = size == 0 ? std::string(3000, '#') : fits ? name + "~1" : "";
        EXPECT_EQ(place.c_str(), text) << size;
        EXPECT_EQ(place.find_first_not_of('#', size), std::string::npos) << size;
    }
}

} // namespace
