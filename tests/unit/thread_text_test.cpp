// The text of each thread, which goes with the thread or with its owner.
#include <windows.h>
#include <gmock/gmock.h>

#include <atomic>
#include <new>
#include <string>
#include <thread>

#include "selq6/thread_text.h"

namespace {

bool slotsLeft = true;
PFLS_CALLBACK_FUNCTION destroy = nullptr;
std::atomic<int> destroyed = 0;

void WINAPI countDestroyed(void* text)
{
    ++destroyed;
    destroy(text);
}

DWORD WINAPI flsAlloc(PFLS_CALLBACK_FUNCTION callback)
{
    static const auto original = reinterpret_cast<decltype(&FlsAlloc)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "FlsAlloc")));
    destroy = callback;
    return slotsLeft ? original(countDestroyed) : FLS_OUT_OF_INDEXES;
}

} // namespace

// Calls of an imported function go through this pointer. The linker takes ours before it looks into the system's import
// library.
extern "C" {
decltype(&flsAlloc) __imp_FlsAlloc = &flsAlloc;
}

namespace {

using Travik::ThreadText;

TEST(TextsOfThreads, StayWithTheirThread)
{
    ThreadText texts;
    std::string& ours = texts.ofThisThread();
    EXPECT_EQ("", ours);
    ours = "ours";
    std::thread([&] {
        EXPECT_EQ("", texts.ofThisThread());
        texts.ofThisThread() = "theirs";
        EXPECT_EQ("theirs", texts.ofThisThread());
    }).join();
    EXPECT_EQ("ours", texts.ofThisThread());
    EXPECT_EQ(&ours, &texts.ofThisThread());
}

TEST(TextsOfThreads, GoWithTheirThreadOrWithTheOwner)
{
    destroyed = 0;
    {
        ThreadText texts;
        texts.ofThisThread() = "ours";
        std::thread([&] { texts.ofThisThread() = "theirs"; }).join();
        EXPECT_EQ(1, destroyed);
    }
    EXPECT_EQ(2, destroyed);
}

TEST(TextsOfThreads, NeedASlot)
{
    slotsLeft = false;
    {
        ThreadText texts;
        EXPECT_THROW(texts.ofThisThread(), std::bad_alloc);
    }
    slotsLeft = true;
}

} // namespace
