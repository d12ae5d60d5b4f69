// Editing the IPTC record of files, shared by the command-line tool and the file manager's menu,
// property page and editor: edits by dataset, whole records copied from file to file, templates
// kept in the user's settings, and the property page's fields over several files. Every file is
// rewritten safely (Platform::writeFileSafely) with its XMP brought in line with the record.
#pragma once

#include <Lumeno/UI/Settings.h>
#include <Metadata/IPTC.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace Lumeno::Commands {

// ---- Edits ---------------------------------------------------------------------------------

// One change to a record.
struct IptcEdit {
    enum Kind {
        Set,    // every occurrence replaced by the text (put at the end when there was none)
        Add,    // one more occurrence
        Remove, // every occurrence removed; the text is not used
        Merge,  // one more occurrence, unless the dataset holds the text already (letter case aside)
        Extend, // one more occurrence right after the dataset's others: a Set and Extends replace a
                // dataset by several values, kept together, wherever the dataset stood
    };
    Kind kind;
    std::uint8_t dataSet;
    // As stored: line breaks as a carriage return (Metadata::EOLMassager::toStorage).
    std::string text;
};

// The record-2 dataset called `name`: its name as 'lumeno iptc' shows it, in any letter case
// ("Caption", "object name"), or its number (120 or 2:120). Throws std::invalid_argument for a
// dataset the library does not know.
std::uint8_t iptcDataSetNamed(const std::string& name);

// Applies `edits` in order. Every dataset an edit removed is appended to `removed` (the XMP
// properties that mirror them are then deleted). Throws Metadata::Exception for a value its
// dataset refuses (too long, too short, not a date); nothing is ever cut short.
void applyIptcEdits(Metadata::IPTC& record, const std::vector<IptcEdit>& edits, std::vector<std::uint8_t>& removed);

// How a file is rewritten.
struct AnnotateOptions {
    bool backup = false;               // the original kept beside it as Lumeno.NN.NAME
    bool keepModificationTime = false; // the new file gets the old one's modification time
    bool removeIptc = false;           // written without any IPTC record (the XMP is kept)
    bool clearXmp = false;             // written without its XMP packet
};

// Applies `edits` to the IPTC record of the JPEG or TIFF file `path`, brings the XMP packet in
// line with the record (see Metadata::ImageMetadata::updateXMP) and rewrites the file safely: on
// any failure the file is left as it was. Throws std::invalid_argument when edits are combined
// with removeIptc, otherwise what opening, editing or writing threw.
void annotateFile(const std::string& path, const std::vector<IptcEdit>& edits, const AnnotateOptions& options);
// The file rewritten without its IPTC record (Cut's second half).
void removeIptc(const std::string& path, AnnotateOptions options = {});

// ---- Raw records ---------------------------------------------------------------------------
// A raw record is the IIM bytes (IIM 4.2: datasets one after another, each a tag 1C, record,
// dataset and length, then the value) that the record writer produces, as Copy puts them on the
// clipboard and Paste takes them, between files and processes.

// The most a raw record may hold: far more than any real one (a JPEG segment holds 64 KB).
constexpr std::size_t MaxRawIptcSize = 256 * 1024;

// The IPTC record of a file as raw bytes; empty when it has none.
std::vector<std::uint8_t> rawIptcOf(const std::string& path);
// A raw record checked whole and read: every byte must belong to a dataset with a standard or
// extended header whose value lies inside the block (zeros after the last one are padding), and
// the block must not pass MaxRawIptcSize. Anything else throws std::invalid_argument saying what
// is wrong. An empty block is a record without datasets.
Metadata::IPTC parseRawIptc(const std::vector<std::uint8_t>& block);
// Replaces the file's IPTC record by `block`, rewritten safely; XMP properties whose datasets the
// old record had and the new one lacks are deleted, the rest mirror the new record. The block
// is checked (parseRawIptc) before the file is opened: a bad one leaves the file untouched. An
// empty block removes the record. Throws std::invalid_argument with options.removeIptc set.
void pasteRawIptc(const std::string& path, const std::vector<std::uint8_t>& block, const AnnotateOptions& options = {});

// ---- Templates -----------------------------------------------------------------------------

// No template of the name asked for.
class UnknownTemplate : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Named sets of IPTC values in the user's settings, section "Annotation\Templates" (the registry
// key Software\LumenoWorks\Lumeno\Annotation\Templates on Windows). Each template is one binary
// value named after it, holding its record as a raw record (see above: the IIM datasets exactly
// as the record writer produces them), so that it keeps every dataset and every repetition in
// order, and the record's character-set declaration (1:90) when it was made from a file. A
// value that does not read as a raw record is a damaged template: refused, never applied.
// Names are compared without letter case (ASCII letters, as the gallery store compares keywords).
class AnnotationTemplates {
public:
    static constexpr const char* Section = "Annotation\\Templates";
    static constexpr std::size_t MaxNameLength = 64;
    // Kept well below the key file's 1 MB, which all settings share.
    static constexpr std::size_t MaxSize = 32 * 1024;

    explicit AnnotationTemplates(UI::SettingsStore& store) : store_(store) {}

    // Empty when `name` may name a template; otherwise why not. A name is UTF-8 of 1 to 64
    // characters, without backslash, '=', control characters, white space at either end or a
    // first character '[', ';' or '#' (which the key file would take for something else).
    static std::string whyNotAName(const std::string& name);

    // The names, sorted (letter case aside).
    std::vector<std::string> names() const;
    // The name as stored of the template called `name`; false when there is none.
    bool find(const std::string& name, std::string& stored) const;
    // A template's datasets. Throws UnknownTemplate, or std::runtime_error for a damaged value.
    Metadata::IPTC read(const std::string& name) const;
    // Makes (or replaces) a template. Throws std::invalid_argument for a bad name, or for
    // datasets that could not be applied (unknown to the library, or values out of their
    // limits) or would take more than MaxSize; std::runtime_error when the store cannot write.
    void create(const std::string& name, const Metadata::IPTC& dataSets);
    // A template of the file's IPTC record. Throws as create does, and std::runtime_error naming
    // the file when it cannot be read or has no datasets.
    void createFromFile(const std::string& name, const std::string& path);
    // Throws UnknownTemplate, or std::runtime_error when the store cannot remove it.
    void remove(const std::string& name);
    // Applies the template to a file (see templateEdits), rewritten as annotateFile does.
    void applyTo(const std::string& name, const std::string& path, const AnnotateOptions& options = {}) const;

private:
    UI::SettingsStore& store_;
};

// The edits that apply a template: Keyword (2:25) and Supplemental Category (2:20) values are
// merged (added unless present, letter case aside); every other dataset of the template
// replaces the file's occurrences of it (its first value by Set, further ones by Extend);
// datasets the template lacks are left alone. Applying a template twice changes nothing more.
std::vector<IptcEdit> templateEdits(const Metadata::IPTC& dataSets);

// ---- The property page's fields --------------------------------------------------------------

// The principal fields, in the page's order.
enum class IptcField {
    ObjectName,
    Headline,
    Caption,
    Keywords,
    ByLine,
    Credit,
    Source,
    CopyrightNotice,
    City,
    ProvinceState,
    Country,
    DateCreated,
    TimeCreated,
};

struct IptcFieldInfo {
    IptcField field;
    std::uint8_t dataSet;
    bool list; // a list of values (Keywords) rather than one text
};

// One row per field, in IptcField's order; labels are the datasets' names
// (Metadata::Record2DataSet::nameOf).
inline constexpr std::array<IptcFieldInfo, 13> IptcFormFields = {{
    {IptcField::ObjectName, 5, false},
    {IptcField::Headline, 105, false},
    {IptcField::Caption, 120, false},
    {IptcField::Keywords, 25, true},
    {IptcField::ByLine, 80, false},
    {IptcField::Credit, 110, false},
    {IptcField::Source, 115, false},
    {IptcField::CopyrightNotice, 116, false},
    {IptcField::City, 90, false},
    {IptcField::ProvinceState, 95, false},
    {IptcField::Country, 101, false},
    {IptcField::DateCreated, 55, false},
    {IptcField::TimeCreated, 60, false},
}};

// One field as the page shows it.
struct IptcFormValue {
    // Every occurrence of the dataset in stored order (a text field has at most one, as a rule),
    // in UTF-8 with the platform's line ends; empty: blank. Date Created and Time Created keep
    // the IIM forms CCYYMMDD and HHMMSS+HHMM.
    std::vector<std::string> values;
    // The files disagree: shown blank.
    bool mixed = false;
    bool operator==(const IptcFormValue& o) const { return values == o.values && mixed == o.mixed; }
};

struct IptcForm {
    std::array<IptcFormValue, IptcFormFields.size()> fields;

    IptcFormValue& operator[](IptcField f) { return fields[static_cast<std::size_t>(f)]; }
    const IptcFormValue& operator[](IptcField f) const { return fields[static_cast<std::size_t>(f)]; }
    // A text field's value: its first one, or empty.
    std::string text(IptcField f) const;
    // What the page does when the user types into a field: the field holds `text` (an empty
    // one: nothing) and is no longer mixed.
    void setText(IptcField f, const std::string& text);
    void setList(IptcField f, std::vector<std::string> values);
};

struct FileFailure {
    std::string path;
    std::string reason;
};

// The form of several records: a field holds the common values when every record agrees
// (a list agrees when it is the same list), and is blank and mixed otherwise.
IptcForm iptcFormOf(const std::vector<Metadata::IPTC>& records);
// The form of several files; a file that cannot be read is listed and left out.
struct IptcFormLoad {
    IptcForm form;
    std::vector<FileFailure> failures;
};
IptcFormLoad loadIptcForm(const std::vector<std::string>& paths);

// The datasets a form holds, as a template keeps them: every field that has values and is not
// mixed (what the page shows, typed changes included).
Metadata::IPTC iptcOfForm(const IptcForm& form);

// Writes to every file the fields the user changed: those whose values differ from what was
// loaded, or that were mixed and are no longer (cleared on purpose); a field still mixed and
// blank is not written. A blank field removes its dataset. Each file is rewritten on its own: a
// file that fails is listed with why, and the others are still written. Values that no file
// could take (a date that is no date, a caption too long) throw std::invalid_argument before
// any file is touched.
std::vector<FileFailure> saveIptcForm(const std::vector<std::string>& paths, const IptcForm& loaded,
                                      const IptcForm& edited, const AnnotateOptions& options = {});

} // namespace Lumeno::Commands
