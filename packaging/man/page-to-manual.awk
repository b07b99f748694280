# Makes a manual page of a page of the documentation, so that what a key means is written once.
#
# Usage: awk -v name=DataCollector -v section=5 -v version=... -v summary=... -f page-to-manual.awk PAGE.md

# Inline marks become fonts, links their text. What roff would take for its own is escaped.
function inline(text) {
  gsub(/\\/, "\\e", text)
  while (match(text, /\]\([^)]*\)/)) {
    text = substr(text, 1, RSTART - 1) substr(text, RSTART + RLENGTH)
  }
  gsub(/\[/, "", text)
  gsub(/-/, "\\-", text)
  text = paired(text, "\\*\\*", "\\fB")
  text = paired(text, "`", "\\fI")
  sub(/^[.']/, "\\\\\\&&", text)
  return text
}

function paired(text, mark, font,   open) {
  open = 1
  while (match(text, mark)) {
    text = substr(text, 1, RSTART - 1) (open ? font : "\\fR") substr(text, RSTART + RLENGTH)
    open = !open
  }
  return text
}

function cells(line,   count, index_) {
  sub(/^\| */, "", line)
  sub(/ *\|$/, "", line)
  count = split(line, cell, / *\| */)
  for (index_ = 1; index_ <= count; ++index_) {
    gsub(/^ +| +$/, "", cell[index_])
  }
  return count
}

# One item a row; two where a table stands in two halves side by side. An empty first cell is that of the row above.
function row(line,   count, index_) {
  count = cells(line)
  if (cell[1] == "") {
    cell[1] = before
  }
  before = cell[1]
  item(count)
  if (head[3] == head[1]) {
    cell[1] = right[1]
    cell[2] = right[2]
    item(2)
  }
}

function item(count,   index_, text, part) {
  if (head[3] == head[1]) {
    right[1] = cell[3]
    right[2] = cell[4]
    count = 2
  }
  print ".TP"
  print "\\fB" (cell[1] ~ /[`*]/ ? plain(inline(cell[1])) : inline(cell[1])) "\\fR"
  text = ""
  for (index_ = 2; index_ <= count; ++index_) {
    if (cell[index_] != "") {
      part = (head[index_] == "" || head[index_] == "effect" || count == 2 ? "" : head[index_] ": ") cell[index_]
      text = text (text == "" ? "" : "; ") part
    }
  }
  print inline(text == "" ? "-" : text)
}

function plain(text) {
  gsub(/\\f[BIR]/, "", text)
  return text
}

BEGIN {
  print ".TH " toupper(name) " " section " \"\" \"DataCollector " version "\" \"File formats\""
  print ".ad l"
  print ".SH NAME"
  print name " \\- " summary
}

/^# / { print ".SH DESCRIPTION"; next }
/^## / { print ".SH " toupper(substr($0, 4)); in_table = 0; next }
/^### / { print ".SS " inline(substr($0, 5)); in_table = 0; next }
/^\|[-|]+\|$/ { next }
/^\|/ {
  if (!in_table) {
    count = cells($0)
    for (place = 1; place <= count; ++place) {
      head[place] = plain(cell[place])
    }
    in_table = 1
    before = ""
    next
  }
  row($0)
  next
}
/^    / { if (!in_code) { print ".PP\n.nf"; in_code = 1 } print inline($0); next }
{
  if (in_code) { print ".fi"; in_code = 0 }
}
/^$/ { print_break = 1; next }
/^- / { print ".IP \\(bu 2\n" inline(substr($0, 3)); print_break = 0; in_table = 0; next }
/^  [^ ]/ { print inline(substr($0, 3)); next }
{
  if (print_break || in_table) { print ".PP" }
  print_break = 0
  in_table = 0
  print inline($0)
}
END { if (in_code) print ".fi" }
