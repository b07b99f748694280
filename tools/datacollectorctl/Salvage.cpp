#include "Salvage.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

namespace datacollector::ctl {
namespace {

using Bytes = std::string_view;

constexpr std::size_t kHeader = 100;  // of the file, in front of the first page's own
constexpr unsigned char kTableLeaf = 0x0d;
constexpr std::size_t kLeafHeader = 8;
constexpr std::size_t kUsualPage = 512;  // as the table script makes them

unsigned char At(Bytes bytes, std::size_t place) { return static_cast<unsigned char>(bytes[place]); }

std::uint64_t BigEndian(Bytes bytes, std::size_t place, std::size_t count) {
  std::uint64_t value = 0;
  for (std::size_t index = 0; index < count; ++index) {
    value = (value << 8U) | At(bytes, place + index);
  }
  return value;
}

// The same of two or four bytes: a size, a count, a page's number.
std::size_t Small(Bytes bytes, std::size_t place, std::size_t count) {
  return static_cast<std::size_t>(BigEndian(bytes, place, count));
}

// Reads a number of 1 to 9 bytes and moves behind it; nothing at the end of the bytes.
std::optional<std::uint64_t> Varint(Bytes bytes, std::size_t& place) {
  std::uint64_t value = 0;
  for (int count = 0; count < 9; ++count) {
    if (place >= bytes.size()) {
      return std::nullopt;
    }
    const unsigned char byte = At(bytes, place++);
    if (count == 8) {
      return (value << 8U) | byte;
    }
    value = (value << 7U) | (byte & 0x7fU);
    if (byte < 0x80) {
      return value;
    }
  }
  return value;
}

struct File {
  std::string bytes;
  std::size_t page = kUsualPage;
  std::size_t usable = kUsualPage;

  std::size_t Pages() const { return bytes.size() / page; }
  Bytes Page(std::size_t number) const { return Bytes(bytes).substr((number - 1) * page, page); }  // from 1
};

File Read(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  File file;
  file.bytes.assign(std::istreambuf_iterator<char>(stream), {});
  if (file.bytes.size() >= kHeader) {
    const std::size_t size = Small(file.bytes, 16, 2) == 1 ? 65536 : Small(file.bytes, 16, 2);
    const bool plausible = size >= 512 && (size & (size - 1)) == 0 && file.bytes.size() % size == 0;
    file.page = plausible ? size : kUsualPage;
    file.usable = file.page - (plausible ? At(file.bytes, 20) : 0U);
  }
  return file;
}

// Pages that hold nothing any more but what was deleted. A chain that leads astray ends.
std::set<std::size_t> FreePages(const File& file) {
  std::set<std::size_t> pages;
  std::size_t trunk = file.bytes.size() < kHeader ? 0 : Small(file.bytes, 32, 4);
  while (trunk > 0 && trunk <= file.Pages() && pages.insert(trunk).second) {
    const Bytes page = file.Page(trunk);
    const std::size_t leaves = Small(page, 4, 4);
    for (std::size_t leaf = 0; leaf < leaves && 8 + leaf * 4 + 4 <= page.size(); ++leaf) {
      pages.insert(Small(page, 8 + leaf * 4, 4));
    }
    trunk = Small(page, 0, 4);
  }
  return pages;
}

// The payload of a cell: what stands on its page, and what is chained to it.
std::optional<std::string> Payload(const File& file, Bytes page, std::size_t place, std::uint64_t bytes) {
  if (bytes > file.bytes.size()) {
    return std::nullopt;
  }
  const auto size = static_cast<std::size_t>(bytes);
  const std::size_t most = file.usable - 35;
  const std::size_t least = (file.usable - 12) * 32 / 255 - 23;
  const std::size_t fitting = least + (size - least) % (file.usable - 4);
  const std::size_t local = size <= most ? size : fitting <= most ? fitting : least;
  if (place + local + (local < size ? 4 : 0) > page.size()) {
    return std::nullopt;
  }
  std::string payload(page.substr(place, local));
  std::size_t next = local < size ? Small(page, place + local, 4) : 0;
  while (payload.size() < size) {
    if (next == 0 || next > file.Pages()) {
      return std::nullopt;
    }
    const Bytes chained = file.Page(next);
    payload += chained.substr(4, std::min(size - payload.size(), file.usable - 4));
    next = Small(chained, 0, 4);
  }
  return payload;
}

// A value's place in its payload, as its type says.
struct Value {
  std::uint64_t type;
  Bytes bytes;
};

std::optional<std::size_t> SizeOfType(std::uint64_t type) {
  constexpr std::size_t kSizes[] = {0, 1, 2, 3, 4, 6, 8, 8, 0, 0};
  if (type == 10 || type == 11) {
    return std::nullopt;
  }
  return type < 10 ? kSizes[type] : static_cast<std::size_t>((type - 12) / 2);
}

std::optional<std::vector<Value>> Values(Bytes payload, std::size_t columns) {
  std::size_t place = 0;
  const std::optional<std::uint64_t> header = Varint(payload, place);
  if (!header || *header > payload.size()) {
    return std::nullopt;
  }
  std::vector<Value> values;
  auto data = static_cast<std::size_t>(*header);
  while (place < *header) {
    const std::optional<std::uint64_t> type = Varint(payload, place);
    const std::optional<std::size_t> size = type ? SizeOfType(*type) : std::nullopt;
    if (!size || *size > payload.size() || data > payload.size() - *size) {
      return std::nullopt;
    }
    values.push_back({*type, payload.substr(data, *size)});
    data += *size;
  }
  return values.size() == columns && data == payload.size() ? std::optional(values) : std::nullopt;
}

void Bind(sqlite3_stmt* statement, int place, const Value& value) {
  const int size = static_cast<int>(value.bytes.size());
  if (value.type >= 13 && value.type % 2 == 1) {
    sqlite3_bind_text(statement, place, value.bytes.data(), size, SQLITE_TRANSIENT);
  } else if (value.type >= 12) {
    sqlite3_bind_blob(statement, place, value.bytes.data(), size, SQLITE_TRANSIENT);
  } else if (value.type == 8 || value.type == 9) {
    sqlite3_bind_int64(statement, place, value.type == 9 ? 1 : 0);
  } else if (value.type == 7) {
    const std::uint64_t bits = BigEndian(value.bytes, 0, 8);
    double number = 0;
    static_assert(sizeof number == sizeof bits);
    std::memcpy(&number, &bits, sizeof number);
    sqlite3_bind_double(statement, place, number);
  } else if (value.type > 0) {
    const std::size_t missing = 64 - 8 * value.bytes.size();
    const std::uint64_t shifted = BigEndian(value.bytes, 0, value.bytes.size()) << missing;
    sqlite3_bind_int64(statement, place, static_cast<std::int64_t>(shifted) >> missing);
  } else {
    sqlite3_bind_null(statement, place);
  }
}

struct Row {
  std::uint64_t id;
  std::string payload;
};

// The rows of a leaf page; nothing when it is none, or holds a cell that is no row.
std::optional<std::vector<Row>> RowsOf(const File& file, std::size_t number, std::size_t columns) {
  const Bytes page = file.Page(number);
  const std::size_t start = number == 1 ? kHeader : 0;
  if (At(page, start) != kTableLeaf) {
    return std::nullopt;
  }
  const std::size_t cells = Small(page, start + 3, 2);
  std::vector<Row> rows;
  for (std::size_t cell = 0; cell < cells; ++cell) {
    const std::size_t pointer = start + kLeafHeader + cell * 2;
    if (pointer + 2 > page.size()) {
      return std::nullopt;
    }
    std::size_t place = Small(page, pointer, 2);
    const std::optional<std::uint64_t> size = Varint(page, place);
    const std::optional<std::uint64_t> id = size ? Varint(page, place) : std::nullopt;
    std::optional<std::string> payload = id ? Payload(file, page, place, *size) : std::nullopt;
    if (!payload || !Values(*payload, columns)) {
      continue;  // the page's other rows may be whole
    }
    rows.push_back({*id, std::move(*payload)});
  }
  return rows;
}

// The kinds of pages that are none of a table's leaves: their loss costs no row.
bool IsOtherPage(const File& file, std::size_t number) {
  const unsigned char type = At(file.Page(number), number == 1 ? kHeader : 0);
  return type == 0x02 || type == 0x05 || type == 0x0a || type == 0x00;
}

struct Finish {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  void operator()(sqlite3* handle) const { sqlite3_close(handle); }
};

// The statement that stores a row: the columns' values, and the row id behind them. nullptr when it can't be
// made.
std::unique_ptr<sqlite3_stmt, Finish> PrepareInsert(sqlite3* handle, const std::string& table) {
  std::string names;
  std::string places;
  sqlite3_stmt* info = nullptr;
  sqlite3_prepare_v2(handle, ("SELECT name FROM pragma_table_info('" + table + "')").c_str(), -1, &info,
                     nullptr);
  while (sqlite3_step(info) == SQLITE_ROW) {
    names += std::string(reinterpret_cast<const char*>(sqlite3_column_text(info, 0))) + ",";
    places += "?,";
  }
  sqlite3_finalize(info);
  const std::string text =
      "INSERT OR IGNORE INTO " + table + " (" + names + "rowid) VALUES (" + places + "?)";
  sqlite3_stmt* insert = nullptr;
  if (sqlite3_prepare_v2(handle, text.c_str(), -1, &insert, nullptr) != SQLITE_OK) {
    std::fprintf(stderr, "%s\n", sqlite3_errmsg(handle));
  }
  return std::unique_ptr<sqlite3_stmt, Finish>(insert);
}

// Stores a row; false when one with its id is there already.
bool Store(sqlite3* handle, sqlite3_stmt* insert, const Row& row, std::size_t columns) {
  int place = 0;
  const std::vector<Value> values = Values(row.payload, columns).value_or(std::vector<Value>());
  for (const Value& value : values) {
    Bind(insert, ++place, value);
  }
  sqlite3_bind_int64(insert, ++place, static_cast<std::int64_t>(row.id));
  const bool stored = sqlite3_step(insert) == SQLITE_DONE && sqlite3_changes(handle) > 0;
  sqlite3_reset(insert);
  return stored;
}

}  // namespace

bool SalvageInto(const std::string& damaged, const std::string& fresh, const std::string& table,
                 std::size_t columns) {
  const File file = Read(damaged);
  const std::set<std::size_t> free = FreePages(file);
  sqlite3* opened = nullptr;
  sqlite3_open_v2(fresh.c_str(), &opened, SQLITE_OPEN_READWRITE, nullptr);
  const std::unique_ptr<sqlite3, Finish> handle(opened);
  const std::unique_ptr<sqlite3_stmt, Finish> insert = PrepareInsert(handle.get(), table);
  if (!insert) {
    return false;
  }
  sqlite3_exec(handle.get(), "BEGIN", nullptr, nullptr, nullptr);
  std::size_t found = 0;
  std::size_t lost = 0;
  for (std::size_t number = 1; number <= file.Pages(); ++number) {
    if (free.contains(number)) {
      continue;
    }
    const auto rows = RowsOf(file, number, columns);
    lost += !rows && !IsOtherPage(file, number) ? 1 : 0;
    for (const Row& row : rows.value_or(std::vector<Row>())) {
      found += Store(handle.get(), insert.get(), row, columns) ? 1 : 0;
    }
  }
  std::printf("%zu rows found; %zu of %zu pages can't be told\n", found, lost, file.Pages());
  return sqlite3_exec(handle.get(), "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK;
}

}  // namespace datacollector::ctl
