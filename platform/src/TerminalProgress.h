// Progress on a terminal: the file's name, "N of M files..." and a bar, redrawn in place on
// standard error. Silent when standard error is not a terminal. Ctrl-C is the Cancel button
// (a second Ctrl-C ends the program as usual).
#pragma once

#include "Lumeno/Platform/Services.h"

#include <csignal>
#include <string>

namespace Lumeno::Platform {

class TerminalProgress final : public ProgressDisplay {
public:
    explicit TerminalProgress(bool terminal);
    ~TerminalProgress() override;

    void setTitle(const std::string& title) override { title_ = title; }
    void showProgressBar(bool show) override { bar_ = show; }
    void setAnimation(int) override {}
    bool start(std::uintptr_t parentWindow) override;
    void stop() override;
    bool hasUserCancelled() override;
    void setProgress(std::uint32_t completed, std::uint32_t total) override;
    void setLine(int line, const std::string& text) override;

private:
    void draw();

    bool terminal_;
    bool started_ = false;
    bool bar_ = false;
    std::string title_;
    std::string lines_[3];
    std::uint32_t completed_ = 0;
    std::uint32_t total_ = 0;
    struct sigaction previous_ {};
};

} // namespace Lumeno::Platform
