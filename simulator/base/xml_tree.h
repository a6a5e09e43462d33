#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace VBoxSim {

struct XmlAttribute
{
    std::string uri;
    std::string name; ///< without prefix
    std::string value;
};

/// An element of a parsed XML document. All text is UTF-8.
struct XmlElement
{
    std::string uri;
    std::string name; ///< without prefix
    std::string text; ///< character data directly inside
    std::vector<XmlAttribute> attributes;
    std::vector<std::unique_ptr<XmlElement>> children;

    /// The first child of that name, whatever its namespace; null when there is none.
    const XmlElement* child(const std::string& childName) const;
    /// The text of the first child of that name without blanks around it; empty when there is none.
    std::string childText(const std::string& childName) const;
    /// The attribute's value, whatever its namespace; empty when there is none.
    std::string attribute(const std::string& attributeName) const;
};

/// Parses a document that comes from elsewhere. Document type declarations are refused, so that there are no entities
/// to expand and nothing to fetch; depth and number of elements are bounded. Fault::BadDescriptor.
std::unique_ptr<XmlElement> parseXml(const std::string& document);

/// The element as XML text in the namespace `uri`: names lose their prefixes, attributes that have one are left out.
std::string toXml(const XmlElement& element, const std::string& uri);

} // namespace VBoxSim
