#include "Lumeno/Commands/FileCommands.h"

#include <Metadata/EXIF.h>
#include <Metadata/Exceptions.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>
#include <Metadata/IPTC.h>
#include <Metadata/Text.h>
#include <Metadata/XMP.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace fs = std::filesystem;

namespace Lumeno::Commands {

namespace {

const char* titleFor(ExportKind kind)
{
    switch (kind) {
    case ExportKind::EXIF:
        return "Exporting EXIF...";
    case ExportKind::IPTC:
        return "Exporting IPTC...";
    case ExportKind::XMP:
        return "Exporting XMP...";
    }
    return "";
}

const char* suffixFor(ExportKind kind)
{
    switch (kind) {
    case ExportKind::EXIF:
        return ".exif.txt";
    case ExportKind::IPTC:
        return ".iptc.txt";
    case ExportKind::XMP:
        return ".xmp";
    }
    return "";
}

} // namespace

std::string escapedText(const std::string& text)
{
    std::string out;
    for (char c : text) {
        switch (c) {
        case '\r':
            out += "\\r";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\\':
            out += "\\\\";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::string exportPath(const std::string& imagePath, ExportKind kind)
{
    // The extension goes from the last dot of the last path component, as the shell removes it.
    const std::size_t slash = imagePath.find_last_of("/\\");
    const std::size_t dot = imagePath.rfind('.');
    const bool hasExtension = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    return (hasExtension ? imagePath.substr(0, dot) : imagePath) + suffixFor(kind);
}

std::string exifText(const Metadata::ImageMetadata& image)
{
    std::string text;
    const Metadata::DisplayContext& context = image.exif().displayContext();
    for (const Metadata::IFD* directory : image.exif().directories()) {
        text += "IFD: " + directory->name() + "\n";
        for (const Metadata::Field& field : *directory) {
            text += field.label(context) + "\t" + field.valueText(context) + "\n";
        }
        text += "\n";
    }
    return text;
}

std::string iptcText(const Metadata::IPTC& iptc)
{
    std::string text;
    for (const Metadata::Record2DataSet& d : iptc.dataSets()) {
        text += Metadata::Record2DataSet::nameOf(d.dataSet()) + "\t" + escapedText(d.text()) + "\n";
    }
    return text;
}

std::string xmpText(const Metadata::ImageMetadata& image)
{
    // A text file, in UTF-8 whatever encoding the picture's packet is in: a UTF-16 packet's
    // bytes would not survive the line ends of a text file, nor be read as text by most tools.
    std::string text = image.xmp() ? Metadata::Text::unicodeToUtf8(image.xmp()->packetText()) : std::string();
    if (!text.empty() && text.back() != '\n') {
        text += '\n'; // a text file ends with a line end
    }
    return text;
}

CommandExport::CommandExport(ExportKind kind, std::uint32_t fileCount, std::uintptr_t parentWindow,
                             std::shared_ptr<UI::Settings> settings)
    : CommandBase(fileCount, parentWindow, std::move(settings)), kind_(kind)
{
    startProgress(titleFor(kind), FileCopyAnimation);
}

namespace {

struct ExportText : CommandBase::Prepared {
    explicit ExportText(std::string t) : text(std::move(t)) {}
    std::string text;
};

} // namespace

std::unique_ptr<CommandBase::Prepared> CommandExport::prepareFile(const std::string& path)
{
    try {
        Metadata::ImageStreamT stream;
        const auto image = Metadata::openImage(path, stream);
        return std::make_unique<ExportText>(kind_ == ExportKind::EXIF   ? exifText(*image)
                                            : kind_ == ExportKind::IPTC ? iptcText(image->iptc())
                                                                        : xmpText(*image));
    } catch (const Metadata::IOOpenError& e) {
        throw std::runtime_error(e.reason().empty() ? "cannot open the file" : e.reason());
    }
}

void CommandExport::finishFile(const std::string& path, std::unique_ptr<Prepared> prepared)
{
    const std::string& text = static_cast<const ExportText&>(*prepared).text;
    const std::string target = exportPath(path, kind_);
    if (text.empty()) {
        // Nothing of the kind: no file, and an export made while the picture still had some
        // goes, rather than stand beside it as if it were current.
        std::error_code ec;
        if (fs::is_regular_file(fs::symlink_status(fs::u8path(target), ec)) && !fs::remove(fs::u8path(target), ec) && ec) {
            reportFailure(path, "cannot remove the earlier " + target + ": " + ec.message());
        }
        return;
    }
    Platform::writeFileSafely(target, text, true); // lines end the platform's way
}

} // namespace Lumeno::Commands
