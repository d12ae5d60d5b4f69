#include "Lumeno/Scripting/Picture.h"

#include <Lumeno/Commands/Annotation.h>
#include <Metadata/EXIF.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageMetadata.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>
#include <Metadata/MetadataValues.h>
#include <Metadata/Text.h>
#include <Metadata/XMP.h>

#include <algorithm>
#include <cctype>
#include <limits>

namespace Lumeno::Scripting {

namespace {

bool sameName(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](unsigned char x, unsigned char y) {
               return std::tolower(x) == std::tolower(y);
           });
}

template <class List> std::vector<long long> integersOf(const List& list)
{
    return std::vector<long long>(list.begin(), list.end());
}

template <class List> std::vector<double> quotientsOf(const List& list)
{
    std::vector<double> reals;
    reals.reserve(list.size());
    for (const auto& r : list) {
        reals.push_back(r.denominator != 0 ? static_cast<double>(r.numerator) / static_cast<double>(r.denominator)
                                           : std::numeric_limits<double>::quiet_NaN());
    }
    return reals;
}

FieldValue valueOf(const Metadata::EXIF& exif, const Metadata::Field& field)
{
    using Metadata::FieldType;
    FieldValue value;
    const auto type = static_cast<FieldType>(field.type());
    if (type == FieldType::Float || type == FieldType::Double) {
        value.reals = exif.realValues(field);
        if (value.reals.size() == field.count()) {
            value.kind = FieldValue::Kind::Reals;
        }
        return value;
    }
    if (field.damaged()) {
        return value;
    }
    switch (type) {
    case FieldType::Ascii:
        value.kind = FieldValue::Kind::Text;
        field.getText(value.text);
        break;
    case FieldType::Byte:
    case FieldType::Short:
    case FieldType::Long:
        value.kind = FieldValue::Kind::Integers;
        value.integers = integersOf(field.unsignedValues());
        break;
    case FieldType::SByte:
    case FieldType::SShort:
    case FieldType::SLong:
        value.kind = FieldValue::Kind::Integers;
        value.integers = integersOf(field.signedValues());
        break;
    case FieldType::Undefined:
        value.kind = FieldValue::Kind::Integers;
        value.integers = integersOf(field.rawBytes());
        break;
    case FieldType::Rational:
        value.kind = FieldValue::Kind::Reals;
        value.reals = quotientsOf(field.unsignedRationals());
        break;
    case FieldType::SRational:
        value.kind = FieldValue::Kind::Reals;
        value.reals = quotientsOf(field.signedRationals());
        break;
    default:
        break;
    }
    return value;
}

std::string datasetText(const Metadata::IPTC& record, const std::string& stored)
{
    return Metadata::EOLMassager::toDisplay(record.toUtf8(stored), "\n");
}

} // namespace

const FieldEntry* Directory::find(const std::string& wanted) const noexcept
{
    for (const FieldEntry& f : fields) {
        if (sameName(f.name, wanted)) {
            return &f;
        }
    }
    return nullptr;
}

Picture::Picture(std::string path) : path_(std::move(path))
{
    read();
}

void Picture::read()
{
    Metadata::ImageStreamT stream;
    const std::unique_ptr<Metadata::ImageMetadata> image = Metadata::openImage(path_, stream);
    const Metadata::EXIF& exif = image->exif();
    const Metadata::DisplayContext& context = exif.displayContext();

    std::vector<Directory> directories;
    for (const Metadata::IFD* d : exif.directories()) {
        Directory directory;
        directory.name = d->name();
        directory.id = d->id();
        directory.fields.reserve(d->size());
        for (const Metadata::Field& f : *d) {
            FieldEntry entry;
            entry.tag = f.tag();
            entry.type = f.type();
            entry.typeName = Metadata::typeName(f.type());
            entry.count = f.count();
            entry.value = valueOf(exif, f);
            entry.shown = f.dumpLine(entry.name, entry.text, context);
            if (!entry.shown) {
                entry.name = f.label(context);
            }
            directory.fields.push_back(std::move(entry));
        }
        directories.push_back(std::move(directory));
    }

    std::vector<IptcEntry> iptc;
    const Metadata::IPTC& record = image->iptc();
    for (const Metadata::Record2DataSet& d : record.dataSets()) {
        iptc.push_back({Metadata::Record2DataSet::nameOf(d.dataSet()), d.dataSet(), datasetText(record, d.text())});
    }

    // Taken before anything reads its properties: a packet not used since it was read is given
    // back exactly as the file holds it.
    std::string xmp = image->xmp() ? Metadata::Text::unicodeToUtf8(image->xmp()->packetText()) : std::string();

    std::vector<std::pair<std::string, std::string>> values;
    const Metadata::MetadataValues reconciled(*image);
    for (const auto& [name, v] : reconciled.values()) {
        values.emplace_back(name, v.text);
    }

    std::vector<std::string> warnings;
    for (const Metadata::ReadWarning& w : image->warnings()) {
        if (std::find(warnings.begin(), warnings.end(), w.text) == warnings.end()) {
            warnings.push_back(w.text);
        }
    }

    directories_ = std::move(directories);
    iptc_ = std::move(iptc);
    xmp_ = std::move(xmp);
    values_ = std::move(values);
    warnings_ = std::move(warnings);
}

const Directory* Picture::directory(const std::string& name) const noexcept
{
    for (const Directory& d : directories_) {
        if (sameName(d.name, name)) {
            return &d;
        }
    }
    return nullptr;
}

std::vector<std::string> Picture::iptcValues(const std::string& name) const
{
    const std::uint8_t dataSet = Commands::iptcDataSetNamed(name);
    std::vector<std::string> found;
    for (const IptcEntry& e : iptc_) {
        if (e.dataSet == dataSet) {
            found.push_back(e.text);
        }
    }
    return found;
}

std::string Picture::iptcJoined(const std::string& name) const
{
    std::string joined;
    for (const std::string& v : iptcValues(name)) {
        joined += (joined.empty() ? "" : Metadata::IPTC::JoinSeparator) + v;
    }
    return joined;
}

std::string Picture::value(const std::string& name) const
{
    for (const auto& [n, v] : values_) {
        if (sameName(n, name)) {
            return v;
        }
    }
    return {};
}

void Picture::setIptc(const std::string& name, const std::vector<std::string>& values)
{
    Edit edit{Commands::iptcDataSetNamed(name), {}};
    for (const std::string& v : values) {
        edit.values.push_back(Metadata::EOLMassager::toStorage(v));
    }
    // Refused now, by the record's own rules, rather than when the file is written.
    Metadata::IPTC scratch;
    scratch.set(edit.dataSet, edit.values);
    edits_.push_back(std::move(edit));
}

void Picture::save()
{
    if (edits_.empty()) {
        return;
    }
    std::vector<Commands::IptcEdit> edits;
    for (const Edit& e : edits_) {
        if (e.values.empty()) {
            edits.push_back({Commands::IptcEdit::Remove, e.dataSet, {}});
            continue;
        }
        edits.push_back({Commands::IptcEdit::Set, e.dataSet, e.values.front()});
        for (std::size_t i = 1; i < e.values.size(); ++i) {
            edits.push_back({Commands::IptcEdit::Extend, e.dataSet, e.values[i]});
        }
    }
    Commands::annotateFile(path_, edits, {});
    edits_.clear();
    read();
}

} // namespace Lumeno::Scripting
