// The IPTC property page's model: the principal fields over one or several files.
#include "Lumeno/Commands/Annotation.h"
#include "Lumeno/Commands/Command.h"

#include "Rewrite.h"

#include <Metadata/Exceptions.h>
#include <Metadata/ImageFactory.h>
#include <Metadata/ImageStream.h>

namespace Lumeno::Commands {

namespace {

// A field's values as the page shows them: UTF-8 after the record's character set, the
// platform's line ends. Empty values are blanks, the same as no value.
std::vector<std::string> shown(const Metadata::IPTC& record, std::uint8_t dataSet)
{
    std::vector<std::string> values;
    for (const std::string& v : record.values(dataSet)) {
        if (!v.empty()) {
            values.push_back(Metadata::EOLMassager::toDisplay(record.toUtf8(v)));
        }
    }
    return values;
}

bool changed(const IptcFormValue& loaded, const IptcFormValue& edited)
{
    return edited.values != loaded.values || edited.mixed != loaded.mixed;
}

// Writes the changed fields into a record; a blank one removes its dataset.
void applyFields(Metadata::IPTC& record, const IptcForm& loaded, const IptcForm& edited,
                 std::vector<std::uint8_t>& removed)
{
    for (const IptcFieldInfo& row : IptcFormFields) {
        if (!changed(loaded[row.field], edited[row.field])) {
            continue;
        }
        std::vector<std::string> stored;
        for (const std::string& v : edited[row.field].values) {
            if (!v.empty()) {
                stored.push_back(Metadata::EOLMassager::toStorage(v));
            }
        }
        if (stored.empty()) {
            record.remove(row.dataSet);
            removed.push_back(row.dataSet);
        } else {
            record.set(row.dataSet, stored);
        }
    }
}

} // namespace

std::string IptcForm::text(IptcField f) const
{
    const std::vector<std::string>& values = (*this)[f].values;
    return values.empty() ? std::string() : values.front();
}

void IptcForm::setText(IptcField f, const std::string& text)
{
    setList(f, text.empty() ? std::vector<std::string>() : std::vector<std::string>{text});
}

void IptcForm::setList(IptcField f, std::vector<std::string> values)
{
    (*this)[f].values = std::move(values);
    (*this)[f].mixed = false;
}

Metadata::IPTC iptcOfForm(const IptcForm& form)
{
    Metadata::IPTC record;
    for (const IptcFieldInfo& row : IptcFormFields) {
        const IptcFormValue& field = form[row.field];
        std::vector<std::string> stored;
        for (const std::string& v : field.values) {
            if (!v.empty()) {
                stored.push_back(Metadata::EOLMassager::toStorage(v));
            }
        }
        if (!field.mixed && !stored.empty()) {
            record.set(row.dataSet, stored);
        }
    }
    return record;
}

IptcForm iptcFormOf(const std::vector<Metadata::IPTC>& records)
{
    IptcForm form;
    for (const IptcFieldInfo& row : IptcFormFields) {
        IptcFormValue& field = form[row.field];
        for (std::size_t i = 0; i < records.size() && !field.mixed; ++i) {
            std::vector<std::string> values = shown(records[i], row.dataSet);
            if (i == 0) {
                field.values = std::move(values);
            } else if (values != field.values) {
                field.values.clear();
                field.mixed = true;
            }
        }
    }
    return form;
}

IptcFormLoad loadIptcForm(const std::vector<std::string>& paths)
{
    IptcFormLoad load;
    std::vector<Metadata::IPTC> records;
    for (const std::string& path : paths) {
        try {
            Metadata::ImageStreamT stream;
            const std::unique_ptr<Metadata::ImageMetadata> image = Metadata::openImage(path, stream);
            records.push_back(image->iptc());
        } catch (...) {
            load.failures.push_back({path, failureReason(std::current_exception())});
        }
    }
    load.form = iptcFormOf(records);
    return load;
}

std::vector<FileFailure> saveIptcForm(const std::vector<std::string>& paths, const IptcForm& loaded,
                                      const IptcForm& edited, const AnnotateOptions& options)
{
    std::vector<FileFailure> failures;
    if (edited.fields == loaded.fields) {
        return failures;
    }
    // Values refused by a blank record are refused by every file: nothing is written then.
    try {
        Metadata::IPTC probe;
        std::vector<std::uint8_t> removed;
        applyFields(probe, loaded, edited, removed);
    } catch (const Metadata::Exception& e) {
        throw std::invalid_argument(e.message());
    }
    for (const std::string& path : paths) {
        try {
            Detail::rewriteFile(path, options, [&](Metadata::ImageMetadata& image, std::vector<std::uint8_t>& removed) {
                applyFields(image.iptc(), loaded, edited, removed);
            });
        } catch (...) {
            failures.push_back({path, failureReason(std::current_exception())});
        }
    }
    return failures;
}

} // namespace Lumeno::Commands
