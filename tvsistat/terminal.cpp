#include "terminal.h"

#include "output.h"
#include "terminaltype.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <langinfo.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

#define NCURSES_WIDECHAR 1
#define NCURSES_NOMACROS 1
#include <curses.h>

namespace tvsistat {
namespace {

using samples::Descriptor;
using samples::ExitStatus;
using samples::Failure;

constexpr int escapeDelayMs = 25; /* within it a sequence has come, else it was the key */
constexpr int farewellMs = 300;   /* a terminal that takes nothing isn't waited for longer */
constexpr short alarmPair = 1, accentPair = 2;
constexpr int crashSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
constexpr int screenSignals[] = {SIGWINCH, SIGTSTP, SIGCONT};

/* Process-wide, for the handlers: set before they are installed. */
volatile std::sig_atomic_t wakeDescriptor = -1;
volatile std::sig_atomic_t mustSuspend = 0;
volatile std::sig_atomic_t wasResumed = 0;
termios crashModes;
std::array<char, 256> crashText; /* what ends the screen */
size_t crashLength = 0;

void noteSignal(int signal) {
    const int error = errno;
    mustSuspend = signal == SIGTSTP ? 1 : mustSuspend;
    wasResumed = signal == SIGCONT ? 1 : wasResumed;
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(wakeDescriptor, &one, sizeof one);
    errno = error;
}

/* The terminal must not be left in the screen's mode, whatever the program dies of. */
void restoreAndDie(int signal) {
    [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, crashText.data(), crashLength);
    tcsetattr(STDIN_FILENO, TCSANOW, &crashModes);
    raise(signal); /* SA_RESETHAND: as if it hadn't been caught */
}

void handle(int signal, void (*handler)(int), int flags) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigaction(signal, &action, nullptr);
}

/* For writing without waiting: a file description of its own, since the shell shares the others. */
Descriptor openOutput() {
    std::array<char, 256> name;
    if (ttyname_r(STDOUT_FILENO, name.data(), name.size()) == 0) {
        const int opened = ::open(name.data(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        if (opened >= 0) {
            return Descriptor(opened);
        }
    }
    return Descriptor(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0));
}

Key keyOf(int code) {
    switch (code) {
    case KEY_UP:
        return keys::up;
    case KEY_DOWN:
        return keys::down;
    case KEY_LEFT:
        return keys::left;
    case KEY_RIGHT:
        return keys::right;
    case KEY_PPAGE:
        return keys::pageUp;
    case KEY_NPAGE:
        return keys::pageDown;
    case KEY_HOME:
        return keys::home;
    case KEY_END:
        return keys::end;
    case KEY_BTAB:
        return keys::backTab;
    case KEY_ENTER:
    case '\n':
    case '\r':
        return keys::enter;
    case KEY_BACKSPACE:
    case '\b':
        return keys::backspace;
    default:
        return code > 0 && code < 128 ? code : keys::none;
    }
}

std::string sentenceAboutScreen(std::string_view why) {
    return std::string(why) + "; without -i tvsistat prints a report (-1), or one after the other "
                              "at an interval: tvsistat 2";
}

} // namespace

std::optional<Failure> Terminal::refusal() {
    const char* type = std::getenv("TERM");
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0) {
        return Failure{ExitStatus::Usage,
                       sentenceAboutScreen("-i needs a terminal as standard input and output")};
    }
    if (type == nullptr || *type == '\0' || std::strcmp(type, "dumb") == 0) {
        return Failure{ExitStatus::Usage,
                       sentenceAboutScreen("-i needs a terminal that can move its cursor (TERM is "
                                           "unset or dumb)")};
    }
    return std::nullopt;
}

std::variant<std::unique_ptr<Terminal>, Failure> Terminal::open() {
    std::unique_ptr<Terminal> terminal(
        new Terminal(Descriptor(memfd_create("screen", MFD_CLOEXEC)), openOutput(),
                     Descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))));
    if (!terminal->start()) {
        std::string why = "-i does not know the terminal '";
        const char* type = std::getenv("TERM");
        why += type != nullptr ? type : "";
        return Failure{ExitStatus::Usage, sentenceAboutScreen(why + "'")};
    }
    return terminal;
}

Terminal::Terminal(Descriptor drawn, Descriptor to, Descriptor signals)
    : canvas(std::move(drawn)), output(std::move(to)), wake(std::move(signals)) {}

bool Terminal::start() {
    std::setlocale(LC_CTYPE, "");
    isUnicode = std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
    if (canvas.get() < 0 || output.get() < 0 || wake.get() < 0 ||
        tcgetattr(STDIN_FILENO, &original) != 0 || !knowsTerminalType(canvas.get())) {
        return false;
    }
    crashModes = original;
    /* Before ncurses, which leaves signals alone that have a handler. */
    wakeDescriptor = wake.get();
    for (const int signal : screenSignals) {
        handle(signal, noteSignal, SA_RESTART);
    }
    FILE* drawn = fdopen(dup(canvas.get()), "w");
    if (drawn == nullptr || newterm(nullptr, drawn, stdin) == nullptr) {
        return false;
    }
    hasStarted = true;
    set_escdelay(escapeDelayMs);
    noecho();
    nonl();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    leaveok(stdscr, TRUE);
    typeahead(-1);
    curs_set(0);
    mousemask(BUTTON1_PRESSED | BUTTON1_CLICKED | BUTTON4_PRESSED | BUTTON5_PRESSED, nullptr);
    mouseinterval(0);
    prepareLooks();
    findSize();
    refresh();
    drain();
    /* What ends the screen, for when there is no time to ask. */
    std::string begin = std::exchange(pending, {});
    endwin();
    drain();
    crashLength = std::min(pending.size(), crashText.size());
    std::copy_n(pending.data(), crashLength, crashText.data());
    pending = std::move(begin);
    for (const int signal : crashSignals) {
        handle(signal, restoreAndDie, static_cast<int>(SA_RESETHAND));
    }
    takeOver();
    return true;
}

Terminal::~Terminal() {
    if (hasStarted) {
        giveBack();
    }
    for (const int signal : crashSignals) {
        handle(signal, SIG_DFL, 0);
    }
    for (const int signal : screenSignals) {
        handle(signal, SIG_DFL, 0);
    }
}

/* Characters come as they are typed; Ctrl-C and Ctrl-Z stay signals. */
void Terminal::takeOver() {
    termios modes = original;
    modes.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    modes.c_cc[VMIN] = 1;
    modes.c_cc[VTIME] = 0;
    tcsetattr(STDIN_FILENO, TCSANOW, &modes);
    repaint();
}

void Terminal::giveBack() {
    endwin();
    drain();
    for (int i = 0; i < 3 && flush() && isBusy(); i++) {
        pollfd writable{output.get(), POLLOUT, 0};
        poll(&writable, 1, farewellMs / 3);
    }
    pending.clear();
    tcsetattr(STDIN_FILENO, TCSANOW, &original);
}

void Terminal::suspend() {
    giveBack();
    handle(SIGTSTP, SIG_DFL, 0);
    raise(SIGTSTP);
    handle(SIGTSTP, noteSignal, SA_RESTART);
    tcgetattr(STDIN_FILENO, &original);
}

bool Terminal::handleSignals() {
    uint64_t count = 0;
    if (read(wake.get(), &count, sizeof count) < 0) {
        return false;
    }
    if (mustSuspend != 0) {
        mustSuspend = 0;
        suspend();
        wasResumed = 1;
    }
    if (wasResumed != 0) {
        wasResumed = 0;
        takeOver();
    }
    findSize();
    return true;
}

void Terminal::findSize() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        size.ws_col = 80;
        size.ws_row = 24;
    }
    if (size.ws_col != columns || size.ws_row != lines) {
        columns = size.ws_col;
        lines = size.ws_row;
        resize_term(size.ws_row, size.ws_col);
        repaint();
    }
}

void Terminal::repaint() {
    painted = Grid();
}

/* Takes what ncurses has drawn. */
void Terminal::drain() {
    const off_t length = lseek(canvas.get(), 0, SEEK_CUR);
    if (length <= 0) {
        return;
    }
    const size_t before = pending.size();
    pending.resize(before + static_cast<size_t>(length));
    const ssize_t got =
        pread(canvas.get(), pending.data() + before, static_cast<size_t>(length), 0);
    pending.resize(before + static_cast<size_t>(std::max<ssize_t>(got, 0)));
    lseek(canvas.get(), 0, SEEK_SET);
}

bool Terminal::flush() {
    while (!pending.empty()) {
        const ssize_t written = write(output.get(), pending.data(), pending.size());
        if (written > 0) {
            pending.erase(0, static_cast<size_t>(written));
        } else if (written < 0 && errno == EAGAIN) {
            return true;
        } else if (written == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

void Terminal::prepareLooks() {
    const char* plain = std::getenv("NO_COLOR");
    if ((plain != nullptr && *plain != '\0') || !has_colors()) {
        return;
    }
    start_color();
    use_default_colors();
    hasColors = COLORS >= 8 && init_pair(alarmPair, COLOR_RED, -1) == OK &&
                init_pair(accentPair, COLOR_CYAN, -1) == OK;
}

unsigned long Terminal::attributesOf(uint8_t look) const {
    attr_t attributes = A_NORMAL;
    attributes |= (look & boldLook) != 0 ? A_BOLD : A_NORMAL;
    attributes |= (look & dimLook) != 0 ? A_DIM : A_NORMAL;
    attributes |= (look & reverseLook) != 0 ? A_REVERSE : A_NORMAL;
    return attributes;
}

void Terminal::paint(const Grid& grid) {
    const bool isWhole = painted.width() != grid.width() || painted.height() != grid.height();
    if (isWhole) {
        clearok(stdscr, TRUE);
    }
    for (size_t y = 0; y < grid.height(); y++) {
        for (size_t x = 0; x < grid.width(); x++) {
            const GridCell& cell = grid.at(x, y);
            if (!isWhole && cell == painted.at(x, y)) {
                continue;
            }
            const short pair = !hasColors                      ? short{0}
                               : (cell.look & alarmLook) != 0  ? alarmPair
                               : (cell.look & accentLook) != 0 ? accentPair
                                                               : short{0};
            const wchar_t glyph[] = {static_cast<wchar_t>(cell.glyph), L'\0'};
            cchar_t drawn;
            setcchar(&drawn, glyph, static_cast<attr_t>(attributesOf(cell.look)), pair, nullptr);
            mvadd_wch(static_cast<int>(y), static_cast<int>(x), &drawn);
        }
    }
    painted = grid;
    refresh();
    drain();
}

bool Terminal::readInputs(std::vector<Input>& inputs) {
    pollfd readable{STDIN_FILENO, POLLIN, 0};
    if (poll(&readable, 1, 0) > 0 && (readable.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0) {
        return false;
    }
    for (int code = getch(); code != ERR; code = getch()) {
        if (code != KEY_MOUSE) {
            inputs.push_back({Input::Kind::Typed, keyOf(code), 0, 0});
            continue;
        }
        MEVENT event;
        if (getmouse(&event) != OK) {
            continue;
        }
        const auto kind = (event.bstate & BUTTON4_PRESSED) != 0   ? Input::Kind::WheelUp
                          : (event.bstate & BUTTON5_PRESSED) != 0 ? Input::Kind::WheelDown
                                                                  : Input::Kind::Click;
        inputs.push_back(
            {kind, keys::none, static_cast<size_t>(event.x), static_cast<size_t>(event.y)});
    }
    return true;
}

} // namespace tvsistat
