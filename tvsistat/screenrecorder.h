/* The recording that is begun, marked and ended on the live screen. For one thread. */
#ifndef SCREENRECORDER_H
#define SCREENRECORDER_H

#include "recorder.h"
#include "screenmodel.h"

#include <functional>
#include <memory>
#include <optional>

namespace tvsistat {

class ScreenRecorder {
public:
    /* References must outlive it. */
    ScreenRecorder(const Request& asked, ScreenModel& shown);

    /* Begins the recording that the request asks for, if it does. */
    std::optional<samples::Failure> openAsked();
    /* Begins a recording into the file that was typed, or ends the one that runs; says so. */
    void toggle();

    /* Where messages go; null: nothing is recorded. */
    Recorder* sink() const { return recorder.get(); }
    Deadline nextDeadline() const { return recorder ? recorder->nextDeadline() : noDeadline; }
    /* Writes what is due. True when it had something to say. */
    bool advance();

    /* To be told of a recording that begins, and before one ends. */
    std::function<void()> onChange = [] {};

private:
    void begin(std::unique_ptr<Recorder> opened);

    const Request& request;
    ScreenModel& model;
    std::unique_ptr<Recorder> recorder;
    bool hasSpoken = false;
};

} // namespace tvsistat

#endif
