/* A program that serves metrics over HTTP on the loopback interface, and what its scrapes cost it.
 */
#ifndef BENCH_SCRAPEDPROGRAM_H
#define BENCH_SCRAPEDPROGRAM_H

#include <csignal>
#include <cstdint>
#include <ctime>
#include <fstream>
#include <iterator>
#include <memory>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <vector>

#include "readerprocess.h"
#include "require.h"
#include "runningprogram.h"

namespace bench {

class ScrapedProgram {
public:
    /* Its last argument has to end with a port, which is added. */
    explicit ScrapedProgram(std::vector<std::string> command) : port_(freePort()) {
        command.back() += std::to_string(port_);
        program_ = std::make_unique<testsupport::RunningProgram>(command);
        const auto isServing = [&] { return connected().get() >= 0; };
        testsupport::require(testsupport::eventually(isServing), command[0] + " serves");
    }
    ScrapedProgram& operator=(ScrapedProgram&&) = delete;
    ~ScrapedProgram() {
        program_->send(SIGTERM);
        program_->wait();
    }

    enum class Form : std::uint8_t { plain, gzip };

    /* The whole answer, head and all, of a connection of its own. */
    std::string scrape(Form form = Form::plain) const {
        const samples::Descriptor connection = connected();
        std::string request = "GET /metrics HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n";
        request += form == Form::gzip ? "Accept-Encoding: gzip\r\n\r\n" : "\r\n";
        testsupport::require(send(connection.get(), request.data(), request.size(), 0) ==
                                 static_cast<ssize_t>(request.size()),
                             "a request can be sent");
        std::string answer;
        std::vector<char> piece(std::size_t{1} << 20);
        while (const ssize_t size = recv(connection.get(), piece.data(), piece.size(), 0)) {
            testsupport::require(size > 0, "an answer can be read");
            answer.append(piece.data(), static_cast<std::size_t>(size));
        }
        testsupport::require(answer.starts_with("HTTP/1.1 200 "), "a scrape is answered");
        return answer;
    }

    /* Of the program and of the processes that it has started and that live. */
    double cpuNs() const {
        double sum = cpuNsOf(program_->pid());
        for (const pid_t child : children()) {
            sum += cpuNsOf(child);
        }
        return sum;
    }
    std::vector<pid_t> children() const {
        const std::string pid = std::to_string(program_->pid());
        std::ifstream list("/proc/" + pid + "/task/" + pid + "/children");
        return {std::istream_iterator<pid_t>(list), {}};
    }
    pid_t pid() const { return program_->pid(); }

private:
    static double cpuNsOf(pid_t pid) {
        clockid_t clock = 0;
        timespec taken{};
        testsupport::require(clock_getcpuclockid(pid, &clock) == 0 &&
                                 clock_gettime(clock, &taken) == 0,
                             "the processor time of a process can be read");
        return 1e9 * static_cast<double>(taken.tv_sec) + static_cast<double>(taken.tv_nsec);
    }
    static sockaddr_in loopback(in_port_t port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        return address;
    }
    static in_port_t freePort() {
        const samples::Descriptor probe(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address = loopback(0);
        socklen_t size = sizeof address;
        testsupport::require(
            bind(probe.get(), reinterpret_cast<const sockaddr*>(&address), size) == 0 &&
                getsockname(probe.get(), reinterpret_cast<sockaddr*>(&address), &size) == 0,
            "a port is free");
        return ntohs(address.sin_port);
    }
    samples::Descriptor connected() const {
        samples::Descriptor connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const sockaddr_in address = loopback(port_);
        const int result =
            connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
        return result == 0 ? std::move(connection) : samples::Descriptor();
    }

    in_port_t port_;
    std::unique_ptr<testsupport::RunningProgram> program_;
};

/* How many series a text of metrics has. */
inline double seriesIn(std::string_view text) {
    double count = 0;
    std::size_t begin = text.find("\r\n\r\n");
    begin = begin == std::string_view::npos ? 0 : begin + 4;
    while (begin < text.size()) {
        count += text[begin] == '#' ? 0 : 1;
        const std::size_t end = text.find('\n', begin);
        begin = end == std::string_view::npos ? text.size() : end + 1;
    }
    return count;
}

} // namespace bench

#endif
