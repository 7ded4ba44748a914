#include "checks/table_checks.h"

#include "base/text.h"

namespace cali::host {
namespace {

constexpr double kLeastNeed = 0.5;  ///< mean CIEDE2000 behind the matrix; nobody sees less

}  // namespace

bool table_needed(const ColourTable& table) { return table.before.mean >= kLeastNeed; }

void check_table(const ColourTable& table, Judge& judge) {
    if (!table_needed(table)) {
        judge.say(Check::table_need, Severity::pass,
                  text("not needed: the matrix leaves %.2f dE2000, below %.1f", table.before.mean, kLeastNeed));
        return;
    }
    judge.hold(Check::table_leave_one_out, table.leave_one_out - table.before.mean);
}

}  // namespace cali::host
