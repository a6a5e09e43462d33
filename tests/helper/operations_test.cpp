// The typed operations: each passes its arguments on and gives its answer back as what it is.

#include <gtest/gtest.h>

#include "fake_vbox.h"

using namespace Travik;

namespace {

/// An owner of each kind, with a number of its own, which the fake need not get back.
struct Owners
{
    explicit Owners(VBoxInstanceImpl& vbox)
        : machine(vbox, 1),
          other(vbox, 2),
          console(vbox, 3),
          progress(vbox, 4),
          host(vbox, 5),
          adapter(vbox, 6),
          engine(vbox, 7),
          audio(vbox, 8),
          medium(vbox, 9),
          source(vbox, 10),
          listener(vbox, 11),
          event(vbox, 12),
          stateEvent(vbox, 13),
          errorEvent(vbox, 14)
    {}

    ScopedMachine machine, other;
    ScopedConsole console;
    ScopedProgress progress;
    ScopedHost host;
    ScopedNetworkAdapter adapter;
    ScopedNATEngine engine;
    ScopedAudioAdapter audio;
    ScopedMedium medium;
    ScopedEventSource source;
    ScopedEventListener listener;
    ScopedEvent event;
    ScopedStateChangedEvent stateEvent;
    ScopedRuntimeErrorEvent errorEvent;
};

class OperationsTest : public testing::Test
{
protected:
    /// The one call that this makes, without what it gives back.
    template <class Action>
    std::string callOf(Action&& action)
    {
        vbox.calls.clear();
        action();
        for (const std::string& call : vbox.calls) {
            if (call.compare(0, 7, "release") != 0)
                return call;
        }
        return "none";
    }

    FakeVBox vbox;
    Owners own{vbox};
    Operations o{vbox};
};

#define EXPECT_CALL_OF(expression, expected) EXPECT_EQ(callOf([&] { static_cast<void>(expression); }), expected)

} // namespace

TEST_F(OperationsTest, ofMachinesThatAreThere)
{
    EXPECT_CALL_OF(o.findMachine(L"x"), "findMachine(x)");
    EXPECT_CALL_OF(o.openMachine(L"x"), "openMachine(x)");
    EXPECT_CALL_OF(o.registerMachine(own.machine), "registerMachine(1)");
    EXPECT_CALL_OF(o.getVmName(own.machine), "getVmName(1)");
    EXPECT_CALL_OF(o.getVmUUID(own.machine), "getVmUUID(1)");
    EXPECT_CALL_OF(o.machineGetState(own.machine), "machineGetState(1)");
    EXPECT_CALL_OF(o.getMachineExtraData(own.machine, L"k"), "getMachineExtraData(1, k)");
    EXPECT_CALL_OF(o.listVms(), "listVms()");
}

TEST_F(OperationsTest, ofMachinesThatComeAndGo)
{
    EXPECT_CALL_OF(o.createVmName(L"p"), "createVmName(p)");
    EXPECT_CALL_OF(o.composeMachineFilename(L"n"), "composeMachineFilename(n)");
    EXPECT_CALL_OF(o.getDefaultMachineFolder(), "getDefaultMachineFolder()");
    EXPECT_CALL_OF(o.setDefaultMachineFolder(L"f"), "setDefaultMachineFolder(f)");
    EXPECT_CALL_OF(o.createMachine(L"f", L"n"), "createMachine(f, n)");
    EXPECT_CALL_OF(o.cloneToMachine(own.machine, own.other), "cloneToMachine(1, 2)");
    EXPECT_CALL_OF(o.deleteMachine(own.machine), "deleteMachine(1)");
    EXPECT_CALL_OF(o.getImportOvaVmName(L"f"), "getImportOvaVmName(f)");
    EXPECT_CALL_OF(o.importOva(L"f"), "importOva(f)");
}

TEST_F(OperationsTest, ofSettings)
{
    EXPECT_CALL_OF(o.setVmName(own.machine, L"n"), "setVmName(1, n)");
    EXPECT_CALL_OF(o.setMachineCPUCount(own.machine, 4), "setMachineCPUCount(1, 4)");
    EXPECT_CALL_OF(o.setMachineMemory(own.machine, 512), "setMachineMemory(1, 512)");
    EXPECT_CALL_OF(o.setMachineParavirtProvider(own.machine, Paravirtualisation::KVM),
                   "setMachineParavirtProvider(1, 5)");
    EXPECT_CALL_OF(o.setMachineExtraData(own.machine, L"k", L"v"), "setMachineExtraData(1, k, v)");
    EXPECT_CALL_OF(o.machineCreateSharedFolder(own.machine, L"n", L"p", true, false),
                   "machineCreateSharedFolder(1, n, p, 1, 0)");
    EXPECT_CALL_OF(o.machineRemoveSharedFolder(own.machine, L"n"), "machineRemoveSharedFolder(1, n)");
    EXPECT_CALL_OF(o.saveSettings(own.machine), "saveSettings(1)");
}

TEST_F(OperationsTest, ofTheSessionAndTheRunningMachine)
{
    EXPECT_CALL_OF(o.lockMachine(own.machine, Lock::Shared), "lockMachine(1, 1)");
    EXPECT_CALL_OF(o.lockMachine(own.machine, Lock::Write), "lockMachine(1, 2)");
    EXPECT_CALL_OF(o.unlockMachine(), "unlockMachine()");
    EXPECT_CALL_OF(o.createMutableMachine(own.machine), "createMutableMachine(1)");
    EXPECT_CALL_OF(o.launchVMProcess(own.machine), "launchVMProcess(1, headless, 0 texts)");
    EXPECT_CALL_OF(o.launchVMProcess(own.machine, L"gui", {}), "launchVMProcess(1, gui, 0 texts)");
    EXPECT_CALL_OF(o.launchVMProcess(own.machine, L"gui", {L"A=1"}), "launchVMProcess(1, gui, 1 texts)");
    EXPECT_CALL_OF(o.getConsole(), "getConsole()");
    EXPECT_CALL_OF(o.consoleGetState(own.console), "consoleGetState(3)");
    EXPECT_CALL_OF(o.consoleResume(own.console), "consoleResume(3)");
    EXPECT_CALL_OF(o.consoleCreateSharedFolder(own.console, L"n", L"p", true, false),
                   "consoleCreateSharedFolder(3, n, p, 1, 0)");
    EXPECT_CALL_OF(o.consoleCreateSharedFolder(own.console, L"n", L"p", false, true),
                   "consoleCreateSharedFolder(3, n, p, 0, 1)");
    EXPECT_CALL_OF(o.consoleRemoveSharedFolder(own.console, L"n"), "consoleRemoveSharedFolder(3, n)");
    EXPECT_CALL_OF(o.powerDown(own.console), "powerDown(3)");
}

TEST_F(OperationsTest, ofProgress)
{
    EXPECT_CALL_OF(o.progressWaitForCompletion(own.progress, std::chrono::seconds(2)),
                   "progressWaitForCompletion(4, 2000)");
    EXPECT_CALL_OF(o.getProgressCompleted(own.progress), "getProgressCompleted(4)");
    EXPECT_CALL_OF(o.getProgressResultCode(own.progress), "getProgressResultCode(4)");
    EXPECT_CALL_OF(o.getProgressErrorInfo(own.progress), "getProgressErrorInfo(4)");
}

TEST_F(OperationsTest, ofHostNetworkPropertiesAndAudio)
{
    EXPECT_CALL_OF(o.getHost(), "getHost()");
    EXPECT_CALL_OF(o.hostGetProcessorFeature(own.host, Feature::NestedPaging), "hostGetProcessorFeature(5, 3)");
    EXPECT_CALL_OF(o.getNetworkAdapter(own.machine, 3), "getNetworkAdapter(1, 3)");
    EXPECT_CALL_OF(o.getNATEngine(own.adapter), "getNATEngine(6)");
    EXPECT_CALL_OF(o.addRedirect(own.engine, L"n", Protocol::TCP, L"h", 80, L"g", 8080),
                   "addRedirect(7, n, 1, h, 80, g, 8080)");
    EXPECT_CALL_OF(o.removeRedirect(own.engine, L"n"), "removeRedirect(7, n)");
    EXPECT_CALL_OF(o.setGuestProperty(own.machine, L"n", L"v", L"f"), "setGuestProperty(1, n, v, f)");
    EXPECT_CALL_OF(o.deleteGuestProperty(own.machine, L"n"), "deleteGuestProperty(1, n)");
    EXPECT_CALL_OF(o.getAudioAdapter(own.machine), "getAudioAdapter(1)");
    EXPECT_CALL_OF(o.setAudioAdapterEnabled(own.audio, true), "setAudioAdapterEnabled(8, 1)");
    EXPECT_EQ(callOf([&] { static_cast<void>(o.getRedirects(own.engine)); }).substr(0, 13), "getRedirects(");
    EXPECT_EQ(callOf([&] { static_cast<void>(o.getGuestProperty(own.machine, L"n")); }),
              "getGuestProperty(1, n, out, out)");
}

TEST_F(OperationsTest, ofDiskImages)
{
    EXPECT_CALL_OF(o.openMedium(L"f", true), "openMedium(f, 1)");
    EXPECT_CALL_OF(o.closeMedium(own.medium), "closeMedium(9)");
    EXPECT_CALL_OF(o.deleteMedium(own.medium), "deleteMedium(9)");
    EXPECT_CALL_OF(o.renameVmDisk(L"f", L"t"), "renameVmDisk(f, t)");
    EXPECT_CALL_OF(o.getMediumLocation(own.medium), "getMediumLocation(9)");
    EXPECT_CALL_OF(o.getMediumUUID(own.medium), "getMediumUUID(9)");
    EXPECT_CALL_OF(o.getMediumState(own.medium), "getMediumState(9)");
    EXPECT_CALL_OF(o.getMediumLastAccessError(own.medium), "getMediumLastAccessError(9)");
    EXPECT_CALL_OF(o.attachMedium(own.machine, own.medium, L"SATA", 1, 2), "attachMedium(1, 9, SATA, 1, 2)");
    EXPECT_CALL_OF(o.detachMedium(own.machine, L"SATA", 1, 2), "detachMedium(1, SATA, 1, 2)");
    EXPECT_CALL_OF(o.getCurrentMedium(own.machine, L"SATA", 1, 2), "getCurrentMedium(1, SATA, 1, 2)");
    EXPECT_CALL_OF(o.getMachineStorageControllerPortCount(own.machine, L"SATA"),
                   "getMachineStorageControllerPortCount(1, SATA)");
}

TEST_F(OperationsTest, ofEvents)
{
    EXPECT_CALL_OF(o.getEventSource(own.console), "getEventSource(3)");
    EXPECT_CALL_OF(o.eventSourceCreateListener(own.source), "eventSourceCreateListener(10)");
    EXPECT_CALL_OF(o.eventSourceRegisterListener(own.source, own.listener, {EventType::Any}),
                   "eventSourceRegisterListener(10, 11, [1], 0)");
    EXPECT_CALL_OF(o.eventSourceGetEvent(own.source, own.listener, std::chrono::milliseconds(30)),
                   "eventSourceGetEvent(10, 11, 30)");
    EXPECT_CALL_OF(o.eventSourceEventProcessed(own.source, own.listener, own.event),
                   "eventSourceEventProcessed(10, 11, 12)");
    EXPECT_CALL_OF(o.eventSourceEventGetType(own.event), "eventSourceEventGetType(12)");
    EXPECT_CALL_OF(o.getEventSourceStateChangedEvent(own.event), "getEventSourceStateChangedEvent(12)");
    EXPECT_CALL_OF(o.eventSourceStateChangedEventGetState(own.stateEvent), "eventSourceStateChangedEventGetState(13)");
    EXPECT_CALL_OF(o.getEventSourceRuntimeErrorEvent(own.event), "getEventSourceRuntimeErrorEvent(12)");
    EXPECT_CALL_OF(o.eventSourceRuntimeErrorEventGetFatal(own.errorEvent), "eventSourceRuntimeErrorEventGetFatal(14)");
    EXPECT_CALL_OF(o.eventSourceRuntimeErrorEventGetId(own.errorEvent), "eventSourceRuntimeErrorEventGetId(14)");
    EXPECT_CALL_OF(o.eventSourceRuntimeErrorEventGetMessage(own.errorEvent),
                   "eventSourceRuntimeErrorEventGetMessage(14)");
}

TEST_F(OperationsTest, givesUpTheOwnershipThatTheLibraryTakes)
{
    o.eventSourceReleaseEvent(own.event);
    EXPECT_FALSE(own.event);
    vbox.fail("eventSourceUnregisterListener", EventSourceUnregisterListenerFail, Result::Fail);
    EXPECT_THROW(o.eventSourceUnregisterListener(own.source, own.listener), SdkError);
    EXPECT_TRUE(own.source && own.listener);
    o.eventSourceUnregisterListener(own.source, own.listener);
    EXPECT_FALSE(own.source || own.listener);
}

TEST_F(OperationsTest, answerWithTheirOwnTypes)
{
    vbox.numbers["machineGetState"] = {MachineState::Paused};
    EXPECT_EQ(o.machineGetState(own.machine), State::Paused);
    vbox.numbers["getMediumState"] = {MediumState::Inaccessible};
    EXPECT_EQ(o.getMediumState(own.medium), ImageState::Inaccessible);
    vbox.numbers["hostGetProcessorFeature"] = {1, 0};
    EXPECT_TRUE(o.hostGetProcessorFeature(own.host, Feature::PAE));
    EXPECT_FALSE(o.hostGetProcessorFeature(own.host, Feature::PAE));
    vbox.listed = {21, 22};
    vbox.live = {21, 22};
    EXPECT_EQ(o.listVms().size(), 2u);
    EXPECT_TRUE(vbox.live.empty()) << "the list owns its machines";
    vbox.nothing["getConsole"] = {true};
    EXPECT_FALSE(o.getConsole()) << "no object is an empty owner";
}

TEST_F(OperationsTest, tellThePathOfAFileErrorWithTheReason)
{
    vbox.onCall = [](const std::string&) { throw std::runtime_error("Bad path syntax"); };
    try {
        o.importOva(L"C:\\a?b.ova");
        FAIL() << "nothing was thrown";
    } catch (const FileError& error) {
        EXPECT_EQ(error.path(), L"C:\\a?b.ova");
        EXPECT_STREQ(error.what(), "Bad path syntax: C:\\a?b.ova");
    }
    try {
        o.renameVmDisk(L"a", L"b");
        FAIL() << "nothing was thrown";
    } catch (const FileError& error) {
        EXPECT_EQ(error.path(), L"a | b");
    }
    vbox.onCall = [](const std::string&) { throw std::system_error(std::make_error_code(std::errc::io_error)); };
    EXPECT_THROW(o.importOva(L"a"), std::system_error) << "a mutex is no file";
}

TEST(ConnectionTest, connectsAndReleases)
{
    FakeVBox vbox;
    {
        const Connection connection(vbox, std::chrono::seconds(1));
        EXPECT_EQ(vbox.calls, std::vector<std::string>{"initComComponent()"});
    }
    EXPECT_EQ(vbox.calls.back(), "releaseRC()");

    vbox.failSilently("initComComponent", 0, Result::ClassNotRegistered);
    EXPECT_THROW(Connection(vbox, std::chrono::seconds(1)), SdkError);
}

TEST(ToUTF8, convertsEveryLength)
{
    EXPECT_EQ(toUTF8(L""), "");
    EXPECT_EQ(toUTF8(L"a\u007F\u0080\u07FF\u0800\uFFFD\U00010000\U0010FFFF"),
              "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBD\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
    EXPECT_EQ(toUTF8(std::wstring(L"a\0b", 3)), std::string("a\0b", 3));
}

TEST(ToUTF8, marksHalfAPairAndKeepsWhatFollows)
{
    EXPECT_EQ(toUTF8(std::wstring{wchar_t(0xD83C), L'x'}), "\xEF\xBF\xBDx");
    EXPECT_EQ(toUTF8(std::wstring{wchar_t(0xDFAE), L'x'}), "\xEF\xBF\xBDx");
    EXPECT_EQ(toUTF8(std::wstring{L'x', wchar_t(0xD83C)}), "x\xEF\xBF\xBD");
}

TEST(StateName, isKnownForEveryState)
{
    EXPECT_STREQ(stateName(State::PoweredOff), L"powered off");
    EXPECT_STREQ(stateName(State::Running), L"running");
    EXPECT_STREQ(stateName(State::Snapshotting), L"snapshotting");
    EXPECT_STREQ(stateName(State(23)), L"unknown");
    EXPECT_STREQ(stateName(State(0xFFFFFFFF)), L"unknown");
}
