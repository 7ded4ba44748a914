#include "outputs/console.h"

#include <cstdio>

namespace cali::host {
namespace {

void print_cells(const Table& table, const std::vector<std::string>& cells) {
    std::printf(" ");
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const Column& column = table.columns[i];
        std::printf(column.left ? " %-*s" : " %*s", column.width, cells[i].c_str());
    }
    std::printf("\n");
}

}  // namespace

void print(const Section& section) {
    std::printf("%s\n", section.title.c_str());
    for (const Table& table : section.tables) {
        if (table.header) {
            std::vector<std::string> names;
            for (const Column& column : table.columns) {
                names.push_back(column.name);
            }
            print_cells(table, names);
        }
        for (const Row& row : table.rows) {
            print_cells(table, row.cells);
            if (!row.remark.empty()) {
                std::printf("  %s\n", row.remark.c_str());
            }
        }
    }
    for (const std::string& note : section.notes) {
        std::printf("  %s\n", note.c_str());
    }
    for (const std::string& warning : section.warnings) {
        (void)std::fprintf(stderr, "cali: %s\n", warning.c_str());
    }
}

void print_written(const std::filesystem::path& file) { std::printf("written: %s\n", file.string().c_str()); }

}  // namespace cali::host
