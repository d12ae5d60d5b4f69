// The "IPTC" property page: the principal datasets of the selected pictures, editable. Fields on
// which the pictures disagree are blank; Apply writes to every picture only the fields the user
// changed, and names in the page any picture that could not be written.
#pragma once

#include "ShellInterfaces.h"

#include <Lumeno/Commands/Annotation.h>

#include <string>
#include <vector>

namespace Lumeno::Shell {

class IptcPage {
public:
    IptcPage(HWND dialog, std::vector<std::string> files);
    // A message of the page's dialog; what the dialog procedure answers.
    INT_PTR message(UINT message, WPARAM wParam, LPARAM lParam);

private:
    void show();
    // Whether field `i` is edited as a list (values separated by semicolons), and its text as shown.
    bool listField(std::size_t i) const;
    std::string shownText(std::size_t i) const;
    // The form as the page holds it now: what was loaded, with the fields typed into.
    Commands::IptcForm edited() const;
    // Writes the changed fields; false when a value is refused.
    bool apply();
    // Keeps the fields as they stand as a template, named by the user.
    void saveAsTemplate();
    void setStatus(const std::string& text);

    HWND dialog_;
    std::vector<std::string> files_;
    Commands::IptcForm loaded_;
    std::vector<bool> changed_;
    bool filling_ = false;
};

} // namespace Lumeno::Shell
