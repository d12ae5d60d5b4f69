// What Canon's two files share: which camera wrote a note, and the custom functions, kept in a
// group of their own ("CanonCustom") as exiftool keeps them.
#pragma once

#include "MakerNotes.h"

#include <string>

namespace Metadata::MakerNotes::Canon {

// Whether `model` names one of `patterns`, alternatives separated by '|' ("350D|REBEL XT"):
// each stands as whole words, unless it ends in '*' (a start of a word is enough) or '$' (it
// ends the model). Canon's records change layout from one camera to the next; these say which.
bool modelMatches(const std::string& model, const char* patterns);

// The custom functions: of the older cameras (tag 0x0f, and 0x90 of the first 1D), a 16-bit word
// per function, its number in the high byte; of the newer ones (tag 0x99), groups of
// (number, count, 32-bit values).
void customFunctions(Builder& build);

// The directories they are read into.
constexpr std::uint32_t CustomFunctionsId = subDirectoryId(0x0099);
// The functions whose name and meaning differ on some cameras (the 1D's ISO speed range is another
// model's ISO expansion), apart from the others: a table names a tag once.
constexpr std::uint32_t CustomFunctionsModelId = 0x20000u | 0x0099;

// Their values as exiftool's numeric form gives them: the first number as stored (enabled or
// not), the others converted.
bool isoSpeedRange(const Field& field, std::string& value);
bool shutterSpeedRange(const Field& field, std::string& value);
bool apertureRange(const Field& field, std::string& value);

} // namespace Metadata::MakerNotes::Canon
