#include "errors/unread_texts.h"

namespace Travik {

const std::wstring languageEnglish = L"en_US";
const std::wstring languageChinese = L"zh_CN";
const std::wstring flavourSelq6 = L"selq6";
const std::wstring flavourDova = L"dova";
const std::wstring unsupportedErrorCode = L"Unsupported error code";
const std::wstring unsupportedLanguage = L"Unsupported language";

} // namespace Travik
