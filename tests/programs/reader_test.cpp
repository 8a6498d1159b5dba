/* tvsi-reader as those who start it meet it. */
#include <algorithm>
#include <chrono>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <grp.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "discovery.h"
#include "runningprogram.h"
#include "server.h"
#include "streamreader.h"
#include "testcache.h"
#include "versions.h"

namespace {

using namespace samples;
using testing::HasSubstr;
using testing::StartsWith;
using testsupport::Outcome;
using testsupport::StreamReader;

constexpr const char* hours = "--interval=4h";
constexpr std::chrono::hours hour(1);

class Reader : public testing::Test {
protected:
    static Outcome run(std::vector<std::string> arguments,
                       const testsupport::TestCache* of = nullptr) {
        arguments.insert(arguments.begin(), readerProgram());
        return testsupport::run(
            arguments, of ? testsupport::Environment{{"TALVEX_GLOBAL_DIR", of->directory()}}
                          : testsupport::Environment());
    }
    void expectLost(const std::vector<std::string>& arguments, int status,
                    const std::string& sentence) {
        StreamReader reader(arguments);
        const auto lost = reader.nextOf<Lost>();
        EXPECT_EQ(lost.status, status) << lost.sentence;
        EXPECT_THAT(lost.sentence, testing::MatchesRegex(sentence));
        EXPECT_EQ(reader.wait(), status);
        EXPECT_FALSE(reader.next());
        EXPECT_TRUE(reader.decoder().hasEnded());
        notices = reader.notices();
    }

    testsupport::TestCache cache;
    const std::string self = std::to_string(getpid());
    std::string notices;
};

TEST_F(Reader, BothNamesLeadToTheStream) {
    cache.occupy(2, SHRPC_VOK, "VokA", 7);
    cache.occupy(3, SHRPC_VokThr, "VokAThr", 7, INT_MAX);
    cache.entry(2).stats.cmn.rdbfDiskReads = 4294967295;
    const auto readField = [](const Record& record, std::string_view name) {
        return statscatalogue::read(record.blocks, *statscatalogue::findField(*record.kind, name));
    };
    for (const char* name : {"--brox=prod", "--cache=prod~1f2e"}) {
        StreamReader reader({name, "--interval=10ms", "--count=2"});
        const auto header = reader.nextOf<StreamHeader>();
        EXPECT_EQ(header.location + " " + header.brox, "prod~1f2e prod");
        EXPECT_EQ(header.interfaceVersion, "3.7.5.1");
        EXPECT_EQ(header.readerVersion, releaseVersion());
        char host[256] = "";
        gethostname(host, sizeof host - 1);
        EXPECT_EQ(header.host, host);
        EXPECT_EQ(std::tuple(header.monitorPid, header.slots), std::tuple(getpid(), 64));
        EXPECT_EQ(fcntl(reader.process().fd(), F_GETPIPE_SZ), 1 << 20) << "a sample fits";
        const auto one = reader.nextOf<Sample>();
        const auto two = reader.nextOf<Sample>();
        EXPECT_EQ(std::tuple(one.sequence, two.sequence, one.slots, one.used),
                  std::tuple(1, 2, 64, 4));
        EXPECT_GE(two.times.monotonicNs - one.times.monotonicNs + two.lateNs, 9'000'000);
        ASSERT_EQ(one.records().size(), 4U);
        EXPECT_EQ(one.records()[0].startedNs, header.monitorStartedNs);
        const Record& vok = one.records()[2];
        EXPECT_EQ(vok.kind->bit, SHRPC_VOK);
        EXPECT_EQ(std::tuple(vok.pid, vok.session, vok.name), std::tuple(getpid(), 7, "VokA"));
        EXPECT_EQ(std::tuple(vok.state, vok.uid), std::tuple(ProcessState::Alive, geteuid()));
        EXPECT_EQ(readField(vok, "rdbfDiskReads").asUnsigned(), 4294967295U);
        EXPECT_EQ(one.records()[3].state, ProcessState::Ended);
        reader.nextOf<End>();
        EXPECT_EQ(reader.wait(), 0);
    }
    cache.recordCache("a~b~1", cache.segment().key());
    EXPECT_EQ(StreamReader({"--cache=a~b~1"}).nextOf<StreamHeader>().brox, "a~b");
    StreamReader narrowed({"--brox=prod", "--kinds=vok,brox", "--no-users", "--count=1"});
    const auto sample = narrowed.nextOf<Sample>();
    EXPECT_EQ(std::tuple(sample.used, sample.records().size()), std::tuple(4, 2U));
    EXPECT_EQ(std::tuple(sample.records()[0].state, sample.records()[0].uid),
              std::tuple(ProcessState::Alive, samples::unknownUser));
}

TEST_F(Reader, IsAskedForWhatIsWantedAlone) {
    ReaderOptions options{false, "prod~1f2e", std::chrono::milliseconds(1500)};
    options.isAligned = true;
    options.count = 3;
    options.kinds = SHRPC_VOK | SHRPC_BROX;
    options.hasUsers = false;
    const auto reader = std::get<ReaderProcess>(ReaderProcess::start(options));
    std::string words;
    EXPECT_TRUE(testsupport::eventually(
        [&] { /* for a moment they aren't in place yet */
              std::ifstream file("/proc/" + std::to_string(reader.pid()) + "/cmdline");
              words.assign(std::istreambuf_iterator<char>(file), {});
              return words.starts_with("tvsi-reader");
        }));
    std::ranges::replace(words, '\0', ' ');
    EXPECT_EQ(words, "tvsi-reader --cache=prod~1f2e --interval=1.500000000 --align --count=3 "
                     "--kinds=brox,vok --no-users ");
    std::ifstream environment("/proc/" + std::to_string(reader.pid()) + "/environ");
    const std::string variables(std::istreambuf_iterator<char>(environment), {});
    EXPECT_THAT(variables, HasSubstr(std::string("LC_ALL=C\0", 9)));
}

TEST_F(Reader, HasNothingOfItsParent) {
    const std::string file = cache.directory() / "file";
    ASSERT_GE(open(file.c_str(), O_CREAT | O_RDWR, 0600), 0); // NOLINT: it would be inherited
    sigset_t terminate;
    sigemptyset(&terminate);
    sigaddset(&terminate, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &terminate, nullptr);
    std::signal(SIGINT, SIG_IGN);
    StreamReader reader({"--brox=prod", hours});
    reader.nextOf<Sample>();
    const std::filesystem::path process = "/proc/" + std::to_string(reader.process().pid());
    for (const auto& descriptor : std::filesystem::directory_iterator(process / "fd")) {
        EXPECT_NE(std::filesystem::read_symlink(descriptor.path()), file);
    }
    std::ifstream status(process / "status");
    const std::string text{std::istreambuf_iterator<char>(status), {}};
    EXPECT_THAT(text, HasSubstr("SigBlk:\t0000000000000000\n"));
    EXPECT_THAT(text, testing::ContainsRegex("SigIgn:\t0*.1001000\n")) << "SIGPIPE, SIGXFSZ";
}

TEST_F(Reader, SamplesThatComeLateSaySo) {
    StreamReader reader({"--brox=prod", "--interval=20ms"});
    const auto before = reader.nextOf<Sample>();
    kill(reader.process().pid(), SIGSTOP);
    usleep(300'000);
    kill(reader.process().pid(), SIGCONT);
    std::int64_t latest = 0;
    for (Sample sample = reader.nextOf<Sample>(); latest < 100'000'000;
         sample = reader.nextOf<Sample>()) {
        latest = std::max(latest, sample.lateNs);
        const std::int64_t due = sample.times.monotonicNs - sample.lateNs;
        const std::int64_t distance = due - (before.times.monotonicNs - before.lateNs);
        EXPECT_NEAR(static_cast<double>((distance + 10'000'000) % 20'000'000), 1e7, 5e6)
            << "the rhythm does not drift";
    }
}

TEST_F(Reader, AlignedSamplesComeAtMultiplesOfTheInterval) {
    StreamReader reader({"--brox=prod", "--interval=200ms", "--align"});
    for (int i = 0; i < 3; i++) {
        const auto sample = reader.nextOf<Sample>();
        EXPECT_LT((sample.times.realNs - sample.lateNs) % 200'000'000, 100'000'000);
    }
    EXPECT_EQ(reader.nextOf<Sample>().sequence, 4U);
}

TEST_F(Reader, TheEndOfACacheIsNoticedWhateverTheInterval) {
    standin::ServerOptions options;
    options.brox = "other";
    options.directory = cache.directory();
    standin::Server server(options);
    StreamReader ofServer({"--brox=other", hours});
    StreamReader ofCache({"--brox=prod", hours});
    ofServer.nextOf<Sample>();
    ofCache.nextOf<Sample>();
    kill(server.monitorPid(), SIGKILL);
    /* The server must reap it, or else it would not know that a segment was left. */
    std::size_t ended = 0;
    ASSERT_TRUE(testsupport::eventually([&] {
        ended += server.noticeEndedMembers().size();
        return ended > 0;
    }));
    const auto lost = ofServer.nextOf<Lost>();
    EXPECT_EQ(lost.sentence, "cache of Brox other has gone away: its monitor (process " +
                                 std::to_string(server.monitorPid()) + ") has ended");
    EXPECT_EQ(ofServer.wait(), 7);
    cache.entry(1).inUse = 0;
    EXPECT_EQ(ofCache.nextOf<Lost>().sentence,
              "cache of Brox prod has gone away: its monitor or its Brox has left it");
    EXPECT_EQ(ofCache.wait(), 7);
}

TEST_F(Reader, EndsWhenNobodyReads) {
    const auto shell = [&](const std::string& script) {
        return testsupport::run({"bash", "-c", script, readerProgram()},
                                {{"TALVEX_GLOBAL_DIR", cache.directory()}});
    };
    const Outcome left = shell("\"$0\" --brox prod -i 4h | head -c 10 >&2; exit ${PIPESTATUS[0]}");
    EXPECT_EQ(left.status, 9);
    EXPECT_EQ(left.err.substr(0, 4), "TVSH");
    const Outcome full = shell("\"$0\" --brox prod >/dev/full");
    EXPECT_EQ(full.status, 9);
    EXPECT_EQ(full.err,
              "tvsi-reader: standard output cannot be written: No space left on device\n");
    const Outcome closed = shell("\"$0\" --brox prod >&-");
    EXPECT_EQ(closed.status, 9);
    EXPECT_EQ(closed.err, "tvsi-reader: standard output is closed\n");
    const Outcome large =
        shell("ulimit -f 1; \"$0\" --brox prod -i 0 >\"$TALVEX_GLOBAL_DIR/stream\"");
    EXPECT_EQ(large.status, 9);
    EXPECT_THAT(large.err, HasSubstr("cannot be written: File too large"));
    cache.segment().setInitDone(false);
    const Outcome starting = shell("\"$0\" --brox prod | true; exit ${PIPESTATUS[0]}");
    EXPECT_EQ(starting.status, 9) << "also while it attaches";
}

#ifndef TVSI_SANITIZE /* which takes more memory than any limit leaves */
TEST(ReaderOfManySlots, EndsItsStreamWhenMemoryRunsOut) {
    testsupport::TestCacheOptions options;
    options.geometry = standin::SegmentGeometry::withSlots(8000);
    const testsupport::TestCache cache(options);
    const Outcome outcome = testsupport::run(
        {"bash", "-c", "ulimit -s 256; ulimit -d 6000; exec \"$0\" --brox prod -n 1",
         readerProgram()},
        {{"TALVEX_GLOBAL_DIR", cache.directory()}});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("TVSL")) << "its last message says so";
    EXPECT_THAT(outcome.err, HasSubstr("cannot be read: there is not enough memory"));
}
#endif

TEST_F(Reader, EachFailureHasItsSentenceAndStatus) {
    const auto changed = [&](const std::string& sentence, int status, const auto& change) {
        const ShrPcConfigSType header = cache.header();
        change();
        expectLost({"--brox=prod"}, status, sentence);
        std::memcpy(static_cast<void*>(&cache.header()), &header, sizeof header);
    };
    const std::string searched = " on this host: " + cache.directory().string() +
                                 "/locks/ was searched .TALVEX_GLOBAL_DIR says so.";
    expectLost({"--brox=nobody"}, 3, "there is no cache of Brox nobody" + searched);
    expectLost({"--brox=x!no~1"}, 3,
               "there is no cache of Brox x!no~1" + searched + "; did you mean --cache.");
    expectLost({"--brox=prod~1f2e"}, 3,
               "there is no cache of Brox prod~1f2e, but a cache with that "
               "location: did you mean --cache prod~1f2e.");
    expectLost({"--cache=prod"}, 3,
               "there is no cache prod, but a Brox of that name: did you mean "
               "--brox prod.");
    expectLost({"--cache=no~1"}, 3, "there is no cache no~1" + searched);
    changed(
        "cache of Brox prod belongs to another version of Talvex .its monitor records 3.7.5.1.: "
        "use the programs of the server's own installation",
        5, [&] { cache.header().compatibilityLevel = 1; });
    changed("cache of Brox prod cannot be attached: its memory segment is not laid out as this "
            "version expects",
            1, [&] { cache.header().pteSize = 1; });
    EXPECT_THAT(notices, StartsWith("ERROR in sizeof aPte,  my size 39936, cache's size 1 "));
    changed("cache of Brox prod cannot be attached: The shared cache is damaged: its process table"
            ".*, does not fit the segment of .* bytes",
            1, [&] { cache.header().numProcesses = 1000; });
    changed("cache of Brox prod did not finish its start within 2 seconds: .*", 1,
            [&] { cache.segment().setInitDone(false); });
    cache.recordCache("gone~1", 0x7FFFFFF1);
    expectLost({"--cache=gone~1"}, 3,
               "cache gone~1 is not running: its memory segment is gone, "
               "though its monitor .process " +
                   self + ". is there.*");
    cache.recordCache("stale~1", cache.segment().key(), INT_MAX);
    expectLost({"--cache=stale~1"}, 3,
               "cache stale~1 is not running: its monitor .process 2147483647. has ended.*");
    cache.recordCache("zero~1", 0);
    expectLost({"--cache=zero~1"}, 1,
               "cache zero~1 cannot be attached: its monitor .process " + self +
                   ". has recorded no memory segment .key 0.: .*");
    const std::vector<std::byte> bytes(4096);
    const auto foreign = standin::SharedSegment::ofBytes(bytes);
    cache.recordCache("foreign~1", foreign.key(), getppid());
    expectLost({"--cache=foreign~1"}, 1,
               "cache foreign~1 cannot be attached: the memory segment with the recorded key was "
               "made by process " +
                   self +
                   ", not by its monitor .process .*.: it is another "
                   "program's");
    cache.registry().writeRaw("empty~1", "");
    expectLost({"--cache=empty~1"}, 1, ".*registry file .*empty~1..LCK is empty; .*");
    cache.registry().removeRecord("prod~1f2e");
    cache.registry().writeHostIdBytes("short");
    expectLost({"--brox=prod"}, 1,
               "cache of Brox prod cannot be named: the host id file .* is "
               "damaged; .*");
    cache.registry().writeHostId(0x1f2e);
    standin::RegistryRecord older = standin::monitorRecord(getpid(), cache.segment().key());
    older.version = "3.6.1";
    cache.registry().writeRecord("old~1", older);
    expectLost({"--brox=old"}, 5,
               "cache of Brox old belongs to another version of Talvex .its "
               "monitor records 3.6.1.: .*");
    std::filesystem::rename(cache.directory() / "locks", cache.directory() / "away");
    expectLost({"--brox=prod"}, 3,
               "no server has run on this host: .*/locks/ was searched .*, but: "
               "No such file or directory");
    std::filesystem::rename(cache.directory() / "away", cache.directory() / "locks");
}

/* What another user meets, who has no right but those that are given here. */
class OtherUser : public Reader {
protected:
    static constexpr uid_t other = 65534;
    static constexpr gid_t group = 54321;

    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "only root can become another user";
        }
        chmod(cache.directory().c_str(), 0755);
        /* The build folder may be closed to others. */
        std::filesystem::copy_file(readerProgram(), cache.directory() / "tvsi-reader");
        setSegmentRights(0660, group);
    }
    void setSegmentRights(mode_t mode, gid_t owner) const {
        shmid_ds description{};
        shmctl(cache.segment().id(), IPC_STAT, &description);
        description.shm_perm.mode = static_cast<unsigned short>(mode);
        description.shm_perm.gid = owner;
        shmctl(cache.segment().id(), IPC_SET, &description);
    }
    void expectRefused(const std::string& sentence) const {
        const Outcome outcome = asOther({"--brox=prod", "--count=1"});
        EXPECT_EQ(outcome.status, 4);
        EXPECT_THAT(outcome.err, testing::MatchesRegex("tvsi-reader: " + sentence + "\n"));
    }
    Outcome asOther(std::vector<std::string> arguments, gid_t member = group) const {
        arguments.insert(arguments.begin(), cache.directory() / "tvsi-reader");
        return testsupport::inChild([&] {
            if (setgroups(1, &member) == 0 && setgid(other) == 0 && setuid(other) == 0) {
                testsupport::execute(arguments, {{"TALVEX_GLOBAL_DIR", cache.directory()}});
            }
        });
    }
};

TEST_F(OtherUser, WithoutARightHearsWhichOne) {
    EXPECT_EQ(asOther({"--brox=prod", "--count=1"}).status, 0) << "a member of the group may";
    const std::string rights =
        "no permission to attach the memory segment of cache of Brox prod: it "
        "belongs to user root and group 54321 with mode 06.0, and attaching "
        "needs the right to write as well: run as root";
    const Outcome stranger = asOther({"--brox=prod"}, 1);
    EXPECT_THAT(stranger.err, HasSubstr(" or as a member of 54321\n"));
    setSegmentRights(0640, group);
    expectRefused(rights +
                  ", or have the server grant its group the right to write .being a member "
                  "of 54321 is not enough.");
    const Outcome listed = asOther({"--list"});
    EXPECT_THAT(listed.out, HasSubstr("\"readable\":false,\"refusal\":\"it belongs to user root"));
    const std::string asServer = ": run as the server's user or as a member of its group";
    chmod(cache.registry().recordFile("prod~1f2e").c_str(), 0600);
    expectRefused("no right to read the registry file .*/prod~1f2e..LCK" + asServer);
    chmod(cache.registry().hostIdFile().c_str(), 0600);
    expectRefused("no right to read the host id .*/talvex.hostid" + asServer);
    chmod(cache.registry().recordFile("prod").c_str(), 0600);
    expectRefused("no right to read the registry file .*/prod..LCK" + asServer);
    const Outcome none = asOther({"--list"});
    EXPECT_EQ(none.status, 4);
    EXPECT_THAT(none.err,
                HasSubstr("no cache can be seen: 2 registry files may not be read by this "
                          "user; "));
    chmod((cache.directory() / "locks").c_str(), 0700);
    expectRefused("no right to read the registry directory .*/locks/" + asServer);
}

TEST_F(Reader, ABrokenSegmentIsToldAtOnceAndKeepsNobodyWaiting) {
    standin::setLockName(cache.segment().checkpointLock(), "Nonsense");
    StreamReader reader({"--brox=prod"});
    const auto lost = reader.nextOf<Lost>();
    EXPECT_EQ(lost.status, 1);
    EXPECT_EQ(lost.sentence, "cache of Brox prod cannot be read any further: the library has met "
                             "what must not be (UTL_GUARANTEE failed, File hostshr line 1687); the "
                             "segment is damaged, or not the server's");
    EXPECT_THAT(reader.notices(), HasSubstr("HostCallDebugger: invoked at"));
    EXPECT_EQ(reader.process().reap(), std::nullopt) << "it waits for a debugger";
    reader.process().kill();
    EXPECT_EQ(reader.wait(), 128 + SIGKILL);
}

TEST_F(Reader, ListsTheCachesOfTheHost) {
    const std::string odd = "a\\\n\xC3\xB6\xFF";
    cache.recordCache(odd + "~1", 0x7FFFFFF1);
    cache.recordCache("stale~1", cache.segment().key(), INT_MAX);
    const auto found = listCaches();
    const auto& listings = std::get<CacheListings>(found);
    ASSERT_EQ(listings.size(), 2U);
    EXPECT_EQ(listings[0].brox, odd);
    EXPECT_EQ(listings[0].location, odd + "~1");
    EXPECT_EQ(std::tuple(listings[0].isReadable, listings[0].refusal),
              std::tuple(false, "its memory segment is gone"));
    EXPECT_EQ(listings[1], (CacheListing{"prod", "prod~1f2e", getpid(), listings[1].user,
                                         listings[1].startedSec, "3.7.5.1", true, ""}));
    EXPECT_NEAR(static_cast<double>(listings[1].startedSec), static_cast<double>(time(nullptr)),
                60);
    EXPECT_TRUE(std::holds_alternative<Failure>(listCaches(hour, [] { return true; })));
    EXPECT_THAT(run({"--list"}, &cache).out, StartsWith(R"({"brox":"a\\\\\u000a)"
                                                        "\xC3\xB6"
                                                        R"(\\xff","location":)"));
    const Outcome traced =
        testsupport::run({readerProgram(), "--list"},
                         {{"TALVEX_GLOBAL_DIR", cache.directory()}, {"TX_DEBUG_SOCKETS", "1"}});
    EXPECT_THAT(traced.out, StartsWith("{")) << "the list alone";
    EXPECT_THAT(traced.err, HasSubstr("getaddrinfo"));
    for (const std::string& name : {odd + "~1", std::string("prod~1f2e")}) {
        cache.registry().removeRecord(name);
    }
    const auto none = listCaches();
    EXPECT_EQ(std::get<Failure>(none).status, ExitStatus::NoCache);
    EXPECT_EQ(std::get<Failure>(none).sentence.substr(0, 14), "no cache runs ");
    EXPECT_TRUE(std::holds_alternative<Failure>(parseListing("{\"readable\":1}\n")));
}

TEST_F(Reader, ADamagedHostIdIsWaitedForOnce) {
    for (int i = 0; i < 40; i++) {
        cache.recordCache("gone~" + std::to_string(i), cache.segment().key(), INT_MAX);
    }
    cache.registry().writeHostIdBytes("short");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(std::get<CacheListings>(listCaches(hour)).size(), 1U);
    expectLost({"--brox=nobody"}, 3, "there is no cache of Brox nobody .*");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(16))
        << "and not by each record, which would take 32 seconds";
}

TEST_F(Reader, WrongArgumentsAreExplained) {
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{}, "a cache is needed: --brox NAME or --cache LOCATION"},
        {{"--brox="}, "--brox: the name is empty"},
        {{"-b", "a", "--cache=b~1"}, "one cache is read: --brox or --cache, once"},
        {{"--brox"}, "--brox needs a value"},
        {{"--brx=a\033"}, "there is no option '--brx=a\\x1b'"},
        {{"-b", "a", "b"}, "nothing is known of 'b'"},
        {{"a", "--brx=b"}, "nothing is known of 'a'"},
        {{"-k", "vok,voks"}, "--kinds: there is no kind 'voks'"},
        {{"-k", "system"}, "--kinds: processes of kind system cannot be selected"},
        {{"-n", "0"}, "--count: '0' is not a number from 1 on"},
        {{"-l", "-i1"}, "--list lists every cache and takes no other option"},
        {{"-b", "a", "-l"}, "--list lists every cache and takes no other option"},
    };
    for (const auto& [arguments, sentence] : cases) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err, "tvsi-reader: " + sentence + " (see tvsi-reader --help)\n");
    }
    for (const char* interval :
         {"", ".", "1x", "-1", "0.9ms", "25h", "1e3", "0.0000000000000001"}) {
        EXPECT_EQ(
            run({"-i", interval}).err,
            std::string("tvsi-reader: --interval: '") + interval +
                "' is no time from 1ms to 24h, as 2, 0.5, 500ms or 1m, nor 0 (see tvsi-reader "
                "--help)\n");
    }
    for (const char* interval : {"0", "0.001", "1ms", ".5", "24h", "1.5m", "1000us"}) {
        EXPECT_EQ(run({"--cache=no~1", "-i", interval}, &cache).status, 3) << interval;
    }
    EXPECT_EQ(run({"-V"}).out,
              "tvsi-reader " + std::string(releaseVersion()) + " for Talvex 3.7.5.1\n");
    EXPECT_THAT(run({"-h"}).out, StartsWith("Usage: tvsi-reader "));
}

} // namespace
