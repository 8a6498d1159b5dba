/*
 * Process-wide state, filled on first use: the date formats dtFormat and dtFormatMs (under
 * dtFormatInitialized) and the listing format tFormat (under tFormatInitialized). Only tFormat
 * changes after that, once, to tFormatDefault.
 */
#include "utl.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <langinfo.h>
#include <pthread.h>

#include "fatal.h"
#include "hostunix.h"

namespace {

/* What strftime may write, terminator included. */
constexpr size_t DATE_LIMIT = 99;

/* What strftime turns into MS_CONVERSION, and that conversion with the point before it. */
constexpr char MS_INSERTION[] = ".%%.3d";
constexpr char MS_CONVERSION[] = "%.3d";

constexpr char FALLBACK_TAIL[] = "%H:%M:%S %Z";
constexpr char tFormatDefault[] = "%b %d %H:%M";

char dtFormat[100];
char dtFormatMs[100];
pthread_once_t dtFormatInitialized = PTHREAD_ONCE_INIT;

char tFormatEnv[128];
std::atomic<const char*> tFormat{nullptr};
pthread_once_t tFormatInitialized = PTHREAD_ONCE_INIT;

/* Walks over a strftime format. A conversion letter stands directly behind an unpaired '%'; a
 * flag or modifier between them makes it none. */
class ConversionScan {
public:
    /* c when a conversion ends with it, with its letter or as a pair of '%'; otherwise 0. */
    char letter(char c) {
        bool follows = afterPercent;
        afterPercent = c == '%' && !follows;
        return follows ? c : '\0';
    }

private:
    bool afterPercent = false;
};

/* A field that a date format must have, by any of these sets of conversions. */
struct DateFieldType {
    const char* name;
    const char* alternatives[4];
};

constexpr DateFieldType DATE_FIELDS[] = {
    {"month", {"m", "b", "B", "h"}},
    {"day", {"d"}},
    {"hour", {"H", "Ip", "IP"}},
    {"minutes", {"M"}},
    {"seconds", {"S"}},
};

/* The conversions of format, each once, as a text. */
void collectConversions(const char* format, char* letters, size_t size) {
    ConversionScan scan;
    letters[0] = '\0';
    for (; *format != '\0'; format++) {
        char text[2] = {scan.letter(*format), '\0'};
        if (strstr(letters, text) == nullptr) {
            UtlStrlcat(letters, text, size);
        }
    }
}

bool hasField(const char* letters, const DateFieldType& field) {
    for (const char* needed : field.alternatives) {
        if (needed != nullptr && strspn(needed, letters) == strlen(needed)) {
            return true;
        }
    }
    return false;
}

/* Names the fields that format lacks, separated by blanks. */
void missingFields(const char* format, char* names, size_t size) {
    char letters[sizeof(dtFormat)];
    collectConversions(format, letters, sizeof(letters));
    names[0] = '\0';
    for (const DateFieldType& field : DATE_FIELDS) {
        if (hasField(letters, field)) {
            continue;
        }
        if (names[0] != '\0') {
            UtlStrlcat(names, " ", size);
        }
        UtlStrlcat(names, field.name, size);
    }
}

/* Copies format with the millisecond conversion behind every seconds field. FALSE, with the
 * copy cut, when it doesn't fit. */
BoolType insertMilliseconds(const char* format, char* result, size_t size) {
    ConversionScan scan;
    size_t length = 0;
    result[0] = '\0';
    for (; *format != '\0'; format++) {
        char text[2] = {*format, '\0'};
        length = UtlStrlcat(result, text, size);
        char letter = scan.letter(*format);
        if (letter == 'S' || letter == 'r') {
            length = UtlStrlcat(result, MS_INSERTION, size);
        }
        if (length >= size) {
            return FALSE;
        }
    }
    return TRUE;
}

/* TRUE when the current time, formatted with format, yields a text of acceptable length, and
 * the form with milliseconds can be built. */
BoolType formatWorks(const char* format) {
    char scratch[sizeof(dtFormatMs)];
    unsigned short millis = 0;
    time_t now = HostFtime(&millis);
    struct tm local;
    return strftime(scratch, DATE_LIMIT, format, HostLocaltimeR(&now, &local)) > 0 &&
           insertMilliseconds(format, scratch, sizeof(scratch));
}

/* Takes $TX_CFTIME into dtFormat. FALSE when there is none or it was refused with a warning. */
BoolType takeConfiguredFormat() {
    if (!HostGetEnv("TX_CFTIME", dtFormat, sizeof(dtFormat))) {
        return FALSE;
    }
    if (!formatWorks(dtFormat)) {
        fputs("\nWARNING: Invalid format for $TX_CFTIME!", stderr);
        fputs("\nUsing locale default.\n\n", stderr);
        return FALSE;
    }
    char missing[100];
    missingFields(dtFormat, missing, sizeof(missing));
    if (missing[0] == '\0') {
        return TRUE;
    }
    fprintf(stderr, "\nWARNING: Missing fields in $TX_CFTIME: %s!\nUsing locale default.\n\n",
            missing);
    return FALSE;
}

void buildDateFormats() {
    if (!takeConfiguredFormat()) {
        snprintf(dtFormat, sizeof(dtFormat), "%s %s", nl_langinfo(D_FMT), FALLBACK_TAIL);
    }
    insertMilliseconds(dtFormat, dtFormatMs, sizeof(dtFormatMs));
}

void chooseListingFormat() {
    BoolType isSet = HostGetEnv("TX_TXLIST_TIME_FORMAT", tFormatEnv, sizeof(tFormatEnv));
    tFormat.store(isSet ? tFormatEnv : tFormatDefault, std::memory_order_release);
}

/* Prints text as a print format with millis as its argument, where text comes from strftime and
 * so, through $TX_CFTIME, from outside: the millisecond conversion is the only one that is
 * carried out, "%%" stands for one percent sign, and every other percent sign is text. Returns
 * the length of the whole, as a bounded print does. */
size_t printWithMilliseconds(const char* text, unsigned millis, char* result, size_t size) {
    char digits[16];
    snprintf(digits, sizeof(digits), "%.3u", millis);
    size_t length = 0;
    UtlStrlcpy(result, "", size);
    while (*text != '\0') {
        char literal[2] = {*text, '\0'};
        const char* piece = literal;
        size_t consumed = 1;
        if (strncmp(text, MS_CONVERSION, strlen(MS_CONVERSION)) == 0) {
            piece = digits;
            consumed = strlen(MS_CONVERSION);
        } else if (strncmp(text, "%%", 2) == 0) {
            consumed = 2;
        }
        UtlStrlcat(result, piece, size);
        length += strlen(piece);
        text += consumed;
    }
    return length;
}

/* Formats the time with milliseconds. Returns the length of the whole. */
size_t printTimeStamp(time_t seconds, unsigned short millis, char* result, size_t size) {
    TciCTimeStringType date;
    ctimeImpl(seconds, HOST_DATETIME_CONFIGURABLE_MS, &date);
    return printWithMilliseconds(date.msg, millis, result, size);
}

} // namespace

void ctimeImpl(time_t t, HostDateTimeKindEType kind, TciCTimeStringType* result) {
    pthread_once(&dtFormatInitialized, buildDateFormats);
    const char* format = kind == HOST_DATETIME_CONFIGURABLE_MS ? dtFormatMs : dtFormat;
    struct tm local;
    if (strftime(result->msg, DATE_LIMIT, format, HostLocaltimeR(&t, &local)) == 0) {
        result->msg[0] = '\0';
    }
}

void UtlCtime(time_t t, TciCTimeStringType* result) {
    ctimeImpl(t, HOST_DATETIME_CONFIGURABLE, result);
}

ssize_t UtlTimeStampMs(char* result, size_t resultSize) {
    unsigned short millis = 0;
    time_t now = HostFtime(&millis);
    char scratch[128];
    printTimeStamp(now, millis, scratch, sizeof(scratch));
    return static_cast<ssize_t>(UtlStrlcpy(result, scratch, resultSize));
}

void UtlTimeStampMsStr_hostagent(char* result, size_t resultSize) {
    if (resultSize == 0) {
        return;
    }
    unsigned short millis = 0;
    time_t now = HostFtime(&millis);
    struct tm local;
    HostLocaltimeR(&now, &local);
    size_t limit = resultSize > 3 ? resultSize - 3 : 0;
    if (strftime(result, limit, "%Y-%m-%d %H:%M:%S_%Z", &local) == 0) {
        result[0] = '\0';
        return;
    }
    char* mark = strrchr(result, '_');
    if (mark == nullptr || mark == result) {
        return;
    }
    char zone[10];
    UtlStrlcpy(zone, mark + 1, sizeof(zone));
    size_t room = resultSize - static_cast<size_t>(mark - result);
    snprintf(mark, room, ".%03d ", millis);
    UtlStrlcat(result, zone, resultSize);
}

void threadSafePrintTimestamp() {
    /* The text takes less than TEXT_SIZE; a line feed and the terminator always have room. */
    constexpr size_t TEXT_SIZE = 126;
    char line[128];
    unsigned short millis = 0;
    time_t now = HostFtime(&millis);
    size_t length = printTimeStamp(now, millis, line, TEXT_SIZE);
    if (length < 1 || length >= TEXT_SIZE) {
        HostSignalSafePrint("(error from UtlTimeStampMs)\n");
        return;
    }
    snprintf(line + length, TEXT_SIZE - length, " %ldms thread 0x%lx", now * 1000 + millis,
             pthread_self());
    UtlStrlcat(line, "\n", sizeof(line));
    HostSignalSafePrint(line);
}

void UtlListTimeStr(time_t t, char* result, size_t resultSize) {
    if (t == 0) {
        UtlStrlcpy(result, "unknown date", resultSize);
        return;
    }
    pthread_once(&tFormatInitialized, chooseListingFormat);
    struct tm local;
    HostLocaltimeR(&t, &local);
    char text[128] = "";
    if (strftime(text, sizeof(text), tFormat.load(std::memory_order_acquire), &local) == 0) {
        tFormat.store(tFormatDefault, std::memory_order_release);
        if (strftime(text, sizeof(text), tFormatDefault, &local) == 0) {
            text[0] = '\0';
        }
    }
    UtlStrlcpy(result, text, resultSize);
}

int tx_ffs(uint32_t value) {
    return value == 0 ? -1 : __builtin_ctz(value);
}

int tx_ffs8(uint64_t value) {
    return value == 0 ? -1 : __builtin_ctzll(value);
}

int tx_msb(uint32_t value) {
    return value == 0 ? -1 : 31 - __builtin_clz(value);
}

int tx_msb8(uint64_t value) {
    return value == 0 ? -1 : 63 - __builtin_clzll(value);
}

int tx_popcnt(uint32_t value) {
    return tx_popcnt8(value);
}

int tx_popcnt8(uint64_t value) {
    /* Sums of 2, 4 and 8 bits side by side; the product adds the bytes up in the topmost. */
    value -= (value >> 1) & 0x5555555555555555u;
    value = (value & 0x3333333333333333u) + ((value >> 2) & 0x3333333333333333u);
    value = (value + (value >> 4)) & 0x0F0F0F0F0F0F0F0Fu;
    return static_cast<int>((value * 0x0101010101010101u) >> 56);
}

uint16_t tx_bswap2(uint16_t value) {
    return __builtin_bswap16(value);
}

uint32_t tx_bswap4(uint32_t value) {
    return __builtin_bswap32(value);
}

uint64_t tx_bswap8(uint64_t value) {
    return __builtin_bswap64(value);
}

int tx_bitfit8(uint64_t value) {
    return tx_msb8(value) + 1;
}

const TxBitPrimitivesSType txBitPrimitives = {tx_ffs,    tx_ffs8,    tx_msb,    tx_msb8,
                                              tx_popcnt, tx_popcnt8, tx_bswap2, tx_bswap4,
                                              tx_bswap8, tx_bitfit8};

namespace {

/* A single bit is at the same index from either end; no bit is at index -1. */
template <typename Word> BoolType findsSingleBits(int (*indexOf)(Word)) {
    if (indexOf(0) != -1) {
        return FALSE;
    }
    for (int i = 0; i < static_cast<int>(sizeof(Word) * 8); i++) {
        if (indexOf(static_cast<Word>(Word{1} << i)) != i) {
            return FALSE;
        }
    }
    return TRUE;
}

/* How many bits each byte has, counted one by one: at compile time, as every program that loads the
 * library would wait for it. */
constexpr std::array<uint8_t, 256> BITS_OF_BYTE = [] {
    std::array<uint8_t, 256> counts{};
    for (unsigned byte = 0; byte < counts.size(); byte++) {
        for (unsigned rest = byte; rest != 0; rest >>= 1) {
            counts[byte] = static_cast<uint8_t>(counts[byte] + (rest & 1));
        }
    }
    return counts;
}();

template <typename Word> BoolType countsBits(int (*popcnt)(Word), Word factor) {
    for (Word k = 1; k <= 9973; k++) {
        int count = 0;
        for (Word rest = k * factor; rest != 0; rest >>= 8) {
            count += BITS_OF_BYTE[rest & 0xFF];
        }
        if (popcnt(k * factor) != count) {
            return FALSE;
        }
    }
    return TRUE;
}

template <typename Word> BoolType swapsBytes(Word (*bswap)(Word)) {
    constexpr int BITS = sizeof(Word) * 8;
    int mismatches = 0;
    for (int i = 1; i < BITS; i++) {
        int moved = i + (BITS - 8) - 16 * (i / 8);
        if (bswap(static_cast<Word>(Word{1} << i)) != static_cast<Word>(Word{1} << moved)) {
            mismatches++;
        }
    }
    return mismatches == 0;
}

int countNeededBits(uint64_t value) {
    int count = 0;
    for (; value != 0; value >>= 1) {
        count++;
    }
    return count;
}

/* The values around every power of two, whole and with their low bits shifted out. */
BoolType fitsBits(int (*bitfit)(uint64_t)) {
    for (int k = 0; k < 64; k++) {
        uint64_t lowest = (uint64_t{1} << k) - 2;
        for (uint64_t offset = 0; offset <= 4; offset++) {
            int needed = countNeededBits(lowest + offset);
            for (int shift = 0; shift < 64; shift++) {
                if (bitfit((lowest + offset) >> shift) != needed) {
                    return FALSE;
                }
                needed -= needed > 0 ? 1 : 0;
            }
        }
    }
    return TRUE;
}

struct BitCheckType {
    BoolType (*isRight)(const TxBitPrimitivesSType* primitives);
    const char* message;
};

constexpr BitCheckType BIT_CHECKS[] = {
    {[](auto* p) { return findsSingleBits(p->ffs); }, "bad tx_ffs() result"},
    {[](auto* p) { return findsSingleBits(p->ffs8); }, "bad tx_ffs8() result"},
    {[](auto* p) { return findsSingleBits(p->msb); }, "bad tx_msb() result"},
    {[](auto* p) { return findsSingleBits(p->msb8); }, "bad tx_msb8() result"},
    {[](auto* p) { return countsBits<uint32_t>(p->popcnt, 430659); }, "bad tx_popcnt() result"},
    {[](auto* p) { return countsBits<uint64_t>(p->popcnt8, 0x6924382A19007); },
     "bad tx_popcnt8() result"},
    {[](auto* p) { return swapsBytes(p->bswap2); }, "bad tx_bswap2() result"},
    {[](auto* p) { return swapsBytes(p->bswap4); }, "bad tx_bswap4() result"},
    {[](auto* p) { return swapsBytes(p->bswap8); }, "bad tx_bswap8() result"},
    {[](auto* p) { return fitsBits(p->bitfit8); }, "bad bit fitting result"},
};

} // namespace

const char* txBitPrimitivesFault(const TxBitPrimitivesSType* primitives) {
    for (const BitCheckType& check : BIT_CHECKS) {
        if (!check.isRight(primitives)) {
            return check.message;
        }
    }
    return nullptr;
}

void txBitPrimitivesSelfTest() {
    const char* fault = txBitPrimitivesFault(&txBitPrimitives);
    if (fault != nullptr) {
        HostCallDebuggerMsg(fault);
    }
}
