/* Which processes are shown. */
#ifndef SELECTION_H
#define SELECTION_H

#include "sample.h"

#include <cstdint>
#include <memory>
#include <regex.h>
#include <string>
#include <vector>

namespace samples {

/* Names of processes: by a POSIX extended regular expression that may match anywhere in the name,
 * or by a glob for the whole of it. */
class NamePattern {
public:
    /* A compiled pattern, or an empty one with the C library's sentence in `problem`. */
    static NamePattern expression(const std::string& text, bool ignoresCase, std::string& problem);
    static NamePattern glob(std::string text, bool ignoresCase);

    bool matches(const std::string& name) const;

private:
    struct Release {
        void operator()(regex_t* expression) const;
    };
    std::unique_ptr<regex_t, Release> compiled; /* null for a glob */
    std::string globText;
    bool globIgnoresCase = false;
};

/* The values of one criterion are alternatives; criteria must all hold; an empty one always does.
 */
class Selection {
public:
    uint32_t kinds = SHRPC_ALL; /* mask of kind bits */
    std::vector<int32_t> pids;
    std::vector<int32_t> sessions;
    std::vector<NamePattern> names;

    /* Leaves out nothing. A record of no known kind (it was copied while its slot changed hands) is
     * only shown then. */
    bool isEverything() const;
    bool includes(const Record& record) const;

private:
    mutable std::string name; /* scratch: patterns take terminated names */
};

} // namespace samples

#endif
