"""Live statistics of a Talvex database server on the same host.

    import tvsi

    with tvsi.attach(brox="prod") as cache:
        for sample in cache.samples(1.0, tvsi.VOK):
            for vok in sample.records:
                print(vok.name, vok.sessionId, vok.commitCount)

    with tvsi.open("prod.tvr") as recording:  # what `tvsistat --write prod.tvr` has recorded
        for sample in recording.samples(tvsi.VOK):
            print(sample.real_time, sum(sample.records.column("commitCount")))

A record has the fields of its kind by the names of tvsi-stats(7), and `tvsi.VOK.fields` their units
and meanings. What fails raises a TvsiError with the library's sentence. attach() needs libtvsi,
open() of a file the program tvsistat, and Records.array() NumPy.
"""

from . import errors, records
from ._cache import Cache, Records, Sample, attach
from ._fields import Field, Fields, IntArray, Kind, Kinds
from ._recording import CacheInfo, Event, Process, RecordedSample, Recording, open
from .errors import *
from .records import *

__version__ = records.RELEASE
__all__ = ["Cache", "CacheInfo", "Event", "Field", "Fields", "IntArray", "Kind", "Kinds", "Process"]
__all__ += ["RecordedSample", "Recording", "Records", "Sample", "attach", "open"]
__all__ += errors.__all__
__all__ += records.__all__
