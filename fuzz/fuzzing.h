/* What the fuzzers share. */
#ifndef FUZZING_H
#define FUZZING_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <unistd.h>

#include "require.h"
#include "temporarydirectory.h"

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzzing {

/* What does not hold ends the fuzzer with a finding. */
using testsupport::require;

/* Takes values off the front of an input; zeros when it has come to its end. */
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    bool isEmpty() const { return size_ == 0; }
    std::size_t size() const { return size_; }
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
    /* As many bytes as there are, up to `count`. */
    std::span<const std::byte> takeBytes(std::size_t count) {
        const auto taken = std::as_bytes(std::span(data_, std::min(count, size_)));
        data_ += taken.size();
        size_ -= taken.size();
        return taken;
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

/* The library's own output goes nowhere; that of the fuzzer is left alone, and what does not hold
   is part of it. */
inline void silenceLibrary() {
    stdout = std::fopen("/dev/null", "w");
    stderr = stdout;
    std::set_terminate([] {
        try {
            std::rethrow_exception(std::current_exception());
        } catch (const std::exception& error) {
            dprintf(STDERR_FILENO, "does not hold: %s\n", error.what());
        }
        std::abort();
    });
}

/* The host-wide directory of this fuzzer; in memory where that can be, as a file that is replaced
   waits for its disk. */
inline const std::filesystem::path& globalDirectory() {
    static const testsupport::TemporaryDirectory directory = [] {
        if (access("/dev/shm", W_OK) == 0) {
            setenv("TMPDIR", "/dev/shm", 1);
        }
        return testsupport::TemporaryDirectory();
    }();
    setenv("TALVEX_GLOBAL_DIR", directory.path().c_str(), 1);
    return directory.path();
}

} // namespace fuzzing

#endif
