#include "Metadata/XMP.h"

#include "Metadata/Exceptions.h"

#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_generators.hpp>

#include <exempi/xmp.h>
#include <exempi/xmpconsts.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <ostream>

namespace Metadata {

const char* const XMPConstants::NamespaceDublinCore = NS_DC;
const char* const XMPConstants::NamespacePhotoshop = NS_PHOTOSHOP;
const char* const XMPConstants::NamespaceMediaManagement = "http://ns.adobe.com/xap/1.0/mm/";

namespace {

// An exempi string, freed on every path.
class XmpString {
public:
    XmpString() : s_(xmp_string_new()) {}
    ~XmpString() { xmp_string_free(s_); }
    XmpString(const XmpString&) = delete;
    XmpString& operator=(const XmpString&) = delete;
    operator XmpStringPtr() const { return s_; }
    std::string str() const { return std::string(xmp_string_cstr(s_), xmp_string_len(s_)); }

private:
    XmpStringPtr s_;
};

struct XmpFree {
    void operator()(_Xmp* p) const { xmp_free(p); }
};
using XmpHandle = std::unique_ptr<_Xmp, XmpFree>;

std::string serialise(XmpPtr xmp, std::uint32_t options)
{
    XmpString buffer;
    if (!xmp_serialize(xmp, buffer, options, 0)) {
        METADATA_THROW(Exception, "the XMP packet could not be written");
    }
    return buffer.str();
}

std::string escapeAttribute(const std::string& text)
{
    std::string out;
    for (char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::atomic<GUIDFunction> g_guidFunction{nullptr};

// An rdf:about attribute in a packet's text: where it starts and ends, and where its value does.
struct AboutAttribute {
    std::size_t start = std::string::npos; // the "r" of rdf:about
    std::size_t valueStart = 0;
    std::size_t valueEnd = 0;              // the closing quote
};

bool isXmlSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// The first rdf:about attribute at or after `from`, in any of the forms XML allows: either
// quote, blanks around the equals sign (XML 1.0, section 3.1).
AboutAttribute findAttribute(const std::string& text, std::size_t from, const std::string& Name)
{
    for (std::size_t at = text.find(Name, from); at != std::string::npos; at = text.find(Name, at + 1)) {
        if (at == 0 || !isXmlSpace(text[at - 1])) {
            continue; // part of another name
        }
        std::size_t i = at + Name.size();
        while (i < text.size() && isXmlSpace(text[i])) {
            ++i;
        }
        if (i >= text.size() || text[i] != '=') {
            continue;
        }
        ++i;
        while (i < text.size() && isXmlSpace(text[i])) {
            ++i;
        }
        if (i >= text.size() || (text[i] != '"' && text[i] != '\'')) {
            continue;
        }
        const std::size_t close = text.find(text[i], i + 1);
        if (close == std::string::npos) {
            break;
        }
        return AboutAttribute{at, i + 1, close};
    }
    return {};
}

AboutAttribute findAbout(const std::string& text, std::size_t from)
{
    return findAttribute(text, from, "rdf:about");
}

// An attribute value with its character and entity references resolved (the five predefined
// entities and numeric references to ASCII characters).
std::string attributeValue(const std::string& raw)
{
    std::string out;
    for (std::size_t i = 0; i < raw.size(); ++i) {
        if (raw[i] != '&') {
            out += raw[i];
            continue;
        }
        const std::size_t semicolon = raw.find(';', i);
        if (semicolon == std::string::npos) {
            out += raw[i];
            continue;
        }
        const std::string name = raw.substr(i + 1, semicolon - i - 1);
        static const std::pair<const char*, char> Entities[] = {
            {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
        char replacement = 0;
        for (const auto& [entity, c] : Entities) {
            if (name == entity) {
                replacement = c;
            }
        }
        if (replacement == 0 && name.size() > 1 && name[0] == '#') {
            const bool hex = name[1] == 'x';
            unsigned value = 0;
            bool digits = name.size() > (hex ? 2u : 1u);
            for (std::size_t k = hex ? 2 : 1; k < name.size() && digits && value < 0x80; ++k) {
                const char c = name[k];
                const int d = c >= '0' && c <= '9'              ? c - '0'
                              : hex && c >= 'a' && c <= 'f' ? c - 'a' + 10
                              : hex && c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                            : -1;
                digits = d >= 0;
                value = value * (hex ? 16u : 10u) + static_cast<unsigned>(d >= 0 ? d : 0);
            }
            if (digits && value > 0 && value < 0x80) {
                replacement = static_cast<char>(value);
            }
        }
        if (replacement == 0) {
            out += raw[i];
            continue;
        }
        out += replacement;
        i = semicolon;
    }
    return out;
}

// The value of the first rdf:about attribute of a packet's text.
// The toolkit that wrote a packet, as its x:xmpmeta element names it.
std::string toolkitIn(const std::string& text)
{
    const AboutAttribute toolkit = findAttribute(text, 0, "x:xmptk");
    if (toolkit.start == std::string::npos) {
        return {};
    }
    return attributeValue(text.substr(toolkit.valueStart, toolkit.valueEnd - toolkit.valueStart));
}

std::string aboutIn(const std::string& text)
{
    const AboutAttribute about = findAbout(text, 0);
    if (about.start == std::string::npos) {
        return {};
    }
    return attributeValue(text.substr(about.valueStart, about.valueEnd - about.valueStart));
}

// Every rdf:about attribute of a packet's text set to `uri`.
void replaceAbout(std::string& text, const std::string& uri)
{
    const std::string replacement = "rdf:about=\"" + escapeAttribute(uri) + "\"";
    for (AboutAttribute at = findAbout(text, 0); at.start != std::string::npos;
         at = findAbout(text, at.start + replacement.size())) {
        text.replace(at.start, at.valueEnd + 1 - at.start, replacement);
    }
}

} // namespace

XMPConstants::XMPConstants()
{
    static std::once_flag once;
    std::call_once(once, [] {
        xmp_init();
        XmpString registered;
        xmp_register_namespace(NS_PHOTOSHOP, "photoshop", registered);
    });
}

struct XMP::Impl {
    XmpHandle xmp;
    std::string unparsed; // the packet as it came, when it did not parse
    // The about-URI is kept here: the toolkit moves a "uuid:" about-URI into xmpMM:InstanceID
    // when it parses, and has no call to set one.
    std::string about;
    std::string toolkit; // x:xmptk, which the toolkit does not keep either
    bool parsed = true;
    // A packet read from a file is parsed when it is first used: most readers (renaming, EXIF
    // dumps) never look at it, and parsing costs more than reading all the rest of a file.
    std::string pending;
    bool loaded = true;

    void load()
    {
        if (loaded) {
            return;
        }
        loaded = true;
        about = aboutIn(pending);
        toolkit = toolkitIn(pending);
        xmp.reset(xmp_new(pending.data(), pending.size()));
        if (!xmp) {
            parsed = false;
            unparsed = std::move(pending);
            xmp.reset(xmp_new_empty());
            if (!xmp) {
                METADATA_THROW0(MemoryError);
            }
        }
        pending.clear();
        pending.shrink_to_fit();
    }

    XmpPtr get()
    {
        load();
        return xmp.get();
    }

    void requireParsed()
    {
        load();
        if (!parsed) {
            METADATA_THROW(FileFormatException, "the XMP packet is not well-formed and cannot be changed");
        }
    }
};

XMP::XMP() : impl_(std::make_unique<Impl>())
{
    impl_->xmp.reset(xmp_new_empty());
    if (!impl_->xmp) {
        METADATA_THROW0(MemoryError);
    }
}

XMP::XMP(const char* packet, std::size_t size) : impl_(std::make_unique<Impl>())
{
    impl_->pending.assign(packet, size);
    impl_->loaded = false;
}

XMP::~XMP() = default;

bool XMP::parsed() const
{
    impl_->load();
    return impl_->parsed;
}

bool XMP::empty() const
{
    if (!impl_->loaded) {
        return impl_->pending.empty();
    }
    if (!impl_->parsed) {
        return impl_->unparsed.empty();
    }
    XmpIteratorPtr it = xmp_iterator_new(impl_->get(), nullptr, nullptr, XMP_ITER_JUSTLEAFNODES);
    if (it == nullptr) {
        return true;
    }
    XmpString schema, name, value;
    std::uint32_t options = 0;
    const bool any = xmp_iterator_next(it, schema, name, value, &options);
    xmp_iterator_free(it);
    return !any;
}

std::vector<XMP::Property> XMP::properties() const
{
    std::vector<Property> found;
    XmpPtr xmp = impl_->get();
    if (!impl_->parsed) {
        return found;
    }
    XmpIteratorPtr it = xmp_iterator_new(xmp, nullptr, nullptr, XMP_ITER_PROPERTIES);
    if (it == nullptr) {
        return found;
    }
    XmpString schema, name, value;
    std::uint32_t options = 0;
    std::vector<std::string> altTexts; // the language alternatives met so far
    while (xmp_iterator_next(it, schema, name, value, &options)) {
        const std::string path = name.str();
        // A schema's own node has no path; the toolkit marks it with a bit its C interface names
        // no constant for.
        constexpr std::uint32_t SchemaNode = 0x80000000u;
        if ((options & SchemaNode) != 0 || (options & XMP_PROP_IS_QUALIFIER) != 0 || path.empty()) {
            continue;
        }
        if ((options & XMP_PROP_ARRAY_IS_ALTTEXT) != 0) {
            altTexts.push_back(path + "[");
            continue;
        }
        if ((options & (XMP_PROP_VALUE_IS_STRUCT | XMP_PROP_VALUE_IS_ARRAY)) != 0) {
            continue; // its items and fields follow
        }
        if (path == "xmpMM:InstanceID" && value.str() == impl_->about) {
            continue; // the about-URI the toolkit moved here, not a property of the packet
        }
        Property p{schema.str(), path, value.str(), false};
        p.alternative = std::any_of(altTexts.begin(), altTexts.end(),
                                    [&](const std::string& alt) { return path.compare(0, alt.size(), alt) == 0; });
        found.push_back(std::move(p));
    }
    xmp_iterator_free(it);
    return found;
}

std::string XMP::getProperty(const char* ns, const std::string& path) const
{
    XmpString value;
    std::uint32_t bits = 0;
    if (!xmp_get_property(impl_->get(), ns, path.c_str(), value, &bits)) {
        return {};
    }
    return value.str();
}

std::string XMP::getFirstItem(const char* ns, const std::string& path) const
{
    return getProperty(ns, path + "/*[1]");
}

std::vector<std::string> XMP::getAllItems(const char* ns, const std::string& path) const
{
    std::vector<std::string> items;
    for (std::int32_t i = 1;; ++i) {
        XmpString value;
        std::uint32_t bits = 0;
        if (!xmp_get_array_item(impl_->get(), ns, path.c_str(), i, value, &bits)) {
            break;
        }
        items.push_back(value.str());
    }
    return items;
}

void XMP::setProperty(const char* ns, const std::string& path, const std::string& value)
{
    impl_->requireParsed();
    if (!xmp_set_property(impl_->get(), ns, path.c_str(), value.c_str(), 0)) {
        METADATA_THROW(Exception, "the XMP property " + path + " could not be set");
    }
}

void XMP::setDefaultLanguageAlternative(const char* ns, const std::string& path, const std::string& value)
{
    impl_->requireParsed();
    if (!xmp_set_localized_text(impl_->get(), ns, path.c_str(), "", "x-default", value.c_str(), 0)) {
        METADATA_THROW(Exception, "the XMP property " + path + " could not be set");
    }
}

void XMP::appendItem(const char* ns, const std::string& path, const std::string& value)
{
    impl_->requireParsed();
    if (!xmp_append_array_item(impl_->get(), ns, path.c_str(), XMP_PROP_VALUE_IS_ARRAY, value.c_str(), 0)) {
        METADATA_THROW(Exception, "an item could not be added to the XMP property " + path);
    }
}

void XMP::deleteProperty(const char* ns, const std::string& path)
{
    impl_->requireParsed();
    xmp_delete_property(impl_->get(), ns, path.c_str());
}

void XMP::setCreator(const std::string& v)
{
    // dc:creator is an ordered array; its first item is the one the program edits.
    impl_->requireParsed();
    if (xmp_has_property(impl_->get(), NamespaceDublinCore, "creator")) {
        setProperty(NamespaceDublinCore, "creator[1]", v);
    } else if (!xmp_append_array_item(impl_->get(), NamespaceDublinCore, "creator", XMP_PROP_ARRAY_IS_ORDERED,
                                      v.c_str(), 0)) {
        METADATA_THROW(Exception, "the XMP property creator could not be set");
    }
}

std::string XMP::packetText() const
{
    if (!impl_->loaded) {
        return impl_->pending; // never looked at, so never changed: written back as it came
    }
    if (!impl_->parsed) {
        return impl_->unparsed;
    }
    if (empty()) {
        return {};
    }
    std::string text = serialise(impl_->get(), 0);
    if (!impl_->about.empty()) {
        replaceAbout(text, impl_->about);
    }
    return text;
}

int XMP::writePacket(std::ostream& out) const
{
    const std::string text = packetText();
    std::size_t at = 0;
    int count = 0;
    do {
        count = static_cast<int>(std::min<std::size_t>(1023, text.size() - at));
        if (count > 0) {
            out.write(text.data() + at, count);
            at += static_cast<std::size_t>(count);
        }
    } while (count > 0);
    return count;
}

std::string XMP::aboutURI() const
{
    impl_->load();
    return impl_->about;
}

std::string XMP::toolkit() const
{
    impl_->load();
    return impl_->toolkit;
}

void XMP::setAboutURI(const std::string& uri)
{
    impl_->requireParsed();
    impl_->about = uri;
}

void XMP::ensureDocumentIdentity()
{
    impl_->requireParsed();
    if (documentID().empty()) {
        const std::string guid = guidText(newGUID());
        if (!guid.empty()) {
            setProperty(NamespaceMediaManagement, MMDocumentID, DocumentIDPrefix + guid);
        }
    }
    if (aboutURI().empty()) {
        setAboutURI(AboutPrefix + guidText(newGUID()));
    }
}

void XMP::clear()
{
    impl_->pending.clear();
    impl_->loaded = true;
    XmpHandle fresh(xmp_new_empty());
    if (!fresh) {
        METADATA_THROW0(MemoryError);
    }
    impl_->xmp = std::move(fresh);
    impl_->unparsed.clear();
    impl_->about.clear();
    impl_->parsed = true;
}

std::string guidText(const GUID& g)
{
    char text[40];
    std::snprintf(text, sizeof text, "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X", g.data1, g.data2, g.data3,
                  g.data4[0], g.data4[1], g.data4[2], g.data4[3], g.data4[4], g.data4[5], g.data4[6], g.data4[7]);
    return text;
}

GUID randomGUID()
{
    static std::mutex mutex;
    static boost::uuids::random_generator generator;
    boost::uuids::uuid u;
    {
        std::lock_guard<std::mutex> lock(mutex);
        u = generator();
    }
    GUID g;
    g.data1 = (std::uint32_t{u.data[0]} << 24) | (std::uint32_t{u.data[1]} << 16) | (std::uint32_t{u.data[2]} << 8) |
              u.data[3];
    g.data2 = static_cast<std::uint16_t>((u.data[4] << 8) | u.data[5]);
    g.data3 = static_cast<std::uint16_t>((u.data[6] << 8) | u.data[7]);
    for (int i = 0; i < 8; ++i) {
        g.data4[i] = u.data[8 + i];
    }
    return g;
}

void setGUIDFunction(GUIDFunction function) noexcept
{
    g_guidFunction.store(function);
}

GUID newGUID()
{
    const GUIDFunction f = g_guidFunction.load();
    return f != nullptr ? f() : randomGUID();
}

} // namespace Metadata
