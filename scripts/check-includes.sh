#!/bin/sh
# Checks the includes between the sources: they point down the floors only
#   ground <- config <- store <- mqtt/client <- mqtt/inbound, mqtt/outbound <- app
# name files that exist by their path below src/, and form no circle. A header and its source count as one.
#
# Usage: check-includes.sh [SRC]
set -eu

cd "${1:-${0%/*}/../src}"
# The dollar signs are awk's.
# shellcheck disable=SC2016
find . -name '*.h' -o -name '*.cpp' | sed 's#^\./##' | sort | xargs awk '
  # A file in a folder that stands on no floor is refused.
  function floor_of(file,   folder) {
    folder = file
    sub(/\/[^\/]*$/, "", folder)
    return folder in floors ? floors[folder] : -1
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
  BEGIN {
    floors["ground"] = 0
    floors["config"] = 1
    floors["store"] = 2
    floors["mqtt/client"] = 3
    floors["mqtt/inbound"] = floors["mqtt/outbound"] = 4
    floors["app"] = 5
  }
  FNR == 1 {
    if (floor_of(FILENAME) < 0) complain(FILENAME, "stands in a folder that is no floor")
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
      if (floor_of(to[i]) == 4 && floor_of(from[i]) == 4 && substr(to[i], 1, 8) != substr(from[i], 1, 8)) {
        complain(place, "includes \"" to[i] "\" from the room beside it")
      }
      source = subject_of(from[i])
      target = subject_of(to[i])
      if (source != target) used[source, ++uses[source]] = target
    }
    for (subject in subjects) follow(subject, "")
    exit failed
  }'
