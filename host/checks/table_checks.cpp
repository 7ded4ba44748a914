#include "checks/table_checks.h"

#include "base/text.h"

namespace cali::host {

void check_table(const ColourTable& table, Judge& judge) {
    if (!table.needed) {
        judge.say(Check::table_need, Severity::pass,
                  text("not needed: the matrix leaves %.2f dE2000, below %.1f", table.before.mean, kLeastTableNeed));
        return;
    }
    judge.hold(Check::table_leave_one_out, table.leave_one_out - table.before.mean);
}

}  // namespace cali::host
