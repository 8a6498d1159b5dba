/* What a recording holds, and whether it is whole. */
#ifndef RECORDINGINFO_H
#define RECORDINGINFO_H

#include "recordingreader.h"
#include "request.h"

#include <string>

namespace tvsistat {

/* A recording that has been surveyed, as a table, or with --json as an object on a line. */
std::string recordingInfo(const Request& request, const samples::RecordingReader& reader,
                          const samples::RecordingSurvey& survey);

} // namespace tvsistat

#endif
