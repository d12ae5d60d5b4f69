// lumeno settings: the user's settings, listed, read and written.
#include "Commands.h"

#include <Lumeno/UI/Settings.h>

#include <iomanip>
#include <ostream>
#include <stdexcept>

namespace Lumeno::Cli {

namespace {

const char* const SettingsHelp =
    "Usage: lumeno settings list\n"
    "       lumeno settings get SECTION VALUE\n"
    "       lumeno settings set SECTION VALUE DATA\n"
    "\n"
    "The user's settings, by section and value name as 'list' shows them. Values\n"
    "read as their getters give them: flags 0 or 1, numbers in decimal, colours\n"
    "0xRRGGBB, Gamma as a decimal (1.2), fonts as \"FACE, N pt\", lists separated by\n"
    "\"; \". 'set' takes DATA in the same form. A setting that was never set has its\n"
    "default, which is never written back.\n"
    "\n"
    "A settings file with faults (a name given twice, a stray line) is read as far\n"
    "as it can be, with a warning, and never written over: 'set' first moves it\n"
    "aside as Lumeno.conf.unread-TIME.\n";

const UI::SettingInfo& find(const std::string& section, const std::string& name)
{
    const UI::SettingInfo* row = UI::findSetting(section, name);
    if (row == nullptr) {
        throw std::invalid_argument("unknown setting '" + section + " " + name + "'; 'lumeno settings list' shows them");
    }
    return *row;
}

} // namespace

SettingsProblemsTold::~SettingsProblemsTold()
{
    for (const std::string& problem : store_.problems()) {
        streams_.err << "lumeno " << command_ << ": warning: " << problem << '\n';
    }
}

int runSettings(const std::vector<std::string>& arguments, Streams streams)
{
    const std::string verb = arguments.empty() ? std::string() : arguments[0];
    if (verb == "-h" || verb == "--help") {
        streams.out << SettingsHelp;
        return 0;
    }
    try {
        UI::Settings settings;
        const SettingsProblemsTold told(settings.accessor().store(), "settings", streams);
        if (verb == "list" && arguments.size() == 1) {
            for (const UI::SettingInfo& row : UI::settingsTable()) {
                bool stored = false;
                const std::string value = settings.text(row.id, &stored);
                streams.out << std::left << std::setw(12) << row.section << std::setw(28) << row.name << value
                            << (stored ? "" : "  (default)") << '\n';
            }
            return 0;
        }
        if (verb == "get" && arguments.size() == 3) {
            streams.out << settings.text(find(arguments[1], arguments[2]).id) << '\n';
            return 0;
        }
        if (verb == "set" && arguments.size() == 4) {
            if (!settings.setText(find(arguments[1], arguments[2]).id, arguments[3])) {
                streams.err << "lumeno settings: the setting could not be written\n";
                return 1;
            }
            return 0;
        }
    } catch (const std::invalid_argument& e) {
        streams.err << "lumeno settings: " << e.what() << '\n';
        return 2;
    }
    streams.err << "Usage: lumeno settings list | get SECTION VALUE | set SECTION VALUE DATA\n";
    return 2;
}

} // namespace Lumeno::Cli
