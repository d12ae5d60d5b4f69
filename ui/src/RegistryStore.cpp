// The Windows store: HKEY_CURRENT_USER\Software\LumenoWorks\Lumeno\SECTION, with REG_DWORD
// numbers, REG_SZ texts and REG_BINARY blocks. Reads open the key for reading only; writes
// create it when it is missing.
#include "Lumeno/UI/Settings.h"

#include <windows.h>

namespace Lumeno::UI {

namespace {

class RegistryStore final : public SettingsStore {
public:
    bool readNumber(const std::string& section, const std::string& name, std::uint32_t& value) const override
    {
        DWORD type = 0;
        DWORD data = 0;
        DWORD size = sizeof data;
        if (!query(section, name, &type, reinterpret_cast<BYTE*>(&data), &size) || type != REG_DWORD ||
            size != sizeof data) {
            return false;
        }
        value = data;
        return true;
    }

    bool readText(const std::string& section, const std::string& name, std::string& value) const override
    {
        // First the size, then the text into a buffer of that size.
        DWORD type = 0;
        DWORD size = 0;
        if (!query(section, name, &type, nullptr, &size) || type != REG_SZ) {
            return false;
        }
        std::string text(size, '\0');
        if (!query(section, name, &type, reinterpret_cast<BYTE*>(&text[0]), &size) || type != REG_SZ) {
            return false;
        }
        text.resize(strnlen(text.c_str(), size));
        value = text;
        return true;
    }

    bool readBinary(const std::string& section, const std::string& name, std::vector<std::uint8_t>& value) const override
    {
        DWORD type = 0;
        DWORD size = 0;
        if (!query(section, name, &type, nullptr, &size) || type != REG_BINARY) {
            return false;
        }
        std::vector<std::uint8_t> bytes(size);
        if (!query(section, name, &type, bytes.data(), &size) || type != REG_BINARY) {
            return false;
        }
        bytes.resize(size);
        value = std::move(bytes);
        return true;
    }

    bool writeNumber(const std::string& section, const std::string& name, std::uint32_t value) override
    {
        const DWORD data = value;
        return set(section, name, REG_DWORD, reinterpret_cast<const BYTE*>(&data), sizeof data);
    }

    bool writeText(const std::string& section, const std::string& name, const std::string& value) override
    {
        return set(section, name, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                   static_cast<DWORD>(value.size() + 1));
    }

    bool writeBinary(const std::string& section, const std::string& name, const std::vector<std::uint8_t>& value) override
    {
        return set(section, name, REG_BINARY, value.data(), static_cast<DWORD>(value.size()));
    }

    bool remove(const std::string& section, const std::string& name) override
    {
        HKEY key = nullptr;
        if (RegOpenKeyExA(HKEY_CURRENT_USER, path(section).c_str(), 0, KEY_SET_VALUE, &key) != ERROR_SUCCESS) {
            return true;
        }
        const LONG result = RegDeleteValueA(key, name.c_str());
        RegCloseKey(key);
        return result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND;
    }

    std::vector<std::string> valueNames(const std::string& section) const override
    {
        std::vector<std::string> names;
        HKEY key = nullptr;
        if (RegOpenKeyExA(HKEY_CURRENT_USER, path(section).c_str(), 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) {
            return names;
        }
        // The ANSI functions, as everywhere in this store, so that a name reads back as the
        // bytes it was written with. A value name has at most 16,383 characters, each of at most
        // two bytes in the ANSI code pages.
        std::vector<char> name(32768);
        for (DWORD index = 0;; ++index) {
            DWORD length = static_cast<DWORD>(name.size());
            const LONG result = RegEnumValueA(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
            if (result == ERROR_SUCCESS) {
                names.emplace_back(name.data(), length);
            } else if (result != ERROR_MORE_DATA) {
                break; // ERROR_NO_MORE_ITEMS: every value was listed
            }
        }
        RegCloseKey(key);
        return names;
    }

private:
    static std::string path(const std::string& section)
    {
        return std::string("Software\\") + SettingsAccessor::ProductKey + "\\" + section;
    }

    static bool query(const std::string& section, const std::string& name, DWORD* type, BYTE* data, DWORD* size)
    {
        HKEY key = nullptr;
        if (RegOpenKeyExA(HKEY_CURRENT_USER, path(section).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
            return false;
        }
        const LONG result = RegQueryValueExA(key, name.c_str(), nullptr, type, data, size);
        RegCloseKey(key);
        return result == ERROR_SUCCESS;
    }

    static bool set(const std::string& section, const std::string& name, DWORD type, const BYTE* data, DWORD size)
    {
        HKEY key = nullptr;
        if (RegCreateKeyExA(HKEY_CURRENT_USER, path(section).c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE,
                            nullptr, &key, nullptr) != ERROR_SUCCESS) {
            return false;
        }
        const LONG result = RegSetValueExA(key, name.c_str(), 0, type, data, size);
        RegCloseKey(key);
        return result == ERROR_SUCCESS;
    }
};

} // namespace

std::unique_ptr<SettingsStore> userSettingsStore()
{
    return std::make_unique<RegistryStore>();
}

} // namespace Lumeno::UI
