#!/usr/bin/env bash
# locks_test.sh SOURCE_DIR: clang's analysis finds the library's locks in order, and sees each fault
# that is planted. Skipped without clang.
set -euo pipefail
command -v clang++ >/dev/null || exit 77
cd "$1"
analyse() {
    clang++ -std=c++20 -fsyntax-only -Wthread-safety -Wthread-safety-beta -Iinclude -Isrc "$@"
}
analyse -Werror src/*.cpp

faults=$(analyse -x c++ - 2>&1 <<'CPP'
#include "netinfolocal.cpp"
#include "tvsi.cpp"
using Handle = SharedCacheHandleSType;
void recycleInQuery(Handle* h) {
    SharedCacheLockHolder held(h);
    HostMutexHolder late(&recycleMutex, "");
}
void queryInAttach(Handle* h) {
    HostShrMemAccessor held(&h->shrMemState);
    SharedCacheLockHolder late(h);
}
void recycleInAttach(Handle* h) {
    HostShrMemAccessor held(&h->shrMemState);
    HostMutexHolder late(&recycleMutex, "");
}
void joinInQuery(Handle* h) {
    SharedCacheLockHolder held(h);
    h->stopWatcherThread();
}
void detachInAttach(Handle* h) {
    HostShrMemAccessor held(&h->shrMemState);
    h->detachCache();
}
void forgetsToUnlock(Handle* h) {
    _hostmutexLock(&h->cacheMutex, 1, "");
}
int readsUnlocked() {
    return CachedFtokKey.key;
}
CPP
)
diff -u - <(sed -n 's/.* warning: \(.*\) \[.*/\1/p' <<<"$faults") <<'FAULTS'
mutex 'recycleMutex' must be acquired before 'cacheMutex'
mutex 'cacheMutex' must be acquired before '_mutex'
mutex 'recycleMutex' must be acquired before '_mutex'
cannot call function 'stopWatcherThread' while mutex 'h->cacheMutex' is held
cannot call function 'detachCache' while mutex 'h->shrMemState._mutex' is held
mutex 'h->cacheMutex' is still held at the end of function
reading variable 'CachedFtokKey' requires holding mutex 'cacheMutex'
FAULTS
