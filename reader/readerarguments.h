/* The command line of tvsi-reader. */
#ifndef READERARGUMENTS_H
#define READERARGUMENTS_H

#include "exitstatus.h"
#include "shrpcstats.h"

#include <cstdint>
#include <string>
#include <variant>

namespace reader {

using samples::ExitStatus;
using samples::Failure;

/* The cache to attach: by the name of its Brox, or by its location. */
struct Target {
    bool isBrox = false;
    std::string name;

    /* "cache of Brox prod", "cache prod~1f2e". */
    std::string title() const;
};

/* Samples to take. */
struct StreamRequest {
    Target target;
    int64_t intervalNs = 1'000'000'000; /* from one to the next; 0: no pause */
    bool isAligned = false;             /* at whole multiples of it on the wall clock */
    uint64_t count = 0;                 /* 0: until the cache is gone */
    uint32_t kinds = SHRPC_ALL;         /* kinds of processes that are sent, a mask */
    bool hasUsers = true;               /* the users that they run as are looked up */
};

/* The host's caches are listed instead. */
struct ListRequest {};

/* A text is printed instead: the help or the version. */
struct TextRequest {
    std::string text;
};

/* What the command line asks for, or what is wrong with it. */
std::variant<StreamRequest, ListRequest, TextRequest, Failure> parseArguments(int argc,
                                                                              char** argv);

} // namespace reader

#endif
