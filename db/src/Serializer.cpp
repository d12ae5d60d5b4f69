#include "Lumeno/DB/Serializer.h"

#include "Resources.h"

#include <Lumeno/Platform/Services.h>
#include <Metadata/Text.h>

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/uri.h>
#include <libxml/xmlsave.h>
#include <libxslt/security.h>
#include <libxslt/transform.h>
#include <libxslt/xsltInternals.h>
#include <libxslt/xsltutils.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <system_error>

namespace fs = std::filesystem;

namespace Lumeno::DB {

const char* const Serializer::NamespaceURI = "http://www.lumenoworks.com/namespace/gallery/1.0/";
const char* const Serializer::DocumentName = "LumenoGallery.xml";
const char* const Serializer::LinkName = "LumenoGallery.XML";

namespace {

const char* const XLinkURI = "http://www.w3.org/1999/xlink";

const xmlChar* X(const char* s)
{
    return reinterpret_cast<const xmlChar*>(s);
}
const char* C(const xmlChar* s)
{
    return reinterpret_cast<const char*>(s);
}

[[noreturn]] void failedExport(const std::string& path, int code = 0)
{
    throw ErrorDb(code != 0 ? code : (errno != 0 ? errno : EIO), "Failed to export to: " + path);
}

// Text from pictures is bytes in whatever character set the camera or editor used. The
// document needs UTF-8 without control characters: valid UTF-8 passes, anything else is taken
// as Latin-1, and characters that XML cannot hold are dropped.
std::string xmlText(const std::string& in)
{
    std::string out = Metadata::Text::toUtf8(in);
    out.erase(std::remove_if(out.begin(), out.end(),
                             [](char c) {
                                 const auto b = static_cast<unsigned char>(c);
                                 return b < 0x20 && c != '\t' && c != '\n' && c != '\r';
                             }),
              out.end());
    // U+FFFE and U+FFFF are not characters XML can hold.
    for (const char* bad : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
        for (std::size_t at = out.find(bad); at != std::string::npos; at = out.find(bad, at)) {
            out.erase(at, 3);
        }
    }
    return out;
}

// Puts one file of an export in place: written under a temporary name beside it and renamed
// over it, so that a symbolic link someone left under its name is replaced, never followed, and
// no half-written file is ever seen. It gets the mode any new file of the user's gets. A folder
// in the way is a failure.
void writeBytes(const fs::path& file, const void* data, std::size_t size)
{
    std::error_code ec;
    if (fs::is_directory(fs::symlink_status(file, ec))) {
        failedExport(file.u8string(), EISDIR);
    }
    std::string temporary;
    try {
        temporary = Platform::services().createTemporaryFile(file.parent_path().u8string(),
                                                             "." + file.filename().u8string() + ".lumeno-", false);
    } catch (const std::system_error& e) {
        failedExport(file.u8string(), e.code().value());
    }
    std::ofstream out(fs::u8path(temporary), std::ios::binary | std::ios::trunc);
    out.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
    out.close();
    const int error = errno;
    if (!out) {
        fs::remove(fs::u8path(temporary), ec);
        failedExport(file.u8string(), error);
    }
    fs::rename(fs::u8path(temporary), file, ec);
    if (ec) {
        fs::remove(fs::u8path(temporary), ec);
        failedExport(file.u8string(), ec.value());
    }
}

std::string readFileBytes(const fs::path& file)
{
    std::ifstream in(file, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (!in.good() && !in.eof()) {
        failedExport(file.u8string());
    }
    return bytes;
}

void initialise()
{
    static const bool done = [] {
        xmlInitParser();
        return true;
    }();
    (void)done;
}

struct DocFree {
    void operator()(xmlDoc* d) const { xmlFreeDoc(d); }
};
using Doc = std::unique_ptr<xmlDoc, DocFree>;

class Writer {
public:
    explicit Writer(const std::string& name) : doc_(xmlNewDoc(X("1.0")))
    {
        xmlNode* pi = xmlNewDocPI(doc_.get(), X("xml-stylesheet"), X("type=\"text/xsl\" href=\"LumenoGallery.XSL\""));
        xmlAddChild(reinterpret_cast<xmlNode*>(doc_.get()), pi);
        // The root stays outside the gallery namespace; everything below it is inside.
        root_ = xmlNewDocNode(doc_.get(), nullptr, X("gallery"), nullptr);
        xmlDocSetRootElement(doc_.get(), root_);
        pg_ = xmlNewNs(root_, X(Serializer::NamespaceURI), X("pg"));
        xlink_ = xmlNewNs(root_, X(XLinkURI), X("xlink"));
        text(root_, "name", name);
    }

    xmlNode* text(xmlNode* parent, const char* element, const std::string& value)
    {
        return xmlNewTextChild(parent, pg_, X(element), X(xmlText(value).c_str()));
    }

    xmlNode* link(xmlNode* parent, const char* element, const std::string& href, const std::string& title,
                  const char* show, const char* actuate)
    {
        xmlNode* node = xmlNewChild(parent, pg_, X(element), nullptr);
        xmlNewNsProp(node, xlink_, X("type"), X("simple"));
        if (!href.empty()) {
            xmlNewNsProp(node, xlink_, X("href"), X(xmlText(href).c_str()));
        }
        xmlNewNsProp(node, xlink_, X("title"), X(xmlText(title).c_str()));
        xmlNewNsProp(node, xlink_, X("show"), X(show));
        xmlNewNsProp(node, xlink_, X("actuate"), X(actuate));
        return node;
    }

    xmlNode* root() const { return root_; }
    xmlDoc* doc() const { return doc_.get(); }

private:
    Doc doc_;
    xmlNode* root_ = nullptr;
    xmlNs* pg_ = nullptr;
    xmlNs* xlink_ = nullptr;
};

// The page refers to its files in lower case and other documents link "LumenoGallery.XML"; a
// file system that tells letter case apart gets links under those names too.
void addCaseAliases(const fs::path& folder)
{
    static const std::pair<const char*, const char*> aliases[] = {{"LumenoGallery.css", "LumenoGallery.CSS"},
                                                                  {"__Lumeno.gif", "__Lumeno.GIF"},
                                                                  {"__gallery.gif", "__gallery.GIF"},
                                                                  {"LumenoGallery.XML", "LumenoGallery.xml"}};
    for (const auto& [alias, file] : aliases) {
        std::error_code ec;
        const fs::file_status status = fs::symlink_status(folder / alias, ec);
        if (fs::is_symlink(status)) {
            fs::remove(folder / alias, ec); // made anew: an old link may lead anywhere
        } else if (fs::exists(status)) {
            continue; // the file itself, on a file system that does not tell letter case apart
        }
        fs::create_symlink(file, folder / alias, ec);
        if (ec) {
            const std::string bytes = readFileBytes(folder / file);
            writeBytes(folder / alias, bytes.data(), bytes.size());
        }
    }
}

// Nothing outside a gallery document is ever loaded while reading it.
xmlParserInputPtr loadNothing(const char*, const char*, xmlParserCtxtPtr)
{
    return nullptr;
}

struct ReadState {
    GalleryDocument document;
    std::vector<std::string> path; // local names of the open elements
    std::string text;
    bool galleryRoot = false;
    bool foreign = false;
};

std::string attribute(int count, const xmlChar** attributes, const char* name)
{
    for (int i = 0; i < count; ++i) {
        const xmlChar** a = attributes + 5 * i;
        if (a[2] != nullptr && std::strcmp(C(a[2]), XLinkURI) == 0 && std::strcmp(C(a[0]), name) == 0) {
            // The parser hands over an ampersand in a value as its character reference.
            std::string value(C(a[3]), static_cast<std::size_t>(a[4] - a[3]));
            for (std::size_t at = value.find("&#38;"); at != std::string::npos; at = value.find("&#38;", at + 1)) {
                value.replace(at, 5, "&");
            }
            return value;
        }
    }
    return {};
}

void startElement(void* context, const xmlChar* localName, const xmlChar*, const xmlChar* uri, int, const xmlChar**,
                  int attributeCount, int, const xmlChar** attributes)
{
    auto* s = static_cast<ReadState*>(context);
    const std::string name = C(localName);
    const bool inNamespace = uri != nullptr && std::strcmp(C(uri), Serializer::NamespaceURI) == 0;
    if (s->path.empty()) {
        s->galleryRoot = name == "gallery" && uri == nullptr;
    } else if (!inNamespace) {
        s->foreign = true;
    }
    s->path.push_back(name);
    s->text.clear();
    if (s->path.size() == 2 && name == "subGallery") {
        s->document.subGalleries.push_back({attribute(attributeCount, attributes, "title"),
                                            Serializer::pathOfAddress(attribute(attributeCount, attributes, "href"))});
    } else if (s->path.size() == 2 && name == "image") {
        GalleryImage image;
        image.path = Serializer::pathOfAddress(attribute(attributeCount, attributes, "href"));
        s->document.images.push_back(std::move(image));
    } else if (s->path.size() == 3 && name == "thumbnail" && !s->document.images.empty()) {
        const std::string href = attribute(attributeCount, attributes, "href");
        s->document.images.back().thumbnailPath = href.empty() ? std::string() : Serializer::pathOfAddress(href);
    }
}

void characters(void* context, const xmlChar* text, int length)
{
    static_cast<ReadState*>(context)->text.append(C(text), static_cast<std::size_t>(length));
}

void endElement(void* context, const xmlChar*, const xmlChar*, const xmlChar*)
{
    auto* s = static_cast<ReadState*>(context);
    const std::string name = s->path.back();
    const std::size_t depth = s->path.size();
    std::string text;
    text.swap(s->text);
    if (depth == 2 && name == "name") {
        s->document.name = text;
    } else if (depth == 3 && s->path[1] == "image" && name == "name" && !s->document.images.empty()) {
        s->document.images.back().name = text;
    } else if (depth == 4 && s->path[1] == "image" && s->path[2] == "metadata" && !s->document.images.empty()) {
        GalleryImage& image = s->document.images.back();
        StoreImageEntry& e = image.entry;
        if (name == "title") image.title = text;
        else if (name == "creator") e.byLine = text;
        else if (name == "authorsPosition") e.byLineTitle = text;
        else if (name == "description") e.caption = text;
        else if (name == "rights") image.rights = text;
        else if (name == "dateCreated") e.dateCreated = text;
        else if (name == "timeCreated") e.timeCreated = text;
        else if (name == "city") e.city = text;
        else if (name == "state") e.provinceState = text;
        else if (name == "country") e.countryName = text;
        else if (name == "credit") e.credit = text;
        else if (name == "source") e.source = text;
        else if (name == "headline") e.headline = text;
        else if (name == "instructions") e.specialInstructions = text;
        else if (name == "transmissionReference") e.originalTransmissionReference = text;
        else if (name == "keyword") e.keywords.push_back(text);
        else if (name == "category") e.category = text;
        else if (name == "supplementalCategory") e.supplementalCategories.push_back(text);
        else if (name == "XMP" && text == "true") e.flags |= StoreImageEntry::HasXMP;
        else if (name == "IPTC" && text == "true") e.flags |= StoreImageEntry::HasIPTC;
        else if (name == "EXIF" && text == "true") e.flags |= StoreImageEntry::HasEXIF;
    } else if (depth == 4 && s->path[1] == "image" && s->path[2] == "archive" && !s->document.images.empty()) {
        StoreImageEntry& e = s->document.images.back().entry;
        if (name == "archivePath") e.archivePath = text;
        else if (name == "archiveLabel") e.archiveLabel = text;
    }
    s->path.pop_back();
}

} // namespace

std::string Serializer::fileAddress(const std::string& path)
{
    std::string p = path;
    for (char& c : p) {
        if (c == '\\') {
            c = '/';
        }
    }
    if (!p.empty() && p.front() == '/') {
        p.erase(0, 1);
    }
    xmlChar* escaped = xmlURIEscapeStr(X(p.c_str()), X(":/"));
    std::string address = std::string("file:///") + (escaped != nullptr ? C(escaped) : "");
    xmlFree(escaped);
    return address;
}

std::string Serializer::pathOfAddress(const std::string& address)
{
    static const std::string prefix = "file:///";
    if (address.compare(0, prefix.size(), prefix) != 0) {
        return address;
    }
    char* raw = xmlURIUnescapeString(address.c_str() + prefix.size(), 0, nullptr);
    std::string rest = raw != nullptr ? raw : "";
    xmlFree(raw);
    const bool drive = rest.size() >= 2 && rest[1] == ':' && std::isalpha(static_cast<unsigned char>(rest[0]));
    return drive ? rest : "/" + rest;
}

std::string Serializer::stylesheetResource()
{
    return std::string(reinterpret_cast<const char*>(Resources::stylesheet), Resources::stylesheetSize);
}

std::string Serializer::logoResource()
{
    return std::string(reinterpret_cast<const char*>(Resources::logo), Resources::logoSize);
}

std::string Serializer::installationFolder()
{
    const char* folder = std::getenv("LUMENO_DATA_DIR");
    if (folder != nullptr && folder[0] != '\0') {
        return folder;
    }
    // Found from the program itself, so that an installed or moved program finds its files: the
    // data folder of the installation (which the build tree mirrors), or the program's own
    // folder (where the Windows installer puts everything).
    const std::string program = Platform::services().programFolder();
    const std::string installed = program + "/" + LUMENO_DATA_FROM_PROGRAM;
    for (const std::string& candidate : {installed, program}) {
        std::error_code ec;
        if (fs::is_regular_file(fs::u8path(candidate) / "LumenoGallery.CSS", ec)) {
            return candidate;
        }
    }
    return installed;
}

void Serializer::writeGallery(GalleryDocument& document, const std::string& folder)
{
    initialise();
    const fs::path target = fs::u8path(folder);
    std::error_code ec;
    fs::create_directories(target, ec);
    if (ec || !fs::is_directory(target, ec)) {
        failedExport(folder, ec ? ec.value() : ENOTDIR);
    }

    Writer writer(document.name);
    for (const GalleryLink& sub : document.subGalleries) {
        writer.link(writer.root(), "subGallery", fileAddress(sub.path), sub.title, "replace", "onRequest");
    }
    int number = 0;
    for (GalleryImage& image : document.images) {
        ++number;
        xmlNode* node = writer.link(writer.root(), "image", fileAddress(image.path), image.name, "new", "onRequest");
        writer.text(node, "name", image.name);
        std::string thumbnailAddress;
        if (!image.thumbnail.empty()) {
            char file[32];
            std::snprintf(file, sizeof file, "__thumb%04d.jpg", number);
            const fs::path thumbnail = target / file;
            writeBytes(thumbnail, image.thumbnail.data(), image.thumbnail.size());
            image.thumbnailPath = thumbnail.u8string();
            thumbnailAddress = fileAddress(image.thumbnailPath);
        }
        writer.link(node, "thumbnail", thumbnailAddress, image.name, "embed", "onLoad");

        const StoreImageEntry& e = image.entry;
        xmlNode* metadata = xmlNewChild(node, xmlSearchNsByHref(writer.doc(), writer.root(), X(NamespaceURI)),
                                        X("metadata"), nullptr);
        writer.text(metadata, "title", image.title);
        writer.text(metadata, "creator", e.byLine);
        writer.text(metadata, "authorsPosition", e.byLineTitle);
        writer.text(metadata, "description", e.caption);
        writer.text(metadata, "captionWriter", "");
        writer.text(metadata, "rights", image.rights);
        writer.text(metadata, "dateCreated", e.dateCreated);
        writer.text(metadata, "timeCreated", e.timeCreated);
        writer.text(metadata, "city", e.city);
        writer.text(metadata, "state", e.provinceState);
        writer.text(metadata, "country", e.countryName);
        writer.text(metadata, "credit", e.credit);
        writer.text(metadata, "source", e.source);
        writer.text(metadata, "headline", e.headline);
        writer.text(metadata, "instructions", e.specialInstructions);
        writer.text(metadata, "transmissionReference", e.originalTransmissionReference);
        for (const std::string& keyword : e.keywords) {
            writer.text(metadata, "keyword", keyword);
        }
        writer.text(metadata, "category", e.category);
        for (const std::string& category : e.supplementalCategories) {
            writer.text(metadata, "supplementalCategory", category);
        }
        // A marker says the image carried that kind of metadata when the store last read it.
        if (e.flags & StoreImageEntry::HasXMP) {
            writer.text(metadata, "XMP", "true");
        }
        if (e.flags & StoreImageEntry::HasIPTC) {
            writer.text(metadata, "IPTC", "true");
        }
        if (e.flags & StoreImageEntry::HasEXIF) {
            writer.text(metadata, "EXIF", "true");
        }
        if (!e.archivePath.empty()) {
            xmlNode* archive = xmlNewChild(node, xmlSearchNsByHref(writer.doc(), writer.root(), X(NamespaceURI)),
                                           X("archive"), nullptr);
            writer.text(archive, "archivePath", e.archivePath);
            writer.text(archive, "archiveLabel", e.archiveLabel);
        }
    }

    const fs::path documentFile = target / DocumentName;
    {
        xmlChar* text = nullptr;
        int length = 0;
        xmlDocDumpFormatMemoryEnc(writer.doc(), &text, &length, "UTF-8", 1);
        if (text == nullptr) {
            failedExport(documentFile.u8string(), ENOMEM);
        }
        const std::unique_ptr<xmlChar, void (*)(void*)> owned(text, xmlFree);
        writeBytes(documentFile, text, static_cast<std::size_t>(length));
    }
    const std::string stylesheet = stylesheetResource();
    writeBytes(target / "LumenoGallery.XSL", stylesheet.data(), stylesheet.size());
    const std::string logo = logoResource();
    writeBytes(target / "__Lumeno.GIF", logo.data(), logo.size());
    const fs::path installed = fs::u8path(installationFolder());
    for (const char* file : {"LumenoGallery.CSS", "__gallery.GIF"}) {
        if (!fs::is_regular_file(installed / file, ec)) {
            failedExport((target / file).u8string(), ENOENT);
        }
        const std::string bytes = readFileBytes(installed / file);
        writeBytes(target / file, bytes.data(), bytes.size());
    }
    addCaseAliases(target);

    const std::string page = transform(documentFile.u8string());
    writeBytes(target / "index.html", page.data(), page.size());
}

GalleryDocument Serializer::readGallery(const std::string& file)
{
    initialise();
    xmlSAXHandler handler;
    std::memset(&handler, 0, sizeof handler);
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = startElement;
    handler.endElementNs = endElement;
    handler.characters = characters;
    handler.cdataBlock = characters;

    ReadState state;
    const xmlExternalEntityLoader previous = xmlGetExternalEntityLoader();
    xmlSetExternalEntityLoader(loadNothing);
    // The document is read here, so that the parser itself has nothing to load.
    std::ifstream in(fs::u8path(file), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (!in.good() && !in.eof()) {
        xmlSetExternalEntityLoader(previous);
        throw ErrorDb(EIO, "cannot read the gallery document " + file);
    }
    if (!in.is_open() || bytes.size() > static_cast<std::size_t>(INT32_MAX)) {
        xmlSetExternalEntityLoader(previous);
        throw ErrorDb(ENOENT, "cannot read the gallery document " + file);
    }
    const int result = xmlSAXUserParseMemory(&handler, &state, bytes.data(), static_cast<int>(bytes.size()));
    xmlSetExternalEntityLoader(previous);
    if (result != 0) {
        throw ErrorDb(result, "cannot read the gallery document " + file);
    }
    if (!state.galleryRoot || state.foreign) {
        throw ErrorDb(EINVAL, file + " is not a gallery document");
    }
    return std::move(state.document);
}

std::string Serializer::transform(const std::string& documentFile)
{
    initialise();
    const std::string text = stylesheetResource();
    xmlDoc* styleDoc = xmlReadMemory(text.data(), static_cast<int>(text.size()), "LumenoGallery.XSL", nullptr, XML_PARSE_NONET);
    xsltStylesheet* style = styleDoc != nullptr ? xsltParseStylesheetDoc(styleDoc) : nullptr;
    if (style == nullptr) {
        xmlFreeDoc(styleDoc);
        throw ErrorDb(EINVAL, "the gallery stylesheet does not parse");
    }
    std::unique_ptr<xsltStylesheet, void (*)(xsltStylesheet*)> styleHolder(style, xsltFreeStylesheet);

    Doc document(xmlReadFile(documentFile.c_str(), nullptr, XML_PARSE_NONET));
    if (!document) {
        failedExport(documentFile);
    }
    // The transformation reads nothing more and writes nothing.
    xsltSecurityPrefs* prefs = xsltNewSecurityPrefs();
    for (xsltSecurityOption option : {XSLT_SECPREF_READ_FILE, XSLT_SECPREF_WRITE_FILE, XSLT_SECPREF_CREATE_DIRECTORY,
                                      XSLT_SECPREF_READ_NETWORK, XSLT_SECPREF_WRITE_NETWORK}) {
        xsltSetSecurityPrefs(prefs, option, xsltSecurityForbid);
    }
    xsltTransformContext* context = xsltNewTransformContext(style, document.get());
    xsltSetCtxtSecurityPrefs(prefs, context);
    Doc page(xsltApplyStylesheetUser(style, document.get(), nullptr, nullptr, nullptr, context));
    xsltFreeTransformContext(context);
    xsltFreeSecurityPrefs(prefs);
    if (!page) {
        failedExport(documentFile);
    }
    xmlChar* bytes = nullptr;
    int length = 0;
    if (xsltSaveResultToString(&bytes, &length, page.get(), style) != 0) {
        failedExport(documentFile);
    }
    std::string out(C(bytes), static_cast<std::size_t>(length));
    xmlFree(bytes);
    return out;
}

} // namespace Lumeno::DB
