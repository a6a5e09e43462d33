#pragma once

#include <wrl/client.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory_resource>
#include <unordered_map>

#include "travik/sdk_error.h"
#include "travik/vbox_types.h"

namespace Travik {

/// Whether the process is already shutting down: COM's threads are dead then, and releasing a proxy would hang for
/// ever.
bool processIsTerminating();

/// The objects of one interface that the caller holds handles for, one reference each. Used with the instance's mutex
/// held.
template <class Interface>
class HandleTable
{
public:
    using Reference = Microsoft::WRL::ComPtr<Interface>;

    /// A table with more entries than this drops its oldest number at the next insert.
    static constexpr std::size_t bound = 2000;

    /// missing is the code for a handle that is not in this table.
    explicit HandleTable(SdkErrorCode missing) : missing_(missing) {}
    HandleTable(const HandleTable&) = delete;
    HandleTable& operator=(const HandleTable&) = delete;

    ~HandleTable()
    {
        if (!processIsTerminating())
            return;
        for (auto& entry : entries_)
            entry.second.Detach();
    }

    SdkErrorCode missing() const noexcept { return missing_; }
    std::size_t size() const noexcept { return entries_.size(); }

    /// Numbers ascend from 1 and are never used again.
    VBoxHandle newHandle() noexcept { return ++lastHandle_; }

    /// Stores an object under a handle. When the table is over its bound, the next number in line goes first; a number
    /// that was released already leaves the table as it is for this time.
    void insert(VBoxHandle handle, const Reference& object)
    {
        if (entries_.size() > bound)
            erase(++lastEvicted_);
        entries_[handle] = object;
    }

    /// The object under a handle. An unknown handle gives null and leaves an empty entry, which counts towards the
    /// bound.
    Reference lookUp(VBoxHandle handle) { return entries_[handle]; }

    /// Drops a handle's object; nothing happens for an unknown handle.
    void release(VBoxHandle handle) { erase(handle); }

    /// Drops all objects; numbering goes on where it was.
    void releaseAll() { entries_.clear(); }

private:
    void erase(VBoxHandle handle)
    {
        const auto entry = std::find_if(entries_.begin(), entries_.end(),
                                        [handle](const auto& candidate) { return candidate.first == handle; });
        if (entry != entries_.end())
            entries_.erase(entry);
    }

    SdkErrorCode missing_;
    std::pmr::unsynchronized_pool_resource memory_; // an entry from the process's heap costs more than all else here
    std::pmr::unordered_map<VBoxHandle, Reference> entries_{&memory_};
    VBoxHandle lastHandle_ = 0;
    VBoxHandle lastEvicted_ = 0;
};

} // namespace Travik
