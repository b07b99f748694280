// Rows out of a damaged database: its leaf pages are read one by one, whatever has become of the others.
#pragma once

#include <cstddef>
#include <string>

namespace datacollector::ctl {

// With the first page the list of free pages is lost; then rows come back that had been deleted, and a row
// may come back as it was before its confirmation: it is sent once more.
//
// Stores every row of `columns` values that stands on a readable leaf page of `damaged` in the table of
// `fresh`, with its row id, and prints how many rows were found and how many pages could not be read.
bool SalvageInto(const std::string& damaged, const std::string& fresh, const std::string& table,
                 std::size_t columns);

}  // namespace datacollector::ctl
