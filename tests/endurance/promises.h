#pragma once

#include <cstddef>
#include <vector>

#include "operation_table.h"

namespace TravikTest {

/// What the documents promise of an operation with a code.
struct Promise
{
    bool known = false; // not so: converters and getVBoxError have no code, restoreVmDisk stands in no document
    bool throwsOutOfMemory = false;
    bool throwsFileError = false;
    std::vector<std::uint32_t> codes; // 0 among them

    bool allows(std::uint32_t code) const;
};

/// By slot.
const Promise& promiseOf(std::size_t slot);

} // namespace TravikTest
