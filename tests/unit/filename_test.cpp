/* The expansion of file names, and the file operations that survive interruptions. */
#include "hostprocess.h"
#include "hostunix.h"
#include "rows.h"
#include "temporarydirectory.h"
#include "unixerr.h"
#include "utl.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>

namespace {

using testing::FieldsAre;
using testing::Pair;
using testsupport::inChild;
using testsupport::pairs;
using testsupport::ScopedFault;
using testsupport::ScopedOverride;
using testsupport::ScopedShortReads;

std::string expand(const std::string& name, BoolType keepsLinks = TRUE,
                   decltype(HostUnixExpandFileName)* expansion = HostUnixExpandFileName) {
    std::string result(4097 + 8, '#');
    expansion(name.c_str(), result.data(), 4097, keepsLinks, TRUE);
    EXPECT_EQ(result.substr(4097), "########");
    return result.c_str();
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
struct Files : testing::Test {
    testsupport::TemporaryDirectory directory;
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
    testsupport::forEachRow(cases, [&](const auto& real, const auto& effectiveGroup,
                                       const auto& name, const auto& result) {
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
}

} // namespace
