#include <gtest/gtest.h>

#include <chrono>

#include "base/failure.h"
#include "base/xml.h"

using namespace VBoxSim;

namespace {

ResultCode parsingResult(const std::string& document)
{
    try {
        Xml::parse(document);
    } catch (const Failure& failure) {
        return failure.code();
    }
    return Result::ok;
}

std::string utf16(const std::string& text, bool bigEndian, bool mark)
{
    std::string result = !mark ? "" : bigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (const char c : text)
        result += bigEndian ? std::string("\0", 1) + c : c + std::string("\0", 1);
    return result;
}

} // namespace

TEST(Xml, ReadsElementsByTheirLocalNames)
{
    const auto document =
        Xml::parse("<?xml version='1.0'?><!-- <!DOCTYPE --><a xmlns='u:1' xmlns:p='u:2' p:x='1' y='2'>"
                   "<b> t\xC3\xA4xt </b>\n<p:c z='&lt;&quot;&#10;'/></a>");
    const Xml::Element* root = Xml::root(document);
    ASSERT_TRUE(root);
    EXPECT_EQ(root->localName(), "a");
    ASSERT_TRUE(Xml::findAny(root, "x"));
    EXPECT_EQ(*Xml::findAny(root, "x"), "1");
    EXPECT_EQ(Xml::find(root, "x"), nullptr);
    EXPECT_EQ(Xml::textOf(Xml::child(root, "b")), " t\xC3\xA4xt ");
    ASSERT_TRUE(Xml::child(root, "c"));
    EXPECT_EQ(Xml::child(root, "c")->name, "p:c");
    EXPECT_EQ(Xml::child(root, "c")->line, 2);
    EXPECT_EQ(Xml::get(Xml::child(root, "c"), "z"), L"<\"\n");
    EXPECT_EQ(Xml::child(root, "d"), nullptr);
}

TEST(Xml, WritesWhatItRead)
{
    const std::string text = "<?xml version=\"1.0\"?>\n<!-- kept -->\n<a x=\"1\" y=\"&lt;&quot;&#10;\">\n  <?do it?>\n"
                             "  <b>two\nlines &amp; more</b>\n  <!-- inner -->\n  <c>\n    <d/>\n  </c>\n</a>\n";
    EXPECT_EQ(Xml::write(*Xml::parse(text)), text);
    EXPECT_EQ(Xml::write(*Xml::parse("<a><![CDATA[<&]]>x</a>")), "<?xml version=\"1.0\"?>\n<a>&lt;&amp;x</a>\n");
}

TEST(Xml, ReadsOtherEncodings)
{
    const std::string text = "<?xml version=\"1.0\" encoding=\"UTF-16\"?><a b=\"c\"/>";
    for (const bool bigEndian : {false, true})
        for (const bool mark : {false, true}) {
            const auto document = Xml::parse(utf16(text, bigEndian, mark));
            EXPECT_EQ(Xml::get(Xml::root(document), "b"), L"c") << bigEndian << mark;
        }
    EXPECT_EQ(Xml::get(Xml::root(Xml::parse("\xEF\xBB\xBF<a b='c'/>")), "b"), L"c");
    EXPECT_EQ(Xml::get(Xml::root(Xml::parse("<?xml version='1.0' encoding='ISO-8859-1'?><a b='\xE4'/>")), "b"),
              L"\u00E4");
    EXPECT_EQ(parsingResult(utf16("<a/>", false, true) + "x"), Result::xmlError);
    // The check for declarations sees through the encoding.
    EXPECT_EQ(parsingResult(utf16("<!DOCTYPE a><a/>", true, true)), Result::xmlError);
}

TEST(Xml, RefusesWhatIsDangerous)
{
    for (const std::string& document :
         {std::string(), std::string("<a><b></a>"), std::string("<a>&unknown;</a>"), std::string("<a>\xFF</a>"),
          std::string("<a\0/>", 5),
          std::string("<?xml version='1.0'?><!DOCTYPE a [<!ENTITY x SYSTEM 'file:///c:/secret'>]><a>&x;</a>")})
        EXPECT_EQ(parsingResult(document), Result::xmlError) << document;
    std::string bomb = "<!-- c --><!DOCTYPE a [<!ENTITY e0 'x'>";
    for (int i = 1; i < 40; ++i)
        bomb +=
            "<!ENTITY e" + std::to_string(i) + " '&e" + std::to_string(i - 1) + ";&e" + std::to_string(i - 1) + ";'>";
    EXPECT_EQ(parsingResult(bomb + "]><a>&e39;</a>"), Result::xmlError);
}

TEST(Xml, RefusesWhatIsTooDeepOrTooLargeInShortTime)
{
    const auto start = std::chrono::steady_clock::now();
    std::string deep;
    for (int i = 0; i < 200000; ++i)
        deep += "<a>";
    EXPECT_EQ(parsingResult(deep), Result::xmlError);
    for (int i = 0; i < 200000; ++i)
        deep += "</a>";
    EXPECT_EQ(parsingResult(deep), Result::xmlError);
    std::string wide = "<r>";
    for (int i = 0; i < 600000; ++i)
        wide += "<a/>";
    EXPECT_EQ(parsingResult(wide + "</r>"), Result::xmlError);
    std::string attributes = "<r ";
    for (int i = 0; i < 50000; ++i)
        attributes += "a" + std::to_string(i) + "='' ";
    EXPECT_EQ(Xml::root(Xml::parse(attributes + "/>"))->attributes.size(), 50000u);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST(Xml, ReadsNumbersAndFlagsAsVirtualBoxDoes)
{
    const auto document = Xml::parse("<a d='12' n='-7' h='0x1F' o='010' z='0' g='12x' l='99999999999999999999' e='' "
                                     "t='yes' f='no' w='True'/>");
    const Xml::Element* root = Xml::root(document);
    const auto number = [&](const char* name) { return Xml::getNumber(root, name, 42); };
    EXPECT_EQ(number("d"), 12);
    EXPECT_EQ(number("n"), -7);
    EXPECT_EQ(number("h"), 31);
    EXPECT_EQ(number("o"), 8);
    EXPECT_EQ(number("z"), 0);
    for (const char* absent : {"g", "l", "e", "missing"})
        EXPECT_EQ(number(absent), 42) << absent;
    EXPECT_TRUE(Xml::getFlag(root, "t", false));
    EXPECT_FALSE(Xml::getFlag(root, "f", true));
    EXPECT_TRUE(Xml::getFlag(root, "w", true)); // neither: counts as absent
    EXPECT_FALSE(Xml::getFlag(root, "w", false));
}

TEST(Xml, ValuesThatSayTheSameStay)
{
    const auto document = Xml::parse("<a n='0x10' f='yes' t='x'/>");
    Xml::Element* root = Xml::root(document);
    Xml::setNumberUnless(root, "n", 1, 16);
    Xml::setFlagUnless(root, "f", true, true);
    Xml::setUnless(root, "t", L"", L"x");
    Xml::setFlagUnless(root, "absent", true, true);
    EXPECT_EQ(Xml::write(*document), "<?xml version=\"1.0\"?>\n<a n=\"0x10\" f=\"yes\" t=\"x\"/>\n");
    Xml::setNumberUnless(root, "n", 1, 1);
    Xml::setFlagUnless(root, "f", true, false);
    EXPECT_EQ(Xml::write(*document), "<?xml version=\"1.0\"?>\n<a f=\"false\" t=\"x\"/>\n");
}

TEST(Xml, ListsAreMatchedByTheirKeys)
{
    const auto document = Xml::parse("<l><i k='a' own='1'/><i k='b'/><i k='b'/><other/></l>");
    Xml::match(
        Xml::root(document), "i", "k", std::vector<std::wstring>{L"c", L"a"},
        [](const std::wstring& key) { return key; },
        [](Xml::Element* element, const std::wstring& key) { Xml::set(element, "v", key); });
    EXPECT_EQ(Xml::write(*document), "<?xml version=\"1.0\"?>\n<l>\n  <i k=\"a\" own=\"1\" v=\"a\"/>\n  <other/>\n"
                                     "  <i k=\"c\" v=\"c\"/>\n</l>\n");
}
