#include "shrpc.h"

void ShrPcStateSType::setCacheEnabled() {
    _cacheEnabled = TRUE;
    _disconnectLine = -1;
}

void ShrPcStateSType::clearCacheEnabled(int code) {
    if (_cacheEnabled) {
        _disconnectLine = code;
    }
    _cacheEnabled = FALSE;
    __sync_synchronize();
}
