// The context menu's entries for a selection: which parts show, what is greyed, and how the
// shell's offsets and verbs find an entry.
#include <Lumeno/Shell/ContextMenu.h>

#include <gtest/gtest.h>

using namespace Lumeno::Shell;

namespace {

const MenuItem* named(const MenuItem& menu, const std::string& text)
{
    for (const MenuItem& item : menu.items) {
        if (item.text == text) {
            return &item;
        }
    }
    return nullptr;
}

std::vector<std::string> texts(const MenuItem& menu)
{
    std::vector<std::string> out;
    for (const MenuItem& item : menu.items) {
        out.push_back(item.kind == MenuItem::Kind::Separator ? "-" : item.text);
    }
    return out;
}

} // namespace

TEST(ContextMenu, OffersTheCommandsAndGreysWhatCannotApply)
{
    MenuSelection jpegs{{"/p/a.JPG", "/p/b.jpeg"}, false, {"Holiday"}};
    const std::optional<MenuItem> menu = contextMenu(jpegs, {});
    ASSERT_TRUE(menu);
    EXPECT_EQ(menu->text, "Lumeno");
    EXPECT_EQ(texts(*menu),
              (std::vector<std::string>{"Preview images...", "Run slide show...", "-", "Rename based on EXIF date", "Rotate JPEG +90", "Rotate JPEG -90",
                                        "Export EXIF to text file", "Export IPTC to text file",
                                        "Export XMP to text file", "Synchronize with database",
                                        "Create Lumeno slide show", "-",
                                        "Edit metadata...", "Remove metadata", "Cut metadata", "Copy metadata",
                                        "Paste metadata", "Create template...", "Apply template", "Remove template",
                                        "-", "Options..."}));
    EXPECT_TRUE(named(*menu, "Rotate JPEG +90")->enabled);
    EXPECT_FALSE(named(*menu, "Paste metadata")->enabled) << "nothing was copied";
    EXPECT_FALSE(named(*menu, "Copy metadata")->enabled) << "two files: whose record?";
    EXPECT_EQ(named(*menu, "Apply template")->items.size(), 1u);
    EXPECT_EQ(named(*menu, "Apply template")->items[0].help, "Apply the template \"Holiday\"");

    // A TIFF among them: no turning; with a copied record and one file, paste and copy apply.
    MenuSelection tiff{{"/p/c.tif"}, true, {}};
    const std::optional<MenuItem> other = contextMenu(tiff, {});
    ASSERT_TRUE(other);
    EXPECT_FALSE(named(*other, "Rotate JPEG -90")->enabled);
    EXPECT_TRUE(named(*other, "Paste metadata")->enabled);
    EXPECT_TRUE(named(*other, "Copy metadata")->enabled);
    EXPECT_FALSE(named(*other, "Apply template")->enabled) << "no template saved";
    EXPECT_EQ(texts(*other).front(), "Preview images...");
    EXPECT_TRUE(named(*other, "Create Lumeno slide show"));

    // A PNG: the menu is registered for it, the metadata commands do not apply.
    const std::optional<MenuItem> png = contextMenu({{"/p/d.png"}, true, {}}, {});
    ASSERT_TRUE(png);
    EXPECT_FALSE(named(*png, "Rename based on EXIF date")->enabled);
    EXPECT_FALSE(named(*png, "Paste metadata")->enabled);
    EXPECT_TRUE(named(*png, "Options...")->enabled);
    EXPECT_TRUE(named(*png, "Create Lumeno slide show")->enabled) << "a PNG is a slide";
    EXPECT_FALSE(named(*contextMenu({{"/p/e.psd"}, false, {}}, {}), "Create Lumeno slide show")->enabled);

    EXPECT_FALSE(contextMenu({{"/p/notes.txt"}, false, {}}, {}));
    EXPECT_FALSE(contextMenu({{}, false, {}}, {}));
}

TEST(ContextMenu, TheSettingsChooseItsParts)
{
    const MenuSelection one{{"/p/a.jpg"}, false, {}};
    EXPECT_FALSE(contextMenu(one, {false, false}));
    const std::optional<MenuItem> commands = contextMenu(one, {true, false});
    ASSERT_TRUE(commands);
    EXPECT_FALSE(named(*commands, "Copy metadata"));
    EXPECT_TRUE(named(*commands, "Options..."));
    const std::optional<MenuItem> annotation = contextMenu(one, {false, true});
    ASSERT_TRUE(annotation);
    EXPECT_FALSE(named(*annotation, "Rename based on EXIF date"));
    EXPECT_EQ(texts(*annotation).front(), "Edit metadata...");
}

TEST(ContextMenu, OffsetsAndVerbsNameEntries)
{
    const std::optional<MenuItem> menu = contextMenu({{"/p/a.jpg"}, true, {"One", "Two"}}, {});
    ASSERT_TRUE(menu);
    const std::vector<const MenuItem*> commands = menuCommands(*menu);
    // Two windows, eight commands, six annotation entries, two templates twice, options.
    ASSERT_EQ(commands.size(), 2u + 8u + 6u + 4u + 1u);
    EXPECT_EQ(commands[0]->verb, "preview");
    EXPECT_EQ(commands[1]->command, MenuCommand::SlideShow);
    EXPECT_EQ(commands[2]->verb, "rename");
    EXPECT_EQ(commands[16]->templateName, "One");
    EXPECT_EQ(commands[19]->command, MenuCommand::AnnotateRemoveTemplate);
    EXPECT_EQ(commands.back()->command, MenuCommand::Options);
    for (const MenuItem* command : commands) {
        EXPECT_FALSE(command->verb.empty()) << command->text;
        EXPECT_FALSE(command->help.empty()) << command->text;
    }
    ASSERT_TRUE(commandForVerb(*menu, "RENAME"));
    EXPECT_EQ(commandForVerb(*menu, "rename")->command, MenuCommand::Rename);
    EXPECT_EQ(commandForVerb(*menu, "slideshow")->command, MenuCommand::SlideShow);
    EXPECT_EQ(commandForVerb(*menu, "annotatePaste")->command, MenuCommand::AnnotatePaste);
    EXPECT_FALSE(commandForVerb(*menu, "annotateApplyTemplate")) << "two templates: which one?";
    ASSERT_TRUE(commandForVerb(*menu, "annotateApplyTemplate:two"));
    EXPECT_EQ(commandForVerb(*menu, "annotateApplyTemplate:two")->templateName, "Two");
    EXPECT_EQ(commandForVerb(*menu, "annotateRemoveTemplate:One")->command, MenuCommand::AnnotateRemoveTemplate);
    EXPECT_FALSE(commandForVerb(*menu, "annotateApplyTemplate:Three"));
    EXPECT_FALSE(commandForVerb(*menu, "open"));
    const std::optional<MenuItem> single = contextMenu({{"/p/a.jpg"}, false, {"Only"}}, {});
    ASSERT_TRUE(commandForVerb(*single, "annotateApplyTemplate"));
    EXPECT_EQ(commandForVerb(*single, "annotateApplyTemplate")->templateName, "Only");
}
