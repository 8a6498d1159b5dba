#include "planview.h"

#include "numbertext.h"
#include "printable.h"

#include <algorithm>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tvsistat {

using samples::Number;
using samples::ProcessState;
using samples::Row;

bool PlanView::showsAny(const Row& row, const samples::Moment& moment, samples::Printing printing) {
    return std::ranges::any_of(plan.of(row.kind()), [&](const Column& column) {
        return column.figure &&
               !shownNumber(column, column.printingFor(printing), row, moment).isZero();
    });
}

void appendKind(std::string& text, const Row& row) {
    if (row.kind() != nullptr) {
        text += row.kind()->shortName;
    } else {
        fmt::format_to(std::back_inserter(text), "{:#x}", row.record().statType);
    }
}

Number shownNumber(const Column& column, samples::Printing printing, const Row& row,
                   const samples::Moment& moment) {
    const samples::Figure& figure = *column.figure;
    if (row.kind() == nullptr) {
        return {};
    }
    const Number number = printed(figure, printing, row.processes, moment);
    const bool hidesZero = (figure.isHiddenWhileZero() && !column.isChosen) ||
                           figure.meaning == statscatalogue::Meaning::EventTime;
    return hidesZero && number.isZero() ? Number() : number;
}

std::string cacheTitle(const samples::StreamHeader& header) {
    if (!header.location.empty()) {
        return "cache " + samples::printable(header.location);
    }
    return header.brox.empty() ? "cache" : "cache of Brox " + samples::printable(header.brox);
}

std::string_view loudName(ProcessState state) {
    switch (state) {
    case ProcessState::Stopped:
        return "STOPPED";
    case ProcessState::Zombie:
        return "ZOMBIE";
    case ProcessState::Ended:
        return "DEAD";
    case ProcessState::Alive:
    case ProcessState::Unknown:
        break;
    }
    return nameOf(state);
}

size_t terminalWidth() {
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

} // namespace tvsistat
