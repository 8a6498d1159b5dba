/* A Varnish with many counters, beside which the costs of our programs are measured: a program of
 * the same kind that every Debian has. */
#ifndef BENCH_VARNISH_H
#define BENCH_VARNISH_H

#include <csignal>
#include <fstream>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include "measuredprocess.h"
#include "runningprogram.h"
#include "temporarydirectory.h"

namespace bench {

/* How often a text stands in another one. */
inline double occurrences(std::string_view text, std::string_view wanted) {
    double count = 0;
    for (std::size_t at = text.find(wanted); at != std::string_view::npos;
         at = text.find(wanted, at + 1)) {
        ++count;
    }
    return count;
}

/* varnishd on the loopback interface, in a directory of its own, with 1,000 backends that nobody
 * asks for anything: about 20,000 counters. Ends with the object. */
class Varnish {
public:
    static constexpr const char* daemon = "/usr/sbin/varnishd";
    static constexpr const char* tool = "/usr/bin/varnishstat";
    static bool isInstalled() { return access(daemon, X_OK) == 0 && access(tool, X_OK) == 0; }

    explicit Varnish(int backends)
        : daemon_({daemon, "-F", "-j", "none", "-n", directory_.path(), "-a", "127.0.0.1:0", "-f",
                   configuration(backends)}) {
        const std::vector<std::string> once = {tool, "-n", directory_.path(), "-t", "0", "-j"};
        const auto answers = [&] {
            counters_ = occurrences(testsupport::run(once).out, "\"value\"");
            return counters_ > 15 * backends;
        };
        testsupport::require(testsupport::eventually(answers), "varnishd runs");
    }
    Varnish& operator=(Varnish&&) = delete;
    ~Varnish() {
        daemon_.send(SIGTERM);
        daemon_.wait();
    }

    std::vector<std::string> command() const { return {tool, "-n", directory_.path(), "-j"}; }
    double counters() const { return counters_; }

private:
    std::string configuration(int backends) const {
        std::string file = directory_.path() / "bench.vcl";
        std::ofstream text(file);
        std::string uses;
        text << "vcl 4.1;\n";
        for (int i = 0; i < backends; ++i) {
            const std::string name = "b" + std::to_string(i);
            text << "backend " << name << " { .host = \"127.0.0.1\"; .port = \"1\"; }\n";
            for (const std::string_view piece :
                 {std::string_view("if (req.url == \"/"), std::string_view(name),
                  std::string_view("\") { set req.backend_hint = "), std::string_view(name),
                  std::string_view("; }\n")}) {
                uses += piece;
            }
        }
        text << "sub vcl_recv {\n" << uses << "}\n";
        return file;
    }

    testsupport::TemporaryDirectory directory_;
    testsupport::RunningProgram daemon_;
    double counters_ = 0;
};

} // namespace bench

#endif
