#include "versions.h"

#include "tvsi.h"

namespace samples {

std::string_view serverVersion() {
    return TVSI_INTERFACE_VERSION;
}

std::string_view releaseVersion() {
    return TVSI_RELEASE;
}

} // namespace samples
