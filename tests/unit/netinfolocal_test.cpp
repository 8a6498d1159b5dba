/* Registry files of server processes: their bytes, their writers, and how a Brox leads to its
 * cache. CTest runs each test in a process of its own; those that need the process-wide state
 * fresh several times fork. */
#include "netinfolocal.h"

#include <climits>
#include <fcntl.h>
#include <filesystem>
#include <netdb.h>
#include <optional>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hostprocess.h"
#include "hostunix.h"
#include "processstate.h"
#include "registrydirectory.h"
#include "rows.h"
#include "runningprogram.h"
#include "temporarydirectory.h"

using namespace testing;
using namespace testsupport;

namespace {

using namespace std::string_literals;
using standin::HeaderForm;
using standin::RegistryRecord;

/* A lookup with everything that it fills. */
struct Lookup {
    explicit Lookup(const std::string& name)
        : result(NetInfoFindLocal(name.c_str(), &info, &err)) {}
    std::string outcome() { return std::to_string(result) + " " + err.msg(); }
    /* The six strings in file order. */
    std::vector<std::string> strings() const {
        return {info.logName(),     info.productDir(),  info.cmdLine(),
                info.configFile1(), info.configFile2(), info.exePath()};
    }
    SysErrorSType err;
    NetInfoSType info;
    NetInfoResultEnum result;
};

RegistryRecord liveRecord(NetInfoEnum kind = NI_BROX, std::uint32_t key = 77) {
    RegistryRecord record;
    record.processId = getpid();
    record.kind = kind;
    record.key = key;
    return record;
}

RegistryRecord oldRecord() {
    RegistryRecord record = liveRecord();
    record.form = HeaderForm::bytes48;
    record.version = "3.3";
    return record;
}

constexpr pid_t noProcess = INT_MAX; // no process id is that large

/* A registry directory of the test's own, with the host id 0x1f2e. */
class NetInfoLocal : public Test {
protected:
    NetInfoLocal() {
        setenv("TALVEX_GLOBAL_DIR", directory.path().c_str(), 1);
        setenv("TZ", "UTC", 1);
        registry.writeHostId(0x1f2e);
        before = processState().descriptors;
    }
    ~NetInfoLocal() override { EXPECT_EQ(processState().descriptors, before); }

    std::string pathOf(const std::string& name) const { return registry.recordFile(name); }
    std::string hostIdPath() const { return registry.hostIdFile(); }
    /* The cache of a Brox, or why it has none. */
    static std::string cacheOf(const std::string& brox) {
        ShrPcLocationArgType location;
        SysErrorSType err;
        const BoolType found = NetInfoLocalCacheNameForBrox(brox.c_str(), &location, &err);
        EXPECT_EQ(location.locationStr[0] != '\0', found != FALSE);
        return found ? location.locationStr : err.msg();
    }

    TemporaryDirectory directory;
    standin::RegistryDirectory registry{directory.path()};
    std::size_t before;
};

TEST_F(NetInfoLocal, AFileOfEveryLengthIsReadOrRefused) {
    for (RegistryRecord record : {liveRecord(), oldRecord()}) {
        const bool isShort = record.form == HeaderForm::bytes48;
        record.creationTime = 0x100000005;
        record.logFile = "/var/log/brox.log";
        for (std::size_t length = 0; length <= 60; ++length) {
            SCOPED_TRACE(std::to_string(length) + " bytes of version " + record.version);
            registry.writeRaw("p", encode(record).substr(0, length));
            const bool isRead = length == 48 || length >= 52;
            const std::size_t headerSize = isShort || length == 48 ? 48 : 52;
            const std::string refusal = "0 read unexpected number (" + std::to_string(length) +
                                        ") of bytes on file " + pathOf("p") + " errno = -1";
            Lookup lookup("p");
            EXPECT_EQ(lookup.outcome(), isRead ? "9 " : length == 0 ? "4 " : refusal);
            EXPECT_EQ(lookup.info.logName(),
                      isRead ? record.logFile.substr(0, length - headerSize) : "");
            EXPECT_EQ(lookup.info.timeStamp, !isRead ? 0 : headerSize == 48 ? 5 : 0x100000005);
        }
    }
}

TEST_F(NetInfoLocal, TheVersionTellsTheHeaderForm) {
    const std::pair<std::string, bool> cases[] = {
        {"", true},      {"2.9", true},       {"\xff.7.5", true}, {"3", true},
        {"3.3", true},   {"3.30", true},      {"3.3-1", true},    {"3.\x80", true},
        {"3.3/", true},  {"3.\xff.1", false}, {"30.1", true},     {"3.3.1", false},
        {"3.4", false},  {"3.7.5.1", false},  {"3...", false},    {"4", false},
        {"3.4/", false}, {"\x7f", false},
    };
    for (const auto& [version, isShort] : cases) {
        RegistryRecord record = liveRecord();
        record.version = version;
        record.withStrings = false;
        registry.writeRaw("p", encode(record).replace(48, 4, "abc\0"s));
        Lookup lookup("p");
        EXPECT_EQ(lookup.outcome(), "9 ");
        EXPECT_STREQ(lookup.info.logName(), isShort ? "abc" : "");
        EXPECT_EQ(lookup.info.timeStamp, isShort ? 0 : std::int64_t{0x636261} << 32);
        EXPECT_EQ(lookup.info.version, version);
    }
}

TEST_F(NetInfoLocal, StringsAreTakenInFileOrderAsFarAsTheyGo) {
    const std::string longest(24587, 'x');
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"log\0dir\0cmd\0c1\0c2\0exe"s, {"log", "dir", "cmd", "c1", "c2", "exe"}},
        {"log\0\0cmd\0"s, {"log", "", "cmd"}},
        {"\0\0\0\0\0exe"s, {"", "", "", "", "", "exe"}},
        {"a\0b\0c\0d\0e\0f\0g\0"s, {"a", "b", "c", "d", "e", "f"}},
        {longest, {longest}},
        {longest + "x", {}},
        {"a\0"s + longest, {}},
    };
    for (RegistryRecord record : {liveRecord(), oldRecord()}) {
        record.withStrings = false;
        for (auto [area, expected] : cases) {
            expected.resize(6);
            registry.writeRaw("p", encode(record) + area);
            EXPECT_EQ(Lookup("p").strings(), expected) << PrintToString(area);
        }
    }
}

TEST_F(NetInfoLocal, HeaderFieldsArriveInTheRecordAndLeaveItForTheNext) {
    RegistryRecord record = liveRecord(NI_PGSVR);
    record.creator = "sixteen chars ab";
    record.version = "3.7.5.1-beta";
    record.port = 0x901F;
    record.creationTime = (std::int64_t{1} << 32) + 60;
    record.logFile = "/log";
    std::string bytes = encode(record);
    bytes.replace(2, 2, "\xCD\xAB"); // the upper half of the port word means nothing
    registry.writeRaw("p", bytes);
    Lookup lookup("p");
    const NetInfoSType& info = lookup.info;
    EXPECT_EQ(lookup.outcome(), "9 ");
    const auto texts = [&] {
        return std::vector<std::string>{info.name(), info.creator, info.version,
                                        info.creationTimeStr, info.machineName};
    };
    EXPECT_THAT(std::tuple(info.processId, info.kind, info._port, info.hostId, info.ftok_key),
                FieldsAre(getpid(), NI_PGSVR, 0x901F, 0x1f2eU, -1));
    EXPECT_THAT(texts(), ElementsAre("p", "sixteen chars ab", "3.7.5.1-beta", "Feb 07 06:29", ""));
    EXPECT_EQ(NetInfoFindLocal("gone", &lookup.info, nullptr), NIRES_DOESNOTEXIST);
    EXPECT_THAT(std::tuple(info.processId, info.kind, info._port, info.hostId, info.timeStamp),
                FieldsAre(-1, NI_UNKNOWN, 0, 0xFFFFFFFFU, 0));
    EXPECT_THAT(texts(), ElementsAre("gone", "", "", "", ""));
    EXPECT_EQ(lookup.strings(), std::vector<std::string>(6));
}

TEST_F(NetInfoLocal, OnlyAMonitorsKeyIsRemembered) {
    const std::tuple<const char*, NetInfoEnum, std::uint32_t, std::int32_t, std::string> cases[] = {
        {"brox", NI_BROX, 5, -1, " -1"},
        {"prod~1", NI_SHRPCMON, 6, 6, "prod~1 6"},
        {"prod~2", NI_SHRPCMON, 0, 0, "prod~2 0"},
        {"prod~3", NI_SHRPCMON, 0xFFFFFFFE, -2, "prod~3 -2"},
        {"none", NI_SHRPCMON, 0xFFFFFFFF, -1, "prod~3 -2"},
    };
    std::int32_t key = 99;
    EXPECT_EQ(NetInfoLocalFindFtokKeyForCache("nobody", &key, nullptr, FALSE), NIRES_DOESNOTEXIST);
    EXPECT_EQ(key, -1);
    for (const auto& [name, kind, recorded, found, remembered] : cases) {
        registry.writeRecord(name, liveRecord(kind, recorded));
        EXPECT_EQ(NetInfoLocalFindFtokKeyForCache(name, &key, nullptr, FALSE), NIRES_OK);
        EXPECT_EQ(key, found) << name;
        const CachedFtokKeyType last = NetInfoLocalCachedFtokKey();
        EXPECT_EQ(last.locationStr + (" " + std::to_string(last.key)), remembered) << name;
    }
}

TEST_F(NetInfoLocal, WhatCannotBeReadIsReportedAtOnce) {
    const std::string path = pathOf("p");
    std::optional<ScopedFault> fault;
    int writer = -1;
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[] {}, "1 file not found: " + path + " errno = -1"},
        {[&] { mkfifo(path.c_str(), 0600); }, "4 "},
        {[&] { writer = open(path.c_str(), O_RDWR); }, // and is silent
         "0 read of 52 bytes failed on file " + path +
             " failed with EAGAIN Resource temporarily unavailable EWOULDBLOCK"},
        {[&] { remove(path.c_str()), std::filesystem::create_symlink(path, path); },
         "1 file not found: " + path + " errno = -1"},
        {[&] { remove(path.c_str()), std::filesystem::create_symlink("/dev/zero", path); },
         "9 "}, // without end
        {[&] { remove(path.c_str()), mkdir(path.c_str(), 0700); },
         "0 read of 52 bytes failed on file " + path + " failed with EISDIR Is a directory"},
        /* The form of 48 bytes is opened and read twice. */
        {[&] { remove(path.c_str()), registry.writeRecord("p", oldRecord()); }, "9 "},
        {[&] { fault.emplace("open", EACCES, 2); },
         "0 open(" + path + ", ORDONLY) failed with EACCES Permission denied"},
        {[&] { fault.emplace("read", EIO); },
         "0 read of 52 bytes failed on file " + path + " failed with EIO Input/output error"},
        {[&] { fault.emplace("read", EIO, 2); },
         "0 read of 48 bytes failed on file " + path + " failed with EIO Input/output error"},
    };
    for (const auto& [arrange, outcome] : cases) {
        arrange();
        EXPECT_EQ(Lookup("p").outcome(), outcome);
        fault.reset();
    }
    close(writer);
    SysErrorSType err; // the file may be emptied before it is read again
    EXPECT_EQ(handleError(&err, 0, "f", dup(0), 48), NIRES_ERROR);
    EXPECT_STREQ(err.msg(), "read unexpected number (0) of bytes on file f errno = -1");
}

TEST_F(NetInfoLocal, LivenessAndIdentityDecideTheResult) {
    const std::string slashes(4089, '/');
    struct {
        const char* what;
        int firstProbe, secondProbe; // errno of kill, 0: the signal would be delivered
        std::string link;
        const char* exePath;
        const char* cmdLine;
        NetInfoResultEnum result;
        bool isForeign;
    } const cases[] = {
        {"gone", ESRCH, 0, "/x/broxd", "/x/broxd", "", NIRES_STALE, false},
        {"same executable", EPERM, EPERM, "/x/broxd", "/x/broxd", "", NIRES_OK, false},
        {"deleted", 0, 0, "/x/app (deleted)", "/x/app", "", NIRES_EXE_DEL, false},
        {"deleted, foreign", EPERM, EPERM, "/x/app (deleted)", "/x/app", "", NIRES_EXE_DEL, true},
        {"deleted, ends", 0, ESRCH, "/x/app (deleted)", "/x/app", "", NIRES_STALE, false},
        {"not quite deleted", 0, 0, "/x/app (deleted) ", "/x/app", "", NIRES_OK, false},
        {"recycled, foreign", EPERM, EPERM, "/x/broxd", "/x/app", "", NIRES_OK, true},
        {"recycled, ends", 0, ESRCH, "/bin/sh", "/x/app", "", NIRES_STALE, false},
        {"netldid", EPERM, EPERM, "/x/netldid", "", "", NIRES_OK, false},
        {"broxd", EPERM, EPERM, "/x/broxd", "", "", NIRES_OK, false},
        {"shrpcmonitor", EPERM, EPERM, "shrpcmonitor", "", "", NIRES_OK, false},
        {"longer name", EPERM, EPERM, "/x/broxd2", "", "", NIRES_OK, true},
        {"log receiver", EPERM, EPERM, "/x/vok", "", "logreceiver -p 1", NIRES_OK, false},
        {"log sender", EPERM, EPERM, "/x/vok", "", "logsender", NIRES_OK, false},
        {"other vok", EPERM, EPERM, "/x/vok", "", "a logsender", NIRES_OK, true},
        {"longest link", EPERM, EPERM, slashes + "/broxd", "", "", NIRES_OK, false},
        {"link too long", EPERM, EPERM, slashes + "/broxd2", "", "", NIRES_OK, true},
        {"no link", EPERM, EPERM, "", "/x/app", "", NIRES_OK, true},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        RegistryRecord record = liveRecord();
        record.executablePath = row.exePath;
        record.commandLine = row.cmdLine;
        registry.writeRecord("p", record);
        int probes = 0;
        const ScopedOverride<decltype(kill)> probe("kill", [&](pid_t pid, int signal) {
            EXPECT_THAT(std::pair(pid, signal), Pair(getpid(), 0));
            errno = ++probes == 1 ? row.firstProbe : row.secondProbe;
            return errno == 0 ? 0 : -1;
        });
        const ScopedOverride<decltype(readlink)> link(
            "readlink", [&](const char* path, char* to, size_t size) -> ssize_t {
                EXPECT_EQ(path, "/proc/" + std::to_string(getpid()) + "/exe");
                return row.link.empty() ? -1 : static_cast<ssize_t>(row.link.copy(to, size));
            });
        Lookup lookup("p");
        EXPECT_EQ(lookup.outcome(), std::to_string(row.result) + " ");
        EXPECT_EQ(lookup.info.ePermFromKill, row.isForeign ? TRUE : FALSE);
        EXPECT_STREQ(lookup.info.cmdLine(), row.cmdLine) << "the record is complete in any case";
    }
}

TEST_F(NetInfoLocal, ADeletedExecutableIsUsable) {
    const std::string executable = directory.file("sleeper");
    std::filesystem::copy_file("/bin/sleep", executable);
    RunningProgram sleeper({executable, "60"});
    RegistryRecord record = liveRecord();
    record.processId = sleeper.pid();
    record.executablePath = executable;
    registry.writeRecord("p", record);
    const std::string link = "/proc/" + std::to_string(sleeper.pid()) + "/exe";
    EXPECT_TRUE(eventually([&] { return std::filesystem::read_symlink(link) == executable; }));
    EXPECT_EQ(Lookup("p").result, NIRES_OK);
    std::filesystem::remove(executable);
    EXPECT_EQ(Lookup("p").result, NIRES_EXE_DEL);
}

TEST_F(NetInfoLocal, WithoutALinkTheStatusLineTellsTheName) {
    const std::pair<std::string, bool> cases[] = {
        {"7 (broxd) S 1", true},
        {"7 (broxd)) S 1", true},
        {"7 ((broxd) S 1", false},
        {"7 (broxd S 1", false},
        {") (broxd", false},
        {"", false},
        {"7 (broxd) " + std::string(1012, 'x'), true},
        {"7 (broxd) " + std::string(1013, 'x'), false},
    };
    forEachRow(cases, [&](const auto& line, const auto& isAccepted) {
        const ScopedOverride<decltype(read)> status("read", [&](int, void* to, size_t size) {
            return static_cast<ssize_t>(line.copy(static_cast<char*>(to), size));
        });
        EXPECT_EQ(isTalvexProcess(getpid(), "", ""), isAccepted ? TRUE : FALSE) << line;
    });
    prctl(PR_SET_NAME, "broxd");
    EXPECT_FALSE(isTalvexProcess(noProcess, "", ""));
    const ScopedFault interrupted("read", EINTR, 1, 4);
    EXPECT_TRUE(isTalvexProcess(getpid(), "", ""));
    EXPECT_EQ(interrupted.hits(), 4);
}

/* The resolver's questions, one a line, when a fresh process on a host of that name (none if empty)
   asks for its address twice, then the address and the pauses that were made. The resolver fails
   the first `failures` times when it is asked for IPv4, and knows `address`. */
std::string addressOf(const std::string& host, int status, int failures, const char* address) {
    const auto outcome = inChild([&] {
        const ScopedOverride<decltype(gethostname)> name("gethostname", [&](char* to, size_t size) {
            snprintf(to, size, "%s", host.c_str());
            return host.empty() ? -1 : 0;
        });
        const ScopedOverride<decltype(getaddrinfo)> resolve(
            "getaddrinfo",
            [&](const char* node, const char*, const addrinfo* hints, addrinfo** results) {
                const bool isIpv4 = hints->ai_family == AF_INET;
                std::printf("%s %s flags %#x\n", node, isIpv4 ? "IN" : "IN6",
                            static_cast<unsigned>(hints->ai_flags));
                addrinfo numeric = {};
                numeric.ai_flags = AI_NUMERICHOST;
                return isIpv4 && --failures >= 0 ? status
                                                 : getaddrinfo(address, nullptr, &numeric, results);
            });
        const long polls = callCount("poll");
        char text[46];
        SocketGetFirstIpAddressForMyHost(text, sizeof text);
        SocketGetFirstIpAddressForMyHost(text, sizeof text);
        std::printf("%s, %ld pauses", text, callCount("poll") - polls);
    });
    return outcome.out;
}

TEST(HostAddress, IsAskedForByTheHostsNameAndWrittenShort) {
    const std::string in = "db IN flags 0\n";
    const std::string none = in + in + ", 0 pauses"; // which is not remembered
    const std::string in6 = in + "db IN6 flags 0x8\n::1, 0 pauses";
    const std::string longName(127, 'h');
    const std::tuple<std::string, int, int, const char*, std::string> cases[] = {
        {"", 0, 0, "::1", ", 0 pauses"},
        {"192.0.2.7", 0, 0, "192.0.2.7", "192.0.2.7 IN flags 0x4\n192.0.2.7, 0 pauses"},
        {"::ffff:192.0.2.7", 0, 0, "192.0.2.7", "192.0.2.7 IN flags 0x4\n192.0.2.7, 0 pauses"},
        {"::1", EAI_NONAME, 9, "::1", "127.0.0.1 IN flags 0x4\n::1 IN6 flags 0xc\n::1, 0 pauses"},
        {"::ffff:1.2.3.4x", 0, 0, "1.2.3.4", "::ffff:1.2.3.4x IN flags 0\n1.2.3.4, 0 pauses"},
        {longName + "hh", 0, 0, "::1", longName + " IN flags 0\n::1, 0 pauses"},
        {"db", EAI_NONAME, 9, "::1", in6},
        {"db", EAI_NODATA, 9, "::1", in6},
        {"db", EAI_FAMILY, 9, "::1", in6},
        {"db", EAI_ADDRFAMILY, 9, "::1", in6},
        {"db", EAI_FAIL, 9, "::1", none},
        {"db", EAI_FAIL, 1, "::1", in + in + "::1, 0 pauses"},
        {"db", EAI_AGAIN, 4, "::1", in + in + in + in + in + "::1, 3 pauses"},
        {"db", EAI_AGAIN, 5, "::1", in + in + in + in + in + in + "::1, 3 pauses"},
    };
    for (const auto& [host, status, failures, address, expected] : cases) {
        EXPECT_EQ(addressOf(host, status, failures, address), expected);
    }
    for (const auto& [address, text] : pairs(R"(
            ::ffff:192.0.2.7=192.0.2.7  ::192.0.2.7=::c000:207  2001:0DB8::00A0=2001:db8::a0
            ::=::  ::a=::a  fe80::=fe80::  1:0:2:3:4:5:6:7=1:0:2:3:4:5:6:7  1:0:0:2:0:0:0:3=1:0:0:2::3
            1:0:0:2:3:0:0:4=1::2:3:0:0:4
            abcd:ef01:2345:6789:abcd:ef01:2345:6789=abcd:ef01:2345:6789:abcd:ef01:2345:6789)")) {
        EXPECT_EQ(addressOf("db", 0, 0, address.c_str()), in + text + ", 0 pauses");
    }
    debug_conn = 1;
    const std::string asked = "[^\n]+ \\[tid 0x[0-9a-f]+\\]: AF_INET";
    const std::string answer = " \\.\\.\\.\\) db IN";
    EXPECT_THAT(addressOf("db", EAI_NONAME, 9, "::1"),
                MatchesRegex(asked + "4 getaddrinfo\\(db, NULL, flags 0x0" + answer +
                             " flags 0\n -- fail, status -2 \n" + asked +
                             "6 getaddrinfo\\(db, NULL, flags 0x8" + answer +
                             "6 flags 0x8\n -- OK::1, 0 pauses"));
    debug_conn = 0;
}

/* How often the resolver of a fresh process is asked when the host's address is wanted: for the
   first time, at once again, and 59,999 and 60,000 ms after that. It takes `span` ms for an answer;
   the first reads of the clock fail. */
std::string questionsTo(int status, int span, int failingReads, int statusOfIpv6) {
    const auto outcome = inChild([&] {
        long now = 1000, asked = 0;
        const ScopedOverride<decltype(clock_gettime)> clock("clock_gettime", [&](auto, auto* time) {
            if (failingReads-- > 0) {
                return -1;
            }
            *time = {now / 1000, now % 1000 * 1000000};
            return 0;
        });
        const ScopedOverride<decltype(getaddrinfo)> resolver(
            "getaddrinfo", [&](auto*, auto* service, auto* hints, auto** results) {
                ++asked;
                now += span;
                const int answer = hints->ai_family == AF_INET ? status : statusOfIpv6;
                return answer != 0 ? answer : getaddrinfo("127.0.0.1", service, hints, results);
            });
        const auto look = [&] {
            char text[46];
            SocketGetFirstIpAddressForMyHost(text, sizeof text);
            std::printf("%ld ", std::exchange(asked, 0));
        };
        look();
        const long end = now;
        for (const long since : {0L, 59999L, 60000L}) {
            now = std::max(now, end + since);
            look();
        }
    });
    return outcome.out;
}

TEST(HostAddress, AResolverThatDoesNotAnswerIsLeftAloneForAMinute) {
    const std::tuple<int, int, const char*> cases[] = {
        {EAI_FAIL, 2001, "1 0 0 1 "},   {EAI_FAIL, 2000, "1 1 1 1 "},
        {EAI_AGAIN, 2001, "1 0 0 1 "},  {EAI_AGAIN, 2000, "1 1 1 1 "},
        {EAI_AGAIN, 1999, "2 0 0 2 "},  {EAI_AGAIN, 500, "4 4 4 4 "},
        {EAI_AGAIN, 499, "5 0 0 5 "},   {EAI_AGAIN, 400, "5 5 5 5 "},
        {EAI_NONAME, 1001, "2 0 0 2 "}, {EAI_NONAME, 1000, "2 2 2 2 "},
        {0, 9000, "1 0 0 0 "},
    };
    for (const auto& [status, span, questions] : cases) {
        EXPECT_EQ(questionsTo(status, span, 0, status), questions) << status << " " << span;
    }
    EXPECT_EQ(questionsTo(EAI_NONAME, 1000, 0, EAI_AGAIN), "2 2 2 2 ") << "both families together";
    /* Nobody knows how slow it is. */
    EXPECT_EQ(questionsTo(EAI_AGAIN, 9000, INT_MAX, 0), "5 5 5 5 ");
    EXPECT_EQ(questionsTo(EAI_AGAIN, 9000, 1, 0), "5 1 0 0 ");
}

TEST_F(NetInfoLocal, TheHostIdIsReadOnceAndKept) {
    registry.writeRecord("prod", liveRecord());
    std::filesystem::remove(hostIdPath());
    const std::string missing = "Unable to open " + hostIdPath() + " ";
    EXPECT_EQ(Lookup("prod").outcome(), "9 " + missing);
    EXPECT_EQ(Lookup("prod").info.hostId, 4294967295U);
    EXPECT_EQ(cacheOf("prod"), missing);
    registry.writeHostIdBytes("\xff\xff\xff\xff\xff\xff\xff\xffmore");
    EXPECT_EQ(Lookup("prod").info.hostId, UINT64_MAX);
    std::filesystem::remove(hostIdPath());
    EXPECT_EQ(Lookup("prod").info.hostId, UINT64_MAX);
    EXPECT_EQ(cacheOf("prod"), "prod~ffffffffffffffff");
}

TEST_F(NetInfoLocal, AnUnreadableHostIdIsTriedFiveTimes) {
    const std::string path = hostIdPath();
    const int next = dup(0); // the descriptor that the file will get
    close(next);
    const std::string again =
        "failure after 5 retries, read(" + std::to_string(next) + ", &result, 8), reading " + path;
    std::optional<ScopedFault> denied;
    const std::tuple<std::function<void()>, std::size_t, std::string> cases[] = {
        {[] {}, 0, "Unable to open " + path + "  failed with ENOEXEC Exec format error"},
        {[&] { mkfifo(path.c_str(), 0600); }, 4, again},
        {[&] { mkdir(path.c_str(), 0700); }, 4, again + " failed with EISDIR Is a directory"},
        {[&] { denied.emplace("open", EACCES); }, 0,
         "open(" + path + ", O_RDONLY) failed with EACCES Permission denied"},
        {[&] { registry.writeHostIdBytes("7 bytes"); }, 4, again},
    };
    std::uint64_t id = 5;
    for (const auto& [arrange, pauses, text] : cases) {
        std::filesystem::remove(path);
        arrange();
        std::vector<int> made;
        const ScopedOverride<decltype(poll)> pause("poll", [&](pollfd*, nfds_t, int milliseconds) {
            made.push_back(milliseconds);
            errno = EINTR; // nobody asked about that one
            return 0;
        });
        SysErrorSType err;
        err.setErr(ENOEXEC); // a missing file leaves the code as it is
        EXPECT_FALSE(NetInfoLocalGetUniqueHostId(&id, &err, FALSE));
        EXPECT_EQ(made, std::vector<int>(pauses, 100));
        EXPECT_EQ(err.msg(), text);
        EXPECT_EQ(id, 5U);
    }
    registry.writeHostId(0xab12);
    const ScopedFault failing("read", EIO, 1, 4);
    EXPECT_TRUE(NetInfoLocalGetUniqueHostId(&id, nullptr, FALSE));
    EXPECT_EQ(id, 0xab12U);
}

TEST_F(NetInfoLocal, ABroxIsFoundByItsRecordOrByItsCaches) {
    const RegistryRecord live = liveRecord();
    const RegistryRecord monitor = liveRecord(NI_SHRPCMON);
    RegistryRecord dead = live, deadMonitor = monitor, newer = monitor;
    dead.processId = deadMonitor.processId = noProcess;
    newer.version = "3.7.5.10";
    const std::string none = "No brox or cache for brox named prod was found on this machine. "
                             "errno = -1";
    const std::pair<std::map<std::string, RegistryRecord>, std::string> cases[] = {
        {{{"prod", live}, {"prod~ab12", monitor}}, "prod~1f2e"},
        {{{"prod", dead}, {"prod~ab12", monitor}}, "prod~ab12"},
        {{{"prod~AB12.old", monitor}}, "prod~ab12"},
        {{{"prod~ffffffffffffffff", monitor}}, "prod~ffffffffffffffff"},
        {{}, none},
        {{{"prod~0", monitor}}, none},
        {{{"prodab12", monitor}, {"~ab12", monitor}}, none},
        {{{"production~ab12", monitor}, {"pro~ab12", monitor}, {"Prod~ab12", monitor}}, none},
        {{{"prod~1", deadMonitor}, {"prod~2", liveRecord(NI_VOK)}, {"prod~3", newer}}, none},
    };
    for (const auto& [records, expected] : cases) {
        for (const auto& [name, record] : records) {
            registry.writeRecord(name, record);
        }
        EXPECT_EQ(cacheOf("prod"), expected);
        for (const auto& [name, record] : records) {
            registry.removeRecord(name);
        }
    }
    /* Only nested directories make a name that long. */
    const std::string folder(250, 'd');
    const std::string name = folder + "/" + folder + "/brx"; // 505 characters, 510 with "~1f2e"
    std::filesystem::create_directories(registry.locksDirectory() / folder / folder);
    registry.writeRecord(name, liveRecord());
    registry.writeRecord(name + "x", liveRecord());
    EXPECT_EQ(cacheOf(name), name + "~1f2e");
    EXPECT_EQ(cacheOf(name + "x"), "[ERROR]: ShrPcCacheLocationStr() failed\n errno = -1");
}

TEST_F(NetInfoLocal, AWalkReadsTheRegistryFilesAndNothingElse) {
    const std::string longest(250, 'n');
    for (const std::string& name : {""s, "x"s, "a~1"s, "..LCK"s, longest}) {
        registry.writeRecord(name, liveRecord());
    }
    for (const char* other : {".LCK", "y.LCK", "y..lck", "y..LCK.", "LCK", "y..LCKz"}) {
        std::filesystem::copy_file(pathOf("x"), registry.locksDirectory() / other);
    }
    registry.writeRaw("broken", "garbage"); // of which a walk reports nothing
    using Walk = std::vector<std::pair<std::string, NetInfoResultEnum>>;
    const auto note = [](int count, const char* name, NetInfoResultEnum result, NetInfoSType* info,
                         void* data) -> BoolType {
        Walk& walk = *static_cast<Walk*>(data);
        walk.emplace_back(name, result);
        EXPECT_STREQ(info->name(), name);
        EXPECT_EQ(count, std::ssize(walk));
        return FALSE;
    };
    Walk walk;
    NetInfoLocalForeach(nullptr, note, &walk, nullptr, nullptr);
    EXPECT_THAT(walk, UnorderedElementsAre(Pair("..LCK", NIRES_OK), Pair("a~1", NIRES_OK),
                                           Pair("broken", NIRES_ERROR), Pair(longest, NIRES_OK),
                                           Pair("x", NIRES_OK)));
}

TEST_F(NetInfoLocal, TheFirstMatchingEntryOfTheDirectoryWins) {
    for (const char* name : {"prod~1", "prod~2", "prod~3"}) {
        registry.writeRecord(name, liveRecord(NI_SHRPCMON));
    }
    const auto first = std::find_if(
        std::filesystem::directory_iterator(registry.locksDirectory()), {},
        [](const auto& entry) { return entry.path().filename().string().starts_with("prod"); });
    EXPECT_EQ(cacheOf("prod") + "..LCK", first->path().filename());
}

TEST(GlobalDirectory, IsAnExistingOverrideOrOneOfTheTwoInstalledOnes) {
    const std::string warning =
        "Warning: using '/opt/talvex' instead of '/usr/talvex' which also exists.\n"
        "  Talvex will work best if only one exists.\n"
        "  Releases before 5.0 will work only with '/usr/talvex'.\n"
        "  Release 5.0 and later will work with either one.\n"
        "  This warning can be disabled by setting env variable TX_DISABLE_WARNING.\n";
    const TemporaryDirectory directory;
    const std::string path = directory.path();
    mkdir((path + "/x").c_str(), 0700);
    setenv("TVSI_TEST_DIR", path.c_str(), 1);
    const std::string longest = path + std::string(4093 - path.size(), '/');
    struct {
        bool hasOpt, hasUsr;
        std::string disable, override; // TX_DISABLE_WARNING, TALVEX_GLOBAL_DIR
        std::string chosen, warning;
    } const cases[] = {
        {false, false, "", "", "/opt/talvex/ 0", ""},
        {false, true, "", "", "/usr/talvex/ 0", ""},
        {true, true, "", "", "/opt/talvex/ 0", warning},
        {true, true, std::string(255, 'y'), "", "/opt/talvex/ 0", ""},
        {true, true, std::string(256, 'y'), "", "/opt/talvex/ 0", warning},
        {true, true, "", path, path + "/ 1", ""},
        {true, true, "", "$TVSI_TEST_DIR", "$TVSI_TEST_DIR/ 1", ""},
        {true, true, "", longest + "x", longest + "x/ 1", ""},
        {true, true, "", longest + "/", longest + "/ 1", ""},
        {false, true, "", longest + "/x", "/usr/talvex/ 0", ""},
        {false, true, "", longest + "////", "/usr/talvex/ 0", ""},
        {false, true, "", path + "/none", "/usr/talvex/ 0", ""},
    };
    for (const auto& row : cases) {
        const auto outcome = inChild([&] { // process-wide, chosen once
            setenv("TX_DISABLE_WARNING", row.disable.c_str(), 1);
            setenv("TALVEX_GLOBAL_DIR", row.override.c_str(), 1);
            const ScopedOverride<int(const char*, struct stat64*)> installed(
                "stat64", [&](const std::string& name, struct stat64* info) {
                    return name == "/opt/talvex"   ? row.hasOpt - 1
                           : name == "/usr/talvex" ? row.hasUsr - 1
                                                   : stat64(name.c_str(), info);
                });
            BoolType hasOverride = 7;
            const char* chosen = HostGetGlobalTalvexDir(&hasOverride);
            std::printf("%s %d", chosen, hasOverride);
            EXPECT_EQ(HostGetGlobalTalvexDir(nullptr), chosen);
        });
        EXPECT_EQ(outcome.out, row.chosen);
        EXPECT_EQ(outcome.err, row.warning);
    }
}

} // namespace
