#pragma once

#include <Poco/AutoPtr.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/text.h"

/// Settings files as trees. Saving edits the tree that was loaded, so that what the stand-in does not know stays.
namespace VBoxSim::Xml {

using Poco::XML::Element;
using DocumentPtr = Poco::AutoPtr<Poco::XML::Document>;

/// Throws Failure(xmlError) for text that is not well formed.
DocumentPtr parse(const std::string& text);
/// The same for text from outside: also refuses a document type and unreasonable nesting.
DocumentPtr parseUntrusted(const std::string& text);
std::string write(Poco::XML::Document* document);

/// The first child element of that name, or null.
Element* child(Element* parent, const char* name);
/// The same, made when missing.
Element* demand(Element* parent, const char* name);
std::vector<Element*> children(Element* parent, const char* name);
Element* append(Element* parent, const char* name);
void remove(Element* element);
/// Removes the child element of that name, if any.
void drop(Element* parent, const char* name);

std::wstring get(const Element* element, const char* attribute, std::wstring_view otherwise = {});
/// Throws Failure(xmlError) for text that is no number.
std::int64_t getNumber(const Element* element, const char* attribute, std::int64_t otherwise);
bool getFlag(const Element* element, const char* attribute, bool otherwise);

void set(Element* element, const char* attribute, std::wstring_view value);
void setNumber(Element* element, const char* attribute, std::int64_t value);
void setFlag(Element* element, const char* attribute, bool value);
/// Writes the value, or removes the attribute when the value is the one that absence means.
void setUnless(Element* element, const char* attribute, std::wstring_view absent, std::wstring_view value);
void setNumberUnless(Element* element, const char* attribute, std::int64_t absent, std::int64_t value);
void setFlagUnless(Element* element, const char* attribute, bool absent, bool value);

std::wstring textOf(const Element* element);
void setText(Element* element, std::wstring_view text);

/// Makes the children of one name match a list: the child that carries an item's key is kept and updated, others are
/// made or removed. `key` gives an item's key as the attribute writes it.
template <class Items, class Key, class Update>
void match(Element* parent, const char* name, const char* keyAttribute, const Items& items, Key&& key, Update&& update)
{
    std::vector<Element*> old = children(parent, name);
    for (const auto& item : items) {
        const std::wstring wanted = key(item);
        Element* found = nullptr;
        for (Element*& candidate : old) {
            if (candidate && get(candidate, keyAttribute) == wanted) {
                found = candidate;
                candidate = nullptr;
                break;
            }
        }
        if (!found) {
            found = append(parent, name);
            set(found, keyAttribute, wanted);
        }
        update(found, item);
    }
    for (Element* left : old)
        if (left)
            remove(left);
}

} // namespace VBoxSim::Xml
