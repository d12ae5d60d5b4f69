// The "Lumeno Settings" sheet: its pages, the setting behind each field, how a field shows its
// value and which typed values it accepts. Portable, so that the Windows sheet only lays the
// fields out and the rules are tested once.
#pragma once

#include <Lumeno/UI/Settings.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Lumeno::Shell {

enum class OptionControl {
    Check,   // a flag
    Number,  // a whole number within [least, most]
    Decimal, // the gamma, within [least, most] hundredths
    Colour,  // 0xRRGGBB
    Font,    // "FACE, N pt"
    Choice,  // one of `choices`, stored as its index
    Folder,  // a path
};

struct OptionField {
    UI::Setting setting;
    const char* label;
    OptionControl control;
    std::uint32_t least = 0;
    std::uint32_t most = 0;
    std::vector<const char*> choices = {};
};

struct OptionsPage {
    const char* title;
    std::vector<OptionField> fields;
};

// The pages in the sheet's order: General, Display, Captions, Annotate, Galleries, Preview,
// Columns and tips (the shell's), Slide Show.
const std::vector<OptionsPage>& optionsPages();

// What a field shows: the stored value, or its default (for a choice, the chosen text).
std::string optionText(const UI::Settings& settings, const OptionField& field);
// Whether a typed text is a value the field takes.
bool optionAccepted(const OptionField& field, const std::string& text);
// Stores a typed text the field takes; false when it does not take it or the store could not
// write.
bool storeOption(UI::Settings& settings, const OptionField& field, const std::string& text);

} // namespace Lumeno::Shell
