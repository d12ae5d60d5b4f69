// Commands: the actions started on a selection of image files. Per-file commands are handed
// each path in turn on one object, under a progress display with a Cancel button.
#pragma once

#include <Lumeno/Platform/Services.h>
#include <Lumeno/UI/Settings.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Lumeno::Commands {

class ICommand {
public:
    virtual ~ICommand() = default;
    // The whole selection at once (selection commands); per-file commands answer 0.
    virtual std::int32_t runOnSelection(const std::vector<std::string>& paths) = 0;
    // One file, by its full path (per-file commands).
    virtual void perFile(const std::string& path) = 0;
    // Shows the progress display with a title and an animation clip.
    virtual std::int32_t startProgress(const std::string& title, int animation) = 0;
};

class CommandBase : public ICommand {
public:
    static constexpr std::int32_t Success = 0;
    // E_FAIL, the unspecified failure.
    static constexpr std::int32_t UnspecifiedFailure = static_cast<std::int32_t>(0x80004005u);
    // The system's file-copy animation.
    static constexpr int FileCopyAnimation = 161;

    // What the first part of a file's work (prepareFile) hands to the second (finishFile).
    struct Prepared {
        virtual ~Prepared() = default;
    };

    // What a front end learns of a failed file, beyond the beep.
    using FailureListener = std::function<void(const std::string& path, const std::string& reason)>;

    // `settings` null: the current user's.
    CommandBase(std::uint32_t fileCount, std::uintptr_t parentWindow, std::shared_ptr<UI::Settings> settings = nullptr);
    ~CommandBase() override;

    std::int32_t runOnSelection(const std::vector<std::string>& paths) override;
    // One file: prepareFile, then finishFile; a failure is reported and the next file comes.
    void perFile(const std::string& path) override;
    std::int32_t startProgress(const std::string& title, int animation) override;

    // Every file of `paths`: with more than one worker, files are prepared side by side on
    // `workers` threads, and finished on this thread in the order given; the progress display
    // counts them as they are finished, and its Cancel (Ctrl-C) stops the run after the files
    // already begun.
    void runFiles(const std::vector<std::string>& paths, unsigned workers);

    void setFailureListener(FailureListener listener) { listener_ = std::move(listener); }
    std::uint32_t failures() const noexcept { return failures_; }
    // Whether the user stopped the run (Cancel, Ctrl-C), and how many files were begun by then.
    bool cancelled() const noexcept { return cancelled_; }
    std::uint32_t filesBegun() const noexcept { return currentIndex_ - 1; }

protected:
    // The part of a file's work that may run on a worker thread beside other files' (reading,
    // decoding, computing): it touches nothing the command shares, settings included. A
    // std::exception it throws is the file's failure. Default: nothing to prepare.
    virtual std::unique_ptr<Prepared> prepareFile(const std::string& path);
    // The part that runs on the calling thread, file after file in order (writing, renaming,
    // the store's transaction). A std::exception it throws is the file's failure.
    virtual void finishFile(const std::string& path, std::unique_ptr<Prepared> prepared);

    // The steps every per-file command takes first: false when the user cancelled (the file is
    // then passed over); otherwise the display shows the file's name and "N of M files...".
    bool beginFile(const std::string& path);
    // A file that could not be handled: beep when EnableMessageBeeps is on, tell the listener,
    // go on with the next file. Answers UnspecifiedFailure.
    std::int32_t reportFailure(const std::string& path, const std::string& reason);

    UI::Settings& settings() { return *settings_; }

private:
    std::shared_ptr<Platform::ProgressDisplay> progress_;
    std::shared_ptr<UI::Settings> settings_;
    std::uint32_t currentIndex_ = 1;
    std::uint32_t fileCount_;
    std::uintptr_t parentWindow_;
    FailureListener listener_;
    std::uint32_t failures_ = 0;
    bool cancelled_ = false;
};

// The name of a file: the last component of its path.
std::string fileNameOf(const std::string& path);
// Why a file's work failed, in words for the user, from the exception it ended in.
std::string failureReason(const std::exception_ptr& error);

} // namespace Lumeno::Commands
