#ifndef TRAVIK_TESTS_SYSTEM_LIBRARY_H
#define TRAVIK_TESTS_SYSTEM_LIBRARY_H

#include "travik/vbox_instance.h"

#include <windows.h>

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

#endif
