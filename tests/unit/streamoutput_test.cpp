/* What the library prints, as it comes out in the stream. */
#include <cstdio>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runningprogram.h"
#include "streamdecoder.h"
#include "streamoutput.h"

namespace {

using testing::HasSubstr;

/* What is in a stream so far: its notices in one text, the sentence of its end. */
struct Told {
    std::string notices, lost, problem;
};

Told toldBy(const std::string& stream) {
    Told told;
    samples::StreamDecoder decoder;
    decoder.feed(std::as_bytes(std::span(stream)));
    while (const auto message = decoder.next()) {
        if (const auto* notice = std::get_if<samples::Notice>(&*message)) {
            told.notices += notice->text;
        } else if (const auto* lost = std::get_if<samples::Lost>(&*message)) {
            told.lost = lost->sentence;
        }
    }
    told.problem = decoder.problem();
    return told;
}

/* A reader whose library prints these pieces, with a pause behind each. */
std::unique_ptr<testsupport::ChildProcess> readerThatPrints(std::vector<std::string> pieces) {
    return std::make_unique<testsupport::ChildProcess>([pieces = std::move(pieces)] {
        reader::StreamOutput output("cache x");
        samples::StreamHeader header;
        header.interfaceVersion = "3.7.5.1";
        header.readerVersion = "1.0.0";
        output.describe(header);
        output.begin();
        for (const std::string& piece : pieces) {
            [[maybe_unused]] const auto ignored = write(STDOUT_FILENO, piece.data(), piece.size());
            usleep(300'000);
        }
        for (;;) {
            pause();
        }
    });
}

TEST(LibraryOutput, KeepsALineUntilItIsWhole) {
    const auto outcome = testsupport::inChild([] {
        const int out = dup(STDOUT_FILENO);
        reader::LibraryOutput output;
        for (const auto& [text, withRest] :
             {std::pair("ab", false), {"c\nde", false}, {"f", true}}) {
            dprintf(STDOUT_FILENO, "%s", text);
            for (const std::string& piece : output.take(withRest)) {
                dprintf(out, "<%s>", piece.c_str());
            }
        }
    });
    EXPECT_EQ(outcome.out, "<abc\n><def>");
}

TEST(StreamOutput, ALineWithoutAnEndGoesOutToo) {
    const auto reader = readerThatPrints({"a\nb", "\nc"});
    EXPECT_TRUE(testsupport::eventually([&] { return toldBy(reader->out()).notices == "a\nb\nc"; }))
        << toldBy(reader->out()).notices;
}

TEST(StreamOutput, EndsOnceWhenTheLibraryHasGivenUp) {
    for (const std::string last : {"", "HostCallDebugger: Waiting for a debugger\n"}) {
        const auto reader = readerThatPrints(
            {"HostCallDebugger: invoked at: now\nthe reason\n" + last, "more\n", "and more\n"});
        EXPECT_TRUE(testsupport::eventually([&] { return !toldBy(reader->out()).lost.empty(); }));
        EXPECT_THAT(toldBy(reader->out()).lost, HasSubstr("what must not be (the reason)"));
        usleep(700'000);
        EXPECT_EQ(toldBy(reader->out()).problem, "") << "nothing follows the last message";
        EXPECT_EQ(reader->wait(0), -99) << "it stays for a debugger";
    }
}

} // namespace
