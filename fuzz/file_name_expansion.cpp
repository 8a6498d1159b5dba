/* File names of any form. An input: flags, the size of the result's buffer, the name. */
#include "fuzzing.h"
#include "hostunix.h"
#include "unixerr.h"

using namespace fuzzing;

int LLVMFuzzerInitialize(int*, char***) {
    setenv("A", "/tmp", 1);
    setenv("B", "a//b/../$A", 1);
    setenv("EMPTY", "", 1);
    setenv("LONG", std::string(4090, 'x').c_str(), 1);
    setenv("TOO_LONG", std::string(5000, '/').c_str(), 1);
    silenceLibrary();
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const auto flags = input.take<std::uint8_t>();
    Buffer result(input.take<std::uint16_t>() % 4200);
    const std::string name = input.takeText('\0');
    const BoolType keepLinks = (flags & 1) != 0;
    const BoolType defaultCwd = (flags & 2) != 0;
    HostExpandFileName(name.c_str(), result.get(), result.size(), keepLinks, defaultCwd);
    result.requireTerminated();
    if (keepLinks && result.size() == 4199 && name[0] == '/' &&
        name.find_first_of("$\"") == std::string::npos) {
        require(strstr(result.get(), "//") == nullptr, "no slash is doubled");
        /* but at the start */
        require(strstr(result.get() + 1, "/./") == nullptr, "no step stays where it is");
        require(strstr(result.get() + 1, "/../") == nullptr, "no step goes up");
    }
    HostErrSType error;
    std::int64_t fileSize = 0;
    HostFileExistSize(name.c_str(), &fileSize, &error);
    return 0;
}
