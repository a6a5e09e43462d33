#include "host/error_mapping.h"

#include <new>

#include "base/text.h"

namespace VBoxSim {

std::optional<Failure> attempt(const std::function<void()>& work) noexcept
{
    try {
        try {
            work();
            return std::nullopt;
        } catch (const Failure& failure) {
            return failure;
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& error) {
            return Failure(Result::fail, fromUtf8(std::string_view(error.what())));
        }
    } catch (const std::bad_alloc&) {
        return Failure(Result::outOfMemory, std::wstring()); // a text would need memory
    }
}

} // namespace VBoxSim
