/* A new directory for one test, gone with everything in it when the object goes; when its process
   is killed, as soon as the next one makes such a directory. */
#ifndef TESTING_TEMPORARYDIRECTORY_H
#define TESTING_TEMPORARYDIRECTORY_H

#include <filesystem>
#include <string>
#include <unistd.h>

namespace testsupport {

class TemporaryDirectory {
public:
    TemporaryDirectory(); /* throws std::system_error */
    TemporaryDirectory& operator=(TemporaryDirectory&&) = delete;
    ~TemporaryDirectory();

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path file(const std::string& name) const { return path_ / name; }

private:
    pid_t owner_ = getpid(); /* a forked copy leaves it alone */
    std::filesystem::path path_;
};

/*
 * Removes the directories "tvsi-test.PID.*" of processes that don't live, and the segments that
 * these, or servers that they had started, created on a key in a registry file there. Leaves a
 * directory in which such a server still lives. The first TemporaryDirectory of a process does it.
 */
void removeLeftovers();

} // namespace testsupport

#endif
