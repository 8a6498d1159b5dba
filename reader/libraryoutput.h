/*
 * What the library prints. It writes to the standard streams of the process, which carry other
 * things here: from the capture on, both lead into a pipe whose end this object holds. The owner
 * takes the text out of it all the time, or else whoever prints would come to wait.
 *
 * When the library meets what must not be (a broken segment), it says so and then keeps the process
 * for a debugger, for a minute unless told otherwise; hasGivenUp() tells.
 */
#ifndef LIBRARYOUTPUT_H
#define LIBRARYOUTPUT_H

#include <string>
#include <string_view>
#include <vector>

namespace reader {

class LibraryOutput {
public:
    /* Redirects the standard streams; throws std::system_error. Once in a process. */
    LibraryOutput();
    LibraryOutput(const LibraryOutput&) = delete;
    LibraryOutput& operator=(const LibraryOutput&) = delete;
    ~LibraryOutput();

    /* Readable when something has been printed. */
    int fd() const { return readEnd; }
    /* Takes what has been printed: whole lines in pieces of at most 2,048 bytes, and with
     * `withRest` also a last line that has no end yet. Doesn't wait. */
    std::vector<std::string> take(bool withRest);
    /* A line has been begun. */
    bool hasRest() const { return !text.empty(); }

    /* The library has met what must not be. */
    bool hasGivenUp() const { return givenUp; }
    /* It has said all that it will say. */
    bool hasSaidAll() const { return saidAll; }
    /* Its reason, a line; may be empty. */
    const std::string& reason() const { return why; }

private:
    void readAll();
    void listenTo(std::string_view line);

    int readEnd = -1;
    std::string text; /* not taken yet */
    bool givenUp = false;
    bool saidAll = false;
    std::string why;
};

} // namespace reader

#endif
