// The operating-system services the portable code needs, behind one interface with a Windows and
// a POSIX implementation.
#pragma once

#include <Metadata/XMP.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Lumeno::Platform {

// The progress display of a command run over many files: the system's progress dialog on
// Windows, a bar on a terminal elsewhere. Every operation is harmless when there is nothing to
// show on.
class ProgressDisplay {
public:
    virtual ~ProgressDisplay() = default;
    virtual void setTitle(const std::string& title) = 0;
    virtual void showProgressBar(bool show) = 0;
    // A clip by number from the system's animations (161: copying files).
    virtual void setAnimation(int clip) = 0;
    // Shows the display, owned by `parentWindow` (0 for none); false when it cannot be shown.
    virtual bool start(std::uintptr_t parentWindow) = 0;
    virtual void stop() = 0;
    // True once the user asked to stop (Cancel button, Ctrl-C).
    virtual bool hasUserCancelled() = 0;
    virtual void setProgress(std::uint32_t completed, std::uint32_t total) = 0;
    // Line 1 to 3 of the display.
    virtual void setLine(int line, const std::string& text) = 0;
};

// A library loaded while the program runs, kept until it ends. What only some commands use lives
// in such modules, so that the others do not pay for loading it when they start.
class LoadedModule {
public:
    virtual ~LoadedModule() = default;
    // The address of an exported function; null when the module has none of that name.
    virtual void* symbol(const char* name) const = 0;
};

// A lock on a file held by this process until the object goes; other processes asking for it
// wait.
class FileLock {
public:
    virtual ~FileLock() = default;
};

// Paths are UTF-8 everywhere in the portable code. Failures are thrown as std::system_error.
class Services {
public:
    virtual ~Services() = default;
    // The machine's current offset from UTC, in minutes east of UTC.
    virtual int utcOffsetMinutes() const = 0;
    // A new GUID from the system's generator.
    virtual Metadata::GUID newGUID() const = 0;
    // Creates a new empty file with a unique name in `folder`: `prefix` and six letters or
    // digits. It can be read by its owner alone, or, when not `privateFile`, as any new file of
    // the user's is. Returns its path.
    virtual std::string createTemporaryFile(const std::string& folder, const std::string& prefix,
                                            bool privateFile = true) const = 0;
    // Makes sure the file's contents are on the disk.
    virtual void flushToDisk(const std::string& path) const = 0;
    // Puts `source` in the place of `target` in one step, replacing it.
    virtual void replaceFile(const std::string& source, const std::string& target) const = 0;
    // An exclusive lock on `path` (made when missing), waiting while another process holds it.
    virtual std::unique_ptr<FileLock> lockFile(const std::string& path) const = 0;
    // The same lock on an existing file, or null at once when another process holds it (or the
    // file cannot be opened).
    virtual std::unique_ptr<FileLock> tryLockFile(const std::string& path) const = 0;
    // Whether another process holds a lock on any part of `path` (as programs that mark
    // themselves present in a shared file do); false when the file does not exist.
    virtual bool lockedByOthers(const std::string& path) const = 0;
    // Bytes free for this user on the file system of `folder`.
    virtual std::uint64_t freeSpace(const std::string& folder) const = 0;
    // Gives `replacement` the owner and group of `original`, as far as the system lets this
    // user (the group alone, when the owner cannot be given away); nothing where files carry
    // their owner in the security the replace keeps (Windows).
    virtual void keepOwner(const std::string& original, const std::string& replacement) const = 0;
    // Moves `source` to `target` in one step unless `target` exists: false (and nothing moved)
    // when it does; other failures throw.
    virtual bool moveFileNoReplace(const std::string& source, const std::string& target) const = 0;
    // Copies the contents of `source` over `target` (made when missing).
    virtual void copyFile(const std::string& source, const std::string& target) const = 0;

    // The program's arguments after its name, in UTF-8 (from the wide command line on Windows,
    // where `argv` is in the ANSI code page).
    virtual std::vector<std::string> arguments(int argc, char** argv) const = 0;
    // Makes the console, when the output is one, show the UTF-8 the program writes.
    virtual void prepareConsole() const = 0;

    // The user's picture and document folders; empty when the system cannot say.
    virtual std::string picturesFolder() const = 0;
    virtual std::string documentsFolder() const = 0;
    // Where the user's settings live: the registry key's place on Windows (unused there), the
    // XDG configuration folder elsewhere.
    virtual std::string configFolder() const = 0;
    // Where programs keep the user's data: %APPDATA% on Windows, the XDG data folder elsewhere.
    virtual std::string dataFolder() const = 0;
    // Vertical pixels per inch of the screen, for font sizes.
    virtual int screenPixelsPerInch() const = 0;
    // The system's default alert sound.
    virtual void beep() const = 0;
    virtual std::unique_ptr<ProgressDisplay> makeProgressDisplay() const = 0;

    // The folder of the program file this code is part of (the server's DLL when the file
    // manager loaded it).
    virtual std::string programFolder() const = 0;
    // Loads the module at `path`; throws std::system_error, naming the system's reason, when it
    // cannot.
    virtual std::unique_ptr<LoadedModule> loadModule(const std::string& path) const = 0;
    // Work on large pictures one after another needs the same large blocks of memory for each:
    // while `keep` is on, freed memory stays with the process for the next picture instead of
    // going back to the system, which would clear every page again when it is touched. Turning
    // it off gives the kept memory back. A hint: systems whose allocator cannot do this ignore it.
    virtual void keepFreedMemory(bool keep) const = 0;
};

// The services of the operating system the program runs on.
const Services& services();

// Freed memory is kept for reuse while one of these lives (see Services::keepFreedMemory).
class FreedMemoryKept {
public:
    FreedMemoryKept() { services().keepFreedMemory(true); }
    ~FreedMemoryKept() { services().keepFreedMemory(false); }
    FreedMemoryKept(const FreedMemoryKept&) = delete;
    FreedMemoryKept& operator=(const FreedMemoryKept&) = delete;
};

// Gives the metadata library what it asks of the operating system (the UTC offset behind dates
// written in local time, and new GUIDs). Programs call it once at start.
void installMetadataServices();

struct SafeWriteOptions {
    // The new file gets the modification time of the one it replaces.
    bool keepModificationTime = false;
    // The file is first kept as a numbered backup beside it (see makeNumberedBackup), once it
    // is known that it may be replaced.
    bool makeBackup = false;
};

// Writes `target` through `write`, which is given the path of a temporary file beside it
// (".NAME.lumeno-XXXXXX", locked while it is written) to fill. Temporary files of the same name
// that no writer holds (left by a killed write) are removed first. Only when `write` has finished is the file flushed to disk
// and renamed over the target; on any failure the target stays as it was and the temporary file
// is removed. A symbolic link stays a link: the file it leads to is the one replaced. The new
// file keeps the old one's permissions and, where the system allows, its owner and group. A
// file with other hard links is refused (std::runtime_error): a new file would leave the other
// names with the old contents.
void writeFileSafely(const std::string& target, const std::function<void(const std::string& temporary)>& write,
                     const SafeWriteOptions& options = {});

// writeFileSafely with the file's whole contents given; `text` writes them in text mode (lines end
// the platform's way).
void writeFileSafely(const std::string& target, const std::string& contents, bool text);

// Copies `path` to the first free name "Lumeno.NN.NAME" beside it (NN from 00 to 98) and returns
// that name. The copy is made under a temporary name and takes the backup's name only when it is
// complete, so a failed copy (a full disk) never looks like a backup. Never overwrites; throws
// std::runtime_error when every name is taken.
std::string makeNumberedBackup(const std::string& path);

// The offset from UTC that Windows' time-zone information describes: -(Bias + the standard bias
// when the answer is "standard time" (1), the daylight bias when it is "daylight time" (2), and
// nothing otherwise). Kept apart from the system call so that it can be checked anywhere.
int offsetFromTimeZoneInformation(unsigned long result, long bias, long standardBias, long daylightBias) noexcept;

} // namespace Lumeno::Platform
