#include "InteropTable.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <vector>

#include <gtest/gtest.h>

namespace interop {
namespace {

/// Rows stay in the order in which they came.
struct Table {
    std::string name;
    std::vector<std::string> rows;
    std::map<std::pair<std::string, std::string>, std::string> cells;
};

std::vector<Table>& Tables() {
    static std::vector<Table> tables;
    return tables;
}

class Writer : public testing::Environment {
public:
    void TearDown() override {
        const char* path = std::getenv("KELAUDIOFILE_INTEROP_TABLE");
        if (!path)
            return;
        std::ofstream stream(path);
        for (const Table& table : Tables())
            Write(table, stream);
        ASSERT_TRUE(stream.flush()) << path;
    }

private:
    static void Write(const Table& inTable, std::ostream& outStream) {
        static const char* const kColumns[] = {"libsndfile", "FFmpeg", "SoX"};
        outStream << "\n## " << inTable.name << "\n\n|";
        for (const char* column : kColumns)
            outStream << " | " << column;
        outStream << " |\n|---|---|---|---|\n";
        for (const std::string& row : inTable.rows) {
            outStream << "| " << row;
            for (const char* column : kColumns) {
                const auto cell = inTable.cells.find({row, column});
                outStream << " | " << (cell == inTable.cells.end() ? "not written" : cell->second);
            }
            outStream << " |\n";
        }
    }
};

[[maybe_unused]] const testing::Environment* const kWriter = testing::AddGlobalTestEnvironment(new Writer);

} // namespace

void NoteCell(const std::string& inTable, const std::string& inRow, const std::string& inColumn,
              const std::string& inText) {
    auto table =
        std::find_if(Tables().begin(), Tables().end(), [&](const Table& t) { return t.name == inTable; });
    if (table == Tables().end())
        table = Tables().insert(table, Table{inTable, {}, {}});
    if (std::find(table->rows.begin(), table->rows.end(), inRow) == table->rows.end())
        table->rows.push_back(inRow);
    table->cells[{inRow, inColumn}] = inText;
}

} // namespace interop
