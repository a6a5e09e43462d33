#include <thread>

#include "host_fixture.h"

namespace VBoxSim {

namespace {

class Events : public HostTest
{
protected:
    std::shared_ptr<int> listen(std::vector<std::int32_t> types, bool active = false)
    {
        auto listener = std::make_shared<int>();
        source.add(listener, 1, std::move(types), active);
        return listener;
    }
    EventPtr next(const std::shared_ptr<int>& listener)
    {
        HostLock lock = host.lock();
        return source.next(lock, listener.get(), 0);
    }

    EventSource& source = *host.events();
};

} // namespace

TEST_F(Events, ReachThoseWhoAskedForThem)
{
    const auto machines = listen({EventType::MachineEvent}), extraData = listen({EventType::OnExtraDataChanged});
    const MachinePtr machine = registered(L"box");
    const EventPtr event = next(machines);
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(event->type, static_cast<std::uint32_t>(EventType::OnMachineRegistered));
    EXPECT_EQ(event->machineId, machine->id);
    EXPECT_TRUE(event->flag);
    EXPECT_EQ(next(extraData), nullptr);
}

TEST_F(Events, ANewListenerIsTheOthersNews)
{
    const auto first = listen({EventType::Any}), second = listen({EventType::Any});
    ASSERT_NE(next(first), nullptr);
    EXPECT_EQ(next(second), nullptr);
    EXPECT_THROW(source.add(first, 1, {}, false), Failure);
    EXPECT_THROW(source.add(nullptr, 1, {}, false), Failure);
}

TEST_F(Events, AListenerWithTooManyUnreadOnesIsDropped)
{
    const auto lazy = listen({EventType::OnExtraDataChanged});
    for (int i = 0; i < 500; ++i)
        host.fire({EventType::OnExtraDataChanged});
    EXPECT_NE(next(lazy), nullptr);
    host.fire({EventType::OnExtraDataChanged});
    host.fire({EventType::OnExtraDataChanged});
    EXPECT_THROW(next(lazy), Failure);
}

TEST_F(Events, AWaitableOneIsProcessedWhenAllHaveMarkedIt)
{
    const auto first = listen({EventType::OnShowWindow}), second = listen({EventType::OnShowWindow});
    host.fire({EventType::OnShowWindow});
    const EventPtr event = next(first);
    ASSERT_EQ(event, next(second));
    const auto processed = [&] {
        HostLock lock = host.lock();
        return source.waitProcessed(lock, *event, 0);
    };
    source.markProcessed(first.get(), *event);
    source.markProcessed(first.get(), *event);
    EXPECT_FALSE(processed());
    source.markProcessed(second.get(), *event);
    EXPECT_TRUE(processed());
}

TEST_F(Events, AWaitableOneIsNotHeldUpByAListenerThatGoes)
{
    const auto first = listen({EventType::OnShowWindow}), second = listen({EventType::OnShowWindow});
    host.fire({EventType::OnShowWindow});
    const EventPtr event = next(first);
    source.markProcessed(first.get(), *event);
    source.remove(second.get());
    HostLock lock = host.lock();
    EXPECT_TRUE(source.waitProcessed(lock, *event, 0));
}

TEST_F(Events, AWaitableOneIsNotHeldUpByAListenerThatFetchedItAndGoes)
{
    const auto listener = listen({EventType::OnShowWindow});
    host.fire({EventType::OnShowWindow});
    const EventPtr event = next(listener);
    ASSERT_NE(event, nullptr);
    source.remove(listener.get());
    HostLock lock = host.lock();
    EXPECT_TRUE(source.waitProcessed(lock, *event, 0));
}

TEST_F(Events, AWaitableOneThatSomebodySettledStaysSoWhenAListenerGoes)
{
    const auto listener = listen({EventType::OnShowWindow});
    const EventPtr event = source.fire({EventType::OnShowWindow});
    source.setProcessed(*event);
    source.remove(listener.get());
    HostLock lock = host.lock();
    EXPECT_TRUE(source.waitProcessed(lock, *event, 0));
}

TEST_F(Events, AWaitableOneIsNotHeldUpByASourceThatCloses)
{
    const auto listener = listen({EventType::OnShowWindow});
    const EventPtr event = source.fire({EventType::OnShowWindow});
    source.close();
    HostLock lock = host.lock();
    EXPECT_TRUE(source.waitProcessed(lock, *event, 0));
}

TEST_F(Events, VetoableOnesReachThoseWhoAskedForAllOfThem)
{
    const auto listener = listen({EventType::Vetoable});
    host.fire({EventType::OnShowWindow});
    EXPECT_EQ(next(listener), nullptr);
    host.fire({EventType::OnCanShowWindow});
    EXPECT_NE(next(listener), nullptr);
}

TEST_F(Events, AnActiveListenerIsServedUntilItGoes)
{
    const auto listener = std::make_shared<int>();
    const auto registration = source.add(listener, 1, {EventType::OnExtraDataChanged}, true);
    host.fire({EventType::OnExtraDataChanged});
    EXPECT_THROW(next(listener), Failure);
    HostLock lock = host.lock();
    EXPECT_NE(source.nextToDeliver(lock, *registration), nullptr);
    source.remove(listener.get());
    EXPECT_EQ(source.nextToDeliver(lock, *registration), nullptr);
}

TEST_F(Events, AClosedSourceFailsLikeADeadServer)
{
    const auto listener = listen({EventType::Any});
    source.close();
    EXPECT_THROW(next(listener), Failure);
    EXPECT_THROW(source.checkOpen(), Failure);
}

// The listener answers on another thread, as a client does, while the one who asks waits.
TEST_F(Events, AListenerCanVetoTheChangeOfExtraData)
{
    const auto against = listen({EventType::OnExtraDataCanChange});
    const auto answer = [&](bool veto) {
        return std::thread([&, veto] {
            HostLock lock = host.lock();
            const EventPtr question = source.next(lock, against.get(), 5000);
            ASSERT_NE(question, nullptr);
            EXPECT_EQ(question->key, L"Key");
            EXPECT_EQ(question->value, L"new");
            if (veto)
                question->vetoes.push_back(L"because");
            source.markProcessed(against.get(), *question);
        });
    };
    const auto ask = [&] {
        HostLock lock = host.lock();
        host.machines().requireConsent(lock, nullptr, L"Key", L"new");
    };
    std::thread yes = answer(false);
    EXPECT_NO_THROW(ask());
    yes.join();
    std::thread no = answer(true);
    try {
        ask();
        ADD_FAILURE() << "it was changed against the veto";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code(), Result::accessDenied);
        EXPECT_NE(failure.text().find(L"because"), std::wstring::npos);
    }
    no.join();
}

TEST_F(Events, AnOperationTellsHowFarItIsAndThatItHasEnded)
{
    const MachinePtr machine = registered(L"box");
    const ProgressPtr progress = launch(machine, session(L"own"));
    const PassiveListener heard(host, *progress->events());
    pass(host.scenario().times.spawn);
    const EventPtr percent = heard.next(EventType::OnProgressPercentageChanged);
    ASSERT_NE(percent, nullptr);
    EXPECT_EQ(percent->progressId, progress->id());
    EXPECT_EQ(percent->percent, 25u) << "the first of two steps, which weigh 1 and 3";
    pass(host.scenario().times.start);
    const EventPtr end = heard.next(EventType::OnProgressTaskCompleted);
    ASSERT_NE(end, nullptr);
    EXPECT_EQ(end->progressId, progress->id());
}

TEST_F(Events, WhoDoesNotAnswerInTimeAgrees)
{
    const auto silent = listen({EventType::OnExtraDataCanChange});
    host.scenario().times.consent = 10;
    HostLock lock = host.lock();
    EXPECT_NO_THROW(host.machines().requireConsent(lock, nullptr, L"Key", L"new"));
}

} // namespace VBoxSim
