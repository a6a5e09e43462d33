#include "operation_table.h"

// Network adapters and port forwarding, guest properties, audio, the host.

namespace TravikTest {

template <>
Row row<Op::getNetworkAdapter>()
{
    return {.invoke = [](Invocation& i) { return i.box.getNetworkAdapter(i.handle(0), 4000000000, i.number()); },
            .arguments = L"{h0} | 4000000000",
            .steps = {find(Table::machine),
                      call(L"machine#1: IMachine::GetNetworkAdapter(4000000000)", 134, Gives::optional)},
            .handsOut = {Table::networkAdapter}};
}

template <>
Row row<Op::getNATEngine>()
{
    return {.invoke = [](Invocation& i) { return i.box.getNATEngine(i.handle(0), i.number()); },
            .arguments = L"{h0}",
            .steps = {find(Table::networkAdapter),
                      call(L"networkAdapter#1: INetworkAdapter::get_NATEngine()", 135, Gives::optional)},
            .handsOut = {Table::natEngine}};
}

template <>
Row row<Op::addRedirect>()
{
    return {.invoke =
                [](Invocation& i) {
                    return i.box.addRedirect(i.handle(0), i.text(0), 1, i.text(1), 70000, i.text(2), 65535);
                },
            .arguments = L"{h0} | {t0} | 1 | {t1} | 70000 | {t2} | 65535",
            .texts = {L"adb", L"127.0.0.1", L"10.0.2.15"},
            .steps = {find(Table::natEngine),
                      call(L"natEngine#1: INATEngine::AddRedirect({t0}, 1, {t1}, 4464, {t2}, 65535)", 137)},
            .comTexts = 3};
}

template <>
Row row<Op::removeRedirect>()
{
    return {.invoke = [](Invocation& i) { return i.box.removeRedirect(i.handle(0), i.text(0)); },
            .arguments = L"{h0} | {t0}",
            .texts = {L"adb"},
            .steps = {find(Table::natEngine), call(L"natEngine#1: INATEngine::RemoveRedirect({t0})", 136)},
            .comTexts = 1};
}

template <>
Row row<Op::getRedirects>()
{
    return {.invoke = [](Invocation& i) { return i.box.getRedirects(i.handle(0), i.rules()); },
            .arguments = L"{h0}",
            .steps = {find(Table::natEngine), call(L"natEngine#1: INATEngine::get_Redirects()", 138)},
            .good =
                [](Outputs& outputs) {
                    outputs.rules = {L"first", L"second"};
                },
            .prepare =
                [](const Invocation&) {
                    FakeWorld::answer(L"INATEngine::get_Redirects",
                                      {.given = {textArray({L"first", L"second", L"third"})}});
                }};
}

template <>
Row row<Op::getGuestProperty>()
{
    // The output for the time stamp goes to VirtualBox as it is, so it is always there.
    return {.invoke =
                [](Invocation& i) {
                    return i.box.getGuestProperty(i.handle(0), i.text(0), i.textOutput(), &i.outputs.time,
                                                  i.flagsOutput());
                },
            .arguments = L"{h0} | {t0}",
            .texts = {L"/VirtualBox/GuestInfo/Net"},
            .steps = {find(Table::machine), call(L"machine#1: IMachine::GetGuestProperty({t0})", 139),
                      result(L"return value = the value")},
            .good =
                [](Outputs& outputs) {
                    outputs.text = L"the value";
                    outputs.time = 1600000000000000000;
                    outputs.flags = L"TRANSIENT";
                },
            .goodWithoutOutputs = [](Outputs& outputs) { outputs.time = 1600000000000000000; },
            .comTexts = 1,
            .prepare =
                [](const Invocation&) {
                    FakeWorld::answer(L"IMachine::GetGuestProperty",
                                      {.given = {std::wstring(L"the value"), std::int64_t(1600000000000000000),
                                                 std::wstring(L"TRANSIENT")}});
                }};
}

template <>
Row row<Op::setGuestProperty>()
{
    return {
        .invoke = [](Invocation& i) { return i.box.setGuestProperty(i.handle(0), i.text(0), i.text(1), i.text(2)); },
        .arguments = L"{h0} | {t0} | {t1} | {t2}",
        .texts = {L"/name", L"value", L"READONLY"},
        .steps = {find(Table::machine), call(L"machine#1: IMachine::SetGuestProperty({t0}, {t1}, {t2})", 140)},
        .comTexts = 3};
}

template <>
Row row<Op::deleteGuestProperty>()
{
    return {.invoke = [](Invocation& i) { return i.box.deleteGuestProperty(i.handle(0), i.text(0)); },
            .arguments = L"{h0} | {t0}",
            .texts = {L"/name"},
            .steps = {find(Table::machine), call(L"machine#1: IMachine::DeleteGuestProperty({t0})", 141)},
            .comTexts = 1};
}

template <>
Row row<Op::getAudioAdapter>()
{
    return {.invoke = [](Invocation& i) { return i.box.getAudioAdapter(i.handle(0), i.number()); },
            .arguments = L"{h0}",
            .steps = {find(Table::machine), call(L"machine#1: IMachine::get_AudioAdapter()", 142, Gives::optional)},
            .handsOut = {Table::audioAdapter}};
}

template <>
Row row<Op::setAudioAdapterEnabled>()
{
    return {.invoke = [](Invocation& i) { return i.box.setAudioAdapterEnabled(i.handle(0), 5); },
            .arguments = L"{h0} | 5",
            .steps = {find(Table::audioAdapter), call(L"audioAdapter#1: IAudioAdapter::put_Enabled(5)", 143)}};
}

template <>
Row row<Op::getHost>()
{
    return {
        .invoke = [](Invocation& i) { return i.box.getHost(i.number()); },
        .steps = {ReadyStep{ReadyStep::virtualBox}, call(L"virtualBox: IVirtualBox::get_Host()", 125, Gives::optional)},
        .handsOut = {Table::host}};
}

template <>
Row row<Op::hostGetProcessorFeature>()
{
    return {.invoke = [](Invocation& i) { return i.box.hostGetProcessorFeature(i.handle(0), 9, i.number()); },
            .arguments = L"{h0} | 9",
            .steps = {find(Table::host), call(L"host#1: IHost::GetProcessorFeature(9)", 126, Gives::number),
                      result(L"return enabled = 7")},
            .good = [](Outputs& outputs) { outputs.number = 7; }};
}

} // namespace TravikTest
