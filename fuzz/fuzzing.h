/* What the fuzzers share. */
#ifndef FUZZING_H
#define FUZZING_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <unistd.h>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzzing {

/* Ends the fuzzer with a finding when what must hold does not. */
inline void require(bool holds, const char* what) {
    if (!holds) {
        dprintf(STDERR_FILENO, "does not hold: %s\n", what);
        std::abort();
    }
}

/* Takes values off the front of an input; zeros when it has come to its end. */
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    bool isEmpty() const { return size_ == 0; }
    template <typename Word> Word take() {
        Word word{};
        const std::size_t length = std::min(sizeof word, size_);
        std::memcpy(&word, data_, length);
        data_ += length;
        size_ -= length;
        return word;
    }
    /* Up to and without the next `end`, which is taken off too. */
    std::string takeText(char end) {
        const auto* found = std::find(data_, data_ + size_, static_cast<std::uint8_t>(end));
        std::string text(data_, found);
        size_ -= text.size();
        data_ = found;
        take<char>();
        return text;
    }
    std::string takeRest() { return {data_, data_ + size_}; }

private:
    const std::uint8_t* data_;
    std::size_t size_;
};

/* A buffer of exactly `size` bytes, which the address sanitizer guards. */
class Buffer {
public:
    explicit Buffer(std::size_t size) : size_(size), bytes_(new char[size]) {
        std::fill_n(bytes_.get(), size, '?');
    }
    char* get() { return bytes_.get(); }
    std::size_t size() const { return size_; }
    void requireTerminated() const {
        require(size_ == 0 || std::memchr(bytes_.get(), '\0', size_) != nullptr,
                "the text is terminated");
    }

private:
    std::size_t size_;
    std::unique_ptr<char[]> bytes_;
};

/* The library's own output goes nowhere; that of the fuzzer is left alone. */
inline void silenceLibrary() {
    stdout = std::fopen("/dev/null", "w");
    stderr = stdout;
}

/* Forks a process that removes the directory when this one has ended, in whatever way: libFuzzer
   leaves without a word. */
inline void removeAtEnd(const std::filesystem::path& path) {
    int lifeline[2];
    require(pipe(lifeline) == 0, "a pipe can be made");
    const pid_t remover = fork();
    require(remover != -1, "a process can be made");
    if (remover == 0) {
        close(lifeline[1]);
        char nothing = 0;
        while (read(lifeline[0], &nothing, 1) == -1) {
        }
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
        _exit(0);
    }
    close(lifeline[0]);
}

/* A global directory that goes when the fuzzer ends. */
inline const std::filesystem::path& globalDirectory() {
    static const std::filesystem::path path = [] {
        std::string name = (std::filesystem::temp_directory_path() / "tvsi-fuzz.XXXXXX").string();
        require(mkdtemp(name.data()) != nullptr, "a temporary directory can be made");
        setenv("TALVEX_GLOBAL_DIR", name.c_str(), 1);
        removeAtEnd(name);
        return std::filesystem::path(name);
    }();
    return path;
}

} // namespace fuzzing

#endif
