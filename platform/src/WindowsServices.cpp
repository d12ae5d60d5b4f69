#include "Lumeno/Platform/Services.h"

#include "ShellProgressDialog.h"
#include "WindowsText.h"

#include <objbase.h>
#include <shellapi.h>
#include <shlobj.h>
#include <windows.h>

#include <cstdlib>
#include <string>
#include <system_error>
#include <vector>

namespace Lumeno::Platform {

namespace {

std::string shellFolder(int csidl)
{
    WCHAR path[MAX_PATH] = {};
    if (FAILED(SHGetFolderPathW(nullptr, csidl, nullptr, SHGFP_TYPE_CURRENT, path))) {
        return std::string();
    }
    return narrow(path);
}

[[noreturn]] void fail(const std::string& what)
{
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

class WindowsModule final : public LoadedModule {
public:
    explicit WindowsModule(HMODULE module) : module_(module) {}
    // Never freed, like the libraries the program links: its code may be in use until the end.
    void* symbol(const char* name) const override
    {
        return reinterpret_cast<void*>(GetProcAddress(module_, name));
    }

private:
    HMODULE module_;
};

class WindowsFileLock final : public FileLock {
public:
    explicit WindowsFileLock(HANDLE file) : file_(file) {}
    ~WindowsFileLock() override { CloseHandle(file_); } // closing releases the lock

private:
    HANDLE file_;
};

// Windows' locks are mandatory: a lock on the bytes a file holds would stop its own writer
// writing them through another handle (a temporary file is locked while it is written). The
// lock is on one byte far past any end a file can have, which no write ever touches.
OVERLAPPED lockPlace()
{
    OVERLAPPED at{};
    at.Offset = MAXDWORD - 1;
    at.OffsetHigh = 0x7FFFFFFF;
    return at;
}

class WindowsServices final : public Services {
public:
    std::unique_ptr<FileLock> lockFile(const std::string& path) const override
    {
        const HANDLE file = CreateFileW(wide(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file == INVALID_HANDLE_VALUE) {
            fail("cannot open " + path);
        }
        OVERLAPPED at = lockPlace();
        if (!LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &at)) {
            CloseHandle(file);
            fail("cannot lock " + path);
        }
        return std::make_unique<WindowsFileLock>(file);
    }

    std::unique_ptr<FileLock> tryLockFile(const std::string& path) const override
    {
        const HANDLE file = CreateFileW(wide(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file == INVALID_HANDLE_VALUE) {
            return nullptr;
        }
        OVERLAPPED at = lockPlace();
        if (!LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &at)) {
            CloseHandle(file);
            return nullptr;
        }
        return std::make_unique<WindowsFileLock>(file);
    }

    bool lockedByOthers(const std::string& path) const override
    {
        const HANDLE file = CreateFileW(wide(path).c_str(), GENERIC_READ,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file == INVALID_HANDLE_VALUE) {
            return false;
        }
        // A lock that cannot be had at once means someone holds part of the file.
        OVERLAPPED whole{};
        const bool free =
            LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, MAXDWORD, MAXDWORD, &whole) != 0;
        if (free) {
            UnlockFileEx(file, 0, MAXDWORD, MAXDWORD, &whole);
        }
        CloseHandle(file);
        return !free;
    }

    std::uint64_t freeSpace(const std::string& folder) const override
    {
        // Asked by the full name: a relative one makes the system look at the current drive's
        // root device itself.
        WCHAR full[32768];
        const DWORD length = GetFullPathNameW(wide(folder).c_str(), 32768, full, nullptr);
        ULARGE_INTEGER available{};
        if (length == 0 || length >= 32768 || !GetDiskFreeSpaceExW(full, &available, nullptr, nullptr)) {
            fail("cannot ask the free space of " + folder);
        }
        return available.QuadPart;
    }

    int utcOffsetMinutes() const override
    {
        TIME_ZONE_INFORMATION zone{};
        const DWORD result = GetTimeZoneInformation(&zone);
        return offsetFromTimeZoneInformation(result, zone.Bias, zone.StandardBias, zone.DaylightBias);
    }

    Metadata::GUID newGUID() const override
    {
        ::GUID g;
        if (FAILED(CoCreateGuid(&g))) {
            return Metadata::randomGUID();
        }
        Metadata::GUID out;
        out.data1 = g.Data1;
        out.data2 = g.Data2;
        out.data3 = g.Data3;
        for (int i = 0; i < 8; ++i) {
            out.data4[i] = g.Data4[i];
        }
        return out;
    }

    std::string createTemporaryFile(const std::string& folder, const std::string& prefix, bool) const override
    {
        // The new file takes the folder's security, as any file the user makes there.
        static const char Letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
        for (unsigned attempt = 0; attempt < 100; ++attempt) {
            const Metadata::GUID g = newGUID();
            std::string name = folder + "\\" + prefix;
            for (int i = 0; i < 6; ++i) {
                name += Letters[(g.data4[i] + g.data1 * (i + 1)) % (sizeof Letters - 1)];
            }
            HANDLE h = CreateFileW(wide(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL,
                                   nullptr);
            if (h != INVALID_HANDLE_VALUE) {
                CloseHandle(h);
                return name;
            }
            if (GetLastError() != ERROR_FILE_EXISTS) {
                break;
            }
        }
        fail("cannot create a temporary file in " + folder);
    }

    void flushToDisk(const std::string& path) const override
    {
        // Shared with the writer's own handles (the lock's among them), which may still be open.
        HANDLE h = CreateFileW(wide(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                               nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (h == INVALID_HANDLE_VALUE) {
            fail("cannot flush " + path);
        }
        const BOOL ok = FlushFileBuffers(h);
        CloseHandle(h);
        if (!ok) {
            fail("cannot flush " + path);
        }
    }

    // (Not std::filesystem::copy_file: the MinGW runtime's takes any two files of one drive for
    // the same file, and refuses to copy over an existing one.)
    void copyFile(const std::string& source, const std::string& target) const override
    {
        if (!CopyFileW(wide(source).c_str(), wide(target).c_str(), FALSE)) {
            fail("cannot copy " + source);
        }
    }

    bool moveFileNoReplace(const std::string& source, const std::string& target) const override
    {
        if (MoveFileExW(wide(source).c_str(), wide(target).c_str(), 0)) {
            return true;
        }
        const DWORD error = GetLastError();
        if (error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS) {
            return false;
        }
        fail("cannot move " + source);
    }

    std::vector<std::string> arguments(int argc, char** argv) const override
    {
        // The narrow arguments are in the ANSI code page, which cannot name every file: the wide
        // command line can.
        int count = 0;
        LPWSTR* wideArguments = CommandLineToArgvW(GetCommandLineW(), &count);
        if (wideArguments == nullptr) {
            return std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc);
        }
        std::vector<std::string> out;
        for (int i = 1; i < count; ++i) {
            out.push_back(narrow(wideArguments[i]));
        }
        LocalFree(wideArguments);
        return out;
    }

    void prepareConsole() const override
    {
        // The program writes UTF-8; a console shows it as such only in the UTF-8 code page, and
        // gets its own back when the program ends.
        static const UINT before = GetConsoleOutputCP();
        if (before != 0 && before != CP_UTF8 && SetConsoleOutputCP(CP_UTF8)) {
            std::atexit([] { SetConsoleOutputCP(before); });
        }
    }

    std::string picturesFolder() const override { return shellFolder(CSIDL_MYPICTURES); }
    std::string documentsFolder() const override { return shellFolder(CSIDL_PERSONAL); }
    std::string configFolder() const override { return std::string(); }
    std::string dataFolder() const override { return shellFolder(CSIDL_APPDATA); }

    int screenPixelsPerInch() const override
    {
        HWND desktop = GetDesktopWindow();
        HDC dc = GetDC(desktop);
        const int dpi = dc != nullptr ? GetDeviceCaps(dc, LOGPIXELSY) : 96;
        if (dc != nullptr) {
            ReleaseDC(desktop, dc);
        }
        return dpi;
    }

    void beep() const override { MessageBeep(0xFFFFFFFF); }

    std::unique_ptr<ProgressDisplay> makeProgressDisplay() const override
    {
        return std::make_unique<Lumeno::Shell::CShellProgressDialog>();
    }

    std::string programFolder() const override
    {
        // The module holding this code: the DLL when the file manager loaded the server.
        HMODULE self = nullptr;
        static const int anchor = 0;
        if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                reinterpret_cast<LPCWSTR>(&anchor), &self)) {
            return ".";
        }
        WCHAR path[MAX_PATH] = {};
        const DWORD n = GetModuleFileNameW(self, path, MAX_PATH);
        if (n == 0 || n == MAX_PATH) {
            return ".";
        }
        const std::string file = narrow(path);
        const std::string::size_type slash = file.find_last_of("\\/");
        return slash == std::string::npos ? "." : file.substr(0, slash);
    }

    std::unique_ptr<LoadedModule> loadModule(const std::string& path) const override
    {
        // Its own folder first for the libraries the module needs in turn; that search wants a
        // full path with backslashes.
        std::string windowsPath = path;
        for (char& c : windowsPath) {
            if (c == '/') {
                c = '\\';
            }
        }
        HMODULE module = LoadLibraryExW(wide(windowsPath).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
        if (module == nullptr) {
            fail("cannot load " + path);
        }
        return std::make_unique<WindowsModule>(module);
    }

    // The Windows heap gives large blocks back to the system on its own terms; nothing to ask.
    void keepFreedMemory(bool) const override {}

    // The owner and the rest of the file's security go with ReplaceFileW.
    void keepOwner(const std::string&, const std::string&) const override {}

    void replaceFile(const std::string& source, const std::string& target) const override
    {
        // ReplaceFileW keeps the replaced file's attributes, security and creation time; a target
        // that does not exist yet is simply moved into place.
        if (GetFileAttributesW(wide(target).c_str()) != INVALID_FILE_ATTRIBUTES &&
            ReplaceFileW(wide(target).c_str(), wide(source).c_str(), nullptr, REPLACEFILE_IGNORE_MERGE_ERRORS,
                         nullptr, nullptr)) {
            return;
        }
        if (!MoveFileExW(wide(source).c_str(), wide(target).c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
            fail("cannot replace " + target);
        }
    }
};

} // namespace

const Services& services()
{
    static const WindowsServices instance;
    return instance;
}

} // namespace Lumeno::Platform
