// lumeno columns, tip and overlay: what the file manager's column provider, info tip and icon
// overlays answer for each file.
#include "Commands.h"

#include <Metadata/ImageFactory.h>
#include <Metadata/Text.h>

#include <Lumeno/Commands/InOrder.h>
#include <Lumeno/Shell/ShellCore.h>

#include <algorithm>
#include <iomanip>
#include <optional>
#include <ostream>
#include <sstream>

namespace Lumeno::Cli {

namespace {

const char* const ColumnsHelp =
    "Usage: lumeno columns [--columns TITLE,...] [--json] [-j N] FILE...\n"
    "\n"
    "The metadata columns the file manager shows for each JPEG or TIFF file. By\n"
    "default a table of a few columns (date taken, size, exposure, title);\n"
    "--columns picks columns by title (DateTimeOriginal, FNumber, Caption, ...).\n"
    "--json prints an array with one object per file,\n"
    "{\"path\": PATH, \"values\": {TITLE: TEXT}}, holding every column that has an\n"
    "answer, or with --columns the chosen ones (empty texts kept, unanswered\n"
    "columns left out).\n"
    "The EnableExifColumns and EnableIptcColumns settings (section Shell) decide\n"
    "which columns exist, as they do for the file manager. With -j N, N files are\n"
    "read side by side (default: one per core).\n";

const char* const TipHelp =
    "Usage: lumeno tip FILE\n"
    "\n"
    "The tip the file manager shows when the pointer rests on the file: its IPTC\n"
    "title, author and caption, then its capture date and size and seven exposure\n"
    "lines. Nothing is printed when there is no tip.\n";

const char* const OverlayHelp =
    "Usage: lumeno overlay FILE...\n"
    "\n"
    "The icon overlay the file manager puts on each file, after the metadata it\n"
    "carries: PATH, a tab, and the overlay's name (\"Lumeno EXIF & IPTC\", ...) or\n"
    "\"none\". With the EnableIconOverlays setting (section Shell) off, every file\n"
    "has none, as in the file manager.\n";

// JSON text; bytes that are not UTF-8 are taken as Latin-1. Written the way the COM server's
// test program writes it, so that the two can be compared byte for byte.
std::string json(const std::string& text)
{
    std::string out = "\"";
    for (char ch : Metadata::Text::toUtf8(text)) {
        const auto c = static_cast<unsigned char>(ch);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += ch;
        } else if (c < 0x20) {
            static const char Hex[] = "0123456789abcdef";
            out += c == '\n' ? "\\n" : c == '\r' ? "\\r" : c == '\t' ? "\\t" : std::string("\\u00") + Hex[c >> 4] + Hex[c & 15];
        } else {
            out += ch;
        }
    }
    return out + "\"";
}

// Files the file manager would never ask about (no file, a folder, a FIFO) are reported the
// way every command reports a file it cannot read; false for them.
bool askable(const std::string& file, Streams streams)
{
    const std::string why = Metadata::whyNotARegularFile(file);
    if (why.empty()) {
        return true;
    }
    streams.out.flush();
    streams.err << "lumeno: " << file << ": " << why << '\n';
    return false;
}

} // namespace

int runColumns(const std::vector<std::string>& arguments, Streams streams)
{
    const Shell::ColumnLayout layout = Shell::ColumnLayout::fromSettings();
    std::vector<std::string> titles = {"DateTimeOriginal", "PixelXDimension", "PixelYDimension", "ExposureTime",
                                       "FNumber", "ISOSpeedRatings", "Title"};
    bool asJson = false;
    bool chosen = false;
    std::vector<std::string> rest;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == "--json") {
            asJson = true;
        } else if (arguments[i] == "--columns" && i + 1 < arguments.size()) {
            titles.clear();
            chosen = true;
            std::stringstream list(arguments[++i]);
            for (std::string title; std::getline(list, title, ',');) {
                if (layout.find(title) == layout.count()) {
                    streams.err << "lumeno columns: no column is titled '" << title << "'\n";
                    return 2;
                }
                titles.push_back(title);
            }
        } else {
            rest.push_back(arguments[i]);
        }
    }
    std::vector<std::string> files;
    unsigned jobs = 1;
    if (const int status = takeJobs(rest, "columns", streams, jobs); status >= 0) {
        return status;
    }
    if (const int status = parseFiles(rest, "columns", ColumnsHelp, streams, files); status >= 0) {
        return status;
    }

    int status = 0;
    std::vector<std::string> readable;
    for (const std::string& file : files) {
        if (askable(file, streams)) {
            readable.push_back(file);
        } else {
            status = 1;
        }
    }
    files = readable;
    // Every file's texts, read side by side; then written in the files' order.
    std::vector<std::vector<std::optional<std::string>>> cells(files.size());
    Commands::inOrder<std::vector<std::optional<std::string>>>(
        files.size(), jobs, [&](std::size_t f) { return Shell::columnTexts(files[f], layout); },
        [&](std::size_t f, auto&& outcome) { cells[f] = std::move(outcome.get()); }, [] { return false; });
    if (asJson) {
        streams.out << "[";
        for (std::size_t f = 0; f < files.size(); ++f) {
            const auto& texts = cells[f];
            streams.out << (f > 0 ? ",\n " : "\n ") << "{\"path\": " << json(files[f]) << ", \"values\": {";
            bool first = true;
            for (std::size_t i = 0; i < texts.size(); ++i) {
                Shell::ColumnInfo column;
                layout.info(i, column);
                // Every answered column, or those chosen with --columns (in the layout's order).
                const bool wanted = !chosen || std::find(titles.begin(), titles.end(), column.title) != titles.end();
                if (texts[i] && wanted) {
                    streams.out << (first ? "" : ", ") << json(column.title) << ": " << json(*texts[i]);
                    first = false;
                }
            }
            streams.out << "}}";
        }
        streams.out << (files.empty() ? "]\n" : "\n]\n");
        return status;
    }

    // A table for people: one column per title, as wide as its widest cell.
    std::vector<std::vector<std::string>> rows;
    rows.push_back({"File"});
    rows[0].insert(rows[0].end(), titles.begin(), titles.end());
    for (std::size_t f = 0; f < files.size(); ++f) {
        std::vector<std::string> row = {files[f]};
        for (const std::string& title : titles) {
            const std::size_t column = layout.find(title);
            const auto& text = column < cells[f].size() ? cells[f][column] : std::nullopt;
            row.push_back(text ? *text : "");
        }
        rows.push_back(row);
    }
    std::vector<std::size_t> widths(rows[0].size(), 0);
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            streams.out << row[i];
            if (i + 1 < row.size()) {
                streams.out << std::string(widths[i] - row[i].size() + 2, ' ');
            }
        }
        streams.out << '\n';
    }
    return status;
}

int runTip(const std::vector<std::string>& arguments, Streams streams)
{
    std::vector<std::string> files;
    if (const int status = parseFiles(arguments, "tip", TipHelp, streams, files); status >= 0) {
        return status;
    }
    if (files.size() != 1) {
        streams.err << "lumeno tip: give one file\n";
        return 2;
    }
    if (!askable(files[0], streams)) {
        return 1;
    }
    if (const auto tip = Shell::infoTipForFile(files[0])) {
        streams.out << *tip << '\n';
    }
    return 0;
}

int runOverlay(const std::vector<std::string>& arguments, Streams streams)
{
    std::vector<std::string> files;
    if (const int status = parseFiles(arguments, "overlay", OverlayHelp, streams, files); status >= 0) {
        return status;
    }
    // With overlays turned off the file manager shows none, whatever a file carries.
    const bool enabled = Shell::overlaysEnabled();
    int status = 0;
    for (const std::string& file : files) {
        if (!askable(file, streams)) {
            status = 1;
            continue;
        }
        const Shell::OverlayInfo* overlay = enabled ? Shell::overlayFor(Shell::overlayKindOfFile(file)) : nullptr;
        streams.out << file << '\t' << (overlay != nullptr ? overlay->name : "none") << '\n';
    }
    return status;
}

} // namespace Lumeno::Cli
