/* The numbers that measured processes print. A process that fails throws std::exception. */
#ifndef BENCH_MEASUREDPROCESS_H
#define BENCH_MEASUREDPROCESS_H

#include <cstdio>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "process.h"
#include "require.h"

namespace bench {

/* Long enough for any of them on a machine with other things to do. */
constexpr int patience = 300;

/* Runs a program, which must succeed, in this process's environment: what it costs to load depends
   on the locale. */
inline testsupport::Outcome runProgram(const std::vector<std::string>& command) {
    testsupport::Environment own;
    for (char** variable = environ; *variable; ++variable) {
        const std::string text = *variable;
        own[text.substr(0, text.find('='))] = text.substr(text.find('=') + 1);
    }
    testsupport::Outcome outcome = testsupport::run(command, own, patience);
    testsupport::require(outcome.status == 0, command[0] + " fails: " + outcome.err);
    return outcome;
}

inline std::vector<double> numbersIn(const std::string& output) {
    std::istringstream in(output);
    return {std::istream_iterator<double>(in), {}};
}

/* Runs `body` in a forked process and returns its numbers. */
inline std::vector<double> numbersFromFork(const std::function<std::vector<double>()>& body) {
    const auto print = [&] {
        for (const double number : body()) {
            std::printf("%.17g\n", number);
        }
    };
    const testsupport::Outcome outcome = testsupport::inChild(print, patience);
    testsupport::require(outcome.status == 0, "a forked process fails: " + outcome.err);
    return numbersIn(outcome.out);
}

} // namespace bench

#endif
