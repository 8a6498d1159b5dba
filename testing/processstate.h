/* What this process holds, to compare before and after. */
#ifndef TESTING_PROCESSSTATE_H
#define TESTING_PROCESSSTATE_H

#include <cstddef>
#include <ostream>

namespace testsupport {

struct ProcessState {
    std::size_t mappings = 0;     /* all lines of the memory map */
    std::size_t sharedMemory = 0; /* those of System V segments */
    std::size_t descriptors = 0;  /* without the one that counts them */
    std::size_t threads = 0;
};

ProcessState processState();
/* The same a few milliseconds later: a thread that has been joined is listed for a moment longer.
 */
ProcessState restingState();
/* The thread sanitizer starts a thread of its own with the first one, in a child, too. */
ProcessState stateAfterFirstThread();
/* The state once there are no more threads than then, or after a second. */
ProcessState processStateSince(const ProcessState& then);
std::ostream& operator<<(std::ostream& out, const ProcessState& state);
/* The attachments of one segment, of all processes; 0 when it is gone. */
std::size_t attachments(int segmentId);

} // namespace testsupport

#endif
