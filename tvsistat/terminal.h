/*
 * The terminal of the live screen: paints grids and reads keys and the mouse, through ncurses.
 *
 * ncurses draws into memory; what it drew goes to the terminal without ever waiting for it, so that
 * a terminal that was stopped holds up nothing. However the program ends, the terminal is as it
 * was. The terminal, the handlers and the state of ncurses are process-wide: there is one object at
 * a time, for the main thread.
 */
#ifndef TERMINAL_H
#define TERMINAL_H

#include "exitstatus.h"
#include "readerprocess.h"
#include "screengrid.h"
#include "screenkeys.h"

#include <memory>
#include <optional>
#include <string>
#include <termios.h>
#include <variant>
#include <vector>

namespace tvsistat {

/* A key, or something that the mouse did. */
struct Input {
    enum class Kind : uint8_t { Typed, Click, WheelUp, WheelDown };
    Kind kind;
    Key key;
    size_t x, y;
};

class Terminal {
public:
    /* Why there can be no live screen here; nothing when there can. */
    static std::optional<samples::Failure> refusal();
    /* Takes over the terminal of standard input and output. */
    static std::variant<std::unique_ptr<Terminal>, samples::Failure> open();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    size_t width() const { return columns; }
    size_t height() const { return lines; }
    bool takesUnicode() const { return isUnicode; }

    /* To be polled for reading: readable when the size has changed, or the program is to be
     * suspended or was resumed; handleSignals() does what is to be done about it. */
    int signalFd() const { return wake.get(); }
    /* True when the next picture is a new one, of another size perhaps. */
    bool handleSignals();

    /* Appends what has been typed; false when the terminal is gone. */
    bool readInputs(std::vector<Input>& inputs);

    /* Draws what differs from the picture before. While isBusy() the one before is still on its
     * way. */
    void paint(const Grid& grid);
    bool isBusy() const { return !pending.empty(); }
    /* To be polled for writing while isBusy(). */
    int outputFd() const { return output.get(); }
    /* Writes what the terminal takes at once; false when it is gone. */
    bool flush();
    /* The next picture is painted whole. */
    void repaint();

private:
    Terminal(samples::Descriptor drawn, samples::Descriptor to, samples::Descriptor signals);
    bool start();
    void takeOver();
    void giveBack();
    void suspend();
    void findSize();
    void drain();
    void prepareLooks();
    unsigned long attributesOf(uint8_t look) const;

    samples::Descriptor canvas; /* memory that ncurses draws into */
    samples::Descriptor output;
    samples::Descriptor wake;
    termios original{};
    std::string pending;
    Grid painted;
    size_t columns = 0, lines = 0;
    bool isUnicode = false;
    bool hasColors = false;
    bool hasStarted = false;
};

} // namespace tvsistat

#endif
