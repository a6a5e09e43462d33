#include <gmock/gmock.h>

#include <array>
#include <cstdint>
#include <deque>
#include <memory>

#include "counting_object.h"
#include "selq6/handle_table.h"

namespace {

using namespace Travik;
using TravikTest::CountingUnknown;

using Table = HandleTable<IUnknown>;

class HandleTables : public testing::Test
{
protected:
    /// Hands an object out as the operations do; the number of its handle.
    VBoxHandle handOut(CountingUnknown& object)
    {
        const VBoxHandle handle = table->newHandle();
        table->insert(handle, &object);
        return handle;
    }

    /// Hands out new objects until the table's last handle is this one; objects[handle] is the object of a handle.
    void handOutUpTo(VBoxHandle last)
    {
        while (objects.size() <= last)
            handOut(objects.emplace_back());
    }

    bool holds(VBoxHandle handle) const { return objects[handle].references == 1; }

    std::deque<CountingUnknown> objects = std::deque<CountingUnknown>(1); // no handle is 0
    CountingUnknown other;
    std::unique_ptr<Table> table = std::make_unique<Table>(COM_Get_HostFail); // dies before the objects
};

TEST_F(HandleTables, StartEmptyAndKnowTheirMissingCode)
{
    EXPECT_EQ(0u, table->size());
    EXPECT_EQ(193u, static_cast<std::uint32_t>(table->missing()));
}

TEST_F(HandleTables, NumberFrom1WhateverIsReleasedInBetween)
{
    EXPECT_EQ(1u, handOut(other));
    table->release(1);
    EXPECT_EQ(2u, handOut(other));
    EXPECT_EQ(3u, handOut(other));
    table->release(3);
    EXPECT_EQ(4u, handOut(other));
}

TEST_F(HandleTables, NumberTheSameObjectAnewEachTime)
{
    EXPECT_EQ(1u, handOut(other));
    EXPECT_EQ(2u, handOut(other));
    EXPECT_EQ(2, other.references);
}

TEST_F(HandleTables, HoldExactlyOneReferencePerEntry)
{
    const VBoxHandle handle = handOut(other);
    EXPECT_EQ(1, other.references);
    table->release(handle);
    EXPECT_EQ(0, other.references);
}

TEST_F(HandleTables, LookUpGivesAReferenceOfItsOwn)
{
    const VBoxHandle handle = handOut(other);
    Table::Reference found = table->lookUp(handle);
    EXPECT_EQ(&other, found.Get());
    EXPECT_EQ(2, other.references);
    table->release(handle);
    EXPECT_EQ(1, other.references) << "whoever uses the object keeps it";
    found.Reset();
    EXPECT_EQ(0, other.references);
}

TEST_F(HandleTables, InsertReplacesTheObjectOfAnEntry)
{
    const VBoxHandle handle = handOut(other);
    CountingUnknown replacement;
    table->insert(handle, &replacement);
    EXPECT_EQ(0, other.references);
    EXPECT_EQ(1, replacement.references);
    EXPECT_EQ(1u, table->size());
    table->release(handle);
    EXPECT_EQ(0, replacement.references);
}

TEST_F(HandleTables, AFailedLookUpLeavesOneEmptyEntry)
{
    EXPECT_EQ(nullptr, table->lookUp(77).Get());
    EXPECT_EQ(1u, table->size());
    EXPECT_EQ(nullptr, table->lookUp(77).Get());
    EXPECT_EQ(1u, table->size());
    EXPECT_EQ(nullptr, table->lookUp(0).Get());
    EXPECT_EQ(nullptr, table->lookUp(0xFFFFFFFF).Get());
    EXPECT_EQ(3u, table->size());
    EXPECT_EQ(1u, table->newHandle()) << "look-ups do not number";
}

TEST_F(HandleTables, ReleaseRemovesAnEmptyEntry)
{
    (void)table->lookUp(77);
    table->release(77);
    EXPECT_EQ(0u, table->size());
}

TEST_F(HandleTables, TheCounterOverwritesAnEmptyEntry)
{
    (void)table->lookUp(1);
    EXPECT_EQ(1u, handOut(other));
    EXPECT_EQ(1u, table->size());
    EXPECT_EQ(&other, table->lookUp(1).Get());
}

TEST_F(HandleTables, ReleaseOfAnUnknownHandleChangesNothing)
{
    handOut(other);
    for (const VBoxHandle unknown : {0u, 2u, 2000u, 0xFFFFFFFFu})
        table->release(unknown);
    EXPECT_EQ(1u, table->size());
    EXPECT_EQ(1, other.references);
    table->release(1);
    table->release(1);
    EXPECT_EQ(0u, table->size());
    EXPECT_EQ(0, other.references);
}

TEST_F(HandleTables, Take2001EntriesWithoutDroppingOne)
{
    handOutUpTo(2001);
    EXPECT_EQ(2001u, table->size());
    for (VBoxHandle handle = 1; handle <= 2001; ++handle)
        EXPECT_TRUE(holds(handle)) << handle;
}

TEST_F(HandleTables, With2001LiveEntriesTheNextInsertDropsHandle1)
{
    handOutUpTo(2002);
    EXPECT_EQ(2001u, table->size());
    EXPECT_FALSE(holds(1));
    EXPECT_TRUE(holds(2));
    EXPECT_TRUE(holds(2002));
    EXPECT_EQ(nullptr, table->lookUp(1).Get());
}

TEST_F(HandleTables, OverTheBoundEachInsertDropsTheNextNumber)
{
    handOutUpTo(2010);
    EXPECT_EQ(2001u, table->size());
    for (VBoxHandle handle = 1; handle <= 9; ++handle)
        EXPECT_FALSE(holds(handle)) << handle;
    for (VBoxHandle handle = 10; handle <= 2010; ++handle)
        EXPECT_TRUE(holds(handle)) << handle;
}

TEST_F(HandleTables, AReleasedCandidateDropsNothingAndTheTableStaysAboveTheBound)
{
    handOutUpTo(2001);
    table->release(1);
    table->release(3);
    handOutUpTo(2003); // up to 2001 entries again: nothing had to go
    EXPECT_EQ(2001u, table->size());
    handOutUpTo(2004); // 1 is in line, but released
    EXPECT_EQ(2002u, table->size());
    EXPECT_TRUE(holds(2));
    handOutUpTo(2005); // 2 goes
    EXPECT_EQ(2002u, table->size());
    EXPECT_FALSE(holds(2));
    handOutUpTo(2006); // 3 is released
    EXPECT_EQ(2003u, table->size());
    EXPECT_TRUE(holds(4));
    handOutUpTo(2007); // 4 goes
    EXPECT_EQ(2003u, table->size());
    EXPECT_FALSE(holds(4));
    EXPECT_TRUE(holds(5));
}

TEST_F(HandleTables, TheCursorRestsWhileTheTableIsWithinItsBound)
{
    handOutUpTo(2002); // 1 went
    for (VBoxHandle handle = 1000; handle < 1010; ++handle)
        table->release(handle);
    handOutUpTo(2012); // back to 2001 entries
    EXPECT_EQ(2001u, table->size());
    EXPECT_TRUE(holds(2));
    handOutUpTo(2013);
    EXPECT_FALSE(holds(2));
    EXPECT_TRUE(holds(3));
}

TEST_F(HandleTables, EmptyEntriesCountTowardsTheBound)
{
    handOutUpTo(2000);
    (void)table->lookUp(50000);
    EXPECT_EQ(2001u, table->size());
    EXPECT_TRUE(holds(1));
    handOutUpTo(2001);
    EXPECT_EQ(2001u, table->size());
    EXPECT_FALSE(holds(1));
}

TEST_F(HandleTables, LookUpsAloneNeverDropAnEntry)
{
    handOutUpTo(2001);
    for (VBoxHandle unknown = 50000; unknown < 50100; ++unknown)
        (void)table->lookUp(unknown);
    EXPECT_EQ(2101u, table->size());
    EXPECT_TRUE(holds(1));
}

TEST_F(HandleTables, AnEmptyEntryInLineIsDropped)
{
    handOutUpTo(2001);
    table->release(1);
    (void)table->lookUp(1);
    handOutUpTo(2002);
    EXPECT_EQ(2001u, table->size());
    EXPECT_TRUE(holds(2));
}

TEST_F(HandleTables, AnObjectInUseOutlivesItsEviction)
{
    handOutUpTo(2001);
    const Table::Reference inUse = table->lookUp(1);
    handOutUpTo(2002);
    EXPECT_EQ(1, objects[1].references);
    EXPECT_EQ(&objects[1], inUse.Get());
}

TEST_F(HandleTables, ReleaseAllDropsEveryObjectAndKeepsBothCounters)
{
    handOutUpTo(2003); // 1 and 2 went
    (void)table->lookUp(50000);
    table->releaseAll();
    EXPECT_EQ(0u, table->size());
    for (const CountingUnknown& object : objects)
        EXPECT_EQ(0, object.references);

    EXPECT_EQ(2004u, table->newHandle());
    (void)table->lookUp(3);
    (void)table->lookUp(4);
    for (VBoxHandle unknown = 50000; table->size() < 2001; ++unknown)
        (void)table->lookUp(unknown);
    table->insert(60000, &other); // 3 is in line
    EXPECT_EQ(2001u, table->size());
    table->release(3);
    EXPECT_EQ(2001u, table->size()) << "3 went before";
    table->release(4);
    EXPECT_EQ(2000u, table->size()) << "4 was still there";
}

TEST_F(HandleTables, TheirDestructionDropsEveryObject)
{
    handOutUpTo(5);
    handOut(other);
    (void)table->lookUp(77);
    table.reset();
    for (const CountingUnknown& object : objects)
        EXPECT_EQ(0, object.references);
    EXPECT_EQ(0, other.references);
}

TEST(ProcessEnd, IsNotInProgressWhileTheTestsRun)
{
    EXPECT_FALSE(processIsTerminating());
}

} // namespace
