#include "Lumeno/UI/Settings.h"

#include <Lumeno/Platform/Services.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace Lumeno::UI {

// ---- FontRecord ----------------------------------------------------------------------------

namespace {

void put32(std::uint8_t* p, std::int32_t v)
{
    const auto u = static_cast<std::uint32_t>(v);
    p[0] = static_cast<std::uint8_t>(u);
    p[1] = static_cast<std::uint8_t>(u >> 8);
    p[2] = static_cast<std::uint8_t>(u >> 16);
    p[3] = static_cast<std::uint8_t>(u >> 24);
}

std::int32_t get32(const std::uint8_t* p)
{
    return static_cast<std::int32_t>(std::uint32_t{p[0]} | (std::uint32_t{p[1]} << 8) | (std::uint32_t{p[2]} << 16) |
                                     (std::uint32_t{p[3]} << 24));
}

// Windows' MulDiv: a * b / c in 64 bits, rounded half away from zero.
std::int32_t mulDiv(std::int64_t a, std::int64_t b, std::int64_t c)
{
    const std::int64_t product = a * b;
    const std::int64_t half = c / 2;
    return static_cast<std::int32_t>(product >= 0 ? (product + half) / c : (product - half) / c);
}

} // namespace

std::array<std::uint8_t, FontRecord::Size> FontRecord::bytes() const
{
    std::array<std::uint8_t, Size> b{};
    put32(&b[0], height);
    put32(&b[4], width);
    put32(&b[8], escapement);
    put32(&b[12], orientation);
    put32(&b[16], weight);
    b[20] = italic;
    b[21] = underline;
    b[22] = strikeOut;
    b[23] = charSet;
    b[24] = outPrecision;
    b[25] = clipPrecision;
    b[26] = quality;
    b[27] = pitchAndFamily;
    std::memcpy(&b[28], faceName, sizeof faceName);
    return b;
}

bool FontRecord::fromBytes(const std::vector<std::uint8_t>& b, FontRecord& r)
{
    if (b.size() != Size) {
        return false;
    }
    r.height = get32(&b[0]);
    r.width = get32(&b[4]);
    r.escapement = get32(&b[8]);
    r.orientation = get32(&b[12]);
    r.weight = get32(&b[16]);
    r.italic = b[20];
    r.underline = b[21];
    r.strikeOut = b[22];
    r.charSet = b[23];
    r.outPrecision = b[24];
    r.clipPrecision = b[25];
    r.quality = b[26];
    r.pitchAndFamily = b[27];
    std::memcpy(r.faceName, &b[28], sizeof r.faceName);
    return true;
}

std::string FontRecord::face() const
{
    return std::string(faceName, strnlen(faceName, sizeof faceName));
}

FontRecord FontRecord::make(const std::string& face, int points, int pixelsPerInch)
{
    FontRecord r;
    r.charSet = 1; // the platform's default character set
    std::strncpy(r.faceName, face.c_str(), sizeof r.faceName - 1);
    r.height = -mulDiv(points, pixelsPerInch, 72);
    return r;
}

int FontRecord::points(int pixelsPerInch) const
{
    return mulDiv(height < 0 ? -height : height, 72, pixelsPerInch);
}

// ---- SettingsAccessor ------------------------------------------------------------------------

bool SettingsAccessor::readFlag(const std::string& section, const std::string& name, bool& value) const
{
    std::uint32_t n = 0;
    if (!store_.readNumber(section, name, n)) {
        return false;
    }
    value = n != 0;
    return true;
}

bool SettingsAccessor::readNumber(const std::string& section, const std::string& name, std::uint32_t& value) const
{
    return store_.readNumber(section, name, value);
}

bool SettingsAccessor::readText(const std::string& section, const std::string& name, std::string& value) const
{
    return store_.readText(section, name, value);
}

bool SettingsAccessor::readFont(const std::string& section, const std::string& name, FontRecord& value) const
{
    std::vector<std::uint8_t> bytes;
    return store_.readBinary(section, name, bytes) && FontRecord::fromBytes(bytes, value);
}

bool SettingsAccessor::readList(const std::string& section, const std::string& name, std::vector<std::string>& value) const
{
    const std::string key = section + "\\" + name;
    std::vector<std::string> items;
    std::string item;
    for (unsigned i = 0; store_.readText(key, std::to_string(i), item); ++i) {
        items.push_back(item);
    }
    if (items.empty()) {
        return false;
    }
    value = std::move(items);
    return true;
}

bool SettingsAccessor::writeNumber(const std::string& section, const std::string& name, std::uint32_t value)
{
    return store_.writeNumber(section, name, value);
}

bool SettingsAccessor::writeText(const std::string& section, const std::string& name, const std::string& value)
{
    return store_.writeText(section, name, value);
}

bool SettingsAccessor::writeFont(const std::string& section, const std::string& name, const FontRecord& value)
{
    const auto bytes = value.bytes();
    return store_.writeBinary(section, name, std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
}

bool SettingsAccessor::writeList(const std::string& section, const std::string& name,
                                 const std::vector<std::string>& value)
{
    const std::string key = section + "\\" + name;
    bool ok = true;
    for (unsigned i = 0; i < value.size(); ++i) {
        ok = store_.writeText(key, std::to_string(i), value[i]) && ok;
    }
    // Items left over from a longer list would otherwise read as part of this one.
    std::string old;
    for (auto i = static_cast<unsigned>(value.size()); store_.readText(key, std::to_string(i), old); ++i) {
        ok = store_.remove(key, std::to_string(i)) && ok;
    }
    return ok;
}

// ---- the table -----------------------------------------------------------------------------

const std::vector<SettingInfo>& settingsTable()
{
    static const std::vector<SettingInfo> table = {
#define LUMENO_SETTING_ROW(id, section, name, kind, number, face, folder) \
    {Setting::id, section, name, SettingKind::kind, number, face, FolderDefault::folder},
        LUMENO_SETTINGS(LUMENO_SETTING_ROW)
#undef LUMENO_SETTING_ROW
    };
    return table;
}

const SettingInfo& settingInfo(Setting id)
{
    return settingsTable()[static_cast<std::size_t>(id)];
}

const SettingInfo* findSetting(const std::string& section, const std::string& name)
{
    for (const SettingInfo& row : settingsTable()) {
        if (section == row.section && name == row.name) {
            return &row;
        }
    }
    return nullptr;
}

// ---- Settings ------------------------------------------------------------------------------

Settings::Settings() : owned_(userSettingsStore()), accessor_(*owned_) {}

Settings::Settings(SettingsStore& store) : accessor_(store) {}

std::vector<std::string> Settings::problems() const
{
    return accessor_.store().problems();
}

Settings::~Settings() = default;

namespace {

void mark(bool* stored, bool value)
{
    if (stored != nullptr) {
        *stored = value;
    }
}

} // namespace

bool Settings::flag(Setting id, bool* stored) const
{
    const SettingInfo& row = settingInfo(id);
    bool value = row.defaultNumber != 0;
    mark(stored, accessor_.readFlag(row.section, row.name, value));
    return value;
}

std::uint32_t Settings::number(Setting id, bool* stored) const
{
    const SettingInfo& row = settingInfo(id);
    std::uint32_t value = row.defaultNumber;
    mark(stored, accessor_.readNumber(row.section, row.name, value));
    return value;
}

double Settings::gammaValue(Setting id, bool* stored) const
{
    return number(id, stored) * 0.01;
}

std::string Settings::folder(Setting id, bool* stored) const
{
    const SettingInfo& row = settingInfo(id);
    std::string value;
    const bool found = accessor_.readText(row.section, row.name, value);
    mark(stored, found);
    if (found) {
        return value;
    }
    const Platform::Services& system = Platform::services();
    return row.defaultFolder == FolderDefault::Pictures ? system.picturesFolder()
           : row.defaultFolder == FolderDefault::Documents ? system.documentsFolder()
                                                            : std::string();
}

FontRecord Settings::font(Setting id, bool* stored) const
{
    const SettingInfo& row = settingInfo(id);
    FontRecord value;
    const bool found = accessor_.readFont(row.section, row.name, value);
    mark(stored, found);
    if (!found) {
        value = FontRecord::make(row.defaultFace != nullptr ? row.defaultFace : "", static_cast<int>(row.defaultNumber),
                                 Platform::services().screenPixelsPerInch());
    }
    return value;
}

std::vector<std::string> Settings::list(Setting id, bool* stored) const
{
    const SettingInfo& row = settingInfo(id);
    std::vector<std::string> value;
    mark(stored, accessor_.readList(row.section, row.name, value));
    return value;
}

namespace {

std::string colourText(std::uint32_t bgr)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%02X%02X%02X", bgr & 0xFF, (bgr >> 8) & 0xFF, (bgr >> 16) & 0xFF);
    return text;
}

std::string trim(const std::string& s)
{
    const auto start = s.find_first_not_of(" \t");
    if (start == std::string::npos) {
        return {};
    }
    return s.substr(start, s.find_last_not_of(" \t") - start + 1);
}

std::uint32_t parseNumber(const std::string& text, const char* what)
{
    std::uint32_t value = 0;
    const char* end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || at != end) {
        throw std::invalid_argument("'" + text + "' is not " + what);
    }
    return value;
}

} // namespace

std::string Settings::text(Setting id, bool* stored) const
{
    const SettingInfo& row = settingInfo(id);
    switch (row.kind) {
    case SettingKind::Flag:
        return flag(id, stored) ? "1" : "0";
    case SettingKind::Number:
        return std::to_string(number(id, stored));
    case SettingKind::Colour:
        return colourText(number(id, stored));
    case SettingKind::Gamma: {
        char buffer[32];
        std::snprintf(buffer, sizeof buffer, "%g", gammaValue(id, stored));
        return buffer;
    }
    case SettingKind::Folder:
        return folder(id, stored);
    case SettingKind::Font: {
        const FontRecord f = font(id, stored);
        return f.face() + ", " + std::to_string(f.points(Platform::services().screenPixelsPerInch())) + " pt";
    }
    case SettingKind::List: {
        std::string joined;
        for (const std::string& item : list(id, stored)) {
            joined += (joined.empty() ? "" : "; ") + item;
        }
        return joined;
    }
    }
    return {};
}

bool Settings::setText(Setting id, const std::string& input)
{
    const SettingInfo& row = settingInfo(id);
    const std::string text = trim(input);
    switch (row.kind) {
    case SettingKind::Flag: {
        std::string t = text;
        std::transform(t.begin(), t.end(), t.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        if (t == "1" || t == "on" || t == "true" || t == "yes") {
            return accessor_.writeNumber(row.section, row.name, 1);
        }
        if (t == "0" || t == "off" || t == "false" || t == "no") {
            return accessor_.writeNumber(row.section, row.name, 0);
        }
        throw std::invalid_argument("'" + input + "' is not a flag (0 or 1)");
    }
    case SettingKind::Number:
        return accessor_.writeNumber(row.section, row.name, parseNumber(text, "a number"));
    case SettingKind::Colour: {
        std::string hex = text;
        if (hex.rfind("0x", 0) == 0 || hex.rfind("0X", 0) == 0) {
            hex = hex.substr(2);
        } else if (!hex.empty() && hex[0] == '#') {
            hex = hex.substr(1);
        } else {
            hex.clear();
        }
        std::uint32_t rgb = 0;
        const auto [at, error] = std::from_chars(hex.data(), hex.data() + hex.size(), rgb, 16);
        if (hex.size() != 6 || error != std::errc() || at != hex.data() + hex.size()) {
            throw std::invalid_argument("'" + input + "' is not a colour (0xRRGGBB)");
        }
        const std::uint32_t bgr = ((rgb & 0xFF) << 16) | (rgb & 0xFF00) | ((rgb >> 16) & 0xFF);
        return accessor_.writeNumber(row.section, row.name, bgr);
    }
    case SettingKind::Gamma: {
        double gamma = 0;
        const auto [at, error] = std::from_chars(text.data(), text.data() + text.size(), gamma);
        if (text.empty() || error != std::errc() || at != text.data() + text.size() || !std::isfinite(gamma) ||
            gamma < 0 || gamma > 4e7) {
            throw std::invalid_argument("'" + input + "' is not a gamma value (such as 1.2)");
        }
        return accessor_.writeNumber(row.section, row.name, static_cast<std::uint32_t>(std::lround(gamma * 100)));
    }
    case SettingKind::Folder:
        if (text.empty()) {
            throw std::invalid_argument("a folder cannot be empty");
        }
        return accessor_.writeText(row.section, row.name, text);
    case SettingKind::Font: {
        const std::size_t comma = text.rfind(',');
        std::string size = comma == std::string::npos ? std::string() : trim(text.substr(comma + 1));
        if (size.size() > 2 && size.compare(size.size() - 2, 2, "pt") == 0) {
            size = trim(size.substr(0, size.size() - 2));
        }
        const std::string face = comma == std::string::npos ? std::string() : trim(text.substr(0, comma));
        if (face.empty() || face.size() > 31) {
            throw std::invalid_argument("'" + input + "' is not a font (FACE, POINTS)");
        }
        const std::uint32_t points = parseNumber(size, "a point size");
        if (points == 0 || points > 1000) {
            throw std::invalid_argument("'" + input + "' is not a font (FACE, POINTS)");
        }
        return accessor_.writeFont(row.section, row.name,
                                   FontRecord::make(face, static_cast<int>(points),
                                                    Platform::services().screenPixelsPerInch()));
    }
    case SettingKind::List: {
        std::vector<std::string> items;
        std::size_t start = 0;
        while (start <= text.size() && !text.empty()) {
            const std::size_t end = text.find(';', start);
            const std::string item = trim(text.substr(start, end == std::string::npos ? std::string::npos : end - start));
            if (!item.empty()) {
                items.push_back(item);
            }
            if (end == std::string::npos) {
                break;
            }
            start = end + 1;
        }
        return accessor_.writeList(row.section, row.name, items);
    }
    }
    return false;
}

} // namespace Lumeno::UI
