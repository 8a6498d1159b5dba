/* Makes the view that a request asks for, and leads events to where they are seen. */
#include "csvtable.h"
#include "jsonlines.h"
#include "longlist.h"
#include "openmetricstext.h"
#include "output.h"
#include "printable.h"
#include "report.h"

#include <algorithm>

namespace tvsistat {

namespace {

/* Nothing is shown. */
class NoView : public View {
    void appendSample(std::string&, const Shown&) override {}
    void appendEvent(std::string&, const Event&) override {}
    bool shows(const statscatalogue::Kind*) override { return true; }
    bool showsAny(const samples::Row&, const samples::Moment&, samples::Printing) override {
        return true;
    }
};

} // namespace

std::unique_ptr<View> makeView(const Request& request, const Surroundings& surroundings) {
    if (request.isQuiet || request.form == Form::Stream) {
        return std::make_unique<NoView>();
    }
    switch (request.form) {
    case Form::Long:
        return std::make_unique<LongList>(request, surroundings);
    case Form::Json:
        return std::make_unique<JsonLines>(request, surroundings);
    case Form::OpenMetrics:
        return std::make_unique<OpenMetricsText>(request, surroundings);
    case Form::Csv:
        return std::make_unique<CsvTable>(request, surroundings);
    case Form::Report:
    case Form::Stream:
        break;
    }
    return std::make_unique<Report>(request, surroundings);
}

Surroundings findSurroundings(const Request& request, bool hasSeveralCaches) {
    const When color = request.layout.color;
    return {outputIsTerminal(),
            color == When::Always || (color == When::Auto && outputTakesEscapes()),
            hasSeveralCaches};
}

void announce(const Request& request, View& view, std::string& text, const Event& event) {
    if (event.kind == Event::Kind::Waiting) {
        complain(event.sentence);
        return;
    }
    if (request.form == Form::Stream) {
        return; /* which has it as a message */
    }
    if (request.form == Form::Json && !request.isQuiet) {
        view.appendEvent(text, event);
        return;
    }
    switch (event.kind) {
    case Event::Kind::Notice:
        for (std::string_view rest = event.sentence; !rest.empty();) {
            const size_t end = std::min(rest.find('\n'), rest.size());
            if (end > 0) {
                complain("the library says: " + samples::printable(rest.substr(0, end)));
            }
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        break;
    case Event::Kind::Gone:
    case Event::Kind::Back:
    case Event::Kind::Mark:
        if (request.form == Form::Csv || request.isQuiet) {
            complain(event.sentence);
        } else {
            view.appendEvent(text, event);
        }
        break;
    case Event::Kind::Ended:
    case Event::Kind::Waiting:
        break;
    }
}

} // namespace tvsistat
