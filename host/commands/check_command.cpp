#include "commands/commands.h"
#include "commands/run.h"
#include "session/coverage.h"

namespace cali::host {
namespace {

struct CheckOptions {
    std::filesystem::path session;
    ReportOptions report;
};

void describe(Command& command, CheckOptions& options) {
    command.option("SESSION", options.session, "session file (docs/session.md)").required();
    options.report.add_to(command);
    command.examples("  cali check shots/session.toml");
}

int act(const CheckOptions& options, const Invocation& invocation) {
    const Session session = read_session(options.session);
    CaptureHeaders headers(session.geometry);
    const ChainPlan plan = plan_chain(session, {}, {}, headers);
    RunReport report = options.report.report(invocation.command);
    const auto captures = check_captures(session, plan, headers);
    for (const auto& [file, sensor] : captures) {
        require_same_sensor(sensor, file.string(), captures.front().second, captures.front().first.string());
    }
    report.section(coverage(session, plan, headers));
    report.note(std::to_string(captures.size()) + " captures would be read" +
                (captures.empty() ? "" : ", of " + to_text(captures.front().second)));
    report.finish();
    return 0;
}

}  // namespace

void add_check_command(CommandLine& line) {
    add_command<CheckOptions>(line, "check", "What a session's captures are enough for, without computing", describe,
                              act);
}

}  // namespace cali::host
