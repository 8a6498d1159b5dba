#include "versions.h"

namespace samples {

std::string_view serverVersion() {
    return TVSI_SERVER_VERSION;
}

std::string_view releaseVersion() {
    return TVSI_RELEASE;
}

} // namespace samples
