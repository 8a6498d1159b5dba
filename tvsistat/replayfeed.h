/* The live screen's feed from what was recorded: moves about in it, plays it, and shows a stream
 * that comes through a pipe as it comes. */
#ifndef REPLAYFEED_H
#define REPLAYFEED_H

#include "messagesource.h"
#include "request.h"
#include "screenfeed.h"

#include <memory>
#include <variant>

namespace tvsistat {

/* Shows the first sample of the range that the request asks for, or says what is wrong with that.
 * The references must outlive it. */
std::variant<std::unique_ptr<ScreenFeed>, samples::Failure>
openReplayFeed(Request& request, ScreenModel& model, std::unique_ptr<MessageSource> source);

} // namespace tvsistat

#endif
