// The annotation layer the tool and the file manager share: edits, raw records copied from file
// to file, templates in the settings, and the property page's fields over several files.
#include "../metadata/ContainerHelpers.h"

#include <Lumeno/Commands/Annotation.h>
#include <Lumeno/UI/Settings.h>
#include <Metadata/Exceptions.h>

#include <gtest/gtest.h>

#include <filesystem>

namespace fs = std::filesystem;
using namespace Lumeno;
using namespace Lumeno::Commands;
using namespace TestSupport;

namespace {

using DataSets = std::vector<std::pair<std::uint8_t, std::vector<std::string>>>;

class Annotation : public ::testing::Test {
protected:
    void SetUp() override { store_ = UI::keyFileSettingsStore(temp_.file("settings.conf")); }

    std::string file(const std::string& name) const { return temp_.file(name); }

    // A copy of the sample photo with these IPTC datasets set (an empty list removes one), or
    // without any record when `none`.
    std::string photo(const std::string& name, const DataSets& sets, bool none = false) const
    {
        Metadata::ImageStreamT stream;
        auto image = Metadata::openImage(LUMENO_TEST_DATA "/sample.jpg", stream);
        for (const auto& [number, values] : sets) {
            if (values.empty()) {
                image->iptc().remove(number);
            } else {
                image->iptc().set(number, values);
            }
        }
        if (none) {
            image->writeWithoutIPTC(file(name));
        } else {
            image->updateAndWrite(file(name));
        }
        return file(name);
    }

    static Metadata::IPTC recordOf(const std::string& path) { return openFile(path)->image->iptc(); }
    static std::vector<std::string> values(const std::string& path, std::uint8_t dataSet)
    {
        return recordOf(path).values(dataSet);
    }

    TempFolder temp_;
    std::unique_ptr<UI::SettingsStore> store_;
};

using Strings = std::vector<std::string>;

} // namespace

TEST(AnnotationEdits, DataSetsByNameOrNumberAndEditsInOrder)
{
    EXPECT_EQ(iptcDataSetNamed("Caption"), 120);
    EXPECT_EQ(iptcDataSetNamed("object NAME"), 5);
    EXPECT_EQ(iptcDataSetNamed("120"), 120);
    EXPECT_EQ(iptcDataSetNamed("2:25"), 25);
    EXPECT_EQ(iptcDataSetNamed("Province/ State"), 95);
    for (const char* bad : {"Nonsense", "", "0", "2:", "1:90", "200", "256", "1200", "2:-5"}) {
        EXPECT_THROW(iptcDataSetNamed(bad), std::invalid_argument) << bad;
    }

    Metadata::IPTC record;
    record.set(25, Strings{"Sunrise", "lake"});
    std::vector<std::uint8_t> removed;
    applyIptcEdits(record,
                   {{IptcEdit::Merge, 25, "SUNRISE"}, {IptcEdit::Merge, 25, "dusk"}, {IptcEdit::Merge, 25, "Dusk"},
                    {IptcEdit::Set, 90, "Annecy"}, {IptcEdit::Add, 90, "Paris"}, {IptcEdit::Remove, 101, ""},
                    {IptcEdit::Set, 5, "Title"}, {IptcEdit::Remove, 5, ""}, {IptcEdit::Set, 80, "Ann"},
                    {IptcEdit::Add, 116, "(c)"}, {IptcEdit::Extend, 80, "Bob"}},
                   removed);
    EXPECT_EQ(record.values(25), (Strings{"Sunrise", "lake", "dusk"}));
    EXPECT_EQ(record.values(90), (Strings{"Annecy", "Paris"}));
    EXPECT_TRUE(record.values(5).empty());
    EXPECT_EQ(removed, (std::vector<std::uint8_t>{101, 5}));
    // Extended values stay beside the others.
    std::vector<std::uint8_t> order;
    for (const Metadata::Record2DataSet& d : record.dataSets()) {
        order.push_back(d.dataSet());
    }
    EXPECT_EQ(order, (std::vector<std::uint8_t>{25, 25, 25, 90, 90, 80, 80, 116}));
    // A value its dataset refuses stops the edits; nothing is cut short.
    EXPECT_THROW(applyIptcEdits(record, {{IptcEdit::Set, 105, std::string(257, 'h')}}, removed), Metadata::Exception);
    EXPECT_THROW(applyIptcEdits(record, {{IptcEdit::Merge, 25, std::string(65, 'k')}}, removed), Metadata::Exception);
    EXPECT_TRUE(record.values(105).empty());
}

TEST_F(Annotation, FilesAreEditedRewrittenAndStrippedWithTheirXmpInLine)
{
    const std::string path = photo("a.jpg", {});
    annotateFile(path, {{IptcEdit::Set, 120, "New caption"}, {IptcEdit::Remove, 90, ""}, {IptcEdit::Add, 25, "added"}},
                 {});
    const auto opened = openFile(path);
    EXPECT_EQ(opened->image->iptc().values(120), Strings{"New caption"});
    EXPECT_TRUE(opened->image->iptc().values(90).empty());
    ASSERT_TRUE(opened->image->xmp());
    EXPECT_EQ(opened->image->xmp()->description(), "New caption");
    EXPECT_EQ(opened->image->xmp()->city(), "");
    EXPECT_EQ(opened->image->xmp()->subject(), (Strings{"sunrise", "lake", "added"}));

    const Bytes before = readBytes(path);
    AnnotateOptions both;
    both.removeIptc = true;
    EXPECT_THROW(annotateFile(path, {{IptcEdit::Set, 120, "x"}}, both), std::invalid_argument);
    EXPECT_THROW(annotateFile(path, {{IptcEdit::Set, 55, "20241399"}}, {}), Metadata::Exception);
    EXPECT_EQ(readBytes(path), before);

    AnnotateOptions keep;
    keep.backup = true;
    removeIptc(path, keep);
    EXPECT_TRUE(recordOf(path).empty());
    EXPECT_EQ(openFile(path)->image->xmp()->description(), "New caption"); // the XMP is kept
    EXPECT_EQ(readBytes(file("Lumeno.00.a.jpg")), before);
}

TEST_F(Annotation, RawRecordsCopyExactlyAndBadBlocksAreRefusedUntouched)
{
    const std::string from = photo("from.jpg", {{90, {}}, {25, {"one", "two", "three"}}, {105, {"Headline"}}});
    const std::string to = photo("to.jpg", {{115, {"A source"}}});
    const std::vector<std::uint8_t> block = rawIptcOf(from);
    ASSERT_FALSE(block.empty());
    EXPECT_EQ(block[0], 0x1C);

    pasteRawIptc(to, block);
    EXPECT_EQ(rawIptcOf(to), block);
    const auto pasted = openFile(to);
    EXPECT_EQ(pasted->image->iptc().values(25), (Strings{"one", "two", "three"}));
    // The XMP follows the new record: what it lacks is gone, the rest mirrors it.
    EXPECT_EQ(pasted->image->xmp()->source(), "");
    EXPECT_EQ(pasted->image->xmp()->city(), "");
    EXPECT_EQ(pasted->image->xmp()->headline(), "Headline");
    EXPECT_EQ(pasted->image->xmp()->subject(), (Strings{"one", "two", "three"}));

    // Padding after the last dataset and an extended-length dataset (1:90 here) are taken.
    const Bytes extended = {0x1C, 0x01, 0x5A, 0x80, 0x02, 0x00, 0x03, 0x1B, 0x25, 0x47};
    EXPECT_NO_THROW(parseRawIptc(extended + block + Bytes{0, 0, 0}));

    const Bytes before = readBytes(to);
    Bytes cut(block.begin(), block.end() - 3); // the last value cut short
    Bytes header(block.begin(), block.begin() + 3);
    Bytes strayInside = block;
    strayInside.insert(strayInside.begin() + 7, 0x41); // after the Record Version: no marker
    Bytes badRecord = block;
    badRecord[1] = 0x0A;
    Bytes hugeExtended = Bytes{0x1C, 0x02, 0x78, 0x80, 0x04, 0xFF, 0xFF, 0xFF, 0xFF} + Bytes(40, 'x');
    Bytes badExtended = Bytes{0x1C, 0x02, 0x78, 0x80, 0x09} + Bytes(40, 'x');
    Bytes oversized = iptcDataSet(2, 120, "x");
    while (oversized.size() <= MaxRawIptcSize) {
        oversized = oversized + iptcDataSet(2, 25, std::string(30000, 'k'));
    }
    const Bytes bad[] = {bytesOf("garbage, not a record"), Bytes(64, 0), cut, header, strayInside, badRecord,
                         hugeExtended, badExtended, oversized, block + Bytes{0, 0, 1}};
    for (const Bytes& b : bad) {
        try {
            pasteRawIptc(to, b);
            ADD_FAILURE() << "a bad block of " << b.size() << " bytes was pasted";
        } catch (const std::invalid_argument& e) {
            EXPECT_NE(std::string(e.what()).find("IPTC record"), std::string::npos) << e.what();
        }
    }
    EXPECT_EQ(readBytes(to), before);

    // An empty block is a record without datasets: pasting it removes the record.
    const std::string bare = photo("bare.jpg", {}, true);
    EXPECT_TRUE(rawIptcOf(bare).empty());
    pasteRawIptc(to, rawIptcOf(bare));
    EXPECT_TRUE(recordOf(to).empty());
    EXPECT_TRUE(rawIptcOf(to).empty());
    EXPECT_EQ(openFile(to)->image->xmp()->headline(), "");
}

TEST_F(Annotation, TemplatesAreKeptByNameAndAppliedByMergingKeywords)
{
    AnnotationTemplates templates(*store_);
    EXPECT_TRUE(templates.names().empty());
    const std::string source = photo("source.jpg", {{25, {"Sea", "sand"}},
                                                    {20, {"Travel"}},
                                                    {90, {"Nice"}},
                                                    {80, {"Ann", "Bob"}},
                                                    {120, {}},
                                                    {5, {}},
                                                    {55, {}},
                                                    {60, {}}});
    templates.createFromFile("Beach", source);
    Metadata::IPTC other;
    other.set(110, "Credit line");
    templates.create("alps", other);
    templates.create("Zoo", other);
    EXPECT_EQ(templates.names(), (Strings{"alps", "Beach", "Zoo"}));
    // One binary value per template, named after it, holding the file's record exactly.
    std::vector<std::uint8_t> stored;
    ASSERT_TRUE(store_->readBinary(AnnotationTemplates::Section, "Beach", stored));
    EXPECT_EQ(stored, rawIptcOf(source));
    EXPECT_EQ(templates.read("BEACH").serialize(), rawIptcOf(source));

    // Keywords and categories are added unless present (letter case aside); the other datasets
    // replace the file's, repetitions and all; what the template lacks stays.
    const std::string target = photo("target.jpg", {{25, {"SEA", "lake"}}, {90, {"Paris"}}, {80, {"Cy"}}, {115, {"Src"}}});
    templates.applyTo("beach", target);
    const Metadata::IPTC applied = recordOf(target);
    EXPECT_EQ(applied.values(25), (Strings{"SEA", "lake", "sand"}));
    EXPECT_EQ(applied.values(20), Strings{"Travel"});
    EXPECT_EQ(applied.values(90), Strings{"Nice"});
    EXPECT_EQ(applied.values(80), (Strings{"Ann", "Bob"}));
    EXPECT_EQ(applied.values(115), Strings{"Src"});
    EXPECT_EQ(applied.values(120), Strings{"Sunrise over the lake"});
    EXPECT_EQ(applied.values(55), Strings{"20240506"});
    EXPECT_EQ(openFile(target)->image->xmp()->subject(), (Strings{"SEA", "lake", "sand"}));
    EXPECT_EQ(openFile(target)->image->xmp()->city(), "Nice");
    // Applied twice, nothing is doubled.
    templates.applyTo("Beach", target);
    EXPECT_EQ(recordOf(target).serialize(), applied.serialize());

    // A name in other letters replaces the template, under its new spelling.
    templates.create("ZOO", other);
    EXPECT_EQ(templates.names(), (Strings{"alps", "Beach", "ZOO"}));
    templates.remove("zoo");
    EXPECT_EQ(templates.names(), (Strings{"alps", "Beach"}));
    EXPECT_THROW(templates.remove("zoo"), UnknownTemplate);
    EXPECT_THROW(templates.read("Nothing"), UnknownTemplate);
    EXPECT_THROW(templates.applyTo("Nothing", target), UnknownTemplate);

    // Names: 1 to 64 characters (not bytes), nothing the settings would take for something else.
    const std::string e = "\xC3\xA9";
    std::string longest;
    for (int i = 0; i < 64; ++i) {
        longest += e;
    }
    EXPECT_EQ(AnnotationTemplates::whyNotAName(longest), "");
    templates.create(longest, other);
    EXPECT_NO_THROW(templates.read(longest));
    for (const std::string& bad : {std::string(), longest + "x", std::string(65, 'n'), std::string("a\\b"),
                                   std::string("tab\there"), std::string("a=b"), std::string(" lead"),
                                   std::string("trail "), std::string("[x"), std::string(";x"), std::string("#x"),
                                   std::string("bad\xFF"), std::string("del\x7F")}) {
        EXPECT_NE(AnnotationTemplates::whyNotAName(bad), "") << bad;
        EXPECT_THROW(templates.create(bad, other), std::invalid_argument) << bad;
    }
    // Nothing to keep, or values no file could take: refused.
    EXPECT_THROW(templates.create("Empty", Metadata::IPTC()), std::invalid_argument);
    Metadata::IPTC odd;
    odd.addDataSet(Metadata::Record2DataSet(200, "unknown"));
    EXPECT_THROW(templates.create("Odd", odd), std::invalid_argument);
    EXPECT_THROW(templates.createFromFile("None", photo("none.jpg", {}, true)), std::runtime_error);
    EXPECT_THROW(templates.createFromFile("None", file("missing.jpg")), std::runtime_error);
    EXPECT_EQ(templates.names().size(), 3u);
}

TEST_F(Annotation, DamagedTemplatesAreRefusedAndNeverApplied)
{
    AnnotationTemplates templates(*store_);
    const std::string section = AnnotationTemplates::Section;
    ASSERT_TRUE(store_->writeBinary(section, "Garbage", {'n', 'o', 'p', 'e'}));
    Bytes cut = iptcDataSet(2, 120, "A caption cut short");
    cut.resize(cut.size() - 4);
    ASSERT_TRUE(store_->writeBinary(section, "Cut", cut));
    ASSERT_TRUE(store_->writeText(section, "Text", "sz value"));
    ASSERT_TRUE(store_->writeBinary(section, "Huge", Bytes(AnnotationTemplates::MaxSize + 1, 0x1C)));
    EXPECT_EQ(templates.names(), (Strings{"Cut", "Garbage", "Huge", "Text"}));
    const std::string target = photo("t.jpg", {});
    const Bytes before = readBytes(target);
    for (const char* name : {"garbage", "cut", "text", "huge"}) {
        try {
            templates.applyTo(name, target);
            ADD_FAILURE() << name << " was applied";
        } catch (const UnknownTemplate&) {
            ADD_FAILURE() << name << " was not found";
        } catch (const std::runtime_error& e) {
            EXPECT_NE(std::string(e.what()).find("is damaged"), std::string::npos) << e.what();
        }
    }
    EXPECT_EQ(readBytes(target), before);
    // A damaged template can still be replaced or removed.
    Metadata::IPTC good;
    good.set(90, "Oslo");
    templates.create("GARBAGE", good);
    EXPECT_EQ(templates.read("garbage").values(90), Strings{"Oslo"});
    templates.remove("text");
    EXPECT_EQ(templates.names(), (Strings{"Cut", "GARBAGE", "Huge"}));
}

TEST_F(Annotation, TheFormShowsCommonValuesAndWritesOnlyChangedFields)
{
    const std::string a = photo("a.jpg", {{90, {"Oslo"}}, {120, {"First"}}, {25, {"x", "y"}}, {105, {}}});
    const std::string b = photo("b.jpg", {{90, {"Oslo"}}, {120, {"Second"}}, {25, {"x", "y"}}, {105, {}}});
    const std::string c = photo("c.jpg", {{90, {"Oslo"}}, {120, {"Third\rline"}}, {25, {"y", "x"}}, {105, {}}});
    IptcFormLoad load = loadIptcForm({a, b, c});
    EXPECT_TRUE(load.failures.empty());
    IptcForm& form = load.form;
    EXPECT_EQ(form[IptcField::City].values, Strings{"Oslo"});
    EXPECT_FALSE(form[IptcField::City].mixed);
    EXPECT_EQ(form.text(IptcField::ObjectName), "Morning light");
    EXPECT_TRUE(form[IptcField::Caption].mixed);
    EXPECT_EQ(form.text(IptcField::Caption), "");
    EXPECT_TRUE(form[IptcField::Keywords].mixed); // the same keywords in another order
    EXPECT_TRUE(form[IptcField::Headline].values.empty());
    EXPECT_FALSE(form[IptcField::Headline].mixed);
    EXPECT_EQ(form.text(IptcField::DateCreated), "20240506");
    EXPECT_EQ(form.text(IptcField::TimeCreated), "070809+0200");
    EXPECT_EQ(loadIptcForm({a, b}).form[IptcField::Keywords].values, (Strings{"x", "y"}));
    // One file: its line breaks as the platform shows them.
    EXPECT_EQ(loadIptcForm({c}).form.text(IptcField::Caption), std::string("Third") + Metadata::EOLMassager::nativeLineEnd() + "line");

    // Values no file could take stop the save before anything is written.
    const Bytes beforeA = readBytes(a);
    IptcForm bad = form;
    bad.setText(IptcField::DateCreated, "20241340");
    EXPECT_THROW(saveIptcForm({a, b, c}, form, bad), std::invalid_argument);
    EXPECT_EQ(readBytes(a), beforeA);
    // Nothing changed, nothing written.
    EXPECT_TRUE(saveIptcForm({a, b, c}, form, form).empty());
    EXPECT_EQ(readBytes(a), beforeA);

    // The headline and city are typed, the mixed caption and keywords are left: each file keeps
    // its own. A vanished file and one the safe write refuses fail; the others are written.
    IptcForm edited = form;
    edited.setText(IptcField::Headline, "Fjord");
    edited.setText(IptcField::City, "Bergen");
    edited.setText(IptcField::ObjectName, "");
    const std::string gone = file("gone.jpg");
    const std::string linked = photo("linked.jpg", {});
    fs::create_hard_link(linked, file("second-name.jpg"));
    const Bytes linkedBefore = readBytes(linked);
    const std::vector<FileFailure> failures = saveIptcForm({a, gone, b, linked, c}, form, edited);
    ASSERT_EQ(failures.size(), 2u);
    EXPECT_EQ(failures[0].path, gone);
    EXPECT_EQ(failures[0].reason, "No such file or directory");
    EXPECT_EQ(failures[1].path, linked);
    EXPECT_NE(failures[1].reason.find("hard links"), std::string::npos) << failures[1].reason;
    EXPECT_EQ(readBytes(linked), linkedBefore);
    const std::pair<std::string, std::string> captions[] = {{a, "First"}, {b, "Second"}, {c, "Third\rline"}};
    for (const auto& [path, caption] : captions) {
        const auto opened = openFile(path);
        const Metadata::IPTC& record = opened->image->iptc();
        EXPECT_EQ(record.values(105), Strings{"Fjord"}) << path;
        EXPECT_EQ(record.values(90), Strings{"Bergen"}) << path;
        EXPECT_TRUE(record.values(5).empty()) << path;
        EXPECT_EQ(record.values(120), Strings{caption}) << path;
        EXPECT_EQ(record.values(25).size(), 2u) << path;
        EXPECT_EQ(opened->image->xmp()->headline(), "Fjord") << path;
        EXPECT_EQ(opened->image->xmp()->title(), "") << path;
    }

    // A mixed field cleared on purpose (touched, left blank) is removed everywhere; keywords
    // typed as a list replace every file's.
    IptcFormLoad again = loadIptcForm({a, b, c, gone});
    ASSERT_EQ(again.failures.size(), 1u);
    EXPECT_EQ(again.failures[0].path, gone);
    IptcForm cleared = again.form;
    cleared.setText(IptcField::Caption, "");
    cleared.setList(IptcField::Keywords, {"fjord", "boat"});
    EXPECT_TRUE(saveIptcForm({a, b, c}, again.form, cleared).empty());
    for (const std::string& path : {a, b, c}) {
        EXPECT_TRUE(values(path, 120).empty()) << path;
        EXPECT_EQ(values(path, 25), (Strings{"fjord", "boat"})) << path;
        EXPECT_EQ(values(path, 90), Strings{"Bergen"}) << path;
    }
    IptcForm agreed = loadIptcForm({a, b, c}).form;
    EXPECT_FALSE(agreed[IptcField::Caption].mixed);
    EXPECT_EQ(agreed[IptcField::Keywords].values, (Strings{"fjord", "boat"}));
}

TEST(AnnotationForm, FieldTableMatchesTheEnumAndTheDataSets)
{
    for (std::size_t i = 0; i < IptcFormFields.size(); ++i) {
        const IptcFieldInfo& row = IptcFormFields[i];
        EXPECT_EQ(static_cast<std::size_t>(row.field), i);
        EXPECT_NE(Metadata::Record2DataSet::info(row.dataSet), nullptr) << int(row.dataSet);
        EXPECT_EQ(row.list, row.dataSet == Metadata::Record2DataSet::E_KEYWORD);
        for (std::size_t j = 0; j < i; ++j) {
            EXPECT_NE(IptcFormFields[j].dataSet, row.dataSet);
        }
    }
    EXPECT_EQ(static_cast<std::size_t>(IptcField::TimeCreated) + 1, IptcFormFields.size());
    // A form as a template: its fields with values, none that is mixed.
    IptcForm form;
    form.setText(IptcField::Caption, "Two\r\nlines");
    form.setList(IptcField::Keywords, {"lake", "dawn"});
    form[IptcField::City] = IptcFormValue{{"Lyon"}, true};
    const Metadata::IPTC record = iptcOfForm(form);
    EXPECT_EQ(record.values(120), std::vector<std::string>{"Two\rlines"}) << "stored with IPTC's line break";
    EXPECT_EQ(record.values(25), (std::vector<std::string>{"lake", "dawn"}));
    EXPECT_TRUE(record.values(90).empty()) << "a mixed field is no value";
    EXPECT_TRUE(record.values(5).empty());
    // No records: every field blank, none mixed.
    const IptcForm none = iptcFormOf({});
    for (const IptcFormValue& v : none.fields) {
        EXPECT_TRUE(v.values.empty());
        EXPECT_FALSE(v.mixed);
    }
}
