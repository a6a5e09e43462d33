// Takes the place of operator new and delete in the executable that links it. Every block lies at the end of pages of
// its own, the page behind it cannot be touched, and a block that was given back cannot be touched either, ever: its
// addresses are not used again. Bytes between the block's end and the page's end, which alignment demands, are checked
// when it is given back. An overrun and a use after the end of life so stop the program at once, with 0xC0000005.

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr std::size_t page = 4096;
constexpr std::size_t alignment = 16;
constexpr std::size_t arenaSize = std::size_t(1) << 40;
constexpr unsigned char fresh = 0xCD; // what nobody has written yet
constexpr unsigned char rim = 0xFD;   // behind the block, up to the page's end

std::byte* arena()
{
    static std::byte* const start =
        static_cast<std::byte*>(VirtualAlloc(nullptr, arenaSize, MEM_RESERVE, PAGE_NOACCESS));
    if (!start)
        std::abort();
    return start;
}

std::atomic<std::size_t> used = 0;

/// In front of a block, on the same pages.
struct Header
{
    std::size_t size;
    std::size_t pages;
    std::size_t check;
    std::size_t fence; // next to the block

    std::size_t checksum() const { return size * 31 + pages * 7 + 0x5AFE; }
};
constexpr std::size_t fenceValue = 0xFDFDFDFDFDFDFDFD;
static_assert(sizeof(Header) % alignment == 0, "the fence touches the block");
constexpr std::size_t headerSize = sizeof(Header);

void* take(std::size_t size)
{
    const std::size_t padded = (std::max<std::size_t>(size, 1) + alignment - 1) / alignment * alignment;
    const std::size_t pages = (padded + headerSize + page - 1) / page;
    const std::size_t place = used.fetch_add((pages + 1) * page);
    if (place + (pages + 1) * page > arenaSize)
        return nullptr;
    std::byte* const start = arena() + place;
    if (VirtualAlloc(start, pages * page, MEM_COMMIT, PAGE_READWRITE) == nullptr)
        return nullptr;
    std::byte* const block = start + pages * page - padded;
    auto* const header = reinterpret_cast<Header*>(block - headerSize);
    *header = {size, pages, 0, fenceValue};
    header->check = header->checksum();
    std::memset(block, fresh, size);
    std::memset(block + size, rim, padded - size);
    return block;
}

void giveBack(void* pointer)
{
    if (!pointer)
        return;
    auto* const block = static_cast<std::byte*>(pointer);
    const auto* const header = reinterpret_cast<const Header*>(block - headerSize);
    const std::size_t pages = header->pages;
    if (header->check != header->checksum() || header->fence != fenceValue)
        std::abort(); // somebody wrote in front of the block
    const std::size_t padded = (std::max<std::size_t>(header->size, 1) + alignment - 1) / alignment * alignment;
    for (std::size_t i = header->size; i < padded; ++i) {
        if (block[i] != std::byte(rim))
            std::abort(); // somebody wrote behind the block
    }
    VirtualFree(block + padded - pages * page, pages * page, MEM_DECOMMIT);
}

} // namespace

void* operator new(std::size_t size)
{
    if (void* const block = take(size))
        return block;
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept
{
    giveBack(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    giveBack(block);
}
