#include "settings/guest_os_types.h"

#include "base/text.h"

namespace VBoxSim {

const std::vector<GuestOsType>& guestOsTypes()
{
    static const std::vector<GuestOsType> types{
#include "guest_os_type_rows.inc"
    };
    return types;
}

const GuestOsType* findGuestOsType(std::wstring_view id)
{
    for (const GuestOsType& type : guestOsTypes())
        if (equalIgnoringCase(type.id, id))
            return &type;
    return nullptr;
}

} // namespace VBoxSim
