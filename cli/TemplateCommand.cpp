// lumeno template: the user's annotation templates, listed, shown, made from a file and removed.
#include "Commands.h"

#include <Lumeno/Commands/Annotation.h>
#include <Lumeno/Commands/Command.h>
#include <Lumeno/Commands/FileCommands.h>
#include <Lumeno/UI/Settings.h>

#include <memory>
#include <ostream>
#include <stdexcept>

namespace Lumeno::Cli {

namespace {

const char* const TemplateHelp =
    "Usage: lumeno template list\n"
    "       lumeno template show NAME\n"
    "       lumeno template create NAME --from FILE\n"
    "       lumeno template remove NAME\n"
    "\n"
    "Templates are named sets of IPTC values kept in the user's settings (section\n"
    "Annotation\\Templates). 'create' makes one of every dataset of FILE's IPTC\n"
    "record, replacing a template of the same name; 'show' lists its datasets as\n"
    "'lumeno iptc' does. 'lumeno annotate --template NAME FILE...' applies one:\n"
    "its keywords and supplemental categories are added unless the file has them\n"
    "(letter case aside), its other datasets replace the file's, and the datasets\n"
    "it lacks are left alone.\n"
    "\n"
    "A name has 1 to 64 characters, none of them a backslash, '=' or a control\n"
    "character, no space at either end, and does not begin with '[', ';' or '#'.\n"
    "Names are compared without letter case.\n"
    "\n"
    "Exit status: 0 on success, 1 when a file, a template or the settings could\n"
    "not be read or written, 2 for a usage error (an unknown template among them).\n";

const char* const TemplateUsage =
    "Usage: lumeno template list | show NAME | create NAME --from FILE | remove NAME\n";

} // namespace

int runTemplate(const std::vector<std::string>& arguments, Streams streams)
{
    const std::string verb = arguments.empty() ? std::string() : arguments[0];
    if (verb == "-h" || verb == "--help") {
        streams.out << TemplateHelp;
        return 0;
    }
    const bool known = (verb == "list" && arguments.size() == 1) ||
                       ((verb == "show" || verb == "remove") && arguments.size() == 2) ||
                       (verb == "create" && arguments.size() == 4 && arguments[2] == "--from");
    if (!known) {
        streams.err << TemplateUsage;
        return 2;
    }
    const std::unique_ptr<UI::SettingsStore> store = UI::userSettingsStore();
    const SettingsProblemsTold told(*store, "template", streams);
    Commands::AnnotationTemplates templates(*store);
    try {
        if (verb == "list") {
            for (const std::string& name : templates.names()) {
                streams.out << name << '\n';
            }
        } else if (verb == "show") {
            streams.out << Commands::iptcText(templates.read(arguments[1]));
        } else if (verb == "remove") {
            templates.remove(arguments[1]);
        } else {
            if (const std::string why = Commands::AnnotationTemplates::whyNotAName(arguments[1]); !why.empty()) {
                streams.err << "lumeno template: " << why << '\n';
                return 2;
            }
            templates.createFromFile(arguments[1], arguments[3]);
        }
    } catch (const Commands::UnknownTemplate& e) {
        streams.err << "lumeno template: " << e.what() << "; 'lumeno template list' shows them\n";
        return 2;
    } catch (...) {
        // Anything else failed: a file that cannot be read or whose values no template can
        // hold, a damaged template, settings that cannot be written.
        streams.err << "lumeno template: " << Commands::failureReason(std::current_exception()) << '\n';
        return 1;
    }
    return 0;
}

} // namespace Lumeno::Cli
