#include "promises.h"

#include <algorithm>
#include <initializer_list>

#include "lawful_codes.h"

namespace TravikTest {
namespace {

std::vector<Promise> allPromises()
{
    std::vector<Promise> all(operationCount);
    const auto promise = [&all](Op operation, unsigned throws, std::initializer_list<std::uint32_t> codes) {
        all[static_cast<std::size_t>(operation)] = {true, (throws & 1) != 0, (throws & 2) != 0, codes};
    };
#define STRIPPED(...) __VA_ARGS__
#define PROMISE(name, throws, codes, threadsMatter) promise(Op::name, throws, STRIPPED codes);
    FOR_EACH_PROMISE(PROMISE)
#undef PROMISE
#undef STRIPPED
    all[static_cast<std::size_t>(Op::getVBoxError)].known = false; // its result is no code
    for (std::size_t slot = 0; slot < operationCount; ++slot) {
        if (rows()[slot].kind == Row::release)
            all[slot] = {true, false, false, {0}};
    }
    return all;
}

} // namespace

bool Promise::allows(std::uint32_t code) const
{
    return std::find(codes.begin(), codes.end(), code) != codes.end();
}

const Promise& promiseOf(std::size_t slot)
{
    static const std::vector<Promise> all = allPromises();
    return all.at(slot);
}

} // namespace TravikTest
