// The per-file commands: rename by capture date, lossless JPEG rotation, metadata export.
#pragma once

#include "Lumeno/Commands/Command.h"

#include <Lumeno/Platform/Services.h>

#include <optional>
#include <utility>
#include <vector>

namespace Metadata {
class ImageMetadata;
class ISODateTime;
class IPTC;
} // namespace Metadata

namespace Lumeno::Commands {

// Renames each file after the moment its picture was taken: YYYYMMDD-HHMMSS-NN plus the file's
// own extension, NN a counter that runs across the whole run (00 to 99, then 00 again).
class CommandFileRename : public CommandBase {
public:
    CommandFileRename(std::uint32_t fileCount, std::uintptr_t parentWindow,
                      std::shared_ptr<UI::Settings> settings = nullptr);

protected:
    // The date is read side by side; the renames follow in the files' order, as the counter does.
    std::unique_ptr<Prepared> prepareFile(const std::string& path) override;
    void finishFile(const std::string& path, std::unique_ptr<Prepared> prepared) override;

public:
    // The files renamed so far: each old path with its new one (a viewer follows its pictures).
    const std::vector<std::pair<std::string, std::string>>& renamed() const noexcept { return renamed_; }

private:
    std::uint32_t counter_ = 0;
    std::vector<std::pair<std::string, std::string>> renamed_;
};

// The capture date of an image, first valid source winning: the IPTC Date Created with Time
// Created; the first of the EXIF tags DateTimeOriginal, DateTimeDigitized and DateTime that the
// image has; the IPTC Date Created alone (at midnight). The IPTC sources come first on purpose.
bool captureDate(const Metadata::ImageMetadata& image, Metadata::ISODateTime& value);
// "20030714-090503-02.JPG" from a date, a counter and an extension (with its dot, or empty).
std::string renamedFileName(const Metadata::ISODateTime& value, std::uint32_t counter, const std::string& extension);

// Turns JPEG files by quarter or half turns without re-encoding. Direction 1 is 90 degrees
// clockwise, 2 is 180, 3 is 270 (90 counter-clockwise); any other direction does nothing.
// Edge blocks that cannot be turned are trimmed; every marker (EXIF, IPTC, XMP...) is copied
// unchanged. The turned picture replaces the file only once it is complete.
class CommandRotateJPEG : public CommandBase {
public:
    // `backup`: keep the original as Lumeno.NN.NAME; unset, the CreateBackup setting decides.
    CommandRotateJPEG(int direction, std::uint32_t fileCount, std::uintptr_t parentWindow,
                      std::shared_ptr<UI::Settings> settings = nullptr, std::optional<bool> backup = std::nullopt);
    // Turned files keep the modification time of the originals.
    void keepModificationTimes(bool keep) { writeOptions_.keepModificationTime = keep; }

protected:
    // Pictures are turned side by side; each replaces its file in the files' order.
    std::unique_ptr<Prepared> prepareFile(const std::string& path) override;
    void finishFile(const std::string& path, std::unique_ptr<Prepared> prepared) override;

private:
    int operation_;
    std::optional<bool> backup_;
    Platform::SafeWriteOptions writeOptions_;
    // Each large picture needs the same large blocks as the one before.
    Platform::FreedMemoryKept keptMemory_;
};

enum class ExportKind { EXIF, IPTC, XMP };

// Writes an image's metadata of one kind to a text file beside it: the path without its
// extension plus ".exif.txt", ".iptc.txt" or ".xmp". An image without metadata of the kind
// gets no file (an earlier export of that kind is removed) and is not a failure.
class CommandExport : public CommandBase {
public:
    CommandExport(ExportKind kind, std::uint32_t fileCount, std::uintptr_t parentWindow,
                  std::shared_ptr<UI::Settings> settings = nullptr);

protected:
    std::unique_ptr<Prepared> prepareFile(const std::string& path) override;
    void finishFile(const std::string& path, std::unique_ptr<Prepared> prepared) override;

private:
    ExportKind kind_;
};

class CommandExportEXIF : public CommandExport {
public:
    CommandExportEXIF(std::uint32_t fileCount, std::uintptr_t parentWindow, std::shared_ptr<UI::Settings> settings = nullptr)
        : CommandExport(ExportKind::EXIF, fileCount, parentWindow, std::move(settings))
    {
    }
};

class CommandExportIPTC : public CommandExport {
public:
    CommandExportIPTC(std::uint32_t fileCount, std::uintptr_t parentWindow, std::shared_ptr<UI::Settings> settings = nullptr)
        : CommandExport(ExportKind::IPTC, fileCount, parentWindow, std::move(settings))
    {
    }
};

class CommandExportXMP : public CommandExport {
public:
    CommandExportXMP(std::uint32_t fileCount, std::uintptr_t parentWindow, std::shared_ptr<UI::Settings> settings = nullptr)
        : CommandExport(ExportKind::XMP, fileCount, parentWindow, std::move(settings))
    {
    }
};

// The export file of an image: "a.b.jpg" gives "a.b" + suffix.
std::string exportPath(const std::string& imagePath, ExportKind kind);
// The texts the exports write (lines end with '\n'); empty when there is nothing of the kind.
std::string exifText(const Metadata::ImageMetadata& image);
std::string iptcText(const Metadata::IPTC& iptc);
std::string xmpText(const Metadata::ImageMetadata& image);
// An IPTC text on one line: CR, LF, tab and backslash written as \r, \n, \t and \\.
std::string escapedText(const std::string& text);

// Brings the gallery store's record of each file up to date (and its thumbnail, when asked):
// "Synchronize with database". A file the store cannot take is a failure of that file only.
class CommandUpdateStore : public CommandBase {
public:
    CommandUpdateStore(bool thumbnails, std::uint32_t fileCount, std::uintptr_t parentWindow,
                       std::shared_ptr<UI::Settings> settings = nullptr);
    // Each file is also added to this gallery (which must exist); empty: none.
    void addTo(std::string gallery) { gallery_ = std::move(gallery); }

protected:
    // The records and thumbnails are made side by side; the store takes them one transaction
    // after another, in the files' order.
    std::unique_ptr<Prepared> prepareFile(const std::string& path) override;
    void finishFile(const std::string& path, std::unique_ptr<Prepared> prepared) override;

private:
    bool thumbnails_;
    std::string gallery_;
};

} // namespace Lumeno::Commands
