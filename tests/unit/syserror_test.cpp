/* The system error record and the texts of error numbers. */
#include "hostunixmt.h"
#include "process.h"
#include "syserror.h"
#include "unixerr.h"

#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <tuple>

using namespace testing;
using namespace testsupport;

namespace {

std::string text(int number, size_t size = 256) {
    std::string buffer(256, '#');
    HostErrSType failure;
    failure.theErrno = number;
    HostGetErrMsg(&failure, buffer.data(), size);
    EXPECT_EQ(buffer.substr(size), std::string(256 - size, '#'));
    return size == 0 ? "" : buffer.c_str();
}

SysErrorSType failed(int number, const std::string& description = "shmget") {
    SysErrorSType record;
    record.setErr(number);
    record.appendStr(description.c_str());
    return record;
}

/* The codes of the errno values 0 to 122. */
constexpr int codes[] = {
    0,   60,  61,  62,  19,  63,  48,  64,  65,  37,  66,  38,  39,  40,  41,  53,  52,  67,
    68,  69,  70,  71,  21,  50,  49,  72,  73,  74,  75,  54,  76,  77,  42,  78,  79,  124,
    18,  98,  136, 118, 106, -41, 85,  86,  87,  88,  89,  90,  91,  92,  93,  94,  99,  100,
    101, 102, 103, 104, -58, 105, 125, 126, 127, 46,  45,  137, 123, 130, 131, 132, 133, 47,
    55,  134, 128, 107, 108, 109, 135, 110, 111, 112, 113, 114, 115, 116, 117, 120, 23,  24,
    25,  26,  27,  28,  29,  30,  32,  33,  34,  35,  7,   8,   9,   10,  11,  12,  13,  14,
    15,  59,  16,  17,  43,  44,  22,  20,  122, 80,  81,  82,  83,  84,  121};

TEST(SystemError, ClassifiesEveryNumberAndKeepsIt) {
    SysErrorSType record; /* the same one: nothing of an earlier error stays */
    for (int number = -200; number <= 300; number++) {
        const bool known = number >= 0 && number < static_cast<int>(std::size(codes));
        const int code = number == -1 ? 0 : known ? codes[number] : -number;
        const int flags = number == 4 || number == 85 ? 1 : number == 11 ? 2 : 0;
        record.categ = SYSERRCAT_HERRNO;
        EXPECT_EQ(record.setErr(number), flags == 0) << number;
        EXPECT_EQ(record.errCode, code) << number;
        EXPECT_EQ(record.categ, SYSERRCAT_ERRNO);
        EXPECT_EQ(record.errNum(), number);
        EXPECT_EQ(record.errFlags & 0xFFFFFFFF, flags) << number;
        SysErrorSType unclassified;
        EXPECT_EQ(unclassified.setErrNum(number), flags == 0);
        EXPECT_EQ(unclassified.errFlags, record.errFlags);
        EXPECT_EQ(unclassified.errCode, SYSERR_NONE);
    }
    EXPECT_EQ(failed(INT_MIN).errNum(), INT_MIN);
}

TEST(SystemError, CompletesItsTextWithTheErrorOnce) {
    for (const auto& [number, text] : std::vector<std::pair<int, const char*>>{
             {2, "shmget failed with ENOENT No such file or directory"},
             {4, "shmget failed with EINTR Interrupted system call EINTR"},
             {11, "shmget failed with EAGAIN Resource temporarily unavailable EWOULDBLOCK"},
             {130, "shmget failed with EOWNERDEAD Owner died"},
             {200, "shmget failed with (no message from strerror for 200)"},
             {-7, "shmget failed with (no message from strerror for -7)"},
             {-1, "shmget errno = -1"},
             {0, "shmget"}}) {
        SysErrorSType record = failed(number);
        record.finishMsg();
        EXPECT_STREQ(record.msg(), text);
    }
    const auto terminating = inChild([] {
        HostIncrementSigTerm();
        printf("%s\n%s\n", failed(EINTR).msg(), failed(ERESTART).msg());
    });
    EXPECT_EQ(terminating.out, "shmget failed with EINTR Interrupted system call EINTR SIGTERM\n"
                               "shmget failed with ERESTART Interrupted system call should be "
                               "restarted EINTR SIGTERM\n");
}

TEST(SystemError, CompletesRecordsWithoutACode) {
    using Case = std::tuple<int64_t, int, const char*, const char*>;
    for (const auto& [flags, eaiError, description, text] :
         std::vector<Case>{{0, 0, "", ""},
                           {0, -2, "lookup", "lookup eaiError = -2"},
                           {int64_t{9} << 32, -2, "", " errno = 9"},
                           {7, 0, "", " EWOULDBLOCK EINTR SIGTERM"},
                           {6, -3, "x", "x eaiError = -3 EWOULDBLOCK SIGTERM"},
                           {0xFFFFFFF8, 0, "", " errFlags=4294967288"},
                           {8, 0, "described", "described"}}) {
        SysErrorSType record;
        record.errFlags = flags;
        record.eaiError = eaiError;
        record.appendStr(description);
        EXPECT_STREQ(record.msg(), text);
    }
}

TEST(SystemError, NamesTheResolversCodes) {
    for (const auto& [code, text] : std::vector<std::pair<int, const char*>>{
             {1, "h_errno = 1, HOST_NOT_FOUND, Authoritive Answer Host not found"},
             {2, "h_errno = 2, TRY_AGAIN, Non-Authoritive Host not found, or SERVERFAIL"},
             {3, "h_errno = 3, NO_RECOVERY, Non recoverable errors, FORMERR, REFUSED, NOTIMP"},
             {4, "h_errno = 4, NO_DATA, Valid name, no data record of requested type EINTR"},
             {5, "unknown h_errno = 5\n"},
             {-11, "unknown h_errno = -11\n"}}) {
        SysErrorSType record;
        record.setHErr(code, SYSERRCAT_HERRNO);
        record.appendStr("r");
        EXPECT_EQ(record.categ, SYSERRCAT_HERRNO);
        EXPECT_EQ(record.errNum(), code);
        EXPECT_EQ(record.errCode, -code);
        EXPECT_EQ(record.msg(), "r failed with " + std::string(text));
    }
}

TEST(SystemError, TextIsCutAt1023Characters) {
    const std::string full(1023, 'd');
    SysErrorSType record = failed(EPERM, full + "more");
    EXPECT_EQ(record.msg(), full);
    EXPECT_EQ(failed(EPERM, full.substr(8)).msg(), full.substr(8) + " failed ");
    SysErrorSType copy;
    copy.copyFrom("what", &record);
    EXPECT_EQ(copy.msg(), "what, " + full.substr(6));
}

TEST(SystemError, InitialisedRecordIsEmptyButKeepsItsCategory) {
    SysErrorSType record;
    record.setHErr(1, SYSERRCAT_HERRNO);
    record.eaiError = 1;
    record.finishMsg();
    record.initialize();
    EXPECT_EQ(record.categ, SYSERRCAT_HERRNO);
    EXPECT_FALSE(record.hasError());
    EXPECT_STREQ(record.msg(), "");
    EXPECT_TRUE(failed(ENOENT, "").hasError());
    EXPECT_FALSE(failed(-1, "").hasError());
    EXPECT_TRUE(failed(-1, "x").hasError());
}

TEST(SystemError, CopySaysWhatFailedUnlessTheTextAlreadyDoes) {
    const std::string finished = " failed with EINTR Interrupted system call EINTR";
    for (const auto& [own, what, text] :
         std::vector<std::tuple<const char*, const char*, std::string>>{
             {"own", "attach", "attach, shmget"},
             {"own", "shmget", "own shmget"},
             {"", "call EINTR", " shmget"}}) {
        SysErrorSType other = failed(EINTR);
        other.eaiError = 3;
        SysErrorSType record;
        record.categ = SYSERRCAT_HERRNO;
        record.appendStr(own);
        record.copyFrom(what, &other);
        EXPECT_EQ(record._errMsg, text + finished);
        EXPECT_EQ(record.errFlags, other.errFlags);
        EXPECT_EQ(record.errCode, SYSERR_INTR);
        EXPECT_EQ(record.eaiError, 3);
        EXPECT_EQ(record.categ, SYSERRCAT_ERRNO);
        EXPECT_EQ(record.msg(), text + finished + finished); /* a text of its own to complete */
    }
}

TEST(ErrorNumber, TextIsNameAndDescriptionOfTheCLibrary) {
    int count = 0;
    const ErrnoTableEntry* table = ErrGetErrnoTable(&count);
    ASSERT_EQ(count, 133);
    for (int number = -200; number <= 300; number++) {
        const char* name = strerrorname_np(number);
        const char* description = strerrordesc_np(number);
        const std::string digits = std::to_string(number);
        if (number > 0 && number <= count) {
            EXPECT_EQ(table[number - 1].num, number);
            EXPECT_EQ(table[number - 1].name, name == nullptr ? "Error" + digits : name);
        }
        std::string expected = "(no message from strerror for " + digits + ")";
        if (description != nullptr) {
            expected = std::string(number == 0 ? "Success" : name) + " " + description;
        }
        EXPECT_EQ(text(number), expected);
    }
    EXPECT_EQ(text(INT_MIN), "(no message from strerror for -2147483648)");
    EXPECT_EQ(text(2, 0), "");
    EXPECT_EQ(text(2, 10), "ENOENT No");
}

} // namespace
