#include "base/xml.h"

#include <Poco/Exception.h>
#include <Poco/SAX/Attributes.h>
#include <Poco/SAX/DefaultHandler.h>
#include <Poco/SAX/InputSource.h>
#include <Poco/SAX/LexicalHandler.h>
#include <Poco/SAX/Locator.h>
#include <Poco/SAX/SAXParser.h>
#include <Poco/TextConverter.h>
#include <Poco/UTF16Encoding.h>
#include <Poco/UTF8Encoding.h>

#include <algorithm>
#include <charconv>

#include "base/failure.h"
#include "base/platform.h"

namespace VBoxSim::Xml {

namespace {

constexpr std::size_t greatestDepth = 1000;
constexpr std::size_t mostElements = 500000;

Failure notValid(const std::wstring& what)
{
    return Failure(Result::xmlError, L"The XML document is not valid: " + what);
}

bool isBlank(const std::string& text)
{
    return text.find_first_not_of(" \t\r\n") == std::string::npos;
}

/// Builds the tree. What goes beyond the bounds is passed over and remembered: no exception travels through the parser.
class TreeBuilder : public Poco::XML::DefaultHandler, public Poco::XML::LexicalHandler
{
    using Text = Poco::XML::XMLString;

public:
    TreeBuilder() : document_(std::make_unique<Element>()) { document_->kind = Kind::Document; }

    DocumentPtr take()
    {
        finishText();
        return std::move(document_);
    }
    bool isTooLarge() const { return tooLarge_; }

    void setDocumentLocator(const Poco::XML::Locator* locator) override { locator_ = locator; }
    void startElement(const Text&, const Text& localName, const Text& name,
                      const Poco::XML::Attributes& attributes) override
    {
        if (++depth_ > greatestDepth || ++count_ > mostElements)
            tooLarge_ = true;
        if (tooLarge_)
            return;
        finishText();
        Element* element = add(Kind::Element);
        element->name = name.empty() ? localName : name;
        element->line = locator_ ? locator_->getLineNumber() : 0;
        for (int i = 0; i < attributes.getLength(); ++i) {
            const Text& whole = attributes.getQName(i);
            element->attributes.push_back({whole.empty() ? attributes.getLocalName(i) : whole, attributes.getValue(i)});
        }
        open_ = element;
    }
    void endElement(const Text&, const Text&, const Text&) override
    {
        --depth_;
        if (tooLarge_)
            return;
        finishText();
        open_ = open_->parent;
    }
    void characters(const Poco::XML::XMLChar text[], int start, int length) override
    {
        if (!tooLarge_ && open_)
            pending_.append(text + start, static_cast<std::size_t>(length));
    }
    void ignorableWhitespace(const Poco::XML::XMLChar text[], int start, int length) override
    {
        characters(text, start, length);
    }
    void processingInstruction(const Text& target, const Text& data) override
    {
        if (tooLarge_)
            return;
        finishText();
        Element* added = add(Kind::Instruction);
        added->name = target;
        added->text = data;
    }
    void comment(const Poco::XML::XMLChar text[], int start, int length) override
    {
        if (tooLarge_)
            return;
        finishText();
        add(Kind::Comment)->text.assign(text + start, static_cast<std::size_t>(length));
    }
    void startDTD(const Text&, const Text&, const Text&) override { tooLarge_ = true; }
    void endDTD() override {}
    void startEntity(const Text&) override {}
    void endEntity(const Text&) override {}
    void startCDATA() override {}
    void endCDATA() override {}

private:
    Element* add(Kind kind)
    {
        Element* parent = open_ ? open_ : document_.get();
        auto made = std::make_unique<Element>();
        made->kind = kind;
        made->parent = parent;
        parent->children.push_back(std::move(made));
        return parent->children.back().get();
    }

    /// White space between elements is the writer's business.
    void finishText()
    {
        if (open_ && !isBlank(pending_))
            add(Kind::Text)->text = pending_;
        pending_.clear();
    }

    DocumentPtr document_;
    const Poco::XML::Locator* locator_ = nullptr;
    Element* open_ = nullptr;
    std::string pending_;
    std::size_t depth_ = 0;
    std::size_t count_ = 0;
    bool tooLarge_ = false;
};

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

/// The document in UTF-8 when it is in UTF-16, else nothing. Told by its mark, or by the zeros of its first characters.
std::optional<std::string> fromUtf16(const std::string& document)
{
    const auto starts = [&](std::initializer_list<unsigned char> bytes) {
        return document.size() >= bytes.size() &&
               std::equal(bytes.begin(), bytes.end(), document.begin(),
                          [](unsigned char byte, char c) { return byte == static_cast<unsigned char>(c); });
    };
    using Poco::UTF16Encoding;
    const bool mark = starts({0xFF, 0xFE}) || starts({0xFE, 0xFF});
    const bool little = starts({0xFF, 0xFE}) || starts({'<', 0});
    if (!little && !starts({0xFE, 0xFF}) && !starts({0, '<'}))
        return std::nullopt;
    UTF16Encoding utf16(little ? UTF16Encoding::LITTLE_ENDIAN_BYTE_ORDER : UTF16Encoding::BIG_ENDIAN_BYTE_ORDER);
    Poco::UTF8Encoding utf8;
    std::string converted;
    const std::size_t start = mark ? 2 : 0;
    if (document.size() % 2 != 0 ||
        Poco::TextConverter(utf16, utf8)
                .convert(document.data() + start, static_cast<int>(document.size() - start), converted) != 0)
        throw notValid(L"its UTF-16 is damaged");
    return converted;
}

std::string escaped(const std::string& text, bool inAttribute)
{
    std::string result;
    for (const char c : text) {
        if (c == '&')
            result += "&amp;";
        else if (c == '<')
            result += "&lt;";
        else if (c == '>')
            result += "&gt;";
        else if (c == '"' && inAttribute)
            result += "&quot;";
        else if (c == '\r' || (inAttribute && (c == '\t' || c == '\n')))
            result += "&#" + std::to_string(static_cast<int>(c)) + ";";
        else
            result += c;
    }
    return result;
}

void writeTo(std::string& out, const Element& node, const std::string& indent);

void writeElement(std::string& out, const Element& element, const std::string& indent)
{
    out += "<" + element.name;
    for (const Attribute& attribute : element.attributes)
        out.append(" ").append(attribute.name).append("=\"").append(escaped(attribute.value, true)).append("\"");
    if (element.children.empty()) {
        out += "/>";
        return;
    }
    out += ">";
    // Next to text, white space would become part of it.
    const bool lines = std::none_of(element.children.begin(), element.children.end(),
                                    [](const auto& part) { return part->kind == Kind::Text; });
    for (const auto& part : element.children) {
        if (lines)
            out += "\n" + indent + "  ";
        writeTo(out, *part, indent + "  ");
    }
    if (lines)
        out += "\n" + indent;
    out += "</" + element.name + ">";
}

void writeTo(std::string& out, const Element& node, const std::string& indent)
{
    switch (node.kind) {
    case Kind::Document:
        for (const auto& part : node.children) {
            writeTo(out, *part, indent);
            out += "\n";
        }
        break;
    case Kind::Element:
        writeElement(out, node, indent);
        break;
    case Kind::Text:
        out += escaped(node.text, false);
        break;
    case Kind::Comment:
        out += "<!--" + node.text + "-->";
        break;
    case Kind::Instruction:
        out += "<?" + node.name + " " + node.text + "?>";
        break;
    }
}

std::string_view withoutPrefix(std::string_view name)
{
    return name.substr(name.rfind(':') + 1);
}

bool isElement(const Element& node, std::string_view name)
{
    return node.kind == Kind::Element && node.localName() == name;
}

} // namespace

std::string_view Element::localName() const
{
    return withoutPrefix(name);
}

DocumentPtr parse(const std::string& original)
{
    const std::optional<std::string> converted = fromUtf16(original);
    const std::string& text = converted ? *converted : original;
    if (text.find('\0') != std::string::npos)
        throw notValid(L"it has zero bytes");
    if (hasDocumentType(text))
        throw notValid(L"document type declarations are not accepted");
    TreeBuilder builder;
    Platform::keepRandomNumbersReady(); // the parser takes one for each document
    try {
        Poco::XML::SAXParser parser;
        parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACES, false);
        parser.setFeature(Poco::XML::XMLReader::FEATURE_EXTERNAL_GENERAL_ENTITIES, false);
        parser.setFeature(Poco::XML::XMLReader::FEATURE_EXTERNAL_PARAMETER_ENTITIES, false);
        parser.setContentHandler(&builder);
        parser.setProperty(Poco::XML::XMLReader::PROPERTY_LEXICAL_HANDLER,
                           static_cast<Poco::XML::LexicalHandler*>(&builder));
        if (converted) // whatever its declaration says
            parser.setEncoding("UTF-8");
        parser.parseMemoryNP(text.data(), text.size());
    } catch (const Poco::Exception& error) {
        throw notValid(fromUtf8(error.displayText()));
    }
    if (builder.isTooLarge())
        throw notValid(L"it is nested too deep or has too many elements");
    return builder.take();
}

std::string write(const Element& document)
{
    std::string out = R"(<?xml version="1.0"?>)"
                      "\n";
    writeTo(out, document, "");
    return out;
}

Element* root(const DocumentPtr& document)
{
    const auto found = std::find_if(document->children.begin(), document->children.end(),
                                    [](const auto& part) { return part->kind == Kind::Element; });
    return found == document->children.end() ? nullptr : found->get();
}

Element* child(const Element* parent, std::string_view name)
{
    if (parent)
        for (const auto& part : parent->children)
            if (isElement(*part, name))
                return part.get();
    return nullptr;
}

Element* demand(Element* parent, const char* name)
{
    Element* found = child(parent, name);
    return found ? found : append(parent, name);
}

std::vector<Element*> children(const Element* parent, std::string_view name)
{
    std::vector<Element*> found;
    if (parent)
        for (const auto& part : parent->children)
            if (isElement(*part, name))
                found.push_back(part.get());
    return found;
}

std::vector<Element*> elements(const Element* parent)
{
    std::vector<Element*> found;
    if (parent)
        for (const auto& part : parent->children)
            if (part->kind == Kind::Element)
                found.push_back(part.get());
    return found;
}

Element* append(Element* parent, const char* name)
{
    auto made = std::make_unique<Element>();
    made->name = name;
    made->parent = parent;
    parent->children.push_back(std::move(made));
    return parent->children.back().get();
}

void remove(Element* element)
{
    std::erase_if(element->parent->children, [&](const auto& part) { return part.get() == element; });
}

void drop(Element* parent, const char* name)
{
    if (Element* found = child(parent, name))
        remove(found);
}

std::unique_ptr<Element> withoutPrefixes(const Element& element)
{
    auto copy = std::make_unique<Element>();
    copy->kind = element.kind;
    copy->name = element.localName();
    copy->text = element.text;
    for (const Attribute& attribute : element.attributes)
        if (attribute.name.find(':') == std::string::npos && attribute.name != "xmlns")
            copy->attributes.push_back(attribute);
    for (const auto& part : element.children) {
        copy->children.push_back(withoutPrefixes(*part));
        copy->children.back()->parent = copy.get();
    }
    return copy;
}

const std::string* find(const Element* element, std::string_view attribute)
{
    if (element)
        for (const Attribute& candidate : element->attributes)
            if (candidate.name == attribute)
                return &candidate.value;
    return nullptr;
}

const std::string* findAny(const Element* element, std::string_view attribute)
{
    if (element)
        for (const Attribute& candidate : element->attributes)
            if (withoutPrefix(candidate.name) == attribute)
                return &candidate.value;
    return nullptr;
}

std::wstring get(const Element* element, const char* attribute, std::wstring_view otherwise)
{
    const std::string* text = find(element, attribute);
    return text ? fromUtf8(*text) : std::wstring(otherwise);
}

std::int64_t getNumber(const Element* element, const char* attribute, std::int64_t otherwise)
{
    const std::string* text = find(element, attribute);
    return text ? parseNumber(*text).value_or(otherwise) : otherwise;
}

bool getFlag(const Element* element, const char* attribute, bool otherwise)
{
    const std::string* text = find(element, attribute);
    if (text && (*text == "true" || *text == "yes" || *text == "1"))
        return true;
    if (text && (*text == "false" || *text == "no" || *text == "0"))
        return false;
    return otherwise;
}

std::optional<std::int64_t> parseNumber(std::string_view text)
{
    const bool negative = text.starts_with('-');
    std::string_view digits = text.substr(negative || text.starts_with('+') ? 1 : 0);
    int base = 10;
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
        base = 16;
        digits.remove_prefix(2);
    } else if (digits.size() > 1 && digits[0] == '0') {
        base = 8;
    }
    std::uint64_t magnitude = 0;
    const auto [end, problem] = std::from_chars(digits.data(), digits.data() + digits.size(), magnitude, base);
    if (problem != std::errc() || end != digits.data() + digits.size() || magnitude > std::uint64_t(INT64_MAX))
        return std::nullopt;
    return negative ? -static_cast<std::int64_t>(magnitude) : static_cast<std::int64_t>(magnitude);
}

void set(Element* element, const char* attribute, std::wstring_view value)
{
    for (Attribute& candidate : element->attributes)
        if (candidate.name == attribute) {
            candidate.value = toUtf8(value);
            return;
        }
    element->attributes.push_back({attribute, toUtf8(value)});
}

void setNumber(Element* element, const char* attribute, std::int64_t value)
{
    set(element, attribute, std::to_wstring(value));
}

void setFlag(Element* element, const char* attribute, bool value)
{
    set(element, attribute, value ? L"true" : L"false");
}

void removeAttribute(Element* element, const char* attribute)
{
    std::erase_if(element->attributes, [&](const Attribute& candidate) { return candidate.name == attribute; });
}

void setUnless(Element* element, const char* attribute, std::wstring_view absent, std::wstring_view value)
{
    if (get(element, attribute, absent) == value)
        return;
    if (value == absent)
        removeAttribute(element, attribute);
    else
        set(element, attribute, value);
}

void setNumberUnless(Element* element, const char* attribute, std::int64_t absent, std::int64_t value)
{
    if (getNumber(element, attribute, absent) == value)
        return;
    if (value == absent)
        removeAttribute(element, attribute);
    else
        setNumber(element, attribute, value);
}

void setFlagUnless(Element* element, const char* attribute, bool absent, bool value)
{
    if (getFlag(element, attribute, absent) == value)
        return;
    if (value == absent)
        removeAttribute(element, attribute);
    else
        setFlag(element, attribute, value);
}

std::string textOf(const Element* element)
{
    std::string text;
    if (element)
        for (const auto& part : element->children)
            if (part->kind == Kind::Text)
                text += part->text;
    return text;
}

void setText(Element* element, std::wstring_view text)
{
    element->children.clear();
    auto made = std::make_unique<Element>();
    made->kind = Kind::Text;
    made->text = toUtf8(text);
    made->parent = element;
    element->children.push_back(std::move(made));
}

} // namespace VBoxSim::Xml
