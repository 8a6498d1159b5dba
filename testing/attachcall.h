/* The functions with a text buffer, called with a buffer that shows every byte written. */
#ifndef TESTING_ATTACHCALL_H
#define TESTING_ATTACHCALL_H

#include <algorithm>
#include <functional>
#include <ostream>
#include <string>

#include "tvsi.h"

namespace testsupport {

struct Answer {
    int status = -1;
    std::string text;

    bool operator==(const Answer&) const = default;
};

inline const Answer success{TVSI_SUCCESS, ""};
constexpr std::size_t roomySize = 2048;

inline std::ostream& operator<<(std::ostream& out, const Answer& answer) {
    return out << "{" << answer.status << ", \"" << answer.text << "\"}";
}

/* The result of `function(buffer, size)` with the buffer's text: "(untouched)" when no byte was
   written, with " (beyond the size)" when bytes behind it were; of size 0 the first byte counts. */
template <typename Function> Answer callWithBuffer(std::size_t size, Function function) {
    std::string buffer(roomySize + 64, '\x55');
    const int status = function(buffer.data(), size);
    const std::size_t limit = std::max<std::size_t>(size, 1);
    std::string text = buffer.substr(0, std::min(buffer.find('\0'), limit));
    if (buffer.find_first_not_of('\x55') >= limit) {
        text = "(untouched)";
    }
    if (buffer.find_first_not_of('\x55', limit) != std::string::npos) {
        text += " (beyond the size)";
    }
    return {status, text};
}

inline Answer attach(const std::string& name, std::size_t size = roomySize) {
    return callWithBuffer(size, std::bind_front(TvsiAttachSharedCache, name.c_str()));
}

inline Answer attachForBrox(const std::string& name, std::size_t size = roomySize) {
    return callWithBuffer(size, std::bind_front(TvsiAttachSharedCacheForBrox, name.c_str()));
}

} // namespace testsupport

#endif
