#include "base/xml_tree.h"

#include <Poco/Exception.h>
#include <Poco/SAX/Attributes.h>
#include <Poco/SAX/DefaultHandler.h>
#include <Poco/SAX/SAXParser.h>
#include <Poco/String.h>

#include <algorithm>

#include "base/storage_error.h"

namespace VBoxSim {

namespace {

constexpr std::size_t greatestDepth = 64;
constexpr std::size_t mostElements = 100000;

/// Builds the tree. What goes beyond the bounds is passed over and remembered: no exception travels through the
/// parser.
class TreeBuilder : public Poco::XML::DefaultHandler
{
public:
    std::unique_ptr<XmlElement> takeRoot() { return std::move(root_); }
    bool isTooLarge() const { return tooLarge_; }

    void startElement(const Poco::XML::XMLString& uri, const Poco::XML::XMLString& localName,
                      const Poco::XML::XMLString&, const Poco::XML::Attributes& attributes) override
    {
        ++depth_;
        if (depth_ > greatestDepth || ++count_ > mostElements)
            tooLarge_ = true;
        if (tooLarge_)
            return;
        auto element = std::make_unique<XmlElement>();
        element->uri = uri;
        element->name = localName;
        for (int i = 0; i < attributes.getLength(); ++i)
            element->attributes.push_back({attributes.getURI(i), attributes.getLocalName(i), attributes.getValue(i)});
        XmlElement* added = element.get();
        if (open_.empty())
            root_ = std::move(element);
        else
            open_.back()->children.push_back(std::move(element));
        open_.push_back(added);
    }

    void endElement(const Poco::XML::XMLString&, const Poco::XML::XMLString&, const Poco::XML::XMLString&) override
    {
        --depth_;
        if (!tooLarge_)
            open_.pop_back();
    }

    void characters(const Poco::XML::XMLChar text[], int start, int length) override
    {
        if (!tooLarge_ && !open_.empty())
            open_.back()->text.append(text + start, static_cast<std::size_t>(length));
    }

private:
    std::unique_ptr<XmlElement> root_;
    std::vector<XmlElement*> open_;
    std::size_t depth_ = 0;
    std::size_t count_ = 0;
    bool tooLarge_ = false;
};

StorageError badDocument(const std::wstring& what)
{
    return {Fault::BadDescriptor, L"The XML document is not usable: " + what};
}

/// A document type declaration can only stand in front of the first element.
bool hasDocumentType(const std::string& document)
{
    std::size_t place = 0;
    while ((place = document.find('<', place)) != std::string::npos) {
        std::size_t end = std::string::npos;
        if (document.compare(place, 4, "<!--") == 0)
            end = document.find("-->", place);
        else if (document.compare(place, 2, "<?") == 0)
            end = document.find("?>", place);
        else
            return document.compare(place, 2, "<!") == 0;
        if (end == std::string::npos)
            return false;
        place = end;
    }
    return false;
}

std::string escaped(const std::string& text)
{
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        case '\t':
        case '\n':
        case '\r':
            result += "&#" + std::to_string(static_cast<int>(c)) + ";";
            break;
        default:
            result += c;
        }
    }
    return result;
}

void write(const XmlElement& element, const std::string& namespaceAttribute, std::string& out)
{
    out += "<" + element.name + namespaceAttribute;
    for (const XmlAttribute& attribute : element.attributes) {
        if (attribute.uri.empty())
            out += " " + attribute.name + R"(=")" + escaped(attribute.value) + '"';
    }
    out += ">";
    if (element.children.empty())
        out += escaped(element.text);
    for (const auto& child : element.children)
        write(*child, "", out);
    out += "</" + element.name + ">";
}

} // namespace

const XmlElement* XmlElement::child(const std::string& childName) const
{
    const auto found =
        std::find_if(children.begin(), children.end(), [&](const auto& element) { return element->name == childName; });
    return found == children.end() ? nullptr : found->get();
}

std::string XmlElement::childText(const std::string& childName) const
{
    const XmlElement* element = child(childName);
    return element ? Poco::trim(element->text) : std::string();
}

std::string XmlElement::attribute(const std::string& attributeName) const
{
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [&](const XmlAttribute& attribute) { return attribute.name == attributeName; });
    return found == attributes.end() ? std::string() : found->value;
}

std::unique_ptr<XmlElement> parseXml(const std::string& document)
{
    // Zero bytes mean an encoding in which the check for declarations would be blind.
    if (document.find('\0') != std::string::npos)
        throw badDocument(L"it is not in UTF-8");
    if (hasDocumentType(document))
        throw badDocument(L"document type declarations are not accepted");
    TreeBuilder builder;
    try {
        Poco::XML::SAXParser parser;
        parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACES, true);
        parser.setFeature(Poco::XML::XMLReader::FEATURE_EXTERNAL_GENERAL_ENTITIES, false);
        parser.setFeature(Poco::XML::XMLReader::FEATURE_EXTERNAL_PARAMETER_ENTITIES, false);
        parser.setContentHandler(&builder);
        parser.parseMemoryNP(document.data(), document.size());
    } catch (const Poco::Exception& error) {
        throw badDocument(fromUtf8(error.displayText()));
    }
    if (builder.isTooLarge())
        throw badDocument(L"it is too deep or has too many elements");
    return builder.takeRoot();
}

std::string toXml(const XmlElement& element, const std::string& uri)
{
    std::string text;
    write(element, R"( xmlns=")" + escaped(uri) + '"', text);
    return text;
}

} // namespace VBoxSim
