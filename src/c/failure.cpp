#include "failure.h"

#include <comdef.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <mutex>
#include <new>
#include <string_view>

#include "flat_kinds.h"
#include "text.h"
#include "travik/scoped_handle.h"

namespace Travik::Flat {
namespace {

const char* ownCodeName(std::uint32_t code)
{
    switch (code) {
#define OWN_CODE(name)                                                                                                 \
    case TRAVIK_##name:                                                                                                \
        return #name;
        OWN_CODES(OWN_CODE)
#undef OWN_CODE
    default:
        return nullptr;
    }
}

/// One of the library's names, which are ASCII, as a text that lives as long as the process.
const char* narrow(const wchar_t* name)
{
    static std::mutex guard;
    static auto& known = *new std::map<const wchar_t*, std::string>;
    const std::lock_guard lock(guard);
    std::string& text = known[name];
    if (text.empty())
        text = toUtf8(name);
    return text.c_str();
}

/// One block: the error, then its text.
struct ErrorBlock
{
    travik_error error;
    char text[1];
};

} // namespace

Failure failureOf(VBoxInstanceImpl& sdk, std::uint32_t code)
{
    const SdkError error = lastFailure(sdk, code);
    return {code, error.result(), toUtf8(error.text())};
}

Failure currentFailure() noexcept
{
    try {
        throw;
    } catch (const Refused& refused) {
        return {refused.code, 0, refused.text};
    } catch (const Failure& failure) {
        return failure;
    } catch (const std::bad_alloc&) {
        return {TRAVIK_OutOfMemory};
    } catch (const _com_error& error) {
        return {error.Error() == E_OUTOFMEMORY ? TRAVIK_OutOfMemory : TRAVIK_Unexpected,
                static_cast<std::uint32_t>(error.Error())};
    } catch (const std::system_error& error) {
        return {TRAVIK_Unexpected, 0, error.what()};
    } catch (const std::exception& error) {
        // Poco::Exception: only the file helpers throw it.
        return {TRAVIK_FileSystem, 0, error.what()};
    } catch (...) {
        return {TRAVIK_Unexpected};
    }
}

std::uint32_t report(const Failure& failure, const char* operation, travik_error** error) noexcept
{
    if (!error)
        return failure.code;
    const std::size_t size = failure.text.size() + 1;
    auto* const block = static_cast<ErrorBlock*>(std::malloc(sizeof(ErrorBlock) + size));
    if (!block)
        return failure.code;
    std::memcpy(block->text, failure.text.c_str(), size);
    block->error = {failure.code, failure.result, travik_codeName(failure.code), travik_resultName(failure.result),
                    operation,    block->text};
    *error = &block->error;
    return failure.code;
}

} // namespace Travik::Flat

using namespace Travik::Flat;

extern "C" {

const char* travik_codeName(uint32_t code)
{
    const char* const own = ownCodeName(code);
    return own ? own : narrow(Travik::errorCodeName(code));
}

const char* travik_resultName(uint32_t result)
{
    return result == 0 ? "" : narrow(Travik::resultName(result));
}

uint32_t travik_isServerGone(uint32_t result)
{
    return Travik::isProcessGone(result);
}

uint32_t travik_isLockRace(uint32_t result)
{
    return Travik::isLockRace(result);
}

void travik_freeError(travik_error** error)
{
    if (error)
        std::free(std::exchange(*error, nullptr));
}
}
