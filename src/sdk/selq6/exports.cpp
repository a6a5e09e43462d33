#include "selq6/thread_text.h"
#include "selq6/vbox.h"
#include "travik/vbox_instance.h"
#include "utils/file_path.h"
#include "utils/text.h"

Travik::VBoxInstanceImpl* GetVBoxInstance()
{
    static Travik::VBox instance;
    return &instance;
}

bool utils_removeFilePath(const wchar_t* path)
{
    return Travik::Utils::removeFilePath(path);
}

const char* utils_toUTF8(const wchar_t* text)
{
    // Valid until the next call on the same thread: the caller gets no length and nothing to free.
    static Travik::ThreadText results;
    std::string& result = results.ofThisThread();
    result = Travik::Utils::toUtf8(text);
    return result.c_str();
}
