/* The metrics of a text in Prometheus's format as prometheus-cpp keeps them. */
#ifndef BENCH_PROMETHEUSCPPMETRICS_H
#define BENCH_PROMETHEUSCPPMETRICS_H

#include <istream>
#include <prometheus/metric_family.h>
#include <sstream>
#include <string>
#include <vector>

namespace bench {

/* Of a line "name{label="value"} number". */
inline prometheus::ClientMetric prometheusCppMetric(const std::string& line) {
    prometheus::ClientMetric metric;
    std::size_t at = line.find('{') + 1;
    while (at != 0 && line[at] != ' ') {
        const std::size_t equals = line.find('=', at);
        std::string value;
        std::size_t end = equals + 2;
        for (; line[end] != '"'; ++end) {
            end += line[end] == '\\' ? 1U : 0U;
            value += line[end];
        }
        metric.label.push_back({line.substr(at, equals - at), value});
        at = end + 2; /* behind the comma, or the brace */
    }
    metric.gauge.value = std::stod(line.substr(line.rfind(' ') + 1));
    metric.counter.value = metric.gauge.value;
    return metric;
}

inline std::vector<prometheus::MetricFamily> prometheusCppMetrics(std::istream& text) {
    using prometheus::MetricType;
    std::vector<prometheus::MetricFamily> families;
    for (std::string line; std::getline(text, line);) {
        if (!line.starts_with('#')) {
            families.back().metric.push_back(prometheusCppMetric(line));
            continue;
        }
        std::istringstream words(line);
        std::string mark, what, name, type;
        words >> mark >> what >> name;
        if (what == "HELP") {
            families.push_back(
                {name, line.substr(line.find(name) + name.size() + 1), MetricType::Untyped, {}});
        } else {
            words >> type;
            families.back().type = type == "counter" ? MetricType::Counter : MetricType::Gauge;
        }
    }
    return families;
}

} // namespace bench

#endif
