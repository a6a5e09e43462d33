#include "host/scenario.h"

#include <nlohmann/json.hpp>

#include <initializer_list>
#include <stdexcept>

#include "base/failure.h"
#include "base/text.h"
#include "host/call_names.h"
#include "host/fault_table.h"

namespace VBoxSim {

namespace {

using Json = nlohmann::json;

/// A misspelt key would silently change nothing.
void allowOnly(const Json& object, std::initializer_list<const char*> keys)
{
    for (const auto& [key, value] : object.items()) {
        bool known = false;
        for (const char* allowed : keys)
            known = known || key == allowed;
        if (!known)
            throw std::invalid_argument("unknown key '" + key + "'");
    }
}

void read(const Json& object, const char* key, std::uint32_t& value)
{
    if (object.contains(key))
        value = object.at(key).get<std::uint32_t>();
}

/// A number, or a text like "0x80004005".
std::int32_t resultOf(const Json& value)
{
    if (value.is_number())
        return static_cast<std::int32_t>(value.get<std::int64_t>());
    return static_cast<std::int32_t>(std::stoul(value.get<std::string>(), nullptr, 0));
}

void readTimes(const Json& object, Scenario::Times& times)
{
    allowOnly(object, {"spawn", "start", "stop", "holdLock", "unlock", "copyPerMegabyte", "consent"});
    read(object, "spawn", times.spawn);
    read(object, "start", times.start);
    read(object, "stop", times.stop);
    read(object, "holdLock", times.holdLock);
    read(object, "unlock", times.unlock);
    read(object, "copyPerMegabyte", times.copyPerMegabyte);
    read(object, "consent", times.consent);
}

void readFault(const Json& object, FaultTable& faults)
{
    allowOnly(object, {"call", "result", "times", "after", "null", "delay", "die"});
    const std::wstring call = fromUtf8(object.at("call").get<std::string>());
    checkCallName(call);
    const std::uint32_t times = object.value("times", 0u);
    const std::uint32_t after = object.value("after", 0u);
    if (object.contains("delay"))
        faults.delay(call, object.at("delay").get<std::uint32_t>());
    if (object.value("die", false))
        faults.dieIn(call);
    if (object.value("null", false))
        faults.answerNull(call, times, after);
    else if (object.contains("result"))
        faults.fail(call, resultOf(object.at("result")), times, after);
}

void apply(const Json& root, Scenario& scenario, FaultTable& faults)
{
    allowOnly(root, {"times", "version", "machines", "processorFeatures", "faults"});
    if (root.contains("times"))
        readTimes(root.at("times"), scenario.times);
    if (root.contains("version"))
        scenario.version = fromUtf8(root.at("version").get<std::string>());
    const Json machines = root.value("machines", Json::object());
    for (const auto& [name, machine] : machines.items()) {
        allowOnly(machine, {"launch"});
        const Json& launch = machine.at("launch");
        allowOnly(launch, {"result", "text"});
        scenario.launchFailures[fromUtf8(name)] = {resultOf(launch.at("result")),
                                                   fromUtf8(launch.value("text", std::string()))};
    }
    const Json features = root.value("processorFeatures", Json::object());
    for (const auto& [feature, supported] : features.items())
        scenario.processorFeatures[static_cast<std::uint32_t>(std::stoul(feature))] = supported.get<bool>();
    const Json ordered = root.value("faults", Json::array());
    for (const Json& fault : ordered)
        readFault(fault, faults);
}

} // namespace

void applyScenario(const std::wstring& json, Scenario& scenario, FaultTable& faults)
{
    try {
        apply(Json::parse(toUtf8(json)), scenario, faults);
    } catch (const Failure& failure) {
        throw Failure(Result::invalidArgument, L"The scenario is not valid: " + failure.text());
    } catch (const std::exception& e) {
        throw Failure(Result::invalidArgument, L"The scenario is not valid: " + fromUtf8(e.what()));
    }
}

} // namespace VBoxSim
