#include "host/error_mapping.h"

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
    return Failure(resultOf(error.fault()), error.text());
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
