#pragma once

#include <stdexcept>
#include <string>

namespace VBoxSim {

/// Why work on an image or an appliance failed. The comments name the VirtualBox result that fits.
enum class Fault
{
    NotFound,        ///< no such file, or its folder is missing                  VBOX_E_FILE_ERROR
    Unreadable,      ///< the file is there but cannot be opened or read          VBOX_E_FILE_ERROR
    Unwritable,      ///< a file cannot be created, written or renamed            VBOX_E_FILE_ERROR
    Exists,          ///< the target file is there already                        VBOX_E_FILE_ERROR
    BadName,         ///< wrong suffix, or a name that leads out of its folder    VBOX_E_FILE_ERROR
    BadDescriptor,   ///< the OVF descriptor or the manifest is damaged           VBOX_E_FILE_ERROR
    DigestMismatch,  ///< a file differs from its digest in the manifest          VBOX_E_FILE_ERROR
    BadArchive,      ///< the archive is damaged or cut off                       VBOX_E_IPRT_ERROR
    Unrecognised,    ///< no known image format                                   VBOX_E_IPRT_ERROR
    Damaged,         ///< an image whose header or maps make no sense             VBOX_E_IPRT_ERROR
    Unsupported,     ///< understood, but a feature or size that is not handled   VBOX_E_NOT_SUPPORTED
    InvalidArgument, ///< the caller asked for something impossible               E_INVALIDARG
    Canceled,        ///< the progress callback answered false                    E_FAIL, progress canceled
};

/// Failure of work on an image or an appliance, with a text for people.
class StorageError : public std::runtime_error
{
public:
    StorageError(Fault fault, const std::wstring& text);

    Fault fault() const noexcept { return fault_; }
    /// The text for people; what() is the same in UTF-8.
    const std::wstring& text() const noexcept { return text_; }

private:
    Fault fault_;
    std::wstring text_;
};

/// UTF-8 to UTF-16 and back. What is not valid becomes the replacement character.
std::wstring fromUtf8(const std::string& text);
std::string toUtf8(const std::wstring& text);

} // namespace VBoxSim
