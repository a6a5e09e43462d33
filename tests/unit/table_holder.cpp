#include "table_holder.h"

#include <type_traits>

#include "selq6/handle_table.h"

extern "C" __declspec(dllexport) void holdInTable(IUnknown* object)
{
    static Travik::HandleTable<IUnknown> table(Travik::COM_Get_MachineFail);
    table.insert(table.newHandle(), object);
}
static_assert(std::is_same_v<HoldInTable, decltype(&holdInTable)>);
