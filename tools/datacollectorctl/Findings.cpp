#include "Findings.h"

#include <algorithm>

namespace datacollector::ctl {
namespace {

constexpr Severity kError = Severity::Error;
constexpr Severity kWarning = Severity::Warning;

constexpr std::array<FindingRow, static_cast<std::size_t>(Code::Count)> kRows = {{
    {Code::FileMissing, "file-missing", kError, "A configuration file is not there.",
     "copy it from gateway/Config of the release"},
    {Code::FileUnreadable, "file-unreadable", kError, "A configuration file is no readable regular file.",
     "make it a regular file that the daemon's user may read"},
    {Code::Syntax, "syntax", kError, "libconfig can't read the file: nothing in it counts.",
     "mend the line: name = value; with texts in double quotes"},
    {Code::UnknownKey, "unknown-key", kWarning, "No reader looks this key up.",
     "correct its spelling or remove it"},
    {Code::MissingKey, "missing-key", kWarning,
     "A key that is looked up is not there: its value is 0 or empty.",
     "add it as in gateway/Config of the release"},
    {Code::WrongType, "wrong-type", kError, "A number stands in quotes, or a text without: it is not found.",
     "write numbers without quotes and texts with"},
    {Code::OutOfRange, "out-of-range", kError,
     "A number has no room in its field and is stored as another one.", "choose a number from 0 to 65535"},
    {Code::TextCut, "text-cut", kError, "A text is longer than its field.", "shorten it"},
    {Code::NoKinds, "no-kinds", kError, "No kind is enabled.",
     "set <KIND>DataSourceEnable = 1 in DataSourcesConfig.cfg"},
    {Code::CountLow, "count-low", kWarning, "A kind or line is enabled beyond the count of its group.",
     "raise the count"},
    {Code::IntervalZero, "interval-zero", kWarning, "An interval of an enabled kind is 0 or less.",
     "set it to at least 1 second (main loop: 1 millisecond)"},
    {Code::ColumnsMissing, "columns-missing", kError, "A kind has no database, table or columns.",
     "fill the column file as in gateway/Config of the release"},
    {Code::ColumnUnknown, "column-unknown", kError,
     "A column that is used by name is not in the column file.",
     "use a name of the column file, in the same spelling"},
    {Code::NumberPlace, "number-place", kError,
     "The record-number column doesn't stand where the record text has the number.",
     "order the column file like the record's fields"},
    {Code::TimeColumns, "time-columns", kError,
     "The write-time and read-time keys don't both name the read time's column: no confirmation fits a row.",
     "give both keys the column in front of the end mark's"},
    {Code::DatabaseDiffers, "database-differs", kError,
     "Column file and control file name different databases or tables.", "make both the same"},
    {Code::RowLimit, "row-limit", kError, "The row limit is 0: the table never makes room.",
     "set <P>MaxRowsCount to 1 to 65535"},
    {Code::TopicEmpty, "topic-empty", kError, "A topic that an enabled kind needs is empty.",
     "fill it in DataCollectorMqtt.cfg"},
    {Code::TopicTwice, "topic-twice", kError, "Two entries with different meanings have the same text.",
     "give each its own text"},
    {Code::TopicOdd, "topic-odd", kWarning,
     "A topic differs by a letter or two from the pattern of its group.",
     "compare it letter by letter with what the other application uses"},
    {Code::TopicWildcard, "topic-wildcard", kError,
     "A topic holds + or #: topics are compared letter by letter.", "write the topic out"},
    {Code::DatabaseEmpty, "database-empty", kWarning, "A database file has no bytes.",
     "remove the file; the daemon makes a new one at its next start"},
    {Code::DatabaseDamaged, "database-damaged", kError, "A database is damaged.",
     "stop the daemon and run datacollectorctl repair <KIND> --salvage --apply"},
    {Code::DatabaseUnreadable, "database-unreadable", kError, "A database can't be read.",
     "make it a regular file that the daemon's user may read and write"},
    {Code::TableMissing, "table-missing", kWarning, "The kind's table is not in its database.",
     "nothing: the daemon makes it when the first record comes; or correct TableName"},
    {Code::TableDiffers, "table-differs", kError, "The table has other columns than the column file.",
     "undo the change of the column file; if it is meant, stop the daemon and run datacollectorctl repair "
     "<KIND> --migrate --apply"},
    {Code::IndexMissing, "index-missing", kWarning, "A column that is searched has no index.",
     "give it the type TEXT INDEXED in the column file, stop the daemon and run datacollectorctl repair "
     "<KIND> --migrate --apply"},
    {Code::LimitRaised, "limit-raised", kError, "The row limit was raised over a ring that had wrapped.",
     "stop the daemon and run datacollectorctl repair <KIND> --renumber --apply"},
    {Code::LimitLowered, "limit-lowered", kError, "The table holds more rows than the limit.",
     "stop the daemon and run datacollectorctl repair <KIND> --renumber --apply, or raise the limit again"},
    {Code::FolderRights, "folder-rights", kError, "The databases' folder can't be written.",
     "give the daemon's user the right to write there"},
    {Code::DiskFull, "disk-full", kError, "The databases' disk has no room for another record.",
     "free some: old files, *.damaged-* databases"},
    {Code::DiskSmall, "disk-small", kWarning,
     "The disk has no room for the configured rings once they are full.",
     "lower <P>MaxRowsCount before the ring wraps, or free some"},
    {Code::ScriptMissing, "script-missing", kError,
     "/bin/DatabaseInterface.sh can't be run: no table can be made.",
     "install gateway/DatabaseInterface.sh there with mode 0755"},
    {Code::BrokerDown, "broker-down", kError, "No broker answers on 127.0.0.1:1883.", "start the broker"},
    {Code::WanMissing, "wan-missing", kWarning, "/tmp/networkstatus can't be read: nothing is sent.",
     "start the service that writes it, or set enablelanmqtt"},
    {Code::RotationMissing, "rotation-missing", kWarning, "Nothing keeps the log from filling the memory.",
     "install gateway/logrotate.d/DataCollectorLogrotateConfig into /etc/logrotate.d and run it every five "
     "minutes"},
    {Code::ClockWrong, "clock-wrong", kWarning, "The clock stands before 2020: read times will be wrong.",
     "set the clock before the daemon starts"},
}};

constexpr bool InOrder() {
  for (std::size_t index = 0; index < kRows.size(); ++index) {
    if (kRows[index].code != static_cast<Code>(index)) {
      return false;
    }
  }
  return true;
}
static_assert(InOrder());

}  // namespace

const FindingRow& RowOf(Code code) { return kRows[static_cast<std::size_t>(code)]; }

Severity Findings::Worst() const {
  Severity worst = Severity::Note;
  for (const Finding& finding : all_) {
    worst = std::max(worst, RowOf(finding.code).severity);
  }
  return worst;
}

}  // namespace datacollector::ctl
