#include "TerminalProgress.h"

#include <atomic>
#include <cstdio>

namespace Lumeno::Platform {

namespace {

std::atomic<bool> g_cancelled{false};

extern "C" void onInterrupt(int)
{
    g_cancelled.store(true);
}

} // namespace

TerminalProgress::TerminalProgress(bool terminal) : terminal_(terminal) {}

TerminalProgress::~TerminalProgress()
{
    stop();
}

bool TerminalProgress::start(std::uintptr_t)
{
    if (started_) {
        return true;
    }
    g_cancelled.store(false);
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESETHAND; // the second Ctrl-C is the usual one
    sigaction(SIGINT, &action, &previous_);
    started_ = true;
    draw();
    return true;
}

void TerminalProgress::stop()
{
    if (!started_) {
        return;
    }
    started_ = false;
    sigaction(SIGINT, &previous_, nullptr);
    if (terminal_) {
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
    }
}

bool TerminalProgress::hasUserCancelled()
{
    return started_ && g_cancelled.load();
}

void TerminalProgress::setProgress(std::uint32_t completed, std::uint32_t total)
{
    completed_ = completed;
    total_ = total;
    draw();
}

void TerminalProgress::setLine(int line, const std::string& text)
{
    if (line >= 1 && line <= 3) {
        lines_[line - 1] = text;
    }
}

void TerminalProgress::draw()
{
    if (!terminal_ || !started_) {
        return;
    }
    std::string text = "\r\033[K" + title_ + " " + lines_[0] + "  " + lines_[1];
    if (bar_ && total_ > 0) {
        constexpr std::uint32_t Width = 24;
        const std::uint32_t filled = static_cast<std::uint32_t>(std::uint64_t{Width} * completed_ / total_);
        text += " [" + std::string(filled, '#') + std::string(Width - filled, '.') + "]";
    }
    std::fputs(text.c_str(), stderr);
    std::fflush(stderr);
}

} // namespace Lumeno::Platform
