// lumeno gallery: the gallery store from the command line.
#include "Commands.h"

#include <Lumeno/Commands/FileCommands.h>
#include <Lumeno/DB/Store.h>

#include <algorithm>
#include <ostream>
#include <stdexcept>

namespace Lumeno::Cli {

namespace {

const char* const GalleryHelp =
    "Usage: lumeno [--store DIR] gallery SUBCOMMAND ...\n"
    "\n"
    "Galleries collect pictures from any folders. The store keeps each picture's\n"
    "catalogue information (path, principal IPTC fields), its keywords and a\n"
    "thumbnail, so galleries can be listed and searched without opening the files.\n"
    "Galleries nest: \"Travel/Alps\" is a gallery inside \"Travel\".\n"
    "\n"
    "  create NAME               create a gallery (its parent must exist)\n"
    "  rename NAME NEWNAME       rename a gallery and everything inside it\n"
    "  delete NAME               delete a gallery and its sub-galleries\n"
    "  add NAME [-j N] FILE...   add pictures to a gallery (with their thumbnails)\n"
    "  remove NAME FILE...       take pictures out of a gallery\n"
    "  list [NAME]               the galleries at the top, or a gallery's\n"
    "                            sub-galleries (ending in /) and pictures\n"
    "  search KEYWORD            the pictures carrying the keyword (letter case\n"
    "                            aside); KEYWORD* finds keywords beginning so\n"
    "  sync [--thumbnails] [-j N] FILE...\n"
    "                            bring the store's information of the files up to\n"
    "                            date (and their thumbnails)\n"
    "  export NAME DIR           write the gallery as a web page into DIR: open\n"
    "                            DIR/index.html (sub-galleries go in folders below)\n"
    "  check                     verify every file of the store\n"
    "  repair                    mend a damaged store: replay its log, save every\n"
    "                            record its files still hold, set the old files\n"
    "                            aside in a folder Damaged-TIME and make the store\n"
    "                            anew from what was saved\n"
    "\n"
    "add and sync read N files side by side with -j N (default: one per core); the\n"
    "store takes them one transaction each, in the order given.\n"
    "\n"
    "The store lives in $XDG_DATA_HOME/LumenoWorks/Lumeno unless --store names a\n"
    "folder. Several programs may use it at once; check and repair want it to\n"
    "themselves.\n";

int usage(Streams streams, const std::string& message)
{
    streams.err << "lumeno gallery: " << message << "\nRun 'lumeno gallery --help' for usage.\n";
    return 2;
}

int withFiles(const std::vector<std::string>& args, std::size_t first, Streams streams,
              const std::function<void(const std::string&)>& each)
{
    if (args.size() <= first) {
        return usage(streams, "no file given");
    }
    const std::vector<std::string> files(args.begin() + static_cast<std::ptrdiff_t>(first), args.end());
    return forEachFile(files, streams, false, each);
}

// Brings the store's records of `arguments`' files up to date (and adds them to `gallery`, when
// given), N files read side by side with -j N.
int updateStore(std::vector<std::string> arguments, bool thumbnails, const std::string& gallery, Streams streams)
{
    unsigned jobs = 1;
    if (const int status = takeJobs(arguments, "gallery", streams, jobs); status >= 0) {
        return status;
    }
    if (arguments.empty()) {
        return usage(streams, "no file given");
    }
    Commands::CommandUpdateStore command(thumbnails, static_cast<std::uint32_t>(arguments.size()), 0);
    command.addTo(gallery);
    command.setFailureListener([&](const std::string& path, const std::string& reason) {
        streams.err << "lumeno: " << path << ": " << reason << '\n';
    });
    command.runFiles(arguments, jobs);
    return finalStatus(command, arguments.size(), streams);
}

} // namespace

int runGallery(const std::vector<std::string>& args, Streams streams)
{
    if (args.empty()) {
        return usage(streams, "no subcommand given");
    }
    const std::string& sub = args[0];
    if (sub == "-h" || sub == "--help") {
        streams.out << GalleryHelp;
        return 0;
    }
    DB::Store& store = DB::Store::instance();
    auto arity = [&](std::size_t n) { return args.size() == n + 1; };
    try {
        if (sub == "create" && arity(1)) {
            store.createGallery(args[1]);
            return 0;
        }
        if (sub == "rename" && arity(2)) {
            store.renameGallery(args[1], args[2]);
            return 0;
        }
        if (sub == "delete" && arity(1)) {
            store.removeGallery(args[1]);
            return 0;
        }
        if (sub == "add" && args.size() >= 2) {
            if (!store.galleryExists(args[1])) {
                streams.err << "lumeno gallery: there is no gallery '" << args[1] << "'\n";
                return 1;
            }
            return updateStore(std::vector<std::string>(args.begin() + 2, args.end()), true, args[1], streams);
        }
        if (sub == "remove" && args.size() >= 2) {
            return withFiles(args, 2, streams, [&](const std::string& file) {
                if (!store.removeImage(args[1], file)) {
                    throw std::runtime_error("not in the gallery '" + args[1] + "'");
                }
            });
        }
        if (sub == "list" && args.size() <= 2) {
            const std::string name = args.size() == 2 ? args[1] : std::string();
            if (!name.empty() && !store.galleryExists(name)) {
                streams.err << "lumeno gallery: there is no gallery '" << name << "'\n";
                return 1;
            }
            for (const std::string& gallery : store.subGalleries(name)) {
                streams.out << gallery << (name.empty() ? "" : "/") << '\n';
            }
            if (!name.empty()) {
                for (const std::string& file : store.images(name)) {
                    streams.out << file << '\n';
                }
            }
            return 0;
        }
        if (sub == "search" && arity(1)) {
            const std::string& keyword = args[1];
            if (!keyword.empty() && keyword.back() == '*') {
                for (const DB::StoreKeywordEntry& e : store.keywordsWithPrefix(keyword.substr(0, keyword.size() - 1))) {
                    streams.out << e.keyword << '\t' << e.file << '\n';
                }
            } else {
                for (const std::string& file : store.filesWithKeyword(keyword)) {
                    streams.out << file << '\n';
                }
            }
            return 0;
        }
        if (sub == "sync" && args.size() >= 2) {
            std::vector<std::string> files(args.begin() + 1, args.end());
            const auto thumbnails = std::find(files.begin(), files.end(), "--thumbnails");
            const bool withThumbnails = thumbnails != files.end();
            if (withThumbnails) {
                files.erase(thumbnails);
            }
            return updateStore(files, withThumbnails, std::string(), streams);
        }
        if (sub == "check" && arity(0)) {
            const std::vector<DB::StoreProblem> problems = store.check();
            for (const DB::StoreProblem& p : problems) {
                streams.out << p.file << ": " << p.what << '\n';
            }
            if (problems.empty()) {
                streams.out << "the gallery store in " << store.folder() << " is sound\n";
                return 0;
            }
            streams.err << "lumeno gallery: the gallery store is damaged: 'lumeno gallery repair' mends it\n";
            return 1;
        }
        if (sub == "repair" && arity(0)) {
            const DB::RepairReport report = store.repair();
            for (const std::string& line : report.lines) {
                streams.out << line << '\n';
            }
            streams.out << "the old files are kept in " << report.setAside << '\n';
            return 0;
        }
        if (sub == "export" && arity(2)) {
            store.exportGallery(args[1], args[2]);
            streams.out << args[2] << "/index.html\n";
            return 0;
        }
    } catch (const ErrorDb& e) {
        streams.err << "lumeno gallery: " << e.what() << '\n';
        return 1;
    }
    return usage(streams, "'" + sub + "' with these arguments is not a gallery subcommand");
}

} // namespace Lumeno::Cli
