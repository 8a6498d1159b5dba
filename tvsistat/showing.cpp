#include "showing.h"

namespace tvsistat {
namespace {

using samples::Printing;
using samples::ProcessState;
using samples::Row;

/* Why the figures of a cache whose Brox or monitor is in this state are not to be trusted. */
std::string warningOf(std::string_view owner, const samples::Record& record) {
    std::string sentence = "its ";
    sentence += owner;
    sentence += " (pid " + std::to_string(record.pid) + ") ";
    switch (record.state) {
    case ProcessState::Ended:
        return sentence + "has ended; its figures stand still";
    case ProcessState::Zombie:
        return sentence + "has ended and was not reaped; its figures stand still";
    case ProcessState::Stopped:
        return sentence + "is stopped; its figures stand still";
    case ProcessState::Alive:
    case ProcessState::Unknown:
        break;
    }
    return "";
}

} // namespace

void Showing::begin(const samples::StreamHeader& header) {
    attached = header;
    history.begin(header);
}

void Showing::forget() {
    history = {};
    held.reset();
    behind = 0;
    attached = {};
}

void Showing::findWarnings(std::span<const samples::Process> processes) {
    warnings.clear();
    for (const auto& process : processes) {
        const uint32_t kind = process.now->statType;
        if (kind != SHRPC_MONITOR && kind != SHRPC_BROX) {
            continue;
        }
        std::string warning = warningOf(kind == SHRPC_BROX ? "Brox" : "monitor", *process.now);
        if (!warning.empty()) {
            warnings.push_back(std::move(warning));
        }
    }
}

void Showing::hold() {
    if (held) {
        return;
    }
    held = std::move(history);
    history = {};
    history.begin(attached);
    history.add(held->now().copy());
    behind = 0;
}

void Showing::release() {
    if (held && behind == 0) {
        history = std::move(*held);
        history.begin(attached);
    }
    held.reset();
    behind = 0;
}

void Showing::append(std::string& text) {
    const samples::History& showing = picture();
    const samples::Moment moment = showing.moment();
    const Printing printing =
        request.printing.value_or(moment.seconds > 0 ? Printing::Rate : Printing::Total);
    findWarnings(showing.processes());
    const auto isWanted = [&](const Row& row) {
        if (!view.shows(row.kind())) {
            return false;
        }
        matched = true;
        return !request.isNonzero || view.showsAny(row, moment, printing);
    };
    const auto rows = maker.make(request.rows, showing.processes(), moment, printing, isWanted);
    alike = printing == lastPrinting ? alike : 0;
    lastPrinting = printing;
    view.appendSample(text, {attached, showing.now(), moment, printing, rows, warnings, alike++});
    reports++;
}

} // namespace tvsistat
