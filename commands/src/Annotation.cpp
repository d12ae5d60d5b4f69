#include "Lumeno/Commands/Annotation.h"

#include "Lumeno/Commands/Command.h"
#include "Rewrite.h"

#include <Lumeno/DB/Engine.h>
#include <Lumeno/Platform/Services.h>
#include <Metadata/Exceptions.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/Text.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <system_error>

namespace Lumeno::Commands {

namespace {

constexpr std::uint8_t TagMarker = 0x1C;

std::string lower(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

bool holds(const Metadata::IPTC& record, std::uint8_t dataSet, const std::string& text)
{
    const std::vector<std::string> values = record.values(dataSet);
    return std::any_of(values.begin(), values.end(), [&](const std::string& v) { return DB::sameKey(v, text); });
}

} // namespace

// ---- Edits ---------------------------------------------------------------------------------

std::uint8_t iptcDataSetNamed(const std::string& name)
{
    const std::size_t skip = name.rfind("2:", 0) == 0 ? 2 : 0;
    const char* first = name.data() + skip;
    const char* last = name.data() + name.size();
    unsigned n = 0;
    const auto [end, error] = std::from_chars(first, last, n);
    if (first != last && error == std::errc() && end == last && n > 0 && n < 256 &&
        Metadata::Record2DataSet::info(static_cast<std::uint8_t>(n)) != nullptr) {
        return static_cast<std::uint8_t>(n);
    }
    for (const Metadata::DataSetInfo* row = Metadata::Record2DataSet::table(); row->number != 0; ++row) {
        if (DB::sameKey(row->name, name)) {
            return row->number;
        }
    }
    throw std::invalid_argument("unknown IPTC dataset '" + name + "'");
}

void applyIptcEdits(Metadata::IPTC& record, const std::vector<IptcEdit>& edits, std::vector<std::uint8_t>& removed)
{
    for (const IptcEdit& e : edits) {
        switch (e.kind) {
        case IptcEdit::Set:
            record.set(e.dataSet, e.text);
            break;
        case IptcEdit::Add:
            record.add(e.dataSet, e.text);
            break;
        case IptcEdit::Remove:
            record.remove(e.dataSet);
            removed.push_back(e.dataSet);
            break;
        case IptcEdit::Merge:
            if (!holds(record, e.dataSet, e.text)) {
                record.add(e.dataSet, e.text);
            }
            break;
        case IptcEdit::Extend: {
            std::vector<std::string> values = record.values(e.dataSet);
            values.push_back(e.text);
            record.set(e.dataSet, values);
            break;
        }
        }
    }
}

void Detail::rewriteFile(const std::string& path, const AnnotateOptions& options, const RecordChange& change)
{
    Metadata::ImageStreamT stream;
    std::unique_ptr<Metadata::ImageMetadata> image = Metadata::openImage(path, stream);
    std::vector<std::uint8_t> removed;
    change(*image, removed);
    Platform::SafeWriteOptions writeOptions;
    writeOptions.makeBackup = options.backup;
    writeOptions.keepModificationTime = options.keepModificationTime;
    Platform::writeFileSafely(path, [&](const std::string& temporary) {
        if (options.clearXmp && options.removeIptc) {
            image->clearXMPAndWrite(temporary);
        } else if (options.clearXmp) {
            image->clearXMP();
            image->writeWithIPTC(temporary);
        } else if (options.removeIptc) {
            image->writeWithoutIPTC(temporary);
        } else {
            image->updateAndWrite(temporary, removed);
        }
        // The source must be closed before the new file takes its place (Windows will not
        // replace an open file).
        stream.close();
    }, writeOptions);
}

void annotateFile(const std::string& path, const std::vector<IptcEdit>& edits, const AnnotateOptions& options)
{
    if (options.removeIptc && !edits.empty()) {
        throw std::invalid_argument("a record cannot be both edited and removed");
    }
    Detail::rewriteFile(path, options, [&](Metadata::ImageMetadata& image, std::vector<std::uint8_t>& removed) {
        applyIptcEdits(image.iptc(), edits, removed);
    });
}

void removeIptc(const std::string& path, AnnotateOptions options)
{
    options.removeIptc = true;
    annotateFile(path, {}, options);
}

// ---- Raw records ---------------------------------------------------------------------------

std::vector<std::uint8_t> rawIptcOf(const std::string& path)
{
    Metadata::ImageStreamT stream;
    const std::unique_ptr<Metadata::ImageMetadata> image = Metadata::openImage(path, stream);
    return image->iptc().empty() ? std::vector<std::uint8_t>() : image->iptc().serialize();
}

Metadata::IPTC parseRawIptc(const std::vector<std::uint8_t>& block)
{
    const std::size_t size = block.size();
    if (size > MaxRawIptcSize) {
        throw std::invalid_argument("an IPTC record of " + std::to_string(size) + " bytes is refused: it may have " +
                                    std::to_string(MaxRawIptcSize) + " bytes at most");
    }
    const auto refuse = [](std::size_t at, const std::string& what) {
        throw std::invalid_argument("not an IPTC record: " + what + " at byte " + std::to_string(at));
    };
    std::size_t at = 0;
    std::size_t dataSets = 0;
    while (at < size) {
        if (block[at] == 0 && dataSets > 0 &&
            std::all_of(block.begin() + static_cast<std::ptrdiff_t>(at), block.end(), [](std::uint8_t b) { return b == 0; })) {
            break; // padding after the last dataset
        }
        if (block[at] != TagMarker) {
            refuse(at, "no dataset marker (1C)");
        }
        if (size - at < Metadata::DataSet::HeaderSize) {
            refuse(at, "a dataset header cut short");
        }
        // IIM 4.2 defines records 1 to 9.
        if (block[at + 1] < 1 || block[at + 1] > 9) {
            refuse(at, "a dataset of record " + std::to_string(block[at + 1]));
        }
        std::uint64_t length = static_cast<std::uint64_t>((block[at + 3] << 8) | block[at + 4]);
        std::size_t header = Metadata::DataSet::HeaderSize;
        if ((length & 0x8000u) != 0) {
            // An extended length (IIM 4.2, the extended dataset tag): the low bits count the
            // length bytes that follow the header.
            const std::size_t count = static_cast<std::size_t>(length & 0x7FFFu);
            if (count == 0 || count > 4) {
                refuse(at, "an extended length of " + std::to_string(count) + " bytes");
            }
            if (size - at - header < count) {
                refuse(at, "an extended length cut short");
            }
            length = 0;
            for (std::size_t i = 0; i < count; ++i) {
                length = (length << 8) | block[at + header + i];
            }
            header += count;
        }
        if (length > size - at - header) {
            refuse(at, "dataset " + std::to_string(block[at + 1]) + ":" + std::to_string(block[at + 2]) + " of " +
                           std::to_string(length) + " bytes with " + std::to_string(size - at - header) +
                           " left (cut short)");
        }
        at += header + static_cast<std::size_t>(length);
        ++dataSets;
    }
    return Metadata::IPTC(block.data(), block.size());
}

void pasteRawIptc(const std::string& path, const std::vector<std::uint8_t>& block, const AnnotateOptions& options)
{
    if (options.removeIptc) {
        throw std::invalid_argument("a record cannot be both pasted and removed");
    }
    Metadata::IPTC record = parseRawIptc(block);
    Detail::rewriteFile(path, options, [&](Metadata::ImageMetadata& image, std::vector<std::uint8_t>& removed) {
        for (const Metadata::Record2DataSet& d : image.iptc().dataSets()) {
            if (record.values(d.dataSet()).empty()) {
                removed.push_back(d.dataSet());
            }
        }
        image.iptc() = std::move(record);
    });
}

// ---- Templates -----------------------------------------------------------------------------

std::vector<IptcEdit> templateEdits(const Metadata::IPTC& dataSets)
{
    std::vector<IptcEdit> edits;
    bool replaced[256] = {};
    for (const Metadata::Record2DataSet& d : dataSets.dataSets()) {
        const std::uint8_t number = d.dataSet();
        if (number == Metadata::Record2DataSet::E_KEYWORD || number == Metadata::Record2DataSet::E_SUPPLEMENTAL_CATEGORY) {
            edits.push_back({IptcEdit::Merge, number, d.text()});
        } else {
            edits.push_back({replaced[number] ? IptcEdit::Extend : IptcEdit::Set, number, d.text()});
            replaced[number] = true;
        }
    }
    return edits;
}

std::string AnnotationTemplates::whyNotAName(const std::string& name)
{
    if (name.empty()) {
        return "a template's name must not be empty";
    }
    if (!Metadata::Text::isUtf8(name)) {
        return "a template's name must be UTF-8 text";
    }
    const auto characters = std::count_if(name.begin(), name.end(), [](char c) { return (c & 0xC0) != 0x80; });
    if (static_cast<std::size_t>(characters) > MaxNameLength) {
        return "a template's name may have " + std::to_string(MaxNameLength) + " characters at most, not " +
               std::to_string(characters);
    }
    for (const char c : name) {
        const auto u = static_cast<unsigned char>(c);
        if (u < 0x20 || u == 0x7F) {
            return "a template's name must not hold control characters";
        }
        if (c == '\\' || c == '=') {
            return std::string("a template's name must not hold '") + c + "'";
        }
    }
    if (name.front() == ' ' || name.back() == ' ') {
        return "a template's name must not begin or end with a space";
    }
    if (name.front() == '[' || name.front() == ';' || name.front() == '#') {
        return std::string("a template's name must not begin with '") + name.front() + "'";
    }
    return {};
}

std::vector<std::string> AnnotationTemplates::names() const
{
    std::vector<std::string> names = store_.valueNames(Section);
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
        const std::string la = lower(a);
        const std::string lb = lower(b);
        return la != lb ? la < lb : a < b;
    });
    return names;
}

bool AnnotationTemplates::find(const std::string& name, std::string& stored) const
{
    for (const std::string& n : store_.valueNames(Section)) {
        if (DB::sameKey(n, name)) {
            stored = n;
            return true;
        }
    }
    return false;
}

Metadata::IPTC AnnotationTemplates::read(const std::string& name) const
{
    std::string stored;
    if (!find(name, stored)) {
        throw UnknownTemplate("there is no template '" + name + "'");
    }
    std::vector<std::uint8_t> bytes;
    if (!store_.readBinary(Section, stored, bytes)) {
        throw std::runtime_error("the template '" + stored + "' is damaged: its value is not a block of bytes");
    }
    if (bytes.size() > MaxSize) {
        throw std::runtime_error("the template '" + stored + "' is damaged: " + std::to_string(bytes.size()) +
                                 " bytes, more than a template may have");
    }
    try {
        return parseRawIptc(bytes);
    } catch (const std::invalid_argument& e) {
        throw std::runtime_error("the template '" + stored + "' is damaged: " + e.what());
    }
}

void AnnotationTemplates::create(const std::string& name, const Metadata::IPTC& dataSets)
{
    if (const std::string why = whyNotAName(name); !why.empty()) {
        throw std::invalid_argument(why);
    }
    if (dataSets.empty()) {
        throw std::invalid_argument("a template needs at least one IPTC dataset");
    }
    // A template is made only of values it can apply.
    try {
        Metadata::IPTC probe;
        std::vector<std::uint8_t> removed;
        applyIptcEdits(probe, templateEdits(dataSets), removed);
    } catch (const Metadata::Exception& e) {
        throw std::invalid_argument("the template cannot hold these values: " + e.message());
    }
    const std::vector<std::uint8_t> bytes = dataSets.serialize();
    if (bytes.size() > MaxSize) {
        throw std::invalid_argument("a template of " + std::to_string(bytes.size()) + " bytes is refused: it may have " +
                                    std::to_string(MaxSize) + " bytes at most");
    }
    // A name that differs only in letter case replaces the old one, under the new spelling. The
    // old value goes first: where names are compared without letter case (the registry), writing
    // the new one would otherwise write the old, and removing the old would then remove both.
    std::string stored;
    if (find(name, stored) && stored != name && !store_.remove(Section, stored)) {
        throw std::runtime_error("the template '" + stored + "' could not be replaced");
    }
    if (!store_.writeBinary(Section, name, bytes)) {
        throw std::runtime_error("the template '" + name + "' could not be written to the settings");
    }
}

void AnnotationTemplates::createFromFile(const std::string& name, const std::string& path)
{
    if (const std::string why = whyNotAName(name); !why.empty()) {
        throw std::invalid_argument(why);
    }
    Metadata::IPTC record;
    try {
        Metadata::ImageStreamT stream;
        record = Metadata::openImage(path, stream)->iptc();
    } catch (...) {
        throw std::runtime_error(path + ": " + failureReason(std::current_exception()));
    }
    if (record.empty()) {
        throw std::runtime_error(path + " has no IPTC datasets to make a template of");
    }
    create(name, record);
}

void AnnotationTemplates::remove(const std::string& name)
{
    std::string stored;
    if (!find(name, stored)) {
        throw UnknownTemplate("there is no template '" + name + "'");
    }
    if (!store_.remove(Section, stored)) {
        throw std::runtime_error("the template '" + stored + "' could not be removed from the settings");
    }
}

void AnnotationTemplates::applyTo(const std::string& name, const std::string& path, const AnnotateOptions& options) const
{
    annotateFile(path, templateEdits(read(name)), options);
}

} // namespace Lumeno::Commands
