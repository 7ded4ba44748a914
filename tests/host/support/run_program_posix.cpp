#include <sys/wait.h>

#include <cstdlib>

#include "support/program.h"

namespace cali::test {

ProgramRun run_program(const std::filesystem::path& folder, const std::vector<std::string>& arguments) {
    const TemporaryFolder outputs;
    std::string command = "cd '" + folder.string() + "' && '" + CALI_PROGRAM + "'";
    for (const std::string& argument : arguments) {
        command += " '" + argument + "'";
    }
    command += " >'" + (outputs / "out").string() + "' 2>'" + (outputs / "err").string() + "' </dev/null";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_text(outputs / "out"), read_text(outputs / "err")};
}

}  // namespace cali::test
