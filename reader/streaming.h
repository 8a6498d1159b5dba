/* The stream of one cache: attach, sample at an interval, end. */
#ifndef STREAMING_H
#define STREAMING_H

#include "readerarguments.h"

namespace reader {

/* Ends the process with the stream, whatever happens. Throws std::system_error when the stream
 * can't begin. */
[[noreturn]] void stream(const StreamRequest& request);

} // namespace reader

#endif
