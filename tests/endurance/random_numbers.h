#pragma once

#include <cstdint>
#include <random>
#include <string>

namespace TravikTest {

/// The seed of this run: TRAVIK_TEST_SEED, else another one each time. A failure has to print it.
std::uint64_t seed();

/// Random numbers of one thread.
class Random
{
public:
    explicit Random(std::uint64_t start) : engine_(start) {}

    /// From 0 to below the bound.
    std::uint32_t below(std::uint32_t bound) { return static_cast<std::uint32_t>(engine_() % bound); }
    bool oneIn(std::uint32_t chances) { return below(chances) == 0; }
    std::uint32_t any() { return static_cast<std::uint32_t>(engine_()); }

private:
    std::mt19937_64 engine_;
};

/// How to run it again: "seed 17 (TRAVIK_TEST_SEED=17 repeats it)".
std::string seedText();

} // namespace TravikTest
