#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/text.h"

/// XML documents as trees: settings files, which are edited in place so that what the stand-in does not know stays, and
/// descriptors of appliances. Names of elements count without their prefix, as VirtualBox takes them. POCO reads; its
/// own tree is not used because it holds 509 different names at most and its lists get slow with their length.
namespace VBoxSim::Xml {

struct Attribute
{
    std::string name; ///< with its prefix
    std::string value;
};

enum class Kind
{
    Document,
    Element,
    Text,
    Comment,
    Instruction
};

/// A part of a document. All text is UTF-8.
struct Element
{
    Kind kind = Kind::Element;
    std::string name; ///< of an element, with its prefix; of an instruction
    std::string text; ///< of what is no element
    std::vector<Attribute> attributes;
    std::vector<std::unique_ptr<Element>> children;
    Element* parent = nullptr;
    int line = 0; ///< of an element, where it was read

    /// The name without its prefix.
    std::string_view localName() const;
};

using DocumentPtr = std::unique_ptr<Element>;

/// Reads a document from anywhere: UTF-8, UTF-16 with or without its mark, Latin 1. Throws Failure(xmlError) for what
/// is not well formed, has a document type (whose entities may expand without end), or is nested or filled beyond
/// reason.
DocumentPtr parse(const std::string& text);
std::string write(const Element& document);

Element* root(const DocumentPtr& document);

/// The first child element of that name, or null.
Element* child(const Element* parent, std::string_view name);
/// The same, made when missing.
Element* demand(Element* parent, const char* name);
std::vector<Element*> children(const Element* parent, std::string_view name);
/// All child elements.
std::vector<Element*> elements(const Element* parent);
Element* append(Element* parent, const char* name);
void remove(Element* element);
/// Removes the child element of that name, if any.
void drop(Element* parent, const char* name);
/// A copy for another document: prefixes go, and attributes that have one.
std::unique_ptr<Element> withoutPrefixes(const Element& element);

/// The attribute's text, or nothing. `find` goes by the whole name, `findAny` by the name without prefix.
const std::string* find(const Element* element, std::string_view attribute);
const std::string* findAny(const Element* element, std::string_view attribute);

std::wstring get(const Element* element, const char* attribute, std::wstring_view otherwise = {});
/// What is no number, or no word for true or false, counts as absent.
std::int64_t getNumber(const Element* element, const char* attribute, std::int64_t otherwise);
bool getFlag(const Element* element, const char* attribute, bool otherwise);

/// A whole number as VirtualBox reads it: decimal, 0x and hexadecimal, or 0 and octal.
std::optional<std::int64_t> parseNumber(std::string_view text);

void set(Element* element, const char* attribute, std::wstring_view value);
void setNumber(Element* element, const char* attribute, std::int64_t value);
void setFlag(Element* element, const char* attribute, bool value);
void removeAttribute(Element* element, const char* attribute);
// These write the value, or remove the attribute when the value is the one that absence means. What says the same
// already stays as it is.
void setUnless(Element* element, const char* attribute, std::wstring_view absent, std::wstring_view value);
void setNumberUnless(Element* element, const char* attribute, std::int64_t absent, std::int64_t value);
void setFlagUnless(Element* element, const char* attribute, bool absent, bool value);

/// The text directly inside an element.
std::string textOf(const Element* element);
void setText(Element* element, std::wstring_view text);

/// Makes the children of one name match a list: the child that carries an item's key is kept and updated, others are
/// made or removed. `keyOf` gives a child's key, `key` an item's; `make` gives a new child its key.
template <class Items, class KeyOf, class Key, class Make, class Update>
void match(Element* parent, const char* name, const Items& items, KeyOf&& keyOf, Key&& key, Make&& make,
           Update&& update)
{
    std::unordered_multimap<std::wstring, Element*> old;
    for (Element* candidate : children(parent, name))
        old.emplace(keyOf(candidate), candidate);
    for (const auto& item : items) {
        const auto [first, last] = old.equal_range(key(item));
        for (auto same = first; same != last; ++same)
            update(same->second, item);
        if (first == last) {
            Element* made = append(parent, name);
            make(made, item);
            update(made, item);
        }
        old.erase(first, last);
    }
    for (const auto& left : old)
        remove(left.second);
}

/// The same when the key is an attribute's text.
template <class Items, class Key, class Update>
void match(Element* parent, const char* name, const char* keyAttribute, const Items& items, Key&& key, Update&& update)
{
    match(
        parent, name, items, [&](const Element* element) { return get(element, keyAttribute); }, key,
        [&](Element* element, const auto& item) { set(element, keyAttribute, key(item)); }, update);
}

} // namespace VBoxSim::Xml
