/* What must hold, where no GoogleTest is; a process that nobody catches it in ends with the text.
 */
#ifndef TESTING_REQUIRE_H
#define TESTING_REQUIRE_H

#include <cerrno>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace testsupport {

/* Throws std::runtime_error. */
inline void require(bool holds, std::string_view what) {
    if (!holds) {
        throw std::runtime_error(std::string(what));
    }
}

/* Throws std::system_error with what errno says of a call. */
inline void requireCall(bool succeeds, std::string_view call) {
    if (!succeeds) {
        throw std::system_error(errno, std::generic_category(), std::string(call));
    }
}

} // namespace testsupport

#endif
