// The key-file store: an INI file read and written with Boost.PropertyTree. Each value keeps
// its kind, as registry values do: dword:N, sz:TEXT or hex:BYTES.
#include "Lumeno/UI/Settings.h"

#include <Lumeno/Platform/Services.h>

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <charconv>
#include <filesystem>

namespace pt = boost::property_tree;

namespace Lumeno::UI {

namespace {

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
        pt::ptree tree = load();
        const auto found = tree.find(section);
        if (found == tree.not_found()) {
            return true;
        }
        found->second.erase(name);
        return save(tree);
    }

private:
    pt::ptree load() const
    {
        pt::ptree tree;
        try {
            pt::read_ini(path_, tree);
        } catch (const pt::ptree_error&) {
            // A missing or unreadable file holds nothing: every setting has its default.
        }
        return tree;
    }

    bool save(const pt::ptree& tree)
    {
        try {
            std::filesystem::create_directories(std::filesystem::u8path(path_).parent_path());
            Platform::writeFileSafely(path_, [&](const std::string& temporary) { pt::write_ini(temporary, tree); });
            return true;
        } catch (const std::exception&) {
            return false;
        }
    }

    bool read(const std::string& section, const std::string& name, const std::string& kind, std::string& value) const
    {
        const pt::ptree tree = load();
        const auto s = tree.find(section);
        if (s == tree.not_found()) {
            return false;
        }
        const auto v = s->second.find(name);
        if (v == s->second.not_found()) {
            return false;
        }
        const std::string& raw = v->second.data();
        if (raw.compare(0, kind.size(), kind) != 0) {
            return false; // stored as another kind
        }
        value = raw.substr(kind.size());
        return true;
    }

    bool write(const std::string& section, const std::string& name, const std::string& value)
    {
        if (section.find_first_of(".[]") != std::string::npos || name.find_first_of(".=") != std::string::npos) {
            return false;
        }
        pt::ptree tree = load();
        if (tree.find(section) == tree.not_found()) {
            tree.push_back({section, pt::ptree()});
        }
        tree.find(section)->second.put(pt::ptree::path_type(name, '\0'), value);
        return save(tree);
    }

    std::string path_;
};

} // namespace

std::unique_ptr<SettingsStore> keyFileSettingsStore(const std::string& path)
{
    return std::make_unique<KeyFileStore>(path);
}

} // namespace Lumeno::UI
