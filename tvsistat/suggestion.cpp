#include "suggestion.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace tvsistat {
namespace {

char lowered(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/* Edits that turn one text into the other (Levenshtein distance), case ignored. */
size_t editsBetween(std::string_view one, std::string_view other) {
    std::vector<size_t> edits(other.size() + 1); /* from the letters of `one` so far */
    std::iota(edits.begin(), edits.end(), size_t{0});
    for (size_t i = 0; i < one.size(); i++) {
        size_t diagonal = edits[0];
        edits[0] = i + 1;
        for (size_t j = 0; j < other.size(); j++) {
            const size_t replaced = diagonal + (lowered(one[i]) == lowered(other[j]) ? 0 : 1);
            diagonal = edits[j + 1];
            edits[j + 1] = std::min({replaced, edits[j] + 1, diagonal + 1});
        }
    }
    return edits.back();
}

} // namespace

std::string_view closestName(std::string_view wrong, std::span<const std::string_view> candidates) {
    /* Up to a third of the letters may be wrong: beyond that a suggestion is a guess. Of two as
     * close, one that begins alike is meant: few mistype the first letter. */
    size_t least = 2 * (wrong.size() / 3 + 1);
    std::string_view closest;
    for (const std::string_view candidate : candidates) {
        const bool beginsAlike = !wrong.empty() && candidate.starts_with(wrong.front());
        const size_t distance = 2 * editsBetween(wrong, candidate) + (beginsAlike ? 0 : 1);
        if (distance < least) {
            least = distance;
            closest = candidate;
        }
    }
    return closest;
}

} // namespace tvsistat
