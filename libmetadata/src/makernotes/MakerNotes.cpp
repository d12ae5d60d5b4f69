#include "MakerNotes.h"

#include "Metadata/Exceptions.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace Metadata::MakerNotes {

namespace {

bool startsWithAnyCase(const std::string& text, const char* prefix)
{
    const std::size_t n = std::strlen(prefix);
    if (text.size() < n) {
        return false;
    }
    for (std::size_t i = 0; i < n; ++i) {
        if (std::tolower(static_cast<unsigned char>(text[i])) != std::tolower(static_cast<unsigned char>(prefix[i]))) {
            return false;
        }
    }
    return true;
}

// Whether a directory could start at `offset`: an entry count a directory has, entries within
// the data, each of one of the twelve types (or the pointer type). A note read in the wrong byte
// order fails this at once.
bool plausibleDirectory(const TIFFReader& reader, std::uint32_t offset)
{
    if (offset == 0 || offset > reader.size() || reader.size() - offset < 2 + 12) {
        return false;
    }
    const std::uint16_t count = reader.read16(offset);
    if (count == 0 || count > IFD::MaxEntries || std::uint64_t{offset} + 2 + 12 * std::uint64_t{count} > reader.size()) {
        return false;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint16_t type = reader.read16(std::uint64_t{offset} + 2 + 12 * std::uint64_t{i} + 2);
        if (type < 1 || type > IFDType) {
            return false;
        }
    }
    return true;
}

// The reader the form's offsets count from, and where its directory starts; false when the
// note is too short for the form or its header is not one.
bool locate(const std::shared_ptr<TIFFReader>& tree, const Form& form, std::uint32_t noteAt, std::uint32_t noteSize,
            bool bigEndian, std::shared_ptr<TIFFReader>& reader, std::uint32_t& directory)
{
    const auto& source = tree->source();
    const std::uint64_t noteBase = tree->base() + noteAt;
    switch (form.base) {
    case Base::Tiff:
        reader = bigEndian == tree->bigEndian() ? tree
                                                : std::make_shared<TIFFReader>(source, tree->base(), bigEndian, 0);
        directory = noteAt + form.directoryAt;
        break;
    case Base::Note:
        reader = std::make_shared<TIFFReader>(source, noteBase, bigEndian, 0);
        directory = form.directoryAt;
        break;
    case Base::Binary:
        return false; // read as an array, not located
    case Base::OwnHeader:
        if (noteSize < form.directoryAt + 8) {
            return false;
        }
        try {
            reader = TIFFReader::open(source, noteBase + form.directoryAt);
        } catch (const Exception&) {
            return false;
        }
        directory = reader->firstIFDOffset();
        return true;
    }
    if (form.directoryAtIsPointer) {
        if (noteSize < form.directoryAt + 4) {
            return false;
        }
        directory = reader->read32(directory);
    }
    return true;
}

bool orderOf(const std::shared_ptr<TIFFReader>& tree, const Form& form, std::uint32_t noteAt, bool& bigEndian)
{
    switch (form.order) {
    case Order::Parent:
        bigEndian = tree->bigEndian();
        return true;
    case Order::Little:
        bigEndian = false;
        return false;
    case Order::Big:
        bigEndian = true;
        return false;
    case Order::Marked: {
        std::uint8_t mark[2] = {0, 0};
        tree->read(std::uint64_t{noteAt} + form.orderAt, mark, 2);
        bigEndian = mark[0] == 'M' && mark[1] == 'M' ? true : mark[0] == 'I' && mark[1] == 'I' ? false : tree->bigEndian();
        return false;
    }
    }
    return false;
}

const std::vector<const std::vector<Form>*>& makers()
{
    // Makers whose notes start with a signature come before those known by the camera's Make
    // alone, within each maker; a note is the first maker's that matches.
    static const std::vector<const std::vector<Form>*> all = {
        &canonForms(),  &nikonForms(),  &olympusForms(), &fujifilmForms(), &pentaxForms(), &panasonicForms(),
        &sonyForms(),   &casioForms(),  &minoltaForms(), &ricohForms(),    &sanyoForms(),  &sigmaForms(),
        &appleForms(),  &kodakForms()};
    return all;
}

} // namespace

void Builder::add(std::shared_ptr<IFD> directory, const TagRow* table)
{
    reading_.tables.emplace_back(directory->id(), table);
    reading_.subDirectories.push_back(std::move(directory));
}

void Builder::array(std::uint16_t tag, const char* name, const TagRow* table, std::uint32_t unit, Order order)
{
    const Field* values = main().find(tag);
    if (values == nullptr || values->damaged()) {
        return;
    }
    const std::uint64_t bytes = std::uint64_t{typeSize(values->type())} * values->count();
    readArray(subDirectoryId(tag), name, table, unit, order, reading_.reader, values->valueOffset(), bytes, nullptr);
}

void Builder::array(std::uint16_t tag, const char* name, const TagRow* table, std::uint32_t unit,
                    std::vector<std::uint8_t> bytes, Order order, Applies applies)
{
    const std::uint64_t size = bytes.size();
    auto reader = std::make_shared<TIFFReader>(std::make_shared<MemorySource>(std::move(bytes)), 0,
                                               reading_.reader->bigEndian(), 0);
    readArray(subDirectoryId(tag), name, table, unit, order, reader, 0, size, applies);
}

void Builder::readArray(std::uint32_t id, const char* name, const TagRow* table, std::uint32_t unit, Order order,
                        const std::shared_ptr<TIFFReader>& reader, std::uint32_t offset, std::uint64_t bytes,
                        Applies applies)
{
    // The filter reads the array's bytes in place, when they are in memory.
    const std::uint8_t* held = applies != nullptr && bytes <= SIZE_MAX ? reader->view(offset, static_cast<std::size_t>(bytes))
                                                                      : nullptr;
    std::shared_ptr<TIFFReader> reversed; // made when a row needs it; fields keep no reader
    std::vector<Field> fields;
    for (const TagRow* row = table; row->name != nullptr; ++row) {
        const auto type = static_cast<std::uint16_t>(row->type() & ~Reversed);
        const std::uint64_t start = std::uint64_t{placeOf(*row)} * unit;
        const std::uint64_t size = std::uint64_t{typeSize(type)} * row->count;
        if (size == 0 || start + size > bytes) {
            continue; // a shorter array, of an older camera: the value is not there
        }
        if (applies != nullptr && (held == nullptr || !applies(*row, held, static_cast<std::size_t>(bytes)))) {
            continue;
        }
        // A row in the other order than the array's; the array's own order when it has one.
        bool flip = (row->type() & Reversed) != 0;
        if ((order == Order::Big && !reader->bigEndian()) || (order == Order::Little && reader->bigEndian())) {
            flip = !flip;
        }
        if (flip && !reversed) {
            reversed = std::make_shared<TIFFReader>(reader->source(), reader->base(), !reader->bigEndian(), 0);
        }
        TIFFReader& from = flip ? *reversed : *reader;
        fields.emplace_back(from, id, row->tag(), type, row->count, static_cast<std::uint32_t>(offset + start));
    }
    if (!fields.empty()) {
        add(std::make_shared<IFD>(reader, id, std::move(fields), name), table);
    }
}

void Builder::directory(std::uint16_t tag, const char* name, const TagRow* table)
{
    const Field* pointer = main().find(tag);
    if (pointer == nullptr || (pointer->damaged() && pointer->type() != IFDType)) {
        return;
    }
    std::uint32_t offset = 0;
    if (pointer->type() == static_cast<std::uint16_t>(FieldType::Undefined)) {
        offset = pointer->valueOffset(); // the directory is the value itself
    } else if (pointer->type() == IFDType) {
        offset = reading_.reader->read32(pointer->valueOffset());
    } else {
        try {
            if (!pointer->getUInt32(offset)) {
                return;
            }
        } catch (const Error&) {
            return; // a pointer of the wrong type points nowhere
        }
    }
    if (!plausibleDirectory(*reading_.reader, offset) || reading_.reader->directoryRead(offset)) {
        return;
    }
    auto directory = std::make_shared<IFD>(reading_.reader, subDirectoryId(tag), offset);
    directory->setName(name);
    add(std::move(directory), table);
}

void Builder::embedded(std::uint16_t tag, const char* name, const TagRow* table, const char* signature,
                       std::uint32_t skip, Order order, bool ownBase)
{
    const Field* value = main().find(tag);
    if (value == nullptr || value->damaged() || value->type() != Undefined) {
        return;
    }
    const ValueList<std::uint8_t>& bytes = value->rawBytes();
    const std::size_t signatureSize = signature != nullptr ? std::strlen(signature) : 0;
    if (bytes.size() < std::size_t{skip} + 2 || signatureSize > bytes.size() ||
        (signatureSize > 0 && std::memcmp(bytes.data(), signature, signatureSize) != 0)) {
        return;
    }
    const TIFFReader& note = *reading_.reader;
    const bool big = order == Order::Big ? true : order == Order::Little ? false : note.bigEndian();
    const std::uint64_t base = ownBase ? note.base() + value->valueOffset() : note.base();
    const std::uint32_t at = ownBase ? skip : value->valueOffset() + skip;
    auto reader = std::make_shared<TIFFReader>(note.source(), base, big, 0);
    if (!plausibleDirectory(*reader, at) || reader->directoryRead(at)) {
        return;
    }
    auto directory = std::make_shared<IFD>(reader, subDirectoryId(tag), at);
    directory->setName(name);
    add(std::move(directory), table);
}

bool numbers(const Field& field, std::vector<std::uint32_t>& values, std::size_t least)
{
    values.clear();
    if (field.damaged()) {
        return false;
    }
    const auto type = static_cast<FieldType>(field.type());
    if (type == FieldType::Undefined) {
        for (std::uint8_t b : field.rawBytes()) {
            values.push_back(b);
        }
    } else if (type == FieldType::Byte || type == FieldType::Short || type == FieldType::Long) {
        for (std::uint32_t v : field.unsignedValues()) {
            values.push_back(v);
        }
    }
    return values.size() >= least && !values.empty();
}

std::string zeroPadded(std::uint32_t v, int width)
{
    std::string text = std::to_string(v);
    if (text.size() < static_cast<std::size_t>(width)) {
        text.insert(0, static_cast<std::size_t>(width) - text.size(), '0');
    }
    return text;
}

bool bigEndianNumber(const Field& field, double& value)
{
    if (field.damaged() || field.type() != Undefined || field.count() == 0 || field.count() > 8) {
        return false;
    }
    std::uint64_t v = 0;
    for (std::uint8_t b : field.rawBytes()) {
        v = v << 8 | b;
    }
    value = static_cast<double>(v);
    return true;
}

bool oneNumber(const Field& field, double& value)
{
    if (field.damaged() || field.count() != 1) {
        return false;
    }
    const auto type = static_cast<FieldType>(field.type());
    if (type == FieldType::SByte || type == FieldType::SShort || type == FieldType::SLong) {
        std::int32_t s = 0;
        if (!field.getInt32(s)) {
            return false;
        }
        value = s;
        return true;
    }
    if (type == FieldType::Byte || type == FieldType::Short || type == FieldType::Long) {
        std::uint32_t u = 0;
        if (!field.getUInt32(u)) {
            return false;
        }
        value = u;
        return true;
    }
    return false;
}

ConversionIndex::ConversionIndex(const Conversion* conversions)
{
    for (const Conversion* c = conversions; c != nullptr && c->directory != 0; ++c) {
        sorted_.push_back(c);
    }
    std::stable_sort(sorted_.begin(), sorted_.end(), [](const Conversion* a, const Conversion* b) {
        return std::make_pair(a->directory, a->tag) < std::make_pair(b->directory, b->tag);
    });
}

const ConversionIndex* ConversionIndex::of(const Form& form)
{
    // Forms are static data: one index per form serves every tree, on every thread.
    static std::mutex lock;
    static std::unordered_map<const Form*, std::unique_ptr<const ConversionIndex>> made;
    const std::lock_guard<std::mutex> hold(lock);
    auto& index = made[&form];
    if (!index) {
        index = std::make_unique<const ConversionIndex>(form.conversions);
    }
    return index.get();
}

const Conversion* ConversionIndex::find(std::uint32_t directory, std::uint16_t tag) const noexcept
{
    const auto key = std::make_pair(directory, tag);
    const auto found = std::lower_bound(sorted_.begin(), sorted_.end(), key, [](const Conversion* c, const auto& k) {
        return std::make_pair(c->directory, c->tag) < k;
    });
    return found != sorted_.end() && (*found)->directory == directory && (*found)->tag == tag ? *found : nullptr;
}

bool convertedValue(const ConversionIndex& conversions, const DisplayContext& context, const Field& field,
                    MakerValue& value)
{
    if (field.damaged()) {
        return false;
    }
    const Conversion* c = conversions.find(field.directoryId(), field.tag());
    if (const TagRow* row = findTagRow(context, field, false);
        row != nullptr && row->reserved != 0 && row->formatter == &Formatters::masked) {
        std::uint32_t v = 0;
        if (!maskedValue(field, row->reserved, v)) {
            return false;
        }
        value.kind = MakerValue::Kind::Number;
        value.number = c != nullptr && c->ofBits != nullptr ? c->ofBits(v) : v;
        return std::isfinite(value.number);
    }
    if (c != nullptr) {
        try {
            if (c->ofBits != nullptr) {
                value.kind = MakerValue::Kind::Number;
                return oneNumber(field, value.number) && std::isfinite(value.number = c->ofBits(value.number));
            }
            if (c->withContext != nullptr) {
                value.kind = MakerValue::Kind::Number;
                return c->withContext(field, context, value.number) && std::isfinite(value.number);
            }
            if (c->convert != nullptr) {
                value.kind = MakerValue::Kind::Number;
                return c->convert(field, value.number) && std::isfinite(value.number);
            }
            if (c->text != nullptr) {
                value.kind = MakerValue::Kind::Text;
                value.text.clear();
                return c->text(field, value.text);
            }
            std::uint32_t offset = 0;
            if (c->offset && field.count() == 1 && field.getUInt32(offset)) {
                value.kind = MakerValue::Kind::Offset;
                value.offset = offset;
                return true;
            }
            return false;
        } catch (const Error&) {
            return false; // a field of another type than the maker's
        }
    }
    return false;
}

} // namespace Metadata::MakerNotes

namespace Metadata {

// Defined with the makers' forms, which only this part of the library knows.
bool DisplayContext::makerValue(const Field& field, MakerValue& value) const
{
    return makerConversions_ != nullptr && MakerNotes::convertedValue(*makerConversions_, *this, field, value);
}

void DisplayContext::setMakerForm(const MakerNotes::Form* form)
{
    makerForm_ = form;
    makerConversions_ = form != nullptr ? MakerNotes::ConversionIndex::of(*form) : nullptr;
}

} // namespace Metadata

namespace Metadata::MakerNotes {

Reading read(const std::shared_ptr<TIFFReader>& tree, const Field& note, const std::string& make,
             const std::string& model)
{
    Reading reading;
    const std::uint64_t size = std::uint64_t{typeSize(note.type())} * note.count();
    if (note.damaged() || size < 2 || size > tree->size()) {
        return reading;
    }
    const std::uint32_t noteAt = note.valueOffset();
    const auto noteSize = static_cast<std::uint32_t>(size);
    std::uint8_t head[16] = {};
    tree->read(noteAt, head, std::min<std::size_t>(sizeof head, noteSize));

    // A note's directories are the maker's own: what they cost the reader is not the file's
    // damage, so the tree's warnings stay as they were.
    const std::size_t warnings = tree->warnings().size();
    // A note that is one array: a field for each row the note is long enough to hold.
    auto readBinary = [&](const Form& form, bool bigEndian) {
        if (noteSize <= form.directoryAt) {
            return false;
        }
        auto reader = std::make_shared<TIFFReader>(tree->source(), tree->base() + noteAt + form.directoryAt, bigEndian, 0);
        const std::uint64_t arraySize = noteSize - form.directoryAt;
        std::vector<Field> fields;
        for (const TagRow* row = form.table; row->name != nullptr; ++row) {
            const std::uint64_t length = std::uint64_t{typeSize(row->type())} * row->count;
            if (length > 0 && placeOf(*row) + length <= arraySize) {
                fields.emplace_back(*reader, DirectoryId::MakerNote, row->tag(), row->type(), row->count, placeOf(*row));
            }
        }
        if (fields.empty()) {
            return false;
        }
        reading.form = &form;
        reading.reader = reader;
        reading.main = std::make_shared<IFD>(reader, DirectoryId::MakerNote, std::move(fields), std::string());
        reading.tables.emplace_back(DirectoryId::MakerNote, form.table);
        return true;
    };
    auto attempt = [&](const Form& form) {
        bool bigEndian = false;
        const bool mayFlip = orderOf(tree, form, noteAt, bigEndian);
        for (int pass = 0; pass < (mayFlip ? 2 : 1); ++pass) {
            std::shared_ptr<TIFFReader> reader;
            std::uint32_t directory = 0;
            if (form.base == Base::Binary) {
                return readBinary(form, pass == 0 ? bigEndian : !bigEndian);
            }
            if (!locate(tree, form, noteAt, noteSize, pass == 0 ? bigEndian : !bigEndian, reader, directory)) {
                return false;
            }
            if (!plausibleDirectory(*reader, directory) || reader->directoryRead(directory)) {
                continue;
            }
            reading.form = &form;
            reading.reader = reader;
            reading.main = std::make_shared<IFD>(reader, DirectoryId::MakerNote, directory);
            reading.tables.emplace_back(DirectoryId::MakerNote, form.table);
            if (form.subDirectories != nullptr) {
                Builder builder(reading, make, model);
                form.subDirectories(builder);
            }
            return true;
        }
        return false;
    };
    for (const std::vector<Form>* forms : makers()) {
        for (const Form& form : *forms) {
            if (form.signature != nullptr &&
                (noteSize < form.signatureSize || std::memcmp(head, form.signature, form.signatureSize) != 0)) {
                continue;
            }
            if (form.make != nullptr && !startsWithAnyCase(make, form.make)) {
                continue;
            }
            if (attempt(form)) {
                tree->dropWarnings(warnings);
                return reading;
            }
        }
    }
    // A maker we do not know: its note shown as a plain directory when it reads as one.
    if (plausibleDirectory(*tree, noteAt) && !tree->directoryRead(noteAt)) {
        auto directory = std::make_shared<IFD>(tree, DirectoryId::MakerNote, noteAt);
        if (tree->warnings().size() == warnings) {
            reading.reader = tree;
            reading.main = std::move(directory);
        }
    }
    tree->dropWarnings(warnings);
    return reading;
}

} // namespace Metadata::MakerNotes
