#include "negotiation.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <strings.h>

namespace exporter {
namespace {

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t");
    return first == std::string_view::npos
               ? ""
               : text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

/* The text up to the mark, and what is behind it stays. */
std::string_view takeUpTo(std::string_view& text, char mark) {
    const std::string_view part = text.substr(0, text.find(mark));
    text.remove_prefix(std::min(part.size() + 1, text.size()));
    return trimmed(part);
}

bool isSame(std::string_view one, std::string_view other) {
    return one.size() == other.size() && strncasecmp(one.data(), other.data(), one.size()) == 0;
}

double qualityIn(std::string_view parameters) {
    while (!parameters.empty()) {
        std::string_view parameter = takeUpTo(parameters, ';');
        if (isSame(takeUpTo(parameter, '='), "q")) {
            double quality = 0;
            const auto value = trimmed(parameter);
            std::from_chars(value.data(), value.data() + value.size(), quality);
            return quality > 0 && quality <= 1 ? quality : 0;
        }
    }
    return 1;
}

bool isOfVersion(std::string_view parameters, std::string_view version) {
    while (!parameters.empty()) {
        std::string_view parameter = takeUpTo(parameters, ';');
        if (isSame(takeUpTo(parameter, '='), "version")) {
            return trimmed(parameter) == version;
        }
    }
    return true;
}

/* Calls visit(name, parameters) for each element of the header. */
template <class Visitor> void forEachElement(std::string_view header, Visitor visit) {
    while (!header.empty()) {
        std::string_view parameters = takeUpTo(header, ',');
        const std::string_view name = takeUpTo(parameters, ';');
        visit(name, parameters);
    }
}

} // namespace

TextForm formFor(std::string_view accept) {
    double openMetrics = 0;
    double plain = 0;
    forEachElement(accept, [&](std::string_view name, std::string_view parameters) {
        if (isSame(name, "application/openmetrics-text") && isOfVersion(parameters, "1.0.0")) {
            openMetrics = std::max(openMetrics, qualityIn(parameters));
        } else if (isSame(name, "text/plain") || isSame(name, "text/*")) {
            plain = std::max(plain, qualityIn(parameters));
        }
    });
    return openMetrics > 0 && openMetrics >= plain ? TextForm::OpenMetrics : TextForm::Prometheus;
}

bool takesGzip(std::string_view acceptEncoding) {
    std::optional<bool> named;
    bool any = false;
    forEachElement(acceptEncoding, [&](std::string_view name, std::string_view parameters) {
        if (isSame(name, "gzip") || isSame(name, "x-gzip")) {
            named = qualityIn(parameters) > 0;
        } else if (name == "*") {
            any = qualityIn(parameters) > 0;
        }
    });
    return named.value_or(any);
}

} // namespace exporter
