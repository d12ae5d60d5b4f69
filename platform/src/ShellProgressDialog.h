// The system's progress dialog (IProgressDialog), one to one. When the dialog object cannot be
// made every operation does nothing: cancel reads as not cancelled, start fails.
#pragma once

#include "Lumeno/Platform/Services.h"

#include <windows.h>
#include <shlobj.h>

namespace Lumeno::Shell {

class CShellProgressDialog final : public Lumeno::Platform::ProgressDisplay {
public:
    CShellProgressDialog();
    ~CShellProgressDialog() override;
    CShellProgressDialog(const CShellProgressDialog&) = delete;
    CShellProgressDialog& operator=(const CShellProgressDialog&) = delete;

    void setTitle(const std::string& title) override;
    void showProgressBar(bool show) override;
    void setAnimation(int clip) override;
    bool start(std::uintptr_t parentWindow) override;
    void stop() override;
    bool hasUserCancelled() override;
    void setProgress(std::uint32_t completed, std::uint32_t total) override;
    void setLine(int line, const std::string& text) override;

private:
    IProgressDialog* dialog_ = nullptr;
    DWORD flags_ = 0;
    HMODULE shell32_ = nullptr;
};

} // namespace Lumeno::Shell
