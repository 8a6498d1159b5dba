"""Calls all 15 functions on a running server through ctypes; arguments:
LIBRARY BROX CACHE MONITOR-PID BROX-PID ENTRIES"""

import ctypes
import struct
import sys

SUCCESS, NOT_FOUND, BAD_REGEX = 0, 12, 13
MONITOR, BROX, PGSVR_MAIN, VOK, ALL = 1, 2, 4, 8, 16383
RECORD_SIZE = 1800


class Record:
    """The fields of a result at their offsets."""

    def __init__(self, raw):
        self.pid, self.session = struct.unpack_from("<ii", raw, 0)
        (self.vok_kind,) = struct.unpack_from("<i", raw, 704)
        self.name = raw[1760:1792].split(b"\0")[0].decode()
        (self.kind,) = struct.unpack_from("<I", raw, 1792)


def expect(found, wanted, what):
    if found != wanted:
        sys.exit(f"{what}: found {found!r}, wanted {wanted!r}")


def one(function, *arguments):
    raw = ctypes.create_string_buffer(RECORD_SIZE)
    expect(function(*arguments, raw), SUCCESS, function.__name__)
    return Record(raw.raw)


def many(function, *arguments, rest=()):
    raw = ctypes.create_string_buffer(RECORD_SIZE * 1000)
    count = ctypes.c_int(1000)
    expect(function(*arguments, raw, ctypes.byref(count), *rest), SUCCESS, function.__name__)
    return [Record(raw.raw[i * RECORD_SIZE : (i + 1) * RECORD_SIZE]) for i in range(count.value)]


def main():
    library, brox, cache, monitor_pid, brox_pid, entries = sys.argv[1:]
    tvsi = ctypes.CDLL(library)
    text = ctypes.create_string_buffer(1024)
    size = ctypes.c_size_t(len(text))

    tvsi.TvsiInit()
    expect(tvsi.TvsiAttachSharedCacheForBrox(b"nobody", text, size), NOT_FOUND, "unknown Brox")
    expect(tvsi.TvsiAttachSharedCacheForBrox(brox.encode(), text, size), SUCCESS, text.value)
    expect(tvsi.TvsiDetachSharedCache(), SUCCESS, "detach")
    expect(tvsi.TvsiAttachSharedCache(cache.encode(), text, size), SUCCESS, text.value)
    expect(tvsi.TvsiCacheIsAlive(), 1, "alive")

    count = ctypes.c_int()
    expect(tvsi.TvsiFetchMaxProcessesInCache(ctypes.byref(count)), SUCCESS, "entries")
    expect(count.value, int(entries), "entries")
    monitor = one(tvsi.TvsiStatsForShrPcMon)
    expect((monitor.pid, monitor.kind), (int(monitor_pid), MONITOR), "monitor")
    found = one(tvsi.TvsiStatsForBrox)
    expect((found.pid, found.kind, found.name), (int(brox_pid), BROX, brox), "Brox")
    expect(one(tvsi.TvsiStatsForProcessId, int(brox_pid)).kind, BROX, "process id")
    expect(one(tvsi.TvsiStatsForVokSessionId, 2).name, "Vok2", "session")
    expect(one(tvsi.TvsiStatsForVokSessionWithName, b"Vok3").session, 3, "name")
    expect(one(tvsi.TvsiStatsForPgsvrSessionId, 1).kind, PGSVR_MAIN, "page server")
    everybody = many(tvsi.TvsiAllStatsForMask, ctypes.c_uint(ALL))
    expect([p.pid for p in everybody[:2]], [int(monitor_pid), int(brox_pid)], "slots 0 and 1")
    voks = [p.name for p in everybody if p.kind == VOK]
    expect(voks, ["Vok1", "Vok2", "Vok3", "Vok4"], "voks")
    in_range = many(tvsi.TvsiAllVokStatsForVokKindRange, 2, 3)
    expect([p.vok_kind for p in in_range], [2, 3], "kind range")
    named = many(tvsi.TvsiAllVokStatsForRegexName, b"[12]$", 0, rest=(text, size))
    expect([p.name for p in named], ["Vok1", "Vok2"], "expression")
    bad = tvsi.TvsiAllVokStatsForRegexName(b"(", 0, None, ctypes.byref(count), text, size)
    expect((bad, text.value != b""), (BAD_REGEX, True), "bad expression")

    expect(tvsi.TvsiDetachSharedCache(), SUCCESS, "detach")


main()
