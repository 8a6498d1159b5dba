#include "selection.h"

#include <algorithm>
#include <fnmatch.h>

namespace samples {

void NamePattern::Release::operator()(regex_t* expression) const {
    regfree(expression);
    delete expression;
}

NamePattern NamePattern::expression(const std::string& text, bool ignoresCase,
                                    std::string& problem) {
    auto expression = std::make_unique<regex_t>();
    const int flags = REG_EXTENDED | REG_NOSUB | (ignoresCase ? REG_ICASE : 0);
    if (const int error = regcomp(expression.get(), text.c_str(), flags); error != 0) {
        char sentence[256];
        regerror(error, expression.get(), sentence, sizeof sentence);
        problem = sentence;
        return {};
    }
    NamePattern pattern;
    pattern.compiled.reset(expression.release());
    return pattern;
}

NamePattern NamePattern::glob(std::string text, bool ignoresCase) {
    NamePattern pattern;
    pattern.globText = std::move(text);
    pattern.globIgnoresCase = ignoresCase;
    return pattern;
}

bool NamePattern::matches(const std::string& name) const {
    if (compiled != nullptr) {
        return regexec(compiled.get(), name.c_str(), 0, nullptr, 0) == 0;
    }
    return fnmatch(globText.c_str(), name.c_str(), globIgnoresCase ? FNM_CASEFOLD : 0) == 0;
}

bool Selection::isEverything() const {
    return kinds == SHRPC_ALL && pids.empty() && sessions.empty() && names.empty();
}

bool Selection::includes(const Record& record) const {
    const auto holds = [](const auto& values, auto&& isMet) {
        return values.empty() || std::ranges::any_of(values, isMet);
    };
    if (kinds != SHRPC_ALL && (record.kind == nullptr || (record.kind->bit & kinds) == 0)) {
        return false;
    }
    if (!holds(pids, [&](int32_t pid) { return pid == record.pid; }) ||
        !holds(sessions, [&](int32_t session) { return session == record.session; })) {
        return false;
    }
    if (names.empty()) {
        return true;
    }
    name = record.name;
    return std::ranges::any_of(names,
                               [&](const NamePattern& pattern) { return pattern.matches(name); });
}

} // namespace samples
