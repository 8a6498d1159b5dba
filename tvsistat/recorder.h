/* Records what caches say while they are watched. For one thread. */
#ifndef RECORDER_H
#define RECORDER_H

#include "exitstatus.h"
#include "recordingwriter.h"
#include "request.h"
#include "stopsignal.h"
#include "thinningchild.h"

#include <functional>
#include <memory>
#include <string_view>
#include <variant>

namespace tvsistat {

/* Where all messages of caches go, before anything of them is chosen or shown. */
class MessageSink {
public:
    virtual ~MessageSink() = default;
    /* A number for a cache, that of no other. */
    virtual uint32_t newCache() = 0;
    /* A message of that cache; its first one must be a StreamHeader. */
    virtual void take(uint32_t cache, const samples::Message& message) = 0;
};

class Recorder : public MessageSink {
public:
    /* Opens what --write names, or says why it can't be written. */
    static std::variant<std::unique_ptr<Recorder>, samples::Failure>
    open(const RecordingRequest& asked);

    uint32_t newCache() override { return caches++; }
    void take(uint32_t cache, const samples::Message& message) override;
    /* The header that holds for what comes; it was not met at this place. */
    void carry(uint32_t cache, const samples::StreamHeader& header) { writer.carry(cache, header); }

    /* When advance() is to be called at the latest, so that what was taken is written; it says so,
     * too. */
    Deadline nextDeadline() const;
    Deadline advance();

    /* Problems are told there rather than on standard error. */
    void tellTo(std::function<void(std::string_view)> listener) { tells = std::move(listener); }

    samples::RecordingWriter& recording() { return writer; }

private:
    Recorder(samples::RecordingWriter opened, const RecordingRequest& asked);
    void tell(std::string_view problem) const;

    samples::RecordingWriter writer;
    ThinningChild thinning;
    std::function<void(std::string_view)> tells;
    uint32_t caches = 0;
};

} // namespace tvsistat

#endif
