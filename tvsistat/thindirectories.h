/* Thins directories of recordings out: --thin. */
#ifndef THINDIRECTORIES_H
#define THINDIRECTORIES_H

#include "request.h"

namespace tvsistat {

/* Thins the request's directories, and prints a line on each. */
samples::ExitStatus thinDirectories(const Request& request);

} // namespace tvsistat

#endif
