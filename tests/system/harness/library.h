#pragma once

#include <windows.h>

#include "travik/vbox_instance.h"

namespace TravikTest {

/// The built DLL, loaded as a front end loads it. Stays loaded until unload is called.
class Library
{
public:
    Library();

    Travik::VBoxInstanceImpl& instance() const { return *instance_; }

    /// Lets the DLL go; the instance is gone with it.
    void unload();

private:
    HMODULE module_;
    Travik::VBoxInstanceImpl* instance_;
};

/// The library of this process.
Travik::VBoxInstanceImpl& library();

} // namespace TravikTest
