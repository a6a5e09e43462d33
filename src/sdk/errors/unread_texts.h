#pragma once

#include <string>

namespace Travik {

// Languages and texts of the code table that this library shares with other components. Nothing here reads them: there
// is one language only, and the names of the codes are the messages.
extern const std::wstring languageEnglish;
extern const std::wstring languageChinese;
extern const std::wstring flavourSelq6;
extern const std::wstring flavourDova;
extern const std::wstring unsupportedErrorCode;
extern const std::wstring unsupportedLanguage;

} // namespace Travik
