#include "Metadata/EXIF.h"

#include "Metadata/Exceptions.h"
#include "Metadata/ImageStream.h"
#include "Metadata/TIFFReader.h"
#include "Metadata/TagTable.h"
#include "makernotes/MakerNotes.h"

#include <cstring>

namespace Metadata {

EXIF::EXIF(std::shared_ptr<TIFFReader> reader) : reader_(reader)
{
    primary_ = std::make_shared<IFD>(reader, DirectoryId::Primary, reader->firstIFDOffset());
    exif_ = primary_->subIFD(DirectoryId::Exif);
    if (exif_) {
        interoperability_ = exif_->subIFD(DirectoryId::Interoperability);
    }
    gps_ = primary_->subIFD(DirectoryId::Gps);
    if (exif_) {
        if (const Field* note = exif_->find(DirectoryId::MakerNote)) {
            std::string make;
            std::string model;
            try {
                getText(DirectoryId::Primary, 271, make);
                getText(DirectoryId::Primary, 272, model);
            } catch (const Error&) {
                // a Make of the wrong type names no maker
            }
            MakerNotes::Reading reading = MakerNotes::read(reader, *note, make, model);
            makerNote_ = std::move(reading.main);
            makerDirectories_ = std::move(reading.subDirectories);
            makerReader_ = std::move(reading.reader);
            if (reading.form != nullptr) {
                makerGroup_ = reading.form->group;
                makerGroups_ = std::move(reading.groups);
                display_.setMakerForm(reading.form);
            }
            for (const auto& [id, table] : reading.tables) {
                display_.setTable(id, table);
            }
        }
    }
    const std::uint32_t next = primary_->nextOffset();
    if (next != 0 && !reader->directoryRead(next)) {
        thumbnail_ = std::make_shared<IFD>(reader, DirectoryId::Thumbnail, next);
    }

    std::uint32_t unit = 2; // TIFF's default when IFD0 names none
    try {
        getUInt32(DirectoryId::Primary, 296, unit);
    } catch (const Error&) {
        unit = 0; // a ResolutionUnit of the wrong type names no unit
    }
    display_.setResolutionUnit(unit);
    display_.setTable(DirectoryId::Gps, gpsTagTable());
    for (const auto& d : {primary_, exif_, interoperability_, gps_, thumbnail_, makerNote_}) {
        display_.addDirectory(d);
    }
    for (const auto& d : makerDirectories_) {
        display_.addDirectory(d);
    }
}

const std::vector<ReadWarning>& EXIF::warnings() const noexcept
{
    static const std::vector<ReadWarning> none;
    return reader_ ? reader_->warnings() : none;
}

EXIF EXIF::read(std::shared_ptr<const ByteSource> source, std::uint64_t base)
{
    return EXIF(TIFFReader::open(std::move(source), base));
}

const IFD* EXIF::directory(std::uint32_t id) const noexcept
{
    switch (id) {
    case DirectoryId::Primary:
        return primary_.get();
    case DirectoryId::Thumbnail:
        return thumbnail_.get();
    case DirectoryId::Exif:
        return exif_.get();
    case DirectoryId::Interoperability:
        return interoperability_.get();
    case DirectoryId::MakerNote:
        return makerNote_.get();
    case DirectoryId::Gps:
        return gps_.get();
    default:
        return nullptr;
    }
}

std::vector<const IFD*> EXIF::directories() const
{
    std::vector<const IFD*> present;
    for (const IFD* d :
         {primary_.get(), exif_.get(), interoperability_.get(), gps_.get(), thumbnail_.get(), makerNote_.get()}) {
        if (d != nullptr) {
            present.push_back(d);
        }
    }
    for (const auto& d : makerDirectories_) {
        present.push_back(d.get());
    }
    return present;
}

const Field* EXIF::find(std::uint32_t id, std::uint16_t tag) const noexcept
{
    const IFD* d = directory(id);
    return d != nullptr ? d->find(tag) : nullptr;
}

bool EXIF::getUInt32(std::uint32_t id, std::uint16_t tag, std::uint32_t& value, std::size_t index) const
{
    const Field* f = find(id, tag);
    return f != nullptr && f->getUInt32(value, index);
}

bool EXIF::getInt32(std::uint32_t id, std::uint16_t tag, std::int32_t& value, std::size_t index) const
{
    const Field* f = find(id, tag);
    return f != nullptr && f->getInt32(value, index);
}

bool EXIF::getURational(std::uint32_t id, std::uint16_t tag, URational& value, std::size_t index) const
{
    const Field* f = find(id, tag);
    return f != nullptr && f->getURational(value, index);
}

bool EXIF::getSRational(std::uint32_t id, std::uint16_t tag, SRational& value, std::size_t index) const
{
    const Field* f = find(id, tag);
    return f != nullptr && f->getSRational(value, index);
}

bool EXIF::getText(std::uint32_t id, std::uint16_t tag, std::string& value) const
{
    const Field* f = find(id, tag);
    return f != nullptr && f->getText(value);
}

bool EXIF::getBytes(std::uint32_t id, std::uint16_t tag, std::vector<std::uint8_t>& value) const
{
    const Field* f = find(id, tag);
    return f != nullptr && f->getBytes(value);
}

bool EXIF::gpsPosition(double& latitude, double& longitude) const noexcept
{
    const auto coordinate = [this](std::uint16_t tag, char negative, double& value) {
        const Field* field = find(DirectoryId::Gps, tag);
        std::string ref;
        try {
            if (field == nullptr || !gpsDegrees(*field, value) || !getText(DirectoryId::Gps, tag - 1, ref)) {
                return false;
            }
        } catch (const Error&) {
            return false; // a field of the wrong type holds no position
        }
        if (!ref.empty() && ref[0] == negative) {
            value = -value;
        }
        return true;
    };
    return coordinate(2, 'S', latitude) && coordinate(4, 'W', longitude);
}

bool EXIF::thumbnailJpeg(std::vector<std::uint8_t>& jpeg) const
{
    std::uint32_t offset = 0, length = 0;
    try {
        if (!reader_ || !getUInt32(DirectoryId::Thumbnail, 513, offset) ||
            !getUInt32(DirectoryId::Thumbnail, 514, length)) {
            return false;
        }
    } catch (const Error&) {
        return false; // a place or length of the wrong type points nowhere
    }
    if (length < 4 || offset > reader_->size() || length > reader_->size() - offset) {
        return false;
    }
    jpeg.resize(length);
    reader_->read(offset, jpeg.data(), length);
    return jpeg[0] == 0xFF && jpeg[1] == 0xD8;
}

std::string EXIF::makerNoteGroup(std::uint32_t directoryId) const
{
    for (const auto& [id, group] : makerGroups_) {
        if (id == directoryId) {
            return group;
        }
    }
    return makerGroup_;
}

bool EXIF::makerValue(const Field& field, MakerValue& value) const
{
    if (!display_.makerValue(field, value)) {
        return false;
    }
    if (value.kind == MakerValue::Kind::Offset) {
        // The note's base, from the tree's TIFF header (a note's own header lies after it).
        if (!makerReader_ || !reader_ || makerReader_->base() < reader_->base()) {
            return false;
        }
        value.offset += makerReader_->base() - reader_->base();
    }
    return true;
}

std::vector<const IFD*> EXIF::makerNoteDirectories() const
{
    std::vector<const IFD*> found;
    for (const auto& d : makerDirectories_) {
        found.push_back(d.get());
    }
    return found;
}

std::vector<double> EXIF::realValues(const Field& field) const
{
    const auto type = static_cast<FieldType>(field.type());
    if (!reader_ || (type != FieldType::Float && type != FieldType::Double)) {
        return {};
    }
    // The maker's fields count their offsets as the note does.
    const bool maker = field.directoryId() == DirectoryId::MakerNote || field.directoryId() > 0xFFFF;
    const TIFFReader& reader = maker && makerReader_ ? *makerReader_ : *reader_;
    const std::uint64_t size = std::uint64_t{typeSize(field.type())} * field.count();
    if (field.valueOffset() > reader.size() || size > reader.size() - field.valueOffset()) {
        return {};
    }
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
    reader.read(field.valueOffset(), bytes.data(), bytes.size());
    const bool big = reader.bigEndian();
    std::vector<double> values;
    values.reserve(field.count());
    for (std::size_t i = 0; i < field.count(); ++i) {
        if (type == FieldType::Float) {
            const std::uint32_t bits = decode32(bytes.data() + 4 * i, big);
            float f;
            std::memcpy(&f, &bits, sizeof f);
            values.push_back(f);
        } else {
            const std::uint8_t* p = bytes.data() + 8 * i;
            const std::uint64_t high = decode32(big ? p : p + 4, big);
            const std::uint64_t low = decode32(big ? p + 4 : p, big);
            const std::uint64_t bits = (high << 32) | low;
            double d;
            std::memcpy(&d, &bits, sizeof d);
            values.push_back(d);
        }
    }
    return values;
}

void EXIF::dump(std::ostream& out) const
{
    const DisplayContext lines = display_.withLineEnds(true);
    for (const IFD* d : directories()) {
        d->dump(out, lines);
    }
}

} // namespace Metadata
