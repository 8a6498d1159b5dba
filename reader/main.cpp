/* tvsi-reader: the one program that attaches a shared page cache; writes samples of it as a stream,
 * or lists the caches of this host. */
#include "cachelisting.h"
#include "readerarguments.h"
#include "streaming.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <string>
#include <system_error>
#include <unistd.h>

namespace {

using namespace reader;

int fail(const Failure& failure) {
    std::fprintf(stderr, "tvsi-reader: %s\n", failure.sentence.c_str());
    return static_cast<int>(failure.status);
}

Failure outputFailure() {
    return {ExitStatus::OutputFailed,
            "standard output cannot be written: " + std::generic_category().message(errno)};
}

int print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    return std::fflush(stdout) == 0 ? 0 : fail(outputFailure());
}

int list() {
    /* What the library may print is no part of the list. */
    const int out = dup(STDOUT_FILENO);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    const auto found = listCaches();
    std::fflush(stdout);
    dup2(out, STDOUT_FILENO);
    close(out);
    if (const auto* failure = std::get_if<Failure>(&found)) {
        return fail(*failure);
    }
    const auto& listing = std::get<Listing>(found);
    if (!listing.warning.empty()) {
        std::fprintf(stderr, "tvsi-reader: %s\n", listing.warning.c_str());
    }
    return print(listing.lines);
}

int run(int argc, char** argv, bool hasOutput) {
    const auto request = parseArguments(argc, argv);
    if (const auto* failure = std::get_if<Failure>(&request)) {
        return fail(*failure);
    }
    if (const auto* wanted = std::get_if<TextRequest>(&request)) {
        return print(wanted->text);
    }
    if (std::holds_alternative<ListRequest>(request)) {
        return list();
    }
    if (!hasOutput) {
        return fail({ExitStatus::OutputFailed, "standard output is closed"});
    }
    if (isatty(STDOUT_FILENO) == 1) {
        return fail({ExitStatus::Usage, "the stream is not for a terminal: pipe it into tvsistat "
                                        "--read -, or send it to a file"});
    }
    stream(std::get<StreamRequest>(request));
}

/* What is opened later must not get the number of a standard stream that is closed. What takes its
 * place cannot be written, so that a closed standard output is noticed. */
void occupyStandardStreams() {
    int opened = 0;
    do {
        opened = open("/dev/null", O_RDONLY | O_CLOEXEC);
    } while (opened >= 0 && opened <= STDERR_FILENO);
    close(opened);
}

} // namespace

int main(int argc, char** argv) {
    /* Before the library looks anything up: it asks for the address of this host, and a resolver
     * that doesn't answer would keep it for minutes. */
    setenv("RES_OPTIONS", "timeout:1 attempts:1", 0);
    /* Writes that fail are told by their error. */
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    const bool hasOutput = fcntl(STDOUT_FILENO, F_GETFD) != -1;
    occupyStandardStreams();
    try {
        return run(argc, argv, hasOutput);
    } catch (const std::exception& error) {
        return fail({ExitStatus::Failure, error.what()});
    }
}
