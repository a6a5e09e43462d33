#pragma once

#include <chrono>
#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

/// Times in nanoseconds by what was measured, written in the form of Google Benchmark's JSON, so that one reader does
/// for both.
class Samples
{
public:
    using Clock = std::chrono::steady_clock;

    void add(const std::string& name, double nanoseconds) { byName_[name].push_back(nanoseconds); }

    /// One run of the body, as one sample for each of the parts that it consists of.
    template <class Body>
    void time(const std::string& name, Body&& body, double parts = 1)
    {
        const auto start = Clock::now();
        body();
        add(name, std::chrono::duration<double, std::nano>(Clock::now() - start).count() / parts);
    }

    void write(const std::string& file) const
    {
        std::ofstream json(file, std::ios::binary);
        json.precision(12);
        const char* separator = "{\"benchmarks\": [\n";
        for (const auto& [name, times] : byName_) {
            for (double nanoseconds : times) {
                json << separator << R"({"run_name": ")" << name << R"(", "run_type": "iteration", "real_time": )"
                     << nanoseconds << R"(, "time_unit": "ns"})";
                separator = ",\n";
            }
        }
        json << "\n]}\n";
    }

private:
    std::map<std::string, std::vector<double>> byName_;
};
