#pragma once

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "fakes.h"
#include "log_reader.h"
#include "selq6/vbox.h"
#include "travik/vbox_types.h"

namespace TravikTest {

using namespace Travik;

/// VBOX_E_OBJECT_NOT_FOUND, the failure that most tests have VirtualBox give.
inline constexpr HRESULT notFound = static_cast<HRESULT>(Result::ObjectNotFound);

/// A file with some content in the scratch folder, and the folders that lead to it.
std::filesystem::path makeFile(const std::wstring& name);

/// The handle tables in their order.
enum class Table
{
    machine,
    progress,
    console,
    eventSource,
    eventListener,
    event,
    stateChangedEvent,
    runtimeErrorEvent,
    audioAdapter,
    natEngine,
    networkAdapter,
    host,
    medium
};
inline constexpr std::size_t tableCount = 13;
const std::wstring& tableName(Table table);

/// The code of a handle that is not in the table.
std::uint32_t missingCode(Table table);

/// The library's instance with its inside open to the tests.
class TestBox : public Travik::VBox
{
public:
    using VBox::_argStream;
    using VBox::_recordComFailure;
    using VBox::_recordComIgnored;
    using VBox::_recordSdkFailure;
    using VBox::_waitForProgressCompletion;
    using VBox::argStream;
    using VBox::lastErrorText;
    using VBox::lastRC;
    using VBox::machineTable;
    using VBox::mutex;
    using VBox::session;
    using VBox::virtualBox;

    /// Calls the function with the table itself.
    template <class Function>
    decltype(auto) with(Table table, Function function)
    {
        switch (table) {
        case Table::machine:
            return function(machineTable);
        case Table::progress:
            return function(progressTable);
        case Table::console:
            return function(consoleTable);
        case Table::eventSource:
            return function(eventSourceTable);
        case Table::eventListener:
            return function(eventListenerTable);
        case Table::event:
            return function(eventTable);
        case Table::stateChangedEvent:
            return function(stateChangedEventTable);
        case Table::runtimeErrorEvent:
            return function(runtimeErrorEventTable);
        case Table::audioAdapter:
            return function(audioAdapterTable);
        case Table::natEngine:
            return function(natEngineTable);
        case Table::networkAdapter:
            return function(networkAdapterTable);
        case Table::host:
            return function(hostTable);
        case Table::medium:
            break;
        }
        return function(mediumTable);
    }

    /// The release operation of the table.
    SdkErrorCode release(Table table, VBoxHandle handle);

    std::size_t size(Table table)
    {
        return with(table, [](auto& entries) { return entries.size(); });
    }
};

/// A fresh instance on fakes, with both root objects in place ("virtualBox" and "session") unless it shall start
/// without. At its end nothing may be left behind: no reference to a fake, no COM string or array, no locked mutex.
class Bench
{
public:
    enum Roots
    {
        withRoots,
        withoutRoots
    };
    explicit Bench(Roots roots = withRoots);
    ~Bench();
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    /// A new object of the table's kind, named "machine#1" for handle 1 of the machines.
    VBoxHandle give(Table table);

    /// Takes a root object away again.
    template <class Interface>
    void dropRoot(Interface*& root)
    {
        std::exchange(root, nullptr)->Release();
    }

    /// The sizes of all tables.
    std::array<std::size_t, tableCount> sizes();

    /// Whether nobody holds the instance's mutex.
    bool mutexIsFree();

    /// The records since the last call.
    std::vector<std::string> records() { return log.take(); }

    /// Lets go of everything and checks that it is gone; the destructor does it too.
    void finish();

    std::optional<TestBox> instance;
    TestBox& box;
    LogReader log;

private:
    bool finished_ = false;
};

/// The log file of the tests.
std::filesystem::path logFile();

/// The qualified name of an operation.
std::wstring qualified(const std::wstring& operation);

/// A failure text with the digits of its source line replaced by "LINE"; without digits there, as it is.
std::wstring maskedFailure(const std::wstring& text);

/// The records of an operation: its entry, and the two kinds of failure.
std::string info(const std::wstring& operation, const std::wstring& text);
std::string comFailure(const std::wstring& operation, std::uint32_t code, std::uint32_t result);
std::string sdkFailure(const std::wstring& operation, std::uint32_t code);
std::string ignored(const std::wstring& operation, std::uint32_t code, std::uint32_t result);

/// The failure texts of the two kinds, with the line masked.
std::wstring comFailureText(const std::wstring& operation, const std::wstring& arguments, std::uint32_t code,
                            std::uint32_t result);
std::wstring sdkFailureText(const std::wstring& operation, const std::wstring& arguments, std::uint32_t code);

using Calls = std::vector<std::wstring>;
using Records = std::vector<std::string>;

} // namespace TravikTest
