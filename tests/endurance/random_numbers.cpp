#include "random_numbers.h"

#include <cstdlib>

namespace TravikTest {

std::uint64_t seed()
{
    static const std::uint64_t chosen = [] {
        const char* const given = std::getenv("TRAVIK_TEST_SEED");
        return !given ? std::random_device()() : std::strtoull(given, nullptr, 10);
    }();
    return chosen;
}

std::string seedText()
{
    const std::string number = std::to_string(seed());
    return "seed " + number + " (TRAVIK_TEST_SEED=" + number + " repeats it)";
}

} // namespace TravikTest
