#include "commands/commands.h"
#include "outputs/chain_files.h"

namespace cali::host {
namespace {

struct CalibrateOptions {
    std::string session;
    std::string folder;
    ChainFileChoice files;
    OutputOptions output;
};

void describe(Command& command, CalibrateOptions& options) {
    command.option("SESSION", options.session, "session file (docs/session.md)").required();
    command.option("--out", options.folder, "folder for results.json; default: the session file's").type_name("DIR");
    add_shading_options(command, options.files.shading);
    command.flag("--pictures", options.files.pictures,
                 "also a PNG of each chart's patches and an SVG of the noise beside the results");
    command.flag("--tables", options.files.tables, "also a colour look-up table per chart, as a .cube file");
    command.flag("--progress", options.files.progress, "show the progress of the noise series also without a terminal");
    options.output.add_to(command);
    command.examples(
        "  cali calibrate shots/session.toml\n"
        "  cali calibrate shots/session.toml --out tuning --log tuning/library.log");
}

void act(const CalibrateOptions& options) {
    const Session session = read_session(options.session);
    const LibraryOutput output = options.output.output();
    ChainFiles files(session,
                     options.folder.empty() ? session.file.parent_path() : std::filesystem::path(options.folder),
                     options.files);
    files.finish(run_chain(session, output, files));
}

}  // namespace

void add_calibrate_command(CommandLine& line) {
    add_command<CalibrateOptions>(line, "calibrate", "The whole chain on the captures of a session file", describe,
                                  act);
}

}  // namespace cali::host
