/* What a client takes, by the headers of its request: any bytes. */
#ifndef NEGOTIATION_H
#define NEGOTIATION_H

#include "exposition.h"

#include <string_view>

namespace exporter {

/* OpenMetrics where "Accept" likes it at least as much as plain text. */
TextForm formFor(std::string_view accept);

/* Whether "Accept-Encoding" names gzip, or anything, and does not refuse it. */
bool takesGzip(std::string_view acceptEncoding);

} // namespace exporter

#endif
