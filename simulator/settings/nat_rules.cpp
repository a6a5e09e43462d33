#include "settings/nat_rules.h"

#include <algorithm>

#include "base/failure.h"
#include "base/text.h"

namespace VBoxSim {

void addRedirect(std::vector<NatRule>& rules, NatRule rule)
{
    constexpr std::uint32_t tcp = 1;
    if (rule.protocol > tcp)
        throw Failure(Result::invalidArgument, L"Invalid protocol " + std::to_wstring(rule.protocol));
    if (rule.name.empty())
        rule.name = (rule.protocol == tcp ? L"tcp_" : L"udp_") + std::to_wstring(rule.hostPort) + L"_" +
                    std::to_wstring(rule.guestPort);
    for (const std::wstring* text : {&rule.name, &rule.hostIp, &rule.guestIp})
        if (!isStorable(*text) || text->find(L',') != text->npos)
            throw Failure(Result::invalidArgument, L"'" + *text + L"' cannot be part of a NAT rule");
    for (const NatRule& other : rules) {
        if (other.name == rule.name)
            throw Failure(Result::invalidArgument, L"A NAT rule of the name '" + rule.name + L"' already exists");
        if (other.protocol == rule.protocol && other.hostIp == rule.hostIp && other.hostPort == rule.hostPort)
            throw Failure(Result::invalidArgument, L"A NAT rule for this host port and this host IP already exists");
    }
    rules.push_back(std::move(rule));
}

NatRule removeRedirect(std::vector<NatRule>& rules, const std::wstring& name)
{
    const auto found = std::find_if(rules.begin(), rules.end(), [&](const NatRule& rule) { return rule.name == name; });
    if (found == rules.end())
        throw Failure(Result::invalidArgument, L"There is no NAT rule of the name '" + name + L"'");
    NatRule removed = std::move(*found);
    rules.erase(found);
    return removed;
}

std::vector<std::wstring> redirectTexts(const std::vector<NatRule>& rules)
{
    std::vector<const NatRule*> sorted;
    for (const NatRule& rule : rules)
        sorted.push_back(&rule);
    std::sort(sorted.begin(), sorted.end(), [](const NatRule* a, const NatRule* b) { return a->name < b->name; });
    std::vector<std::wstring> texts;
    for (const NatRule* rule : sorted)
        texts.push_back(rule->name + L"," + std::to_wstring(rule->protocol) + L"," + rule->hostIp + L"," +
                        std::to_wstring(rule->hostPort) + L"," + rule->guestIp + L"," +
                        std::to_wstring(rule->guestPort));
    return texts;
}

} // namespace VBoxSim
