// A program that writes records until it is ended: endless_log LOG-FILE MAPPING. It tells in the mapping how many are
// done.

#include "endless_log.h"

#include <windows.h>

#include <cstdint>
#include <string>

#include "log/log.h"

int wmain(int count, wchar_t** arguments)
{
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    if (count != 3)
        return 2;
    const HANDLE mapping = OpenFileMappingW(FILE_MAP_WRITE, FALSE, arguments[2]);
    auto* const done =
        mapping == nullptr
            ? nullptr
            : static_cast<volatile std::uint32_t*>(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, sizeof(std::uint32_t)));
    if (!done)
        return 3;
    Travik::reopenLogFile(arguments[1]);
    for (std::uint32_t number = 1;; ++number) {
        Travik::writeRecord(Travik::LogLevel::Info, 1, L"endless", TravikTest::endlessText(number));
        *done = number;
    }
}
