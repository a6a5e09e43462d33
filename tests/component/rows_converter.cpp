#include "operation_table.h"

// The converters: pure functions of a number.

namespace TravikTest {

#define CONVERTER(operation)                                                                                           \
    template <>                                                                                                        \
    Row row<Op::operation>()                                                                                           \
    {                                                                                                                  \
        return {.kind = Row::converter,                                                                                \
                .convert = [](TestBox& box, std::uint32_t value) { return box.operation(value); }};                    \
    }

CONVERTER(toSdkMachineState)
CONVERTER(toVBoxMachineState)
CONVERTER(toVBoxFlagA)
CONVERTER(toSdkFlagA)
CONVERTER(toVBoxKindA)
CONVERTER(toSdkKindA)
CONVERTER(toVBoxFlagB)
CONVERTER(toSdkFlagB)
CONVERTER(toVBoxParavirtProvider)
CONVERTER(toSdkParavirtProvider)
CONVERTER(toVBoxEventType)
CONVERTER(toSdkEventType)
CONVERTER(toVBoxKindB)
CONVERTER(toSdkKindB)
CONVERTER(toVBoxFlagC)
CONVERTER(toSdkFlagC)
CONVERTER(toVBoxSwitch)
CONVERTER(toSdkSwitch)
CONVERTER(toHResult)
CONVERTER(toVBoxResultCode)
CONVERTER(toVBoxKindC)
CONVERTER(toSdkKindC)

} // namespace TravikTest
