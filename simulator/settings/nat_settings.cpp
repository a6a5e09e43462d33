#include "settings/nat_settings.h"

namespace VBoxSim {

namespace {

using Xml::Element;

struct Number
{
    const char* attribute;
    std::uint32_t NatSettings::*member;
};
constexpr Number numbers[] = {{"mtu", &NatSettings::mtu},
                              {"sockrcv", &NatSettings::socketReceive},
                              {"socksnd", &NatSettings::socketSend},
                              {"tcprcv", &NatSettings::tcpWindowReceive},
                              {"tcpsnd", &NatSettings::tcpWindowSend}};

struct Text
{
    const char* element; ///< null: the NAT element itself
    const char* attribute;
    std::wstring NatSettings::*member;
};
constexpr Text texts[] = {{nullptr, "network", &NatSettings::network},
                          {nullptr, "hostip", &NatSettings::hostIp},
                          {"TFTP", "prefix", &NatSettings::tftpPrefix},
                          {"TFTP", "boot-file", &NatSettings::tftpBootFile},
                          {"TFTP", "next-server", &NatSettings::tftpNextServer}};

struct Flag
{
    const char* attribute;
    bool usual;
    bool NatSettings::*member;
};
constexpr Flag dnsFlags[] = {{"pass-domain", true, &NatSettings::dnsPassDomain},
                             {"use-proxy", false, &NatSettings::dnsProxy},
                             {"use-host-resolver", false, &NatSettings::dnsUseHostResolver}};

/// By the bits of NATAliasMode.
constexpr const char* aliasFlags[] = {"logging", "proxy-only", "use-same-ports"};

/// The child that holds a value; made only when it has something to say.
template <class Write>
void writeBelow(Element* nat, const char* name, bool usual, Write&& write)
{
    if (!usual || Xml::child(nat, name))
        write(Xml::demand(nat, name));
}

} // namespace

NatSettings readNat(const Element* nat)
{
    NatSettings settings;
    for (const Number& number : numbers)
        settings.*number.member = static_cast<std::uint32_t>(Xml::getNumber(nat, number.attribute, 0));
    for (const Text& text : texts)
        settings.*text.member = Xml::get(text.element ? Xml::child(nat, text.element) : nat, text.attribute);
    for (const Flag& flag : dnsFlags)
        settings.*flag.member = Xml::getFlag(Xml::child(nat, "DNS"), flag.attribute, flag.usual);
    for (std::uint32_t bit = 0; bit < std::size(aliasFlags); ++bit)
        if (Xml::getFlag(Xml::child(nat, "Alias"), aliasFlags[bit], false))
            settings.aliasMode |= 1u << bit;
    return settings;
}

void writeNat(Element* nat, const NatSettings& settings)
{
    for (const Number& number : numbers)
        Xml::setNumberUnless(nat, number.attribute, 0, settings.*number.member);
    for (const Text& text : texts) {
        const std::wstring& value = settings.*text.member;
        const auto write = [&](Element* element) { Xml::setUnless(element, text.attribute, L"", value); };
        if (text.element)
            writeBelow(nat, text.element, value.empty(), write);
        else
            write(nat);
    }
    for (const Flag& flag : dnsFlags) {
        const bool value = settings.*flag.member;
        writeBelow(nat, "DNS", value == flag.usual,
                   [&](Element* element) { Xml::setFlagUnless(element, flag.attribute, flag.usual, value); });
    }
    for (std::uint32_t bit = 0; bit < std::size(aliasFlags); ++bit) {
        const bool value = (settings.aliasMode >> bit & 1) != 0;
        writeBelow(nat, "Alias", !value,
                   [&](Element* element) { Xml::setFlagUnless(element, aliasFlags[bit], false, value); });
    }
}

} // namespace VBoxSim
