"""Calls all 15 functions through ctypes; all_functions.h says more of what they answer. Arguments:
LIBRARY BROX CACHE MONITOR-PID BROX-PID ENTRIES"""

import ctypes
import struct
import sys

# Process id, session, kind of Vok, name and kind, where a record of 1800 bytes has them.
RECORD = struct.Struct("<ii696xi1052x32sI4x")

library, brox, cache, monitor_pid, brox_pid, entries = sys.argv[1:]
tvsi = ctypes.CDLL(library)
records = ctypes.create_string_buffer(100 * RECORD.size)
count = ctypes.c_int()
text = ctypes.create_string_buffer(1024), ctypes.c_size_t(1024)


def expect(found, wanted):
    if found != wanted:
        raise AssertionError(f"found {found!r}, wanted {wanted!r}")


def found(function, *arguments, is_one=False, rest=()):
    """What a query finds: each process's id, session, kind of Vok, name and kind."""
    count.value = 1 if is_one else 100
    place = () if is_one else (ctypes.byref(count), *rest)
    expect(function(*arguments, records, *place), 0)
    processes = [RECORD.unpack_from(records, i * RECORD.size) for i in range(count.value)]
    return [(*ids, name.split(b"\0")[0].decode(), kind) for *ids, name, kind in processes]


def one(function, *arguments):
    return found(function, *arguments, is_one=True)[0]


tvsi.TvsiInit()
expect(tvsi.TvsiAttachSharedCacheForBrox(b"nobody", *text), 12)
expect(text[0].value, b"Brox named 'nobody' not found on this host")
for attach, name in (tvsi.TvsiAttachSharedCacheForBrox, brox), (tvsi.TvsiAttachSharedCache, cache):
    expect(tvsi.TvsiDetachSharedCache(), 7 if name == brox else 0)
    expect((attach(name.encode(), *text), text[0].value), (0, b""))
expect(tvsi.TvsiCacheIsAlive(), 1)
expect((tvsi.TvsiFetchMaxProcessesInCache(ctypes.byref(count)), count.value), (0, int(entries)))
expect(one(tvsi.TvsiStatsForShrPcMon)[::4], (int(monitor_pid), 1))
expect(one(tvsi.TvsiStatsForBrox)[::3], (int(brox_pid), brox))
expect(one(tvsi.TvsiStatsForProcessId, int(brox_pid))[3:], (brox, 2))
expect(one(tvsi.TvsiStatsForVokSessionId, 2)[1:], (2, 2, "Vok2", 8))
expect(one(tvsi.TvsiStatsForVokSessionWithName, b"Vok3")[1:], (3, 3, "Vok3", 8))
expect(one(tvsi.TvsiStatsForPgsvrSessionId, 1)[4], 4)
voks = found(tvsi.TvsiAllStatsForMask, ctypes.c_uint(8))
expect([vok[3] for vok in voks], ["Vok1", "Vok2", "Vok3", "Vok4"])
expect(found(tvsi.TvsiAllVokStatsForVokKindRange, 2, 3), voks[1:3])
expect(found(tvsi.TvsiAllVokStatsForRegexName, b"[12]$", 0, rest=text), voks[:2])
bad = tvsi.TvsiAllVokStatsForRegexName(b"(", 0, None, ctypes.byref(count), *text)
expect((bad, text[0].value != b""), (13, True))
expect(tvsi.TvsiDetachSharedCache(), 0)
