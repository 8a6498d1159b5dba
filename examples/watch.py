import sys

import tvsi

try:
    with tvsi.attach(brox=sys.argv[1] if len(sys.argv) > 1 else "brox") as cache:
        for sample in cache.samples(1.0, tvsi.VOK):
            for vok in sample.records:
                print(f"{vok.name:31} session {vok.sessionId:5}  commits {vok.commitCount}", flush=True)
except tvsi.TvsiError as problem:
    sys.exit(problem.sentence)
