#pragma once

#include <string>

#include "world.h"

namespace TravikTest {

/// A disk as a machine's registry of media lists it.
inline std::string hardDiskXml(const std::wstring& uuid, const std::string& location)
{
    return "<HardDisks><HardDisk uuid=\"{" + std::string(uuid.begin(), uuid.end()) + "}\" location=\"" + location +
           "\" format=\"VDI\" type=\"Normal\"/></HardDisks>";
}

/// The same disk on a port of the SATA controller.
inline std::string attachedDiskXml(const std::wstring& uuid, int port)
{
    return "<AttachedDevice type=\"HardDisk\" hotpluggable=\"false\" port=\"" + std::to_string(port) +
           "\" device=\"0\"><Image uuid=\"{" + std::string(uuid.begin(), uuid.end()) + "}\"/></AttachedDevice>";
}

/// An empty DVD drive on a port of the SATA controller.
inline std::string emptyDriveXml(int port)
{
    return "<AttachedDevice passthrough=\"false\" type=\"DVD\" hotpluggable=\"false\" port=\"" + std::to_string(port) +
           "\" device=\"0\"/>";
}

} // namespace TravikTest
