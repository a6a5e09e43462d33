#pragma once

#include <unknwn.h>

/// What unit_table_holder.dll exports as holdInTable: puts an object into a handle table that lives in static storage
/// of the DLL, as the library's tables do.
using HoldInTable = void (*)(IUnknown* object);
