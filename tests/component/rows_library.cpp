#include "operation_table.h"

// What is about the library itself: starting, resetting, the last failure.

namespace TravikTest {

template <>
Row row<Op::setLogPath>()
{
    return {.kind = Row::special};
}

template <>
Row row<Op::initComComponent>()
{
    return {.invoke = [](Invocation& i) { return i.box.initComComponent(); }, .steps = {ReadyStep{ReadyStep::none}}};
}

template <>
Row row<Op::resetComComponent>()
{
    return {.kind = Row::special};
}

template <>
Row row<Op::releaseRC>()
{
    return {.kind = Row::special};
}

template <>
Row row<Op::getVBoxError>()
{
    return {.kind = Row::special};
}

template <>
Row row<Op::getVBoxErrorMessage>()
{
    return {.kind = Row::special};
}

} // namespace TravikTest
