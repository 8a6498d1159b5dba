/* Clocks, the environment, file names and files, and the set-up of the process. */
#include "hostmutex.h"
#include "hostprocess.h"
#include "hostunix.h"
#include "processstate.h"
#include "rows.h"
#include "temporarydirectory.h"
#include "unixerr.h"
#include "utl.h"

#include <climits>
#include <cmath>
#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <grp.h>
#include <poll.h>
#include <pwd.h>

using namespace testing;
using namespace testsupport;

static bool hasRaisedPrivileges;

extern "C" char* secure_getenv(const char* name) noexcept {
    return hasRaisedPrivileges ? nullptr : getenv(name);
}

namespace {

std::string expand(const std::string& name, BoolType keepsLinks = TRUE,
                   decltype(HostUnixExpandFileName)* expansion = HostUnixExpandFileName) {
    std::string result(4097 + 8, '#');
    expansion(name.c_str(), result.data(), 4097, keepsLinks, TRUE);
    EXPECT_EQ(result.substr(4097), "########");
    return result.substr(0, result.find('\0'));
}

TEST(UserName, IsFetchedOnce) {
    const auto fetched = [](int error, int count) {
        return inChild([&] {
            const ScopedFault fault("getpwuid_r", error, 1, count);
            HostGetUserName();
            printf("%s %s", HostGetUserName(), expand("~/x").c_str());
        });
    };
    EXPECT_EQ(fetched(EIO, 1).out, "FORGED_USER /home/FORGED_USER/x");
    EXPECT_EQ(fetched(EIO, 1).err, "HostGetUserName:  getpwuid(" + std::to_string(getuid()) +
                                       ") returned NULL, errno = 5\n");
    const struct passwd* own = getpwuid(getuid());
    EXPECT_EQ(fetched(EINTR, 3).out, own->pw_name + std::string(" ") + own->pw_dir + "/x");
}

TEST(FileName, IsExpandedAndNormalised) {
    ASSERT_EQ(chdir("/usr"), 0);
    const std::string longest(4095, 'm');
    setenv("LONGEST", longest.c_str(), 1);
    setenv("TOO_LONG", (longest + "m").c_str(), 1);
    for (const auto& [name, value] : pairs(R"(HOME=/home/u/  ABS=/abs  DOUBLED=//a//b///c
            RELATIVE=x/  QUOTED=a"b  DOLLAR=$ABS  SET_2_EMPTY=)")) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    const std::string n4096(4096, 'N');
    const std::string a4095(4095, 'a');
    auto cases = pairs(R"(
        /x=/x  x=/usr/x  a/b/../c=/usr/a/c  .=/usr  ..=/  "/x y"=/x y  /"/x=/x
        $HOME//x=/home/u/x  ${HOME}x=/home/u/x  ${ABS}x=/absx  ${ABS=/abs  $ABS}=/abs}
        $ABS-x=/abs-x  /$ABS/x=/abs/x  /x$ABS=/x/abs  $ABS$ABS=/abs/abs  /$DOUBLED=/a/b/c
        $DOUBLED/x=/a/b/c/x  $RELATIVE/y=/usr/x/y  /$QUOTED=/a"b  /$DOLLAR=/$ABS
        $DOLLAR/x=$ABS/x  /$UNSET/x=/x  /$SET_2_EMPTY/x=/x  /p/$UNSET/x=/p/x  /p$UNSET/x=/p/x
        /p/${UNSET}x=/p/x  $UNSET=/usr/  /$UNSET=/  /price$$5=/price5  /a$$$ABS=/aABS
        /end$=/end$  /a$/b=/a$/b  /a${}b=/a${}b  /a${-}b=/a${-}b  $-x/../y=y  $=$
        /$TOO_LONG=/$TOO_LONG  $TOO_LONG/x=$TOO_LONG/x  ${TOO_LONG}=${TOO_LONG}
        /x/./y=/x/y  /x/././y=/x/y  /x/y/.=/x/y  /x/y/./=/x/y/  /x/.//.=/x  /x/..=/
        /x/y/..=/x/  /x/y/../=/x/  /a/b/c/../../d=/a/d  /a//../b=/b  /a/./../b=/b
        /a/../b/../c=/c  /x/.y/..z/...=/x/.y/..z/...  /x/..y/..=/x/  /x./y../z=/x./y../z
        ///x////y/////=/x/y/  /.=/.  /..=/..  /./x=/./x  /../x=/../x  /x/../../y=/../y)");
    cases.insert(cases.end(), {{"", ""},
                               {"/" + std::string(5000, 'a'), "/" + a4095},
                               {std::string(5000, '"') + "/x", "/x"},
                               {"/$LONGEST/x", "/" + longest},
                               {"/x$" + n4096 + "/y", "/x/y"},
                               {"$" + n4096 + "N", "$" + std::string(4095, 'N')},
                               {a4095, "/usr/" + std::string(4091, 'a')}});
    for (const auto& [name, expected] : cases) {
        EXPECT_EQ(expand(name), expected) << name.substr(0, 100);
    }
}

TEST(FileName, TildeStandsForAHomeDirectory) {
    const std::string home = getpwuid(getuid())->pw_dir;
    const std::string rootsHome = getpwnam("root")->pw_dir;
    const std::string name(255, 'n');
    setenv("HOME", "/elsewhere", 1);
    for (const auto& [path, expected] :
         pairs("~=" + home + "  ~$UNSET=" + home + "  ~/=" + home + "/  ~//x/./y=" + home +
               "/x/y  ~root/x=" + rootsHome + "/x  ~ro\"ot\"/x=" + rootsHome +
               "/x  ~nosuchuser/data=/home/nosuchuser/data  ~nosuchuser=~nosuchuser  ~root=~root" +
               "  /~root/x=/~root/x  ~" + name + "nn/x=/home/" + name + "/x")) {
        EXPECT_EQ(expand(path), expected) << path;
    }
    const ScopedFault interrupted("getpwnam_r", EINTR, 1, 2);
    EXPECT_EQ(expand("~root/x"), rootsHome + "/x");
    const ScopedFault failing("getpwnam_r", EIO);
    EXPECT_EQ(expand("~root/x"), "/home/root/x");
}

/* In an own directory: file, dir/file, and links. */
struct Files : Test {
    TemporaryDirectory directory;
    std::string root = std::filesystem::canonical(directory.path());

    Files() {
        std::filesystem::create_directory(root + "/dir");
        std::ofstream(root + "/file") << "12345";
        std::ofstream(root + "/dir/file") << "1234567";
        for (const auto& [name, target] :
             pairs("link=dir  twice=link  dangling=missing  loop=loop  top=/  ~none=dir")) {
            std::filesystem::create_symlink(target, root + "/" + name);
        }
    }
};

TEST_F(Files, NameIsResolvedAsFarAsItExists) {
    ASSERT_EQ(chdir(root.c_str()), 0);
    for (const auto& [name, expected] : pairs(R"(
            file=/file  dir=/dir/  dir/=/dir/  link=/dir/  twice/file=/dir/file
            link/file=/dir/file  link/none=/dir/none  twice/none/deeper/=/dir/none/deeper/
            none/x=/none/x  link/../file=/file  dangling=/dangling  dangling/x=/dangling/x
            loop/x=/loop/x  file/x=/file/x)")) {
        EXPECT_EQ(expand(name, FALSE), root + expected) << name;
    }
    EXPECT_EQ(expand("link"), root + "/link");
    EXPECT_EQ(expand("~none", FALSE), "~none");
    EXPECT_EQ(expand("top", FALSE), "/");
    EXPECT_EQ(expand("top/no-such-name/x", FALSE), "/no-such-name/x");
    EXPECT_EQ(expand("/./tmp", FALSE), "/tmp/");
    const ScopedFault denied("realpath", EACCES);
    EXPECT_EQ(expand("link/file", FALSE), root + "/link/file");
}

TEST(FileName, LosesTheAutomountersPrefix) {
    for (const auto& [name, expected] :
         pairs("/tmp_mnt/home/u=/home/u  /tmp_mnt//x=/x  /x/../tmp_mnt/y=/y  /tmp_mnt/=/  "
               "/tmp_mnt=/tmp_mnt  /tmp_mntx=/tmp_mntx  /a/tmp_mnt/b=/a/tmp_mnt/b")) {
        EXPECT_EQ(expand(name, TRUE, HostExpandFileName), expected);
    }
    EXPECT_EQ(expand("/tmp_mnt/home/u"), "/tmp_mnt/home/u");
}

TEST_F(Files, SizeOrWhatIsWrongIsTold) {
    setenv("TREE", root.c_str(), 1);
    const std::tuple<std::string, int64_t, BoolType, int> cases[] = {
        {"/file", 5, TRUE, 77},         {"/link/file", 7, TRUE, 77},
        {"/none", -1, FALSE, ENOENT},   {"/dangling", -1, FALSE, ENOENT},
        {"/file/x", -1, TRUE, ENOTDIR}, {"/loop", -1, TRUE, ELOOP}};
    for (const auto& [name, expectedSize, expectedToExist, expectedError] : cases) {
        int64_t size = -1;
        BoolType exists = 9;
        HostErrSType error;
        error.theErrno = 77;
        const BoolType isFound = expectedSize >= 0;
        EXPECT_EQ(HostPathExistSize((root + name).c_str(), &size, &exists, &error), isFound);
        EXPECT_THAT(std::tuple(size, exists, error.theErrno),
                    FieldsAre(expectedSize, expectedToExist, expectedError))
            << name;
        const std::string unexpanded = "${TREE}/dir/.." + name;
        size = -1;
        EXPECT_EQ(HostFileExistSize(unexpanded.c_str(), &size, &error), isFound);
        EXPECT_EQ(size, expectedSize);
        EXPECT_EQ(HostFileExist(unexpanded.c_str(), nullptr), isFound);
    }
}

TEST_F(Files, StatTextIsThatOfTheError) {
    struct stat64 info = {};
    char message[64] = "untouched";
    const ScopedFault interrupted("stat64", EINTR, 1, 3);
    EXPECT_TRUE(UnixIoStat((root + "/file").c_str(), &info, message, sizeof message));
    EXPECT_EQ(info.st_size, 5);
    EXPECT_STREQ(message, "untouched");
    EXPECT_FALSE(UnixIoStat("/no-such-name", &info, message, sizeof message));
    EXPECT_STREQ(message, "ENOENT No such file or directory");
    EXPECT_FALSE(UnixIoStat("/no-such-name", &info, message, 4));
    EXPECT_STREQ(message, "ENO");
}

TEST_F(Files, StatFallsBackToTheRealIdsAndReturns) {
    if (getuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    std::filesystem::permissions(root + "/dir", std::filesystem::perms(0700)); /* root's */
    std::filesystem::permissions(root, std::filesystem::perms(0755));
    const std::tuple<uid_t, gid_t, std::string, std::string> cases[] = {
        {0, 65534, "/dir/file", "1 7 1 0"},   {0, 0, "/dir/file", "1 7 1 0"},
        {0, 65534, "/dir/none", "0 -1 1 13"}, {0, 65534, "/none", "0 -1 0 2"},
        {1, 65534, "/dir/file", "0 -1 1 13"}, {65534, 65534, "/dir/file", "0 -1 1 13"}};
    forEachRow(cases, [&](uid_t real, gid_t effectiveGroup, auto& name, auto& result) {
        const auto outcome = inChild([&] {
            if (setgroups(0, nullptr) != 0 ||
                setresgid(real, effectiveGroup, effectiveGroup) != 0 ||
                setresuid(real, 65534, 65534) != 0) {
                _exit(2);
            }
            int64_t size = -1;
            BoolType exists = 9;
            HostErrSType error;
            const BoolType found = HostPathExistSize((root + name).c_str(), &size, &exists, &error);
            printf("%d %ld %d %d", found, size, exists, error.theErrno);
            EXPECT_THAT(std::pair(geteuid(), getegid()), Pair(65534U, effectiveGroup));
            const bool switches = real != 65534;
            HostUserIdSType saved = {7, 7};
            EXPECT_EQ(HostUseRealId_(&saved), switches);
            EXPECT_EQ(saved.uid, switches ? 65534U : 7U);
            EXPECT_EQ(saved.gid, switches ? effectiveGroup : 7U);
            EXPECT_THAT(std::pair(geteuid(), getegid()), Pair(real, real));
        });
        EXPECT_EQ(outcome.out, result);
    });
}

TEST_F(Files, OpenIsRepeatedAndClosedOnExec) {
    umask(0);
    const ScopedFault interrupted("open", EINTR, 1, 3);
    const int file = HostOpen((root + "/new").c_str(), O_RDWR | O_CREAT, 0640);
    EXPECT_EQ(fcntl(file, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(std::filesystem::status(root + "/new").permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(HostClose(file), 0);
}

TEST_F(Files, CloseIsRepeatedAndTellsTheLastResult) {
    for (const int error : {EINTR, ERESTART, EIO}) {
        int calls = 0;
        const ScopedOverride<decltype(close)> failingTwice("close", [&](int) {
            errno = ++calls > 2 ? errno : error;
            return calls > 2 ? 0 : -1;
        });
        EXPECT_EQ(HostClose(99), error == EIO ? -1 : 0);
        EXPECT_EQ(errno, error == EIO ? EIO : 0);
        EXPECT_EQ(calls, error == EIO ? 1 : 3);
    }
}

TEST_F(Files, ReadGoesOnToItsEnd) {
    const std::tuple<ssize_t, size_t, int, int, ssize_t, const char*> cases[] = {
        {7, 100, EINTR, 1, 7, "1234567"}, {5, 2, EINTR, 2, 5, "12345"},
        {5, 2, ERESTART, 3, 5, "12345"},  {20, 3, EINTR, 4, 7, "1234567"},
        {5, 2, EIO, 2, -1, "12"},         {0, 2, EIO, 1, 0, ""}};
    for (const auto& [wanted, pieces, error, nth, result, read] : cases) {
        const int file = open((root + "/dir/file").c_str(), O_RDONLY);
        char text[32] = "";
        const ScopedShortReads shortReads(pieces);
        const ScopedFault fault("read", error, nth, 1);
        EXPECT_EQ(HostReadFileNi_(file, text, wanted), result);
        EXPECT_STREQ(text, read);
        close(file);
    }
    char none;
    EXPECT_EQ(HostReadFileNi_(-1, &none, 1), 0);
}

TEST(Clock, ReadsAsZeroWhenItFailsOrTheTimeHasNoLocalForm) {
    const auto outcome = inNovember([] {
        unsigned short milliseconds = 7;
        EXPECT_EQ(HostFtime(&milliseconds), november16);
        EXPECT_EQ(milliseconds, 42) << "whole ones";
        const ScopedFault fault("clock_gettime", EINVAL);
        EXPECT_EQ(HostFtime(&milliseconds), 0);
        EXPECT_EQ(milliseconds, 0);

        time_t outOfRange = INT64_MAX;
        struct tm local;
        memset(&local, 0xFF, sizeof local);
        EXPECT_EQ(HostLocaltimeR(&outOfRange, &local), &local);
        EXPECT_EQ(local.tm_year, 0);
        TciCTimeStringType date;
        UtlCtime(outOfRange, &date);
        EXPECT_STREQ(date.msg, "01/00/00 00:00:00 UTC");
    });
    EXPECT_EQ(outcome.out, "");
    const std::string line = "NULL from localtime_r, errno = 75\n";
    EXPECT_EQ(outcome.err, line + line);
}

TEST(Clock, SleepTellsWhetherASignalCutItShort) {
    const auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(HostNanoSleep(50000000));
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(50));
    for (const int error : {EINTR, ERESTART, EINVAL}) {
        const ScopedFault fault("clock_nanosleep", error);
        EXPECT_EQ(HostNanoSleep(1), error != EINVAL) << error;
    }
}

TEST(Clock, SleepOfMillisecondsGoesOnAfterSignalsAndNeverGrowsWhateverTheClockDoes) {
    /* Milliseconds on the clock at each look at it, -1: it fails; a signal ends each sleep but the
       last. What is left of a millisecond is slept. */
    const std::pair<std::vector<double>, std::vector<int>> cases[] = {
        {{5000, 5010, 5029}, {30, 20, 1}},
        {{5000, 5029.5, 5029.75}, {30, 1, 1}},
        {{5000, -1, -1}, {30, 30, 30}},
        {{5000, 5010, -1}, {30, 20, 20}},
        {{5000, 4000, 5020}, {30, 30, 10}},
        {{5000, 5030}, {30}},
        {{-1, 5000}, {30}}};
    forEachRow(cases, [&](auto& looks, auto& sleeps) {
        std::size_t look = 0;
        std::vector<int> made;
        const ScopedOverride<decltype(clock_gettime)> clock("clock_gettime", [&](auto, auto* now) {
            const double at = looks.at(look++);
            const long nanoseconds = std::lround(at * 1000000);
            *now = at < 0 ? *now : timespec{nanoseconds / 1000000000, nanoseconds % 1000000000};
            return at < 0 ? -1 : 0;
        });
        const ScopedOverride<decltype(poll)> interrupted("poll", [&](auto*, auto, int span) {
            made.push_back(span);
            errno = EINTR;
            return look == looks.size() ? 0 : -1;
        });
        HostMilliSleep(30);
        EXPECT_EQ(made, sleeps) << PrintToString(looks);
    });
    const ScopedFault failing("poll", ENOMEM, 1, INT_MAX - 1);
    HostMilliSleep(60000);
    EXPECT_EQ(failing.hits(), 1) << "no signal";
}

TEST(Environment, ValueThatDoesNotFitOrRaisedPrivilegesCountAsUnset) {
    const std::string v99(99, 'v');
    const std::tuple<std::string, size_t, bool> cases[] = {
        {v99, 100, true}, {v99 + "v", 100, false}, {"", 100, false},
        {"ab", 3, true},  {"ab", 1, false},        {"ab", 0, false}};
    for (const auto& [value, size, fits] : cases) {
        setenv("TX_TEST", value.c_str(), 1);
        for (const bool isRaised : {false, true}) {
            hasRaisedPrivileges = isRaised;
            const bool isFound = fits && !isRaised;
            std::string text(128, '#');
            EXPECT_EQ(HostGetEnv("TX_TEST", text.data(), size), isFound);
            EXPECT_EQ(text.substr(size), std::string(128 - size, '#'));
            EXPECT_EQ(text.substr(0, size).c_str(), isFound ? value : "");
            EXPECT_EQ(HostEnvExists("TX_TEST"), !isRaised);
        }
    }
    char path[16]; /* still with raised privileges */
    HostUnixExpandFileName("/a${TX_TEST}/b", path, sizeof path, TRUE, TRUE);
    EXPECT_STREQ(path, "/a/b");
    hasRaisedPrivileges = false;
}

TEST(HostModule, SetsTheLoginNameIfThereIsOne) {
    const std::string longest(63, 'n');
    const std::tuple<int, std::string, std::string> cases[] = {
        {0, "carol", "carol"}, {0, longest, longest}, {ENXIO, "carol", ""}, {ENOTTY, longest, ""}};
    for (const bool inherits : {true, false}) {
        forEachRow(cases, [&](int error, auto& name, auto& set) {
            const auto outcome = inNovember([&] {
                inherits&& setenv("TX_LOGIN_NAME", "other", 1);
                const ScopedOverride<decltype(getlogin_r)> login("getlogin_r",
                                                                 [&](char* to, auto size) {
                                                                     EXPECT_EQ(size, 64U);
                                                                     strcpy(to, name.c_str());
                                                                     return error;
                                                                 });
                HostModuleInitializer();
                const char* value = getenv("TX_LOGIN_NAME");
                printf("%s", value == nullptr ? "(unset)" : value);
            });
            EXPECT_EQ(outcome.out + outcome.err, error == 0 ? set : inherits ? "other" : "(unset)");
        });
    }
}

TEST(SocketModule, WarnsOfARandomDeviceThatCanNotBeOpened) {
    const auto outcome = inChild([] {
        netSocketMutex = {};
        printf("before");
        const ScopedFault fault("open", EACCES);
        NetSocketModuleInitializer();
        _exit(netSocketMutex.initialized ? 0 : 1);
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "before"); /* flushed first */
    EXPECT_EQ(outcome.err, "unable to open /dev/urandom, netsocket: HostOpen( /dev/urandom , "
                           "O_RDONLY) failed failed with EACCES Permission denied\n");
    const auto quiet = inChild([] {
        const size_t descriptors = processState().descriptors;
        const ScopedFault interruption("open", EINTR, 1, 2);
        NetSocketModuleInitializer();
        EXPECT_EQ(interruption.hits(), 2);
        EXPECT_EQ(processState().descriptors, descriptors);
    });
    EXPECT_EQ(quiet.out + quiet.err, "");
}

TEST(SocketModule, TraceLevelIsTheNumberGivenButAtLeastOne) {
    const std::string zeros(255, '0');
    const std::pair<std::string, int> cases[] = {{"", 0},          {"abc", 1},       {"0", 1},
                                                 {"-4", 1},        {"2", 2},         {"5x", 5},
                                                 {zeros + "7", 7}, {zeros + "07", 0}};
    for (const auto& [value, level] : cases) {
        setenv("TX_DEBUG_SOCKETS", value.c_str(), 1);
        netSocketDebugModeInitializer();
        EXPECT_EQ(debug_conn, level) << value;
    }
}

} // namespace
