#pragma once

#include "base/xml.h"

namespace VBoxSim {

/// What VirtualBox refuses in the parts of a <Hardware> element that are not modelled: words that it does not know, and
/// what must be there. Throws Failure(fail) with the element's name and line.
void checkHardware(const Xml::Element* hardware);

} // namespace VBoxSim
