/* The command line of tvsistat. */
#ifndef OPTIONS_H
#define OPTIONS_H

#include "attach.h"
#include "columns.h"
#include "exitstatus.h"
#include "sampling.h"

#include <string>
#include <variant>

namespace tvsistat {

using samples::ExitStatus;
using samples::Failure;

/* Reports to make. */
struct ReportRequest {
    Target target;
    Selection selection;
    ColumnPlan columns;
    bool showsTotals = false;
    double interval = 0; /* seconds between reports; 0: a single report */
    int numReports = 1;  /* 0: until interrupted */
};

/* A text to print instead: the help, the version, the list of fields. */
struct TextRequest {
    std::string text;
};

/* What the command line asks for, or the usage failure that is wrong with it. */
std::variant<ReportRequest, TextRequest, Failure> parseCommandLine(int argc,
                                                                   const char* const* argv);

} // namespace tvsistat

#endif
