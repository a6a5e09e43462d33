#ifndef TRAVIK_ERRORS_H
#define TRAVIK_ERRORS_H

// Part of the helper (scoped_handle.h): failures as exceptions.

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#include "names.h"
#include "vbox_instance.h"

namespace Travik {

/// Whether a result says that the process is gone in which the object lived: the machine's, for consoles, events and
/// some progresses, or the server's. serverAnswers tells which.
[[nodiscard]] inline bool isProcessGone(std::uint32_t result)
{
    switch (result) {
    case 0x800706BA: // the server, as COM calls the process of an object, is unavailable
    case 0x800706BE: // the call failed: the server went away inside it
    case 0x800706BF: // the call failed and did not run
    case 0x80010007: // the server died
    case 0x80010012: // the server died before the call
    case 0x80010108: // the object is disconnected from its clients
    case 0x800401FD: // the object is not connected to its server
        return true;
    default:
        return false;
    }
}

/// Whether a result is the one that a lock gets while the machine is still locked, or is just being locked or unlocked.
/// VirtualBox gives the lock back only a moment after a machine reads as powered off.
[[nodiscard]] inline bool isLockRace(std::uint32_t result)
{
    return result == 0x80BB0007;
}

/// A failed operation: the library's code, VirtualBox's HRESULT and the library's failure text, each with its name.
class SdkError : public std::runtime_error
{
public:
    SdkError(std::uint32_t code, std::uint32_t result, std::wstring text)
        : std::runtime_error(summary(code, result)), code_(code), result_(result), text_(std::move(text))
    {}

    /// The operation's result; 101 to 215.
    std::uint32_t code() const noexcept { return code_; }
    const wchar_t* codeName() const noexcept { return errorCodeName(code_); }

    /// VirtualBox's HRESULT, 0 when VirtualBox was not asked or did not say.
    std::uint32_t result() const noexcept { return result_; }
    const wchar_t* resultName() const noexcept { return Travik::resultName(result_); }

    /// What is known in words; may be empty.
    const std::wstring& text() const noexcept { return text_; }

    /// The operation that failed ("findMachine"), as the text names it; empty when it names none.
    std::wstring operation() const
    {
        static const std::wstring opening = L"vbox sdk failure in ";
        const std::size_t end = text_.find(L'(');
        if (text_.compare(0, opening.size(), opening) != 0 || end == std::wstring::npos)
            return std::wstring();
        const std::size_t scope = text_.rfind(L"::", end);
        const std::size_t begin = scope == std::wstring::npos ? opening.size() : scope + 2;
        return text_.substr(begin, end - begin);
    }

    /// What it was called with, as the text repeats it: handles as numbers, joined by " | ".
    std::wstring arguments() const
    {
        const std::size_t begin = text_.find(L'(');
        const std::size_t end = text_.rfind(L"):");
        return operation().empty() || end == std::wstring::npos ? std::wstring()
                                                                : text_.substr(begin + 1, end - begin - 1);
    }

private:
    static std::string summary(std::uint32_t code, std::uint32_t result)
    {
        std::string text = toUTF8(errorCodeName(code)) + " (" + std::to_string(code) + ")";
        if (result == 0)
            return text;
        const std::string name = toUTF8(Travik::resultName(result));
        return text + ", " + (name.empty() ? "HRESULT" : name) + " (" + hexadecimal(result) + ")";
    }

    static std::string hexadecimal(std::uint32_t value)
    {
        std::string text = "0x";
        for (int shift = 28; shift >= 0; shift -= 4)
            text += "0123456789abcdef"[(value >> shift) & 15];
        return text;
    }

    std::uint32_t code_;
    std::uint32_t result_;
    std::wstring text_;
};

/// A failed operation because VirtualBox's server is gone, and with it every object that handles name. The cure is
/// reconnect, and finding the machines again.
class ServerGone : public SdkError
{
public:
    using SdkError::SdkError;
};

/// A failed operation because the machine's process is gone, as after every power-off, and with it the machine's
/// console and events. The server answers: other handles are good.
class MachineGone : public SdkError
{
public:
    using SdkError::SdkError;
};

/// A task that VirtualBox accepted and that failed later: the progress's own result and text.
class ProgressError : public SdkError
{
public:
    ProgressError(std::uint32_t result, std::wstring text)
        : SdkError(ProgressWaitForCompletionFail, result, std::move(text))
    {}
};

/// A refusal of the file system in an operation that touches files itself. The library's own text names no path.
class FileError : public std::runtime_error
{
public:
    FileError(std::wstring path, const std::string& reason)
        : std::runtime_error(reason + ": " + toUTF8(path)), path_(std::move(path))
    {}

    /// What the operation was called with.
    const std::wstring& path() const noexcept { return path_; }

private:
    std::wstring path_;
};

/// A deadline passed while waiting.
class TimedOut : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The failure that the last operation left behind, given its code.
[[nodiscard]] inline SdkError lastFailure(VBoxInstanceImpl& vbox, std::uint32_t code)
{
    // Unknown handles and files fail before VirtualBox is asked; renameVmDisk even leaves an older result standing.
    const bool asked = code < COM_Get_MachineFail || code > RemoveFilePathFail;
    const std::uint32_t result = asked ? vbox.getVBoxError() : 0;

    // A call that succeeded without an object where one is needed leaves no text: do not pass an older one on. 101
    // stands for a creation that failed under a code of its own, which the text names.
    std::wstring text = vbox.getVBoxErrorMessage();
    const std::wstring ending = std::wstring(L" errorDesc=") + errorCodeName(code);
    const bool own =
        text.size() >= ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
    if (!own && code != InitVboxComFail)
        text.clear();
    return SdkError(code, result, std::move(text));
}

/// Whether VirtualBox's server answers. Asks it, so that getVBoxError tells of that from here on.
[[nodiscard]] inline bool serverAnswers(VBoxInstanceImpl& vbox)
{
    return vbox.getHost(nullptr) == 0;
}

/// Throws SdkError, or what it is more exactly, when an operation failed:
///     check(vbox, vbox.setMachineMemory(machine.get(), 2048));
inline void check(VBoxInstanceImpl& vbox, std::uint32_t code)
{
    if (code == 0)
        return;
    SdkError failure = lastFailure(vbox, code);
    if (!isProcessGone(failure.result()))
        throw failure;
    if (serverAnswers(vbox))
        throw MachineGone(failure.code(), failure.result(), failure.text());
    throw ServerGone(failure.code(), failure.result(), failure.text());
}

} // namespace Travik

#endif
