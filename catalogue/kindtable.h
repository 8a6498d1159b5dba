/*
 * The kinds of the catalogue and the blocks of their records. Private to the catalogue, and to
 * code that checks names against it at compile time; everybody else asks statscatalogue.h.
 */
#ifndef KINDTABLE_H
#define KINDTABLE_H

#include "fieldlists.h"
#include "statscatalogue.h"

#include <type_traits>

namespace statscatalogue::tables {

template <class BlockType>
constexpr BlockPlace placed(std::string_view typeName, std::string_view member, size_t offset,
                            std::string_view shortName) {
    constexpr size_t size = std::is_empty_v<BlockType> ? 0 : sizeof(BlockType);
    return {{typeName, static_cast<uint16_t>(size), fieldsOf<BlockType>},
            static_cast<uint16_t>(offset),
            member,
            shortName};
}

/* A block by its structure and its member of the record. */
#define PLACED(type, path, shortName)                                                              \
    placed<type>(#type, #path, offsetof(ShrPcStatsSType, path), shortName)

inline constexpr BlockPlace cmn = PLACED(ShrPcCommonStatSType, cmn, "common");
inline constexpr BlockPlace cmn64 = PLACED(ShrPcCommon64StatSType, cmn64, "common");
inline constexpr BlockPlace monitor = PLACED(ShrPcMonStatSType, u.monitor, "monitor");
inline constexpr BlockPlace monitor64 = PLACED(ShrPcMonStat64SType, u64.monitor64, "monitor");
inline constexpr BlockPlace brox = PLACED(ShrPcBrxStatSType, u.brox, "brox");
inline constexpr BlockPlace brox64 = PLACED(ShrPcBrxStat64SType, u64.brox64, "brox");
inline constexpr BlockPlace broxTimes = PLACED(ShrBrxRelativeStatTimes, uTimeStats.brox, "brox");
inline constexpr BlockPlace vok = PLACED(ShrPcVokStatSType, u.vok, "vok");
inline constexpr BlockPlace vok64 = PLACED(ShrPcVokStat64SType, u64.vok64, "vok");
inline constexpr BlockPlace vokTimes = PLACED(ShrVokRelativeStatTimes, uTimeStats.vok, "vok");
inline constexpr BlockPlace vokthr = PLACED(ShrPcVokThrStatType, u.vokthr, "vokthr");
inline constexpr BlockPlace vokthr64 = PLACED(ShrPcVokThrStat64Type, u64.vokthr64, "vokthr");
inline constexpr BlockPlace vokPgsvr = PLACED(ShrPcVokPgsvrStatSType, u.vokPgsvr, "pgsvr");
inline constexpr BlockPlace vokPgsvr64 = PLACED(ShrPcVokPgsvrStat64SType, u64.vokPgsvr64, "pgsvr");
inline constexpr BlockPlace cachePgsvr =
    PLACED(ShrPcCachePgsvrStatSType, u.cachePgsvr, "cachepgsvr");
inline constexpr BlockPlace cachePgsvr64 =
    PLACED(ShrPcCachePgsvrStat64SType, u64.cachePgsvr64, "cachepgsvr");
inline constexpr BlockPlace pageMgr = PLACED(ShrPcPageMgrStatType, u.pageMgr, "pagemgr");
inline constexpr BlockPlace pageMgr64 = PLACED(ShrPcPageMgrStat64Type, u64.pageMgr64, "pagemgr");
inline constexpr BlockPlace ffThd = PLACED(ShrPcFreeFrameThdStatSType, u.ffThd, "ffthr");
inline constexpr BlockPlace ffThd64 = PLACED(ShrPcFreeFrameThdStat64SType, u64.ffThd64, "ffthr");
inline constexpr BlockPlace aioThd = PLACED(ShrPcBrxAioThdStatSType, u.aioThd, "aiothr");
inline constexpr BlockPlace aioThd64 = PLACED(ShrPcBrxAioThdStat64SType, u64.aioThd64, "aiothr");
inline constexpr BlockPlace restoreThr64 =
    PLACED(ShrPcRestoreThrStat64Type, u64.restoreThr64, "restorethr");

#undef PLACED

inline constexpr auto blockTable = std::to_array<BlockPlace>({
    cmn,     cmn64,     monitor, monitor64, brox,     brox64,     broxTimes,    vok,
    vok64,   vokTimes,  vokthr,  vokthr64,  vokPgsvr, vokPgsvr64, cachePgsvr,   cachePgsvr64,
    pageMgr, pageMgr64, ffThd,   ffThd64,   aioThd,   aioThd64,   restoreThr64,
});

template <class... Places>
consteval Kind kindOf(std::string_view name, std::string_view shortName, std::string_view title,
                      int index, uint32_t bit, Places... places) {
    return {name, shortName, title, index, bit, {places...}, sizeof...(places)};
}

/* A kind by its SHRPC_ constant, with its blocks in the order of the record. */
#define KIND(constant, shortName, title, ...)                                                      \
    kindOf(#constant, shortName, title, constant##_IDX, constant, __VA_ARGS__)

inline constexpr auto kindTable = std::to_array<Kind>({
    KIND(SHRPC_MONITOR, "monitor", "cache monitor", cmn, monitor, cmn64, monitor64),
    KIND(SHRPC_BROX, "brox", "repository monitor (Brox)", cmn, brox, cmn64, brox64, broxTimes),
    KIND(SHRPC_VOK_PGSVR_MAIN, "pgsvr", "page server of a Vok, main thread", cmn, vokPgsvr, cmn64,
         vokPgsvr64),
    KIND(SHRPC_VOK, "vok", "Vok session, main thread", cmn, vok, cmn64, vok64, vokTimes),
    KIND(SHRPC_STATMON, "statmon", "statistics monitor", cmn, cmn64),
    KIND(SHRPC_APP, "app", "application", cmn, cmn64),
    KIND(SHRPC_PSC, "psc", "PSC process", cmn, cmn64),
    KIND(SHRPC_PAGEMGR, "pagemgr", "page manager", cmn, pageMgr, cmn64, pageMgr64),
    KIND(SHRPC_BrxRestoreThr, "restorethr", "Brox restore thread", cmn, cmn64, restoreThr64),
    KIND(SHRPC_VokThr, "vokthr", "Vok session, further thread", cmn, vokthr, cmn64, vokthr64),
    KIND(SHRPC_BrxAioThr, "aiothr", "Brox asynchronous I/O thread", cmn, aioThd, cmn64, aioThd64),
    KIND(SHRPC_FF_Thr, "ffthr", "free-frame thread", cmn, ffThd, cmn64, ffThd64),
    KIND(SHRPC_CACHE_PGSVR, "cachepgsvr", "cache page server", cmn, cachePgsvr, cmn64,
         cachePgsvr64),
    KIND(SHRPC_VOK_PGSVR_THD, "pgsvrthr", "page server of a Vok, further thread", cmn, vokPgsvr,
         cmn64, vokPgsvr64),
    KIND(SHRPC_SYSTEM, "system", "system", cmn, cmn64),
});

#undef KIND

} // namespace statscatalogue::tables

#endif
