/* What the command line asks for. */
#ifndef SETTINGS_H
#define SETTINGS_H

#include "accumulation.h"
#include "collector.h"
#include "listening.h"
#include "webpage.h"

#include <string>
#include <variant>

namespace exporter {

struct Settings {
    CollectorSettings collector;
    SeriesChoice series;
    ListenAddress listen{"127.0.0.1", "9964"};
    bool allowsRemote = false;
    PageSettings page;
};

/* Text to print, and nothing else to do. */
struct TextRequest {
    std::string text;
};

std::variant<Settings, TextRequest, samples::Failure> settingsFrom(int argc, char** argv);

} // namespace exporter

#endif
