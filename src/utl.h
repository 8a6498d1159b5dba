/*
 * Small utilities: date and time texts, and the bit primitives with their load-time self-test.
 * Bounded text and the page size are in utlbase.h.
 *
 * All operations may be called from any thread. The date formats and the listing format
 * are process-wide, filled on first use and never read from the environment again.
 */
#ifndef UTL_H
#define UTL_H

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <sys/types.h>

#include "basetypes.h"
#include "utlbase.h"

/* Dates and time stamps. */

enum HostDateTimeKindEType {
    HOST_DATETIME_DEFAULT = 0,
    HOST_DATETIME_CONFIGURABLE = 1,
    HOST_DATETIME_CONFIGURABLE_MS = 2
};

/* A formatted date, always terminated. */
struct TciCTimeStringType {
    char msg[100];

    TciCTimeStringType() { msg[0] = '\0'; }
};

/* Formats t (seconds since the epoch) in local time, empty when it takes more than 98
 * characters. The format is $TX_CFTIME or, without a usable one, the locale's date and
 * "%H:%M:%S %Z"; a bad $TX_CFTIME is reported once on standard error.
 * HOST_DATETIME_CONFIGURABLE_MS leaves the conversion "%.3d" behind every seconds field,
 * for the caller to replace with the milliseconds. */
void ctimeImpl(time_t t, HostDateTimeKindEType kind, TciCTimeStringType* result);

/* ctimeImpl with HOST_DATETIME_CONFIGURABLE. */
void UtlCtime(time_t t, TciCTimeStringType* result);

/* The current time with milliseconds, in the configured format. Returns the length of the
 * whole text, which is cut when resultSize is not above it. */
ssize_t UtlTimeStampMs(char* result, size_t resultSize);

/* The current local time as "2026-11-16 18:20:07.042 UTC", at most 9 characters of the zone
 * name; 62 bytes hold it. Empty when resultSize is too small for date, time and zone. */
void UtlTimeStampMsStr_hostagent(char* result, size_t resultSize);

/* Writes one line to standard error: the current time with milliseconds, the milliseconds
 * since the epoch and the calling thread's id. */
void threadSafePrintTimestamp();

/* The creation time of a registry record for display: "unknown date" for 0, otherwise local
 * time in the format $TX_TXLIST_TIME_FORMAT or "%b %d %H:%M". A format that yields nothing
 * is given up for the rest of the process. */
void UtlListTimeStr(time_t t, char* result, size_t resultSize);

/* Bit primitives. */

/* Index of the lowest set bit, counted from 0; -1 when no bit is set. */
int tx_ffs(uint32_t value);
int tx_ffs8(uint64_t value);

/* Index of the highest set bit, counted from 0; -1 when no bit is set. */
int tx_msb(uint32_t value);
int tx_msb8(uint64_t value);

/* Number of set bits. */
int tx_popcnt(uint32_t value);
int tx_popcnt8(uint64_t value);

/* The value with its bytes in reverse order. */
uint16_t tx_bswap2(uint16_t value);
uint32_t tx_bswap4(uint32_t value);
uint64_t tx_bswap8(uint64_t value);

/* Number of bits that the value needs; 0 needs none. */
int tx_bitfit8(uint64_t value);

/* The set of primitives that the self-test examines. */
struct TxBitPrimitivesSType {
    int (*ffs)(uint32_t);
    int (*ffs8)(uint64_t);
    int (*msb)(uint32_t);
    int (*msb8)(uint64_t);
    int (*popcnt)(uint32_t);
    int (*popcnt8)(uint64_t);
    uint16_t (*bswap2)(uint16_t);
    uint32_t (*bswap4)(uint32_t);
    uint64_t (*bswap8)(uint64_t);
    int (*bitfit8)(uint64_t);
};

/* The primitives above. */
extern const TxBitPrimitivesSType txBitPrimitives;

/* Compares the primitives with plain computations. Returns the message of the first one that
 * is wrong, null when all are right. */
const char* txBitPrimitivesFault(const TxBitPrimitivesSType* primitives);

/* Load-time step: ends the process through the fatal path when one of txBitPrimitives is
 * wrong. */
void txBitPrimitivesSelfTest();

#endif
