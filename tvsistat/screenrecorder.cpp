#include "screenrecorder.h"

#include "screenfeed.h"

#include <utility>

namespace tvsistat {

ScreenRecorder::ScreenRecorder(const Request& asked, ScreenModel& shown)
    : request(asked), model(shown) {
    model.fileToRecord = asked.recording ? asked.recording->path : "tvsistat.recording";
}

std::optional<samples::Failure> ScreenRecorder::openAsked() {
    if (!request.recording) {
        return std::nullopt;
    }
    auto opened = Recorder::open(*request.recording);
    if (auto* failure = std::get_if<samples::Failure>(&opened)) {
        return std::move(*failure);
    }
    begin(std::move(std::get<std::unique_ptr<Recorder>>(opened)));
    return std::nullopt;
}

void ScreenRecorder::begin(std::unique_ptr<Recorder> opened) {
    recorder = std::move(opened);
    recorder->tellTo([this](std::string_view sentence) {
        model.note(realNow(), sentence);
        hasSpoken = true;
    });
    onChange();
    model.recordedTo = model.fileToRecord;
    model.note(realNow(), "recording to " + model.recordedTo);
}

void ScreenRecorder::toggle() {
    if (recorder) {
        const auto ended = std::move(recorder);
        onChange();
        model.note(realNow(),
                   "the recording " + std::exchange(model.recordedTo, {}) + " has ended");
        return;
    }
    RecordingRequest wanted{model.answer, {}};
    if (request.recording && request.recording->path == model.answer) {
        wanted = *request.recording;
    }
    auto opened = Recorder::open(wanted);
    if (const auto* failure = std::get_if<samples::Failure>(&opened)) {
        model.note(realNow(), failure->sentence);
        return;
    }
    model.fileToRecord = model.answer;
    begin(std::move(std::get<std::unique_ptr<Recorder>>(opened)));
}

bool ScreenRecorder::advance() {
    if (recorder) {
        recorder->advance();
    }
    return std::exchange(hasSpoken, false);
}

} // namespace tvsistat
