#include "host/medium.h"

#include <iterator>

namespace VBoxSim {

MediumPtr mediumOf(const MediumRecord& record)
{
    const auto medium = std::make_shared<Medium>();
    medium->id = record.id;
    medium->location = record.location;
    medium->format = record.format;
    medium->type = record.type;
    medium->deviceType = record.deviceType;
    medium->parent = record.parent;
    return medium;
}

MediumRecord recordOf(const Medium& medium)
{
    return {medium.id, medium.location, medium.format, medium.type, medium.deviceType, medium.parent};
}

std::uint32_t mediumType(const Medium& medium)
{
    constexpr const wchar_t* names[] = {L"Normal",    L"Immutable", L"Writethrough",
                                        L"Shareable", L"Readonly",  L"MultiAttach"};
    for (std::uint32_t value = 0; value < std::size(names); ++value)
        if (medium.type == names[value])
            return value;
    return 0;
}

} // namespace VBoxSim
