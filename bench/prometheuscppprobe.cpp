/* prometheus_cpp_probe FILE ADDRESS:PORT: serves the metrics of a text file as a program does that
   has them from elsewhere and uses prometheus-cpp: made anew for each scrape. */
#include <csignal>
#include <fstream>
#include <memory>
#include <prometheus/exposer.h>
#include <unistd.h>

#include "prometheuscppmetrics.h"

namespace {

class FileMetrics : public prometheus::Collectable {
public:
    explicit FileMetrics(const char* file) : file_(file) {}
    std::vector<prometheus::MetricFamily> Collect() const override {
        std::ifstream text(file_);
        return bench::prometheusCppMetrics(text);
    }

private:
    const char* file_;
};

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    const auto metrics = std::make_shared<FileMetrics>(argv[1]);
    prometheus::Exposer exposer(argv[2], 1);
    exposer.RegisterCollectable(metrics);
    pause(); /* until a signal ends it */
    return 0;
}
