#include <Metadata/Exceptions.h>
#include <Metadata/Text.h>
#include <Metadata/XMP.h>

#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <sstream>
#include <vector>

using namespace Metadata;

namespace {

const char* const Packet = R"(<?xpacket begin="" id="W5M0MpCehiHzreSzNTczkc9d"?>
<x:xmpmeta xmlns:x="adobe:ns:meta/">
 <rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">
  <rdf:Description rdf:about=""
    xmlns:dc="http://purl.org/dc/elements/1.1/"
    xmlns:photoshop="http://ns.adobe.com/photoshop/1.0/">
   <dc:creator><rdf:Seq><rdf:li>First</rdf:li><rdf:li>Second</rdf:li><rdf:li>Third</rdf:li></rdf:Seq></dc:creator>
   <dc:title><rdf:Alt><rdf:li xml:lang="fr-FR">Le titre</rdf:li></rdf:Alt></dc:title>
   <dc:subject><rdf:Bag><rdf:li>tree</rdf:li><rdf:li>river</rdf:li></rdf:Bag></dc:subject>
   <photoshop:City>Lyon</photoshop:City>
  </rdf:Description>
 </rdf:RDF>
</x:xmpmeta>
<?xpacket end="w"?>)";

XMP parse(const std::string& text)
{
    return XMP(text.data(), text.size());
}

} // namespace

TEST(XMP, ReadsTheFirstCreatorTheFirstTitleAndEveryBagItem)
{
    const XMP xmp(Packet, std::strlen(Packet));
    EXPECT_TRUE(xmp.parsed());
    EXPECT_FALSE(xmp.empty());
    EXPECT_EQ(xmp.creator(), "First");
    EXPECT_EQ(xmp.title(), "Le titre");
    EXPECT_EQ(xmp.subject(), (std::vector<std::string>{"tree", "river"}));
    EXPECT_EQ(xmp.city(), "Lyon");
    EXPECT_EQ(xmp.headline(), "");
    EXPECT_TRUE(xmp.supplementalCategories().empty());
}

TEST(XMP, WritesPropertiesThatReadBackAfterSerialising)
{
    XMP xmp;
    EXPECT_TRUE(xmp.empty());
    EXPECT_EQ(xmp.packetText(), "");
    xmp.setTitle("Title");
    xmp.setDescription("Line one\nLine two");
    xmp.setRights("(c) Me");
    xmp.setCreator("Me");
    xmp.setCreator("Me again");
    xmp.appendSubject("a");
    xmp.appendSubject("b");
    xmp.setHeadline("Headline");
    xmp.setAuthorsPosition("Staff");
    xmp.setCaptionWriter("Ed");
    xmp.setInstructions("None");
    xmp.setCredit("Credit");
    xmp.setSource("Source");
    xmp.setCity("City");
    xmp.setState("State");
    xmp.setCountry("Country");
    xmp.setTransmissionReference("T1");
    xmp.setCategory("ART");
    xmp.appendSupplementalCategory("s1");
    xmp.setDateCreated(ISODateTime(2003, 7, 14, 9, 5, 3, 2, 0));

    const std::string text = xmp.packetText();
    const XMP back = parse(text);
    EXPECT_EQ(back.title(), "Title");
    EXPECT_EQ(back.description(), "Line one\nLine two");
    EXPECT_EQ(back.rights(), "(c) Me");
    EXPECT_EQ(back.creator(), "Me again");
    EXPECT_EQ(back.subject(), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(back.headline(), "Headline");
    EXPECT_EQ(back.authorsPosition(), "Staff");
    EXPECT_EQ(back.captionWriter(), "Ed");
    EXPECT_EQ(back.instructions(), "None");
    EXPECT_EQ(back.credit(), "Credit");
    EXPECT_EQ(back.source(), "Source");
    EXPECT_EQ(back.city(), "City");
    EXPECT_EQ(back.state(), "State");
    EXPECT_EQ(back.country(), "Country");
    EXPECT_EQ(back.transmissionReference(), "T1");
    EXPECT_EQ(back.category(), "ART");
    EXPECT_EQ(back.supplementalCategories(), (std::vector<std::string>{"s1"}));
    EXPECT_EQ(back.dateCreated(), "2003-07-14T09:05:03+02:00");
    // Titles are written as the x-default item of a language alternative.
    EXPECT_NE(text.find("xml:lang=\"x-default\""), std::string::npos);
    EXPECT_NE(text.find("xmlns:photoshop="), std::string::npos);
}

TEST(XMP, GivesADocumentIdentityOnceAndKeepsAnExistingOne)
{
    XMP xmp(Packet, std::strlen(Packet));
    EXPECT_EQ(xmp.documentID(), "");
    EXPECT_EQ(xmp.aboutURI(), "");
    xmp.ensureDocumentIdentity();
    const std::regex guid("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}");
    const std::string id = xmp.documentID();
    ASSERT_EQ(id.rfind("lumenoworks:docid:lumeno:", 0), 0u) << id;
    EXPECT_TRUE(std::regex_match(id.substr(25), guid)) << id;
    const std::string about = xmp.aboutURI();
    ASSERT_EQ(about.rfind("uuid:", 0), 0u) << about;
    EXPECT_TRUE(std::regex_match(about.substr(5), guid)) << about;
    EXPECT_NE(about.substr(5), id.substr(25));
    EXPECT_EQ(xmp.creator(), "First"); // the rest of the packet survives

    xmp.ensureDocumentIdentity();
    EXPECT_EQ(xmp.documentID(), id);
    const XMP back = parse(xmp.packetText());
    EXPECT_EQ(back.documentID(), id);
    EXPECT_EQ(back.aboutURI(), about);
}

TEST(XMP, KeepsTheAboutURIWhateverQuotesAndBlanksTheWriterUsed)
{
    // Other writers quote attributes with apostrophes, put blanks around the equals sign and
    // escape characters: the identity is the same, and the next edit must not make a new one.
    for (const char* attribute : {"rdf:about='uuid:faf5bdd5-ba3d-11da-ad31-d33d75182f1b'",
                                  "rdf:about = \"uuid:faf5bdd5-ba3d-11da-ad31-d33d75182f1b\"",
                                  "rdf:about=\n  'uuid:faf5bdd5&#x2D;ba3d-11da-ad31-d33d75182f1b'"}) {
        const std::string packet = std::string("<x:xmpmeta xmlns:x='adobe:ns:meta/'>"
                                               "<rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
                                               "<rdf:Description ") +
                                   attribute +
                                   " xmlns:dc='http://purl.org/dc/elements/1.1/'><dc:format>image/jpeg</dc:format>"
                                   "</rdf:Description></rdf:RDF></x:xmpmeta>";
        XMP xmp(packet.data(), packet.size());
        EXPECT_EQ(xmp.aboutURI(), "uuid:faf5bdd5-ba3d-11da-ad31-d33d75182f1b") << attribute;
        xmp.ensureDocumentIdentity();
        EXPECT_EQ(xmp.aboutURI(), "uuid:faf5bdd5-ba3d-11da-ad31-d33d75182f1b") << attribute;
        const XMP back = parse(xmp.packetText());
        EXPECT_EQ(back.aboutURI(), "uuid:faf5bdd5-ba3d-11da-ad31-d33d75182f1b") << attribute;
    }
    // A name that merely ends in "rdf:about" is not the attribute.
    const std::string other = "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
                              "<rdf:Description xrdf:about='no' rdf:about=\"yes\"/></rdf:RDF></x:xmpmeta>";
    EXPECT_EQ(XMP(other.data(), other.size()).aboutURI(), "yes");
}

TEST(XMP, WritesLongPacketsInPiecesAndKeepsUnparsablePacketsAsTheyAre)
{
    XMP xmp;
    xmp.setDescription(std::string(5000, 'd'));
    std::ostringstream out;
    EXPECT_EQ(xmp.writePacket(out), 0);
    EXPECT_EQ(out.str(), xmp.packetText());
    EXPECT_GT(out.str().size(), 5000u);

    const std::string broken = "<x:xmpmeta><rdf:RDF><unclosed></x:xmpmeta>";
    XMP bad = parse(broken);
    EXPECT_FALSE(bad.parsed());
    EXPECT_FALSE(bad.empty());
    EXPECT_EQ(bad.packetText(), broken);
    EXPECT_EQ(bad.title(), "");
    EXPECT_THROW(bad.setTitle("x"), FileFormatException);
    EXPECT_THROW(bad.ensureDocumentIdentity(), FileFormatException);
    bad.clear();
    EXPECT_TRUE(bad.empty());
    EXPECT_TRUE(bad.parsed());
}

// Packets come in any of Unicode's encodings; exports and the tool's output are UTF-8 text.
TEST(XMP, PacketsInEveryUnicodeEncodingBecomeUtf8)
{
    // "<x é 𝄞>": ASCII, a two-byte character and one beyond the basic plane (a surrogate pair).
    const std::u32string chars = U"<x \u00E9 \U0001D11E>";
    const std::string utf8 = "<x \xC3\xA9 \xF0\x9D\x84\x9E>";
    const auto encode = [&](int width, bool bigEndian, bool mark) {
        std::u32string units = mark ? U"\uFEFF" + chars : chars;
        std::string out;
        for (char32_t c : units) {
            std::vector<std::uint32_t> pieces;
            if (width == 2 && c > 0xFFFF) {
                pieces = {0xD800 + ((c - 0x10000) >> 10), 0xDC00 + ((c - 0x10000) & 0x3FF)};
            } else {
                pieces = {static_cast<std::uint32_t>(c)};
            }
            for (std::uint32_t unit : pieces) {
                for (int k = 0; k < width; ++k) {
                    const int shift = 8 * (bigEndian ? width - 1 - k : k);
                    out += static_cast<char>((unit >> shift) & 0xFF);
                }
            }
        }
        return out;
    };
    for (int width : {2, 4}) {
        for (bool bigEndian : {false, true}) {
            for (bool mark : {false, true}) {
                SCOPED_TRACE(std::to_string(width * 8) + (bigEndian ? " BE" : " LE") + (mark ? " with a mark" : ""));
                EXPECT_EQ(Text::unicodeToUtf8(encode(width, bigEndian, mark)), utf8);
            }
        }
    }
    EXPECT_EQ(Text::unicodeToUtf8(utf8), utf8);
    EXPECT_EQ(Text::unicodeToUtf8("\xEF\xBB\xBF" + utf8), utf8);
    EXPECT_EQ(Text::unicodeToUtf8(""), "");
    // A lone surrogate, a cut-off unit and a value beyond Unicode are each one U+FFFD.
    EXPECT_EQ(Text::unicodeToUtf8(std::string("<\0\x00\xD8" "a\0", 6)), "<\xEF\xBF\xBD" "a");
    EXPECT_EQ(Text::unicodeToUtf8(std::string("<\0a", 3)), "<\xEF\xBF\xBD");
    EXPECT_EQ(Text::unicodeToUtf8(std::string("<\0\0\0\0\0\x11\0", 8)), "<\xEF\xBF\xBD");
}

TEST(GUID, TextHasTheUsualLayout)
{
    GUID g;
    g.data1 = 0x0123ABCD;
    g.data2 = 0x0A;
    g.data3 = 0xBEEF;
    const std::uint8_t tail[8] = {1, 2, 3, 4, 5, 6, 7, 0xFF};
    std::copy(tail, tail + 8, g.data4);
    EXPECT_EQ(guidText(g), "0123ABCD-000A-BEEF-0102-0304050607FF");
    const GUID a = randomGUID();
    const GUID b = randomGUID();
    EXPECT_NE(guidText(a), guidText(b));
    EXPECT_EQ((a.data3 >> 12), 4); // version 4
    setGUIDFunction([] { return GUID{}; });
    EXPECT_EQ(guidText(newGUID()), "00000000-0000-0000-0000-000000000000");
    setGUIDFunction(nullptr);
}

TEST(XMP, EveryValueIsListedWithItsPathAndTheToolkitThatWroteThePacket)
{
    const std::string packet = R"(<x:xmpmeta xmlns:x="adobe:ns:meta/" x:xmptk="Camera firmware 2.1">
 <rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">
  <rdf:Description rdf:about="uuid:1234"
    xmlns:dc="http://purl.org/dc/elements/1.1/"
    xmlns:xmpBJ="http://ns.adobe.com/xap/1.0/bj/"
    xmlns:stJob="http://ns.adobe.com/xap/1.0/sType/Job#">
   <dc:title><rdf:Alt><rdf:li xml:lang="x-default">Dawn</rdf:li><rdf:li xml:lang="fr">Aube</rdf:li></rdf:Alt></dc:title>
   <dc:subject><rdf:Bag><rdf:li>tree</rdf:li><rdf:li>river</rdf:li></rdf:Bag></dc:subject>
   <xmpBJ:JobRef><rdf:Bag><rdf:li rdf:parseType="Resource"><stJob:name>Print</stJob:name></rdf:li></rdf:Bag></xmpBJ:JobRef>
  </rdf:Description>
 </rdf:RDF>
</x:xmpmeta>)";
    const XMP xmp = parse(packet);
    EXPECT_EQ(xmp.toolkit(), "Camera firmware 2.1");
    std::vector<std::string> listed;
    for (const XMP::Property& p : xmp.properties()) {
        // (The toolkit reads every item of a language alternative with an x-default as the
        // default's text; only the default is ever used.)
        listed.push_back(p.path + (p.alternative && p.path != "dc:title[1]" ? "" : "=" + p.value) +
                         (p.alternative ? " (alternative)" : ""));
    }
    // Leaves only, in the packet's order: no schema, array, structure or xml:lang qualifier.
    const std::vector<std::string> expected = {"dc:title[1]=Dawn (alternative)", "dc:title[2] (alternative)",
                                               "dc:subject[1]=tree", "dc:subject[2]=river",
                                               "xmpBJ:JobRef[1]/stJob:name=Print"};
    EXPECT_EQ(listed, expected);
    // The about-URI the toolkit moves into xmpMM:InstanceID is not a property of the packet.
    EXPECT_EQ(xmp.aboutURI(), "uuid:1234");
    EXPECT_TRUE(parse("<x:xmpmeta xmlns:x='adobe:ns:meta/'/>").properties().empty());
    EXPECT_TRUE(parse("not a packet").properties().empty());
}
