#include "operation_table.h"

#include <utility>

#include "scratch.h"

namespace TravikTest {
namespace {

template <std::size_t... slots>
std::vector<Row> allRows(std::index_sequence<slots...>)
{
    return {row<static_cast<Op>(slots)>()...};
}

} // namespace

const std::vector<Row>& rows()
{
    static const std::vector<Row> all = allRows(std::make_index_sequence<operationCount>());
    return all;
}

std::wstring existingFile()
{
    return (scratchFolder() / L"existing file").wstring();
}

std::wstring missingFile()
{
    return (scratchFolder() / L"missing file").wstring();
}

} // namespace TravikTest
