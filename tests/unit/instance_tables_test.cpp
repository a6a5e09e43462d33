#include <gmock/gmock.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "counting_object.h"
#include "log_fixture.h"
#include "selq6/vbox.h"
#include "virtualbox_defaults.h"

namespace {

using namespace Travik;
using TravikTest::CountingObject;

/// Opens the tables and the state that releases must leave alone.
class OpenVBox : public VBox
{
public:
    using VBox::_releaseRC;
    using VBox::argStream;
    using VBox::audioAdapterTable;
    using VBox::consoleTable;
    using VBox::eventListenerTable;
    using VBox::eventSourceTable;
    using VBox::eventTable;
    using VBox::hostTable;
    using VBox::lastErrorText;
    using VBox::lastRC;
    using VBox::machineTable;
    using VBox::mediumTable;
    using VBox::natEngineTable;
    using VBox::networkAdapterTable;
    using VBox::progressTable;
    using VBox::runtimeErrorEventTable;
    using VBox::session;
    using VBox::stateChangedEventTable;
    using VBox::virtualBox;
};

/// One table of an instance with an object for it.
class Slot
{
public:
    virtual ~Slot() = default;
    virtual VBoxHandle handOut() = 0;
    virtual bool finds(VBoxHandle handle) = 0;
    virtual SdkErrorCode release(VBoxHandle handle) = 0;
    virtual std::size_t size() const = 0;
    virtual std::uint32_t missing() const = 0;
    virtual long references() const = 0;
    virtual void whenReleased(std::function<void()> action) = 0;
};

template <class Interface>
class SlotOf : public Slot
{
public:
    using Release = SdkErrorCode (VBoxInstanceImpl::*)(VBoxHandle);

    SlotOf(OpenVBox& vbox, HandleTable<Interface>& table, Release release)
        : vbox_(vbox), table_(table), release_(release)
    {}

    VBoxHandle handOut() override
    {
        const VBoxHandle handle = table_.newHandle();
        table_.insert(handle, &object_);
        return handle;
    }
    bool finds(VBoxHandle handle) override { return table_.lookUp(handle).Get() == &object_; }
    SdkErrorCode release(VBoxHandle handle) override { return (vbox_.*release_)(handle); }
    std::size_t size() const override { return table_.size(); }
    std::uint32_t missing() const override { return table_.missing(); }
    long references() const override { return object_.references; }
    void whenReleased(std::function<void()> action) override { object_.onRelease = std::move(action); }

private:
    OpenVBox& vbox_;
    HandleTable<Interface>& table_;
    Release release_;
    CountingObject<Defaults<Interface>> object_;
};

using Slots = std::vector<std::unique_ptr<Slot>>;

template <class Interface>
void add(Slots& slots, OpenVBox& vbox, HandleTable<Interface>& table, typename SlotOf<Interface>::Release release)
{
    slots.push_back(std::make_unique<SlotOf<Interface>>(vbox, table, release));
}

/// In declared order, which is also the order of the codes from 181 without 182 and of the slots 105 to 117.
Slots allSlots(OpenVBox& vbox)
{
    Slots slots;
    add(slots, vbox, vbox.machineTable, &VBoxInstanceImpl::releaseMachine);
    add(slots, vbox, vbox.progressTable, &VBoxInstanceImpl::releaseProgress);
    add(slots, vbox, vbox.consoleTable, &VBoxInstanceImpl::releaseConsole);
    add(slots, vbox, vbox.eventSourceTable, &VBoxInstanceImpl::releaseEventSource);
    add(slots, vbox, vbox.eventListenerTable, &VBoxInstanceImpl::releaseEventListener);
    add(slots, vbox, vbox.eventTable, &VBoxInstanceImpl::releaseEvent);
    add(slots, vbox, vbox.stateChangedEventTable, &VBoxInstanceImpl::releaseStateChangedEvent);
    add(slots, vbox, vbox.runtimeErrorEventTable, &VBoxInstanceImpl::releaseRuntimeErrorEvent);
    add(slots, vbox, vbox.audioAdapterTable, &VBoxInstanceImpl::releaseAudioAdapter);
    add(slots, vbox, vbox.natEngineTable, &VBoxInstanceImpl::releaseNATEngine);
    add(slots, vbox, vbox.networkAdapterTable, &VBoxInstanceImpl::releaseNetworkAdapter);
    add(slots, vbox, vbox.hostTable, &VBoxInstanceImpl::releaseHost);
    add(slots, vbox, vbox.mediumTable, &VBoxInstanceImpl::releaseMedium);
    return slots;
}

class InstanceTables : public TravikTest::LogFixture
{
protected:
    std::unique_ptr<OpenVBox> vbox = std::make_unique<OpenVBox>();
    Slots slots = allSlots(*vbox);

    /// Hands out one object of each table and notes in which order the tables let go of them.
    void handOutAndWatch()
    {
        for (const auto& slot : slots) {
            slot->handOut();
            slot->whenReleased([this, code = slot->missing()] { order.push_back(code); });
        }
    }

    std::vector<std::uint32_t> order; // by the tables' codes

    void TearDown() override
    {
        vbox.reset(); // before the objects
        LogFixture::TearDown();
    }
};

TEST_F(InstanceTables, AreThirteenWithTheirOwnMissingCodes)
{
    std::vector<std::uint32_t> codes;
    for (const auto& slot : slots)
        codes.push_back(slot->missing());
    EXPECT_THAT(codes,
                testing::ElementsAre(181u, 183u, 184u, 185u, 186u, 187u, 188u, 189u, 190u, 191u, 192u, 193u, 194u));
}

TEST_F(InstanceTables, AreEmptyInAFreshInstanceWithoutComObjectsAndWithoutAFailure)
{
    for (const auto& slot : slots)
        EXPECT_EQ(0u, slot->size());
    EXPECT_EQ(nullptr, vbox->virtualBox);
    EXPECT_EQ(nullptr, vbox->session);
    EXPECT_EQ(0u, vbox->lastRC);
    EXPECT_EQ(L"", vbox->lastErrorText);
    EXPECT_EQ(L"", vbox->argStream.str());
}

TEST_F(InstanceTables, NumberEachByItself)
{
    for (const auto& slot : slots) {
        EXPECT_EQ(1u, slot->handOut()) << slot->missing();
        EXPECT_EQ(2u, slot->handOut()) << slot->missing();
    }
}

TEST_F(InstanceTables, ReleaseOperationsReachTheirOwnTableOnly)
{
    for (const auto& slot : slots)
        slot->handOut();
    for (const auto& slot : slots) {
        EXPECT_EQ(0u, static_cast<std::uint32_t>(slot->release(1)));
        EXPECT_EQ(0u, slot->size()) << slot->missing();
        EXPECT_EQ(0, slot->references()) << slot->missing();
        std::size_t left = 0;
        for (const auto& any : slots)
            left += any->size();
        const auto index = static_cast<std::size_t>(&slot - slots.data());
        EXPECT_EQ(slots.size() - 1 - index, left);
    }
}

TEST_F(InstanceTables, ReleaseOperationsAnswer0ForHandlesThatWereNeverGivenOut)
{
    for (const auto& slot : slots) {
        slot->handOut();
        for (const VBoxHandle unknown : {0u, 2u, 0xFFFFFFFFu})
            EXPECT_EQ(0u, static_cast<std::uint32_t>(slot->release(unknown)));
        EXPECT_EQ(1u, slot->size());
        EXPECT_FALSE(slot->finds(0));
        EXPECT_EQ(2u, slot->size());
        EXPECT_EQ(0u, static_cast<std::uint32_t>(slot->release(0)));
        EXPECT_EQ(1u, slot->size()) << "the empty entry of a failed look-up goes";
        EXPECT_TRUE(slot->finds(1));
    }
}

TEST_F(InstanceTables, ReleaseOperationsLeaveNoRecordAndTheLastFailureAlone)
{
    openLog();
    vbox->lastRC = Travik::Result::ObjectNotFound;
    vbox->lastErrorText = L"as before";
    vbox->argStream << L"argument";
    for (const auto& slot : slots) {
        slot->handOut();
        slot->release(1);
        slot->release(1);
    }
    EXPECT_EQ("", logBytes());
    EXPECT_EQ(Travik::Result::ObjectNotFound, vbox->lastRC);
    EXPECT_EQ(L"as before", vbox->lastErrorText);
    EXPECT_EQ(L"argument", vbox->argStream.str());
}

TEST_F(InstanceTables, ReleaseOfTheRootsEmptiesEveryTableInDeclaredOrderAndKeepsTheNumbering)
{
    openLog(); // it leaves a record
    handOutAndWatch();
    vbox->_releaseRC();
    EXPECT_THAT(order,
                testing::ElementsAre(181u, 183u, 184u, 185u, 186u, 187u, 188u, 189u, 190u, 191u, 192u, 193u, 194u));
    for (const auto& slot : slots) {
        EXPECT_EQ(0u, slot->size());
        EXPECT_FALSE(slot->finds(1)) << "old handles are unknown";
        EXPECT_EQ(2u, slot->handOut()) << "new handles continue above the old ones";
    }
}

TEST_F(InstanceTables, DestructionReleasesThemInReverseDeclaredOrder)
{
    handOutAndWatch();
    vbox.reset();
    EXPECT_THAT(order,
                testing::ElementsAre(194u, 193u, 192u, 191u, 190u, 189u, 188u, 187u, 186u, 185u, 184u, 183u, 181u));
    for (const auto& slot : slots)
        EXPECT_EQ(0, slot->references());
}

} // namespace
