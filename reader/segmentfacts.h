/* What the system says of a memory segment without attaching it. Every function may be called from
 * any thread. */
#ifndef SEGMENTFACTS_H
#define SEGMENTFACTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>

namespace reader {

struct SegmentFacts {
    uint32_t mode = 0; /* permission bits */
    uid_t user = 0;
    gid_t group = 0;
    pid_t creator = 0;
};

/* The segment with this key, seen also by those who may not read it; nothing when there is none in
 * this IPC namespace, or it can't be told. */
std::optional<SegmentFacts> segmentWithKey(int32_t key);

/* 0 when this process may read and write the segment, which attaching needs, else the errno of the
 * refusal: ENOENT, EACCES. */
int attachRefusal(int32_t key);

/* For a sentence: who the segment belongs to, and who may attach it. "it belongs to user talvex and
 * group dba with mode 0640: ..." */
std::string rightsNeeded(const SegmentFacts& segment);

/* Whether the process lives in this process's IPC namespace; true when it can't be told. */
bool sharesIpcNamespace(pid_t pid);

/* What to think of when a process of the server seems to be gone, to follow a sentence: it may be
 * out of this process's sight. Mostly empty. */
std::string pidNamespaceHint();

} // namespace reader

#endif
