/*
 * The files of the registry directory with any contents and names. The first byte of an input says
 * what the rest is: 0 a registry record, 1 the host id file, 2 names of files, a line each.
 */
#include <fstream>
#include <poll.h>
#include <unistd.h>

#include "fuzzing.h"
#include "netinfolocal.h"
#include "registrydirectory.h"

using namespace fuzzing;

/* The reader of the host id waits between its rounds: not here. */
extern "C" int poll(pollfd*, nfds_t, int) {
    return 0;
}

namespace {

standin::RegistryDirectory& registry() {
    static standin::RegistryDirectory directory(globalDirectory());
    return directory;
}

void write(const std::filesystem::path& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
}

void readRecord(const std::string& bytes) {
    write(registry().recordFile("fuzz~1"), bytes);
    NetInfoSType record;
    SysErrorSType error;
    const NetInfoResultEnum result = NetInfoFindLocal("fuzz~1", &record, &error);
    require(result == NIRES_ERROR || result == NIRES_STALE || result == NIRES_ZEROSIZE ||
                result == NIRES_EXE_DEL || result == NIRES_OK,
            "the result is one of an existing file");
    require(strnlen(record.creator, sizeof record.creator) <= 16, "creator has 16 characters");
    require(strnlen(record.version, sizeof record.version) <= 12, "version has 12 characters");
    const std::size_t strings = strlen(record.logName()) + strlen(record.productDir()) +
                                strlen(record.cmdLine()) + strlen(record.configFile1()) +
                                strlen(record.configFile2()) + strlen(record.exePath());
    require(strings <= bytes.size(), "the strings are from the file");
    require(strlen(error.msg()) < sizeof error._errMsg, "the text is terminated");
    int32_t key = 0;
    require(NetInfoLocalFindFtokKeyForCache("fuzz~1", &key, nullptr, FALSE) == result,
            "the same file gives the same result");
    ShrPcLocationArgType location;
    NetInfoLocalCacheNameForBrox("fuzz", &location, &error);
}

void readHostId(const std::string& bytes) {
    write(registry().hostIdFile(), bytes);
    std::uint64_t id = 0;
    SysErrorSType error;
    const BoolType isRead = NetInfoLocalGetUniqueHostId(&id, &error, FALSE);
    require(isRead == (bytes.size() >= sizeof id), "eight bytes are a host id");
    require(!isRead || memcmp(&id, bytes.data(), sizeof id) == 0, "the first eight bytes");
}

void scan(Input input) {
    static const std::string monitor = standin::encode(standin::monitorRecord(getpid(), 1));
    const std::string brox = input.takeText('\n');
    std::vector<std::filesystem::path> files;
    while (!input.isEmpty() && files.size() < 8) {
        const std::string name = input.takeText('\n');
        if (name.empty() || name.size() > 255 || name == "." || name == ".." ||
            name.find_first_of(std::string("/\0", 2)) != std::string::npos) {
            continue;
        }
        files.push_back(registry().locksDirectory() / name);
        write(files.back(), monitor);
    }
    ShrPcLocationArgType location;
    SysErrorSType error;
    if (NetInfoLocalCacheNameForBrox(brox.c_str(), &location, &error)) {
        require(strchr(location.locationStr, '~') != nullptr, "a location string is made of two");
        require(strlen(location.locationStr) <= 510, "a location string has 510 characters");
    } else {
        require(error.hasError(), "a failure has a text");
    }
    for (const auto& file : files) {
        std::filesystem::remove(file);
    }
}

} // namespace

int LLVMFuzzerInitialize(int*, char***) {
    registry().writeHostId(0x1f2e);
    silenceLibrary();
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    switch (input.take<std::uint8_t>() % 3) {
    case 0:
        readRecord(input.takeRest());
        break;
    case 1:
        readHostId(input.takeRest());
        break;
    default:
        scan(input);
    }
    return 0;
}
