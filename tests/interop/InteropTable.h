#pragma once

#include <string>

namespace interop {

/// Notes one cell for the document that scripts/interop.sh makes: written at the end of the process to the
/// file that the environment variable KELAUDIOFILE_INTEROP_TABLE names, if there is one.
void NoteCell(const std::string& inTable, const std::string& inRow, const std::string& inColumn,
              const std::string& inText);

} // namespace interop
