/* The registry file of a server process, as the server writes it. */
#ifndef NETINFOLAYOUT_H
#define NETINFOLAYOUT_H

#include <cstddef>
#include <cstdint>

/* What kind of process left a registry file. */
enum NetInfoEnum : int32_t {
    NI_UNKNOWN = 0,
    NI_BROX = 1,
    NI_NETLDI = 2,
    NI_SHRPCMON = 3, /* cache monitor */
    NI_VOK = 4,
    NI_TXRCPD = 5,
    NI_SERVICE_BROX = 6,
    NI_SERVICE_NETLDI = 7,
    NI_BROKER = 8,
    NI_STANDBY_FEED = 9,
    NI_STANDBY_RCVR = 10,
    NI_PGSVR = 11,
    NI_HOSTAGENT = 12,
    NI_QUELLIXL = 13
};

/*
 * Header of a registry file, native byte order; up to 24,587 bytes of NUL-terminated strings
 * follow it: log file, product directory, command line, two configuration files, executable
 * path. Older versions write the 48-byte form.
 */
struct NetInfoTx64_3xSType {
    uint32_t _port; /* port in network byte order in the low 16 bits */
    uint32_t ftok_key;
    int32_t processId;
    NetInfoEnum kind;
    uint32_t creationTimeL; /* seconds since the epoch, low 32 bits */
    char creator[16];       /* NUL-padded, not necessarily terminated, as is version */
    char version[12];
};
static_assert(offsetof(NetInfoTx64_3xSType, creationTimeL) == 16);
static_assert(offsetof(NetInfoTx64_3xSType, creator) == 20);
static_assert(offsetof(NetInfoTx64_3xSType, version) == 36);
static_assert(sizeof(NetInfoTx64_3xSType) == 48);

struct NetInfoTx64_34xSType {
    uint32_t _port;
    uint32_t ftok_key;
    int32_t processId;
    NetInfoEnum kind;
    uint32_t creationTimeL;
    char creator[16];
    char version[12];
    uint32_t creationTimeH;
};
static_assert(offsetof(NetInfoTx64_34xSType, version) == offsetof(NetInfoTx64_3xSType, version));
static_assert(offsetof(NetInfoTx64_34xSType, creationTimeH) == 48);
static_assert(sizeof(NetInfoTx64_34xSType) == 52);

#endif
