// The fastest of several runs of each benchmark.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

/// Keeps the best processor time of each benchmark, in ns.
class best_times : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &r : runs) {
            const std::string &name = r.run_name.function_name;
            if (r.cpu_accumulated_time <= 0) { // whatever was measured, it was not the scene
                std::fprintf(stderr, "no figure for %s\n", name.c_str());
                continue;
            }
            const double t = r.cpu_accumulated_time * 1e9 / double(r.iterations);
            double &best = times.emplace(name, t).first->second;
            best = std::min(best, t);
        }
    }
    bool has(const std::string &name) const { return times.count(name) != 0; }
    double operator[](const std::string &name) const { return times.at(name); }

private:
    std::map<std::string, double> times;
};
