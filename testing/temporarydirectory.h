/* A new directory for one test, gone with everything in it when the object goes. */
#ifndef TESTING_TEMPORARYDIRECTORY_H
#define TESTING_TEMPORARYDIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace testsupport {

class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string name = std::filesystem::temp_directory_path() / "tvsi-test.XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("can't make the directory " + name);
        }
        path_ = name;
    }
    TemporaryDirectory& operator=(TemporaryDirectory&&) = delete;
    ~TemporaryDirectory() {
        std::error_code ignored;
        if (owner_ == getpid()) { // a forked copy leaves it alone
            std::filesystem::remove_all(path_, ignored);
        }
    }

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path file(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
    pid_t owner_ = getpid();
};

} // namespace testsupport

#endif
