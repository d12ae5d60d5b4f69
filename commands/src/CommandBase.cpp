#include "Lumeno/Commands/Command.h"

#include "Lumeno/Commands/InOrder.h"

#include <Metadata/Exceptions.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace Lumeno::Commands {

std::string fileNameOf(const std::string& path)
{
    const std::size_t slash = path.find_last_of("/\\");
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string failureReason(const std::exception_ptr& error)
{
    try {
        std::rethrow_exception(error);
    } catch (const Metadata::IOOpenError& e) {
        // The library's own text for this is about writing; say what happened.
        return !e.reason().empty() ? e.reason() : std::error_code(errno, std::generic_category()).message();
    } catch (const Metadata::Exception& e) {
        return e.message();
    } catch (const Metadata::Error& e) {
        return e.message();
    } catch (const std::exception& e) {
        return e.what();
    } catch (...) {
        return "an unknown failure";
    }
}

CommandBase::CommandBase(std::uint32_t fileCount, std::uintptr_t parentWindow, std::shared_ptr<UI::Settings> settings)
    : progress_(Platform::services().makeProgressDisplay()),
      settings_(settings ? std::move(settings) : std::make_shared<UI::Settings>()),
      fileCount_(fileCount),
      parentWindow_(parentWindow)
{
}

CommandBase::~CommandBase()
{
    progress_->stop();
}

std::int32_t CommandBase::runOnSelection(const std::vector<std::string>&)
{
    return Success;
}

std::unique_ptr<CommandBase::Prepared> CommandBase::prepareFile(const std::string&)
{
    return nullptr;
}

void CommandBase::finishFile(const std::string&, std::unique_ptr<Prepared>) {}

void CommandBase::perFile(const std::string& path)
{
    if (!beginFile(path)) {
        return;
    }
    try {
        finishFile(path, prepareFile(path));
    } catch (const std::exception& e) {
        reportFailure(path, e.what());
    }
}

void CommandBase::runFiles(const std::vector<std::string>& paths, unsigned workers)
{
    using Result = std::unique_ptr<Prepared>;
    inOrder<Result>(
        paths.size(), workers, [&](std::size_t i) { return prepareFile(paths[i]); },
        [&](std::size_t i, Outcome<Result>&& outcome) {
            if (!beginFile(paths[i])) {
                return;
            }
            try {
                finishFile(paths[i], std::move(outcome.get()));
            } catch (const std::exception& e) {
                reportFailure(paths[i], e.what());
            }
        },
        [&] { return cancelled_ = cancelled_ || progress_->hasUserCancelled(); });
}

std::int32_t CommandBase::startProgress(const std::string& title, int animation)
{
    progress_->setTitle(title);
    progress_->showProgressBar(true);
    progress_->setAnimation(animation);
    return progress_->start(parentWindow_) ? Success : UnspecifiedFailure;
}

bool CommandBase::beginFile(const std::string& path)
{
    if (progress_->hasUserCancelled()) {
        cancelled_ = true;
        return false;
    }
    progress_->setLine(1, fileNameOf(path));
    char line[64];
    std::snprintf(line, sizeof line, "%u of %u files...", currentIndex_, fileCount_);
    progress_->setLine(2, line);
    progress_->setProgress(currentIndex_, fileCount_);
    ++currentIndex_;
    return true;
}

std::int32_t CommandBase::reportFailure(const std::string& path, const std::string& reason)
{
    ++failures_;
    if (settings_->getEnableMessageBeeps()) {
        Platform::services().beep();
    }
    if (listener_) {
        listener_(path, reason);
    }
    return UnspecifiedFailure;
}

} // namespace Lumeno::Commands
