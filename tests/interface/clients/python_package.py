"""The Python package on a running server: what it gives is what the server holds. Kills the cache
monitor at the end. Arguments: BROX CACHE MONITOR-PID BROX-PID ENTRIES"""

import gc
import os
import signal
import sys
import threading
import time

import tvsi
from checks import expect, refused
from tvsi._library import library

try:
    import numpy
except ImportError:
    numpy = None

brox, location, monitor_pid, brox_pid, entries = sys.argv[1:]


def check_attachment():
    sentence = refused(tvsi.CacheNotFoundError, tvsi.attach, "nobody")
    expect(sentence, "Brox named 'nobody' not found on this host")
    for arguments in (), (brox, location):
        refused(TypeError, tvsi.attach, *arguments[:1], **({"cache": location} if arguments else {}))
    with tvsi.attach(cache=location) as first:
        refused(tvsi.AlreadyAttachedError, tvsi.attach, cache=location)
        kept = first.query(tvsi.VOK)
    expect((first.is_alive, kept[0].name), (False, "Vok1"))
    expect(refused(tvsi.NotAttachedError, first.query), "no cache is attached")
    cache = tvsi.attach(brox)
    del cache  # detaches it
    gc.collect()
    left_behind = tvsi.attach(brox)
    library().TvsiDetachSharedCache()  # as a death would have it
    with tvsi.attach(brox=brox) as cache:
        left_behind.close()
        expect((cache.is_alive, left_behind.is_alive), (True, False))
        child = os.fork()
        if child == 0:  # it must not touch its parent's attachment, nor wait for anything
            says = refused(tvsi.NotAttachedError, cache.query)
            says += refused(tvsi.OtherCacheAttachedError, tvsi.attach, brox)
            cache.close()
            os._exit("forked" not in says)
        expect(os.waitpid(child, 0)[1], 0)
        expect(cache.is_alive, True)


def check_queries(cache):
    expect(cache.slots, int(entries))
    expect((cache.monitor().processId, cache.brox().processId), (int(monitor_pid), int(brox_pid)))
    expect(cache.process(int(brox_pid)).name, brox)
    expect((cache.vok(2).vokKind, cache.vok_named("Vok3").sessionId), (2, 3))
    expect(type(cache.page_server(1)), tvsi.PgsvrRecord)
    voks = cache.query(tvsi.VOK)
    expect([vok.name for vok in voks], ["Vok1", "Vok2", "Vok3", "Vok4"])
    expect([vok.vokKind for vok in cache.voks_of_kind(2, 3)], [2, 3])
    expect(cache.voks_matching("^VOK[13]$", ignore_case=True).names(), ["Vok1", "Vok3"])
    expect((cache.count_voks_of_kind(2, 3), cache.count_voks_matching("[12]$")), (2, 2))
    expect((len(cache.voks_matching("^x")), cache.voks_matching("^x").column("processId")), (0, []))
    every = cache.query()
    expect([type(record) for record in every][:2], [tvsi.MonitorRecord, tvsi.BroxRecord])
    expect([vok.name for vok in every.of(tvsi.VOK)], voks.names())
    expect(len(cache.query(tvsi.VOK | tvsi.BROX)), 5)
    expect((voks[-1].name, [vok.name for vok in voks[1:3]]), ("Vok4", ["Vok2", "Vok3"]))
    refused(IndexError, voks.__getitem__, 4)

    refused(tvsi.NotFoundError, cache.vok, 99)
    refused(tvsi.BadArgumentError, cache.vok, 0)
    refused(tvsi.BadArgumentError, cache.process, 2**32 + int(brox_pid))
    refused(tvsi.BadArgumentError, cache.vok_named, "Vok3\0")
    refused(tvsi.BadArgumentError, cache.query, tvsi.SYSTEM)
    refused(tvsi.BadArgumentError, cache.samples, -1.0)
    expect("nmatched" in refused(tvsi.BadRegexError, cache.count_voks_matching, "("), True)
    expect("one kind" in refused(tvsi.BadArgumentError, every.column, "commitCount"), True)


def check_columns(cache):
    """Attributes, columns, rows and arrays are the same numbers, and outlive all but themselves."""
    voks = cache.query(tvsi.VOK)
    for name, field in tvsi.VOK.fields.items():
        numbers = [getattr(vok, name) for vok in voks]
        numbers = numbers if field.count == 1 else [list(elements) for elements in numbers]
        expect(numbers, [vok.values()[name] for vok in voks])
        last = field.count - 1
        column = [elements[last] for elements in numbers] if last else numbers
        expect(voks.column(name, last), column)
        if numpy:
            expect(voks.array()[name].tolist(), numbers)
    names = "statType", "processId", "commitCount", "timeLastCommit"
    expect(voks.rows(*names), list(zip(*map(voks.column, names))))
    expect(voks.rows("sessionId"), [(1,), (2,), (3,), (4,)])
    field = tvsi.BROX.fields["reposSizeMB"]
    expect((field.unit, field.symbol, field.base_unit, field.factor), ("megabytes", "MiB", "bytes", 2**20))
    if numpy:
        array = voks.array()
        expect((array.flags.writeable, array.dtype.itemsize, cache.voks_matching("^x").array().size), (False, 1800, 0))
        kept = array["pageLocateCount"]
    else:
        kept = voks[0]
    before = kept.tolist() if numpy else kept.pageLocateCount
    del voks
    array = None
    for _ in range(10):  # memory is used again, but not this
        time.sleep(0.03)
        cache.query(tvsi.VOK)
    expect(kept.tolist() if numpy else kept.pageLocateCount, before)
    cache._memories[:] = [tvsi._cache._Memory(3)]  # as if the table had grown
    expect(len(cache.query(tvsi.VOK)), 4)
    places = {id(cache.query()._bytes) for _ in range(10)}
    expect(len(places), 1)


def check_threads(cache):
    """Threads have memory of their own, and the attachment may end under their queries."""
    ends = []

    def query(*kinds):
        try:
            while True:
                for kind in kinds:
                    found = set(cache.query(kind).column("statType"))
                    expect(found, {kind.mask})
        except Exception as problem:
            ends.append(type(problem))

    threads = [
        threading.Thread(target=query, args=kinds)
        for kinds in ((tvsi.VOK,), (tvsi.BROX,), (tvsi.VOK, tvsi.MONITOR))
    ]
    for thread in threads:
        thread.start()
    time.sleep(0.2)
    cache.close()
    for thread in threads:
        thread.join()
    expect(ends, [tvsi.NotAttachedError] * 3)


def check_samples(cache):
    start, numbers, moved = time.monotonic(), [], set()
    samples = cache.samples(0.05, tvsi.VOK)
    for sample in samples:
        expect(sample.time - start >= 0.05 * sample.number, True)
        numbers.append(sample.number)
        moved.add(sample.records[0].pageLocateCount)
        if len(numbers) == 2:
            time.sleep(0.12)  # two moments pass
        if len(numbers) > 20 and len(moved) > 1:
            break
    expect((numbers[0], numbers == sorted(set(numbers)), numbers[2] >= numbers[1] + 3), (0, True, True))

    os.kill(int(monitor_pid), signal.SIGKILL)
    samples = cache.samples(0.02)
    try:
        for sample in samples:
            expect(sample.time < start + 60, True)
        raise AssertionError("the samples of a dead cache ended without a word")
    except tvsi.SeveredError as problem:
        expect((problem.status, "gone away" in problem.sentence), (5, True))
    expect(list(samples), [])
    refused(tvsi.NotAttachedError, cache.query)


check_attachment()
with tvsi.attach(brox=brox) as attached:
    check_queries(attached)
    check_columns(attached)
    check_threads(attached)
with tvsi.attach(brox=brox) as attached:
    check_samples(attached)
