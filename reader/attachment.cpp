#include "attachment.h"

#include "attachfailure.h"
#include "registrylookup.h"
#include "tvsi.h"

namespace reader {

std::optional<Failure> attachTo(const Target& target, std::string& location) {
    TvsiInit();
    waitForHostId();
    if (target.isBrox) {
        SysErrorSType error;
        ShrPcLocationArgType found;
        if (!NetInfoLocalCacheNameForBrox(target.name.c_str(), &found, &error)) {
            return explainNoCacheOfBrox(target);
        }
        location = found.locationStr;
    } else {
        location = target.name;
    }
    char text[1200]; /* the library's error records hold up to 1023 characters */
    const int status = TvsiAttachSharedCache(location.c_str(), text, sizeof text);
    if (status == TVSI_SUCCESS) {
        return std::nullopt;
    }
    return explainAttach(target, location, status, text);
}

} // namespace reader
