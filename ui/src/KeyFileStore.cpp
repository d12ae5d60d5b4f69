// The key-file store: an INI file of [SECTION] lines and NAME=VALUE lines. Each value keeps its
// kind, as registry values do: dword:N, sz:TEXT or hex:BYTES.
//
// The file is read by a reader of our own rather than a strict one: a file that a person edited
// (a duplicate name, a stray line) is read as far as it can be, and is never written back over
// while it cannot be read whole.
#include "Lumeno/UI/Settings.h"

#include <Lumeno/Platform/Services.h>

#include <charconv>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace fs = std::filesystem;

namespace Lumeno::UI {

namespace {

// Settings take a few kilobytes; a file much larger is not a settings file.
constexpr std::uintmax_t MaxFileSize = 1u << 20;

using Section = std::map<std::string, std::string>;
using Contents = std::map<std::string, Section>;

std::string trimmed(const std::string& text)
{
    const std::size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t\r") + 1 - first);
}

class KeyFileStore final : public SettingsStore {
public:
    explicit KeyFileStore(std::string path) : path_(std::move(path)) {}

    bool readNumber(const std::string& section, const std::string& name, std::uint32_t& value) const override
    {
        std::string raw;
        if (!read(section, name, "dword:", raw)) {
            return false;
        }
        std::uint32_t n = 0;
        const auto [at, error] = std::from_chars(raw.data(), raw.data() + raw.size(), n);
        if (raw.empty() || error != std::errc() || at != raw.data() + raw.size()) {
            return false;
        }
        value = n;
        return true;
    }

    bool readText(const std::string& section, const std::string& name, std::string& value) const override
    {
        return read(section, name, "sz:", value);
    }

    bool readBinary(const std::string& section, const std::string& name, std::vector<std::uint8_t>& value) const override
    {
        std::string raw;
        if (!read(section, name, "hex:", raw) || raw.size() % 2 != 0) {
            return false;
        }
        std::vector<std::uint8_t> bytes(raw.size() / 2);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            const auto [at, error] = std::from_chars(raw.data() + 2 * i, raw.data() + 2 * i + 2, bytes[i], 16);
            if (error != std::errc() || at != raw.data() + 2 * i + 2) {
                return false;
            }
        }
        value = std::move(bytes);
        return true;
    }

    bool writeNumber(const std::string& section, const std::string& name, std::uint32_t value) override
    {
        return write(section, name, "dword:" + std::to_string(value));
    }

    bool writeText(const std::string& section, const std::string& name, const std::string& value) override
    {
        if (value.find_first_of("\r\n") != std::string::npos) {
            return false; // one value, one line
        }
        return write(section, name, "sz:" + value);
    }

    bool writeBinary(const std::string& section, const std::string& name, const std::vector<std::uint8_t>& value) override
    {
        static const char Hex[] = "0123456789abcdef";
        std::string text = "hex:";
        for (std::uint8_t b : value) {
            text += Hex[b >> 4];
            text += Hex[b & 15];
        }
        return write(section, name, text);
    }

    bool remove(const std::string& section, const std::string& name) override
    {
        Contents contents = load();
        const auto found = contents.find(section);
        if (found == contents.end() || found->second.erase(name) == 0) {
            return true;
        }
        return save(contents);
    }

    std::vector<std::string> valueNames(const std::string& section) const override
    {
        std::vector<std::string> names;
        const Contents& contents = load();
        const auto found = contents.find(section);
        if (found != contents.end()) {
            for (const auto& value : found->second) {
                names.push_back(value.first);
            }
        }
        return names;
    }

    std::vector<std::string> problems() const override
    {
        load();
        return problems_;
    }

private:
    // The file's contents, read again only when the file changed since the last reading.
    const Contents& load() const
    {
        std::error_code ec;
        const fs::path file = fs::u8path(path_);
        const fs::file_status status = fs::status(file, ec);
        if (ec || !fs::exists(status)) {
            cached_ = Contents();
            problems_.clear();
            whole_ = true;
            stamp_ = {};
            return cached_;
        }
        const std::uintmax_t size = fs::is_regular_file(status) ? fs::file_size(file, ec) : 0;
        const fs::file_time_type modified = fs::last_write_time(file, ec);
        const Stamp stamp{true, size, modified};
        if (stamp == stamp_) {
            return cached_;
        }
        stamp_ = stamp;
        cached_ = Contents();
        problems_.clear();
        whole_ = false;
        if (!fs::is_regular_file(status)) {
            problems_.push_back("the settings file " + path_ + " is not a regular file: it is not read");
            return cached_;
        }
        if (size > MaxFileSize) {
            problems_.push_back("the settings file " + path_ + " is " + std::to_string(size) +
                                " bytes, far more than settings take: it is not read");
            return cached_;
        }
        std::ifstream in(file, std::ios::binary);
        if (!in) {
            problems_.push_back("the settings file " + path_ + " cannot be read");
            return cached_;
        }
        whole_ = true;
        Section* section = nullptr;
        std::string line;
        for (int number = 1; std::getline(in, line); ++number) {
            const std::string text = trimmed(line);
            const auto fault = [&](const std::string& what) {
                whole_ = false;
                problems_.push_back(path_ + ":" + std::to_string(number) + ": " + what);
            };
            if (text.empty() || text[0] == ';' || text[0] == '#') {
                continue;
            }
            if (text[0] == '[') {
                if (text.back() != ']') {
                    fault("a section name without its ']'");
                    section = nullptr;
                    continue;
                }
                section = &cached_[trimmed(text.substr(1, text.size() - 2))];
                continue;
            }
            const std::size_t equals = text.find('=');
            if (equals == std::string::npos || section == nullptr) {
                fault(section == nullptr ? "a value outside any section" : "a line that is no NAME=VALUE");
                continue;
            }
            const std::string name = trimmed(text.substr(0, equals));
            if (section->count(name) != 0) {
                // The later one wins, as in most readers of such files; the file is not written
                // back until a person has seen it.
                fault("'" + name + "' is given twice; the later value is used");
            }
            (*section)[name] = trimmed(text.substr(equals + 1));
        }
        return cached_;
    }

    bool save(const Contents& contents)
    {
        try {
            fs::create_directories(fs::u8path(path_).parent_path());
            if (!whole_ && stamp_.exists) {
                keepAside();
            }
            std::ostringstream text;
            for (const auto& [name, values] : contents) {
                text << '[' << name << "]\n";
                for (const auto& [key, value] : values) {
                    text << key << '=' << value << '\n';
                }
                text << '\n';
            }
            Platform::writeFileSafely(path_, text.str(), true);
            stamp_ = {};
            return true;
        } catch (const std::exception& e) {
            problems_.push_back("the settings file " + path_ + " could not be written: " + e.what());
            return false;
        }
    }

    // A file that could not be read whole is never written over: it is moved aside, where a
    // person can take back what the reader could not.
    void keepAside()
    {
        const fs::path file = fs::u8path(path_);
        if (!fs::is_regular_file(file)) {
            throw std::runtime_error("it is not a regular file");
        }
        const std::time_t now = std::time(nullptr);
        std::tm local{};
#ifdef _WIN32
        localtime_s(&local, &now);
#else
        localtime_r(&now, &local);
#endif
        char stamp[32];
        std::strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%S", &local);
        fs::path aside = file;
        aside += std::string(".unread-") + stamp;
        fs::rename(file, aside);
        problems_.push_back("the settings file " + path_ + " could not be read whole; it was kept as " +
                            aside.u8string() + " and a new one written with what could be read");
    }

    bool read(const std::string& section, const std::string& name, const std::string& kind, std::string& value) const
    {
        const Contents& contents = load();
        const auto s = contents.find(section);
        if (s == contents.end()) {
            return false;
        }
        const auto v = s->second.find(name);
        if (v == s->second.end()) {
            return false;
        }
        const std::string& raw = v->second;
        if (raw.compare(0, kind.size(), kind) != 0) {
            return false; // stored as another kind
        }
        value = raw.substr(kind.size());
        return true;
    }

    bool write(const std::string& section, const std::string& name, const std::string& value)
    {
        if (section.find_first_of("[]\r\n") != std::string::npos || name.find_first_of("=\r\n") != std::string::npos ||
            trimmed(section) != section || trimmed(name) != name || name.empty()) {
            return false;
        }
        Contents contents = load();
        contents[section][name] = value;
        return save(contents);
    }

    struct Stamp {
        bool exists = false;
        std::uintmax_t size = 0;
        fs::file_time_type modified{};
        bool operator==(const Stamp& o) const { return exists == o.exists && size == o.size && modified == o.modified; }
    };

    std::string path_;
    mutable Contents cached_;
    mutable Stamp stamp_;
    mutable bool whole_ = true;
    mutable std::vector<std::string> problems_;
};

} // namespace

std::unique_ptr<SettingsStore> keyFileSettingsStore(const std::string& path)
{
    return std::make_unique<KeyFileStore>(path);
}

} // namespace Lumeno::UI
