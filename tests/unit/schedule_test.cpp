/* When samples are due, on clocks that are set and when some come late. */
#include <gtest/gtest.h>

#include "schedule.h"

namespace {

using reader::Schedule;

/* The moments of a distance of 100: what happens at each, and how late it is. */
struct Step {
    std::int64_t wallClock, monotonic;
    std::int64_t left, late; /* late -1: it is still waited for */
};

void follow(bool isAligned, std::initializer_list<Step> steps) {
    Schedule schedule({1050, 7}, 100, isAligned);
    for (const auto& [wallClock, monotonic, left, late] : steps) {
        EXPECT_EQ(schedule.left({wallClock, monotonic}), left) << wallClock << " " << monotonic;
        if (left <= 0) {
            EXPECT_EQ(schedule.reach({wallClock, monotonic}), late) << monotonic;
        }
    }
}

TEST(Schedule, DoesNotDriftAndLeavesOutWhatIsMissed) {
    follow(false, {{1050, 7, 0, 0},
                   {1060, 17, 90, -1},
                   {1150, 107, 0, 0},
                   {9999, 290, -83, 83}, /* more than half the distance late: the next is at 307 */
                   {9999, 300, 7, -1},
                   {9999, 555, -248, 248}, /* 407 and 507 are over */
                   {9999, 556, 51, -1}});
}

TEST(Schedule, FollowsTheWallClock) {
    follow(true, {{1050, 7, 50, -1},
                  {1100, 57, 0, 0},
                  {1180, 137, 20, -1},
                  {1290, 247, -90, 90},
                  {1299, 256, 1, -1}, /* the next moment isn't skipped */
                  {1300, 257, 0, 0},
                  {5420, 277, -4020, 4020}, /* set forward: due at once */
                  {5421, 278, 79, -1},
                  {5401, 279, 99, -1}, /* set back a little */
                  {2030, 280, 70, -1}, /* and far */
                  {2100, 350, 0, 0},
                  {2099, 351, 101, -1}});
}

TEST(Schedule, WithoutAPauseIsAlwaysNow) {
    Schedule schedule({1000, 7}, 0, false);
    for (const std::int64_t now : {7, 8, 900}) {
        EXPECT_EQ(schedule.left({now, now}), 0);
        EXPECT_EQ(schedule.reach({now, now}), 0);
    }
}

} // namespace
