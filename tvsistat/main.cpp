/* tvsistat: reports live statistics of the processes that use a shared page cache. */
#include "discovery.h"
#include "listings.h"
#include "livescreen.h"
#include "optiontable.h"
#include "output.h"
#include "printable.h"
#include "recordinginfo.h"
#include "request.h"
#include "servicehistory.h"
#include "thindirectories.h"
#include "versions.h"
#include "view.h"
#include "watch.h"

#include <algorithm>
#include <csignal>
#include <exception>
#include <string>

namespace {

using namespace tvsistat;
using samples::ExitStatus;
using samples::Failure;

constexpr size_t widestHelp = 100;

ExitStatus fail(const Failure& failure) {
    if (!failure.sentence.empty()) {
        complain(failure.sentence);
    }
    return failure.status;
}

ExitStatus print(std::string_view text) {
    const int error = writeOut(text);
    return error == 0 ? ExitStatus::Ok : fail(outputFailure(error));
}

std::string versionText() {
    std::string text = "tvsistat ";
    text += samples::releaseVersion();
    text += " for Talvex ";
    text += samples::serverVersion();
    text += '\n';
    return text;
}

ExitStatus printCaches(const Request& request) {
    const auto found = samples::listCaches();
    if (const auto* failure = std::get_if<Failure>(&found)) {
        return fail(*failure);
    }
    return print(listCaches(request, std::get<samples::CacheListings>(found)));
}

ExitStatus printInfo(const Request& request) {
    auto opened = samples::RecordingReader::open(request.info);
    if (const auto* failure = std::get_if<Failure>(&opened)) {
        return fail(*failure);
    }
    auto& reader = std::get<samples::RecordingReader>(opened);
    const auto survey = reader.survey(samples::RecordingReader::Check::Payloads);
    const ExitStatus printed = print(recordingInfo(request, reader, survey));
    return printed == ExitStatus::Ok && !reader.damages().empty()
               ? fail({ExitStatus::DamagedInput, samples::printable(request.info) + " is damaged"})
               : printed;
}

ExitStatus serve(Request& request) {
    switch (request.action) {
    case Action::Help:
        return print(helpText(std::min(terminalWidth(), widestHelp)));
    case Action::Version:
        return print(versionText());
    case Action::OptionTable:
        return print(optionTableText());
    case Action::ListCaches:
        return printCaches(request);
    case Action::ListFields:
        return print(listFields(request));
    case Action::Info:
        return printInfo(request);
    case Action::Thin:
        return thinDirectories(request);
    case Action::Check:
        return ExitStatus::Ok;
    case Action::Report:
        break;
    }
    if (request.readsHistory) {
        auto found = serviceHistory(request);
        if (const auto* failure = std::get_if<Failure>(&found)) {
            return fail(*failure);
        }
        request.reads = std::move(std::get<std::vector<std::string>>(found));
    }
    if (request.isLive) {
        return liveScreen(request);
    }
    return request.reads.empty() ? watchCaches(request) : watchInput(request);
}

ExitStatus run(int argc, const char* const* argv) {
    std::signal(SIGPIPE, SIG_IGN);
    auto request = requestFrom(argc, argv);
    if (const auto* failure = std::get_if<Failure>(&request)) {
        return fail(*failure);
    }
    return serve(std::get<Request>(request));
}

} // namespace

int main(int argc, char** argv) {
    try {
        return static_cast<int>(run(argc, argv));
    } catch (const std::exception& error) {
        return static_cast<int>(fail({ExitStatus::Failure, error.what()}));
    }
}
