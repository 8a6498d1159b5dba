/* Reads the messages of a tvsi-reader, with a bound on every wait. */
#ifndef TESTING_STREAMREADER_H
#define TESTING_STREAMREADER_H

#include <array>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <variant>
#include <vector>

#include "readerprocess.h"
#include "streamdecoder.h"

namespace testsupport {

class StreamReader {
public:
    explicit StreamReader(const std::vector<std::string>& arguments) : reader_(start(arguments)) {}

    samples::ReaderProcess& process() { return reader_; }
    samples::StreamDecoder& decoder() { return decoder_; }

    /* The next message; nothing when the stream has ended, or none has come in time. */
    std::optional<samples::Message> next(int seconds = 30) {
        std::array<std::byte, 65536> piece;
        for (;;) {
            if (auto message = decoder_.next()) {
                return message;
            }
            pollfd readable{reader_.fd(), POLLIN, 0};
            const bool isReadable = poll(&readable, 1, seconds * 1000) == 1;
            const ssize_t count = isReadable ? read(reader_.fd(), piece.data(), piece.size()) : 0;
            if (count <= 0) {
                return std::nullopt;
            }
            decoder_.feed(std::span(piece).first(static_cast<std::size_t>(count)));
        }
    }
    /* The next message of a type, whatever comes before it; throws when there is none. */
    template <class Type> Type nextOf(int seconds = 30) {
        while (auto message = next(seconds)) {
            if (auto* wanted = std::get_if<Type>(&*message)) {
                return std::move(*wanted);
            }
            if (const auto* notice = std::get_if<samples::Notice>(&*message)) {
                notices_ += notice->text;
            }
        }
        throw std::runtime_error("no such message: " + decoder_.problem());
    }
    /* The notices that nextOf() has passed by. */
    const std::string& notices() const { return notices_; }
    /* The exit status; -1 when it runs on. */
    int wait(int seconds = 30) {
        for (int i = 0; i < seconds * 200 && !reader_.reap(); ++i) {
            usleep(5000);
        }
        return reader_.reap().value_or(-1);
    }

private:
    static samples::ReaderProcess start(const std::vector<std::string>& arguments) {
        auto started = samples::ReaderProcess::start(arguments, -1);
        if (const auto* failure = std::get_if<samples::Failure>(&started)) {
            throw std::runtime_error(failure->sentence);
        }
        return std::move(std::get<samples::ReaderProcess>(started));
    }

    samples::ReaderProcess reader_;
    samples::StreamDecoder decoder_;
    std::string notices_;
};

} // namespace testsupport

#endif
