#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace velmora::bench {

/// One figure beside its peer, measured in the same run.
struct Row {
    std::string name;
    std::string unit;
    double value = 0;
    double peer = 0;       ///< in the same unit: the bare platform calls, or another program
    double aim = 0;        ///< the ratio value/peer that is wanted at most; 0 for none
    bool atLeast = false;  ///< the ratio is wanted at least, not at most
};

/// Prints rows as a table, and appends them to the file named by `--json FILE`, one JSON object a
/// line: {"name", "unit", "value", "peer", "ratio", "aim", "ok"}.
class Report {
  public:
    Report(int argc, char** argv) {
        for (int i = 1; i + 1 < argc; ++i)
            if (std::string(argv[i]) == "--json") json_ = argv[i + 1];
        std::printf("%-56s %12s %12s %-6s %8s %8s\n", "figure", "ours", "peer", "unit", "ratio",
                    "aim");
    }

    void add(const Row& row) {
        const double ratio = row.peer > 0 ? row.value / row.peer : 0;
        const bool ok = row.aim <= 0 || (row.atLeast ? ratio >= row.aim : ratio <= row.aim);
        std::printf("%-56s %12.4g %12.4g %-6s %8.3f ", row.name.c_str(), row.value, row.peer,
                    row.unit.c_str(), ratio);
        if (row.aim > 0)
            std::printf("%s%-6.3g %s\n", row.atLeast ? ">=" : "<=", row.aim, ok ? "" : "missed");
        else
            std::printf("%8s\n", "-");
        std::fflush(stdout);
        if (json_.empty()) return;
        if (std::FILE* file = std::fopen(json_.c_str(), "a")) {
            std::fprintf(file,
                         "{\"name\": \"%s\", \"unit\": \"%s\", \"value\": %.6g, \"peer\": %.6g, "
                         "\"ratio\": %.6g, \"aim\": %.6g, \"ok\": %s}\n",
                         row.name.c_str(), row.unit.c_str(), row.value, row.peer, ratio, row.aim,
                         ok ? "true" : "false");
            std::fclose(file);
        }
    }

  private:
    std::string json_;
};

/// Seconds of wall time that `body` takes.
template <class Body>
double seconds(Body&& body) {
    const auto start = std::chrono::steady_clock::now();
    body();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Runs both bodies in turns, so that whatever else the machine does affects both alike, and
/// returns the median time of each: {ours, peer}. The least time would compare lucky turns: where
/// two processes talk to each other it depends on the cores that they run on. `measure(body)` runs
/// a body and returns its seconds.
template <class Ours, class Peer, class Measure>
std::pair<double, double> medianOfTurns(int turns, Ours&& ours, Peer&& peer, Measure&& measure) {
    std::vector<double> times[2];
    for (int i = 0; i < turns; ++i) {
        times[0].push_back(measure(ours));
        times[1].push_back(measure(peer));
    }
    for (std::vector<double>& all : times)
        std::nth_element(all.begin(), all.begin() + turns / 2, all.end());
    return {times[0][turns / 2], times[1][turns / 2]};
}

template <class Ours, class Peer>
std::pair<double, double> medianOfTurns(int turns, Ours&& ours, Peer&& peer) {
    return medianOfTurns(turns, ours, peer, [](const auto& body) { return seconds(body); });
}

}  // namespace velmora::bench
