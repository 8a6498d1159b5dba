/* What the command line and the configuration file ask for. */
#ifndef REQUEST_H
#define REQUEST_H

#include "columns.h"
#include "exitstatus.h"
#include "figure.h"
#include "givenmoment.h"
#include "recordingwriter.h"
#include "rowmaker.h"
#include "selection.h"
#include "thinning.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tvsistat {

enum class Action : uint8_t {
    Report,
    ListCaches,
    ListFields,
    Info,
    Thin,
    Check,
    Help,
    Version,
    OptionTable
};

/* The form in which samples, caches and fields are printed. */
enum class Form : uint8_t { Report, Long, Json, Csv, OpenMetrics, Stream };

enum class When : uint8_t { Auto, Always, Never };

/* A cache to watch: by the name of its Brox or by its location. */
struct Target {
    bool isBrox;
    std::string name;

    /* "Brox prod", "cache prod~1f2e", harmless on a terminal. */
    std::string title() const;
    bool operator==(const Target&) const = default;
};

struct Layout {
    std::optional<size_t> width; /* nothing: the terminal's, or none */
    bool isWide = false;
    bool hasHeader = true;
    unsigned headerEvery = 1; /* reports */
    When color = When::Auto;
    bool hasTimestamp = false;
    bool isUtc = false;
};

/* What --write asks for. */
struct RecordingRequest {
    std::string path;
    samples::RecordingOptions options;
    std::string thinning = {}; /* what --thin says; empty: nothing is thinned */
};

/* What --thin asks for. */
struct ThinningRequest {
    std::string text;
    std::vector<samples::ThinningRule> rules;
    std::vector<std::string> directories; /* for Action::Thin */
};

struct Request {
    Action action = Action::Report;
    Form form = Form::Report;
    bool isQuiet = false; /* nothing is shown: it is only recorded */

    bool takesAll = false; /* every cache of the host, besides the targets: */
    std::vector<Target> targets;
    std::optional<RecordingRequest> recording; /* of all that is sampled or read */
    std::vector<std::string> reads;            /* files, or "-", instead */
    bool readsHistory = false;                 /* those of the service, instead */
    std::optional<GivenMoment> start, end;     /* of what is read */
    double speed = 0; /* of what is read, in recorded seconds a second; 0: as fast as it can be */
    std::optional<double> interval; /* seconds */
    int count = 0;                  /* samples to show; 0: until interrupted */
    bool isLive = false;            /* the live screen instead of reports */
    bool isOnce = false;            /* the one report is made at the end of the interval */
    std::optional<double> wait;     /* seconds; 0: for ever */
    bool follows = false;
    bool isAligned = false;

    samples::RowChoice rows;
    bool isNonzero = false;
    std::optional<samples::Printing> printing; /* nothing: totals first, rates from then on */
    FieldChoice fields;
    samples::Annotations annotations;
    Layout layout;

    std::vector<std::string> fieldGlobs; /* for Action::ListFields */
    std::string info;                    /* the recording, for Action::Info */
    std::optional<ThinningRequest> thinning;

    bool isReplay() const { return readsHistory || !reads.empty(); }
};

/* The request, or what is wrong: a usage failure, or a regular expression that doesn't compile.
 * Reads the configuration file. */
std::variant<Request, samples::Failure> requestFrom(int argc, const char* const* argv);

} // namespace tvsistat

#endif
