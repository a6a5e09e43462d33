#pragma once

#include <windows.h>
#include <oaidl.h>

#include <list>
#include <vector>

#include "automation/safe_array.h"

namespace VBoxSim {

/// The arguments of a late-bound call as its method takes them. Scripts know arrays of variants only: these become
/// arrays of the parameter's elements, and nothing at all (Nothing, null) becomes no array.
class ScriptArguments
{
public:
    ScriptArguments(ITypeInfo* description, DISPID member, WORD kind, DISPPARAMS* given);
    ScriptArguments(const ScriptArguments&) = delete;
    ScriptArguments& operator=(const ScriptArguments&) = delete;

    DISPPARAMS* get() { return &all_; }

private:
    void convert(const FUNCDESC& method);

    DISPPARAMS all_;
    std::vector<VARIANT> values_; ///< in COM's order: the last argument first
    std::list<Travik::ComArray> made_;
};

/// Under Wine, whose script engines read no other arrays, turns an array into one of variants. On Windows a late-bound
/// caller gets arrays of the elements themselves, as from VirtualBox.
HRESULT readableByScripts(VARIANT* result);

} // namespace VBoxSim
