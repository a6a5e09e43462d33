#include "base/xml.h"

#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/DOMWriter.h>
#include <Poco/DOM/NodeList.h>
#include <Poco/DOM/Text.h>
#include <Poco/NumberParser.h>
#include <Poco/SAX/DefaultHandler.h>
#include <Poco/SAX/InputSource.h>
#include <Poco/SAX/LexicalHandler.h>
#include <Poco/SAX/SAXParser.h>
#include <Poco/XML/XMLWriter.h>

#include <sstream>

#include "base/failure.h"

namespace VBoxSim::Xml {

namespace {

/// Refuses what a settings file never has, before a tree is built: a document type (whose entities may expand without
/// end) and nesting that would exhaust the stack.
class Screening : public Poco::XML::DefaultHandler, public Poco::XML::LexicalHandler
{
public:
    void startElement(const Poco::XML::XMLString&, const Poco::XML::XMLString&, const Poco::XML::XMLString&,
                      const Poco::XML::Attributes&) override
    {
        constexpr int deepest = 600;
        if (++depth_ > deepest)
            throw Failure(Result::xmlError, L"The settings file is nested too deep");
    }
    void endElement(const Poco::XML::XMLString&, const Poco::XML::XMLString&, const Poco::XML::XMLString&) override
    {
        --depth_;
    }
    void startDTD(const Poco::XML::XMLString&, const Poco::XML::XMLString&, const Poco::XML::XMLString&) override
    {
        throw Failure(Result::xmlError, L"The settings file has a document type declaration");
    }
    void endDTD() override {}
    void startEntity(const Poco::XML::XMLString&) override {}
    void endEntity(const Poco::XML::XMLString&) override {}
    void startCDATA() override {}
    void endCDATA() override {}
    void comment(const Poco::XML::XMLChar[], int, int) override {}

private:
    int depth_ = 0;
};

Failure notValid(const Poco::Exception& e)
{
    return Failure(Result::xmlError, L"The settings file is not valid: " + fromUtf8(e.displayText()));
}

std::string attributeText(const Element* element, const char* name)
{
    return element->getAttribute(name);
}

} // namespace

DocumentPtr parse(const std::string& text)
{
    try {
        Poco::XML::DOMParser parser;
        parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACES, false);
        parser.setFeature(Poco::XML::DOMParser::FEATURE_FILTER_WHITESPACE, true);
        return parser.parseString(text);
    } catch (const Poco::Exception& e) {
        throw notValid(e);
    }
}

DocumentPtr parseUntrusted(const std::string& text)
{
    try {
        Screening screening;
        Poco::XML::SAXParser screener;
        screener.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACES, false);
        screener.setContentHandler(&screening);
        screener.setProperty(Poco::XML::XMLReader::PROPERTY_LEXICAL_HANDLER,
                             static_cast<Poco::XML::LexicalHandler*>(&screening));
        screener.parseString(text);
    } catch (const Poco::Exception& e) {
        throw notValid(e);
    }
    return parse(text);
}

std::string write(Poco::XML::Document* document)
{
    std::ostringstream out;
    Poco::XML::DOMWriter writer;
    writer.setNewLine(Poco::XML::XMLWriter::NEWLINE_LF);
    writer.setOptions(Poco::XML::XMLWriter::WRITE_XML_DECLARATION | Poco::XML::XMLWriter::PRETTY_PRINT);
    writer.setIndent("  ");
    writer.writeNode(out, document);
    return out.str();
}

Element* child(Element* parent, const char* name)
{
    if (!parent)
        return nullptr;
    for (Poco::XML::Node* node = parent->firstChild(); node; node = node->nextSibling())
        if (node->nodeType() == Poco::XML::Node::ELEMENT_NODE && node->nodeName() == name)
            return static_cast<Element*>(node);
    return nullptr;
}

Element* demand(Element* parent, const char* name)
{
    Element* found = child(parent, name);
    return found ? found : append(parent, name);
}

std::vector<Element*> children(Element* parent, const char* name)
{
    std::vector<Element*> found;
    if (!parent)
        return found;
    for (Poco::XML::Node* node = parent->firstChild(); node; node = node->nextSibling())
        if (node->nodeType() == Poco::XML::Node::ELEMENT_NODE && node->nodeName() == name)
            found.push_back(static_cast<Element*>(node));
    return found;
}

Element* append(Element* parent, const char* name)
{
    Poco::AutoPtr<Element> made = parent->ownerDocument()->createElement(name);
    parent->appendChild(made);
    return made; // NOLINT(clang-analyzer-cplusplus.NewDelete): the parent holds it now
}

void remove(Element* element)
{
    element->parentNode()->removeChild(element);
}

void drop(Element* parent, const char* name)
{
    if (Element* found = child(parent, name))
        remove(found);
}

std::wstring get(const Element* element, const char* attribute, std::wstring_view otherwise)
{
    if (!element || !element->hasAttribute(attribute))
        return std::wstring(otherwise);
    return fromUtf8(attributeText(element, attribute));
}

std::int64_t getNumber(const Element* element, const char* attribute, std::int64_t otherwise)
{
    if (!element || !element->hasAttribute(attribute))
        return otherwise;
    Poco::Int64 value = 0;
    if (!Poco::NumberParser::tryParse64(attributeText(element, attribute), value))
        throw Failure(Result::xmlError, L"The attribute '" + fromUtf8(attribute) + L"' of <" +
                                            fromUtf8(element->nodeName()) + L"> is not a number");
    return value;
}

bool getFlag(const Element* element, const char* attribute, bool otherwise)
{
    if (!element || !element->hasAttribute(attribute))
        return otherwise;
    const std::string value = attributeText(element, attribute);
    if (value == "true" || value == "1" || value == "yes" || value == "on")
        return true;
    if (value == "false" || value == "0" || value == "no" || value == "off")
        return false;
    throw Failure(Result::xmlError, L"The attribute '" + fromUtf8(attribute) + L"' of <" +
                                        fromUtf8(element->nodeName()) + L"> is neither true nor false");
}

void set(Element* element, const char* attribute, std::wstring_view value)
{
    element->setAttribute(attribute, toUtf8(value));
}

void setNumber(Element* element, const char* attribute, std::int64_t value)
{
    element->setAttribute(attribute, std::to_string(value));
}

void setFlag(Element* element, const char* attribute, bool value)
{
    element->setAttribute(attribute, value ? "true" : "false");
}

void setUnless(Element* element, const char* attribute, std::wstring_view absent, std::wstring_view value)
{
    if (value == absent)
        element->removeAttribute(attribute);
    else
        set(element, attribute, value);
}

void setNumberUnless(Element* element, const char* attribute, std::int64_t absent, std::int64_t value)
{
    if (value == absent)
        element->removeAttribute(attribute);
    else
        setNumber(element, attribute, value);
}

void setFlagUnless(Element* element, const char* attribute, bool absent, bool value)
{
    if (value == absent)
        element->removeAttribute(attribute);
    else
        setFlag(element, attribute, value);
}

std::wstring textOf(const Element* element)
{
    return element ? fromUtf8(element->innerText()) : std::wstring();
}

void setText(Element* element, std::wstring_view text)
{
    while (element->firstChild())
        element->removeChild(element->firstChild());
    Poco::AutoPtr<Poco::XML::Text> node = element->ownerDocument()->createTextNode(toUtf8(text));
    element->appendChild(node);
}

} // namespace VBoxSim::Xml
