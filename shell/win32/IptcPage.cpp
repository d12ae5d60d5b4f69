#include "IptcPage.h"

#include "Annotation.h"
#include "Server.h"
#include "resource.h"

#include <Lumeno/Commands/Command.h>

#include <Lumeno/UI/Settings.h>

#include <commctrl.h>

#include <algorithm>
#include <memory>

namespace Lumeno::Shell {

namespace {

constexpr std::size_t FieldCount = Commands::IptcFormFields.size();

int controlOf(std::size_t field)
{
    return IDC_IPTC_FIRST + static_cast<int>(field);
}

// Keywords are typed as one line, separated by semicolons.
std::vector<std::string> splitList(const std::string& text)
{
    std::vector<std::string> values;
    std::size_t start = 0;
    while (start <= text.size()) {
        std::size_t end = text.find(';', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        std::string value = text.substr(start, end - start);
        const std::size_t first = value.find_first_not_of(" \t");
        const std::size_t last = value.find_last_not_of(" \t");
        if (first != std::string::npos) {
            values.push_back(value.substr(first, last - first + 1));
        }
        start = end + 1;
    }
    return values;
}

std::string joinList(const std::vector<std::string>& values)
{
    std::string text;
    for (const std::string& value : values) {
        text += (text.empty() ? "" : "; ") + value;
    }
    return text;
}

} // namespace

IptcPage::IptcPage(HWND dialog, std::vector<std::string> files)
    : dialog_(dialog), files_(std::move(files)), changed_(FieldCount, false)
{
    show();
}

void IptcPage::show()
{
    const Commands::IptcFormLoad load = Commands::loadIptcForm(files_);
    loaded_ = load.form;
    changed_.assign(FieldCount, false);
    filling_ = true;
    bool mixed = false;
    for (std::size_t i = 0; i < FieldCount; ++i) {
        const Commands::IptcFormValue& value = loaded_.fields[i];
        mixed = mixed || value.mixed;
        SetDlgItemTextW(dialog_, controlOf(i), toUtf16(shownText(i)).c_str());
    }
    filling_ = false;
    std::string status;
    for (const Commands::FileFailure& failure : load.failures) {
        status += "Cannot read " + Commands::fileNameOf(failure.path) + ": " + failure.reason + "\r\n";
    }
    if (mixed) {
        status += "Blank fields differ between the selected pictures; they are left as they are unless you type into them.";
    }
    setStatus(status);
}

void IptcPage::setStatus(const std::string& text)
{
    SetDlgItemTextW(dialog_, IDC_STATUS, toUtf16(text).c_str());
}

bool IptcPage::listField(std::size_t i) const
{
    // A dataset that repeats (several by-lines) is edited as a list too, so that none is lost.
    return Commands::IptcFormFields[i].list || loaded_.fields[i].values.size() > 1;
}

std::string IptcPage::shownText(std::size_t i) const
{
    const std::vector<std::string>& values = loaded_.fields[i].values;
    return listField(i) ? joinList(values) : (values.empty() ? std::string() : values.front());
}

Commands::IptcForm IptcPage::edited() const
{
    Commands::IptcForm form = loaded_;
    for (std::size_t i = 0; i < FieldCount; ++i) {
        const std::string text = windowText(GetDlgItem(dialog_, controlOf(i)));
        // A field typed back to what it showed is left as it was (its values exactly so).
        if (!changed_[i] || (text == shownText(i) && !loaded_.fields[i].mixed)) {
            continue;
        }
        const Commands::IptcField field = Commands::IptcFormFields[i].field;
        if (listField(i)) {
            form.setList(field, splitList(text));
        } else {
            form.setText(field, text);
        }
    }
    return form;
}

void IptcPage::saveAsTemplate()
{
    std::string name;
    if (!askTemplateName(GetParent(dialog_), name)) {
        return;
    }
    try {
        const std::unique_ptr<UI::SettingsStore> store = UI::userSettingsStore();
        Commands::AnnotationTemplates(*store).create(name, Commands::iptcOfForm(edited()));
        setStatus("Template \"" + name + "\" saved.");
    } catch (const std::exception& e) {
        setStatus(std::string("No template saved: ") + e.what());
    }
}

bool IptcPage::apply()
{
    if (std::find(changed_.begin(), changed_.end(), true) == changed_.end()) {
        return true;
    }
    const Commands::IptcForm edited = this->edited();
    Commands::AnnotateOptions options;
    try {
        options.backup = UI::Settings().getCreateBackup();
    } catch (...) {
        // Unreadable settings: no backup, the default.
    }
    std::vector<Commands::FileFailure> failures;
    try {
        failures = Commands::saveIptcForm(files_, loaded_, edited, options);
    } catch (const std::exception& e) {
        setStatus(std::string("Not written: ") + e.what());
        return false;
    }
    show();
    std::string status;
    for (const Commands::FileFailure& failure : failures) {
        status += "Could not write " + Commands::fileNameOf(failure.path) + ": " + failure.reason + "\r\n";
    }
    if (!status.empty()) {
        // The sheet stays open, so that the names are read; what was written shows as loaded.
        setStatus(status);
        return false;
    }
    return true;
}

INT_PTR IptcPage::message(UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_COMMAND && LOWORD(wParam) == IDC_SAVE_TEMPLATE && HIWORD(wParam) == BN_CLICKED) {
        saveAsTemplate();
        return TRUE;
    }
    if (message == WM_COMMAND && HIWORD(wParam) == EN_CHANGE && !filling_) {
        const int control = LOWORD(wParam);
        if (control >= IDC_IPTC_FIRST && control <= IDC_IPTC_LAST) {
            changed_[static_cast<std::size_t>(control - IDC_IPTC_FIRST)] = true;
            PropSheet_Changed(GetParent(dialog_), dialog_);
            return TRUE;
        }
    }
    if (message == WM_NOTIFY && lParam != 0 && reinterpret_cast<NMHDR*>(lParam)->code == static_cast<UINT>(PSN_APPLY)) {
        const bool ok = apply();
        SetWindowLongPtrW(dialog_, DWLP_MSGRESULT, ok ? PSNRET_NOERROR : PSNRET_INVALID_NOCHANGEPAGE);
        return TRUE;
    }
    return FALSE;
}

} // namespace Lumeno::Shell
