// lumeno columns, tip and overlay: what the file manager's column provider, info tip and icon
// overlays answer for each file.
#include "Commands.h"

#include <Lumeno/Shell/ShellCore.h>

#include <iomanip>
#include <ostream>
#include <sstream>

namespace Lumeno::Cli {

namespace {

const char* const ColumnsHelp =
    "Usage: lumeno columns [--columns TITLE,...] [--json] FILE...\n"
    "\n"
    "The metadata columns the file manager shows for each JPEG or TIFF file. By\n"
    "default a table of a few columns (date taken, size, exposure, title);\n"
    "--columns picks columns by title (DateTimeOriginal, FNumber, Caption, ...).\n"
    "--json prints an array with one object per file,\n"
    "{\"path\": PATH, \"values\": {TITLE: TEXT}}, holding every column that has an\n"
    "answer (empty texts kept, unanswered columns left out).\n"
    "The EnableExifColumns and EnableIptcColumns settings (section Shell) decide\n"
    "which columns exist, as they do for the file manager.\n";

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
    "\"none\".\n";

// JSON text; bytes that are not UTF-8 are taken as Latin-1.
std::string json(const std::string& text)
{
    std::string out = "\"";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            static const char Hex[] = "0123456789abcdef";
            out += c == '\n' ? "\\n" : c == '\r' ? "\\r" : c == '\t' ? "\\t" : std::string("\\u00") + Hex[c >> 4] + Hex[c & 15];
        } else if (c < 0x80) {
            out += static_cast<char>(c);
        } else {
            std::size_t n = (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
            bool valid = n > 0 && i + n <= text.size();
            for (std::size_t k = 1; valid && k < n; ++k) {
                valid = (static_cast<unsigned char>(text[i + k]) >> 6) == 2;
            }
            if (valid) {
                out.append(text, i, n);
                i += n - 1;
            } else {
                out += static_cast<char>(0xC0 | (c >> 6));
                out += static_cast<char>(0x80 | (c & 0x3F));
            }
        }
    }
    return out + "\"";
}

} // namespace

int runColumns(const std::vector<std::string>& arguments, Streams streams)
{
    const Shell::ColumnLayout layout = Shell::ColumnLayout::fromSettings();
    std::vector<std::string> titles = {"DateTimeOriginal", "PixelXDimension", "PixelYDimension", "ExposureTime",
                                       "FNumber", "ISOSpeedRatings", "Title"};
    bool asJson = false;
    std::vector<std::string> rest;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == "--json") {
            asJson = true;
        } else if (arguments[i] == "--columns" && i + 1 < arguments.size()) {
            titles.clear();
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
    if (const int status = parseFiles(rest, "columns", ColumnsHelp, streams, files); status >= 0) {
        return status;
    }

    if (asJson) {
        streams.out << "[";
        for (std::size_t f = 0; f < files.size(); ++f) {
            const auto texts = Shell::columnTexts(files[f], layout);
            streams.out << (f > 0 ? ",\n " : "\n ") << "{\"path\": " << json(files[f]) << ", \"values\": {";
            bool first = true;
            for (std::size_t i = 0; i < texts.size(); ++i) {
                if (texts[i]) {
                    Shell::ColumnInfo column;
                    layout.info(i, column);
                    streams.out << (first ? "" : ", ") << json(column.title) << ": " << json(*texts[i]);
                    first = false;
                }
            }
            streams.out << "}}";
        }
        streams.out << (files.empty() ? "]\n" : "\n]\n");
        return 0;
    }

    // A table for people: one column per title, as wide as its widest cell.
    std::vector<std::vector<std::string>> rows;
    rows.push_back({"File"});
    rows[0].insert(rows[0].end(), titles.begin(), titles.end());
    for (const std::string& file : files) {
        std::vector<std::string> row = {file};
        for (const std::string& title : titles) {
            const auto text = Shell::itemText(file, layout, layout.find(title));
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
    return 0;
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
    for (const std::string& file : files) {
        const Shell::OverlayInfo* overlay = Shell::overlayFor(Shell::overlayKindOfFile(file));
        streams.out << file << '\t' << (overlay != nullptr ? overlay->name : "none") << '\n';
    }
    return 0;
}

} // namespace Lumeno::Cli
