#!/bin/sh
# Creates a record table in a SQLite database. DataCollector runs it as /bin/DatabaseInterface.sh for every
# database that is missing; the column files that it reads are DataCollector's own, so that the table and the
# statements on it agree.
#
# Needs a POSIX shell, awk and the sqlite3 tool.
set -u
export LC_ALL=C

program=DatabaseInterface.sh

usage() {
  cat <<USAGE
Usage: $program --command create_table --databasepath DIR --database FILE --table NAME --config FILE

Creates the table NAME in the SQLite database DIR/FILE. Directories and the database are made when they are
missing. A table that is there with the same columns stays as it is; one with other columns is an error.

The configuration is a name-value file: an entry "name = value" a line, "#" starts a comment. The entries
DatabaseName and TableName are skipped; every other entry is a column, in the order of the file, and its value
the column's type:
  INTEGER        a whole number, with an index
  TEXT INDEXED   a text, with an index
  anything else  a text
The spelling  name = "value";  is understood too.

Exit status: 0 the table is there; 1 it could not be created; 2 wrong arguments.
USAGE
}

fail() {
  echo "$program: $1" >&2
  exit "${2:-1}"
}

command='' directory='' database='' table='' config=''
while [ $# -gt 0 ]; do
  case $1 in
    --help | -h)
      usage
      exit 0
      ;;
    --command | --databasepath | --database | --table | --config) ;;
    *) fail "unknown argument '$1' (see --help)" 2 ;;
  esac
  [ $# -ge 2 ] || fail "$1 needs a value" 2
  case $1 in
    --command) command=$2 ;;
    --databasepath) directory=$2 ;;
    --database) database=$2 ;;
    --table) table=$2 ;;
    --config) config=$2 ;;
  esac
  shift 2
done

[ -n "$command" ] || fail "--command is missing" 2
[ "$command" = create_table ] || fail "unknown command '$command'" 2
[ -n "$directory" ] || fail "--databasepath is missing" 2
[ -n "$database" ] || fail "--database is missing" 2
[ -n "$table" ] || fail "--table is missing" 2
[ -n "$config" ] || fail "--config is missing" 2
case $database in
  */* | . | ..) fail "'$database' is not the name of a file" 2 ;;
esac
case $table in
  [!A-Za-z_]* | *[!A-Za-z0-9_]*) fail "illegal table name '$table'" ;;
esac
# A path that starts with a dash would be taken for an option.
case $directory in
  /*) ;;
  *) directory=./$directory ;;
esac
path="${directory%/}/$database"

if [ ! -f "$config" ] || [ ! -r "$config" ]; then
  fail "can't read the configuration file '$config'"
fi
command -v awk >/dev/null || fail "the awk tool is missing"
command -v sqlite3 >/dev/null || fail "the sqlite3 tool is missing"

# Prints "name type indexed" for every column. Reads lines as the daemon does, in pieces of at most 499
# characters, so that both see the same columns even in a file with overlong lines.
read_columns() {
  awk '
    function complain(text) {
      print "'"$program"': " text | "cat >&2"
      failed = 1
      exit 1
    }
    function trimmed(text) {
      sub(/^[ \t]+/, "", text)
      sub(/[ \t]+$/, "", text)
      return text
    }
    function read_entry(line,   equals, name, value, type) {
      line = trimmed(line)
      equals = index(line, "=")
      if (substr(line, 1, 1) == "#" || equals == 0) return
      name = trimmed(substr(line, 1, equals - 1))
      if (name == "DatabaseName" || tolower(name) == "tablename") return
      if (name !~ /^[A-Za-z_][A-Za-z0-9_]*$/) complain("illegal column name \047" name "\047")
      if (tolower(name) ~ /^(rowid|oid|_rowid_)$/) {
        complain("column \047" name "\047 would hide the row id that orders the records")
      }
      if (tolower(name) in seen) complain("duplicate column \047" name "\047")
      seen[tolower(name)] = 1
      value = substr(line, equals + 1)
      sub(/#.*/, "", value)
      sub(/\r$/, "", value)
      value = toupper(trimmed(value))
      sub(/[ \t]*;$/, "", value)
      if (value ~ /^".*"$/) value = trimmed(substr(value, 2, length(value) - 2))
      type = value == "INTEGER" ? "INTEGER" : "TEXT"
      print name, type, (type == "INTEGER" || value ~ /^TEXT[ \t]+INDEXED$/)
      count++
    }
    {
      for (rest = $0; rest != ""; rest = substr(rest, 500)) read_entry(substr(rest, 1, 499))
    }
    END {
      if (!failed && count == 0) complain("no columns in the configuration file")
    }' <"$config"
}
columns=$(read_columns) || exit 1

# The names stand without quotes, as in the daemon's statements: one that is a word of SQL is refused now
# instead of at every record.
definitions='' indexes='' wanted=''
while read -r name type indexed; do
  definitions="${definitions:+$definitions, }$name $type"
  wanted="$wanted$name $type
"
  [ "$indexed" = 0 ] || indexes="$indexes
CREATE INDEX ${table}_${name}_index ON $table ($name);"
done <<COLUMNS
$columns
COLUMNS
wanted=$(printf '%s' "$wanted" | tr '[:upper:]' '[:lower:]')

# Runs the statements on standard input.
run_sqlite() {
  # One word or none, and the words of the choice.
  # shellcheck disable=SC2086
  sqlite3 -batch -bail -init /dev/null $locking "$1"
}

# A disk that knows no file locks gets SQLite's lock files, which the daemon uses there as well. Anything else
# that is wrong with the disk shows when the table is made.
locking=
choose_locking() {
  probe=$(mktemp -d "${directory%/}/.create.XXXXXX") || return 0
  case $(echo 'CREATE TABLE probe (a);' | run_sqlite "$probe/database" 2>&1) in
    *'disk I/O error'* | *'database is locked'*) locking='-vfs unix-dotfile' ;;
  esac
  rm -rf "$probe"
}

# Small pages spare the flash; the size is set with the first table of a database. A database in use gets five
# seconds to become free.
create_table() {
  run_sqlite "$1" <<SQL
.timeout 5000
PRAGMA page_size = 512;
BEGIN IMMEDIATE;
CREATE TABLE $table ($definitions);$indexes
COMMIT;
SQL
}

# The table's columns as they are, like $wanted; nothing when there is no such table.
present_columns() {
  run_sqlite "$path" <<SQL
.timeout 5000
SELECT lower(name || ' ' || type) FROM pragma_table_info('$table');
SQL
}

# Succeeds when the table is there as wanted, fails when it isn't there; another table ends the run.
table_stands() {
  present=$(present_columns) || fail "can't read the database '$path'"
  [ -n "$present" ] || return 1
  [ "$present" = "$wanted" ] || fail "the table '$table' in '$path' exists with other columns"
}

# A new database is built in a folder of its own and put into place complete: a failure leaves nothing behind,
# and of two runs at a time the second finds the first one's database and adds to it. A file system without
# links gets it moved.
create_database() {
  workshop=$(mktemp -d "${directory%/}/.create.XXXXXX") || fail "can't write to the directory '$directory'"
  trap 'rm -rf "$workshop"' EXIT
  trap 'exit 1' HUP INT TERM
  create_table "$workshop/database" || fail "can't create the table '$table'"
  ln "$workshop/database" "$path" 2>/dev/null || [ -e "$path" ] || mv -n "$workshop/database" "$path"
}

# What a power cut or a kill has left of an earlier run, which none takes an hour. Where find knows no ages it stays.
clear_leftovers() {
  find "${directory%/}/" -maxdepth 1 -type d -name '.create.??????' -mmin +60 -exec rm -rf {} + 2>/dev/null || true
}

mkdir -p "$directory" || fail "can't make the directory '$directory'"
clear_leftovers
choose_locking
if [ ! -e "$path" ]; then
  create_database || fail "can't create the database '$path'"
fi
if table_stands; then
  exit 0
fi
create_table "$path" || table_stands || fail "can't create the table '$table' in '$path'"
