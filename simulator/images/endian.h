#pragma once

#include <cstddef>
#include <cstdint>

namespace VBoxSim {

/// Unsigned number from little-endian bytes.
template <typename Number>
Number loadLittle(const std::uint8_t* bytes)
{
    Number number = 0;
    for (std::size_t i = sizeof(Number); i-- > 0;)
        number = static_cast<Number>(number << 8 | bytes[i]);
    return number;
}

/// Unsigned number to little-endian bytes.
template <typename Number>
void storeLittle(std::uint8_t* bytes, Number number)
{
    for (std::size_t i = 0; i < sizeof(Number); ++i)
        bytes[i] = static_cast<std::uint8_t>(number >> 8 * i);
}

/// The same in big-endian order.
template <typename Number>
Number loadBig(const std::uint8_t* bytes)
{
    Number number = 0;
    for (std::size_t i = 0; i < sizeof(Number); ++i)
        number = static_cast<Number>(number << 8 | bytes[i]);
    return number;
}

template <typename Number>
void storeBig(std::uint8_t* bytes, Number number)
{
    for (std::size_t i = 0; i < sizeof(Number); ++i)
        bytes[i] = static_cast<std::uint8_t>(number >> 8 * (sizeof(Number) - 1 - i));
}

} // namespace VBoxSim
