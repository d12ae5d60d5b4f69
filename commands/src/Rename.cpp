#include "Lumeno/Commands/FileCommands.h"

#include <Metadata/DateTime.h>
#include <Metadata/Exceptions.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>

#include <cstdio>
#include <optional>
#include <stdexcept>
#include <system_error>

namespace Lumeno::Commands {

namespace {

using Metadata::Record2DataSet;

bool fromIptcStamp(const Metadata::IPTC& iptc, Metadata::ISODateTime& value)
{
    try {
        Metadata::IPTCTimeStamp stamp;
        if (iptc.getTimeStamp(Record2DataSet::E_DATE_CREATED, Record2DataSet::E_TIME_CREATED, stamp) &&
            stamp.isValid()) {
            value = stamp.isoDateTime();
            return true;
        }
    } catch (const Metadata::Exception&) {
        // A date or time that is not a number is not a date.
    }
    return false;
}

bool fromExif(const Metadata::EXIF& exif, Metadata::ISODateTime& value)
{
    // The first of the three tags the image has decides; an invalid one is not passed over for
    // the next.
    const std::pair<std::uint32_t, std::uint16_t> tags[] = {
        {Metadata::DirectoryId::Exif, 36867}, // DateTimeOriginal
        {Metadata::DirectoryId::Exif, 36868}, // DateTimeDigitized
        {Metadata::DirectoryId::Primary, 306}, // DateTime
    };
    for (const auto& [directory, tag] : tags) {
        const Metadata::Field* field = exif.find(directory, tag);
        if (field == nullptr) {
            continue;
        }
        try {
            std::string text;
            field->getText(text);
            const Metadata::EXIFTimeStamp stamp(text);
            if (stamp.isValid()) {
                value = stamp.isoDateTime();
                return true;
            }
        } catch (const Metadata::Exception&) {
        } catch (const Metadata::Error&) {
        }
        return false;
    }
    return false;
}

bool fromIptcDate(const Metadata::IPTC& iptc, Metadata::ISODateTime& value)
{
    std::string text;
    if (!iptc.get(Record2DataSet::E_DATE_CREATED, text)) {
        return false;
    }
    try {
        const Metadata::IPTCDate date(text);
        if (date.isValid()) {
            const Metadata::ISODate& d = date.isoDate();
            value = Metadata::ISODateTime(d.year(), d.month(), d.day(), 0, 0, 0, 0, 0);
            return true;
        }
    } catch (const Metadata::Exception&) {
    }
    return false;
}

// The extension with its dot, from the last dot of the file name; empty when there is none.
std::string extensionOf(const std::string& name)
{
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos ? std::string() : name.substr(dot);
}

} // namespace

bool captureDate(const Metadata::ImageMetadata& image, Metadata::ISODateTime& value)
{
    return fromIptcStamp(image.iptc(), value) || fromExif(image.exif(), value) || fromIptcDate(image.iptc(), value);
}

std::string renamedFileName(const Metadata::ISODateTime& v, std::uint32_t counter, const std::string& extension)
{
    const auto within = [](int value, int limit) { return value >= 0 && value < limit; };
    if (within(v.year(), 10000) && within(v.month(), 100) && within(v.day(), 100) && within(v.hour(), 100) &&
        within(v.minute(), 100) && within(v.second(), 100) && counter < 100) {
        // Digits by hand: printf costs more than the rest of the name's making.
        char name[19] = "YYYYMMDD-HHMMSS-NN";
        const auto put = [&name](std::size_t at, int value, int digits) {
            for (int i = digits - 1; i >= 0; --i, value /= 10) {
                name[at + static_cast<std::size_t>(i)] = static_cast<char>('0' + value % 10);
            }
        };
        put(0, v.year(), 4);
        put(4, v.month(), 2);
        put(6, v.day(), 2);
        put(9, v.hour(), 2);
        put(11, v.minute(), 2);
        put(13, v.second(), 2);
        put(16, static_cast<int>(counter), 2);
        return name + extension;
    }
    char name[64];
    std::snprintf(name, sizeof name, "%.4d%.2d%.2d-%.2d%.2d%.2d-%.2d", v.year(), v.month(), v.day(), v.hour(),
                  v.minute(), v.second(), counter);
    return name + extension;
}

CommandFileRename::CommandFileRename(std::uint32_t fileCount, std::uintptr_t parentWindow,
                                     std::shared_ptr<UI::Settings> settings)
    : CommandBase(fileCount, parentWindow, std::move(settings))
{
    startProgress("Renaming Files...", FileCopyAnimation);
}

namespace {

// The moment a picture was taken; none when it has no usable date (or is no picture we read),
// and the file is then left as it is, without a word.
struct Taken : CommandBase::Prepared {
    std::optional<Metadata::ISODateTime> when;
};

} // namespace

std::unique_ptr<CommandBase::Prepared> CommandFileRename::prepareFile(const std::string& path)
{
    auto taken = std::make_unique<Taken>();
    Metadata::ImageStreamT stream;
    try {
        const auto image = Metadata::openImage(path, stream);
        if (Metadata::ISODateTime when; captureDate(*image, when)) {
            taken->when = when;
        }
    } catch (const Metadata::IOOpenError& e) {
        // A path that names no file (or a folder, a FIFO) is the user's mistake to hear of.
        throw std::runtime_error(e.reason().empty() ? "cannot open the file" : e.reason());
    } catch (const std::exception&) {
        // unreadable or not an image: skipped silently
    }
    return taken; // the stream is closed before the move
}

void CommandFileRename::finishFile(const std::string& path, std::unique_ptr<Prepared> prepared)
{
    const auto& when = static_cast<const Taken&>(*prepared).when;
    if (!when) {
        return;
    }
    const std::string name = fileNameOf(path);
    const std::string newName = renamedFileName(*when, counter_, extensionOf(name));
    // The counter runs on whatever becomes of this file.
    counter_ = (counter_ + 1) % 100;
    const std::string folder = path.substr(0, path.size() - name.size());
    const std::string target = folder + newName;
    try {
        if (!Platform::services().moveFileNoReplace(path, target)) {
            reportFailure(path, "cannot rename to " + newName + ": a file of that name exists");
        } else {
            renamed_.emplace_back(path, target);
        }
    } catch (const std::system_error& e) {
        reportFailure(path, "cannot rename to " + newName + ": " + e.code().message());
    }
}

} // namespace Lumeno::Commands
