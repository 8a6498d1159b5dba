#include "libraryoutput.h"

#include "sample.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace reader {
LibraryOutput::LibraryOutput() {
    std::array<int, 2> ends;
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    readEnd = ends[0];
    fcntl(ends[1], F_SETFL, 0); /* a line that doesn't fit waits: none is lost */
    dup2(ends[1], STDOUT_FILENO);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
}

LibraryOutput::~LibraryOutput() {
    close(readEnd);
}

void LibraryOutput::readAll() {
    std::array<char, 4096> piece;
    for (;;) {
        const ssize_t count = read(readEnd, piece.data(), piece.size());
        if (count > 0) {
            text.append(piece.data(), static_cast<size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            return;
        }
    }
}

std::vector<std::string> LibraryOutput::take(bool withRest) {
    readAll();
    std::vector<std::string> pieces;
    size_t at = 0;
    while (at < text.size()) {
        const size_t newline = text.find('\n', at);
        const size_t end = newline == std::string::npos ? text.size() : newline + 1;
        if (newline == std::string::npos && !withRest && end - at < samples::maxTextBytes) {
            break;
        }
        const std::string_view line =
            std::string_view(text).substr(at, std::min<size_t>(end - at, samples::maxTextBytes));
        listenTo(line);
        if (pieces.empty() || pieces.back().size() + line.size() > samples::maxTextBytes) {
            pieces.emplace_back();
        }
        pieces.back() += line;
        at += line.size();
    }
    text.erase(0, at);
    return pieces;
}

/* The lines of the library's last report, by how they begin. */
void LibraryOutput::listenTo(std::string_view line) {
    if (line.find("HostCallDebugger: invoked at") != std::string_view::npos) {
        givenUp = true;
    } else if (line.find("HostCallDebugger: Waiting for") != std::string_view::npos) {
        saidAll = true;
    } else if (givenUp && why.empty() && line.size() > 1) {
        why = line.substr(0, line.find('\n'));
    }
}

} // namespace reader
