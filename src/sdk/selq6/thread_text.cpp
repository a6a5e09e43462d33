#include "selq6/thread_text.h"

#include <memory>
#include <new>

#include "selq6/handle_table.h"

namespace Travik {
namespace {

/// The system calls it when a thread ends and, for each thread that still lives, when the slot is given up.
void WINAPI destroyText(void* text)
{
    delete static_cast<std::string*>(text);
}

} // namespace

ThreadText::ThreadText() : slot_(FlsAlloc(destroyText)) {}

ThreadText::~ThreadText()
{
    if (slot_ != FLS_OUT_OF_INDEXES && !processIsTerminating())
        FlsFree(slot_);
}

std::string& ThreadText::ofThisThread()
{
    if (void* const kept = FlsGetValue(slot_))
        return *static_cast<std::string*>(kept);
    auto text = std::make_unique<std::string>();
    if (!FlsSetValue(slot_, text.get()))
        throw std::bad_alloc();
    return *text.release();
}

} // namespace Travik
