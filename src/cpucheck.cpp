#include "cpucheck.h"

#include <unistd.h>

#include "fatal.h"

namespace {

bool allPresent(const CpuFeature* features, size_t count) {
    for (size_t i = 0; i < count; i++) {
        if (!features[i].present) {
            return false;
        }
    }
    return true;
}

} // namespace

void cpuRequireFeatures(const CpuFeature* features, size_t count) {
    if (allPresent(features, count)) {
        return;
    }

    HostSignalSafePrint("[Error]: Program cannot start because the CPU is missing the following "
                        "feature(s):\n[Error]: ");
    for (size_t i = 0; i < count; i++) {
        if (features[i].present) {
            continue;
        }
        HostSignalSafePrint(" ");
        HostSignalSafePrint(features[i].name);
    }
    HostSignalSafePrint(
        "\n[Error]: For more information, please contact Morvane technical support.\n");
    _exit(1);
}

void CpuCheckCpu() {
    __builtin_cpu_init();
    const CpuFeature features[] = {
        {"aes", __builtin_cpu_supports("aes") != 0},
        {"avx", __builtin_cpu_supports("avx") != 0},
        {"mmx", __builtin_cpu_supports("mmx") != 0},
        {"pclmul", __builtin_cpu_supports("pclmul") != 0},
    };
    cpuRequireFeatures(features, sizeof features / sizeof features[0]);
}
