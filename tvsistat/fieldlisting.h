/* The listing of the catalogue's fields that --list-fields prints. */
#ifndef FIELDLISTING_H
#define FIELDLISTING_H

#include "statscatalogue.h"

#include <string>

namespace tvsistat {

/* The fields of one kind's records, or with a null kind those of every block with the kinds that
 * have it. Offsets are those in TvsiResultSType. */
std::string listFields(const statscatalogue::Kind* kind);

} // namespace tvsistat

#endif
