#include "host/error_mapping.h"

#include <new>

#include "base/text.h"

namespace VBoxSim {

namespace {

ResultCode resultOf(Fault fault)
{
    switch (fault) {
    case Fault::BadArchive:
    case Fault::Unrecognised:
    case Fault::Damaged:
        return Result::iprtError;
    case Fault::Unsupported:
        return Result::notSupported;
    case Fault::InvalidArgument:
        return Result::invalidArgument;
    case Fault::Canceled:
        return Result::fail;
    default:
        return Result::fileError;
    }
}

} // namespace

Failure failureOf(const StorageError& error)
{
    return error.fault() == Fault::Canceled ? canceledFailure() : Failure(resultOf(error.fault()), error.text());
}

Failure canceledFailure()
{
    return Failure(Result::fail, L"The operation was canceled");
}

std::optional<Failure> attempt(const std::function<void()>& work) noexcept
{
    try {
        try {
            work();
            return std::nullopt;
        } catch (const Failure& failure) {
            return failure;
        } catch (const StorageError& error) {
            return failureOf(error);
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& error) {
            return Failure(Result::fail, fromUtf8(std::string_view(error.what())));
        }
    } catch (const std::bad_alloc&) {
        return Failure(Result::outOfMemory, std::wstring()); // a text would need memory
    }
}

Poco::UUID toUuid(const std::wstring& uuid)
{
    return uuid.empty() ? Poco::UUID() : Poco::UUID(toUtf8(std::wstring_view(uuid)));
}

std::wstring fromUuid(const Poco::UUID& uuid)
{
    return uuid.isNull() ? std::wstring() : fromUtf8(std::string_view(uuid.toString()));
}

} // namespace VBoxSim
