#!/bin/sh
# Checks the includes between the sources: they point down the floors only
#   app/ground <- config <- store <- mqtt <- app
# name files that exist by their path below src/, and form no circle. A header and its source count as one.
#
# Usage: check-includes.sh [SRC]
set -eu

cd "${1:-${0%/*}/../src}"
# The dollar signs are awk's.
# shellcheck disable=SC2016
find . -name '*.h' -o -name '*.cpp' | sed 's#^\./##' | sort | xargs awk '
  function floor_of(file) {
    if (file ~ /^app\/ground\//) return 0
    if (file ~ /^config\//) return 1
    if (file ~ /^store\//) return 2
    if (file ~ /^mqtt\//) return 3
    return 4
  }
  function subject_of(file) {
    sub(/\.(h|cpp)$/, "", file)
    return file
  }
  function complain(place, text) {
    print "src/" place ": " text
    failed = 1
  }
  # Follows the includes of a subject; one that is still being followed closes a circle.
  function follow(subject, way,   i) {
    if (state[subject] == "done") return
    if (state[subject] == "open") {
      complain(subject, "includes itself:" way " -> " subject)
      return
    }
    state[subject] = "open"
    for (i = 1; i <= uses[subject]; i++) follow(used[subject, i], way " -> " subject)
    state[subject] = "done"
  }
  FNR == 1 {
    known[FILENAME] = 1
    subjects[subject_of(FILENAME)] = 1
  }
  /^[ \t]*#[ \t]*include[ \t]*"/ {
    split($0, parts, "\"")
    from[++count] = FILENAME
    line[count] = FNR
    to[count] = parts[2]
  }
  END {
    for (i = 1; i <= count; i++) {
      place = from[i] ":" line[i]
      if (!(to[i] in known)) {
        complain(place, "includes \"" to[i] "\", which is no file below src/")
        continue
      }
      if (floor_of(to[i]) > floor_of(from[i])) complain(place, "includes \"" to[i] "\" from a floor above")
      source = subject_of(from[i])
      target = subject_of(to[i])
      if (source != target) used[source, ++uses[source]] = target
    }
    for (subject in subjects) follow(subject, "")
    exit failed
  }'
