// The XMP packet of one image, with typed access to the Dublin Core, Photoshop and Media
// Management properties the program uses (the XMP standard, part 1 and 2). Parsing, the
// property tree and serialising are the toolkit's work.
#pragma once

#include "Metadata/DateTime.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace Metadata {

class XMPConstants {
public:
    // Schema display names.
    static constexpr const char* SchemaXMPCore = "XMP Core";
    static constexpr const char* SchemaMediaManagement = "Media Management";
    static constexpr const char* SchemaRightsManagement = "Rights Management";
    static constexpr const char* SchemaPDF = "PDF";
    static constexpr const char* SchemaSupport = "Support";
    static constexpr const char* SchemaBasicJobTicket = "Basic Job Ticket";
    static constexpr const char* SchemaPhotoshop = "Photoshop";
    static constexpr const char* SchemaDublinCore = "Dublin Core";

    // Namespaces of the published schemas.
    static const char* const NamespaceDublinCore;       // Dublin Core 1.1 element set
    static const char* const NamespacePhotoshop;        // Photoshop 1.0 schema
    static const char* const NamespaceMediaManagement;  // XMP Media Management

    // Dublin Core properties. Only the first creator is read or written.
    static constexpr const char* DCTitle = "title";
    static constexpr const char* DCCreator = "creator/*[1]";
    static constexpr const char* DCDescription = "description";
    static constexpr const char* DCRights = "rights";
    static constexpr const char* DCSubject = "subject";
    // Photoshop properties.
    static constexpr const char* PSAuthorsPosition = "AuthorsPosition";
    static constexpr const char* PSCaptionWriter = "CaptionWriter";
    static constexpr const char* PSHeadline = "Headline";
    static constexpr const char* PSInstructions = "Instructions";
    static constexpr const char* PSCredit = "Credit";
    static constexpr const char* PSSource = "Source";
    static constexpr const char* PSCity = "City";
    static constexpr const char* PSState = "State";
    static constexpr const char* PSCountry = "Country";
    static constexpr const char* PSTransmissionReference = "TransmissionReference";
    static constexpr const char* PSDateCreated = "DateCreated";
    static constexpr const char* PSCategory = "Category";
    static constexpr const char* PSSupplementalCategories = "SupplementalCategories";
    static constexpr const char* PSTimeCreated = "TimeCreated";
    // Media Management.
    static constexpr const char* MMDocumentID = "DocumentID";

    // The four values that identify the program to an XMP toolkit. Ours has no call that takes
    // them; they are kept for what they say of the packets the program writes.
    static constexpr const char* SetupVendor = "LumenoWorks";
    static constexpr const char* SetupApp = "Lumeno";
    static constexpr const char* SetupVersion = "1.1.0";
    static constexpr const char* SetupPlatform = "Windows";

    static constexpr const char* DocumentIDPrefix = "lumenoworks:docid:lumeno:";
    static constexpr const char* AboutPrefix = "uuid:";

protected:
    // Starts the toolkit once per process and registers the "photoshop" prefix.
    XMPConstants();
};

class XMP : public XMPConstants {
public:
    // An empty packet.
    XMP();
    // Takes a packet, to be parsed when it is first used. One that does not parse is kept
    // exactly as it came, so that a rewrite does not lose it; such a packet reads as having no
    // properties and refuses every change but clear() (FileFormatException).
    XMP(const char* packet, std::size_t size);
    ~XMP();
    XMP(const XMP&) = delete;
    XMP& operator=(const XMP&) = delete;

    // False when the packet could not be parsed.
    bool parsed() const;
    // True when the packet has no properties and no unparsed text: nothing to write.
    bool empty() const;

    // Generic operations on (namespace, property path). Reads give empty text or no items for
    // absent properties.
    std::string getProperty(const char* ns, const std::string& path) const;
    std::string getFirstItem(const char* ns, const std::string& path) const;
    std::vector<std::string> getAllItems(const char* ns, const std::string& path) const;
    void setProperty(const char* ns, const std::string& path, const std::string& value);
    void setDefaultLanguageAlternative(const char* ns, const std::string& path, const std::string& value);
    void appendItem(const char* ns, const std::string& path, const std::string& value);
    void deleteProperty(const char* ns, const std::string& path);

    // Copies the serialised packet to `out` in pieces of at most 1023 bytes; returns the size of
    // the last piece, below 1 once the text is exhausted.
    int writePacket(std::ostream& out) const;
    // The serialised packet; empty for an empty packet. A packet read from a file and not used
    // since is given back exactly as it came.
    std::string packetText() const;

    // Property accessors.
    std::string title() const { return getFirstItem(NamespaceDublinCore, DCTitle); }
    void setTitle(const std::string& v) { setDefaultLanguageAlternative(NamespaceDublinCore, DCTitle, v); }
    std::string creator() const { return getProperty(NamespaceDublinCore, DCCreator); }
    void setCreator(const std::string& v);
    std::string authorsPosition() const { return getProperty(NamespacePhotoshop, PSAuthorsPosition); }
    void setAuthorsPosition(const std::string& v) { setProperty(NamespacePhotoshop, PSAuthorsPosition, v); }
    std::string description() const { return getFirstItem(NamespaceDublinCore, DCDescription); }
    void setDescription(const std::string& v) { setDefaultLanguageAlternative(NamespaceDublinCore, DCDescription, v); }
    std::string captionWriter() const { return getProperty(NamespacePhotoshop, PSCaptionWriter); }
    void setCaptionWriter(const std::string& v) { setProperty(NamespacePhotoshop, PSCaptionWriter, v); }
    std::string rights() const { return getFirstItem(NamespaceDublinCore, DCRights); }
    void setRights(const std::string& v) { setDefaultLanguageAlternative(NamespaceDublinCore, DCRights, v); }
    std::vector<std::string> subject() const { return getAllItems(NamespaceDublinCore, DCSubject); }
    void appendSubject(const std::string& v) { appendItem(NamespaceDublinCore, DCSubject, v); }
    std::string headline() const { return getProperty(NamespacePhotoshop, PSHeadline); }
    void setHeadline(const std::string& v) { setProperty(NamespacePhotoshop, PSHeadline, v); }
    std::string instructions() const { return getProperty(NamespacePhotoshop, PSInstructions); }
    void setInstructions(const std::string& v) { setProperty(NamespacePhotoshop, PSInstructions, v); }
    std::string credit() const { return getProperty(NamespacePhotoshop, PSCredit); }
    void setCredit(const std::string& v) { setProperty(NamespacePhotoshop, PSCredit, v); }
    std::string source() const { return getProperty(NamespacePhotoshop, PSSource); }
    void setSource(const std::string& v) { setProperty(NamespacePhotoshop, PSSource, v); }
    std::string city() const { return getProperty(NamespacePhotoshop, PSCity); }
    void setCity(const std::string& v) { setProperty(NamespacePhotoshop, PSCity, v); }
    std::string state() const { return getProperty(NamespacePhotoshop, PSState); }
    void setState(const std::string& v) { setProperty(NamespacePhotoshop, PSState, v); }
    std::string country() const { return getProperty(NamespacePhotoshop, PSCountry); }
    void setCountry(const std::string& v) { setProperty(NamespacePhotoshop, PSCountry, v); }
    std::string transmissionReference() const { return getProperty(NamespacePhotoshop, PSTransmissionReference); }
    void setTransmissionReference(const std::string& v) { setProperty(NamespacePhotoshop, PSTransmissionReference, v); }
    std::string dateCreated() const { return getProperty(NamespacePhotoshop, PSDateCreated); }
    // Writes the value's ISO text (a date and time, or a date alone).
    void setDateCreated(const ISODateTime& v) { setProperty(NamespacePhotoshop, PSDateCreated, v.text()); }
    std::string category() const { return getProperty(NamespacePhotoshop, PSCategory); }
    void setCategory(const std::string& v) { setProperty(NamespacePhotoshop, PSCategory, v); }
    std::vector<std::string> supplementalCategories() const
    {
        return getAllItems(NamespacePhotoshop, PSSupplementalCategories);
    }
    void appendSupplementalCategory(const std::string& v) { appendItem(NamespacePhotoshop, PSSupplementalCategories, v); }

    std::string documentID() const { return getProperty(NamespaceMediaManagement, MMDocumentID); }
    // One value of the packet: a simple property, an item of an array, or a field of a structure.
    struct Property {
        std::string ns;         // the namespace of the top property ("http://purl.org/dc/elements/1.1/")
        std::string path;       // its path in the tree ("dc:subject[2]", "xmpBJ:JobRef[1]/stJob:name")
        std::string value;
        bool alternative = false;  // an item of a language alternative (the first is the default)
    };
    // Every value of the packet, in the packet's order (qualifiers left out).
    std::vector<Property> properties() const;

    // The resource the packet describes (rdf:about); empty when none is named.
    std::string aboutURI() const;
    // The toolkit that wrote the packet (x:xmptk); empty when it names none.
    std::string toolkit() const;
    void setAboutURI(const std::string& uri);
    // Gives a packet without a DocumentID one ("lumenoworks:docid:lumeno:" and a new GUID), and
    // one without an about-URI "uuid:" and another GUID. Identities already there are kept.
    void ensureDocumentIdentity();
    // Empties the packet.
    void clear();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// A GUID in the system's layout, and its text in the usual 8-4-4-4-12 form (upper case).
struct GUID {
    std::uint32_t data1 = 0;
    std::uint16_t data2 = 0;
    std::uint16_t data3 = 0;
    std::uint8_t data4[8] = {};
};
std::string guidText(const GUID& guid);
// A new random GUID (RFC 4122 version 4). The program installs the system's own generator at
// start where there is one; until then this is it.
GUID randomGUID();
using GUIDFunction = GUID (*)();
void setGUIDFunction(GUIDFunction function) noexcept;
GUID newGUID();

} // namespace Metadata
